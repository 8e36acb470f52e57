#include "tests/golden/GoldenScene.h"

#include <velmo/colormapping/legend/MoLegend.h>
#include <velmo/colormapping/MoLevelColorMapping.h>
#include <velmo/colormapping/MoLinearColorMapping.h>
#include <velmo/colormapping/MoPredefinedColorMapping.h>

namespace {

/// Three legends of three mappings: an upright bar of levels, and two lying ones.
class Legends final : public GoldenScene
{
public:
  Legends() : GoldenScene({0, -1, 0})
  {
    auto* levels = add(new MoLevelColorMapping);
    levels->values.setValues(0, 5, std::vector<float>{-20, -10, 5, 20, 40}.data());
    const SbVec4f colors[] = {
        {0.1f, 0.2f, 0.6f, 1}, {0.3f, 0.6f, 0.8f, 1}, {0.9f, 0.8f, 0.4f, 1}, {0.7f, 0.1f, 0.1f, 1}};
    levels->colors.setValues(0, 4, colors);
    MoLegend* upright = addLegend({0.2f, 0.15f}, {0.28f, 0.85f}, "levels");
    upright->vertical = TRUE;
    upright->titlePosition = MoLegend::POS_TOP;
    upright->numValues = 4;
    upright->valuePrecision = 3;

    auto* linear = add(new MoLinearColorMapping);
    linear->values.setValues(0, 3, std::vector<float>{0, 1, 4}.data());
    linear->colors.setValues(0, 3, colors + 1);
    MoLegend* lying = addLegend({0.45f, 0.65f}, {0.9f, 0.75f}, "linear");
    lying->titlePosition = MoLegend::POS_TOP;
    lying->numValues = 5;
    lying->valueNotation = MoLegend::NOTATION_FIXED;
    lying->valuePrecision = 1;

    auto* map = add(new MoPredefinedColorMapping);
    map->predefColorMap = MoPredefinedColorMapping::VIRIDIS;
    MoLegend* smooth = addLegend({0.45f, 0.25f}, {0.9f, 0.35f}, "viridis");
    smooth->titlePosition = MoLegend::POS_TOP;
    smooth->titleColor = SbColor(0.6f, 0, 0);
    smooth->valueNotation = MoLegend::NOTATION_SCIENTIFIC;

    addFault("another direction", [upright] { upright->vertical = FALSE; });
    addFault("another colour", [linear] { linear->colors.set1Value(2, SbVec4f(0, 0, 0, 1)); });
    addFault("another map", [map] { map->predefColorMap = MoPredefinedColorMapping::GLOW; });
    addFault("another range", [lying] { lying->maxValue = 3; });
    addFault("no numbers",
             [upright, lying] { upright->displayValues = lying->displayValues = FALSE; });
    addFault("another title", [smooth] { smooth->title = "quite another title"; });
  }

private:
  MoLegend* addLegend(const SbVec2f& low, const SbVec2f& high, const char* title)
  {
    auto* legend = add(new MoLegend);
    legend->bottomLeft = low;
    legend->topRight = high;
    legend->title = title;
    legend->titleFontSize = 24;
    legend->displayValues = TRUE;
    legend->valuesFontSize = 18;
    legend->titleColor = legend->valuesColor = SbColor(0.1f, 0.1f, 0.1f);
    return legend;
  }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Legends, GoldenPicture,
                         testing::Values(GoldenSubject{
                             "legends", [] { return std::make_unique<Legends>(); }, true}),
                         GoldenSubject::nameOf);
