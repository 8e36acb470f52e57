#include "PeerMesh.h"

#include "Peer.h"

#include <vtkCellArray.h>
#include <vtkCellArrayIterator.h>
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkIdTypeArray.h>
#include <vtkNew.h>
#include <vtkObject.h>
#include <vtkPoints.h>
#include <vtkSMPTools.h>
#include <vtkStructuredGrid.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>
#include <vtkVersion.h>

#include <vector>

static_assert(sizeof(vtkIdType) == sizeof(std::int64_t), "the peer's numbers must have 64 bits");

namespace {

/// Lends `count` numbers to an array of the peer, which neither changes nor frees them.
template <class Array, class T>
vtkSmartPointer<Array> lend(const T* values, std::size_t count, int components = 1)
{
  using Value = typename Array::ValueType;
  static_assert(sizeof(Value) == sizeof(T));
  auto array = vtkSmartPointer<Array>::New();
  array->SetNumberOfComponents(components);
  array->SetArray(reinterpret_cast<Value*>(const_cast<T*>(values)), static_cast<vtkIdType>(count),
                  1);
  return array;
}

} // namespace

vtkSmartPointer<vtkDataSet> makePeerMesh(const MeshArrays& mesh)
{
  vtkNew<vtkPoints> points;
  points->SetData(lend<vtkDoubleArray>(mesh.points, 3 * mesh.nodeCount, 3));
  if (mesh.isStructured()) {
    auto grid = vtkSmartPointer<vtkStructuredGrid>::New();
    grid->SetDimensions(static_cast<int>(mesh.axisNodes[0]), static_cast<int>(mesh.axisNodes[1]),
                        static_cast<int>(mesh.axisNodes[2]));
    grid->SetPoints(points);
    return grid;
  }
  vtkNew<vtkCellArray> cells;
  cells->SetData(lend<vtkIdTypeArray>(mesh.offsets, mesh.cellCount + 1),
                 lend<vtkIdTypeArray>(mesh.connectivity, mesh.connectivityCount));
  auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
  grid->SetPoints(points);
  grid->SetCells(lend<vtkUnsignedCharArray>(mesh.shapes, mesh.cellCount), cells);
  return grid;
}

CheckValues checkPeerSurface(vtkPolyData& surface)
{
  CheckValues values;
  values.vertices = static_cast<std::size_t>(surface.GetNumberOfPoints());
  auto* cells = vtkIdTypeArray::SafeDownCast(surface.GetCellData()->GetArray("vtkOriginalCellIds"));
  std::vector<double> corners;
  auto walk = vtk::TakeSmartPointer(surface.GetPolys()->NewIterator());
  for (walk->GoToFirstCell(); !walk->IsDoneWithTraversal(); walk->GoToNextCell()) {
    vtkIdType size = 0;
    const vtkIdType* ids = nullptr;
    walk->GetCurrentCell(size, ids);
    corners.resize(3 * static_cast<std::size_t>(size));
    for (vtkIdType i = 0; i < size; ++i)
      surface.GetPoint(ids[i], &corners[3 * static_cast<std::size_t>(i)]);
    const vtkIdType face = walk->GetCurrentCellId();
    values.addFace(corners.data(), static_cast<std::size_t>(size),
                   cells ? static_cast<std::uint64_t>(cells->GetValue(face)) : 0);
  }
  return values;
}

std::string peerDescription()
{
  setPeerThreads(2);
  return std::string("VTK ") + vtkVersion::GetVTKVersion() + ", threads by " +
         vtkSMPTools::GetBackend();
}

void setPeerThreads(int threads)
{
  vtkObject::GlobalWarningDisplayOff();
  // One thread is the sequential back-end: the TBB one would sort outside the arena that
  // Initialize() sizes.
  vtkSMPTools::SetBackend(threads == 1 ? "Sequential" : "TBB");
  if (threads > 1) vtkSMPTools::Initialize(threads);
}
