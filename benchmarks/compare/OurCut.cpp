#include "OurMesh.h"
#include "Ours.h"

#include <velmo/extraction/algorithms/map/MxNodeNormals.h>
#include <velmo/extraction/extractors/MiIsosurfExtract.h>
#include <velmo/extraction/extractors/MiSliceExtract.h>

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
using ExtractorOf = std::conditional_t<std::is_same_v<Mesh, MbVolumeMeshUnstructured>,
                                       typename Shape::Unstructured, typename Shape::Ijk>;

template <class Shape, class Mesh>
class CutJob final : public OurJob<Mesh, ExtractorOf<Shape, Mesh>>
{
  using Base = OurJob<Mesh, ExtractorOf<Shape, Mesh>>;
  using Base::m_arrays, Base::m_task, Base::m_extractor;
  using Set = std::conditional_t<std::is_same_v<Mesh, MbVolumeMeshUnstructured>, MiScalardSetI,
                                 MiScalardSetIjk>;

public:
  using Base::Base;

  void run() override
  {
    this->makeMesh();
    m_field = makeOurField<double>(m_arrays, m_task.busy ? m_arrays.busy : m_arrays.smooth);
    m_colour = makeOurField<double>(m_arrays, m_arrays.colour);
    this->makeExtractor();
    step(0);
  }
  void step(int step) override
  {
    m_surface = &Shape::extract(*m_extractor, asSet(*m_field), m_task, step);
    if (m_task.normals) nodeNormals(*m_surface, this->m_parallel, m_normals);
    if (m_task.colour) m_mapped = m_extractor->extractScalarSet(asSet(*m_colour));
  }
  CheckValues check() const override { return checkOurSurface(*m_surface, m_mapped); }

private:
  static const Set& asSet(const MiTypedDataSet<double>& set)
  {
    return dynamic_cast<const Set&>(set);
  }

  std::unique_ptr<MiTypedDataSet<double>> m_field, m_colour;
  const MeXSurfaceMeshUnstructured* m_surface = nullptr;
  const MeXDataSetI<double>* m_mapped = nullptr;
  MxArray<MbVec3f> m_normals;
};

template <class Shape>
struct CutOf
{
  template <class Mesh>
  using On = CutJob<Shape, Mesh>;
};

} // namespace

std::unique_ptr<Job> makeOurCut(const MeshArrays& mesh, const Task& task, int threads)
{
  switch (task.cut) {
  case Cut::Plane:
    return makeOurJob<CutOf<Plane>::On>(mesh, task, threads);
  case Cut::Sphere:
    return makeOurJob<CutOf<Sphere>::On>(mesh, task, threads);
  case Cut::Cylinder:
    return makeOurJob<CutOf<Cylinder>::On>(mesh, task, threads);
  default:
    return makeOurJob<CutOf<Isosurface>::On>(mesh, task, threads);
  }
}
