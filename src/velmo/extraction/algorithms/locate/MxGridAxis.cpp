#include <velmo/extraction/algorithms/locate/MxGridAxis.h>

#include <cmath>

bool MxGridAxis::isOrdered(const std::vector<double>& nodes)
{
  if (nodes.size() < 2) return false;
  bool rising = true, falling = true;
  for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
    rising = rising && nodes[i] <= nodes[i + 1];
    falling = falling && nodes[i] >= nodes[i + 1];
  }
  return (rising || falling) && std::isfinite(nodes.front()) && std::isfinite(nodes.back());
}

MxGridAxis::MxGridAxis(const std::vector<double>& nodes, double step)
    : m_last(nodes.size() - 2), m_inverseStep(step != 0 ? 1 / step : 0),
      m_sign(nodes.back() < nodes.front() ? -1 : 1)
{
  if (!std::isfinite(m_inverseStep)) m_inverseStep = 0;
  m_steps.reserve(nodes.size());
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const double size = i <= m_last ? nodes[i + 1] - nodes[i] : 0;
    m_steps.push_back({nodes[i], size != 0 ? 1 / size : 0});
  }
}

std::size_t MxGridAxis::intervalAmong(double x, std::size_t hint) const
{
  const double u = m_sign * x;
  if (hint <= m_last && m_sign * m_steps[hint].low <= u && u < m_sign * m_steps[hint + 1].low)
    return hint;
  const auto above =
      std::upper_bound(m_steps.begin(), m_steps.end(), u, [this](double value, const Step& step) {
        return value < m_sign * step.low;
      });
  const std::size_t interval = static_cast<std::size_t>(above - m_steps.begin());
  return std::min(interval > 0 ? interval - 1 : 0, m_last);
}

MxGridAxis::Answer MxGridAxis::find(double x, std::size_t hint) const
{
  Answer answer;
  std::size_t interval = intervalOf(x, hint);
  // Intervals without width hold nothing: the next one with a width counts.
  while (width(interval) == 0 && interval > 0)
    --interval;
  while (width(interval) == 0 && interval < m_last)
    ++interval;
  const auto placeIn = [&](std::size_t candidate) {
    const double low = m_steps[candidate].low;
    return (x - low) / (m_steps[candidate + 1].low - low);
  };
  const auto consider = [&](std::size_t candidate) {
    const double place = placeIn(candidate);
    if (!(place >= -kInsideTolerance && place <= 1 + kInsideTolerance)) return;
    answer.interval[answer.count] = candidate;
    answer.place[answer.count++] = place;
  };
  const double place = placeIn(interval);
  if (!std::isfinite(place)) return answer;
  if (place > kInsideTolerance && place < 1 - kInsideTolerance) {
    answer = {1, {interval, 0}, {place, 0}};
    return answer;
  }
  // On a node: the interval before it and the one behind.
  std::size_t before = interval, behind = interval;
  if (place <= kInsideTolerance) {
    while (before > 0 && width(--before) == 0) {
    }
    if (width(before) == 0) before = interval;
  } else {
    while (behind < m_last && width(++behind) == 0) {
    }
    if (width(behind) == 0) behind = interval;
  }
  consider(before);
  if (behind != before) consider(behind);
  return answer;
}
