#include <velmo/mesh/MeXTopology.h>

#include <velmo/base/MxCpuBuffer.h>

#include <limits>
#include <stdexcept>

namespace {
void refuseUnlessIndexable(std::size_t indexCount)
{
  if (indexCount > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    throw std::length_error("The extracted mesh needs more than 2147483647 indices.");
}
} // namespace

MeXTopologyExplicitI::MeXTopologyExplicitI(int dimension)
    : m_dimension(dimension), m_buffer(std::make_unique<MxCpuBuffer<int>>()),
      m_indices(m_buffer->array)
{}

MeXTopologyExplicitI::~MeXTopologyExplicitI() = default;

const MxBuffer* MeXTopologyExplicitI::getBuffer() const
{
  return m_buffer.get();
}

MiCellShape MeXTopologyExplicitI::getCellShape(std::size_t cell) const
{
  const std::size_t size = getCellSize(cell);
  switch (m_dimension) {
  case 0:
    return MiCellShape::Vertex;
  case 1:
    return size == 2 ? MiCellShape::Line : MiCellShape::Polyline;
  default:
    break;
  }
  return size == 3 ? MiCellShape::Triangle : size == 4 ? MiCellShape::Quad : MiCellShape::Polygon;
}

void MeXTopologyExplicitI::getCellNodes(std::size_t cell, std::vector<std::size_t>& nodes) const
{
  const std::span<const int> indices = getCell(cell);
  nodes.assign(indices.begin(), indices.end());
}

MbPlainArray<int>& MeXTopologyExplicitI::setUniform(std::size_t cellCount, std::size_t nodesPerCell)
{
  refuseUnlessIndexable(cellCount * (nodesPerCell + 1));
  m_cellCount = cellCount;
  m_uniformSize = nodesPerCell;
  m_begins.clear();
  m_indices.resizeUninitialized(cellCount * (nodesPerCell + 1));
  return m_indices;
}

MbPlainArray<int>& MeXTopologyExplicitI::setMixed(std::size_t cellCount, std::size_t indexCount)
{
  refuseUnlessIndexable(indexCount);
  m_cellCount = cellCount;
  m_uniformSize = 0;
  m_begins.resizeUninitialized(cellCount + 1);
  m_indices.resizeUninitialized(indexCount);
  return m_indices;
}
