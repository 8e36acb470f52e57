#pragma once

#include <cstdint>
#include <limits>

/// How far outside a cell a point may lie and still count as in it, in units of the cell: a point
/// on a face, an edge or a node is found whatever the rounding. A point that is further inside than
/// this belongs to that cell alone.
inline constexpr double kInsideTolerance = 1e-6;
/// How far outside a cell a point is that has no place in it.
inline constexpr double kNowhere = std::numeric_limits<double>::infinity();

/// A place in a cell: r, s, t of the reference cell (see MxShapeFunctions.h); for polygons and
/// polyhedra that of one of their parts.
struct MxPlace
{
  double r[3] = {0, 0, 0};
  std::uint32_t part = 0;
};
