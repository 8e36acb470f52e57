#include <velmo/nodes/MoTessellator.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/nodes/MoTessellatorElement.h>

#include <Inventor/actions/SoAction.h>

MO_NODE_SOURCE(MoTessellator, MoActionNode)

MoTessellator::MoTessellator()
{
  SO_NODE_CONSTRUCTOR(MoTessellator);
}

void MoTessellator::doAction(SoAction* action)
{
  MiTessellator* tessellator = getTessellator();
  MoTessellatorElement::set(action->getState(), this, tessellator, m_timeStamp);
}

void MoTessellator::setTessellator(MiTessellator* tessellator)
{
  m_tessellator = tessellator;
  m_timeStamp = MxTimeStamp::take();
  touch();
}

MiTessellator* MoTessellator::getTessellator()
{
  return m_tessellator;
}

void MoTessellator::copyContents(const SoFieldContainer* from, SbBool copyConnections)
{
  MoActionNode::copyContents(from, copyConnections);
  const auto* other = static_cast<const MoTessellator*>(from);
  m_tessellator = other->m_tessellator;
  m_timeStamp = other->m_timeStamp;
}
