#pragma once

#include "Job.h"

#include <vtkDataSet.h>
#include <vtkSmartPointer.h>

/// A data set over the arrays themselves: nothing is copied, nothing is cached yet. With it the
/// fields that the task needs, the one of an isosurface as the active scalars.
vtkSmartPointer<vtkDataSet> makePeerMesh(const MeshArrays& mesh, const Task& task);

/// What the peer's jobs share: the arrays and the task, of which makePeerMesh makes the mesh.
class PeerJob : public Job
{
public:
  PeerJob(const MeshArrays& mesh, const Task& task) : m_arrays(mesh), m_task(task) {}

protected:
  vtkSmartPointer<vtkDataSet> makeMesh() const { return makePeerMesh(m_arrays, m_task); }

  MeshArrays m_arrays;
  Task m_task;
};

/// A JobMaker of one of them.
/// @param options  more that its constructor wants to know
template <class Made, auto... options>
std::unique_ptr<Job> makePeerJob(const MeshArrays& mesh, const Task& task, int)
{
  return std::make_unique<Made>(mesh, task, options...);
}

/// The check values of polygons, whose cell data names the cell of each face where it does, or of a
/// collection of such.
CheckValues checkPeerSurface(vtkDataObject* output);
