#include <velmoview/Legend.h>
#include <velmoview/Options.h>

#include <velmo/colormapping/legend/MoLegend.h>
#include <velmo/nodes/MoVelmo.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <gtest/gtest.h>
#include <Inventor/actions/SoSearchAction.h>
#include <Inventor/nodes/SoBaseColor.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/SoFullPath.h>

#include <cmath>

using namespace velmoview;

namespace {

class Legend : public testing::Test
{
protected:
  static void SetUpTestSuite() { MoVelmo::init(); }
  static void TearDownTestSuite() { MoVelmo::finish(); }

  void make()
  {
    layout = layOutLegend(coloring, options);
    root.reset(makeLegend(coloring, options, layout));
  }
  template <class Node>
  std::vector<Node*> all() const
  {
    SoSearchAction search;
    search.setType(Node::getClassTypeId());
    search.setInterest(SoSearchAction::ALL);
    search.apply(root.get());
    std::vector<Node*> nodes;
    for (int i = 0; i < search.getPaths().getLength(); ++i)
      nodes.push_back(
          static_cast<Node*>(static_cast<SoFullPath*>(search.getPaths()[i])->getTail()));
    return nodes;
  }

  Options options;
  Coloring coloring;
  LegendLayout layout;
  SoRef<SoNode> root;
};

double brightness(const SbColor& c)
{
  return 0.3 * c[0] + 0.59 * c[1] + 0.11 * c[2];
}

} // namespace

TEST_F(Legend, IsReadableOnEveryBackground)
{
  coloring.title = "a";
  for (int step = 0; step <= 10; ++step)
    for (const std::array<float, 3>& tint : {std::array{1.f, 1.f, 1.f}, {1, 1, 0}, {0, 0, 1}}) {
      for (std::size_t c = 0; c < 3; ++c)
        options.background[c] = tint[c] * static_cast<float>(step) / 10;
      SCOPED_TRACE(testing::PrintToString(options.background));
      make();
      const SbColor behind(options.background.data());
      const auto expectReadable = [&](const SbColor& ink) {
        EXPECT_GT(std::abs(brightness(ink) - brightness(behind)), 0.3);
      };
      for (const MoLegend* legend : all<MoLegend>()) {
        expectReadable(legend->titleColor.getValue());
        expectReadable(legend->valuesColor.getValue());
      }
      ASSERT_EQ(all<SoBaseColor>().size(), 1u);
      expectReadable(all<SoBaseColor>()[0]->rgb[0]);
    }
}

TEST_F(Legend, HasTheNumbersOfCategoriesAtTheMiddlesOfTheirBands)
{
  coloring.categories = 5;
  coloring.bandMin = 2.5;
  coloring.bandMax = 7.5;
  for (const LegendPosition position : {LegendPosition::Right, LegendPosition::Bottom}) {
    options.legendPosition = position;
    make();
    const int along = layout.vertical ? 1 : 0;
    const auto legends = all<MoLegend>();
    ASSERT_EQ(legends.size(), 2u);
    const MoLegend &bar = *legends[0], &numbers = *legends[1];
    EXPECT_FALSE(bar.displayValues.getValue());
    EXPECT_TRUE(numbers.displayValues.getValue());
    ASSERT_EQ(numbers.numValues.getValue(), 5);
    const auto low = [&](const MoLegend& of) { return of.bottomLeft.getValue()[along]; };
    const auto high = [&](const MoLegend& of) { return of.topRight.getValue()[along]; };
    for (int n = 0; n < 5; ++n) {
      // Numbers are spread from end to end of their bar, bands have equal shares of theirs.
      const float at = low(numbers) + n * (high(numbers) - low(numbers)) / 4;
      EXPECT_NEAR(at, low(bar) + (n + 0.5f) * (high(bar) - low(bar)) / 5, 1e-4f);
      const double number = numbers.minValue.getValue() +
                            n * (numbers.maxValue.getValue() - numbers.minValue.getValue()) / 4;
      EXPECT_NEAR(number, 3 + n, 1e-6);
    }
  }
}
