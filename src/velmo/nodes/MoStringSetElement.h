#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/nodes/MoAccumulatedSetElement.h>

/// The string sets of any numbering.
class MoStringSetElement
    : public MoAccumulatedSetElement<MoStringSetElement, MiTypedDataSet<std::string>>
{
  MO_ELEMENT_HEADER(MoStringSetElement);
  friend class MoAccumulatedSetElement<MoStringSetElement, MiTypedDataSet<std::string>>;

protected:
  ~MoStringSetElement() override = default;
};
