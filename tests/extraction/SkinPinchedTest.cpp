#include <velmo/extraction/extractors/MiSkinExtract.h>

#include <tests/support/SkinLaws.h>

#include <velmo/mesh/MbMesh.h>

#include <gmock/gmock.h>

namespace {

/// Three layers of one column whose middle one has no thickness, as corners of their own.
struct PinchedColumn
{
  std::vector<double> corners;
  std::vector<std::uint8_t> active{1, 0, 1};

  explicit PinchedColumn(double gap)
  {
    const double levels[3][2] = {{0, 1}, {1, 1 + gap}, {1 + gap, 2}};
    for (const auto& level : levels)
      for (int c = 0; c < 8; ++c)
        corners.insert(corners.end(), {static_cast<double>(c % 4 == 1 || c % 4 == 2),
                                       static_cast<double>(c % 4 >= 2), level[c / 4]});
  }
};

} // namespace

TEST(SkinPinched, CellsMeetAcrossALayerThatHasThinnedOut)
{
  const PinchedColumn column(0);
  const MbVolumeMeshVertexHexahedronIjk mesh({{1, 1, 3}, column.active}, column.corners);
  const auto extractor = MiSkinExtractIjk::getNewInstance(mesh, true);
  const auto& surface = extractor->extractSkin(nullptr);
  EXPECT_EQ(surface.topology.getCellCount(), 10u);
  EXPECT_EQ(surface.geometry.getNodeCount(), 12u);
  laws::expectClosed(surface);
  EXPECT_NEAR(laws::sizeOf(surface).volume, 2, 1e-6);
  // A node shared by both cells is the logical corner that was met first: of the lower cell.
  EXPECT_THAT(surface.provenance.nodes.span(),
              testing::Each(testing::Not(testing::AllOf(testing::Ge(8u), testing::Lt(12u)))));
  EXPECT_EQ(surface.provenance.sourceNodes, (MbIndex3{2, 2, 4}));

  // The same with shared nodes: the pinched layer's upper and lower nodes are the same.
  std::vector<double> points;
  for (const double z : {0.0, 1.0, 2.0})
    for (int c = 0; c < 4; ++c)
      points.insert(points.end(),
                    {static_cast<double>(c == 1 || c == 2), static_cast<double>(c >= 2), z});
  const std::vector<std::int32_t> nodes{0, 1, 2, 3, 4, 5, 6, 7, 4, 5, 6,  7,
                                        4, 5, 6, 7, 4, 5, 6, 7, 8, 9, 10, 11};
  const MbVolumeMeshHexahedronIjk shared({{1, 1, 3}, nodes, column.active}, points);
  const auto other = MiSkinExtractHexahedronIjk::getNewInstance(shared, true);
  EXPECT_EQ(laws::bytesOf(other->extractSkin(nullptr), false), laws::bytesOf(surface, false));
}

TEST(SkinPinched, AGapOrADeadLayerWithThicknessOpensTheSkin)
{
  const PinchedColumn column(0.25);
  const MbVolumeMeshVertexHexahedronIjk mesh({{1, 1, 3}, column.active}, column.corners);
  const auto extractor = MiSkinExtractIjk::getNewInstance(mesh, true);
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 12u);
}

TEST(SkinPinched, FaultsOpenAndCollapsedFacesAreDropped)
{
  // Two columns of one cell; the second one is shifted down along the face between them.
  std::vector<double> corners;
  for (const double shift : {0.0, 0.5})
    for (int c = 0; c < 8; ++c)
      corners.insert(corners.end(),
                     {(shift > 0) + static_cast<double>(c % 4 == 1 || c % 4 == 2),
                      static_cast<double>(c % 4 >= 2), static_cast<double>(c / 4) - shift});
  const MbVolumeMeshVertexHexahedronIjk fault(MbTopologyIjk({2, 1, 1}), corners);
  auto extractor = MiSkinExtractIjk::getNewInstance(fault, false);
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 12u);

  // A wedge as a hexahedron: the upper K face has only two corners and bounds nothing.
  std::vector<double> wedge;
  for (int c = 0; c < 8; ++c)
    wedge.insert(wedge.end(), {c < 4 ? static_cast<double>(c == 1 || c == 2) : 0.5,
                               static_cast<double>(c % 4 >= 2), static_cast<double>(c / 4)});
  const MbVolumeMeshVertexHexahedronIjk collapsed(MbTopologyIjk({1, 1, 1}), wedge);
  extractor = MiSkinExtractIjk::getNewInstance(collapsed, false);
  const auto& surface = extractor->extractSkin(nullptr);
  EXPECT_EQ(surface.topology.getCellCount(), 5u);
  EXPECT_EQ(surface.geometry.getNodeCount(), 6u);
  laws::expectClosed(surface);
  EXPECT_NEAR(laws::sizeOf(surface).volume, 0.5, 1e-6);
}
