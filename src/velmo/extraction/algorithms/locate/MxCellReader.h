#pragma once

#include <velmo/extraction/algorithms/locate/MxCellMap.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <memory>

/// Reads the cells of a mesh one by one, whatever its kind; made once per mesh. What the mesh
/// answers is checked each time: a cell that names a node that does not exist, has counts that do
/// not fit or a corner that is not finite cannot be read. *Threads*: any number may read.
class MxCellReader
{
public:
  virtual ~MxCellReader() = default;
  /// Reads a cell; false for one that is dead, broken or not of the mesh's dimension, and the map
  /// then names no cell.
  virtual bool read(std::size_t cell, MxCellMap& map) const = 0;
  /// The box of all points that are found in the cell; empty for a cell that cannot be read.
  virtual MxBox3d box(std::size_t cell) const = 0;
  /// The boxes of `count` cells from `cell` on, all in one row of a grid.
  virtual void boxes(std::size_t cell, std::size_t count, MxBox3d* boxes) const
  {
    for (std::size_t n = 0; n < count; ++n)
      boxes[n] = box(cell + n);
  }

  /// Announces that a cell will be read soon: first what names its nodes, then the nodes
  /// themselves, for which the former is read.
  virtual void prefetchNodes(std::size_t) const {}
  virtual void prefetchPoints(std::size_t) const {}

  std::size_t cellCount() const { return cellCounts.x * cellCounts.y * cellCounts.z; }

  /// Cells and nodes along I, J and K, as data sets number them.
  MbIndex3 cellCounts, nodeCounts;
};

/// @param mesh  borrowed; the reader is valid as long as its stamps
template <MeshType Kind>
std::unique_ptr<MxCellReader> makeCellReader(const typename MxMeshKind<Kind>::Interface& mesh);

/// X(kind) for the kinds of mesh whose cells can be read.
#define VELMO_FOR_CELL_MESHES(X)                                                                   \
  X(VOLUME_MESH_UNSTRUCTURED)                                                                      \
  X(VOLUME_MESH_HEXAHEDRON_IJK)                                                                    \
  X(VOLUME_MESH_VERTEX_HEXAHEDRON_IJK)                                                             \
  X(VOLUME_MESH_REGULAR)                                                                           \
  X(VOLUME_MESH_RECTILINEAR)                                                                       \
  X(VOLUME_MESH_CURVILINEAR)                                                                       \
  X(SURFACE_MESH_UNSTRUCTURED)                                                                     \
  X(SURFACE_MESH_REGULAR)                                                                          \
  X(SURFACE_MESH_RECTILINEAR)                                                                      \
  X(SURFACE_MESH_CURVILINEAR)
