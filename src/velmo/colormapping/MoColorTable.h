#pragma once

#include <Inventor/fields/SoMFFloat.h>
#include <Inventor/fields/SoMFVec4f.h>
#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFFloat.h>
#include <Inventor/fields/SoSFVec4f.h>

class SoFieldContainer;
class SoFieldData;

/// The fields of colour mappings that are given as a table of values and colours.
class MoColorTable
{
public:
  SoMFFloat values;            ///< ascending
  SoMFVec4f colors;            ///< red, green, blue, opacity
  SoSFBool minThresholdEnable; ///< FALSE at first
  SoSFFloat minThresholdValue; ///< values below it take minThresholdColor
  SoSFVec4f minThresholdColor;
  SoSFBool maxThresholdEnable; ///< FALSE at first
  SoSFFloat maxThresholdValue; ///< values above it take maxThresholdColor
  SoSFVec4f maxThresholdColor;

protected:
  MoColorTable() = default;
  ~MoColorTable() = default;

  /// Makes them fields of a node that is being constructed.
  void addFields(SoFieldContainer* node, SoFieldData* data);
  template <class Mapping>
  void passThresholds(Mapping& mapping) const
  {
    mapping.setMinThreshold({minThresholdEnable.getValue() != FALSE, minThresholdValue.getValue(),
                             minThresholdColor.getValue()});
    mapping.setMaxThreshold({maxThresholdEnable.getValue() != FALSE, maxThresholdValue.getValue(),
                             maxThresholdColor.getValue()});
  }
};
