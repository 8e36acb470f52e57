#include <velmo/extraction/interfaces/MxCellShapes.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <benchmarks/Workloads.h>
#include <tests/support/CutMesh.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using S = MiCellShape;
using Function = std::function<double(const MbVec3d&)>;

constexpr MbIndex3 kCells{6, 7, 8};
constexpr MbIndex3 kNodes{7, 8, 9};
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The places of the nodes of zoo::block.
std::vector<MbVec3d> blockNodes(const MbIndex3& nodes)
{
  std::vector<MbVec3d> places;
  for (std::size_t k = 0; k < nodes.z; ++k)
    for (std::size_t j = 0; j < nodes.y; ++j)
      for (std::size_t i = 0; i < nodes.x; ++i)
        places.push_back(
            {static_cast<double>(i), static_cast<double>(j) / 2, static_cast<double>(k) / 4});
  return places;
}

double wave(const MbVec3d& p)
{
  return std::sin(1.7 * p.x) + std::cos(2.9 * p.y) * std::sin(5.3 * p.z + 0.3);
}

std::vector<double> valuesOf(const std::vector<MbVec3d>& places, const Function& function)
{
  std::vector<double> values;
  for (const MbVec3d& p : places)
    values.push_back(function(p));
  return values;
}

MbScalardSetI flatSet(const std::vector<double>& values)
{
  return MbScalardSetI("f", MiDataBinding::PerNode, std::vector<double>(values));
}

/// Areas of polygons, and their normals' sum.
double area(const MeXSurfaceMeshUnstructured& surface)
{
  return laws::sizeOf(surface).area;
}

/// The source cells of all polygons; structured grids have an order of their own.
std::vector<std::uint32_t> sortedCells(const MeXSurfaceMeshUnstructured& surface)
{
  std::vector<std::uint32_t> cells(surface.provenance.cells.begin(),
                                   surface.provenance.cells.end());
  std::sort(cells.begin(), cells.end());
  return cells;
}

/// Cuts that no symmetry makes easy.
std::vector<MxCutShape> obliqueShapes()
{
  return {MxCutPlane{{0.31, -0.57, 0.76}, 0.4}, MxCutSphere{{3.1, 1.7, 1.1}, 0.93},
          MxCutCylinder{{3.1, 1.7, 1.1}, {0.2, -0.4, 3}, 0.71}};
}

/// A convex fan: tetrahedra between a hub, a ring of nodes and two poles. The hub is node 0.
std::unique_ptr<MbVolumeMeshUnstructured> fan(std::int32_t ring)
{
  std::vector<double> points{0, 0, 0, 0, 0, -1, 0, 0, 1};
  std::vector<std::int32_t> cells;
  for (std::int32_t n = 0; n < ring; ++n) {
    const double angle = 2 * bench::kPi * n / ring;
    points.insert(points.end(), {std::cos(angle), std::sin(angle), 0});
    const std::int32_t a = 3 + n, b = 3 + (n + 1) % ring;
    cells.insert(cells.end(), {0, a, b, 2, 0, b, a, 1});
  }
  return std::make_unique<MbVolumeMeshUnstructured>(MbTopologyI(S::Tetrahedron, std::move(cells)),
                                                    std::move(points));
}

/// zoo::block of hexahedra, every other one named as a polyhedron.
std::unique_ptr<MbVolumeMeshUnstructured> checkered(const MbIndex3& cells)
{
  const auto block = zoo::block(VOLUME_MESH_UNSTRUCTURED, cells);
  const auto& from = zoo::as<VOLUME_MESH_UNSTRUCTURED>(*block);
  std::vector<std::uint8_t> shapes;
  std::vector<std::int64_t> connectivity, offsets{0}, faces, faceOffsets{0};
  std::vector<std::size_t> nodes;
  for (std::size_t cell = 0; cell < from.getTopology().getCellCount(); ++cell) {
    from.getTopology().getCellNodes(cell, nodes);
    connectivity.insert(connectivity.end(), nodes.begin(), nodes.end());
    offsets.push_back(static_cast<std::int64_t>(connectivity.size()));
    const std::size_t row = cell / cells.x;
    const bool odd = (cell % cells.x + row % cells.y + row / cells.y) % 2 != 0;
    shapes.push_back(static_cast<std::uint8_t>(odd ? S::Polyhedron : S::Hexahedron));
    if (odd) {
      faces.push_back(6);
      for (const MxShapeFace& face : linearShapeFaces(S::Hexahedron)) {
        faces.push_back(4);
        for (std::size_t n = 0; n < 4; ++n)
          faces.push_back(static_cast<std::int64_t>(nodes[face.nodes[n]]));
      }
    }
    faceOffsets.push_back(static_cast<std::int64_t>(faces.size()));
  }
  std::vector<double> points;
  for (const MbVec3d& p : blockNodes(cells + MbIndex3{1, 1, 1}))
    points.insert(points.end(), {p.x, p.y, p.z});
  MbCellArrays arrays;
  arrays.connectivity = std::move(connectivity);
  arrays.offsets = std::move(offsets);
  arrays.shapes = std::move(shapes);
  arrays.faces = std::move(faces);
  arrays.faceOffsets = std::move(faceOffsets);
  return std::make_unique<MbVolumeMeshUnstructured>(MbTopologyI(std::move(arrays)),
                                                    std::move(points));
}

