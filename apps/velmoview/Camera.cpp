#include <velmoview/Camera.h>

#include <Inventor/nodes/SoPerspectiveCamera.h>

#include <algorithm>
#include <limits>

namespace velmoview {

namespace {

constexpr double kHeightAngle = 0.45; // radians: a long lens, little distortion
constexpr double kMargin = 0.06;      // of the picture, on each side

MbVec3d unit(const MbVec3d& v)
{
  return v * (1 / length(v));
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// One direction of the picture, sideways or upward, with its opening on both sides as slopes.
struct Axis
{
  Axis(double half, double freeBelow, double freeAbove)
      : slopeBelow(half * (1 - 2 * kMargin - 2 * freeBelow)),
        slopeAbove(half * (1 - 2 * kMargin - 2 * freeAbove))
  {}

  double slopeBelow, slopeAbove;
  double above = -kInfinity, below = -kInfinity;

  // A camera at `middle` and `distance` sees (across, back) when
  // -slopeBelow * (distance - back) <= across - middle <= slopeAbove * (distance - back).
  void add(double across, double back)
  {
    above = std::max(above, across + slopeAbove * back);
    below = std::max(below, -across + slopeBelow * back);
  }
  double leastDistance() const { return (above + below) / (slopeAbove + slopeBelow); }
  /// Where to stand at a distance at which all fits.
  double middle(double distance) const
  {
    return (above - slopeAbove * distance + slopeBelow * distance - below) / 2;
  }
};

/// Where to stand along one direction of the picture, seen from `distance`, so that the points
/// reach equally far to both sides of the part that is theirs.
double centre(std::span<const MbVec3d> points, const MbVec3d& axis, const MbVec3d& back,
              double distance, const Axis& room)
{
  double middle = room.middle(distance);
  for (int pass = 0; pass < 4; ++pass) {
    double low = kInfinity, high = -kInfinity, lowDepth = 0, highDepth = 0;
    for (const MbVec3d& p : points) {
      const double depth = distance - dot(p, back);
      if (!isFinite(p) || depth <= 0) continue;
      const double slope = (dot(p, axis) - middle) / depth;
      if (slope < low) low = slope, lowDepth = depth;
      if (slope > high) high = slope, highDepth = depth;
    }
    if (!(low <= high)) break;
    middle += (low + high - room.slopeAbove + room.slopeBelow) / (1 / lowDepth + 1 / highDepth);
  }
  return middle;
}

SbVec3f toFloat(const MbVec3d& v)
{
  return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

} // namespace

ViewAxes viewAxes(const MbVec3d& direction)
{
  ViewAxes axes;
  // Scaled first, so that no square overflows or vanishes.
  const double largest =
      std::max({std::abs(direction.x), std::abs(direction.y), std::abs(direction.z)});
  axes.back = unit(direction * (-1 / largest));
  const bool alongZ = std::abs(axes.back.z) > 0.9999;
  axes.right = unit(cross(alongZ ? MbVec3d{0, 1, 0} : MbVec3d{0, 0, 1}, axes.back));
  axes.up = cross(axes.back, axes.right);
  return axes;
}

void fitCamera(SoPerspectiveCamera& camera, std::span<const MbVec3d> points, const ViewAxes& axes,
               double aspect, const PictureMargins& margins)
{
  const double slope = std::tan(kHeightAngle / 2);
  Axis sideways(slope * aspect, margins.left, margins.right);
  Axis upward(slope, margins.bottom, margins.top);
  double nearest = -kInfinity, farthest = kInfinity;
  for (const MbVec3d& p : points) {
    if (!isFinite(p)) continue;
    const double back = dot(p, axes.back);
    sideways.add(dot(p, axes.right), back);
    upward.add(dot(p, axes.up), back);
    nearest = std::max(nearest, back);
    farthest = std::min(farthest, back);
  }
  if (farthest > nearest) return;
  const double depth = nearest - farthest;
  const double least = std::max(sideways.leastDistance(), upward.leastDistance());
  // A single point, or a mesh seen along its plane, still needs room before it.
  const double room = std::max({least - nearest, depth * 0.05, 1e-6 * std::abs(nearest), 1e-6});
  const double distance = nearest + room;

  const auto middle = [&](const Axis& axis, const MbVec3d& direction) {
    return centre(points, direction, axes.back, distance, axis);
  };
  const MbVec3d eye = axes.right * middle(sideways, axes.right) +
                      axes.up * middle(upward, axes.up) + axes.back * distance;
  const SbMatrix turn(static_cast<float>(axes.right.x), static_cast<float>(axes.right.y),
                      static_cast<float>(axes.right.z), 0, static_cast<float>(axes.up.x),
                      static_cast<float>(axes.up.y), static_cast<float>(axes.up.z), 0,
                      static_cast<float>(axes.back.x), static_cast<float>(axes.back.y),
                      static_cast<float>(axes.back.z), 0, 0, 0, 0, 1);
  camera.position = toFloat(eye);
  camera.orientation = SbRotation(turn);
  camera.heightAngle = static_cast<float>(kHeightAngle);
  camera.nearDistance = static_cast<float>(room * 0.5);
  camera.farDistance = static_cast<float>((room + depth) * 1.05);
  camera.focalDistance = static_cast<float>(room + depth / 2);
}

} // namespace velmoview
