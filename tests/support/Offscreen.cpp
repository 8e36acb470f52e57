#include "tests/support/Offscreen.h"

#include <cstdlib>
#include <filesystem>

#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>
#include <velmo/toolkit/shapes/MxTextFont.h>

#include <Inventor/nodes/SoFont.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoText2.h>

#include <velmo/picture/MbPng.h>

namespace {

// The golden pictures are the software renderer's; before the first graphics context is made.
[[maybe_unused]] const int s_softwareWanted = setenv("LIBGL_ALWAYS_SOFTWARE", "1", 0);

std::string goldenPath(const std::string& name)
{
  return std::string(VELMO_SOURCE_DIR) + "/tests/golden/" + name + ".png";
}

bool pixelsDiffer(const std::uint8_t* one, const std::uint8_t* other)
{
  for (int c = 0; c < 4; ++c)
    if (std::abs(one[c] - other[c]) > kChannelTolerance) return true;
  return false;
}

bool sameSize(const MbImage& one, const MbImage& other)
{
  return one.width == other.width && one.height == other.height && !one.empty();
}

MbImage differencePicture(const MbImage& picture, const MbImage& golden)
{
  MbImage difference = picture;
  for (std::size_t i = 0; i < picture.rgba.size(); i += 4) {
    const bool differs = pixelsDiffer(&picture.rgba[i], &golden.rgba[i]);
    for (int c = 0; c < 3; ++c)
      difference.rgba[i + c] = static_cast<std::uint8_t>(
          differs ? (c == 0 ? 255 : 0) : 255 - (255 - golden.rgba[i + c]) / 4);
    difference.rgba[i + 3] = 255;
  }
  return difference;
}

} // namespace

MbImage drawScene(SoNode* root, int width, int height)
{
  MoOffscreenCanvas canvas;
  canvas.setBackground({1, 1, 1, 1});
  MbImage image = canvas.render(root, width, height);
  EXPECT_EQ(canvas.error(), "");
  return image;
}

bool drawsUsualFont()
{
  if (std::getenv("VELMO_FONT")) return false;
  const SoRef<SoSeparator> root(new SoSeparator);
  root->addChild(new SoOrthographicCamera);
  auto* font = new SoFont;
  font->name = mxTextFont();
  font->size = 100;
  root->addChild(font);
  auto* text = new SoText2;
  text->string = "I";
  root->addChild(text);
  const MbImage image = drawScene(root, 200, 200);
  int inked = 0;
  for (int y = 0; y < image.height; ++y) {
    const std::uint8_t* row = image.pixel(0, y);
    inked += std::any_of(row, row + 4 * image.width, [](std::uint8_t c) { return c < 255; });
  }
  return inked > 50;
}

double differingShare(const MbImage& one, const MbImage& other)
{
  if (!sameSize(one, other)) return 1;
  std::size_t count = 0;
  for (std::size_t i = 0; i < one.rgba.size(); i += 4)
    count += pixelsDiffer(&one.rgba[i], &other.rgba[i]);
  return static_cast<double>(count) / static_cast<double>(one.rgba.size() / 4);
}

double differenceFromGolden(const MbImage& picture, const std::string& name)
{
  MbImage golden;
  std::string error;
  return mbReadPng(goldenPath(name), golden, error) ? differingShare(picture, golden) : 1;
}

testing::AssertionResult matchesGolden(const MbImage& picture, const std::string& name)
{
  std::string error;
  if (std::getenv("VELMO_RENEW_GOLDEN")) {
    if (!mbWritePng(goldenPath(name), picture, error)) return testing::AssertionFailure() << error;
    return testing::AssertionSuccess();
  }
  MbImage golden;
  if (!mbReadPng(goldenPath(name), golden, error)) return testing::AssertionFailure() << error;

  const double share = differingShare(picture, golden);
  if (share <= kDifferingShareTolerance) return testing::AssertionSuccess();

  std::filesystem::create_directories(VELMO_TEST_PICTURES);
  const std::string written = std::string(VELMO_TEST_PICTURES) + "/" + name;
  mbWritePng(written + ".png", picture, error);
  if (sameSize(picture, golden))
    mbWritePng(written + "-difference.png", differencePicture(picture, golden), error);
  return testing::AssertionFailure()
         << 100 * share << "% of the pixels differ from the golden picture " << name << " ("
         << picture.width << " x " << picture.height << " against " << golden.width << " x "
         << golden.height << "); see " << written << "*.png";
}
