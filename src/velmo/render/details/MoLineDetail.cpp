#include <velmo/render/details/MoLineDetail.h>

MO_DETAIL_SOURCE(MoLineDetail, SoLineDetail)
MO_DETAIL_SOURCE(MoLineDetailI, MoLineDetail)
MO_DETAIL_SOURCE(MoLineDetailIj, MoLineDetail)
MO_DETAIL_SOURCE(MoLineDetailIjk, MoLineDetail)
