#include <velmo/render/MxTextureContouring.h>

#include <algorithm>
#include <cmath>

MxTextureContouring::~MxTextureContouring() = default;

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
  if (mapping == m_mapping && mapping->getTimeStamp() == m_timeStamp && opacity == m_opacity &&
      undefined == m_undefined)
    return false;
  m_mapping = mapping;
  m_timeStamp = mapping->getTimeStamp();
  m_opacity = opacity;
  m_undefined = undefined;

  const std::vector<SbColorRGBA>& colors = mapping->colors();
  m_image.clear();
  const auto add = [&](const SbColorRGBA& color) {
    const float components[] = {color[0], color[1], color[2], color[3] * opacity};
    for (const float component : components)
      m_image.push_back(static_cast<unsigned char>(std::clamp(component, 0.0f, 1.0f) * 255.0f));
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

float MxTextureContouring::getTextureCoord(double value) const
{
  if (!m_mapping || m_mapping->levels().size() < 2) return 0.0f;
  const std::vector<double>& levels = m_mapping->levels();
  const std::size_t last = levels.size() - 2;
  const auto above = std::upper_bound(levels.begin(), levels.end(), value);
  std::size_t k = 0;
  if (above == levels.end())
    k = last;
  else if (above != levels.begin())
    k = static_cast<std::size_t>(above - levels.begin()) - 1;
  const double inside = (value - levels[k]) / (levels[k + 1] - levels[k]);
  // As the mapping does it, a value that is no number takes the last colour.
  if (std::isnan(inside)) return 1.0f;
  return static_cast<float>((static_cast<double>(k) + inside) /
                            static_cast<double>(levels.size() - 1));
}

SbVec2f MxTextureContouring::undefinedPoint()
{
  // So far out that all of a triangle but its defined corners lies in the second row.
  return {0.5f, 1e5f};
}
