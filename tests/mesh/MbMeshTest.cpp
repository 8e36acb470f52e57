#include <tests/support/MeshZoo.h>
#include <velmo/mesh/MbMesh.h>

#include <gmock/gmock.h>

using testing::Each;
using testing::ElementsAre;
using testing::Gt;
using testing::IsEmpty;

namespace {
const std::vector<float> kTetPoints{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};

std::vector<std::size_t> nodesOf(const MiTopologyI& topology, std::size_t cell)
{
  std::vector<std::size_t> nodes{99};
  topology.getCellNodes(cell, nodes);
  return nodes;
}

struct Node // an application's record: the points lie between other things
{
  std::int64_t id;
  double position[3];
  float temperature;
};
} // namespace

TEST(MbMesh, BorrowsArraysOfAnyTypeWithoutACopy)
{
  const std::vector<std::int16_t> connectivity{0, 1, 2, 3};
  const std::vector<MiCellShape> shapes{MiCellShape::Tetrahedron};
  const std::int64_t offsets[] = {0, 4};
  const MbVolumeMeshUnstructured uniform({MiCellShape::Tetrahedron, connectivity}, kTetPoints);
  const MbVolumeMeshUnstructured mixed({shapes, offsets, connectivity}, kTetPoints);

  EXPECT_EQ(uniform.getTopology().getView().connectivity.data, connectivity.data());
  EXPECT_EQ(uniform.getGeometry().getView().data, kTetPoints.data());
  EXPECT_EQ(uniform.getGeometry().getView().count, 4u);
  EXPECT_EQ(mixed.getTopology().getView().offsets.data, offsets);
  EXPECT_EQ(mixed.getTopology().getView().shapes.data, shapes.data());
  for (const auto* mesh : {&uniform, &mixed}) {
    EXPECT_THAT(nodesOf(mesh->getTopology(), 0), ElementsAre(0u, 1u, 2u, 3u));
    EXPECT_EQ(mesh->getTopology().getCellShape(0), MiCellShape::Tetrahedron);
    EXPECT_EQ(mesh->getGeometry().getNode(3), (MbVec3d{0, 0, 1}));
  }
}

TEST(MbMesh, BorrowsTheArraysOfStructuredKindsWithoutACopy)
{
  const MbIndex3 cells{1, 1, 1};
  const std::vector<double> points(24), x{0, 1}, pillars(24), depths(8);
  const std::vector<std::uint64_t> connectivity(8);
  const std::vector<float> active{1};
  const MbVolumeMeshCurvilinear curved({cells, active}, points);
  EXPECT_EQ(curved.getGeometry().getView().data, points.data());
  EXPECT_EQ(curved.getTopology().getActiveView().data, active.data());
  const MbVolumeMeshHexahedronIjk hexahedra({cells, connectivity, active}, points);
  EXPECT_EQ(hexahedra.getTopology().getConnectivityView().data, connectivity.data());
  EXPECT_EQ(hexahedra.getTopology().getActiveView().data, active.data());
  EXPECT_EQ(hexahedra.getGeometry().getView().data, points.data());
  const MbVolumeMeshRectilinear box(cells, x, x, x);
  EXPECT_EQ(box.getGeometry().getAxisView(2).data, x.data());
  const MbVolumeMeshVertexHexahedronIjk corners(cells, points), grid(cells, pillars, depths);
  EXPECT_EQ(corners.getGeometry().getView().corners.data, points.data());
  EXPECT_EQ(grid.getGeometry().getView().pillars.data, pillars.data());
  EXPECT_EQ(grid.getGeometry().getView().depths.data, depths.data());
  const MbSurfaceMeshCurvilinear sheet({1, 1, active}, points);
  EXPECT_EQ(sheet.getGeometry().getView().data, points.data());
  EXPECT_EQ(sheet.getTopology().getActiveView().data, active.data());
  const MbLineMeshCurvilinear line({1, active}, points);
  EXPECT_EQ(line.getGeometry().getView().data, points.data());
}

