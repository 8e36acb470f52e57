#include "tests/support/Offscreen.h"
#include "tests/support/SceneQueries.h"
#include "tests/support/StateProbe.h"

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/legend/MoLegend.h>
#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/colormapping/MoCombineColorMapping.h>
#include <velmo/colormapping/MoCustomColorMapping.h>
#include <velmo/colormapping/MoLevelColorMapping.h>
#include <velmo/colormapping/MoLinearColorMapping.h>
#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/representations/MoMeshSurface.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/elements/SoLazyElement.h>
#include <Inventor/elements/SoModelMatrixElement.h>
#include <Inventor/elements/SoOverrideElement.h>
#include <Inventor/nodes/SoCube.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoFont.h>
#include <Inventor/nodes/SoIndexedFaceSet.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoText2.h>
#include <Inventor/nodes/SoTranslation.h>
#include <Inventor/nodes/SoVertexProperty.h>
#include <Inventor/SoPath.h>

#include <cmath>
#include <gmock/gmock.h>
#include <string>

using testing::ElementsAre;
using testing::FloatNear;
using testing::IsEmpty;
using testing::Pointwise;

namespace {

template <class Node>
Node* table(const std::vector<float>& values, const std::vector<SbVec4f>& colors)
{
  auto* node = new Node;
  node->values.setValues(0, static_cast<int>(values.size()), values.data());
  node->colors.setValues(0, static_cast<int>(colors.size()), colors.data());
  return node;
}

const SbVec4f kRed(1, 0, 0, 1), kGreen(0, 1, 0, 1), kBlue(0, 0, 1, 1), kFaint(1, 1, 0, 0.5f);

SoNode* levels()
{
  return table<MoLevelColorMapping>({0, 10, 20}, {kRed, kGreen});
}
SoNode* linear()
{
  return table<MoLinearColorMapping>({-2, 0, 6}, {kRed, kGreen, kFaint});
}

/// From 3 to 4, wavy; and the same of one value among several.
class Waves : public MiScalarColorMapping
{
public:
  SbColorRGBA getColor(double v) const override
  {
    return {0.5f + 0.5f * static_cast<float>(std::sin(9 * v)), static_cast<float>(v - 3), 0.3f, 1};
  }
  void getRange(double& min, double& max) const override { min = 3, max = 4; }
  std::uint64_t getTimeStamp() const override { return m_stamp; }
  void touch() { m_stamp = MxTimeStamp::take(); }

private:
  std::uint64_t m_stamp = MxTimeStamp::take();
};

class Combination : public MiCombineColorMapping
{
public:
  SbColorRGBA getColor(std::vector<double>) const override { return {1, 1, 1, 1}; }
  void getRange(double& min, double& max) const override { min = 0, max = 1; }
  std::uint64_t getTimeStamp() const override { return 1; }
};

SoNode* waves()
{
  static const Waves mapping;
  auto* node = new MoCustomColorMapping;
  node->setColorMapping(&mapping);
  return node;
}
/// With both, the single mapping colours.
SoNode* wavesBesideCombined()
{
  static const Combination mapping;
  auto* group = new SoGroup;
  auto* combined = new MoCombineColorMapping;
  combined->setColorMapping(&mapping);
  group->addChild(combined);
  group->addChild(waves());
  return group;
}
SoNode* predefined(int map)
{
  auto* node = new MoPredefinedColorMapping;
  node->minValue = -1;
  node->maxValue = 3;
  node->predefColorMap = map;
  return node;
}

/// A mapping and a legend, whose hidden nodes it finds.
class Scene
{
public:
  explicit Scene(SoNode* mapping)
  {
    legend->bottomLeft.setValue(0.1f, 0.25f);
    legend->topRight.setValue(0.9f, 0.75f);
    root->addChild(mapping);
    root->addChild(legend);
  }
  SoSeparator* hidden() const { return static_cast<SoSeparator*>((*legend->getChildren())[0]); }
  SoSeparator* title() const { return static_cast<SoSeparator*>(hidden()->getChild(2)); }
  SoSeparator* values() const { return static_cast<SoSeparator*>(hidden()->getChild(3)); }
  SoIndexedFaceSet* bar() const { return findNode<SoIndexedFaceSet>(hidden()); }
  /// The coordinates of the bar's nodes along an axis, in their order, those on one side of it.
  std::vector<float> along(int axis)
  {
    traverse();
    const SoMFVec3f& points =
        static_cast<SoVertexProperty*>(bar()->vertexProperty.getValue())->vertex;
    std::vector<float> found;
    for (int i = 0; i < points.getNum(); ++i)
      if (points[i][1 - axis] == (axis == 0 ? 0.25f : 0.1f)) found.push_back(points[i][axis]);
    return found;
  }
  void traverse(int times = 1, SbVec2s window = {200, 100})
  {
    SoCallbackAction action{SbViewportRegion(window)};
    for (int i = 0; i < times; ++i)
      action.apply(root);
  }
  /// Changes whenever anything is built.
  SbUniqueId content() const { return hidden()->getNodeId(); }

