#include "Peer.h"
#include "PeerMesh.h"

#include <vtk3DLinearGridPlaneCutter.h>
#include <vtkContour3DLinearGrid.h>
#include <vtkCutter.h>
#include <vtkCylinder.h>
#include <vtkFlyingEdges3D.h>
#include <vtkFlyingEdgesPlaneCutter.h>
#include <vtkGridSynchronizedTemplates3D.h>
#include <vtkNew.h>
#include <vtkPlane.h>
#include <vtkPlaneCutter.h>
#include <vtkRectilinearSynchronizedTemplates.h>
#include <vtkSampleImplicitFunctionFilter.h>
#include <vtkSpanSpace.h>
#include <vtkSphere.h>

namespace {

/// A filter, or the last of two, that is run again after it was told something else.
class CutJob : public PeerJob
{
public:
  using PeerJob::PeerJob;

  void run() override
  {
    first().SetInputDataObject(makeMesh());
    step(0);
  }
  void step(int step) override
  {
    move(step);
    last().Update();
  }
  CheckValues check() const override
  {
    return checkPeerSurface(const_cast<CutJob*>(this)->last().GetOutputDataObject(0));
  }

protected:
  virtual vtkAlgorithm& first() = 0;
  virtual vtkAlgorithm& last() { return first(); }
  virtual void move(int step) = 0;
};

// The filters do not share the bases that would let these be virtual calls.

template <class Filter>
void setUpContours(Filter& filter, const Task& task)
{
  filter.SetComputeNormals(task.normals);
  filter.SetComputeScalars(false);
  if constexpr (std::is_same_v<Filter, vtkContour3DLinearGrid>) filter.SetMergePoints(true);
  if constexpr (std::is_same_v<Filter, vtkFlyingEdges3D> ||
                std::is_same_v<Filter, vtkContour3DLinearGrid>)
    filter.SetInterpolateAttributes(task.colour);
  else
    filter.SetComputeGradients(false);
  if constexpr (std::is_same_v<Filter, vtkFlyingEdges3D>) filter.SetComputeGradients(false);
}

template <class Filter>
class IsosurfaceJob : public CutJob
{
public:
  IsosurfaceJob(const MeshArrays& mesh, const Task& task) : CutJob(mesh, task)
  {
    setUpContours(*m_filter, task);
  }

protected:
  vtkAlgorithm& first() override { return *m_filter; }
  void move(int step) override { m_filter->SetValue(0, m_task.movedValue(step)); }

  vtkNew<Filter> m_filter;
};

class UnmergedIsosurfaceJob final : public IsosurfaceJob<vtkContour3DLinearGrid>
{
public:
  UnmergedIsosurfaceJob(const MeshArrays& mesh, const Task& task) : IsosurfaceJob(mesh, task)
  {
    m_filter->SetMergePoints(false);
  }
};

class TreeIsosurfaceJob final : public IsosurfaceJob<vtkContour3DLinearGrid>
{
public:
  TreeIsosurfaceJob(const MeshArrays& mesh, const Task& task) : IsosurfaceJob(mesh, task)
  {
    m_filter->SetScalarTree(m_tree);
    m_filter->SetUseScalarTree(true);
  }

private:
  vtkNew<vtkSpanSpace> m_tree;
};

template <class Filter>
class PlaneJob : public CutJob
{
public:
  PlaneJob(const MeshArrays& mesh, const Task& task) : CutJob(mesh, task)
  {
    m_plane->SetNormal(task.direction);
    if constexpr (std::is_same_v<Filter, vtkCutter>) {
      m_filter->SetCutFunction(m_plane);
      m_filter->SetGenerateTriangles(true);
    } else {
      m_filter->SetPlane(m_plane);
      m_filter->SetComputeNormals(false);
      m_filter->SetInterpolateAttributes(true);
    }
    if constexpr (std::is_same_v<Filter, vtk3DLinearGridPlaneCutter>)
      m_filter->SetMergePoints(true);
    if constexpr (std::is_same_v<Filter, vtkPlaneCutter>) m_filter->SetBuildTree(false);
  }

protected:
  vtkAlgorithm& first() override { return *m_filter; }
  void move(int step) override
  {
    const double d = m_task.movedDistance(step);
    const double* n = m_task.direction;
    m_plane->SetOrigin(d * n[0], d * n[1], d * n[2]);
  }

  vtkNew<vtkPlane> m_plane;
  vtkNew<Filter> m_filter;
};

class UnmergedPlaneJob final : public PlaneJob<vtk3DLinearGridPlaneCutter>
{
public:
  UnmergedPlaneJob(const MeshArrays& mesh, const Task& task) : PlaneJob(mesh, task)
  {
    m_filter->SetMergePoints(false);
  }
};

class TreePlaneJob final : public PlaneJob<vtkPlaneCutter>
{
public:
  TreePlaneJob(const MeshArrays& mesh, const Task& task) : PlaneJob(mesh, task)
  {
    m_filter->SetBuildTree(true);
    m_filter->SetBuildHierarchy(true);
  }
};

/// A sphere or a cylinder as a function of the peer.
class Quadric
{
public:
  explicit Quadric(const Task& task)
  {
    m_sphere->SetCenter(const_cast<double*>(task.point));
    m_sphere->SetRadius(task.radius);
    m_cylinder->SetCenter(const_cast<double*>(task.point));
    m_cylinder->SetRadius(task.radius);
    if (task.cut == Cut::Cylinder) m_cylinder->SetAxis(const_cast<double*>(task.direction));
    m_isSphere = task.cut == Cut::Sphere;
  }
  vtkImplicitFunction* function()
  {
    if (m_isSphere) return m_sphere;
    return m_cylinder;
  }

private:
  bool m_isSphere;
  vtkNew<vtkSphere> m_sphere;
  vtkNew<vtkCylinder> m_cylinder;
};

class QuadricCutterJob final : public CutJob
{
public:
  QuadricCutterJob(const MeshArrays& mesh, const Task& task) : CutJob(mesh, task), m_quadric(task)
  {
    m_filter->SetCutFunction(m_quadric.function());
    m_filter->SetGenerateTriangles(true);
  }

private:
  vtkAlgorithm& first() override { return *m_filter; }
  void move(int) override {}

