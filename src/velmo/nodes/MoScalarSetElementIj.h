#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/nodes/MoAccumulatedSetElement.h>

/// The scalar sets of structured surfaces.
class MoScalarSetElementIj
    : public MoAccumulatedSetElement<MoScalarSetElementIj, MiDataSetIj<double>>
{
  MO_ELEMENT_HEADER(MoScalarSetElementIj);
  friend class MoAccumulatedSetElement<MoScalarSetElementIj, MiDataSetIj<double>>;

protected:
  ~MoScalarSetElementIj() override = default;
};
