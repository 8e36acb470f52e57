#include <tests/support/MeshZoo.h>

#include <velmo/extraction/algorithms/check/MbMeshFaults.h>

#include <gmock/gmock.h>
#include <limits>

using testing::ElementsAre;
using Fault = MbMeshFault;
using S = MiCellShape;

namespace {

/// A mesh made by hand: cells of any shapes.
struct Cells
{
  std::vector<std::uint8_t> shapes;
  std::vector<int> offsets{0}, nodes;
  std::vector<double> points;

  Cells& add(S shape, const std::vector<int>& cell)
  {
    shapes.push_back(static_cast<std::uint8_t>(shape));
    nodes.insert(nodes.end(), cell.begin(), cell.end());
    offsets.push_back(static_cast<int>(nodes.size()));
    return *this;
  }
  template <class Mesh>
  MbMeshFaults check() const
  {
    return mbFindFaults(Mesh({shapes, offsets, nodes}, points));
  }
};

/// Every count is that of `expected`, or zero.
void expectOnly(const MbMeshFaults& faults,
                const std::vector<std::pair<Fault, std::vector<std::size_t>>>& expected)
{
  for (std::size_t f = 0; f < kMbMeshFaultCount; ++f) {
    const auto fault = static_cast<Fault>(f);
    std::vector<std::size_t> first;
    for (const auto& [which, numbers] : expected)
      if (which == fault) first = numbers;
    EXPECT_EQ(faults[fault].first, first) << mbFaultName(fault, faults.type);
    EXPECT_EQ(faults[fault].count, first.size()) << mbFaultName(fault, faults.type);
  }
}

const std::vector<double> kCube{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0,
                                0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 1};

} // namespace

TEST(MbMeshFaults, GoodMeshesHaveNone)
{
  for (const MeshType kind : zoo::kKinds) {
    for (const bool isProcedural : {false, true}) {
      SCOPED_TRACE(meshTypeName(kind));
      auto mesh = zoo::small(kind);
      if (isProcedural) mesh = zoo::procedural(std::move(mesh));
      const MbMeshFaults faults = mbFindFaults(*mesh);
      EXPECT_EQ(faults.type, kind);
      EXPECT_FALSE(faults.isFaulty());
      EXPECT_EQ(faults.deadCellCount, 1u);
      expectOnly(faults, {});
    }
  }
  for (int dimension = 1; dimension <= 3; ++dimension)
    for (const S shape : zoo::shapesOf(dimension)) {
      SCOPED_TRACE(cellShapeFacts(shape).name);
      expectOnly(mbFindFaults(*zoo::cellsOf({shape, shape})), {});
      if (dimension == 3) expectOnly(mbFindFaults(*zoo::blockOf(shape, {3, 2, 2})), {});
    }
  expectOnly(mbFindFaults(*zoo::pillarBlock({3, 2, 2})), {});
}

