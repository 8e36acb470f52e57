#include <velmo/mesh/MbDataSet.h>

#include <gmock/gmock.h>

TEST(MbDataSet, ReadsTheApplicationsArrayInPlaceInItsOwnOrder)
{
  std::vector<std::int16_t> numbers(24);
  for (std::size_t n = 0; n < numbers.size(); ++n)
    numbers[n] = static_cast<std::int16_t>(n);
  const MbScalardSetI row("row", MiDataBinding::PerNode, numbers);
  const MbScalardSetIj sheet("sheet", MiDataBinding::PerCell, 4, 6, numbers);
  const MbScalardSetIjk grid("grid", MiDataBinding::PerNode, {2, 3, 4}, numbers);
  const MbVec3dSetIjk flow("flow", MiDataBinding::PerCell, {2, 2, 2}, numbers);
  for (const MiArrayView& view : {row.getView(), sheet.getView(), grid.getView(), flow.getView()}) {
    EXPECT_EQ(view.data, numbers.data());
    EXPECT_EQ(view.type, MiScalarType::Int16);
  }
  EXPECT_EQ(row.getSize(), 24u);
  EXPECT_EQ(row.getValue(23), 23);
  EXPECT_EQ(sheet.getValue(1, 2), 9);
  EXPECT_EQ(grid.getValue(1, 2, 3), 23);
  EXPECT_EQ(flow.getValue(1, 1, 0), (MbVec3d{9, 10, 11}));
  EXPECT_EQ(grid.getName(), "grid");
  EXPECT_EQ(grid.getBinding(), MiDataBinding::PerNode);
}

TEST(MbDataSet, HoldsTextsBorrowedOrMovedIn)
{
  const std::vector<std::string> names{"a", "b", "c", "d"};
  const MbStringSetIj borrowed("names", MiDataBinding::PerCell, 2, 2, names);
  EXPECT_EQ(borrowed.getValue(0, 1), "c");
  const auto moved = std::make_unique<MbStringSetI>("names", MiDataBinding::PerCell,
                                                    std::vector<std::string>{"x", "y"});
  const MbStringSetI copy(*moved);
  EXPECT_EQ(copy.getValue(1), "y");
  EXPECT_FALSE(copy.getView());
}

TEST(MbDataSet, RefusesAnArrayShorterThanItsSizesAndKeepsTheOldOne)
{
  const std::vector<float> seven(7), eight(8, 2);
  EXPECT_THROW(MbScalardSetIjk("v", MiDataBinding::PerCell, {2, 2, 2}, seven),
               std::invalid_argument);
  EXPECT_THROW(MbVec3dSetIj("v", MiDataBinding::PerCell, 1, 3, std::vector<float>(6)),
               std::invalid_argument);
  EXPECT_THROW(MbStringSetIj("v", MiDataBinding::PerCell, 1, 2, std::vector<std::string>(1)),
               std::invalid_argument);
  MbScalardSetIjk set("v", MiDataBinding::PerCell, {2, 2, 2}, eight);
  const auto stamp = set.getTimeStamp();
  EXPECT_THROW(set.setValues(seven), std::invalid_argument);
  EXPECT_EQ(set.getTimeStamp(), stamp);
  EXPECT_EQ(set.getValue(1, 1, 1), 2);
  set.setValues(std::vector<double>(8, 3));
  EXPECT_NE(set.getTimeStamp(), stamp);
  EXPECT_EQ(set.getValue(1, 1, 1), 3);
}
