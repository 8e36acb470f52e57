// Times the cuts of the standard meshes with one thread and with two.
//
//   cut_bench [--quick] [--only SUBSTRING] [--runs N] [--threads N] [--phases]
//
// A case is iso_MESH_FIELD, plane_MESH, sphere_MESH or cylinder_MESH; --only takes those whose name
// holds the substring. Two lines per case and thread count: `first` is an extraction from a new
// mesh object and new memory, with the check of the mesh; `again` one with the same memory and the
// level moved by 0.002, 0.004, ... Each gives the median and the best time, the processor time of
// all threads together (median) and the times to map `colour` onto the result and to find its
// normals. Then, of the first extraction, vertices, polygons, the triangles they would be split
// into, area and enclosed volume; the growth of the resident set at its peak, output included, and
// what the memory kept for the next cut takes of it.

#include "BenchOptions.h"
#include "SurfaceMeasures.h"
#include "Workloads.h"

#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/cut/MxCut.h>
#include <velmo/extraction/algorithms/map/MxDataMap.h>
#include <velmo/extraction/algorithms/map/MxNodeNormals.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>

#include <tbb/global_control.h>

#include <functional>
#include <malloc.h>
#include <optional>

namespace {

using bench::now;
using bench::Options;
using bench::PhaseTimes;
using bench::processorSeconds;

/// Times in ms of repeated work.
class Times
{
public:
  void add(double wall, double processor, double map, double normals)
  {
    m_wall.push_back(1e3 * wall);
    m_processor.push_back(1e3 * processor);
    m_map.push_back(1e3 * map);
    m_normals.push_back(1e3 * normals);
  }
  void print(const char* name, std::size_t threads, const char* what)
  {
    for (std::vector<double>* values : {&m_wall, &m_processor, &m_map, &m_normals})
      std::sort(values->begin(), values->end());
    const std::size_t middle = m_wall.size() / 2;
    std::printf("%-18s %zu threads %-5s %8.2f ms (best %8.2f)  processor %8.2f (best %8.2f)  map "
                "%6.2f  normals %6.2f",
                name, threads, what, m_wall[middle], m_wall[0], m_processor[middle], m_processor[0],
                m_map[middle], m_normals[middle]);
  }

private:
  std::vector<double> m_wall, m_processor, m_map, m_normals;
};

/// A mesh of a kind over the application's arrays: how to make a new one, and its data.
template <class Mesh, MxIndexing Cells, MxIndexing Nodes>
struct Subject
{
  using Filter = typename MxIndexingTypes<Cells>::CellFilter;
  using Set = std::conditional_t<Nodes == MxIndexing::I, MbScalardSetI, MbScalardSetIjk>;
  static constexpr MxIndexing kCells = Cells, kNodes = Nodes;

  std::function<std::unique_ptr<Mesh>()> makeMesh;
  MbIndex3 nodeCounts; ///< {count, 1, 1} for flat nodes

