#include <velmo/extraction/extractors/MiIsosurfExtract.h>

#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/map/MxCellMeans.h>
#include <velmo/extraction/extractors/MxCutWork.h>

#include <bit>
#include <cmath>

namespace {

/// A data set and a value; the value's bits, so that not-a-number equals itself.
struct IsosurfArguments
{
  IsosurfArguments(const MiTypedDataSet<double>& given, double isovalue)
      : set(&given), stamp(given.getTimeStamp()), bits(std::bit_cast<std::uint64_t>(isovalue))
  {}
  double value() const { return std::bit_cast<double>(bits); }
  friend bool operator==(const IsosurfArguments&, const IsosurfArguments&) = default;

  const MiTypedDataSet<double>* set;
  std::uint64_t stamp, bits;
};

template <MeshType K>
class IsosurfWork : public MxCutWork<K>
{
  using Base = MxCutWork<K>;

public:
  using Arguments = IsosurfArguments;
  using typename Base::Filter, typename Base::Kind, typename Base::Mesh, typename Base::Request;

  std::shared_ptr<const MxMeshCheck> build(const Mesh& mesh, const Arguments& arguments,
                                           const Request& request,
                                           MeXSurfaceMeshUnstructured& surface)
  {
    const MiTypedDataSet<double>* set = findNodeSet(mesh, arguments, request);
    if (!set)
      request.warnings.push_back("The data set '" + arguments.set->getName() +
                                 "' does not fit the mesh: there is no isosurface of it.");
    if (!set || !std::isfinite(arguments.value())) return nullptr;
    return this->cut(mesh, MxIsovalue{set, arguments.value()}, request, surface);
  }

private:
  static constexpr bool kHasGridNodes = Kind::kNodeIndexing == MxIndexing::Ijk;

  /// The set as one with a value for each node, numbered as the nodes are; null where it does not
  /// fit. What is made here for a set stays until its stamp or its cells change.
  const MiTypedDataSet<double>* findNodeSet(const Mesh& mesh, const Arguments& arguments,
                                            const Request& request)
  {
    const MiTypedDataSet<double>& set = *arguments.set;
    const auto* grid = dynamic_cast<const MiDataSetIjk<double>*>(&set);
    const auto* flat = dynamic_cast<const MiDataSetI<double>*>(&set);
    if (set.getBinding() == MiDataBinding::PerCell) {
      if constexpr (Kind::kIndexing == MxIndexing::Ijk)
        if (grid && grid->getSizes() == mesh.getTopology().getCellCounts())
          return findMeans(mesh, *grid, arguments.stamp, request);
      return nullptr;
    }
    if constexpr (kHasGridNodes) {
      const MbIndex3 nodes = nodeCountsOf(mesh.getTopology().getCellCounts());
      if (grid && grid->getSizes() == nodes) return grid;
      return flat && flat->getSize() == nodes.x * nodes.y * nodes.z ? flat : nullptr;
    } else {
      return flat && flat->getSize() == mesh.getGeometry().getNodeCount() ? flat : nullptr;
    }
  }

  const MiTypedDataSet<double>* findMeans(const Mesh& mesh, const MiDataSetIjk<double>& set,
                                          std::uint64_t stamp, const Request& request)
  {
    const MeansKey key{&set,
                       stamp,
                       mesh.getTopology().getTimeStamp(),
                       mesh.getGeometry().getTimeStamp(),
                       request.filter,
                       request.filter ? request.filter->getTimeStamp() : MxTimeStamp::kNone};
    if (!m_means || m_meansKey != key) {
      m_means.reset();
      const auto check = checkMesh(mesh, request.parallel, request.monitor);
      m_means = meansAtNodes(mesh, set, check->unusable, request.filter, request.parallel,
                             request.monitor);
      m_meansKey = key;
    }
    return m_means.get();
  }

  struct MeansKey
  {
    const void* set = nullptr;
    std::uint64_t stamp = 0, topology = 0, geometry = 0;
    const void* filter = nullptr;
    std::uint64_t filterStamp = 0;
    bool operator==(const MeansKey&) const = default;
  };

  std::unique_ptr<MiTypedDataSet<double>> m_means;
  MeansKey m_meansKey;
};

template <class Interface, MeshType K>
class IsosurfExtractor final : public MxSurfaceExtractor<Interface, IsosurfWork<K>>
{
  using Base = MxSurfaceExtractor<Interface, IsosurfWork<K>>;

public:
  using typename Base::Filter, typename Interface::SetI, typename Interface::SetIjk;

  using Base::Base;

  const MeXSurfaceMeshUnstructured& extractIsosurf(const SetI& set, double value,
                                                   const Filter* filter) override
  {
    return this->m_results.extractSurface({set, value}, filter);
  }
  const MeXSurfaceMeshUnstructured& extractIsosurf(const SetIjk& set, double value,
                                                   const Filter* filter) override
  {
    return this->m_results.extractSurface({set, value}, filter);
  }
  const MeXLineMeshUnstructured& extractLine(const SetI& set, double value,
                                             const Filter* filter) override
  {
    return this->m_results.extractLines({set, value}, filter);
  }
  const MeXLineMeshUnstructured& extractLine(const SetIjk& set, double value,
                                             const Filter* filter) override
  {
    return this->m_results.extractLines({set, value}, filter);
  }
  const MeXPointMeshCurvilinear& extractPoints(const SetI& set, double value,
                                               const Filter* filter) override
  {
    return this->m_results.extractPoints({set, value}, filter);
  }
  const MeXPointMeshCurvilinear& extractPoints(const SetIjk& set, double value,
                                               const Filter* filter) override
  {
    return this->m_results.extractPoints({set, value}, filter);
  }
};

} // namespace

template <>
inline constexpr MxExtractorRow<IsosurfExtractor> kExtractorRow<MiIsosurfExtractUnstructured>{
    "MiIsosurfExtractUnstructured"};
template <>
inline constexpr MxExtractorRow<IsosurfExtractor> kExtractorRow<MiIsosurfExtractHexahedronIjk>{
    "MiIsosurfExtractHexahedronIjk"};
template <>
inline constexpr MxExtractorRow<IsosurfExtractor> kExtractorRow<MiIsosurfExtractIjk>{
    "MiIsosurfExtractIjk"};

template struct MiExtractorMaker<MiIsosurfExtractUnstructured, MiVolumeMeshUnstructured>;
template struct MiExtractorMaker<MiIsosurfExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>;
template struct MiExtractorMaker<MiIsosurfExtractIjk, MiVolumeMeshVertexHexahedronIjk>;
template struct MiExtractorMaker<MiIsosurfExtractIjk, MiVolumeMeshRegular>;
template struct MiExtractorMaker<MiIsosurfExtractIjk, MiVolumeMeshRectilinear>;
template struct MiExtractorMaker<MiIsosurfExtractIjk, MiVolumeMeshCurvilinear>;
