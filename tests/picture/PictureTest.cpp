#include <velmo/picture/MbPng.h>
#include <velmo/picture/MoPicture.h>

#include <velmo/toolkit/classes/SoRef.h>

#include <tests/support/WarningLog.h>

#include <Inventor/nodes/SoCube.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoRotationXYZ.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoTranslation.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// A path of its own, gone with its file at the end.
class PicturePath
{
public:
  ~PicturePath() { std::filesystem::remove(path); }

  const std::string path =
      testing::TempDir() + "/velmo-picture-" + std::to_string(getpid()) + ".png";
};

/// What is drawn of a scene on white.
MbImage drawn(SoNode* scene, int width, int height)
{
  const PicturePath file;
  std::string error;
  EXPECT_TRUE(moWritePicture(file.path, scene, width, height, SbColor4f(1, 1, 1, 1), &error))
      << error;
  MbImage image;
  EXPECT_TRUE(mbReadPng(file.path, image, error)) << error;
  return image;
}

/// A box of 20 by 2 by 2 or 2 by 2 by 20 far from the origin, in red.
SoRef<SoSeparator> farBox(bool upright = false)
{
  SoRef<SoSeparator> scene(new SoSeparator);
  auto* material = new SoMaterial;
  material->diffuseColor.setValue(1, 0, 0);
  auto* place = new SoTranslation;
  place->translation.setValue(1000, 2000, -500);
  auto* cube = new SoCube;
  (upright ? cube->depth : cube->width) = 20;
  for (SoNode* node : std::initializer_list<SoNode*>{material, place, cube})
    scene->addChild(node);
  return scene;
}

int redPixels(const MbImage& image)
{
  int count = 0;
  for (std::size_t i = 0; i < image.rgba.size(); i += 4)
    count += image.rgba[i] > image.rgba[i + 1] + 60;
  return count;
}

} // namespace

TEST(MoPicture, ShowsTheWholeOfASceneWithoutCameraAndLight)
{
  for (const bool upright : {false, true}) {
    const MbImage image = drawn(farBox(upright), 120, 80);
    EXPECT_EQ(image.width, 120);
    EXPECT_EQ(image.height, 80);
    EXPECT_GT(redPixels(image), 200);
    for (int x = 0; x < image.width; ++x)
      for (int y : {0, image.height - 1})
        EXPECT_EQ(image.pixel(x, y)[1], 255) << "nothing is cut off";
  }
  const auto scene = farBox();
  EXPECT_FALSE(drawn(scene, 20, 20).empty());
  EXPECT_EQ(scene->getNumChildren(), 3) << "the scene stays as it is";
  EXPECT_EQ(scene->getRefCount(), 1);

  auto* unheld = new SoCube; // stays the caller's
  EXPECT_FALSE(drawn(unheld, 20, 20).empty());
  EXPECT_EQ(unheld->getRefCount(), 0);
  unheld->ref();
  unheld->unref();
}

TEST(MoPicture, KeepsTheCameraAndTheLightsThatASceneHas)
{
  const SoRef<SoSeparator> scene(new SoSeparator);
  auto* turned = new SoRotationXYZ; // the camera and the cube alike
  turned->axis = SoRotationXYZ::Y;
  turned->angle = -1.5707963f;
  auto* camera = new SoOrthographicCamera;
  camera->position.setValue(0, 0, 5);
  camera->height = 4;
  auto* cube = new SoCube;
  for (SoNode* node : std::initializer_list<SoNode*>{turned, camera, cube})
    scene->addChild(node);
  const MbImage lit = drawn(scene, 40, 40);
  EXPECT_LT(lit.pixel(20, 20)[0], 230) << "a cube of half the picture's height";
  EXPECT_GT(lit.pixel(20, 20)[0], 120) << "lit from the camera";
  EXPECT_EQ(lit.pixel(8, 20)[0], 255);
  EXPECT_LT(lit.pixel(12, 20)[0], 230);

  auto* behind = new SoDirectionalLight; // lights the far side only
  behind->direction.setValue(0, 0, 1);
  scene->insertChild(behind, 2);
  EXPECT_LT(drawn(scene, 40, 40).pixel(20, 20)[0], 60);
}

TEST(MoPicture, SaysWhyThereIsNone)
{
  const auto scene = farBox();
  const std::string nowhere = testing::TempDir() + "/no/such/folder/picture.png";
  const PicturePath file;
  std::string error;
  const WarningLog log;
  EXPECT_FALSE(moWritePicture(nowhere, scene, 10, 10, SbColor4f(1, 1, 1, 1), &error));
  EXPECT_THAT(error, HasSubstr(nowhere));
  EXPECT_FALSE(moWritePicture(file.path, scene, 0, 10, SbColor4f(1, 1, 1, 1), &error));
  EXPECT_THAT(error, HasSubstr("0 x 10 pixels cannot be drawn"));
  EXPECT_FALSE(std::filesystem::exists(file.path));
  EXPECT_THAT(log.texts(), ElementsAre()) << "the caller has the reason";
  EXPECT_FALSE(moWritePicture(file.path, nullptr, 10, 10));
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("there is no scene")));
  EXPECT_TRUE(moWritePicture(file.path, scene, 10, 10, SbColor4f(1, 1, 1, 1), &error));
  EXPECT_EQ(error, "");
}

TEST(MbPng, KeepEveryPixelAndRefuseWhatIsNoPicture)
{
  const std::string folder = testing::TempDir();
  std::string error;
  MbImage image{2, 2, {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 9, 8, 7, 255}};
  for (const std::uint8_t opacity : {255, 100}) {
    image.rgba[3] = opacity;
    const PicturePath file;
    ASSERT_TRUE(mbWritePng(file.path, image, error)) << error;
    MbImage back;
    ASSERT_TRUE(mbReadPng(file.path, back, error)) << error;
    EXPECT_EQ(back.rgba, image.rgba);
    EXPECT_EQ(back.width, 2);
  }
  EXPECT_FALSE(mbWritePng(folder, image, error));
  EXPECT_THAT(error, HasSubstr(folder));
  const PicturePath text;
  std::ofstream(text.path) << "no picture";
  EXPECT_FALSE(mbReadPng(text.path, image, error));
  EXPECT_THAT(error, HasSubstr(text.path));
  EXPECT_TRUE(image.empty());
}
