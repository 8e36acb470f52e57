#pragma once

#include <velmo/render/details/MoCellDetail.h>
#include <velmo/toolkit/classes/MoClassMacros.h>

/// The picked line of an extracted mesh.
class MoLineDetail : public MoCellDetail<SoLineDetail>
{
  MO_DETAIL_HEADER(MoLineDetail);

public:
  MoLineDetail() = default;
  /// @param mesh  the mesh that the picked shape draws; null when it is not known
  MoLineDetail(const SoLineDetail& detail, const MoMeshRepresentationDetail* mesh)
      : MoCellDetail(detail, mesh)
  {}
  SoDetail* copy() const override { return new MoLineDetail(*this); }
};

class MoLineDetailI : public MoCellDetailI<MoLineDetailI, MoLineDetail>
{
  MO_DETAIL_HEADER(MoLineDetailI);

public:
  using MoCellDetailI::MoCellDetailI;
};

class MoLineDetailIj : public MoCellDetailIj<MoLineDetailIj, MoLineDetail>
{
  MO_DETAIL_HEADER(MoLineDetailIj);

public:
  using MoCellDetailIj::MoCellDetailIj;
};

class MoLineDetailIjk : public MoCellDetailIjk<MoLineDetailIjk, MoLineDetail>
{
  MO_DETAIL_HEADER(MoLineDetailIjk);

public:
  using MoCellDetailIjk::MoCellDetailIjk;
};
