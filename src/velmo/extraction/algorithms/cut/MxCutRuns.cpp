#include <velmo/extraction/algorithms/cut/MxCutRuns.h>

#include <velmo/base/MxSort.h>
#include <velmo/extraction/algorithms/access/MxShared.h>

#include <cmath>

namespace {

MxShared<MxCutRunsKey, MxCutRuns>& sharedRuns()
{
  static MxShared<MxCutRunsKey, MxCutRuns> shared;
  return shared;
}
MxShared<MxCutRunsKey, MxCellOrder>& sharedOrders()
{
  static MxShared<MxCutRunsKey, MxCellOrder> shared;
  return shared;
}

// --- Making them -------------------------------------------------------------------------------

struct ValueRange
{
  double low[3] = {}, high[3] = {};

  void clear()
  {
    for (int c = 0; c < 3; ++c) {
      low[c] = std::numeric_limits<double>::infinity();
      high[c] = -std::numeric_limits<double>::infinity();
    }
  }
  /// Component c of the values stands at values[c * stride].
  void include(const double* values, std::size_t count, std::size_t stride,
               std::size_t componentCount)
  {
    for (std::size_t c = 0; c < componentCount; ++c) {
      double least = low[c], most = high[c];
      const double* own = values + c * stride;
      for (std::size_t n = 0; n < count; ++n) {
        // Values that are not finite are on no side.
        const bool finite = std::abs(own[n]) <= std::numeric_limits<double>::max();
        least = finite && own[n] < least ? own[n] : least;
        most = finite && own[n] > most ? own[n] : most;
      }
      low[c] = least;
      high[c] = most;
    }
  }
  double extent() const
  {
    double sum = 0;
    for (int c = 0; c < 3; ++c)
      sum += high[c] >= low[c] ? high[c] - low[c] : 0;
    return sum;
  }
};

/// The largest single-precision number not above, and the smallest not below.
float roundDown(double value)
{
  const float near = static_cast<float>(value);
  return static_cast<double>(near) > value
             ? std::nextafter(near, -std::numeric_limits<float>::infinity())
             : near;
}

float roundUp(double value)
{
  return -roundDown(-value);
}

/// Fills in a run from the values of its cells' nodes: component c of node n at values[c * count +
/// n], the nodes of each cell up to one of `ends`.
void noteRun(MxCutRuns& runs, std::size_t run, const double* values, std::size_t count,
             const std::vector<std::size_t>& ends)
{
  const std::size_t components = std::min<std::size_t>(runs.componentCount, 3);
  const std::size_t runCount = runs.runCount();
  ValueRange cells[kRunSize];
  ValueRange whole;
  whole.clear();
  std::size_t begin = 0;
  for (std::size_t n = 0; n < ends.size(); ++n) {
    cells[n].clear();
    cells[n].include(values + begin, ends[n] - begin, count, components);
    begin = ends[n];
    for (std::size_t c = 0; c < components; ++c) {
      whole.low[c] = std::min(whole.low[c], cells[n].low[c]);
      whole.high[c] = std::max(whole.high[c], cells[n].high[c]);
    }
  }
  for (std::size_t c = 0; c < components; ++c) {
    const double origin = runs.origin[c];
    const float low = runs.low[c * runCount + run] = roundDown(whole.low[c] - origin);
    const float high = runs.high[c * runCount + run] = roundUp(whole.high[c] - origin);
    const double step = (static_cast<double>(high) - low) / 255;
    for (std::size_t n = 0; n < ends.size(); ++n) {
      const std::size_t at = c * runs.cellCount + run * kRunSize + n;
      const bool hasValue = cells[n].low[c] <= cells[n].high[c];
      runs.cellLow[at] = hasValue ? 0 : 255;
      runs.cellHigh[at] = hasValue ? 255 : 0;
      if (!hasValue || !(step > 0) || !std::isfinite(step)) continue;
      // Truncation rounds down.
      const double least = (cells[n].low[c] - origin - low) / step;
      const double most = (cells[n].high[c] - origin - low) / step;
      runs.cellLow[at] = static_cast<std::uint8_t>(std::clamp(least, 0.0, 255.0));
      runs.cellHigh[at] =
          static_cast<std::uint8_t>(255 - static_cast<int>(std::clamp(255 - most, 0.0, 255.0)));
    }
  }
}

/// True when runs of cells in their own order are hardly larger than single cells.
bool isCompact(const MxCutCells& cells, const MxBits* unusable, const MxCutReader& places)
{
  constexpr std::size_t kSamples = 512;
  constexpr double kMostRatio = 6; // a row of eight hexahedra has 3.3, eight at random hundreds
  const std::size_t runs = cells.cellCount() / kRunSize;
  if (runs < kSamples) return true;
  const MxCellOrder order;
  double whole = 0, single = 0;
  std::vector<double> values;
  const auto extentOf = [&](const std::vector<std::uint32_t>& nodes) {
    ValueRange range;
    range.clear();
    values.resize(3 * nodes.size());
    places.read(nodes.data(), nodes.size(), values.data());
    range.include(values.data(), nodes.size(), nodes.size(), 3);
    return range.extent();
  };
  for (std::size_t sample = 0; sample < kSamples; ++sample) {
    const std::size_t first = runs * sample / kSamples * kRunSize;
    cells.forEachRun(unusable, order, first, first + kRunSize,
                     [&](std::size_t, const std::vector<std::uint32_t>& nodes, const auto&) {
                       whole += extentOf(nodes);
                     });
    cells.forEachRun(unusable, order, first, first + 1,
                     [&](std::size_t, const std::vector<std::uint32_t>& nodes, const auto&) {
                       single += extentOf(nodes);
                     });
  }
  return whole <= kMostRatio * single;
}

/// Spreads ten bits to every third place.
std::uint32_t spread(std::uint32_t x)
{
  x = (x | x << 16) & 0x030000ffu;
  x = (x | x << 8) & 0x0300f00fu;
  x = (x | x << 4) & 0x030c30c3u;
  return (x | x << 2) & 0x09249249u;
}

/// Ten bits of each axis, interleaved.
std::uint32_t mortonCode(const double* place, const ValueRange& range)
{
  std::uint32_t code = 0;
  for (int axis = 0; axis < 3; ++axis) {
    const double extent = range.high[axis] - range.low[axis];
    const double part = extent > 0 ? (place[axis] - range.low[axis]) / extent : 0;
    // The extent may be beyond the largest number, and the part none.
    if (part > 0) code |= spread(static_cast<std::uint32_t>(std::min(part * 1024, 1023.0))) << axis;
  }
  return code;
}

/// Sorts cells by 32-bit codes; equal ones by number.
void sortByCode(bool parallel, const MxArray<std::uint32_t>& codes, MxCellOrder& order)
{
  constexpr std::size_t kBlock = 8192;
  MxArray<std::uint64_t> keys(codes.size());
  forEachBlock(parallel, keys.size(), kBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 for (std::size_t cell = first; cell < last; ++cell)
                   keys[cell] = std::uint64_t{codes[cell]} << 32 | cell;
               });
  // By the codes alone: cells that share one stay in their order.
  sortByNumber(parallel, keys, [](std::uint64_t key) { return key >> 32; });
  order.cells.resizeUninitialized(keys.size());
  forEachBlock(parallel, keys.size(), kBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 for (std::size_t at = first; at < last; ++at)
                   order.cells[at] = static_cast<std::uint32_t>(keys[at]);
               });
}

