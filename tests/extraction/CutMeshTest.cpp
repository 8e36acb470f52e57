#include <velmo/extraction/interfaces/MxCellShapes.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <benchmarks/Workloads.h>
#include <tests/support/CutMesh.h>

#include <gtest/gtest.h>

#include <cmath>

namespace {

using S = MiCellShape;

constexpr MbIndex3 kCells{6, 7, 8};
/// Well inside a block of 8 x 8 x 8 boxes.
const MxCutSphere kSphere{{4.03, 2.02, 1.01}, 0.83};
double wave(const MbVec3d& p)
{
  return std::sin(1.7 * p.x) + std::cos(2.9 * p.y) * std::sin(5.3 * p.z + 0.3);
}

std::vector<double> valuesOf(const MiMesh& mesh, double (*field)(const MbVec3d&))
{
  std::vector<double> values;
  for (const MbVec3d& p : zoo::nodePlaces(mesh))
    values.push_back(field(p));
  return values;
}

double area(const MeXSurfaceMeshUnstructured& surface)
{
  return laws::sizeOf(surface).area;
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
  MbCellArrays arrays;
  arrays.connectivity = std::move(connectivity);
  arrays.offsets = std::move(offsets);
  arrays.shapes = std::move(shapes);
  arrays.faces = std::move(faces);
  arrays.faceOffsets = std::move(faceOffsets);
  return std::make_unique<MbVolumeMeshUnstructured>(MbTopologyI(std::move(arrays)),
                                                    zoo::nodePlaces(from));
}

std::unique_ptr<MiMesh> meshOf(bench::CellArrays arrays)
{
  return std::make_unique<MbVolumeMeshUnstructured>(MbTopologyI(std::move(arrays.types),
                                                                std::move(arrays.offsets),
                                                                std::move(arrays.connectivity)),
                                                    std::move(arrays.points));
}

std::vector<std::unique_ptr<MiMesh>> dragMeshes()
{
  std::vector<std::unique_ptr<MiMesh>> meshes;
  meshes.push_back(meshOf(bench::makeHex(21)));
  meshes.push_back(meshOf(bench::makeShuffledTet(12)));
  meshes.push_back(meshOf(bench::makeMixed(16)));
  meshes.push_back(zoo::blockOf(S::QuadraticHexahedron, {9, 8, 7}));
  meshes.push_back(checkered({16, 16, 17}));
  for (const MeshType kind : {VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_REGULAR,
                              VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR})
    meshes.push_back(zoo::block(kind, {18, 17, 16}));
  return meshes;
}

} // namespace

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

TEST(CutMesh, NodesWithoutAValueLeaveTheirCellsOut)
{
  constexpr std::size_t kNode = 3 + 7 * (4 + 8 * 4);
  for (const MeshType kind : zoo::kVolumeKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    const auto mesh = zoo::block(kind, kCells);
    std::vector<double> values = valuesOf(*mesh, wave);
    const auto cutAt = [&](double value) {
      values[kNode] = value;
      const auto set = zoo::setOf(*mesh, MiDataBinding::PerNode, values);
      return laws::cut(*mesh, MxIsovalue{set.get(), 0.15});
    };
    const auto whole = cutAt(values[kNode]);
    std::vector<std::uint32_t> expected;
    for (const std::uint32_t cell : laws::sortedCells(*whole)) {
      const std::size_t i = cell % 6, j = cell / 6 % 7, k = cell / 42;
      if (i < 2 || i > 3 || j < 3 || j > 4 || k < 3 || k > 4) expected.push_back(cell);
    }
    EXPECT_LT(expected.size(), whole->provenance.cells.size());
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
      const auto part = cutAt(bad);
      EXPECT_EQ(laws::sortedCells(*part), expected);
      for (std::size_t n = 0; n < part->geometry.getNodeCount(); ++n)
        EXPECT_TRUE(isFinite(part->geometry.getNode(n)));
    }
    // Huge ones are numbers.
    const auto huge = cutAt(-1.7e308);
    EXPECT_GT(huge->provenance.cells.size(), expected.size());
    for (std::size_t n = 0; n < huge->geometry.getNodeCount(); ++n)
      EXPECT_TRUE(isFinite(huge->geometry.getNode(n)));
  }
}

