#include <velmo/toolkit/shapes/MxFaceNormals.h>

#include <cmath>

namespace {

using Vertices = std::span<const std::int32_t>;

// Newell's sum: twice the vector area, whatever the shape of the polygon.
SbVec3f areaVector(Vertices face, std::span<const SbVec3f> positions)
{
  const SbVec3f& origin = positions[face[0]];
  SbVec3f sum(0, 0, 0);
  for (std::size_t k = 1; k + 1 < face.size(); ++k)
    sum += (positions[face[k]] - origin).cross(positions[face[k + 1]] - origin);
  return sum;
}

// Coin's own normalize() warns about vectors without length.
SbVec3f unit(const SbVec3f& v)
{
  const float length = v.length();
  return length > 0 ? v / length : SbVec3f(0, 0, 0);
}

} // namespace

void mxFaceNormals(const MxFaceTable& faces, std::span<const SbVec3f> positions,
                   bool counterClockwise, MxArray<SbVec3f>& normals)
{
  normals.resizeUninitialized(faces.faceCount());
  const float side = counterClockwise ? 1.0f : -1.0f;
  faces.forEachFaceBlock([&](std::size_t first, std::size_t last) {
    for (std::size_t f = first; f < last; ++f) {
      const Vertices face = faces.face(f);
      normals[f] = face.empty() ? SbVec3f(0, 0, 0) : unit(areaVector(face, positions) * side);
    }
  });
}

void mxCornerNormals(const MxFaceTable& faces, std::span<const SbVec3f> faceNormals,
                     std::size_t vertexCount, float creaseAngle, MxArray<SbVec3f>& normals)
{
  // The faces around each vertex, in the order of their numbers.
  MxArray<std::uint32_t> first(vertexCount + 1, 0);
  for (std::size_t f = 0; f < faces.faceCount(); ++f)
    for (const std::int32_t v : faces.face(f))
      ++first[v];
  const std::size_t total = exclusivePrefixSum(first.span());
  MxArray<std::uint32_t> around(total);
  MxArray<std::uint32_t> next(vertexCount);
  std::copy(first.begin(), first.begin() + vertexCount, next.begin());
  for (std::size_t f = 0; f < faces.faceCount(); ++f)
    for (const std::int32_t v : faces.face(f))
      around[next[v]++] = static_cast<std::uint32_t>(f);

  const float threshold = std::cos(creaseAngle);
  const auto normalAt = [&](std::size_t f, std::size_t v) {
    SbVec3f sum = faceNormals[f];
    for (std::uint32_t i = first[v]; i < first[v + 1]; ++i) {
      const std::uint32_t other = around[i];
      if (other != f && faceNormals[other].dot(faceNormals[f]) > threshold)
        sum += faceNormals[other];
    }
    return unit(sum);
  };
  normals.resizeUninitialized(3 * faces.triangleCount());
  faces.forEachFaceBlock([&](std::size_t firstFace, std::size_t lastFace) {
    MxArray<SbVec3f> ofFace;
    for (std::size_t f = firstFace; f < lastFace; ++f) {
      const Vertices face = faces.face(f);
      ofFace.resizeUninitialized(face.size());
      for (std::size_t k = 0; k < face.size(); ++k)
        ofFace[k] = normalAt(f, static_cast<std::size_t>(face[k]));
      SbVec3f* out = normals.data() + 3 * faces.triangleFirst(f);
      faces.forEachTriangle(f, [&](std::size_t a, std::size_t b, std::size_t c) {
        *out++ = ofFace[a];
        *out++ = ofFace[b];
        *out++ = ofFace[c];
      });
    }
  });
}
