#define GL_GLEXT_PROTOTYPES 1

#include <velmo/toolkit/shapes/MxLineBuffers.h>

#include <Inventor/system/gl.h>

#include <cstring>

namespace {

// The places of all vertices in the index list.
MxArray<std::uint32_t> usedPlaces(const MxLineTable& lines, std::size_t placeCount)
{
  MxArray<std::uint32_t> places(placeCount);
  std::uint32_t* out = places.data();
  for (std::size_t l = 0; l < lines.lineCount(); ++l)
    for (std::size_t k = 0; k < lines.line(l).size(); ++k)
      *out++ = static_cast<std::uint32_t>(lines.positionOf(l) + k);
  places.resize(static_cast<std::size_t>(out - places.data()));
  return places;
}

/// One value for each place in the index list.
struct FillLines
{
  const MxLineTable* lines;

  template <class T>
  void operator()(T* out, const MxFaceAttribute<T>& attribute) const
  {
    const std::span<const T> values = attribute.values;
    const bool perLine = attribute.binding == MxFaceBinding::PerFace;
    lines->forEachLineBlock([&](std::size_t first, std::size_t last) {
      for (std::size_t l = first; l < last; ++l) {
        const auto line = lines->line(l);
        for (std::size_t k = 0; k < line.size(); ++k) {
          const std::size_t item = perLine ? l : static_cast<std::size_t>(line[k]);
          out[lines->positionOf(l) + k] = mxInMemory(values[std::min(item, values.size() - 1)]);
        }
      }
    });
  }
};

} // namespace

MxArray<std::uint32_t> mxUsedVertices(const MxLineTable& lines, std::size_t vertexCount)
{
  std::vector<bool> used(vertexCount);
  for (std::size_t l = 0; l < lines.lineCount(); ++l)
    for (const std::int32_t v : lines.line(l))
      used[static_cast<std::size_t>(v)] = true;
  MxArray<std::uint32_t> vertices(
      static_cast<std::size_t>(std::count(used.begin(), used.end(), true)));
  std::uint32_t* out = vertices.data();
  for (std::size_t v = 0; v < vertexCount; ++v)
    if (used[v]) *out++ = static_cast<std::uint32_t>(v);
  return vertices;
}

void MxLineBuffers::bind(const MxLineData& data, int tangentAttribute, MxUploadCounts& counts)
{
  const FillLines fillLines{data.lines};
  if (tangentAttribute >= 0) {
    const auto attribute = static_cast<GLuint>(tangentAttribute);
    if (data.tangents.binding == MxFaceBinding::Overall) {
      glVertexAttrib3fv(attribute, data.tangents.values.front().getValue());
    } else {
      counts.tangents +=
          updateAttribute(Tangents, data, data.tangents, data.topology.count, fillLines);
      glVertexAttribPointer(attribute, 3, GL_FLOAT, GL_FALSE, 0, atStart());
      glEnableVertexAttribArray(attribute);
    }
  }
  bindVertices(data, data.topology.count, fillLines, counts);
}

void MxLineBuffers::drawLines(const MxLineData& data, bool strips, MxUploadCounts& counts)
{
  const MxLineTable& lines = *data.lines;
  if (lines.segmentCount() == 0) return;
  if (strips && lines.hasBends()) {
    drawStrips(data, counts);
    return;
  }
  const bool corners = hasCorners();
  const std::size_t count = 2 * lines.segmentCount();
  counts.indices += m_streams[Segments].update<std::uint32_t>(
      GL_ELEMENT_ARRAY_BUFFER, count, {data.topology, {}}, 0, [&](std::uint32_t* all) {
        lines.forEachLineBlock([&](std::size_t first, std::size_t last) {
          std::uint32_t* out = all + 2 * lines.segmentFirst(first);
          for (std::size_t l = first; l < last; ++l) {
            const auto line = lines.line(l);
            const std::size_t base = lines.positionOf(l);
            for (std::size_t k = 0; k + 1 < line.size(); ++k) {
              *out++ = static_cast<std::uint32_t>(corners ? base + k : line[k]);
              *out++ = static_cast<std::uint32_t>(corners ? base + k + 1 : line[k + 1]);
            }
          }
        });
      });
  glDrawElements(GL_LINES, static_cast<GLsizei>(count), GL_UNSIGNED_INT, atStart());
}

void MxLineBuffers::drawStrips(const MxLineData& data, MxUploadCounts& counts)
{
  const MxLineTable& lines = *data.lines;
  if (m_stripSizes.empty() || m_stripKey != data.topology) {
    m_stripSizes.clear();
    m_stripFirsts.clear();
    m_stripOffsets.clear();
    for (std::size_t l = 0; l < lines.lineCount(); ++l) {
      if (lines.line(l).size() < 2) continue;
      m_stripSizes.push_back(static_cast<int>(lines.line(l).size()));
      m_stripFirsts.push_back(static_cast<int>(lines.positionOf(l)));
      m_stripOffsets.push_back(static_cast<const char*>(atStart()) +
                               lines.positionOf(l) * sizeof(std::uint32_t));
    }
    m_stripKey = data.topology;
  }
  const auto stripCount = static_cast<GLsizei>(m_stripSizes.size());
  if (hasCorners()) {
    glMultiDrawArrays(GL_LINE_STRIP, m_stripFirsts.data(), m_stripSizes.data(), stripCount);
    return;
  }
  // The index list as it is: each strip leaves out the end mark behind it.
  counts.indices += m_streams[List].update<std::uint32_t>(
      GL_ELEMENT_ARRAY_BUFFER, data.topology.count, {data.topology, {}}, 0,
      [&](std::uint32_t* out) {
        std::memcpy(out, data.topology.data, data.topology.count * sizeof(std::uint32_t));
      });
  glMultiDrawElements(GL_LINE_STRIP, m_stripSizes.data(), GL_UNSIGNED_INT, m_stripOffsets.data(),
                      stripCount);
}

void MxLineBuffers::drawPoints(const MxLineData& data, MxUploadCounts& counts)
{
  if (!data.lines) {
    glDrawArrays(GL_POINTS, 0, static_cast<GLsizei>(data.pointCount));
    return;
  }
  drawElements(
      GL_POINTS, Points, data.topology,
      [&] {
        return hasCorners() ? usedPlaces(*data.lines, data.topology.count)
                            : mxUsedVertices(*data.lines, data.positions.values.size());
      },
      counts);
}
