#pragma once

#include "WorkloadNumbers.h"

#include <cmath>
#include <cstddef>
#include <vector>

/// The points of the standard workloads that are probed, and where their streamlines begin. Plain
/// C++17, as both sides use it.
namespace bench {

/// All over the domain and a little around it: about a quarter lies outside.
inline std::vector<Point> randomProbePoints(std::size_t count)
{
  Generator random{2024};
  std::vector<Point> points(count);
  for (Point& p : points)
    for (double& x : p)
      x = 1.1 * random.uniform() - 0.05;
  return points;
}

/// Seven turns upwards through the domain.
inline std::vector<Point> helixPoints(std::size_t count)
{
  std::vector<Point> points(count);
  for (std::size_t n = 0; n < count; ++n) {
    const double t = static_cast<double>(n) / static_cast<double>(count - 1), a = 14 * kPi * t;
    points[n] = {0.5 + 0.35 * std::cos(a), 0.5 + 0.35 * std::sin(a), 0.1 + 0.8 * t};
  }
  return points;
}

inline std::vector<Point> streamSeeds(std::size_t count)
{
  Generator random{777};
  std::vector<Point> seeds(count);
  for (Point& p : seeds)
    for (double& x : p)
      x = 0.2 + 0.6 * random.uniform();
  return seeds;
}

} // namespace bench