// --- Testing them ------------------------------------------------------------------------------

// Testers tell for a shape which runs, and which cells of a run, may be cut:
//
//     void testRuns(first, count, active) const;   0xff for a run that may be cut, or 0
//     std::uint8_t testCells(run) const;           a bit for each of its cells

class FieldTester
{
public:
  FieldTester(const MxCutRuns& runs, double isovalue)
      : m_runs(runs), m_isovalue(isovalue), m_rounded(roundUp(isovalue))
  {}

  void testRuns(std::size_t first, std::size_t count, std::uint8_t* active) const
  {
    // A number of single precision is below the value exactly when it is below the rounded one.
    const float* low = m_runs.low.data() + first;
    const float* high = m_runs.high.data() + first;
    const float value = m_rounded;
    for (std::size_t r = 0; r < count; ++r)
      active[r] = static_cast<std::uint8_t>(-((low[r] < value) & (high[r] >= value)));
  }
  std::uint8_t testCells(std::size_t run) const
  {
    const double low = m_runs.low[run];
    const double step = (static_cast<double>(m_runs.high[run]) - low) / 255;
    if (!(step > 0) || !std::isfinite(step)) return 0xff;
    const double place = (m_isovalue - low) / step;
    constexpr double kSlack = 1e-6; // rounding of this and of the range's division into steps
    const auto most = static_cast<int>(std::floor(std::clamp(place + kSlack, -1.0, 256.0)));
    const auto least = static_cast<int>(std::ceil(std::clamp(place - kSlack, -1.0, 256.0)));
    const std::size_t first = run * kRunSize;
    const std::size_t count = std::min(kRunSize, m_runs.cellCount - first);
    std::uint32_t bits = 0;
    for (std::size_t n = 0; n < count; ++n)
      bits |= static_cast<std::uint32_t>((m_runs.cellLow[first + n] <= most) &
                                         (m_runs.cellHigh[first + n] >= least))
              << n;
    return static_cast<std::uint8_t>(bits);
  }

private:
  const MxCutRuns& m_runs;
  double m_isovalue;
  float m_rounded;
};

