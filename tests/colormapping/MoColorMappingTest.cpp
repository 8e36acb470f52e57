#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/colormapping/MdLinearColorMapping.h>
#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/colormapping/MoCombineColorMapping.h>
#include <velmo/colormapping/MoCombineColorMappingElement.h>
#include <velmo/colormapping/MoCustomColorMapping.h>
#include <velmo/colormapping/MoLevelColorMapping.h>
#include <velmo/colormapping/MoLinearColorMapping.h>
#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/toolkit/classes/SoRef.h>

#include "tests/support/SceneQueries.h"
#include "tests/support/StateProbe.h"
#include "tests/support/WarningLog.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ConstantMapping : public MiScalarColorMapping
{
public:
  SbColorRGBA getColor(double) const override { return {1, 0, 0, 1}; }
  void getRange(double& min, double& max) const override { min = max = 0; }
  std::uint64_t getTimeStamp() const override { return stamp; }
  std::uint64_t stamp = 7;
};

class ConstantCombination : public MiCombineColorMapping
{
public:
  SbColorRGBA getColor(std::vector<double>) const override { return {1, 0, 0, 1}; }
  void getRange(double& min, double& max) const override { min = max = 0; }
  std::uint64_t getTimeStamp() const override { return 8; }
};

/// A scene that remembers the mappings in force at its end.
class Scene
{
public:
  explicit Scene(std::initializer_list<SoNode*> nodes)
  {
    for (SoNode* node : nodes)
      m_root->addChild(node);
    m_root->addChild(m_probe.node());
  }

  const MiScalarColorMapping* traverse()
  {
    SoCallbackAction().apply(m_root);
    return m_mapping;
  }
  const MiScalarColorMapping* traverseForBoundingBox()
  {
    boxOf(m_root);
    return m_mapping;
  }
  const MiCombineColorMapping* combination() const { return m_combination; }

private:
  StateProbe m_probe{[this](SoAction* action) {
    m_mapping = MoColorMappingElement::getColorMapping(action->getState());
    m_combination = MoCombineColorMappingElement::getColorMapping(action->getState());
  }};
  SoRef<SoSeparator> m_root{new SoSeparator};
  const MiScalarColorMapping* m_mapping = nullptr;
  const MiCombineColorMapping* m_combination = nullptr;
};

MoLinearColorMapping* blackToClearWhite()
{
  auto* node = new MoLinearColorMapping;
  node->values.set1Value(0, 0);
  node->values.set1Value(1, 1);
  node->colors.set1Value(0, SbVec4f(0, 0, 0, 1));
  node->colors.set1Value(1, SbVec4f(1, 1, 1, 0));
  return node;
}

template <class Node>
void fill(Node* node, int valueCount, int colorCount)
{
  node->values.setNum(0);
  node->colors.setNum(0);
  for (int i = 0; i < valueCount; ++i)
    node->values.set1Value(i, static_cast<float>(i));
  for (int i = 0; i < colorCount; ++i)
    node->colors.set1Value(i, SbVec4f(0, 0.25f * i, 0, 1));
}

} // namespace

TEST(MoColorMappingTest, LinearNodeSetsItsMappingAndRestampsItOnlyForChanges)
{
  auto* node = blackToClearWhite();
  Scene scene{node};
  const MiScalarColorMapping* mapping = scene.traverse();
  ASSERT_NE(dynamic_cast<const MdLinearColorMapping*>(mapping), nullptr);
  EXPECT_EQ(mapping->getColor(0.25), SbColorRGBA(0.25f, 0.25f, 0.25f, 0.75f));

  const auto stamp = mapping->getTimeStamp();
  EXPECT_EQ(scene.traverse(), mapping);
  EXPECT_EQ(scene.traverseForBoundingBox(), mapping);
  EXPECT_EQ(mapping->getTimeStamp(), stamp);

  node->minThresholdEnable = TRUE;
  node->minThresholdValue = 0.5f;
  node->minThresholdColor = SbVec4f(0, 1, 0, 1);
  EXPECT_EQ(mapping->getTimeStamp(), stamp); // only a traversal looks at the fields
  scene.traverse();
  EXPECT_NE(mapping->getTimeStamp(), stamp);
  EXPECT_EQ(mapping->getColor(0.4999), SbColorRGBA(0, 1, 0, 1));
  node->maxThresholdEnable = TRUE;
  node->maxThresholdValue = 0.75f;
  node->maxThresholdColor = SbVec4f(0, 0, 1, 1);
  scene.traverse();
  EXPECT_EQ(mapping->getColor(0.76), SbColorRGBA(0, 0, 1, 1));
}

TEST(MoColorMappingTest, LinearNodeRefusesUnequalCountsAtEachTraversal)
{
  auto* first = blackToClearWhite();
  auto* second = new MoLinearColorMapping;
  Scene scene{first, second};
  WarningLog errors;
  const MiScalarColorMapping* earlier = scene.traverse();
  ASSERT_NE(earlier, nullptr); // the empty node leaves the earlier mapping
  fill(second, 2, 0);
  EXPECT_EQ(scene.traverse(), earlier);
  EXPECT_THAT(errors.texts(), IsEmpty());

  fill(second, 2, 3);
  EXPECT_EQ(scene.traverse(), earlier);
  EXPECT_EQ(scene.traverse(), earlier);
  const char* text = "MoLinearColorMappig: Linear colormapping requires exactly the "
                     "same count of values and colors.";
  EXPECT_THAT(errors.texts(), ElementsAre(text, text));
  fill(second, 3, 3);
  EXPECT_NE(scene.traverse(), earlier);
}

