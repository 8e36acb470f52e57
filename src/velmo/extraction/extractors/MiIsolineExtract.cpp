#include <velmo/extraction/extractors/MiIsolineExtract.h>

#include <velmo/extraction/algorithms/MxIsolines.h>
#include <velmo/extraction/extractors/MxFlatMesh.h>
#include <velmo/extraction/extractors/MxSurfaceExtractor.h>

#include <cmath>
#include <map>
#include <set>

namespace {

/// The lines of one value, and the sets mapped onto them.
struct Line
{
  std::shared_ptr<MeXLineMeshUnstructured> mesh = std::make_shared<MeXLineMeshUnstructured>();
  MxMappedSets<double> scalars;
  MxMappedSets<MbVec3d> vectors;
  MxMappedSets<std::string> strings;
};

void clearLines(MeXLineMeshUnstructured& lines)
{
  lines.topology.setUniform(0, 2);
  lines.topology.touch();
  lines.provenance = {};
  lines.geometry.origin = {};
  lines.geometry.points().clear();
  lines.geometry.touch(false);
}

template <class Interface, MeshType K>
class IsolineExtractor final : public Interface
{
  using Flat = MxFlatMesh<K>;
  using Kind = MxMeshKind<K>;

public:
  using Mesh = typename Flat::Mesh;
  using Filter = typename Flat::Filter;

  IsolineExtractor(const Mesh& mesh, bool parallel, const char* name)
      : m_mesh(mesh), m_parallel(parallel), m_name(name)
  {}

  void setCallback(MiExtractorCallback* callback) override { m_callback = callback; }
  const std::vector<std::string>& getWarnings() const override
  {
    m_warningsRead = true;
    return m_warnings;
  }
  const MeXLineMeshes& getLines() const override { return m_result; }

  bool extractIsolines(std::span<const double> values, const MiTypedDataSet<double>& set,
                       const Filter* filter) override
  {
    if (m_warningsRead) m_warnings.clear();
    m_warningsRead = false;
    const Key key = makeKey(set, filter);
    if (m_key != key) {
      m_key.reset();
      m_lines.clear();
    }
    m_result.clear();
    std::optional<MxNodeValues> numbers = numbersOf(set);
    if (!numbers) return false;

    std::set<double> wanted;
    for (const double value : values)
      if (std::isfinite(value)) wanted.insert(value);
    std::erase_if(m_lines, [&](const auto& entry) { return !wanted.contains(entry.first); });
    MxIsoLevels missing;
    for (const double value : wanted)
      if (!m_lines.contains(value)) missing.values.push_back(value);
    if (!missing.values.empty()) extractMissing(missing, *numbers, filter);
    m_key = key;

    for (const double value : values)
      m_result.add(value, lineOf(value).mesh);
    return true;
  }

  const MeXDataSetI<double>* extractScalarSet(std::size_t index,
                                              const MiTypedDataSet<double>& set) override
  {
    return map(index, &Line::scalars, set);
  }
  const MeXDataSetI<MbVec3d>* extractVec3Set(std::size_t index,
                                             const MiTypedDataSet<MbVec3d>& set) override
  {
    return map(index, &Line::vectors, set);
  }
  const MeXDataSetI<std::string>* extractStringSet(std::size_t index,
                                                   const MiTypedDataSet<std::string>& set) override
  {
    return map(index, &Line::strings, set);
  }

private:
  /// All that the lines of a value depend on.
  struct Key
  {
    std::uint64_t topology, geometry, filterStamp, setStamp;
    const void* filter;
    const void* set;
    friend bool operator==(const Key&, const Key&) = default;
  };
  Key makeKey(const MiTypedDataSet<double>& set, const Filter* filter) const
  {
    return {m_mesh.getTopology().getTimeStamp(),
            m_mesh.getGeometry().getTimeStamp(),
            filter ? filter->getTimeStamp() : MxTimeStamp::kNone,
            set.getTimeStamp(),
            filter,
            &set};
  }

  /// The numbers of a set that has one for each node; also a flat one, where nodes are numbered
  /// otherwise.
  std::optional<MxNodeValues> numbersOf(const MiTypedDataSet<double>& set) const
  {
    if (set.getBinding() != MiDataBinding::PerNode) return {};
    const MbIndex3 counts = Flat::nodeCounts(m_mesh);
    if constexpr (Kind::kNodeIndexing == MxIndexing::Ij)
      if (const auto* grid = dynamic_cast<const MiDataSetIj<double>*>(&set)) {
        if (grid->getSizeI() != counts.x || grid->getSizeJ() != counts.y) return {};
        return MxNodeValues(*grid);
      }
    const auto* flat = dynamic_cast<const MiDataSetI<double>*>(&set);
    if (!flat || flat->getSize() != counts.x * counts.y * counts.z) return {};
    return MxNodeValues(*flat);
  }

  void extractMissing(const MxIsoLevels& missing, const MxNodeValues& numbers, const Filter* filter)
  {
    MxExtractionMonitor monitor(m_callback, m_name, 4);
    monitor.beginPhase("Checking the mesh", 1);
    const std::shared_ptr<const MxMeshCheck> check = checkMesh(m_mesh, m_parallel, monitor);
    if (check != m_check) {
      m_warnings = check->describe();
      m_check = check;
    }
    const MxCellChoice choice = Flat::choose(m_mesh, *check, filter, m_parallel, monitor);
    for (std::size_t first = 0; first < missing.values.size(); first += MxIsoLevels::kMost) {
      const std::size_t count = std::min(missing.values.size() - first, MxIsoLevels::kMost);
      const std::span<const double> some = std::span(missing.values).subspan(first, count);
      extractLevels({{some.begin(), some.end()}}, numbers, choice, monitor);
    }
  }