TEST(CutMesh, ArgumentsThatGiveNothing)
{
  for (const MeshType kind : {VOLUME_MESH_UNSTRUCTURED, VOLUME_MESH_REGULAR}) {
    const auto mesh = zoo::block(kind, kCells);
    const auto set = zoo::nodeSet(*mesh, wave);
    const MbScalardSetI tooShort("f", MiDataBinding::PerNode, std::vector<double>(503));
    const MbScalardSetI ofCells("f", MiDataBinding::PerCell, std::vector<double>(504));
    const MbScalardSetIjk turned("f", MiDataBinding::PerNode, {8, 7, 9}, std::vector<double>(504));
    const std::vector<MxCutShape> shapes{
        MxIsovalue{},
        MxIsovalue{set.get(), kNaN},
        MxIsovalue{set.get(), kInfinity},
        MxIsovalue{set.get(), -kInfinity},
        MxIsovalue{set.get(), 100},
        MxIsovalue{&tooShort, 0},
        MxIsovalue{&ofCells, 0},
        MxIsovalue{&turned, 0},
        MxCutPlane{{}, 0},
        MxCutPlane{{1, kNaN, 0}, 0},
        MxCutPlane{{1, 0, kInfinity}, 0},
        MxCutPlane{{1, 0, 0}, kInfinity},
        MxCutPlane{{1, 0, 0}, kNaN},
        MxCutPlane{{1, 0, 0}, 77},
        MxCutSphere{{3, 1, 1}, -1},
        MxCutSphere{{3, 1, 1}, 0},
        MxCutSphere{{3, 1, 1}, kInfinity},
        MxCutSphere{{kNaN, 1, 1}, 1},
        MxCutCylinder{{3, 1, 1}, {}, 1},
        MxCutCylinder{{3, 1, 1}, {0, 0, 1}, -0.5},
        MxCutCylinder{{3, 1, 1}, {0, 0, 1}, kNaN},
        MxCutCylinder{{3, -kInfinity, 1}, {0, 0, 1}, 1},
        MxCutCylinder{{3, 1, 1}, {0, 0, kInfinity}, 1},
    };
    for (const MxCutShape& shape : shapes) {
      const auto surface = laws::cut(*mesh, shape);
      EXPECT_EQ(surface->topology.getCellCount(), 0u) << kind << " " << &shape - shapes.data();
      EXPECT_EQ(surface->geometry.getNodeCount(), 0u);
    }
    EXPECT_GT(laws::cut(*mesh, MxIsovalue{set.get(), 0.15})->topology.getCellCount(), 0u);
    const auto flat = zoo::block(kind, {4, 0, 2});
    EXPECT_EQ(laws::cut(*flat, MxCutPlane{{1, 0, 0}, 1.5})->topology.getCellCount(), 0u);
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
    const auto set = zoo::nodeSet(mesh, [](const MbVec3d& p) { return p.x + p.z; });
    for (const MxCutShape& shape :
         std::vector<MxCutShape>{MxIsovalue{set.get(), 1.0}, MxCutPlane{{1, 0, 1}, 1.0}})
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

TEST(CutMesh, SphereInABlockOfEveryShapeIsClosedAndRound)
{
  for (const S shape : zoo::shapesOf(3)) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const auto surface = laws::cut(*zoo::blockOf(shape, {8, 8, 8}), kSphere);
    laws::expectSound(*surface);
    const laws::Size size = laws::sizeOf(*surface);
    EXPECT_NEAR(size.volume, 4 * bench::kPi / 3 * std::pow(kSphere.radius, 3), 0.4);
    EXPECT_GT(size.volume, 0);
    EXPECT_NEAR(size.area, 4 * bench::kPi * kSphere.radius * kSphere.radius, 1);
    for (std::size_t n = 0; n < surface->geometry.getNodeCount(); ++n)
      EXPECT_NEAR(length(surface->geometry.getNode(n) - kSphere.center), kSphere.radius, 1e-6);
  }
}

// One isosurface through hexahedra, tetrahedra, wedges and pyramids: no cracks between them.
TEST(CutMesh, ConformingMixedMeshHasNoCracks)
{
  const auto mesh = meshOf(bench::makeMixed(16));
  const auto set = zoo::nodeSet(*mesh, [](const MbVec3d& p) {
    return std::sin(17 * p.x) * std::cos(15 * p.y) + std::sin(16 * p.y) * std::cos(17 * p.z) +
           std::sin(15 * p.z) * std::cos(16 * p.x) -
           400 * std::pow(std::max(0.0, length(p - MbVec3d{0.5, 0.5, 0.5}) - 0.3), 2);
  });
  const auto surface = laws::cut(*mesh, MxIsovalue{set.get(), 0.2});
  EXPECT_GT(surface->topology.getCellCount(), 1000u);
  laws::expectSound(*surface);
  EXPECT_LT(laws::sizeOf(*surface).volume, 0); // larger values are inside
}

TEST(CutMesh, PolyhedraBesideHexahedraLeaveNoCrack)
{
  const auto mesh = checkered({8, 8, 8});
  const auto surface = laws::cut(*mesh, kSphere);
  laws::expectSound(*surface);
  const auto plain = laws::cut(*zoo::block(VOLUME_MESH_UNSTRUCTURED, {8, 8, 8}), kSphere);
  EXPECT_NEAR(laws::sizeOf(*surface).volume, laws::sizeOf(*plain).volume, 1e-6);
}

// Nodes and a value beyond single precision, or whose squares are beyond the largest number, in
// meshes whose last run of eight cells is not full.
TEST(CutMesh, FarNodesTakeNothingFromTheCut)
{
  for (const S shape : {S::Tetrahedron, S::Hexahedron, S::Wedge, S::Polyhedron,
                        S::QuadraticTetrahedron, S::QuadraticHexahedron})
    for (const double far : {-2e118, 1e200, 1.7e308}) {
      const auto mesh = zoo::blockOf(shape, {5, 5, 3});
      ASSERT_NE(mesh->getTopology().getCellCount() % 8, 0u);
      std::vector<MbVec3d> places = zoo::nodePlaces(*mesh);
      std::vector<double> heights;
      for (const MbVec3d& p : places)
        heights.push_back(p.z);
      std::vector<double> spike(heights.size() - 1, 0.0);
      spike.push_back(1e300); // of the last run's cells alone
      const MbVec3d at{2.1, 1.2, 0.4};
      const MbScalardSetI set("height", MiDataBinding::PerNode, heights);
      const MbScalardSetI spikes("spike", MiDataBinding::PerNode, spike);
      const MxCutShape shapes[] = {MxCutPlane{{0, 0, 1}, 0.66},
                                   MxIsovalue{&set, 0.66},
                                   MxCutPlane{{0, 0, 1e300}, 0.66e300},
                                   MxCutPlane{{0.2, 0.3, 1}, 0.9},
                                   MxCutSphere{at, 0.4},
                                   MxCutCylinder{at, {0, 0, 1e-200}, 0.7},
                                   MxIsovalue{&spikes, 0.66}};
      std::vector<std::size_t> counts;
      for (const MxCutShape& cut : shapes)
        counts.push_back(laws::cut(*mesh, cut)->topology.getCellCount());
      places.back().y = far; // a corner of the block; the sides of planes across y change with it
      mesh->setGeometry(std::vector<MbVec3d>(places));
      std::size_t number = 0;
      for (const MxCutShape& cut : shapes) {
        SCOPED_TRACE(testing::Message()
                     << cellShapeFacts(shape).name << " " << far << " " << number);
        const auto expected = laws::cut(*mesh, cut);
        EXPECT_TRUE(number == 3 || expected->topology.getCellCount() == counts[number]);
        ++number;
        for (const MbVec3f& p : expected->geometry.points())
          EXPECT_TRUE(std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z));
        MxCutMemory memory;
        laws::CutOptions options;
        options.memory = &memory;
        for (int step = 0; step < 4; ++step) {
          options.parallel = step % 2 != 0;
          EXPECT_TRUE(laws::bytesOf(*laws::cut(*mesh, cut, options)) == laws::bytesOf(*expected));
        }
      }
    }
  // The middle between two values whose difference is beyond the largest number.
  const auto pair = zoo::blockOf(S::Hexahedron, {1, 1, 1});
  const MbScalardSetI extremes("extremes", MiDataBinding::PerNode,
                               std::vector<double>{-1.5e308, 1.5e308, -1.5e308, 1.5e308, //
                                                   -1.5e308, 1.5e308, -1.5e308, 1.5e308});
  const auto middle = laws::cut(*pair, MxIsovalue{&extremes, 0});
  EXPECT_EQ(middle->provenance.weights.size(), 4u);
  for (const double weight : middle->provenance.weights)
    EXPECT_EQ(weight, 0.5);
}

