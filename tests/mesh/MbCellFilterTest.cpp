#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <gmock/gmock.h>

#include <cmath>

using testing::ElementsAre;

namespace {
constexpr MbIndex3 kCells{5, 3, 2};

std::vector<int> bulk(const MiCellFilterI& filter, std::size_t first, std::size_t last)
{
  std::vector<std::uint8_t> accepted(last - first, 7);
  filter.acceptCells(first, last, accepted.data());
  return {accepted.begin(), accepted.end()};
}

// The answers of a filter, a row at a time; each is checked against that for the cell alone.
std::vector<int> answers(const MiCellFilterIjk& filter)
{
  std::vector<int> all;
  std::vector<std::uint8_t> row(kCells.x);
  for (std::size_t k = 0; k < kCells.z; ++k)
    for (std::size_t j = 0; j < kCells.y; ++j) {
      filter.acceptRow(kCells.x, j, k, row.data());
      for (std::size_t i = 0; i < kCells.x; ++i) {
        EXPECT_EQ(row[i], filter.acceptCell(i, j, k) ? 1 : 0);
        all.push_back(row[i]);
      }
    }
  return all;
}
std::vector<int> answers(const MiCellFilterIj& filter)
{
  std::vector<int> all;
  std::vector<std::uint8_t> row(kCells.x);
  for (std::size_t j = 0; j < kCells.y; ++j) {
    filter.acceptRow(kCells.x, j, row.data());
    for (std::size_t i = 0; i < kCells.x; ++i) {
      EXPECT_EQ(row[i], filter.acceptCell(i, j) ? 1 : 0);
      all.push_back(row[i]);
    }
  }
  return all;
}

// Values that a filter can only ask for one by one.
class Procedural final : public MiScalardSetIjk
{
public:
  explicit Procedural(const MiScalardSetIjk& source) : m_source(source) {}
  MiDataBinding getBinding() const override { return MiDataBinding::PerCell; }
  std::uint64_t getTimeStamp() const override { return m_source.getTimeStamp(); }
  MbIndex3 getSizes() const override { return m_source.getSizes(); }
  double getValue(std::size_t i, std::size_t j, std::size_t k) const override
  {
    return m_source.getValue(i, j, k);
  }

private:
  const MiScalardSetIjk& m_source;
};

bool everyThird(std::size_t flat)
{
  return flat % 3 == 1;
}
} // namespace

TEST(MbCellFilter, OfAllSortsGiveTheSameAnswersInBulkAndAlone)
{
  const std::size_t count = kCells.x * kCells.y * kCells.z;
  std::vector<int> expected, numbers;
  std::vector<std::int16_t> values;
  std::vector<std::uint32_t> words(1);
  for (std::size_t cell = 0; cell < count; ++cell) {
    expected.push_back(everyThird(cell));
    numbers.push_back(everyThird(cell) ? -2 : 0);
    values.push_back(everyThird(cell) ? 12 : cell % 2 ? 9 : 16);
    words[0] |= static_cast<std::uint32_t>(everyThird(cell)) << cell;
  }
  const MbFunctionFilterIjk function([](std::size_t i, std::size_t j, std::size_t k) {
    return everyThird(i + kCells.x * (j + kCells.y * k));
  });
  EXPECT_EQ(answers(function), expected);
  EXPECT_EQ(answers(MbMaskFilterIjk(numbers, kCells)), expected);
  EXPECT_EQ(answers(MbMaskFilterIjk(words, kCells, MbMaskForm::Bit)), expected);
  const MbScalardSetIjk set("v", MiDataBinding::PerCell, kCells, values);
  // Both ends belong to the range.
  for (const auto& [min, max] : {std::pair(10, 15), {12, 15}, {10, 12}, {12, 12}}) {
    EXPECT_EQ(answers(MbValueRangeFilterIjk(set, min, max)), expected) << min << " " << max;
    EXPECT_EQ(answers(MbValueRangeFilterIjk(Procedural(set), min, max)), expected)
        << min << " " << max;
  }

  const MbScalardSetIj sheet("v", MiDataBinding::PerCell, kCells.x, kCells.y, values);
  expected.resize(kCells.x * kCells.y);
  EXPECT_EQ(answers(MbValueRangeFilterIj(sheet, 12, 12)), expected);
  EXPECT_EQ(answers(MbMaskFilterIj(numbers, kCells)), expected);
  EXPECT_EQ(answers(MbFunctionFilterIj(
                [](std::size_t i, std::size_t j) { return everyThird(i + kCells.x * j); })),
            expected);

  const MbScalardSetI row("v", MiDataBinding::PerCell, values);
  EXPECT_THAT(bulk(MbValueRangeFilterI(row, 10, 15), 3, 8), ElementsAre(0, 1, 0, 0, 1));
  EXPECT_THAT(bulk(MbMaskFilterI(words, kCells, MbMaskForm::Bit), 3, 8),
              ElementsAre(0, 1, 0, 0, 1));
  EXPECT_THAT(bulk(MbFunctionFilterI(everyThird), 3, 8), ElementsAre(0, 1, 0, 0, 1));
  EXPECT_THAT(bulk(MbFunctionFilterI(nullptr), 0, 2), ElementsAre(1, 1));
}

TEST(MbCellFilter, RangesOfIndicesAreHalfOpen)
{
  EXPECT_THAT(bulk(MbIndexRangeFilterI(2, 4), 0, 6), ElementsAre(0, 0, 1, 1, 0, 0));
  for (const std::size_t k : {0, 1}) {
    const std::vector<int> box =
        answers(MbIndexRangeFilterIjk(MbIndex3{1, 1, k}, MbIndex3{3, 2, k + 1}));
    for (std::size_t cell = 0; cell < box.size(); ++cell)
      EXPECT_EQ(box[cell], cell == 15 * k + 6 || cell == 15 * k + 7) << cell;
  }
  EXPECT_THAT(answers(MbIndexRangeFilterIj(MbIndex3{0, 2, 0}, MbIndex3{1, 3, 1})),
              ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0));
}

TEST(MbCellFilter, RefusesNaNAndCellsBeyondTheArray)
{
  const std::vector<float> values{1, NAN, 1};
  const MbScalardSetI set("v", MiDataBinding::PerCell, values);
  const MbValueRangeFilterI all(set, -INFINITY, INFINITY);
  EXPECT_THAT(bulk(all, 0, 5), ElementsAre(1, 0, 1, 0, 0));
  EXPECT_FALSE(all.acceptCell(7));
  EXPECT_THAT(bulk(MbMaskFilterI(values), 1, 5), ElementsAre(1, 1, 0, 0));
  EXPECT_THAT(bulk(MbMaskFilterI(MbNumbers{}), 0, 2), ElementsAre(0, 0));
  EXPECT_THROW(MbMaskFilterI(values, kCells, MbMaskForm::Bit), std::invalid_argument);
}

TEST(MbCellFilter, StampFollowsTheRangeAndTheSet)
{
  const std::vector<float> values{1, 2, 3};
  MbScalardSetI set("v", MiDataBinding::PerCell, values);
  MbValueRangeFilterI filter(set, 1, 2);
  const MbValueRangeFilterI other(set, 1, 2);
  const auto first = filter.getTimeStamp();
  EXPECT_NE(first, other.getTimeStamp());
  set.touch();
  const auto second = filter.getTimeStamp();
  EXPECT_NE(second, first);
  EXPECT_NE(second, other.getTimeStamp());
  filter.setRange(2, 3);
  EXPECT_NE(filter.getTimeStamp(), second);
  EXPECT_THAT(bulk(filter, 0, 3), ElementsAre(0, 1, 1));
}
