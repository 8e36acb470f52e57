#include <velmo/extraction/algorithms/MxCutGrid.h>
#include <velmo/extraction/algorithms/MxCutKinds.h>
#include <velmo/extraction/algorithms/MxGridRanges.h>
#include <velmo/extraction/algorithms/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/MxSideTest.h>

namespace {

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

// --- Fields --------------------------------------------------------------------------------------

/// Values at nodes, and a value.
template <class Rows>
class FieldLevel final : public MxGridLevel
{
public:
  using T = typename Rows::Value;

  FieldLevel(const Rows& rows, const MxFieldRanges& ranges, double value)
      : m_rows(rows), m_ranges(ranges), m_value(value)
  {}

  std::uint64_t findBricks(const MbIndex3& group) const override
  {
    const std::size_t number = m_ranges.lattice.groups.flat(group.x, group.y, group.z);
    if (!contains(m_ranges.groups[number])) return 0;
    const MxRange<1>* bricks = m_ranges.bricks.data() + 64 * number;
    std::uint64_t found = 0;
    for (std::size_t place = 0; place < 64; ++place)
      found |= static_cast<std::uint64_t>(contains(bricks[place])) << place;
    return found;
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

  void announce(const MbIndex3& origin) const override
  {
    announceBrick(m_rows, m_ranges.lattice.nodes, origin);
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
  bool contains(const MxRange<1>& range) const
  {
    return (range.low[0] <= m_value) & (range.high[0] >= m_value);
  }
  double level(const MbIndex3& at) const
  {
    T buffer[1];
    return static_cast<double>(*m_rows.row(at.x, at.y, at.z, 1, buffer)) - m_value;
  }

  Rows m_rows;
  const MxFieldRanges& m_ranges;
  double m_value;
};

// --- Shapes in space -----------------------------------------------------------------------------

/// The largest coordinates, without their signs, of points relative to another one.
MbVec3d reachOf(const MxCutBox& box, const MbVec3d& from)
{
  MbVec3d reach;
  for (std::size_t axis = 0; axis < 3; ++axis)
    reach[axis] =
        std::max(std::abs(box.low[axis] - from[axis]), std::abs(box.high[axis] - from[axis]));
  return reach;
}

/// What the levels of shapes are compared with where only their sign matters: no more than rounding
/// away from the exact ones. `parts` gives what a coordinate adds to each of `kSums` sums, `level`
/// puts these together. Within `tolerance` of zero nothing is certain.
struct QuickPlane
{
  static constexpr std::size_t kSums = 1;
  /// Apart from zeros the levels are the exact ones, and edges are cut where these tell.
  static constexpr bool kGivesWeights = true;
  MbVec3d normal;
  double distance;

  explicit QuickPlane(const MxPlaneLevel& exact) : normal(exact.normal), distance(exact.distance) {}
  void addParts(std::size_t axis, double x, double* parts) const { parts[0] = normal[axis] * x; }
  double level(const double* sums) const { return sums[0] - distance; }
  double tolerance(const MxCutBox& box) const
  {
    const MbVec3d reach = reachOf(box, {});
    return 4 * kCutSnap *
           (std::abs(normal.x) * reach.x + std::abs(normal.y) * reach.y +
            std::abs(normal.z) * reach.z + std::abs(distance));
  }
};

struct QuickSphere
{
  static constexpr std::size_t kSums = 1;
  static constexpr bool kGivesWeights = false;
  MbVec3d center;
  double square;

  explicit QuickSphere(const MxSphereLevel& exact) : center(exact.center), square(exact.square) {}
  void addParts(std::size_t axis, double x, double* parts) const
  {
    parts[0] = (x - center[axis]) * (x - center[axis]);
  }
  double level(const double* sums) const { return sums[0] - square; }
  double tolerance(const MxCutBox& box) const
  {
    const MbVec3d reach = reachOf(box, center);
    return 4 * kCutSnap * (dot(reach, reach) + square);
  }
};

/// The distance from the axis by that from the centre and the one along the axis.
struct QuickCylinder
{
  static constexpr std::size_t kSums = 2;
  static constexpr bool kGivesWeights = false;
  MbVec3d center, axis;
  double square;

  explicit QuickCylinder(const MxCylinderLevel& exact)
      : center(exact.center), axis(exact.axis), square(exact.radius * exact.radius)
  {}
  void addParts(std::size_t a, double x, double* parts) const
  {
    const double offset = x - center[a];
    parts[0] = offset * offset;
    parts[1] = offset * axis[a];
  }
  double level(const double* sums) const { return sums[0] - sums[1] * sums[1] - square; }
  double tolerance(const MxCutBox& box) const
  {
    const MbVec3d reach = reachOf(box, center);
    return 4 * kCutSnap * (dot(reach, reach) + square);
  }
};

template <class Level>
struct QuickOf;
template <>
struct QuickOf<MxPlaneLevel>
{
  using Type = QuickPlane;
};
template <>
struct QuickOf<MxSphereLevel>
{
  using Type = QuickSphere;
};
template <>
struct QuickOf<MxCylinderLevel>
{
  using Type = QuickCylinder;
};

/// A tolerance that is a number; where sums may pass the largest one, nothing is certain.
double certainTolerance(double tolerance)
{
  return tolerance <= 1e300 ? tolerance : std::numeric_limits<double>::infinity();
}

MxCutBox boxOf(const MxRange<3>& range)
{
  return {{range.low[0], range.low[1], range.low[2]},
          {range.high[0], range.high[1], range.high[2]}};
}

/// A shape and nodes at points.
template <class Level, class Rows>
class PointLevel final : public MxGridLevel
{
public:
  using T = typename Rows::Value;

  PointLevel(const Rows& rows, const MxPointRanges& ranges, const Level& level)
      : m_rows(rows), m_ranges(ranges), m_level(level), m_quick(level),
        m_tolerance(certainTolerance(m_quick.tolerance(boxOf(ranges.whole))))
  {}

  std::uint64_t findBricks(const MbIndex3& group) const override
  {
    const std::size_t number = m_ranges.lattice.groups.flat(group.x, group.y, group.z);
    if (!m_level.mayCut(boxOf(m_ranges.groups[number]))) return 0;
    std::uint64_t found = 0;
    for (std::size_t place = 0; place < 64; ++place)
      if (m_level.mayCut(boxOf(m_ranges.bricks[64 * number + place])))
        found |= std::uint64_t{1} << place;
    return found;
  }

  bool classify(const MbIndex3& origin, MxBrickBits& below) const override
  {
    T buffer[15];
    double levels[5];
    return classifyRows<double>(
        [&](std::size_t j, std::size_t k) {
          const T* row = readFive<3>(m_rows, m_ranges.lattice.nodes, origin, j, k, buffer);
          for (std::size_t n = 0; n < 5; ++n)
            levels[n] = quickLevel(row + 3 * n);
          return levels;
        },
        MxSideTest(0, m_tolerance), below);
  }

  void announce(const MbIndex3& origin) const override
  {
    announceBrick(m_rows, m_ranges.lattice.nodes, origin);
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
  using Quick = typename QuickOf<Level>::Type;

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

  Rows m_rows;
  const MxPointRanges& m_ranges;
  Level m_level;
  Quick m_quick;
  double m_tolerance;
};

template <class Rows>
class PointPlaces final : public MxGridPlaces
{
public:
  explicit PointPlaces(const Rows& rows) : m_rows(rows) {}

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
      const MbVec3d first = PointPlaces::node(a), second = PointPlaces::node(b);
      store(n, first * (1 - weights[n]) + second * weights[n]);
    });
    for (std::size_t n = vertices.begins[3]; n < vertices.count(); ++n)
      store(n, PointPlaces::node(vertices.node(n)));
  }

private:
  Rows m_rows;
};

// --- Nodes on axes -------------------------------------------------------------------------------

/// Coordinates of an axis: those of its nodes, the last one repeated to the end of the last brick
/// and beyond, and the ranges of bricks and groups. Coordinates that are not finite do not count.
struct Axis
{
  std::size_t count = 0;
  std::vector<double> nodes;
  std::vector<MxRange<1>> bricks, groups;
  MxRange<1> whole{};

