#include "Peer.h"
#include "PeerMesh.h"

#include <vtkDataSetSurfaceFilter.h>
#include <vtkExtractGrid.h>
#include <vtkImageDataGeometryFilter.h>
#include <vtkNew.h>
#include <vtkStructuredGridGeometryFilter.h>

namespace {

/// The nodes of the task's layers: all along the other two axes.
void setExtent(const MeshArrays& mesh, const Task& task, int (&extent)[6])
{
  for (std::size_t axis = 0; axis < 3; ++axis) {
    extent[2 * axis] = 0;
    extent[2 * axis + 1] = static_cast<int>(mesh.axisNodes[axis]) - 1;
  }
  extent[2 * task.axis] = static_cast<int>(task.layer(mesh));
  extent[2 * task.axis + 1] = static_cast<int>(task.layer(mesh) + task.layerCount);
}

template <class Filter>
class LayerJob final : public PeerJob
{
public:
  using PeerJob::PeerJob;

  void run() override
  {
    int extent[6];
    setExtent(m_arrays, m_task, extent);
    m_filter->SetInputDataObject(makeMesh());
    m_filter->SetExtent(extent);
    m_filter->Update();
  }
  CheckValues check() const override { return checkPeerSurface(m_filter->GetOutputDataObject(0)); }

private:
  vtkNew<Filter> m_filter;
};

class SlabJob final : public PeerJob
{
public:
  using PeerJob::PeerJob;

  void run() override
  {
    int extent[6];
    setExtent(m_arrays, m_task, extent);
    m_part->SetInputDataObject(makeMesh());
    m_part->SetVOI(extent);
    m_skin->SetInputConnection(m_part->GetOutputPort());
    m_skin->SetDelegation(false);
    m_skin->Update();
  }
  CheckValues check() const override { return checkPeerSurface(m_skin->GetOutputDataObject(0)); }

private:
  vtkNew<vtkExtractGrid> m_part;
  vtkNew<vtkDataSetSurfaceFilter> m_skin;
};

} // namespace

std::vector<PeerFilter> peerLayerFilters(MeshKind kind)
{
  if (kind == MeshKind::Regular)
    return {{"vtkImageDataGeometryFilter", makePeerJob<LayerJob<vtkImageDataGeometryFilter>>, true,
             true}};
  return {{"vtkStructuredGridGeometryFilter",
           makePeerJob<LayerJob<vtkStructuredGridGeometryFilter>>, true, true}};
}

std::vector<PeerFilter> peerSlabFilters()
{
  // The surface filter gives each side of a structured grid points of its own.
  return {{"vtkExtractGrid + vtkDataSetSurfaceFilter", makePeerJob<SlabJob>, true, false}};
}
