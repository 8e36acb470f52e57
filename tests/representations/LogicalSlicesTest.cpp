#include <tests/representations/SkinScene.h>

#include <velmo/extraction/interfaces/MiMesh.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/representations/MoMeshInterpolatedLogicalSlice.h>
#include <velmo/representations/MoMeshLogicalSlice.h>
#include <velmo/representations/MoMeshSlab.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A mesh and a representation behind it, without values.
template <class Node>
class Scene : public SurfaceScene<Node>
{
public:
  explicit Scene(MeshType kind) : m_source(zoo::block(kind, {4, 3, 2}))
  {
    this->mesh->setMesh(m_source.get());
    this->above->addChild(filter);
  }
  /// The number of faces.
  int traverse()
  {
    SurfaceScene<Node>::traverse();
    return this->faceCount();
  }

  const SoRef<MoCellFilter> filter{new MoCellFilter};

private:
  std::unique_ptr<MiMesh> m_source;
};

} // namespace

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
    EXPECT_EQ(scene.surface()->geometry.getMax().z, 0);
    scene.node->upperVertex = TRUE;
    scene.node->sliceIndex = 1;
    EXPECT_EQ(scene.traverse(), 12);
    EXPECT_EQ(scene.surface()->geometry.getMin().z, 0.5);
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
    EXPECT_EQ(between.surface()->geometry.getMin().y, 1.25);
    between.node->sliceValue = 0.1f; // widened, not rounded again
    between.traverse();
    EXPECT_EQ(between.surface()->provenance.weights[0], static_cast<double>(0.1f));
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
  EXPECT_EQ(scene.traverse(), boxFaces(1, 3, 2)); // the first layer along I
  EXPECT_EQ(scene.surface()->geometry.getMax().x, 1);
  scene.node->index = 1;
  scene.node->thickness = 2;
  EXPECT_EQ(scene.traverse(), boxFaces(2, 3, 2));
  EXPECT_EQ(scene.surface()->geometry.getMin().x, 1);
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
}

INSTANTIATE_TEST_SUITE_P(Grids, LogicalSliceKinds,
                         testing::Values(VOLUME_MESH_HEXAHEDRON_IJK,
                                         VOLUME_MESH_VERTEX_HEXAHEDRON_IJK, VOLUME_MESH_REGULAR,
                                         VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR),
                         [](const auto& one) { return std::string(meshTypeName(one.param)); });
