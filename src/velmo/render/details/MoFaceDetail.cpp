#include <velmo/render/details/MoFaceDetail.h>

MO_DETAIL_SOURCE(MoFaceDetail, SoFaceDetail)
MO_DETAIL_SOURCE(MoFaceDetailI, MoFaceDetail)
MO_DETAIL_SOURCE(MoFaceDetailIj, MoFaceDetail)
MO_DETAIL_SOURCE(MoFaceDetailIjk, MoFaceDetail)

SoDetail* MoFaceDetail::copy() const
{
  return new MoFaceDetail(*this);
}

SoDetail* MoFaceDetailI::copy() const
{
  return new MoFaceDetailI(*this);
}

SoDetail* MoFaceDetailIj::copy() const
{
  return new MoFaceDetailIj(*this);
}

SoDetail* MoFaceDetailIjk::copy() const
{
  return new MoFaceDetailIjk(*this);
}
