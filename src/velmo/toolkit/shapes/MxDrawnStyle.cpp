#include <velmo/toolkit/shapes/MxDrawnStyle.h>

#include <Inventor/actions/SoCallbackAction.h>

SoDrawStyleElement::Style mxDrawnStyle(SoAction* action)
{
  return action->isOfType(SoCallbackAction::getClassTypeId())
             ? SoDrawStyleElement::get(action->getState())
             : SoDrawStyleElement::FILLED;
}
