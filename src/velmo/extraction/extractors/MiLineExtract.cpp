#include <velmo/extraction/extractors/MiLineExtract.h>

#include <velmo/extraction/extractors/MxFlatExtractor.h>

namespace {

template <class Interface, MeshType K>
class LineExtractor final
    : public MxMeshExtractor<Interface, MxFlatWork<K, MeXLineMeshUnstructured>>
{
public:
  using MxMeshExtractor<Interface, MxFlatWork<K, MeXLineMeshUnstructured>>::MxMeshExtractor;

  const MeXLineMeshUnstructured* getLines() const override { return this->m_results.getSurface(); }
  const MeXLineMeshUnstructured& extractLine(const MiCellFilterI* filter) override
  {
    return this->m_results.extractSurface({}, filter);
  }
  const MeXPointMeshCurvilinear& extractPoints(const MiCellFilterI* filter) override
  {
    return this->m_results.extractPoints({}, filter);
  }
};

} // namespace

template <>
inline constexpr MxExtractorRow<LineExtractor> kExtractorRow<MiLineExtractUnstructured>{
    "MiLineExtractUnstructured"};
template <>
inline constexpr MxExtractorRow<LineExtractor> kExtractorRow<MiLineExtractRow>{"MiLineExtractRow"};

template struct MiExtractorMaker<MiLineExtractUnstructured, MiLineMeshUnstructured>;
template struct MiExtractorMaker<MiLineExtractRow, MiLineMeshRegular>;
template struct MiExtractorMaker<MiLineExtractRow, MiLineMeshCurvilinear>;
