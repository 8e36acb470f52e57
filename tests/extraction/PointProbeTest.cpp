#include <tests/support/ExtractorOf.h>
#include <velmo/extraction/extractors/MiPointProbe.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MxShapeFunctions.h>
#include <velmo/mesh/views/MxCellView.h>

#include <atomic>
#include <gmock/gmock.h>
#include <random>

namespace {

using testing::ElementsAreArray;
using S = MiCellShape;

constexpr std::size_t kNone = static_cast<std::size_t>(-1);
constexpr double kTiny = 1e-9;

double linear(const MbVec3d& p)
{
  return 3 + 2 * p.x - 5 * p.y + 7 * p.z;
}

/// Moves the points so that no face stays plane and no edge parallel to an axis.
MbVec3d bent(const MbVec3d& p)
{
  return {p.x + 0.05 * std::sin(2 * p.y + 1) + 0.02 * p.z * p.x, p.y + 0.04 * std::sin(3 * p.z + 2),
          p.z + 0.03 * std::sin(2 * p.x + 3)};
}

std::unique_ptr<MbVolumeMeshUnstructured> bentBlockOf(S shape, MbIndex3 cells)
{
  auto mesh = zoo::blockOf(shape, cells);
  std::vector<MbVec3d> points = zoo::nodePlaces(*mesh);
  for (MbVec3d& p : points)
    p = bent(p);
  mesh->setGeometry(std::move(points));
  return mesh;
}

std::vector<MbVec3d> pointsIn(const MbVec3d& low, const MbVec3d& high, int count)
{
  std::mt19937 random(11);
  std::uniform_real_distribution<double> u(0, 1);
  std::vector<MbVec3d> points;
  for (int n = 0; n < count; ++n)
    points.push_back({low.x + u(random) * (high.x - low.x), low.y + u(random) * (high.y - low.y),
                      low.z + u(random) * (high.z - low.z)});
  return points;
}

template <class Probe>
auto make(const auto& mesh)
{
  return Probe::getNewInstance(mesh, true);
}

} // namespace

TEST(ShapeFunctions, AreOneAtTheirNodeAndGiveLinearFieldsExactly)
{
  for (const int dimension : {2, 3})
    for (const S shape : zoo::shapesOf(dimension))
      visitFixedShape(shape, [&]<S Shape>() {
        constexpr std::size_t kCount = cellShapeFacts(Shape).nodeCount;
        const MxShapeNodes& nodes = kShapeNodes<Shape>;
        ASSERT_EQ(nodes.count, kCount) << cellShapeFacts(Shape).name;
        double w[kCount];
        for (std::size_t n = 0; n < kCount; ++n) {
          const double r[3] = {nodes.at[n][0], nodes.at[n][1], nodes.at[n][2]};
          shapeWeights<Shape>(r, w);
          for (std::size_t m = 0; m < kCount; ++m)
            EXPECT_NEAR(w[m], m == n ? 1 : 0, 1e-14)
                << cellShapeFacts(Shape).name << " node " << n << " weight " << m;
        }
        for (const MbVec3d& p : pointsIn({0.05, 0.05, 0.05}, {0.3, 0.3, 0.3}, 20)) {
          const double r[3] = {p.x, p.y, p.z};
          shapeWeights<Shape>(r, w);
          double sum = 0, place[3] = {};
          for (std::size_t n = 0; n < kCount; ++n) {
            sum += w[n];
            for (int a = 0; a < dimension; ++a)
              place[a] += w[n] * nodes.at[n][static_cast<std::size_t>(a)];
          }
          EXPECT_NEAR(sum, 1, 1e-14);
          for (int a = 0; a < dimension; ++a)
            EXPECT_NEAR(place[a], r[a], 1e-14) << cellShapeFacts(Shape).name;
        }
      });
}

class PointProbeShapes : public testing::TestWithParam<S>
{};