std::vector<std::unique_ptr<MiMesh>> dragMeshes()
{
  const auto meshOf = [](bench::CellArrays arrays) -> std::unique_ptr<MiMesh> {
    return std::make_unique<MbVolumeMeshUnstructured>(MbTopologyI(std::move(arrays.types),
                                                                  std::move(arrays.offsets),
                                                                  std::move(arrays.connectivity)),
                                                      std::move(arrays.points));
  };
  std::vector<std::unique_ptr<MiMesh>> meshes;
  meshes.push_back(meshOf(bench::makeHex(21)));
  meshes.push_back(meshOf(bench::makeShuffledTet(12)));
  meshes.push_back(meshOf(bench::makeMixed(16)));
  meshes.push_back(zoo::blockOf(S::QuadraticHexahedron, {9, 8, 7}));
  meshes.push_back(checkered({16, 16, 17}));
  meshes.push_back(zoo::block(VOLUME_MESH_HEXAHEDRON_IJK, {18, 17, 16}));
  return meshes;
}

std::size_t nodeCountOf(const MiMesh& mesh)
{
  if (const auto* flat = dynamic_cast<const MiVolumeMeshUnstructured*>(&mesh))
    return flat->getGeometry().getNodeCount();
  return zoo::as<VOLUME_MESH_HEXAHEDRON_IJK>(mesh).getGeometry().getNodeCount();
}

MbVec3d nodeOf(const MiMesh& mesh, std::size_t node)
{
  if (const auto* flat = dynamic_cast<const MiVolumeMeshUnstructured*>(&mesh))
    return flat->getGeometry().getNode(node);
  return zoo::as<VOLUME_MESH_HEXAHEDRON_IJK>(mesh).getGeometry().getNode(node);
}

} // namespace

TEST(CutMesh, AllKindsOfOneGridAgree)
{
  const std::vector<double> values = valuesOf(blockNodes(kNodes), wave);
  const MbScalardSetI flat = flatSet(values);
  const MbScalardSetIjk grid("f", MiDataBinding::PerNode, kNodes, std::vector<double>(values));
  std::vector<MxCutShape> shapes = obliqueShapes();
  shapes.push_back(MxIsovalue{&flat, 0.15});
  for (const MxCutShape& shape : shapes) {
    SCOPED_TRACE(shape.index());
    const auto expected = laws::cut(*zoo::block(VOLUME_MESH_UNSTRUCTURED, kCells), shape);
    ASSERT_GT(expected->topology.getCellCount(), 20u);
    for (const MeshType kind : zoo::kVolumeKinds) {
      SCOPED_TRACE(kind);
      const auto mesh = zoo::block(kind, kCells);
      const auto calls = zoo::procedural(zoo::block(kind, kCells));
      std::vector<MxCutShape> own{shape};
      if (shape.index() == 0 && kind >= VOLUME_MESH_VERTEX_HEXAHEDRON_IJK)
        own.push_back(MxIsovalue{&grid, 0.15});
      for (const MxCutShape& one : own) {
        const auto serial = laws::cut(*mesh, one);
        EXPECT_TRUE(laws::bytesOf(*laws::cut(*mesh, one, {true})) == laws::bytesOf(*serial));
        EXPECT_TRUE(laws::bytesOf(*laws::cut(*calls, one)) == laws::bytesOf(*serial));
        EXPECT_EQ(serial->topology.getCellCount(), expected->topology.getCellCount());
        EXPECT_EQ(serial->geometry.getNodeCount(), expected->geometry.getNodeCount());
        EXPECT_NEAR(area(*serial), area(*expected), 1e-5);
        EXPECT_NEAR(laws::sizeOf(*serial).volume, laws::sizeOf(*expected).volume, 1e-5);
        EXPECT_EQ(sortedCells(*serial), sortedCells(*expected));
        if (kind <= VOLUME_MESH_HEXAHEDRON_IJK) {
          EXPECT_TRUE(laws::bytesOf(*serial) == laws::bytesOf(*expected));
        }
      }
    }
  }
}

