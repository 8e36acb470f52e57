#pragma once

#include <velmo/extraction/algorithms/cut/MxCutLevels.h>
#include <velmo/extraction/interfaces/MiDataSet.h>

#include <variant>

/// What meshes are cut by: a field at a value, or a shape in space. All that cuts ask of a shape
/// stands here, in three structures and the list MxCutShape.
///
/// The numbers that describe it, which callers give:
///
///     using Level = ...;
///     bool isUsable() const;                     false for numbers that describe nothing
///     double distanceTo(const MbVec3d& p) const; of a usable one, negative on one side
///
/// Its levels, made from a usable one:
///
///     using Quick = ...;
///     double level(const MbVec3d& p) const;      below zero on the side that polygons look away
///     from double weight(const MbVec3d& a, const MbVec3d& b) const;      where the edge is cut
///     bool mayCut(const MxCutBox& box) const;    false when all points in it lie on one side
///
/// What these are compared with where only their sign matters, made from the levels: no more than
/// rounding away from the exact ones. `addParts` gives what a coordinate adds to each of `kSums`
/// sums, `level` puts these together. Within `tolerance` of zero nothing is certain.

/// Where the values of a set, one per node, are `value`. The set is borrowed; kinds with nodes of
/// one index take a MiDataSetI, the others a MiDataSetIjk or a MiDataSetI numbered I fastest. A set
/// of another size gives an empty result.
struct MxIsovalue
{
  const MiTypedDataSet<double>* set = nullptr;
  double value = 0;

  bool isUsable() const { return set && std::isfinite(value); }
};

namespace velmo_detail {

inline bool isDirection(const MbVec3d& v)
{
  return isFinite(v) && v != MbVec3d{};
}
inline bool isRadius(double radius)
{
  return std::isfinite(radius) && radius >= 0;
}

/// The largest coordinates, without their signs, of points relative to another one.
inline MbVec3d reachOf(const MxCutBox& box, const MbVec3d& from)
{
  MbVec3d reach;
  for (std::size_t axis = 0; axis < 3; ++axis)
    reach[axis] =
        std::max(std::abs(box.low[axis] - from[axis]), std::abs(box.high[axis] - from[axis]));
  return reach;
}

} // namespace velmo_detail

// --- Planes ----------------------------------------------------------------------------------

/// The points with normal . x = distance; the normal has any length but zero.
struct MxCutPlane
{
  using Level = struct MxPlaneLevel;

  MbVec3d normal;
  double distance = 0;

  bool isUsable() const { return velmo_detail::isDirection(normal) && std::isfinite(distance); }
  double distanceTo(const MbVec3d& p) const { return (dot(normal, p) - distance) / length(normal); }
};

struct MxPlaneLevel
{
  using Quick = struct MxQuickPlane;

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

struct MxQuickPlane
{
  static constexpr std::size_t kSums = 1;
  /// Apart from zeros the levels are the exact ones, and edges are cut where these tell.
  static constexpr bool kGivesWeights = true;
  MbVec3d normal;
  double distance;

  explicit MxQuickPlane(const MxPlaneLevel& exact) : normal(exact.normal), distance(exact.distance)
  {}
  void addParts(std::size_t axis, double x, double* parts) const { parts[0] = normal[axis] * x; }
  double level(const double* sums) const { return sums[0] - distance; }
  double tolerance(const MxCutBox& box) const
  {
    const MbVec3d reach = velmo_detail::reachOf(box, {});
    return 4 * kCutSnap *
           (std::abs(normal.x) * reach.x + std::abs(normal.y) * reach.y +
            std::abs(normal.z) * reach.z + std::abs(distance));
  }
};

// --- Spheres ---------------------------------------------------------------------------------

struct MxCutSphere
{
  using Level = struct MxSphereLevel;

  MbVec3d center;
  double radius = 0;

