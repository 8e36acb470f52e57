#include <velmo/extraction/algorithms/locate/MxCellMap.h>

#include <velmo/extraction/algorithms/locate/MxCones.h>
#include <velmo/mesh/MxShapeFunctions.h>

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

/// The derivatives by r, s and t in a hexahedron.
/// @param c  the coefficients of 1, r, s, t, rs, st, rt, rst
[[gnu::always_inline]] inline void slopesOfHexahedron(const std::array<MbVec3d, 8>& c,
                                                      const double (&at)[3], MbVec3d (&by)[3])
{
  const double x = at[0], y = at[1], z = at[2];
  by[0] = c[1] + c[4] * y + (c[6] + c[7] * y) * z;
  by[1] = c[2] + c[5] * z + (c[4] + c[7] * z) * x;
  by[2] = c[3] + c[5] * y + (c[6] + c[7] * y) * x;
}

enum class Search
{
  Found,
  Outside,
  Lost
};

/// Newton's method from a place on.
/// @param moveFrom  moveFrom(r, move) answers the step from r; false where there is none
/// @tparam ToTheEnd  also where it seems to go to a place outside
template <MiCellShape Linear, bool ToTheEnd = false, class MoveFrom>
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
    if (!ToTheEnd && largest < kConverging * before &&
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

/// From many starts, for a cell that is folded: a point may have one place in it and others
/// outside.
template <MiCellShape Linear, class MoveFrom>
bool searchEverywhere(double (&r)[3], const MoveFrom& moveFrom)
{
  constexpr double kStarts[] = {0.15, 0.5, 0.85};
  for (const double x : kStarts)
    for (const double y : kStarts)
      for (const double z : kStarts) {
        r[0] = x;
        r[1] = y;
        r[2] = z;
        if (searchFrom<Linear, true>(r, moveFrom) == Search::Found &&
            outsideOf(Linear, r[0], r[1], r[2]) <= kInsideTolerance)
          return true;
      }
  return false;
}

template <MiCellShape Linear, bool Everywhere, class MoveFrom>
bool search(double (&r)[3], const MxPlace& middle, const MoveFrom& moveFrom)
{
  if constexpr (Everywhere)
    return searchEverywhere<Linear>(r, moveFrom);
  else
    return searchPlace<Linear>(r, middle, moveFrom);
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
    m_centre = sum * (1 / static_cast<double>(size));
    return true;
  case MiCellShape::Polyhedron:
    m_polyhedron.prepare(m_points.span());
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
  return find<Effort::Usual>(point, place);
}

double MxCellMap::findFoldedPlace(const MbVec3d& point, MxPlace& place) const
{
  return isFolded() ? find<Effort::Great>(point, place) : kNowhere;
}

template <MxCellMap::Effort E>
double MxCellMap::find(const MbVec3d& point, MxPlace& place) const
{
  for (std::size_t a = 0; a < 3; ++a)
    if (!(point[a] >= m_box.min[a] && point[a] <= m_box.max[a])) return kNowhere;
  switch (m_shape) {
  case MiCellShape::Tetrahedron:
  case MiCellShape::Triangle:
    return invertSimplex(point, place);
  case MiCellShape::Hexahedron:
    return invertHexahedron<E>(point, place);
  case MiCellShape::Pyramid:
    return invertPyramid(point, place);
  case MiCellShape::Polygon:
    return invertPolygon(point, place);
  case MiCellShape::Polyhedron:
    return m_polyhedron.findPlace(point, place);
  default:
    break;
  }
  double outside = kNowhere;
  visitFixedShape(m_shape, [&]<MiCellShape Shape>() { outside = invert<Shape, E>(point, place); });
  return outside;
}

void MxCellMap::weights(const MxPlace& place, double* w) const
{
  if (visitFixedShape(m_shape, [&]<MiCellShape Shape>() { shapeWeights<Shape>(place.r, w); }))
    return;
  const std::size_t size = m_nodes.size();
  if (m_shape == MiCellShape::Polyhedron) {
    m_polyhedron.weights(place, size, w);
    return;
  }
  const double rest = 1 - place.r[0] - place.r[1];
  for (std::size_t n = 0; n < size; ++n)
    w[n] = rest / static_cast<double>(size);
  if (place.part >= size) return;
  w[place.part] += place.r[0];
  w[place.part + 1 < size ? place.part + 1 : 0] += place.r[1];
}

void MxCellMap::pullIn(MxPlace& place) const
{
  if (m_shape == MiCellShape::Polyhedron)
    m_polyhedron.pullIn(place);
  else
    ::pullIn(m_shape == MiCellShape::Polygon ? MiCellShape::Triangle : m_linear, place.r);
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

template <MxCellMap::Effort E>
double MxCellMap::invertHexahedron(const MbVec3d& point, MxPlace& place) const
{
  const auto& c = m_terms;
  const MbVec3d target = point - c[0];
  double r[3] = {place.r[0], place.r[1], place.r[2]};
  const auto moveFrom = [&](const double(&at)[3], double(&move)[3]) {
    MbVec3d by[3];
    slopesOfHexahedron(c, at, by);
    const MbVec3d miss = target - by[0] * at[0] - (c[2] + c[5] * at[2]) * at[1] -
                         c[3] * at[2]; // the same terms, each once
    return solveVectors(by[0], by[1], by[2], miss, move);
  };
  if (!search<MiCellShape::Hexahedron, E == Effort::Great>(r, middle(), moveFrom)) return kNowhere;
  place = {{r[0], r[1], r[2]}, 0};
  return outsideOf(MiCellShape::Hexahedron, r[0], r[1], r[2]);
}

bool MxCellMap::isAtApex(const MbVec3d& point) const
{
  const MbVec3d& apex = m_points[4];
  return largestOf(point - apex) <= kInsideTolerance * largestOf(m_points[0] - apex);
}

double MxCellMap::atApex(MxPlace& place)
{
  place = {{0, 0, 1}, 0};
  return 0;
}

template <MiCellShape Shape>
MbVec3d MxCellMap::slopesOf(const double (&at)[3], MbVec3d (&by)[3]) const
{
  MxDual3 variables[3], w[cellShapeFacts(Shape).nodeCount];
  for (int a = 0; a < 3; ++a)
    variables[a] = MxDual3::variable(at[a], a);
  shapeWeights<Shape>(variables, w);
  MbVec3d position{};
  for (MbVec3d& slope : by)
    slope = {};
  for (std::size_t n = 0; n < cellShapeFacts(Shape).nodeCount; ++n) {
    position += m_points[n] * w[n].v;
    for (int a = 0; a < cellShapeFacts(Shape).dimension; ++a)
      by[a] += m_points[n] * w[n].d[a];
  }
  return position;
}

template <MiCellShape Shape, MxCellMap::Effort E>
double MxCellMap::invert(const MbVec3d& point, MxPlace& place) const
{
  constexpr MiCellShapeFacts kFacts = cellShapeFacts(Shape);
  constexpr bool kSurface = kFacts.dimension == 2;
  if constexpr (kFacts.linear == MiCellShape::Pyramid)
    if (isAtApex(point)) return atApex(place);
  double offset = 0; // from the surface
  double r[3] = {place.r[0], place.r[1], place.r[2]};
  const auto moveFrom = [&](const double(&guess)[3], double(&move)[3]) {
    MbVec3d by[3];
    const MbVec3d at = slopesOf<Shape>(guess, by);
    // On a surface the third unknown is the distance from it.
    if (kSurface) by[2] = normalOf(by[0], by[1]);
    if (!solveVectors(by[0], by[1], by[2], point - at, move)) return false;
    if (kSurface) offset = move[2];
    return true;
  };
  if (!search<kFacts.linear, E == Effort::Great>(r, middle(), moveFrom)) return kNowhere;
  if (kSurface && !(std::abs(offset) <= m_reach)) return kNowhere;
  place = {{r[0], r[1], kSurface ? 0 : r[2]}, 0};
  return outsideOf(kFacts.linear, r[0], r[1], r[2]);
}

bool MxCellMap::isFolded() const
{
  bool up = false, down = false;
  const auto look = [&](const MbVec3d(&by)[3]) {
    const double volume = dot(by[0], cross(by[1], by[2]));
    up = up || volume > 0;
    down = down || volume < 0;
  };
  visitFixedShape(m_shape, [&]<MiCellShape Shape>() {
    constexpr MiCellShapeFacts kFacts = cellShapeFacts(Shape);
    if constexpr (kFacts.dimension == 3 && kFacts.linear != MiCellShape::Pyramid &&
                  Shape != MiCellShape::Tetrahedron)
      for (std::size_t n = 0; n < kFacts.nodeCount && !(up && down); ++n) {
        const auto& node = kShapeNodes<Shape>.at[n];
        const double at[3] = {node[0], node[1], node[2]};
        MbVec3d by[3];
        if constexpr (Shape == MiCellShape::Hexahedron)
          slopesOfHexahedron(m_terms, at, by);
        else
          slopesOf<Shape>(at, by);
        look(by);
      }
  });
  return up && down;
}

double MxCellMap::invertPyramid(const MbVec3d& point, MxPlace& place) const
{
  if (isAtApex(point)) return atApex(place);
  const MbVec3d& apex = m_points[4];
  const MbVec3d base[4] = {m_points[0] - apex, m_points[1] - apex, m_points[2] - apex,
                           m_points[3] - apex};
  double least = kNowhere;
  visitPatchCone(base, point - apex, [&](const MxConePlace& at) {
    const double outside = std::max(at.besidePatch(), at.way - 1);
    if (!(outside < least)) return;
    least = outside;
    place = {{at.u * at.way, at.v * at.way, 1 - at.way}, 0};
  });
  return least;
}

double MxCellMap::invertPolygon(const MbVec3d& point, MxPlace& place) const
{
  // r: the weights of the two ends of an edge.
  double least = kNowhere, nearest = 0;
  const MbVec3d d = point - m_centre;
  const auto size = static_cast<std::uint32_t>(m_points.size());
  for (std::uint32_t p = 0; p < size && least > -kInsideTolerance; ++p) {
    const MbVec3d a = m_points[p] - m_centre, b = m_points[p + 1 < size ? p + 1 : 0] - m_centre;
    double x[3];
    if (!solveVectors(a, b, normalOf(a, b), d, x) || !(std::abs(x[2]) <= m_reach)) continue;
    const double outside = std::max(std::max(-x[0], -x[1]), x[0] + x[1] - 1);
    if (!(outside < least)) continue;
    least = outside;
    nearest = x[0] + x[1];
    place = {{x[0], x[1], 0}, p};
  }
  // Inside the cell every point is on its side of the edges, wherever it is between the parts.
  return least <= kInsideTolerance ? std::min(least, nearest - 1) : least;
}
