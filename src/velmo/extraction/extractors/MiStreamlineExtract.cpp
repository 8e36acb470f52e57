#include <velmo/extraction/extractors/MiStreamlineExtract.h>

#include <velmo/extraction/algorithms/MxMeshCheck.h>
#include <velmo/extraction/algorithms/MxStreamlines.h>
#include <velmo/extraction/extractors/MxSurfaceExtractor.h>

namespace {

/// A line and the sets mapped onto it.
struct Line
{
  // Shared with the result, as other extractors share theirs.
  std::shared_ptr<MxStreamline> line = std::make_shared<MxStreamline>();
  MxMappedSets<double> scalars;
  MxMappedSets<MbVec3d> vectors;
  MxMappedSets<std::string> strings;
};

template <MeshType K, class Interface>
class StreamlineExtractor final : public Interface
{
  using Kind = MxMeshKind<K>;
  using Mesh = typename Kind::Interface;
  using Filter = typename Kind::CellFilter;
  static constexpr MxIndexing kCells = Kind::kIndexing, kNodes = Kind::kNodeIndexing;

public:
  StreamlineExtractor(const Mesh& mesh, bool parallel, const char* name)
      : m_mesh(mesh), m_parallel(parallel), m_name(name)
  {}

  void setCallback(MiExtractorCallback* callback) override { m_callback = callback; }
  const std::vector<std::string>& getWarnings() const override
  {
    m_warningsRead = true;
    return m_warnings;
  }
  const MeXLineMeshes& getLines() const override { return m_result; }

  void setMaxLifeTime(double time) override { m_limits.maxLifeTime = time; }
  void setMaxLength(double length) override { m_limits.maxLength = length; }
  void setMinSpeed(double speed) override { m_limits.minSpeed = speed; }
  void setMaxStepNumber(std::size_t count) override { m_limits.maxStepNumber = count; }
  void setIntegrationStepLengthFactor(double factor) override
  {
    m_limits.stepLengthFactor = factor;
  }
  void setDirection(MiStreamlineDirection direction) override
  {
    m_limits.isBackward = direction == MiStreamlineDirection::Backward;
  }

  bool extractStreamlines(std::span<const MbVec3d> seeds, const MiTypedDataSet<MbVec3d>& vectors,
                          const Filter* filter) override
  {
    if (m_warningsRead) m_warnings.clear();
    m_warningsRead = false;
    const Key key{m_mesh.getTopology().getTimeStamp(),
                  m_mesh.getGeometry().getTimeStamp(),
                  &vectors,
                  vectors.getTimeStamp(),
                  filter,
                  filter ? filter->getTimeStamp() : MxTimeStamp::kNone,
                  m_limits,
                  {seeds.begin(), seeds.end()}};
    if (m_key == key) return true;
    m_key.reset();
    m_result.clear();
    try {
      if (!trace(seeds, vectors, filter)) {
        m_lines.clear();
        return false;
      }
    } catch (...) {
      m_lines.clear();
      throw;
    }
    for (std::size_t l = 0; l < m_lines.size(); ++l)
      m_result.add(static_cast<double>(l), {m_lines[l].line, &m_lines[l].line->mesh});
    m_key = key;
    return true;
  }

  MiStreamlineEnd getEnd(std::size_t index) const override { return line(index).end; }
  std::span<const MbVec3d> getPoints(std::size_t index) const override
  {
    return line(index).points;
  }
  const MeXDataSetI<double>& getTimes(std::size_t index) const override
  {
    return line(index).times;
  }
  const MeXDataSetI<double>& getSpeeds(std::size_t index) const override
  {
    return line(index).speeds;
  }
  const MeXDataSetI<MbVec3d>& getTangents(std::size_t index) const override
  {
    return line(index).tangents;
  }

  const MeXDataSetI<double>* extractScalarSet(std::size_t index,
                                              const MiTypedDataSet<double>& set) override
  {
    return map(&Line::scalars, index, set);
  }
  const MeXDataSetI<MbVec3d>* extractVec3Set(std::size_t index,
                                             const MiTypedDataSet<MbVec3d>& set) override
  {
    return map(&Line::vectors, index, set);
  }
  const MeXDataSetI<std::string>* extractStringSet(std::size_t index,
                                                   const MiTypedDataSet<std::string>& set) override
  {
    return map(&Line::strings, index, set);
  }

private:
  /// All that an extraction depends on.
  struct Key
  {
    std::uint64_t topology, geometry;
    const void* vectors;
    std::uint64_t vectorStamp;
    const void* filter;
    std::uint64_t filterStamp;
    MxStreamlineLimits limits;
    std::vector<MbVec3d> seeds;
    friend bool operator==(const Key&, const Key&) = default;
  };

