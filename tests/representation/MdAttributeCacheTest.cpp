#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MoCombineColorMapping.h>
#include <velmo/colormapping/MoLinearColorMapping.h>
#include <velmo/colormapping/MoUndefinedColor.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/representation/caches/MdAttributeCache.h>

#include <tests/support/OneColor.h>
#include <tests/support/StateProbe.h>

#include <gtest/gtest.h>
#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/nodes/SoSeparator.h>

#include <functional>

TEST(MdAttributeCache, EndsWithAnyChangeOfWhatThingsLookLike)
{
  OneColor grey;
  const SoRef<SoSeparator> root(new SoSeparator);
  const auto add = [&](auto* node) {
    root->addChild(node);
    return node;
  };
  auto* style = add(new MoDrawStyle);
  auto* material = add(new MoMaterial);
  auto* mapping = add(new MoLinearColorMapping);
  auto* combine = add(new MoCombineColorMapping);
  auto* undefined = add(new MoUndefinedColor);
  combine->setColorMapping(&grey);
  const std::pair<const char*, std::function<void()>> changes[] = {
      {"draw style", [&] { style->displayEdges = TRUE; }},
      {"material", [&] { material->faceColor = SbColor(1, 0, 0); }},
      {"mapping",
       [&] { mapping->values.set1Value(0, 4.0f), mapping->colors.set1Value(0, 1, 1, 1, 1); }},
      {"combined mapping", [&] { grey.touch(); }},
      {"undefined colour", [&] { undefined->color = SbColor(0, 1, 0); }}};
  SoRef<MdAttributeCache> cache;
  bool isValid = false;
  const StateProbe probe([&](SoAction* action) {
    SoState* state = action->getState();
    isValid = cache && cache->isValid(state);
    if (!isValid) cache = MdAttributeCache::build(state);
  });
  root->addChild(probe.node());
  const auto traverse = [&] {
    SoCallbackAction().apply(root);
    return isValid;
  };
  traverse();
  for (const auto& [what, change] : changes) {
    EXPECT_TRUE(traverse()) << "before another " << what;
    change();
    EXPECT_FALSE(traverse()) << what;
  }
}
