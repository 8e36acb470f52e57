#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <tests/support/ExtractionCounter.h>
#include <tests/support/MeshZoo.h>
#include <tests/support/SkinLaws.h>
#include <tests/support/UniformTessellator.h>

#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <gmock/gmock.h>

#include <set>

using testing::ElementsAre;
using testing::IsEmpty;

TEST(SkinExtractor, NamesItsPhases)
{
  const auto mesh = zoo::blockOf(MiCellShape::Tetrahedron, {4, 4, 4});
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(*mesh, true);
  ExtractionCounter counter;
  extractor->setCallback(&counter);
  EXPECT_EQ(extractor->getSurface(), nullptr);
  const auto& surface = extractor->extractSkin(nullptr);
  EXPECT_EQ(&surface, extractor->getSurface());
  EXPECT_THAT(counter.phases, ElementsAre("Checking the mesh", "Hashing faces", "Collecting faces",
                                          "Matching faces", "Writing faces"));
}

TEST(SkinExtractor, ValuesOfAnyTypeAndTextsFollowTheirCellsAndNodes)
{
  const MbIndex3 cells{3, 2, 2};
  std::vector<float> perNode;
  std::vector<std::int32_t> perCell;
  std::vector<std::string> texts;
  for (std::size_t n = 0; n < 36; ++n)
    perNode.push_back(static_cast<float>(n) / 2);
  for (std::int32_t c = 0; c < 12; ++c) {
    perCell.push_back(10 * c);
    texts.push_back("cell " + std::to_string(c));
  }
  const auto mesh = zoo::block(VOLUME_MESH_CURVILINEAR, cells);
  const auto extractor =
      MiSkinExtractIjk::getNewInstance(zoo::as<VOLUME_MESH_CURVILINEAR>(*mesh), true);
  const MbDataSetIjk<double> nodes("p", MiDataBinding::PerNode, {4, 3, 3}, perNode);
  const MbDataSetIjk<double> values("v", MiDataBinding::PerCell, cells, perCell);
  const MbDataSetIjk<std::string> names("t", MiDataBinding::PerCell, cells, texts);
  const auto& surface = extractor->extractSkin(nullptr);
  const auto* mapped = extractor->extractScalarSet(nodes);
  ASSERT_NE(mapped, nullptr);
  EXPECT_EQ(mapped->getName(), "p");
  for (std::size_t n = 0; n < mapped->getSize(); ++n)
    EXPECT_EQ(mapped->values[n], surface.provenance.nodes[n] / 2.0);
  EXPECT_EQ(extractor->extractScalarSet(values)->values[31], 10.0 * surface.provenance.cells[31]);
  EXPECT_EQ(extractor->extractStringSet(names)->values.back(),
            "cell " + std::to_string(surface.provenance.cells[31]));
  const MbDataSetIjk<double> swapped("s", MiDataBinding::PerCell, {2, 3, 2}, perCell);
  EXPECT_EQ(extractor->extractScalarSet(swapped), nullptr);

  // Lines and points bring their own.
  extractor->extractLine(nullptr);
  EXPECT_EQ(extractor->extractLineScalarSet(values)->getSize(), 64u);
  extractor->extractPoints(nullptr);
  EXPECT_EQ(extractor->extractPointsScalarSet(nodes)->values, mapped->values);
}

TEST(SkinExtractor, LinesAreTheEdgesOnceAndPointsTheNodes)
{
  const auto mesh = zoo::block(VOLUME_MESH_VERTEX_HEXAHEDRON_IJK, {3, 2, 2});
  const auto extractor =
      MiSkinExtractIjk::getNewInstance(zoo::as<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK>(*mesh), true);
  const auto& lines = extractor->extractLine(nullptr);
  EXPECT_EQ(lines.topology.getCellCount(), 64u); // V - E + F = 34 - 64 + 32 = 2
  std::set<std::set<std::uint32_t>> edges;
  for (std::size_t e = 0; e < 64; ++e) {
    const auto ends = lines.topology.getCell(e);
    edges.insert({lines.provenance.nodes[static_cast<std::size_t>(ends[0])],
                  lines.provenance.nodes[static_cast<std::size_t>(ends[1])]});
  }
  EXPECT_EQ(edges.size(), 64u);
  const auto& points = extractor->extractPoints(nullptr);
  EXPECT_EQ(points.geometry.getNodeCount(), 34u);
  for (std::size_t n = 0; n < 34; ++n)
    EXPECT_EQ(points.geometry.getNode(n), extractor->getSurface()->geometry.getNode(n));
}

