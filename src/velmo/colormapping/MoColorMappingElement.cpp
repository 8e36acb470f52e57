#include <velmo/colormapping/MoColorMappingElement.h>

MO_ELEMENT_SOURCE(MoColorMappingElement, SoReplacedElement)

MoColorMappingElement::~MoColorMappingElement() = default;

void MoColorMappingElement::set(SoState* state, SoNode* node, const MiScalarColorMapping* mapping)
{
  if (auto* values = write(state, node))
    *values = MoColorMappingElementValues<MiScalarColorMapping>(mapping);
}

const MiScalarColorMapping* MoColorMappingElement::getColorMapping(SoState* state)
{
  const auto* values = read(state);
  return values ? values->mapping : nullptr;
}
