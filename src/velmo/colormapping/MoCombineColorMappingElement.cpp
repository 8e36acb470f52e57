#include <velmo/colormapping/MoCombineColorMappingElement.h>

MO_ELEMENT_SOURCE(MoCombineColorMappingElement, SoReplacedElement)

MoCombineColorMappingElement::~MoCombineColorMappingElement() = default;

void MoCombineColorMappingElement::set(SoState* state, SoNode* node,
                                       const MiCombineColorMapping* mapping)
{
  if (auto* values = write(state, node))
    *values = MoColorMappingElementValues<MiCombineColorMapping>(mapping);
}

const MiCombineColorMapping* MoCombineColorMappingElement::getColorMapping(SoState* state)
{
  const auto* values = read(state);
  return values ? values->mapping : nullptr;
}
