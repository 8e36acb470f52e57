#pragma once

#include <memory>

#include <Inventor/fields/SoMFFloat.h>
#include <Inventor/fields/SoMFVec4f.h>
#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFFloat.h>
#include <Inventor/fields/SoSFVec4f.h>

#include <velmo/colormapping/MoColorMapping.h>

class MdLevelColorMapping;

/// One flat colour for each interval between consecutive values.
class MoLevelColorMapping : public MoColorMapping
{
  MO_NODE_HEADER(MoLevelColorMapping);

public:
  SoMFFloat values; ///< ends of the intervals, ascending
  SoMFVec4f colors; ///< red, green, blue, opacity; one for each interval, so one fewer than values
  SoSFBool minThresholdEnable; ///< FALSE at first
  SoSFFloat minThresholdValue; ///< values below it take minThresholdColor
  SoSFVec4f minThresholdColor;
  SoSFBool maxThresholdEnable; ///< FALSE at first
  SoSFFloat maxThresholdValue; ///< values above it take maxThresholdColor
  SoSFVec4f maxThresholdColor;

  MoLevelColorMapping();

  void doAction(SoAction* action) override;

protected:
  ~MoLevelColorMapping() override;

private:
  std::unique_ptr<MdLevelColorMapping> m_mapping;
};
