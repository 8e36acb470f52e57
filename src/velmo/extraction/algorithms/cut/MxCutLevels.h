#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

/// What a node's level says of it, as one byte: nothing for a node above, or one of these. The
/// bytes of up to eight nodes can be added, and the number below is in the sum's lowest four bits.
inline constexpr std::uint8_t kCutBelow = 1;
/// The node lies on the surface: not below, and the vertex of all cut edges that end there.
inline constexpr std::uint8_t kCutOn = 16;
/// The level is not a finite number: cells with such a node are not cut.
inline constexpr std::uint8_t kCutUndefined = 128;

/// Without branches and comparisons, so that several levels go in one instruction.
inline std::uint8_t classifyLevel(double level)
{
  const auto bits = std::bit_cast<std::uint64_t>(level);
  const std::uint64_t size = bits & 0x7fffffffffffffffu;
  const std::uint64_t undefined = (size + 0x0010000000000000u) >> 63;
  const std::uint64_t on = (size - 1) >> 63;
  const std::uint64_t below = bits >> 63 & (1 ^ on) & (1 ^ undefined);
  return static_cast<std::uint8_t>(below | on * kCutOn | undefined * kCutUndefined);
}

/// Where an edge is cut, as the second node's weight, from the levels at its nodes, of which
/// exactly one is below zero.
inline double linearCutWeight(double first, double second)
{
  const double difference = first - second;
  // The difference may be beyond the largest number, where that of the halves is not.
  const double weight =
      std::isinf(difference) ? first / 2 / (first / 2 - second / 2) : first / difference;
  return weight >= 0 && weight <= 1 ? weight : 0.5;
}

/// Levels of points within this, relative to the numbers they are made from, are zero: a plane
/// through nodes of a mesh meets them although its normal and their coordinates were rounded.
inline constexpr double kCutSnap = 8 * std::numeric_limits<double>::epsilon();

inline double snapCutLevel(double level, double size)
{
  return std::abs(level) < kCutSnap * size ? 0.0 : level;
}

/// A box's range of levels contains zero; used to leave out whole blocks of cells. Wide enough for
/// boxes whose bounds were rounded outward.
struct MxCutBox
{
  MbVec3d low, high;
};

namespace velmo_detail {

/// The crossing of |offset + t * step|^2 = radius^2 in [0, 1], given that one end lies inside and
/// the other does not: a is the square of step, b its product with offset, c the level at t = 0.
inline double quadraticCutWeight(double a, double b, double c, double levelAtEnd)
{
  const double largest = std::max({a, std::abs(b), std::abs(c)});
  if (largest > 1e150) { // the products may be beyond the largest number
    if (std::isinf(largest)) return linearCutWeight(c, levelAtEnd);
    const double scale = 1 / largest;
    a *= scale, b *= scale, c *= scale;
  }
  const double root = std::sqrt(std::max(0.0, b * b - a * c));
  // Of the two forms of each root the one without a difference of like numbers.
  const double sum = b > 0 ? -(b + root) : root - b;
  const double weight = (c < 0) == (b > 0) ? c / sum : sum / a;
  if (weight >= 0 && weight <= 1) return weight;
  return linearCutWeight(c, levelAtEnd);
}

/// Of a square whose root is a number.
inline double finiteSquare(double square)
{
  return std::min(square, std::numeric_limits<double>::max());
}

} // namespace velmo_detail
