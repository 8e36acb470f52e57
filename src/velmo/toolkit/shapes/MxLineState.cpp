#include <velmo/toolkit/shapes/MxLineState.h>
#include <velmo/toolkit/shapes/TkVertexProperty.h>

#include <Inventor/nodes/SoIndexedShape.h>

MxLineState::MxLineState(SoVertexShape& shape, SoIndexedShape* indexed)
    : MxShapeState(shape, indexed), m_indexed(indexed)
{}

bool MxLineState::read(SoState* state, int pointCount)
{
  m_data = {};
  if (!readPositions(state)) return false;
  const std::size_t vertexCount = m_data.positions.values.size();
  if (!m_indexed) {
    m_data.pointCount =
        pointCount < 0 ? vertexCount : std::min(static_cast<std::size_t>(pointCount), vertexCount);
    return true;
  }
  const MxArrayKey& topology = m_data.topology;
  if (m_linesStamp == 0 || m_linesFrom != topology || m_linesVertexCount != vertexCount) {
    m_lines.build({m_indexed->coordIndex.getValues(0), topology.count}, vertexCount);
    m_linesFrom = topology;
    m_linesVertexCount = vertexCount;
    m_linesStamp = MxFieldStamp::next();
  }
  m_data.lines = &m_lines;
  return true;
}

bool MxLineState::readTangents()
{
  SoVertexProperty* base = vertexProperty();
  auto* property = base && base->isOfType(TkVertexProperty::getClassTypeId())
                       ? static_cast<TkVertexProperty*>(base)
                       : nullptr;
  m_tangents.watch(property ? &property->tangent : nullptr);
  const int count = property ? property->tangent.getNum() : 0;
  if (count == 0) return false;
  const SbVec3f* values = property->tangent.getValues(0);
  m_data.tangents.values = {values, static_cast<std::size_t>(count)};
  m_data.tangents.key = {values, m_data.tangents.values.size(), m_tangents.get()};
  switch (property->tangentBinding.getValue()) {
  case SoVertexProperty::PER_VERTEX:
  case SoVertexProperty::PER_VERTEX_INDEXED:
    m_data.tangents.binding = MxFaceBinding::PerVertex;
    break;
  case SoVertexProperty::PER_FACE:
  case SoVertexProperty::PER_FACE_INDEXED:
    m_data.tangents.binding = m_indexed ? MxFaceBinding::PerFace : MxFaceBinding::PerVertex;
    break;
  default:
    break;
  }
  return true;
}

const MxBoxTree& MxLineState::tree()
{
  const auto positions = m_data.positions.values;
  const auto boxOf = [&](std::initializer_list<std::size_t> vertices) {
    MxBox3d box = MxBox3d::empty();
    for (const std::size_t v : vertices)
      box.extendBy(positions[v].getValue());
    return box;
  };
  if (!m_indexed)
    return m_tree.get(m_data.positions.key, m_data.pointCount, m_data.pointCount,
                      [&](std::size_t p) { return boxOf({p}); });
  return m_tree.get(
      m_data.positions.key, m_linesStamp, m_lines.segmentCount(), [&](std::size_t segment) {
        const std::size_t l = m_lines.lineOf(segment);
        const auto* ends = &m_lines.line(l)[segment - m_lines.segmentFirst(l)];
        return boxOf({static_cast<std::size_t>(ends[0]), static_cast<std::size_t>(ends[1])});
      });
}