TEST(MbMeshFaults, EachDefectOfAVolumeIsFoundAndCounted)
{
  struct Case
  {
    const char* what;
    Cells cells; ///< the first is a good cube
    std::vector<std::pair<Fault, std::vector<std::size_t>>> expected;
  };
  Cells cube;
  cube.points = kCube;
  cube.add(S::Hexahedron, {0, 1, 2, 3, 4, 5, 6, 7});
  const auto with = [&](std::initializer_list<double> more, S shape, const std::vector<int>& cell) {
    Cells cells = cube;
    cells.points.insert(cells.points.end(), more);
    cells.add(shape, cell);
    return cells;
  };
  const Case cases[] = {
      {"missing node", with({}, S::Tetrahedron, {0, 1, 2, 99}), {{Fault::BrokenCell, {1}}}},
      {"negative node", with({}, S::Tetrahedron, {0, 1, 2, -1}), {{Fault::BrokenCell, {1}}}},
      {"too few nodes", with({}, S::Tetrahedron, {0, 1, 2}), {{Fault::BrokenCell, {1}}}},
      {"no such shape", with({}, S{200}, {0, 1, 2}), {{Fault::UnknownShape, {1}}}},
      {"corner that is not finite",
       with({kNaN, 0, 0}, S::Tetrahedron, {0, 1, 2, 8}),
       {{Fault::NonFiniteCell, {1}}, {Fault::NonFiniteNode, {8}}}},
      {"flat", with({}, S::Tetrahedron, {0, 1, 2, 3}), {{Fault::DegenerateCell, {1}}}},
      {"repeated node", with({}, S::Tetrahedron, {0, 1, 4, 4}), {{Fault::DegenerateCell, {1}}}},
      {"inside out",
       with({0.5, 0.5, 2}, S::Pyramid, {4, 7, 6, 5, 8}),
       {{Fault::InvertedCell, {1}}}},
      {"collapsed hexahedron",
       with({0, 0, 2, 1, 0, 2}, S::Hexahedron, {4, 5, 6, 7, 8, 9, 9, 8}),
       {{Fault::CollapsedCell, {1}}}},
      {"folded",
       with({0, 0, 2, 1, 0, 2, 1, 1, 0.5, 0, 1, 2}, S::Hexahedron, {4, 5, 6, 7, 8, 9, 10, 11}),
       {{Fault::FoldedCell, {1}}}},
      {"the same again",
       with({}, S::Hexahedron, {4, 5, 6, 7, 0, 1, 2, 3}),
       {{Fault::InvertedCell, {1}}, {Fault::DuplicateCell, {1}}}},
      {"nodes of nobody",
       with({5, 5, 5, 6, 5, 5}, S::Tetrahedron, {0, 1, 3, 4}),
       {{Fault::DanglingNode, {8, 9}}}},
      {"two nodes at one place",
       with({1, 1, 1, 3, 1, 1, 3, 2, 1, 3, 2, 2}, S::Tetrahedron, {8, 9, 10, 11}),
       {{Fault::DuplicateNode, {8}}}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.what);
    const MbMeshFaults faults = one.cells.check<MbVolumeMeshUnstructured>();
    expectOnly(faults, one.expected);
    EXPECT_EQ(faults.isFaulty(), one.expected[0].first != Fault::CollapsedCell);
    EXPECT_FALSE(faults.isMirrored);
  }

  Cells three = cube;
  three.points.insert(three.points.end(), {0.5, 0.5, 2, 0.5, 0.5, 3});
  three.add(S::Pyramid, {4, 5, 6, 7, 8}).add(S::Pyramid, {4, 5, 6, 7, 9});
  expectOnly(three.check<MbVolumeMeshUnstructured>(), {{Fault::CrowdedFace, {0}}});
}

TEST(MbMeshFaults, MiddleNodesBeyondTheQuarterFoldAQuadraticCell)
{
  const auto mesh = zoo::cellsOf({S::QuadraticTetrahedron});
  std::vector<MbVec3d> points = zoo::nodePlaces(*mesh);
  const std::vector<int> order{0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
  for (const double place : {0.3, 0.2}) {
    // The middle of the edge from corner 0 to corner 1.
    points[4] = points[0] + (points[1] - points[0]) * place;
    const MbMeshFaults faults =
        mbFindFaults(MbVolumeMeshUnstructured({S::QuadraticTetrahedron, order}, points));
    EXPECT_EQ(faults[Fault::FoldedCell].count, place < 0.25 ? 1u : 0u) << place;
  }
}

TEST(MbMeshFaults, PolyhedraMustBeClosed)
{
  std::vector<int> nodes{0, 1, 2, 3, 4, 5, 6, 7}, ends{0, 8};
  std::vector<int> faces{6, 4, 0, 3, 2, 1, 4, 4, 5, 6, 7, 4, 0, 1, 5, 4,
                         4, 1, 2, 6, 5, 4, 2, 3, 7, 6, 4, 3, 0, 4, 7};
  const auto check = [&] {
    MbCellArrays arrays;
    arrays.connectivity = nodes;
    arrays.offsets = ends;
    arrays.uniformShape = S::Polyhedron;
    arrays.faces = faces;
    arrays.faceOffsets = std::vector<int>{0, static_cast<int>(faces.size())};
    return mbFindFaults(MbVolumeMeshUnstructured(MbTopologyI(std::move(arrays)), kCube));
  };
  expectOnly(check(), {});
  // A face three times in one cell is no face of three cells.
  const std::vector<int> whole = faces;
  faces[0] = 8;
  for (int times = 0; times < 2; ++times)
    faces.insert(faces.end(), {4, 0, 3, 2, 1});
  expectOnly(check(), {{Fault::OpenPolyhedron, {0}}});
  faces = whole;
  faces.resize(faces.size() - 5);
  faces[0] = 5;
  expectOnly(check(), {{Fault::OpenPolyhedron, {0}}});
  faces[0] = 6;
  expectOnly(check(), {{Fault::BrokenCell, {0}}, {Fault::DanglingNode, {0, 1, 2, 3, 4, 5, 6, 7}}});
}

TEST(MbMeshFaults, SurfacesAndLines)
{
  Cells sheet;
  sheet.points = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 2, 0, 0, 1, 0, 1, 1, 1, 1, 0.25, 0.25, 0};
  sheet.add(S::Quad, {0, 1, 2, 3})
      .add(S::Quad, {0, 2, 1, 3})    // crossing sides
      .add(S::Triangle, {0, 1, 4})   // three corners on a line
      .add(S::Quad, {1, 2, 6, 5})    // upright
      .add(S::Triangle, {1, 4, 2})   // the third cell at the edge 1 2
      .add(S::Polygon, {0, 1, 7, 3}) // a concave polygon is none
      .add(S::Quad, {0, 1, 7, 3});   // a dented quad, and the same cell
  const MbMeshFaults faults = sheet.check<MbSurfaceMeshUnstructured>();
  expectOnly(faults, {{Fault::FoldedCell, {1, 6}},
                      {Fault::DegenerateCell, {2}},
                      {Fault::DuplicateCell, {1, 6}},
                      {Fault::CrowdedFace, {0, 0, 0}}});
  EXPECT_TRUE(faults[Fault::CrowdedFace].isRemark);

  Cells lines;
  lines.points = {0, 0, 0, 1, 0, 0, 1, 0, 0, 2, 0, 0};
  lines.add(S::Line, {0, 1}).add(S::Line, {1, 2}).add(S::Polyline, {0, 1, 3, 0});
  expectOnly(lines.check<MbLineMeshUnstructured>(),
             {{Fault::DegenerateCell, {1}}, {Fault::DuplicateNode, {2}}});
}

