#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/extractors/MiSkinExtract.h>

namespace {

template <class Mesh, class Extractor>
class SkinJob final : public OurJob<Mesh, Extractor>
{
public:
  using OurJob<Mesh, Extractor>::OurJob;

  void run() override
  {
    this->makeMesh();
    this->makeExtractor();
    m_skin = &this->m_extractor->extractSkin(nullptr);
  }
  CheckValues check() const override { return checkOurSurface(*m_skin); }

private:
  const MeXSurfaceMeshUnstructured* m_skin = nullptr;
};

} // namespace

std::unique_ptr<Job> makeOurSkin(const MeshArrays& mesh, const Task& task, int threads)
{
  if (mesh.isStructured())
    return std::make_unique<SkinJob<MbVolumeMeshCurvilinear, MiSkinExtractIjk>>(mesh, task,
                                                                                threads);
  return std::make_unique<SkinJob<MbVolumeMeshUnstructured, MiSkinExtractUnstructured>>(mesh, task,
                                                                                        threads);
}
