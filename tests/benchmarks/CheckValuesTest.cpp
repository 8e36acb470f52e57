#include <benchmarks/compare/CheckValues.h>

#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <utility>
#include <vector>

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

/// The unit box away from the origin, its faces outward and face f from cell f.
CheckValues boxValues(bool reversed = false, std::uint64_t firstCell = 0)
{
  constexpr int kFaces[6][4] = {{0, 4, 6, 2}, {1, 3, 7, 5}, {0, 1, 5, 4},
                                {2, 6, 7, 3}, {0, 2, 3, 1}, {4, 5, 7, 6}};
  CheckValues values;
  values.vertices = 8;
  for (std::uint64_t face = 0; face < 6; ++face) {
    std::vector<double> corners;
    for (int i = 0; i < 4; ++i) {
      const int corner = kFaces[face][reversed ? 3 - i : i];
      for (int axis = 0; axis < 3; ++axis)
        corners.push_back(10 + (corner >> axis & 1));
    }
    values.addFace(corners.data(), 4, firstCell + face);
  }
  return values;
}

} // namespace

TEST(CheckValues, OfAUnitBoxTellItsSizeAndItsOrientation)
{
  const CheckValues box = boxValues();
  EXPECT_EQ(box.faces, 6u);
  EXPECT_NEAR(box.area, 6, 1e-12);
  EXPECT_NEAR(box.volume, 1, 1e-12);
  EXPECT_NEAR(boxValues(true).volume, -1, 1e-12);
}

TEST(CheckValues, DigestKnowsTheCellsButNotTheOrderOfTheFaces)
{
  constexpr double kTriangle[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
  CheckValues forward, backward, other;
  for (const auto& [a, b] : {std::pair{0u, 1u}, std::pair{1u, 2u}}) {
    forward.addFace(kTriangle, 3, a), forward.addFace(kTriangle, 3, b);
    backward.addFace(kTriangle, 3, b), backward.addFace(kTriangle, 3, a);
    other.addFace(kTriangle, 3, a), other.addFace(kTriangle, 3, a);
  }
  EXPECT_EQ(forward.cellDigest, backward.cellDigest);
  EXPECT_NE(forward.cellDigest, other.cellDigest);
}

TEST(CheckValues, DisagreementNamesWhatDiffersAndNothingElse)
{
  const CheckValues box = boxValues();
  EXPECT_EQ(disagreement(box, box, {}, true), "");

  CheckValues rounded = box;
  rounded.area *= 1 + 0.9e-6;
  EXPECT_EQ(disagreement(rounded, box, {}, true), "");
  rounded.area = box.area * (1 + 1.1e-6);
  EXPECT_THAT(disagreement(rounded, box, {}, true),
              AllOf(HasSubstr("area"), Not(HasSubstr("volume"))));

  CheckValues moreVertices = box;
  moreVertices.vertices = 24;
  EXPECT_EQ(disagreement(box, moreVertices, {}, false), "");
  EXPECT_EQ(disagreement(box, moreVertices, {}, true), "vertices 8 and 24");

  EXPECT_THAT(disagreement(boxValues(true), box, {}, true), HasSubstr("volume"));
  EXPECT_THAT(disagreement(boxValues(false, 1), box, {}, true), HasSubstr("digest"));
  CheckValues undefined = box;
  undefined.area = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THAT(disagreement(undefined, box, {}, true), HasSubstr("area"));

  // A step is a tenth of the box of 1000 cells, and a hundredth of that of a million.
  CheckRule ofSteps;
  ofSteps.perStep = 1;
  CheckValues longer = box;
  longer.area *= 1.09;
  EXPECT_EQ(disagreement(longer, box, ofSteps, true, 1000), "");
  EXPECT_THAT(disagreement(longer, box, ofSteps, true, 1000000), HasSubstr("area"));
}
