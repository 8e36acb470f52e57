#include <velmo/render/MxTextureContouring.h>

#include <velmo/toolkit/shapes/MxGlCapabilities.h>

#include <Inventor/errors/SoDebugError.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

namespace {

/// The width of the first interval that has one, from one end of the levels inwards; 0 for none.
template <class Iterator>
double firstWidth(Iterator begin, Iterator end)
{
  const auto pair =
      std::adjacent_find(begin, end, [](double one, double next) { return one != next; });
  return pair == end ? 0 : std::abs(*std::next(pair) - *pair);
}

// Of a coordinate: how far it keeps away from the levels when it is drawn. A software renderer that
// interpolated equal coordinates of the three corners of a face was off by 2^-20, at oblique views.
constexpr double kMargin = 0x1p-18;
// Of the length of the row. Cards answer texel 0 beyond 2^31 texels, and have the bands of a face
// less exactly the further one of its corners is out.
constexpr double kFarthest = 16384;

// Representations and legend have a texture each; the stamp of a mapping is its own.
void warnOfTooMany(const MdLevelColorMapping& mapping, std::size_t most)
{
  static std::uint64_t s_warned = MxTimeStamp::kNone;
  if (std::exchange(s_warned, mapping.getTimeStamp()) == mapping.getTimeStamp()) return;
  SoDebugError::postWarning("MxTextureContouring::buildTexture",
                            "Cannot use a texture for %zu colors, only for %zu: vertices are "
                            "colored instead.",
                            mapping.colors().size(), most);
}

} // namespace

MxTextureContouring::~MxTextureContouring() = default;

std::size_t MxTextureContouring::getMostColors()
{
  // The toolkit keeps sizes of images in 16 bits.
  return static_cast<std::size_t>(
      std::min<int>(MxGlCapabilities::getMaxTextureSize(), std::numeric_limits<short>::max()));
}

bool MxTextureContouring::buildTexture(const MdLevelColorMapping* mapping, float opacity,
                                       const std::optional<SbColorRGBA>& undefined)
{
  if (!mapping) {
    const bool had = m_mapping != nullptr;
    m_mapping = nullptr;
    m_texture.reset();
    m_timeStamp = ~std::uint64_t{0};
    return had;
  }
  const std::size_t most = getMostColors();
  if (mapping == m_mapping && mapping->getTimeStamp() == m_timeStamp && opacity == m_opacity &&
      undefined == m_undefined && most == m_mostColors)
    return false;
  m_mapping = mapping;
  m_timeStamp = mapping->getTimeStamp();
  m_opacity = opacity;
  m_undefined = undefined;
  m_mostColors = most;

  const std::vector<SbColorRGBA>& colors = mapping->colors();
  m_texture.reset();
  if (colors.empty()) return true;
  if (colors.size() > most) {
    warnOfTooMany(*mapping, most);
    return true;
  }
  const std::vector<double>& levels = mapping->levels();
  m_widthBelow = firstWidth(levels.begin(), levels.end());
  m_widthAbove = firstWidth(levels.rbegin(), levels.rend());
  m_image.clear();
  const auto add = [&](const SbColorRGBA& color) {
    const float components[] = {color[0], color[1], color[2], color[3] * opacity};
    for (const float component : components)
      m_image.push_back(
          static_cast<unsigned char>(component > 0 ? std::min(component, 1.0f) * 255.0f : 0.0f));
  };
  for (const SbColorRGBA& color : colors)
    add(color);
  for (std::size_t i = 0; undefined && i < colors.size(); ++i)
    add(*undefined);
  m_texture.reset(new TkTexture2);
  m_texture->wrapS = SoTexture2::CLAMP;
  m_texture->image.setValue(SbVec2s(static_cast<short>(colors.size()), undefined ? 2 : 1), 4,
                            m_image.data());
  return true;
}

float MxTextureContouring::alongRow(double value, double margin) const
{
  if (!m_texture) return 0.0f;
  // As the mapping does it, a value that is no number takes the last colour.
  if (std::isnan(value)) return 1.0f;
  const std::vector<double>& levels = m_mapping->levels();
  const std::size_t count = levels.size() - 1;
  const auto above = std::upper_bound(levels.begin(), levels.end(), value);
  std::size_t k = 0;
  if (above == levels.end())
    k = count - 1;
  else if (above != levels.begin())
    k = static_cast<std::size_t>(above - levels.begin()) - 1;
  const auto place = static_cast<double>(k);
  double inside = 0; // of interval k: 0 at its lower level, 1 at its upper one
  double least = margin * place, most = 1 - margin * (place + 1);
  if (above == levels.end()) {
    inside = (value - levels[k]) / m_widthAbove;
    most = std::numeric_limits<double>::infinity();
  } else if (above == levels.begin()) {
    inside = 1 + (value - levels[1]) / m_widthBelow;
    least = -std::numeric_limits<double>::infinity();
  } else {
    inside = (value - levels[k]) / (levels[k + 1] - levels[k]);
  }
  // Infinite levels leave no place that could be said.
  inside = std::isnan(inside) ? 0.5 : std::clamp(inside, least, most);
  const double along = (place + inside) / static_cast<double>(count);
  return static_cast<float>(std::clamp(along, -kFarthest, kFarthest));
}

float MxTextureContouring::getTextureCoord(double value) const
{
  return alongRow(value, 0);
}

SbVec2f MxTextureContouring::getTexturePoint(double value) const
{
  return {alongRow(value, kMargin), 0.0f};
}

SbVec2f MxTextureContouring::undefinedPoint()
{
  // So far out that all of a triangle but its defined corners lies in the second row.
  return {0.5f, 1e5f};
}
