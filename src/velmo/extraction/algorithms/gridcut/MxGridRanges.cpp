#include <velmo/extraction/algorithms/gridcut/MxGridRanges.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxBits.h>
#include <velmo/extraction/algorithms/access/MxShared.h>
#include <velmo/mesh/MbArray.h>

#include <atomic>
#include <limits>

namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();

template <std::size_t Components>
constexpr MxRange<Components> emptyRange()
{
  MxRange<Components> range;
  range.low.fill(kInfinite);
  range.high.fill(-kInfinite);
  return range;
}

// Written so that a number that is none changes nothing, and so that the compiler has one
// instruction for it.
template <class T>
T smaller(T value, T low)
{
  return value < low ? value : low;
}
template <class T>
T larger(T value, T high)
{
  return value > high ? value : high;
}

template <std::size_t Components>
void include(MxRange<Components>& range, const MxRange<Components>& other)
{
  for (std::size_t c = 0; c < Components; ++c) {
    range.low[c] = smaller(other.low[c], range.low[c]);
    range.high[c] = larger(other.high[c], range.high[c]);
  }
}

/// Sweeps over a layer of bricks, row by row.
template <class Rows, std::size_t Components>
class LayerSweep
{
public:
  using T = typename Rows::Value;

  LayerSweep(const Rows& rows, MxGridRanges<Components>& ranges)
      : m_rows(&rows), m_ranges(&ranges), m_width(Components * ranges.lattice.nodes.counts.x)
  {
    m_low.resize(m_width);
    m_high.resize(m_width);
    m_rowLow.resize(m_width);
    m_rowHigh.resize(m_width);
    m_buffers.resize(5 * m_width);
  }

  /// @return false when a number is not finite, or very large
  bool sweep(std::size_t brickK)
  {
    const MbIndex3& nodes = m_ranges->lattice.nodes.counts;
    m_brickK = brickK;
    readRow(0);
    for (std::size_t brickJ = 0; brickJ < m_ranges->lattice.bricks.counts.y; ++brickJ) {
      MxPoll::ask();
      // The first row is the last one of the bricks before.
      m_low.swap(m_rowLow);
      m_high.swap(m_rowHigh);
      const std::size_t last = std::min(4 * brickJ + 4, nodes.y - 1);
      for (std::size_t j = 4 * brickJ + 1; j <= last; ++j) {
        readRow(j);
        for (std::size_t n = 0; n < m_width; ++n) {
          m_low[n] = smaller(m_rowLow[n], m_low[n]);
          m_high[n] = larger(m_rowHigh[n], m_high[n]);
        }
      }
      writeBricks(brickJ);
    }
    return m_finite;
  }

private:
  /// The smallest and largest of the layer's rows (j, k) for all k.
  void readRow(std::size_t j)
  {
    const MbIndex3& nodes = m_ranges->lattice.nodes.counts;
    const T* rows[5];
    for (std::size_t n = 0; n < 5; ++n) {
      const std::size_t k = std::min(4 * m_brickK + n, nodes.z - 1);
      rows[n] = m_rows->row(0, j, k, nodes.x, m_buffers.data() + n * m_width);
    }
    const T *r0 = rows[0], *r1 = rows[1], *r2 = rows[2], *r3 = rows[3], *r4 = rows[4];
    T *low = m_rowLow.data(), *high = m_rowHigh.data();
    using Mask = std::conditional_t<sizeof(T) == 8, std::uint64_t, std::uint32_t>;
    constexpr T kLarge = std::numeric_limits<T>::infinity();
    Mask bad = 0;
    for (std::size_t n = 0; n < m_width; ++n) {
      const T a = r0[n], b = r1[n], c = r2[n], d = r3[n], e = r4[n];
      low[n] = smaller(e, smaller(d, smaller(c, smaller(b, smaller(a, kLarge)))));
      high[n] = larger(e, larger(d, larger(c, larger(b, larger(a, -kLarge)))));
      const T sum = ((a + b) + (c + d)) + e;
      bad |= static_cast<Mask>(sum - sum != T{0});
    }
    m_finite = m_finite && bad == 0;
  }

  void writeBricks(std::size_t brickJ)
  {
    const MxGridBricks& lattice = m_ranges->lattice;
    for (std::size_t brickI = 0; brickI < lattice.bricks.counts.x; ++brickI) {
      const std::size_t last = std::min(4 * brickI + 4, lattice.nodes.counts.x - 1);
      T low[Components], high[Components];
      std::fill_n(low, Components, std::numeric_limits<T>::infinity());
      std::fill_n(high, Components, -std::numeric_limits<T>::infinity());
      for (std::size_t i = 4 * brickI; i <= last; ++i)
        for (std::size_t c = 0; c < Components; ++c) {
          low[c] = smaller(m_low[Components * i + c], low[c]);
          high[c] = larger(m_high[Components * i + c], high[c]);
        }
      auto& range = m_ranges->bricks[lattice.brick({brickI, brickJ, m_brickK})];
      for (std::size_t c = 0; c < Components; ++c) {
        range.low[c] = low[c];
        range.high[c] = high[c];
      }
    }
  }

