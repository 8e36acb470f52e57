#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/SkinLaws.h>

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

const MeXSurfaceMeshUnstructured& skinOf(MiSkinExtractUnstructured& extractor)
{
  return extractor.extractSkin(nullptr);
}

/// Faces of one cell by their number of nodes, as the skin without a tessellator draws them.
struct FaceCounts
{
  MiCellShape shape;
  std::size_t triangles, quads;
};

} // namespace

TEST(SkinShapes, FacesOfOneCellOfEachShape)
{
  using S = MiCellShape;
  for (const auto& [shape, triangles, quads] :
       {FaceCounts{S::Tetrahedron, 4, 0}, FaceCounts{S::Hexahedron, 0, 6},
        FaceCounts{S::Wedge, 2, 3}, FaceCounts{S::Pyramid, 4, 1},
        FaceCounts{S::QuadraticTetrahedron, 16, 0}, FaceCounts{S::QuadraticHexahedron, 24, 6},
        FaceCounts{S::TriquadraticHexahedron, 0, 24}, FaceCounts{S::QuadraticWedge, 8 + 12, 3},
        FaceCounts{S::BiquadraticWedge, 8, 12}, FaceCounts{S::QuadraticPyramid, 16 + 4, 1}})
  {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const auto mesh = zoo::cellsOf({shape});
    const auto extractor =
        MiSkinExtractUnstructured::getNewInstance(zoo::as<VOLUME_MESH_UNSTRUCTURED>(*mesh), false);
    const auto& surface = skinOf(*extractor);
    std::size_t found[2] = {0, 0};
    for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f)
      ++found[surface.topology.getCellSize(f) - 3];
    EXPECT_EQ(found[0], triangles);
    EXPECT_EQ(found[1], quads);
    laws::expectClosed(surface);
    EXPECT_TRUE(extractor->getWarnings().empty());
  }
}

// Every split of one block is bounded by the block's own sides, and faces outward.
TEST(SkinShapes, BlockOfEveryShapeHasTheBlocksAreaAndVolume)
{
  const MbIndex3 cells{3, 4, 5};
  const double x = 3, y = 2, z = 1.25;
  for (const MiCellShape shape : zoo::shapesOf(3)) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const auto mesh = zoo::blockOf(shape, cells);
    const auto extractor = MiSkinExtractUnstructured::getNewInstance(*mesh, true);
    const auto& surface = skinOf(*extractor);
    laws::expectClosed(surface);
    const laws::Size size = laws::sizeOf(surface);
    EXPECT_NEAR(size.area, 2 * (x * y + y * z + z * x), 1e-5);
    EXPECT_NEAR(size.volume, x * y * z, 1e-5);
    const auto calls = zoo::procedural(zoo::blockOf(shape, cells));
    const auto other =
        MiSkinExtractUnstructured::getNewInstance(zoo::as<VOLUME_MESH_UNSTRUCTURED>(*calls), true);
    EXPECT_EQ(laws::bytesOf(skinOf(*other)), laws::bytesOf(surface)) << "by virtual calls";
  }
}

TEST(SkinShapes, TwoTetrahedraLoseTheFaceBetweenThem)
{
  const std::vector<std::int32_t> connectivity{0, 1, 2, 3, 1, 2, 3, 4};
  const std::vector<float> points{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1};
  const MbVolumeMeshUnstructured mesh({MiCellShape::Tetrahedron, connectivity}, points);
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, false);
  const auto& surface = skinOf(*extractor);
  EXPECT_THAT(laws::sourceFaces(surface),
              ElementsAre(ElementsAre(0, 1, 3), ElementsAre(2, 0, 3), ElementsAre(0, 2, 1),
                          ElementsAre(1, 2, 4), ElementsAre(2, 3, 4), ElementsAre(3, 1, 4)));
  EXPECT_THAT(surface.provenance.cells.span(), ElementsAre(0, 0, 0, 1, 1, 1));
  // Numbered by first use.
  EXPECT_THAT(surface.provenance.nodes.span(), ElementsAre(0, 1, 3, 2, 4));
  EXPECT_EQ(surface.geometry.getNode(4), (MbVec3d{1, 1, 1}));
  EXPECT_EQ(surface.topology.getCellBegin(1), 4u);
}

