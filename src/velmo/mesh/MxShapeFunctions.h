#pragma once

#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <vector>

/// A place in a cell's own coordinates: x / scale, where x are whole numbers on the lattices of
/// tessellators.
///
/// Corners of squares and cubes are at 0 and 1 in the order of a hexahedron's; a triangle has 0, 1,
/// 2 at (0, 0), (1, 0), (0, 1), a tetrahedron 3 at (0, 0, 1), a wedge two such triangles at z = 0
/// and 1; a pyramid has its apex at (0, 0, 1) above the unit square.
struct MxShapePlace
{
  std::array<double, 3> x{};
  double scale = 1;
};

/// Where a corner lies, scale 1.
MxShapePlace shapeCorner(MiCellShape linear, std::size_t corner);

/// Appends the values of the shape functions of a quadratic shape, one a node.
///
/// Each value is one division of whole numbers where the place is one, and what a cell's functions
/// are on a face is the face's own: both cells of a face get the same bits.
/// Pyramids: the rational functions that are those of the quadratic quad and triangles on its
/// faces.
void appendShapeValues(MiCellShape shape, const MxShapePlace& place, std::vector<double>& values);
