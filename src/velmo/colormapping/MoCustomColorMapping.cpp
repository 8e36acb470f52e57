#include <velmo/colormapping/MoCustomColorMapping.h>

MO_NODE_SOURCE(MoCustomColorMapping, MoColorMapping)

MoCustomColorMapping::MoCustomColorMapping()
{
  SO_NODE_CONSTRUCTOR(MoCustomColorMapping);
}

MoCustomColorMapping::~MoCustomColorMapping() = default;

void MoCustomColorMapping::setColorMapping(const MiScalarColorMapping* mapping)
{
  m_colorMapping = mapping;
  touch();
}

void MoCustomColorMapping::copyContents(const SoFieldContainer* from, SbBool copyConnections)
{
  MoColorMapping::copyContents(from, copyConnections);
  m_colorMapping = static_cast<const MoCustomColorMapping*>(from)->m_colorMapping;
}
