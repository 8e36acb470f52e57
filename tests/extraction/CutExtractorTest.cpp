#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbTessellator.h>

#include <tests/support/CutExtractors.h>
#include <tests/support/CutMesh.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

double height(const MbVec3d& p)
{
  return p.z;
}

std::size_t faceCount(const MeXSurfaceMeshUnstructured& surface)
{
  EXPECT_EQ(surface.topology.getCellCount() == 0, surface.geometry.getNodeCount() == 0);
  return surface.topology.getCellCount();
}

double openLength(const MeXSurfaceMeshUnstructured& surface)
{
  double sum = 0;
  for (const auto& [a, b] : laws::openEdges(surface))
    sum += length(b - a);
  return sum;
}

} // namespace

TEST(CutExtractor, TextsAreThoseOfTheNearerNodeAndLinesAndPointsBringTheirOwnValues)
{
  const auto mesh = zoo::block(VOLUME_MESH_CURVILINEAR, {4, 3, 5});
  std::vector<std::string> texts;
  for (int n = 0; n < 5 * 4 * 6; ++n)
    texts.push_back(std::to_string(n));
  const auto extractor =
      MiPlaneSliceExtractIjk::getNewInstance(zoo::as<VOLUME_MESH_CURVILINEAR>(*mesh), true);
  const MbVec3d normal{1, 1, 4};
  const auto& surface = extractor->extractSlice(normal, 4.3, nullptr);
  const MbStringSetIjk names("t", MiDataBinding::PerNode, {5, 4, 6}, texts);
  const auto* ofTexts = extractor->extractStringSet(names);
  ASSERT_NE(ofTexts, nullptr);
  const MeXProvenance& provenance = surface.provenance;
  for (std::size_t n = 0; n < provenance.weights.size(); ++n)
    EXPECT_EQ(ofTexts->values[n],
              std::to_string(provenance.nodes[2 * n + (provenance.weights[n] > 0.5 ? 1 : 0)]));

  const auto heights = zoo::nodeSet(*mesh, height);
  const auto expectHeights = [](const MeXDataSetI<double>* mapped, const MeXGeometryI& geometry) {
    ASSERT_NE(mapped, nullptr);
    ASSERT_EQ(mapped->getSize(), geometry.getNodeCount());
    for (std::size_t n = 0; n < mapped->getSize(); ++n)
      EXPECT_NEAR(mapped->values[n], geometry.getNode(n).z, 1e-6);
  };
  const auto& lines = extractor->extractLine(normal, 4.3, nullptr);
  expectHeights(extractor->extractLineScalarSet(*heights), lines.geometry);
  EXPECT_EQ(lines.topology.getCellCount(), laws::edgesOf(surface).size());
  const auto& points = extractor->extractPoints(normal, 4.3, nullptr);
  EXPECT_EQ(points.geometry.getNodeCount(), surface.geometry.getNodeCount());
  expectHeights(extractor->extractPointsScalarSet(*heights), points.geometry);
}

TEST(CutExtractor, QuadraticCellsShowTheOutlineOfTheirCutAlone)
{
  const auto mesh = zoo::blockOf(MiCellShape::QuadraticTetrahedron, {3, 4, 4});
  const auto linear = zoo::blockOf(MiCellShape::Tetrahedron, {3, 4, 4});
  const MbUniformTessellator tessellator(2); // eight linear ones
  const MbVec3d normal{0.1, 0.2, 1};
  CutExtractors plain(*mesh), refined(*mesh, true, &tessellator), coarse(*linear);
  const auto& expected = coarse.plane(normal, 0.61, nullptr);
  for (CutExtractors* cuts : {&plain, &refined}) {
    const auto& surface = cuts->plane(normal, 0.61, nullptr);
    EXPECT_NEAR(laws::sizeOf(surface).area, laws::sizeOf(expected).area, 1e-5);
    EXPECT_GT(faceCount(surface), faceCount(expected)) << "sub-cells";
    EXPECT_NEAR(openLength(surface), openLength(expected), 1e-5) << "no cracks inside";
    auto& extractor = dynamic_cast<MiPlaneSliceExtractUnstructured&>(*cuts->planes);
    const auto& lines = extractor.extractLine(normal, 0.61, nullptr);
    auto& other = dynamic_cast<MiPlaneSliceExtractUnstructured&>(*coarse.planes);
    EXPECT_NEAR(laws::lengthOf(lines), laws::lengthOf(other.extractLine(normal, 0.61, nullptr)),
                1e-5)
        << "the outlines of the linear cells, in as many pieces as sub-cells make of them";
    const auto set = zoo::nodeSet(*mesh, height);
    const auto* mapped = extractor.extractScalarSet(dynamic_cast<const MbScalardSetI&>(*set));
    ASSERT_NE(mapped, nullptr);
    for (std::size_t n = 0; n < mapped->getSize(); ++n)
      EXPECT_NEAR(mapped->values[n], surface.geometry.getNode(n).z, 1e-6);
  }
}

