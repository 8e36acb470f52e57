#pragma once

#include <velmo/extraction/interfaces/MiCellShape.h>

#include <array>
#include <cstddef>

/// Formats that number the nodes of an element in ways of their own.
enum class MxElementOrder
{
  Gmsh,
  Inp,
  Exodus
};

/// An element type of a file as a cell: node n of the cell is node order[n] of the element.
struct MxElementType
{
  MiCellShape shape = MiCellShape::Empty;
  int dimension = -1;
  std::uint8_t nodeCount = 0;
  std::array<std::uint8_t, 27> order{};
};

/// The element type of a dimension with that many nodes; null when no shape fits. The object lives
/// as long as the program.
///
/// The cells' wedges count the corners of their triangles the other way round than all these
/// formats do.
const MxElementType* mxElementType(MxElementOrder order, int dimension, std::size_t nodes);
