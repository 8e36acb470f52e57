#include <velmo/extraction/extractors/MiPointProbe.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/algorithms/access/MxFieldValues.h>
#include <velmo/extraction/algorithms/locate/MxCellLocator.h>
#include <velmo/extraction/algorithms/locate/MxManyPoints.h>
#include <velmo/extraction/extractors/MxExtractorState.h>

#include <tuple>

namespace {

constexpr std::size_t kNothing = static_cast<std::size_t>(-1);

/// As callbacks hear it.
template <class Interface>
constexpr const char* nameOf()
{
  if constexpr (std::is_same_v<Interface, MiPointProbeUnstructured>)
    return "MiPointProbeUnstructured";
  else if constexpr (std::is_same_v<Interface, MiPointProbeHexahedronIjk>)
    return "MiPointProbeHexahedronIjk";
  else if constexpr (std::is_same_v<Interface, MiPointProbeIjk>)
    return "MiPointProbeIjk";
  else
    return "MiPointProbeIj";
}

/// All point probes.
template <MeshType K, class Interface>
class MxPointProbe final : public Interface
{
  using Row = MxMeshKind<K>;
  using Mesh = typename Row::Interface;
  using Filter = typename Row::CellFilter;
  static constexpr MxIndexing kCells = Row::kIndexing;
  static constexpr MxIndexing kNodes =
      K == VOLUME_MESH_HEXAHEDRON_IJK ? MxIndexing::I : Row::kIndexing;
  using Index = std::conditional_t<kCells == MxIndexing::I, std::size_t, MbIndex3>;

public:
  MxPointProbe(const Mesh& mesh, bool parallel)
      : m_mesh(mesh), m_state(parallel, nameOf<Interface>())
  {}

  void setCallback(MiExtractorCallback* callback) override { m_state.setCallback(callback); }

  bool locate(const MbVec3d& point, const Index& hint, const Filter* filter) override
  {
    update();
    const std::uint64_t stamp = filter ? filter->getTimeStamp() : MxTimeStamp::kNone;
    if (!m_cursor || filter != m_filter || stamp != m_filterStamp) {
      m_filter = filter;
      m_filterStamp = stamp;
      m_left = MxCellsLeft(filter, m_locator->cellCounts());
      m_cursor = std::make_unique<MxCellCursor>(*m_locator, m_left);
    }
    // A filter is borrowed for the call, so that the cursor asks it no more.
    return m_cursor->findFrom(flat(hint), point);
  }

  bool isFound() const override { return m_cursor && m_cursor->isFound(); }
  Index getCell() const override
  {
    if constexpr (kCells == MxIndexing::I) {
      return isFound() ? m_cursor->cell() : kNothing;
    } else {
      if (isFound()) return m_cursor->cellIndex();
      return {kNothing, kNothing, kNothing};
    }
  }
  std::span<const std::uint32_t> getNodes() const override
  {
    return isFound() ? m_cursor->nodes() : std::span<const std::uint32_t>();
  }
  std::span<const double> getWeights() const override
  {
    return isFound() ? m_cursor->weights() : std::span<const double>();
  }
  double getValue(const MiTypedDataSet<double>& set) const override { return valueOf(set); }
  MbVec3d getValue(const MiTypedDataSet<MbVec3d>& set) const override { return valueOf(set); }

  std::size_t getValues(std::span<const MbVec3d> points, const Filter* filter,
                        const MiTypedDataSet<double>& set, std::span<double> values) const override
  {
    return valuesOf(points, filter, set, values);
  }
  std::size_t getValues(std::span<const MbVec3d> points, const Filter* filter,
                        const MiTypedDataSet<MbVec3d>& set,
                        std::span<MbVec3d> values) const override
  {
    return valuesOf(points, filter, set, values);
  }

private:
  /// Finds out about a changed mesh.
  void update()
  {
    const std::uint64_t topology = m_mesh.getTopology().getTimeStamp();
    const std::uint64_t geometry = m_mesh.getGeometry().getTimeStamp();
    if (m_locator && topology == m_topologyStamp && geometry == m_geometryStamp) return;
    m_cursor.reset();
    m_locator.reset();
    MxExtractionMonitor monitor = m_state.patientMonitor();
    monitor.beginPhase("Preparing searches", 1);
    m_locator = MxCellLocator::get<K>(m_mesh, m_state.isParallel());
    m_topologyStamp = topology;
    m_geometryStamp = geometry;
  }
  std::size_t flat(const Index& cell) const
  {
    if constexpr (kCells == MxIndexing::I) {
      return cell;
    } else {
      const MbIndex3& counts = m_locator->cellCounts();
      const bool exists = cell.x < counts.x && cell.y < counts.y && cell.z < counts.z;
      return exists ? flatIndex(cell, counts) : kNothing;
    }
  }
  template <class T>
  MxFieldValues<T> fieldOf(const MxCellLocator& locator, const MiTypedDataSet<T>& set) const
  {
    return {set,
            kCells,
            kNodes,
            locator.cellCounts(),
            locator.nodeCounts(),
            std::get<MxSetCasts<T>>(m_casts)};
  }
  template <class T>
  T valueOf(const MiTypedDataSet<T>& set) const
  {
    if (!isFound()) return {};
    const MxFieldValues<T> field = fieldOf(*m_locator, set);
    if (!field.fits()) return MxFieldValues<T>::nothing();
    return field.at(m_cursor->cell(), m_cursor->nodes(), m_cursor->weights());
  }
  template <class T>
  std::size_t valuesOf(std::span<const MbVec3d> points, const Filter* filter,
                       const MiTypedDataSet<T>& set, std::span<T> values) const
  {
    MxExtractionMonitor monitor = m_state.patientMonitor();
    monitor.beginPhase("Probing points", 1);
    // Kept, so that what a search needs is not made again for the next call.
    m_manyLocator = MxCellLocator::get<K>(m_mesh, m_state.isParallel());
    return probeMany(*m_manyLocator, {filter, m_manyLocator->cellCounts()},
                     fieldOf(*m_manyLocator, set), m_state.isParallel(), points, values);
  }

