#pragma once

#include <velmo/extraction/algorithms/MxDataMap.h>
#include <velmo/extraction/algorithms/MxMeshCheck.h>
#include <velmo/extraction/algorithms/MxSkinEdges.h>
#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MxExtractionMonitor.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <utility>

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
///   and leaves the surface as it was: nothing is extracted then.
/// What stands here serves works whose lines and points are the edges and nodes of the surface.
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
  /// Lets go of what is known of the last surface, after a failure.
  void clear() {}
};

/// The sets that were mapped onto one extracted mesh, by source set.
template <class T>
class MxMappedSets
{
public:
  const MeXDataSetI<T>* map(const MiTypedDataSet<T>& set, const MeXProvenance& provenance,
                            MxIndexing cells, MxIndexing nodes, bool parallel)
  {
    Entry& entry = m_entries[&set];
    const std::uint64_t stamp = set.getTimeStamp();
    if (!entry.known || entry.stamp != stamp) {
      entry.mapped = mapDataSet(provenance, set, cells, nodes, parallel);
      entry.stamp = stamp;
      entry.known = true;
    }
    return entry.mapped.get();
  }
  void clear() { m_entries.clear(); }

private:
  struct Entry
  {
    bool known = false;
    std::uint64_t stamp = 0;
    std::unique_ptr<MeXDataSetI<T>> mapped;
  };
  std::map<const void*, Entry> m_entries;
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
      : m_mesh(mesh), m_parallel(parallel), m_tessellator(tessellator), m_name(name)
  {}

  void setCallback(MiExtractorCallback* callback) { m_callback = callback; }
  const std::vector<std::string>& getWarnings() const
  {
    m_warningsRead = true;
    return m_warnings;
  }
  const Result* getSurface() const { return m_hasSurface ? &m_surface : nullptr; }

  const Result& extractSurface(const Arguments& arguments, const Filter* filter)
  {
    extract(arguments, filter, m_surfaceKey, [&](const auto& request) {
      m_scalars.clear();
      m_vectors.clear();
      m_strings.clear();
      buildSurface(arguments, request);
    });
    m_hasSurface = true;
    return m_surface;
  }
  const MeXLineMeshUnstructured& extractLines(const Arguments& arguments, const Filter* filter)
  {
    extractSurface(arguments, filter);
    extract(arguments, filter, m_lineKey, [&](const auto& request) {
      m_lineScalars.clear();
      m_work.buildLines(m_mesh, m_surface, request, m_lines);
    });
    return m_lines;
  }
  const MeXPointMeshCurvilinear& extractPoints(const Arguments& arguments, const Filter* filter)
  {
    extractSurface(arguments, filter);
    extract(arguments, filter, m_pointsKey, [&](const auto& request) {
      m_pointScalars.clear();
      m_work.buildPoints(m_mesh, m_surface, request, m_points);
    });
    return m_points;
  }

  const MeXDataSetI<double>* map(const MiTypedDataSet<double>& set)
  {
    return map(m_scalars, m_surfaceKey, m_surface, set);
  }
  const MeXDataSetI<MbVec3d>* map(const MiTypedDataSet<MbVec3d>& set)
  {
    return map(m_vectors, m_surfaceKey, m_surface, set);
  }
  const MeXDataSetI<std::string>* map(const MiTypedDataSet<std::string>& set)
  {
    return map(m_strings, m_surfaceKey, m_surface, set);
  }
  const MeXDataSetI<double>* mapOnLines(const MiTypedDataSet<double>& set)
  {
    return map(m_lineScalars, m_lineKey, m_lines, set);
  }
  const MeXDataSetI<double>* mapOnPoints(const MiTypedDataSet<double>& set)
  {
    return map(m_pointScalars, m_pointsKey, m_points, set);
  }

private:
  /// All that an extraction depends on.
  struct Key
  {
    std::uint64_t topology, geometry, filterStamp, tessellator;
    const void* filter;
    Arguments arguments;
    friend bool operator==(const Key&, const Key&) = default;
  };

  Key makeKey(const Arguments& arguments, const Filter* filter) const
  {
    return {m_mesh.getTopology().getTimeStamp(),
            m_mesh.getGeometry().getTimeStamp(),
            filter ? filter->getTimeStamp() : MxTimeStamp::kNone,
            m_tessellator ? m_tessellator->getTimeStamp() : MxTimeStamp::kNone,
            filter,
            arguments};
  }

