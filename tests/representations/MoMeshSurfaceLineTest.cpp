#include <tests/representations/FlatScene.h>

#include <velmo/extraction/extractors/MiLineExtract.h>
#include <velmo/extraction/extractors/MiSurfaceExtract.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/details/MoLineDetail.h>
#include <velmo/render/details/MoMeshDetail.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/representations/MoMeshLine.h>
#include <velmo/representations/MoMeshSurface.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/WarningLog.h>

#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/SoPickedPoint.h>

#include <gmock/gmock.h>

#include <numeric>

using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// Leaves every cell to its own parts.
class IdleTessellator final : public MiTessellator
{
public:
  std::uint64_t getTimeStamp() const override { return 1; }
  bool tessellate(MiCellShape, std::span<const MbVec3d>, MiTessellation&) const override
  {
    return false;
  }
};

int drawnCount(const MdMesh& builder)
{
  MeshType type;
  return builder.getExtractedMesh(type) ? 1 : 0;
}

} // namespace

TEST(MoMeshSurface, DrawsEveryKindOnceColoursItAndNamesPickedCells)
{
  for (const MeshType kind : zoo::kSurfaceKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    const auto mesh = zoo::sheet(kind, {4, 2, 0});
    const std::vector<double> values = counted(15);
    const MbScalardSetI flat("v", MiDataBinding::PerNode, values);
    const MbScalardSetIj grid("v", MiDataBinding::PerNode, 5, 3, values);
    FlatScene<MoMeshSurface> scene;
    WarningLog warnings;
    scene.mesh->setMesh(mesh.get());
    if (kind == SURFACE_MESH_UNSTRUCTURED)
      scene.set->setScalarSet(&flat);
    else
      scene.set->setScalarSet(&grid);
    scene.traverse(5);
    EXPECT_EQ(scene.counter.count, 1);
    MeshType type;
    const auto* surface = scene.extracted<MeXSurfaceMeshUnstructured>(type);
    EXPECT_EQ(type, SURFACE_MESH_UNSTRUCTURED);
    ASSERT_NE(surface, nullptr);
    EXPECT_EQ(surface->topology.getCellCount(), 8u);
    const auto fills = scene.node->getSurfaceMesh().getSceneGraph().getFillCounts();
    EXPECT_EQ(fills.indices, 1u);
    EXPECT_EQ(fills.colors, 1u);
    EXPECT_EQ(scene.node->getUnstructuredExtractor() != nullptr, kind == SURFACE_MESH_UNSTRUCTURED);
    EXPECT_EQ(scene.node->getIjExtractor() != nullptr, kind != SURFACE_MESH_UNSTRUCTURED);
    SoGetBoundingBoxAction box(SbViewportRegion(100, 100));
    box.apply(scene.root);
    EXPECT_EQ(box.getBoundingBox().getMax(), SbVec3f(4, 1, 0));

    SoRayPickAction pick(SbViewportRegion(100, 100));
    pick.setRay(SbVec3f(2.25f, 0.75f, 5), SbVec3f(0, 0, -1));
    pick.apply(scene.root);
    ASSERT_NE(pick.getPickedPoint(), nullptr);
    const auto* detail = dynamic_cast<const MoFaceDetail*>(pick.getPickedPoint()->getDetail());
    ASSERT_NE(detail, nullptr);
    EXPECT_EQ(detail->getSourceCell(), 6u);
    EXPECT_THAT(warnings.texts(), IsEmpty());
    scene.mesh->reset();
    scene.traverse();
    EXPECT_EQ(scene.extracted<MiMesh>(type), nullptr);
  }
}

TEST(MoMeshSurface, TakesTheCellFilterAndDrawsSeparateEdgesWithATessellator)
{
  const auto mesh = zoo::sheet(SURFACE_MESH_REGULAR, {4, 2, 0});
  FlatScene<MoMeshSurface> scene;
  const SoRef<MoCellFilter> filterNode(new MoCellFilter);
  MbFunctionFilterIj filter([](std::size_t i, std::size_t) { return i > 0; });
  filterNode->setCellFilter(&filter);
  scene.above->addChild(filterNode);
  const SoRef<MoDrawStyle> style(new MoDrawStyle);
  style->displayEdges = TRUE;
  style->displayPoints = TRUE;
  scene.above->addChild(style);
  scene.mesh->setMesh(mesh.get());
  scene.traverse();
  MeshType type;
  EXPECT_EQ(scene.extracted<MeXSurfaceMeshUnstructured>(type)->topology.getCellCount(), 6u);
  EXPECT_EQ(drawnCount(scene.node->getLineMesh()), 0);
  IdleTessellator tessellator;
  const SoRef<MoTessellator> tessellatorNode(new MoTessellator);
  tessellatorNode->setTessellator(&tessellator);
  scene.above->addChild(tessellatorNode);
  scene.traverse();
  EXPECT_EQ(drawnCount(scene.node->getLineMesh()), 1);
  EXPECT_EQ(drawnCount(scene.node->getPointMesh()), 1);
  scene.mesh->reset();
}

