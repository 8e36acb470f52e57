#include <velmo/toolkit/shapes/TkBBoxSeparator.h>

#include <velmo/toolkit/shapes/SoBBox.h>

#include <Inventor/actions/SoGetBoundingBoxAction.h>

MO_NODE_SOURCE(TkBBoxSeparator, SoSeparator)

TkBBoxSeparator::TkBBoxSeparator()
{
  SO_NODE_CONSTRUCTOR(TkBBoxSeparator);
}

void TkBBoxSeparator::getBoundingBox(SoGetBoundingBoxAction* action)
{
  // A path that goes on below asks for the box of a part, which only the children know.
  const SoAction::PathCode code = action->getCurPathCode();
  if (code == SoAction::NO_PATH || code == SoAction::BELOW_PATH) {
    for (int i = 0; i < getNumChildren(); ++i) {
      if (!getChild(i)->isOfType(SoBBox::getClassTypeId())) continue;
      const auto* node = static_cast<const SoBBox*>(getChild(i));
      if (node->mode.getValue() == SoBBox::NONE) return;
      if (node->mode.getValue() != SoBBox::EXPLICIT) break;
      const SbBox3f& box = node->box.getValue();
      if (box.isEmpty()) return;
      action->extendBy(box);
      action->setCenter(box.getCenter(), TRUE);
      return;
    }
  }
  inherited::getBoundingBox(action);
}
