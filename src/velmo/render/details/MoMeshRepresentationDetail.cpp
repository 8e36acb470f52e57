#include <velmo/render/details/MoMeshRepresentationDetail.h>

#include <utility>

MO_DETAIL_SOURCE(MoMeshRepresentationDetail, SoDetail)

MoMeshRepresentationDetail::MoMeshRepresentationDetail(const MiMesh* mesh, MeshType type,
                                                       const MeXProvenance* provenance,
                                                       ColorSets colorSets)
    : m_mesh(mesh), m_type(type), m_provenance(provenance), m_colorSets(std::move(colorSets))
{}

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
