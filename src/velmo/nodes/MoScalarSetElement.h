#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/nodes/MoAccumulatedSetElement.h>

/// The scalar sets of any numbering.
class MoScalarSetElement
    : public MoAccumulatedSetElement<MoScalarSetElement, MiTypedDataSet<double>>
{
  MO_ELEMENT_HEADER(MoScalarSetElement);
  friend class MoAccumulatedSetElement<MoScalarSetElement, MiTypedDataSet<double>>;

protected:
  ~MoScalarSetElement() override = default;
};
