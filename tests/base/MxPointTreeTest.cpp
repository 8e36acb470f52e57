#include <velmo/base/MxPointTree.h>

#include <gmock/gmock.h>
#include <random>

namespace {

using Boxes = std::vector<MxBox3d>;

std::vector<std::size_t> itemsAt(const MxPointTree& tree, const std::array<double, 3>& p)
{
  std::vector<std::size_t> items;
  tree.findAt(p, [&](std::size_t item) {
    items.push_back(item);
    return false;
  });
  return items;
}

bool holds(const MxBox3d& box, const std::array<double, 3>& p)
{
  bool inside = true;
  for (int a = 0; a < 3; ++a)
    inside = inside && box.min[a] <= p[a] && p[a] <= box.max[a];
  return inside;
}

/// Boxes of sizes and densities that differ by many orders, far from zero along X.
Boxes makeBoxes(std::size_t count, double shift)
{
  std::mt19937 random(7);
  std::uniform_real_distribution<double> uniform(0, 1);
  Boxes boxes;
  for (std::size_t i = 0; i < count; ++i) {
    MxBox3d box;
    for (int a = 0; a < 3; ++a) {
      box.min[a] = std::pow(10, -8 * uniform(random)) + (a == 0 ? shift : 0);
      box.max[a] = box.min[a] + std::pow(10, -2 - 8 * uniform(random));
    }
    boxes.push_back(box);
  }
  return boxes;
}

void expectAllFound(const MxPointTree& tree, const Boxes& boxes)
{
  for (std::size_t i = 0; i < boxes.size(); i += 1 + boxes.size() / 200)
    for (const auto& p : {boxes[i].min, boxes[i].max}) {
      const std::vector<std::size_t> found = itemsAt(tree, p);
      for (std::size_t other = 0; other < boxes.size(); ++other)
        if (holds(boxes[other], p)) {
          ASSERT_THAT(found, testing::Contains(other)) << "at box " << i;
        }
    }
}

} // namespace

TEST(MxPointTree, MissesNoBoxThatHoldsThePoint)
{
  for (const std::size_t count : {1u, 16u, 17u, 300u, 20000u})
    for (const double shift : {0.0, 1e6}) {
      const Boxes boxes = makeBoxes(count, shift);
      MxPointTree tree;
      tree.build(true, count, [&](std::size_t i) { return boxes[i]; });
      ASSERT_EQ(tree.size(), count);
      expectAllFound(tree, boxes);
    }
}

TEST(MxPointTree, AnswersFewThatDoNotHoldIt)
{
  Boxes boxes;
  for (int k = 0; k < 20; ++k)
    for (int j = 0; j < 20; ++j)
      for (int i = 0; i < 20; ++i)
        boxes.push_back({{i * 1., j * 1., k * 1.}, {i + 1., j + 1., k + 1.}});
  MxPointTree tree;
  tree.build(false, boxes.size(), [&](std::size_t i) { return boxes[i]; });
  std::size_t answers = 0;
  for (int n = 0; n < 1000; ++n)
    answers += itemsAt(tree, {n * 0.019 + 0.3, n * 0.017 + 0.4, n * 0.013 + 0.45}).size();
  EXPECT_LT(answers, 1300u);
  EXPECT_THAT(itemsAt(tree, {-0.1, 5, 5}), testing::IsEmpty());
  EXPECT_THAT(itemsAt(tree, {5, 5, 20.1}), testing::IsEmpty());
}

TEST(MxPointTree, BearsBoxesThatCannotBeToldApart)
{
  // All in one place, all in one plane, empty ones and such that are not finite.
  Boxes boxes(5000, MxBox3d{{1, 1, 1}, {2, 2, 2}});
  for (std::size_t i = 0; i < 1000; ++i)
    boxes[i] = {{i * 0.1, 3, 0.5}, {i * 0.1 + 0.1, 4, 0.5}};
  boxes[1000] = MxBox3d::empty();
  boxes[1001] = {{0, 0, 0}, {std::numeric_limits<double>::quiet_NaN(), 1, 1}};
  boxes[1002] = {{0, 0, 0}, {std::numeric_limits<double>::infinity(), 1, 1}};
  MxPointTree tree;
  tree.build(true, boxes.size(), [&](std::size_t i) { return boxes[i]; });
  EXPECT_EQ(tree.size(), boxes.size() - 3);
  EXPECT_EQ(itemsAt(tree, {1.5, 1.5, 1.5}).size(), 4000u - 3);
  EXPECT_THAT(itemsAt(tree, {50.05, 3.5, 0.5}), testing::Contains(500u));
  EXPECT_THAT(itemsAt(tree, {50.05, 3.5, 0.501}), testing::IsEmpty());
}

TEST(MxPointTree, IsTheSameForAnyNumberOfThreads)
{
  const Boxes boxes = makeBoxes(30000, 0);
  MxPointTree serial, parallel;
  serial.build(false, boxes.size(), [&](std::size_t i) { return boxes[i]; });
  parallel.build(true, boxes.size(), [&](std::size_t i) { return boxes[i]; });
  for (std::size_t i = 0; i < boxes.size(); i += 50)
    ASSERT_EQ(itemsAt(serial, boxes[i].min), itemsAt(parallel, boxes[i].min));
}
