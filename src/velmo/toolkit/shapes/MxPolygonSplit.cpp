#include <velmo/toolkit/shapes/MxPolygonSplit.h>

#include <Inventor/SbVec3d.h>

#include <algorithm>
#include <cmath>

namespace {

using Vertices = std::span<const std::int32_t>;
using Positions = std::span<const SbVec3f>;

// Corners that turn back by a smaller angle (its sine) are straight. Warp, as a share of the size,
// adds to it: where a polygon lies far off its mean plane, what is a corner is a matter of the
// view, and a fan is what everybody expects.
constexpr double kStraight = 1e-3;
constexpr double kStraightPerWarp = 2;

SbVec3d toDouble(const SbVec3f& v)
{
  return {v[0], v[1], v[2]};
}

// Newell's sum: along the mean normal, as long as twice the area.
SbVec3d areaVector(Vertices vertices, Positions positions)
{
  const SbVec3d origin = toDouble(positions[vertices[0]]);
  SbVec3d sum(0, 0, 0);
  for (std::size_t k = 1; k + 1 < vertices.size(); ++k)
    sum += (toDouble(positions[vertices[k]]) - origin)
               .cross(toDouble(positions[vertices[k + 1]]) - origin);
  return sum;
}

struct Point
{
  double x, y;
};

double turn(const Point& a, const Point& b, const Point& c)
{
  return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

// In the plane of the two axes that the normal is least along, so that it turns to the left.
std::vector<Point> flattened(Vertices vertices, Positions positions)
{
  const SbVec3d normal = areaVector(vertices, positions);
  int main = 0;
  for (int axis = 1; axis < 3; ++axis)
    if (std::abs(normal[axis]) > std::abs(normal[main])) main = axis;
  int u = (main + 1) % 3, v = (main + 2) % 3;
  if (normal[main] < 0) std::swap(u, v);
  std::vector<Point> points;
  for (const std::int32_t vertex : vertices)
    points.push_back({positions[vertex][u], positions[vertex][v]});
  return points;
}

} // namespace

bool mxIsHollow(Vertices vertices, Positions positions)
{
  if (vertices.size() < 4) return false;
  const SbVec3d normal = areaVector(vertices, positions);
  const double size = normal.length();
  if (!(size > 0)) return false;
  const std::size_t count = vertices.size();
  const SbVec3d first = toDouble(positions[vertices[0]]);
  double low = 0, high = 0;
  for (const std::int32_t vertex : vertices) {
    const double off = (toDouble(positions[vertex]) - first).dot(normal);
    low = std::min(low, off);
    high = std::max(high, off);
  }
  // The normal is as long as twice the area.
  const double warp = (high - low) / (size * std::sqrt(size));
  const double straight = kStraight + kStraightPerWarp * warp;
  SbVec3d before = first - toDouble(positions[vertices[count - 1]]);
  for (std::size_t k = 0; k < count; ++k) {
    const SbVec3d after =
        toDouble(positions[vertices[k + 1 < count ? k + 1 : 0]]) - toDouble(positions[vertices[k]]);
    const double sides = std::sqrt(before.sqrLength() * after.sqrLength());
    if (before.cross(after).dot(normal) < -straight * sides * size) return true;
    before = after;
  }
  return false;
}

void mxSplitPolygon(Vertices vertices, Positions positions, std::vector<std::uint32_t>& places)
{
  const std::vector<Point> points = flattened(vertices, positions);
  std::vector<std::uint32_t> rest;
  for (std::size_t k = 0; k < vertices.size(); ++k)
    rest.push_back(static_cast<std::uint32_t>(k));
  while (rest.size() > 3) {
    const std::size_t n = rest.size();
    const auto at = [&](std::size_t k) -> const Point& { return points[rest[k % n]]; };
    const auto isEmpty = [&](std::size_t k) {
      const Point &a = at(k + n - 1), &b = at(k), &c = at(k + 1);
      for (std::size_t other = k + 2; other < k + n - 1; ++other) {
        const Point& p = at(other);
        if (turn(a, b, p) >= 0 && turn(b, c, p) >= 0 && turn(c, a, p) >= 0) return false;
      }
      return true;
    };
    // The best shaped ear; without any, the corner that turns most.
    std::size_t best = 0, widest = 0;
    double bestTurn = 0, widestTurn = -1e300;
    for (std::size_t k = 0; k < n; ++k) {
      const double size = turn(at(k + n - 1), at(k), at(k + 1));
      if (size > widestTurn) widest = k, widestTurn = size;
      if (size > bestTurn && isEmpty(k)) best = k, bestTurn = size;
    }
    const std::size_t ear = bestTurn > 0 ? best : widest;
    places.insert(places.end(), {rest[(ear + n - 1) % n], rest[ear], rest[(ear + 1) % n]});
    rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(ear));
  }
  places.insert(places.end(), rest.begin(), rest.end());
}
