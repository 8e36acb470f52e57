#include <velmo/mesh/MbTopology.h>

#include <velmo/mesh/MbCounts.h>

#include <algorithm>

namespace {
void require(bool condition, const char* message)
{
  if (!condition) throw std::invalid_argument(message);
}

std::size_t cellCountOf(const MbCellArrays& arrays)
{
  if (arrays.offsets) return arrays.offsets.size() - 1;
  const std::size_t nodeCount = cellShapeFacts(arrays.uniformShape).nodeCount;
  if (nodeCount != 0) return arrays.connectivity.size() / nodeCount;
  require(!arrays.connectivity && !arrays.shapes,
          "Cells need offsets or a shape with a fixed node count.");
  return 0;
}

// Replaces `out` by items [first, last), or by nothing when the array does not hold them.
void copyRange(const MiArrayView& array, std::size_t first, std::size_t last,
               std::vector<std::size_t>& out)
{
  out.clear();
  if (first > last || last > array.count) return;
  out.reserve(last - first);
  for (std::size_t item = first; item < last; ++item)
    out.push_back(mbIndex(array, item));
}
} // namespace

MbTopologyI::MbTopologyI(MiCellShape shape, MbNumbers connectivity, MbNumbers active)
    : MbTopologyI(MbCellArrays{.connectivity = std::move(connectivity),
                               .offsets = {},
                               .shapes = {},
                               .uniformShape = shape,
                               .faces = {},
                               .faceOffsets = {},
                               .active = std::move(active)})
{}

MbTopologyI::MbTopologyI(MbNumbers shapes, MbNumbers offsets, MbNumbers connectivity,
                         MbNumbers active)
    : MbTopologyI(MbCellArrays{.connectivity = std::move(connectivity),
                               .offsets = std::move(offsets),
                               .shapes = std::move(shapes),
                               .uniformShape = MiCellShape::Empty,
                               .faces = {},
                               .faceOffsets = {},
                               .active = std::move(active)})
{}

MbTopologyI::MbTopologyI(MbCellArrays arrays)
    : MbTopology(cellCountOf(arrays), arrays.active), m_arrays(std::move(arrays)),
      m_cellCount(cellCountOf(m_arrays))
{
  const MbCellArrays& own = m_arrays;
  require(own.shapes ? own.shapes.size() >= m_cellCount
                     : m_cellCount == 0 || own.uniformShape != MiCellShape::Empty,
          "Cells need a shape each, or one shape for all.");
  require(!own.faceOffsets || own.faceOffsets.size() > m_cellCount,
          "The array of face offsets is shorter than the cells.");
  m_view.connectivity = own.connectivity.getView();
  m_view.offsets = own.offsets.getView();
  m_view.shapes = own.shapes.getView();
  m_view.uniformShape = own.uniformShape;
  if (own.faces && own.faceOffsets) {
    m_view.faces = own.faces.getView();
    m_view.faceOffsets = own.faceOffsets.getView();
  }
  m_view.active = own.active.getView();
}

MiCellShape MbTopologyI::getCellShape(std::size_t cell) const
{
  if (!m_view.shapes) return m_view.uniformShape;
  constexpr std::size_t kUnknown = 255;
  return static_cast<MiCellShape>(std::min(mbIndex(m_view.shapes, cell), kUnknown));
}

void MbTopologyI::getCellNodes(std::size_t cell, std::vector<std::size_t>& nodes) const
{
  if (m_view.offsets) {
    copyRange(m_view.connectivity, mbIndex(m_view.offsets, cell), mbIndex(m_view.offsets, cell + 1),
              nodes);
  } else {
    const std::size_t count = cellShapeFacts(m_view.uniformShape).nodeCount;
    copyRange(m_view.connectivity, cell * count, (cell + 1) * count, nodes);
  }
}

void MbTopologyI::getCellFaces(std::size_t cell, std::vector<std::size_t>& stream) const
{
  stream.clear();
  if (m_view.faceOffsets)
    copyRange(m_view.faces, mbIndex(m_view.faceOffsets, cell),
              mbIndex(m_view.faceOffsets, cell + 1), stream);
}

MbTopologyRow::MbTopologyRow(std::size_t cellCount, MbNumbers active)
    : MbTopology(mbProduct({cellCount, 1, 1}), std::move(active)), m_cellCount(cellCount)
{}

MbTopologyIj::MbTopologyIj(std::size_t cellCountI, std::size_t cellCountJ, MbNumbers active)
    : MbTopology(mbProduct({cellCountI, cellCountJ, 1}), std::move(active)), m_countI(cellCountI),
      m_countJ(cellCountJ)
{}

template <class Interface>
MbTopologyIjkOf<Interface>::MbTopologyIjkOf(MbIndex3 cellCounts, MbNumbers active)
    : MbTopology<Interface>(mbProduct(cellCounts), std::move(active)), m_counts(cellCounts)
{}

template class MbTopologyIjkOf<MiTopologyIjk>;
template class MbTopologyIjkOf<MiTopologyHexahedronIjk>;

MbTopologyHexahedronIjk::MbTopologyHexahedronIjk(MbIndex3 cellCounts, MbNumbers connectivity,
                                                 MbNumbers active)
    : MbTopologyIjkOf(cellCounts, std::move(active)), m_connectivity(std::move(connectivity))
{
  require(m_connectivity.size() / 8 >= mbProduct(cellCounts),
          "The connectivity needs eight nodes for every cell.");
}

void MbTopologyHexahedronIjk::getCellNodes(std::size_t i, std::size_t j, std::size_t k,
                                           std::size_t (&nodes)[8]) const
{
  const std::size_t first = 8 * flat(i, j, k);
  for (std::size_t n = 0; n < 8; ++n)
    nodes[n] = mbIndex(m_connectivity.getView(), first + n);
}