TEST_P(PointProbeShapes, GivesLinearFieldsExactlyEverywhereInTheMesh)
{
  for (const bool isBent : {false, true}) {
    const auto mesh =
        isBent ? bentBlockOf(GetParam(), {3, 4, 3}) : zoo::blockOf(GetParam(), {3, 4, 3});
    const auto field = zoo::nodeSet(*mesh, linear);
    const auto probe = make<MiPointProbeUnstructured>(*mesh);
    std::size_t cell = 0;
    for (const MbVec3d& p : pointsIn({0.2, 0.2, 0.1}, {2.8, 1.8, 0.65}, 500)) {
      ASSERT_TRUE(probe->locate(p, cell, nullptr)) << p.x << ' ' << p.y << ' ' << p.z;
      cell = probe->getCell();
      EXPECT_NEAR(probe->getValue(*field), linear(p), kTiny);
      double sum = 0;
      for (const double weight : probe->getWeights())
        sum += weight;
      EXPECT_NEAR(sum, 1, 1e-12);
    }
    EXPECT_FALSE(probe->locate({-0.5, 1, 0.3}, 0, nullptr));
    EXPECT_FALSE(probe->locate({1.5, 1, 1.3}, 0, nullptr));
  }
}

INSTANTIATE_TEST_SUITE_P(All, PointProbeShapes, testing::ValuesIn(zoo::shapesOf(3)),
                         [](const auto& info) {
                           return std::string(cellShapeFacts(info.param).name);
                         });

TEST(PointProbe, FindsPointsOnNodesEdgesAndFacesInTheLowestCellWhateverTheHint)
{
  for (const S shape : {S::Hexahedron, S::Tetrahedron, S::Wedge, S::Pyramid}) {
    const auto mesh = bentBlockOf(shape, {2, 2, 2});
    const MxCellView<VOLUME_MESH_UNSTRUCTURED> view(*mesh);
    const auto probe = make<MiPointProbeUnstructured>(*mesh);
    const auto expectLowest = [&](const MbVec3d& p, const std::vector<std::size_t>& of) {
      MxCellBuffer buffer;
      std::size_t lowest = kNone;
      for (std::size_t cell = view.cellCount(); cell-- > 0;) {
        const auto nodes = view.nodes(cell, buffer);
        if (std::ranges::all_of(of,
                                [&](std::size_t n) { return std::ranges::count(nodes, n) > 0; }))
          lowest = cell;
      }
      for (std::size_t hint = 0; hint < view.cellCount(); ++hint) {
        ASSERT_TRUE(probe->locate(p, hint, nullptr));
        ASSERT_EQ(probe->getCell(), lowest) << "from " << hint;
      }
      ASSERT_TRUE(probe->locate(p, kNone, nullptr));
      EXPECT_EQ(probe->getCell(), lowest);
    };
    MxCellBuffer buffer;
    for (std::size_t node = 0; node < view.nodeCount(); ++node)
      expectLowest(view.position(node), {node});
    for (std::size_t cell = 0; cell < view.cellCount(); cell += 3) {
      const auto span = view.nodes(cell, buffer);
      const std::vector<std::size_t> nodes(span.begin(), span.end());
      for (const MxShapeFace& face : findWholeFaces(shape)) {
        std::vector<std::size_t> of;
        MbVec3d middle{};
        for (std::size_t n = 0; n < face.size; ++n) {
          of.push_back(nodes[face.nodes[n]]);
          middle += view.position(of.back()) * (1.0 / face.size);
        }
        expectLowest(middle, of);
        expectLowest((view.position(of[0]) + view.position(of[1])) * 0.5, {of[0], of[1]});
      }
    }
  }
}