template <class Shape>
class BoxTester
{
public:
  BoxTester(const MxCutRuns& runs, const Shape& shape) : m_runs(runs), m_shape(shape) {}

  void testRuns(std::size_t first, std::size_t count, std::uint8_t* active) const
  {
    for (std::size_t r = 0; r < count; ++r) {
      const MxCutBox box = boxOf(first + r);
      active[r] = box.low.x <= box.high.x && m_shape.mayCut(box) ? 0xff : 0;
    }
  }
  std::uint8_t testCells(std::size_t run) const
  {
    const MxCutBox whole = boxOf(run);
    const MbVec3d step = (whole.high - whole.low) * (1.0 / 255);
    if (!isFinite(step)) return 0xff;
    const std::size_t first = run * kRunSize;
    const std::size_t count = std::min(kRunSize, m_runs.cellCount - first);
    std::uint32_t bits = 0;
    for (std::size_t n = 0; n < count; ++n) {
      MxCutBox box;
      for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::size_t at = axis * m_runs.cellCount + first + n;
        box.low[axis] = whole.low[axis] + step[axis] * (m_runs.cellLow[at] - kSlack);
        box.high[axis] = whole.low[axis] + step[axis] * (m_runs.cellHigh[at] + kSlack);
      }
      const bool empty = m_runs.cellLow[first + n] > m_runs.cellHigh[first + n];
      bits |= static_cast<std::uint32_t>(!empty && m_shape.mayCut(box)) << n;
    }
    return static_cast<std::uint8_t>(bits);
  }

private:
  static constexpr double kSlack = 1e-6;

  MxCutBox boxOf(std::size_t run) const
  {
    const std::size_t runCount = m_runs.runCount();
    MxCutBox box;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      box.low[axis] = m_runs.origin[axis] + m_runs.low[axis * runCount + run];
      box.high[axis] = m_runs.origin[axis] + m_runs.high[axis * runCount + run];
    }
    return box;
  }

  const MxCutRuns& m_runs;
  Shape m_shape;
};

