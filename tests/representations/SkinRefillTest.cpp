#include <tests/representations/SkinScene.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MoCombineColorMapping.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>
#include <velmo/toolkit/shapes/MxShapeData.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/OneColor.h>
#include <tests/support/SceneQueries.h>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>

#include <gtest/gtest.h>

namespace {

// A skin before a camera.
class RefillScene : public SkinScene
{
public:
  RefillScene()
  {
    root->insertChild(camera, 0);
    root->insertChild(new SoDirectionalLight, 1);
    camera->position.setValue(1.5f, 0.5f, 6);
    above->addChild(style);
    above->addChild(material);
    above->addChild(filter);
    above->addChild(toolkitStyle);
    mesh->setMesh(box.get());
    set->setScalarSet(&values);
    shape = findNode<SoIndexedFaceSetOutline>((*skin->getChildren())[0]);
  }
  ~RefillScene() { mesh->reset(); }

  /// What one more frame extracts; fills: indices, geometry, colours; sends: indices and marks,
  /// positions, normals, colours.
  std::string frame()
  {
    const auto numbers = [&] {
      const auto filled = skin->getSurfaceMesh().getSceneGraph().getFillCounts();
      const MxUploadCounts& sent = shape->getUploadCounts();
      return std::vector<long>{counter.count,
                               static_cast<long>(filled.indices),
                               static_cast<long>(filled.geometry),
                               static_cast<long>(filled.colors),
                               sent.indices,
                               sent.positions,
                               sent.normals,
                               sent.colors};
    };
    const auto before = numbers();
    EXPECT_FALSE(canvas.render(root, 96, 64).empty());
    const auto after = numbers();
    std::string text;
    for (std::size_t i = 0; i < after.size(); ++i)
      text += (i == 1 || i == 4 ? " " : "") + std::to_string(after[i] - before[i]);
    return text;
  }

  MoOffscreenCanvas canvas;
  std::unique_ptr<MbVolumeMeshUnstructured> box = zoo::blockOf(MiCellShape::Hexahedron, {3, 2, 1});
  MbScalardSetI values{"values", MiDataBinding::PerNode, counted(24)};
  SoRef<SoPerspectiveCamera> camera{new SoPerspectiveCamera};
  SoRef<MoDrawStyle> style{new MoDrawStyle};
  SoRef<MoMaterial> material{new MoMaterial};
  SoRef<MoCellFilter> filter{new MoCellFilter};
  SoRef<SoDrawStyle> toolkitStyle{new SoDrawStyle};
  SoIndexedFaceSetOutline* shape = nullptr;
};

} // namespace

TEST(SkinRefill, DoesOnlyWhatAChangeAsksFor)
{
  RefillScene scene;
  scene.material->faceColoring = MoMaterial::CONTOURING;
  EXPECT_EQ(scene.frame(), "1 111 0111") << "first frame";
  EXPECT_EQ(scene.frame(), "0 000 0000") << "nothing changed";
  scene.camera->position.setValue(1, 0, 5);
  EXPECT_EQ(scene.frame(), "0 000 0000") << "camera";

  scene.mapping->values.set1Value(1, 20.0f);
  EXPECT_EQ(scene.frame(), "0 001 0001") << "mapping";
  OneColor grey;
  const SoRef<MoCombineColorMapping> combine(new MoCombineColorMapping);
  combine->setColorMapping(&grey);
  scene.above->addChild(combine);
  EXPECT_EQ(scene.frame(), "0 001 0001") << "combined mapping";
  EXPECT_EQ(scene.frame(), "0 000 0000");
  grey.touch();
  combine->touch();
  EXPECT_EQ(scene.frame(), "0 001 0001") << "its answers";
  EXPECT_EQ(scene.frame(), "0 000 0000");
  scene.values.touch();
  EXPECT_EQ(scene.frame(), "0 001 0001") << "values";
  scene.box->touchGeometry();
  EXPECT_EQ(scene.frame(), "1 011 0111") << "geometry: the cells stay";
  scene.box->touchTopology();
  EXPECT_EQ(scene.frame(), "1 111 0111") << "topology";
  const MbIndexRangeFilterI fewer(0, 4);
  scene.filter->setCellFilter(&fewer);
  EXPECT_EQ(scene.frame(), "1 111 0111") << "cell filter";
  EXPECT_EQ(scene.frame(), "0 000 0000");

  scene.material->transparency = 0.25f;
  EXPECT_EQ(scene.frame(), "0 001 0001") << "opacity goes into the colours";
  scene.material->pointColor = SbColor(0, 1, 0);
  EXPECT_EQ(scene.frame(), "0 000 0000") << "a colour that is not shown";
  scene.material->faceColoring = MoMaterial::COLOR;
  EXPECT_EQ(scene.frame(), "0 001 0000") << "faces of one colour";
  scene.material->faceColor = SbColor(1, 0, 0);
  EXPECT_EQ(scene.frame(), "0 001 0000") << "another";
  scene.material->faceColoring = MoMaterial::CONTOURING;
  EXPECT_EQ(scene.frame(), "0 001 0001") << "values again";

  scene.toolkitStyle->lineWidth = 3;
  EXPECT_EQ(scene.frame(), "0 000 0000") << "line width";
  scene.style->displayEdges = TRUE;
  EXPECT_EQ(scene.frame(), "0 001 2001") << "edges: marks, the open ones, and their colours, once";
  scene.style->displayPoints = TRUE;
  EXPECT_EQ(scene.frame(), "0 001 1001") << "points, likewise";
  scene.style->displayEdges = FALSE;
  scene.style->displayPoints = FALSE;
  EXPECT_EQ(scene.frame(), "0 000 0000") << "faces alone";
  scene.style->displayEdges = TRUE;
  scene.style->displayPoints = TRUE;
  EXPECT_EQ(scene.frame(), "0 000 0000") << "edges and points once more";
  scene.style->displayEdges = FALSE;
  scene.style->displayPoints = FALSE;
  scene.style->displayFaces = FALSE;
  EXPECT_EQ(scene.frame(), "0 000 0000") << "nothing shown";
  scene.values.touch();
  EXPECT_EQ(scene.frame(), "0 000 0000") << "nothing is filled for it";
  scene.style->displayFaces = TRUE;
  EXPECT_EQ(scene.frame(), "0 001 0001") << "now it is";
}
