#include <velmo/extraction/algorithms/MxCellMap.h>

#include <velmo/extraction/algorithms/MxShapeFunctions.h>

#include <cmath>

namespace {

constexpr int kMostNewtonSteps = 20;
// Newton's steps double the right digits: after one that short the place is as exact as it gets.
constexpr double kLastStep = 1e-7;
// A place that far from the reference cell does not come back into it.
constexpr double kLost = 50;
// Where a step is shorter than the one before by this factor, Newton's method converges faster
// than that, so that what is still to come is shorter than this last step ...
constexpr double kConverging = 0.25;
// ... and a place that is further outside stays there.
constexpr double kClearlyOutside = 2;

double largestOf(const MbVec3d& v)
{
  return std::max(std::max(std::abs(v.x), std::abs(v.y)), std::abs(v.z));
}

/// Solves a x + b y + c z = d. False when the three have no common volume.
bool solve(const MbVec3d& a, const MbVec3d& b, const MbVec3d& c, const MbVec3d& d, double (&x)[3])
{
  const MbVec3d bc = cross(b, c);
  const double determinant = dot(a, bc);
  if (!(std::abs(determinant) > 0)) return false;
  const double inverse = 1 / determinant;
  x[0] = dot(d, bc) * inverse;
  x[1] = dot(a, cross(d, c)) * inverse;
  x[2] = dot(a, cross(b, d)) * inverse;
  return std::isfinite(x[0] + x[1] + x[2]);
}

MbVec3d normalOf(const MbVec3d& a, const MbVec3d& b)
{
  const MbVec3d n = cross(a, b);
  const double size = length(n);
  return size > 0 ? n * (1 / size) : n;
}

/// The nodes of a shape that are no corners, and where they would be if its sides were straight.
template <MiCellShape Shape>
double bulgeOf(const MbVec3d* points)
{
  constexpr MiCellShapeFacts kFacts = cellShapeFacts(Shape);
  double bulge = 0;
  for (std::size_t n = kFacts.cornerCount; n < kFacts.nodeCount; ++n) {
    const auto& at = kShapeNodes<Shape>.at[n];
    const double r[3] = {at[0], at[1], at[2]};
    double w[8];
    shapeWeights<kFacts.linear>(r, w);
    MbVec3d straight{};
    for (std::size_t c = 0; c < kFacts.cornerCount; ++c)
      straight += points[c] * w[c];
    bulge = std::max(bulge, largestOf(points[n] - straight));
  }
  return bulge;
}

enum class Search
{
  Found,
  Outside,
  Lost
};

/// Newton's method from a place on.
/// @param moveFrom  moveFrom(r, move) answers the step from r; false where there is none
template <MiCellShape Linear, class MoveFrom>
Search searchFrom(double (&r)[3], const MoveFrom& moveFrom)
{
  double before = 0;
  for (int step = 0; step < kMostNewtonSteps; ++step) {
    double move[3];
    if (!moveFrom(r, move)) return Search::Lost;
    double largest = 0, farthest = 0;
    for (int a = 0; a < cellShapeFacts(Linear).dimension; ++a) {
      r[a] += move[a];
      largest = std::max(largest, std::abs(move[a]));
      farthest = std::max(farthest, std::abs(r[a]));
    }
    if (largest < kLastStep) return Search::Found;
    if (farthest > kLost) return Search::Lost;
    if (largest < kConverging * before &&
        outsideOf(Linear, r[0], r[1], r[2]) > kClearlyOutside * largest)
      return Search::Outside;
    before = largest;
  }
  return Search::Lost;
}

/// From a guess on, and where that fails from other starts: a cell that is badly bent may need one
/// nearer to the point. @return whether r is the place of the point
template <MiCellShape Linear, class MoveFrom>
bool searchPlace(double (&r)[3], const MxPlace& middle, const MoveFrom& moveFrom)
{
  Search search = searchFrom<Linear>(r, moveFrom);
  for (std::size_t n = 0; n < cellShapeFacts(Linear).cornerCount && search == Search::Lost; ++n) {
    for (std::size_t a = 0; a < 3; ++a)
      r[a] = 0.4 * middle.r[a] + 0.6 * kShapeNodes<Linear>.at[n][a];
    search = searchFrom<Linear>(r, moveFrom);
  }
  return search == Search::Found;
}

// The weights of the middle nodes of any of the shapes have absolute values that sum to at most 3,
// in the middle of the 20-node hexahedron.
constexpr double kMostMiddleWeight = 3;

} // namespace

