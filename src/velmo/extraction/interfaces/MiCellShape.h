#pragma once

#include <cstdint>

/// The shape of a cell. The values and each shape's node order are those of the cell types of .vtk
/// and .vtu files, so that an application's or a file's type array is read in place.
///
/// Any other value is an unknown shape: the cell is skipped and one warning counts such cells.
enum class MiCellShape : std::uint8_t
{
  Empty = 0,
  Vertex = 1,
  Line = 3,
  Polyline = 4,
  Triangle = 5,
  Polygon = 7,
  Quad = 9,
  Tetrahedron = 10,
  Hexahedron = 12,
  Wedge = 13,
  Pyramid = 14,
  QuadraticLine = 21,
  QuadraticTriangle = 22,
  QuadraticQuad = 23,
  QuadraticTetrahedron = 24,
  QuadraticHexahedron = 25,
  QuadraticWedge = 26,
  QuadraticPyramid = 27,
  BiquadraticQuad = 28,
  TriquadraticHexahedron = 29,
  BiquadraticWedge = 32,
  Polyhedron = 42
};

/// What does not depend on a cell's geometry.
struct MiCellShapeFacts
{
  const char* name;         ///< as reports and warnings print it
  std::int8_t dimension;    ///< 0 to 3; -1 for an unknown shape
  std::uint8_t nodeCount;   ///< 0 when it differs from cell to cell
  std::uint8_t cornerCount; ///< nodes of the linear shape below it; 0 when it differs
  MiCellShape linear;       ///< the shape of its corners
};

/// The facts of a shape; for an unknown value the row of "unknown", dimension -1.
constexpr MiCellShapeFacts cellShapeFacts(MiCellShape shape)
{
  using S = MiCellShape;
  switch (shape) {
  case S::Empty:
    return {"empty", -1, 0, 0, S::Empty};
  case S::Vertex:
    return {"vertex", 0, 1, 1, S::Vertex};
  case S::Line:
    return {"line", 1, 2, 2, S::Line};
  case S::Polyline:
    return {"polyline", 1, 0, 0, S::Polyline};
  case S::Triangle:
    return {"triangle", 2, 3, 3, S::Triangle};
  case S::Polygon:
    return {"polygon", 2, 0, 0, S::Polygon};
  case S::Quad:
    return {"quad", 2, 4, 4, S::Quad};
  case S::Tetrahedron:
    return {"tetrahedron", 3, 4, 4, S::Tetrahedron};
  case S::Hexahedron:
    return {"hexahedron", 3, 8, 8, S::Hexahedron};
  case S::Wedge:
    return {"wedge", 3, 6, 6, S::Wedge};
  case S::Pyramid:
    return {"pyramid", 3, 5, 5, S::Pyramid};
  case S::QuadraticLine:
    return {"quadratic_line", 1, 3, 2, S::Line};
  case S::QuadraticTriangle:
    return {"quadratic_triangle", 2, 6, 3, S::Triangle};
  case S::QuadraticQuad:
    return {"quadratic_quad", 2, 8, 4, S::Quad};
  case S::QuadraticTetrahedron:
    return {"quadratic_tetrahedron", 3, 10, 4, S::Tetrahedron};
  case S::QuadraticHexahedron:
    return {"quadratic_hexahedron", 3, 20, 8, S::Hexahedron};
  case S::QuadraticWedge:
    return {"quadratic_wedge", 3, 15, 6, S::Wedge};
  case S::QuadraticPyramid:
    return {"quadratic_pyramid", 3, 13, 5, S::Pyramid};
  case S::BiquadraticQuad:
    return {"biquadratic_quad", 2, 9, 4, S::Quad};
  case S::TriquadraticHexahedron:
    return {"triquadratic_hexahedron", 3, 27, 8, S::Hexahedron};
  case S::BiquadraticWedge:
    return {"biquadratic_wedge", 3, 18, 6, S::Wedge};
  case S::Polyhedron:
    return {"polyhedron", 3, 0, 0, S::Polyhedron};
  }
  return {"unknown", -1, 0, 0, S::Empty};
}
