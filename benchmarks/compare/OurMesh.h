#pragma once

#include "Job.h"

#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/mesh/MeXMesh.h>

#include <chrono>
#include <span>

inline MbIndex3 cellsOf(const MeshArrays& mesh)
{
  return {mesh.axisNodes[0] - 1, mesh.axisNodes[1] - 1, mesh.axisNodes[2] - 1};
}

/// Our mesh over the arrays themselves, with stamps of its own.
template <class Mesh>
std::unique_ptr<Mesh> makeOurMesh(const MeshArrays& mesh)
{
  const auto axis = [&](int a) { return std::span(mesh.axes[a], mesh.axisNodes[a]); };
  const std::span points(mesh.points, mesh.points ? 3 * mesh.nodeCount : 0);
  if constexpr (std::is_same_v<Mesh, MbVolumeMeshRegular>)
    return std::make_unique<Mesh>(MbTopologyIjk(cellsOf(mesh)), MbVec3d{},
                                  MbVec3d{mesh.spacing, mesh.spacing, mesh.spacing});
  else if constexpr (std::is_same_v<Mesh, MbVolumeMeshRectilinear>)
    return std::make_unique<Mesh>(MbTopologyIjk(cellsOf(mesh)), axis(0), axis(1), axis(2));
  else if constexpr (std::is_same_v<Mesh, MbVolumeMeshCurvilinear>)
    return std::make_unique<Mesh>(MbTopologyIjk(cellsOf(mesh)), points);
  else if constexpr (std::is_same_v<Mesh, MbSurfaceMeshCurvilinear>)
    return std::make_unique<Mesh>(MbTopologyIj(mesh.axisNodes[0] - 1, mesh.axisNodes[1] - 1),
                                  points);
  else
    return std::make_unique<Mesh>(MbTopologyI(std::span(mesh.shapes, mesh.cellCount),
                                              std::span(mesh.offsets, mesh.cellCount + 1),
                                              std::span(mesh.connectivity, mesh.connectivityCount)),
                                  points);
}

/// A job on a volume mesh of the arrays' kind.
/// @tparam JobOf  of the class of the mesh
template <template <class> class JobOf>
std::unique_ptr<Job> makeOurJob(const MeshArrays& mesh, const Task& task, int threads)
{
  switch (mesh.kind) {
  case MeshKind::Curvilinear:
    return std::make_unique<JobOf<MbVolumeMeshCurvilinear>>(mesh, task, threads);
  case MeshKind::Rectilinear:
    return std::make_unique<JobOf<MbVolumeMeshRectilinear>>(mesh, task, threads);
  case MeshKind::Regular:
    return std::make_unique<JobOf<MbVolumeMeshRegular>>(mesh, task, threads);
  case MeshKind::Unstructured:
    break;
  }
  return std::make_unique<JobOf<MbVolumeMeshUnstructured>>(mesh, task, threads);
}

/// A field of the mesh's nodes, as its kind numbers them.
template <class T>
std::unique_ptr<MiTypedDataSet<T>> makeOurField(const MeshArrays& mesh, const double* values)
{
  constexpr std::size_t kSize = std::is_same_v<T, MbVec3d> ? 3 : 1;
  const std::span<const double> all(values, kSize * mesh.nodeCount);
  if (!mesh.isStructured())
    return std::make_unique<MbDataSetI<T>>("field", MiDataBinding::PerNode, all);
  const MbIndex3 nodes{mesh.axisNodes[0], mesh.axisNodes[1], mesh.axisNodes[2]};
  return std::make_unique<MbDataSetIjk<T>>("field", MiDataBinding::PerNode, nodes, all);
}

/// Counts the extractions that report themselves and times their phases that check the mesh.
class RunObserver final : public MiExtractorCallback
{
public:
  // Work of one phase is the mapping of data, which is reported only when it takes long.
  void beginExtract(const std::string&, std::size_t phaseCount) override
  {
    m_extractions += phaseCount > 1;
  }
  void endExtract() override {}
  void beginPhase(const std::string& name, std::size_t) override
  {
    m_checking = name.find("check") != std::string::npos || name.find("Check") != std::string::npos;
    m_phaseStart = Clock::now();
  }
  void endPhase() override
  {
    if (m_checking)
      m_checkSeconds += std::chrono::duration<double>(Clock::now() - m_phaseStart).count();
    m_checking = false;
  }
  bool endStep(std::size_t) override { return true; }

  std::size_t extractionCount() const { return m_extractions; }
  double meshCheckSeconds() const { return m_checkSeconds; }

private:
  using Clock = std::chrono::steady_clock;
  std::size_t m_extractions = 0;
  bool m_checking = false;
  Clock::time_point m_phaseStart;
  double m_checkSeconds = 0;
};

/// What our jobs share: the mesh, made of the arrays at each run, and an observed extractor of it.
template <class Mesh, class Extractor>
class OurJob : public Job
{
public:
  OurJob(const MeshArrays& arrays, const Task& task, int threads)
      : m_arrays(arrays), m_task(task), m_parallel(threads > 1)
  {}

  double meshCheckSeconds() const override { return m_observer.meshCheckSeconds(); }
  std::size_t extractionCount() const override { return m_observer.extractionCount(); }

protected:
  void makeMesh() { m_mesh = makeOurMesh<Mesh>(m_arrays); }
  /// A new one, which remembers nothing of the last.
  void makeExtractor()
  {
    auto fresh = Extractor::getNewInstance(*m_mesh, m_parallel);
    fresh->setCallback(&m_observer);
    m_extractor = std::move(fresh);
  }

  MeshArrays m_arrays;
  Task m_task;
  bool m_parallel;
  RunObserver m_observer;
  std::unique_ptr<Mesh> m_mesh;
  std::unique_ptr<Extractor> m_extractor;
};

/// The check values of an extracted surface.
/// @param colour  values on it, null for none
CheckValues checkOurSurface(const MeXSurfaceMeshUnstructured& surface,
                            const MeXDataSetI<double>* colour = nullptr);