bool MxCellMap::finish()
{
  const MiCellShapeFacts facts = cellShapeFacts(m_shape);
  const std::size_t size = m_nodes.size();
  if (facts.dimension < 2 || size < 3 || (facts.nodeCount && facts.nodeCount != size)) return false;
  m_isSurface = facts.dimension == 2;
  m_linear = facts.linear;
  MbVec3d sum{};
  for (const MbVec3d& point : m_points)
    sum += point;
  if (!isFinite(sum)) return false;
  prepareBox();
  switch (m_shape) {
  case MiCellShape::Triangle:
  case MiCellShape::Tetrahedron:
    prepareSimplex();
    return true;
  case MiCellShape::Hexahedron:
    prepareHexahedron();
    return true;
  case MiCellShape::Polygon:
  case MiCellShape::Polyhedron:
    m_centre = sum * (1 / static_cast<double>(size));
    listParts();
    return true;
  default:
    return true;
  }
}

void MxCellMap::prepareBox()
{
  MbVec3d low = m_points[0], high = low;
  for (std::size_t n = 1; n < m_points.size(); ++n) {
    const MbVec3d& p = m_points[n];
    low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
    high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
  }
  m_extent = high - low;
  m_reach = 0;
  if (m_isSurface)
    m_reach = kSurfaceReach * length(m_extent) +
              kSurfaceReachOfCoordinate * std::max(largestOf(low), largestOf(high));
  double reach = m_reach + 4 * kInsideTolerance * largestOf(m_extent);
  if (m_shape != m_linear) { // sides may be curved
    double bulge = 0;
    visitFixedShape(m_shape, [&]<MiCellShape Shape>() { bulge = bulgeOf<Shape>(m_points.data()); });
    reach += kMostMiddleWeight * bulge;
  }
  for (std::size_t a = 0; a < 3; ++a) {
    m_box.min[a] = low[a] - reach;
    m_box.max[a] = high[a] + reach;
  }
}

MxPlace MxCellMap::middle() const
{
  switch (m_linear) {
  case MiCellShape::Triangle:
    return {{1. / 3, 1. / 3, 0}, 0};
  case MiCellShape::Quad:
    return {{0.5, 0.5, 0}, 0};
  case MiCellShape::Tetrahedron:
    return {{0.25, 0.25, 0.25}, 0};
  case MiCellShape::Wedge:
    return {{1. / 3, 1. / 3, 0.5}, 0};
  case MiCellShape::Pyramid:
    return {{0.4, 0.4, 0.2}, 0};
  default:
    return {{0.5, 0.5, 0.5}, 0};
  }
}

double MxCellMap::findPlace(const MbVec3d& point, MxPlace& place) const
{
  for (std::size_t a = 0; a < 3; ++a)
    if (!(point[a] >= m_box.min[a] && point[a] <= m_box.max[a])) return kNowhere;
  switch (m_shape) {
  case MiCellShape::Tetrahedron:
  case MiCellShape::Triangle:
    return invertSimplex(point, place);
  case MiCellShape::Hexahedron:
    return invertHexahedron(point, place);
  case MiCellShape::Polygon:
  case MiCellShape::Polyhedron:
    return invertParts(point, place);
  default:
    break;
  }
  double outside = kNowhere;
  visitFixedShape(m_shape, [&]<MiCellShape Shape>() { outside = invert<Shape>(point, place); });
  return outside;
}

