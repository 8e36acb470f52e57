#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/extractors/MiIsolineExtract.h>
#include <velmo/mesh/MbDataSet.h>

namespace {

template <class Mesh>
class IsolineJob final : public Job
{
  static constexpr bool kIsFlat = std::is_same_v<Mesh, MbSurfaceMeshUnstructured>;
  using Extractor = std::conditional_t<kIsFlat, MiIsolineExtractUnstructured, MiIsolineExtractIj>;

public:
  IsolineJob(const MeshArrays& arrays, const Task& task, int threads)
      : m_arrays(arrays), m_task(task), m_parallel(threads > 1)
  {}

  void run() override
  {
    const std::span points(m_arrays.points, 3 * m_arrays.nodeCount);
    if constexpr (kIsFlat)
      m_mesh = std::make_unique<Mesh>(
          MbTopologyI(std::span(m_arrays.shapes, m_arrays.cellCount),
                      std::span(m_arrays.offsets, m_arrays.cellCount + 1),
                      std::span(m_arrays.connectivity, m_arrays.connectivityCount)),
          points);
    else
      m_mesh = std::make_unique<Mesh>(
          MbTopologyIj(m_arrays.axisNodes[0] - 1, m_arrays.axisNodes[1] - 1), points);
    m_field = std::make_unique<MbScalardSetI>("", MiDataBinding::PerNode,
                                              std::span(m_arrays.smooth, m_arrays.nodeCount));
    m_extractor = Extractor::getNewInstance(*m_mesh, m_parallel);
    m_extractor->setCallback(&m_observer);
    step(0);
  }
  void step(int step) override
  {
    std::vector<double> values;
    for (int v = 0; v < m_task.valueCount; ++v)
      values.push_back(m_task.movedValue(step) + v * m_task.valueStep);
    m_extractor->extractIsolines(values, *m_field, nullptr);
  }
  CheckValues check() const override
  {
    CheckValues values;
    for (const auto& entry : m_extractor->getLines()) {
      const MeXLineMeshUnstructured& lines = *entry.lines;
      values.vertices += lines.geometry.getNodeCount();
      for (std::size_t c = 0; c < lines.topology.getCellCount(); ++c) {
        const auto line = lines.topology.getCell(c);
        for (std::size_t n = 1; n < line.size(); ++n) {
          const MbVec3d a = lines.geometry.getNode(static_cast<std::size_t>(line[n - 1]));
          const MbVec3d b = lines.geometry.getNode(static_cast<std::size_t>(line[n]));
          const double from[3] = {a.x, a.y, a.z}, to[3] = {b.x, b.y, b.z};
          values.addSegment(from, to);
        }
      }
    }
    return values;
  }
  double meshCheckSeconds() const override { return m_observer.meshCheckSeconds(); }
  std::size_t extractionCount() const override { return m_observer.extractionCount(); }

private:
  MeshArrays m_arrays;
  Task m_task;
  bool m_parallel;
  RunObserver m_observer;
  std::unique_ptr<Mesh> m_mesh;
  std::unique_ptr<MbScalardSetI> m_field;
  std::unique_ptr<Extractor> m_extractor;
};

} // namespace

std::unique_ptr<Job> makeOurIsolines(const MeshArrays& mesh, const Task& task, int threads)
{
  if (mesh.isStructured())
    return std::make_unique<IsolineJob<MbSurfaceMeshCurvilinear>>(mesh, task, threads);
  return std::make_unique<IsolineJob<MbSurfaceMeshUnstructured>>(mesh, task, threads);
}
