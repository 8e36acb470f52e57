#include "Cases.h"

#include "../Workloads.h"
#include "Ours.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace {

// What must be moved: each number of the mesh that the result depends on is read, each output
// vertex is read and written, the faces' nodes are written.

double connectivityBytes(const MeshArrays& mesh)
{
  return 8.0 * static_cast<double>(mesh.connectivityCount);
}

double unstructuredSkinBytes(const MeshArrays& mesh, const CheckValues& output)
{
  return connectivityBytes(mesh) + 48.0 * static_cast<double>(output.vertices) +
         32.0 * static_cast<double>(output.faces);
}

double structuredBytes(const MeshArrays&, const CheckValues& output)
{
  return 64.0 * static_cast<double>(output.vertices) + 32.0 * static_cast<double>(output.faces);
}

double isosurfaceBytes(const MeshArrays& mesh, const CheckValues& output)
{
  return connectivityBytes(mesh) + 8.0 * static_cast<double>(mesh.nodeCount) +
         48.0 * static_cast<double>(output.vertices) + 24.0 * static_cast<double>(output.triangles);
}

double fullIsosurfaceBytes(const MeshArrays& mesh, const CheckValues& output)
{
  return isosurfaceBytes(mesh, output) + 40.0 * static_cast<double>(output.vertices);
}

double sliceBytes(const MeshArrays& mesh, const CheckValues& output)
{
  const double points = mesh.points ? 24.0 * static_cast<double>(mesh.nodeCount) : 0;
  return connectivityBytes(mesh) + points + 64.0 * static_cast<double>(output.vertices) +
         24.0 * static_cast<double>(output.triangles);
}

double dragBytes(const MeshArrays&, const CheckValues& output)
{
  return 64.0 * static_cast<double>(output.vertices) + 32.0 * static_cast<double>(output.triangles);
}

MeshKind kindOf(const std::string& mesh)
{
  if (mesh == "curv" || mesh == "curvP") return MeshKind::Curvilinear;
  if (mesh == "rect") return MeshKind::Rectilinear;
  return mesh == "image" || mesh == "imageP" ? MeshKind::Regular : MeshKind::Unstructured;
}

Task cutTask(Cut cut)
{
  Task task;
  task.cut = cut;
  task.colour = cut != Cut::Isosurface;
  const bench::Point& point = cut == Cut::Plane ? bench::kPlanePoint : bench::kRoundCentre;
  const bench::Point direction = bench::obliqueDirection();
  std::copy(point.begin(), point.end(), task.point);
  std::copy(direction.begin(), direction.end(), task.direction);
  task.radius = cut == Cut::Sphere ? bench::kSphereRadius : bench::kCylinderRadius;
  return task;
}

CheckRule cutRule(bool closed)
{
  CheckRule rule;
  rule.faces = false;
  rule.volume = closed;
  rule.orientation = false;
  return rule;
}

/// Cells with four corners are cut by triangles and planar quadrilaterals: nothing is left open. In
/// other cells the faces in which four edges are cut, and the diagonals of polygons that are not
/// planar, are everyone's own.
CheckRule isosurfaceRule(const std::string& mesh, bool busy)
{
  CheckRule rule = cutRule(!busy); // the busy one ends at the boundary
  rule.perCell = mesh.rfind("tet", 0) == 0 ? 0 : busy ? 200 : 4;
  rule.integral = 1e-5;
  return rule;
}

/// The polygons are the same, but the colour in them depends on the diagonals.
CheckRule planeRule()
{
  CheckRule rule = cutRule(false);
  rule.integral = 1e-4;
  return rule;
}

/// Our vertices lie on the true surface, the peer's where the function is zero if it were linear.
CheckRule quadricRule(Cut cut)
{
  CheckRule rule = cutRule(cut == Cut::Sphere);
  rule.perCell = 30;
  return rule;
}

/// The rows of the table keep names that live as long as the program.
const char* keep(std::string name)
{
  static std::vector<std::unique_ptr<std::string>> names;
  names.push_back(std::make_unique<std::string>(std::move(name)));
  return names.back()->c_str();
}

constexpr int kDragSteps = 5;

Case isosurface(const std::string& mesh, bool busy, bool full, double aim)
{
  Task task = cutTask(Cut::Isosurface);
  task.busy = busy;
  task.value = busy ? bench::kBusyValue : bench::kSmoothValue;
  task.colour = task.normals = full;
  const std::string field = busy ? "_busy" : "_smooth";
  return {keep("iso_" + mesh + field + (full ? "_full" : "")),
          keep(mesh),
          aim,
          makeOurCut,
          peerIsosurfaceFilters(kindOf(mesh)),
          task,
          isosurfaceRule(mesh, busy),
          full ? fullIsosurfaceBytes : isosurfaceBytes};
}

