#include <array>
#include <cmath>
#include <limits>

#include <gmock/gmock.h>

#include <velmo/colormapping/MbPredefinedColorMappings.h>
#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/colormapping/MdLinearColorMapping.h>
#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/toolkit/classes/SoRef.h>

using testing::ElementsAre;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

MATCHER_P4(IsColor, r, g, b, a, "")
{
  const float expected[] = {float(r), float(g), float(b), float(a)};
  for (int c = 0; c < 4; ++c) {
    if (!(std::abs(arg[c] - expected[c]) <= 2e-6f)) {
      *result_listener << "component " << c << " is " << arg[c] << " instead of " << expected[c];
      return false;
    }
  }
  return true;
}

const SbColorRGBA kBlack(0, 0, 0, 1);
const SbColorRGBA kRed(1, 0, 0, 1);
const SbColorRGBA kGreen(0, 1, 0, 1);
const SbColorRGBA kBlue(0, 0, 1, 1);
const SbColorRGBA kClearWhite(1, 1, 1, 0);

std::pair<double, double> rangeOf(const MiScalarColorMapping& mapping)
{
  std::pair<double, double> range;
  mapping.getRange(range.first, range.second);
  return range;
}

template <class Mapping>
Mapping over(double min, double max)
{
  Mapping mapping;
  mapping.setRange(min, max);
  return mapping;
}

} // namespace

TEST(LinearColorMapping, InterpolatesAllComponentsAndHoldsTheEnds)
{
  MdLinearColorMapping mapping;
  mapping.setColors({{0.0, kBlack}, {1.0, kClearWhite}});
  EXPECT_THAT(mapping.getColor(0.25), IsColor(0.25, 0.25, 0.25, 0.75));
  EXPECT_EQ(mapping.getColor(-1), kBlack);
  EXPECT_EQ(mapping.getColor(0), kBlack);
  EXPECT_EQ(mapping.getColor(1), kClearWhite);
  EXPECT_EQ(mapping.getColor(2), kClearWhite);
  EXPECT_EQ(mapping.getColor(kNan), kClearWhite);
  EXPECT_EQ(rangeOf(mapping), std::pair(0.0, 1.0));

  mapping.setColors({{7.0, kRed}});
  for (const double value : {-1e9, 7.0, 1e9, kNan})
    EXPECT_EQ(mapping.getColor(value), kRed);
}

TEST(LinearColorMapping, TakesTheUpperIntervalWhereTwoControlValuesAreEqual)
{
  MdLinearColorMapping mapping; // a sharp step
  mapping.setColors({{0.0, kBlack}, {1.0, kRed}, {1.0, kGreen}, {2.0, kBlue}});
  EXPECT_EQ(mapping.getColor(1), kGreen);
  EXPECT_THAT(mapping.getColor(0.5), IsColor(0.5, 0, 0, 1));
}

TEST(LinearColorMapping, WalksFromTheFirstPairWhenTheValuesDoNotAscend)
{
  MdLinearColorMapping mapping;
  mapping.setColors({{1.0, kRed}, {5.0, kGreen}, {2.0, kBlue}});
  // The first value above 3 is that of the second pair, in spite of the third.
  EXPECT_THAT(mapping.getColor(3), IsColor(0.5, 0.5, 0, 1));
  EXPECT_EQ(mapping.getColor(0), kRed);
  EXPECT_EQ(mapping.getColor(6), kBlue);
  EXPECT_EQ(rangeOf(mapping), std::pair(1.0, 2.0));
}

