#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <benchmarks/Workloads.h>
#include <tests/support/CutMesh.h>

#include <gmock/gmock.h>

#include <set>

namespace {

using Axes = std::array<std::vector<double>, 3>;
using PointOf = std::function<MbVec3d(std::size_t, std::size_t, std::size_t)>;

/// One grid as a structured kind, and as hexahedra that name their nodes, which are cut one by one.
struct Grid
{
  MbIndex3 cells, nodes;
  zoo::Active active;
  std::unique_ptr<MiMesh> mesh;
  std::unique_ptr<MbVolumeMeshHexahedronIjk> hexahedra;

  std::size_t nodeCount() const { return nodes.x * nodes.y * nodes.z; }
};

/// Calls body(i, j, k), I fastest.
template <class Body>
void forEachIndex(const MbIndex3& counts, const Body& body)
{
  for (std::size_t k = 0; k < counts.z; ++k)
    for (std::size_t j = 0; j < counts.y; ++j)
      for (std::size_t i = 0; i < counts.x; ++i)
        body(i, j, k);
}

/// Calls make(points) for the structured mesh.
template <class Make>
Grid makeGrid(const MbIndex3& cells, const PointOf& pointOf, zoo::Active active, const Make& make)
{
  Grid grid;
  grid.cells = cells;
  grid.nodes = cells + MbIndex3{1, 1, 1};
  grid.active = std::move(active);
  std::vector<MbVec3d> points;
  forEachIndex(grid.nodes, [&](std::size_t i, std::size_t j, std::size_t k) {
    points.push_back(pointOf(i, j, k));
  });
  std::vector<std::int64_t> connectivity;
  const std::size_t row = grid.nodes.x, layer = grid.nodes.x * grid.nodes.y;
  forEachIndex(cells, [&](std::size_t i, std::size_t j, std::size_t k) {
    const std::size_t o = i + row * j + layer * k;
    for (const std::size_t node : {o, o + 1, o + 1 + row, o + row, o + layer, o + 1 + layer,
                                   o + 1 + row + layer, o + row + layer})
      connectivity.push_back(static_cast<std::int64_t>(node));
  });
  const MbTopologyIjk topology =
      grid.active.empty() ? MbTopologyIjk(cells) : MbTopologyIjk(cells, grid.active);
  grid.mesh = make(topology, points);
  using Topology = MbTopologyHexahedronIjk;
  grid.hexahedra = std::make_unique<MbVolumeMeshHexahedronIjk>(
      grid.active.empty() ? Topology(cells, std::move(connectivity))
                          : Topology(cells, std::move(connectivity), grid.active),
      std::move(points));
  return grid;
}

Grid curvilinear(const MbIndex3& cells, const PointOf& pointOf, zoo::Active active = {})
{
  return makeGrid(cells, pointOf, std::move(active),
                  [](const MbTopologyIjk& topology, auto points) {
                    return std::make_unique<MbVolumeMeshCurvilinear>(topology, std::move(points));
                  });
}

Grid rectilinear(const Axes& axes, zoo::Active active = {})
{
  return makeGrid(
      {axes[0].size() - 1, axes[1].size() - 1, axes[2].size() - 1},
      [&](std::size_t i, std::size_t j, std::size_t k) {
        return MbVec3d{axes[0][i], axes[1][j], axes[2][k]};
      },
      std::move(active),
      [&](const MbTopologyIjk& topology, const auto&) {
        return std::make_unique<MbVolumeMeshRectilinear>(
            topology, std::vector(axes[0]), std::vector(axes[1]), std::vector(axes[2]));
      });
}

Grid regular(const MbIndex3& cells, MbVec3d origin, MbVec3d spacing, zoo::Active active = {})
{
  return makeGrid(
      cells,
      [&](std::size_t i, std::size_t j, std::size_t k) {
        return MbVec3d{origin.x + spacing.x * static_cast<double>(i),
                       origin.y + spacing.y * static_cast<double>(j),
                       origin.z + spacing.z * static_cast<double>(k)};
      },
      std::move(active),
      [&](const MbTopologyIjk& topology, const auto&) {
        return std::make_unique<MbVolumeMeshRegular>(topology, origin, spacing);
      });
}

PointOf bent(const MbIndex3& cells)
{
  return [cells](std::size_t i, std::size_t j, std::size_t k) {
    const auto part = [](std::size_t n, std::size_t count) {
      return static_cast<double>(n) / static_cast<double>(count);
    };
    const bench::Point p = bench::distort(part(i, cells.x), part(j, cells.y), part(k, cells.z));
    return MbVec3d{p[0], p[1], p[2]};
  };
}

/// A vertex by its source nodes, and by its weight in parts of a million.
using Vertex = std::array<std::int64_t, 3>;
/// The cell of a polygon and its vertices, from the smallest one on.
using Polygon = std::pair<std::uint32_t, std::vector<Vertex>>;

std::multiset<Polygon> polygonsOf(const MeXSurfaceMeshUnstructured& surface)
{
  std::multiset<Polygon> polygons;
  for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f) {
    std::vector<Vertex> vertices;
    for (const int n : surface.topology.getCell(f)) {
      const auto node = static_cast<std::size_t>(n);
      vertices.push_back({surface.provenance.nodes[2 * node],
                          surface.provenance.nodes[2 * node + 1],
                          std::llround(1e6 * surface.provenance.weights[node])});
    }
    std::rotate(vertices.begin(), std::min_element(vertices.begin(), vertices.end()),
                vertices.end());
    polygons.emplace(surface.provenance.cells[f], std::move(vertices));
  }
  return polygons;
}

