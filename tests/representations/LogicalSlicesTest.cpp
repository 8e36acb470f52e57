#include <tests/representations/SkinScene.h>

#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/extraction/interfaces/MiMesh.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/representations/MoMeshInterpolatedLogicalSlice.h>
#include <velmo/representations/MoMeshLogicalSlice.h>
#include <velmo/representations/MoMeshSlab.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/UniformTessellator.h>
#include <tests/support/WarningLog.h>

#include <Inventor/SoInput.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A mesh and a representation behind it.
template <class Node>
class Scene
{
public:
  explicit Scene(std::unique_ptr<MiMesh> source) : m_source(std::move(source))
  {
    mesh->setMesh(m_source.get());
    node->setExtractorCallback(counter);
    root->addChild(mesh);
    root->addChild(filter);
    root->addChild(style);
    root->addChild(tessellator);
    root->addChild(node);
  }
  explicit Scene(MeshType kind, MbIndex3 cells = {4, 3, 2}) : Scene(zoo::block(kind, cells)) {}
  ~Scene() { node->setExtractorCallback(nullptr); }

  /// The number of faces, -1 without a surface.
  int traverse()
  {
    SoCallbackAction().apply(root);
    MeshType type;
    const auto* surface =
        dynamic_cast<const MeXSurfaceMeshUnstructured*>(node->getExtractedMesh(type));
    return surface ? static_cast<int>(surface->topology.getCellCount()) : -1;
  }
  const MeXSurfaceMeshUnstructured& surface() const
  {
    MeshType type;
    return dynamic_cast<const MeXSurfaceMeshUnstructured&>(*node->getExtractedMesh(type));
  }
  bool drawsAnything() const
  {
    MeshType type;
    return node->getSurfaceMesh().getExtractedMesh(type) != nullptr;
  }

  ExtractionCounter counter;
  const SoRef<SoSeparator> root{new SoSeparator};
  const SoRef<MoMesh> mesh{new MoMesh};
  const SoRef<MoCellFilter> filter{new MoCellFilter};
  const SoRef<MoDrawStyle> style{new MoDrawStyle};
  const SoRef<MoTessellator> tessellator{new MoTessellator};
  const SoRef<Node> node{new Node};

private:
  std::unique_ptr<MiMesh> m_source;
};

/// "name default" of the fields that a node adds to a surface representation's.
std::vector<std::string> ownFields(SoNode* node)
{
  const SoRef<SoNode> kept(node);
  SoFieldList fields;
  const int count = node->getFields(fields);
  std::vector<std::string> texts;
  for (int f = 0; f < count; ++f) {
    SbName name;
    SbString value;
    node->getFieldName(fields[f], name);
    fields[f]->get(value);
    if (name != "colorScalarSetId" && name != "parallel")
      texts.push_back(std::string(name.getString()) + " " + value.getString());
  }
  return texts;
}

} // namespace

TEST(LogicalSliceNodes, HaveTheirFieldsInOrder)
{
  EXPECT_THAT(ownFields(new MoMeshLogicalSlice),
              ElementsAre("sliceIndex 0x0", "sliceAxis MiMesh::DIMENSION_I", "upperVertex FALSE"));
  EXPECT_THAT(ownFields(new MoMeshInterpolatedLogicalSlice),
              ElementsAre("sliceValue 0", "sliceAxis MiMesh::DIMENSION_I"));
  EXPECT_THAT(ownFields(new MoMeshSlab),
              ElementsAre("dimension MiMesh::DIMENSION_I", "index 0x0", "thickness 0x1"));
  const SoRef<MoMeshSlab> slab(new MoMeshSlab);
  const std::pair<int, const char*> values[] = {{MiMesh::DIMENSION_I, "MiMesh::DIMENSION_I"},
                                                {MiMesh::DIMENSION_J, "MiMesh::DIMENSION_J"},
                                                {MiMesh::DIMENSION_K, "MiMesh::DIMENSION_K"}};
  for (const auto& [value, name] : values) {
    slab->dimension.setValue(SbName(name));
    EXPECT_EQ(slab->dimension.getValue(), value);
    SbString text;
    slab->dimension.get(text);
    EXPECT_STREQ(text.getString(), name);
  }
  for (SoType type : {MoMeshLogicalSlice::getClassTypeId(), MoMeshSlab::getClassTypeId(),
                      MoMeshInterpolatedLogicalSlice::getClassTypeId()})
    EXPECT_EQ(type.getParent(), MoMeshSurfaceRepresentation::getClassTypeId());
}