TEST(SkinExtractor, MeshesFarFromZeroKeepTheirPrecision)
{
  const std::vector<std::int32_t> connectivity{0, 1, 2, 3};
  std::vector<double> points{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
  for (std::size_t n = 0; n < points.size(); n += 3)
    points[n] += 6.5e6;
  const MbVolumeMeshUnstructured mesh({MiCellShape::Tetrahedron, connectivity}, points);
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, false);
  const auto& geometry = extractor->extractSkin(nullptr).geometry;
  EXPECT_NE(geometry.origin, MbVec3d{});
  EXPECT_EQ(geometry.getNode(1), (MbVec3d{6.5e6 + 1, 0, 0}));
  EXPECT_EQ(geometry.getMax(), (MbVec3d{6.5e6 + 1, 1, 1}));
  EXPECT_EQ(extractor->extractPoints(nullptr).geometry.getNode(1), geometry.getNode(1));
}

TEST(SkinExtractor, TessellatorRefinesQuadraticFacesWithoutGaps)
{
  const auto mesh = zoo::blockOf(MiCellShape::QuadraticTetrahedron, {3, 3, 3});
  UniformTessellator tessellator;
  std::string serial;
  for (const bool parallel : {false, true}) {
    const auto extractor = MiSkinExtractUnstructured::getNewInstance(*mesh, parallel, &tessellator);
    const auto& surface = extractor->extractSkin(nullptr);
    EXPECT_EQ(surface.topology.getCellCount(), 54u * 2 * 16);
    EXPECT_EQ(surface.provenance.form, MeXProvenance::NodeForm::Weighted);
    laws::expectClosed(surface);
    EXPECT_NEAR(laws::sizeOf(surface).volume, 3 * 1.5 * 0.75, 1e-5);
    // Edges: 3/2 of 108 triangles, four lines each; points: the mesh's own nodes.
    EXPECT_EQ(extractor->extractLine(nullptr).topology.getCellCount(), 162u * 4);
    EXPECT_EQ(extractor->extractPoints(nullptr).geometry.getNodeCount(), 56u + 162u);

    const auto set = zoo::nodeSet(*mesh, [](const MbVec3d& p) { return p.x; });
    const auto* mapped = extractor->extractScalarSet(dynamic_cast<const MbScalardSetI&>(*set));
    ASSERT_NE(mapped, nullptr);
    for (std::size_t n = 0; n < mapped->getSize(); ++n)
      EXPECT_NEAR(mapped->values[n], surface.geometry.getNode(n).x, 1e-6);
    if (!parallel) serial = laws::bytesOf(surface);
    EXPECT_EQ(laws::bytesOf(surface), serial);
  }
}

TEST(SkinExtractor, FacesThatTheTessellatorDeclinesOrSpoilsAreDrawnByTheirSubFaces)
{
  const auto mesh = zoo::blockOf(MiCellShape::QuadraticTetrahedron, {2, 2, 2});
  UniformTessellator tessellator;
  tessellator.declines = true;
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(*mesh, true, &tessellator);
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 48u * 4);
  laws::expectClosed(extractor->extractSkin(nullptr));
  tessellator.declines = false;
  tessellator.lies = true;
  tessellator.touch();
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 48u * 4);
  EXPECT_EQ(extractor->extractLine(nullptr).topology.getCellCount(), 72u * 2);

  // Linear cells are not for it.
  tessellator.asked = false;
  const auto linear = zoo::blockOf(MiCellShape::Hexahedron, {2, 2, 2});
  const auto plain = MiSkinExtractUnstructured::getNewInstance(*linear, true, &tessellator);
  EXPECT_EQ(plain->extractSkin(nullptr).topology.getCellCount(), 24u);
  EXPECT_FALSE(tessellator.asked);
  EXPECT_EQ(plain->getSurface()->provenance.form, MeXProvenance::NodeForm::Node);
}
