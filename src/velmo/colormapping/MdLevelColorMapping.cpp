#include <velmo/colormapping/MdLevelColorMapping.h>

#include <algorithm>

template <class Value, class Color>
void MdLevelColorMappingT<Value, Color>::setLevels(const std::vector<Value>& levels,
                                                   const std::vector<Color>& colors)
{
  const bool newLevels = levels != m_userLevels;
  const bool newColors = colors != m_userColors;
  if (newLevels) {
    m_userLevels = levels;
    m_timeStamp = MxTimeStamp::take();
  }
  if (newColors) {
    m_userColors = colors;
    m_timeStamp = MxTimeStamp::take();
  }
  if (newLevels || newColors) evaluateLevels();
}

template <class Value, class Color>
void MdLevelColorMappingT<Value, Color>::setThreshold(Threshold& mine, const Threshold& threshold)
{
  if (mine == threshold) return;
  mine = threshold;
  m_timeStamp = MxTimeStamp::take();
  evaluateLevels();
}

template <class Value, class Color>
void MdLevelColorMappingT<Value, Color>::evaluateLevels()
{
  m_levels.clear();
  m_colors.clear();
  if (m_userLevels.size() < 2 || m_userColors.size() + 1 != m_userLevels.size()) return;

  Value top = m_userLevels.back();
  if (m_maxThreshold.enabled && m_maxThreshold.value > top) top = m_maxThreshold.value;
  Value bottom = m_userLevels.front();
  if (m_minThreshold.enabled && m_minThreshold.value < bottom) bottom = m_minThreshold.value;
  const Value bandWidth = (top - bottom) / 20.0;

  if (m_minThreshold.enabled) {
    appendMinThreshold(bandWidth);
  } else {
    m_levels = m_userLevels;
    m_colors = m_userColors;
  }
  if (m_maxThreshold.enabled) appendMaxThreshold(bandWidth);
}

template <class Value, class Color>
void MdLevelColorMappingT<Value, Color>::appendMinThreshold(Value bandWidth)
{
  const Value m = m_minThreshold.value;
  const Value first = m_userLevels.front();
  m_levels = {m > first ? first : m - bandWidth, m};
  m_colors = {m_minThreshold.color};

  const auto kept = std::find_if(m_userLevels.begin() + 1, m_userLevels.end(),
                                 [m](Value level) { return level >= m; });
  const auto keptColor = m_userColors.begin() + (kept - m_userLevels.begin() - 1);
  m_levels.insert(m_levels.end(), kept, m_userLevels.end());
  if (kept != m_userLevels.end()) m_colors.insert(m_colors.end(), keptColor, m_userColors.end());
}

template <class Value, class Color>
void MdLevelColorMappingT<Value, Color>::appendMaxThreshold(Value bandWidth)
{
  const Value m = m_maxThreshold.value;
  const Value last = m_levels.back();
  if (m > last) {
    m_levels.back() = m;
    m_levels.push_back(m + bandWidth);
  } else {
    const auto cut =
        std::find_if(m_levels.begin(), m_levels.end(), [m](Value level) { return level >= m; });
    const auto keptCount = static_cast<std::size_t>(cut - m_levels.begin());
    m_levels.resize(keptCount);
    m_levels.insert(m_levels.end(), {m, last});
    m_colors.resize(keptCount, Color(0, 0, 0, 0));
  }
  m_colors.push_back(m_maxThreshold.color);
}

template <class Value, class Color>
Color MdLevelColorMappingT<Value, Color>::getColor(Value value) const
{
  if (m_colors.empty()) return Color(0, 0, 0, 0);
  const auto next = std::upper_bound(m_levels.begin(), m_levels.end(), value);
  if (next == m_levels.end()) return m_colors[m_levels.size() - 2];
  const auto index = static_cast<std::size_t>(next - m_levels.begin());
  return m_colors[index == 0 ? 0 : index - 1];
}

template <class Value, class Color>
void MdLevelColorMappingT<Value, Color>::getRange(double& min, double& max) const
{
  if (m_levels.empty()) {
    min = max = 0;
    return;
  }
  min = m_levels.front();
  max = m_levels.back();
}

template class MdLevelColorMappingT<double, SbColorRGBA>;