Case isosurfaceDrag(const std::string& mesh, bool busy, double aim)
{
  Case drag = isosurface(mesh, busy, false, aim);
  drag.name = keep(std::string("drag_") + drag.name);
  drag.task.steps = kDragSteps;
  drag.task.stepSize = bench::kDragStep;
  drag.peers = peerIsosurfaceDragFilters();
  drag.floorBytes = dragBytes;
  return drag;
}

Case plane(const std::string& mesh, double aim)
{
  return {keep("plane_" + mesh),
          keep(mesh),
          aim,
          makeOurCut,
          peerPlaneFilters(kindOf(mesh)),
          cutTask(Cut::Plane),
          planeRule(),
          mesh == "image" ? structuredBytes : sliceBytes};
}

Case planeDrag(const std::string& mesh, double aim)
{
  Case drag = plane(mesh, aim);
  drag.name = keep(std::string("drag_") + drag.name);
  drag.task.steps = kDragSteps;
  drag.task.stepSize = bench::kDragStep;
  drag.peers = peerPlaneDragFilters(kindOf(mesh));
  drag.floorBytes = dragBytes;
  return drag;
}

Case quadric(Cut cut, const std::string& mesh, double aim)
{
  return {keep((cut == Cut::Sphere ? "sphere_" : "cylinder_") + mesh),
          keep(mesh),
          aim,
          makeOurCut,
          peerQuadricFilters(kindOf(mesh)),
          cutTask(cut),
          quadricRule(cut),
          sliceBytes};
}

double isolineBytes(const MeshArrays& mesh, const CheckValues& output)
{
  return connectivityBytes(mesh) + 8.0 * static_cast<double>(mesh.nodeCount) +
         48.0 * static_cast<double>(output.vertices) + 16.0 * static_cast<double>(output.faces);
}

Case isolines(const std::string& mesh, bool drag)
{
  Task task;
  task.cut = Cut::Isolines;
  task.value = bench::kFirstIsoline;
  task.valueStep = bench::kIsolineStep;
  task.valueCount = bench::kIsolineCount;
  if (drag) {
    task.steps = kDragSteps;
    task.stepSize = bench::kDragStep;
  }
  CheckRule rule = cutRule(false);
  // Quads with four crossed edges are everyone's own.
  if (mesh == "surfij") rule.sizes = 1e-4;
  return {keep((drag ? "drag_isoline_" : "isoline_") + mesh),
          keep(mesh),
          4,
          makeOurIsolines,
          peerIsolineFilters(),
          task,
          rule,
          isolineBytes};
}

/// What is found is one number; values and ways are moved for each.
double probeBytes(const MeshArrays&, const CheckValues& output)
{
  return 32.0 * static_cast<double>(output.triangles);
}

/// The first run builds what finds cells, the steps that follow keep it.
Case flow(Flow what, const std::string& mesh, double aim, bool isAdaptive = false)
{
  Task task;
  task.flow = what;
  task.steps = 3;
  task.colour = what == Flow::Stream;
  CheckRule rule = cutRule(false);
  // A few points lie on the rim. The peer leaves out the last step of a line, the one that leaves
  // the mesh: steps are as long as cells, and adapted ones are longer.
  rule.triangles = 1e-3;
  rule.sizes = rule.integral = what != Flow::Stream ? 1e-3 : 5e-3;
  if (what == Flow::Stream) rule.perStep = isAdaptive ? 4 : 2;
  std::string name = mesh.substr(0, mesh.size() - 1); // without the P
  if (what == Flow::Stream)
    name = "stream_" + name + (isAdaptive ? "_rk45" : "_rk4");
  else
    name = (what == Flow::Probe ? "probe_" : "probewalk_") + name;
  return {keep(name),
          keep(mesh),
          aim,
          makeOurFlow,
          what == Flow::Stream ? peerStreamFilters(isAdaptive) : peerProbeFilters(kindOf(mesh)),
          task,
          rule,
          probeBytes};
}

/// The result is the same, but for the diagonals that its faces are measured along.
CheckRule layerRule(bool closed)
{
  CheckRule rule = cutRule(closed);
  rule.perCell = 1;
  return rule;
}

