#pragma once

#include <velmo/extraction/algorithms/skin/MxSkinEdges.h>
#include <velmo/extraction/extractors/MxExtractorTable.h>
#include <velmo/extraction/extractors/MxResults.h>

#include <optional>

/// What an extraction of a surface is given beside the mesh and the arguments of its operation.
template <class CellFilter>
struct MxSurfaceRequest
{
  const CellFilter* filter;         ///< null for all cells
  const MiTessellator* tessellator; ///< null for none
  bool parallel;
  MxExtractionMonitor& monitor;
  std::vector<std::string>& warnings; ///< takes a sentence for what had to be left out
};

/// The base of the work that an extractor of surfaces does on one mesh kind. The derived class,
/// one object an extractor, adds
/// * `Arguments`, what its operation depends on; equal ones give the same surface,
/// * `kPhaseCount`, how many phases it tells of,
/// * `build(mesh, arguments, request, surface)`, which checks the mesh and fills the surface but
///   for the stamp of its topology. It returns the check, or null when it did not look at the mesh
///   and leaves the surface as it was: nothing is extracted then,
/// * when it may return null, `countSource(mesh, provenance)`, so that sets of the mesh are mapped
///   onto nothing.
/// What stands here serves works whose lines and points are the edges and nodes of the surface, and
/// whose polygons depend on where the nodes are.
template <MeshType K>
struct MxSurfaceWork
{
  using Kind = MxMeshKind<K>;
  using Mesh = typename Kind::Interface;
  using Filter = typename Kind::CellFilter;
  using Request = MxSurfaceRequest<Filter>;
  /// What is extracted; works that extract lines say so.
  using Result = MeXSurfaceMeshUnstructured;

  /// Lines and points of the surface that was built last.
  void buildLines(const Mesh&, const MeXSurfaceMeshUnstructured& surface, const Request& request,
                  MeXLineMeshUnstructured& lines)
  {
    request.monitor.beginPhase("Collecting edges", 1);
    writeEdges(surface, true, request.parallel, lines);
  }
  void buildPoints(const Mesh&, const MeXSurfaceMeshUnstructured& surface, const Request& request,
                   MeXPointMeshCurvilinear& points)
  {
    request.monitor.beginPhase("Collecting nodes", 1);
    writeNodes(surface, request.parallel, points);
  }
  /// Whether the polygons of the last surface, their nodes and their order would be the same if
  /// nodes had been elsewhere.
  bool dependsOnCellsAlone() const { return false; }
  /// Whether the last surface was written to a mesh that had its polygons already.
  bool hasKeptPolygons() const { return false; }
  /// Lets go of what is known of the last surface, after a failure.
  void clear() {}
};

/// What one extractor of surfaces extracted, and what from: an extraction with equal stamps and
/// arguments finds its result here.
template <class Work>
class MxSurfaceResults
{
  using Kind = typename Work::Kind;

public:
  using Mesh = typename Work::Mesh;
  using Filter = typename Work::Filter;
  using Arguments = typename Work::Arguments;
  using Result = typename Work::Result;

  /// @param name  the extractor's, as callbacks hear it; a literal
  MxSurfaceResults(const Mesh& mesh, bool parallel, const MiTessellator* tessellator,
                   const char* name)
      : m_mesh(mesh), m_tessellator(tessellator), m_state(parallel, name)
  {}

  MxExtractorState& state() { return m_state; }
  const MxExtractorState& state() const { return m_state; }
  const Result* getSurface() const { return m_hasSurface ? &m_surface.mesh() : nullptr; }
  std::shared_ptr<const void> holdAll() const
  {
    auto hold = std::make_shared<MxHold>();
    m_surface.holdAll(*hold);
    m_lines.holdAll(*hold);
    m_points.holdAll(*hold);
    return hold;
  }

  const Result& extractSurface(const Arguments& arguments, const Filter* filter)
  {
    extract(arguments, filter, m_surfaceKey,
            [&](const Key& key, const auto& request) { buildSurface(key, request); });
    m_hasSurface = true;
    return m_surface.mesh();
  }
  const MeXLineMeshUnstructured& extractLines(const Arguments& arguments, const Filter* filter)
  {
    extractSurface(arguments, filter);
    extract(arguments, filter, m_lineKey, [&](const Key&, const auto& request) {
      m_work.buildLines(m_mesh, m_surface.mesh(), request, m_lines.renew());
    });
    return m_lines.mesh();
  }
  const MeXPointMeshCurvilinear& extractPoints(const Arguments& arguments, const Filter* filter)
  {
    extractSurface(arguments, filter);
    extract(arguments, filter, m_pointsKey, [&](const Key&, const auto& request) {
      m_work.buildPoints(m_mesh, m_surface.mesh(), request, m_points.renew());
    });
    return m_points.mesh();
  }

  template <class T>
  const MeXDataSetI<T>* map(const MiTypedDataSet<T>& set)
  {
    return map(m_surface, m_surfaceKey, set);
  }
  const MeXDataSetI<double>* mapOnLines(const MiTypedDataSet<double>& set)
  {
    return map(m_lines, m_lineKey, set);
  }
  const MeXDataSetI<double>* mapOnPoints(const MiTypedDataSet<double>& set)
  {
    return map(m_points, m_pointsKey, set);
  }

private:
  /// All that an extraction depends on.
  struct Key
  {
    MxInputs inputs;
    Arguments arguments;
    friend bool operator==(const Key&, const Key&) = default;
  };

