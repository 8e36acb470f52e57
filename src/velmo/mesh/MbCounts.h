#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>

#include <limits>
#include <stdexcept>

/// The product of three counts, refused when the nodes around that many cells could not be
/// numbered.
/// @throw std::invalid_argument
inline std::size_t mbProduct(const MbIndex3& counts)
{
  // Room for eight items a cell and one more node along each direction.
  constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max() / 64;
  std::size_t product = 1;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const std::size_t count = counts[axis];
    if (count >= kMost || (count != 0 && product > kMost / count))
      throw std::invalid_argument("The counts of a mesh are too large.");
    product *= count;
  }
  return product;
}
