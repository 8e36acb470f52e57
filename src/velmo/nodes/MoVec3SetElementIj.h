#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/nodes/MoAccumulatedSetElement.h>

/// The vector sets of structured surfaces.
class MoVec3SetElementIj : public MoAccumulatedSetElement<MoVec3SetElementIj, MiDataSetIj<MbVec3d>>
{
  MO_ELEMENT_HEADER(MoVec3SetElementIj);
  friend class MoAccumulatedSetElement<MoVec3SetElementIj, MiDataSetIj<MbVec3d>>;

protected:
  ~MoVec3SetElementIj() override = default;
};
