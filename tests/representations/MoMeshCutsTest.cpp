#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoScalarSetIjk.h>
#include <velmo/representations/MoMeshCylinderSlice.h>
#include <velmo/representations/MoMeshIsosurface.h>
#include <velmo/representations/MoMeshPlaneSlice.h>
#include <velmo/representations/MoMeshSphereSlice.h>

#include <tests/representations/SkinScene.h>
#include <tests/support/MeshZoo.h>
#include <tests/support/Offscreen.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/WarningLog.h>

#include <velmo/toolkit/shapes/MxShapeData.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoShapeHints.h>

#include <gmock/gmock.h>

using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr MbIndex3 kCells{4, 3, 5};

/// Nodes lie at (i, j / 2, k / 4): the value is the height z, 0 to 1.25.
std::vector<double> heights()
{
  std::vector<double> values;
  for (std::size_t n = 0; n < 5 * 4 * 6; ++n)
    values.push_back(static_cast<double>(n / 20) / 4);
  return values;
}

/// What differs between the nodes: how to place the cut, as t goes from 0 to 1, so that it always
/// meets the block.
void place(MoMeshIsosurface& node, double t)
{
  node.isovalue = static_cast<float>(0.3 + 0.6 * t);
}
void place(MoMeshPlaneSlice& node, double t)
{
  node.plane = SbPlane(SbVec3f(0, 0, 1), static_cast<float>(0.3 + 0.6 * t));
}
void place(MoMeshSphereSlice& node, double t)
{
  node.center = SbVec3f(2, 0.75f, 0.6f);
  node.radius = static_cast<float>(0.8 + 0.5 * t);
}
void place(MoMeshCylinderSlice& node, double t)
{
  node.center = SbVec3f(2, 0.75f, 0.6f);
  node.direction = SbVec3f(1, 0, 0);
  node.radius = static_cast<float>(0.3 + 0.2 * t);
}

/// A node over a block of boxes, with its heights as the one set.
template <class Node>
class CutScene : public SurfaceScene<Node>
{
public:
  explicit CutScene(MeshType kind = VOLUME_MESH_UNSTRUCTURED)
      : block(zoo::block(kind, kCells)), flat("z", MiDataBinding::PerNode, heights()),
        grid("z", MiDataBinding::PerNode, {5, 4, 6}, heights())
  {
    this->mesh->setMesh(block.get());
    const bool isFlat = kind == VOLUME_MESH_UNSTRUCTURED || kind == VOLUME_MESH_HEXAHEDRON_IJK;
    if (isFlat)
      this->set->setScalarSet(&flat);
    else
      this->set->setScalarSet(&grid);
    place(*this->node, 0);
  }
  SoShapeHints* firstHints() const
  {
    return dynamic_cast<SoShapeHints*>(this->hiddenRoot()->getChild(0));
  }
  SoSeparator* hiddenRoot() const
  {
    return static_cast<SoSeparator*>((*this->node->getChildren())[0]);
  }
  /// The shape that draws the faces.
  const SoIndexedFaceSetOutline& faces() const
  {
    return *findNode<SoIndexedFaceSetOutline>(this->hiddenRoot());
  }
  const SoVertexProperty& vertices() const
  {
    return static_cast<SoVertexProperty&>(*faces().vertexProperty.getValue());
  }

  std::unique_ptr<MiMesh> block;
  MbScalardSetI flat;
  MbScalardSetIjk grid;
};

template <class Node>
class MoMeshCuts : public testing::Test
{};
using CutNodes =
    testing::Types<MoMeshIsosurface, MoMeshPlaneSlice, MoMeshSphereSlice, MoMeshCylinderSlice>;
TYPED_TEST_SUITE(MoMeshCuts, CutNodes);

const char* const kNoSet =
    "MoMeshIsosurface: Cannot find a compatible scalartset node in the scene graph or "
    "isoScalarSetId field is invalid.";

} // namespace

