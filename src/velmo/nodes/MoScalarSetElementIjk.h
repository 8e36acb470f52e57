#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/nodes/MoAccumulatedSetElement.h>

/// The scalar sets of structured volumes.
class MoScalarSetElementIjk
    : public MoAccumulatedSetElement<MoScalarSetElementIjk, MiDataSetIjk<double>>
{
  MO_ELEMENT_HEADER(MoScalarSetElementIjk);
  friend class MoAccumulatedSetElement<MoScalarSetElementIjk, MiDataSetIjk<double>>;

protected:
  ~MoScalarSetElementIjk() override = default;
};
