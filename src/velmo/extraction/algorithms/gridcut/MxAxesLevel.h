#pragma once

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/cut/MxCutShapes.h>
#include <velmo/extraction/algorithms/gridcut/MxGridFieldLevel.h>

/// Coordinates of an axis: those of its nodes, the last one repeated to the end of the last brick
/// and beyond, and the ranges of bricks and groups. Coordinates that are not finite do not count.
struct MxAxisRanges
{
  std::size_t count = 0;
  std::vector<double> nodes;
  std::vector<MxRange<1>> bricks, groups;
  MxRange<1> whole{};

  explicit MxAxisRanges(const std::vector<double>& coordinates)
      : count(coordinates.size()), nodes(coordinates)
  {
    const std::size_t brickCount = blockCount(count, 4);
    nodes.resize(4 * brickCount + 4, nodes.back());
    bricks = rangesOf(brickCount, 4);
    groups = rangesOf(blockCount(brickCount, 4), 16);
    whole = rangesOf(1, count).front();
  }

private:
  std::vector<MxRange<1>> rangesOf(std::size_t rangeCount, std::size_t side) const
  {
    constexpr double kLargest = std::numeric_limits<double>::max();
    std::vector<MxRange<1>> ranges(rangeCount, {{kLargest}, {-kLargest}});
    for (std::size_t r = 0; r < rangeCount; ++r)
      for (std::size_t n = side * r; n <= side * (r + 1) && n < count; ++n) {
        if (!std::isfinite(nodes[n])) continue;
        ranges[r].low[0] = std::min(ranges[r].low[0], nodes[n]);
        ranges[r].high[0] = std::max(ranges[r].high[0], nodes[n]);
      }
    return ranges;
  }
};

struct MxAxesGrid
{
  std::array<MxAxisRanges, 3> axes;
  MxIjkNumbering nodes;

  explicit MxAxesGrid(const MxAxes& all)
      : axes{MxAxisRanges(all.values[0]), MxAxisRanges(all.values[1]), MxAxisRanges(all.values[2])},
        nodes{{axes[0].count, axes[1].count, axes[2].count}}
  {}
  MbVec3d node(const MbIndex3& at) const
  {
    return {axes[0].nodes[at.x], axes[1].nodes[at.y], axes[2].nodes[at.z]};
  }
  static MxCutBox box(const MxRange<1>& x, const MxRange<1>& y, const MxRange<1>& z)
  {
    return {{x.low[0], y.low[0], z.low[0]}, {x.high[0], y.high[0], z.high[0]}};
  }
};

/// A shape and nodes on axes, where a level is a sum of what each coordinate gives.
template <class Level>
class MxAxesLevel final : public MxGridLevel
{
public:
  MxAxesLevel(const MxAxesGrid& grid, const Level& level)
      : m_grid(grid), m_level(level), m_quick(level),
        m_tolerance(certainTolerance(m_quick.tolerance(
            MxAxesGrid::box(grid.axes[0].whole, grid.axes[1].whole, grid.axes[2].whole))))
  {
    for (std::size_t axis = 0; axis < 3; ++axis)
      for (const double x : grid.axes[axis].nodes) {
        double parts[Quick::kSums];
        m_quick.addParts(axis, x, parts);
        for (std::size_t s = 0; s < Quick::kSums; ++s)
          m_parts[axis][s].push_back(parts[s]);
      }
  }

  std::uint64_t findBricks(const MbIndex3& group) const override
  {
    const auto& axes = m_grid.axes;
    if (!m_level.mayCut(MxAxesGrid::box(axes[0].groups[group.x], axes[1].groups[group.y],
                                        axes[2].groups[group.z])))
      return 0;
    std::uint64_t found = 0;
    for (std::size_t k = 0; k < std::min<std::size_t>(4, axes[2].bricks.size() - 4 * group.z); ++k)
      for (std::size_t j = 0; j < std::min<std::size_t>(4, axes[1].bricks.size() - 4 * group.y);
           ++j)
        for (std::size_t i = 0; i < std::min<std::size_t>(4, axes[0].bricks.size() - 4 * group.x);
             ++i)
          if (m_level.mayCut(MxAxesGrid::box(axes[0].bricks[4 * group.x + i],
                                             axes[1].bricks[4 * group.y + j],
                                             axes[2].bricks[4 * group.z + k])))
            found |= std::uint64_t{1} << (i + 4 * j + 16 * k);
    return found;
  }

  void classify(const MbIndex3& first, std::size_t count, std::uint8_t* below) const override
  {
    const MxSideTest test(0, m_tolerance);
    for (std::size_t n = 0; n < count; ++n) {
      double levels[5];
      for (std::size_t i = 0; i < 5; ++i)
        levels[i] = quickLevel({first.x + 4 * n + i, first.y, first.z});
      below[n] = static_cast<std::uint8_t>(test.five(levels));
    }
  }

  void read(std::size_t i, std::size_t j, std::size_t k, std::size_t count,
            double* levels) const override
  {
    for (std::size_t n = 0; n < count; ++n)
      levels[n] = m_level.level(m_grid.node({i + n, j, k}));
  }

  void weigh(const MxBrickVertices& vertices, double* weights) const override
  {
    vertices.forEachEdge([&](std::size_t n, const MbIndex3& a, const MbIndex3& b) {
      if constexpr (Quick::kGivesWeights)
        weights[n] = linearCutWeight(quickLevel(a), quickLevel(b));
      else
        weights[n] = m_level.weight(m_grid.node(a), m_grid.node(b));
    });
  }

private:
  using Quick = typename Level::Quick;

  double quickLevel(const MbIndex3& at) const
  {
    double sums[Quick::kSums];
    for (std::size_t s = 0; s < Quick::kSums; ++s)
      sums[s] = m_parts[0][s][at.x] + m_parts[1][s][at.y] + m_parts[2][s][at.z];
    return m_quick.level(sums);
  }

  const MxAxesGrid& m_grid;
  Level m_level;
  Quick m_quick;
  double m_tolerance;
  std::array<std::array<std::vector<double>, Quick::kSums>, 3> m_parts;
};

class MxAxesPlaces final : public MxGridPlaces
{
public:
  explicit MxAxesPlaces(const MxAxesGrid& grid) : m_grid(grid) {}

  MbVec3d node(const MbIndex3& at) const override { return m_grid.node(at); }
  void place(const MxBrickVertices& vertices, const double* weights, MbVec3f* points) const override
  {
    // All but one coordinate of an edge are those of its first node.
    for (std::size_t axis = 0; axis < 4; ++axis)
      for (std::size_t n = vertices.begins[axis]; n < vertices.begins[axis + 1]; ++n) {
        const MbIndex3 at = vertices.node(n);
        MbVec3d p = m_grid.node(at);
        if (axis < 3)
          p[axis] = p[axis] * (1 - weights[n]) + m_grid.axes[axis].nodes[at[axis] + 1] * weights[n];
        using velmo_detail::toFloat;
        points[n] = {toFloat(p.x), toFloat(p.y), toFloat(p.z)};
      }
  }

private:
  const MxAxesGrid& m_grid;
};
