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
