#include "Peer.h"
#include "PeerMesh.h"

#include <vtkDataSetSurfaceFilter.h>
#include <vtkGeometryFilter.h>
#include <vtkNew.h>

namespace {

template <class Filter>
class SkinJob final : public PeerJob
{
public:
  using Setup = void (*)(Filter&);
  SkinJob(const MeshArrays& mesh, const Task& task, Setup setup)
      : PeerJob(mesh, task), m_setup(setup)
  {}

  void run() override
  {
    m_filter->SetInputData(makeMesh());
    m_filter->SetPassThroughCellIds(true);
    m_setup(*m_filter);
    m_filter->Update();
  }
  CheckValues check() const override { return checkPeerSurface(m_filter->GetOutputDataObject(0)); }

private:
  Setup m_setup;
  vtkNew<Filter> m_filter;
};

void keepToSurfaceFilter(vtkDataSetSurfaceFilter& filter)
{
  filter.SetDelegation(false);
}

template <bool IsFast>
void setFast(vtkGeometryFilter& filter)
{
  filter.SetMerging(!IsFast);
  filter.SetFastMode(IsFast);
}

constexpr JobMaker kSurfaceFilter =
    makePeerJob<SkinJob<vtkDataSetSurfaceFilter>, &keepToSurfaceFilter>;
template <bool IsFast>
constexpr JobMaker kGeometryFilter = makePeerJob<SkinJob<vtkGeometryFilter>, &setFast<IsFast>>;

} // namespace

std::vector<PeerFilter> peerSkinFilters(bool structured)
{
  // The surface filter gives each side of a structured grid points of its own.
  std::vector<PeerFilter> filters{
      {"vtkDataSetSurfaceFilter", kSurfaceFilter, true, !structured},
      {"vtkGeometryFilter merging", kGeometryFilter<false>, true, true},
  };
  // Left out: vtkUnstructuredGridGeometryFilter took 1.5 to 4 times as long as the surface
  // filter and makes floats of the points. Without merging the geometry filter crashes on
  // structured grids; in fast mode it keeps the unused points and misses faces of tetrahedra.
  if (!structured)
    filters.push_back({"vtkGeometryFilter fast", kGeometryFilter<true>, false, false});
  return filters;
}
