#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>

#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {
const std::vector<float> kTetPoints{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
} // namespace

TEST(MbMesh, BorrowsArraysOfAnyTypeWithoutACopy)
{
  const std::vector<std::int16_t> connectivity{0, 1, 2, 3};
  const std::vector<std::uint8_t> shapes{10};
  const std::int64_t offsets[] = {0, 4};
  const MbVolumeMeshUnstructured uniform({MiCellShape::Tetrahedron, connectivity}, kTetPoints);
  const MbVolumeMeshUnstructured mixed({shapes, offsets, connectivity}, kTetPoints);

  EXPECT_EQ(uniform.getTopology().getView().connectivity.data, connectivity.data());
  EXPECT_EQ(uniform.getGeometry().getView().data, kTetPoints.data());
  EXPECT_EQ(uniform.getGeometry().getView().count, 4u);
  EXPECT_EQ(mixed.getTopology().getView().offsets.data, offsets);
  EXPECT_EQ(mixed.getTopology().getView().shapes.data, shapes.data());
  for (const auto* mesh : {&uniform, &mixed}) {
    std::vector<std::size_t> nodes;
    mesh->getTopology().getCellNodes(0, nodes);
    EXPECT_THAT(nodes, ElementsAre(0u, 1u, 2u, 3u));
    EXPECT_EQ(mesh->getTopology().getCellShape(0), MiCellShape::Tetrahedron);
    EXPECT_EQ(mesh->getGeometry().getNode(3), (MbVec3d{0, 0, 1}));
  }
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
  std::vector<std::size_t> nodes;
  second.getTopology().getCellNodes(0, nodes);
  EXPECT_THAT(nodes, ElementsAre(0u, 1u, 2u));
}
