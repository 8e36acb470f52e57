#include "Peer.h"
#include "PeerMesh.h"

#include <vtkContourFilter.h>
#include <vtkNew.h>
#include <vtkSpanSpace.h>

namespace {

template <bool Tree>
class IsolineJob final : public PeerJob
{
public:
  IsolineJob(const MeshArrays& mesh, const Task& task) : PeerJob(mesh, task)
  {
    m_filter->SetComputeNormals(false);
    m_filter->SetComputeScalars(false);
    m_filter->SetComputeGradients(false);
    m_filter->SetUseScalarTree(Tree);
    if (Tree) m_filter->SetScalarTree(m_tree);
  }

  void run() override
  {
    m_filter->SetInputDataObject(makeMesh());
    step(0);
  }
  void step(int step) override
  {
    for (int v = 0; v < m_task.valueCount; ++v)
      m_filter->SetValue(v, m_task.movedValue(step) + v * m_task.valueStep);
    m_filter->Update();
  }
  CheckValues check() const override
  {
    return checkPeerSurface(const_cast<IsolineJob*>(this)->m_filter->GetOutputDataObject(0));
  }

private:
  vtkNew<vtkSpanSpace> m_tree;
  vtkNew<vtkContourFilter> m_filter;
};

} // namespace

std::vector<PeerFilter> peerIsolineFilters()
{
  return {{"vtkContourFilter", makePeerJob<IsolineJob<false>>, true, true},
          {"vtkContourFilter tree", makePeerJob<IsolineJob<true>>, true, true}};
}