TEST(MbMeshFaults, AGridIsJudgedByMostOfItsCells)
{
  // Depth counts down: every cell is mirrored, one is not.
  const auto cellsOf = [](bool turned) {
    std::vector<double> corners;
    for (int i = 0; i < 3; ++i)
      for (std::size_t n = 0; n < 8; ++n) {
        const double z = kCube[3 * n + 2];
        corners.insert(corners.end(),
                       {kCube[3 * n] + i, kCube[3 * n + 1], turned && i == 1 ? z + 5 : -z});
      }
    return mbFindFaults(
        MbVolumeMeshVertexHexahedronIjk(MbTopologyIjk{MbIndex3{3, 1, 1}}, MbPoints(corners)));
  };
  expectOnly(cellsOf(false), {});
  EXPECT_TRUE(cellsOf(false).isMirrored);
  expectOnly(cellsOf(true), {{Fault::InvertedCell, {1}}});

  // The nodes of an axis and of a seam may be at one place.
  const MbMeshFaults faults = mbFindFaults(MbVolumeMeshCurvilinear(
      MbIndex3{1, 1, 1},
      std::vector<double>{0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 0, 0, 1, 0, 1, 1, 1, 1, 1}));
  expectOnly(faults, {{Fault::DuplicateNode, {1, 5}}, {Fault::CollapsedCell, {0}}});
  EXPECT_FALSE(faults.isFaulty());
}

TEST(MbMeshFaults, ManyFaultsAreCountedAndTheFirstNamedForAnyNumberOfThreads)
{
  Cells cells;
  for (int n = 0; n < 20000; ++n) {
    for (const double c : {0., 0., 0., 1., 0., 0., 0., 1., 0., 0., 0., 1.})
      cells.points.push_back(c);
    cells.add(S::Tetrahedron, {4 * n, 4 * n + 1, 4 * n + (n % 7 ? 2 : 3), 4 * n + (n % 7 ? 3 : 2)});
  }
  const MbVolumeMeshUnstructured mesh({cells.shapes, cells.offsets, cells.nodes}, cells.points);
  const MbMeshFaults many = mbFindFaults(mesh), one = mbFindFaults(mesh, false);
  EXPECT_EQ(many[Fault::InvertedCell].count, 2858u);
  EXPECT_THAT(many[Fault::InvertedCell].first, ElementsAre(0, 7, 14, 21, 28, 35, 42, 49, 56, 63));
  EXPECT_EQ(many[Fault::DuplicateNode].count, 79996u);
  EXPECT_THAT(many[Fault::DuplicateNode].first, ElementsAre(4, 5, 6, 7, 8, 9, 10, 11, 12, 13));
  for (std::size_t f = 0; f < kMbMeshFaultCount; ++f) {
    EXPECT_EQ(many.findings[f].count, one.findings[f].count);
    EXPECT_EQ(many.findings[f].first, one.findings[f].first);
  }
}

TEST(MbMeshFaults, ValuesThatAreNotFinite)
{
  std::vector<float> values(30000, 1);
  values[5] = values[6] = values[20000] = std::numeric_limits<float>::quiet_NaN();
  values[29999] = std::numeric_limits<float>::infinity();
  const MbValueFaults faults =
      mbFindFaults(MiArrayView::triples(std::span<const float>(values)), 3);
  EXPECT_EQ(faults.nanCount, 3u);
  EXPECT_EQ(faults.infiniteCount, 1u);
  EXPECT_THAT(faults.first, ElementsAre(1, 2, 6666, 9999));
}
