#pragma once

#include <cstdint>
#include <vector>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MdColorThreshold.h>
#include <velmo/colormapping/MiColorMapping.h>

/// One flat colour for each interval between consecutive levels, which are expected to ascend.
/// An interval holds its lower end; values outside the levels take the nearest colour, NaN the
/// last.
///
/// The thresholds become intervals of their own: levels() and colors(), which colours, ranges,
/// legends and shaders are made from, hold the user's intervals cut or extended by them.
template <class Value, class Color>
class MdLevelColorMappingT : public MiColorMapping<Value, Color>
{
public:
  using Threshold = MdColorThreshold<Value, Color>;

  MdLevelColorMappingT() : m_timeStamp(MxTimeStamp::take()) {}

  /// @param levels  the ends of the intervals
  /// @param colors  one fewer than levels
  /// Takes new stamps only for what differs from the present; a NaN level always differs.
  void setLevels(const std::vector<Value>& levels, const std::vector<Color>& colors);
  /// Values below the threshold take its colour. A new stamp only when it differs.
  void setMinThreshold(const Threshold& threshold) { setThreshold(m_minThreshold, threshold); }
  /// Values at or above the threshold take its colour. A new stamp only when it differs.
  void setMaxThreshold(const Threshold& threshold) { setThreshold(m_maxThreshold, threshold); }

  /// Rebuilds levels() and colors() from the user's levels and the thresholds.
  void evaluateLevels();

  /// The ends of the intervals, thresholds included: one more than colors().
  const std::vector<Value>& levels() const { return m_levels; }
  const std::vector<Color>& colors() const { return m_colors; }
  const Threshold& minThreshold() const { return m_minThreshold; }
  const Threshold& maxThreshold() const { return m_maxThreshold; }

  Color getColor(Value value) const override;
  /// Includes the intervals that thresholds outside the user's levels add.
  void getRange(double& min, double& max) const override;
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }

private:
  void setThreshold(Threshold& mine, const Threshold& threshold);
  void appendMinThreshold(Value bandWidth);
  void appendMaxThreshold(Value bandWidth);

  std::uint64_t m_timeStamp;
  std::vector<Value> m_userLevels;
  std::vector<Color> m_userColors;
  std::vector<Value> m_levels;
  std::vector<Color> m_colors;
  Threshold m_minThreshold;
  Threshold m_maxThreshold{.value = Value(1)};
};

extern template class MdLevelColorMappingT<double, SbColorRGBA>;

class MdLevelColorMapping : public MdLevelColorMappingT<double, SbColorRGBA>
{};