  explicit Axis(const std::vector<double>& coordinates)
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

struct AxesGrid
{
  std::array<Axis, 3> axes;
  MxIjkNumbering nodes;

  explicit AxesGrid(const MxAxes& all)
      : axes{Axis(all.values[0]), Axis(all.values[1]), Axis(all.values[2])}, nodes{{axes[0].count,
                                                                                    axes[1].count,
                                                                                    axes[2].count}}
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
class AxesLevel final : public MxGridLevel
{
public:
  AxesLevel(const AxesGrid& grid, const Level& level)
      : m_grid(grid), m_level(level), m_quick(level),
        m_tolerance(certainTolerance(m_quick.tolerance(
            AxesGrid::box(grid.axes[0].whole, grid.axes[1].whole, grid.axes[2].whole))))
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
    if (!m_level.mayCut(AxesGrid::box(axes[0].groups[group.x], axes[1].groups[group.y],
                                      axes[2].groups[group.z])))
      return 0;
    std::uint64_t found = 0;
    for (std::size_t k = 0; k < std::min<std::size_t>(4, axes[2].bricks.size() - 4 * group.z); ++k)
      for (std::size_t j = 0; j < std::min<std::size_t>(4, axes[1].bricks.size() - 4 * group.y);
           ++j)
        for (std::size_t i = 0; i < std::min<std::size_t>(4, axes[0].bricks.size() - 4 * group.x);
             ++i)
          if (m_level.mayCut(AxesGrid::box(axes[0].bricks[4 * group.x + i],
                                           axes[1].bricks[4 * group.y + j],
                                           axes[2].bricks[4 * group.z + k])))
            found |= std::uint64_t{1} << (i + 4 * j + 16 * k);
    return found;
  }