TEST(MoColorMappingTest, LevelNodeWantsOneValueMoreThanColors)
{
  auto* node = new MoLevelColorMapping;
  Scene scene{node};
  WarningLog errors;
  EXPECT_EQ(scene.traverse(), nullptr);
  fill(node, 3, 3);
  EXPECT_EQ(scene.traverse(), nullptr);
  EXPECT_THAT(errors.texts(), ElementsAre("MoLevelColorMappig: Level colormapping "
                                          "requires exactly one more value than provided colors."));

  fill(node, 4, 3);
  const auto* mapping = dynamic_cast<const MdLevelColorMapping*>(scene.traverse());
  ASSERT_NE(mapping, nullptr);
  EXPECT_THAT(mapping->levels(), ElementsAre(0, 1, 2, 3));
  const auto stamp = mapping->getTimeStamp();
  scene.traverse();
  EXPECT_EQ(mapping->getTimeStamp(), stamp);
  node->minThresholdEnable = TRUE;
  node->minThresholdValue = 1.5f;
  node->maxThresholdEnable = TRUE;
  node->maxThresholdValue = 2.5f;
  scene.traverse();
  EXPECT_NE(mapping->getTimeStamp(), stamp);
  EXPECT_THAT(mapping->levels(), ElementsAre(0, 1.5, 2, 2.5, 3));
}

TEST(MoColorMappingTest, PredefinedNodeSetsTheChosenMapOverItsRange)
{
  const SoRef<MoPredefinedColorMapping> node(new MoPredefinedColorMapping);
  EXPECT_EQ(node->predefColorMap.getValue(), MoPredefinedColorMapping::NONE);
  Scene scene{node};
  EXPECT_EQ(scene.traverse(), nullptr);
  EXPECT_EQ(node->getColorMapping(), nullptr);

  node->predefColorMap = MoPredefinedColorMapping::INTENSITY;
  const MiScalarColorMapping* mapping = scene.traverse();
  ASSERT_NE(mapping, nullptr);
  const auto stamp = mapping->getTimeStamp();
  scene.traverse();
  EXPECT_EQ(mapping->getTimeStamp(), stamp);
  node->maxValue = 4;
  EXPECT_EQ(scene.traverse(), mapping);
  EXPECT_NE(mapping->getTimeStamp(), stamp);
  EXPECT_EQ(mapping->getColor(2), SbColorRGBA(0.5f, 0.5f, 0.5f, 1));

  node->predefColorMap.setValue(99);
  EXPECT_EQ(scene.traverse(), nullptr);
}

TEST(MoColorMappingTest, PredefinedNodeKeepsTheNamesAndNumbersOfItsMaps)
{
  const SoRef<MoPredefinedColorMapping> node(new MoPredefinedColorMapping);
  const char* names[] = {"NONE",           "GREY",      "TEMPERATURE",   "PHYSICS",
                         "STANDARD",       "GLOW",      "BLUE_RED",      "SEISMIC",
                         "BLUE_WHITE_RED", "INTENSITY", "RAINBOW_TURBO", "VIRIDIS"};
  for (int i = 0; i < static_cast<int>(std::size(names)); ++i) {
    ASSERT_TRUE(node->set((std::string("predefColorMap ") + names[i]).c_str()));
    EXPECT_EQ(node->predefColorMap.getValue(), i) << names[i];
  }
}

TEST(MoColorMappingTest, CustomAndCombineNodesPassOnTheApplicationsMapping)
{
  const ConstantMapping mapping;
  const ConstantCombination combination;
  const SoRef<MoCustomColorMapping> custom(new MoCustomColorMapping);
  const SoRef<MoCombineColorMapping> combine(new MoCombineColorMapping);
  Scene scene{custom, combine};
  EXPECT_EQ(scene.traverse(), nullptr);
  EXPECT_EQ(scene.combination(), nullptr);

  const auto customId = custom->getNodeId();
  const auto combineId = combine->getNodeId();
  custom->setColorMapping(&mapping);
  combine->setColorMapping(&combination);
  EXPECT_NE(custom->getNodeId(), customId); // touched
  EXPECT_NE(combine->getNodeId(), combineId);
  EXPECT_EQ(custom->getColorMapping(), &mapping);
  EXPECT_EQ(combine->getColorMapping(), &combination);
  EXPECT_EQ(scene.traverse(), &mapping);
  EXPECT_EQ(scene.combination(), &combination);

  // So do their copies.
  const SoRef<MoCustomColorMapping> copy(static_cast<MoCustomColorMapping*>(custom->copy()));
  const SoRef<MoCombineColorMapping> other(static_cast<MoCombineColorMapping*>(combine->copy()));
  Scene copies{copy, other};
  EXPECT_EQ(copies.traverse(), &mapping);
  EXPECT_EQ(copies.combination(), &combination);
}

TEST(MoColorMappingTest, ElementsMatchWhenTheirStampsDo)
{
  const SoRef<MoCustomColorMapping> node(new MoCustomColorMapping);
  ConstantMapping one;
  ConstantMapping other;
  SoCallbackAction action;
  SoState* state = action.getState();
  const int index = MoColorMappingElement::getClassStackIndex();

  EXPECT_EQ(MoColorMappingElement::getColorMapping(state), nullptr);
  MoColorMappingElement::set(state, node, &one);
  SoElement* copy = state->getConstElement(index)->copyMatchInfo();
  MoColorMappingElement::set(state, node, &other);
  EXPECT_TRUE(state->getConstElement(index)->matches(copy));
  other.stamp = 9;
  MoColorMappingElement::set(state, node, &other);
  EXPECT_FALSE(state->getConstElement(index)->matches(copy));
  MoColorMappingElement::set(state, node, nullptr);
  EXPECT_FALSE(state->getConstElement(index)->matches(copy));
  delete copy;
}
