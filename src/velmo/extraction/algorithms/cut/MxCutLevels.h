#pragma once

#include <velmo/extraction/algorithms/cut/MxCut.h>

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

/// The levels of a shape in space, one structure a shape:
///
///     double level(const MbVec3d& p) const;     below zero on the side that polygons look away
///     from double weight(const MbVec3d& a, const MbVec3d& b) const;   where the edge is cut bool
///     mayCut(const MxCutBox& box) const;   false when all points in it lie on one side
struct MxPlaneLevel
{
  MbVec3d normal;
  double distance;

  explicit MxPlaneLevel(const MxCutPlane& plane)
  {
    // By a power of two, which changes nothing but what sums can overflow.
    int exponent = 0;
    std::frexp(std::max({std::abs(plane.normal.x), std::abs(plane.normal.y), //
                         std::abs(plane.normal.z)}),
               &exponent);
    for (std::size_t axis = 0; axis < 3; ++axis)
      normal[axis] = std::ldexp(plane.normal[axis], -exponent - 3);
    distance = std::ldexp(plane.distance, -exponent - 3);
  }
  double level(const MbVec3d& p) const
  {
    const double x = normal.x * p.x, y = normal.y * p.y, z = normal.z * p.z;
    return snapCutLevel(x + y + z - distance,
                        std::abs(x) + std::abs(y) + std::abs(z) + std::abs(distance));
  }
  double weight(const MbVec3d& a, const MbVec3d& b) const
  {
    return linearCutWeight(level(a), level(b));
  }
  bool mayCut(const MxCutBox& box) const
  {
    double low = -distance, high = -distance, size = std::abs(distance);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const double a = normal[axis] * box.low[axis], b = normal[axis] * box.high[axis];
      low += std::min(a, b);
      high += std::max(a, b);
      size += std::max(std::abs(a), std::abs(b));
    }
    return low <= kCutSnap * size && high >= -kCutSnap * size;
  }
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

struct MxSphereLevel
{
  MbVec3d center;
  double square;

  explicit MxSphereLevel(const MxCutSphere& sphere)
      : center(sphere.center), square(sphere.radius * sphere.radius)
  {}
  double level(const MbVec3d& p) const
  {
    const MbVec3d offset = p - center;
    const double distance = velmo_detail::finiteSquare(dot(offset, offset));
    return snapCutLevel(distance - square, distance + square);
  }
  double weight(const MbVec3d& a, const MbVec3d& b) const
  {
    const MbVec3d step = b - a;
    return velmo_detail::quadraticCutWeight(dot(step, step), dot(a - center, step), level(a),
                                            level(b));
  }
  bool mayCut(const MxCutBox& box) const
  {
    double nearest = 0, farthest = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const double low = box.low[axis] - center[axis], high = box.high[axis] - center[axis];
      const double outside = std::max({low, -high, 0.0});
      const double most = std::max(-low, high);
      nearest += outside * outside;
      farthest += most * most;
    }
    return nearest * (1 - kCutSnap) <= square * (1 + kCutSnap) &&
           farthest * (1 + kCutSnap) >= square * (1 - kCutSnap);
  }
};

struct MxCylinderLevel
{
  MbVec3d center, axis;
  double radius;

  explicit MxCylinderLevel(const MxCutCylinder& cylinder)
      : center(cylinder.center), axis(cylinder.direction), radius(cylinder.radius)
  {
    // Scaled first, as the square of a small or large component may not be a number.
    const double largest = std::max({std::abs(axis.x), std::abs(axis.y), std::abs(axis.z)});
    axis = axis * (1 / largest);
    axis = axis * (1 / length(axis));
  }
  MbVec3d across(const MbVec3d& v) const { return v - axis * dot(v, axis); }
  double level(const MbVec3d& p) const
  {
    const MbVec3d offset = across(p - center);
    const double distance = velmo_detail::finiteSquare(dot(offset, offset));
    const double square = radius * radius;
    return snapCutLevel(distance - square, distance + square);
  }
  double weight(const MbVec3d& a, const MbVec3d& b) const
  {
    const MbVec3d step = across(b - a);
    return velmo_detail::quadraticCutWeight(dot(step, step), dot(across(a - center), step),
                                            level(a), level(b));
  }
  bool mayCut(const MxCutBox& box) const
  {
    // The ball around the box is as near to the axis as any of its points.
    const MbVec3d middle = box.low * 0.5 + box.high * 0.5;
    const double reach = length(box.high - box.low) * 0.5;
    const double distance = length(across(middle - center));
    const double slack = 4 * kCutSnap * (distance + reach + radius + length(middle - center));
    // Not above, so that boxes too large for their squares are looked at.
    return !(std::abs(distance - radius) > reach + slack);
  }
};

/// True when a shape can be cut with: all numbers finite, no normal or axis of zero, no negative
/// radius, a data set. Other arguments give an empty result.
bool isCutShapeUsable(const MxCutShape& shape);
