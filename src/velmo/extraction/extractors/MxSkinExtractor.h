#pragma once

#include <velmo/extraction/algorithms/MxDataMap.h>
#include <velmo/extraction/algorithms/MxMeshCheck.h>
#include <velmo/extraction/extractors/MiSkinExtract.h>

#include <map>
#include <memory>
#include <optional>

/// What the skin of one mesh kind is made of; one structure per kind in the source.
///
/// `Index` numbers cells, `Filter` accepts them, `kKind` is the row of the table of kinds. build()
/// checks the mesh and fills a surface but for the stamp of its topology. The other two functions
/// serve kinds that can hold higher-order cells and are called while there is a tessellator.
template <class Mesh>
struct MxSkinKind;

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

/// All skin extractors: caching, ranges, warnings and data sets; the extraction itself is the
/// kind's.
template <class Interface, class Mesh>
class MxSkinExtractor final : public Interface
{
  using Kind = MxSkinKind<Mesh>;
  using Index = typename Kind::Index;
  using Filter = typename Kind::Filter;
  using Row = MxMeshKind<Kind::kKind>;

public:
  MxSkinExtractor(const Mesh& mesh, bool parallel, const MiTessellator* tessellator)
      : m_mesh(mesh), m_parallel(parallel), m_tessellator(tessellator)
  {
    clearCellRanges();
  }

  void setCallback(MiExtractorCallback* callback) override { m_callback = callback; }
  const std::vector<std::string>& getWarnings() const override
  {
    m_warningsRead = true;
    return m_warnings;
  }

  void setCellRange(const Index& lower, const Index& upper) override
  {
    m_lower = lower;
    m_upper = upper;
  }
  void clearCellRanges() override { m_lower = m_upper = Kind::noBound(); }

  const MeXSurfaceMeshUnstructured& extractSkin(const Filter* filter) override
  {
    extract(filter, m_surfaceKey, [&](MxExtractionMonitor& monitor) {
      m_scalars.clear();
      m_vectors.clear();
      m_strings.clear();
      buildSurface(filter, monitor);
    });
    m_hasSurface = true;
    return m_surface;
  }

  const MeXLineMeshUnstructured& extractLine(const Filter* filter) override
  {
    extractSkin(filter);
    extract(filter, m_lineKey, [&](MxExtractionMonitor& monitor) {
      m_lineScalars.clear();
      Kind::buildLines(m_mesh, m_parts, m_surface, m_tessellator, m_parallel, monitor, m_lines);
    });
    return m_lines;
  }

  const MeXPointMeshCurvilinear& extractPoints(const Filter* filter) override
  {
    extractSkin(filter);
    extract(filter, m_pointsKey, [&](MxExtractionMonitor& monitor) {
      m_pointScalars.clear();
      Kind::buildPoints(m_mesh, m_parts, m_surface, m_parallel, monitor, m_points);
    });
    return m_points;
  }

  const MeXSurfaceMeshUnstructured* getSurface() const override
  {
    return m_hasSurface ? &m_surface : nullptr;
  }
  const MeXDataSetI<double>* extractScalarSet(const MiTypedDataSet<double>& set) override
  {
    return map(m_scalars, m_surfaceKey, m_surface, set);
  }
  const MeXDataSetI<MbVec3d>* extractVec3Set(const MiTypedDataSet<MbVec3d>& set) override
  {
    return map(m_vectors, m_surfaceKey, m_surface, set);
  }
  const MeXDataSetI<std::string>* extractStringSet(const MiTypedDataSet<std::string>& set) override
  {
    return map(m_strings, m_surfaceKey, m_surface, set);
  }
  const MeXDataSetI<double>* extractLineScalarSet(const MiTypedDataSet<double>& set) override
  {
    return map(m_lineScalars, m_lineKey, m_lines, set);
  }
  const MeXDataSetI<double>* extractPointsScalarSet(const MiTypedDataSet<double>& set) override
  {
    return map(m_pointScalars, m_pointsKey, m_points, set);
  }

private:
  /// All that an extraction depends on.
  struct Key
  {
    std::uint64_t topology, geometry, filterStamp, tessellator;
    const void* filter;
    Index lower, upper;
    friend bool operator==(const Key&, const Key&) = default;
  };

  Key currentKey(const Filter* filter) const
  {
    return {m_mesh.getTopology().getTimeStamp(),
            m_mesh.getGeometry().getTimeStamp(),
            filter ? filter->getTimeStamp() : MxTimeStamp::kNone,
            m_tessellator ? m_tessellator->getTimeStamp() : MxTimeStamp::kNone,
            filter,
            m_lower,
            m_upper};
  }

  /// Runs `build` unless its result is still what it would give. After a failure the next call
  /// tries again.
  template <class Build>
  void extract(const Filter* filter, std::optional<Key>& known, const Build& build)
  {
    if (m_warningsRead) m_warnings.clear();
    const Key key = currentKey(filter);
    if (known == key) return;
    known.reset();
    MxExtractionMonitor monitor(m_callback, Kind::kName, Kind::kPhaseCount);
    build(monitor);
    known = key;
  }

  void buildSurface(const Filter* filter, MxExtractionMonitor& monitor)
  {
    try {
      monitor.beginPhase("Checking the mesh", 1);
      const std::shared_ptr<const MxMeshCheck> check = Kind::build(
          m_mesh, filter, m_lower, m_upper, m_tessellator, m_parallel, monitor, m_parts, m_surface);
      if (check != m_check) {
        m_warnings = check->describe();
        m_warningsRead = false;
      }
      m_check = check;
    } catch (...) {
      clearSurface();
      throw;
    }
    m_surface.topology.touch();
  }

  /// A half-filled surface must not be seen.
  void clearSurface()
  {
    m_parts = {};
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
    return sets.map(set, target.provenance, Row::kIndexing, Kind::kNodeIndexing, m_parallel);
  }

  const Mesh& m_mesh;
  const bool m_parallel;
  const MiTessellator* const m_tessellator;
  MiExtractorCallback* m_callback = nullptr;
  Index m_lower, m_upper;
  std::shared_ptr<const MxMeshCheck> m_check;
  std::vector<std::string> m_warnings;
  mutable bool m_warningsRead = false;

  typename Kind::Parts m_parts;
  bool m_hasSurface = false;
  std::optional<Key> m_surfaceKey, m_lineKey, m_pointsKey;
  MeXSurfaceMeshUnstructured m_surface;
  MeXLineMeshUnstructured m_lines;
  MeXPointMeshCurvilinear m_points;
  MxMappedSets<double> m_scalars, m_lineScalars, m_pointScalars;
  MxMappedSets<MbVec3d> m_vectors;
  MxMappedSets<std::string> m_strings;
};