std::map<Vertex, MbVec3d> placesOf(const MeXSurfaceMeshUnstructured& surface)
{
  std::map<Vertex, MbVec3d> places;
  for (std::size_t n = 0; n < surface.geometry.getNodeCount(); ++n)
    places[{surface.provenance.nodes[2 * n], surface.provenance.nodes[2 * n + 1],
            std::llround(1e6 * surface.provenance.weights[n])}] = surface.geometry.getNode(n);
  EXPECT_EQ(places.size(), surface.geometry.getNodeCount()) << "vertices that are not shared";
  return places;
}

void expectSame(const MeXSurfaceMeshUnstructured& surface,
                const MeXSurfaceMeshUnstructured& expected)
{
  EXPECT_EQ(polygonsOf(surface), polygonsOf(expected));
  const auto places = placesOf(surface), expectedPlaces = placesOf(expected);
  ASSERT_EQ(places.size(), expectedPlaces.size());
  for (const auto& [vertex, place] : expectedPlaces) {
    ASSERT_TRUE(places.count(vertex));
    const MbVec3d& own = places.at(vertex);
    EXPECT_LE(length(own - place), 1e-6 * (1 + length(place)));
  }
}

/// Cuts the grid as it is, with virtual calls alone, in parallel and with a memory that has served
/// before; all must give what the hexahedra give.
void expectCutsAgree(Grid& grid, const MxCutShape& shape, const MxCutShape& flatShape,
                     const MiCellFilterIjk* filter = nullptr)
{
  laws::CutOptions options;
  options.filter = filter;
  const auto expected = laws::cut(*grid.hexahedra, flatShape, options);
  const auto surface = laws::cut(*grid.mesh, shape, options);
  expectSame(*surface, *expected);
  MxCutMemory memory;
  options.memory = &memory;
  (void)laws::cut(*grid.mesh, MxCutSphere{{0.3, 0.3, 0.3}, 0.4}, options);
  options.parallel = true;
  EXPECT_EQ(laws::bytesOf(*laws::cut(*grid.mesh, shape, options)), laws::bytesOf(*surface));
  grid.mesh = zoo::procedural(std::move(grid.mesh));
  expectSame(*laws::cut(*grid.mesh, shape, {false, filter}), *expected);
}