// A plane through nodes, edges and faces of cells: the whole section once, without slivers.
TEST(CutMesh, PlaneThroughNodesEdgesAndFaces)
{
  struct Section
  {
    MxCutPlane plane;
    double area;
  };
  const double width = 6, depth = 3.5, height = 2;
  const double third = 1 / std::sqrt(3.0);
  for (const auto& [plane, expected] :
       {Section{{{1, 0, 0}, 3}, depth * height},                  // faces
        Section{{{0, 0, -2}, -1}, width * depth},                 // faces from above
        Section{{{1, 0, 0}, 6}, depth * height},                  // the upper end
        Section{{{1, 0, 0}, 0}, 0},                               // the lower end
        Section{{{1, -2, 0}, 0}, std::hypot(6, 3) * height},      // edges and diagonals
        Section{{{1, -2, 4}, 2}, 0},                              // nodes
        Section{{{third, third * 2, third * 4}, third * 12}, 0}}) // nodes, rounded
  {
    for (const S shape : zoo::shapesOf(3)) {
      SCOPED_TRACE(testing::Message() << cellShapeFacts(shape).name << " " << plane.normal.x << " "
                                      << plane.normal.y << " " << plane.normal.z);
      const auto mesh = zoo::blockOf(shape, kCells);
      const auto surface = laws::cut(*mesh, plane);
      const auto open = laws::openEdges(*surface);
      laws::expectSound(*surface, open.size());
      // Open on the outside of the block only.
      for (const auto& [a, b] : open) {
        const MbVec3d p = (a + b) * 0.5;
        const double inside = std::min({p.x, width - p.x, p.y, depth - p.y, p.z, height - p.z});
        EXPECT_NEAR(inside, 0, 1e-6);
      }
      // Of planes that cut corners off, all shapes give the section of the hexahedra.
      const double whole = expected > 0 || plane.distance == 0
                               ? expected
                               : area(*laws::cut(*zoo::blockOf(S::Hexahedron, kCells),
                                                 MxCutPlane{plane.normal, plane.distance + 1e-9}));
      EXPECT_NEAR(area(*surface), whole, 1e-5);
      // All polygons look the plane's way.
      for (std::size_t f = 0; f < surface->topology.getCellCount(); ++f) {
        const auto cell = surface->topology.getCell(f);
        const auto at = [&](std::size_t n) {
          return surface->geometry.getNode(static_cast<std::size_t>(cell[n]));
        };
        MbVec3d normal;
        for (std::size_t n = 1; n + 1 < cell.size(); ++n)
          normal += cross(at(n) - at(0), at(n + 1) - at(0));
        EXPECT_GT(dot(normal, plane.normal), 1e-7);
      }
    }
  }
}

TEST(CutMesh, DeadAndRefusedCellsAreNotCut)
{
  for (const MeshType kind : zoo::kVolumeKinds) {
    SCOPED_TRACE(kind);
    zoo::Active active(336, 1);
    for (std::size_t cell = 0; cell < active.size(); cell += 3)
      active[cell] = 0;
    const MbFunctionFilterI flat([](std::size_t cell) { return cell % 5 != 0; });
    const MbFunctionFilterIjk grid(
        [](std::size_t i, std::size_t j, std::size_t k) { return (i + 6 * (j + 7 * k)) % 5 != 0; });
    laws::CutOptions options;
    if (kind == VOLUME_MESH_UNSTRUCTURED)
      options.filter = &flat;
    else
      options.filter = &grid;
    for (const MxCutShape& shape : obliqueShapes()) {
      const auto whole = laws::cut(*zoo::block(kind, kCells), shape);
      const auto part = laws::cut(*zoo::block(kind, kCells, active), shape, options);
      std::vector<std::uint32_t> expected;
      for (const std::uint32_t cell : sortedCells(*whole))
        if (cell % 3 != 0 && cell % 5 != 0) expected.push_back(cell);
      EXPECT_FALSE(expected.empty());
      EXPECT_EQ(sortedCells(*part), expected);
    }
  }
}

