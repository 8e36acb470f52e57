#pragma once

#include <velmo/extraction/algorithms/cut/MxCutShapes.h>
#include <velmo/extraction/algorithms/gridcut/MxGridFieldLevel.h>

inline MxCutBox boxOf(const MxRange<3>& range)
{
  return {{range.low[0], range.low[1], range.low[2]},
          {range.high[0], range.high[1], range.high[2]}};
}

/// A shape and nodes at points.
template <class Level, class Rows>
class MxGridPointLevel final : public MxGridRowsLevel<Rows, MxPointRanges>
{
  using Base = MxGridRowsLevel<Rows, MxPointRanges>;
  using Base::m_ranges;
  using Base::m_rows;
  using typename Base::T;

public:
  MxGridPointLevel(const Rows& rows, const MxPointRanges& ranges, const Level& level)
      : Base(rows, ranges), m_level(level), m_quick(level),
        m_tolerance(certainTolerance(m_quick.tolerance(boxOf(ranges.whole))))
  {}

  std::uint64_t findBricks(const MbIndex3& group) const override
  {
    return Base::bricksWhere(group,
                             [&](const MxRange<3>& range) { return m_level.mayCut(boxOf(range)); });
  }

  void classify(const MbIndex3& first, std::size_t count, std::uint8_t* below) const override
  {
    const MxSideTest test(0, m_tolerance);
    forEachFive<3>(m_rows, m_ranges.lattice.nodes, first, count,
                   [&](std::size_t n, const T* points) {
                     double levels[5];
                     for (std::size_t i = 0; i < 5; ++i)
                       levels[i] = quickLevel(points + 3 * i);
                     below[n] = static_cast<std::uint8_t>(test.five(levels));
                   });
  }

  void read(std::size_t i, std::size_t j, std::size_t k, std::size_t count,
            double* levels) const override
  {
    T buffer[18];
    const T* row = m_rows.row(i, j, k, count, buffer);
    for (std::size_t n = 0; n < count; ++n)
      levels[n] =
          m_level.level({static_cast<double>(row[3 * n]), static_cast<double>(row[3 * n + 1]),
                         static_cast<double>(row[3 * n + 2])});
  }

  void weigh(const MxBrickVertices& vertices, double* weights) const override
  {
    vertices.forEachEdge([&](std::size_t n, const MbIndex3& a, const MbIndex3& b) {
      if constexpr (Quick::kGivesWeights)
        weights[n] = linearCutWeight(quickLevel(point(a)), quickLevel(point(b)));
      else
        weights[n] = m_level.weight(point(a), point(b));
    });
  }

private:
  using Quick = typename Level::Quick;

  template <class Point>
  double quickLevel(const Point& p) const
  {
    double sums[Quick::kSums] = {};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      double parts[Quick::kSums];
      m_quick.addParts(axis, static_cast<double>(p[axis]), parts);
      for (std::size_t s = 0; s < Quick::kSums; ++s)
        sums[s] += parts[s];
    }
    return m_quick.level(sums);
  }
  MbVec3d point(const MbIndex3& at) const
  {
    T buffer[3];
    const T* p = m_rows.row(at.x, at.y, at.z, 1, buffer);
    return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
  }

  Level m_level;
  Quick m_quick;
  double m_tolerance;
};

template <class Rows>
class MxGridPointPlaces final : public MxGridPlaces
{
public:
  explicit MxGridPointPlaces(const Rows& rows) : m_rows(rows) {}

  void announce(const MxBrickVertices& vertices) const override
  {
    announceVertices(m_rows, vertices);
  }
  MbVec3d node(const MbIndex3& at) const override
  {
    typename Rows::Value buffer[3];
    const auto* p = m_rows.row(at.x, at.y, at.z, 1, buffer);
    return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
  }
  void place(const MxBrickVertices& vertices, const double* weights, MbVec3f* points) const override
  {
    const auto store = [&](std::size_t n, const MbVec3d& p) {
      using velmo_detail::toFloat;
      points[n] = {toFloat(p.x), toFloat(p.y), toFloat(p.z)};
    };
    vertices.forEachEdge([&](std::size_t n, const MbIndex3& a, const MbIndex3& b) {
      const MbVec3d first = MxGridPointPlaces::node(a), second = MxGridPointPlaces::node(b);
      store(n, first * (1 - weights[n]) + second * weights[n]);
    });
    for (std::size_t n = vertices.begins[3]; n < vertices.count(); ++n)
      store(n, MxGridPointPlaces::node(vertices.node(n)));
  }

private:
  Rows m_rows;
};
