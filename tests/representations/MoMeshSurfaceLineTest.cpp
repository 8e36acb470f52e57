#include <tests/representations/SkinScene.h>

#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/details/MoLineDetail.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/representations/MoMeshLine.h>
#include <velmo/representations/MoMeshSurface.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/UniformTessellator.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>

using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

int drawnCount(const MdMesh& builder)
{
  MeshType type;
  return builder.getExtractedMesh(type) ? 1 : 0;
}

/// The scene draws the mesh once, however often it is traversed, and a ray down on (2.25, y) picks
/// the cell.
template <class Extracted, class Detail, class Node>
void expectDrawnOnce(RepresentationScene<Node>& scene, const MiMesh& mesh,
                     const MiTypedDataSet<double>& set, std::size_t cellCount, float y,
                     std::size_t pickedCell)
{
  WarningLog warnings;
  scene.mesh->setMesh(&mesh);
  scene.set->setScalarSet(&set);
  scene.traverse(5);
  EXPECT_EQ(scene.counter.count, 1);
  MeshType type;
  const auto* extracted = scene.template extracted<Extracted>(type);
  ASSERT_NE(extracted, nullptr);
  EXPECT_EQ(extracted->topology.getCellCount(), cellCount);

  const PickDown pick(scene.root, 2.25f, y);
  const auto* detail = pick.detail<Detail>();
  ASSERT_NE(detail, nullptr);
  EXPECT_EQ(detail->getSourceCell(), pickedCell);
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

} // namespace

TEST(MoMeshSurface, DrawsEveryKindOnceColoursItAndNamesPickedCells)
{
  for (const MeshType kind : zoo::kSurfaceKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    const auto mesh = zoo::sheet(kind, {4, 2, 0});
    const auto set = zoo::setOf(*mesh, MiDataBinding::PerNode, counted(15));
    RepresentationScene<MoMeshSurface> scene;
    expectDrawnOnce<MeXSurfaceMeshUnstructured, MoFaceDetail>(scene, *mesh, *set, 8, 0.75f, 6);
    const auto fills = scene.node->getSurfaceMesh().getSceneGraph().getFillCounts();
    EXPECT_EQ(fills.indices, 1u);
    EXPECT_EQ(fills.colors, 1u);
    EXPECT_EQ(boxOf(scene.root).getMax(), SbVec3f(4, 1, 0));
    MeshType type;
    scene.mesh->reset();
    scene.traverse();
    EXPECT_EQ(scene.extracted<MiMesh>(type), nullptr);
  }
}

TEST(MoMeshSurface, TakesTheCellFilter)
{
  const auto mesh = zoo::sheet(SURFACE_MESH_REGULAR, {4, 2, 0});
  RepresentationScene<MoMeshSurface> scene;
  const SoRef<MoCellFilter> filterNode(new MoCellFilter);
  MbFunctionFilterIj filter([](std::size_t i, std::size_t) { return i > 0; });
  filterNode->setCellFilter(&filter);
  scene.above->addChild(filterNode);
  scene.mesh->setMesh(mesh.get());
  scene.traverse();
  MeshType type;
  EXPECT_EQ(scene.extracted<MeXSurfaceMeshUnstructured>(type)->topology.getCellCount(), 6u);
}

TEST(MoMeshSurface, DrawsWhatAnotherRepresentationExtracted)
{
  const auto mesh = zoo::block(VOLUME_MESH_REGULAR, {3, 1, 1});
  const MbScalardSetIjk set("v", MiDataBinding::PerNode, {4, 2, 2}, counted(16));
  RepresentationScene<MoMeshSkin> scene;
  scene.mesh->setMesh(mesh.get());
  scene.set->setScalarSet(&set);
  const SoRef<MoMesh> next(new MoMesh);
  next->connectFrom(scene.node);
  const SoRef<MoMeshSurface> surface(new MoMeshSurface);
  ExtractionCounter counter;
  surface->setExtractorCallback(counter);
  scene.root->addChild(next);
  scene.root->addChild(surface);
  WarningLog warnings;
  scene.traverse(3);
  EXPECT_EQ(counter.count, 1);
  MeshType type;
  const auto* drawn =
      dynamic_cast<const MeXSurfaceMeshUnstructured*>(surface->getExtractedMesh(type));
  ASSERT_NE(drawn, nullptr);
  EXPECT_EQ(drawn->topology.getCellCount(), 14u);
  EXPECT_EQ(surface->getSurfaceMesh().getSceneGraph().getFillCounts().colors, 1u);
  EXPECT_THAT(warnings.texts(), IsEmpty());
  // A new extraction above is a new mesh here.
  scene.node->maxCellRanges.setValues(0, 3, std::vector<std::uint32_t>{1, 0, 0}.data());
  scene.traverse(2);
  EXPECT_EQ(drawn =
                dynamic_cast<const MeXSurfaceMeshUnstructured*>(surface->getExtractedMesh(type)),
            surface->getExtractedMesh(type));
  EXPECT_EQ(drawn->topology.getCellCount(), 10u);
  surface->setExtractorCallback(nullptr);
}

TEST(MoMeshLine, DrawsEveryKindOnceAndNamesPickedCells)
{
  for (const MeshType kind : zoo::kLineKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    const auto mesh = zoo::row(kind, 4);
    const MbScalardSetI set("v", MiDataBinding::PerNode, counted(5));
    RepresentationScene<MoMeshLine> scene;
    const SoRef<MoDrawStyle> style(new MoDrawStyle);
    style->displayEdges = TRUE;
    scene.above->addChild(style);
    expectDrawnOnce<MeXLineMeshUnstructured, MoLineDetail>(scene, *mesh, set, 4, 0, 2);
    EXPECT_EQ(scene.node->getLineMesh().getSceneGraph().getFillCounts().indices, 1u);
    style->displayEdges = FALSE;
    EXPECT_EQ(PickDown(scene.root, 2.25f, 0).point, nullptr) << "nothing is drawn";
    scene.mesh->reset();
  }
}

TEST(MoMeshLine, DrawsSeparatePointsWithATessellator)
{
  const auto mesh = zoo::cellsOf({MiCellShape::Line, MiCellShape::QuadraticLine});
  RepresentationScene<MoMeshLine> scene;
  UniformTessellator tessellator;
  tessellator.declines = true;
  const SoRef<MoTessellator> tessellatorNode(new MoTessellator);
  tessellatorNode->setTessellator(&tessellator);
  scene.above->addChild(tessellatorNode);
  const SoRef<MoDrawStyle> style(new MoDrawStyle);
  style->displayEdges = TRUE;
  style->displayPoints = TRUE;
  scene.above->addChild(style);
  scene.mesh->setMesh(mesh.get());
  scene.traverse();
  EXPECT_EQ(drawnCount(scene.node->getLineMesh()), 1);
  EXPECT_EQ(drawnCount(scene.node->getPointMesh()), 1);
}
