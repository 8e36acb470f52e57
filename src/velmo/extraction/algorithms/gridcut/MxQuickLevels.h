#pragma once

#include <velmo/extraction/algorithms/cut/MxCutLevels.h>
#include <velmo/extraction/algorithms/gridcut/MxGridRanges.h>

/// The largest coordinates, without their signs, of points relative to another one.
inline MbVec3d reachOf(const MxCutBox& box, const MbVec3d& from)
{
  MbVec3d reach;
  for (std::size_t axis = 0; axis < 3; ++axis)
    reach[axis] =
        std::max(std::abs(box.low[axis] - from[axis]), std::abs(box.high[axis] - from[axis]));
  return reach;
}

/// What the levels of shapes are compared with where only their sign matters: no more than rounding
/// away from the exact ones. `parts` gives what a coordinate adds to each of `kSums` sums, `level`
/// puts these together. Within `tolerance` of zero nothing is certain.
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
    const MbVec3d reach = reachOf(box, {});
    return 4 * kCutSnap *
           (std::abs(normal.x) * reach.x + std::abs(normal.y) * reach.y +
            std::abs(normal.z) * reach.z + std::abs(distance));
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
    const MbVec3d reach = reachOf(box, center);
    return 4 * kCutSnap * (dot(reach, reach) + square);
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
    const MbVec3d reach = reachOf(box, center);
    return 4 * kCutSnap * (dot(reach, reach) + square);
  }
};

template <class Level>
struct MxQuickOf;
template <>
struct MxQuickOf<MxPlaneLevel>
{
  using Type = MxQuickPlane;
};
template <>
struct MxQuickOf<MxSphereLevel>
{
  using Type = MxQuickSphere;
};
template <>
struct MxQuickOf<MxCylinderLevel>
{
  using Type = MxQuickCylinder;
};

/// A tolerance that is a number; where sums may pass the largest one, nothing is certain.
inline double certainTolerance(double tolerance)
{
  return tolerance <= 1e300 ? tolerance : std::numeric_limits<double>::infinity();
}

inline MxCutBox boxOf(const MxRange<3>& range)
{
  return {{range.low[0], range.low[1], range.low[2]},
          {range.high[0], range.high[1], range.high[2]}};
}
