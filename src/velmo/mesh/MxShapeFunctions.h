#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

/// The interpolation inside every shape with a fixed number of nodes: weights of its nodes as
/// functions of a place (r, s, t) in the reference cell. All weights sum to one and give linear
/// fields exactly; weight n is one at node n and zero at the others; neighbours that share a face
/// agree on it.
///
/// Reference cells: unit triangle, square, tetrahedron, cube and prism with corner 0 at the origin,
/// and the pyramid of height one over the unit square with its apex above corner 0, (0, 0, 1).
/// Triangles and tetrahedra are interpolated by their barycentric coordinates, squares and cubes by
/// products, the pyramid by the rational functions that are bilinear on its base and linear on its
/// sides. A shape with middle nodes adds to these, for each edge, a function that is quadratic
/// along it and vanishes on the other edges (the serendipity functions of Zienkiewicz and Taylor;
/// the pyramid's likewise); the shapes with nodes in the middle of their faces are interpolated by
/// products of quadratic Lagrange polynomials.

/// A value and its derivatives by r, s and t: the weights' functions are written once, for numbers
/// of any type.
struct MxDual3
{
  double v = 0;
  double d[3] = {0, 0, 0};

  MxDual3() = default;
  MxDual3(double value) : v(value) {}
  static MxDual3 variable(double value, int axis)
  {
    MxDual3 x(value);
    x.d[axis] = 1;
    return x;
  }
  friend MxDual3 operator+(MxDual3 a, const MxDual3& b)
  {
    a.v += b.v;
    for (int i = 0; i < 3; ++i)
      a.d[i] += b.d[i];
    return a;
  }
  friend MxDual3 operator-(MxDual3 a, const MxDual3& b)
  {
    a.v -= b.v;
    for (int i = 0; i < 3; ++i)
      a.d[i] -= b.d[i];
    return a;
  }
  friend MxDual3 operator*(const MxDual3& a, const MxDual3& b)
  {
    MxDual3 c(a.v * b.v);
    for (int i = 0; i < 3; ++i)
      c.d[i] = a.v * b.d[i] + a.d[i] * b.v;
    return c;
  }
  friend MxDual3 operator*(double a, const MxDual3& b) { return MxDual3(a) * b; }
  friend MxDual3 operator-(double a, const MxDual3& b) { return MxDual3(a) - b; }
  friend MxDual3 operator-(const MxDual3& a, double b) { return a - MxDual3(b); }
  friend MxDual3 operator/(const MxDual3& a, const MxDual3& b)
  {
    const double inverse = 1 / b.v;
    MxDual3 c(a.v * inverse);
    for (int i = 0; i < 3; ++i)
      c.d[i] = (a.d[i] - c.v * b.d[i]) * inverse;
    return c;
  }
};

/// A quotient of two whole numbers, as long as they are below 2^53: sums and products of such
/// numbers are exact and nothing is rounded before value(). Denominators of a shape's functions are
/// products of few factors, so that one of two is nearly always a multiple of the other.
struct MxQuotient
{
  double n = 0;
  double d = 1;

  MxQuotient() = default;
  MxQuotient(double value, double divisor = 1) : n(value), d(divisor) {}
  double value() const { return n / d; }

  friend MxQuotient operator+(const MxQuotient& a, const MxQuotient& b)
  {
    if (a.d == b.d) return {a.n + b.n, a.d};
    if (b.d > a.d) return b + a;
    const double times = a.d / b.d;
    if (times == static_cast<double>(static_cast<std::int64_t>(times)))
      return {a.n + times * b.n, a.d};
    return {a.n * b.d + b.n * a.d, a.d * b.d};
  }
  friend MxQuotient operator-(const MxQuotient& a, const MxQuotient& b)
  {
    return a + MxQuotient(-b.n, b.d);
  }
  friend MxQuotient operator*(const MxQuotient& a, const MxQuotient& b)
  {
    return {a.n * b.n, a.d * b.d};
  }
  friend MxQuotient operator/(const MxQuotient& a, const MxQuotient& b)
  {
    return {a.n * b.d, a.d * b.n};
  }
};

/// The largest number of nodes of these shapes.
inline constexpr std::size_t kMostShapeNodes = 27;

/// Where the nodes of a shape stand in its reference cell.
struct MxShapeNodes
{
  std::uint8_t count = 0;
  std::array<std::array<double, 3>, kMostShapeNodes> at{};
};