TYPED_TEST(MoMeshCuts, ExtractsOnceForEachPlace)
{
  CutScene<TypeParam> scene;
  for (int step = 0; step <= 5; ++step) {
    place(*scene.node, 0.2 * step);
    scene.traverse(3);
    EXPECT_EQ(scene.counter.count, 1 + step);
    EXPECT_GT(scene.faceCount(), 4);
  }
  place(*scene.node, 1.0);
  scene.traverse(3);
  EXPECT_EQ(scene.counter.count, 6) << "the same place once more";
}

TYPED_TEST(MoMeshCuts, HintsStandFirstInSlicesOnly)
{
  CutScene<TypeParam> scene;
  SoShapeHints* hints = scene.firstHints();
  if constexpr (std::is_same_v<TypeParam, MoMeshIsosurface>) {
    EXPECT_EQ(hints, nullptr);
  } else {
    ASSERT_NE(hints, nullptr);
    EXPECT_EQ(hints->vertexOrdering.getValue(), SoShapeHints::COUNTERCLOCKWISE);
    EXPECT_EQ(hints->shapeType.getValue(), SoShapeHints::UNKNOWN_SHAPE_TYPE);
    EXPECT_EQ(hints->faceType.getValue(), SoShapeHints::CONVEX);
  }
}

TYPED_TEST(MoMeshCuts, RoundSurfacesHaveNormalsOfTheirNodesAndAPlaneHasOne)
{
  CutScene<TypeParam> scene;
  scene.traverse();
  const SoVertexProperty& vertices = scene.vertices();
  if constexpr (std::is_same_v<TypeParam, MoMeshPlaneSlice>) {
    for (const SbVec3f& normal : {SbVec3f(0, 0, 1), SbVec3f(0, 1, 0), SbVec3f(0.6f, 0, 0.8f)}) {
      scene.node->plane = SbPlane(normal, 0.6f);
      scene.traverse(2);
      EXPECT_EQ(vertices.normalBinding.getValue(), SoVertexProperty::OVERALL);
      ASSERT_EQ(vertices.normal.getNum(), 1);
      EXPECT_EQ(vertices.normal[0], scene.node->plane.getValue().getNormal());
    }
  } else {
    for (const double t : {0.0, 0.7}) {
      place(*scene.node, t);
      scene.traverse(2);
      EXPECT_EQ(vertices.normalBinding.getValue(), SoVertexProperty::PER_VERTEX_INDEXED);
      ASSERT_EQ(vertices.normal.getNum(), vertices.vertex.getNum());
      for (int n = 0; n < vertices.normal.getNum(); ++n) {
        EXPECT_NEAR(vertices.normal[n].length(), 1, 1e-5);
        SbVec3f out(0, 0, 1);
        if constexpr (!std::is_same_v<TypeParam, MoMeshIsosurface>)
          out = vertices.vertex[n] - scene.node->center.getValue();
        EXPECT_GT(vertices.normal[n].dot(out), 0) << "outward";
      }
    }
  }
}

TEST(MoMeshSlices, BeginWithAUnitShapeAtTheOrigin)
{
  CutScene<MoMeshCylinderSlice> cylinder;
  const SoRef<MoMeshCylinderSlice> fresh(new MoMeshCylinderSlice);
  cylinder.node->copyFieldValues(fresh);
  cylinder.traverse();
  ASSERT_NE(cylinder.surface(), nullptr);
  const MeXGeometryI& points = cylinder.surface()->geometry;
  EXPECT_GT(points.getNodeCount(), 10u);
  for (std::size_t n = 0; n < points.getNodeCount(); ++n)
    EXPECT_NEAR(std::hypot(points.getNode(n).y, points.getNode(n).z), 1, 1e-6);

  const auto read = readNode<MoMeshCylinderSlice>(
      "#Inventor V2.1 ascii\nMoMeshCylinderSlice { center 1 2 3 radius 4 direction 0 0 2 }");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->direction.getValue(), SbVec3f(0, 0, 2));
}