TEST(CutMesh, NodesWithoutAValueLeaveTheirCellsOut)
{
  for (const double bad : {kNaN, kInfinity, -kInfinity})
    for (const MeshType kind : zoo::kVolumeKinds) {
      SCOPED_TRACE(kind);
      std::vector<double> values = valuesOf(blockNodes(kNodes), wave);
      const auto mesh = zoo::block(kind, kCells);
      const MbScalardSetI good = flatSet(values);
      const std::size_t node = 3 + 7 * (4 + 8 * 4);
      values[node] = bad;
      const MbScalardSetI set = flatSet(values);
      const auto whole = laws::cut(*mesh, MxIsovalue{&good, 0.15});
      const auto part = laws::cut(*mesh, MxIsovalue{&set, 0.15});
      std::vector<std::uint32_t> expected;
      for (const std::uint32_t cell : sortedCells(*whole)) {
        const std::size_t i = cell % 6, j = cell / 6 % 7, k = cell / 42;
        if (i < 2 || i > 3 || j < 3 || j > 4 || k < 3 || k > 4) expected.push_back(cell);
      }
      EXPECT_LT(expected.size(), whole->provenance.cells.size());
      EXPECT_EQ(sortedCells(*part), expected);
      for (std::size_t n = 0; n < part->geometry.getNodeCount(); ++n)
        EXPECT_TRUE(isFinite(part->geometry.getNode(n)));
    }
}

TEST(CutMesh, ArgumentsThatGiveNothing)
{
  const auto mesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, kCells);
  const MbScalardSetI set = flatSet(valuesOf(blockNodes(kNodes), wave));
  const MbScalardSetI tooShort("f", MiDataBinding::PerNode, std::vector<double>(5));
  const MbScalardSetI ofCells("f", MiDataBinding::PerCell, std::vector<double>(504));
  for (const MxCutShape& shape : std::vector<MxCutShape>{
           MxCutPlane{{}, 0}, MxCutPlane{{1, kNaN, 0}, 0}, MxCutPlane{{1, 0, 0}, kInfinity},
           MxCutSphere{{3, 1, 1}, -1}, MxCutSphere{{3, 1, 1}, 0}, MxCutSphere{{kNaN, 1, 1}, 1},
           MxCutCylinder{{3, 1, 1}, {}, 1}, MxCutCylinder{{3, 1, 1}, {0, 0, 1}, -0.5},
           MxCutCylinder{{3, 1, 1}, {0, 0, kInfinity}, 1}, MxIsovalue{nullptr, 1},
           MxIsovalue{&set, kNaN}, MxIsovalue{&set, 100}, MxIsovalue{&tooShort, 0},
           MxIsovalue{&ofCells, 0}, MxCutPlane{{1, 0, 0}, 77}})
  {
    const auto surface = laws::cut(*mesh, shape);
    EXPECT_EQ(surface->topology.getCellCount(), 0u);
    EXPECT_EQ(surface->geometry.getNodeCount(), 0u);
  }
}

TEST(CutMesh, BrokenCellsAreLeftOutAndCounted)
{
  const bench::CellArrays arrays = bench::makeMixed(8);
  for (const bool known : {false, true}) {
    bench::CellArrays broken = arrays;
    const auto firstNode = [&](std::size_t cell) -> std::int64_t& {
      return broken.connectivity[static_cast<std::size_t>(broken.offsets[cell])];
    };
    firstNode(700) = -4;
    firstNode(900) = static_cast<std::int64_t>(arrays.nodeCount());
    const auto lost = static_cast<std::size_t>(firstNode(1200));
    broken.points[3 * lost + 1] = kNaN;
    const MbVolumeMeshUnstructured mesh(
        MbTopologyI(broken.types, broken.offsets, broken.connectivity), broken.points);
    MxExtractionMonitor monitor(nullptr, "", 0);
    std::shared_ptr<const MxMeshCheck> check;
    if (known) check = checkMesh(mesh, false, monitor);
    std::vector<double> values;
    for (std::size_t n = 0; n < arrays.nodeCount(); ++n)
      values.push_back(arrays.points[3 * n] + arrays.points[3 * n + 2]);
    const MbScalardSetI set = flatSet(values);
    for (const MxCutShape& shape :
         std::vector<MxCutShape>{MxIsovalue{&set, 1.0}, MxCutPlane{{1, 0, 1}, 1.0}})
      for (const bool parallel : {false, true}) {
        laws::CutOptions options;
        options.parallel = parallel;
        std::shared_ptr<const MxMeshCheck> found;
        options.check = &found;
        const auto surface = laws::cut(mesh, shape, options);
        EXPECT_GT(surface->topology.getCellCount(), 50u);
        ASSERT_TRUE(found);
        EXPECT_GE(found->brokenCount, 3u);
        for (const std::uint32_t cell : surface->provenance.cells)
          EXPECT_FALSE(found->unusable.test(cell));
      }
  }
}