  bool isUsable() const { return isFinite(center) && velmo_detail::isRadius(radius); }
  double distanceTo(const MbVec3d& p) const { return length(p - center) - radius; }
};

struct MxSphereLevel
{
  using Quick = struct MxQuickSphere;

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

struct MxQuickSphere
{
  static constexpr std::size_t kSums = 1;
  static constexpr bool kGivesWeights = false;
  MbVec3d center;
  double square;

  explicit MxQuickSphere(const MxSphereLevel& exact) : center(exact.center), square(exact.square) {}
  void addParts(std::size_t axis, double x, double* parts) const
  {
    parts[0] = (x - center[axis]) * (x - center[axis]);
  }
  double level(const double* sums) const { return sums[0] - square; }
  double tolerance(const MxCutBox& box) const
  {
    const MbVec3d reach = velmo_detail::reachOf(box, center);
    return 4 * kCutSnap * (dot(reach, reach) + square);
  }
};

// --- Cylinders -------------------------------------------------------------------------------

/// An endless cylinder; the direction has any length but zero.
struct MxCutCylinder
{
  using Level = struct MxCylinderLevel;

  MbVec3d center, direction;
  double radius = 0;

  bool isUsable() const
  {
    return isFinite(center) && velmo_detail::isDirection(direction) &&
           velmo_detail::isRadius(radius);
  }
  double distanceTo(const MbVec3d& p) const
  {
    return length(cross(p - center, direction)) / length(direction) - radius;
  }
};

struct MxCylinderLevel
{
  using Quick = struct MxQuickCylinder;

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

/// The distance from the axis by that from the centre and the one along the axis.
struct MxQuickCylinder
{
  static constexpr std::size_t kSums = 2;
  static constexpr bool kGivesWeights = false;
  MbVec3d center, axis;
  double square;

  explicit MxQuickCylinder(const MxCylinderLevel& exact)
      : center(exact.center), axis(exact.axis), square(exact.radius * exact.radius)
  {}
  void addParts(std::size_t a, double x, double* parts) const
  {
    const double offset = x - center[a];
    parts[0] = offset * offset;
    parts[1] = offset * axis[a];
  }
  double level(const double* sums) const { return sums[0] - sums[1] * sums[1] - square; }
  double tolerance(const MxCutBox& box) const
  {
    const MbVec3d reach = velmo_detail::reachOf(box, center);
    return 4 * kCutSnap * (dot(reach, reach) + square);
  }
};

/// The tolerance of quick levels as a number; where sums may pass the largest one, nothing is
/// certain.
inline double certainTolerance(double tolerance)
{
  return tolerance <= 1e300 ? tolerance : std::numeric_limits<double>::infinity();
}

// --- All of them -----------------------------------------------------------------------------

using MxCutShape = std::variant<MxIsovalue, MxCutPlane, MxCutSphere, MxCutCylinder>;

/// True when a shape can be cut with: all numbers finite, no normal or axis of zero, no negative
/// radius, a data set. Other arguments give an empty result.
inline bool isCutShapeUsable(const MxCutShape& shape)
{
  return std::visit([](const auto& own) { return own.isUsable(); }, shape);
}

/// Calls visit(shape) with a shape in space as the structure that it is; false for a field.
template <class Visitor>
bool visitShapeInSpace(const MxCutShape& shape, const Visitor& visit)
{
  return std::visit(
      [&]<class Shape>(const Shape& own) {
        constexpr bool kIsInSpace = !std::is_same_v<Shape, MxIsovalue>;
        if constexpr (kIsInSpace) visit(own);
        return kIsInSpace;
      },
      shape);
}
/// Calls visit(level) with the levels of a shape in space; false for a field.
template <class Visitor>
bool visitShapeLevel(const MxCutShape& shape, const Visitor& visit)
{
  return visitShapeInSpace(
      shape, [&]<class Shape>(const Shape& own) { visit(typename Shape::Level(own)); });
}
