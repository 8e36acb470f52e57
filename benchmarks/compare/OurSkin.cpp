#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/extractors/MiSkinExtract.h>

namespace {

template <class Mesh, class Extractor>
class SkinJob final : public Job
{
public:
  using MakeMesh = std::unique_ptr<Mesh> (*)(const MeshArrays&);
  SkinJob(const MeshArrays& arrays, int threads, MakeMesh makeMesh)
      : m_arrays(arrays), m_parallel(threads > 1), m_makeMesh(makeMesh)
  {}

  void run() override
  {
    m_mesh = m_makeMesh(m_arrays);
    m_extractor = Extractor::getNewInstance(*m_mesh, m_parallel);
    m_extractor->setCallback(&m_observer);
    m_skin = &m_extractor->extractSkin(nullptr);
  }
  CheckValues check() const override { return checkOurSurface(*m_skin); }
  double meshCheckSeconds() const override { return m_observer.meshCheckSeconds(); }
  std::size_t extractionCount() const override { return m_observer.extractionCount(); }

private:
  MeshArrays m_arrays;
  bool m_parallel;
  MakeMesh m_makeMesh;
  RunObserver m_observer;
  std::unique_ptr<Mesh> m_mesh;
  std::unique_ptr<Extractor> m_extractor;
  const MeXSurfaceMeshUnstructured* m_skin = nullptr;
};

} // namespace

std::unique_ptr<Job> makeOurSkin(const MeshArrays& mesh, const Task&, int threads)
{
  if (mesh.isStructured())
    return std::make_unique<SkinJob<MbVolumeMeshCurvilinear, MiSkinExtractIjk>>(mesh, threads,
                                                                                makeOurCurvilinear);
  return std::make_unique<SkinJob<MbVolumeMeshUnstructured, MiSkinExtractUnstructured>>(
      mesh, threads, makeOurUnstructured);
}
