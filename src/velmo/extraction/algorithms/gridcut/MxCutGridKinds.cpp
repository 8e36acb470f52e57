#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/cut/MxCutKinds.h>
#include <velmo/extraction/algorithms/cut/MxCutSheets.h>
#include <velmo/extraction/algorithms/gridcut/MxAxesLevel.h>
#include <velmo/extraction/algorithms/gridcut/MxGridPointLevel.h>

namespace {

struct LatticeCorners
{
  MxIjkNumbering cells, nodes;
  void operator()(std::size_t cell, std::uint32_t* corners) const
  {
    const MbIndex3 at = cells.split(cell);
    for (std::size_t c = 0; c < 8; ++c)
      corners[c] = static_cast<std::uint32_t>(nodes.flat(
          at.x + kCornerSteps[c][0], at.y + kCornerSteps[c][1], at.z + kCornerSteps[c][2]));
  }
};

struct NodesOf
{
  const MxGridPlaces& places;
  MxIjkNumbering nodes;
  MbVec3d operator[](std::size_t node) const { return places.node(nodes.split(node)); }
};

/// A cut of one grid, whatever its geometry.
class GridCut
{
public:
  GridCut(const MiTopologyIjk& topology, const MiCellFilterIjk* filter,
          const std::shared_ptr<const MxMeshCheck>& check, bool parallel,
          MxExtractionMonitor& monitor, MxCutGridMemory& memory,
          MeXSurfaceMeshUnstructured& surface)
      : m_check(*check), m_parallel(parallel), m_monitor(monitor), m_memory(memory),
        m_surface(surface)
  {
    memory.check = check;
    // Rows of the filter are asked again only when an answer may have changed.
    const std::vector<std::uint64_t> key = {
        reinterpret_cast<std::uintptr_t>(&topology),   topology.getTimeStamp(),
        reinterpret_cast<std::uintptr_t>(filter),      filter ? filter->getTimeStamp() : 0,
        reinterpret_cast<std::uintptr_t>(check.get()), check->brokenCount};
    if (memory.choiceKey == key) return;
    memory.choiceKey.clear();
    constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    memory.choice = chooseCells(topology, check->unusable, filter, {kNone, kNone, kNone},
                                {kNone, kNone, kNone}, parallel, monitor);
    memory.choiceKey = key;
  }

  /// Whether nodes of cut cells lie on the level.
  bool cut(const MxGridLevel& level, const MxGridPlaces& places) const
  {
    const MxIjkNumbering& cells = m_memory.choice.numbering;
    const MxIjkNumbering nodes{nodeCountsOf(cells.counts)};
    const bool flip = isLeftHanded(cells.total(), m_check.unusable, LatticeCorners{cells, nodes},
                                   NodesOf{places, nodes});
    return cutGrid(level, places, m_memory.choice, flip, m_parallel, m_monitor, m_memory,
                   m_surface);
  }

  /// The cut at a value; nothing where the set does not fit.
  void cutField(const MxIsovalue& isovalue, const MxGridPlaces& places) const
  {
    const MxGridValues values(*isovalue.set, nodeCountsOf(m_memory.choice.numbering.counts));
    if (!values) return;
    const auto ranges = shareRanges(*isovalue.set, values, m_parallel, m_monitor);
    m_memory.fieldRanges = ranges;
    visitRows(values, [&](const auto& rows) {
      if (cut(MxGridFieldLevel(rows, *ranges, isovalue.value), places))
        leaveSingleSheets(m_surface, m_parallel,
                          [&](std::span<MxSheetEdge> edges) { markBoundary(edges); });
    });
  }

private:
  /// Marks the edges that not all cells around them are taken of.
  void markBoundary(std::span<MxSheetEdge> edges) const
  {
    const MxIjkChoice& choice = m_memory.choice;
    const MbIndex3& cells = choice.numbering.counts;
    const MxIjkNumbering nodes{nodeCountsOf(cells)};
    for (MxSheetEdge& edge : edges) {
      const MbIndex3 a = nodes.split(edge.first), b = nodes.split(edge.second);
      for (std::size_t side = 0; side < 8; ++side) {
        MbIndex3 cell;
        bool isAround = true;
        for (std::size_t axis = 0; axis < 3; ++axis) {
          cell[axis] = std::min(a[axis], b[axis]);
          if (!(side >> axis & 1)) continue;
          isAround &= a[axis] == b[axis];
          --cell[axis]; // below the first one: beyond the last
        }
        if (!isAround) continue;
        edge.isOnBoundary |= cell.x >= cells.x || cell.y >= cells.y || cell.z >= cells.z ||
                             !(choice.word(cell.x / 64, cell.y, cell.z) >> cell.x % 64 & 1);
      }
    }
  }

