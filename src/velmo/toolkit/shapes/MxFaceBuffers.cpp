#define GL_GLEXT_PROTOTYPES 1

#include <velmo/toolkit/shapes/MxFaceBuffers.h>

#include <algorithm>
#include <Inventor/system/gl.h>

namespace {

// Calls valueOf(f, k) for each triangle corner: its face and its place there.
template <class T, class ValueOf>
void fillCorners(T* out, const MxFaceTable& faces, const ValueOf& valueOf)
{
  faces.forEachFaceBlock([&](std::size_t first, std::size_t last) {
    for (std::size_t f = first; f < last; ++f) {
      const auto face = faces.face(f);
      T* corner = out + 3 * faces.triangleFirst(f);
      faces.forEachTriangle(f, [&](std::size_t a, std::size_t b, std::size_t c) {
        *corner++ = valueOf(f, face, a);
        *corner++ = valueOf(f, face, b);
        *corner++ = valueOf(f, face, c);
      });
    }
  });
}

// One byte for each side of the triangle, 0 at its two corners and 255 at the third; 255 everywhere
// for a diagonal. Interpolated, it tells the distance from the side.
void fillEdgeMarks(std::uint32_t* out, const MxFaceTable& faces)
{
  constexpr std::uint32_t kSide[3] = {0x000000ff, 0x0000ff00, 0x00ff0000}; // opposite of a corner
  const auto mark = [](std::uint32_t bytes) {
    return std::endian::native == std::endian::big ? __builtin_bswap32(bytes) : bytes;
  };
  faces.forEachFaceBlock([&](std::size_t first, std::size_t last) {
    for (std::size_t f = first; f < last; ++f) {
      const std::size_t count = faces.face(f).size();
      std::uint32_t* corner = out + 3 * faces.triangleFirst(f);
      const auto isDiagonal = [count](std::size_t a, std::size_t b) {
        return (a + 1) % count != b && (b + 1) % count != a;
      };
      faces.forEachTriangle(f, [&](std::size_t a, std::size_t b, std::size_t c) {
        const std::uint32_t hidden = (isDiagonal(b, c) ? kSide[0] : 0) |
                                     (isDiagonal(c, a) ? kSide[1] : 0) |
                                     (isDiagonal(a, b) ? kSide[2] : 0);
        for (const std::uint32_t own : kSide)
          *corner++ = mark(own | hidden);
      });
    }
  });
}

/// One value for each corner of each triangle.
struct FillTriangles
{
  const MxFaceTable& faces;

  template <class T>
  void operator()(T* out, const MxFaceAttribute<T>& attribute) const
  {
    const std::span<const T> values = attribute.values;
    const std::size_t last = values.size() - 1;
    if (attribute.binding == MxFaceBinding::PerCorner)
      mxFillVertices(out, 3 * faces.triangleCount(), values);
    else if (attribute.binding == MxFaceBinding::PerFace)
      fillCorners(out, faces, [&](std::size_t f, const auto&, std::size_t) {
        return mxInMemory(values[std::min(f, last)]);
      });
    else
      fillCorners(out, faces, [&](std::size_t, const auto& face, std::size_t k) {
        return mxInMemory(values[std::min(static_cast<std::size_t>(face[k]), last)]);
      });
  }
};

} // namespace

void MxFaceBuffers::bind(const MxFaceData& data, int edgeAttribute, MxUploadCounts& counts)
{
  const FillTriangles fillTriangles{*data.faces};
  const std::size_t cornerCount = 3 * data.faces->triangleCount();
  if (data.normals.binding != MxFaceBinding::Overall) {
    counts.normals += updateAttribute(Normals, data, data.normals, cornerCount, fillTriangles);
    glNormalPointer(GL_FLOAT, 0, atStart());
    glEnableClientState(GL_NORMAL_ARRAY);
  }
  if (edgeAttribute >= 0) {
    counts.indices += m_streams[EdgeMarks].update<std::uint32_t>(
        GL_ARRAY_BUFFER, cornerCount, {data.topology, {}}, 0,
        [&](std::uint32_t* out) { fillEdgeMarks(out, *data.faces); });
    const auto attribute = static_cast<GLuint>(edgeAttribute);
    glVertexAttribPointer(attribute, 4, GL_UNSIGNED_BYTE, GL_TRUE, 0, atStart());
    glEnableVertexAttribArray(attribute);
  }
  bindVertices(data, cornerCount, fillTriangles, counts);
}

void MxFaceBuffers::drawTriangles(const MxFaceData& data, MxUploadCounts& counts)
{
  const std::size_t count = 3 * data.faces->triangleCount();
  if (count == 0) return;
  if (hasCorners()) {
    glDrawArrays(GL_TRIANGLES, 0, static_cast<GLsizei>(count));
    return;
  }
  counts.indices += m_streams[Triangles].update<std::uint32_t>(
      GL_ELEMENT_ARRAY_BUFFER, count, {data.topology, {}}, 0, [&](std::uint32_t* out) {
        fillCorners(out, *data.faces, [](std::size_t, const auto& face, std::size_t k) {
          return static_cast<std::uint32_t>(face[k]);
        });
      });
  glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(count), GL_UNSIGNED_INT, atStart());
}

void MxFaceBuffers::drawEdges(const MxFaceData& data, MxUploadCounts& counts)
{
  drawElements(
      GL_LINES, Edges, data.topology,
      [&] { return mxUniqueEdges(*data.faces, data.positions.values.size(), m_layout); }, counts);
}

void MxFaceBuffers::drawOpenEdges(const MxFaceData& data, MxUploadCounts& counts)
{
  drawElements(
      GL_LINES, OpenEdges, data.topology,
      [&] { return mxOpenEdges(*data.faces, data.positions.values.size(), m_layout); }, counts);
}

void MxFaceBuffers::drawPoints(const MxFaceData& data, MxUploadCounts& counts)
{
  drawElements(
      GL_POINTS, Points, data.topology,
      [&] { return mxUsedVertices(*data.faces, data.positions.values.size(), m_layout); }, counts);
}
