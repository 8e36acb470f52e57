#pragma once

#include <memory>

#include <Inventor/fields/SoMFFloat.h>
#include <Inventor/fields/SoMFVec4f.h>
#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFFloat.h>
#include <Inventor/fields/SoSFVec4f.h>

#include <velmo/colormapping/MoColorMapping.h>

class MdLinearColorMapping;

/// Colours interpolated between control values; below the first and above the last their colours.
class MoLinearColorMapping : public MoColorMapping
{
  MO_NODE_HEADER(MoLinearColorMapping);

public:
  SoMFFloat values;            ///< control values, ascending
  SoMFVec4f colors;            ///< red, green, blue, opacity; one for each value
  SoSFBool minThresholdEnable; ///< FALSE at first
  SoSFFloat minThresholdValue; ///< values below it take minThresholdColor
  SoSFVec4f minThresholdColor;
  SoSFBool maxThresholdEnable; ///< FALSE at first
  SoSFFloat maxThresholdValue; ///< values above it take maxThresholdColor
  SoSFVec4f maxThresholdColor;

  MoLinearColorMapping();

  void doAction(SoAction* action) override;

protected:
  ~MoLinearColorMapping() override;

private:
  std::unique_ptr<MdLinearColorMapping> m_mapping;
};
