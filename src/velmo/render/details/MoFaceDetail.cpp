#include <velmo/render/details/MoFaceDetail.h>

MO_DETAIL_SOURCE(MoFaceDetail, SoFaceDetail)
MO_DETAIL_SOURCE(MoFaceDetailI, MoFaceDetail)
MO_DETAIL_SOURCE(MoFaceDetailIj, MoFaceDetail)
MO_DETAIL_SOURCE(MoFaceDetailIjk, MoFaceDetail)
