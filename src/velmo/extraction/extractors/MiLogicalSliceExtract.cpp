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
struct MxExtractorFor<MiLogicalSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>
{
  using Type =
      LogicalSliceExtractor<MiLogicalSliceExtractHexahedronIjk, VOLUME_MESH_HEXAHEDRON_IJK>;
  static constexpr const char* kName = "MiLogicalSliceExtractHexahedronIjk";
};
template <>
struct MxExtractorFor<MiLogicalSliceExtractRegular, MiVolumeMeshRegular>
{
  using Type = LogicalSliceExtractor<MiLogicalSliceExtractRegular, VOLUME_MESH_REGULAR>;
  static constexpr const char* kName = "MiLogicalSliceExtractRegular";
};
template <>
struct MxExtractorFor<MiLogicalSliceExtractRectilinear, MiVolumeMeshRectilinear>
{
  using Type = LogicalSliceExtractor<MiLogicalSliceExtractRectilinear, VOLUME_MESH_RECTILINEAR>;
  static constexpr const char* kName = "MiLogicalSliceExtractRectilinear";
};
template <>
struct MxExtractorFor<MiLogicalSliceExtractCurvilinear, MiVolumeMeshCurvilinear>
{
  using Type = LogicalSliceExtractor<MiLogicalSliceExtractCurvilinear, VOLUME_MESH_CURVILINEAR>;
  static constexpr const char* kName = "MiLogicalSliceExtractCurvilinear";
};

template struct MiExtractorMaker<MiLogicalSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>;
template struct MiExtractorMaker<MiLogicalSliceExtractRegular, MiVolumeMeshRegular>;
template struct MiExtractorMaker<MiLogicalSliceExtractRectilinear, MiVolumeMeshRectilinear>;
template struct MiExtractorMaker<MiLogicalSliceExtractCurvilinear, MiVolumeMeshCurvilinear>;
