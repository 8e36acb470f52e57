#include <velmo/colormapping/MdLinearColorMapping.h>

#include <algorithm>

template <class Value, class Color, class Weight>
void MdLinearColorMappingT<Value, Color, Weight>::setColors(std::vector<ValueAndColor> colors)
{
  if (colors == m_colors) return;
  m_colors = std::move(colors);
  // A NaN among the values counts as out of order.
  m_ascending = std::adjacent_find(m_colors.begin(), m_colors.end(), [](auto& a, auto& b) {
                  return !(a.first <= b.first);
                }) == m_colors.end();
  m_timeStamp = MxTimeStamp::take();
}

template <class Value, class Color, class Weight>
void MdLinearColorMappingT<Value, Color, Weight>::setThreshold(Threshold& mine,
                                                               const Threshold& threshold)
{
  if (!(mine == threshold)) m_timeStamp = MxTimeStamp::take();
  mine = threshold;
}

template <class Value, class Color, class Weight>
Color MdLinearColorMappingT<Value, Color, Weight>::getColor(Value value) const
{
  if (m_minThreshold.enabled && m_minThreshold.value > value) return m_minThreshold.color;
  if (m_maxThreshold.enabled && value > m_maxThreshold.value) return m_maxThreshold.color;
  if (m_colors.empty()) return Color(0, 0, 0, 0);

  // Both searches find the first control value above `value`; only the walk does so out of order.
  const auto above = [value](const ValueAndColor& entry) { return value < entry.first; };
  const auto next =
      m_ascending ? std::partition_point(m_colors.begin(), m_colors.end(),
                                         [&](const ValueAndColor& entry) { return !above(entry); })
                  : std::find_if(m_colors.begin(), m_colors.end(), above);
  if (next == m_colors.end()) return m_colors.back().second;
  if (next == m_colors.begin()) return next->second;

  const auto previous = next - 1;
  const Weight t = static_cast<Weight>((value - previous->first) / (next->first - previous->first));
  const auto* const from = previous->second.getValue();
  const auto* const to = next->second.getValue();
  Weight mixed[4];
  for (int c = 0; c < 4; ++c)
    mixed[c] = from[c] + (to[c] - from[c]) * t;
  return Color(mixed);
}

template <class Value, class Color, class Weight>
void MdLinearColorMappingT<Value, Color, Weight>::getRange(double& min, double& max) const
{
  if (m_colors.empty()) {
    min = max = 0;
    return;
  }
  min = m_colors.front().first;
  max = m_colors.back().first;
}

template class MdLinearColorMappingT<double, SbColorRGBA, float>;
