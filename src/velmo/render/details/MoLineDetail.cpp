#include <velmo/render/details/MoLineDetail.h>

MO_DETAIL_SOURCE(MoLineDetail, SoLineDetail)
MO_DETAIL_SOURCE(MoLineDetailI, MoLineDetail)
MO_DETAIL_SOURCE(MoLineDetailIj, MoLineDetail)
MO_DETAIL_SOURCE(MoLineDetailIjk, MoLineDetail)

SoDetail* MoLineDetail::copy() const
{
  return new MoLineDetail(*this);
}

SoDetail* MoLineDetailI::copy() const
{
  return new MoLineDetailI(*this);
}

SoDetail* MoLineDetailIj::copy() const
{
  return new MoLineDetailIj(*this);
}

SoDetail* MoLineDetailIjk::copy() const
{
  return new MoLineDetailIjk(*this);
}
