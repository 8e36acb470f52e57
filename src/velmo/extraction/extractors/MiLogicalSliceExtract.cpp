#include <velmo/extraction/extractors/MiLogicalSliceExtract.h>

#include <velmo/extraction/extractors/MxLayerExtractor.h>

namespace {

struct Place
{
  MiMesh::Dimension axis;
  std::size_t index;
  bool upper;
  friend bool operator==(const Place&, const Place&) = default;

  MxLayer layer(const MbIndex3&) const
  {
    return MxLayer::atCell(static_cast<std::size_t>(axis), index, upper);
  }
};

template <class Interface, MeshType K>
class LogicalSliceExtractor final : public MxSurfaceExtractor<Interface, MxLayerWork<K, Place>>
{
public:
  using MxSurfaceExtractor<Interface, MxLayerWork<K, Place>>::MxSurfaceExtractor;

  const MeXSurfaceMeshUnstructured& extractSlice(MiMesh::Dimension axis, std::size_t index,
                                                 bool upperVertex,
                                                 const MiCellFilterIjk* filter) override
  {
    return this->m_results.extractSurface({axis, index, upperVertex}, filter);
  }
  const MeXLineMeshUnstructured& extractLine(MiMesh::Dimension axis, std::size_t index,
                                             bool upperVertex,
                                             const MiCellFilterIjk* filter) override
  {
    return this->m_results.extractLines({axis, index, upperVertex}, filter);
  }
  const MeXPointMeshCurvilinear& extractPoints(MiMesh::Dimension axis, std::size_t index,
                                               bool upperVertex,
                                               const MiCellFilterIjk* filter) override
  {
    return this->m_results.extractPoints({axis, index, upperVertex}, filter);
  }
};

} // namespace

template <>
inline constexpr MxExtractorRow<LogicalSliceExtractor>
    kExtractorRow<MiLogicalSliceExtractHexahedronIjk>{"MiLogicalSliceExtractHexahedronIjk"};
template <>
inline constexpr MxExtractorRow<LogicalSliceExtractor> kExtractorRow<MiLogicalSliceExtractRegular>{
    "MiLogicalSliceExtractRegular"};
template <>
inline constexpr MxExtractorRow<LogicalSliceExtractor>
    kExtractorRow<MiLogicalSliceExtractRectilinear>{"MiLogicalSliceExtractRectilinear"};
template <>
inline constexpr MxExtractorRow<LogicalSliceExtractor>
    kExtractorRow<MiLogicalSliceExtractCurvilinear>{"MiLogicalSliceExtractCurvilinear"};

template struct MiExtractorMaker<MiLogicalSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>;
template struct MiExtractorMaker<MiLogicalSliceExtractRegular, MiVolumeMeshRegular>;
template struct MiExtractorMaker<MiLogicalSliceExtractRectilinear, MiVolumeMeshRectilinear>;
template struct MiExtractorMaker<MiLogicalSliceExtractCurvilinear, MiVolumeMeshCurvilinear>;
