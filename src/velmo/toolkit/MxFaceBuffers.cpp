#define GL_GLEXT_PROTOTYPES 1

#include <velmo/toolkit/MxFaceBuffers.h>

#include <algorithm>
#include <cstring>
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

const void* atStart()
{
  return nullptr;
}

} // namespace

void MxFaceBuffers::release()
{
  for (MxGlBuffer& stream : m_streams)
    stream.release();
}

bool MxFaceBuffers::holds(const MxFaceData& data) const
{
  const MxGlBuffer& stream = m_streams[Positions];
  return !stream.isEmpty() && stream.keys()[0] == data.positions.key &&
         (m_layout == MxFaceLayout::Indexed || stream.keys()[1] == data.topology);
}

template <class T>
bool MxFaceBuffers::updateAttribute(Name name, const MxFaceData& data,
                                    const MxFaceAttribute<T>& attribute)
{
  const bool corners = m_layout == MxFaceLayout::Corners;
  const std::size_t count =
      corners ? 3 * data.faces->triangleCount() : data.positions.values.size();
  const std::span<const T> values = attribute.values;
  const auto fill = [&](T* out) {
    if (!corners) {
      mxFillVertices(out, count, values);
      return;
    }
    const std::size_t last = values.size() - 1;
    if (attribute.binding == MxFaceBinding::PerCorner)
      mxFillVertices(out, count, values);
    else if (attribute.binding == MxFaceBinding::PerFace)
      fillCorners(out, *data.faces, [&](std::size_t f, const auto&, std::size_t) {
        return mxInMemory(values[std::min(f, last)]);
      });
    else
      fillCorners(out, *data.faces, [&](std::size_t, const auto& face, std::size_t k) {
        return mxInMemory(values[std::min(static_cast<std::size_t>(face[k]), last)]);
      });
  };
  return m_streams[name].update<T>(
      GL_ARRAY_BUFFER, count,
      {attribute.key, corners ? data.topology : MxArrayKey{nullptr, count, 0}},
      static_cast<int>(attribute.binding), fill);
}

void MxFaceBuffers::bind(const MxFaceData& data, int edgeAttribute, MxUploadCounts& counts)
{
  // An array that is not used now keeps what it has: another style may need it in the same frame.
  if (data.normals.binding != MxFaceBinding::Overall) {
    counts.normals += updateAttribute(Normals, data, data.normals);
    glNormalPointer(GL_FLOAT, 0, atStart());
    glEnableClientState(GL_NORMAL_ARRAY);
  }
  if (data.colors.binding != MxFaceBinding::Overall) {
    counts.colors += updateAttribute(Colors, data, data.colors);
    glColorPointer(4, GL_UNSIGNED_BYTE, 0, atStart());
    glEnableClientState(GL_COLOR_ARRAY);
  }
  if (data.textureCoordinates.binding != MxFaceBinding::Overall) {
    counts.textureCoordinates += updateAttribute(Coordinates, data, data.textureCoordinates);
    glTexCoordPointer(2, GL_FLOAT, 0, atStart());
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
  }
  if (edgeAttribute >= 0) {
    counts.indices += m_streams[EdgeMarks].update<std::uint32_t>(
        GL_ARRAY_BUFFER, 3 * data.faces->triangleCount(), {data.topology, {}}, 0,
        [&](std::uint32_t* out) { fillEdgeMarks(out, *data.faces); });
    const auto attribute = static_cast<GLuint>(edgeAttribute);
    glVertexAttribPointer(attribute, 4, GL_UNSIGNED_BYTE, GL_TRUE, 0, atStart());
    glEnableVertexAttribArray(attribute);
  }
  counts.positions += updateAttribute(Positions, data, data.positions);
  glVertexPointer(3, GL_FLOAT, 0, atStart());
  glEnableClientState(GL_VERTEX_ARRAY);
}

void MxFaceBuffers::drawTriangles(const MxFaceData& data, MxUploadCounts& counts)
{
  const std::size_t count = 3 * data.faces->triangleCount();
  if (count == 0) return;
  if (m_layout == MxFaceLayout::Corners) {
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
  drawElements(GL_LINES, Edges, data, counts);
}

void MxFaceBuffers::drawOpenEdges(const MxFaceData& data, MxUploadCounts& counts)
{
  drawElements(GL_LINES, OpenEdges, data, counts);
}

void MxFaceBuffers::drawPoints(const MxFaceData& data, MxUploadCounts& counts)
{
  drawElements(GL_POINTS, Points, data, counts);
}

void MxFaceBuffers::drawElements(unsigned mode, Name name, const MxFaceData& data,
                                 MxUploadCounts& counts)
{
  MxGlBuffer& stream = m_streams[name];
  const std::array<MxArrayKey, 2> keys{data.topology, MxArrayKey{}};
  if (!stream.isFilledFrom(keys)) {
    const std::size_t vertexCount = data.positions.values.size();
    const MxArray<std::uint32_t> elements =
        name == Edges       ? mxUniqueEdges(*data.faces, vertexCount, m_layout)
        : name == OpenEdges ? mxOpenEdges(*data.faces, vertexCount, m_layout)
                            : mxUsedVertices(*data.faces, vertexCount, m_layout);
    counts.indices += stream.update<std::uint32_t>(
        GL_ELEMENT_ARRAY_BUFFER, elements.size(), keys, 0, [&](std::uint32_t* out) {
          std::memcpy(out, elements.data(), elements.size() * sizeof(std::uint32_t));
        });
  } else {
    stream.makeCurrent(GL_ELEMENT_ARRAY_BUFFER);
  }
  if (stream.itemCount() > 0)
    glDrawElements(mode, static_cast<GLsizei>(stream.itemCount()), GL_UNSIGNED_INT, atStart());
}