TEST(LinearColorMapping, AppliesThresholdsStrictly)
{
  MdLinearColorMapping mapping;
  mapping.setColors({{0.0, kBlack}, {1.0, kRed}});
  mapping.setMinThreshold({true, 0.5, kGreen});
  mapping.setMaxThreshold({true, 0.75, kBlue});
  EXPECT_EQ(mapping.getColor(0.4999), kGreen);
  EXPECT_THAT(mapping.getColor(0.5), IsColor(0.5, 0, 0, 1));
  EXPECT_THAT(mapping.getColor(0.75), IsColor(0.75, 0, 0, 1));
  EXPECT_EQ(mapping.getColor(0.7501), kBlue);
  EXPECT_EQ(mapping.getColor(kNan), kRed);
}

TEST(LinearColorMapping, TakesAStampOnlyForAChange)
{
  MdLinearColorMapping mapping;
  const std::vector<MdLinearColorMapping::ValueAndColor> colors{{0.0, kBlack}, {1.0, kRed}};
  auto stamp = mapping.getTimeStamp();
  const auto changed = [&] { return std::exchange(stamp, mapping.getTimeStamp()) != stamp; };
  mapping.setColors(colors);
  EXPECT_TRUE(changed());
  mapping.setColors(colors);
  EXPECT_FALSE(changed());
  mapping.setColors({{0.0, kBlack}, {1.0, kGreen}});
  EXPECT_TRUE(changed());
  mapping.setMinThreshold({}); // what it holds at first
  EXPECT_FALSE(changed());
  mapping.setMaxThreshold({false, 0.5, kRed});
  EXPECT_TRUE(changed());
  mapping.setMaxThreshold({false, 0.5, kRed});
  EXPECT_FALSE(changed());
  mapping.setMaxThreshold({true, 0.5, kRed});
  EXPECT_TRUE(changed());
}

TEST(LevelColorMapping, GivesEachIntervalItsLowerEnd)
{
  MdLevelColorMapping mapping;
  mapping.setLevels({0, 10, 20}, {kRed, kGreen});
  EXPECT_EQ(mapping.getColor(-5), kRed);
  EXPECT_EQ(mapping.getColor(0), kRed);
  EXPECT_EQ(mapping.getColor(9.999), kRed);
  EXPECT_EQ(mapping.getColor(10), kGreen);
  EXPECT_EQ(mapping.getColor(20), kGreen);
  EXPECT_EQ(mapping.getColor(99), kGreen);
  EXPECT_EQ(mapping.getColor(kNan), kGreen);
  EXPECT_EQ(rangeOf(mapping), std::pair(0.0, 20.0));
}

TEST(LevelColorMapping, CutsTheLevelsAtThresholdsInside)
{
  MdLevelColorMapping mapping;
  mapping.setLevels({0, 10, 20}, {kRed, kGreen});
  mapping.setMinThreshold({true, 5, kBlack});
  mapping.setMaxThreshold({true, 15, kBlue});
  EXPECT_THAT(mapping.levels(), ElementsAre(0, 5, 10, 15, 20));
  EXPECT_THAT(mapping.colors(), ElementsAre(kBlack, kRed, kGreen, kBlue));
  EXPECT_EQ(mapping.getColor(4.9), kBlack);
  EXPECT_EQ(mapping.getColor(5), kRed);
  EXPECT_EQ(mapping.getColor(10), kGreen);
  EXPECT_EQ(mapping.getColor(15), kBlue);
}