TEST(LogicalSliceNodes, RefuseOtherKindsAtEveryAttempt)
{
  const auto posted = []<class Node>(MeshType kind) {
    WarningLog warnings;
    Scene<Node> scene(zoo::small(kind));
    EXPECT_EQ(scene.traverse(), -1);
    scene.traverse();
    EXPECT_FALSE(scene.drawsAnything());
    EXPECT_EQ(scene.counter.count, 0);
    return warnings.texts();
  };
  for (const MeshType kind : zoo::kKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    const bool isGrid = kind > VOLUME_MESH_UNSTRUCTURED && kind <= VOLUME_MESH_CURVILINEAR;
    if (!isGrid || kind == VOLUME_MESH_VERTEX_HEXAHEDRON_IJK) {
      const std::string slice = "MoMeshLogicalSlice::doExtract: Cannot compute logical slice on "
                                "this type of mesh.";
      const std::string between =
          "MoMeshInterpolatedLogicalSlice::doExtract: Cannot compute interpolated logical slice "
          "on this type of mesh.";
      EXPECT_THAT(posted.operator()<MoMeshLogicalSlice>(kind), ElementsAre(slice, slice));
      EXPECT_THAT(posted.operator()<MoMeshInterpolatedLogicalSlice>(kind),
                  ElementsAre(between, between));
    }
    if (!isGrid) {
      const std::string slab = "MoMeshSlab::doExtract: Cannot compute slabs on this type of mesh.";
      EXPECT_THAT(posted.operator()<MoMeshSlab>(kind), ElementsAre(slab, slab));
    }
  }
}

TEST(LogicalSliceNodes, VertexHexahedraAreRefusedBySlicesWhileASlabIsDrawn)
{
  WarningLog warnings;
  Scene<MoMeshSlab> scene(VOLUME_MESH_VERTEX_HEXAHEDRON_IJK);
  scene.root->addChild(new MoMeshLogicalSlice);
  scene.root->addChild(new MoMeshInterpolatedLogicalSlice);
  EXPECT_EQ(scene.traverse(), 2 * (1 * 3 + 3 * 2 + 2 * 1));
  EXPECT_TRUE(scene.drawsAnything());
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MoMeshLogicalSlice::doExtract: Cannot compute logical slice on this "
                          "type of mesh.",
                          "MoMeshInterpolatedLogicalSlice::doExtract: Cannot compute interpolated "
                          "logical slice on this type of mesh."));
}

class LogicalSliceKinds : public testing::TestWithParam<MeshType>
{};

