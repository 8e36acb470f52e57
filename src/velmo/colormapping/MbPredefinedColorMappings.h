#pragma once

#include <cstdint>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MiColorMapping.h>

struct MxColorTable;

/// A fixed function of the normalised value: values at or below min() take the start colour of the
/// map, values at least range() above it the end colour. A new map covers 0 to 1.
///
/// A reversed range (max below min) is not flipped; its range() is the absolute difference.
class MdPredefinedColorMapping : public MiColorMapping<double, SbColorRGBA>
{
public:
  MdPredefinedColorMapping() : m_timeStamp(MxTimeStamp::take()) {}

  /// Takes a new stamp only when an end differs from the present one. The range of two equal ends
  /// counts as 1.
  void setRange(double min, double max);

  void getRange(double& min, double& max) const override;
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }

protected:
  /// start() at or below the minimum, end() from a range above it, formula(t) between them.
  template <class Start, class End, class Formula>
  SbColorRGBA evaluate(double value, Start&& start, End&& end, Formula&& formula) const
  {
    if (m_min >= value) return start();
    const float t = static_cast<float>((value - m_min) / m_range);
    return t >= 1.0f ? end() : formula(t);
  }

private:
  double m_min = 0.0;
  double m_max = 1.0;
  double m_range = 1.0;
  std::uint64_t m_timeStamp;
};

/// White whose opacity falls from 1 to 0.
class MbGreyColorMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// White, blue, magenta, red, yellow, in light tints.
class MbTemperatureColorMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// Dark blue, blue, cyan, green, yellow, red.
class MbPhysicsColorMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// The circle of full hues from red to magenta.
class MbStandardMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// Black, red, yellow, white: the colours of glowing metal.
class MbGlowMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// Blue to red through magenta.
class MbBlueRedMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// Blue to red through green, nearly transparent in the middle third.
class MbSeismicMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// Blue to red through white.
class MbBlueWhiteRedMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// Black to white.
class MbIntensityColorMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// Turbo, a smooth rainbow of even brightness, in 256 steps without blending.
class MbTurboMapping : public MdPredefinedColorMapping
{
public:
  SbColorRGBA getColor(double value) const override;
};

/// One of the maps that are tables: blended from row to row, or a row for each equal share of the
/// range where the map tells categories apart. NaN takes the first row.
class MbTableColorMapping final : public MdPredefinedColorMapping
{
public:
  /// @param table  borrowed
  explicit MbTableColorMapping(const MxColorTable& table) : m_table(table) {}

  SbColorRGBA getColor(double value) const override;

private:
  const MxColorTable& m_table;
};
