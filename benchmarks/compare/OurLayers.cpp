#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/extractors/MiLogicalSliceExtract.h>
#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/mesh/MbDataSet.h>

namespace {

/// @tparam Extractor  of logical slices, or of skins for slabs
template <class Mesh, class Extractor>
class LayersJob final : public Job
{
public:
  using MakeMesh = std::unique_ptr<Mesh> (*)(const MeshArrays&);
  LayersJob(const MeshArrays& arrays, const Task& task, int threads, MakeMesh makeMesh)
      : m_arrays(arrays), m_task(task), m_parallel(threads > 1), m_makeMesh(makeMesh)
  {}

  void run() override
  {
    const auto& nodes = m_arrays.axisNodes;
    m_mesh = m_makeMesh(m_arrays);
    m_colour = std::make_unique<MbScalardSetIjk>("", MiDataBinding::PerNode,
                                                 MbIndex3{nodes[0], nodes[1], nodes[2]},
                                                 std::span(m_arrays.colour, m_arrays.nodeCount));
    m_extractor = Extractor::getNewInstance(*m_mesh, m_parallel);
    m_extractor->setCallback(&m_observer);
    if constexpr (std::is_same_v<Extractor, MiSkinExtractIjk>) {
      MbIndex3 lower, upper = cellsOf(m_arrays);
      lower[m_task.axis] = m_task.layer(m_arrays);
      upper[m_task.axis] = m_task.layer(m_arrays) + m_task.layerCount;
      m_extractor->setCellRange(lower, upper);
      m_surface = &m_extractor->extractSkin(nullptr);
    } else {
      m_surface = &m_extractor->extractSlice(static_cast<MiMesh::Dimension>(m_task.axis),
                                             m_task.layer(m_arrays), false, nullptr);
    }
    m_mapped = m_extractor->extractScalarSet(*m_colour);
  }
  CheckValues check() const override { return checkOurSurface(*m_surface, m_mapped); }
  double meshCheckSeconds() const override { return m_observer.meshCheckSeconds(); }
  std::size_t extractionCount() const override { return m_observer.extractionCount(); }

private:
  MeshArrays m_arrays;
  Task m_task;
  bool m_parallel;
  MakeMesh m_makeMesh;
  RunObserver m_observer;
  std::unique_ptr<Mesh> m_mesh;
  std::unique_ptr<MbScalardSetIjk> m_colour;
  std::unique_ptr<Extractor> m_extractor;
  const MeXSurfaceMeshUnstructured* m_surface = nullptr;
  const MeXDataSetI<double>* m_mapped = nullptr;
};

} // namespace

std::unique_ptr<Job> makeOurLayers(const MeshArrays& mesh, const Task& task, int threads)
{
  if (task.layerCount > 0)
    return std::make_unique<LayersJob<MbVolumeMeshCurvilinear, MiSkinExtractIjk>>(
        mesh, task, threads, makeOurCurvilinear);
  if (mesh.kind == MeshKind::Regular)
    return std::make_unique<LayersJob<MbVolumeMeshRegular, MiLogicalSliceExtractRegular>>(
        mesh, task, threads, makeOurRegular);
  return std::make_unique<LayersJob<MbVolumeMeshCurvilinear, MiLogicalSliceExtractCurvilinear>>(
      mesh, task, threads, makeOurCurvilinear);
}
