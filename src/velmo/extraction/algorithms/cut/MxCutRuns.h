#pragma once

#include <velmo/extraction/algorithms/access/MxVolumeCells.h>
#include <velmo/extraction/algorithms/cut/MxCutPasses.h>

#include <cmath>

/// What makes dragging fast: the cells of a mesh in runs of eight, each with the range of a field
/// or the box of its places, so that a cut looks at the few runs only that its surface crosses.
///
/// Runs follow the order of the cells where that is measured to be compact, as it is in meshes that
/// come from a grid or a front, and otherwise the order of their centres along a Morton curve. They
/// are made when a mesh and field are cut for the second time, and are shared by all who cut them.

inline constexpr std::size_t kRunSize = 8; // a byte of MxBits

/// Reads values of nodes, one or three each.
class MxCutReader
{
public:
  virtual ~MxCutReader() = default;
  /// Component c of node n goes to values[c * count + n].
  virtual void read(const std::uint32_t* nodes, std::size_t count, double* values) const = 0;
};

template <class Values>
class MxValueReader final : public MxCutReader
{
public:
  explicit MxValueReader(const Values& values) : m_values(values) {}
  void read(const std::uint32_t* nodes, std::size_t count, double* values) const override
  {
    for (std::size_t n = 0; n < count; ++n)
      values[n] = m_values[nodes[n]];
  }

private:
  Values m_values;
};

template <class Points>
class MxPlaceReader final : public MxCutReader
{
public:
  explicit MxPlaceReader(const Points& points) : m_points(points) {}
  void read(const std::uint32_t* nodes, std::size_t count, double* values) const override
  {
    for (std::size_t n = 0; n < count; ++n) {
      const MbVec3d p = m_points[nodes[n]];
      values[n] = p.x;
      values[count + n] = p.y;
      values[2 * count + n] = p.z;
    }
  }

private:
  Points m_points;
};

/// Cells in the order of their centres along a Morton curve.
struct MxCellOrder
{
  MxArray<std::uint32_t> cells; ///< empty for the order in which they are numbered
};

/// The range of each run, in single precision, and of each cell in it, in 255 steps of the run's;
/// all rounded outward. Three bytes a cell and component.
struct MxCutRuns
{
  std::shared_ptr<const MxCellOrder> order;
  std::size_t cellCount = 0, componentCount = 0;
  MbVec3d origin;       ///< of places
  double largest = 0;   ///< no coordinate is farther from the origin's
  bool isUsable = true; ///< false where places lie too far apart for single precision
  /// Of component c and run r: [c * runCount() + r]. A run without any value has a low above high.
  MxArray<float> low, high;
  /// Of component c and cell n in the runs' order: [c * cellCount + n]; 255 and 0 without a value.
  MxArray<std::uint8_t> cellLow, cellHigh;

  std::size_t runCount() const { return blockCount(cellCount, kRunSize); }
  std::size_t getByteCount() const
  {
    return 4 * (low.capacity() + high.capacity() + order->cells.capacity()) + cellLow.capacity() +
           cellHigh.capacity();
  }
};

/// Identifies what runs were made of: addresses and counts stand beside the stamps, so that a stale
/// stamp cannot vouch for other arrays.
struct MxCutRunsKey
{
  const void *topology = nullptr, *geometry = nullptr, *values = nullptr, *data = nullptr;
  std::uint64_t topologyStamp = 0, geometryStamp = 0, valuesStamp = 0;
  std::size_t cellCount = 0, nodeCount = 0;
  friend bool operator==(const MxCutRunsKey&, const MxCutRunsKey&) = default;
};

/// Structures that live as long as somebody holds them; null when there are none. *Threads*: any.
std::shared_ptr<const MxCutRuns> recallRuns(const MxCutRunsKey& key);
void rememberRuns(const MxCutRunsKey& key, const std::shared_ptr<const MxCutRuns>& runs);
std::shared_ptr<const MxCellOrder> recallOrder(const MxCutRunsKey& key);
void rememberOrder(const MxCutRunsKey& key, const std::shared_ptr<const MxCellOrder>& order);

/// An extractor's share of the structures, and what it has cut last.
class MxCutHistory final : public MxCutKept
{
public:
  std::size_t getByteCount() const override { return runs ? runs->getByteCount() : 0; }

  MxCutRunsKey key;
  std::shared_ptr<const MxCutRuns> runs;    ///< of `key`, null before the second cut
  std::shared_ptr<const MxMeshCheck> check; ///< so that it is not found anew
};

/// Sets the bits of the cells that the shape may cut.
/// @return how many; all where so many runs may be cut that looking closer does not pay
std::size_t findActiveCells(const MxCutRuns& runs, const MxCutShape& shape, bool parallel,
                            MxBits& active);

