#include <velmo/colormapping/MoLevelColorMapping.h>

#include <vector>

#include <Inventor/errors/SoDebugError.h>

#include <velmo/colormapping/MdLevelColorMapping.h>

MO_NODE_SOURCE(MoLevelColorMapping, MoColorMapping)

MoLevelColorMapping::MoLevelColorMapping() : m_mapping(std::make_unique<MdLevelColorMapping>())
{
  SO_NODE_CONSTRUCTOR(MoLevelColorMapping);
  addFields(this, fieldData);
}

MoLevelColorMapping::~MoLevelColorMapping() = default;

void MoLevelColorMapping::doAction(SoAction* action)
{
  const int valueCount = values.getNum();
  const int colorCount = colors.getNum();
  if (valueCount == 0 || colorCount == 0) return;
  if (valueCount != colorCount + 1) {
    SoDebugError::post("MoLevelColorMappig", // spelled as applications know it
                       "Level colormapping requires exactly one more value than provided colors.");
    return;
  }

  m_mapping->setLevels({values.getValues(0), values.getValues(0) + valueCount},
                       {colors.getValues(0), colors.getValues(0) + colorCount});
  passThresholds(*m_mapping);
  m_colorMapping = m_mapping.get();
  MoColorMapping::doAction(action);
}
