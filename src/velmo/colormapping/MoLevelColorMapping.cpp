#include <velmo/colormapping/MoLevelColorMapping.h>

#include <vector>

#include <Inventor/errors/SoDebugError.h>

#include <velmo/colormapping/MdLevelColorMapping.h>

MO_NODE_SOURCE(MoLevelColorMapping, MoColorMapping)

MoLevelColorMapping::MoLevelColorMapping() : m_mapping(std::make_unique<MdLevelColorMapping>())
{
  SO_NODE_CONSTRUCTOR(MoLevelColorMapping);
  SO_NODE_ADD_EMPTY_MFIELD(values);
  SO_NODE_ADD_EMPTY_MFIELD(colors);
  SO_NODE_ADD_FIELD(minThresholdEnable, (FALSE));
  SO_NODE_ADD_FIELD(minThresholdValue, (0));
  SO_NODE_ADD_FIELD(minThresholdColor, (0, 0, 0, 0));
  SO_NODE_ADD_FIELD(maxThresholdEnable, (FALSE));
  SO_NODE_ADD_FIELD(maxThresholdValue, (0));
  SO_NODE_ADD_FIELD(maxThresholdColor, (0, 0, 0, 0));
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
  m_mapping->setMinThreshold({minThresholdEnable.getValue() != FALSE, minThresholdValue.getValue(),
                              minThresholdColor.getValue()});
  m_mapping->setMaxThreshold({maxThresholdEnable.getValue() != FALSE, maxThresholdValue.getValue(),
                              maxThresholdColor.getValue()});
  m_colorMapping = m_mapping.get();
  MoColorMapping::doAction(action);
}
