#include <velmo/extraction/algorithms/cut/MxCut.h>

#include <velmo/extraction/algorithms/access/MxVolumeCells.h>
#include <velmo/extraction/algorithms/cut/MxCutKinds.h>
#include <velmo/extraction/algorithms/cut/MxCutRuns.h>
#include <velmo/extraction/algorithms/cut/MxCutSheets.h>
#include <velmo/extraction/algorithms/cut/MxCutTessellate.h>

namespace {

/// Dead and refused cells of an unstructured mesh.
class Keep final : public MxCutKeep
{
public:
  Keep(const MiTopologyI& topology, const MiCellFilterI* filter)
      : m_topology(&topology), m_filter(filter), m_active(topology.getView().active),
        m_hasDead(topology.hasDeadCells())
  {}
  bool isNeeded() const { return m_filter || m_hasDead; }
  bool keep(std::size_t cell) const override
  {
    if (m_hasDead &&
        (m_active ? cell >= m_active.size() || m_active[cell] == 0 : m_topology->isDead(cell)))
      return false;
    std::uint8_t accepted = 1;
    if (m_filter) m_filter->acceptCells(cell, cell + 1, &accepted);
    return accepted != 0;
  }

private:
  const MiTopologyI* m_topology;
  const MiCellFilterI* m_filter;
  MxIndexArray m_active;
  bool m_hasDead;
};

/// Values by node are values by data node.
struct SameNode
{
  template <class Values>
  Values operator()(const Values& values) const
  {
    return values;
  }
};

/// The cells of a hexahedron IJK mesh, which has no array of them.
struct VirtualCorners
{
  const MiTopologyHexahedronIjk* topology;
  MxIjkNumbering cells;
  void operator()(std::size_t cell, std::uint32_t* nodes) const
  {
    const MbIndex3 at = cells.split(cell);
    std::size_t own[8];
    topology->getCellNodes(at.x, at.y, at.z, own);
    for (int c = 0; c < 8; ++c)
      nodes[c] = static_cast<std::uint32_t>(own[c]);
  }
};

/// What differs between the kinds with nodes of one index.
template <class Mesh>
struct Kind;

template <>
struct Kind<MiVolumeMeshUnstructured>
{
  using KeepCells = Keep;

  static MbIndex3 cellCounts(const MiVolumeMeshUnstructured& mesh)
  {
    return {mesh.getTopology().getCellCount(), 1, 1};
  }
  template <class Points>
  static bool isLeftHanded(const MiVolumeMeshUnstructured&, const MxMeshCheck&, const Points&)
  {
    return false;
  }
  template <class Visitor>
  static void visitCells(const MiVolumeMeshUnstructured& mesh, const Visitor& visit)
  {
    visitVolumeCells(mesh.getTopology(), mesh.getGeometry().getNodeCount(), visit);
  }
};

template <>
struct Kind<MiVolumeMeshHexahedronIjk>
{
  using KeepCells = MxIjkCutKeep;

