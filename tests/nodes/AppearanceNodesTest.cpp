#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/nodes/MoTessellatorElement.h>

#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <tests/support/StateProbe.h>

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

class StampedTessellator : public MiTessellator
{
public:
  std::uint64_t getTimeStamp() const override { return stamp; }
  bool tessellate(MiCellShape, std::span<const MbVec3d>, MiTessellation&) const override
  {
    return false;
  }
  std::uint64_t stamp = 11;
};

template <class Element>
std::unique_ptr<SoElement> elementBehind(SoNode* node)
{
  std::unique_ptr<SoElement> copy;
  lookBehind(
      [&](SoState* state) {
        copy.reset(state->getConstElement(Element::getClassStackIndex())->copyMatchInfo());
      },
      node);
  return copy;
}

} // namespace

TEST(MoDrawStyle, CarriesItsFieldsAndDrawsFacesByDefault)
{
  bool faces = false, edges = true, points = true;
  lookBehind([&](SoState* state) {
    EXPECT_FALSE(MoDrawStyleElement::getDrawStyle(state, faces, edges, points));
    EXPECT_EQ(MoDrawStyleElement::getFadingThreshold(state), 0.0f);
  });
  EXPECT_THAT((std::vector{faces, edges, points}), ElementsAre(true, false, false));
  EXPECT_FALSE(MoDrawStyleElement::getDrawStyle(nullptr, faces, edges, points));

  const SoRef<MoDrawStyle> node(new MoDrawStyle);
  lookBehind(
      [&](SoState* state) {
        EXPECT_TRUE(MoDrawStyleElement::getDrawStyle(state, faces, edges, points));
      },
      node.get());
  EXPECT_THAT((std::vector{faces, edges, points}), ElementsAre(true, false, false));
  node->displayFaces = FALSE;
  node->displayPoints = TRUE;
  node->fadingThreshold = 2.5f;
  lookBehind(
      [&](SoState* state) {
        EXPECT_TRUE(MoDrawStyleElement::getDrawStyle(state, faces, edges, points));
        EXPECT_EQ(MoDrawStyleElement::getFadingThreshold(state), 2.5f);
      },
      node.get());
  EXPECT_THAT((std::vector{faces, edges, points}), ElementsAre(false, false, true));
}

TEST(MoMaterial, ContoursByDefaultAndCarriesItsFields)
{
  const auto isDefault = [](const MoMaterialElementValues& values) {
    return values.faceColoring == MoMaterial::CONTOURING &&
           values.lineColoring == MoMaterial::CONTOURING &&
           values.pointColoring == MoMaterial::CONTOURING && values.faceColor == SbColor(1, 1, 1) &&
           values.lineColor == SbColor(1, 0, 0) && values.pointColor == SbColor(0, 1, 0) &&
           values.transparency == 0 && !values.enhancedColoring;
  };
  lookBehind([&](SoState* state) {
    EXPECT_TRUE(isDefault(MoMaterialElement::getMaterial(state)));
    EXPECT_FALSE(MoMaterialElement::getMaterial(state).isSet);
  });
  EXPECT_TRUE(isDefault(MoMaterialElement::getMaterial(nullptr)));

  const SoRef<MoMaterial> node(new MoMaterial);
  lookBehind(
      [&](SoState* state) {
        EXPECT_TRUE(isDefault(MoMaterialElement::getMaterial(state)));
        EXPECT_TRUE(MoMaterialElement::getMaterial(state).isSet);
      },
      node.get());

  node->faceColoring = MoMaterial::COLOR;
  node->faceColor.setValue(0.1f, 0.2f, 0.3f);
  node->lineColor.setValue(0.4f, 0.5f, 0.6f);
  EXPECT_TRUE(node->set("pointColoring COLOR pointColor 0.7 0.8 0.9"));
  node->transparency = 0.25f;
  node->enhancedColoring = TRUE;
  lookBehind(
      [&](SoState* state) {
        MoMaterial::ColoringType face, line, point;
        SbColor faceColor, lineColor, pointColor;
        float transparency;
        bool enhanced;
        EXPECT_TRUE(MoMaterialElement::getMaterial(state, face, faceColor, line, lineColor, point,
                                                   pointColor, transparency, enhanced));
        EXPECT_THAT((std::vector{face, line, point}),
                    ElementsAre(MoMaterial::COLOR, MoMaterial::CONTOURING, MoMaterial::COLOR));
        EXPECT_EQ(faceColor, SbColor(0.1f, 0.2f, 0.3f));
        EXPECT_EQ(lineColor, SbColor(0.4f, 0.5f, 0.6f));
        EXPECT_EQ(pointColor, SbColor(0.7f, 0.8f, 0.9f));
        EXPECT_EQ(transparency, 0.25f);
        EXPECT_TRUE(enhanced);
        MoMaterialElement::getColoringTypes(state, face, line, point);
        EXPECT_EQ(line, MoMaterial::CONTOURING);
        EXPECT_TRUE(MoMaterialElement::getEnhancedColoring(state));
      },
      node.get());
}

TEST(MoTessellator, TellsACallOfTheSetterAndAChangeOfTheTessellator)
{
  StampedTessellator tessellator;
  const SoRef<MoTessellator> node(new MoTessellator);
  const auto published = [&] {
    std::pair<const MiTessellator*, std::uint64_t> found;
    lookBehind(
        [&](SoState* state) {
          found.first = MoTessellatorElement::getTessellator(state, found.second);
        },
        node.get());
    return found;
  };
  EXPECT_EQ(published(), std::pair((const MiTessellator*)nullptr, ~std::uint64_t{0}));

  node->setTessellator(&tessellator);
  const auto first = published();
  EXPECT_EQ(first.first, &tessellator);
  const auto before = elementBehind<MoTessellatorElement>(node);
  EXPECT_EQ(static_cast<MoTessellatorElement*>(before.get())->getTimeStamp(), 11u);
  node->setTessellator(&tessellator);
  EXPECT_NE(published().second, first.second);

  node->setTessellator(nullptr);
  EXPECT_EQ(published().first, nullptr);
  const auto none = elementBehind<MoTessellatorElement>(node);
  EXPECT_EQ(static_cast<MoTessellatorElement*>(none.get())->getTimeStamp(), ~std::uint64_t{0});
}