TEST(LevelColorMapping, AddsABandForThresholdsOutside)
{
  MdLevelColorMapping mapping;
  mapping.setLevels({0, 10, 20}, {kRed, kGreen});
  mapping.setMinThreshold({true, -5, kBlack}); // the first level goes, the band is (20 + 5) / 20
  EXPECT_THAT(mapping.levels(), ElementsAre(-6.25, -5, 10, 20));
  EXPECT_THAT(mapping.colors(), ElementsAre(kBlack, kRed, kGreen));

  mapping.setMaxThreshold({true, 25, kBlue}); // the last level moves to the threshold
  EXPECT_THAT(mapping.levels(), ElementsAre(-6.5, -5, 10, 25, 26.5));
  EXPECT_THAT(mapping.colors(), ElementsAre(kBlack, kRed, kGreen, kBlue));
  EXPECT_EQ(rangeOf(mapping), std::pair(-6.5, 26.5));

  mapping.setMinThreshold({true, 0, kBlack}); // at the first level it counts as outside
  EXPECT_THAT(mapping.levels(), ElementsAre(-1.25, 0, 10, 25, 26.25));

  mapping.setMinThreshold({});
  mapping.setMaxThreshold({true, 20, kBlue}); // at the last one as inside: a band without width
  EXPECT_THAT(mapping.levels(), ElementsAre(0, 10, 20, 20));
  EXPECT_THAT(mapping.colors(), ElementsAre(kRed, kGreen, kBlue));
  EXPECT_EQ(mapping.getColor(19.9), kGreen);
  EXPECT_EQ(mapping.getColor(20), kBlue);
}

TEST(LevelColorMapping, KeepsOneColorWhenAThresholdCoversEveryLevel)
{
  MdLevelColorMapping mapping;
  mapping.setLevels({0, 10, 20}, {kRed, kGreen});
  mapping.setMaxThreshold({true, -1, kBlue});
  EXPECT_THAT(mapping.levels(), ElementsAre(-1, 20));
  EXPECT_THAT(mapping.colors(), ElementsAre(kBlue));
  for (const double value : {-100.0, -1.0, 5.0, 100.0, kNan})
    EXPECT_EQ(mapping.getColor(value), kBlue);

  mapping.setMaxThreshold({false, -1, kBlue});
  mapping.setMinThreshold({true, 30, kBlack});
  EXPECT_THAT(mapping.levels(), ElementsAre(0, 30));
  EXPECT_THAT(mapping.colors(), ElementsAre(kBlack));
}

TEST(LevelColorMapping, TakesAStampOnlyForAChange)
{
  MdLevelColorMapping mapping;
  auto stamp = mapping.getTimeStamp();
  const auto changed = [&] { return std::exchange(stamp, mapping.getTimeStamp()) != stamp; };
  mapping.setLevels({0, 10, 20}, {kRed, kGreen});
  EXPECT_TRUE(changed());
  mapping.setLevels({0, 10, 20}, {kRed, kGreen});
  EXPECT_FALSE(changed());
  mapping.setLevels({0, 10, 30}, {kRed, kGreen});
  EXPECT_TRUE(changed());
  EXPECT_THAT(mapping.levels(), ElementsAre(0, 10, 30));
  mapping.setLevels({0, 10, 30}, {kRed, kBlue});
  EXPECT_TRUE(changed());
  EXPECT_THAT(mapping.colors(), ElementsAre(kRed, kBlue));
  mapping.setMinThreshold({true, 5, kBlack});
  EXPECT_TRUE(changed());
  mapping.setMinThreshold({true, 5, kBlack});
  EXPECT_FALSE(changed());
  mapping.setLevels({0, kNan, 30}, {kRed, kBlue});
  EXPECT_TRUE(changed());
  mapping.setLevels({0, kNan, 30}, {kRed, kBlue}); // a NaN never equals itself
  EXPECT_TRUE(changed());
}

TEST(PredefinedColorMapping, HoldsTheEndsOfItsRange)
{
  auto mapping = over<MbIntensityColorMapping>(5, 5); // an empty range counts as 1
  EXPECT_THAT(mapping.getColor(5), IsColor(0, 0, 0, 1));
  EXPECT_THAT(mapping.getColor(5.5), IsColor(0.5, 0.5, 0.5, 1));
  EXPECT_THAT(mapping.getColor(6), IsColor(1, 1, 1, 1));

  const auto stamp = mapping.getTimeStamp();
  mapping.setRange(5, 5);
  EXPECT_EQ(mapping.getTimeStamp(), stamp);
  mapping.setRange(1, 0); // reversed: not flipped
  EXPECT_NE(mapping.getTimeStamp(), stamp);
  EXPECT_EQ(rangeOf(mapping), std::pair(1.0, 0.0));
  EXPECT_THAT(mapping.getColor(0.5), IsColor(0, 0, 0, 1));
  EXPECT_THAT(mapping.getColor(1.5), IsColor(0.5, 0.5, 0.5, 1));
}

