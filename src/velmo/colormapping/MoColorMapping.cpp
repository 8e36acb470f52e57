#include <velmo/colormapping/MoColorMapping.h>

#include <Inventor/actions/SoAction.h>

#include <velmo/colormapping/MoColorMappingElement.h>

MO_NODE_ABSTRACT_SOURCE(MoColorMapping, MoActionNode)

MoColorMapping::MoColorMapping()
{
  SO_NODE_CONSTRUCTOR(MoColorMapping);
}

MoColorMapping::~MoColorMapping() = default;

void MoColorMapping::doAction(SoAction* action)
{
  if (m_colorMapping) MoColorMappingElement::set(action->getState(), this, m_colorMapping);
}
