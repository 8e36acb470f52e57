#include <gmock/gmock.h>

#include <Inventor/nodes/SoCoordinate3.h>
#include <Inventor/nodes/SoFaceSet.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoMaterialBinding.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShapeHints.h>
#include <Inventor/SbViewportRegion.h>
#include <Inventor/SoOffscreenRenderer.h>

#include <velmo/toolkit/classes/MxToolkit.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;

namespace {

std::vector<int> at(const MbImage& image, int x, int y)
{
  if (image.empty()) return {};
  const std::uint8_t* p = image.pixel(x, y);
  return {p[0], p[1], p[2], p[3]};
}

/// A red triangle over the upper left half of the picture, without lighting.
SoRef<SoSeparator> upperLeftTriangle(float transparency)
{
  SoRef<SoSeparator> root(new SoSeparator);
  auto* camera = new SoOrthographicCamera;
  camera->position = SbVec3f(0, 0, 1.5f);
  camera->height = 2;
  camera->viewportMapping = SoCamera::LEAVE_ALONE;
  camera->aspectRatio = 1;
  auto* lightModel = new SoLightModel;
  lightModel->model = SoLightModel::BASE_COLOR;
  auto* material = new SoMaterial;
  material->diffuseColor = SbColor(1, 0, 0);
  material->transparency = transparency;
  auto* coordinates = new SoCoordinate3;
  const SbVec3f corners[] = {{-1, -1, 0}, {1, 1, 0}, {-1, 1, 0}};
  coordinates->point.setValues(0, 3, corners);
  auto* faces = new SoFaceSet;
  faces->numVertices = 3;
  for (SoNode* node :
       std::initializer_list<SoNode*>{camera, lightModel, material, coordinates, faces})
    root->addChild(node);
  return root;
}

class MoOffscreenCanvasTest : public testing::Test
{
protected:
  MoOffscreenCanvasTest() { MxToolkit::start(); }
  ~MoOffscreenCanvasTest() override { MxToolkit::finish(); }
};

} // namespace

TEST_F(MoOffscreenCanvasTest, DrawsRowsFromTheTopAgainAndAgain)
{
  const auto root = upperLeftTriangle(0);
  MoOffscreenCanvas canvas;
  canvas.setBackground({0, 0, 1, 1});
  ASSERT_EQ(canvas.render(root, 20, 60).rgba.size(), 4u * 20 * 60) << canvas.error();
  const MbImage image = canvas.render(root, 64, 64); // after one of another size
  ASSERT_EQ(image.rgba.size(), 4u * 64 * 64) << canvas.error();
  EXPECT_EQ(canvas.render(root, 64, 64).rgba, image.rgba);

  EXPECT_THAT(at(image, 1, 1), ElementsAre(255, 0, 0, 255));
  EXPECT_THAT(at(image, 1, 60), ElementsAre(255, 0, 0, 255));
  EXPECT_THAT(at(image, 62, 3), ElementsAre(0, 0, 255, 255));
  EXPECT_THAT(at(image, 62, 62), ElementsAre(0, 0, 255, 255));
}

TEST_F(MoOffscreenCanvasTest, SmoothsSlantedEdges)
{
  const auto root = upperLeftTriangle(0);
  MoOffscreenCanvas canvas;
  canvas.setBackground({0, 0, 1, 1});
  const MbImage image = canvas.render(root, 64, 50);
  ASSERT_FALSE(image.empty()) << canvas.error();
  int mixed = 0;
  for (int y = 0; y < 50; ++y)
    for (int x = 0; x < 64; ++x)
      mixed += at(image, x, y)[0] > 40 && at(image, x, y)[0] < 215;
  EXPECT_GT(mixed, 20);
}

