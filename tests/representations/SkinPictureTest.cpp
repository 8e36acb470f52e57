#include <tests/representations/SkinScene.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MoCombineColorMapping.h>
#include <velmo/colormapping/MoLevelColorMapping.h>
#include <velmo/colormapping/MoUndefinedColor.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>

#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/Offscreen.h>
#include <tests/support/OneColor.h>
#include <tests/support/SceneQueries.h>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoLightModel.h>

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

/// A slab of two by two boxes, 2 wide and 1 high, seen from above: 100 pixels a unit, nothing
/// around it.
class SkinPicture : public testing::Test
{
protected:
  SkinPicture()
  {
    auto* camera = cameraAt(1, 0.5f, 5, 1);
    camera->viewportMapping = SoCamera::LEAVE_ALONE;
    camera->aspectRatio = 2;
    scene.root->insertChild(camera, 0);
    lightModel->model = SoLightModel::BASE_COLOR;
    scene.root->insertChild(lightModel, 1);
    scene.root->insertChild(new SoDirectionalLight, 2);
    scene.mesh->setMesh(mesh.get());
    scene.set->setScalarSet(&perCell);
    scene.above->addChild(drawStyle);
    scene.above->addChild(material);
    auto* thick = new SoDrawStyle;
    thick->lineWidth = 5;
    thick->pointSize = 15;
    scene.above->addChild(thick);
  }

  void draw() { picture = drawScene(scene.root, 200, 100); }
  /// Red, green and blue at a place of the slab.
  std::vector<int> at(double x, double y) const
  {
    const auto* p = picture.pixel(static_cast<int>(x * 100), 99 - static_cast<int>(y * 100));
    return {p[0], p[1], p[2]};
  }
  std::vector<int> inside() const { return at(0.5, 0.2); } // the first cell
  std::vector<int> edge() const { return at(1.0, 0.25); }  // between the first two
  std::vector<int> corner() const { return at(1.0, 0.5); } // of all four

  std::unique_ptr<MiMesh> mesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, {2, 2, 1});
  MbScalardSetI perCell{"cells", MiDataBinding::PerCell, std::vector<double>{0, 10, 5, 0}};
  // 0 at the left, 10 at the right, on both layers.
  MbScalardSetI perNode{
      "nodes", MiDataBinding::PerNode,
      std::vector<double>{0, 5, 10, 0, 5, 10, 0, 5, 10, 0, 5, 10, 0, 5, 10, 0, 5, 10}};
  SkinScene scene;
  SoRef<SoLightModel> lightModel{new SoLightModel};
  SoRef<MoDrawStyle> drawStyle{new MoDrawStyle};
  SoRef<MoMaterial> material{new MoMaterial};
  MbImage picture;
};

testing::Matcher<std::vector<int>> rgb(int r, int g, int b)
{
  const auto near = [](int value) {
    return testing::AllOf(testing::Ge(value - 3), testing::Le(value + 3));
  };
  return ElementsAre(near(r), near(g), near(b));
}

} // namespace

TEST_F(SkinPicture, ShowsValuesPerCellAndPerNode)
{
  draw();
  draw();
  EXPECT_EQ(scene.fills(), "1 1 1");
  EXPECT_EQ(scene.counter.count, 1);
  EXPECT_THAT(at(0.5, 0.2), rgb(0, 0, 0));
  EXPECT_THAT(at(1.5, 0.2), rgb(255, 255, 255));
  EXPECT_THAT(at(0.5, 0.7), rgb(127, 127, 127));
  scene.set->setScalarSet(&perNode);
  draw();
  EXPECT_THAT(at(0.2, 0.2), rgb(26, 26, 26));
  EXPECT_THAT(at(1.6, 0.8), rgb(204, 204, 204));
}

TEST_F(SkinPicture, LetsAUniformColourWinOverTheColoursItShares)
{
  drawStyle->displayEdges = drawStyle->displayPoints = TRUE;
  material->lineColoring = material->pointColoring = MoMaterial::COLOR;
  for (const MbScalardSetI* set : {&perCell, &perNode}) {
    scene.set->setScalarSet(set);
    draw();
    EXPECT_THAT(edge(), rgb(255, 0, 0));
    EXPECT_THAT(corner(), rgb(0, 255, 0));
    EXPECT_THAT(at(1.75, 0.2), set == &perCell ? rgb(255, 255, 255) : rgb(223, 223, 223));
  }
  material->lineColoring = MoMaterial::CONTOURING;
  material->faceColoring = MoMaterial::COLOR;
  material->faceColor = SbColor(0, 0, 1);
  draw();
  EXPECT_THAT(inside(), rgb(0, 0, 255));
  EXPECT_THAT(edge(), rgb(127, 127, 127)) << "the edges show the values";
  material->lineColoring = MoMaterial::COLOR;
  draw();
  EXPECT_THAT(inside(), rgb(0, 0, 255));
  EXPECT_THAT(edge(), rgb(255, 0, 0));
  drawStyle->displayFaces = drawStyle->displayPoints = FALSE;
  draw();
  EXPECT_THAT(inside(), rgb(255, 255, 255)) << "the background";
  EXPECT_THAT(edge(), rgb(255, 0, 0));
}

TEST_F(SkinPicture, BlendsWithTheTransparencyOfTheMaterial)
{
  material->transparency = 0.25f;
  draw();
  // Two layers of black faces, top and bottom, over white.
  EXPECT_THAT(inside(), rgb(16, 16, 16));
  material->faceColoring = MoMaterial::COLOR;
  material->faceColor = SbColor(0, 0, 0);
  draw();
  EXPECT_THAT(inside(), rgb(16, 16, 16)) << "a uniform colour as well";
}

