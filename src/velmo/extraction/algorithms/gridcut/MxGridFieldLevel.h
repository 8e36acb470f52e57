#pragma once

#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/cut/MxCutLevels.h>
#include <velmo/extraction/algorithms/gridcut/MxCutGrid.h>
#include <velmo/extraction/algorithms/gridcut/MxSideTest.h>

/// Calls body(n, items) for bricks n of a row of them along I, with five items from node
/// (first.x + 4 n, first.y, first.z) on; after the row's end the last one is repeated.
template <std::size_t Components, class Rows, class Body>
void forEachFive(const Rows& rows, const MxIjkNumbering& nodes, const MbIndex3& first,
                 std::size_t count, const Body& body)
{
  typename Rows::Value buffer[5 * Components];
  const std::size_t whole = std::min(count, (nodes.counts.x - first.x - 1) / 4);
  for (std::size_t n = 0; n < whole; ++n)
    body(n, rows.row(first.x + 4 * n, first.y, first.z, 5, buffer));
  if (whole == count) return;
  const std::size_t at = first.x + 4 * whole, rest = nodes.counts.x - at;
  const auto* row = rows.row(at, first.y, first.z, rest, buffer);
  if (row != buffer) std::copy_n(row, Components * rest, buffer);
  for (std::size_t n = Components * rest; n < Components * 5; ++n)
    buffer[n] = buffer[n - Components];
  body(whole, buffer);
}

/// Asks for what forEachFive will read; of many bricks for the first ones, as the machine sees
/// itself what comes next then.
template <class Rows>
void announceFives(const Rows& rows, const MxIjkNumbering& nodes, const MbIndex3& first,
                   std::size_t count)
{
  constexpr std::size_t kMost = 3;
  rows.announce(first.x, first.y, first.z,
                std::min(4 * std::min(count, kMost) + 1, nodes.counts.x - first.x));
}
template <class Rows>
void announceVertices(const Rows& rows, const MxBrickVertices& vertices)
{
  vertices.forEachEdge([&](std::size_t, const MbIndex3& a, const MbIndex3& b) {
    rows.announce(a.x, a.y, a.z, 1);
    if (a.x == b.x) rows.announce(b.x, b.y, b.z, 1);
  });
}

/// What the levels of a grid's nodes share: numbers in rows, and ranges of these numbers.
template <class Rows, class Ranges>
class MxGridRowsLevel : public MxGridLevel
{
public:
  void announce(const MbIndex3& first, std::size_t count) const final
  {
    announceFives(m_rows, m_ranges.lattice.nodes, first, count);
  }

protected:
  using T = typename Rows::Value;

  MxGridRowsLevel(const Rows& rows, const Ranges& ranges) : m_rows(rows), m_ranges(ranges) {}

  /// One bit for each brick of the group whose range, and the group's, may hold a cut.
  template <class MayCut>
  std::uint64_t bricksWhere(const MbIndex3& group, const MayCut& mayCut) const
  {
    const std::size_t number = m_ranges.lattice.groups.flat(group.x, group.y, group.z);
    if (!mayCut(m_ranges.groups[number])) return 0;
    const auto* bricks = m_ranges.bricks.data() + 64 * number;
    std::uint64_t found = 0;
    for (std::size_t place = 0; place < 64; ++place)
      found |= static_cast<std::uint64_t>(mayCut(bricks[place])) << place;
    return found;
  }

  Rows m_rows;
  const Ranges& m_ranges;
};

/// Values at nodes, and a value.
template <class Rows>
class MxGridFieldLevel final : public MxGridRowsLevel<Rows, MxFieldRanges>
{
  using Base = MxGridRowsLevel<Rows, MxFieldRanges>;
  using Base::m_ranges;
  using Base::m_rows;
  using typename Base::T;

public:
  MxGridFieldLevel(const Rows& rows, const MxFieldRanges& ranges, double value)
      : Base(rows, ranges), m_value(value)
  {}

  std::uint64_t findBricks(const MbIndex3& group) const override
  {
    return Base::bricksWhere(group, [&](const MxRange<1>& range) {
      return (range.low[0] <= m_value) & (range.high[0] >= m_value);
    });
  }

  void classify(const MbIndex3& first, std::size_t count, std::uint8_t* below) const override
  {
    const MxSideTest test(m_value, 0);
    forEachFive<1>(m_rows, m_ranges.lattice.nodes, first, count,
                   [&](std::size_t n, const T* values) {
                     below[n] = static_cast<std::uint8_t>(test.five(values));
                   });
  }
  bool mayBeUndefined(std::size_t brick) const override
  {
    return !m_ranges.undefined.empty() && (m_ranges.undefined[brick / 64] >> brick % 64 & 1);
  }

  void read(std::size_t i, std::size_t j, std::size_t k, std::size_t count,
            double* levels) const override
  {
    T buffer[6];
    const T* row = m_rows.row(i, j, k, count, buffer);
    for (std::size_t n = 0; n < count; ++n)
      levels[n] = static_cast<double>(row[n]) - m_value;
  }

  void weigh(const MxBrickVertices& vertices, double* weights) const override
  {
    vertices.forEachEdge([&](std::size_t n, const MbIndex3& a, const MbIndex3& b) {
      weights[n] = linearCutWeight(level(a), level(b));
    });
  }

private:
  double level(const MbIndex3& at) const
  {
    T buffer[1];
    return static_cast<double>(*m_rows.row(at.x, at.y, at.z, 1, buffer)) - m_value;
  }

  double m_value;
};
