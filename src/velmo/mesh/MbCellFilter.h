#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/mesh/MbArray.h>

#include <functional>

/// The cells [first, first + count) along I at (j, k); j and k are zero where cells have fewer
/// indices.
struct MbCellRow
{
  std::size_t first, count, j, k;
};

/// A cell filter of `Dimension` indices made of a rule.
///
/// A rule has `void accept(const MbCellRow&, std::uint8_t*) const`, which writes 1 or 0 for every
/// cell of a row, and `std::uint64_t stamp() const`.
template <int Dimension, class Rule>
class MbCellFilter;

template <class Rule>
class MbCellFilter<1, Rule> final : public MiCellFilterI, public Rule
{
public:
  using Rule::Rule;
  std::uint64_t getTimeStamp() const override { return Rule::stamp(); }
  bool acceptCell(std::size_t cell) const override
  {
    std::uint8_t accepted = 0;
    Rule::accept({cell, 1, 0, 0}, &accepted);
    return accepted != 0;
  }
  void acceptCells(std::size_t first, std::size_t last, std::uint8_t* accepted) const override
  {
    Rule::accept({first, last - first, 0, 0}, accepted);
  }
};

template <class Rule>
class MbCellFilter<2, Rule> final : public MiCellFilterIj, public Rule
{
public:
  using Rule::Rule;
  std::uint64_t getTimeStamp() const override { return Rule::stamp(); }
  bool acceptCell(std::size_t i, std::size_t j) const override
  {
    std::uint8_t accepted = 0;
    Rule::accept({i, 1, j, 0}, &accepted);
    return accepted != 0;
  }
  void acceptRow(std::size_t count, std::size_t j, std::uint8_t* accepted) const override
  {
    Rule::accept({0, count, j, 0}, accepted);
  }
};

template <class Rule>
class MbCellFilter<3, Rule> final : public MiCellFilterIjk, public Rule
{
public:
  using Rule::Rule;
  std::uint64_t getTimeStamp() const override { return Rule::stamp(); }
  bool acceptCell(std::size_t i, std::size_t j, std::size_t k) const override
  {
    std::uint8_t accepted = 0;
    Rule::accept({i, 1, j, k}, &accepted);
    return accepted != 0;
  }
  void acceptRow(std::size_t count, std::size_t j, std::size_t k,
                 std::uint8_t* accepted) const override
  {
    Rule::accept({0, count, j, k}, accepted);
  }
};

/// Rule: the cells for which a function says so. *Threads*: it is called from several at once.
template <class... Index>
class MbFunctionRule
{
public:
  using Function = std::function<bool(Index...)>;

  /// An empty function accepts every cell.
  explicit MbFunctionRule(Function function) : m_function(std::move(function)) {}
  void setFunction(Function function)
  {
    m_function = std::move(function);
    touch();
  }
  /// The function's answers have changed.
  void touch() { m_stamp = MxTimeStamp::take(); }

  std::uint64_t stamp() const { return m_stamp; }
  void accept(const MbCellRow& row, std::uint8_t* accepted) const
  {
    for (std::size_t n = 0; n < row.count; ++n)
      accepted[n] = !m_function || call(row.first + n, row) ? 1 : 0;
  }

private:
  bool call(std::size_t i, const MbCellRow& row) const
  {
    if constexpr (sizeof...(Index) == 1)
      return m_function(i);
    else if constexpr (sizeof...(Index) == 2)
      return m_function(i, row.j);
    else
      return m_function(i, row.j, row.k);
  }

  Function m_function;
  std::uint64_t m_stamp = MxTimeStamp::take();
};

/// Rule: the cells inside a box of indices.
class MbIndexRangeRule
{
public:
  /// Half-open along each index: lower <= index < upper. With two indices, K goes from 0 to 1.
  MbIndexRangeRule(MbIndex3 lower, MbIndex3 upper) : m_lower(lower), m_upper(upper) {}
  /// For filters of one index.
  MbIndexRangeRule(std::size_t lower, std::size_t upper)
      : MbIndexRangeRule(MbIndex3{lower, 0, 0}, MbIndex3{upper, 1, 1})
  {}
  void setRange(MbIndex3 lower, MbIndex3 upper);

