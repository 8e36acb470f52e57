#pragma once

#include <velmo/extraction/algorithms/access/MxBits.h>
#include <velmo/extraction/algorithms/cut/MxCutPasses.h>
#include <velmo/extraction/algorithms/skin/MxFaceMatch.h>
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
template <class Cells>
void markBoundaryEdges(const Cells& cells, const MxCutJob& job, std::span<MxSheetEdge> edges)
{
  MxBits ends(job.nodeCount);
  for (const MxSheetEdge& edge : edges) {
    ends.set(edge.first);
    ends.set(edge.second);
  }
  // The faces at the edges, by hashes of their nodes, which do not depend on where they begin.
  struct Found
  {
    std::size_t edge;
    std::uint64_t face;
    auto operator<=>(const Found&) const = default;
  };
  using velmo_detail::kCutBlock;
  std::vector<std::vector<Found>> found(blockCount(cells.cellCount(), kCutBlock));
  forEachBlock(job.parallel, cells.cellCount(), kCutBlock,
               [&](std::size_t b, std::size_t first, std::size_t last) {
                 typename Cells::Cursor cursor(cells);
                 std::vector<std::uint32_t> face, inside;
                 const auto addFace = [&] {
                   inside.clear();
                   std::uint64_t hash = 0;
                   for (const std::uint32_t node : face) {
                     hash += mixBits(node);
                     if (ends.test(node)) inside.push_back(node);
                   }
                   for (std::size_t n = 1; n < inside.size(); ++n)
                     for (std::size_t m = 0; m < n; ++m) {
                       const MxSheetEdge edge{std::min(inside[n], inside[m]),
                                              std::max(inside[n], inside[m])};
                       const auto at = std::lower_bound(edges.begin(), edges.end(), edge);
                       if (at != edges.end() && *at == edge)
                         found[b].push_back({static_cast<std::size_t>(at - edges.begin()), hash});
                     }
                   face.clear();
                 };
                 for (std::size_t cell = first; cell < last; ++cell) {
                   if (job.unusable && job.unusable->test(cell)) continue;
                   cursor.load(cell);
                   if (cellShapeFacts(cursor.shape()).dimension != 3) continue;
                   if (cursor.shape() == MiCellShape::Polyhedron) {
                     const std::size_t length = cursor.streamSize();
                     std::size_t marked = 0;
                     for (std::size_t at = 1; at < length; at += cursor.stream()[at] + 1)
                       for (std::size_t n = 1; n <= cursor.stream()[at]; ++n)
                         marked += ends.test(cursor.stream()[at + n]);
                     if (marked < 2 || (job.keep && !job.keep->keep(cell))) continue;
                     for (std::size_t at = 1; at < length;) {
                       const std::size_t size = cursor.stream()[at++];
                       for (const std::size_t end = at + size; at < end; ++at)
                         face.push_back(static_cast<std::uint32_t>(cursor.stream()[at]));
                       addFace();
                     }
                     continue;
                   }
                   std::size_t marked = 0;
                   for (std::size_t n = 0; n < cursor.size(); ++n)
                     marked += ends.test(cursor.nodes()[n]);
                   if (marked < 2 || (job.keep && !job.keep->keep(cell))) continue;
                   for (const MxShapeFace& own : linearShapeFaces(cursor.shape())) {
                     for (std::size_t n = 0; n < own.size; ++n)
                       face.push_back(static_cast<std::uint32_t>(cursor.nodes()[own.nodes[n]]));
                     addFace();
                   }
                 }
               });
  std::vector<Found> all;
  for (const std::vector<Found>& block : found)
    all.insert(all.end(), block.begin(), block.end());
  std::sort(all.begin(), all.end());
  for (std::size_t first = 0, last = 0; first < all.size(); first = last) {
    while (last < all.size() && all[last] == all[first])
      ++last;
    if (last - first == 1) edges[all[first].edge].isOnBoundary = true;
  }
}
