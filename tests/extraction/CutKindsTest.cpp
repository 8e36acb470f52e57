#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <tests/support/CutExtractors.h>
#include <tests/support/CutMesh.h>
#include <tests/support/CutOracle.h>

#include <gmock/gmock.h>

#include <numbers>

namespace {

constexpr MbVec3d kNormal{0.36, 0.48, 0.8}, kCentre{12, 4.5, 2.6};

std::vector<double> valuesOf(const oracle::Mesh& mesh,
                             const std::function<double(const MbVec3d&)>& function)
{
  std::vector<double> values(mesh.valueCount);
  for (std::size_t n = 0; n < mesh.points.size(); ++n)
    values[mesh.valueAt[n]] = function(mesh.points[n]);
  return values;
}

void expectSame(const MeXSurfaceMeshUnstructured& surface, const oracle::Cut& expected)
{
  EXPECT_EQ(expected.ambiguousFaces, 0u) << "not a case for this test";
  EXPECT_EQ(surface.geometry.getNodeCount(), expected.vertices);
  EXPECT_EQ(surface.topology.getCellCount(), expected.polygons);
  std::size_t corners = 0;
  for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f)
    corners += surface.topology.getCellSize(f);
  EXPECT_EQ(corners, expected.corners);
  const laws::Size size = laws::sizeOf(surface);
  EXPECT_NEAR(size.area, expected.area, 1e-6 * expected.area);
  EXPECT_NEAR(size.volume, expected.volume, 1e-6 * (expected.area + std::abs(expected.volume)));
}

/// All four cuts of a mesh, against the slow ones.
void expectCuts(const MiMesh& mesh)
{
  const oracle::Mesh slow = oracle::read(mesh);
  MbVec3d middle;
  for (const MbVec3d& p : slow.points)
    middle += p * (1 / static_cast<double>(slow.points.size()));
  // Off the nodes.
  middle += MbVec3d{0.013, -0.0071, 0.0047};
  double reach = 0;
  for (const MbVec3d& p : slow.points)
    reach = std::max(reach, length(p - middle));
  const double radius = 0.41 * reach;
  for (const bool parallel : {false, true}) {
    CutExtractors cuts(mesh, parallel);
    for (const MbVec3d& normal : {kNormal, MbVec3d{-1, 0, 0}, MbVec3d{0.2, -3, 0.1}}) {
      const double distance = dot(normal, middle);
      expectSame(cuts.plane(normal, distance, nullptr),
                 oracle::cut(slow, [&](const MbVec3d& p) { return dot(normal, p) - distance; }));
    }
    expectSame(cuts.sphere(middle, radius, nullptr),
               oracle::cut(slow, [&](const MbVec3d& p) { return length(p - middle) - radius; }));
    expectSame(cuts.cylinder(middle, kNormal * 7, radius, nullptr),
               oracle::cut(slow, [&](const MbVec3d& p) {
                 return length(cross(p - middle, kNormal)) - radius;
               }));
    const std::vector<double> values = valuesOf(
        slow, [&](const MbVec3d& p) { return dot(p - middle, p - middle) + 0.3 * reach * p.y; });
    const MbScalardSetI set("f", MiDataBinding::PerNode, values);
    const double value = 0.17 * reach * reach;
    expectSame(cuts.isosurface(set, value, nullptr), oracle::cutValues(slow, values, value));
  }
}

class CutKinds : public testing::TestWithParam<MeshType>
{};
class CutIjkKinds : public CutKinds
{};

std::string nameOf(const testing::TestParamInfo<MeshType>& info)
{
  return meshTypeName(info.param);
}

constexpr MbIndex3 kCells{24, 18, 21};

/// Without any order, but low at the boundary: no surface reaches it.
std::vector<double> noise(const MbIndex3& cells)
{
  const MbIndex3 nodes = cells + MbIndex3{1, 1, 1};
  std::vector<double> values;
  std::uint32_t state = 9;
  for (std::size_t k = 0; k < nodes.z; ++k)
    for (std::size_t j = 0; j < nodes.y; ++j)
      for (std::size_t i = 0; i < nodes.x; ++i) {
        state = state * 1664525u + 1013904223u;
        const bool inside = i > 0 && j > 0 && k > 0 && i < cells.x && j < cells.y && k < cells.z;
        values.push_back(inside ? static_cast<double>(state >> 8) / (1 << 24) : -1);
      }
  return values;
}

/// The points of a surface, sorted.
std::vector<std::array<float, 3>> placesOf(const MeXSurfaceMeshUnstructured& surface)
{
  std::vector<std::array<float, 3>> places;
  for (const MbVec3f& p : surface.geometry.points())
    places.push_back({p.x, p.y, p.z});
  std::sort(places.begin(), places.end());
  return places;
}

} // namespace