/// Planes are what is dragged most: their boxes are tested by the two corners that matter.
class PlaneTester
{
public:
  PlaneTester(const MxCutRuns& runs, const MxPlaneLevel& plane)
      : m_runs(runs), m_normal(plane.normal),
        m_base(dot(plane.normal, runs.origin) - plane.distance)
  {
    double size = std::abs(plane.distance);
    for (std::size_t axis = 0; axis < 3; ++axis)
      size += std::abs(m_normal[axis]) * (std::abs(runs.origin[axis]) + runs.largest);
    m_slack = 4 * kCutSnap * size;
    const std::size_t runCount = runs.runCount();
    for (std::size_t axis = 0; axis < 3; ++axis) {
      m_near[axis] = runs.low.data() + axis * runCount;
      m_far[axis] = runs.high.data() + axis * runCount;
      m_cellNear[axis] = runs.cellLow.data() + axis * runs.cellCount;
      m_cellFar[axis] = runs.cellHigh.data() + axis * runs.cellCount;
      if (m_normal[axis] >= 0) continue;
      std::swap(m_near[axis], m_far[axis]);
      std::swap(m_cellNear[axis], m_cellFar[axis]);
    }
  }

  void testRuns(std::size_t first, std::size_t count, std::uint8_t* active) const
  {
    const double x = m_normal.x, y = m_normal.y, z = m_normal.z, base = m_base, slack = m_slack;
    const float* near[3] = {m_near[0] + first, m_near[1] + first, m_near[2] + first};
    const float* far[3] = {m_far[0] + first, m_far[1] + first, m_far[2] + first};
    constexpr std::size_t kChunk = 256;
    double low[kChunk], high[kChunk];
    for (std::size_t begin = 0; begin < count; begin += kChunk) {
      const std::size_t now = std::min(kChunk, count - begin);
      for (std::size_t r = 0; r < now; ++r) {
        low[r] = base + x * near[0][begin + r] + y * near[1][begin + r] + z * near[2][begin + r];
        high[r] = base + x * far[0][begin + r] + y * far[1][begin + r] + z * far[2][begin + r];
      }
      // Runs without a cell come out as infinite or no numbers.
      for (std::size_t r = 0; r < now; ++r)
        active[begin + r] = static_cast<std::uint8_t>(-((low[r] <= slack) & (high[r] >= -slack)));
    }
  }
  std::uint8_t testCells(std::size_t run) const
  {
    const std::size_t runCount = m_runs.runCount();
    double base = m_base, steps[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const double low = m_runs.low[axis * runCount + run];
      const double step = (m_runs.high[axis * runCount + run] - low) / 255;
      if (!std::isfinite(step)) return 0xff;
      base += m_normal[axis] * low;
      steps[axis] = m_normal[axis] * step;
    }
    const double slack =
        m_slack + 1e-6 * (std::abs(steps[0]) + std::abs(steps[1]) + std::abs(steps[2]));
    const std::size_t first = run * kRunSize;
    const std::size_t count = std::min(kRunSize, m_runs.cellCount - first);
    std::uint32_t bits = 0;
    for (std::size_t n = 0; n < count; ++n) {
      double low = base, high = base;
      for (std::size_t axis = 0; axis < 3; ++axis) {
        low += steps[axis] * m_cellNear[axis][first + n];
        high += steps[axis] * m_cellFar[axis][first + n];
      }
      bits |= static_cast<std::uint32_t>((low <= slack) & (high >= -slack)) << n;
    }
    return static_cast<std::uint8_t>(bits);
  }

private:
  const MxCutRuns& m_runs;
  MbVec3d m_normal;
  double m_base, m_slack;
  const float *m_near[3], *m_far[3];
  const std::uint8_t *m_cellNear[3], *m_cellFar[3];
};

/// Calls test(tester) with the one for a shape.
template <class Test>
void visitTester(const MxCutRuns& runs, const MxCutShape& shape, const Test& test)
{
  if (const auto* iso = std::get_if<MxIsovalue>(&shape)) test(FieldTester(runs, iso->value));
  visitShapeLevel(shape, [&]<class Level>(const Level& level) {
    if constexpr (std::is_same_v<Level, MxPlaneLevel>)
      test(PlaneTester(runs, level));
    else
      test(BoxTester(runs, level));
  });
}

} // namespace

