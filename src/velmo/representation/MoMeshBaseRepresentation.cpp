#include <velmo/representation/MoMeshBaseRepresentation.h>

#include <Inventor/actions/SoAction.h>
#include <Inventor/fields/SoField.h>
#include <Inventor/misc/SoNotification.h>
#include <Inventor/nodes/SoSeparator.h>

MO_NODE_ABSTRACT_SOURCE(MoMeshBaseRepresentation, MoActionNode)

MoMeshBaseRepresentation::MoMeshBaseRepresentation()
    : m_children(this), m_hiddenRoot(new SoSeparator)
{
  SO_NODE_CONSTRUCTOR(MoMeshBaseRepresentation);
  m_children.append(m_hiddenRoot);
}

MoMeshBaseRepresentation::~MoMeshBaseRepresentation() = default;

SoChildList* MoMeshBaseRepresentation::getChildren() const
{
  return &m_children;
}

SbBool MoMeshBaseRepresentation::affectsState() const
{
  return FALSE;
}

void MoMeshBaseRepresentation::doAction(SoAction* action)
{
  int childCount;
  const int* childIndices;
  if (action->getPathCode(childCount, childIndices) == SoAction::IN_PATH)
    m_children.traverseInPath(action, childCount, childIndices);
  else
    m_children.traverse(action);
  m_isModified = false;
}

void MoMeshBaseRepresentation::notify(SoNotList* list)
{
  // Changes inside the hidden sub-graph come by here as well; only our own fields count.
  const SoField* field = list->getLastField();
  if (field && field->getContainer() == this) m_isModified = true;
  MoActionNode::notify(list);
}
