#pragma once

#include <velmo/render/details/MoMeshRepresentationDetail.h>

/// The extracted line mesh that was picked.
class MoLineMeshDetail : public MoMeshRepresentationDetail
{
  MO_DETAIL_HEADER(MoLineMeshDetail);

public:
  MoLineMeshDetail() = default;
  /// All borrowed; see the base class.
  MoLineMeshDetail(const MeXLineMeshUnstructured* mesh, ColorSets colorSets);
  SoDetail* copy() const override;
};
