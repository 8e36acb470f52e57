#include <velmo/toolkit/shapes/SoBBox.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoGetMatrixAction.h>
#include <Inventor/actions/SoGetPrimitiveCountAction.h>
#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/actions/SoPickAction.h>
#include <Inventor/elements/SoModelMatrixElement.h>

MO_NODE_SOURCE(SoBBox, SoNode)

SoBBox::SoBBox()
{
  SO_NODE_CONSTRUCTOR(SoBBox);
  SO_NODE_ADD_FIELD(mode, (COMPUTED));
  SO_NODE_ADD_FIELD(box, (SbBox3f()));
  SO_NODE_ADD_FIELD(origin, (0.0f, 0.0f, 0.0f));
  SO_NODE_DEFINE_ENUM_VALUE(Mode, NONE);
  SO_NODE_DEFINE_ENUM_VALUE(Mode, COMPUTED);
  SO_NODE_DEFINE_ENUM_VALUE(Mode, EXPLICIT);
  SO_NODE_SET_SF_ENUM_TYPE(mode, Mode);
}

void SoBBox::doAction(SoAction* action)
{
  const SbVec3f& move = origin.getValue();
  SoState* state = action->getState();
  if (move == SbVec3f(0, 0, 0)) return;
  if (!state->isElementEnabled(SoModelMatrixElement::getClassStackIndex())) return;
  // Multiplied here and set whole: OpenGL would apply the move to a matrix that holds the camera,
  // and a scene that moves a mesh back from far away would keep the rounding errors of both moves.
  SbMatrix matrix;
  matrix.setTranslate(move);
  matrix.multRight(SoModelMatrixElement::get(state));
  SoModelMatrixElement::set(state, this, matrix);
}

void SoBBox::callback(SoCallbackAction* action)
{
  doAction(action);
}

void SoBBox::GLRender(SoGLRenderAction* action)
{
  doAction(action);
}

void SoBBox::getBoundingBox(SoGetBoundingBoxAction* action)
{
  doAction(action);
}

void SoBBox::getMatrix(SoGetMatrixAction* action)
{
  SbMatrix move;
  move.setTranslate(origin.getValue());
  action->getMatrix().multLeft(move);
  move.setTranslate(-origin.getValue());
  action->getInverse().multRight(move);
}

void SoBBox::pick(SoPickAction* action)
{
  doAction(action);
}

void SoBBox::getPrimitiveCount(SoGetPrimitiveCountAction* action)
{
  doAction(action);
}