void MxCellMap::weights(const MxPlace& place, double* w) const
{
  if (visitFixedShape(m_shape, [&]<MiCellShape Shape>() { shapeWeights<Shape>(place.r, w); }))
    return;
  // A part of a polygon or polyhedron.
  const std::size_t size = m_nodes.size();
  const double rest = 1 - place.r[0] - place.r[1] - place.r[2];
  for (std::size_t n = 0; n < size; ++n)
    w[n] = rest / static_cast<double>(size);
  if (place.part >= m_parts.size()) return;
  const Part& part = m_parts[place.part];
  w[part.a] += place.r[0];
  w[part.b] += place.r[1];
  if (m_isSurface) return;
  const Face& face = m_partFaces[part.face];
  for (std::size_t n = 0; n < face.size; ++n)
    w[m_faces[face.begin + n]] += place.r[2] / static_cast<double>(face.size);
}

void MxCellMap::prepareSimplex()
{
  const MbVec3d& p = m_points[0];
  const MbVec3d a = m_points[1] - p, b = m_points[2] - p;
  const MbVec3d c = m_isSurface ? normalOf(a, b) : m_points[3] - p;
  const double determinant = dot(a, cross(b, c));
  // A flat cell maps to nothing: the places come out as not a number.
  const double inverse = 1 / determinant;
  m_terms[0] = cross(b, c) * inverse;
  m_terms[1] = cross(c, a) * inverse;
  m_terms[2] = m_isSurface ? c : cross(a, b) * inverse;
}

double MxCellMap::invertSimplex(const MbVec3d& point, MxPlace& place) const
{
  const MbVec3d d = point - m_points[0];
  const double r = dot(m_terms[0], d), s = dot(m_terms[1], d), t = dot(m_terms[2], d);
  place = {{r, s, m_isSurface ? 0 : t}, 0};
  if (!std::isfinite(r + s + t)) return kNowhere;
  if (!m_isSurface) return std::max(std::max(-r, -s), std::max(-t, r + s + t - 1));
  if (!(std::abs(t) <= m_reach)) return kNowhere;
  return std::max(std::max(-r, -s), r + s - 1);
}

void MxCellMap::prepareHexahedron()
{
  const MbVec3d* p = m_points.data();
  m_terms[0] = p[0];
  m_terms[1] = p[1] - p[0];
  m_terms[2] = p[3] - p[0];
  m_terms[3] = p[4] - p[0];
  m_terms[4] = p[2] - p[1] - m_terms[2];
  m_terms[5] = p[7] - p[4] - m_terms[2];
  m_terms[6] = p[5] - p[4] - m_terms[1];
  m_terms[7] = p[6] - p[5] - (p[7] - p[4]) - m_terms[4];
}

double MxCellMap::invertHexahedron(const MbVec3d& point, MxPlace& place) const
{
  const auto& c = m_terms;
  const MbVec3d target = point - c[0];
  double r[3] = {place.r[0], place.r[1], place.r[2]};
  const bool found = searchPlace<MiCellShape::Hexahedron>(
      r, middle(), [&](const double(&at)[3], double(&move)[3]) {
        const double x = at[0], y = at[1], z = at[2];
        const MbVec3d a = c[1] + c[4] * y + (c[6] + c[7] * y) * z; // by r
        const MbVec3d b = c[2] + c[5] * z + (c[4] + c[7] * z) * x; // by s
        const MbVec3d d = c[3] + c[5] * y + (c[6] + c[7] * y) * x; // by t
        const MbVec3d miss =
            target - a * x - (c[2] + c[5] * z) * y - c[3] * z; // the same terms, each once
        return solve(a, b, d, miss, move);
      });
  if (!found) return kNowhere;
  place = {{r[0], r[1], r[2]}, 0};
  return outsideOf(MiCellShape::Hexahedron, r[0], r[1], r[2]);
}

