#include <velmo/extraction/algorithms/cut/MxCut.h>

#include <velmo/extraction/algorithms/cut/MxCutKinds.h>
#include <velmo/extraction/algorithms/cut/MxCutSheets.h>
#include <velmo/extraction/algorithms/cut/MxCutSourceOf.h>
#include <velmo/mesh/views/MxCellView.h>

namespace {

/// The corners of vertex hexahedra, 8 * cell + corner: each stands for all that coincide exactly at
/// its logical corner, and is the first of them.
struct VertexCorners
{
  const MxVertexCorners* corners;
  MxIjkNumbering cells;

  void operator()(std::size_t cell, std::uint32_t* nodes) const
  {
    const MbIndex3 at = cells.split(cell);
    for (int c = 0; c < 8; ++c)
      nodes[c] = first(at, c);
  }

private:
  std::uint32_t first(const MbIndex3& at, int corner) const
  {
    // Cells in ascending order: the corner of the one at the largest distance below is 6.
    constexpr int kOpposite[8] = {6, 7, 5, 4, 2, 3, 1, 0};
    const auto own = static_cast<std::uint32_t>(8 * cells.flat(at.x, at.y, at.z) +
                                                static_cast<std::size_t>(corner));
    if (corner == kOpposite[0]) return own;
    const MbVec3d place = corners->corner(at.x, at.y, at.z, corner);
    const auto& step = kCornerSteps[corner];
    const MbIndex3 node{at.x + step[0], at.y + step[1], at.z + step[2]};
    for (const int other : kOpposite) {
      if (other == corner) break;
      const auto& back = kCornerSteps[other];
      if (node.x < back[0] || node.y < back[1] || node.z < back[2]) continue;
      const MbIndex3 cell{node.x - back[0], node.y - back[1], node.z - back[2]};
      if (cell.x >= cells.counts.x || cell.y >= cells.counts.y || cell.z >= cells.counts.z)
        continue;
      if (corners->corner(cell.x, cell.y, cell.z, other) == place)
        return static_cast<std::uint32_t>(8 * cells.flat(cell.x, cell.y, cell.z) +
                                          static_cast<std::size_t>(other));
    }
    return own;
  }
};

template <class View>
struct Places
{
  const View* view;
  MbVec3d operator[](std::size_t node) const { return view->position(node); }
};

/// Values by node: those of the data node.
template <class View, class Values>
struct ValuesOf
{
  const View* view;
  Values values;
  double operator[](std::size_t node) const { return values[view->dataNode(node)]; }
};
} // namespace

template <class Mesh, class Filter>
std::shared_ptr<const MxMeshCheck> cutMesh(const Mesh& mesh, const Filter* filter,
                                           const MxCutShape& shape, const MiTessellator*,
                                           bool parallel, MxExtractionMonitor& monitor,
                                           MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface)
{
  using View = MxCellView<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK>;
  const std::shared_ptr<const MxMeshCheck> check = checkMesh(mesh, parallel, monitor);
  clearCut(surface);
  const View view(mesh);
  const MxIjkNumbering cells{mesh.getTopology().getCellCounts()};
  const MxIjkNumbering nodes{nodeCountsOf(cells.counts)};
  surface.provenance.sourceCells = cells.counts;
  surface.provenance.sourceNodes = nodes.counts;
  if (!isCutShapeUsable(shape) || cells.total() == 0) return check;
  countOrRefuse({8, cells.total(), 1}, "corners");

  const MxIjkCutKeep keep(mesh.getTopology(), filter);
  MxCutJob job;
  job.nodeCount = 8 * cells.total();
  job.unusable = check->isClean() ? nullptr : &check->unusable;
  job.keep = keep.isNeeded() ? &keep : nullptr;
  job.parallel = parallel;
  const MxVertexCorners corners(mesh);
  const VertexCorners cornersOf{&corners, cells};
  const MxCutPlacesOf places(Places<View>{&view});
  const auto* field = std::get_if<MxIsovalue>(&shape);
  const auto source = field ? makeFieldSource(*field, nodes.counts, true,
                                              [&]<class Values>(const Values& values) {
                                                return ValuesOf<View, Values>{&view, values};
                                              })
                            : places.makeSource(shape);
  if (!source) return check;
  job.source = source.get();
  job.isLeftHanded = [&] {
    return isLeftHanded(cells.total(), check->unusable, cornersOf, places);
  };
  const auto hexahedra = makeCutHexahedra(cornersOf, cells.total());
  MxCutScratch& scratch = memory.part<MxCutScratch>();
  cutCells(*hexahedra, job, scratch, monitor, surface);
  if (field && scratch.hasNodesOn())
    leaveSingleSheets(surface, parallel, [&](std::span<MxSheetEdge> edges) {
      markBoundaryEdges(*hexahedra, job, edges);
    });
  places.place(parallel, surface);
  for (std::uint32_t& node : surface.provenance.nodes)
    node = static_cast<std::uint32_t>(view.dataNode(node));
  return check;
}

#define MX_CUT_KIND(Mesh, Filter)                                                                  \
  template std::shared_ptr<const MxMeshCheck> cutMesh(                                             \
      const Mesh&, const Filter*, const MxCutShape&, const MiTessellator*, bool,                   \
      MxExtractionMonitor&, MxCutMemory&, MeXSurfaceMeshUnstructured&);
MX_CUT_KIND(MiVolumeMeshVertexHexahedronIjk, MiCellFilterIjk)