// The last run of eight cells is not full: what stands behind the cells in memory is none of them.
TEST(CutMesh, CellsEndWithTheirCount)
{
  const auto block = zoo::blockOf(S::Hexahedron, {5, 5, 3});
  const std::size_t count = block->getTopology().getCellCount();
  std::vector<std::int64_t> connectivity;
  std::vector<std::size_t> nodes;
  for (std::size_t cell = 0; cell < count + 8; ++cell) {
    block->getTopology().getCellNodes(std::min(cell, count - 1), nodes);
    connectivity.insert(connectivity.end(), nodes.begin(), nodes.end());
  }
  const MbVolumeMeshUnstructured mesh(
      MbTopologyI(S::Hexahedron, std::span<const std::int64_t>(connectivity).first(8 * count)),
      zoo::nodePlaces(*block));
  // A range that no steps can divide.
  std::vector<double> values(mesh.getGeometry().getNodeCount() - 1, 0.0);
  values.push_back(1e300);
  const MbScalardSetI set("spike", MiDataBinding::PerNode, values);
  MxCutMemory memory;
  laws::CutOptions options;
  options.memory = &memory;
  for (int step = 0; step < 3; ++step)
    EXPECT_EQ(laws::cut(mesh, MxIsovalue{&set, 1}, options)->topology.getCellCount(), 1u);
}

