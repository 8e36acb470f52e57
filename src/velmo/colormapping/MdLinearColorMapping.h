#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MdColorThreshold.h>
#include <velmo/colormapping/MiColorMapping.h>

/// Colours interpolated between control values, which are expected to ascend; all four components
/// are interpolated. Values outside the control values take the nearest colour, NaN the last one.
///
/// Shaders are made from colors() and the two thresholds.
template <class Value, class Color, class Weight>
class MdLinearColorMappingT : public MiColorMapping<Value, Color>
{
public:
  using ValueAndColor = std::pair<Value, Color>;
  using Threshold = MdColorThreshold<Value, Color>;

  MdLinearColorMappingT() : m_timeStamp(MxTimeStamp::take()) {}

  /// Takes a new stamp only when the list differs from the present one.
  void setColors(std::vector<ValueAndColor> colors);
  /// Values below the threshold take its colour. A new stamp only when it differs.
  void setMinThreshold(const Threshold& threshold) { setThreshold(m_minThreshold, threshold); }
  /// Values above the threshold take its colour. A new stamp only when it differs.
  void setMaxThreshold(const Threshold& threshold) { setThreshold(m_maxThreshold, threshold); }

  const std::vector<ValueAndColor>& colors() const { return m_colors; }
  const Threshold& minThreshold() const { return m_minThreshold; }
  const Threshold& maxThreshold() const { return m_maxThreshold; }

  Color getColor(Value value) const override;
  void getRange(double& min, double& max) const override;
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }

private:
  void setThreshold(Threshold& mine, const Threshold& threshold);

  std::uint64_t m_timeStamp;
  std::vector<ValueAndColor> m_colors;
  Threshold m_minThreshold;
  Threshold m_maxThreshold{.value = Value(1)};
  bool m_ascending = true;
};

extern template class MdLinearColorMappingT<double, SbColorRGBA, float>;

class MdLinearColorMapping : public MdLinearColorMappingT<double, SbColorRGBA, float>
{};
