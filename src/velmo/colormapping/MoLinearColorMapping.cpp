#include <velmo/colormapping/MoLinearColorMapping.h>

#include <vector>

#include <Inventor/errors/SoDebugError.h>

#include <velmo/colormapping/MdLinearColorMapping.h>

MO_NODE_SOURCE(MoLinearColorMapping, MoColorMapping)

MoLinearColorMapping::MoLinearColorMapping() : m_mapping(std::make_unique<MdLinearColorMapping>())
{
  SO_NODE_CONSTRUCTOR(MoLinearColorMapping);
  SO_NODE_ADD_EMPTY_MFIELD(values);
  SO_NODE_ADD_EMPTY_MFIELD(colors);
  SO_NODE_ADD_FIELD(minThresholdEnable, (FALSE));
  SO_NODE_ADD_FIELD(minThresholdValue, (0));
  SO_NODE_ADD_FIELD(minThresholdColor, (0, 0, 0, 0));
  SO_NODE_ADD_FIELD(maxThresholdEnable, (FALSE));
  SO_NODE_ADD_FIELD(maxThresholdValue, (0));
  SO_NODE_ADD_FIELD(maxThresholdColor, (0, 0, 0, 0));
}

MoLinearColorMapping::~MoLinearColorMapping() = default;

void MoLinearColorMapping::doAction(SoAction* action)
{
  const int valueCount = values.getNum();
  const int colorCount = colors.getNum();
  if (valueCount == 0 || colorCount == 0) return;
  if (valueCount != colorCount) {
    SoDebugError::post("MoLinearColorMappig", // spelled as applications know it
                       "Linear colormapping requires exactly the same count of values and colors.");
    return;
  }

  std::vector<MdLinearColorMapping::ValueAndColor> entries(valueCount);
  for (int i = 0; i < valueCount; ++i)
    entries[i] = {values[i], colors[i]};
  m_mapping->setColors(std::move(entries));
  m_mapping->setMinThreshold({minThresholdEnable.getValue() != FALSE, minThresholdValue.getValue(),
                              minThresholdColor.getValue()});
  m_mapping->setMaxThreshold({maxThresholdEnable.getValue() != FALSE, maxThresholdValue.getValue(),
                              maxThresholdColor.getValue()});
  m_colorMapping = m_mapping.get();
  MoColorMapping::doAction(action);
}