  const Rows* m_rows;
  MxGridRanges<Components>* m_ranges;
  std::size_t m_width, m_brickK = 0;
  bool m_finite = true;
  std::vector<T> m_low, m_high, m_rowLow, m_rowHigh, m_buffers;
};

/// The range of one brick's finite numbers.
template <class Rows, std::size_t Components>
MxRange<Components> finiteRange(const Rows& rows, const MxGridBricks& lattice,
                                const MbIndex3& brick)
{
  using T = typename Rows::Value;
  const MbIndex3& nodes = lattice.nodes.counts;
  const std::size_t count = std::min<std::size_t>(5, nodes.x - 4 * brick.x);
  MxRange<Components> range = emptyRange<Components>();
  for (std::size_t k = 4 * brick.z; k < std::min(4 * brick.z + 5, nodes.z); ++k)
    for (std::size_t j = 4 * brick.y; j < std::min(4 * brick.y + 5, nodes.y); ++j) {
      T buffer[Components * 5];
      const T* row = rows.row(4 * brick.x, j, k, count, buffer);
      for (std::size_t n = 0; n < Components * count; ++n) {
        const double value = row[n];
        if (!(value - value == 0)) continue;
        range.low[n % Components] = smaller(value, range.low[n % Components]);
        range.high[n % Components] = larger(value, range.high[n % Components]);
      }
    }
  return range;
}

/// Marks the bricks near nodes without finite numbers, and leaves these out of the ranges.
template <class Rows, std::size_t Components>
void findUndefined(const Rows& rows, bool parallel, MxGridRanges<Components>& ranges)
{
  using T = typename Rows::Value;
  const MxGridBricks& lattice = ranges.lattice;
  const MbIndex3& nodes = lattice.nodes.counts;
  std::atomic<bool> any = false;
  ranges.undefined.resizeZeroed(lattice.groups.total());
  // The last brick that has a node before or at its end, and the first.
  const auto firstBrick = [](std::size_t node) { return node < 4 ? 0 : (node - 1) / 4; };
  const auto lastBrick = [](std::size_t node, std::size_t count) {
    return std::min((node + 1) / 4, count - 1);
  };
  forEachTask(parallel, nodes.z, [&](std::size_t k) {
    std::vector<T> buffer(Components * nodes.x);
    for (std::size_t j = 0; j < nodes.y; ++j) {
      MxPoll::ask();
      const T* row = rows.row(0, j, k, nodes.x, buffer.data());
      for (std::size_t n = 0; n < Components * nodes.x; ++n) {
        if (row[n] - row[n] == T{0}) continue;
        any.store(true, std::memory_order_relaxed);
        const std::size_t i = n / Components;
        const MbIndex3& bricks = lattice.bricks.counts;
        for (std::size_t z = firstBrick(k); z <= lastBrick(k, bricks.z); ++z)
          for (std::size_t y = firstBrick(j); y <= lastBrick(j, bricks.y); ++y)
            for (std::size_t x = firstBrick(i); x <= lastBrick(i, bricks.x); ++x) {
              const std::size_t brick = lattice.brick({x, y, z});
              std::atomic_ref<std::uint64_t>(ranges.undefined[brick / 64])
                  .fetch_or(std::uint64_t{1} << brick % 64, std::memory_order_relaxed);
            }
      }
    }
  });
  if (!any) {
    ranges.undefined.release();
    return;
  }
  forEachTask(parallel, ranges.undefined.size(), [&](std::size_t group) {
    forEachBit(ranges.undefined[group], 0, [&](std::size_t place) {
      ranges.bricks[64 * group + place] = finiteRange<Rows, Components>(
          rows, lattice, MxGridBricks::brickAt(lattice.groups.split(group), place));
    });
  });
}

