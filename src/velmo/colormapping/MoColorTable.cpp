#include <velmo/colormapping/MoColorTable.h>

#include <Inventor/fields/SoFieldData.h>

void MoColorTable::addFields(SoFieldContainer* node, SoFieldData* data)
{
  const auto add = [&](SoField& field, const char* name) {
    field.setContainer(node);
    data->addField(node, name, &field);
  };
  // Without a container yet, a value notifies nobody.
  const auto addWith = [&](auto& field, const char* name, const auto& value) {
    field.setValue(value);
    add(field, name);
  };
  const SbVec4f none(0, 0, 0, 0);
  add(values, "values");
  add(colors, "colors");
  addWith(minThresholdEnable, "minThresholdEnable", SbBool{FALSE});
  addWith(minThresholdValue, "minThresholdValue", 0.0f);
  addWith(minThresholdColor, "minThresholdColor", none);
  addWith(maxThresholdEnable, "maxThresholdEnable", SbBool{FALSE});
  addWith(maxThresholdValue, "maxThresholdValue", 0.0f);
  addWith(maxThresholdColor, "maxThresholdColor", none);
}
