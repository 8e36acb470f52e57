#include "../WorkloadPoints.h"
#include "Peer.h"
#include "PeerMesh.h"

#include <vtkCellTreeLocator.h>
#include <vtkDataArray.h>
#include <vtkGenericCell.h>
#include <vtkIdList.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSMPThreadLocal.h>
#include <vtkSMPTools.h>
#include <vtkStaticCellLocator.h>
#include <vtkStreamTracer.h>

#include <cmath>
#include <vector>

namespace {

/// What finds a cell; weights as the cell has them.
struct Place
{
  vtkNew<vtkGenericCell> cell;
  double parametric[3];
  double weights[64];
  vtkIdType hint = -1;
};

class ProbeJob : public PeerJob
{
public:
  ProbeJob(const MeshArrays& mesh, const Task& task)
      : PeerJob(mesh, task), m_isWalk(task.flow == Flow::Walk),
        m_points(m_isWalk ? bench::helixPoints(probeCount(mesh))
                          : bench::randomProbePoints(probeCount(mesh))),
        m_values(m_points.size())
  {}

  void run() override
  {
    m_mesh = makeMesh();
    build();
    step(0);
  }
  void step(int) override
  {
    if (m_isWalk) {
      Place place;
      probe(place, 0, static_cast<vtkIdType>(m_points.size()));
      return;
    }
    vtkSMPThreadLocal<std::shared_ptr<Place>> places; // it wants values that can be copied
    vtkSMPTools::For(0, static_cast<vtkIdType>(m_points.size()), 500,
                     [&](vtkIdType first, vtkIdType last) {
                       std::shared_ptr<Place>& place = places.Local();
                       if (!place) place = std::make_shared<Place>();
                       probe(*place, first, last);
                     });
  }
  CheckValues check() const override
  {
    CheckValues values;
    values.addFound(m_values);
    return values;
  }

protected:
  virtual void build() = 0;
  virtual vtkIdType findCell(double (&p)[3], Place& place) = 0;

  bool m_isWalk;
  std::vector<bench::Point> m_points;
  std::vector<double> m_values;
  vtkSmartPointer<vtkDataSet> m_mesh;
  vtkNew<vtkGenericCell> m_first;

private:
  void probe(Place& place, vtkIdType first, vtkIdType last)
  {
    vtkNew<vtkIdList> nodes;
    for (vtkIdType n = first; n < last; ++n) {
      double p[3] = {m_points[n][0], m_points[n][1], m_points[n][2]};
      const vtkIdType cell = findCell(p, place);
      place.hint = cell;
      if (cell < 0) {
        m_values[n] = std::nan("");
        continue;
      }
      m_mesh->GetCellPoints(cell, nodes);
      double sum = 0;
      for (vtkIdType i = 0; i < nodes->GetNumberOfIds(); ++i)
        sum += place.weights[i] * m_arrays.smooth[nodes->GetId(i)];
      m_values[n] = sum;
    }
  }
};

template <class Locator>
class LocatorJob final : public ProbeJob
{
public:
  using ProbeJob::ProbeJob;

protected:
  void build() override
  {
    m_mesh->GetCell(0, m_first); // builds what is built once, before the threads
    m_locator->SetDataSet(m_mesh);
    m_locator->BuildLocator();
  }
  vtkIdType findCell(double (&p)[3], Place& place) override
  {
    return m_locator->FindCell(p, 0, place.cell, place.parametric, place.weights);
  }

private:
  vtkNew<Locator> m_locator;
};

/// The data set's own search, from the last cell on.
class OwnSearchJob final : public ProbeJob
{
public:
  using ProbeJob::ProbeJob;

protected:
  void build() override { m_mesh->GetCell(0, m_first); }
  vtkIdType findCell(double (&p)[3], Place& place) override
  {
    int sub = 0;
    return m_mesh->FindCell(p, nullptr, place.cell, place.hint, 0, sub, place.parametric,
                            place.weights);
  }
};

class StreamJob final : public PeerJob
{
public:
  StreamJob(const MeshArrays& mesh, const Task& task, bool isAdaptive, bool usesStaticLocator)
      : PeerJob(mesh, task)
  {
    const double cellSize = cellSizeOf(mesh);
    for (const bench::Point& p : bench::streamSeeds(seedCount(mesh)))
      m_seeds->InsertNextPoint(p.data());
    vtkNew<vtkPolyData> source;
    source->SetPoints(m_seeds);
    m_tracer->SetSourceData(source);
    m_tracer->SetInputArrayToProcess(0, 0, 0, vtkDataObject::FIELD_ASSOCIATION_POINTS, "vec");
    m_tracer->SetIntegrationDirectionToForward();
    m_tracer->SetMaximumPropagation(1);
    m_tracer->SetMaximumNumberOfSteps(100000);
    m_tracer->SetComputeVorticity(false);
    m_tracer->SetIntegrationStepUnit(vtkStreamTracer::LENGTH_UNIT);
    m_tracer->SetTerminalSpeed(1e-12);
    m_tracer->SetInitialIntegrationStep(0.3 * cellSize);
    if (isAdaptive) {
      m_tracer->SetIntegratorTypeToRungeKutta45();
      m_tracer->SetMinimumIntegrationStep(0.03 * cellSize);
      m_tracer->SetMaximumIntegrationStep(1.5 * cellSize);
      m_tracer->SetMaximumError(1e-6);
    } else {
      m_tracer->SetIntegratorTypeToRungeKutta4();
    }
    if (usesStaticLocator)
      m_tracer->SetInterpolatorTypeToCellLocator();
    else
      m_tracer->SetInterpolatorTypeToDataSetPointLocator();
  }