namespace velmo_detail {

/// The nodes of a loaded cell, those of a polyhedron once a face.
template <class Cursor>
void appendNodes(const Cursor& cursor, std::vector<std::uint32_t>& nodes)
{
  const std::size_t at = nodes.size();
  if (cursor.shape() != MiCellShape::Polyhedron) {
    nodes.resize(at + cursor.size());
    for (std::size_t n = 0; n < cursor.size(); ++n)
      nodes[at + n] = static_cast<std::uint32_t>(cursor.nodes()[n]);
    return;
  }
  const std::size_t length = cursor.streamSize();
  for (std::size_t next = 1; next < length;) {
    const std::size_t size = cursor.stream()[next++];
    for (const std::size_t end = next + size; next < end; ++next)
      nodes.push_back(static_cast<std::uint32_t>(cursor.stream()[next]));
  }
}

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
float roundDown(double value);
float roundUp(double value);

/// Calls body(run's number, nodes, ends) for the runs of some cells: all their nodes, and where
/// those of each cell end; unusable ones have none.
template <class Cells, class Body>
void forEachRun(const Cells& cells, const MxBits* unusable, const MxCellOrder& order,
                std::size_t first, std::size_t last, const Body& body)
{
  typename Cells::Cursor cursor(cells);
  std::vector<std::uint32_t> nodes;
  std::vector<std::size_t> ends;
  for (std::size_t begin = first; begin < last; begin += kRunSize) {
    nodes.clear();
    ends.clear();
    const std::size_t end = std::min(last, begin + kRunSize);
    for (std::size_t at = begin; at < end; ++at) {
      const std::size_t cell = order.cells.empty() ? at : order.cells[at];
      if (!unusable || !unusable->test(cell)) {
        cursor.load(cell);
        appendNodes(cursor, nodes);
      }
      ends.push_back(nodes.size());
    }
    body(begin / kRunSize, nodes, ends);
  }
}

/// True when runs of cells in their own order are hardly larger than single cells.
template <class Cells>
bool isCompact(const Cells& cells, const MxBits* unusable, const MxCutReader& places)
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
    forEachRun(cells, unusable, order, first, first + kRunSize,
               [&](std::size_t, const std::vector<std::uint32_t>& nodes, const auto&) {
                 whole += extentOf(nodes);
               });
    forEachRun(cells, unusable, order, first, first + 1,
               [&](std::size_t, const std::vector<std::uint32_t>& nodes, const auto&) {
                 single += extentOf(nodes);
               });
  }
  return whole <= kMostRatio * single;
}

/// Fills in a run from the values of its cells' nodes: component c of node n at values[c * count +
/// n], the nodes of each cell up to one of `ends`.
void noteRun(MxCutRuns& runs, std::size_t run, const double* values, std::size_t count,
             const std::vector<std::size_t>& ends);

/// Sorts cells by 32-bit codes; equal ones by number.
void sortByCode(bool parallel, const MxArray<std::uint32_t>& codes, MxCellOrder& order);
/// Ten bits of each axis, interleaved.
std::uint32_t mortonCode(const double* place, const ValueRange& range);

} // namespace velmo_detail