template <MiCellShape Shape>
double MxCellMap::invert(const MbVec3d& point, MxPlace& place) const
{
  constexpr MiCellShapeFacts kFacts = cellShapeFacts(Shape);
  constexpr bool kSurface = kFacts.dimension == 2;
  if constexpr (kFacts.linear == MiCellShape::Pyramid) {
    // The mapping has no derivative at the apex.
    const MbVec3d& apex = m_points[4];
    if (largestOf(point - apex) <= kInsideTolerance * largestOf(m_points[0] - apex)) {
      place = {{0, 0, 1}, 0};
      return 0;
    }
  }
  double offset = 0; // from the surface
  double r[3] = {place.r[0], place.r[1], place.r[2]};
  const bool found =
      searchPlace<kFacts.linear>(r, middle(), [&](const double(&guess)[3], double(&move)[3]) {
        MxDual3 variables[3], w[kFacts.nodeCount];
        for (int a = 0; a < 3; ++a)
          variables[a] = MxDual3::variable(guess[a], a);
        shapeWeights<Shape>(variables, w);
        MbVec3d at{}, by[3] = {};
        for (std::size_t n = 0; n < kFacts.nodeCount; ++n) {
          at += m_points[n] * w[n].v;
          for (int a = 0; a < (kSurface ? 2 : 3); ++a)
            by[a] += m_points[n] * w[n].d[a];
        }
        // On a surface the third unknown is the distance from it.
        if (kSurface) by[2] = normalOf(by[0], by[1]);
        if (!solve(by[0], by[1], by[2], point - at, move)) return false;
        if (kSurface) offset = move[2];
        return true;
      });
  if (!found) return kNowhere;
  if (kSurface && !(std::abs(offset) <= m_reach)) return kNowhere;
  place = {{r[0], r[1], kSurface ? 0 : r[2]}, 0};
  return outsideOf(kFacts.linear, r[0], r[1], r[2]);
}

void MxCellMap::listParts()
{
  m_parts.clear();
  m_partFaces.clear();
  if (m_isSurface) {
    const auto size = static_cast<std::uint32_t>(m_nodes.size());
    for (std::uint32_t n = 0; n < size; ++n)
      m_parts.push_back({n, n + 1 < size ? n + 1 : 0, 0});
    return;
  }
  for (std::size_t at = 0; at < m_faces.size();) {
    const std::uint32_t size = m_faces[at++], begin = static_cast<std::uint32_t>(at);
    MbVec3d sum{};
    for (std::uint32_t n = 0; n < size; ++n)
      sum += m_points[m_faces[begin + n]];
    const auto face = static_cast<std::uint32_t>(m_partFaces.size());
    if (size > 0) m_partFaces.push_back({begin, size, sum * (1 / static_cast<double>(size))});
    for (std::uint32_t n = 0; n < size; ++n)
      m_parts.push_back({m_faces[begin + n], m_faces[begin + (n + 1 < size ? n + 1 : 0)], face});
    at += size;
  }
}

double MxCellMap::invertParts(const MbVec3d& point, MxPlace& place) const
{
  // r: the weights of the corners a and b, and of the face's mean point.
  double least = kNowhere;
  const MbVec3d d = point - m_centre;
  for (std::uint32_t p = 0; p < m_parts.size() && least > -kInsideTolerance; ++p) {
    const Part& part = m_parts[p];
    const MbVec3d a = m_points[part.a] - m_centre, b = m_points[part.b] - m_centre;
    const MbVec3d c = m_isSurface ? normalOf(a, b) : m_partFaces[part.face].centre - m_centre;
    double x[3];
    if (!solve(a, b, c, d, x)) continue;
    if (m_isSurface) {
      if (!(std::abs(x[2]) <= m_reach)) continue;
      x[2] = 0;
    }
    const double outside = std::max(std::max(-x[0], -x[1]),
                                    std::max(m_isSurface ? -1.0 : -x[2], x[0] + x[1] + x[2] - 1));
    if (!(outside < least)) continue;
    least = outside;
    place = {{x[0], x[1], x[2]}, p};
  }
  if (least == kNowhere) return kNowhere;
  // Inside the cell every point is on its side of the faces, wherever it is between the parts.
  const double rest = 1 - place.r[0] - place.r[1] - place.r[2];
  return least <= kInsideTolerance ? std::min(least, -rest) : least;
}
