#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/algorithms/MxNodeNormals.h>
#include <velmo/extraction/extractors/MiIsosurfExtract.h>
#include <velmo/extraction/extractors/MiSliceExtract.h>
#include <velmo/mesh/MbDataSet.h>

namespace {

MbVec3d vectorOf(const double (&v)[3])
{
  return {v[0], v[1], v[2]};
}

struct Isosurface
{
  using Unstructured = MiIsosurfExtractUnstructured;
  using Ijk = MiIsosurfExtractIjk;
  template <class Extractor, class Set>
  static const auto& extract(Extractor& extractor, const Set& field, const Task& task, int step)
  {
    return extractor.extractIsosurf(field, task.movedValue(step), nullptr);
  }
};

struct Plane
{
  using Unstructured = MiPlaneSliceExtractUnstructured;
  using Ijk = MiPlaneSliceExtractIjk;
  template <class Extractor, class Set>
  static const auto& extract(Extractor& extractor, const Set&, const Task& task, int step)
  {
    return extractor.extractSlice(vectorOf(task.direction), task.movedDistance(step), nullptr);
  }
};

struct Sphere
{
  using Unstructured = MiSphereSliceExtractUnstructured;
  using Ijk = MiSphereSliceExtractIjk;
  template <class Extractor, class Set>
  static const auto& extract(Extractor& extractor, const Set&, const Task& task, int)
  {
    return extractor.extractSlice(vectorOf(task.point), task.radius, nullptr);
  }
};

struct Cylinder
{
  using Unstructured = MiCylinderSliceExtractUnstructured;
  using Ijk = MiCylinderSliceExtractIjk;
  template <class Extractor, class Set>
  static const auto& extract(Extractor& extractor, const Set&, const Task& task, int)
  {
    return extractor.extractSlice(vectorOf(task.point), vectorOf(task.direction), task.radius,
                                  nullptr);
  }
};

template <class Shape, class Mesh>
class CutJob final : public Job
{
  static constexpr bool kIsFlat = std::is_same_v<Mesh, MbVolumeMeshUnstructured>;
  using Extractor = std::conditional_t<kIsFlat, typename Shape::Unstructured, typename Shape::Ijk>;
  using Set = std::conditional_t<kIsFlat, MbScalardSetI, MbScalardSetIjk>;

public:
  using MakeMesh = std::unique_ptr<Mesh> (*)(const MeshArrays&);
  CutJob(const MeshArrays& arrays, const Task& task, int threads, MakeMesh makeMesh)
      : m_arrays(arrays), m_task(task), m_parallel(threads > 1), m_makeMesh(makeMesh)
  {}

  void run() override
  {
    m_mesh = m_makeMesh(m_arrays);
    m_field = makeSet(m_task.busy ? m_arrays.busy : m_arrays.smooth);
    m_colour = makeSet(m_arrays.colour);
    m_extractor = Extractor::getNewInstance(*m_mesh, m_parallel);
    m_extractor->setCallback(&m_observer);
    step(0);
  }
  void step(int step) override
  {
    m_surface = &Shape::extract(*m_extractor, *m_field, m_task, step);
    if (m_task.normals) nodeNormals(*m_surface, m_parallel, m_normals);
    if (m_task.colour) m_mapped = m_extractor->extractScalarSet(*m_colour);
  }
  CheckValues check() const override { return checkOurSurface(*m_surface, m_mapped); }
  double meshCheckSeconds() const override { return m_observer.meshCheckSeconds(); }
  std::size_t extractionCount() const override { return m_observer.extractionCount(); }

private:
  std::unique_ptr<Set> makeSet(const double* values) const
  {
    const std::span numbers(values, m_arrays.nodeCount);
    if constexpr (kIsFlat) {
      return std::make_unique<Set>("", MiDataBinding::PerNode, numbers);
    } else {
      const auto& nodes = m_arrays.axisNodes;
      return std::make_unique<Set>("", MiDataBinding::PerNode,
                                   MbIndex3{nodes[0], nodes[1], nodes[2]}, numbers);
    }
  }

  MeshArrays m_arrays;
  Task m_task;
  bool m_parallel;
  MakeMesh m_makeMesh;
  RunObserver m_observer;
  std::unique_ptr<Mesh> m_mesh;
  std::unique_ptr<Set> m_field, m_colour;
  std::unique_ptr<Extractor> m_extractor;
  const MeXSurfaceMeshUnstructured* m_surface = nullptr;
  const MeXDataSetI<double>* m_mapped = nullptr;
  MxArray<MbVec3f> m_normals;
};

template <class Shape>
std::unique_ptr<Job> makeCut(const MeshArrays& mesh, const Task& task, int threads)
{
  switch (mesh.kind) {
  case MeshKind::Curvilinear:
    return std::make_unique<CutJob<Shape, MbVolumeMeshCurvilinear>>(mesh, task, threads,
                                                                    makeOurCurvilinear);
  case MeshKind::Rectilinear:
    return std::make_unique<CutJob<Shape, MbVolumeMeshRectilinear>>(mesh, task, threads,
                                                                    makeOurRectilinear);
  case MeshKind::Regular:
    return std::make_unique<CutJob<Shape, MbVolumeMeshRegular>>(mesh, task, threads,
                                                                makeOurRegular);
  default:
    return std::make_unique<CutJob<Shape, MbVolumeMeshUnstructured>>(mesh, task, threads,
                                                                     makeOurUnstructured);
  }
}

} // namespace

std::unique_ptr<Job> makeOurCut(const MeshArrays& mesh, const Task& task, int threads)
{
  switch (task.cut) {
  case Cut::Plane:
    return makeCut<Plane>(mesh, task, threads);
  case Cut::Sphere:
    return makeCut<Sphere>(mesh, task, threads);
  case Cut::Cylinder:
    return makeCut<Cylinder>(mesh, task, threads);
  default:
    return makeCut<Isosurface>(mesh, task, threads);
  }
}
