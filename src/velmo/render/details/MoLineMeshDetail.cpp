#include <velmo/render/details/MoLineMeshDetail.h>

#include <utility>

MO_DETAIL_SOURCE(MoLineMeshDetail, MoMeshRepresentationDetail)

MoLineMeshDetail::MoLineMeshDetail(const MeXLineMeshUnstructured* mesh, ColorSets colorSets)
    : MoMeshRepresentationDetail(*mesh, LINE_MESH_UNSTRUCTURED, std::move(colorSets))
{}

SoDetail* MoLineMeshDetail::copy() const
{
  return new MoLineMeshDetail(*this);
}
