#pragma once

#include <velmo/io/MbMeshFile.h>
#include <velmo/io/MxFileMesh.h>

/// How the cells of a read file become a mesh.
struct MxMeshPlan
{
  MeshType kind = UNDEFINED_MESH;
  MbIndex3 cells; ///< cells along each axis of an IJK or structured kind, 1 beyond its axes
  std::array<std::size_t, 3> axes{0, 1, 2}; ///< file axis of each axis of the mesh
  MxFileArray active;                       ///< one number a cell; empty for no dead cells
};

/// The plan for what stands in the file: structured meshes lose their axes with a single node.
MxMeshPlan mxPlanMesh(const MxFileMesh& mesh, MeshType unstructuredKind);

/// The ready-made mesh over the arrays, which it shares.
std::unique_ptr<MiMesh> mxMakeMesh(const MxFileMesh& mesh, const MxMeshPlan& plan, bool parallel);

/// The set as a data set that fits the mesh; null when it has not one or three components.
std::unique_ptr<MiDataSet> mxMakeDataSet(const MxFileSet& set, const MxMeshPlan& plan);

/// The eight corners of every cell of a vertex mesh; nodes that do not exist give NaN.
MxFileArray mxCellCorners(const MxFileMesh& mesh, bool parallel);

/// For each logical corner of ni x nj x nk hexahedra the node that its first live cell has there;
/// the first cell of all where none is live, and node 0 where that node does not exist. `several`
/// tells whether live cells disagree.
std::vector<std::size_t> mxLogicalCornerNodes(const MxFileMesh& mesh, const MbIndex3& cells,
                                              const MxFileArray& active, bool parallel,
                                              bool& several);