  std::uint64_t stamp() const { return m_stamp; }
  void accept(const MbCellRow& row, std::uint8_t* accepted) const;

private:
  MbIndex3 m_lower, m_upper;
  std::uint64_t m_stamp = MxTimeStamp::take();
};

/// Rule: the cells whose value in a data set per cell lies in [min, max]; never a NaN, nor a cell
/// beyond the set.
///
/// @tparam Set  MiDataSetI<double>, MiDataSetIj<double> or MiDataSetIjk<double>
template <class Set>
class MbValueRangeRule
{
public:
  /// @param set  borrowed; lives as long as the filter
  MbValueRangeRule(const Set& set, double min, double max) : m_set(&set), m_min(min), m_max(max) {}
  void setRange(double min, double max)
  {
    m_min = min;
    m_max = max;
    m_stamp = MxTimeStamp::take();
  }

  /// Changes with the range and with the set.
  std::uint64_t stamp() const
  {
    // An odd factor spreads the own stamp over all bits, so that no sum of two stamps meets
    // another's in practice.
    return m_stamp * 0x9E3779B97F4A7C15u + m_set->getTimeStamp();
  }
  void accept(const MbCellRow& row, std::uint8_t* accepted) const;

private:
  const Set* m_set;
  double m_min, m_max;
  std::uint64_t m_stamp = MxTimeStamp::take();
};

extern template class MbValueRangeRule<MiScalardSetI>;
extern template class MbValueRangeRule<MiScalardSetIj>;
extern template class MbValueRangeRule<MiScalardSetIjk>;

/// How a mask holds its answers.
enum class MbMaskForm
{
  Number, ///< a number a cell, zero for no
  Bit     ///< a bit a cell in integer words, the lowest bit of the first word first
};

/// Rule: the cells whose number or bit in an array is not zero; cells beyond the array are not
/// accepted.
class MbMaskRule
{
public:
  /// @param mask        cells with I fastest, then J, then K
  /// @param cellCounts  of the mesh; cells of one index need none
  /// @throw std::invalid_argument for bits in floating-point words
  explicit MbMaskRule(MbNumbers mask, MbIndex3 cellCounts = {1, 1, 1},
                      MbMaskForm form = MbMaskForm::Number);
  /// The application has changed the array.
  void touch() { m_stamp = MxTimeStamp::take(); }

  std::uint64_t stamp() const { return m_stamp; }
  void accept(const MbCellRow& row, std::uint8_t* accepted) const;

private:
  MbNumbers m_mask;
  MbIndex3 m_counts;
  MbMaskForm m_form;
  std::uint64_t m_stamp = MxTimeStamp::take();
};

using MbFunctionFilterI = MbCellFilter<1, MbFunctionRule<std::size_t>>;
using MbFunctionFilterIj = MbCellFilter<2, MbFunctionRule<std::size_t, std::size_t>>;
using MbFunctionFilterIjk = MbCellFilter<3, MbFunctionRule<std::size_t, std::size_t, std::size_t>>;
using MbIndexRangeFilterI = MbCellFilter<1, MbIndexRangeRule>;
using MbIndexRangeFilterIj = MbCellFilter<2, MbIndexRangeRule>;
using MbIndexRangeFilterIjk = MbCellFilter<3, MbIndexRangeRule>;
using MbValueRangeFilterI = MbCellFilter<1, MbValueRangeRule<MiScalardSetI>>;
using MbValueRangeFilterIj = MbCellFilter<2, MbValueRangeRule<MiScalardSetIj>>;
using MbValueRangeFilterIjk = MbCellFilter<3, MbValueRangeRule<MiScalardSetIjk>>;
using MbMaskFilterI = MbCellFilter<1, MbMaskRule>;
using MbMaskFilterIj = MbCellFilter<2, MbMaskRule>;
using MbMaskFilterIjk = MbCellFilter<3, MbMaskRule>;