TEST_P(CutKinds, EveryCutIsWhatASlowAlgorithmFinds)
{
  expectCuts(*zoo::block(GetParam(), {5, 6, 9}));
  expectCuts(*zoo::procedural(zoo::block(GetParam(), {5, 6, 9})));
  zoo::Active active(5 * 6 * 9, 1);
  for (std::size_t c = 3; c < active.size(); c += 7)
    active[c] = 0;
  expectCuts(*zoo::block(GetParam(), {5, 6, 9}, active));
  // Bent and faulted; the unstructured one has quadratic cells, which the slow way does not know.
  if (GetParam() != VOLUME_MESH_UNSTRUCTURED) expectCuts(*zoo::small(GetParam()));
}

TEST(CutShapesOfExtractors, EveryLinearShapeIsCutAsASlowAlgorithmDoes)
{
  using S = MiCellShape;
  for (const S shape : {S::Tetrahedron, S::Pyramid, S::Wedge, S::Hexahedron, S::Polyhedron}) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    expectCuts(*zoo::blockOf(shape, {4, 5, 6}));
    expectCuts(*zoo::cellsOf({shape, shape, shape}));
  }
}

TEST_P(CutKinds, IsosurfaceOfNoiseIsClosedAndTheSameForAnyNumberOfThreads)
{
  const auto mesh = zoo::block(GetParam(), kCells);
  const auto set = zoo::setOf(*mesh, MiDataBinding::PerNode, noise(kCells));
  CutExtractors serial(*mesh, false), parallel(*mesh, true);
  const auto& surface = serial.isosurface(*set, 0.5, nullptr);
  EXPECT_GT(surface.topology.getCellCount(), 10000u);
  laws::expectSound(surface);
  EXPECT_LT(laws::sizeOf(surface).volume, 0) << "larger values are inside";
  const std::string bytes = laws::bytesOf(surface);
  EXPECT_EQ(laws::bytesOf(parallel.isosurface(*set, 0.5, nullptr)), bytes);
  // What is kept from one value to the next changes nothing.
  parallel.isosurface(*set, 0.52, nullptr);
  EXPECT_EQ(laws::bytesOf(parallel.isosurface(*set, 0.5, nullptr)), bytes);
}

TEST_P(CutKinds, ARidgeAtTheIsovalueIsOneSheetWhereThatLeavesNoHole)
{
  constexpr MbIndex3 cells{6, 5, 4};
  const auto mesh = zoo::block(GetParam(), cells);
  const auto cutOf = [&](const auto& valueAt, const MiCellFilter* filter) -> auto
  {
    std::vector<double> values;
    for (int k = 0; k <= 4; ++k)
      for (int j = 0; j <= 5; ++j)
        for (int i = 0; i <= 6; ++i)
          values.push_back(valueAt(i, j, k));
    const auto set = zoo::setOf(*mesh, MiDataBinding::PerNode, values);
    CutExtractors cuts(*mesh);
    auto surface = std::make_unique<std::string>(laws::bytesOf(cuts.isosurface(*set, 0, filter)));
    const auto& own = cuts.isosurface(*set, 0, filter);
    EXPECT_EQ(laws::bytesOf(own), *surface);
    MbVec3d sum; // of the vector areas: one direction for all of a sheet
    for (const std::vector<int>& polygon : laws::cellsOf(own))
      for (std::size_t n = 2; n < polygon.size(); ++n) {
        const auto at = [&](std::size_t corner) {
          return own.geometry.getNode(static_cast<std::size_t>(polygon[corner]));
        };
        sum += cross(at(n - 1) - at(0), at(n) - at(0)) * 0.5;
      }
    return std::tuple(laws::sizeOf(own).area, length(sum), laws::openEdges(own));
  };
  // All across the mesh.
  {
    const auto [area, vectorArea, open] =
        cutOf([](int i, int, int) { return -std::abs(i - 3); }, nullptr);
    EXPECT_NEAR(area, 2.5, 1e-6);
    EXPECT_NEAR(vectorArea, 2.5, 1e-6);
    EXPECT_EQ(open.size(), 18u) << "on the boundary";
  }
  // A part of the plane: it would end inside, unless the cells around it are left out.
  const auto patch = [](int i, int j, int k) {
    return -std::abs(i - 3) - (j >= 1 && j <= 3 && k >= 1 && k <= 3 ? 0 : 1);
  };
  {
    const auto [area, vectorArea, open] = cutOf(patch, nullptr);
    EXPECT_NEAR(area, 2 * 0.5, 1e-6);
    EXPECT_NEAR(vectorArea, 0, 1e-6);
    EXPECT_TRUE(open.empty());
  }
  const auto isInside = [](std::size_t, std::size_t j, std::size_t k) {
    return j >= 1 && j < 3 && k >= 1 && k < 3;
  };
  const MbFunctionFilterIjk grid(isInside);
  const MbFunctionFilterI flat([&](std::size_t cell) {
    return isInside(cell % cells.x, cell / cells.x % cells.y, cell / cells.x / cells.y);
  });
  {
    const bool isFlat = GetParam() == VOLUME_MESH_UNSTRUCTURED;
    const auto [area, vectorArea, open] =
        cutOf(patch, isFlat ? static_cast<const MiCellFilter*>(&flat) : &grid);
    EXPECT_NEAR(area, 0.5, 1e-6);
    EXPECT_NEAR(vectorArea, 0.5, 1e-6);
  }
  // Where many nodes have the value, a surface inside the mesh stays closed.
  std::vector<double> values = noise(kCells);
  for (double& value : values)
    value = std::floor(3 * value) - 1; // -1 to 1, and lower at the boundary
  const auto whole = zoo::block(GetParam(), kCells);
  const auto set = zoo::setOf(*whole, MiDataBinding::PerNode, values);
  CutExtractors cuts(*whole);
  laws::expectSound(cuts.isosurface(*set, 0, nullptr));
}