  void run() override
  {
    m_mesh = makeMesh();
    m_tracer->SetInputData(m_mesh);
    m_tracer->Update();
  }
  void step(int) override
  {
    m_tracer->Modified();
    m_tracer->Update();
  }
  CheckValues check() const override
  {
    CheckValues values;
    vtkPolyData* lines = m_tracer->GetOutput();
    vtkDataArray* colours = lines->GetPointData()->GetArray("colour");
    vtkNew<vtkIdList> ids;
    values.triangles = static_cast<std::size_t>(m_seeds->GetNumberOfPoints());
    for (vtkIdType l = 0; l < lines->GetNumberOfCells(); ++l) {
      lines->GetCellPoints(l, ids);
      for (vtkIdType n = 1; n < ids->GetNumberOfIds(); ++n) {
        double a[3], b[3];
        lines->GetPoint(ids->GetId(n - 1), a);
        lines->GetPoint(ids->GetId(n), b);
        const double way = std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                                     (a[2] - b[2]) * (a[2] - b[2]));
        values.fanArea += way;
        if (colours)
          values.fanIntegral += way * 0.5 *
                                (colours->GetComponent(ids->GetId(n - 1), 0) +
                                 colours->GetComponent(ids->GetId(n), 0));
      }
    }
    return values;
  }

private:
  vtkNew<vtkPoints> m_seeds;
  vtkNew<vtkStreamTracer> m_tracer;
  vtkSmartPointer<vtkDataSet> m_mesh;
};

template <bool IsAdaptive, bool UsesStaticLocator>
constexpr JobMaker kStream = makePeerJob<StreamJob, IsAdaptive, UsesStaticLocator>;

} // namespace

std::vector<PeerFilter> peerProbeFilters(MeshKind kind)
{
  if (kind == MeshKind::Regular)
    return {{"vtkDataSet::FindCell with hint", makePeerJob<OwnSearchJob>, true, false}};
  return {{"vtkStaticCellLocator", makePeerJob<LocatorJob<vtkStaticCellLocator>>, true, false},
          {"vtkCellTreeLocator", makePeerJob<LocatorJob<vtkCellTreeLocator>>, true, false}};
}

std::vector<PeerFilter> peerStreamFilters(bool isAdaptive)
{
  if (isAdaptive)
    return {{"vtkStreamTracer default locator", kStream<true, false>, true, false},
            {"vtkStreamTracer cell locator", kStream<true, true>, true, false}};
  return {{"vtkStreamTracer default locator", kStream<false, false>, true, false},
          {"vtkStreamTracer cell locator", kStream<false, true>, true, false}};
}
