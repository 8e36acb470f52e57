#include <velmo/nodes/MoTessellatorElement.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiTessellator.h>

MO_ELEMENT_SOURCE(MoTessellatorElement, SoReplacedElement)

void MoTessellatorElement::set(SoState* state, SoNode* node, MiTessellator* tessellator,
                               std::uint64_t nodeTimeStamp)
{
  if (auto* values = write(state, node))
    *values = {tessellator, tessellator ? tessellator->getTimeStamp() : MxTimeStamp::kNone,
               nodeTimeStamp};
}

MiTessellator* MoTessellatorElement::getTessellator(SoState* state, std::uint64_t& nodeTimeStamp)
{
  const auto* values = read(state);
  nodeTimeStamp = values ? values->nodeTimeStamp : MxTimeStamp::kNone;
  return values ? values->tessellator : nullptr;
}