// Worked out by hand from the formulas and the published tables.
TEST(PredefinedColorMapping, GivesTheColorsOfEachMap)
{
  using Node = MoPredefinedColorMapping;
  const double glowAt = 0.333 * 0.3003003003003003 + 0.8; // t = 0.666: saturation 0.5, hue 0.125
  const struct
  {
    int map;
    double value;
    std::array<double, 4> color;
  } cases[] = {
      {Node::GREY, 0, {1, 1, 1, 1}},
      {Node::GREY, 0.25, {1, 1, 1, 0.75}},
      {Node::GREY, 1, {1, 1, 1, 0}},
      {Node::INTENSITY, 0.3, {0.3, 0.3, 0.3, 1}},
      {Node::STANDARD, 0, {1, 0, 0, 1}},       // one sixth of the circle from red is yellow
      {Node::STANDARD, 0.5, {0, 1, 0.748, 1}}, // hue 0.458 * 6 = 2.748
      {Node::STANDARD, 1, {1, 0, 0.504, 1}},   // hue 0.916 * 6 = 5.496
      {Node::STANDARD, kNan, {1, 0, 0, 1}},
      {Node::TEMPERATURE, 0, {1, 1, 1, 1}},
      {Node::TEMPERATURE, 0.125, {0.625, 0.6265, 1, 1}},            // saturation 0.375
      {Node::TEMPERATURE, 0.9, {1, 0.25 + 0.75 * 0.4998, 0.25, 1}}, // hue 0.0833
      {Node::TEMPERATURE, 1, {1, 0.9997, 0.25, 1}},
      {Node::PHYSICS, 0, {0, 0.0016, 0.4, 1}},
      {Node::PHYSICS, 0.1, {0, 0.65 * 0.004, 0.65, 1}},
      {Node::PHYSICS, 0.6, {0.9 * 0.002, 0.9, 0, 1}}, // hue 0.333 * 6 = 1.998
      {Node::PHYSICS, 1, {0.9, 0, 0, 1}},
      {Node::GLOW, 0, {0, 0, 0, 1}},
      {Node::GLOW, 0.25, {0.6006006, 0, 0, 1}},
      {Node::GLOW, 0.666, {glowAt, glowAt * 0.875, glowAt * 0.5, 1}},
      {Node::GLOW, 1, {1.0010547, 1.0003003, 1.0018022, 1}},
      {Node::BLUE_RED, 0, {0, 0, 1, 1}},
      {Node::BLUE_RED, 0.25, {0.5, 0, 1, 1}},
      {Node::BLUE_RED, 0.75, {1, 0, 0.5, 1}},
      {Node::BLUE_RED, 1, {1, 0, 0, 1}},
      {Node::BLUE_WHITE_RED, 0, {0, 0, 1, 1}},
      {Node::BLUE_WHITE_RED, 0.25, {0.5, 0.5, 1, 1}},
      {Node::BLUE_WHITE_RED, 0.5, {1, 1, 1, 1}},
      {Node::BLUE_WHITE_RED, 0.75, {1, 0.5, 0.5, 1}},
      {Node::BLUE_WHITE_RED, 1, {1, 0, 0, 1}},
      {Node::SEISMIC, 0, {0, 0, 0, 1}},
      {Node::SEISMIC, 1e-60, {0, 0, 0, 1}}, // zero once it is a float
      {Node::SEISMIC, 0.1, {0.1564345, 61.8033989 / 255, 0.9876883, 0.9}},
      {Node::SEISMIC, 0.34, {0.5090414, 175 / 255.0, 0.8607420, 0.03}}, // the middle third
      {Node::SEISMIC, 0.5, {std::sqrt(0.5), 175 / 255.0, std::sqrt(0.5), 0.03}},
      {Node::SEISMIC, 0.67, {0.8686315, 172.1484 / 255, 0.4954587, 0.9}},
      {Node::SEISMIC, 1, {1, 0, 0, 0.9}},
      {Node::RAINBOW_TURBO, 0, {0.18995, 0.07176, 0.23217, 1}}, // rows without blending
      {Node::RAINBOW_TURBO, 1.5 / 255, {0.19483, 0.08339, 0.26149, 1}},
      {Node::RAINBOW_TURBO, 2.1 / 255, {0.19956, 0.09498, 0.29024, 1}},
      {Node::RAINBOW_TURBO, 0.5, {0.63323, 0.99195, 0.23937, 1}},
      {Node::RAINBOW_TURBO, 128.9 / 255, {0.64362, 0.98999, 0.23356, 1}},
      {Node::RAINBOW_TURBO, 254.9 / 255, {0.49321, 0.01963, 0.00955, 1}},
      {Node::RAINBOW_TURBO, 1, {0.4796, 0.01583, 0.01055, 1}},
      {Node::RAINBOW_TURBO, kNan, {0.18995, 0.07176, 0.23217, 1}},
      {Node::VIRIDIS, -1, {0x44 / 255.0, 0x01 / 255.0, 0x54 / 255.0, 1}},
      {Node::VIRIDIS, 0.5 / 255, {0x44 / 255.0, 1.5 / 255, 0x55 / 255.0, 1}}, // blended
      {Node::VIRIDIS, 2, {0xfd / 255.0, 0xe7 / 255.0, 0x25 / 255.0, 1}},
      {Node::VIRIDIS, kNan, {0x44 / 255.0, 0x01 / 255.0, 0x54 / 255.0, 1}},
      {Node::RDBU, 0, {0x05 / 255.0, 0x30 / 255.0, 0x61 / 255.0, 1}}, // blue is low
      {Node::RDBU, 0.5, {0xf7 / 255.0, 0xf7 / 255.0, 0xf7 / 255.0, 1}},
      {Node::TABLEAU_10, 0.0999, {0x1f / 255.0, 0x77 / 255.0, 0xb4 / 255.0, 1}}, // equal shares
      {Node::TABLEAU_10, 0.1001, {0xff / 255.0, 0x7f / 255.0, 0x0e / 255.0, 1}},
      {Node::TABLEAU_10, 0.9999, {0x17 / 255.0, 0xbe / 255.0, 0xcf / 255.0, 1}},
      {Node::OKABE_ITO, 0.99, {0xcc / 255.0, 0x79 / 255.0, 0xa7 / 255.0, 1}},
      {Node::PAIRED, 1, {0xb1 / 255.0, 0x59 / 255.0, 0x28 / 255.0, 1}},
  };
  const SoRef<Node> node(new Node);
  for (const auto& [map, value, color] : cases) {
    node->predefColorMap = map;
    const MiScalarColorMapping* mapping = node->getColorMapping();
    ASSERT_NE(mapping, nullptr) << map;
    EXPECT_THAT(mapping->getColor(value), IsColor(color[0], color[1], color[2], color[3]))
        << map << " at " << value;
  }
}

TEST(PredefinedColorMapping, HasNoMistypedTurboRow)
{
  // It would stand out: neighbours change by little and evenly.
  const MbTurboMapping turbo;
  for (int i = 1; i < 254; ++i)
    for (int c = 0; c < 3; ++c) {
      const auto row = [&](int r) { return turbo.getColor((r + 0.5) / 255)[c]; };
      EXPECT_LT(std::abs(row(i - 1) - 2 * row(i) + row(i + 1)), 0.001) << "row " << i;
    }
}