TEST(MoMeshIsosurface, FindsItsSetOrSaysThatThereIsNone)
{
  using Scene = CutScene<MoMeshIsosurface>;
  const auto expect = [](Scene& scene, bool found, bool warned) {
    WarningLog warnings;
    scene.traverse(2);
    EXPECT_EQ(scene.faceCount() > 0, found);
    EXPECT_EQ(scene.drawsAnything(), found);
    if (warned)
      EXPECT_THAT(warnings.texts(), ElementsAre(kNoSet));
    else
      EXPECT_THAT(warnings.texts(), IsEmpty());
  };
  {
    SCOPED_TRACE("other sets, not this one");
    Scene scene;
    scene.traverse();
    for (const int id : {1, -1, 7}) {
      scene.node->isoScalarSetId = id;
      expect(scene, false, false);
    }
    scene.node->isoScalarSetId = 0;
    expect(scene, true, false);
    EXPECT_EQ(scene.counter.count, 1) << "what was extracted is still there";
    scene.set->setScalarSet(nullptr);
    expect(scene, false, false);
  }
  {
    SCOPED_TRACE("no set at all");
    Scene scene;
    scene.root->removeChild(scene.set);
    expect(scene, false, true);
  }
  {
    SCOPED_TRACE("typed sets count where there are no general ones");
    Scene scene;
    const SoRef<MoScalarSetI> typed(new MoScalarSetI);
    typed->setScalarSet(&scene.flat);
    scene.above->addChild(typed);
    const MbScalardSetI constant("c", MiDataBinding::PerNode, std::vector<double>(120, 9.0));
    scene.set->setScalarSet(&constant);
    scene.traverse();
    EXPECT_EQ(scene.faceCount(), 0) << "the general one hides it";
    scene.root->removeChild(scene.set);
    expect(scene, true, false);
    scene.node->isoScalarSetId = 1;
    expect(scene, false, true);
  }
  {
    SCOPED_TRACE("grids take either numbering");
    Scene scene(VOLUME_MESH_RECTILINEAR);
    scene.node->colorScalarSetId = 5; // none: colours take only the grid's own numbering
    expect(scene, true, false);
    const int faces = scene.faceCount();
    scene.set->setScalarSet(&scene.flat);
    expect(scene, true, false);
    EXPECT_EQ(scene.faceCount(), faces);
    scene.root->removeChild(scene.set);
    const SoRef<MoScalarSetI> typed(new MoScalarSetI);
    typed->setScalarSet(&scene.flat);
    scene.above->addChild(typed);
    expect(scene, true, false);
    const SoRef<MoScalarSetIjk> fits(new MoScalarSetIjk);
    fits->setScalarSet(&scene.grid);
    scene.above->addChild(fits);
    expect(scene, true, false);
    EXPECT_EQ(scene.faceCount(), faces);
  }
  {
    SCOPED_TRACE("of the wrong numbering");
    Scene scene;
    scene.set->setScalarSet(&scene.grid);
    expect(scene, false, true);
    const MbScalardSetI cells("c", MiDataBinding::PerCell, std::vector<double>(60));
    scene.set->setScalarSet(&cells);
    expect(scene, false, true);
    Scene hexahedra(VOLUME_MESH_HEXAHEDRON_IJK);
    hexahedra.set->setScalarSet(&hexahedra.grid);
    expect(hexahedra, false, true);
  }
  {
    SCOPED_TRACE("values of cells numbered by I, J and K");
    std::vector<double> layers;
    for (std::size_t c = 0; c < 60; ++c)
      layers.push_back(static_cast<double>(c / 12) / 4 + 0.125);
    const MbScalardSetIjk cells("c", MiDataBinding::PerCell, kCells, layers);
    for (const MeshType kind : {VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_CURVILINEAR}) {
      Scene scene(kind);
      scene.set->setScalarSet(&cells);
      expect(scene, true, false);
      EXPECT_EQ(scene.faceCount(), 12);
      EXPECT_NEAR(scene.surface()->geometry.getNode(0).z, 0.3, 1e-6);
      // In a list of their own, also behind values of nodes where the binding says so.
      scene.root->removeChild(scene.set);
      const SoRef<MoScalarSetIjk> typed(new MoScalarSetIjk);
      typed->setScalarSet(&cells);
      scene.above->addChild(typed);
      scene.node->isovalue = 0.7f;
      expect(scene, true, false);
      EXPECT_EQ(scene.faceCount(), 12);
      const float high = scene.surface()->geometry.getNode(0).z;
      EXPECT_NEAR(high, 0.7, 1e-6);
      const MbScalardSetI nodes("n", MiDataBinding::PerNode, std::vector<double>(120, 9.0));
      const SoRef<MoScalarSetI> flat(new MoScalarSetI);
      flat->setScalarSet(&nodes);
      scene.above->addChild(flat);
      const SoRef<MoDataBinding> binding(new MoDataBinding);
      scene.above->addChild(binding);
      for (const auto& [which, isFound] :
           {std::pair{MoDataBinding::PER_CELL, true},
            {MoDataBinding::PER_NODE, kind != VOLUME_MESH_HEXAHEDRON_IJK}})
      {
        binding->dataBinding = which;
        scene.traverse();
        EXPECT_EQ(scene.faceCount() > 0, isFound);
      }
    }
  }
}