TEST(CutMesh, CellsAroundOneNodeFillItsBucket)
{
  for (const std::int32_t ring : {3, 5, 6, 7, 8, 40, 1000}) {
    SCOPED_TRACE(ring);
    const auto mesh = fan(ring);
    for (const bool parallel : {false, true}) {
      const auto surface = laws::cut(*mesh, MxCutSphere{{}, 0.1}, {parallel});
      laws::expectSound(*surface);
      EXPECT_EQ(surface->geometry.getNodeCount(), static_cast<std::size_t>(ring) + 2);
      EXPECT_GT(laws::sizeOf(*surface).volume, 0);
      // A sphere through the hub cuts nothing off but what touches it.
      laws::expectSound(*laws::cut(*mesh, MxCutPlane{{0, 0, 1}, 0}, {parallel}),
                        static_cast<std::size_t>(ring));
    }
  }
}

TEST(CutMesh, PolyhedraBesideHexahedraLeaveNoCrack)
{
  const auto mesh = checkered({8, 8, 8});
  const auto surface = laws::cut(*mesh, MxCutSphere{{4.03, 2.02, 1.01}, 0.83});
  laws::expectSound(*surface);
  const auto plain = laws::cut(*zoo::block(VOLUME_MESH_UNSTRUCTURED, {8, 8, 8}),
                               MxCutSphere{{4.03, 2.02, 1.01}, 0.83});
  EXPECT_NEAR(laws::sizeOf(*surface).volume, laws::sizeOf(*plain).volume, 1e-6);
}

TEST(CutMesh, LeftHandedGridsAreCutOutward)
{
  const MbVolumeMeshRegular grid(MbIndex3{9, 9, 9}, MbVec3d{0, 0, 0}, MbVec3d{1, 1, -1});
  const auto surface = laws::cut(grid, MxCutSphere{{4.5, 4.4, -4.3}, 3});
  laws::expectSound(*surface);
  EXPECT_GT(laws::sizeOf(*surface).volume, 80);
}

// The second cut makes the structures for dragging, later ones use them: always the same bytes.
TEST(CutMesh, DraggingGivesWhatAFirstCutGives)
{
  std::size_t number = 0;
  for (const auto& mesh : dragMeshes()) {
    SCOPED_TRACE(number++);
    const std::size_t nodeCount = nodeCountOf(*mesh);
    MbVec3d low = nodeOf(*mesh, 0), high = low;
    std::vector<double> values;
    for (std::size_t n = 0; n < nodeCount; ++n) {
      const MbVec3d p = nodeOf(*mesh, n);
      values.push_back(n % 4096 == 77 ? kNaN : wave(p * 2));
      for (std::size_t axis = 0; axis < 3; ++axis) {
        low[axis] = std::min(low[axis], p[axis]);
        high[axis] = std::max(high[axis], p[axis]);
      }
    }
    MbScalardSetI set = flatSet(values);
    const MbVec3d middle = (low + high) * 0.5;
    const double size = length(high - low) * 0.2;
    const MbFunctionFilterI flat([](std::size_t cell) { return cell % 7 != 0; });
    const MbFunctionFilterIjk grid([](std::size_t i, std::size_t, std::size_t) { return i != 5; });
    MxCutMemory planes, spheres, cylinders, fields;
    std::shared_ptr<const MxMeshCheck> check;
    for (int step = 0; step < 5; ++step) {
      SCOPED_TRACE(step);
      if (step == 3) {
        for (double& value : values)
          value *= -0.9;
        set.setValues(std::vector<double>(values));
      }
      const double t = 0.03 * step;
      const std::pair<MxCutShape, MxCutMemory*> cuts[] = {
          {MxCutPlane{{0.31, -0.57, 0.76}, dot({0.31, -0.57, 0.76}, middle) + t}, &planes},
          {MxCutSphere{middle, size + t}, &spheres},
          {MxCutCylinder{middle, {0.3, 0.1, 2}, size * 0.7 - t}, &cylinders},
          {MxIsovalue{&set, (step < 3 ? 0.9 : -0.7) + t}, &fields}};
      for (const auto& [shape, memory] : cuts)
        for (const MiCellFilter* filter :
             {static_cast<const MiCellFilter*>(nullptr), static_cast<const MiCellFilter*>(&flat),
              static_cast<const MiCellFilter*>(&grid)})
        {
          laws::CutOptions options;
          options.filter = filter;
          options.check = &check;
          const auto expected = laws::cut(*mesh, shape, options);
          options.memory = memory;
          options.parallel = step % 2 != 0;
          EXPECT_TRUE(laws::bytesOf(*laws::cut(*mesh, shape, options)) == laws::bytesOf(*expected));
          EXPECT_GT(expected->topology.getCellCount(), 0u);
        }
    }
    EXPECT_GT(planes.getByteCount(), 0u);
  }
}
