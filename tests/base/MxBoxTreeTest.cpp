#include <velmo/base/MxBoxTree.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <tbb/global_control.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Point = std::array<double, 3>;

std::vector<MxBox3d> randomBoxes(std::size_t count, const Point& origin, unsigned seed)
{
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> place(-1, 1), size(0, 0.05);
  std::vector<MxBox3d> boxes(count);
  for (MxBox3d& box : boxes)
    for (int a = 0; a < 3; ++a) {
      box.min[a] = origin[a] + place(random);
      box.max[a] = box.min[a] + size(random);
    }
  return boxes;
}

std::vector<std::size_t> onLine(const MxBoxTree& tree, const Point& origin, const Point& direction)
{
  std::vector<std::size_t> found;
  tree.forEachOnLine(origin, direction, [&](std::size_t i) { found.push_back(i); });
  return found;
}

bool lineMeets(const MxBox3d& box, const Point& from, const Point& along)
{
  double enter = -1e300, leave = 1e300;
  for (int a = 0; a < 3; ++a) {
    double one = (box.min[a] - from[a]) / along[a], other = (box.max[a] - from[a]) / along[a];
    if (one > other) std::swap(one, other);
    enter = std::max(enter, one);
    leave = std::min(leave, other);
  }
  return enter <= leave;
}

} // namespace

TEST(MxBoxTree, FindsEveryBoxThatALineOrABoxMeets)
{
  // Far from zero single precision cannot tell the boxes apart; the tree keeps them about a centre.
  const Point origin{1e7, -2e7, 3e7};
  const auto boxes = randomBoxes(20000, origin, 1);
  MxBoxTree tree;
  tree.build(boxes.size(), [&](std::size_t i) { return boxes[i]; });
  EXPECT_EQ(tree.size(), boxes.size());

  std::mt19937 random(2);
  std::uniform_real_distribution<double> place(-1, 1);
  std::size_t reported = 0, exact = 0;
  for (int q = 0; q < 200; ++q) {
    const Point from{origin[0] + place(random), origin[1] + place(random),
                     origin[2] + place(random)};
    const Point along{place(random), place(random), place(random)};
    auto found = onLine(tree, from, along);
    std::sort(found.begin(), found.end());
    ASSERT_EQ(std::adjacent_find(found.begin(), found.end()), found.end()) << "found twice";
    reported += found.size();
    for (std::size_t i = 0; i < boxes.size(); ++i)
      if (lineMeets(boxes[i], from, along)) {
        ++exact;
        ASSERT_TRUE(std::binary_search(found.begin(), found.end(), i)) << "box " << i;
      }

    const MxBox3d region{from, {from[0] + 0.1, from[1] + 0.1, from[2] + 0.1}};
    std::vector<std::size_t> within;
    tree.forEachIn(region, [&](std::size_t i) { within.push_back(i); });
    std::sort(within.begin(), within.end());
    for (std::size_t i = 0; i < boxes.size(); ++i) {
      bool overlaps = true;
      for (int a = 0; a < 3; ++a)
        overlaps &= boxes[i].min[a] <= region.max[a] && region.min[a] <= boxes[i].max[a];
      ASSERT_TRUE(!overlaps || std::binary_search(within.begin(), within.end(), i));
    }
  }
  EXPECT_GT(exact, 100u);
  EXPECT_LT(reported, 200 * boxes.size() / 50) << "most of the boxes are never looked at";
}

TEST(MxBoxTree, IsTheSameForAnyNumberOfThreadsAndFollowsRefits)
{
  auto boxes = randomBoxes(50000, {0, 0, 0}, 3);
  const auto boxOf = [&](std::size_t i) { return boxes[i]; };
  MxBoxTree tree, serial;
  tree.build(boxes.size(), boxOf);
  {
    const tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
    serial.build(boxes.size(), boxOf);
  }
  const Point from{0.1, 0.2, -3}, along{0.01, 0.02, 1};
  EXPECT_EQ(onLine(tree, from, along), onLine(serial, from, along));

  for (MxBox3d& box : boxes)
    for (int a = 0; a < 3; ++a) {
      box.min[a] += 0.5;
      box.max[a] += 0.5;
    }
  tree.refit(boxOf);
  const Point moved{0.6, 0.7, -2.5};
  EXPECT_EQ(onLine(tree, moved, along).size(), onLine(serial, from, along).size());
}

TEST(MxBoxTree, LeavesOutEmptyAndBrokenBoxesAndFindsFlatOnes)
{
  MxBoxTree tree;
  EXPECT_THAT(onLine(tree, {0, 0, 0}, {1, 0, 0}), IsEmpty());
  tree.build(0, [](std::size_t) { return MxBox3d::empty(); });
  EXPECT_THAT(onLine(tree, {0, 0, 0}, {1, 0, 0}), IsEmpty());

  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double far = std::numeric_limits<double>::infinity();
  // Leaves hold four items: the broken ones fill leaves of their own.
  std::vector<MxBox3d> boxes(16, MxBox3d{{nan, 0, 0}, {1, 1, 1}});
  boxes[1] = MxBox3d{{-far, 0, 0}, {far, 1, 1}};
  boxes[15] = MxBox3d{{0, 0, 2}, {1, 1, 2}};
  tree.build(boxes.size(), [&](std::size_t i) { return boxes[i]; });
  std::vector<std::size_t> found = onLine(tree, {0.5, 0.5, -9}, {0, 0, 1});
  EXPECT_TRUE(std::count(found.begin(), found.end(), 15u));
  EXPECT_LE(found.size(), 4u);
  found = onLine(tree, {-3, 0.5, 2}, {1, 0, 0});
  EXPECT_TRUE(std::count(found.begin(), found.end(), 15u)) << "a line in the plane of a flat box";
  EXPECT_THAT(onLine(tree, {-3, 1.5, 2}, {1, 0, 0}), IsEmpty());

  boxes.assign(1, MxBox3d::empty());
  tree.build(1, [&](std::size_t i) { return boxes[i]; });
  EXPECT_THAT(onLine(tree, {0, 0, 0}, {0, 0, 1}), IsEmpty());
}
