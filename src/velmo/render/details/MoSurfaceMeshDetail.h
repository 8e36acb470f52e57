#pragma once

#include <velmo/render/details/MoMeshRepresentationDetail.h>

/// The extracted surface mesh that was picked.
class MoSurfaceMeshDetail : public MoMeshRepresentationDetail
{
  MO_DETAIL_HEADER(MoSurfaceMeshDetail);

public:
  MoSurfaceMeshDetail() = default;
  /// All borrowed; see the base class.
  MoSurfaceMeshDetail(const MeXSurfaceMeshUnstructured* mesh, ColorSets colorSets);
  SoDetail* copy() const override;
};