std::shared_ptr<const MxCutRuns> recallRuns(const MxCutRunsKey& key)
{
  return sharedRuns().find(key);
}

void rememberRuns(const MxCutRunsKey& key, const std::shared_ptr<const MxCutRuns>& runs)
{
  sharedRuns().keep(key, runs);
}

std::shared_ptr<const MxCellOrder> recallOrder(const MxCutRunsKey& key)
{
  return sharedOrders().find(key);
}

void rememberOrder(const MxCutRunsKey& key, const std::shared_ptr<const MxCellOrder>& order)
{
  sharedOrders().keep(key, order);
}

std::shared_ptr<const MxCellOrder> makeOrder(const MxCutCells& cells, const MxBits* unusable,
                                             const MxCutPlaces& places, bool parallel)
{
  auto order = std::make_shared<MxCellOrder>();
  if (isCompact(cells, unusable, places)) return order;
  const std::size_t cellCount = cells.cellCount();
  constexpr std::size_t kBlock = 8192;
  MxArray<float> centres(3 * cellCount);
  std::vector<ValueRange> ranges(blockCount(cellCount, kBlock));
  forEachBlock(
      parallel, cellCount, kBlock, [&](std::size_t b, std::size_t first, std::size_t last) {
        std::vector<double> values;
        ranges[b].clear();
        std::size_t cell = first;
        cells.forEachRun(
            unusable, {}, first, last, [&](std::size_t, const auto& nodes, const auto& ends) {
              for (std::size_t n = 0, begin = 0; n < ends.size(); begin = ends[n++], ++cell) {
                const std::size_t count = ends[n] - begin;
                values.resize(3 * count);
                places.read(nodes.data() + begin, count, values.data());
                ValueRange own;
                own.clear();
                own.include(values.data(), count, count, 3);
                double centre[3] = {0, 0, 0};
                for (std::size_t axis = 0; axis < 3 && count > 0; ++axis)
                  centre[axis] = own.low[axis] / 2 + own.high[axis] / 2;
                if (count > 0) ranges[b].include(centre, 1, 1, 3);
                for (std::size_t axis = 0; axis < 3; ++axis)
                  centres[3 * cell + axis] = static_cast<float>(centre[axis]);
              }
            });
      });
  ValueRange all;
  all.clear();
  for (const ValueRange& range : ranges) {
    all.include(range.low, 1, 1, 3);
    all.include(range.high, 1, 1, 3);
  }
  MxArray<std::uint32_t> codes(cellCount);
  forEachBlock(parallel, cellCount, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t cell = first; cell < last; ++cell) {
      const double centre[3] = {centres[3 * cell], centres[3 * cell + 1], centres[3 * cell + 2]};
      codes[cell] = mortonCode(centre, all);
    }
  });
  sortByCode(parallel, codes, *order);
  return order;
}