TEST(PointProbe, AgreesOnAllKindsOfTheSameGrid)
{
  const MbIndex3 cells{4, 3, 2};
  zoo::Active active(24, 1);
  active[5] = 0;
  const auto regular = zoo::block(VOLUME_MESH_REGULAR, cells, active);
  const auto judge = make<MiPointProbeIjk>(zoo::as<VOLUME_MESH_REGULAR>(*regular));
  // Also on nodes, edges and faces, on the rim and outside.
  std::vector<MbVec3d> points = pointsIn({-0.2, -0.2, -0.1}, {4.2, 1.7, 0.6}, 300);
  for (int k = 0; k <= 4; ++k)
    for (int j = 0; j <= 6; ++j)
      for (int i = 0; i <= 8; ++i)
        points.push_back({0.5 * i, 0.25 * j, 0.125 * k});
  const auto check = [&]<MeshType K>(const MiMesh& any) {
    using Probe =
        extractors::Of<K, MiPointProbeUnstructured, MiPointProbeHexahedronIjk, MiPointProbeIjk>;
    const auto& mesh = zoo::as<K>(any);
    const auto field = zoo::nodeSet(mesh, linear);
    const auto probe = make<Probe>(mesh);
    for (const MbVec3d& p : points) {
      const bool found = judge->locate(p, {}, nullptr);
      ASSERT_EQ(probe->locate(p, {}, nullptr), found)
          << K << ": " << p.x << ' ' << p.y << ' ' << p.z;
      const MbIndex3 cell = judge->getCell();
      if constexpr (K == VOLUME_MESH_UNSTRUCTURED)
        EXPECT_EQ(probe->getCell(), found ? cell.x + 4 * (cell.y + 3 * cell.z) : kNone);
      else
        EXPECT_EQ(probe->getCell(), cell);
      EXPECT_NEAR(probe->getValue(*field), found ? linear(p) : 0, kTiny);
    }
  };
  using Kinds = MxKinds<VOLUME_MESH_UNSTRUCTURED, VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_REGULAR,
                        VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR>;
  for (const MeshType kind : zoo::kVolumeKinds)
    visitMeshKind(Kinds{}, kind, [&]<MeshType K>() {
      check.operator()<K>(*zoo::block(K, cells, active));
      check.operator()<K>(*zoo::procedural(zoo::block(K, cells, active)));
    });
}

TEST(PointProbe, FindsEveryInnerPointOfMixedCellsWithWarpedFaces)
{
  for (const double moved : {0.1, 0.25}) {
    const auto mesh = zoo::mixedBlock(8, moved, 3);
    const auto field = zoo::nodeSet(*mesh, linear);
    const auto probe = make<MiPointProbeUnstructured>(*mesh);
    const auto points = pointsIn({0, 0, 0}, {8, 8, 8}, 100000);
    std::vector<double> values(points.size());
    EXPECT_EQ(probe->getValues(points, nullptr, *field, values), points.size()) << moved;
    double worst = 0;
    for (std::size_t n = 0; n < points.size(); ++n)
      if (!std::isnan(values[n])) worst = std::max(worst, std::abs(values[n] - linear(points[n])));
    EXPECT_LT(worst, kTiny) << moved;
  }
}

TEST(PointProbe, GivesTheSameValuesOnAWarpedQuadInCellsOfEveryShape)
{
  for (const S shape : {S::Hexahedron, S::Wedge, S::Pyramid, S::Polyhedron}) {
    const auto mesh = bentBlockOf(shape, {2, 2, 2});
    const MxCellView<VOLUME_MESH_UNSTRUCTURED> view(*mesh);
    std::vector<double> values; // of no smooth field
    for (std::size_t node = 0; node < view.nodeCount(); ++node)
      values.push_back(std::sin(100.0 * static_cast<double>(node)));
    const MbDataSetI<double> field("f", MiDataBinding::PerNode, values);
    const auto probe = make<MiPointProbeUnstructured>(*mesh);
    MxCellBuffer buffer;
    for (std::size_t cell = 0; cell < view.cellCount(); ++cell) {
      const MbCellFilter<1, MbFunctionRule<std::size_t>> alone(
          [cell](std::size_t c) { return c == cell; });
      const auto span = view.nodes(cell, buffer);
      const std::vector<std::size_t> nodes(span.begin(), span.end());
      // The polyhedra are boxes with the nodes of hexahedra.
      for (const MxShapeFace& face : findWholeFaces(shape == S::Polyhedron ? S::Hexahedron : shape))
      {
        if (face.size != 4) continue;
        for (const double u : {0.0, 0.2, 0.6})
          for (const double v : {0.3, 0.9, 1.0}) {
            const double w[4] = {(1 - u) * (1 - v), u * (1 - v), u * v, (1 - u) * v};
            MbVec3d at{};
            double value = 0;
            for (std::size_t n = 0; n < 4; ++n) {
              at += view.position(nodes[face.nodes[n]]) * w[n];
              value += values[nodes[face.nodes[n]]] * w[n];
            }
            ASSERT_TRUE(probe->locate(at, kNone, &alone)) << cellShapeFacts(shape).name;
            EXPECT_NEAR(probe->getValue(field), value, 1e-7) << cellShapeFacts(shape).name;
          }
      }
    }
  }
}

