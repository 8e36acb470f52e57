// Every colour map, as legends: the picture in docs/legend.md. usage: 04_color_maps [PICTURE.png]

#include <velmo/colormapping/legend/MoLegend.h>
#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/nodes/MoVelmo.h>
#include <velmo/picture/MoPicture.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/nodes/SoSeparator.h>

#include <string>

namespace {

/// A strip of one map with its name to the left. `row` counts from the top.
void addStrip(SoSeparator& scene, int map, int row, int rowCount)
{
  auto* colors = new MoPredefinedColorMapping;
  colors->predefColorMap = map;
  SbString name;
  colors->predefColorMap.get(name);

  const float height = 1.0f / static_cast<float>(rowCount);
  const float top = 1 - height * (static_cast<float>(row) + 0.18f);
  auto* legend = new MoLegend;
  legend->bottomLeft.setValue(0.27f, top - 0.64f * height);
  legend->topRight.setValue(0.97f, top);
  legend->title = name;
  legend->titlePosition = MoLegend::POS_LEFT;
  legend->titleFontSize = 15;
  legend->titleColor.setValue(0.1f, 0.1f, 0.1f);
  for (SoNode* node : std::initializer_list<SoNode*>{colors, legend})
    scene.addChild(node);
}

} // namespace

int main(int argc, char** argv)
{
  MoVelmo::init();
  bool drawn = false;
  {
    constexpr int kFirst = MoPredefinedColorMapping::GREY, kLast = MoPredefinedColorMapping::PAIRED;
    const SoRef<SoSeparator> scene(new SoSeparator);
    for (int map = kFirst; map <= kLast; ++map)
      addStrip(*scene, map, map - kFirst, kLast - kFirst + 1);
    // Not quite white: one map is white and fades.
    drawn = moWritePicture(argc > 1 ? argv[1] : "color_maps.png", scene, 760,
                           30 * (kLast - kFirst + 1), SbColor4f(0.88f, 0.9f, 0.93f, 1));
  }
  MoVelmo::finish();
  return drawn ? 0 : 1;
}