  const Mesh& m_mesh;
  MxExtractorState m_state;
  std::shared_ptr<const MxCellLocator> m_locator;
  mutable std::shared_ptr<const MxCellLocator> m_manyLocator;
  std::uint64_t m_topologyStamp = MxTimeStamp::kNone, m_geometryStamp = MxTimeStamp::kNone;
  const Filter* m_filter = nullptr;
  std::uint64_t m_filterStamp = MxTimeStamp::kNone;
  MxCellsLeft m_left;
  std::unique_ptr<MxCellCursor> m_cursor;
  mutable std::tuple<MxSetCasts<double>, MxSetCasts<MbVec3d>> m_casts;
};

template <MeshType K, class Interface>
std::unique_ptr<Interface> makeProbe(const typename MxMeshKind<K>::Interface& mesh, bool parallel)
{
  return std::make_unique<MxPointProbe<K, Interface>>(mesh, parallel);
}

} // namespace

std::unique_ptr<MiPointProbeUnstructured>
MiPointProbeUnstructured::getNewInstance(const MiVolumeMeshUnstructured& mesh, bool parallel)
{
  return makeProbe<VOLUME_MESH_UNSTRUCTURED, MiPointProbeUnstructured>(mesh, parallel);
}

std::unique_ptr<MiPointProbeUnstructured>
MiPointProbeUnstructured::getNewInstance(const MiSurfaceMeshUnstructured& mesh, bool parallel)
{
  return makeProbe<SURFACE_MESH_UNSTRUCTURED, MiPointProbeUnstructured>(mesh, parallel);
}

std::unique_ptr<MiPointProbeHexahedronIjk>
MiPointProbeHexahedronIjk::getNewInstance(const MiVolumeMeshHexahedronIjk& mesh, bool parallel)
{
  return makeProbe<VOLUME_MESH_HEXAHEDRON_IJK, MiPointProbeHexahedronIjk>(mesh, parallel);
}

std::unique_ptr<MiPointProbeIjk> MiPointProbeIjk::getNewInstance(const MiVolumeMeshRegular& mesh,
                                                                 bool parallel)
{
  return makeProbe<VOLUME_MESH_REGULAR, MiPointProbeIjk>(mesh, parallel);
}

std::unique_ptr<MiPointProbeIjk>
MiPointProbeIjk::getNewInstance(const MiVolumeMeshRectilinear& mesh, bool parallel)
{
  return makeProbe<VOLUME_MESH_RECTILINEAR, MiPointProbeIjk>(mesh, parallel);
}

std::unique_ptr<MiPointProbeIjk>
MiPointProbeIjk::getNewInstance(const MiVolumeMeshCurvilinear& mesh, bool parallel)
{
  return makeProbe<VOLUME_MESH_CURVILINEAR, MiPointProbeIjk>(mesh, parallel);
}

std::unique_ptr<MiPointProbeIj> MiPointProbeIj::getNewInstance(const MiSurfaceMeshRegular& mesh,
                                                               bool parallel)
{
  return makeProbe<SURFACE_MESH_REGULAR, MiPointProbeIj>(mesh, parallel);
}

std::unique_ptr<MiPointProbeIj> MiPointProbeIj::getNewInstance(const MiSurfaceMeshRectilinear& mesh,
                                                               bool parallel)
{
  return makeProbe<SURFACE_MESH_RECTILINEAR, MiPointProbeIj>(mesh, parallel);
}

std::unique_ptr<MiPointProbeIj> MiPointProbeIj::getNewInstance(const MiSurfaceMeshCurvilinear& mesh,
                                                               bool parallel)
{
  return makeProbe<SURFACE_MESH_CURVILINEAR, MiPointProbeIj>(mesh, parallel);
}