TEST(PointProbe, LeavesOutTheNotchesOfHollowPolyhedra)
{
  // Prisms over outlines in the plane, from z = 0 to 1; in the second cell the faces are listed in
  // either sense, as some programs do.
  struct Outline
  {
    const char* name;
    std::vector<MbVec3d> corners;
    std::function<bool(double, double)> holds;
  };
  const Outline outlines[] = {
      {"L",
       {{0, 0, 0}, {3, 0, 0}, {3, 1, 0}, {1, 1, 0}, {1, 3, 0}, {0, 3, 0}},
       [](double x, double y) { return x < 1 || y < 1; }},
      {"U",
       {{0, 0, 0}, {3, 0, 0}, {3, 3, 0}, {2, 3, 0}, {2, 1, 0}, {1, 1, 0}, {1, 3, 0}, {0, 3, 0}},
       [](double x, double y) { return x < 1 || x > 2 || y < 1; }},
      {"arrow", {{0, 0, 0}, {3, 1.5, 0}, {0, 3, 0}, {1, 1.5, 0}}, [](double x, double y) {
         return std::abs(y - 1.5) < 1.5 - 0.5 * x && std::abs(y - 1.5) > 1.5 - 1.5 * x;
       }}};
  for (const Outline& outline : outlines)
    for (const bool isMessy : {false, true}) {
      const int n = static_cast<int>(outline.corners.size());
      MbCellArrays arrays;
      std::vector<MbVec3d> points = outline.corners;
      std::vector<int> connectivity, faces{n + 2, n}, last;
      for (int c = 0; c < n; ++c) {
        points.push_back(outline.corners[static_cast<std::size_t>(c)] + MbVec3d{0, 0, 1});
        faces.push_back(n - 1 - c);
        last.push_back(n + c);
      }
      for (int c = 0; c < n; ++c) {
        const int next = (c + 1) % n;
        const bool isTurned = isMessy && c % 2;
        faces.push_back(4);
        for (const int node :
             isTurned ? std::array{n + c, n + next, next, c} : std::array{c, next, n + next, n + c})
          faces.push_back(node);
      }
      faces.push_back(n);
      faces.insert(faces.end(), last.begin(), last.end());
      for (int c = 0; c < 2 * n; ++c)
        connectivity.push_back(c);
      arrays.connectivity = std::move(connectivity);
      arrays.offsets = std::vector<int>{0, 2 * n};
      arrays.shapes = std::vector<int>{static_cast<int>(S::Polyhedron)};
      arrays.faceOffsets = std::vector<int>{0, static_cast<int>(faces.size())};
      arrays.faces = std::move(faces);
      const MbVolumeMeshUnstructured mesh(MbTopologyI(std::move(arrays)), std::move(points));
      const auto field = zoo::nodeSet(mesh, linear);
      const auto probe = make<MiPointProbeUnstructured>(mesh);
      for (MbVec3d p : pointsIn({0, 0, 0}, {3, 3, 1}, 4000)) {
        const bool holds = outline.holds(p.x, p.y);
        ASSERT_EQ(probe->locate(p, 0, nullptr), holds)
            << outline.name << isMessy << ' ' << p.x << ' ' << p.y << ' ' << p.z;
        if (holds) {
          ASSERT_NEAR(probe->getValue(*field), linear(p), kTiny) << outline.name;
        }
        p.z = 0; // on a hollow face, or in the face's notch
        ASSERT_EQ(probe->locate(p, 0, nullptr), holds)
            << outline.name << isMessy << ' ' << p.x << ' ' << p.y << ' ' << p.z;
      }
    }
}