TEST(MbMesh, ReadsPointsThatLieInsideRecords)
{
  const std::vector<Node> records{{7, {1, 2, 3}, 0}, {8, {4, 5, 6}, 0}};
  const MbPoints points(MiArrayView(records[0].position, MiScalarType::Float64, 2, sizeof(Node)));
  const MbLineMeshCurvilinear line(1, points);
  EXPECT_EQ(line.getGeometry().getNode(1), (MbVec3d{4, 5, 6}));
}

TEST(MbMesh, KeepsMovedArraysThroughMovesAndCopies)
{
  std::vector<MbVec3d> points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  const void* where = points.data();
  auto* first = new MbSurfaceMeshUnstructured({MiCellShape::Triangle, std::vector<int>{0, 1, 2}},
                                              std::move(points));
  const MbSurfaceMeshUnstructured second(*first);
  delete first;
  EXPECT_EQ(second.getGeometry().getView().data, where);
  EXPECT_EQ(second.getGeometry().getNode(1).x, 1);
  EXPECT_THAT(nodesOf(second.getTopology(), 0), ElementsAre(0u, 1u, 2u));
}

TEST(MbMesh, TakesANewStampForWhatChangedAndNoOther)
{
  std::vector<float> points = kTetPoints;
  MbVolumeMeshUnstructured mesh({MiCellShape::Tetrahedron, std::vector<int>{0, 1, 2, 3}}, points);
  const auto stamps = [&] {
    return std::pair(mesh.getTopology().getTimeStamp(), mesh.getGeometry().getTimeStamp());
  };
  const auto before = stamps();
  points[0] = 5;
  mesh.touchGeometry();
  const auto moved = stamps();
  EXPECT_EQ(moved.first, before.first);
  EXPECT_NE(moved.second, before.second);
  EXPECT_EQ(mesh.getGeometry().getNode(0).x, 5);
  mesh.touchTopology();
  EXPECT_NE(stamps().first, moved.first);
  EXPECT_EQ(stamps().second, moved.second);
  const auto touched = stamps();
  mesh.setGeometry(kTetPoints);
  EXPECT_EQ(stamps().first, touched.first);
  EXPECT_NE(stamps().second, touched.second);
  EXPECT_EQ(mesh.getGeometry().getNode(0).x, 0);
}

TEST(MbMesh, RefusesArraysThatAreTooShortForTheCounts)
{
  const MbIndex3 cells{2, 2, 2};
  const std::vector<double> p26(26 * 3), p27(27 * 3), x3(3), x2(2);
  const std::vector<int> active7(7), connectivity63(63), active8(8), connectivity64(64);
  EXPECT_NO_THROW(MbVolumeMeshCurvilinear({cells, active8}, p27));
  EXPECT_THROW(MbVolumeMeshCurvilinear({cells, active7}, p27), std::invalid_argument);
  EXPECT_THROW(MbVolumeMeshCurvilinear(cells, p26), std::invalid_argument);
  EXPECT_NO_THROW(MbVolumeMeshHexahedronIjk({cells, connectivity64}, p27));
  EXPECT_THROW(MbVolumeMeshHexahedronIjk({cells, connectivity63}, p27), std::invalid_argument);
  EXPECT_THROW(MbVolumeMeshRectilinear(cells, x3, x2, x3), std::invalid_argument);
  EXPECT_THROW(MbVolumeMeshVertexHexahedronIjk(cells, std::vector<float>(63 * 3)),
               std::invalid_argument);
  const std::vector<float> pillars53(53), pillars54(54), depths63(63), depths64(64);
  EXPECT_NO_THROW(MbVolumeMeshVertexHexahedronIjk(cells, pillars54, depths64));
  EXPECT_THROW(MbVolumeMeshVertexHexahedronIjk(cells, pillars53, depths64), std::invalid_argument);
  EXPECT_THROW(MbVolumeMeshVertexHexahedronIjk(cells, pillars54, depths63), std::invalid_argument);
  EXPECT_THROW(MbSurfaceMeshCurvilinear({2, 9}, p27), std::invalid_argument);
  EXPECT_THROW(MbSurfaceMeshRectilinear({2, 2}, x3, x2), std::invalid_argument);
  EXPECT_THROW(MbLineMeshCurvilinear(3, std::vector<float>(9)), std::invalid_argument);
  EXPECT_THROW(MbPoints(std::vector<float>(4)), std::invalid_argument);
  const std::size_t huge = std::size_t{1} << 40;
  EXPECT_THROW(MbVolumeMeshRegular(MbIndex3{huge, huge, huge}, MbVec3d{}, MbVec3d{}),
               std::invalid_argument);
}

