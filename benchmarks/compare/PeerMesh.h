#pragma once

#include "Job.h"

#include <vtkDataSet.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>

/// A data set over the arrays themselves: nothing is copied, nothing is cached yet.
vtkSmartPointer<vtkDataSet> makePeerMesh(const MeshArrays& mesh);

/// The check values of polygons whose cell data names the cell of each face, where it does.
CheckValues checkPeerSurface(vtkPolyData& surface);