  const MxMeshCheck& m_check;
  bool m_parallel;
  MxExtractionMonitor& m_monitor;
  MxCutGridMemory& m_memory;
  MeXSurfaceMeshUnstructured& m_surface;
};

bool hasCells(const MbIndex3& counts)
{
  return counts.x && counts.y && counts.z;
}

/// Empties the surface; true when there is something to cut.
template <class Mesh>
bool beginCut(const Mesh& mesh, const MxCutShape& shape, MeXSurfaceMeshUnstructured& surface)
{
  const MbIndex3 cells = mesh.getTopology().getCellCounts();
  clearCut(surface);
  surface.provenance.sourceCells = cells;
  surface.provenance.sourceNodes = nodeCountsOf(cells);
  return isCutShapeUsable(shape) && hasCells(cells);
}

/// Regular and rectilinear grids.
template <class Mesh>
std::shared_ptr<const MxMeshCheck>
cutKind(const Mesh& mesh, const MiCellFilterIjk* filter, const MxCutShape& shape, bool parallel,
        MxExtractionMonitor& monitor, MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface)
{
  const auto check = checkMesh(mesh, parallel, monitor);
  if (!beginCut(mesh, shape, surface)) return check;
  const GridCut cut(mesh.getTopology(), filter, check, parallel, monitor,
                    memory.part<MxCutGridMemory>(), surface);
  const MxAxesGrid grid(makeAxes(mesh));
  const MxAxesPlaces places(grid);
  if (const auto* isovalue = std::get_if<MxIsovalue>(&shape)) cut.cutField(*isovalue, places);
  visitShapeLevel(shape, [&](const auto& level) { cut.cut(MxAxesLevel(grid, level), places); });
  return check;
}

std::shared_ptr<const MxMeshCheck> cutKind(const MiVolumeMeshCurvilinear& mesh,
                                           const MiCellFilterIjk* filter, const MxCutShape& shape,
                                           bool parallel, MxExtractionMonitor& monitor,
                                           MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface)
{
  const MiGeometryIjk& geometry = mesh.getGeometry();
  const MbIndex3 nodes = nodeCountsOf(mesh.getTopology().getCellCounts());
  auto& kept = memory.part<MxCutGridMemory>();
  std::shared_ptr<const MxMeshCheck> check;
  std::shared_ptr<const MxPointRanges> ranges;
  const bool isInSpace = !std::holds_alternative<MxIsovalue>(shape);
  if (isInSpace && beginCut(mesh, shape, surface) && geometry.getNodeCounts() == nodes &&
      countOrRefuse(nodes, "nodes") > 0)
  {
    // The ranges tell of coordinates that are not finite: the points are read once.
    ranges = shareRanges(geometry, MxGridPoints(geometry, nodes), parallel, monitor);
    kept.pointRanges = ranges;
    if (ranges->undefined.empty()) check = rememberClean(mesh);
  }
  if (!check) check = checkMesh(mesh, parallel, monitor);
  if (!beginCut(mesh, shape, surface) || geometry.getNodeCounts() != nodes) return check;

  const GridCut cut(mesh.getTopology(), filter, check, parallel, monitor, kept, surface);
  const MxGridPoints points(geometry, nodes);
  visitRows(points, [&](const auto& rows) {
    const MxGridPointPlaces places(rows);
    if (const auto* isovalue = std::get_if<MxIsovalue>(&shape)) cut.cutField(*isovalue, places);
    visitShapeLevel(
        shape, [&](const auto& level) { cut.cut(MxGridPointLevel(rows, *ranges, level), places); });
  });
  return check;
}

} // namespace

template <class Mesh, class Filter>
std::shared_ptr<const MxMeshCheck> cutMesh(const Mesh& mesh, const Filter* filter,
                                           const MxCutShape& shape, const MiTessellator*,
                                           bool parallel, MxExtractionMonitor& monitor,
                                           MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface)
{
  return cutKind(mesh, filter, shape, parallel, monitor, memory, surface);
}

#define MX_CUT_KIND(Mesh, Filter)                                                                  \
  template std::shared_ptr<const MxMeshCheck> cutMesh(                                             \
      const Mesh&, const Filter*, const MxCutShape&, const MiTessellator*, bool,                   \
      MxExtractionMonitor&, MxCutMemory&, MeXSurfaceMeshUnstructured&);
MX_CUT_KIND(MiVolumeMeshRegular, MiCellFilterIjk)
MX_CUT_KIND(MiVolumeMeshRectilinear, MiCellFilterIjk)
MX_CUT_KIND(MiVolumeMeshCurvilinear, MiCellFilterIjk)