  bool classify(const MbIndex3& origin, MxBrickBits& below) const override
  {
    double levels[5];
    return classifyRows<double>(
        [&](std::size_t j, std::size_t k) {
          for (std::size_t n = 0; n < 5; ++n)
            levels[n] = quickLevel({origin.x + n, origin.y + j, origin.z + k});
          return levels;
        },
        MxSideTest(0, m_tolerance), below);
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
  using Quick = typename QuickOf<Level>::Type;

  double quickLevel(const MbIndex3& at) const
  {
    double sums[Quick::kSums];
    for (std::size_t s = 0; s < Quick::kSums; ++s)
      sums[s] = m_parts[0][s][at.x] + m_parts[1][s][at.y] + m_parts[2][s][at.z];
    return m_quick.level(sums);
  }

  const AxesGrid& m_grid;
  Level m_level;
  Quick m_quick;
  double m_tolerance;
  std::array<std::array<std::vector<double>, Quick::kSums>, 3> m_parts;
};

class AxesPlaces final : public MxGridPlaces
{
public:
  explicit AxesPlaces(const AxesGrid& grid) : m_grid(grid) {}

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
  const AxesGrid& m_grid;
};

// --- Mesh kinds ----------------------------------------------------------------------------------

struct LatticeCorners
{
  MxIjkNumbering cells, nodes;
  void operator()(std::size_t cell, std::uint32_t* corners) const
  {
    const MbIndex3 at = cells.split(cell);
    for (std::size_t c = 0; c < 8; ++c)
      corners[c] = static_cast<std::uint32_t>(nodes.flat(
          at.x + kCornerSteps[c][0], at.y + kCornerSteps[c][1], at.z + kCornerSteps[c][2]));
  }
};

struct NodesOf
{
  const MxGridPlaces& places;
  MxIjkNumbering nodes;
  MbVec3d operator[](std::size_t node) const { return places.node(nodes.split(node)); }
};

/// Calls visit(exact level) for a shape in space.
template <class Visitor>
void visitShape(const MxCutShape& shape, const Visitor& visit)
{
  if (const auto* plane = std::get_if<MxCutPlane>(&shape)) visit(MxPlaneLevel(*plane));
  if (const auto* sphere = std::get_if<MxCutSphere>(&shape)) visit(MxSphereLevel(*sphere));
  if (const auto* cylinder = std::get_if<MxCutCylinder>(&shape)) visit(MxCylinderLevel(*cylinder));
}

/// A cut of one grid, whatever its geometry.
class GridCut
{
public:
  GridCut(const MiTopologyIjk& topology, const MiCellFilterIjk* filter,
          const std::shared_ptr<const MxMeshCheck>& check, bool parallel,
          MxExtractionMonitor& monitor, MxCutGridMemory& memory,
          MeXSurfaceMeshUnstructured& surface)
      : m_check(*check), m_parallel(parallel), m_monitor(monitor), m_memory(memory),
        m_surface(surface)
  {
    memory.check = check;
    // Rows of the filter are asked again only when an answer may have changed.
    const std::vector<std::uint64_t> key = {
        reinterpret_cast<std::uintptr_t>(&topology),   topology.getTimeStamp(),
        reinterpret_cast<std::uintptr_t>(filter),      filter ? filter->getTimeStamp() : 0,
        reinterpret_cast<std::uintptr_t>(check.get()), check->brokenCount};
    if (memory.choiceKey == key) return;
    memory.choiceKey.clear();
    constexpr std::size_t kNone = static_cast<std::size_t>(-1);
    memory.choice = chooseCells(topology, check->unusable, filter, {kNone, kNone, kNone},
                                {kNone, kNone, kNone}, parallel, monitor);
    memory.choiceKey = key;
  }

