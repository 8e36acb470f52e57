#include <velmo/render/details/MoMeshDetail.h>

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/details/MoLineDetail.h>

MO_DETAIL_SOURCE(MoMeshDetail, SoDetail)

namespace {

template <class Detail, class DetailI, class DetailIj, class DetailIjk>
Detail* specialize(const Detail& detail, MeshType type)
{
  Detail* special = nullptr;
  const MoPickedCell& cell = detail.getPickedCell();
  if (cell.sourceCell == MoPickedCell::kNone) return nullptr;
  visitMeshKind(MxAllKinds{}, type, [&]<MeshType K>() {
    constexpr MxIndexing indexing = MxMeshKind<K>::kIndexing;
    std::size_t i, j, k;
    if constexpr (indexing == MxIndexing::I) {
      special = new DetailI(detail);
    } else if constexpr (indexing == MxIndexing::Ij) {
      MoMeshDetail::computeIj(cell.sourceCell, cell.sourceCells, i, j);
      special = new DetailIj(detail, i, j);
    } else {
      MoMeshDetail::computeIjk(cell.sourceCell, cell.sourceCells, i, j, k);
      special = new DetailIjk(detail, MbIndex3{i, j, k});
    }
  });
  return special;
}

std::size_t atLeastOne(std::size_t count)
{
  return count > 0 ? count : 1;
}

} // namespace

SoDetail* MoMeshDetail::copy() const
{
  return new MoMeshDetail(*this);
}

void MoMeshDetail::setMesh(const MiMesh* mesh, MeshType type)
{
  m_mesh = mesh;
  m_type = type;
}

const MiTypedDataSet<double>* MoMeshDetail::getColorScalarSet(std::size_t index) const
{
  return index < m_colorSets.size() ? m_colorSets[index] : nullptr;
}

MoFaceDetail* MoMeshDetail::specilizeFaceDetail(const MoFaceDetail& face) const
{
  return specialize<MoFaceDetail, MoFaceDetailI, MoFaceDetailIj, MoFaceDetailIjk>(face, m_type);
}

MoLineDetail* MoMeshDetail::specilizeLineDetail(const MoLineDetail& line) const
{
  return specialize<MoLineDetail, MoLineDetailI, MoLineDetailIj, MoLineDetailIjk>(line, m_type);
}

void MoMeshDetail::computeIj(std::size_t cell, const MbIndex3& cells, std::size_t& i,
                             std::size_t& j)
{
  const std::size_t ni = atLeastOne(cells.x);
  i = cell % ni;
  j = cell / ni;
}

void MoMeshDetail::computeIjk(std::size_t cell, const MbIndex3& cells, std::size_t& i,
                              std::size_t& j, std::size_t& k)
{
  computeIj(cell, cells, i, j);
  k = j / atLeastOne(cells.y);
  j %= atLeastOne(cells.y);
}
