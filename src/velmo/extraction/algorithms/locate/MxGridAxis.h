#pragma once

#include <velmo/extraction/algorithms/locate/MxCellMap.h>

#include <algorithm>
#include <utility>
#include <vector>

/// One axis of a grid of boxes: finds the interval that holds a coordinate.
class MxGridAxis
{
public:
  /// @param nodes  coordinates that do not change their direction; equal neighbours are allowed
  /// @param step   the step between all of them, 0 when it differs
  MxGridAxis(const std::vector<double>& nodes, double step);

  /// True for coordinates that an axis can be made of.
  static bool isOrdered(const std::vector<double>& nodes);

  /// From a node to the next.
  struct Step
  {
    double low = 0;
    double inverse = 0; ///< of the way to the next node; 0 where there is none

    /// Whether a coordinate lies inside, away from the nodes by more than kInsideTolerance.
    /// @param place  gets the place, from 0 to 1
    bool holds(double x, double& place) const
    {
      place = (x - low) * inverse;
      return place > kInsideTolerance && place < 1 - kInsideTolerance;
    }
  };
  const Step& step(std::size_t interval) const { return m_steps[interval]; }

  /// Finds the interval of a coordinate that lies inside one; false for all others.
  /// @param hint      an interval to look at first; need not exist
  /// @param interval  gets the interval
  /// @param place     gets the place in it, from 0 to 1
  bool findInside(double x, std::size_t hint, std::size_t& interval, double& place) const
  {
    interval = intervalOf(x, hint);
    return m_steps[interval].holds(x, place);
  }

  /// One or two intervals, in ascending order, that hold a coordinate, and its place in each.
  struct Answer
  {
    std::uint32_t count = 0;
    std::size_t interval[2];
    double place[2];
  };
  Answer find(double x, std::size_t hint) const;
  /// The nodes before and behind an interval.
  std::pair<double, double> ends(std::size_t interval) const
  {
    return {m_steps[interval].low, m_steps[interval + 1].low};
  }
  double width(std::size_t interval) const
  {
    return std::abs(m_steps[interval + 1].low - m_steps[interval].low);
  }

private:
  /// The interval that holds a coordinate, the outermost ones all that lies beyond.
  std::size_t intervalOf(double x, std::size_t hint) const
  {
    if (m_inverseStep == 0) return intervalAmong(x, hint);
    const double at = (x - m_steps[0].low) * m_inverseStep;
    if (!(at > 0)) return 0;
    return std::min(static_cast<std::size_t>(static_cast<std::int64_t>(std::min(at, 1e15))),
                    m_last);
  }
  std::size_t intervalAmong(double x, std::size_t hint) const;

  std::vector<Step> m_steps;
  std::size_t m_last; ///< interval
  double m_inverseStep;
  double m_sign; ///< -1 for a falling axis
};
