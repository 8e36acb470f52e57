#include <velmo/nodes/MoDataBindingElement.h>

MO_ELEMENT_SOURCE(MoDataBindingElement, SoReplacedElement)

void MoDataBindingElement::set(SoState* state, SoNode* node, MoDataBinding::DataBinding binding)
{
  if (auto* values = write(state, node)) values->binding = binding;
}

MoDataBinding::DataBinding MoDataBindingElement::getDataBinding(SoState* state)
{
  const auto* values = read(state);
  return values ? values->binding : MoDataBinding::AUTO;
}
