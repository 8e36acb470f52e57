#pragma once

#include <velmo/extraction/algorithms/MxCutGrid.h>
#include <velmo/extraction/algorithms/MxCutLevels.h>
#include <velmo/extraction/algorithms/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/MxSideTest.h>

/// Classifies 5 x 5 nodes row by row: rowOf(j, k) gives five numbers from node (0, j, k) on, or
/// null when only a closer look can tell.
template <class T, class RowOf>
bool classifyRows(const RowOf& rowOf, MxSideTest test, MxBrickBits& below)
{
  T last[28];
  for (std::size_t k = 0; k < 5; ++k) {
    std::uint32_t layer = 0;
    for (std::size_t j = 0; j < 5; ++j) {
      const T* row = rowOf(j, k);
      layer |= test.four(row) << 4 * j;
      last[5 * k + j] = row[4];
    }
    below.layers[k] = layer;
  }
  last[25] = last[26] = last[27] = last[24];
  std::uint32_t columns = 0;
  for (std::size_t n = 0; n < 28; n += 4)
    columns |= test.four(last + n) << n;
  for (std::size_t k = 0; k < 5; ++k)
    below.columns[k] = static_cast<std::uint8_t>(columns >> 5 * k & 31);
  return !test.wasNear();
}

/// Five items of a row of a grid; after its end the last one is repeated.
template <std::size_t Components, class Rows>
const typename Rows::Value* readFive(const Rows& rows, const MxIjkNumbering& nodes,
                                     const MbIndex3& origin, std::size_t j, std::size_t k,
                                     typename Rows::Value* buffer)
{
  const std::size_t atJ = std::min(origin.y + j, nodes.counts.y - 1);
  const std::size_t atK = std::min(origin.z + k, nodes.counts.z - 1);
  const std::size_t count = std::min<std::size_t>(5, nodes.counts.x - origin.x);
  const auto* row = rows.row(origin.x, atJ, atK, count, buffer);
  if (count == 5) return row;
  if (row != buffer) std::copy_n(row, Components * count, buffer);
  for (std::size_t n = Components * count; n < Components * 5; ++n)
    buffer[n] = buffer[n - Components];
  return buffer;
}

/// Asks for what readFive will read of a brick.
template <class Rows>
void announceBrick(const Rows& rows, const MxIjkNumbering& nodes, const MbIndex3& origin)
{
  const std::size_t count = std::min<std::size_t>(5, nodes.counts.x - origin.x);
  for (std::size_t k = 0; k < 5; ++k)
    for (std::size_t j = 0; j < 5; ++j)
      rows.announce(origin.x, std::min(origin.y + j, nodes.counts.y - 1),
                    std::min(origin.z + k, nodes.counts.z - 1), count);
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
  void announce(const MbIndex3& origin) const final
  {
    announceBrick(m_rows, m_ranges.lattice.nodes, origin);
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

  bool classify(const MbIndex3& origin, MxBrickBits& below) const override
  {
    if (!m_ranges.undefined.empty()) {
      const std::size_t brick = m_ranges.lattice.brick({origin.x / 4, origin.y / 4, origin.z / 4});
      if (m_ranges.undefined[brick / 64] >> brick % 64 & 1) return false;
    }
    T buffer[5];
    return classifyRows<T>(
        [&](std::size_t j, std::size_t k) {
          return readFive<1>(m_rows, m_ranges.lattice.nodes, origin, j, k, buffer);
        },
        MxSideTest(m_value, 0), below);
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
