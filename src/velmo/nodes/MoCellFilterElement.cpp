#include <velmo/nodes/MoCellFilterElement.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>

MO_ELEMENT_SOURCE(MoCellFilterElement, SoReplacedElement)

void MoCellFilterElement::set(SoState* state, SoNode* node, CellFilterType type,
                              const MiCellFilter* filter)
{
  if (auto* values = write(state, node))
    *values = {filter, filter ? filter->getTimeStamp() : MxTimeStamp::kNone, type};
}

const MiCellFilter* MoCellFilterElement::getCellFilter(SoState* state, CellFilterType& type)
{
  const auto* values = read(state);
  type = values ? values->type : CELL_FILTER_NONE;
  return values ? values->filter : nullptr;
}