TEST_F(SkinPicture, KeepsLevelsSharpInsideCells)
{
  const SoRef<MoLevelColorMapping> levels(new MoLevelColorMapping);
  const float values[] = {0, 4, 8, 12};
  levels->values.setValues(0, 4, values);
  const SbVec4f colors[] = {{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 1}};
  levels->colors.setValues(0, 3, colors);
  scene.above->addChild(levels);
  scene.set->setScalarSet(&perNode);
  draw();
  EXPECT_THAT(at(0.77, 0.3), rgb(255, 0, 0));
  EXPECT_THAT(at(0.83, 0.3), rgb(0, 255, 0));
  EXPECT_THAT(at(1.57, 0.7), rgb(0, 255, 0));
  EXPECT_THAT(at(1.63, 0.7), rgb(0, 0, 255));
}

TEST_F(SkinPicture, LooksTheSameAfterItWasClearedOrHidden)
{
  scene.set->setScalarSet(&perNode);
  drawStyle->displayEdges = TRUE;
  material->lineColoring = MoMaterial::COLOR;
  draw();
  const MbImage first = picture;
  scene.skin->clear();
  draw();
  EXPECT_EQ(differingShare(first, picture), 0);
  drawStyle->displayFaces = drawStyle->displayEdges = FALSE;
  scene.skin->maxCellRanges = 0;
  draw();
  EXPECT_THAT(inside(), rgb(255, 255, 255));
  scene.skin->maxCellRanges.deleteValues(0);
  drawStyle->displayFaces = drawStyle->displayEdges = TRUE;
  draw();
  EXPECT_EQ(differingShare(first, picture), 0);
}

TEST_F(SkinPicture, LightsBothSidesOfTheFaces)
{
  lightModel->model = SoLightModel::PHONG;
  material->faceColoring = MoMaterial::COLOR;
  draw();
  EXPECT_GT(inside()[0], 200) << "facing the light";
  // Mirrored, as a left-handed grid is: the faces show their backs.
  const MbVolumeMeshRegular mirrored(MbIndex3{2, 2, 1}, MbVec3d{2, 0, 0}, MbVec3d{-1, 0.5, 0.25});
  scene.mesh->setMesh(&mirrored);
  draw();
  EXPECT_GT(inside()[0], 200);
  scene.mesh->reset();
}

TEST_F(SkinPicture, FollowsWhatStandsOutsideACachedSeparator)
{
  const SoRef<SoSeparator> cached(new SoSeparator);
  cached->renderCaching = SoSeparator::ON;
  cached->addChild(scene.skin);
  scene.root->replaceChild(scene.skin, cached);
  MoOffscreenCanvas canvas; // one context, whose caches live from picture to picture
  canvas.setBackground({1, 1, 1, 1});
  const auto drawAgain = [&] {
    for (int i = 0; i < 3; ++i)
      picture = canvas.render(scene.root, 200, 100);
  };
  drawAgain();
  EXPECT_THAT(inside(), rgb(0, 0, 0));
  scene.mapping->colors.set1Value(0, SbVec4f(1, 0, 0, 1));
  drawAgain();
  EXPECT_THAT(inside(), rgb(255, 0, 0)) << "mapping";

  const MbScalardSetI hole("hole", MiDataBinding::PerCell, std::vector<double>{kNaN, 10, 5, 0});
  scene.set->setScalarSet(&hole);
  const SoRef<MoUndefinedColor> undefined(new MoUndefinedColor);
  scene.above->addChild(undefined);
  drawAgain();
  undefined->color = SbColor(0, 1, 0);
  drawAgain();
  EXPECT_THAT(inside(), rgb(0, 255, 0)) << "undefined colour";
  const OneColor cyan({0, 1, 1, 1}), magenta({1, 0, 1, 1});
  const SoRef<MoCombineColorMapping> combine(new MoCombineColorMapping);
  scene.above->addChild(combine);
  scene.root->removeChild(scene.mapping);
  for (const OneColor* paint : {&cyan, &magenta}) {
    combine->setColorMapping(paint);
    drawAgain();
    EXPECT_THAT(at(1.5, 0.2), rgb(paint == &cyan ? 0 : 255, paint == &cyan ? 255 : 0, 255))
        << "combined mapping";
  }
  scene.above->removeChild(combine);
  scene.root->insertChild(scene.mapping, 1);

  scene.set->setScalarSet(&perNode);
  drawAgain();
  EXPECT_THAT(at(1.9, 0.2), rgb(255, 242, 242)) << "set";
  material->faceColoring = MoMaterial::COLOR;
  material->faceColor = SbColor(0, 0, 1);
  drawAgain();
  EXPECT_THAT(inside(), rgb(0, 0, 255)) << "material";
  const auto narrow = zoo::block(VOLUME_MESH_UNSTRUCTURED, {1, 2, 1});
  scene.mesh->setMesh(narrow.get());
  drawAgain();
  EXPECT_THAT(at(1.5, 0.5), rgb(255, 255, 255)) << "mesh";
  EXPECT_THAT(inside(), rgb(0, 0, 255));
  drawStyle->displayFaces = FALSE;
  drawAgain();
  EXPECT_THAT(inside(), rgb(255, 255, 255)) << "draw style";
  scene.mesh->reset();
}
