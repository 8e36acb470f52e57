#include <velmo/nodes/MoDrawStyle.h>

#include <velmo/nodes/MoDrawStyleElement.h>

#include <Inventor/actions/SoAction.h>

MO_NODE_SOURCE(MoDrawStyle, MoActionNode)

MoDrawStyle::MoDrawStyle()
{
  SO_NODE_CONSTRUCTOR(MoDrawStyle);
  SO_NODE_ADD_FIELD(displayFaces, (TRUE));
  SO_NODE_ADD_FIELD(displayEdges, (FALSE));
  SO_NODE_ADD_FIELD(displayPoints, (FALSE));
  SO_NODE_ADD_FIELD(fadingThreshold, (0.0f));
}

void MoDrawStyle::doAction(SoAction* action)
{
  MoDrawStyleElement::set(action->getState(), this);
}
