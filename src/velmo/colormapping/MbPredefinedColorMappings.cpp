#include <velmo/colormapping/MbPredefinedColorMappings.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include <Inventor/SbColor.h>

#include <velmo/colormapping/MxColorTables.h>
#include <velmo/colormapping/MxTurboTable.h>

namespace {

SbColorRGBA hsv(double hue, double saturation, double value)
{
  // The toolkit leaves the colour of a NaN hue uninitialised.
  const float safeHue = std::isnan(hue) ? 0.0f : static_cast<float>(hue);
  SbColor rgb;
  rgb.setHSVValue(safeHue, static_cast<float>(saturation), static_cast<float>(value));
  return {rgb, 1.0f};
}

SbColorRGBA turboRow(int row)
{
  const float* rgb = kMxTurboTable[row];
  return {rgb[0], rgb[1], rgb[2], 1.0f};
}

constexpr auto black = [] { return SbColorRGBA(0, 0, 0, 1); };
constexpr auto white = [] { return SbColorRGBA(1, 1, 1, 1); };
constexpr auto blue = [] { return SbColorRGBA(0, 0, 1, 1); };
constexpr auto red = [] { return SbColorRGBA(1, 0, 0, 1); };

} // namespace

void MdPredefinedColorMapping::setRange(double min, double max)
{
  if (min == m_min && max == m_max) return;
  m_min = min;
  m_max = max;
  m_range = min == max ? 1.0 : std::abs(max - min);
  m_timeStamp = MxTimeStamp::take();
}

void MdPredefinedColorMapping::getRange(double& min, double& max) const
{
  min = m_min;
  max = m_max;
}

SbColorRGBA MbGreyColorMapping::getColor(double value) const
{
  return evaluate(
      value, white, [] { return SbColorRGBA(1, 1, 1, 0); },
      [](float t) { return SbColorRGBA(1, 1, 1, 1 - t); });
}

SbColorRGBA MbIntensityColorMapping::getColor(double value) const
{
  return evaluate(value, black, white, [](float t) { return SbColorRGBA(t, t, t, 1); });
}

SbColorRGBA MbStandardMapping::getColor(double value) const
{
  return evaluate(
      value, [] { return hsv(0, 1, 1); }, [] { return hsv(0.916, 1, 1); },
      [](float t) { return hsv(t * 0.916, 1, 1); });
}

SbColorRGBA MbTemperatureColorMapping::getColor(double value) const
{
  return evaluate(
      value, [] { return hsv(0.666, 0, 1); }, [] { return hsv(0.1666, 0.75, 1); },
      [](float t) {
        if (t <= 0.25) return hsv(0.666, 3 * t, 1);
        if (t <= 0.8) return hsv((t - 0.25) * 0.606 + 0.666, 0.75, 1);
        return hsv((t - 0.8) * 0.833, 0.75, 1);
      });
}

SbColorRGBA MbPhysicsColorMapping::getColor(double value) const
{
  return evaluate(
      value, [] { return hsv(0.666, 1, 0.4); }, [] { return hsv(0, 1, 0.9); },
      [](float t) {
        if (t <= 0.2) return hsv(0.666, 1, t * 2.5 + 0.4);
        return hsv(double(0.666f) - (t - 0.2) * double(0.8325f), 1, 0.9);
      });
}

SbColorRGBA MbGlowMapping::getColor(double value) const
{
  return evaluate(
      value, [] { return hsv(0, 1, 0); },
      [] { return hsv(0.2503754, -0.0015015015, 1.0003003); }, // the formula at t = 1
      [](float t) {
        if (t <= 0.333) return hsv(0, 1, t * 2.4024024024024024);
        const double d = t - 0.333;
        return hsv(d * 0.37537537537537535, 1 - d / 0.666, d * 0.3003003003003003 + 0.8);
      });
}

SbColorRGBA MbBlueRedMapping::getColor(double value) const
{
  return evaluate(value, blue, red, [](float t) {
    return t < 0.5f ? SbColorRGBA(2 * t, 0, 1, 1) : SbColorRGBA(1, 0, 2 * (1 - t), 1);
  });
}

SbColorRGBA MbBlueWhiteRedMapping::getColor(double value) const
{
  return evaluate(value, blue, red, [](float t) {
    const float fading = 2 * (1 - t);
    return t < 0.5f ? SbColorRGBA(2 * t, 2 * t, 1, 1) : SbColorRGBA(1, fading, fading, 1);
  });
}

SbColorRGBA MbSeismicMapping::getColor(double value) const
{
  return evaluate(
      value, black,
      [] { return SbColorRGBA(1, 9.60507e-17f, 6.12323e-17f, 0.9f); }, // the formula at t = 1
      [](float t) {
        if (t == 0) return black();
        const double angle = t * std::numbers::pi;
        const double half = angle * 0.5;
        const float rawGreen = static_cast<float>(200 * std::sin(angle));
        const bool middle = t > 0.333 && t < 0.666;
        return SbColorRGBA(static_cast<float>(std::sin(half)),
                           rawGreen > 175 ? 175.0f / 255.0f : rawGreen / 255.0f,
                           static_cast<float>(std::abs(std::cos(half))), middle ? 0.03f : 0.9f);
      });
}

SbColorRGBA MbTurboMapping::getColor(double value) const
{
  // Colours step through the rows; NaN, which has no row, takes the first.
  return evaluate(
      value, [] { return turboRow(0); }, [] { return turboRow(255); },
      [](float t) { return turboRow(std::isnan(t) ? 0 : static_cast<int>(t * 255.0)); });
}

SbColorRGBA MbTableColorMapping::getColor(double value) const
{
  const std::span<const std::uint32_t> rows = m_table.rows;
  const auto component = [&](std::size_t row, int shift) {
    return static_cast<float>((rows[row] >> shift) & 0xff) / 255.0f;
  };
  const auto color = [&](std::size_t row) {
    return SbColorRGBA(component(row, 16), component(row, 8), component(row, 0), 1);
  };
  return evaluate(
      value, [&] { return color(0); }, [&] { return color(rows.size() - 1); },
      [&](float t) {
        if (std::isnan(t)) return color(0);
        const float at =
            t * static_cast<float>(m_table.isCategorical ? rows.size() : rows.size() - 1);
        const std::size_t row = std::min(static_cast<std::size_t>(at), rows.size() - 1);
        if (m_table.isCategorical || row + 1 == rows.size()) return color(row);
        const float share = at - static_cast<float>(row);
        const auto mixed = [&](int shift) {
          return component(row, shift) * (1 - share) + component(row + 1, shift) * share;
        };
        return SbColorRGBA(mixed(16), mixed(8), mixed(0), 1);
      });
}