TEST(MoMeshSurface, DrawsWhatAnotherRepresentationExtracted)
{
  const auto mesh = zoo::block(VOLUME_MESH_REGULAR, {3, 1, 1});
  const std::vector<double> values = counted(16);
  const MbScalardSetIjk set("v", MiDataBinding::PerNode, {4, 2, 2}, values);
  FlatScene<MoMeshSkin> scene;
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
  scene.mesh->reset();
}

TEST(MoMeshLine, DrawsEveryKindOnceAndNamesPickedCells)
{
  for (const MeshType kind : zoo::kLineKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    const auto mesh = zoo::row(kind, 4);
    const std::vector<double> values = counted(5);
    const MbScalardSetI set("v", MiDataBinding::PerNode, values);
    FlatScene<MoMeshLine> scene;
    WarningLog warnings;
    scene.mesh->setMesh(mesh.get());
    scene.set->setScalarSet(&set);
    const SoRef<MoDrawStyle> style(new MoDrawStyle);
    style->displayEdges = TRUE;
    scene.above->addChild(style);
    scene.traverse(5);
    EXPECT_EQ(scene.counter.count, 1);
    MeshType type;
    const auto* lines = scene.extracted<MeXLineMeshUnstructured>(type);
    EXPECT_EQ(type, LINE_MESH_UNSTRUCTURED);
    ASSERT_NE(lines, nullptr);
    EXPECT_EQ(lines->topology.getCellCount(), 4u);
    EXPECT_EQ(scene.node->getLineMesh().getSceneGraph().getFillCounts().indices, 1u);
    EXPECT_EQ(scene.node->getUnstructuredExtractor() != nullptr, kind == LINE_MESH_UNSTRUCTURED);
    EXPECT_EQ(scene.node->getRowExtractor() != nullptr, kind != LINE_MESH_UNSTRUCTURED);

    SoRayPickAction pick(SbViewportRegion(100, 100));
    pick.setRay(SbVec3f(2.25f, 0, 5), SbVec3f(0, 0, -1));
    pick.apply(scene.root);
    ASSERT_NE(pick.getPickedPoint(), nullptr);
    const auto* detail = dynamic_cast<const MoLineDetail*>(pick.getPickedPoint()->getDetail());
    ASSERT_NE(detail, nullptr);
    EXPECT_EQ(detail->getSourceCell(), 2u);
    EXPECT_THAT(warnings.texts(), IsEmpty());
    scene.mesh->reset();
  }
}

TEST(MoMeshLine, DrawsSeparatePointsWithATessellator)
{
  const auto mesh = zoo::cellsOf({MiCellShape::Line, MiCellShape::QuadraticLine});
  FlatScene<MoMeshLine> scene;
  IdleTessellator tessellator;
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
  scene.mesh->reset();
}

TEST(MoMeshSurfaceLine, RefuseOtherKindsAtEveryAttemptAndDrawNothing)
{
  for (const MeshType kind : zoo::kKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    const auto mesh = zoo::small(kind);
    FlatScene<MoMeshSurface> surface;
    FlatScene<MoMeshLine> line;
    WarningLog warnings;
    surface.mesh->setMesh(mesh.get());
    surface.traverse(2);
    const bool isSurface = kind >= SURFACE_MESH_UNSTRUCTURED && kind <= SURFACE_MESH_CURVILINEAR;
    EXPECT_THAT(warnings.texts(), SizeIs(isSurface ? 0 : 2));
    EXPECT_THAT(warnings.texts(),
                Each("MoMeshSurface::doExtract: Cannot compute surface on this type of mesh."));
    EXPECT_EQ(drawnCount(surface.node->getSurfaceMesh()), isSurface);
    warnings.clear();
    line.mesh->setMesh(mesh.get());
    line.traverse(2);
    const bool isLine = kind >= LINE_MESH_UNSTRUCTURED;
    EXPECT_THAT(warnings.texts(), SizeIs(isLine ? 0 : 2));
    EXPECT_THAT(warnings.texts(),
                Each("MoMeshLine::doExtract: Cannot compute line on this type of mesh."));
    EXPECT_EQ(drawnCount(line.node->getLineMesh()), isLine);
    surface.mesh->reset();
    line.mesh->reset();
  }
}

TEST(MoMeshSurfaceLine, WarnOfSetsThatDoNotFit)
{
  const std::vector<double> values = counted(60);
  const MbScalardSetIjk set("v", MiDataBinding::PerNode, {5, 4, 3}, values);
  const auto sheet = zoo::sheet(SURFACE_MESH_REGULAR, {4, 2, 0});
  const auto row = zoo::row(LINE_MESH_CURVILINEAR, 4);
  FlatScene<MoMeshSurface> surface;
  FlatScene<MoMeshLine> line;
  WarningLog warnings;
  surface.mesh->setMesh(sheet.get());
  surface.set->setScalarSet(&set);
  surface.traverse();
  line.mesh->setMesh(row.get());
  line.set->setScalarSet(&set);
  line.traverse();
  const std::string text =
      "::extractScalarSet(): Cannot extract data set with the given binding on this type of mesh.";
  EXPECT_THAT(warnings.texts(),
              testing::ElementsAre("MiSurfaceExtractIj" + text, "MiLineExtractRow" + text));
  surface.mesh->reset();
  line.mesh->reset();
}