TEST(PointProbe, LeavesOutDeadAndFilteredCellsAndGivesTheirFacesToTheNeighbours)
{
  const MbIndex3 cells{3, 1, 1};
  for (const MeshType kind : {VOLUME_MESH_REGULAR, VOLUME_MESH_CURVILINEAR}) {
    const auto mesh = zoo::block(kind, cells, {0, 1, 1});
    std::unique_ptr<MiPointProbeIjk> probe;
    if (kind == VOLUME_MESH_REGULAR)
      probe = make<MiPointProbeIjk>(zoo::as<VOLUME_MESH_REGULAR>(*mesh));
    else
      probe = make<MiPointProbeIjk>(zoo::as<VOLUME_MESH_CURVILINEAR>(*mesh));
    EXPECT_FALSE(probe->locate({0.5, 0.2, 0.1}, {}, nullptr));
    ASSERT_TRUE(probe->locate({1, 0.2, 0.1}, {}, nullptr));
    EXPECT_EQ(probe->getCell(), (MbIndex3{1, 0, 0}));
    const MbCellFilter<3, MbFunctionRule<std::size_t, std::size_t, std::size_t>> last(
        [](std::size_t i, std::size_t, std::size_t) { return i == 2; });
    EXPECT_FALSE(probe->locate({1.5, 0.2, 0.1}, {1, 0, 0}, &last));
    EXPECT_EQ(probe->getCell(), (MbIndex3{kNone, kNone, kNone}));
    EXPECT_TRUE(probe->getNodes().empty());
    ASSERT_TRUE(probe->locate({2, 0.2, 0.1}, {1, 0, 0}, &last));
    EXPECT_EQ(probe->getCell(), (MbIndex3{2, 0, 0}));
    ASSERT_TRUE(probe->locate({1.5, 0.2, 0.1}, {2, 0, 0}, nullptr));
    EXPECT_EQ(probe->getCell(), (MbIndex3{1, 0, 0}));
  }
}

TEST(PointProbe, FindsPointsBeyondTheCornersOfCurvedCells)
{
  // A cell whose sides bulge: the middle of each edge is pushed away from the centre.
  for (const S shape : {S::QuadraticHexahedron, S::TriquadraticHexahedron, S::QuadraticTetrahedron,
                        S::QuadraticWedge, S::BiquadraticWedge, S::QuadraticPyramid})
    visitFixedShape(shape, [&]<S Shape>() {
      constexpr MiCellShapeFacts kFacts = cellShapeFacts(Shape);
      std::vector<double> points;
      std::vector<int> connectivity;
      for (std::size_t n = 0; n < kFacts.nodeCount; ++n) {
        const auto& at = kShapeNodes<Shape>.at[n];
        const double push = n < kFacts.cornerCount ? 1 : 1.1;
        for (int a = 0; a < 3; ++a)
          points.push_back(0.4 + push * (at[static_cast<std::size_t>(a)] - 0.4));
        connectivity.push_back(static_cast<int>(n));
      }
      const std::vector<double> copy = points;
      const MbVolumeMeshUnstructured mesh(MbTopologyI(Shape, std::move(connectivity)),
                                          std::move(points));
      const auto field = zoo::nodeSet(mesh, linear);
      const auto probe = make<MiPointProbeUnstructured>(mesh);
      double w[kFacts.nodeCount];
      int beyond = 0;
      for (const MbVec3d& p : pointsIn({0, 0, 0}, {1, 1, 1}, 400)) {
        if (outsideOf(kFacts.linear, p.x, p.y, p.z) > -1e-3) continue;
        const double r[3] = {p.x, p.y, p.z};
        shapeWeights<Shape>(r, w);
        MbVec3d x{};
        for (std::size_t n = 0; n < kFacts.nodeCount; ++n)
          x += MbVec3d{copy[3 * n], copy[3 * n + 1], copy[3 * n + 2]} * w[n];
        beyond += x.x < 0 || x.y < 0 || x.z < 0 || x.x > 1 || x.y > 1 || x.z > 1;
        ASSERT_TRUE(probe->locate(x, 0, nullptr)) << kFacts.name;
        EXPECT_NEAR(probe->getValue(*field), linear(x), kTiny) << kFacts.name;
      }
      EXPECT_GT(beyond, 0) << kFacts.name;
    });
}

