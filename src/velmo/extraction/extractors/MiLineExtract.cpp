#include <velmo/extraction/extractors/MiLineExtract.h>

#include <velmo/extraction/extractors/MxFlatExtractor.h>

namespace {

template <class Interface, MeshType K>
class LineExtractor final : public Interface
{
  using Results = MxSurfaceResults<MxFlatWork<K, MeXLineMeshUnstructured>>;

public:
  using Mesh = typename Results::Mesh;

  LineExtractor(const Mesh& mesh, bool parallel, const MiTessellator* tessellator, const char* name)
      : m_results(mesh, parallel, tessellator, name)
  {}

  void setCallback(MiExtractorCallback* callback) override { m_results.setCallback(callback); }
  const std::vector<std::string>& getWarnings() const override { return m_results.getWarnings(); }
  const MeXLineMeshUnstructured* getLines() const override { return m_results.getSurface(); }
  const MeXLineMeshUnstructured& extractLine(const MiCellFilterI* filter) override
  {
    return m_results.extractSurface({}, filter);
  }
  const MeXPointMeshCurvilinear& extractPoints(const MiCellFilterI* filter) override
  {
    return m_results.extractPoints({}, filter);
  }
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

private:
  Results m_results;
};

} // namespace

template <class Mesh>
struct MxExtractorFor<MiLineExtractUnstructured, Mesh>
{
  using Type = LineExtractor<MiLineExtractUnstructured, meshTypeOf<Mesh>(MxLineKinds{})>;
  static constexpr const char* kName = "MiLineExtractUnstructured";
};
template <class Mesh>
struct MxExtractorFor<MiLineExtractRow, Mesh>
{
  using Type = LineExtractor<MiLineExtractRow, meshTypeOf<Mesh>(MxLineKinds{})>;
  static constexpr const char* kName = "MiLineExtractRow";
};

template struct MiExtractorMaker<MiLineExtractUnstructured, MiLineMeshUnstructured>;
template struct MiExtractorMaker<MiLineExtractRow, MiLineMeshRegular>;
template struct MiExtractorMaker<MiLineExtractRow, MiLineMeshCurvilinear>;
