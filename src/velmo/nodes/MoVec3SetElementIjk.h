#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/nodes/MoAccumulatedSetElement.h>

/// The vector sets of structured volumes.
class MoVec3SetElementIjk
    : public MoAccumulatedSetElement<MoVec3SetElementIjk, MiDataSetIjk<MbVec3d>>
{
  MO_ELEMENT_HEADER(MoVec3SetElementIjk);
  friend class MoAccumulatedSetElement<MoVec3SetElementIjk, MiDataSetIjk<MbVec3d>>;

protected:
  ~MoVec3SetElementIjk() override = default;
};