TEST(PointProbe, WorksOnSurfacesAndOnlyNearThem)
{
  const auto check = [](const MiMesh& mesh) {
    visitMeshKind(MxSurfaceKinds{}, classifyMesh(&mesh), [&]<MeshType K>() {
      SCOPED_TRACE(meshTypeName(K));
      constexpr bool kIsFlat = K == SURFACE_MESH_UNSTRUCTURED;
      using Probe = std::conditional_t<kIsFlat, MiPointProbeUnstructured, MiPointProbeIj>;
      const auto probe = make<Probe>(zoo::as<K>(mesh));
      const auto field = zoo::nodeSet(mesh, linear);
      const MxCellView<K> view(zoo::as<K>(mesh));
      const std::size_t columns = view.cellCounts().x;
      MxCellBuffer buffer;
      for (std::size_t cell = 0; cell < view.cellCount(); ++cell) {
        MbVec3d middle{};
        const auto nodes = view.nodes(cell, buffer);
        for (const std::size_t node : nodes)
          middle += view.position(node) * (1.0 / static_cast<double>(nodes.size()));
        ASSERT_TRUE(probe->locate(middle, {}, nullptr)) << cell;
        if constexpr (kIsFlat)
          EXPECT_EQ(probe->getCell(), cell);
        else
          EXPECT_EQ(probe->getCell(), (MbIndex3{cell % columns, cell / columns, 0}));
        EXPECT_THAT(probe->getNodes(), ElementsAreArray(nodes));
        EXPECT_NEAR(probe->getValue(*field), linear(middle), kTiny) << cell;
        EXPECT_FALSE(probe->locate(middle + MbVec3d{0, 0, 0.01}, {}, nullptr));
      }
    });
  };
  for (const MeshType kind : zoo::kSurfaceKinds)
    check(*zoo::sheet(kind, {5, 4, 0}));
  check(*zoo::cellsOf(zoo::shapesOf(2)));
  // Quads that are not plane.
  std::vector<MbVec3d> points = zoo::nodePlaces(*zoo::sheet(SURFACE_MESH_REGULAR, {5, 4, 0}));
  for (MbVec3d& p : points)
    p.z = 0.1 * std::sin(p.x) + 0.1 * p.x * p.y;
  check(MbSurfaceMeshCurvilinear({5, 4}, points));
}

TEST(PointProbe, ReadsSetsOfEveryBindingAndRefusesThoseThatDoNotFit)
{
  const auto mesh = zoo::block(VOLUME_MESH_HEXAHEDRON_IJK, {2, 2, 1});
  const auto& ijk = zoo::as<VOLUME_MESH_HEXAHEDRON_IJK>(*mesh);
  const auto probe = make<MiPointProbeHexahedronIjk>(ijk);
  const MbDataSetIjk<double> perCell("c", MiDataBinding::PerCell, {2, 2, 1},
                                     std::vector<double>{10, 11, 12, 13});
  EXPECT_EQ(probe->getValue(perCell), 0); // nothing looked for yet
  ASSERT_TRUE(probe->locate({1.5, 0.75, 0.1}, {}, nullptr));
  EXPECT_EQ(probe->getValue(perCell), 13);
  const MbDataSetI<MbVec3d> vectors("v", MiDataBinding::PerNode, std::vector<float>(3 * 18, 2.5f));
  EXPECT_EQ(probe->getValue(vectors), (MbVec3d{2.5, 2.5, 2.5}));
  const MbDataSetI<double> bytes("b", MiDataBinding::PerNode, std::vector<std::uint8_t>(18, 7));
  EXPECT_NEAR(probe->getValue(bytes), 7, kTiny);
  // Too short, and per node numbered as cells are.
  const MbDataSetI<double> tooShort("s", MiDataBinding::PerNode, std::vector<double>(17));
  const MbDataSetIjk<double> numbered("n", MiDataBinding::PerNode, {3, 3, 2},
                                      std::vector<double>(18));
  EXPECT_TRUE(std::isnan(probe->getValue(tooShort)));
  EXPECT_TRUE(std::isnan(probe->getValue(numbered)));
  // Too long along J.
  const auto sheet = zoo::sheet(SURFACE_MESH_REGULAR, {2, 2, 0});
  const auto flat = make<MiPointProbeIj>(zoo::as<SURFACE_MESH_REGULAR>(*sheet));
  ASSERT_TRUE(flat->locate({1.5, 0.75, 0}, {}, nullptr));
  const std::vector<double> ones(12, 1.0);
  for (const std::size_t sizeJ : {3, 4})
    EXPECT_EQ(std::isnan(
                  flat->getValue(MbDataSetIj<double>("j", MiDataBinding::PerNode, 3, sizeJ, ones))),
              sizeJ == 4);
}