// The second cut makes the structures for dragging, later ones use them: always the same bytes.
TEST(CutMesh, DraggingGivesWhatAFirstCutGives)
{
  std::size_t number = 0;
  MxCutMemory planes, spheres, cylinders,
      fields; // what they hold of one mesh is nothing to the next
  for (const auto& mesh : dragMeshes()) {
    SCOPED_TRACE(number++);
    const std::vector<MbVec3d> places = zoo::nodePlaces(*mesh);
    MbVec3d low = places[0], high = low;
    std::vector<double> values;
    for (const MbVec3d& p : places) {
      values.push_back(values.size() % 4096 == 77 ? kNaN : wave(p * 2));
      for (std::size_t axis = 0; axis < 3; ++axis) {
        low[axis] = std::min(low[axis], p[axis]);
        high[axis] = std::max(high[axis], p[axis]);
      }
    }
    MbScalardSetI set("f", MiDataBinding::PerNode, values);
    const MbVec3d middle = (low + high) * 0.5;
    const double size = length(high - low) * 0.2;
    const MbFunctionFilterI flat([](std::size_t cell) { return cell % 7 != 0; });
    const MbFunctionFilterIjk grid([](std::size_t i, std::size_t, std::size_t) { return i != 5; });
    std::shared_ptr<const MxMeshCheck> check;
    // The same values in sets of other addresses, of which nothing is known.
    std::vector<std::unique_ptr<MbScalardSetI>> fresh;
    for (int step = 0; step < 5; ++step) {
      SCOPED_TRACE(step);
      if (step == 3) {
        for (double& value : values)
          value = 9 - 0.9 * value; // out of the ranges that were
        set.touch();               // in place: no address tells
      }
      fresh.push_back(std::make_unique<MbScalardSetI>("f", MiDataBinding::PerNode,
                                                      std::vector<double>(values)));
      const double t = 0.03 * step;
      const std::pair<MxCutShape, MxCutMemory*> cuts[] = {
          {MxCutPlane{{0.31, -0.57, 0.76}, dot({0.31, -0.57, 0.76}, middle) + t}, &planes},
          {MxCutSphere{middle, size + t}, &spheres},
          {MxCutCylinder{middle, {0.3, 0.1, 2}, size * 0.7 - t}, &cylinders},
          {MxIsovalue{&set, (step < 3 ? 0.9 : 8.3) + t}, &fields}};
      for (const auto& [shape, memory] : cuts)
        for (const MiCellFilter* filter :
             {static_cast<const MiCellFilter*>(nullptr), static_cast<const MiCellFilter*>(&flat),
              static_cast<const MiCellFilter*>(&grid)})
        {
          laws::CutOptions options;
          options.filter = filter;
          options.check = &check;
          MxCutShape anew = shape;
          if (auto* iso = std::get_if<MxIsovalue>(&anew)) iso->set = fresh.back().get();
          const auto expected = laws::cut(*mesh, anew, options);
          options.memory = memory;
          options.parallel = step % 2 != 0;
          EXPECT_TRUE(laws::bytesOf(*laws::cut(*mesh, shape, options)) == laws::bytesOf(*expected));
          EXPECT_GT(expected->topology.getCellCount(), 0u);
        }
    }
    EXPECT_GT(planes.getByteCount(), 0u);
  }
}
