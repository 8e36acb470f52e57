#include <velmo/mesh/MxShapeFunctions.h>

namespace {

using S = MiCellShape;

constexpr std::uint8_t kCube[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                      {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
constexpr std::uint8_t kSimplex[4][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

const std::uint8_t (&cornerOf(S linear, std::size_t corner))[3]
{
  static constexpr std::uint8_t kUpper[3][3] = {{0, 0, 1}, {1, 0, 1}, {0, 1, 1}};
  switch (linear) {
  case S::Quad:
  case S::Hexahedron:
    return kCube[corner];
  case S::Pyramid:
    return corner == 4 ? kSimplex[3] : kCube[corner];
  case S::Wedge:
    return corner < 3 ? kSimplex[corner] : kUpper[corner - 3];
  default:
    return kSimplex[corner];
  }
}

/// All values are whole numbers if the place is one.
class Values
{
public:
  Values(S linear, const MxShapePlace& place)
      : m_linear(linear), m_x(place.x), m_scale(place.scale),
        m_range(linear == S::Pyramid ? place.scale - place.x[2] : place.scale)
  {}

  /// How far along `axis` towards the side that the corner is on, out of range().
  double side(std::size_t axis, std::size_t corner) const
  {
    return cornerOf(m_linear, corner)[axis] ? m_x[axis] : m_range - m_x[axis];
  }
  /// A coordinate times its opposite.
  double both(std::size_t axis) const { return m_x[axis] * (m_range - m_x[axis]); }
  /// The coordinate of a triangle's or tetrahedron's corner, out of scale.
  double simplex(std::size_t corner, std::size_t dimension) const
  {
    if (corner > 0) return m_x[corner - 1];
    double rest = m_scale;
    for (std::size_t axis = 0; axis < dimension; ++axis)
      rest -= m_x[axis];
    return rest;
  }

  /// The linear function of a corner, out of linearScale().
  double linear(std::size_t c) const
  {
    switch (m_linear) {
    case S::Line:
      return simplex(c, 1);
    case S::Triangle:
      return simplex(c, 2);
    case S::Tetrahedron:
      return simplex(c, 3);
    case S::Quad:
      return side(0, c) * side(1, c);
    case S::Hexahedron:
      return side(0, c) * side(1, c) * side(2, c);
    case S::Wedge:
      return simplex(c % 3, 2) * side(2, c);
    default: // a pyramid
      return c == 4 ? m_x[2] * m_range : side(0, c) * side(1, c);
    }
  }
  double linearScale() const
  {
    switch (m_linear) {
    case S::Quad:
    case S::Wedge:
      return m_scale * m_scale;
    case S::Hexahedron:
      return m_scale * m_scale * m_scale;
    case S::Pyramid:
      return m_scale * m_range;
    default:
      return m_scale;
    }
  }
  /// The function of the middle of an edge, out of linearScale() * scale: four times its ends'
  /// along the edge, and across it the linear one.
  double middle(std::size_t a, std::size_t b) const
  {
    const auto& first = cornerOf(m_linear, a);
    const auto& second = cornerOf(m_linear, b);
    const bool isUpright = first[2] != second[2];
    const std::size_t axis = first[0] != second[0] ? 0 : 1;
    switch (m_linear) {
    case S::Quad:
      return 4 * both(axis) * side(1 - axis, a);
    case S::Hexahedron:
      if (isUpright) return 4 * both(2) * side(0, a) * side(1, a);
      return 4 * both(axis) * side(1 - axis, a) * side(2, a);
    case S::Wedge:
      if (isUpright) return 4 * simplex(a % 3, 2) * both(2);
      return 4 * simplex(a % 3, 2) * simplex(b % 3, 2) * side(2, a);
    case S::Pyramid:
      if (b == 4) return 4 * m_x[2] * side(0, a) * side(1, a);
      return 4 * both(axis) * side(1 - axis, a);
    default:
      return 4 * linear(a) * linear(b);
    }
  }

  /// The quadratic function of a node at `half` halves along an axis, out of the scale's square.
  double along(std::size_t axis, int half) const
  {
    const double x = m_x[axis];
    return half == 1   ? 4 * x * (m_scale - x)
           : half == 0 ? (m_scale - x) * (m_scale - 2 * x)
                       : x * (2 * x - m_scale);
  }
  double scale() const { return m_scale; }

private:
  S m_linear;
  std::array<double, 3> m_x;
  double m_scale, m_range;
};

/// Shapes with nodes at corners and middles of edges alone: at the corners the linear function less
/// half of those of the middles next to it.
void appendEdgeShape(S shape, const Values& at, std::vector<double>& values)
{
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  const bool isLine = facts.linear == S::Line;
  MxShapeEdges edges = shapeEdges(shape);
  if (isLine) edges = {1, {MxShapeEdge{0, 1, 2}}};
  const double linearScale = at.linearScale(), scale = linearScale * at.scale();
  std::array<double, 12> middles{};
  std::array<double, 8> corners{};
  for (std::size_t c = 0; c < facts.cornerCount; ++c)
    corners[c] = at.linear(c) * at.scale();
  for (std::size_t e = 0; e < edges.count; ++e) {
    const MxShapeEdge& edge = edges.edges[e];
    middles[e] = at.middle(edge.first, edge.second);
    corners[edge.first] -= middles[e] / 2;
    corners[edge.second] -= middles[e] / 2;
  }
  for (std::size_t c = 0; c < facts.cornerCount; ++c)
    values.push_back(corners[c] / scale);
  for (std::size_t e = 0; e < edges.count; ++e)
    values.push_back(middles[e] / scale);
}

/// Where a node of a shape with nodes in the middle of faces lies, in halves.
std::array<int, 3> halvesOf(S shape, std::size_t node)
{
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  const MxShapeEdges edges = shapeEdges(shape);
  std::array<int, 3> halves{};
  const auto add = [&](std::size_t corner, int times) {
    for (std::size_t axis = 0; axis < 3; ++axis)
      halves[axis] += times * cornerOf(facts.linear, corner)[axis];
  };
  if (node < facts.cornerCount) {
    add(node, 2);
  } else if (node < std::size_t{facts.cornerCount} + edges.count) {
    const MxShapeEdge& edge = edges.edges[node - facts.cornerCount];
    add(edge.first, 1);
    add(edge.second, 1);
  } else if (shape == S::BiquadraticQuad) {
    return {1, 1, 0};
  } else {
    halves = {1, 1, 1};
    for (const MxShapeFace& face : shapeFaces(shape)) {
      if (face.size != 9 || face.nodes[8] != node) continue;
      halves = {};
      add(face.nodes[0], 1); // opposite corners
      add(face.nodes[2], 1);
    }
  }
  return halves;
}

const std::vector<std::array<int, 3>>& nodeHalves(S shape)
{
  const auto make = [](S of) {
    std::vector<std::array<int, 3>> all;
    for (std::size_t n = 0; n < cellShapeFacts(of).nodeCount; ++n)
      all.push_back(halvesOf(of, n));
    return all;
  };
  static const std::vector<std::array<int, 3>> kQuad = make(S::BiquadraticQuad),
                                               kHexahedron = make(S::TriquadraticHexahedron),
                                               kWedge = make(S::BiquadraticWedge);
  return shape == S::BiquadraticQuad ? kQuad : shape == S::BiquadraticWedge ? kWedge : kHexahedron;
}

/// The function of a node of a quadratic triangle at these halves, out of the scale's square.
double ofTriangle(const Values& at, const std::array<int, 3>& halves)
{
  const int parts[3] = {2 - halves[0] - halves[1], halves[0], halves[1]};
  double product = 1;
  for (std::size_t c = 0; c < 3; ++c) {
    const double own = at.simplex(c, 2);
    if (parts[c] == 2) return own * (2 * own - at.scale());
    if (parts[c] == 1) product *= 2 * own;
  }
  return product;
}

/// Products of the functions of lower dimensions.
void appendProductShape(S shape, const Values& at, std::vector<double>& values)
{
  const double square = at.scale() * at.scale();
  for (const std::array<int, 3>& halves : nodeHalves(shape)) {
    if (shape == S::BiquadraticWedge)
      values.push_back(ofTriangle(at, halves) * at.along(2, halves[2]) / (square * square));
    else if (shape == S::BiquadraticQuad)
      values.push_back(at.along(0, halves[0]) * at.along(1, halves[1]) / (square * square));
    else
      values.push_back(at.along(0, halves[0]) * at.along(1, halves[1]) * at.along(2, halves[2]) /
                       (square * square * square));
  }
}

} // namespace

MxShapePlace shapeCorner(MiCellShape linear, std::size_t corner)
{
  const auto& at = cornerOf(linear, corner);
  return {{double(at[0]), double(at[1]), double(at[2])}, 1};
}

void appendShapeValues(MiCellShape shape, const MxShapePlace& place, std::vector<double>& values)
{
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  if (facts.linear == S::Pyramid && place.x[2] == place.scale) { // nothing but the apex
    for (std::size_t n = 0; n < facts.nodeCount; ++n)
      values.push_back(n == 4 ? 1 : 0);
    return;
  }
  const Values at(facts.linear, place);
  if (shape == S::BiquadraticQuad || shape == S::TriquadraticHexahedron ||
      shape == S::BiquadraticWedge)
    appendProductShape(shape, at, values);
  else
    appendEdgeShape(shape, at, values);
}