TEST_P(LogicalSliceKinds, SlicesFollowTheirFields)
{
  const WarningLog warnings;
  if (GetParam() != VOLUME_MESH_VERTEX_HEXAHEDRON_IJK) {
    Scene<MoMeshLogicalSlice> scene(GetParam());
    EXPECT_EQ(scene.traverse(), 6);
    EXPECT_EQ(scene.traverse(), 6);
    EXPECT_EQ(scene.counter.count, 1);
    scene.node->sliceAxis = MiMesh::DIMENSION_K;
    EXPECT_EQ(scene.traverse(), 12);
    EXPECT_EQ(scene.surface().geometry.getMax().z, 0);
    scene.node->upperVertex = TRUE;
    scene.node->sliceIndex = 1;
    EXPECT_EQ(scene.traverse(), 12);
    EXPECT_EQ(scene.surface().geometry.getMin().z, 0.5);
    const MbFunctionFilterIjk firstRow(
        [](std::size_t, std::size_t j, std::size_t) { return j == 0; });
    scene.filter->setCellFilter(&firstRow);
    EXPECT_EQ(scene.traverse(), 4);
    scene.node->sliceIndex = 2;
    EXPECT_EQ(scene.traverse(), 0);
    scene.node->sliceIndex = 0;
    scene.node->sliceAxis = 7; // no axis
    EXPECT_EQ(scene.traverse(), 0);
    EXPECT_EQ(scene.counter.count, 6);

    Scene<MoMeshInterpolatedLogicalSlice> between(GetParam());
    EXPECT_EQ(between.traverse(), 6);
    between.node->sliceAxis = MiMesh::DIMENSION_J;
    between.node->sliceValue = 2.5f;
    EXPECT_EQ(between.traverse(), 8);
    EXPECT_EQ(between.surface().geometry.getMin().y, 1.25);
    between.node->sliceValue = 0.1f; // widened, not rounded again
    between.traverse();
    EXPECT_EQ(between.surface().provenance.weights[0], static_cast<double>(0.1f));
    between.node->sliceValue = 3.01f;
    EXPECT_EQ(between.traverse(), 0);
    between.node->sliceAxis = -1;
    EXPECT_EQ(between.traverse(), 0);
  }
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST_P(LogicalSliceKinds, ASlabIsTheSkinOfItsLayers)
{
  const WarningLog warnings;
  Scene<MoMeshSlab> scene(GetParam());
  const auto boxFaces = [](int x, int y, int z) { return 2 * (x * y + y * z + z * x); };
  EXPECT_EQ(scene.node->getIjkExtractor(), nullptr);
  EXPECT_EQ(scene.traverse(), boxFaces(1, 3, 2)); // the first layer along I
  EXPECT_EQ(scene.surface().geometry.getMax().x, 1);
  scene.node->index = 1;
  scene.node->thickness = 2;
  EXPECT_EQ(scene.traverse(), boxFaces(2, 3, 2));
  EXPECT_EQ(scene.surface().geometry.getMin().x, 1);
  scene.node->dimension = MiMesh::DIMENSION_J;
  EXPECT_EQ(scene.traverse(), boxFaces(4, 2, 2));
  scene.node->thickness = 0xffffffffu; // no sum of 32 bits
  EXPECT_EQ(scene.traverse(), boxFaces(4, 2, 2));
  scene.node->index = 3;
  EXPECT_EQ(scene.traverse(), 0);
  scene.node->index = 0;
  scene.node->thickness = 0;
  EXPECT_EQ(scene.traverse(), 0);
  scene.node->thickness = 1;
  scene.node->dimension = 3; // no axis
  EXPECT_EQ(scene.traverse(), 0);
  EXPECT_THAT(warnings.texts(), IsEmpty());

  const bool isHexahedra = GetParam() == VOLUME_MESH_HEXAHEDRON_IJK;
  EXPECT_EQ(scene.node->getUnstructuredExtractor(), nullptr);
  EXPECT_EQ(scene.node->getHexahedronIjkExtractor() != nullptr, isHexahedra);
  EXPECT_EQ(scene.node->getUnstructuredIjkExtractor(), scene.node->getHexahedronIjkExtractor());
  EXPECT_EQ(scene.node->getIjkExtractor() != nullptr, !isHexahedra);
}

INSTANTIATE_TEST_SUITE_P(Grids, LogicalSliceKinds,
                         testing::Values(VOLUME_MESH_HEXAHEDRON_IJK,
                                         VOLUME_MESH_VERTEX_HEXAHEDRON_IJK, VOLUME_MESH_REGULAR,
                                         VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR),
                         [](const auto& one) { return std::string(meshTypeName(one.param)); });

TEST(LogicalSliceNodes, DrawEdgesAndPointsOfTheirOwnWhileATessellatorIsInUse)
{
  UniformTessellator tessellator;
  tessellator.declines = true;
  const auto expectLines = []<class Node>(Scene<Node>& scene, std::size_t edges,
                                          std::size_t points) {
    scene.style->displayEdges = TRUE;
    scene.style->displayPoints = TRUE;
    scene.traverse();
    MeshType type;
    ASSERT_EQ(scene.node->getLineMesh().getExtractedMesh(type) != nullptr, edges > 0);
    if (edges == 0) return;
    const auto* lines = dynamic_cast<const MeXLineMeshUnstructured*>(
        scene.node->getLineMesh().getExtractedMesh(type));
    ASSERT_NE(lines, nullptr);
    EXPECT_EQ(lines->topology.getCellCount(), edges);
    const auto* nodes = dynamic_cast<const MeXPointMeshCurvilinear*>(
        scene.node->getPointMesh().getExtractedMesh(type));
    ASSERT_NE(nodes, nullptr);
    EXPECT_EQ(nodes->geometry.getNodeCount(), points);
  };
  Scene<MoMeshLogicalSlice> slice(VOLUME_MESH_CURVILINEAR);
  expectLines(slice, 0, 0);
  slice.tessellator->setTessellator(&tessellator);
  expectLines(slice, 3 * 3 + 4 * 2, 12);
  Scene<MoMeshInterpolatedLogicalSlice> between(VOLUME_MESH_REGULAR);
  between.tessellator->setTessellator(&tessellator);
  between.node->sliceValue = 0.5f;
  expectLines(between, 3 * 3 + 4 * 2, 12);
  Scene<MoMeshSlab> slab(VOLUME_MESH_RECTILINEAR);
  slab.tessellator->setTessellator(&tessellator);
  expectLines(slab, 2 * (3 * 3 + 4 * 2) + 10, 24);
}