  static MbIndex3 cellCounts(const MiVolumeMeshHexahedronIjk& mesh)
  {
    return mesh.getTopology().getCellCounts();
  }
  template <class Points>
  static bool isLeftHanded(const MiVolumeMeshHexahedronIjk& mesh, const MxMeshCheck& check,
                           const Points& points)
  {
    const MxIjkNumbering cells{cellCounts(mesh)};
    return ::isLeftHanded(cells.total(), check.unusable, VirtualCorners{&mesh.getTopology(), cells},
                          points);
  }
  template <class Visitor>
  static void visitCells(const MiVolumeMeshHexahedronIjk& mesh, const Visitor& visit)
  {
    const MiTopologyHexahedronIjk& topology = mesh.getTopology();
    const MxIjkNumbering cells{topology.getCellCounts()};
    MiTopologyView view;
    view.connectivity = topology.getConnectivityView();
    view.uniformShape = MiCellShape::Hexahedron;
    const bool isWhole = view.connectivity.count >= 8 * cells.total();
    if (isWhole && (view.connectivity.isContiguous<std::int32_t>() ||
                    view.connectivity.isContiguous<std::uint32_t>()))
      visit(MxArrayCells<const std::uint32_t*>(view, view.connectivity.as<std::uint32_t>(),
                                               cells.total()));
    else if (isWhole && (view.connectivity.isContiguous<std::int64_t>() ||
                         view.connectivity.isContiguous<std::uint64_t>()))
      visit(MxArrayCells<const std::uint64_t*>(view, view.connectivity.as<std::uint64_t>(),
                                               cells.total()));
    else
      visit(MxHexahedronCells(cells.total(), VirtualCorners{&topology, cells}));
  }
};

/// Where more than one cell in this many may be cut, the levels of all nodes are made.
constexpr std::size_t kFewCells = 8;

template <class Mesh>
MxCutRunsKey orderKey(const Mesh& mesh)
{
  const auto& topology = mesh.getTopology();
  const MiGeometryI& geometry = mesh.getGeometry();
  MxCutRunsKey key;
  key.topology = &topology;
  key.topologyStamp = topology.getTimeStamp();
  key.geometry = &geometry;
  key.geometryStamp = geometry.getTimeStamp();
  key.nodeCount = geometry.getNodeCount();
  key.cellCount = MxIjkNumbering{Kind<Mesh>::cellCounts(mesh)}.total();
  key.data = geometry.getView().data;
  return key;
}

template <class Mesh>
MxCutRunsKey runsKey(const Mesh& mesh, const MxCutShape& shape)
{
  MxCutRunsKey key = orderKey(mesh);
  const auto* iso = std::get_if<MxIsovalue>(&shape);
  if (!iso) return key;
  key.values = iso->set;
  key.valuesStamp = iso->set->getTimeStamp();
  if (const auto* flat = dynamic_cast<const MiDataSetI<double>*>(iso->set))
    key.data = flat->getView().data;
  return key;
}

/// The runs for a shape, from the second time on that the same is cut; null before.
template <class Mesh, class Cells, class Points>
std::shared_ptr<const MxCutRuns>
findRuns(const Mesh& mesh, const Cells& cells, const Points& points, const MxCutShape& shape,
         const MxCutJob& job, MxExtractionMonitor& monitor, MxCutHistory& history)
{
  const MxCutRunsKey key = runsKey(mesh, shape);
  const bool again = history.key == key;
  if (!again) history.runs = nullptr;
  history.key = key;
  if (!history.runs) history.runs = recallRuns(key);
  const auto usable = [&] {
    return history.runs && history.runs->isUsable ? history.runs : nullptr;
  };
  if (history.runs || !again) return usable();

  monitor.beginPhase("Preparing for dragging", 1);
  const MxPlaceReader<Points> places(points);
  const MxCutRunsKey meshKey = orderKey(mesh);
  std::shared_ptr<const MxCellOrder> order = recallOrder(meshKey);
  if (!order) {
    order = makeOrder(cells, job.unusable, places, job.parallel);
    rememberOrder(meshKey, order);
  }
  const auto keep = [&](const MxCutReader& reader, std::size_t componentCount) {
    history.runs =
        makeRuns(cells, job.unusable, order, reader, componentCount, job.parallel, monitor);
    rememberRuns(key, history.runs);
  };
  if (const auto* iso = std::get_if<MxIsovalue>(&shape))
    visitNodeValues(*iso->set, {job.nodeCount, 1, 1}, false,
                    [&](const auto& values) { keep(MxValueReader(values), 1); });
  else
    keep(places, 3);
  return usable();
}

} // namespace

