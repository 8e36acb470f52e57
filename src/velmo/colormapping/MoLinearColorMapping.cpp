#include <velmo/colormapping/MoLinearColorMapping.h>

#include <vector>

#include <Inventor/errors/SoDebugError.h>

#include <velmo/colormapping/MdLinearColorMapping.h>

MO_NODE_SOURCE(MoLinearColorMapping, MoColorMapping)

MoLinearColorMapping::MoLinearColorMapping() : m_mapping(std::make_unique<MdLinearColorMapping>())
{
  SO_NODE_CONSTRUCTOR(MoLinearColorMapping);
  addFields(this, fieldData);
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
  passThresholds(*m_mapping);
  m_colorMapping = m_mapping.get();
  MoColorMapping::doAction(action);
}
