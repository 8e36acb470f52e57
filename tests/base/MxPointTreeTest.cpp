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

using Counts = std::array<std::size_t, 3>;

void buildGrid(MxPointTree& tree, bool parallel, const Counts& counts, const Boxes& boxes)
{
  ASSERT_EQ(boxes.size(), counts[0] * counts[1] * counts[2]);
  tree.buildGrid(parallel, counts, [&](std::size_t item, std::size_t count, MxBox3d* answer) {
    EXPECT_EQ(item / counts[0], (item + count - 1) / counts[0]) << "more than a row is asked for";
    std::copy_n(boxes.begin() + static_cast<std::ptrdiff_t>(item), count, answer);
  });
}

/// The cells of a lattice.
Boxes makeCells(const Counts& counts)
{
  Boxes boxes;
  for (std::size_t k = 0; k < counts[2]; ++k)
    for (std::size_t j = 0; j < counts[1]; ++j)
      for (std::size_t i = 0; i < counts[0]; ++i) {
        const double x = static_cast<double>(i), y = static_cast<double>(j),
                     z = static_cast<double>(k);
        boxes.push_back({{x, y, z}, {x + 1, y + 1, z + 1}});
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
  const Counts counts{20, 20, 20};
  const Boxes boxes = makeCells(counts);
  MxPointTree sorted, grid;
  sorted.build(false, boxes.size(), [&](std::size_t i) { return boxes[i]; });
  buildGrid(grid, false, counts, boxes);
  for (const MxPointTree* tree : {&sorted, &grid}) {
    std::size_t answers = 0;
    for (int n = 0; n < 1000; ++n)
      answers += itemsAt(*tree, {n * 0.019 + 0.3, n * 0.017 + 0.4, n * 0.013 + 0.45}).size();
    EXPECT_LT(answers, 1300u);
    EXPECT_THAT(itemsAt(*tree, {-0.1, 5, 5}), testing::IsEmpty());
    EXPECT_THAT(itemsAt(*tree, {5, 5, 20.1}), testing::IsEmpty());
  }
}

TEST(MxPointTree, OfAGridMissesNoBoxAndIsTheSameForAnyNumberOfThreads)
{
  for (const Counts& counts : {Counts{1, 1, 1}, Counts{5, 1, 1}, Counts{17, 1, 3},
                               Counts{1, 900, 7}, Counts{29, 41, 23}, Counts{3, 2, 7001}})
  {
    SCOPED_TRACE(testing::PrintToString(counts));
    const std::size_t count = counts[0] * counts[1] * counts[2];
    Boxes boxes = makeBoxes(count, 3);
    std::size_t lost = 0;
    for (std::size_t i = 3; i < count; i += 7, ++lost)
      boxes[i] = i % 2 ? MxBox3d::empty() : MxBox3d{{0, 0, 0}, {1, 1, std::nan("")}};
    MxPointTree serial, parallel;
    buildGrid(serial, false, counts, boxes);
    buildGrid(parallel, true, counts, boxes);
    EXPECT_EQ(serial.size(), count - lost);
    expectAllFound(serial, boxes);
    for (std::size_t i = 0; i < count; i += 50)
      ASSERT_EQ(itemsAt(serial, boxes[i].min), itemsAt(parallel, boxes[i].min));
  }
  MxPointTree none;
  buildGrid(none, true, {4, 2, 1}, Boxes(8, MxBox3d::empty()));
  EXPECT_TRUE(none.empty());
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