  /// Runs `build` unless its result is still what it would give. After a failure the next call
  /// tries again.
  template <class Build>
  void extract(const Arguments& arguments, const Filter* filter, std::optional<Key>& known,
               const Build& build)
  {
    m_state.forgetReadWarnings();
    Key key{MxInputs::of(m_mesh, filter, m_tessellator), arguments};
    if (known == key) return;
    known.reset();
    MxExtractionMonitor monitor = m_state.monitor(Work::kPhaseCount);
    std::vector<std::string> warnings;
    build(key,
          typename Work::Request{filter, m_tessellator, m_state.isParallel(), monitor, warnings});
    m_state.warn(std::move(warnings));
    known = std::move(key);
  }

  void buildSurface(const Key& key, const typename Work::Request& request)
  {
    const std::optional<Cells> before = std::exchange(m_cells, std::nullopt);
    Result& surface = m_surface.renew();
    try {
      request.monitor.beginPhase("Checking the mesh", 1);
      const std::shared_ptr<const MxMeshCheck> check =
          m_work.build(m_mesh, key.arguments, request, surface);
      if (!check) {
        clearSurface();
        if constexpr (requires { m_work.countSource(m_mesh, surface.provenance); })
          m_work.countSource(m_mesh, surface.provenance);
        return;
      }
      m_state.warnOf(check);
      if (m_work.dependsOnCellsAlone() && check->isClean())
        m_cells = Cells{key, surface.provenance.sourceNodes};
    } catch (...) {
      clearSurface();
      throw;
    }
    if (m_cells && before && m_cells->areThose(*before))
      surface.topology.keepTimeStamp(before->stamp);
    else if (!m_work.hasKeptPolygons())
      surface.topology.touch();
    if (m_cells) m_cells->stamp = surface.topology.getTimeStamp();
  }

  /// A half-filled surface must not be seen.
  void clearSurface()
  {
    m_work.clear();
    m_cells.reset();
    clearExtracted(m_surface.writable(), 3);
  }

  template <class T, class Target>
  const MeXDataSetI<T>* map(MxResult<Target>& target, const std::optional<Key>& known,
                            const MiTypedDataSet<T>& set)
  {
    if (!known) return nullptr;
    return target.sets().template of<T>().map(set, target.mesh().getProvenance(), Kind::kIndexing,
                                              Kind::kNodeIndexing, m_state);
  }

  /// What the polygons of a surface came from, where that is cells alone and none is broken.
  struct Cells
  {
    Key key;
    MbIndex3 nodeCounts;
    std::uint64_t stamp = MxTimeStamp::kNone; ///< of the topology

    bool areThose(const Cells& other) const
    {
      Key own = key;
      own.inputs.geometry = other.key.inputs.geometry;
      return own == other.key && nodeCounts == other.nodeCounts;
    }
  };

  const Mesh& m_mesh;
  const MiTessellator* const m_tessellator;
  MxExtractorState m_state;

  Work m_work;
  bool m_hasSurface = false;
  std::optional<Key> m_surfaceKey, m_lineKey, m_pointsKey;
  std::optional<Cells> m_cells;
  MxResult<Result> m_surface;
  MxResult<MeXLineMeshUnstructured> m_lines;
  MxResult<MeXPointMeshCurvilinear> m_points;
};

/// The base of extractors of surfaces and of lines: what every one of them can do.
template <class Interface, class Work>
class MxMeshExtractor : public Interface
{
public:
  using Results = MxSurfaceResults<Work>;
  using Arguments = typename Work::Arguments;
  using Filter = typename Work::Filter;
  using Mesh = typename Work::Mesh;

  MxMeshExtractor(const Mesh& mesh, bool parallel, const MiTessellator* tessellator,
                  const char* name)
      : m_results(mesh, parallel, tessellator, name)
  {}

  void setCallback(MiExtractorCallback* callback) override
  {
    m_results.state().setCallback(callback);
  }
  const std::vector<std::string>& getWarnings() const override
  {
    return m_results.state().getWarnings();
  }
  std::shared_ptr<const void> holdResults() const override { return m_results.holdAll(); }
  const MeXDataSetI<double>* extractScalarSet(const MiTypedDataSet<double>& set) override
  {
    return m_results.map(set);
  }
  const MeXDataSetI<MbVec3d>* extractVec3Set(const MiTypedDataSet<MbVec3d>& set) override
  {
    return m_results.map(set);
  }
  const MeXDataSetI<std::string>* extractStringSet(const MiTypedDataSet<std::string>& set) override
  {
    return m_results.map(set);
  }
  const MeXDataSetI<double>* extractPointsScalarSet(const MiTypedDataSet<double>& set) override
  {
    return m_results.mapOnPoints(set);
  }

protected:
  Results m_results;
};

/// The base of extractors of surfaces. The derived class adds the operations of its interface, one
/// line each.
template <class Interface, class Work>
class MxSurfaceExtractor : public MxMeshExtractor<Interface, Work>
{
public:
  using MxMeshExtractor<Interface, Work>::MxMeshExtractor;

  const MeXSurfaceMeshUnstructured* getSurface() const override
  {
    return this->m_results.getSurface();
  }
  const MeXDataSetI<double>* extractLineScalarSet(const MiTypedDataSet<double>& set) override
  {
    return this->m_results.mapOnLines(set);
  }
};