/// The grids on which everything is tried: of every kind, of one cell to a few bricks and one more,
/// turned over, and with dead cells.
std::vector<Grid> someGrids(bench::Generator& random, bool withTall)
{
  const auto deadOnes = [&](const MbIndex3& cells) {
    zoo::Active active(cells.x * cells.y * cells.z, 1);
    for (auto& own : active)
      own = random.below(7) > 0;
    return active;
  };
  const auto axis = [](std::size_t count, double step) {
    std::vector<double> values;
    for (std::size_t n = 0; n <= count; ++n)
      values.push_back(step * static_cast<double>(n * (n + 5)));
    return values;
  };
  std::vector<Grid> grids;
  // The last one has more bricks in a row than are looked at together.
  std::vector<MbIndex3> sizes{{1, 1, 1}, {3, 4, 5}, {17, 6, 15}, {270, 4, 5}};
  if (withTall) sizes.push_back({3, 125, 70}); // cut in several turns
  for (const MbIndex3& cells : sizes) {
    const MbVec3d spacing{1.0 / static_cast<double>(cells.x), 1.0 / static_cast<double>(cells.y),
                          1.0 / static_cast<double>(cells.z)};
    grids.push_back(regular(cells, {}, spacing));
    grids.push_back(regular(cells, {1, 0, 0}, {-spacing.x, spacing.y, spacing.z}, deadOnes(cells)));
    grids.push_back(
        rectilinear(Axes{axis(cells.x, 0.003), axis(cells.y, 0.01), axis(cells.z, 0.004)}));
    grids.push_back(curvilinear(cells, bent(cells)));
    grids.push_back(curvilinear(cells, bent(cells), deadOnes(cells)));
  }
  return grids;
}

} // namespace

TEST(CutGrid, RandomFieldsAreCutAsTheHexahedraAre)
{
  bench::Generator random{11};
  for (Grid& grid : someGrids(random, false)) {
    SCOPED_TRACE(std::to_string(classifyMesh(grid.mesh.get())) + " of " +
                 std::to_string(grid.nodeCount()) + " nodes");
    // Few values: many nodes are on the level, and all cases occur; a few have no value.
    std::vector<double> values(grid.nodeCount());
    for (double& value : values) {
      value = static_cast<double>(random.below(5)) - 2;
      if (random.below(90) == 0) value = kNaN;
      if (random.below(300) == 0) value = kInfinity;
    }
    const std::vector<float> singles(values.begin(), values.end());
    const MbScalardSetIjk set("f", MiDataBinding::PerNode, grid.nodes, values);
    const MbScalardSetI flat("f", MiDataBinding::PerNode, values);
    const MbScalardSetIjk single("f", MiDataBinding::PerNode, grid.nodes, singles);
    std::vector<std::int16_t> wholes;
    for (const double value : values)
      wholes.push_back(std::isfinite(value) ? static_cast<std::int16_t>(value) : 0);
    const MbScalardSetIjk whole("f", MiDataBinding::PerNode, grid.nodes, wholes);
    const MbScalardSetI flatWhole("f", MiDataBinding::PerNode, wholes);
    const MbFunctionFilterIjk refused(
        [](std::size_t i, std::size_t j, std::size_t k) { return (i + 2 * j + 3 * k) % 5 != 1; });
    for (const double value : {0.0, 0.5, 1.0}) {
      expectCutsAgree(grid, MxIsovalue{&set, value}, MxIsovalue{&flat, value});
      expectCutsAgree(grid, MxIsovalue{&flat, value}, MxIsovalue{&flat, value}, &refused);
      expectCutsAgree(grid, MxIsovalue{&single, value}, MxIsovalue{&flat, value});
      expectCutsAgree(grid, MxIsovalue{&whole, value}, MxIsovalue{&flatWhole, value});
    }
  }
}

TEST(CutGrid, ShapesAreCutAsTheHexahedraAre)
{
  bench::Generator random{12};
  for (Grid& grid : someGrids(random, true)) {
    SCOPED_TRACE(std::to_string(classifyMesh(grid.mesh.get())) + " of " +
                 std::to_string(grid.nodeCount()) + " nodes");
    for (const MxCutShape& shape : std::initializer_list<MxCutShape>{
             MxCutPlane{{3, 5, 8}, 7.3}, MxCutPlane{{1, 0, 0}, 0}, MxCutPlane{{0, 0, -1}, -0.2},
             MxCutPlane{{0, 1, 0}, 0.5}, MxCutSphere{{0.47, 0.52, 0.49}, 0.35},
             MxCutSphere{{0, 0, 0}, 1}, MxCutCylinder{{0.47, 0.5, 0.5}, {3, 5, 8}, 0.25},
             MxCutCylinder{{0, 0, 0}, {0, 0, 2}, 0.6}})
      expectCutsAgree(grid, shape, shape);
  }
}

