#include "../Workloads.h"
#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/extractors/MiPointProbe.h>
#include <velmo/extraction/extractors/MiStreamlineExtract.h>

#include <cmath>

namespace {

std::vector<MbVec3d> vectorsOf(const std::vector<bench::Point>& points)
{
  std::vector<MbVec3d> all;
  for (const bench::Point& p : points)
    all.push_back({p[0], p[1], p[2]});
  return all;
}

/// Random points by getValues, which may use several threads; points along a line one after the
/// other.
template <class Mesh>
class ProbeJob final : public Job
{
  using Probe = std::conditional_t<std::is_same_v<Mesh, MbVolumeMeshUnstructured>,
                                   MiPointProbeUnstructured, MiPointProbeIjk>;

public:
  ProbeJob(const MeshArrays& arrays, const Task& task, int threads)
      : m_arrays(arrays), m_isWalk(task.flow == Flow::Walk), m_parallel(threads > 1),
        m_points(vectorsOf(m_isWalk ? bench::helixPoints(probeCount(arrays))
                                    : bench::randomProbePoints(probeCount(arrays)))),
        m_values(m_points.size())
  {}

  void run() override
  {
    m_mesh = makeOurMesh<Mesh>(m_arrays);
    m_field = makeOurField<double>(m_arrays, m_arrays.smooth);
    m_probe = Probe::getNewInstance(*m_mesh, m_parallel);
    step(0);
  }
  void step(int) override
  {
    ++m_runs;
    if (!m_isWalk) {
      m_probe->getValues(m_points, nullptr, *m_field, m_values);
      return;
    }
    for (std::size_t n = 0; n < m_points.size(); ++n)
      m_values[n] = m_probe->locate(m_points[n], m_probe->getCell(), nullptr)
                        ? m_probe->getValue(*m_field)
                        : std::nan("");
  }
  CheckValues check() const override
  {
    CheckValues values;
    values.addFound(m_values);
    return values;
  }
  std::size_t extractionCount() const override { return m_runs; }

private:
  MeshArrays m_arrays;
  bool m_isWalk, m_parallel;
  std::vector<MbVec3d> m_points;
  std::vector<double> m_values;
  std::unique_ptr<Mesh> m_mesh;
  std::unique_ptr<MiTypedDataSet<double>> m_field;
  std::unique_ptr<Probe> m_probe;
  std::size_t m_runs = 0;
};

template <class Mesh>
using StreamExtractorOf =
    std::conditional_t<std::is_same_v<Mesh, MbVolumeMeshUnstructured>,
                       MiStreamlineExtractUnstructured, MiStreamlineExtractIjk>;

template <class Mesh>
class StreamJob final : public OurJob<Mesh, StreamExtractorOf<Mesh>>
{
  using Base = OurJob<Mesh, StreamExtractorOf<Mesh>>;
  using Base::m_arrays, Base::m_extractor;

public:
  StreamJob(const MeshArrays& arrays, const Task& task, int threads)
      : Base(arrays, task, threads), m_seeds(vectorsOf(bench::streamSeeds(seedCount(arrays))))
  {}

  void run() override
  {
    this->makeMesh();
    m_vectors = makeOurField<MbVec3d>(m_arrays, m_arrays.vec);
    m_colour = makeOurField<double>(m_arrays, m_arrays.colour);
    step(0);
  }
  void step(int) override
  {
    // The tree stays with the mesh as long as an extractor is there that used it.
    const auto before = std::move(m_extractor);
    this->makeExtractor();
    m_extractor->setMaxLength(1);
    m_extractor->extractStreamlines(m_seeds, *m_vectors, nullptr);
    for (std::size_t l = 0; l < m_seeds.size(); ++l)
      m_extractor->extractScalarSet(l, *m_colour);
  }
  CheckValues check() const override
  {
    CheckValues values;
    for (std::size_t l = 0; l < m_seeds.size(); ++l) {
      const auto points = m_extractor->getPoints(l);
      const auto& colours = m_extractor->extractScalarSet(l, *m_colour)->values;
      values.triangles += !points.empty();
      for (std::size_t n = 1; n < points.size(); ++n) {
        const double way = length(points[n] - points[n - 1]);
        values.fanArea += way;
        values.fanIntegral += way * 0.5 * (colours[n] + colours[n - 1]);
      }
    }
    return values;
  }

private:
  std::vector<MbVec3d> m_seeds;
  std::unique_ptr<MiTypedDataSet<MbVec3d>> m_vectors;
  std::unique_ptr<MiTypedDataSet<double>> m_colour;
};

} // namespace

std::unique_ptr<Job> makeOurFlow(const MeshArrays& mesh, const Task& task, int threads)
{
  if (task.flow == Flow::Stream) return makeOurJob<StreamJob>(mesh, task, threads);
  return makeOurJob<ProbeJob>(mesh, task, threads);
}
