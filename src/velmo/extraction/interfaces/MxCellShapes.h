#pragma once

#include <velmo/extraction/interfaces/MiCellShape.h>

#include <array>
#include <cstddef>
#include <initializer_list>

/// A face of a volume shape, by the cell's local node numbers: corners counter-clockwise seen from
/// outside, then the middle nodes of the edges from each corner to the next, then the centre.
struct MxShapeFace
{
  MiCellShape shape = MiCellShape::Empty;
  std::uint8_t size = 0;
  std::array<std::uint8_t, 9> nodes{};
};

struct MxShapeFaces
{
  std::uint8_t count = 0;
  /// Room for the 6 x 5 linear sub-faces of a hexahedron with middle nodes on its edges.
  std::array<MxShapeFace, 30> faces{};

  constexpr const MxShapeFace* begin() const { return faces.data(); }
  constexpr const MxShapeFace* end() const { return faces.data() + count; }
  constexpr const MxShapeFace& operator[](std::size_t i) const { return faces[i]; }
};

/// An edge by local node numbers; `middle` is 255 on linear shapes.
struct MxShapeEdge
{
  std::uint8_t first = 0, second = 0, middle = 255;
};

struct MxShapeEdges
{
  std::uint8_t count = 0;
  std::array<MxShapeEdge, 12> edges{};

  constexpr const MxShapeEdge* begin() const { return edges.data(); }
  constexpr const MxShapeEdge* end() const { return edges.data() + count; }
};

namespace velmo_detail {

constexpr MxShapeFace makeFace(MiCellShape shape, std::initializer_list<int> nodes)
{
  MxShapeFace face;
  face.shape = shape;
  for (const int node : nodes)
    face.nodes[face.size++] = static_cast<std::uint8_t>(node);
  return face;
}

constexpr MxShapeFaces makeLinearFaces(std::initializer_list<std::initializer_list<int>> lists)
{
  MxShapeFaces faces;
  for (const auto& list : lists)
    faces.faces[faces.count++] =
        makeFace(list.size() == 3 ? MiCellShape::Triangle : MiCellShape::Quad, list);
  return faces;
}

// Outward faces of the linear shapes. In this numbering the first triangle of a wedge faces
// outward, unlike the bottoms of the other shapes, whose corners are counted from inside.
constexpr MxShapeFaces cornerFaces(MiCellShape linear)
{
  using S = MiCellShape;
  switch (linear) {
  case S::Tetrahedron:
    return makeLinearFaces({{0, 1, 3}, {1, 2, 3}, {2, 0, 3}, {0, 2, 1}});
  case S::Hexahedron:
    return makeLinearFaces(
        {{0, 4, 7, 3}, {1, 2, 6, 5}, {0, 1, 5, 4}, {3, 7, 6, 2}, {0, 3, 2, 1}, {4, 5, 6, 7}});
  case S::Wedge:
    return makeLinearFaces({{0, 1, 2}, {3, 5, 4}, {0, 3, 4, 1}, {1, 4, 5, 2}, {2, 5, 3, 0}});
  case S::Pyramid:
    return makeLinearFaces({{0, 3, 2, 1}, {0, 1, 4}, {1, 2, 4}, {2, 3, 4}, {3, 0, 4}});
  default:
    return {};
  }
}

// The edges of the linear shapes in the order in which the quadratic shapes number the middles,
// which follow the corners.
constexpr MxShapeEdges makeEdges(std::initializer_list<std::array<int, 2>> pairs, int firstMiddle)
{
  MxShapeEdges edges;
  for (const auto& pair : pairs) {
    MxShapeEdge& edge = edges.edges[edges.count];
    edge.first = static_cast<std::uint8_t>(pair[0]);
    edge.second = static_cast<std::uint8_t>(pair[1]);
    if (firstMiddle > 0) edge.middle = static_cast<std::uint8_t>(firstMiddle + edges.count);
    ++edges.count;
  }
  return edges;
}

} // namespace velmo_detail

/// The edges of a shape of two or three dimensions; none for shapes of variable size.
constexpr MxShapeEdges shapeEdges(MiCellShape shape)
{
  using S = MiCellShape;
  using velmo_detail::makeEdges;
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  const int middle = facts.nodeCount > facts.cornerCount ? facts.cornerCount : 0;
  switch (facts.linear) {
  case S::Triangle:
    return makeEdges({{0, 1}, {1, 2}, {2, 0}}, middle);
  case S::Quad:
    return makeEdges({{0, 1}, {1, 2}, {2, 3}, {3, 0}}, middle);
  case S::Tetrahedron:
    return makeEdges({{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}}, middle);
  case S::Hexahedron:
    return makeEdges({{0, 1},
                      {1, 2},
                      {2, 3},
                      {3, 0},
                      {4, 5},
                      {5, 6},
                      {6, 7},
                      {7, 4},
                      {0, 4},
                      {1, 5},
                      {2, 6},
                      {3, 7}},
                     middle);
  case S::Wedge:
    return makeEdges({{0, 1}, {1, 2}, {2, 0}, {3, 4}, {4, 5}, {5, 3}, {0, 3}, {1, 4}, {2, 5}},
                     middle);
  case S::Pyramid:
    return makeEdges({{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}}, middle);
  default:
    return {};
  }
}

