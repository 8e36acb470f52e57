#pragma once

#include "Job.h"

#include <vtkDataSet.h>
#include <vtkSmartPointer.h>

/// A data set over the arrays themselves: nothing is copied, nothing is cached yet. With it the
/// fields that the task needs, the one of an isosurface as the active scalars.
vtkSmartPointer<vtkDataSet> makePeerMesh(const MeshArrays& mesh, const Task& task);

/// The check values of polygons, whose cell data names the cell of each face where it does, or of a
/// collection of such.
CheckValues checkPeerSurface(vtkDataObject* output);
