#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MiMesh.h>

#include <array>
#include <functional>
#include <vector>

/// What can be wrong with a mesh. Dead cells are not looked at, except that they use their nodes.
enum class MbMeshFault : std::uint8_t
{
  /// Cells that name missing nodes, have a number of nodes that is not their shape's, or faces that
  /// cannot be read.
  BrokenCell,
  /// Cells of a number that is no shape.
  UnknownShape,
  /// Cells with a corner that is not finite.
  NonFiniteCell,
  /// Cells without length, area or volume, as far as the numbers can tell.
  DegenerateCell,
  /// Volume cells inside out. Of a grid with I, J and K: those that are not as most of its cells.
  InvertedCell,
  /// Cells that are folded or dented: at a corner of a volume cell the edges stand the other way
  /// round than its volume says (with middle nodes, their tangents), at a corner of a quad the
  /// sides turn the other way than around its area. Concave polygons and polyhedra are no fault.
  FoldedCell,
  /// Polyhedra with an edge that is not one of exactly two faces.
  OpenPolyhedron,
  /// Cells with the same nodes as one before them, in whatever order.
  DuplicateCell,
  /// Volumes: faces with the same corners of more than two cells. Surfaces: edges of more than two
  /// cells. Given by their first cells.
  CrowdedFace,
  /// Nodes that are not finite.
  NonFiniteNode,
  /// Nodes of no cell.
  DanglingNode,
  /// Nodes at exactly the same place as one before them.
  DuplicateNode,
  /// Cells of which some corners are one, although they have an extent.
  CollapsedCell
};
inline constexpr std::size_t kMbMeshFaultCount = 13;

/// What was found of one fault.
struct MbMeshFinding
{
  std::size_t count = 0;
  /// The lowest numbers of the cells or nodes concerned, rising, ten at the most. Cells of grids
  /// are counted with I fastest, and so are nodes.
  std::vector<std::size_t> first;
  /// The mesh's kind cannot have it, and nobody looked.
  bool isImpossible = false;
  /// True for what may be meant: collapsed cells always, nodes at one place in grids (seams, poles,
  /// faults), edges of more than two cells of a surface.
  bool isRemark = false;
};

/// What was found out about a mesh.
struct MbMeshFaults
{
  MeshType type = UNDEFINED_MESH;
  std::size_t cellCount = 0, nodeCount = 0, deadCellCount = 0;
  std::array<MbMeshFinding, kMbMeshFaultCount> findings;
  /// All cells of a volume that are the one way or the other are inside out: its axes are
  /// left-handed. A grid's own business, a fault of an unstructured mesh.
  bool isMirrored = false;

  const MbMeshFinding& operator[](MbMeshFault fault) const
  {
    return findings[static_cast<std::size_t>(fault)];
  }
  MbMeshFinding& operator[](MbMeshFault fault) { return findings[static_cast<std::size_t>(fault)]; }
  /// Something was found that is more than a remark.
  bool isFaulty() const;
};

/// "inverted cells" and so on, for the plural of what is counted.
const char* mbFaultName(MbMeshFault fault, MeshType type);
/// The numbers of this fault are those of nodes.
bool mbIsOfNodes(MbMeshFault fault);

/// Examines a mesh of any kind, more thoroughly than extraction does.
///
/// *Cost*: a few sweeps over cells and nodes; beyond the mesh a bit a node, a bit a cell, up to two
/// bytes for each face and sixteen for each one that is concerned. *Threads*: uses several when
/// `parallel`, with the same result; the mesh must allow concurrent const calls.
/// @param progress  told by the calling thread how much is done, 0 to 1; may be empty
/// @throw std::bad_alloc; std::length_error for more than 2^32 - 1 cells or nodes
MbMeshFaults mbFindFaults(const MiMesh& mesh, bool parallel = true,
                          const std::function<void(double)>& progress = {});

/// Values of an array that are not finite.
struct MbValueFaults
{
  std::size_t nanCount = 0, infiniteCount = 0;
  /// The lowest items that have one, ten at the most.
  std::vector<std::size_t> first;
};

/// @param components  numbers an item
MbValueFaults mbFindFaults(const MiArrayView& values, std::size_t components, bool parallel = true);