TEST_P(CutKinds, AllKindsOfOneGridAgree)
{
  const zoo::Active active = zoo::someDead(kCells);
  const auto first = zoo::block(VOLUME_MESH_CURVILINEAR, kCells, active);
  const auto mesh = zoo::block(GetParam(), kCells, active);
  CutExtractors expected(*first), cuts(*mesh);
  const auto compare = [](const MeXSurfaceMeshUnstructured& a,
                          const MeXSurfaceMeshUnstructured& b) {
    EXPECT_EQ(laws::sortedCells(a), laws::sortedCells(b));
    EXPECT_EQ(placesOf(a), placesOf(b));
    EXPECT_NEAR(laws::sizeOf(a).area, laws::sizeOf(b).area, 1e-9 * laws::sizeOf(a).area);
    EXPECT_GT(b.topology.getCellCount(), 100u);
  };
  compare(cuts.plane(kNormal, 12, nullptr), expected.plane(kNormal, 12, nullptr));
  compare(cuts.sphere(kCentre, 4, nullptr), expected.sphere(kCentre, 4, nullptr));
  compare(cuts.cylinder(kCentre, kNormal, 2, nullptr),
          expected.cylinder(kCentre, kNormal, 2, nullptr));
  const auto own = zoo::setOf(*mesh, MiDataBinding::PerNode, noise(kCells));
  const auto other = zoo::setOf(*first, MiDataBinding::PerNode, noise(kCells));
  compare(cuts.isosurface(*own, 0.5, nullptr), expected.isosurface(*other, 0.5, nullptr));
  // A flat set serves every kind.
  const MbScalardSetI flat("f", MiDataBinding::PerNode, noise(kCells));
  compare(cuts.isosurface(flat, 0.5, nullptr), expected.isosurface(*other, 0.5, nullptr));
}

TEST_P(CutKinds, AFilterTakesCellsAwayAsIfDead)
{
  zoo::Active active(kCells.x * kCells.y * kCells.z, 1), some = active, both = active;
  for (std::size_t c = 0; c < active.size(); ++c) {
    active[c] = c % 3 != 2;
    some[c] = c % 5 != 0;
    both[c] = active[c] && some[c];
  }
  const auto dead = zoo::block(GetParam(), kCells, both);
  const auto alive = zoo::block(GetParam(), kCells, some);
  const MbMaskFilterI flat(active);
  const MbMaskFilterIjk grid(active, kCells);
  const MiCellFilter* filter = &grid;
  if (GetParam() == VOLUME_MESH_UNSTRUCTURED) filter = &flat;
  CutExtractors ofDead(*dead), filtered(*alive);
  const auto compare = [&](const auto& cut) {
    EXPECT_EQ(laws::bytesOf(cut(filtered, filter)), laws::bytesOf(cut(ofDead, nullptr)));
  };
  const auto set = zoo::setOf(*alive, MiDataBinding::PerNode, noise(kCells));
  compare([](auto& cuts, auto with) -> auto& { return cuts.plane(kNormal, 12, with); });
  compare([](auto& cuts, auto with) -> auto& { return cuts.sphere(kCentre, 4, with); });
  compare([](auto& cuts, auto with) -> auto& { return cuts.cylinder(kCentre, kNormal, 2, with); });
  compare([&](auto& cuts, auto with) -> auto& { return cuts.isosurface(*set, 0.5, with); });
}

