#include <velmo/extraction/algorithms/locate/MxCellWeights.h>

#include <algorithm>
#include <limits>

namespace {

// Shares of the polygon's area below which a point lies on an edge, or a corner is straight.
constexpr double kFlat = 1e-10;

struct Point2
{
  double x, y;
};

Point2 operator-(const Point2& a, const Point2& b)
{
  return {a.x - b.x, a.y - b.y};
}

double cross(const Point2& a, const Point2& b)
{
  return a.x * b.y - a.y * b.x;
}

double dot(const Point2& a, const Point2& b)
{
  return a.x * b.x + a.y * b.y;
}

// The corners about the point, seen along the vector area; false for a polygon without area.
bool project(std::span<const MbVec3d> corners, const MbVec3d& at, std::vector<Point2>& points,
             double& area)
{
  MbVec3d normal;
  for (std::size_t i = 1; i + 1 < corners.size(); ++i)
    normal += cross(corners[i] - corners[0], corners[i + 1] - corners[0]);
  area = length(normal);
  if (!(area > 0)) return false;
  normal = normal * (1 / area);
  const MbVec3d axis = std::abs(normal.x) < 0.6 ? MbVec3d{1, 0, 0} : MbVec3d{0, 1, 0};
  MbVec3d u = cross(axis, normal);
  u = u * (1 / length(u));
  const MbVec3d v = cross(normal, u);
  for (const MbVec3d& corner : corners)
    points.push_back({dot(corner - at, u), dot(corner - at, v)});
  return true;
}

void convexWeights(const std::vector<Point2>& points, const std::vector<double>& areas,
                   std::vector<double>& weights)
{
  const std::size_t n = points.size();
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t before = (i + n - 1) % n;
    const double corner = cross(points[i] - points[before], points[(i + 1) % n] - points[i]);
    weights[i] = corner / areas[before] / areas[i];
  }
}

void meanValueWeights(const std::vector<Point2>& points, const std::vector<double>& areas,
                      std::vector<double>& weights)
{
  const std::size_t n = points.size();
  // The tangent of half the angle under which an edge is seen.
  const auto half = [&](std::size_t i) {
    const Point2 &a = points[i], &b = points[(i + 1) % n];
    return areas[i] / (std::sqrt(dot(a, a) * dot(b, b)) + dot(a, b));
  };
  for (std::size_t i = 0; i < n; ++i)
    weights[i] = (half((i + n - 1) % n) + half(i)) / std::sqrt(dot(points[i], points[i]));
}

bool isInside(const std::vector<Point2>& points)
{
  bool inside = false;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Point2 &a = points[i], &b = points[(i + 1) % points.size()];
    if ((a.y > 0) != (b.y > 0) && a.x - a.y * (b.x - a.x) / (b.y - a.y) > 0) inside = !inside;
  }
  return inside;
}

// Weights of the nearest point of the outline, or of the line.
void nearestWeights(std::span<const MbVec3d> corners, const MbVec3d& at, bool closed,
                    std::vector<double>& weights)
{
  weights.assign(corners.size(), 0);
  double nearest = std::numeric_limits<double>::infinity();
  std::size_t first = 0, second = 0;
  double share = 0;
  const std::size_t count = corners.size() == 1 ? 1 : corners.size() - (closed ? 0 : 1);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t next = (i + 1) % corners.size();
    const MbVec3d along = corners[next] - corners[i];
    const double squared = dot(along, along);
    const double s =
        squared > 0 ? std::clamp(dot(at - corners[i], along) / squared, 0.0, 1.0) : 0.0;
    const MbVec3d off = corners[i] + along * s - at;
    const double distance = dot(off, off);
    if (!(distance < nearest)) continue;
    nearest = distance;
    first = i;
    second = next;
    share = s;
  }
  weights[second] = share;
  weights[first] += 1 - share;
}

} // namespace

void polygonWeights(std::span<const MbVec3d> corners, const MbVec3d& at,
                    std::vector<double>& weights)
{
  std::vector<Point2> points;
  double area = 0;
  if (corners.size() < 3 || !project(corners, at, points, area)) {
    nearestWeights(corners, at, true, weights);
    return;
  }
  const std::size_t n = points.size();
  std::vector<double> areas(n); // of the triangles of the point and an edge, twice
  bool onEdge = false, outside = false, convex = true;
  for (std::size_t i = 0; i < n; ++i) {
    const Point2 &a = points[i], &b = points[(i + 1) % n];
    areas[i] = cross(a, b);
    outside = outside || areas[i] < 0;
    // Of an edge's line, only what lies between its ends.
    onEdge = onEdge || (std::abs(areas[i]) <= kFlat * area && dot(a, b) <= 0);
    convex = convex && cross(b - a, points[(i + 2) % n] - b) > kFlat * area;
  }
  if (onEdge || (convex ? outside : !isInside(points))) {
    nearestWeights(corners, at, true, weights);
    return;
  }
  weights.resize(n);
  if (convex)
    convexWeights(points, areas, weights);
  else
    meanValueWeights(points, areas, weights);
  double sum = 0;
  for (const double weight : weights)
    sum += weight;
  if (!std::isfinite(sum) || sum == 0) {
    nearestWeights(corners, at, true, weights);
    return;
  }
  for (double& weight : weights)
    weight /= sum;
}

void polylineWeights(std::span<const MbVec3d> corners, const MbVec3d& at,
                     std::vector<double>& weights)
{
  nearestWeights(corners, at, false, weights);
}
