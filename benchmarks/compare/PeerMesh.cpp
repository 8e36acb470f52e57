#include "PeerMesh.h"

#include "Peer.h"

#include <vtkCellArray.h>
#include <vtkCellArrayIterator.h>
#include <vtkCellData.h>
#include <vtkDoubleArray.h>
#include <vtkIdTypeArray.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkObject.h>
#include <vtkPartitionedDataSet.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkRectilinearGrid.h>
#include <vtkSMPTools.h>
#include <vtkStructuredGrid.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>
#include <vtkVersion.h>

#include <vector>

static_assert(sizeof(vtkIdType) == sizeof(std::int64_t), "the peer's numbers must have 64 bits");

namespace {

constexpr const char* kColour = "colour";

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

template <class Grid>
void setDimensions(Grid& grid, const MeshArrays& mesh)
{
  grid.SetDimensions(static_cast<int>(mesh.axisNodes[0]), static_cast<int>(mesh.axisNodes[1]),
                     static_cast<int>(mesh.axisNodes[2]));
}

vtkSmartPointer<vtkDataSet> makeGeometry(const MeshArrays& mesh)
{
  if (mesh.kind == MeshKind::Regular) {
    auto grid = vtkSmartPointer<vtkImageData>::New();
    setDimensions(*grid, mesh);
    grid->SetSpacing(mesh.spacing, mesh.spacing, mesh.spacing);
    return grid;
  }
  if (mesh.kind == MeshKind::Rectilinear) {
    auto grid = vtkSmartPointer<vtkRectilinearGrid>::New();
    setDimensions(*grid, mesh);
    grid->SetXCoordinates(lend<vtkDoubleArray>(mesh.axes[0], mesh.axisNodes[0]));
    grid->SetYCoordinates(lend<vtkDoubleArray>(mesh.axes[1], mesh.axisNodes[1]));
    grid->SetZCoordinates(lend<vtkDoubleArray>(mesh.axes[2], mesh.axisNodes[2]));
    return grid;
  }
  vtkNew<vtkPoints> points;
  points->SetData(lend<vtkDoubleArray>(mesh.points, 3 * mesh.nodeCount, 3));
  if (mesh.kind == MeshKind::Curvilinear) {
    auto grid = vtkSmartPointer<vtkStructuredGrid>::New();
    setDimensions(*grid, mesh);
    grid->SetPoints(points);
    return grid;
  }
  vtkNew<vtkCellArray> cells;
  cells->SetData(lend<vtkIdTypeArray>(mesh.offsets, mesh.cellCount + 1),
                 lend<vtkIdTypeArray>(mesh.connectivity, mesh.connectivityCount));
  if (mesh.isPolygons) {
    auto polygons = vtkSmartPointer<vtkPolyData>::New();
    polygons->SetPoints(points);
    polygons->SetPolys(cells);
    return polygons;
  }
  auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
  grid->SetPoints(points);
  grid->SetCells(lend<vtkUnsignedCharArray>(mesh.shapes, mesh.cellCount), cells);
  return grid;
}

void addSurface(vtkPolyData& surface, CheckValues& values)
{
  values.vertices += static_cast<std::size_t>(surface.GetNumberOfPoints());
  auto* cells = vtkIdTypeArray::SafeDownCast(surface.GetCellData()->GetArray("vtkOriginalCellIds"));
  auto* colour = surface.GetPointData()->GetArray(kColour);
  std::vector<double> corners, colours;
  auto lines = vtk::TakeSmartPointer(surface.GetLines()->NewIterator());
  for (lines->GoToFirstCell(); !lines->IsDoneWithTraversal(); lines->GoToNextCell()) {
    vtkIdType size = 0;
    const vtkIdType* ids = nullptr;
    lines->GetCurrentCell(size, ids);
    for (vtkIdType i = 1; i < size; ++i) {
      double from[3], to[3];
      surface.GetPoint(ids[i - 1], from);
      surface.GetPoint(ids[i], to);
      values.addSegment(from, to);
    }
  }
  auto walk = vtk::TakeSmartPointer(surface.GetPolys()->NewIterator());
  for (walk->GoToFirstCell(); !walk->IsDoneWithTraversal(); walk->GoToNextCell()) {
    vtkIdType size = 0;
    const vtkIdType* ids = nullptr;
    walk->GetCurrentCell(size, ids);
    corners.resize(3 * static_cast<std::size_t>(size));
    colours.resize(static_cast<std::size_t>(size));
    for (vtkIdType i = 0; i < size; ++i) {
      surface.GetPoint(ids[i], &corners[3 * static_cast<std::size_t>(i)]);
      if (colour) colours[static_cast<std::size_t>(i)] = colour->GetTuple1(ids[i]);
    }
    const vtkIdType face = walk->GetCurrentCellId();
    values.addFace(corners.data(), static_cast<std::size_t>(size),
                   cells ? static_cast<std::uint64_t>(cells->GetValue(face)) : 0,
                   colour ? colours.data() : nullptr);
  }
}

} // namespace

vtkSmartPointer<vtkDataSet> makePeerMesh(const MeshArrays& mesh, const Task& task)
{
  vtkSmartPointer<vtkDataSet> grid = makeGeometry(mesh);
  const auto addField = [&](const char* name, const double* values, int components = 1) {
    auto array = lend<vtkDoubleArray>(values, mesh.nodeCount * static_cast<std::size_t>(components),
                                      components);
    array->SetName(name);
    grid->GetPointData()->AddArray(array);
  };
  if (task.cut == Cut::Isosurface || task.cut == Cut::Isolines) {
    addField("field", task.busy ? mesh.busy : mesh.smooth);
    grid->GetPointData()->SetActiveScalars("field");
  }
  if (task.colour) addField(kColour, mesh.colour);
  if (task.flow == Flow::Stream) addField("vec", mesh.vec, 3);
  // One of the filters does nothing without scalars, though it needs none.
  if (task.cut == Cut::Plane) grid->GetPointData()->SetActiveScalars(kColour);
  return grid;
}

CheckValues checkPeerSurface(vtkDataObject* output)
{
  CheckValues values;
  if (auto* surface = vtkPolyData::SafeDownCast(output)) addSurface(*surface, values);
  if (auto* parts = vtkPartitionedDataSet::SafeDownCast(output))
    for (unsigned int p = 0; p < parts->GetNumberOfPartitions(); ++p)
      if (auto* surface = vtkPolyData::SafeDownCast(parts->GetPartition(p)))
        addSurface(*surface, values);
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
