#include "RunProgram.h"

#include <set>
#include <velmo/picture/MbPng.h>

namespace {

/// The picture of a run that must end well.
MbImage pictureOf(std::vector<std::string> arguments, const std::vector<std::string>& how)
{
  const TemporaryFile picture("drawn.png");
  arguments.insert(arguments.end(), how.begin(), how.end());
  arguments.insert(arguments.end(), {"--output", picture.path()});
  const Outcome outcome = runProgram(arguments);
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  MbImage image;
  std::string error;
  EXPECT_TRUE(mbReadPng(picture.path(), image, error)) << error;
  return image;
}

} // namespace

TEST(Picture, ColoursChangeThePicture)
{
  const TemporaryFile mesh("colors.vtk", twoCubes());
  const auto draw = [&](const std::vector<std::string>& how) {
    return pictureOf({mesh.path(), "--size", "90x60"}, how).rgba;
  };
  // Each is unlike every other; the default is the first scalar per node in the default colours.
  const std::vector<std::vector<std::uint8_t>> pictures{draw({}),
                                                        draw({"--color-by", "id"}),
                                                        draw({"--color-by", "none"}),
                                                        draw({"--colormap", "glow"}),
                                                        draw({"--range", "-5,20"}),
                                                        draw({"--edges"}),
                                                        draw({"--points"}),
                                                        draw({"--edges", "--no-faces"}),
                                                        draw({"--view", "0,0,-1"}),
                                                        draw({"--background", "dark"}),
                                                        draw({"--opacity", "0.4"}),
                                                        draw({"--legend"}),
                                                        draw({"--legend", "--legend-title", ""})};
  for (std::size_t a = 0; a < pictures.size(); ++a)
    for (std::size_t b = 0; b < a; ++b)
      EXPECT_NE(pictures[a], pictures[b]) << a << " and " << b;
  // By x from 0 to 2, of which 7 % of the map are left unused on each side.
  EXPECT_EQ(pictures[0], draw({"--color-by", "x@node", "--colormap", "rainbow-turbo"}));
  EXPECT_EQ(pictures[0], draw({"--range", "-0.16279070,2.16279070"}));
  EXPECT_EQ(pictures[3], draw({"--colormap", "glow", "--range", "0,2"}));
}

TEST(Picture, KeepsTheLegendInside)
{
  const TemporaryFile mesh("legend.vtk", twoCubes());
  const std::vector<std::vector<std::string>> looks{
      {"--legend-position", "right"},
      {"--legend-position", "left", "--legend-title",
       "a title that is longer than any picture is wide"},
      {"--legend-position", "bottom", "--range", "-123456.5,1e-9"},
      {"--legend-position", "top", "--levels", "7", "--background", "dark"},
      {"--colormap", "okabe-ito", "--color-by", "id"}};
  for (const char* size : {"320x240", "150x400", "1600x900"})
    for (const std::vector<std::string>& how : looks) {
      SCOPED_TRACE(size + (" " + how[1]));
      const MbImage image = pictureOf({mesh.path(), "--legend", "--strict", "--size", size}, how);
      // Nothing is cut: a row of background is one colour from end to end.
      int inked = 0;
      for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
          const bool isInk =
              !std::equal(image.pixel(x, y), image.pixel(x, y) + 3, image.pixel(0, y));
          inked += isInk;
          const bool isBorder = x < 2 || y < 2 || x >= image.width - 2 || y >= image.height - 2;
          ASSERT_FALSE(isInk && isBorder) << x << " " << y;
        }
      EXPECT_GT(inked, image.width * image.height / 30);
    }
}

TEST(Picture, ShowsUndefinedValuesAndTheirColourInTheLegend)
{
  const TemporaryFile mesh("undefined.vtk", twoCubes());
  // How many pixels are purple in the left half, that of the cell without a number, and how many
  // in the right quarter, where the legend is.
  const auto purple = [&](const std::vector<std::string>& how) {
    const MbImage image =
        pictureOf({mesh.path(), "--size", "320x240", "--view", "0,0,-1", "--legend"}, how);
    std::pair<int, int> count;
    for (int y = 0; y < image.height; ++y)
      for (int x = 0; x < image.width; ++x) {
        const std::uint8_t* p = image.pixel(x, y);
        if (p[0] < p[1] + 60 || p[2] < p[1] + 60) continue;
        count.first += 2 * x < image.width;
        count.second += 4 * x > 3 * image.width;
      }
    return count;
  };
  const auto [inMesh, inLegend] = purple({"--color-by", "all", "--nan-color", "1,0,1"});
  EXPECT_GT(inMesh, 2000);
  EXPECT_GT(inLegend, 20);
  EXPECT_EQ(purple({"--color-by", "all"}), (std::pair{0, 0}));
  EXPECT_EQ(purple({"--color-by", "x", "--nan-color", "1,0,1"}), (std::pair{0, 0}));
}

