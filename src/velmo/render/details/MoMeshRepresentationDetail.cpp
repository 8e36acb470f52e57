#include <velmo/render/details/MoMeshRepresentationDetail.h>

#include <velmo/render/details/MxPickedValues.h>

MO_DETAIL_SOURCE(MoMeshRepresentationDetail, SoDetail)

SoDetail* MoMeshRepresentationDetail::copy() const
{
  return new MoMeshRepresentationDetail(*this);
}

MoPickedCell MoMeshRepresentationDetail::getPickedCell(std::size_t extractedCell,
                                                       std::size_t firstNode) const
{
  MoPickedCell cell;
  cell.extractedCell = extractedCell;
  if (m_provenance && extractedCell < m_provenance->cells.size()) {
    const bool isAlongLine = firstNode < m_provenance->nodeCells.size();
    cell.sourceCell =
        isAlongLine ? m_provenance->nodeCells[firstNode] : m_provenance->cells[extractedCell];
    cell.sourceCells = m_provenance->sourceCells;
  }
  return cell;
}

std::vector<double> MoMeshRepresentationDetail::computeValues(const SbVec3f& point,
                                                              std::size_t cellIndex) const
{
  const auto values = getPickedValues(cellIndex);
  return values ? values->valuesAt({point[0], point[1], point[2]}) : std::vector<double>();
}

std::shared_ptr<const MxPickedValues>
MoMeshRepresentationDetail::getPickedValues(std::size_t extractedCell) const
{
  if (!m_mesh) return nullptr;
  if (!m_last || m_last->cell() != extractedCell)
    m_last = std::make_shared<MxPickedValues>(*m_topology, *m_geometry, *m_provenance, m_colorSets,
                                              extractedCell);
  return m_last;
}