TEST_P(CutKinds, PlanesThroughNodesHaveNeitherHolesNorDoubledFaces)
{
  // Nodes lie at whole x, halves of y and quarters of z.
  const auto mesh = zoo::block(GetParam(), {6, 5, 4});
  CutExtractors cuts(*mesh);
  const auto expectArea = [&](MbVec3d normal, double distance, double area, std::size_t faces) {
    const auto& surface = cuts.plane(normal, distance, nullptr);
    EXPECT_NEAR(laws::sizeOf(surface).area, area, 1e-6);
    EXPECT_EQ(surface.topology.getCellCount(), faces);
    for (std::size_t n = 0; n < surface.geometry.getNodeCount(); ++n)
      EXPECT_NEAR(dot(normal, surface.geometry.getNode(n)), distance, 1e-6);
  };
  expectArea({1, 0, 0}, 3, 2.5 * 1, 20);
  expectArea({-1, 0, 0}, -3, 2.5 * 1, 20);
  expectArea({0, 0, 2}, 1, 6 * 2.5, 30);
  // Through edges and nodes in a slant: x + 2 y = 4 holds nodes of every column.
  expectArea({1, 2, 0}, 4, std::sqrt(5.0) * 2 * 1, 16);
  // Outside, and along the outside.
  expectArea({1, 0, 0}, 6.5, 0, 0);
  const std::size_t first = cuts.plane({1, 0, 0}, 0, nullptr).topology.getCellCount();
  const std::size_t last = cuts.plane({1, 0, 0}, 6, nullptr).topology.getCellCount();
  EXPECT_EQ(first + last, 20u) << "faces on the surface belong to the cell below";
}

// The others' cells have flat values.
TEST_P(CutIjkKinds, CellValuesAreMeansAtTheNodes)
{
  constexpr MbIndex3 kFew{4, 3, 3};
  zoo::Active active(36, 1);
  active[1 + 4 * (1 + 3 * 1)] = 0;
  const auto mesh = zoo::block(GetParam(), kFew, active);
  std::vector<double> cells, nodes;
  for (std::size_t c = 0; c < 36; ++c)
    cells.push_back(active[c] ? static_cast<double>(c * c % 17) : 1000);
  for (std::size_t k = 0; k < 4; ++k)
    for (std::size_t j = 0; j < 4; ++j)
      for (std::size_t i = 0; i < 5; ++i) {
        double sum = 0, count = 0;
        for (std::size_t c = 0; c < 8; ++c) {
          const std::size_t a = i - (c & 1), b = j - (c >> 1 & 1), d = k - (c >> 2);
          if (a >= 4 || b >= 3 || d >= 3 || !active[a + 4 * (b + 3 * d)]) continue;
          sum += cells[a + 4 * (b + 3 * d)];
          ++count;
        }
        nodes.push_back(sum / count);
      }
  const MbScalardSetIjk perCell("c", MiDataBinding::PerCell, kFew, cells);
  CutExtractors cuts(*mesh);
  const auto& surface = cuts.isosurface(perCell, 7.77, nullptr);
  const std::string bytes = laws::bytesOf(surface);
  EXPECT_GT(surface.topology.getCellCount(), 10u);
  const auto perNode = zoo::setOf(*mesh, MiDataBinding::PerNode, nodes);
  EXPECT_EQ(laws::bytesOf(cuts.isosurface(*perNode, 7.77, nullptr)), bytes);
}

TEST_P(CutKinds, SphereOfAFineMeshIsRound)
{
  constexpr MbIndex3 kFine{40, 80, 160}; // cubes of 1: 40 x 40 x 40
  constexpr double kRadius = 17;
  const MbVec3d center{20.2, 19.9, 20.1};
  const auto mesh = zoo::block(GetParam(), kFine);
  CutExtractors cuts(*mesh);
  const auto& sphere = cuts.sphere(center, kRadius, nullptr);
  laws::expectSound(sphere);
  const laws::Size size = laws::sizeOf(sphere);
  EXPECT_NEAR(size.area, 4 * std::numbers::pi * kRadius * kRadius, 0.002 * size.area);
  EXPECT_NEAR(size.volume, 4 * std::numbers::pi / 3 * std::pow(kRadius, 3), 0.003 * size.volume);
  for (std::size_t n = 0; n < sphere.geometry.getNodeCount(); ++n)
    EXPECT_NEAR(length(sphere.geometry.getNode(n) - center), kRadius, 4e-6);
}

INSTANTIATE_TEST_SUITE_P(AllVolumes, CutKinds, testing::ValuesIn(zoo::kVolumeKinds), nameOf);
INSTANTIATE_TEST_SUITE_P(AllIjk, CutIjkKinds,
                         testing::ValuesIn(std::begin(zoo::kVolumeKinds) + 1,
                                           std::end(zoo::kVolumeKinds)),
                         nameOf);