TEST(SkinShapes, AFlatCellHasBothSidesAtOnePlaceAndOpensNothing)
{
  // Flat cells on a tetrahedron, a hexahedron and a prism of five sides, which are the last or the
  // first cells of the mesh, and one flat cell by itself.
  std::vector<double> points(3 * 40);
  for (std::size_t n = 0; n < points.size(); ++n)
    points[n] = static_cast<double>(n * n % 97);
  struct Cell
  {
    std::uint8_t shape;
    std::vector<std::int64_t> nodes, faces;
  };
  const std::vector<Cell> cells{
      {10, {0, 1, 2, 3}, {}},
      {13, {0, 1, 2, 0, 1, 2}, {}},
      {12, {4, 5, 6, 7, 8, 9, 10, 11}, {}},
      {12, {8, 9, 10, 11, 8, 9, 10, 11}, {}},
      {42,
       {12, 13, 14, 15, 16, 17, 18, 19, 20, 21},
       {7,  5,  12, 13, 14, 15, 16, 5,  17, 18, 19, 20, 21, 4,  12, 13, 18, 17, 4,
        13, 14, 19, 18, 4,  14, 15, 20, 19, 4,  15, 16, 21, 20, 4,  16, 12, 17, 21}},
      {42, {17, 18, 19, 20, 21}, {2, 5, 17, 18, 19, 20, 21, 5, 19, 18, 17, 21, 20}},
      {12, {30, 31, 32, 33, 30, 31, 32, 33}, {}}};
  for (const bool backward : {false, true}) {
    MbCellArrays arrays;
    std::vector<std::int64_t> connectivity, offsets{0}, faces, faceOffsets{0};
    std::vector<std::uint8_t> shapes;
    for (std::size_t n = 0; n < cells.size(); ++n) {
      const Cell& cell = cells[backward ? cells.size() - 1 - n : n];
      shapes.push_back(cell.shape);
      connectivity.insert(connectivity.end(), cell.nodes.begin(), cell.nodes.end());
      faces.insert(faces.end(), cell.faces.begin(), cell.faces.end());
      offsets.push_back(static_cast<std::int64_t>(connectivity.size()));
      faceOffsets.push_back(static_cast<std::int64_t>(faces.size()));
    }
    arrays.shapes = shapes;
    arrays.connectivity = connectivity;
    arrays.offsets = offsets;
    arrays.faces = faces;
    arrays.faceOffsets = faceOffsets;
    const MbVolumeMeshUnstructured mesh(MbTopologyI(std::move(arrays)), points);
    const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, false);
    const auto& skin = skinOf(*extractor);
    laws::expectClosed(skin);
    const auto sides = laws::sourceFaces(skin);
    EXPECT_EQ(sides.size(), 4u + 6u + 7u);
    EXPECT_THAT(sides, testing::Contains(testing::UnorderedElementsAre(0, 1, 2)));
    EXPECT_THAT(sides, testing::Contains(testing::UnorderedElementsAre(8, 9, 10, 11)));
    EXPECT_THAT(sides, testing::Contains(testing::UnorderedElementsAre(17, 18, 19, 20, 21)));
  }
}

TEST(SkinShapes, FacesOfThreeCellsAndCollapsedFacesAreNotOnTheSkin)
{
  // Three tetrahedra on the face 0 1 2; then a hexahedron whose upper face is a line: its two ends
  // are triangles, and one of them meets a tetrahedron with the same three nodes.
  const std::vector<std::int64_t> connectivity{0,  1,  2,  3,  0,  1,  2,  4,  0,  1,  2,  5,
                                               10, 11, 12, 13, 14, 15, 15, 14, 11, 12, 15, 16};
  const std::vector<std::int64_t> offsets{0, 4, 8, 12, 20, 24};
  const std::vector<std::uint8_t> shapes{10, 10, 10, 12, 10};
  std::vector<double> points(3 * 17);
  for (std::size_t n = 0; n < points.size(); ++n)
    points[n] = static_cast<double>(n * n % 97);
  const MbVolumeMeshUnstructured mesh({shapes, offsets, connectivity}, points);
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, false);
  const auto faces = laws::sourceFaces(skinOf(*extractor));
  EXPECT_EQ(faces.size(), 9u + 4u + 3u);
  EXPECT_THAT(faces, testing::Not(testing::Contains(testing::UnorderedElementsAre(0, 1, 2))));
  EXPECT_THAT(faces, testing::Not(testing::Contains(testing::UnorderedElementsAre(11, 12, 15))));
  EXPECT_THAT(faces, testing::Contains(testing::UnorderedElementsAre(10, 13, 14)));
}
