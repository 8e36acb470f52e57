#include <velmo/extraction/extractors/MiIsolineExtract.h>

#include <velmo/extraction/algorithms/lines/MxIsolines.h>
#include <velmo/extraction/extractors/MxFlatMesh.h>
#include <velmo/extraction/extractors/MxMultiLineExtractor.h>

#include <cmath>
#include <map>
#include <optional>
#include <set>

namespace {

template <class Interface, MeshType K>
class IsolineExtractor final : public MxMultiLineExtractor<Interface, K>
{
  using Base = MxMultiLineExtractor<Interface, K>;
  using Flat = MxFlatMesh<K>;

public:
  using Base::Base;
  using typename Base::Filter, typename Base::Kind;

  bool extractIsolines(std::span<const double> values, const MiTypedDataSet<double>& set,
                       const Filter* filter) override
  {
    this->state().forgetReadWarnings();
    this->showNothing();
    const Key key{MxInputs::of(this->mesh(), filter), set.getTimeStamp(), &set};
    if (m_key != key) {
      m_key.reset();
      m_lines.clear();
      m_none = lines(newMesh());
    }
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
      this->show(value, linesOf(value));
    return true;
  }

private:
  /// All that the lines of a value depend on.
  struct Key
  {
    MxInputs inputs;
    std::uint64_t setStamp;
    const void* set;
    friend bool operator==(const Key&, const Key&) = default;
  };
  using Lines = std::shared_ptr<MxMappedLines>;

  /// The numbers of a set that has one for each node; also a flat one, where nodes are numbered
  /// otherwise.
  std::optional<MxNodeValues> numbersOf(const MiTypedDataSet<double>& set) const
  {
    if (set.getBinding() != MiDataBinding::PerNode) return {};
    const MbIndex3 counts = Flat::nodeCounts(this->mesh());
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
    const bool parallel = this->state().isParallel();
    MxExtractionMonitor monitor = this->state().monitor(4);
    monitor.beginPhase("Checking the mesh", 1);
    const std::shared_ptr<const MxMeshCheck> check = checkMesh(this->mesh(), parallel, monitor);
    this->state().warnOf(check);
    const MxCellChoice choice = Flat::choose(this->mesh(), *check, filter, parallel, monitor);
    for (std::size_t first = 0; first < missing.values.size(); first += MxIsoLevels::kMost) {
      const std::size_t count = std::min(missing.values.size() - first, MxIsoLevels::kMost);
      const std::span<const double> some = std::span(missing.values).subspan(first, count);
      extractLevels({{some.begin(), some.end()}}, numbers, choice, monitor);
    }
  }

  void extractLevels(const MxIsoLevels& levels, const MxNodeValues& numbers,
                     const MxCellChoice& choice, MxExtractionMonitor& monitor)
  {
    const bool parallel = this->state().isParallel();
    monitor.beginPhase("Sorting nodes", blockCount(numbers.size(), 16384));
    codeNodes(numbers, levels, parallel, monitor, m_codes);
    monitor.beginPhase("Cutting cells", blockCount(choice.last, 16384));
    const MxIsoSegments segments = [&] {
      if constexpr (Flat::kIsGrid)
        return cutGrid(flatGridOf(this->mesh().getTopology()), choice, numbers, levels, m_codes,
                       parallel, monitor);
      else
        return cutCells(this->mesh().getTopology(), choice, numbers, levels, m_codes, parallel,
                        monitor);
    }();
    monitor.beginPhase("Joining lines", levels.values.size());
    std::vector<std::shared_ptr<MeXLineMeshUnstructured>> meshes(levels.values.size());
    // A single line is small against the cells that were looked at; several are joined at a time.
    Flat::visitNodes(this->mesh(), [&](const auto& points) {
      forEachTask(parallel && segments.all.size() >= kParallelThreshold, meshes.size(),
                  [&](std::size_t l) {
                    monitor.step();
                    meshes[l] = newMesh();
                    finishLine(segments.of(l), levels.values[l], numbers, points, *meshes[l]);
                  });
    });
    for (std::size_t l = 0; l < meshes.size(); ++l)
      m_lines.emplace(levels.values[l], lines(std::move(meshes[l])));
  }

  template <class Points>
  void finishLine(std::span<const MxIsoSegment> segments, double level, const MxNodeValues& numbers,
                  const Points& points, MeXLineMeshUnstructured& lines) const
  {
    joinSegments(segments, level, numbers, lines);
    const MeXProvenance& provenance = lines.provenance;
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

  /// Lines of no value, which map every set that fits the mesh onto nothing.
  std::shared_ptr<MeXLineMeshUnstructured> newMesh() const
  {
    auto mesh = std::make_shared<MeXLineMeshUnstructured>();
    clearExtracted(*mesh, 2);
    mesh->provenance.sourceCells = Flat::cellCounts(this->mesh());
    mesh->provenance.sourceNodes = Flat::nodeCounts(this->mesh());
    return mesh;
  }
  static Lines lines(std::shared_ptr<const MeXLineMeshUnstructured> mesh)
  {
    return std::make_shared<MxMappedLines>(MxMappedLines{std::move(mesh), {}});
  }
  const Lines& linesOf(double value) const
  {
    const auto found = std::isfinite(value) ? m_lines.find(value) : m_lines.end();
    return found != m_lines.end() ? found->second : m_none;
  }

  std::optional<Key> m_key;
  std::map<double, Lines> m_lines;
  Lines m_none; ///< of values that are not finite
  MxArray<std::uint16_t> m_codes;
};

} // namespace

template <>
inline constexpr MxExtractorRow<IsolineExtractor> kExtractorRow<MiIsolineExtractUnstructured>{
    "MiIsolineExtractUnstructured"};
template <>
inline constexpr MxExtractorRow<IsolineExtractor> kExtractorRow<MiIsolineExtractIj>{
    "MiIsolineExtractIj"};

template struct MiExtractorMaker<MiIsolineExtractUnstructured, MiSurfaceMeshUnstructured>;
template struct MiExtractorMaker<MiIsolineExtractIj, MiSurfaceMeshRegular>;
template struct MiExtractorMaker<MiIsolineExtractIj, MiSurfaceMeshRectilinear>;
template struct MiExtractorMaker<MiIsolineExtractIj, MiSurfaceMeshCurvilinear>;