  void cut(const MxGridLevel& level, const MxGridPlaces& places) const
  {
    const MxIjkNumbering& cells = m_memory.choice.numbering;
    const MxIjkNumbering nodes{nodeCountsOf(cells.counts)};
    const bool flip = isLeftHanded(cells.total(), m_check.unusable, LatticeCorners{cells, nodes},
                                   NodesOf{places, nodes});
    cutGrid(level, places, m_memory.choice, flip, m_parallel, m_monitor, m_memory, m_surface);
  }

  /// The cut at a value; nothing where the set does not fit.
  void cutField(const MxIsovalue& isovalue, const MxGridPlaces& places) const
  {
    const MxGridValues values(*isovalue.set, nodeCountsOf(m_memory.choice.numbering.counts));
    if (!values) return;
    const auto ranges = shareRanges(*isovalue.set, values, m_parallel, m_monitor);
    m_memory.fieldRanges = ranges;
    visitRows(values,
              [&](const auto& rows) { cut(FieldLevel(rows, *ranges, isovalue.value), places); });
  }

private:
  const MxMeshCheck& m_check;
  bool m_parallel;
  MxExtractionMonitor& m_monitor;
  MxCutGridMemory& m_memory;
  MeXSurfaceMeshUnstructured& m_surface;
};

bool hasCells(const MbIndex3& counts)
{
  return counts.x && counts.y && counts.z;
}

/// Empties the surface; true when there is something to cut.
template <class Mesh>
bool beginCut(const Mesh& mesh, const MxCutShape& shape, MeXSurfaceMeshUnstructured& surface)
{
  const MbIndex3 cells = mesh.getTopology().getCellCounts();
  clearCut(surface);
  surface.provenance.sourceCells = cells;
  surface.provenance.sourceNodes = nodeCountsOf(cells);
  return isCutShapeUsable(shape) && hasCells(cells);
}

/// Regular and rectilinear grids.
template <class Mesh>
std::shared_ptr<const MxMeshCheck>
cutKind(const Mesh& mesh, const MiCellFilterIjk* filter, const MxCutShape& shape, bool parallel,
        MxExtractionMonitor& monitor, MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface)
{
  const auto check = checkMesh(mesh, parallel, monitor);
  if (!beginCut(mesh, shape, surface)) return check;
  const GridCut cut(mesh.getTopology(), filter, check, parallel, monitor,
                    memory.part<MxCutGridMemory>(), surface);
  const AxesGrid grid(makeAxes(mesh));
  const AxesPlaces places(grid);
  if (const auto* isovalue = std::get_if<MxIsovalue>(&shape)) cut.cutField(*isovalue, places);
  visitShape(shape, [&](const auto& level) { cut.cut(AxesLevel(grid, level), places); });
  return check;
}

std::shared_ptr<const MxMeshCheck> cutKind(const MiVolumeMeshCurvilinear& mesh,
                                           const MiCellFilterIjk* filter, const MxCutShape& shape,
                                           bool parallel, MxExtractionMonitor& monitor,
                                           MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface)
{
  const MiGeometryIjk& geometry = mesh.getGeometry();
  const MbIndex3 nodes = nodeCountsOf(mesh.getTopology().getCellCounts());
  auto& kept = memory.part<MxCutGridMemory>();
  std::shared_ptr<const MxMeshCheck> check;
  std::shared_ptr<const MxPointRanges> ranges;
  const bool isInSpace = !std::holds_alternative<MxIsovalue>(shape);
  if (isInSpace && beginCut(mesh, shape, surface) && geometry.getNodeCounts() == nodes &&
      countOrRefuse(nodes, "nodes") > 0)
  {
    // The ranges tell of coordinates that are not finite: the points are read once.
    ranges = shareRanges(geometry, MxGridPoints(geometry, nodes), parallel, monitor);
    kept.pointRanges = ranges;
    if (ranges->undefined.empty()) check = rememberClean(mesh);
  }
  if (!check) check = checkMesh(mesh, parallel, monitor);
  if (!beginCut(mesh, shape, surface) || geometry.getNodeCounts() != nodes) return check;

  const GridCut cut(mesh.getTopology(), filter, check, parallel, monitor, kept, surface);
  const MxGridPoints points(geometry, nodes);
  visitRows(points, [&](const auto& rows) {
    const PointPlaces places(rows);
    if (const auto* isovalue = std::get_if<MxIsovalue>(&shape)) cut.cutField(*isovalue, places);
    visitShape(shape,
               [&](const auto& level) { cut.cut(PointLevel(rows, *ranges, level), places); });
  });
  return check;
}

} // namespace

template <class Mesh, class Filter>
std::shared_ptr<const MxMeshCheck> cutMesh(const Mesh& mesh, const Filter* filter,
                                           const MxCutShape& shape, const MiTessellator*,
                                           bool parallel, MxExtractionMonitor& monitor,
                                           MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface)
{
  return cutKind(mesh, filter, shape, parallel, monitor, memory, surface);
}

#define MX_CUT_KIND(Mesh, Filter)                                                                  \
  template std::shared_ptr<const MxMeshCheck> cutMesh(                                             \
      const Mesh&, const Filter*, const MxCutShape&, const MiTessellator*, bool,                   \
      MxExtractionMonitor&, MxCutMemory&, MeXSurfaceMeshUnstructured&);
MX_CUT_KIND(MiVolumeMeshRegular, MiCellFilterIjk)
MX_CUT_KIND(MiVolumeMeshRectilinear, MiCellFilterIjk)
MX_CUT_KIND(MiVolumeMeshCurvilinear, MiCellFilterIjk)