  const MxStreamline& line(std::size_t index) const { return *m_lines[index].line; }

  /// False when the set does not fit the mesh.
  bool trace(std::span<const MbVec3d> seeds, const MiTypedDataSet<MbVec3d>& vectors,
             const Filter* filter)
  {
    MxExtractionMonitor monitor(m_callback, m_name, 2);
    monitor.beginPhase("Checking the mesh", 1);
    const std::shared_ptr<const MxMeshCheck> check = checkMesh(m_mesh, m_parallel, monitor);
    if (check != m_check) m_warnings = check->describe();
    m_check = check;
    monitor.beginPhase("Following lines", seeds.size() + 1);
    m_locator = MxCellLocator::get<K>(m_mesh, m_parallel);
    monitor.step();
    const MxFieldValues<MbVec3d> field(vectors, kCells, kNodes, m_locator->cellCounts(),
                                       m_locator->nodeCounts());
    if (!field.fits()) return false;
    MxCellsLeft left;
    if constexpr (kCells == MxIndexing::I)
      left = MxCellsLeft(filter);
    else
      left = MxCellsLeft(filter, m_locator->cellCounts());
    m_lines.clear();
    m_lines.resize(seeds.size());
    forEachTask(m_parallel, seeds.size(), [&](std::size_t l) {
      traceStreamline(*m_locator, left, field, m_limits, seeds[l], *m_lines[l].line);
      monitor.step();
    });
    return true;
  }

  template <class T>
  const MeXDataSetI<T>* map(MxMappedSets<T> Line::*sets, std::size_t index,
                            const MiTypedDataSet<T>& set)
  {
    if (index >= m_lines.size()) return nullptr;
    return (m_lines[index].*sets)
        .map(set, m_lines[index].line->mesh.provenance, kCells, kNodes, m_parallel);
  }

  const Mesh& m_mesh;
  const bool m_parallel;
  const char* m_name;
  MiExtractorCallback* m_callback = nullptr;
  MxStreamlineLimits m_limits;
  std::shared_ptr<const MxMeshCheck> m_check;
  std::shared_ptr<const MxCellLocator> m_locator;
  std::vector<std::string> m_warnings;
  mutable bool m_warningsRead = false;
  std::optional<Key> m_key;
  std::vector<Line> m_lines;
  MeXLineMeshes m_result;
};

} // namespace

std::unique_ptr<MiStreamlineExtractUnstructured>
MiStreamlineExtractUnstructured::getNewInstance(const MiVolumeMeshUnstructured& mesh, bool parallel)
{
  return std::make_unique<
      StreamlineExtractor<VOLUME_MESH_UNSTRUCTURED, MiStreamlineExtractUnstructured>>(
      mesh, parallel, "MiStreamlineExtractUnstructured");
}

std::unique_ptr<MiStreamlineExtractHexahedronIjk>
MiStreamlineExtractHexahedronIjk::getNewInstance(const MiVolumeMeshHexahedronIjk& mesh,
                                                 bool parallel)
{
  return std::make_unique<
      StreamlineExtractor<VOLUME_MESH_HEXAHEDRON_IJK, MiStreamlineExtractHexahedronIjk>>(
      mesh, parallel, "MiStreamlineExtractHexahedronIjk");
}

std::unique_ptr<MiStreamlineExtractIjk>
MiStreamlineExtractIjk::getNewInstance(const MiVolumeMeshRegular& mesh, bool parallel)
{
  return std::make_unique<StreamlineExtractor<VOLUME_MESH_REGULAR, MiStreamlineExtractIjk>>(
      mesh, parallel, "MiStreamlineExtractIjk");
}

std::unique_ptr<MiStreamlineExtractIjk>
MiStreamlineExtractIjk::getNewInstance(const MiVolumeMeshRectilinear& mesh, bool parallel)
{
  return std::make_unique<StreamlineExtractor<VOLUME_MESH_RECTILINEAR, MiStreamlineExtractIjk>>(
      mesh, parallel, "MiStreamlineExtractIjk");
}

std::unique_ptr<MiStreamlineExtractIjk>
MiStreamlineExtractIjk::getNewInstance(const MiVolumeMeshCurvilinear& mesh, bool parallel)
{
  return std::make_unique<StreamlineExtractor<VOLUME_MESH_CURVILINEAR, MiStreamlineExtractIjk>>(
      mesh, parallel, "MiStreamlineExtractIjk");
}
