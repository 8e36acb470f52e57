#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/extractors/MiIsolineExtract.h>

namespace {

template <class Mesh, class Extractor>
class IsolineJob final : public OurJob<Mesh, Extractor>
{
  using Base = OurJob<Mesh, Extractor>;
  using Base::m_arrays, Base::m_task, Base::m_extractor;

public:
  using Base::Base;

  void run() override
  {
    this->makeMesh();
    m_field = std::make_unique<MbScalardSetI>("", MiDataBinding::PerNode,
                                              std::span(m_arrays.smooth, m_arrays.nodeCount));
    this->makeExtractor();
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

private:
  std::unique_ptr<MbScalardSetI> m_field;
};

} // namespace

std::unique_ptr<Job> makeOurIsolines(const MeshArrays& mesh, const Task& task, int threads)
{
  if (mesh.isStructured())
    return std::make_unique<IsolineJob<MbSurfaceMeshCurvilinear, MiIsolineExtractIj>>(mesh, task,
                                                                                      threads);
  return std::make_unique<IsolineJob<MbSurfaceMeshUnstructured, MiIsolineExtractUnstructured>>(
      mesh, task, threads);
}