/// The order for the runs of a mesh.
template <class Cells>
std::shared_ptr<const MxCellOrder> makeOrder(const Cells& cells, const MxBits* unusable,
                                             const MxCutReader& places, bool parallel)
{
  using namespace velmo_detail;
  auto order = std::make_shared<MxCellOrder>();
  if (isCompact(cells, unusable, places)) return order;
  const std::size_t cellCount = cells.cellCount();
  constexpr std::size_t kBlock = 8192;
  MxArray<float> centres(3 * cellCount);
  std::vector<ValueRange> ranges(blockCount(cellCount, kBlock));
  forEachBlock(parallel, cellCount, kBlock,
               [&](std::size_t b, std::size_t first, std::size_t last) {
                 typename Cells::Cursor cursor(cells);
                 std::vector<std::uint32_t> nodes;
                 std::vector<double> values;
                 ranges[b].clear();
                 for (std::size_t cell = first; cell < last; ++cell) {
                   nodes.clear();
                   if (!unusable || !unusable->test(cell)) {
                     cursor.load(cell);
                     appendNodes(cursor, nodes);
                   }
                   values.resize(3 * nodes.size());
                   places.read(nodes.data(), nodes.size(), values.data());
                   ValueRange own;
                   own.clear();
                   own.include(values.data(), nodes.size(), nodes.size(), 3);
                   double centre[3] = {0, 0, 0};
                   for (std::size_t axis = 0; axis < 3 && !nodes.empty(); ++axis)
                     centre[axis] = own.low[axis] / 2 + own.high[axis] / 2;
                   if (!nodes.empty()) ranges[b].include(centre, 1, 1, 3);
                   for (std::size_t axis = 0; axis < 3; ++axis)
                     centres[3 * cell + axis] = static_cast<float>(centre[axis]);
                 }
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

/// The runs of a mesh: of places where componentCount is three, of a field where it is one.
template <class Cells>
std::shared_ptr<const MxCutRuns> makeRuns(const Cells& cells, const MxBits* unusable,
                                          std::shared_ptr<const MxCellOrder> order,
                                          const MxCutReader& reader, std::size_t componentCount,
                                          bool parallel, MxExtractionMonitor& monitor)
{
  using namespace velmo_detail;
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
    forEachRun(cells, unusable, *runs->order, first, std::min(first + kRunSize, runs->cellCount),
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
                 forEachRun(cells, unusable, *runs->order, first, last,
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

namespace velmo_detail {

/// Takes cells one by one and adds those that are cut. Linear ones wait until their classes are
/// asked for together.
template <class Cells>
class ActiveCollector
{
public:
  ActiveCollector(const Cells& cells, const MxCutJob& job, MxBits& owners,
                  MxCutScratch::Block& block)
      : m_source(job.source), m_cursor(cells), m_collector(job, owners, block)
  {}

  void add(std::size_t cell)
  {
    using S = MiCellShape;
    m_cursor.load(cell);
    const S shape = m_cursor.shape();
    if (shape != S::Hexahedron && shape != S::Tetrahedron && shape != S::Wedge &&
        shape != S::Pyramid) {
      flush();
      m_collector.addOther(
          cell, m_cursor,
          [&](const std::uint32_t* nodes, std::size_t count, std::uint8_t* classes) {
            m_source->classify(nodes, count, classes);
          });
      return;
    }
    m_waiting[m_count++] = {static_cast<std::uint32_t>(cell),
                            static_cast<std::uint32_t>(m_nodeCount), shape};
    const std::size_t size = kFixedSizes[static_cast<std::size_t>(shape)];
    for (std::size_t n = 0; n < size; ++n)
      m_nodes[m_nodeCount + n] = static_cast<std::uint32_t>(m_cursor.nodes()[n]);
    m_source->announce(m_nodes + m_nodeCount, size);
    m_nodeCount += size;
    if (m_count == kMost) flush();
  }

  void flush()
  {
    m_source->classify(m_nodes, m_nodeCount, m_classes);
    for (std::size_t w = 0; w < m_count; ++w)
      visitCutTable(m_waiting[w].shape,
                    [&]<class Table>(const Table&) { addIfCut<Table::kNodeCount>(m_waiting[w]); });
    m_count = m_nodeCount = 0;
  }

private:
  static constexpr std::size_t kMost = 24;

  struct Waiting
  {
    std::uint32_t cell, at;
    MiCellShape shape;
  };

  template <std::size_t Size>
  void addIfCut(const Waiting& waiting)
  {
    using S = MiCellShape;
    constexpr S kShape = Size == 8   ? S::Hexahedron
                         : Size == 6 ? S::Wedge
                         : Size == 5 ? S::Pyramid
                                     : S::Tetrahedron;
    const std::uint8_t* own = m_classes + waiting.at;
    std::uint32_t sum = 0;
    for (std::size_t n = 0; n < Size; ++n)
      sum += own[n];
    if ((sum & 15) - 1 < Size - 1 && sum < kCutUndefined)
      m_collector.template addLinear<kShape>(waiting.cell, m_nodes + waiting.at, own);
  }

  const MxCutSource* m_source;
  typename Cells::Cursor m_cursor;
  CutCollector m_collector;
  std::size_t m_count = 0, m_nodeCount = 0;
  Waiting m_waiting[kMost];
  std::uint32_t m_nodes[kMost * 8];
  std::uint8_t m_classes[kMost * 8];
};

} // namespace velmo_detail

/// The cut cells among the active ones, as MxCutScratch::blocks; levels are made where they are
/// needed.
template <class Cells>
void collectActiveCells(const Cells& cells, const MxCutJob& job, const MxBits& active,
                        MxCutScratch& scratch, MxExtractionMonitor& monitor)
{
  using namespace velmo_detail;
  const std::size_t cellCount = cells.cellCount();
  scratch.blocks.resize(blockCount(cellCount, kCutBlock));
  scratch.owners = MxBits(job.nodeCount);
  forEachBlock(job.parallel, cellCount, kCutBlock,
               [&](std::size_t b, std::size_t first, std::size_t last) {
                 monitor.step();
                 scratch.blocks[b].clear();
                 std::vector<std::uint32_t> chosen;
                 for (std::size_t word = first / 64; word < blockCount(last, 64); ++word)
                   forEachBit(active.words()[word], 64 * word, [&](std::size_t cell) {
                     if (!job.unusable || !job.unusable->test(cell))
                       chosen.push_back(static_cast<std::uint32_t>(cell));
                   });
                 if (chosen.empty()) return;
                 // The cells lie far apart: what is needed of them is asked for in time.
                 constexpr std::size_t kAhead = 12;
                 ActiveCollector<Cells> collector(cells, job, scratch.owners, scratch.blocks[b]);
                 for (std::size_t c = 0; c < chosen.size(); ++c) {
                   if constexpr (requires { cells.prefetch(0, true); }) {
                     if (c + 2 * kAhead < chosen.size())
                       cells.prefetch(chosen[c + 2 * kAhead], false);
                     if (c + kAhead < chosen.size()) cells.prefetch(chosen[c + kAhead], true);
                   }
                   collector.add(chosen[c]);
                 }
                 collector.flush();
               });
}