/// The faces of a volume shape as they are: triangles and quads of a linear shape, quadratic ones
/// of a quadratic shape. None for polyhedra and for shapes of fewer dimensions.
constexpr MxShapeFaces shapeFaces(MiCellShape shape)
{
  using S = MiCellShape;
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  if (facts.dimension != 3) return {};
  MxShapeFaces faces = velmo_detail::cornerFaces(facts.linear);
  if (facts.nodeCount == facts.cornerCount) return faces;
  const MxShapeEdges edges = shapeEdges(shape);
  const auto middleOf = [&](std::uint8_t a, std::uint8_t b) -> std::uint8_t {
    for (const MxShapeEdge& edge : edges)
      if ((edge.first == a && edge.second == b) || (edge.first == b && edge.second == a))
        return edge.middle;
    return 0;
  };
  // The centres of the faces that have one (all of the 27-node hexahedron's, the quads of the
  // 18-node wedge) follow the middles of the edges, in the order of the faces.
  const bool centres = shape == S::TriquadraticHexahedron || shape == S::BiquadraticWedge;
  std::uint8_t centre = static_cast<std::uint8_t>(facts.cornerCount + edges.count);
  for (std::uint8_t f = 0; f < faces.count; ++f) {
    MxShapeFace& face = faces.faces[f];
    const std::uint8_t corners = face.size;
    for (std::uint8_t c = 0; c < corners; ++c)
      face.nodes[face.size++] = middleOf(face.nodes[c], face.nodes[c + 1 < corners ? c + 1 : 0]);
    face.shape = corners == 3 ? S::QuadraticTriangle : S::QuadraticQuad;
    if (centres && corners == 4) {
      face.nodes[face.size++] = centre++;
      face.shape = S::BiquadraticQuad;
    }
  }
  return faces;
}

/// The linear sub-faces, through all nodes, of a face of shape `shape`, by the face's own node
/// numbers: a quadratic triangle gives four triangles, a quad with eight nodes four corner
/// triangles and the quad between them, one with nine nodes four quads; a linear face gives itself.
constexpr MxShapeFaces subFaces(MiCellShape shape)
{
  using S = MiCellShape;
  using velmo_detail::makeLinearFaces;
  switch (shape) {
  case S::Triangle:
    return makeLinearFaces({{0, 1, 2}});
  case S::Quad:
    return makeLinearFaces({{0, 1, 2, 3}});
  case S::QuadraticTriangle:
    return makeLinearFaces({{0, 3, 5}, {3, 1, 4}, {5, 4, 2}, {3, 4, 5}});
  case S::QuadraticQuad:
    return makeLinearFaces({{0, 4, 7}, {4, 1, 5}, {5, 2, 6}, {6, 3, 7}, {4, 5, 6, 7}});
  case S::BiquadraticQuad:
    return makeLinearFaces({{0, 4, 8, 7}, {4, 1, 5, 8}, {8, 5, 2, 6}, {7, 8, 6, 3}});
  default:
    return {};
  }
}

/// The linear parts, through all nodes, of a shape of one or two dimensions by the cell's own node
/// numbers: the sub-faces of a face, and one polyline of a quadratic line. None for shapes of
/// variable size, which are linear, and for others.
constexpr MxShapeFaces flatParts(MiCellShape shape)
{
  using S = MiCellShape;
  MxShapeFaces parts;
  if (shape == S::Line) parts.faces[parts.count++] = velmo_detail::makeFace(S::Line, {0, 1});
  if (shape == S::QuadraticLine)
    parts.faces[parts.count++] = velmo_detail::makeFace(S::Polyline, {0, 2, 1});
  return parts.count > 0 ? parts : subFaces(shape);
}

/// The faces of a volume shape as linear polygons through all its nodes.
constexpr MxShapeFaces linearShapeFaces(MiCellShape shape)
{
  const MxShapeFaces whole = shapeFaces(shape);
  MxShapeFaces linear;
  for (const MxShapeFace& face : whole)
    for (MxShapeFace part : subFaces(face.shape)) {
      for (std::uint8_t n = 0; n < part.size; ++n)
        part.nodes[n] = face.nodes[part.nodes[n]];
      linear.faces[linear.count++] = part;
    }
  return linear;
}

template <MiCellShape Shape>
inline constexpr MxShapeFaces kLinearFaces = linearShapeFaces(Shape);
template <MiCellShape Shape>
inline constexpr MxShapeFaces kWholeFaces = shapeFaces(Shape);

/// The table of linear faces of a shape that is known at run time; an empty table for shapes
/// without.
const MxShapeFaces& findLinearFaces(MiCellShape shape);
/// The table of linear parts of a shape of one or two dimensions.
const MxShapeFaces& findFlatParts(MiCellShape shape);
/// The table of faces as they are.
const MxShapeFaces& findWholeFaces(MiCellShape shape);