  void extractLevels(const MxIsoLevels& levels, const MxNodeValues& numbers,
                     const MxCellChoice& choice, MxExtractionMonitor& monitor)
  {
    monitor.beginPhase("Sorting nodes", blockCount(numbers.size(), 16384));
    codeNodes(numbers, levels, m_parallel, monitor, m_codes);
    monitor.beginPhase("Cutting cells", blockCount(choice.last, 16384));
    const MxIsoSegments segments = [&] {
      if constexpr (Flat::kIsGrid)
        return cutGrid(flatGridOf(m_mesh.getTopology()), choice, numbers, levels, m_codes,
                       m_parallel, monitor);
      else
        return cutCells(m_mesh.getTopology(), choice, numbers, levels, m_codes, m_parallel,
                        monitor);
    }();
    monitor.beginPhase("Joining lines", levels.values.size());
    std::vector<Line> lines(levels.values.size());
    // A single line is small against the cells that were looked at; several are joined at a time.
    Flat::visitNodes(m_mesh, [&](const auto& points) {
      forEachTask(m_parallel && segments.all.size() >= kParallelThreshold, lines.size(),
                  [&](std::size_t l) {
                    monitor.step();
                    finishLine(segments.of(l), levels.values[l], numbers, points, *lines[l].mesh);
                  });
    });
    for (std::size_t l = 0; l < lines.size(); ++l)
      m_lines.emplace(levels.values[l], std::move(lines[l]));
  }

  template <class Points>
  void finishLine(std::span<const MxIsoSegment> segments, double level, const MxNodeValues& numbers,
                  const Points& points, MeXLineMeshUnstructured& lines) const
  {
    joinSegments(segments, level, numbers, lines);
    MeXProvenance& provenance = lines.provenance;
    provenance.sourceCells = Flat::cellCounts(m_mesh);
    provenance.sourceNodes = Flat::nodeCounts(m_mesh);
    placePoints(
        provenance.weights.size(),
        [&](std::size_t n) {
          const double weight = provenance.weights[n];
          const MbVec3d low = points[provenance.nodes[2 * n]];
          return weight == 0 ? low
                             : low * (1 - weight) + points[provenance.nodes[2 * n + 1]] * weight;
        },
        false, lines.geometry);
    lines.topology.touch();
  }

  Line& lineOf(double value)
  {
    if (!std::isfinite(value)) return m_none;
    const auto found = m_lines.find(value);
    return found != m_lines.end() ? found->second : m_none;
  }

  template <class T>
  const MeXDataSetI<T>* map(std::size_t index, MxMappedSets<T> Line::*sets,
                            const MiTypedDataSet<T>& set)
  {
    if (!m_key || index >= m_result.size()) return nullptr;
    Line& line = lineOf(m_result.getValue(index));
    // Lines of no value map every set that fits the mesh, onto nothing.
    line.mesh->provenance.sourceCells = Flat::cellCounts(m_mesh);
    line.mesh->provenance.sourceNodes = Flat::nodeCounts(m_mesh);
    return (line.*sets)
        .map(set, line.mesh->provenance, Kind::kIndexing, Kind::kNodeIndexing, m_parallel);
  }

  static Line makeNone()
  {
    Line none;
    clearLines(*none.mesh);
    return none;
  }

  const Mesh& m_mesh;
  const bool m_parallel;
  const char* const m_name;
  MiExtractorCallback* m_callback = nullptr;
  std::shared_ptr<const MxMeshCheck> m_check;
  std::vector<std::string> m_warnings;
  mutable bool m_warningsRead = false;

  std::optional<Key> m_key;
  std::map<double, Line> m_lines;
  Line m_none = makeNone(); ///< of values that are not finite
  MeXLineMeshes m_result;
  MxArray<std::uint16_t> m_codes;
};

} // namespace

std::unique_ptr<MiIsolineExtractUnstructured>
MiIsolineExtractUnstructured::getNewInstance(const MiSurfaceMeshUnstructured& mesh, bool parallel)
{
  return std::make_unique<
      IsolineExtractor<MiIsolineExtractUnstructured, SURFACE_MESH_UNSTRUCTURED>>(
      mesh, parallel, "MiIsolineExtractUnstructured");
}

std::unique_ptr<MiIsolineExtractIj>
MiIsolineExtractIj::getNewInstance(const MiSurfaceMeshRegular& mesh, bool parallel)
{
  return std::make_unique<IsolineExtractor<MiIsolineExtractIj, SURFACE_MESH_REGULAR>>(
      mesh, parallel, "MiIsolineExtractIj");
}

std::unique_ptr<MiIsolineExtractIj>
MiIsolineExtractIj::getNewInstance(const MiSurfaceMeshRectilinear& mesh, bool parallel)
{
  return std::make_unique<IsolineExtractor<MiIsolineExtractIj, SURFACE_MESH_RECTILINEAR>>(
      mesh, parallel, "MiIsolineExtractIj");
}

std::unique_ptr<MiIsolineExtractIj>
MiIsolineExtractIj::getNewInstance(const MiSurfaceMeshCurvilinear& mesh, bool parallel)
{
  return std::make_unique<IsolineExtractor<MiIsolineExtractIj, SURFACE_MESH_CURVILINEAR>>(
      mesh, parallel, "MiIsolineExtractIj");
}
