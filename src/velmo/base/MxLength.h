#pragma once

#include <cmath>

/// The length of a vector, whatever the size of its components: NaN where one of them is NaN, else
/// infinite where one is infinite. Of std::hypot, libraries differ in this.
inline double mxLength(double x, double y, double z)
{
  if (std::isfinite(x) && std::isfinite(y) && std::isfinite(z)) return std::hypot(x, y, z);
  return std::abs(x) + std::abs(y) + std::abs(z);
}
