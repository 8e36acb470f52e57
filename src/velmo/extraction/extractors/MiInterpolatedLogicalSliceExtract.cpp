#include <velmo/extraction/extractors/MiInterpolatedLogicalSliceExtract.h>

#include <velmo/extraction/extractors/MxLayerExtractor.h>

#include <cmath>

namespace {

struct Place
{
  MiMesh::Dimension axis;
  double value;
  friend bool operator==(const Place&, const Place&) = default;

  MxLayer layer(const MbIndex3& cells) const
  {
    const auto along = static_cast<std::size_t>(axis);
    return MxLayer::atValue(along, value, along < 3 ? cells[along] : 0);
  }
};

/// No number equals itself only here.
Place placeOf(MiMesh::Dimension axis, double value)
{
  return {axis, std::isnan(value) ? -1 : value};
}

template <class Interface, MeshType K>
class InterpolatedSliceExtractor final : public MxSurfaceExtractor<Interface, MxLayerWork<K, Place>>
{
public:
  using MxSurfaceExtractor<Interface, MxLayerWork<K, Place>>::MxSurfaceExtractor;

  const MeXSurfaceMeshUnstructured&
  extractSlice(MiMesh::Dimension axis, const MiCellFilterIjk* filter, double value) override
  {
    return this->m_results.extractSurface(placeOf(axis, value), filter);
  }
  const MeXLineMeshUnstructured& extractLine(MiMesh::Dimension axis, const MiCellFilterIjk* filter,
                                             double value) override
  {
    return this->m_results.extractLines(placeOf(axis, value), filter);
  }
  const MeXPointMeshCurvilinear& extractPoints(MiMesh::Dimension axis,
                                               const MiCellFilterIjk* filter, double value) override
  {
    return this->m_results.extractPoints(placeOf(axis, value), filter);
  }
};

} // namespace

template <>
inline constexpr MxExtractorRow<InterpolatedSliceExtractor>
    kExtractorRow<MiInterpolatedLogicalSliceExtractHexahedronIjk>{
        "MiInterpolatedLogicalSliceExtractHexahedronIjk"};
template <>
inline constexpr MxExtractorRow<InterpolatedSliceExtractor>
    kExtractorRow<MiInterpolatedLogicalSliceExtract>{"MiInterpolatedLogicalSliceExtract"};

template struct MiExtractorMaker<MiInterpolatedLogicalSliceExtractHexahedronIjk,
                                 MiVolumeMeshHexahedronIjk>;
template struct MiExtractorMaker<MiInterpolatedLogicalSliceExtract, MiVolumeMeshRegular>;
template struct MiExtractorMaker<MiInterpolatedLogicalSliceExtract, MiVolumeMeshRectilinear>;
template struct MiExtractorMaker<MiInterpolatedLogicalSliceExtract, MiVolumeMeshCurvilinear>;
