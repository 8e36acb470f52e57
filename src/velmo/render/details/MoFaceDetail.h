#pragma once

#include <velmo/render/details/MoCellDetail.h>
#include <velmo/toolkit/classes/MoClassMacros.h>

/// The picked face of an extracted mesh.
class MoFaceDetail : public MoCellDetail<SoFaceDetail>
{
  MO_DETAIL_HEADER(MoFaceDetail);

public:
  MoFaceDetail() = default;
  /// @param mesh  the mesh that the picked shape draws; null when it is not known
  MoFaceDetail(const SoFaceDetail& detail, const MoMeshRepresentationDetail* mesh)
      : MoCellDetail(detail, mesh)
  {}
  SoDetail* copy() const override { return new MoFaceDetail(*this); }
};

class MoFaceDetailI : public MoCellDetailI<MoFaceDetailI, MoFaceDetail>
{
  MO_DETAIL_HEADER(MoFaceDetailI);

public:
  using MoCellDetailI::MoCellDetailI;
};

class MoFaceDetailIj : public MoCellDetailIj<MoFaceDetailIj, MoFaceDetail>
{
  MO_DETAIL_HEADER(MoFaceDetailIj);

public:
  using MoCellDetailIj::MoCellDetailIj;
};

class MoFaceDetailIjk : public MoCellDetailIjk<MoFaceDetailIjk, MoFaceDetail>
{
  MO_DETAIL_HEADER(MoFaceDetailIjk);

public:
  using MoCellDetailIjk::MoCellDetailIjk;
};