TEST(Picture, DrawsBandsInThreeWaysAndFadesEdges)
{
  const TemporaryFile mesh("bands.vtk", twoCubes());
  const auto draw = [&](const std::vector<std::string>& how) {
    return pictureOf({mesh.path(), "--strict", "--size", "200x150", "--view", "0,0,-1"}, how);
  };
  // The colours along a row of the flat face in front: x from 0 to 2 in three bands.
  const auto colors = [&](std::vector<std::string> how) {
    how.insert(how.end(), {"--levels", "3"});
    const MbImage image = draw(how);
    std::set<std::uint32_t> all;
    for (int x = 40; x < 160; ++x) {
      const std::uint8_t* p = image.pixel(x, 75);
      all.insert(p[0] << 16 | p[1] << 8 | p[2]);
    }
    return all.size();
  };
  EXPECT_GT(colors({}), 20u) << "run into each other";
  EXPECT_LE(colors({"--contouring"}), 3u + 2) << "a mixed pixel at each border, at most";
  EXPECT_LE(colors({"--enhanced"}), 3u + 2);
  EXPECT_GT(colors({"--enhanced", "--opacity", "0.5"}), 3u) << "the back shows through";

  // Linear values in linear colours look the same in both ways, but for the surrounding light.
  const MbImage plain = draw({"--colormap", "intensity"});
  const MbImage enhanced = draw({"--colormap", "intensity", "--enhanced"});
  for (int x = 40; x < 160; x += 10)
    for (int c = 0; c < 3; ++c)
      EXPECT_NEAR(plain.pixel(x, 75)[c], enhanced.pixel(x, 75)[c], 20) << x;

  const MbImage without = draw({"--color-by", "none"});
  const auto darker = [&](std::vector<std::string> how) {
    how.insert(how.end(), {"--edges", "--color-by", "none"});
    const MbImage image = draw(how);
    double sum = 0;
    for (std::size_t i = 0; i < image.rgba.size(); ++i)
      sum += std::max(0, without.rgba[i] - image.rgba[i]);
    return sum;
  };
  const double all = darker({});
  EXPECT_GT(all, 1e4);
  EXPECT_LT(darker({"--fading", "1000"}), 0.02 * all);
  EXPECT_GT(darker({"--fading", "5"}), 0.9 * all);
}

TEST(Picture, AMeshFarFromZeroLooksTheSame)
{
  const auto cubesAt = [](double x) {
    std::string text = twoCubes();
    // The points are the only lines of three single digits.
    std::istringstream lines(text);
    std::string moved, line;
    while (std::getline(lines, line)) {
      const bool isPoint = line.size() == 5 && line[1] == ' ' && line[3] == ' ' && line[0] != '3';
      moved += isPoint ? std::to_string(std::stod(line) + x) + line.substr(1) + "\n" : line + "\n";
    }
    return moved;
  };
  const TemporaryFile nearby("near.vtk", cubesAt(0)), far("far.vtk", cubesAt(1e9));
  EXPECT_NEAR(reportOf({far.path()})["representations"][0]["area"].get<double>(), 10, 1e-6);
  const std::vector<std::string> how{"--edges", "--size", "90x60"};
  const MbImage a = pictureOf({nearby.path()}, how), b = pictureOf({far.path()}, how);
  ASSERT_EQ(a.rgba.size(), b.rgba.size());
  std::size_t differing = 0;
  for (std::size_t n = 0; n < a.rgba.size(); ++n)
    differing += std::abs(a.rgba[n] - b.rgba[n]) > 24 ? 1 : 0;
  EXPECT_LT(differing, a.rgba.size() / 100);
}
