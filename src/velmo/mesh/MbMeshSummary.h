#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiMesh.h>

#include <limits>
#include <utility>

/// A box along the axes of the space; empty (min above max) until a point is included.
struct MbBox
{
  static constexpr double kInfinity = std::numeric_limits<double>::infinity();
  MbVec3d min{kInfinity, kInfinity, kInfinity}, max{-kInfinity, -kInfinity, -kInfinity};

  bool isEmpty() const { return !(min.x <= max.x); }
  /// Points with a NaN or an infinity are left out.
  void include(const MbVec3d& point)
  {
    if (!isFinite(point)) return;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      if (point[axis] < min[axis]) min[axis] = point[axis];
      if (point[axis] > max[axis]) max[axis] = point[axis];
    }
  }
  void include(const MbBox& box)
  {
    include(box.min);
    include(box.max);
  }
};

/// The box around the nodes of a mesh of any kind, nodes that no cell uses and those of dead cells
/// included; empty without finite nodes.
/// @param parallel  several threads may work; the result is the same
MbBox mbBoundingBox(const MiMesh& mesh, bool parallel = true);

/// What there is to say about a mesh in a line or two.
struct MbMeshSummary
{
  MeshType type = UNDEFINED_MESH;
  std::size_t cellCount = 0; ///< dead cells included
  std::size_t deadCellCount = 0;
  std::size_t nodeCount = 0; ///< flat nodes; eight a cell for vertex hexahedra
  MbIndex3 cellCounts;       ///< along I, J and K; {count, 1, 1} for one index
  MbIndex3 nodeCounts;       ///< of data per node, likewise
  /// Cells of each shape that occurs, dead ones included, by rising number of the shape.
  std::vector<std::pair<MiCellShape, std::size_t>> shapes;
  MbBox bounds;
};

/// Summary of a mesh of any kind; with UNDEFINED_MESH and zeros for a mesh of none.
/// @param parallel  several threads may work; the result is the same
MbMeshSummary mbSummarize(const MiMesh& mesh, bool parallel = true);
