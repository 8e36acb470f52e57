#include <velmo/extraction/extractors/MiSurfaceExtract.h>

#include <velmo/extraction/extractors/MxFlatExtractor.h>

namespace {

template <class Interface, MeshType K>
class SurfaceExtractor final
    : public MxSurfaceExtractor<Interface, MxFlatWork<K, MeXSurfaceMeshUnstructured>>
{
  using Base = MxSurfaceExtractor<Interface, MxFlatWork<K, MeXSurfaceMeshUnstructured>>;

public:
  using Base::Base;
  using typename Base::Filter;

  const MeXSurfaceMeshUnstructured& extractSurface(const Filter* filter) override
  {
    return this->m_results.extractSurface({}, filter);
  }
  const MeXLineMeshUnstructured& extractLine(const Filter* filter) override
  {
    return this->m_results.extractLines({}, filter);
  }
  const MeXPointMeshCurvilinear& extractPoints(const Filter* filter) override
  {
    return this->m_results.extractPoints({}, filter);
  }
};

} // namespace

template <>
inline constexpr MxExtractorRow<SurfaceExtractor> kExtractorRow<MiSurfaceExtractUnstructured>{
    "MiSurfaceExtractUnstructured"};
template <>
inline constexpr MxExtractorRow<SurfaceExtractor> kExtractorRow<MiSurfaceExtractIj>{
    "MiSurfaceExtractIj"};

template struct MiExtractorMaker<MiSurfaceExtractUnstructured, MiSurfaceMeshUnstructured>;
template struct MiExtractorMaker<MiSurfaceExtractIj, MiSurfaceMeshRegular>;
template struct MiExtractorMaker<MiSurfaceExtractIj, MiSurfaceMeshRectilinear>;
template struct MiExtractorMaker<MiSurfaceExtractIj, MiSurfaceMeshCurvilinear>;