  Quadric m_quadric;
  vtkNew<vtkCutter> m_filter;
};

template <class Filter>
class SampledQuadricJob final : public CutJob
{
public:
  SampledQuadricJob(const MeshArrays& mesh, const Task& task) : CutJob(mesh, task), m_quadric(task)
  {
    m_sampler->SetImplicitFunction(m_quadric.function());
    m_sampler->SetComputeGradients(false);
    m_filter->SetInputConnection(m_sampler->GetOutputPort());
    setUpContours(*m_filter, task);
    m_filter->SetValue(0, 0);
  }

private:
  vtkAlgorithm& first() override { return *m_sampler; }
  vtkAlgorithm& last() override { return *m_filter; }
  void move(int) override {}

  Quadric m_quadric;
  vtkNew<vtkSampleImplicitFunctionFilter> m_sampler;
  vtkNew<Filter> m_filter;
};

template <class Filter>
constexpr JobMaker kIsosurface = makePeerJob<IsosurfaceJob<Filter>>;
template <class Filter>
constexpr JobMaker kPlane = makePeerJob<PlaneJob<Filter>>;

} // namespace

std::vector<PeerFilter> peerIsosurfaceFilters(MeshKind kind)
{
  switch (kind) {
  case MeshKind::Regular:
    return {{"vtkFlyingEdges3D", kIsosurface<vtkFlyingEdges3D>, true, true}};
  case MeshKind::Rectilinear:
    return {{"vtkRectilinearSynchronizedTemplates",
             kIsosurface<vtkRectilinearSynchronizedTemplates>, true, true}};
  case MeshKind::Curvilinear:
    return {{"vtkGridSynchronizedTemplates3D", kIsosurface<vtkGridSynchronizedTemplates3D>, true,
             true}};
  default:
    return {{"vtkContour3DLinearGrid merged", kIsosurface<vtkContour3DLinearGrid>, true, true},
            {"vtkContour3DLinearGrid", makePeerJob<UnmergedIsosurfaceJob>, false, false}};
  }
}

std::vector<PeerFilter> peerPlaneFilters(MeshKind kind)
{
  switch (kind) {
  case MeshKind::Regular:
    return {{"vtkFlyingEdgesPlaneCutter", kPlane<vtkFlyingEdgesPlaneCutter>, true, true},
            {"vtkPlaneCutter", kPlane<vtkPlaneCutter>, true, false}};
  case MeshKind::Rectilinear:
  case MeshKind::Curvilinear:
    return {{"vtkCutter triangles", kPlane<vtkCutter>, true, true},
            {"vtkPlaneCutter", kPlane<vtkPlaneCutter>, false, false}};
  default:
    return {
        {"vtk3DLinearGridPlaneCutter merged", kPlane<vtk3DLinearGridPlaneCutter>, true, true},
        {"vtk3DLinearGridPlaneCutter", makePeerJob<UnmergedPlaneJob>, false, false},
        {"vtkPlaneCutter", kPlane<vtkPlaneCutter>, false, false},
    };
  }
}

std::vector<PeerFilter> peerQuadricFilters(MeshKind kind)
{
  switch (kind) {
  case MeshKind::Regular:
    return {{"vtkSampleImplicitFunctionFilter + vtkFlyingEdges3D",
             makePeerJob<SampledQuadricJob<vtkFlyingEdges3D>>, true, true}};
  case MeshKind::Rectilinear:
  case MeshKind::Curvilinear:
    return {{"vtkCutter triangles", makePeerJob<QuadricCutterJob>, true, true}};
  default:
    return {{"vtkSampleImplicitFunctionFilter + vtkContour3DLinearGrid",
             makePeerJob<SampledQuadricJob<vtkContour3DLinearGrid>>, true, true}};
  }
}

std::vector<PeerFilter> peerIsosurfaceDragFilters()
{
  return {{"vtkContour3DLinearGrid", kIsosurface<vtkContour3DLinearGrid>, true, true},
          {"vtkContour3DLinearGrid + vtkSpanSpace", makePeerJob<TreeIsosurfaceJob>, true, true}};
}

std::vector<PeerFilter> peerPlaneDragFilters(MeshKind kind)
{
  std::vector<PeerFilter> filters = peerPlaneFilters(kind);
  filters.push_back(
      {"vtkPlaneCutter tree", makePeerJob<TreePlaneJob>, kind == MeshKind::Regular, false});
  return filters;
}