TEST(CutGrid, ClosedSurfacesFaceOutwardInBothHands)
{
  for (const double step : {0.1, -0.1}) {
    Grid grid = regular({20, 20, 20}, {step > 0 ? 0.0 : 2.0, 0, 0}, {step, 0.1, 0.1});
    const auto surface = laws::cut(*grid.mesh, MxCutSphere{{1.01, 0.97, 1.03}, 0.8});
    laws::expectSound(*surface);
    EXPECT_NEAR(laws::sizeOf(*surface).volume, 4 * bench::kPi / 3 * 0.512, 0.02);
    for (std::size_t n = 0; n < surface->geometry.getNodeCount(); ++n)
      EXPECT_NEAR(length(surface->geometry.getNode(n) - MbVec3d{1.01, 0.97, 1.03}), 0.8, 1e-6);
  }
}

TEST(CutGrid, HostileGridsAreCutAsTheHexahedraAre)
{
  const std::vector<double> plain{0, 0.25, 0.5, 0.75, 1};
  std::vector<Grid> grids;
  grids.push_back(regular({4, 4, 4}, {}, {0, 0.25, 0.25}));
  grids.push_back(regular({4, 4, 4}, {}, {0, 0, 0}));
  grids.push_back(regular({4, 4, 4}, {1, 1, 1}, {-0.25, -0.25, -0.25}));
  grids.push_back(rectilinear(Axes{plain, std::vector<double>{1, 0.8, 0.5, 0.1}, plain}));
  grids.push_back(rectilinear(Axes{plain, std::vector<double>{0, 0.3, 0.3, 0.3, 0.9},
                                   std::vector<double>{0.5, 0.1, 0.7, 0.2}}));
  grids.push_back(rectilinear(Axes{plain, std::vector<double>{0, kNaN, 0.3, 0.6, 0.9}, plain}));
  grids.push_back(
      rectilinear(Axes{plain, std::vector<double>{-kInfinity, 0.1, 0.3, 0.6, 1e300}, plain}));
  grids.push_back(rectilinear(Axes{std::vector<double>{-1e200, 0, 0.3, 1e200}, plain, plain}));
  const MbIndex3 cells{5, 6, 4};
  grids.push_back(curvilinear(cells, [&](std::size_t i, std::size_t j, std::size_t k) {
    MbVec3d p = bent(cells)(i, j, k);
    if (i == 2 && j == 3) p.y = k == 1 ? kNaN : k == 2 ? kInfinity : p.y;
    return p;
  }));
  grids.push_back(curvilinear(cells, [&](std::size_t i, std::size_t, std::size_t k) {
    return MbVec3d{0.2 * static_cast<double>(i), 0.5, 0.25 * static_cast<double>(k)};
  }));
  bench::Generator random{5};
  for (Grid& grid : grids) {
    SCOPED_TRACE(&grid - grids.data());
    std::vector<double> values(grid.nodeCount());
    for (double& value : values)
      value = random.uniform();
    const MbScalardSetI set("f", MiDataBinding::PerNode, values);
    for (const MxCutShape& shape : std::initializer_list<MxCutShape>{
             MxIsovalue{&set, 0.5}, MxCutPlane{{1, 1, 1}, 1.2}, MxCutPlane{{0, 1, 0}, 0.3},
             MxCutSphere{{0.4, 0.5, 0.5}, 0.3}, MxCutCylinder{{0.5, 0.5, 0.5}, {1, 1, 0}, 0.3}})
      expectCutsAgree(grid, shape, shape);
  }
}

// Map coordinates: the surface has an origin of its own and does not tremble.
TEST(CutGrid, FarMeshesKeepTheirPrecision)
{
  const Grid grid = regular({12, 12, 12}, {4.5e6, 5.5e6, 1000}, {0.1, 0.1, 0.1});
  const MbVec3d centre{4.5e6 + 0.6, 5.5e6 + 0.6, 1000.6};
  for (const MiMesh* mesh : {grid.mesh.get(), static_cast<MiMesh*>(grid.hexahedra.get())}) {
    const auto surface = laws::cut(*mesh, MxCutSphere{centre, 0.4});
    ASSERT_GT(surface->geometry.getNodeCount(), 100u);
    EXPECT_NE(surface->geometry.origin, MbVec3d{});
    for (std::size_t n = 0; n < surface->geometry.getNodeCount(); ++n)
      EXPECT_NEAR(length(surface->geometry.getNode(n) - centre), 0.4, 1e-6);
  }
}