TEST_F(MoOffscreenCanvasTest, StaysOpaqueOverAnOpaqueBackground)
{
  const auto root = upperLeftTriangle(0.5f);
  MoOffscreenCanvas canvas;
  canvas.setBackground({1, 1, 1, 1});
  const auto half = AllOf(Ge(126), Le(129));
  EXPECT_THAT(at(canvas.render(root, 64, 64), 5, 5), ElementsAre(255, half, half, 255));
  canvas.setBackground({0, 0, 0, 0});
  EXPECT_THAT(at(canvas.render(root, 64, 64), 60, 60), ElementsAre(0, 0, 0, 0));
}

TEST_F(MoOffscreenCanvasTest, BlendsBackFacesOfAShapeBeforeItsFrontFaces)
{
  // A red triangle towards the viewer, listed before the blue one behind it that faces away.
  const auto root = upperLeftTriangle(0.5f);
  auto* hints = new SoShapeHints;
  hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE;
  root->insertChild(hints, 1);
  auto* binding = new SoMaterialBinding;
  binding->value = SoMaterialBinding::PER_FACE;
  root->insertChild(binding, 1);
  auto* material = static_cast<SoMaterial*>(root->getChild(4));
  material->diffuseColor.set1Value(1, SbColor(0, 0, 1));
  auto* coordinates = static_cast<SoCoordinate3*>(root->getChild(5));
  const SbVec3f behind[] = {{-1, -1, -0.2f}, {-1, 1, -0.2f}, {1, 1, -0.2f}};
  coordinates->point.setValues(3, 3, behind);
  static_cast<SoFaceSet*>(root->getChild(6))->numVertices.set1Value(1, 3);

  MoOffscreenCanvas canvas;
  canvas.setBackground({1, 1, 1, 1});
  const auto near = [](int v) { return AllOf(Ge(v - 2), Le(v + 2)); };
  EXPECT_THAT(at(canvas.render(root, 64, 64), 5, 5),
              ElementsAre(near(191), near(64), near(128), 255));
}

TEST_F(MoOffscreenCanvasTest, BlendsTheBackgroundFromTopToBottom)
{
  const SoRef<SoSeparator> nothing(new SoSeparator);
  MoOffscreenCanvas canvas;
  canvas.setBackground({1, 1, 1, 1}, {0, 0, 0, 1});
  const MbImage image = canvas.render(nothing, 10, 100);
  ASSERT_FALSE(image.empty()) << canvas.error();
  EXPECT_GT(at(image, 5, 0)[0], 250);
  EXPECT_NEAR(at(image, 5, 50)[0], 127, 3);
  EXPECT_LT(at(image, 5, 99)[0], 5);
}

TEST_F(MoOffscreenCanvasTest, SaysWhyThereIsNoPicture)
{
  const SoRef<SoSeparator> root(new SoSeparator);
  MoOffscreenCanvas canvas;
  EXPECT_TRUE(canvas.render(nullptr, 10, 10).empty());
  EXPECT_EQ(canvas.error(), "there is no scene");
  EXPECT_TRUE(canvas.render(root, 0, 10).empty());
  EXPECT_THAT(canvas.error(), HasSubstr("0 x 10 pixels cannot be drawn; each side takes 1 to "));
  EXPECT_TRUE(canvas.render(root, 10, MoOffscreenCanvas::maxSize() + 1).empty());
  EXPECT_FALSE(canvas.render(root, 10, 10).empty());
  EXPECT_EQ(canvas.error(), "");
}

TEST_F(MoOffscreenCanvasTest, MakesTheToolkitsOwnOffscreenRendererWork)
{
  const auto root = upperLeftTriangle(0);
  MoOffscreenCanvas::installToolkitCallbacks();
  SoOffscreenRenderer renderer(SbViewportRegion(64, 64));
  ASSERT_TRUE(renderer.render(root));
  const unsigned char* upperLeft = renderer.getBuffer() + 3 * (60 * 64 + 3); // bottom row first
  EXPECT_EQ(upperLeft[0], 255);
  EXPECT_EQ(upperLeft[1], 0);
}