std::shared_ptr<const MxCutRuns> makeRuns(const MxCutCells& cells, const MxBits* unusable,
                                          std::shared_ptr<const MxCellOrder> order,
                                          const MxCutReader& reader, bool parallel,
                                          MxExtractionMonitor& monitor)
{
  const std::size_t componentCount = reader.componentCount();
  auto runs = std::make_shared<MxCutRuns>();
  runs->order = std::move(order);
  runs->cellCount = cells.cellCount();
  runs->componentCount = componentCount;
  const std::size_t runCount = runs->runCount();
  runs->low.resizeUninitialized(componentCount * runCount);
  runs->high.resizeUninitialized(componentCount * runCount);
  runs->cellLow.resizeUninitialized(componentCount * runs->cellCount);
  runs->cellHigh.resizeUninitialized(componentCount * runs->cellCount);
  // Near the places, so that single precision is enough for meshes far from zero.
  bool hasOrigin = componentCount != 3;
  for (std::size_t first = 0; first < runs->cellCount && !hasOrigin; first += kRunSize)
    cells.forEachRun(unusable, *runs->order, first, std::min(first + kRunSize, runs->cellCount),
                     [&](std::size_t, const std::vector<std::uint32_t>& nodes, const auto&) {
                       if (nodes.empty()) return;
                       double place[3];
                       reader.read(nodes.data(), 1, place);
                       runs->origin = {place[0], place[1], place[2]};
                       hasOrigin = true;
                     });
  constexpr std::size_t kBlock = 8192;
  forEachBlock(parallel, runs->cellCount, kBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 monitor.step(0);
                 std::vector<double> values;
                 cells.forEachRun(unusable, *runs->order, first, last,
                                  [&](std::size_t run, const std::vector<std::uint32_t>& nodes,
                                      const std::vector<std::size_t>& ends) {
                                    values.resize(componentCount * nodes.size());
                                    reader.read(nodes.data(), nodes.size(), values.data());
                                    noteRun(*runs, run, values.data(), nodes.size(), ends);
                                  });
               });
  for (std::size_t n = 0; n < runs->low.size(); ++n) {
    if (runs->low[n] > runs->high[n]) continue;                       // without a value
    const double bound = std::max(-static_cast<double>(runs->low[n]), //
                                  static_cast<double>(runs->high[n]));
    runs->largest = std::max(runs->largest, bound);
  }
  if (componentCount == 3 && std::isinf(runs->largest)) {
    // Nothing can be told from boxes without an end: all cells are looked at in every cut.
    runs->isUsable = false;
    for (MxArray<float>* bounds : {&runs->low, &runs->high})
      bounds->release();
    for (MxArray<std::uint8_t>* bounds : {&runs->cellLow, &runs->cellHigh})
      bounds->release();
  }
  return runs;
}

std::size_t findActiveCells(const MxCutRuns& runs, const MxCutShape& shape, bool parallel,
                            MxBits& active)
{
  constexpr std::size_t kBlock = 4096; // runs; whole words of bits
  const std::size_t runCount = runs.runCount();
  if (runCount == 0) return 0;
  const MxArray<std::uint32_t>& order = runs.order->cells;
  std::vector<std::size_t> sums(blockCount(runCount, kBlock));
  const auto sum = [&] {
    std::size_t all = 0;
    for (const std::size_t own : sums)
      all += own;
    return all;
  };
  MxArray<std::uint8_t> bytes(blockCount(runCount, 8) * 8);
  // The last run may have fewer cells.
  const auto lastCells = static_cast<std::uint8_t>(0xff >> (kRunSize * runCount - runs.cellCount));
  bool pays = true;
  visitTester(runs, shape, [&](const auto& tester) {
    forEachBlock(parallel, runCount, kBlock,
                 [&](std::size_t b, std::size_t first, std::size_t last) {
                   tester.testRuns(first, last - first, bytes.data() + first);
                   std::size_t own = 0;
                   for (std::size_t r = first; r < last; ++r)
                     own += bytes[r] & 1;
                   sums[b] = own;
                 });
    pays = 2 * sum() <= runCount;
    if (!pays) return;
    std::fill(bytes.begin() + runCount, bytes.end(), std::uint8_t{0});
    active = MxBits(runs.cellCount);
    forEachBlock(parallel, runCount, kBlock,
                 [&](std::size_t b, std::size_t first, std::size_t last) {
                   std::size_t own = 0;
                   for (std::size_t r = first; r < last; ++r) {
                     if (!bytes[r]) continue;
                     bytes[r] = tester.testCells(r) & (r + 1 == runCount ? lastCells : 0xff);
                     own += countBits(bytes[r]);
                     if (order.empty()) continue;
                     forEachBit(bytes[r], r * kRunSize,
                                [&](std::size_t at) { active.setShared(order[at]); });
                   }
                   sums[b] = own;
                   if (!order.empty()) return;
                   for (std::size_t r = first; r < last; r += 8) {
                     std::uint64_t word = 0;
                     for (std::size_t n = 0; n < 8; ++n)
                       word |= std::uint64_t{bytes[r + n]} << 8 * n;
                     active.words()[r / 8] = word;
                   }
                 });
  });
  return pays ? sum() : runs.cellCount;
}
