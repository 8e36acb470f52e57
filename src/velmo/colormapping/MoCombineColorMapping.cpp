#include <velmo/colormapping/MoCombineColorMapping.h>

#include <Inventor/actions/SoAction.h>

#include <velmo/colormapping/MoCombineColorMappingElement.h>

MO_NODE_SOURCE(MoCombineColorMapping, MoActionNode)

MoCombineColorMapping::MoCombineColorMapping()
{
  SO_NODE_CONSTRUCTOR(MoCombineColorMapping);
}

MoCombineColorMapping::~MoCombineColorMapping() = default;

void MoCombineColorMapping::setColorMapping(const MiCombineColorMapping* mapping)
{
  m_colorMapping = mapping;
  touch();
}

void MoCombineColorMapping::doAction(SoAction* action)
{
  if (m_colorMapping) MoCombineColorMappingElement::set(action->getState(), this, m_colorMapping);
}

void MoCombineColorMapping::copyContents(const SoFieldContainer* from, SbBool copyConnections)
{
  MoActionNode::copyContents(from, copyConnections);
  m_colorMapping = static_cast<const MoCombineColorMapping*>(from)->m_colorMapping;
}