template <class Rows, std::size_t Components>
void findRanges(const Rows& rows, bool parallel, MxExtractionMonitor& monitor,
                MxGridRanges<Components>& ranges)
{
  const MxGridBricks& lattice = ranges.lattice;
  const std::size_t layers = lattice.bricks.counts.z;
  parallel = parallel && lattice.nodes.total() >= kParallelThreshold;
  ranges.bricks.resizeUninitialized(lattice.room());
  std::atomic<bool> finite = true;
  // A few layers at a time: a thread's buffers serve them all, and what two layers share is still
  // in the cache.
  constexpr std::size_t kLayers = 4;
  forEachTask(parallel, blockCount(layers, kLayers), [&](std::size_t task) {
    monitor.step();
    LayerSweep<Rows, Components> sweep(rows, ranges);
    for (std::size_t k = kLayers * task; k < std::min(layers, kLayers * (task + 1)); ++k)
      if (!sweep.sweep(k)) finite.store(false, std::memory_order_relaxed);
  });
  if (!finite) findUndefined(rows, parallel, ranges);
  ranges.groups.resizeUninitialized(lattice.groups.total());
  ranges.whole = emptyRange<Components>();
  for (std::size_t group = 0; group < ranges.groups.size(); ++group) {
    if (group % 1024 == 0) MxPoll::ask();
    const std::uint64_t inside = lattice.bricksOf(lattice.groups.split(group));
    MxRange<Components> all = emptyRange<Components>();
    for (std::size_t place = 0; place < 64; ++place) {
      MxRange<Components>& range = ranges.bricks[64 * group + place];
      if (!(inside >> place & 1)) range = emptyRange<Components>();
      include(all, range);
    }
    ranges.groups[group] = all;
    include(ranges.whole, all);
  }
}

/// Stands for the contents of an object; its array and its counts stand beside the stamp so that a
/// stale stamp cannot vouch for another.
struct Key
{
  const void* object;
  std::uint64_t stamp;
  const void* data;
  MbIndex3 counts;
  friend bool operator==(const Key&, const Key&) = default;
};

template <std::size_t Components, class Source>
std::shared_ptr<const MxGridRanges<Components>>
shareOrFind(const Key& key, const Source& source, bool parallel, MxExtractionMonitor& monitor)
{
  static MxShared<Key, MxGridRanges<Components>> s_shared;
  if (auto known = s_shared.find(key)) return known;
  auto ranges = std::make_shared<MxGridRanges<Components>>();
  ranges->lattice = MxGridBricks(source.nodes().counts);
  monitor.beginPhase("Reading nodes", blockCount(ranges->lattice.bricks.counts.z, 4));
  visitRows(source, [&](const auto& rows) { findRanges(rows, parallel, monitor, *ranges); });
  s_shared.keep(key, ranges);
  return ranges;
}

} // namespace

MxGridValues::MxGridValues(const MiTypedDataSet<double>& set, const MbIndex3& nodeCounts)
    : m_nodes{nodeCounts}
{
  if (set.getBinding() != MiDataBinding::PerNode) return;
  if (const auto* grid = dynamic_cast<const MiDataSetIjk<double>*>(&set)) {
    if (grid->getSizes() != nodeCounts) return;
    m_grid = grid;
    m_view = grid->getView();
  } else if (const auto* flat = dynamic_cast<const MiDataSetI<double>*>(&set)) {
    if (flat->getSize() != m_nodes.total()) return;
    m_flat = flat;
    m_view = flat->getView();
  }
  if (m_view.count < m_nodes.total()) m_view = {};
}

void MxGridValues::read(std::size_t i, std::size_t j, std::size_t k, std::size_t count,
                        double* values) const
{
  const std::size_t first = m_nodes.flat(i, j, k);
  for (std::size_t n = 0; n < count; ++n)
    values[n] = m_view   ? mbNumber(m_view, first + n)
                : m_grid ? m_grid->getValue(i + n, j, k)
                         : m_flat->getValue(first + n);
}

MxGridPoints::MxGridPoints(const MiGeometryIjk& geometry, const MbIndex3& nodeCounts)
    : m_nodes{nodeCounts}, m_geometry(&geometry), m_view(geometry.getView())
{
  const bool real = m_view.type == MiScalarType::Float64 || m_view.type == MiScalarType::Float32;
  if (m_view.count < m_nodes.total() || !real) m_view = {};
}

void MxGridPoints::read(std::size_t i, std::size_t j, std::size_t k, std::size_t count,
                        double* triples) const
{
  for (std::size_t n = 0; n < count; ++n) {
    const MbVec3d p =
        m_view ? mbPoint(m_view, m_nodes.flat(i + n, j, k)) : m_geometry->getNode(i + n, j, k);
    triples[3 * n] = p.x;
    triples[3 * n + 1] = p.y;
    triples[3 * n + 2] = p.z;
  }
}

std::shared_ptr<const MxFieldRanges> shareRanges(const MiTypedDataSet<double>& set,
                                                 const MxGridValues& values, bool parallel,
                                                 MxExtractionMonitor& monitor)
{
  return shareOrFind<1>({&set, set.getTimeStamp(), values.view().data, values.nodes().counts},
                        values, parallel, monitor);
}

std::shared_ptr<const MxPointRanges> shareRanges(const MiGeometryIjk& geometry,
                                                 const MxGridPoints& points, bool parallel,
                                                 MxExtractionMonitor& monitor)
{
  return shareOrFind<3>(
      {&geometry, geometry.getTimeStamp(), points.view().data, points.nodes().counts}, points,
      parallel, monitor);
}