TEST(CutExtractor, ArgumentsThatDescribeNothingGiveNothingOnce)
{
  const auto mesh = zoo::blockOf(MiCellShape::Hexahedron, {4, 4, 4});
  const auto set = zoo::nodeSet(*mesh, height);
  CutExtractors cuts(*mesh);
  const MbVec3d at{2, 1, 0.55}, x{1, 0, 0};
  for (const double factor : {1.0, kNaN, 1.0, 0.0, 1.0}) {
    const bool anything = factor == 1;
    EXPECT_EQ(faceCount(cuts.isosurface(*set, 0.55 * factor - (factor == 0), nullptr)) > 0,
              anything);
    EXPECT_EQ(faceCount(cuts.plane(x * factor, 2.5, nullptr)) > 0, anything);
    EXPECT_EQ(faceCount(cuts.sphere(at, 0.45 * factor, nullptr)) > 0, anything);
    EXPECT_EQ(faceCount(cuts.cylinder(at, x * factor, 0.45, nullptr)) > 0, anything);
    const auto stamp = cuts.planes->getSurface()->topology.getTimeStamp();
    cuts.plane(x * factor, 2.5, nullptr);
    EXPECT_EQ(cuts.planes->getSurface()->topology.getTimeStamp(), stamp) << "nothing, once";
  }
  // Values so large that their squares are not finite are on no side, and nothing breaks.
  EXPECT_EQ(faceCount(cuts.plane({1e200, 0, 0}, 2.5e200, nullptr)), 16u);
  cuts.sphere({1e200, 0, 0}, 1e200, nullptr);
  EXPECT_THAT(cuts.planes->getWarnings(), IsEmpty());
}

TEST(CutExtractor, ASetThatDoesNotFitIsNamed)
{
  const auto mesh = zoo::block(VOLUME_MESH_HEXAHEDRON_IJK, {3, 2, 2});
  const auto expectNothing = [&](CutExtractors& cuts, const MiTypedDataSet<double>& set) {
    EXPECT_EQ(faceCount(cuts.isosurface(set, 0.5, nullptr)), 0u);
    EXPECT_THAT(cuts.isosurfaces->getWarnings(),
                ElementsAre("The data set '" + set.getName() +
                            "' does not fit the mesh: there is no isosurface of it."));
    cuts.isosurface(set, 0.5, nullptr);
    EXPECT_THAT(cuts.isosurfaces->getWarnings(), IsEmpty()) << "said once";
  };
  std::vector<double> values(36);
  for (std::size_t n = 0; n < 36; ++n)
    values[n] = static_cast<double>(n % 2);
  const MbScalardSetI shortOne("short", MiDataBinding::PerNode, std::vector<double>(35));
  const MbScalardSetI flatCells("cells", MiDataBinding::PerCell, std::vector<double>(12));
  const MbScalardSetIjk grid("grid", MiDataBinding::PerNode, {4, 3, 3}, values);
  const MbScalardSetIjk swapped("swapped", MiDataBinding::PerCell, {2, 3, 2}, values);
  CutExtractors cuts(*mesh);
  expectNothing(cuts, shortOne);
  expectNothing(cuts, flatCells);
  expectNothing(cuts, grid);
  expectNothing(cuts, swapped);
  const MbScalardSetI good("good", MiDataBinding::PerNode, values);
  EXPECT_GT(faceCount(cuts.isosurface(good, 0.5, nullptr)), 0u);
  EXPECT_THAT(cuts.isosurfaces->getWarnings(), IsEmpty());
  const auto other = zoo::block(VOLUME_MESH_REGULAR, {3, 2, 2});
  CutExtractors ofGrid(*other);
  expectNothing(ofGrid, shortOne);
  expectNothing(ofGrid, swapped);
  EXPECT_GT(faceCount(ofGrid.isosurface(grid, 0.5, nullptr)), 0u);
}
