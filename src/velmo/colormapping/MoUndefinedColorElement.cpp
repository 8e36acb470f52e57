#include <velmo/colormapping/MoUndefinedColorElement.h>

MO_ELEMENT_SOURCE(MoUndefinedColorElement, SoReplacedElement)

MoUndefinedColorElement::~MoUndefinedColorElement() = default;

void MoUndefinedColorElement::set(SoState* state, SoNode* node, const SbColorRGBA& color)
{
  if (auto* values = write(state, node)) *values = color;
}

std::optional<SbColorRGBA> MoUndefinedColorElement::get(SoState* state)
{
  const auto* values = read(state);
  return values ? *values : std::nullopt;
}
