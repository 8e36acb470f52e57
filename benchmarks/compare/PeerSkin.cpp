#include "Peer.h"
#include "PeerMesh.h"

#include <vtkDataSetSurfaceFilter.h>
#include <vtkGeometryFilter.h>
#include <vtkNew.h>

namespace {

template <class Filter>
class SkinJob final : public Job
{
public:
  using Setup = void (*)(Filter&);
  SkinJob(const MeshArrays& mesh, Setup setup) : m_mesh(mesh), m_setup(setup) {}

  void run() override
  {
    m_filter->SetInputData(makePeerMesh(m_mesh, {}));
    m_filter->SetPassThroughCellIds(true);
    m_setup(*m_filter);
    m_filter->Update();
  }
  CheckValues check() const override { return checkPeerSurface(m_filter->GetOutputDataObject(0)); }

private:
  MeshArrays m_mesh;
  Setup m_setup;
  vtkNew<Filter> m_filter;
};

std::unique_ptr<Job> surfaceFilter(const MeshArrays& mesh, const Task&, int)
{
  return std::make_unique<SkinJob<vtkDataSetSurfaceFilter>>(
      mesh, [](vtkDataSetSurfaceFilter& filter) { filter.SetDelegation(false); });
}

std::unique_ptr<Job> mergingFilter(const MeshArrays& mesh, const Task&, int)
{
  return std::make_unique<SkinJob<vtkGeometryFilter>>(mesh, [](vtkGeometryFilter& filter) {
    filter.SetMerging(true);
    filter.SetFastMode(false);
  });
}

std::unique_ptr<Job> fastFilter(const MeshArrays& mesh, const Task&, int)
{
  return std::make_unique<SkinJob<vtkGeometryFilter>>(mesh, [](vtkGeometryFilter& filter) {
    filter.SetMerging(false);
    filter.SetFastMode(true);
  });
}

} // namespace

std::vector<PeerFilter> peerSkinFilters(bool structured)
{
  // The surface filter gives each side of a structured grid points of its own.
  std::vector<PeerFilter> filters{
      {"vtkDataSetSurfaceFilter", surfaceFilter, true, !structured},
      {"vtkGeometryFilter merging", mergingFilter, true, true},
  };
  // Left out: vtkUnstructuredGridGeometryFilter took 1.5 to 4 times as long as the surface
  // filter and makes floats of the points. Without merging the geometry filter crashes on
  // structured grids; in fast mode it keeps the unused points and misses faces of tetrahedra.
  if (!structured) filters.push_back({"vtkGeometryFilter fast", fastFilter, false, false});
  return filters;
}