TEST(MbMesh, RefusesCellsOfUnknownSizeOrShape)
{
  const std::vector<int> connectivity{0, 1, 2, 3}, offsets{0, 4};
  const std::vector<std::uint8_t> none, one{10};
  EXPECT_THROW(MbTopologyI(MiCellShape::Polygon, connectivity), std::invalid_argument);
  EXPECT_THROW(MbTopologyI(none, offsets, connectivity), std::invalid_argument);
  EXPECT_THROW(MbTopologyI(one, std::vector<int>{0, 2, 4}, connectivity), std::invalid_argument);
  EXPECT_FALSE(MbTopologyI(one, offsets, connectivity, std::vector<int>{}).hasDeadCells());
}

TEST(MbMesh, AnswersBrokenOffsetsWithNoNodes)
{
  const std::vector<std::uint8_t> shapes{10, 10, 10, 200};
  const std::vector<int> offsets{0, 4, 2, -1, 9}, connectivity{0, -1, 2, 3};
  const MbTopologyI topology(shapes, offsets, connectivity);
  EXPECT_THAT(nodesOf(topology, 0), ElementsAre(0u, Gt(1u << 31), 2u, 3u));
  EXPECT_THAT(nodesOf(topology, 1), IsEmpty()); // backwards
  EXPECT_THAT(nodesOf(topology, 2), IsEmpty()); // negative
  EXPECT_THAT(nodesOf(topology, 3), IsEmpty()); // beyond
  EXPECT_EQ(cellShapeFacts(topology.getCellShape(3)).dimension, -1);
}

TEST(MbMesh, MayBeEmpty)
{
  const MbVolumeMeshUnstructured none(MbTopologyI{}, MbPoints{});
  EXPECT_EQ(none.getTopology().getCellCount(), 0u);
  EXPECT_EQ(none.getGeometry().getNodeCount(), 0u);
  const MbVolumeMeshCurvilinear grid(MbIndex3{}, MbPoints{});
  EXPECT_EQ(grid.getGeometry().getNodeCounts(), MbIndex3{});
  EXPECT_NO_THROW(
      MbVolumeMeshUnstructured({MiCellShape::Hexahedron, std::vector<int>{}}, MbPoints{}));
}

TEST(MbMesh, PutsCornersOnTheirPillars)
{
  // One cell between pillars that lean by (1, 0) over a depth of 2, one of them upright.
  const std::vector<double> pillars{0, 0, 0, 1, 0, 2, 1, 0, 0, 2, 0, 2,
                                    0, 1, 0, 1, 1, 2, 1, 1, 5, 9, 9, 5};
  const std::vector<double> depths{0, 0.5, 1, 1.5, 2, 2.5, 3, 4};
  const MbVolumeMeshVertexHexahedronIjk mesh(MbIndex3{1, 1, 1}, pillars, depths);
  const MiGeometryVertexIjk& geometry = mesh.getGeometry();
  EXPECT_EQ(geometry.getCorner(0, 0, 0, 0), (MbVec3d{0, 0, 0}));
  EXPECT_EQ(geometry.getCorner(0, 0, 0, 1), (MbVec3d{1.25, 0, 0.5}));
  EXPECT_EQ(geometry.getCorner(0, 0, 0, 3), (MbVec3d{0.5, 1, 1}));
  EXPECT_EQ(geometry.getCorner(0, 0, 0, 7), (MbVec3d{1.5, 1, 3}));
  EXPECT_EQ(geometry.getCorner(0, 0, 0, 2), (MbVec3d{1, 1, 1.5})); // a pillar without height
}
