#include <tests/representations/SurfaceScene.h>
#include <tests/support/MeshZoo.h>
#include <tests/support/WarningLog.h>
#include <velmo/extraction/extractors/MiStreamlineExtract.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoVec3SetI.h>
#include <velmo/nodes/MoVec3SetIjk.h>
#include <velmo/render/MdLineMeshes.h>
#include <velmo/representations/MoMeshStreamline.h>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A mesh, its vectors and a streamline node.
struct StreamlineScene : RepresentationScene<MoMeshStreamline>
{
  explicit StreamlineScene(std::unique_ptr<MiMesh> given) : source(std::move(given))
  {
    mesh->setMesh(source.get());
  }
  std::size_t lineCount() const { return node->getLineMeshes().size(); }

  std::unique_ptr<MiMesh> source;
};

/// Vectors (1, 0, 0) at `count` nodes or cells.
std::vector<double> alongX(std::size_t count)
{
  std::vector<double> values;
  for (std::size_t n = 0; n < count; ++n)
    values.insert(values.end(), {1, 0, 0});
  return values;
}

} // namespace

TEST(MoMeshStreamline, DrawsALineForEachSeedAndExtractsOnce)
{
  StreamlineScene scene(zoo::block(VOLUME_MESH_REGULAR, {4, 2, 2}));
  const MbDataSetIjk<MbVec3d> flow("v", MiDataBinding::PerNode, {5, 3, 3}, alongX(45));
  const SoRef<MoVec3SetIjk> set(new MoVec3SetIjk);
  set->setVec3Set(&flow);
  scene.above->addChild(set);
  const SoRef<MoDrawStyle> style(new MoDrawStyle);
  style->displayEdges = TRUE;
  scene.above->addChild(style);
  WarningLog warnings;
  // With the defaults one line from the origin.
  scene.traverse(2);
  EXPECT_THAT(warnings.texts(), IsEmpty());
  ASSERT_EQ(scene.lineCount(), 1u);
  EXPECT_EQ(scene.counter.count, 1);
  const MiStreamlineExtractIjk* extractor = scene.node->getIjkExtractor();
  ASSERT_NE(extractor, nullptr);
  EXPECT_EQ(scene.node->getUnstructuredExtractor(), nullptr);
  EXPECT_EQ(scene.node->getHexahedronIjkExtractor(), nullptr);
  EXPECT_NEAR(extractor->getPoints(0).back().x, 4, 1e-4);
  MeshType kind;
  EXPECT_NE(scene.node->getExtractedMesh(kind), nullptr);
  EXPECT_EQ(kind, LINE_MESH_UNSTRUCTURED);

  const SbVec3f seeds[] = {{0.5f, 0.25f, 0.25f}, {9, 9, 9}, {3.5f, 0.5f, 0.1f}};
  scene.node->startingPoints.setValues(0, 3, seeds);
  scene.node->direction = MoMeshStreamline::BACKWARD;
  scene.node->maxLength = 0.25;
  scene.traverse(2);
  EXPECT_EQ(scene.counter.count, 2);
  ASSERT_EQ(scene.lineCount(), 3u);
  extractor = scene.node->getIjkExtractor();
  EXPECT_NEAR(extractor->getPoints(0).back().x, 0.25, 1e-6);
  EXPECT_TRUE(extractor->getPoints(1).empty());
  EXPECT_EQ(extractor->getEnd(2), MiStreamlineEnd::Length);
  scene.node->startingPoints.setNum(0);
  scene.traverse();
  EXPECT_EQ(scene.lineCount(), 0u);
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(MoMeshStreamline, WarnsOnceWhileThereAreNoVectors)
{
  StreamlineScene scene(zoo::small(VOLUME_MESH_REGULAR));
  WarningLog warnings;
  scene.traverse(4);
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MoMeshStreamline: Cannot find a compatible Vec3Set node in the scene "
                          "graph or vec3SetId field is invalid."));
  EXPECT_EQ(scene.lineCount(), 0u);
}

TEST(MoMeshStreamline, TakesSetsThatFitTheirBindingAndWarnsOfOthers)
{
  const char* const wrong = "MoMeshStreamline: Vectorset type not compatible with binding";
  // On a grid a flat set is found last, and does not fit.
  {
    StreamlineScene scene(zoo::block(VOLUME_MESH_CURVILINEAR, {2, 2, 2}));
    const MbDataSetI<MbVec3d> flat("v", MiDataBinding::PerNode, alongX(27));
    const SoRef<MoVec3SetI> set(new MoVec3SetI);
    set->setVec3Set(&flat);
    scene.above->addChild(set);
    WarningLog warnings;
    scene.traverse();
    EXPECT_THAT(warnings.texts(), ElementsAre(wrong));
    EXPECT_EQ(scene.lineCount(), 0u);
  }
  // Hexahedron IJK meshes have flat nodes and cells numbered by I, J and K.
  StreamlineScene scene(zoo::block(VOLUME_MESH_HEXAHEDRON_IJK, {2, 2, 2}));
  const MbDataSetI<MbVec3d> perNode("n", MiDataBinding::PerNode, alongX(27));
  const MbDataSetIjk<MbVec3d> perCell("c", MiDataBinding::PerCell, {2, 2, 2}, alongX(8));
  const MbDataSetIjk<MbVec3d> mixedUp("m", MiDataBinding::PerNode, {3, 3, 3}, alongX(27));
  const MbDataSetI<MbVec3d> tooShort("s", MiDataBinding::PerNode, alongX(26));
  const SoRef<MoVec3SetI> flat(new MoVec3SetI);
  const SoRef<MoVec3SetIjk> grid(new MoVec3SetIjk);
  scene.above->addChild(flat);
  scene.above->addChild(grid);
  WarningLog warnings;
  flat->setVec3Set(&perNode);
  scene.traverse();
  EXPECT_EQ(scene.lineCount(), 1u);
  EXPECT_NE(scene.node->getUnstructuredIjkExtractor(), nullptr);
  EXPECT_EQ(scene.node->getUnstructuredIjkExtractor(), scene.node->getHexahedronIjkExtractor());
  flat->setVec3Set(nullptr);
  grid->setVec3Set(&perCell);
  scene.traverse();
  EXPECT_EQ(scene.lineCount(), 1u);
  EXPECT_THAT(warnings.texts(), IsEmpty());
  grid->setVec3Set(&mixedUp);
  scene.traverse(3);
  EXPECT_THAT(warnings.texts(), ElementsAre(wrong));
  flat->setVec3Set(&tooShort);
  scene.traverse(3);
  EXPECT_THAT(warnings.texts(), ElementsAre(wrong, wrong));
  EXPECT_EQ(scene.lineCount(), 0u);
}
