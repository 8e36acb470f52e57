#include <velmo/extraction/algorithms/cut/MxCut.h>

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
  static bool isLeftHanded(const MiVolumeMeshUnstructured&, const MxMeshCheck&, const MxCutPlaces&)
  {
    return false;
  }
  static std::unique_ptr<MxCutCells> makeCells(const MiVolumeMeshUnstructured& mesh)
  {
    return makeCutCells(mesh.getTopology(), mesh.getGeometry().getNodeCount());
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
  static bool isLeftHanded(const MiVolumeMeshHexahedronIjk& mesh, const MxMeshCheck& check,
                           const MxCutPlaces& places)
  {
    const MxIjkNumbering cells{cellCounts(mesh)};
    return ::isLeftHanded(cells.total(), check.unusable, VirtualCorners{&mesh.getTopology(), cells},
                          places);
  }
  static std::unique_ptr<MxCutCells> makeCells(const MiVolumeMeshHexahedronIjk& mesh)
  {
    const MiTopologyHexahedronIjk& topology = mesh.getTopology();
    const MxIjkNumbering cells{topology.getCellCounts()};
    auto made = makeCutHexahedra(topology.getConnectivityView(), cells.total());
    return made ? std::move(made)
                : makeCutHexahedra(VirtualCorners{&topology, cells}, cells.total());
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

/// The runs for a cut, from the second time on that the same is cut; null before.
/// @param meshKey  names the mesh, `key` what of it is cut
std::shared_ptr<const MxCutRuns> findRuns(const MxCutRunsKey& meshKey, const MxCutRunsKey& key,
                                          const MxCutCells& cells, const MxCutPlaces& places,
                                          const MxCutJob& job, MxExtractionMonitor& monitor,
                                          MxCutHistory& history)
{
  const bool again = history.key == key;
  if (!again) history.runs = nullptr;
  history.key = key;
  if (!history.runs) history.runs = recallRuns(key);
  if (!history.runs && again) {
    monitor.beginPhase("Preparing for dragging", 1);
    std::shared_ptr<const MxCellOrder> order = recallOrder(meshKey);
    if (!order) {
      order = makeOrder(cells, job.unusable, places, job.parallel);
      rememberOrder(meshKey, order);
    }
    history.runs = makeRuns(cells, job.unusable, order, *job.source, job.parallel, monitor);
    rememberRuns(key, history.runs);
  }
  return history.runs && history.runs->isUsable ? history.runs : nullptr;
}

/// Cuts the few cells that the runs leave; false, and nothing is done, where these are not few.
bool cutActiveCells(const MxCutRuns& runs, const MxCutShape& shape, const MxCutCells& cells,
                    const MxCutJob& job, MxCutScratch& scratch, MxExtractionMonitor& monitor,
                    MeXSurfaceMeshUnstructured& surface)
{
  monitor.beginPhase("Finding cells near the surface", 1);
  const std::size_t active = findActiveCells(runs, shape, job.parallel, scratch.active);
  if (active > cells.cellCount() / kFewCells) return false;
  monitor.beginPhase("Finding cut cells", blockCount(active, kCutBlock));
  collectActiveCells(cells, job, scratch.active, scratch, monitor);
  cutCollected(job, scratch, monitor, surface);
  return true;
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
    const auto places = makeCutPlaces(geometry);
    const auto source = makeCutSource(shape, *places, job.nodeCount);
    if (!source) {
      done = check != nullptr;
      return;
    }
    job.source = source.get();
    job.placeOf = [&](std::uint32_t node) { return (*places)[node]; };
    job.isLeftHanded = [&] { return Kind<Mesh>::isLeftHanded(mesh, known, *places); };
    const auto cells = Kind<Mesh>::makeCells(mesh);
    MxCutScratch& scratch = memory.part<MxCutScratch>();
    const auto runs = check ? findRuns(orderKey(mesh), runsKey(mesh, shape), *cells, *places, job,
                                       monitor, history)
                            : nullptr;
    done = (runs && cutActiveCells(*runs, shape, *cells, job, scratch, monitor, surface)) ||
           cutCells(*cells, job, scratch, monitor, surface);
    if (!done) return;
    if (isField && scratch.hasNodesOn())
      leaveSingleSheets(surface, parallel, [&](std::span<MxSheetEdge> edges) {
        markBoundaryEdges(*cells, job, edges);
      });
    places->place(parallel, surface);
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
