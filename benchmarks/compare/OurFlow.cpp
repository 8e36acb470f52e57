#include "../Workloads.h"
#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/extractors/MiPointProbe.h>
#include <velmo/extraction/extractors/MiStreamlineExtract.h>
#include <velmo/mesh/MbDataSet.h>

#include <cmath>

namespace {

std::vector<MbVec3d> vectorsOf(const std::vector<bench::Point>& points)
{
  std::vector<MbVec3d> all;
  for (const bench::Point& p : points)
    all.push_back({p[0], p[1], p[2]});
  return all;
}

/// A field of the mesh's nodes, as its kind numbers them.
template <class T>
std::unique_ptr<MiTypedDataSet<T>> fieldOf(const MeshArrays& mesh, const double* values)
{
  constexpr std::size_t kSize = std::is_same_v<T, MbVec3d> ? 3 : 1;
  const std::span<const double> all(values, kSize * mesh.nodeCount);
  if (!mesh.isStructured())
    return std::make_unique<MbDataSetI<T>>("field", MiDataBinding::PerNode, all);
  const MbIndex3 nodes{mesh.axisNodes[0], mesh.axisNodes[1], mesh.axisNodes[2]};
  return std::make_unique<MbDataSetIjk<T>>("field", MiDataBinding::PerNode, nodes, all);
}

/// Random points by getValues, which may use several threads; points along a line one after the
/// other.
template <class Mesh, class Probe>
class ProbeJob final : public Job
{
public:
  using MakeMesh = std::unique_ptr<Mesh> (*)(const MeshArrays&);
  ProbeJob(const MeshArrays& arrays, const Task& task, int threads, MakeMesh makeMesh)
      : m_arrays(arrays), m_isWalk(task.flow == Flow::Walk), m_parallel(threads > 1),
        m_makeMesh(makeMesh),
        m_points(vectorsOf(m_isWalk ? bench::helixPoints(probeCount(arrays))
                                    : bench::randomProbePoints(probeCount(arrays)))),
        m_values(m_points.size())
  {}

  void run() override
  {
    m_mesh = m_makeMesh(m_arrays);
    m_field = fieldOf<double>(m_arrays, m_arrays.smooth);
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
  MakeMesh m_makeMesh;
  std::vector<MbVec3d> m_points;
  std::vector<double> m_values;
  std::unique_ptr<Mesh> m_mesh;
  std::unique_ptr<MiTypedDataSet<double>> m_field;
  std::unique_ptr<Probe> m_probe;
  std::size_t m_runs = 0;
};

template <class Mesh, class Extractor>
class StreamJob final : public Job
{
public:
  using MakeMesh = std::unique_ptr<Mesh> (*)(const MeshArrays&);
  StreamJob(const MeshArrays& arrays, const Task&, int threads, MakeMesh makeMesh)
      : m_arrays(arrays), m_parallel(threads > 1), m_makeMesh(makeMesh),
        m_seeds(vectorsOf(bench::streamSeeds(seedCount(arrays))))
  {}

  void run() override
  {
    m_mesh = m_makeMesh(m_arrays);
    m_vectors = fieldOf<MbVec3d>(m_arrays, m_arrays.vec);
    m_colour = fieldOf<double>(m_arrays, m_arrays.colour);
    step(0);
  }
  void step(int) override
  {
    // A new extractor remembers nothing; the tree stays with the mesh.
    auto fresh = Extractor::getNewInstance(*m_mesh, m_parallel);
    fresh->setCallback(&m_observer);
    fresh->setMaxLength(1);
    fresh->extractStreamlines(m_seeds, *m_vectors, nullptr);
    for (std::size_t l = 0; l < m_seeds.size(); ++l)
      fresh->extractScalarSet(l, *m_colour);
    m_extractor = std::move(fresh);
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
  double meshCheckSeconds() const override { return m_observer.meshCheckSeconds(); }
  std::size_t extractionCount() const override { return m_observer.extractionCount(); }

private:
  MeshArrays m_arrays;
  bool m_parallel;
  MakeMesh m_makeMesh;
  RunObserver m_observer;
  std::vector<MbVec3d> m_seeds;
  std::unique_ptr<Mesh> m_mesh;
  std::unique_ptr<MiTypedDataSet<MbVec3d>> m_vectors;
  std::unique_ptr<MiTypedDataSet<double>> m_colour;
  std::unique_ptr<Extractor> m_extractor;
};

template <template <class, class> class JobOf, class Unstructured, class Ijk>
std::unique_ptr<Job> makeJob(const MeshArrays& mesh, const Task& task, int threads)
{
  switch (mesh.kind) {
  case MeshKind::Unstructured:
    return std::make_unique<JobOf<MbVolumeMeshUnstructured, Unstructured>>(mesh, task, threads,
                                                                           makeOurUnstructured);
  case MeshKind::Curvilinear:
    return std::make_unique<JobOf<MbVolumeMeshCurvilinear, Ijk>>(mesh, task, threads,
                                                                 makeOurCurvilinear);
  case MeshKind::Rectilinear:
    return std::make_unique<JobOf<MbVolumeMeshRectilinear, Ijk>>(mesh, task, threads,
                                                                 makeOurRectilinear);
  case MeshKind::Regular:
    break;
  }
  return std::make_unique<JobOf<MbVolumeMeshRegular, Ijk>>(mesh, task, threads, makeOurRegular);
}

} // namespace

std::unique_ptr<Job> makeOurFlow(const MeshArrays& mesh, const Task& task, int threads)
{
  if (task.flow == Flow::Stream)
    return makeJob<StreamJob, MiStreamlineExtractUnstructured, MiStreamlineExtractIjk>(mesh, task,
                                                                                       threads);
  return makeJob<ProbeJob, MiPointProbeUnstructured, MiPointProbeIjk>(mesh, task, threads);
}
