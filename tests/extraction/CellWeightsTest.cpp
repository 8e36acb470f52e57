#include <velmo/extraction/algorithms/locate/MxCellWeights.h>

#include <gmock/gmock.h>

#include <cmath>
#include <random>

using testing::DoubleNear;
using testing::ElementsAre;

namespace {

using Polygon = std::vector<MbVec3d>;

Polygon regular(int count, double bump = 0)
{
  Polygon polygon;
  for (int i = 0; i < count; ++i) {
    const double a = 2 * M_PI * i / count, r = 1 + bump * (i % 2);
    polygon.push_back({r * std::cos(a), r * std::sin(a), 0});
  }
  return polygon;
}

std::vector<double> weightsOf(const Polygon& polygon, const MbVec3d& at)
{
  std::vector<double> weights;
  polygonWeights(polygon, at, weights);
  return weights;
}

MbVec3d mixed(const Polygon& polygon, const std::vector<double>& weights)
{
  MbVec3d sum;
  for (std::size_t i = 0; i < polygon.size(); ++i)
    sum += polygon[i] * weights[i];
  return sum;
}

// Somewhere far away, turned and scaled.
MbVec3d placed(const MbVec3d& p)
{
  return {1e5 + 3 * p.x - p.y, 3 * p.y + p.x, 0.5 * p.x + 2 * p.y};
}

// The weights of the shader that colours inside polygons, from cotangents.
std::vector<double> cotangentWeights(const Polygon& polygon, const MbVec3d& at)
{
  const std::size_t n = polygon.size();
  const auto cotangent = [](const MbVec3d& a, const MbVec3d& b) {
    return dot(a, b) / length(cross(a, b));
  };
  std::vector<double> weights;
  double sum = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const MbVec3d p = at - polygon[i];
    weights.push_back((cotangent(p, polygon[(i + 1) % n] - polygon[i]) +
                       cotangent(p, polygon[(i + n - 1) % n] - polygon[i])) /
                      dot(p, p));
    sum += weights.back();
  }
  for (double& weight : weights)
    weight /= sum;
  return weights;
}

} // namespace

TEST(CellWeights, ReproduceEveryPointInsideAPolygon)
{
  std::mt19937 random(5);
  std::uniform_real_distribution<double> unit(-1.2, 1.2);
  for (const Polygon& flat :
       {regular(3), regular(4), regular(5), regular(9), regular(10, -0.6), regular(300),
        Polygon{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0.5, 0.1, 0}, {0, 1, 0}},
        Polygon{{-1, -1, 0}, {0, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}}})
  {
    Polygon polygon;
    for (const MbVec3d& p : flat)
      polygon.push_back(placed(p));
    const Polygon backwards(polygon.rbegin(), polygon.rend());
    for (int i = 0; i < 200; ++i) {
      const MbVec3d at = placed({unit(random), unit(random), 0});
      const auto weights = weightsOf(polygon, at);
      double sum = 0;
      for (const double weight : weights)
        sum += weight;
      EXPECT_NEAR(sum, 1, 1e-12);
      const MbVec3d seen = mixed(polygon, weights);
      // Outside, the nearest point of the outline counts.
      const auto again = mixed(polygon, weightsOf(polygon, seen));
      EXPECT_LT(length(again - seen), 1e-8);
      const auto other = weightsOf(backwards, at);
      for (std::size_t k = 0; k < other.size(); ++k)
        ASSERT_NEAR(other[k], weights[weights.size() - 1 - k], 1e-7);
    }
  }
}

TEST(CellWeights, AreTheUsualOnesWhereThereAreSuch)
{
  const Polygon square{{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}};
  const auto near = [](double value) { return DoubleNear(value, 1e-14); };
  EXPECT_THAT(weightsOf(square, {0.5, 0.25, 0}),
              ElementsAre(near(0.5625), near(0.1875), near(0.0625), near(0.1875)))
      << "bilinear";
  EXPECT_THAT(weightsOf(regular(3), {0, 0, 0}),
              ElementsAre(near(1 / 3.), near(1 / 3.), near(1 / 3.)));
  EXPECT_THAT(weightsOf(square, {2, 1, 0}), ElementsAre(0, 0, 1, 0)) << "a corner";
  EXPECT_THAT(weightsOf(square, {0.5, 0, 0}), ElementsAre(0.75, 0.25, 0, 0)) << "an edge";
  EXPECT_THAT(weightsOf(square, {3, 5, 0}), ElementsAre(0, 0, 1, 0)) << "outside";
  EXPECT_EQ(weightsOf(square, {0.5, 0.25, 7}), weightsOf(square, {0.5, 0.25, 0}))
      << "seen along the area";

  Polygon heptagon = regular(7);
  heptagon[2] = heptagon[2] * 1.1;
  for (const MbVec3d at : {MbVec3d{0.1, 0.2, 0}, MbVec3d{-0.5, 0.3, 0}, MbVec3d{0.85, 0.02, 0}}) {
    const auto mine = weightsOf(heptagon, at), shaders = cotangentWeights(heptagon, at);
    for (std::size_t i = 0; i < mine.size(); ++i)
      EXPECT_NEAR(mine[i], shaders[i], 1e-10);
  }
}

TEST(CellWeights, AnswerForDegenerateCells)
{
  EXPECT_THAT(weightsOf({{1, 2, 3}}, {0, 0, 0}), ElementsAre(1));
  EXPECT_THAT(weightsOf({{0, 0, 0}, {4, 0, 0}}, {1, 1, 0}), ElementsAre(0.75, 0.25));
  EXPECT_THAT(weightsOf({{0, 0, 0}, {4, 0, 0}, {8, 0, 0}}, {6, 1, 0}), ElementsAre(0, 0.5, 0.5));
  EXPECT_THAT(weightsOf({{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}, {6, 1, 0}), ElementsAre(1, 0, 0));
  std::vector<double> weights;
  polylineWeights(Polygon{{0, 0, 0}, {1, 0, 0}, {1, 2, 0}}, {1.5, 0.5, 0}, weights);
  EXPECT_THAT(weights, ElementsAre(0, 0.75, 0.25));
}