TEST(MoMeshIsosurface, RefusesWhatAnotherRepresentationMade)
{
  CutScene<MoMeshIsosurface> scene;
  const SoRef<MoMesh> connected(new MoMesh);
  connected->connectFrom(scene.node.get());
  const SoRef<MoMeshIsosurface> second(new MoMeshIsosurface);
  scene.root->addChild(connected);
  scene.root->addChild(second);
  WarningLog warnings;
  scene.traverse();
  EXPECT_THAT(
      warnings.texts(),
      ElementsAre("MdMeshIsosurface::doExtract: Cannot compute isosurface on this type of mesh."));
}

// Polygons with five corners and more, not planar, are drawn from graphics memory, lit on both
// sides, and look round without a crease angle.
TEST(CutPicture, ASphereIsRoundAndLitInsideAndOutside)
{
  CutScene<MoMeshSphereSlice> scene(VOLUME_MESH_CURVILINEAR);
  const auto fine = zoo::block(VOLUME_MESH_CURVILINEAR, {12, 24, 48});
  scene.mesh->setMesh(fine.get());
  scene.set->setScalarSet(nullptr);
  scene.node->center = SbVec3f(6, 6, 6);
  scene.node->radius = 4;
  auto* camera = cameraAt(6, 6, 30, 10);
  scene.root->insertChild(camera, 0);
  scene.root->insertChild(new SoDirectionalLight, 1);
  const auto expectRound = [&](bool inside) {
    const MbImage picture = drawScene(scene.root, 200, 200);
    for (int x = -60; x <= 60; x += 15)
      for (int y = -60; y <= 60; y += 15) {
        // The cosine of the angle between the light and the normal, and the ambient light.
        const double r2 = (x * x + y * y) / 6400.0;
        if (r2 > 0.7) continue;
        const auto* p = picture.pixel(100 + x, 100 + y);
        EXPECT_NEAR(p[0], 255 * (0.8 * std::sqrt(1 - r2) + 0.04), 14)
            << x << " " << y << (inside ? " inside" : " outside");
      }
  };
  expectRound(false);
  EXPECT_GT(scene.faces().getUploadCounts().positions, 0) << "not handed to the toolkit's shape";
  // Without the half that faces the viewer.
  camera->nearDistance = 24.5f;
  expectRound(true);
}
