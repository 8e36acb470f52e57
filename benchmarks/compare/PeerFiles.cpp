#include "CaseFile.h"
#include "Peer.h"
#include "PeerMesh.h"

#include <vtkCellArray.h>
#include <vtkDataArray.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkUnstructuredGrid.h>
#include <vtkUnstructuredGridReader.h>
#include <vtkUnstructuredGridWriter.h>
#include <vtkXMLUnstructuredGridReader.h>
#include <vtkXMLUnstructuredGridWriter.h>

namespace {

template <class Reader>
class ReadJob final : public Job
{
public:
  ReadJob(const MeshArrays& mesh, const Task& task) : m_path(caseFile(mesh, task.file)) {}

  void run() override
  {
    m_reader->SetFileName(m_path.c_str());
    if constexpr (std::is_same_v<Reader, vtkUnstructuredGridReader>) m_reader->ReadAllScalarsOn();
    m_reader->Update();
  }
  CheckValues check() const override
  {
    vtkUnstructuredGrid& grid = *m_reader->GetOutput();
    ReadCheck check;
    vtkDataArray& points = *grid.GetPoints()->GetData();
    for (vtkIdType node = 0; node < points.GetNumberOfTuples(); ++node)
      for (int c = 0; c < 3; ++c)
        check.addCoordinate(points.GetComponent(node, c));
    vtkDataArray& connectivity = *grid.GetCells()->GetConnectivityArray();
    for (vtkIdType i = 0; i < connectivity.GetNumberOfTuples(); ++i)
      check.addNode(static_cast<std::uint64_t>(connectivity.GetComponent(i, 0)));
    for (int a = 0; a < grid.GetPointData()->GetNumberOfArrays(); ++a) {
      vtkDataArray& values = *grid.GetPointData()->GetArray(a);
      for (vtkIdType node = 0; node < values.GetNumberOfTuples(); ++node)
        check.addValue(values.GetComponent(node, 0));
    }
    return check.values(static_cast<std::size_t>(grid.GetNumberOfPoints()),
                        static_cast<std::size_t>(grid.GetNumberOfCells()));
  }

private:
  std::string m_path;
  vtkNew<Reader> m_reader;
};

template <class Reader>
constexpr JobMaker kRead = makePeerJob<ReadJob<Reader>>;

} // namespace

std::vector<PeerFilter> peerReaders(FileFormat format)
{
  switch (format) {
  case FileFormat::VtuRaw:
  case FileFormat::VtuZlib:
    return {{"vtkXMLUnstructuredGridReader", kRead<vtkXMLUnstructuredGridReader>, true, true}};
  case FileFormat::VtkBinary:
  case FileFormat::VtkAscii:
    return {{"vtkUnstructuredGridReader", kRead<vtkUnstructuredGridReader>, true, true}};
  case FileFormat::None:
    break;
  }
  return {};
}

void writePeerFile(const MeshArrays& mesh, FileFormat format, const std::string& path)
{
  Task task;
  task.cut = Cut::Isosurface;
  task.colour = true;
  const auto grid = makePeerMesh(mesh, task);
  if (format == FileFormat::VtuRaw || format == FileFormat::VtuZlib) {
    vtkNew<vtkXMLUnstructuredGridWriter> writer;
    writer->SetFileName(path.c_str());
    writer->SetInputData(grid);
    writer->SetDataModeToAppended();
    writer->EncodeAppendedDataOff();
    writer->SetHeaderTypeToUInt64();
    if (format == FileFormat::VtuZlib)
      writer->SetCompressorTypeToZLib();
    else
      writer->SetCompressorTypeToNone();
    writer->Write();
    return;
  }
  vtkNew<vtkUnstructuredGridWriter> writer;
  writer->SetFileName(path.c_str());
  writer->SetInputData(grid);
  if (format == FileFormat::VtkBinary)
    writer->SetFileTypeToBinary();
  else
    writer->SetFileTypeToASCII();
  writer->Write();
}