template <class Mesh, class Filter>
std::shared_ptr<const MxMeshCheck>
cutMesh(const Mesh& mesh, const Filter* filter, const MxCutShape& shape,
        [[maybe_unused]] const MiTessellator* tessellator, bool parallel,
        MxExtractionMonitor& monitor, MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface)
{
  if constexpr (std::is_same_v<Mesh, MiVolumeMeshUnstructured>)
    if (tessellator && isCutShapeUsable(shape) && hasQuadraticCells(mesh.getTopology()))
      return cutTessellated(mesh, filter, shape, *tessellator, parallel, monitor, surface);
  const MiGeometryI& geometry = mesh.getGeometry();
  clearCut(surface);
  surface.provenance.sourceCells = Kind<Mesh>::cellCounts(mesh);
  surface.provenance.sourceNodes = {geometry.getNodeCount(), 1, 1};
  if (!isCutShapeUsable(shape) || MxIjkNumbering{surface.provenance.sourceCells}.total() == 0)
    return checkMesh(mesh, parallel, monitor);

  // A mesh of which nothing is known yet is looked at while it is cut, in passes that read the same
  // arrays anyway. Levels made of places are finite only where these are.
  const bool isField = std::holds_alternative<MxIsovalue>(shape);
  std::shared_ptr<const MxMeshCheck> check =
      isField ? checkNodes(mesh, parallel, monitor) : recallCheck(mesh);
  MxCutHistory& history = memory.part<MxCutHistory>();
  const typename Kind<Mesh>::KeepCells keep(mesh.getTopology(), filter);
  bool done = false;
  const auto cutAs = [&](const MxMeshCheck& known) {
    MxCutJob job;
    job.nodeCount = geometry.getNodeCount();
    job.unusable = known.isClean() ? nullptr : &known.unusable;
    job.keep = keep.isNeeded() ? &keep : nullptr;
    job.sweepNodes = !check && !isField;
    job.sweep = !check;
    job.parallel = parallel;
    MxCutScratch& scratch = memory.part<MxCutScratch>();
    visitCutPoints(geometry, [&](const auto& points) {
      job.placeOf = [&](std::uint32_t node) { return points[node]; };
      job.isLeftHanded = [&] { return Kind<Mesh>::isLeftHanded(mesh, known, points); };
      const bool fits = visitCutSource(
          shape, points, surface.provenance.sourceNodes, false, SameNode{},
          [&](const auto& source) {
            job.source = &source;
            Kind<Mesh>::visitCells(mesh, [&](const auto& cells) {
              const auto runs =
                  check ? findRuns(mesh, cells, points, shape, job, monitor, history) : nullptr;
              if (runs) {
                monitor.beginPhase("Finding cells near the surface", 1);
                const std::size_t active = findActiveCells(*runs, shape, parallel, scratch.active);
                if (active <= cells.cellCount() / kFewCells) {
                  monitor.beginPhase("Finding cut cells",
                                     blockCount(active, velmo_detail::kCutBlock));
                  collectActiveCells(cells, job, scratch.active, scratch, monitor);
                  cutCollected(job, scratch, monitor, surface);
                  done = true;
                  return;
                }
              }
              done = cutCells(cells, job, scratch, monitor, surface);
            });
            if (done) placeCut(points, parallel, surface);
          });
      if (!fits && check) done = true;
    });
    if (!done || !isField || !scratch.hasNodesOn()) return;
    leaveSingleSheets(surface, parallel, [&](std::span<MxSheetEdge> edges) {
      Kind<Mesh>::visitCells(mesh,
                             [&](const auto& cells) { markBoundaryEdges(cells, job, edges); });
    });
  };
  if (!check) {
    cutAs({});
    if (done) check = rememberClean(mesh);
  }
  if (!check) check = checkMesh(mesh, parallel, monitor);
  if (!done)
    cutAs(*check);
  else if (history.check != check)
    history.key = runsKey(mesh, shape);
  history.check = check;
  return check;
}

#define MX_CUT_KIND(Mesh, Filter)                                                                  \
  template std::shared_ptr<const MxMeshCheck> cutMesh(                                             \
      const Mesh&, const Filter*, const MxCutShape&, const MiTessellator*, bool,                   \
      MxExtractionMonitor&, MxCutMemory&, MeXSurfaceMeshUnstructured&);
MX_CUT_KIND(MiVolumeMeshUnstructured, MiCellFilterI)
MX_CUT_KIND(MiVolumeMeshHexahedronIjk, MiCellFilterIjk)