TEST(PointProbe, SeesAChangedMesh)
{
  std::vector<double> points{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
  MbVolumeMeshUnstructured mesh({S::Tetrahedron, std::vector<int>{0, 1, 2, 3}},
                                std::span<const double>(points));
  const auto probe = make<MiPointProbeUnstructured>(mesh);
  EXPECT_TRUE(probe->locate({0.1, 0.1, 0.1}, 0, nullptr));
  for (std::size_t n = 0; n < 4; ++n)
    points[3 * n] += 10;
  mesh.touchGeometry();
  EXPECT_FALSE(probe->locate({0.1, 0.1, 0.1}, 0, nullptr));
  EXPECT_TRUE(probe->locate({10.1, 0.1, 0.1}, 0, nullptr));
}

TEST(PointProbe, BearsBrokenCellsAndDegenerateGrids)
{
  // Cells that name no node, are flat, have a corner that is not finite; the last one is sound.
  const MbVolumeMeshUnstructured mesh(
      {S::Tetrahedron,
       std::vector<int>{0, 1, 2, 99, 0, 1, 2, -1, 0, 1, 2, 2, 0, 1, 2, 4, 0, 1, 2, 3}},
      std::vector<double>{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, kNaN, 0, 0});
  const auto probe = make<MiPointProbeUnstructured>(mesh);
  for (const std::size_t hint : {std::size_t{0}, std::size_t{2}, std::size_t{3}, kNone}) {
    ASSERT_TRUE(probe->locate({0.1, 0.1, 0.1}, hint, nullptr));
    EXPECT_EQ(probe->getCell(), 4u);
  }
  EXPECT_FALSE(probe->locate({kNaN, 0, 0}, 0, nullptr));
  EXPECT_FALSE(probe->locate({1e300, 0, 0}, 0, nullptr));

  const auto rectilinear = [](std::vector<double> x) {
    const std::size_t count = x.size() - 1;
    return MbVolumeMeshRectilinear(MbIndex3{count, 1, 1}, std::move(x), std::vector<double>{0, 1},
                                   std::vector<double>{0, 1});
  };
  const auto cellAt = [](const auto& grid, double x) {
    const auto probe = MiPointProbeIjk::getNewInstance(grid, false);
    return probe->locate({x, 0.5, 0.5}, {}, nullptr) ? probe->getCell().x : kNone;
  };
  const auto falling = rectilinear({3, 2, 0.5, 0});
  EXPECT_EQ(cellAt(falling, 2.5), 0u);
  EXPECT_EQ(cellAt(falling, 2), 0u);
  EXPECT_EQ(cellAt(falling, 0.1), 2u);
  EXPECT_EQ(cellAt(falling, 3.1), kNone);
  const auto repeated = rectilinear({0, 0, 1, 1, 1, 2, 2});
  EXPECT_EQ(cellAt(repeated, 0), 1u);
  EXPECT_EQ(cellAt(repeated, 1), 1u);
  EXPECT_EQ(cellAt(repeated, 1.5), 4u);
  EXPECT_EQ(cellAt(repeated, 2), 4u);
  const auto turning = rectilinear({0, 2, 1, 3});
  EXPECT_EQ(cellAt(turning, 0.5), 0u);
  EXPECT_EQ(cellAt(turning, 2.5), 2u);
  const auto notFinite = rectilinear({0, kNaN, 2, 3});
  EXPECT_EQ(cellAt(notFinite, 0.5), kNone);
  EXPECT_EQ(cellAt(notFinite, 2.5), 2u);
  const MbVolumeMeshRegular flat(MbIndex3{2, 1, 1}, MbVec3d{0, 0, 0}, MbVec3d{0, 1, 1});
  EXPECT_EQ(cellAt(flat, 0), kNone);
  const MbVolumeMeshRegular backwards(MbIndex3{4, 1, 1}, MbVec3d{2, 0, 0}, MbVec3d{-0.5, 1, 1});
  EXPECT_EQ(cellAt(backwards, 1.9), 0u);
  EXPECT_EQ(cellAt(backwards, 0.1), 3u);
}

TEST(PointProbe, AnswersManyPointsAsItAnswersEach)
{
  auto points = pointsIn({-0.3, -0.3, -0.1}, {5.3, 2.8, 1.5}, 6000);
  points[77].x = kNaN;
  const auto check = [&]<class Probe>(std::type_identity<Probe>, const auto& mesh,
                                      const auto& field) {
    std::vector<double> serial(points.size()), parallel(points.size());
    const std::size_t found =
        Probe::getNewInstance(mesh, false)->getValues(points, nullptr, field, serial);
    const auto probe = make<Probe>(mesh);
    EXPECT_EQ(probe->getValues(points, nullptr, field, parallel), found);
    std::size_t count = 0;
    for (std::size_t n = 0; n < points.size(); ++n) {
      const bool isFound = probe->locate(points[n], probe->getCell(), nullptr);
      count += isFound;
      ASSERT_EQ(std::isnan(serial[n]), !isFound);
      if (!isFound) continue;
      EXPECT_NEAR(serial[n], linear(points[n]), kTiny);
      ASSERT_EQ(serial[n], parallel[n]) << n;
    }
    EXPECT_EQ(found, count);
    EXPECT_GT(found, 2000u);
  };
  const auto bentMesh = bentBlockOf(S::Tetrahedron, {5, 5, 5});
  check(std::type_identity<MiPointProbeUnstructured>(), *bentMesh,
        *zoo::nodeSet(*bentMesh, linear));
  const auto block = zoo::block(VOLUME_MESH_REGULAR, {5, 5, 5});
  const auto& grid = zoo::as<VOLUME_MESH_REGULAR>(*block);
  check(std::type_identity<MiPointProbeIjk>(), grid, *zoo::nodeSet(grid, linear));
}

TEST(PointProbe, PreparesTheMeshOnceForManyCalls)
{
  struct Geometry final : MiGeometryI
  {
    std::size_t getNodeCount() const override { return 4; }
    MbVec3d getNode(std::size_t n) const override
    {
      ++asked;
      return {n == 1 ? 1.0 : 0, n == 2 ? 1.0 : 0, n == 3 ? 1.0 : 0};
    }
    std::uint64_t getTimeStamp() const override { return 1; }
    mutable std::atomic<int> asked = 0;
  };
  struct Mesh final : MiVolumeMeshUnstructured
  {
    const MiTopologyI& getTopology() const override { return topology; }
    const MiGeometryI& getGeometry() const override { return geometry; }
    MbTopologyI topology{S::Tetrahedron, std::vector<int>{0, 1, 2, 3}};
    Geometry geometry;
  };
  const Mesh mesh;
  const MbDataSetI<double> field("f", MiDataBinding::PerNode, std::vector<double>{1, 2, 3, 4});
  const auto probe = make<MiPointProbeUnstructured>(mesh);
  const std::vector<MbVec3d> outside(1, {2, 2, 2});
  std::vector<double> values(1);
  probe->getValues(outside, nullptr, field, values);
  const int once = mesh.geometry.asked;
  probe->getValues(outside, nullptr, field, values);
  EXPECT_EQ(mesh.geometry.asked, once);
}