  std::unique_ptr<Set> makeSet(const char* name, const std::vector<double>& values) const
  {
    if constexpr (Nodes == MxIndexing::I)
      return std::make_unique<Set>(name, MiDataBinding::PerNode, std::span(values));
    else
      return std::make_unique<Set>(name, MiDataBinding::PerNode, nodeCounts, std::span(values));
  }
};

/// The cut by `step` times the step of a user who drags.
using MakeShape = std::function<MxCutShape(const MiTypedDataSet<double>* field, int step)>;

/// One cut and the mapping of a data set onto it.
template <class Subject, class Mesh>
void cutOnce(const Mesh& mesh, const MxCutShape& shape, const MiTypedDataSet<double>& colour,
             std::size_t threads, PhaseTimes* phases, MxCutMemory& memory,
             MeXSurfaceMeshUnstructured& surface, Times& times)
{
  const bool parallel = threads > 1;
  const double begin = now(), processor = processorSeconds();
  {
    MxExtractionMonitor monitor(phases, "", 0);
    (void)cutMesh(mesh, static_cast<const typename Subject::Filter*>(nullptr), shape, nullptr,
                  parallel, monitor, memory, surface);
  }
  const double cut = now() - begin, processorCut = processorSeconds() - processor;
  const double mapBegin = now();
  (void)mapDataSet(surface.provenance, colour, Subject::kCells, Subject::kNodes, parallel);
  const double map = now() - mapBegin, normalsBegin = now();
  MxArray<MbVec3f> normals;
  nodeNormals(surface, parallel, normals);
  times.add(cut, processorCut, map, now() - normalsBegin);
}

template <class Subject>
void timeCase(const std::string& name, const Subject& subject, const std::vector<double>* field,
              const std::vector<double>& colour, const MakeShape& makeShape, const Options& options)
{
  constexpr int kMoves = 8;
  for (const std::size_t threads : options.threads) {
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
    Times first, again;
    PhaseTimes firstPhases, againPhases;
    bench::Measures measures;
    double growth = 0, kept = 0;
    for (int run = 0; run < options.runs; ++run) {
      ::malloc_trim(0);
      bench::resetPeak();
      const double before = bench::statusMb("VmRSS:");
      const auto mesh = subject.makeMesh();
      const auto colours = subject.makeSet("colour", colour);
      const auto values = field ? subject.makeSet("field", *field) : nullptr;
      MxCutMemory memory;
      std::optional<MeXSurfaceMeshUnstructured> surface(std::in_place);
      cutOnce<Subject>(*mesh, makeShape(values.get(), 0), *colours, threads,
                       options.phases ? &firstPhases : nullptr, memory, *surface, first);
      growth = std::max(growth, bench::statusMb("VmHWM:") - before);
      measures = bench::measure(*surface);
      for (int move = 1; move <= (run == 0 ? kMoves : 2); ++move)
        cutOnce<Subject>(*mesh, makeShape(values.get(), move), *colours, threads,
                         options.phases ? &againPhases : nullptr, memory, *surface, again);
      surface.reset();
      ::malloc_trim(0);
      kept = std::max(kept, bench::statusMb("VmRSS:") - before);
    }
    first.print(name.c_str(), threads, "first");
    std::printf("  %zu vertices %zu polygons %zu triangles area %.9f volume %.9f +%.0f MB, kept "
                "%.0f MB\n",
                measures.nodes, measures.faces, measures.triangles, measures.area, measures.volume,
                growth, kept);
    again.print(name.c_str(), threads, "again");
    std::printf("\n");
    for (const auto* phases : {&firstPhases, &againPhases})
      for (const auto& [phase, seconds] : phases->times)
        std::printf("    %-24s %8.2f ms\n", phase.c_str(), seconds * 1e3);
    std::fflush(stdout);
  }
}

MbVec3d toVector(const bench::Point& p)
{
  return {p[0], p[1], p[2]};
}

/// All cuts of one mesh.
template <class Subject>
void timeMesh(const std::string& mesh, const Subject& subject,
              const std::function<bench::Point(std::size_t)>& pointOf, const Options& options)
{
  const std::size_t count = subject.nodeCounts.x * subject.nodeCounts.y * subject.nodeCounts.z;
  const auto evaluate = [&](double (*field)(const bench::Point&)) {
    std::vector<double> values(count);
    for (std::size_t node = 0; node < count; ++node)
      values[node] = field(pointOf(node));
    return values;
  };
  const std::vector<double> colour = evaluate(bench::colourField);
  const auto timeField = [&](const char* field, double (*function)(const bench::Point&),
                             double value) {
    const std::string name = "iso_" + mesh + "_" + field;
    if (!options.wants(name)) return;
    const std::vector<double> values = evaluate(function);
    timeCase(
        name, subject, &values, colour,
        [&](const MiTypedDataSet<double>* set, int step) {
          return MxIsovalue{set, value + bench::kDragStep * step};
        },
        options);
  };
  timeField("smooth", bench::smoothField, bench::kSmoothValue);
  timeField("busy", bench::busyField, bench::kBusyValue);
  const MbVec3d direction = toVector(bench::obliqueDirection());
  const MbVec3d centre = toVector(bench::kRoundCentre);
  const auto timeShape = [&](const std::string& name, const std::function<MxCutShape(int)>& make) {
    if (!options.wants(name + "_" + mesh)) return;
    timeCase(
        name + "_" + mesh, subject, nullptr, colour,
        [&](const MiTypedDataSet<double>*, int step) { return make(step); }, options);
  };
  timeShape("plane", [&](int step) {
    return MxCutPlane{direction,
                      dot(direction, toVector(bench::kPlanePoint)) + bench::kDragStep * step};
  });
  timeShape("sphere", [&](int step) {
    return MxCutSphere{centre, bench::kSphereRadius + bench::kDragStep * step};
  });
  timeShape("cylinder", [&](int step) {
    return MxCutCylinder{centre, direction, bench::kCylinderRadius + bench::kDragStep * step};
  });
}

bool wantsAny(const Options& options, const std::string& mesh)
{
  for (const std::string& name : {"iso_" + mesh + "_smooth", "iso_" + mesh + "_busy",
                                  "plane_" + mesh, "sphere_" + mesh, "cylinder_" + mesh})
    if (options.wants(name)) return true;
  return false;
}

std::function<bench::Point(std::size_t)> pointsOf(const std::vector<double>& points)
{
  return [&points](std::size_t node) {
    return bench::Point{points[3 * node], points[3 * node + 1], points[3 * node + 2]};
  };
}

void timeCells(const char* name, const Options& options,
               const std::function<bench::CellArrays()>& make)
{
  if (!wantsAny(options, name)) return;
  const bench::CellArrays arrays = make();
  Subject<MiVolumeMeshUnstructured, MxIndexing::I, MxIndexing::I> subject;
  subject.nodeCounts = {arrays.nodeCount(), 1, 1};
  subject.makeMesh = [&] {
    return std::make_unique<MbVolumeMeshUnstructured>(
        MbTopologyI(arrays.types, arrays.offsets, arrays.connectivity), arrays.points);
  };
  timeMesh(name, subject, pointsOf(arrays.points), options);
}

template <class Mesh>
Subject<Mesh, MxIndexing::Ijk, MxIndexing::Ijk>
makeGrid(std::size_t n, std::function<std::unique_ptr<Mesh>()> make)
{
  return {std::move(make), {n + 1, n + 1, n + 1}};
}

void timeGrids(const Options& options, const bench::Sizes& sizes)
{
  if (wantsAny(options, "image")) {
    const std::size_t n = sizes.image;
    const double step = 1 / static_cast<double>(n);
    const MxIjkNumbering nodes{{n + 1, n + 1, n + 1}};
    timeMesh(
        "image",
        makeGrid<MiVolumeMeshRegular>(n,
                                      [&] {
                                        return std::make_unique<MbVolumeMeshRegular>(
                                            MbTopologyIjk({n, n, n}), MbVec3d{},
                                            MbVec3d{step, step, step});
                                      }),
        [&](std::size_t node) {
          const MbIndex3 at = nodes.split(node);
          return bench::Point{static_cast<double>(at.x) * step, static_cast<double>(at.y) * step,
                              static_cast<double>(at.z) * step};
        },
        options);
  }
  if (wantsAny(options, "rect")) {
    const std::size_t n = sizes.rect;
    const MxIjkNumbering nodes{{n + 1, n + 1, n + 1}};
    const std::vector<double> axes[3] = {bench::latticeAxis(n, 0), bench::latticeAxis(n, 1),
                                         bench::latticeAxis(n, 2)};
    timeMesh(
        "rect",
        makeGrid<MiVolumeMeshRectilinear>(n,
                                          [&] {
                                            return std::make_unique<MbVolumeMeshRectilinear>(
                                                MbTopologyIjk({n, n, n}), axes[0], axes[1],
                                                axes[2]);
                                          }),
        [&](std::size_t node) {
          const MbIndex3 at = nodes.split(node);
          return bench::Point{axes[0][at.x], axes[1][at.y], axes[2][at.z]};
        },
        options);
  }
  if (wantsAny(options, "curv")) {
    const std::size_t n = sizes.curv;
    const std::vector<double> points = bench::latticePoints(n);
    timeMesh(
        "curv",
        makeGrid<MiVolumeMeshCurvilinear>(
            n,
            [&] {
              return std::make_unique<MbVolumeMeshCurvilinear>(MbTopologyIjk({n, n, n}), points);
            }),
        pointsOf(points), options);
  }
}

/// The two kinds whose faults may open, on the distorted lattice, which has none.
void timeFaultedGrids(const Options& options, const bench::Sizes& sizes)
{
  if (wantsAny(options, "hexijk")) {
    const std::size_t n = sizes.hex;
    const bench::CellArrays arrays = bench::makeHex(n);
    Subject<MiVolumeMeshHexahedronIjk, MxIndexing::Ijk, MxIndexing::I> subject;
    subject.nodeCounts = {arrays.nodeCount(), 1, 1};
    subject.makeMesh = [&] {
      return std::make_unique<MbVolumeMeshHexahedronIjk>(
          MbTopologyHexahedronIjk({n, n, n}, arrays.connectivity), arrays.points);
    };
    timeMesh("hexijk", subject, pointsOf(arrays.points), options);
  }
  if (wantsAny(options, "vertex")) {
    const std::size_t n = sizes.hex / 2;
    const bench::CellArrays arrays = bench::makeHex(n);
    std::vector<double> corners;
    corners.reserve(3 * arrays.connectivity.size());
    for (const std::int64_t node : arrays.connectivity)
      for (std::size_t axis = 0; axis < 3; ++axis)
        corners.push_back(arrays.points[3 * static_cast<std::size_t>(node) + axis]);
    timeMesh("vertex",
             makeGrid<MiVolumeMeshVertexHexahedronIjk>(
                 n,
                 [&] {
                   return std::make_unique<MbVolumeMeshVertexHexahedronIjk>(
                       MbTopologyIjk({n, n, n}), corners);
                 }),
             pointsOf(arrays.points), options);
  }
}

} // namespace

int main(int argc, char** argv)
{
  const auto read = bench::readOptions(argc, argv, "cut_bench", false);
  if (!read) return 2;
  const Options& options = *read;
  const bench::Sizes sizes = options.quick ? bench::kQuickSizes : bench::kFullSizes;
  timeCells("hex", options, [&] { return bench::makeHex(sizes.hex); });
  timeCells("tet", options, [&] { return bench::makeTet(sizes.tet); });
  timeCells("tetshuf", options, [&] { return bench::makeShuffledTet(sizes.tetshuf); });
  timeCells("mixed", options, [&] { return bench::makeMixed(sizes.mixed); });
  timeGrids(options, sizes);
  timeFaultedGrids(options, sizes);
  return 0;
}
