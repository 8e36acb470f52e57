#include <velmo/render/details/MoSurfaceMeshDetail.h>

#include <utility>

MO_DETAIL_SOURCE(MoSurfaceMeshDetail, MoMeshRepresentationDetail)

MoSurfaceMeshDetail::MoSurfaceMeshDetail(const MeXSurfaceMeshUnstructured* mesh,
                                         ColorSets colorSets)
    : MoMeshRepresentationDetail(*mesh, SURFACE_MESH_UNSTRUCTURED, std::move(colorSets))
{}

SoDetail* MoSurfaceMeshDetail::copy() const
{
  return new MoSurfaceMeshDetail(*this);
}
