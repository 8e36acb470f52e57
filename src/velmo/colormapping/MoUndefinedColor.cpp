#include <velmo/colormapping/MoUndefinedColor.h>

#include <velmo/colormapping/MoUndefinedColorElement.h>

#include <Inventor/actions/SoAction.h>

MO_NODE_SOURCE(MoUndefinedColor, MoActionNode)

MoUndefinedColor::MoUndefinedColor()
{
  SO_NODE_CONSTRUCTOR(MoUndefinedColor);
  SO_NODE_ADD_FIELD(color, (0.5f, 0.5f, 0.5f));
  SO_NODE_ADD_FIELD(transparency, (0));
}

MoUndefinedColor::~MoUndefinedColor() = default;

void MoUndefinedColor::doAction(SoAction* action)
{
  MoUndefinedColorElement::set(action->getState(), this,
                               SbColorRGBA(color.getValue(), 1 - transparency.getValue()));
}