Case layers(const std::string& mesh, std::size_t axis, std::size_t count, double aim)
{
  Task task;
  task.colour = true;
  task.axis = axis;
  task.layerCount = count;
  const std::string name = count > 0 ? "slab_" : "logical_";
  return {keep(name + mesh + (axis == 0 ? "_I" : "_K")),
          keep(mesh),
          aim,
          makeOurLayers,
          count > 0 ? peerSlabFilters() : peerLayerFilters(kindOf(mesh)),
          task,
          layerRule(count > 0),
          structuredBytes};
}

/// The arrays, which are read in the file and written in memory: points, two fields, shapes,
/// offsets and nodes of the cells.
double readBytes(const MeshArrays& mesh, const CheckValues&)
{
  return 2 * (40.0 * static_cast<double>(mesh.nodeCount) +
              9.0 * static_cast<double>(mesh.cellCount) + connectivityBytes(mesh));
}

Case reading(const char* name, const char* mesh, FileFormat format)
{
  Task task;
  task.file = format;
  CheckRule rule;
  rule.volume = false;
  // Sums of the same numbers; text has some digits less.
  rule.sizes = format == FileFormat::VtkAscii ? 1e-5 : 1e-12;
  return {name, mesh, 1, makeOurRead, peerReaders(format), task, rule, readBytes};
}

std::vector<Case> makeCases()
{
  std::vector<Case> cases;
  const auto skin = [&](const char* name, const char* mesh, double aim) {
    const bool structured = kindOf(mesh) != MeshKind::Unstructured;
    cases.push_back({name,
                     mesh,
                     aim,
                     makeOurSkin,
                     peerSkinFilters(structured),
                     {},
                     {},
                     structured ? structuredBytes : unstructuredSkinBytes});
  };
  skin("skin_hex", "hex", 10);
  skin("skin_tet", "tet", 10);
  skin("skin_tetshuf", "tetshuf", 50);
  skin("skin_mixed", "mixed", 10);
  skin("skin_curv", "curv", 1.2);
  for (const char* mesh : {"image", "rect", "curv", "hex", "tet", "tetshuf", "mixed"}) {
    const std::string name = mesh;
    const bool serialPeer = name == "rect" || name == "curv";
    const bool large = name == "image" || name == "curv" || name == "hex" || name == "tet";
    const double aim = serialPeer ? 4 : 2;
    for (const bool busy : {false, true})
      for (const bool full : {false, true})
        if (large || (!busy && !full)) cases.push_back(isosurface(name, busy, full, aim));
    if (large || name == "mixed") cases.push_back(plane(name, name == "curv" ? 4 : 2));
    if (large)
      for (const Cut cut : {Cut::Sphere, Cut::Cylinder})
        cases.push_back(quadric(cut, name, 4));
    if (name == "hex" || name == "tet")
      for (const bool busy : {false, true})
        cases.push_back(isosurfaceDrag(name, busy, busy ? 2 : 5));
    if (large) cases.push_back(planeDrag(name, 5));
  }
  for (const char* mesh : {"surf", "surfug", "surfij"})
    for (const bool drag : {false, true})
      cases.push_back(isolines(mesh, drag));
  for (const char* mesh : {"hexP", "tetP", "curvP", "imageP"}) {
    cases.push_back(flow(Flow::Probe, mesh, 3));
    cases.push_back(flow(Flow::Walk, mesh, 3));
    cases.push_back(flow(Flow::Stream, mesh, 3));
    if (std::string(mesh) != "tetP") cases.push_back(flow(Flow::Stream, mesh, 3, true));
  }
  for (const char* mesh : {"curv", "image"})
    for (const std::size_t axis : {0, 2})
      cases.push_back(layers(mesh, axis, 0, 4));
  cases.push_back(layers("curv", 0, 4, 4));
  cases.push_back(reading("read_vtu_raw", "hex", FileFormat::VtuRaw));
  cases.push_back(reading("read_vtu_zlib", "hex", FileFormat::VtuZlib));
  cases.push_back(reading("read_vtk_binary", "hex", FileFormat::VtkBinary));
  cases.push_back(reading("read_vtk_ascii", "hexP", FileFormat::VtkAscii));
  return cases;
}

} // namespace

std::span<const Case> comparisonCases()
{
  // Those of one mesh stand together, so that each mesh is made once.
  static const std::vector<Case> cases = [] {
    std::vector<Case> all = makeCases(), sorted;
    while (!all.empty()) {
      const std::string mesh = all.front().mesh;
      const auto rest = std::stable_partition(all.begin(), all.end(),
                                              [&](const Case& c) { return c.mesh == mesh; });
      std::move(all.begin(), rest, std::back_inserter(sorted));
      all.erase(all.begin(), rest);
    }
    return sorted;
  }();
  return cases;
}