  SoRef<SoSeparator> root{new SoSeparator};
  SoRef<MoLegend> legend{new MoLegend};
};

std::string textOf(const SoGroup& parent, int child)
{
  return static_cast<SoText2*>(parent.getChild(child))->string[0].getString();
}

std::vector<std::string> labelsOf(const Scene& scene)
{
  std::vector<std::string> texts;
  for (int i = 2; i < scene.values()->getNumChildren(); ++i)
    texts.push_back(textOf(*static_cast<SoGroup*>(scene.values()->getChild(i)), 1));
  return texts;
}

/// Pixels of a column, from the rows given as shares of the height, top down.
std::array<int, 3> pixel(const MbImage& image, double x, double y)
{
  const auto column = static_cast<std::size_t>(x * image.width);
  const auto row = static_cast<std::size_t>(y * image.height);
  const std::uint8_t* p = &image.rgba[4 * (row * image.width + column)];
  return {p[0], p[1], p[2]};
}

} // namespace

TEST(MoLegend, PutsValuesAlongTheBar)
{
  struct Case
  {
    const char* name;
    SoNode* mapping;
    bool vertical;
    double min, max; // the defaults when both are NaN
    std::vector<float> positions;
  };
  const double kDefault = std::nan("");
  const std::vector<Case> cases{
      {"levels", levels(), false, kDefault, kDefault, {0.1f, 0.5f, 0.5f, 0.9f}},
      {"levels upright", levels(), true, kDefault, kDefault, {0.25f, 0.5f, 0.5f, 0.75f}},
      {"an empty range that was set",
       table<MoLevelColorMapping>({0, 10, 50}, {kRed, kGreen}),
       false,
       0,
       0,
       {0.1f, 0.5f, 0.5f, 0.9f}},
      {"a wider range", levels(), false, -20, 20, {0.5f, 0.7f, 0.7f, 0.9f}},
      {"linear", linear(), false, kDefault, kDefault, {0.1f, 0.3f, 0.9f}},
      {"linear, one end set", linear(), true, -2, 0, {0.25f, 0.75f, 2.25f}},
      {"no colour", table<MoLinearColorMapping>({}, {}), false, kDefault, kDefault, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Scene scene(c.mapping);
    scene.legend->vertical = c.vertical;
    if (!std::isnan(c.min)) {
      scene.legend->minValue = c.min;
      scene.legend->maxValue = c.max;
    }
    EXPECT_THAT(scene.along(c.vertical), Pointwise(FloatNear(1e-6f), c.positions));
  }
  for (SoNode* smooth : {predefined(MoPredefinedColorMapping::GLOW), waves()}) {
    Scene scene(smooth);
    const std::vector<float> positions = scene.along(0);
    ASSERT_EQ(positions.size(), 256u);
    EXPECT_FLOAT_EQ(positions.front(), 0.1f);
    EXPECT_FLOAT_EQ(positions[51], 0.1f + 0.8f / 5);
    EXPECT_FLOAT_EQ(positions.back(), 0.9f);
  }
}

TEST(MoLegend, PutsTheTitleBesideTheBar)
{
  struct Case
  {
    int position;
    float x, y;
    SoText2::Justification justification;
  };
  // In a window of 200 x 100 a font of 10 is 0.05 x 0.1.
  for (const Case& c : {Case{MoLegend::POS_BOTTOM, 0.5f, 0.05f, SoText2::CENTER},
                        Case{MoLegend::POS_TOP, 0.5f, 0.85f, SoText2::CENTER},
                        Case{MoLegend::POS_RIGHT, 0.95f, 0.5f, SoText2::LEFT},
                        Case{MoLegend::POS_LEFT, 0.05f, 0.5f, SoText2::RIGHT}})
  {
    Scene scene(levels());
    scene.traverse();
    EXPECT_EQ(scene.title()->getNumChildren(), 0);
    scene.legend->title = "stress";
    scene.legend->titlePosition = c.position;
    scene.legend->titleColor.setValue(1, 0.5f, 0);
    scene.traverse();
    const SoSeparator& title = *scene.title();
    ASSERT_EQ(title.getNumChildren(), 4);
    const auto* place = static_cast<SoTranslation*>(title.getChild(0));
    EXPECT_TRUE(place->translation.getValue().equals({c.x, c.y, 0}, 1e-6f)) << c.position;
    EXPECT_EQ(static_cast<SoFont*>(title.getChild(1))->size.getValue(), 10);
    EXPECT_EQ(static_cast<SoMaterial*>(title.getChild(2))->diffuseColor[0], SbColor(1, 0.5f, 0));
    EXPECT_EQ(static_cast<SoText2*>(title.getChild(3))->justification.getValue(), c.justification);
    EXPECT_EQ(textOf(title, 3), "stress");

    scene.traverse(1, {400, 400}); // distances are pixels
    const SbVec3f wanted(c.x == 0.5f  ? 0.5f
                         : c.x > 0.5f ? 0.925f
                                      : 0.075f,
                         c.y == 0.5f  ? 0.5f
                         : c.y > 0.5f ? 0.775f
                                      : 0.2f,
                         0);
    EXPECT_TRUE(place->translation.getValue().equals(wanted, 1e-6f)) << c.position;
  }
}

TEST(MoLegend, WritesValues)
{
  struct Case
  {
    int count, notation;
    unsigned precision;
    double min, max;
    std::vector<std::string> texts;
  };
  for (const Case& c :
       {Case{3, MoLegend::NOTATION_DEFAULT, 0, 0, 0.5, {"0", "0.2", "0.5"}}, // 0.25 in one digit
        Case{2, MoLegend::NOTATION_DEFAULT, 3, -1234.5, 1e9, {"-1.23e+03", "1e+09"}},
        Case{3, MoLegend::NOTATION_FIXED, 2, -1, 2, {"-1.00", "0.50", "2.00"}},
        Case{2, MoLegend::NOTATION_SCIENTIFIC, 1, 0, 250, {"0.0e+00", "2.5e+02"}},
        Case{4, MoLegend::NOTATION_DEFAULT, 4, 1, -2, {"1", "0", "-1", "-2"}},
        Case{7,
             MoLegend::NOTATION_FIXED,
             1,
             -0.3,
             0.3,
             {"-0.3", "-0.2", "-0.1", "0.0", "0.1", "0.2", "0.3"}}, // not -0.0
        Case{1, MoLegend::NOTATION_DEFAULT, 3, 0, 1, {}},
        Case{-5, MoLegend::NOTATION_DEFAULT, 3, 0, 1, {}}})
  {
    Scene scene(levels());
    scene.legend->minValue = c.min;
    scene.legend->maxValue = c.max;
    scene.legend->numValues = c.count;
    scene.legend->valueNotation = c.notation;
    scene.legend->valuePrecision = c.precision;
    scene.traverse();
    EXPECT_EQ(scene.values()->getNumChildren(), 0);
    scene.legend->displayValues = TRUE;
    scene.traverse();
    EXPECT_EQ(labelsOf(scene), c.texts);
  }
}

TEST(MoLegend, PutsValuesLeftOfOrBelowTheBar)
{
  for (const bool vertical : {true, false}) {
    Scene scene(levels());
    scene.legend->vertical = vertical;
    scene.legend->displayValues = TRUE;
    scene.legend->numValues = 3;
    scene.traverse();
    for (int i = 0; i < 3; ++i) {
      const auto* label = static_cast<SoGroup*>(scene.values()->getChild(2 + i));
      const SbVec3f wanted = vertical ? SbVec3f(0, 0.25f + 0.25f * static_cast<float>(i), 0)
                                      : SbVec3f(0.1f + 0.4f * static_cast<float>(i), 0.05f, 0);
      const auto* place = static_cast<SoTranslation*>(label->getChild(0));
      EXPECT_TRUE(place->translation.getValue().equals(wanted, 1e-6f)) << vertical << i;
      EXPECT_EQ(static_cast<SoText2*>(label->getChild(1))->justification.getValue(),
                vertical ? SoText2::RIGHT : SoText2::CENTER);
    }
  }
}

TEST(MoLegend, IsBuiltOnceForAChangeAndNeverWithout)
{
  Waves mapping;
  auto* node = new MoCustomColorMapping;
  node->setColorMapping(&mapping);
  Scene scene(node);
  scene.legend->title = "waves";
  scene.legend->displayValues = TRUE;
  auto builds = [&, last = scene.content()]() mutable {
    int count = 0;
    for (int i = 0; i < 3; ++i) {
      if (i == 1) SoGetBoundingBoxAction(SbViewportRegion(200, 100)).apply(scene.root);
      scene.traverse();
      count += std::exchange(last, scene.content()) != last;
    }
    return count;
  };
  EXPECT_EQ(builds(), 1);
  EXPECT_EQ(builds(), 0);
  mapping.touch();
  EXPECT_EQ(builds(), 1);
  node->touch(); // the node, not what it gives
  EXPECT_EQ(builds(), 0);
  scene.legend->numValues = 3;
  EXPECT_EQ(builds(), 1);
  EXPECT_EQ(labelsOf(scene).size(), 3u);
  scene.root->insertChild(new SoMaterial, 0);
  EXPECT_EQ(builds(), 0);
  node->setColorMapping(nullptr);
  EXPECT_EQ(builds(), 1);
  EXPECT_EQ(scene.title()->getNumChildren() + scene.values()->getNumChildren(), 0);
  EXPECT_EQ(scene.bar()->coordIndex.getNum(), 0);

  mapping.touch(); // seen first by an action that draws nothing
  node->setColorMapping(&mapping);
  SoGetBoundingBoxAction(SbViewportRegion(200, 100)).apply(scene.root);
  EXPECT_EQ(builds(), 1);
  scene.traverse();
  EXPECT_EQ(labelsOf(scene).size(), 3u);
}

TEST(MoLegend, HasNoExtentAndLeaksNoState)
{
  Scene scene(levels());
  scene.legend->title = "title";
  scene.legend->displayValues = TRUE;
  auto* light = new SoLightModel;
  light->model = SoLightModel::PHONG;
  auto* material = new SoMaterial;
  material->setOverride(TRUE);
  auto* place = new SoTranslation;
  place->translation.setValue(3, 0, 0);
  for (SoNode* before : std::initializer_list<SoNode*>{light, material, place})
    scene.root->insertChild(before, 1);
  int looks = 0;
  const StateProbe behind([&](SoAction* action) {
    ++looks;
    SoState* state = action->getState();
    bool faces, edges, points;
    EXPECT_FALSE(MoDrawStyleElement::getDrawStyle(state, faces, edges, points));
    EXPECT_FALSE(MoMaterialElement::getMaterial(state).isSet);
    EXPECT_EQ(SoModelMatrixElement::get(state)[3][0], 3);
    if (!action->isOfType(SoCallbackAction::getClassTypeId())) return;
    EXPECT_EQ(SoLazyElement::getLightModel(state), SoLazyElement::PHONG);
    EXPECT_TRUE(SoOverrideElement::getDiffuseColorOverride(state));
  });
  scene.root->addChild(behind.node());
  scene.root->addChild(new SoCube);
  scene.traverse();
  SoGetBoundingBoxAction box(SbViewportRegion(200, 100));
  box.apply(scene.root);
  EXPECT_EQ(looks, 2);
  EXPECT_EQ(box.getBoundingBox().getMin(), SbVec3f(2, -1, -1));
  EXPECT_EQ(box.getBoundingBox().getMax(), SbVec3f(4, 1, 1));
  EXPECT_EQ(box.getCenter(), SbVec3f(3, 0, 0));
}

TEST(MoLegend, LetsPicksThrough)
{
  Scene scene(levels());
  scene.legend->title = "stress";
  scene.legend->displayValues = TRUE;
  auto* behind = new SoCube;
  scene.root->insertChild(behind, 0);
  scene.traverse();
  SoRayPickAction pick(SbViewportRegion(200, 100));
  pick.setRay(SbVec3f(0.5f, 0.5f, 50), SbVec3f(0, 0, -1));
  pick.setPickAll(TRUE);
  pick.apply(scene.root);
  ASSERT_EQ(pick.getPickedPointList().getLength(), 2);
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(pick.getPickedPoint(i)->getPath()->getTail(), behind);
}

TEST(MoLegend, IsDrawnOverTheSceneInAnyWindow)
{
  Scene scene(levels());
  scene.legend->title = "title";
  scene.legend->displayValues = TRUE;
  auto* wireframe = new SoDrawStyle; // as viewers do
  wireframe->style = SoDrawStyle::LINES;
  wireframe->setOverride(TRUE);
  scene.root->insertChild(wireframe, 0);
  // In front, transparent, and later: it stays below.
  auto* glass = new SoMaterial;
  glass->transparency = 0.5f;
  scene.root->addChild(new SoOrthographicCamera);
  scene.root->addChild(glass);
  scene.root->addChild(new SoCube);
  for (const SbVec2s size : {SbVec2s(200, 100), SbVec2s(37, 64), SbVec2s(1, 1)}) {
    const MbImage image = drawScene(scene.root, size[0], size[1]);
    ASSERT_FALSE(image.empty());
    if (size[0] == 1) continue;
    EXPECT_EQ(pixel(image, 0.3, 0.5), (std::array{255, 0, 0}));
    EXPECT_EQ(pixel(image, 0.7, 0.5), (std::array{0, 255, 0}));
  }
}

TEST(MoLegend, HasTheColorsOfSurfaces)
{
  constexpr int kCells = 16;
  struct Case
  {
    const char* name;
    SoNode* (*mapping)();
    bool known; // to the shader program of the enhanced colouring
    int tolerance;
  };
  const Case cases[] = {
      {"linear", linear, true, 2},
      {"levels", levels, true, 1},
      {"turbo", [] { return predefined(MoPredefinedColorMapping::RAINBOW_TURBO); }, false, 8},
      {"temperature", [] { return predefined(MoPredefinedColorMapping::TEMPERATURE); }, false, 4},
      {"grey", [] { return predefined(MoPredefinedColorMapping::GREY); }, false, 2},
      {"waves", waves, false, 3},
      {"waves beside a combined mapping", wavesBesideCombined, false, 3},
  };
  // Quads side by side in the upper half of the picture, each of one value; the bar in the lower.
  std::vector<float> points;
  std::vector<int> cells;
  for (int i = 0; i < kCells; ++i)
    for (const auto& [dx, y] : {std::pair{0, 0.6f}, {1, 0.6f}, {1, 0.9f}, {0, 0.9f}}) {
      cells.push_back(static_cast<int>(cells.size()));
      points.insert(points.end(), {static_cast<float>(i + dx) / kCells, y, 0});
    }
  const MbSurfaceMeshUnstructured mesh({MiCellShape::Quad, cells}, points);

  enum Way
  {
    PerNode,
    PerCell,
    Enhanced
  };
  for (const Case& c : cases)
    for (const Way way : {PerNode, PerCell, Enhanced}) {
      if (way == Enhanced && !c.known) continue; // ten samples of them, which start at zero
      SCOPED_TRACE(c.name + std::string(" way ") + std::to_string(way));
      Scene scene(c.mapping());
      scene.traverse();
      scene.legend->bottomLeft.setValue(0, 0.1f);
      scene.legend->topRight.setValue(1, 0.4f);
      double min = 0, max = 0;
      lookBehind(
          [&](SoState* state) {
            MoColorMappingElement::getColorMapping(state)->getRange(min, max);
          },
          scene.root->getChild(0));
      std::vector<double> values;
      for (int i = 0; i < kCells; ++i)
        values.insert(values.end(), way == PerCell ? 1 : 4, min + (i + 0.5) / kCells * (max - min));
      const MbDataSetI<double> set(
          "v", way == PerCell ? MiDataBinding::PerCell : MiDataBinding::PerNode, values);
      auto* camera = cameraAt(0.5f, 0.5f, 1, 1);
      camera->viewportMapping = SoCamera::LEAVE_ALONE;
      auto* unlit = new SoLightModel;
      unlit->model = SoLightModel::BASE_COLOR;
      // The shader program lights all the same: with all of the light, and nothing of its own.
      auto* light = new SoDirectionalLight;
      auto* noAmbient = new SoMaterial;
      noAmbient->ambientColor.setValue(0, 0, 0);
      auto* meshNode = new MoMesh;
      meshNode->setMesh(&mesh);
      auto* setNode = new MoScalarSet;
      setNode->setScalarSet(&set);
      auto* binding = new MoDataBinding;
      binding->dataBinding = MoDataBinding::AUTO;
      auto* material = new MoMaterial;
      material->enhancedColoring = way == Enhanced;
      for (SoNode* node :
           std::initializer_list<SoNode*>{camera, unlit, light, noAmbient, meshNode, setNode,
                                          binding, material, new MoMeshSurface})
        scene.root->addChild(node);
      const MbImage image = drawScene(scene.root, 640, 64);
      ASSERT_FALSE(image.empty());
      for (int i = 0; i < kCells; ++i) {
        const auto bar = pixel(image, (i + 0.5) / kCells, 0.75);
        const auto surface = pixel(image, (i + 0.5) / kCells, 0.25);
        for (int channel = 0; channel < 3; ++channel)
          EXPECT_NEAR(bar[channel], surface[channel], c.tolerance) << i << " " << channel;
      }
    }
}

TEST(MoLegend, KeepsOutlineFontsSharp)
{
  // Digits as high as the toolkit's built-in fonts cannot be.
  if (!drawsUsualFont()) GTEST_SKIP() << "the usual font is not there";
  Scene scene(levels());
  scene.legend->topRight.setValue(0.1f, 0.75f);
  scene.legend->title = "I I I I";
  scene.legend->titlePosition = MoLegend::POS_RIGHT;
  scene.legend->titleFontSize = 200;
  scene.legend->titleColor.setValue(0, 0, 0);
  const MbImage image = drawScene(scene.root, 800, 400);
  int tallest = 0;
  for (int x = 100; x < image.width; ++x) {
    int dark = 0;
    for (int y = 0; y < image.height; ++y)
      dark += pixel(image, (x + 0.5) / image.width, (y + 0.5) / image.height)[0] < 64;
    tallest = std::max(tallest, dark);
  }
  EXPECT_NEAR(tallest, 146, 12); // capitals are 0.73 of the size
}