namespace velmo_detail {

constexpr MxShapeNodes shapeNodes(MiCellShape shape)
{
  using S = MiCellShape;
  constexpr double square[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  constexpr double triangle[3][2] = {{0, 0}, {1, 0}, {0, 1}};
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  MxShapeNodes nodes;
  const auto put = [&](double r, double s, double t) { nodes.at[nodes.count++] = {r, s, t}; };
  const auto putMean = [&](const auto& of, std::size_t count) {
    std::array<double, 3> sum{};
    for (std::size_t n = 0; n < count; ++n)
      for (std::size_t a = 0; a < 3; ++a)
        sum[a] += nodes.at[of[n]][a] / static_cast<double>(count);
    nodes.at[nodes.count++] = sum;
  };
  switch (facts.linear) {
  case S::Triangle:
  case S::Wedge:
    for (int t = 0; t < (facts.linear == S::Wedge ? 2 : 1); ++t)
      for (const auto& corner : triangle)
        put(corner[0], corner[1], t);
    break;
  case S::Quad:
  case S::Hexahedron:
    for (int t = 0; t < (facts.linear == S::Hexahedron ? 2 : 1); ++t)
      for (const auto& corner : square)
        put(corner[0], corner[1], t);
    break;
  case S::Tetrahedron:
    for (const auto& corner : triangle)
      put(corner[0], corner[1], 0);
    put(0, 0, 1);
    break;
  case S::Pyramid:
    for (const auto& corner : square)
      put(corner[0], corner[1], 0);
    put(0, 0, 1);
    break;
  default:
    return nodes;
  }
  if (facts.nodeCount == facts.cornerCount) return nodes;
  const MxShapeEdges edges = shapeEdges(shape);
  for (const MxShapeEdge& edge : edges)
    putMean(std::array<std::uint8_t, 2>{edge.first, edge.second}, 2);
  constexpr std::array<std::uint8_t, 8> corners{0, 1, 2, 3, 4, 5, 6, 7};
  if (shape == S::BiquadraticQuad) putMean(corners, 4);
  if (shape == S::TriquadraticHexahedron || shape == S::BiquadraticWedge)
    for (const MxShapeFace& face : cornerFaces(facts.linear))
      if (face.size == 4) putMean(face.nodes, 4);
  if (shape == S::TriquadraticHexahedron) putMean(corners, 8);
  return nodes;
}

inline double valueOf(double x)
{
  return x;
}
inline double valueOf(const MxDual3& x)
{
  return x.v;
}
inline double valueOf(const MxQuotient& x)
{
  return x.value();
}
template <class T>
bool isNearZero(const T& x)
{
  return valueOf(x) < 1e-14 && valueOf(x) > -1e-14;
}

/// The weights of the corners alone.
template <MiCellShape Linear, class T>
void cornerWeights(const T (&r)[3], T* w)
{
  using S = MiCellShape;
  const T one(1);
  if constexpr (Linear == S::Line) {
    w[0] = one - r[0];
    w[1] = r[0];
  } else if constexpr (Linear == S::Triangle) {
    w[0] = one - r[0] - r[1];
    w[1] = r[0];
    w[2] = r[1];
  } else if constexpr (Linear == S::Tetrahedron) {
    w[0] = one - r[0] - r[1] - r[2];
    w[1] = r[0];
    w[2] = r[1];
    w[3] = r[2];
  } else if constexpr (Linear == S::Quad) {
    const T a = one - r[0], b = one - r[1];
    w[0] = a * b;
    w[1] = r[0] * b;
    w[2] = r[0] * r[1];
    w[3] = a * r[1];
  } else if constexpr (Linear == S::Hexahedron || Linear == S::Wedge) {
    constexpr std::size_t kHalf = Linear == S::Wedge ? 3 : 4;
    cornerWeights<Linear == S::Wedge ? S::Triangle : S::Quad>(r, w);
    const T below = one - r[2];
    for (std::size_t n = 0; n < kHalf; ++n) {
      w[n + kHalf] = w[n] * r[2];
      w[n] = w[n] * below;
    }
  } else {
    static_assert(Linear == S::Pyramid);
    const T h = one - r[2];
    // At the apex itself all corners of the base weigh nothing.
    const T inverse = isNearZero(h) ? T(0) : one / h;
    const T a = h - r[0], b = h - r[1];
    w[0] = a * b * inverse;
    w[1] = r[0] * b * inverse;
    w[2] = r[0] * r[1] * inverse;
    w[3] = a * r[1] * inverse;
    w[4] = r[2];
  }
}

/// One at the middle of an edge, quadratic along it, zero on the other edges.
/// @param w  the weights of the corners
template <MiCellShape Linear, class T>
T edgeWeight(const MxShapeEdge& edge, std::size_t number, const T (&r)[3], const T* w)
{
  using S = MiCellShape;
  const T one(1);
  if constexpr (Linear == S::Line || Linear == S::Triangle || Linear == S::Tetrahedron) {
    return 4.0 * w[edge.first] * w[edge.second];
  } else if constexpr (Linear == S::Quad || Linear == S::Hexahedron) {
    constexpr MxShapeNodes kCorners = shapeNodes(Linear);
    const auto& first = kCorners.at[edge.first];
    const auto& second = kCorners.at[edge.second];
    const std::size_t along = first[0] != second[0] ? 0 : first[1] != second[1] ? 1 : 2;
    T product = 4.0 * (r[along] * (one - r[along]));
    for (std::size_t a = 0; a < (Linear == S::Quad ? 2u : 3u); ++a)
      if (a != along) product = product * (first[a] == 0 ? one - r[a] : r[a]);
    return product;
  } else if constexpr (Linear == S::Wedge) {
    const T l[3] = {one - r[0] - r[1], r[0], r[1]};
    if (number >= 6) return 4.0 * l[edge.first] * (r[2] * (one - r[2]));
    return 4.0 * l[edge.first % 3] * l[edge.second % 3] * (number < 3 ? one - r[2] : r[2]);
  } else {
    const T h = one - r[2];
    if (isNearZero(h)) return T(0);
    const T a = h - r[0], b = h - r[1];
    if (number >= 4) {
      const bool isRight = number == 5 || number == 6, isBehind = number >= 6;
      return 4.0 * r[2] * (isRight ? r[0] : a) * (isBehind ? r[1] : b) / h;
    }
    const T along = number % 2 == 0 ? r[0] * a : r[1] * b;
    const T across = number == 0 ? b : number == 1 ? r[0] : number == 2 ? r[1] : a;
    return 4.0 * along * across / h;
  }
}

/// The quadratic polynomial that is one at 0, 1/2 or 1 and zero at the other two.
template <class T>
T lagrange(double at, const T& x)
{
  const T one(1);
  if (at == 0) return (one - x) * (one - 2.0 * x);
  return at == 1 ? x * (2.0 * x - one) : 4.0 * x * (one - x);
}

/// The quadratic function of a node of the triangle, by where it stands.
template <class T>
T triangleLagrange(const std::array<double, 3>& at, const T (&r)[3])
{
  const T one(1);
  const T own[3] = {one - r[0] - r[1], r[0], r[1]};
  const double part[3] = {1 - at[0] - at[1], at[0], at[1]};
  T product(1);
  for (std::size_t c = 0; c < 3; ++c) {
    if (part[c] == 1) return own[c] * (2.0 * own[c] - one);
    if (part[c] != 0) product = product * (2.0 * own[c]);
  }
  return product;
}

/// A line has its own order, its middle at last.
template <MiCellShape Shape>
constexpr MxShapeEdges edgesOf()
{
  if constexpr (Shape == MiCellShape::QuadraticLine)
    return {1, {MxShapeEdge{0, 1, 2}}};
  else
    return shapeEdges(Shape);
}

} // namespace velmo_detail

template <MiCellShape Shape>
inline constexpr MxShapeNodes kShapeNodes = velmo_detail::shapeNodes(Shape);

/// The weights of the nodes of a shape with a fixed number of nodes.
/// @tparam T  double, MxDual3 or MxQuotient
/// @param w   gets as many weights as the shape has nodes
template <MiCellShape Shape, class T>
void shapeWeights(const T (&r)[3], T* w)
{
  using S = MiCellShape;
  constexpr MiCellShapeFacts kFacts = cellShapeFacts(Shape);
  if constexpr (Shape == S::BiquadraticQuad || Shape == S::TriquadraticHexahedron) {
    for (std::size_t n = 0; n < kFacts.nodeCount; ++n) {
      const auto& at = kShapeNodes<Shape>.at[n];
      w[n] = velmo_detail::lagrange(at[0], r[0]) * velmo_detail::lagrange(at[1], r[1]);
      if constexpr (Shape == S::TriquadraticHexahedron)
        w[n] = w[n] * velmo_detail::lagrange(at[2], r[2]);
    }
  } else if constexpr (Shape == S::BiquadraticWedge) {
    for (std::size_t n = 0; n < kFacts.nodeCount; ++n) {
      const auto& at = kShapeNodes<Shape>.at[n];
      w[n] = velmo_detail::triangleLagrange(at, r) * velmo_detail::lagrange(at[2], r[2]);
    }
  } else {
    T corners[8];
    velmo_detail::cornerWeights<kFacts.linear>(r, corners);
    for (std::size_t n = 0; n < kFacts.cornerCount; ++n)
      w[n] = corners[n];
    if constexpr (kFacts.nodeCount > kFacts.cornerCount) {
      constexpr MxShapeEdges kEdges = velmo_detail::edgesOf<Shape>();
      for (std::size_t e = 0; e < kEdges.count; ++e) {
        const MxShapeEdge& edge = kEdges.edges[e];
        const T middle = velmo_detail::edgeWeight<kFacts.linear>(edge, e, r, corners);
        w[edge.middle] = middle;
        w[edge.first] = w[edge.first] - 0.5 * middle;
        w[edge.second] = w[edge.second] - 0.5 * middle;
      }
    }
  }
}

/// How far a place is outside the reference cell of a linear shape, along the axes of that cell;
/// negative inside.
constexpr double outsideOf(MiCellShape linear, double r, double s, double t)
{
  using S = MiCellShape;
  const double triangle = std::max(std::max(-r, -s), r + s - 1);
  const double square = std::max(std::max(-r, r - 1), std::max(-s, s - 1));
  switch (linear) {
  case S::Triangle:
    return triangle;
  case S::Quad:
    return square;
  case S::Tetrahedron:
    return std::max(std::max(-r, -s), std::max(-t, r + s + t - 1));
  case S::Wedge:
    return std::max(triangle, std::max(-t, t - 1));
  case S::Pyramid:
    return std::max(std::max(std::max(-r, -s), -t), std::max(r, s) + t - 1);
  default:
    return std::max(square, std::max(-t, t - 1));
  }
}

/// Moves a place that is beyond the reference cell of a linear shape onto its rim.
inline void pullIn(MiCellShape linear, double (&r)[3])
{
  using S = MiCellShape;
  const auto clampTo = [&r](std::size_t axis, double most) {
    r[axis] = std::clamp(r[axis], 0.0, most);
  };
  // The first `count` are weights, whose sum is one at the most.
  const auto shrink = [&r](std::size_t count) {
    double sum = 0;
    for (std::size_t a = 0; a < count; ++a)
      sum += r[a] = std::max(r[a], 0.0);
    for (std::size_t a = 0; a < count && sum > 1; ++a)
      r[a] /= sum;
  };
  switch (linear) {
  case S::Triangle:
    shrink(2);
    return;
  case S::Tetrahedron:
    shrink(3);
    return;
  case S::Wedge:
    shrink(2);
    clampTo(2, 1);
    return;
  case S::Pyramid:
    clampTo(2, 1);
    clampTo(0, 1 - r[2]);
    clampTo(1, 1 - r[2]);
    return;
  default:
    for (std::size_t a = 0; a < 3; ++a)
      clampTo(a, 1);
  }
}

/// Calls visit.template operator()<Shape>() for a shape of two or three dimensions with a fixed
/// number of nodes; false for another.
template <class Visitor>
bool visitFixedShape(MiCellShape shape, Visitor&& visit)
{
  using S = MiCellShape;
  switch (shape) {
#define VELMO_SHAPE(Name)                                                                          \
  case S::Name:                                                                                    \
    visit.template operator()<S::Name>();                                                          \
    return true
    VELMO_SHAPE(Triangle);
    VELMO_SHAPE(Quad);
    VELMO_SHAPE(Tetrahedron);
    VELMO_SHAPE(Hexahedron);
    VELMO_SHAPE(Wedge);
    VELMO_SHAPE(Pyramid);
    VELMO_SHAPE(QuadraticTriangle);
    VELMO_SHAPE(QuadraticQuad);
    VELMO_SHAPE(QuadraticTetrahedron);
    VELMO_SHAPE(QuadraticHexahedron);
    VELMO_SHAPE(QuadraticWedge);
    VELMO_SHAPE(QuadraticPyramid);
    VELMO_SHAPE(BiquadraticQuad);
    VELMO_SHAPE(TriquadraticHexahedron);
    VELMO_SHAPE(BiquadraticWedge);
#undef VELMO_SHAPE
  default:
    return false;
  }
}

/// A place in a cell's own coordinates: x / scale, where x are whole numbers on the lattices of
/// tessellators.
struct MxShapePlace
{
  std::array<double, 3> x{};
  double scale = 1;
};

/// Where a corner lies, scale 1.
MxShapePlace shapeCorner(MiCellShape linear, std::size_t corner);

/// Appends the weights of the nodes of a quadratic shape at a place.
///
/// Each weight is one division of whole numbers where the place is one, and what a cell's functions
/// are on a face is the face's own: both cells of a face get the same bits.
void appendShapeValues(MiCellShape shape, const MxShapePlace& place, std::vector<double>& values);
