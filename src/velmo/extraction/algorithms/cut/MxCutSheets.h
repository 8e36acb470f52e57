#pragma once

#include <velmo/extraction/algorithms/cut/MxCutCells.h>
#include <velmo/mesh/MeXMesh.h>

#include <algorithm>
#include <functional>
#include <span>
#include <vector>

/// An edge of a mesh, or a diagonal of a face: first < second.
struct MxSheetEdge
{
  std::uint32_t first, second;
  bool isOnBoundary = false;
  friend auto operator<=>(const MxSheetEdge& a, const MxSheetEdge& b)
  {
    return std::pair(a.first, a.second) <=> std::pair(b.first, b.second);
  }
  friend bool operator==(const MxSheetEdge& a, const MxSheetEdge& b)
  {
    return a.first == b.first && a.second == b.second;
  }
};

/// Where a field has a ridge exactly at the isovalue, both sides of it give a polygon over the same
/// nodes, facing opposite ways. Leaves out one of the two wherever the surface stays as closed as
/// it was: in sheets that can be turned one way and that end nowhere but on the boundary of the
/// cells.
/// @param surface       a cut; edges between nodes of the mesh are those of polygons whose vertices
///                      all are nodes
/// @param findBoundary  tells which of the edges, sorted, lie on the boundary of the cells that
/// were
///                      cut; called only where there are sheets
void leaveSingleSheets(MeXSurfaceMeshUnstructured& surface, bool parallel,
                       const std::function<void(std::span<MxSheetEdge>)>& findBoundary);

/// Marks the edges that lie in faces of one cell only.
void markBoundaryEdges(const MxCutCells& cells, const MxCutJob& job, std::span<MxSheetEdge> edges);