  /// Runs `build` unless its result is still what it would give. After a failure the next call
  /// tries again.
  template <class Build>
  void extract(const Arguments& arguments, const Filter* filter, std::optional<Key>& known,
               const Build& build)
  {
    if (m_warningsRead) m_warnings.clear();
    m_warningsRead = false;
    Key key = makeKey(arguments, filter);
    if (known == key) return;
    known.reset();
    MxExtractionMonitor monitor(m_callback, m_name, Work::kPhaseCount);
    std::vector<std::string> warnings;
    build(typename Work::Request{filter, m_tessellator, m_parallel, monitor, warnings});
    addWarnings(std::move(warnings));
    known = std::move(key);
  }

  void buildSurface(const Arguments& arguments, const typename Work::Request& request)
  {
    try {
      request.monitor.beginPhase("Checking the mesh", 1);
      const std::shared_ptr<const MxMeshCheck> check =
          m_work.build(m_mesh, arguments, request, m_surface);
      if (!check) {
        clearSurface();
        return;
      }
      if (check != m_check) addWarnings(check->describe());
      m_check = check;
    } catch (...) {
      clearSurface();
      throw;
    }
    m_surface.topology.touch();
  }

  void addWarnings(std::vector<std::string> warnings)
  {
    for (std::string& text : warnings)
      if (std::find(m_warnings.begin(), m_warnings.end(), text) == m_warnings.end())
        m_warnings.push_back(std::move(text));
  }

  /// A half-filled surface must not be seen.
  void clearSurface()
  {
    m_work.clear();
    m_surface.topology.setUniform(0, 3);
    m_surface.topology.touch();
    m_surface.provenance = {};
    m_surface.geometry.origin = {};
    m_surface.geometry.points().clear();
    m_surface.geometry.touch(false);
  }

  template <class T, class Target>
  const MeXDataSetI<T>* map(MxMappedSets<T>& sets, const std::optional<Key>& known,
                            const Target& target, const MiTypedDataSet<T>& set)
  {
    if (!known) return nullptr;
    return sets.map(set, target.provenance, Kind::kIndexing, Kind::kNodeIndexing, m_parallel);
  }

  const Mesh& m_mesh;
  const bool m_parallel;
  const MiTessellator* const m_tessellator;
  const char* const m_name;
  MiExtractorCallback* m_callback = nullptr;
  std::shared_ptr<const MxMeshCheck> m_check;
  std::vector<std::string> m_warnings;
  mutable bool m_warningsRead = false;

  Work m_work;
  bool m_hasSurface = false;
  std::optional<Key> m_surfaceKey, m_lineKey, m_pointsKey;
  Result m_surface;
  MeXLineMeshUnstructured m_lines;
  MeXPointMeshCurvilinear m_points;
  MxMappedSets<double> m_scalars, m_lineScalars, m_pointScalars;
  MxMappedSets<MbVec3d> m_vectors;
  MxMappedSets<std::string> m_strings;
};

/// The base of all extractors of surfaces: what every one of them can do. The derived class adds
/// the operations of its interface, one line each.
template <class Interface, class Work>
class MxSurfaceExtractor : public Interface
{
public:
  using Results = MxSurfaceResults<Work>;
  using Arguments = typename Work::Arguments;
  using Filter = typename Work::Filter;
  using Mesh = typename Work::Mesh;

  MxSurfaceExtractor(const Mesh& mesh, bool parallel, const MiTessellator* tessellator,
                     const char* name)
      : m_results(mesh, parallel, tessellator, name)
  {}

  void setCallback(MiExtractorCallback* callback) override { m_results.setCallback(callback); }
  const std::vector<std::string>& getWarnings() const override { return m_results.getWarnings(); }
  const MeXSurfaceMeshUnstructured* getSurface() const override { return m_results.getSurface(); }
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
  const MeXDataSetI<double>* extractLineScalarSet(const MiTypedDataSet<double>& set) override
  {
    return m_results.mapOnLines(set);
  }
  const MeXDataSetI<double>* extractPointsScalarSet(const MiTypedDataSet<double>& set) override
  {
    return m_results.mapOnPoints(set);
  }

protected:
  Results m_results;
};

/// The implementation of an extractor's interface for one kind of mesh, specialised beside it:
/// `Type`, an MxSurfaceExtractor, and `kName`, the interface's name.
template <class Extractor, class Mesh>
struct MxExtractorFor;

template <class Extractor, class Mesh>
std::unique_ptr<Extractor>
MiExtractorMaker<Extractor, Mesh>::getNewInstance(const Mesh& mesh, bool parallel,
                                                  const MiTessellator* tessellator)
{
  using Implementation = MxExtractorFor<Extractor, Mesh>;
  return std::make_unique<typename Implementation::Type>(mesh, parallel, tessellator,
                                                         Implementation::kName);
}
