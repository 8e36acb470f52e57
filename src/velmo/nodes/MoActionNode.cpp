#include <velmo/nodes/MoActionNode.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoGetMatrixAction.h>
#include <Inventor/actions/SoGetPrimitiveCountAction.h>
#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/actions/SoHandleEventAction.h>
#include <Inventor/actions/SoRayPickAction.h>

MO_NODE_ABSTRACT_SOURCE(MoActionNode, SoNode)

MoActionNode::MoActionNode()
{
  SO_NODE_CONSTRUCTOR(MoActionNode);
}

void MoActionNode::GLRender(SoGLRenderAction* action)
{
  doAction(action);
}

void MoActionNode::callback(SoCallbackAction* action)
{
  doAction(action);
}

void MoActionNode::getBoundingBox(SoGetBoundingBoxAction* action)
{
  doAction(action);
}

void MoActionNode::getMatrix(SoGetMatrixAction* action)
{
  doAction(action);
}

void MoActionNode::handleEvent(SoHandleEventAction* action)
{
  doAction(action);
}

void MoActionNode::pick(SoPickAction* action)
{
  // The toolkit calls pick, not rayPick, for node classes it has no method table entry for.
  if (action->isOfType(SoRayPickAction::getClassTypeId()))
    rayPick(static_cast<SoRayPickAction*>(action));
  else
    doAction(action);
}

void MoActionNode::rayPick(SoRayPickAction* action)
{
  doAction(action);
}

void MoActionNode::search(SoSearchAction* action)
{
  SoNode::search(action);
}

void MoActionNode::write(SoWriteAction* action)
{
  SoNode::write(action);
}

void MoActionNode::getPrimitiveCount(SoGetPrimitiveCountAction* action)
{
  doAction(action);
}

SbBool MoActionNode::isGroup() const
{
  return FALSE;
}
