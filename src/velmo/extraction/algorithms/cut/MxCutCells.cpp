#include <velmo/extraction/algorithms/cut/MxCutCells.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxVolumeCells.h>

#include <atomic>

namespace {

/// Hexahedra whose nodes a function gives.
class HexahedronCells
{
public:
  HexahedronCells(std::size_t cellCount, const MxCornersOf& cornersOf)
      : m_cellCount(cellCount), m_cornersOf(cornersOf)
  {}

  std::size_t cellCount() const { return m_cellCount; }
  bool isCleanBlock(std::size_t, std::size_t, std::size_t) const { return false; }
  struct Run
  {
    std::size_t count = 0;
    MiCellShape shape = MiCellShape::Empty;
    const std::uint32_t* nodes = nullptr;
  };
  Run findRun(std::size_t, std::size_t) const { return {}; }

  class Cursor
  {
  public:
    explicit Cursor(const HexahedronCells& cells) : m_cells(&cells) {}
    void load(std::size_t cell) { m_cells->m_cornersOf(cell, m_nodes); }
    MiCellShape shape() const { return MiCellShape::Hexahedron; }
    std::size_t size() const { return 8; }
    const std::uint32_t* nodes() const { return m_nodes; }
    const std::uint32_t* stream() const { return nullptr; }
    std::size_t streamSize() const { return 0; }

  private:
    const HexahedronCells* m_cells;
    std::uint32_t m_nodes[8] = {};
  };

private:
  std::size_t m_cellCount;
  MxCornersOf m_cornersOf;
};

// --- What is done with the cells of a block ----------------------------------------------------

/// Notes cells that are cut, and the owners of their edges.
class Collector
{
public:
  Collector(const MxCutJob& job, MxBits& owners, MxCutScratch::Block& block)
      : m_job(&job), m_owners(&owners), m_block(&block)
  {}

  /// A linear cell, of which some nodes are below and all are defined. Inlines what it calls, as
  /// there are calls for a few numbers each otherwise.
  template <MiCellShape Shape, class Nodes>
  [[gnu::flatten]] void addLinear(std::size_t cell, const Nodes& nodes, const std::uint8_t* classes)
  {
    constexpr const auto& kTable = kCutTable<Shape>;
    constexpr std::size_t kSize = kTable.kNodeCount;
    if (m_job->keep && !m_job->keep->keep(cell)) return;
    const std::size_t at = m_block->nodes.size();
    m_block->nodes.resize(at + kSize);
    std::uint32_t* ids = m_block->nodes.data() + at;
    std::uint32_t below = 0, on = 0;
    for (std::size_t n = 0; n < kSize; ++n) {
      ids[n] = static_cast<std::uint32_t>(nodes[n]);
      below |= static_cast<std::uint32_t>(classes[n] & kCutBelow) << n;
      on |= static_cast<std::uint32_t>(classes[n] / kCutOn & 1) << n;
    }
    const std::uint8_t* loop = kTable.cases[below].data();
    while (std::size_t size = *loop++)
      for (; size > 0; --size) {
        const MxCutEdge& edge = kTable.edges[*loop++];
        const std::uint32_t a = edge.first, b = edge.second;
        addOwner(cutKey(ids[a], on >> a & 1, ids[b], on >> b & 1).first);
      }
    m_block->cells.push_back({static_cast<std::uint32_t>(cell), Shape,
                              static_cast<std::uint8_t>(below), static_cast<std::uint8_t>(on)});
    if (Shape != MiCellShape::Hexahedron) m_block->hasOtherShapes = true;
    if (on != 0) m_block->hasNodesOn = true;
  }

  /// A cell without a table, loaded by a cursor; all its nodes may come to own an edge.
  /// @param classesOf  classesOf(nodes, count, classes)
  template <class Cursor, class ClassesOf>
  void addOther(std::size_t cell, const Cursor& cursor, const ClassesOf& classesOf)
  {
    if (cellShapeFacts(cursor.shape()).dimension != 3) return;
    m_nodes.clear();
    m_sizes.clear();
    if (cursor.shape() == MiCellShape::Polyhedron) {
      const std::size_t length = cursor.streamSize();
      for (std::size_t at = 1; at < length;) {
        const std::size_t size = cursor.stream()[at++];
        if (size > 0) m_sizes.push_back(static_cast<std::uint32_t>(size));
        for (const std::size_t end = at + size; at < end; ++at)
          m_nodes.push_back(static_cast<std::uint32_t>(cursor.stream()[at]));
      }
    } else {
      m_sizes.push_back(static_cast<std::uint32_t>(cursor.size()));
      for (std::size_t n = 0; n < cursor.size(); ++n)
        m_nodes.push_back(static_cast<std::uint32_t>(cursor.nodes()[n]));
    }
    m_classes.resize(m_nodes.size());
    classesOf(m_nodes.data(), m_nodes.size(), m_classes.data());
    std::uint8_t any = 0, all = 0xff;
    for (const std::uint8_t own : m_classes) {
      any |= own;
      all &= own;
    }
    const bool isPolyhedron = cursor.shape() == MiCellShape::Polyhedron;
    if (!(any & kCutBelow) || (all & kCutBelow)) return;
    if (isPolyhedron && (any & kCutUndefined)) return;
    if (m_job->keep && !m_job->keep->keep(cell)) return;
    for (const std::uint32_t node : m_nodes)
      addOwner(node);
    std::size_t at = 0;
    for (const std::uint32_t size : m_sizes) {
      if (isPolyhedron) m_block->nodes.push_back(size);
      for (std::size_t n = 0; n < size; ++n)
        m_block->nodes.push_back(m_nodes[at + n]);
      for (std::size_t n = 0; n < size; ++n)
        m_block->nodes.push_back(m_classes[at + n]);
      at += size;
    }
    if (isPolyhedron) m_block->nodes.push_back(0);
    m_block->cells.push_back({static_cast<std::uint32_t>(cell), cursor.shape(), 0, 0});
    m_block->hasOtherShapes = true;
    if (any & kCutOn) m_block->hasNodesOn = true;
  }

private:
  void addOwner(std::uint32_t node)
  {
    if (m_job->parallel)
      m_owners->setShared(node);
    else
      m_owners->set(node);
  }

  const MxCutJob* m_job;
  MxBits* m_owners;
  MxCutScratch::Block* m_block;
  std::vector<std::uint32_t> m_nodes, m_sizes;
  std::vector<std::uint8_t> m_classes;
};

/// Looks at cells of one shape whose nodes stand one after the other. They come by value, so as not
/// to be looked up again after each cell that is cut.
template <MiCellShape Shape, class Nodes>
void collectFromRun(const Nodes nodes, std::size_t first, std::size_t count,
                    const std::uint8_t* classes, Collector& collector)
{
  constexpr std::size_t kSize = kCutTable<Shape>.kNodeCount;
  for (std::size_t c = 0; c < count; ++c) {
    if constexpr (std::is_pointer_v<Nodes>) readAhead(nodes + c * kSize);
    std::uint32_t sum = 0;
    for (std::size_t n = 0; n < kSize; ++n)
      sum += classes[nodes[c * kSize + n]];
    if ((sum & 15) - 1 >= kSize - 1 || sum >= kCutUndefined) continue;
    std::uint8_t own[kSize];
    for (std::size_t n = 0; n < kSize; ++n)
      own[n] = classes[nodes[c * kSize + n]];
    collector.addLinear<Shape>(first + c, nodes + c * kSize, own);
  }
}

template <class Nodes>
bool collectFromRun(MiCellShape shape, const Nodes& nodes, std::size_t first, std::size_t count,
                    const std::uint8_t* classes, Collector& collector)
{
  using S = MiCellShape;
  switch (shape) {
  case S::Tetrahedron:
    collectFromRun<S::Tetrahedron>(nodes, first, count, classes, collector);
    return true;
  case S::Hexahedron:
    collectFromRun<S::Hexahedron>(nodes, first, count, classes, collector);
    return true;
  case S::Wedge:
    collectFromRun<S::Wedge>(nodes, first, count, classes, collector);
    return true;
  case S::Pyramid:
    collectFromRun<S::Pyramid>(nodes, first, count, classes, collector);
    return true;
  default:
    return false;
  }
}

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
    const std::size_t size = velmo_detail::kFixedSizes[static_cast<std::size_t>(shape)];
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
  Collector m_collector;
  std::size_t m_count = 0, m_nodeCount = 0;
  Waiting m_waiting[kMost];
  std::uint32_t m_nodes[kMost * 8];
  std::uint8_t m_classes[kMost * 8];
};

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

template <class Cells>
class CellsOf final : public MxCutCells
{
public:
  explicit CellsOf(const Cells& cells) : m_cells(cells) {}

  std::size_t cellCount() const override { return m_cells.cellCount(); }
  bool isCleanBlock(std::size_t first, std::size_t last, std::size_t nodeCount) const override
  {
    return m_cells.isCleanBlock(first, last, nodeCount);
  }

  void collect(std::size_t first, std::size_t last, const MxCutJob& job, MxCutScratch& scratch,
               MxCutScratch::Block& block) const override
  {
    const std::uint8_t* classes = scratch.classes.data();
    const auto classesOf = [&](const std::uint32_t* nodes, std::size_t count,
                               std::uint8_t* result) {
      for (std::size_t n = 0; n < count; ++n)
        result[n] = classes[nodes[n]];
    };
    typename Cells::Cursor cursor(m_cells);
    Collector collector(job, scratch.owners, block);
    for (std::size_t cell = first; cell < last;) {
      if (!job.unusable) {
        const auto run = m_cells.findRun(cell, last);
        if (run.count > 0 &&
            collectFromRun(run.shape, run.nodes, cell, run.count, classes, collector)) {
          cell += run.count;
          continue;
        }
      } else if (job.unusable->test(cell)) {
        ++cell;
        continue;
      }
      cursor.load(cell);
      if (!collectFromRun(cursor.shape(), cursor.nodes(), cell, 1, classes, collector))
        collector.addOther(cell, cursor, classesOf);
      ++cell;
    }
  }

  void collectChosen(std::span<const std::uint32_t> chosen, const MxCutJob& job,
                     MxCutScratch& scratch, MxCutScratch::Block& block) const override
  {
    // The cells lie far apart: what is needed of them is asked for in time.
    constexpr std::size_t kAhead = 12;
    ActiveCollector<Cells> collector(m_cells, job, scratch.owners, block);
    for (std::size_t c = 0; c < chosen.size(); ++c) {
      if constexpr (requires { m_cells.prefetch(0, true); }) {
        if (c + 2 * kAhead < chosen.size()) m_cells.prefetch(chosen[c + 2 * kAhead], false);
        if (c + kAhead < chosen.size()) m_cells.prefetch(chosen[c + kAhead], true);
      }
      collector.add(chosen[c]);
    }
    collector.flush();
  }

  void forEachRun(const MxBits* unusable, const MxCellOrder& order, std::size_t first,
                  std::size_t last, const RunBody& body) const override
  {
    typename Cells::Cursor cursor(m_cells);
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

  void forEachFaceAt(const MxBits& marked, const MxCutJob& job, std::size_t first, std::size_t last,
                     const FaceBody& body) const override
  {
    typename Cells::Cursor cursor(m_cells);
    std::vector<std::uint32_t> nodes;
    for (std::size_t cell = first; cell < last; ++cell) {
      if (job.unusable && job.unusable->test(cell)) continue;
      cursor.load(cell);
      if (cellShapeFacts(cursor.shape()).dimension != 3) continue;
      nodes.clear();
      appendNodes(cursor, nodes);
      const auto count = std::count_if(nodes.begin(), nodes.end(),
                                       [&](std::uint32_t node) { return marked.test(node); });
      if (count < 2 || (job.keep && !job.keep->keep(cell))) continue;
      forEachFace<false>(cursor, [&](std::uint32_t, std::size_t size, const auto& nodeAt, auto) {
        nodes.clear();
        for (std::size_t n = 0; n < size; ++n)
          nodes.push_back(nodeAt(n));
        body(nodes);
      });
    }
  }

private:
  Cells m_cells;
};

template <class Cells>
std::unique_ptr<MxCutCells> makeCells(const Cells& cells)
{
  return std::make_unique<CellsOf<Cells>>(cells);
}

/// The cut cells of all blocks; false when cells that were not checked are not clean.
bool collectCutCells(const MxCutCells& cells, const MxCutJob& job, MxCutScratch& scratch,
                     MxExtractionMonitor& monitor)
{
  const std::size_t cellCount = cells.cellCount();
  scratch.blocks.resize(blockCount(cellCount, kCutBlock));
  scratch.owners = MxBits(job.nodeCount);
  std::atomic<bool> dirty{false};
  forEachBlock(job.parallel, cellCount, kCutBlock,
               [&](std::size_t b, std::size_t first, std::size_t last) {
                 monitor.step();
                 scratch.blocks[b].clear();
                 if (job.sweep && !cells.isCleanBlock(first, last, job.nodeCount)) dirty = true;
                 if (dirty.load(std::memory_order_relaxed)) return;
                 cells.collect(first, last, job, scratch, scratch.blocks[b]);
               });
  return !dirty;
}

} // namespace

std::unique_ptr<MxCutCells> makeCutCells(const MiTopologyI& topology, std::size_t nodeCount)
{
  std::unique_ptr<MxCutCells> made;
  visitVolumeCells(topology, nodeCount, [&](const auto& cells) { made = makeCells(cells); });
  return made;
}

std::unique_ptr<MxCutCells> makeCutHexahedra(const MiArrayView& connectivity, std::size_t cellCount)
{
  MiTopologyView view;
  view.connectivity = connectivity;
  view.uniformShape = MiCellShape::Hexahedron;
  if (connectivity.count < 8 * cellCount) return nullptr;
  if (connectivity.isContiguous<std::int32_t>() || connectivity.isContiguous<std::uint32_t>())
    return makeCells(MxArrayCells(view, connectivity.as<std::uint32_t>(), cellCount));
  if (connectivity.isContiguous<std::int64_t>() || connectivity.isContiguous<std::uint64_t>())
    return makeCells(MxArrayCells(view, connectivity.as<std::uint64_t>(), cellCount));
  return nullptr;
}

std::unique_ptr<MxCutCells> makeCutHexahedra(const MxCornersOf& cornersOf, std::size_t cellCount)
{
  return makeCells(HexahedronCells(cellCount, cornersOf));
}

bool cutCells(const MxCutCells& cells, const MxCutJob& job, MxCutScratch& scratch,
              MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface)
{
  const std::size_t firstEnd = std::min(cells.cellCount(), kCutBlock);
  if (job.sweep && !cells.isCleanBlock(0, firstEnd, job.nodeCount)) return false;
  monitor.beginPhase("Classifying nodes", 1);
  scratch.classes.resizeUninitialized(job.nodeCount);
  std::atomic<bool> lost{false};
  forEachBlock(
      job.parallel, job.nodeCount, 32768, [&](std::size_t, std::size_t first, std::size_t last) {
        monitor.step(0);
        if (job.source->classifyRange(first, last, scratch.classes.data() + first) & kCutUndefined)
          lost.store(true, std::memory_order_relaxed);
      });
  if (job.sweepNodes && lost) return false;
  monitor.beginPhase("Finding cut cells", blockCount(cells.cellCount(), kCutBlock));
  if (!collectCutCells(cells, job, scratch, monitor)) return false;
  cutCollected(job, scratch, monitor, surface);
  return true;
}

void collectActiveCells(const MxCutCells& cells, const MxCutJob& job, const MxBits& active,
                        MxCutScratch& scratch, MxExtractionMonitor& monitor)
{
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
                 if (!chosen.empty()) cells.collectChosen(chosen, job, scratch, scratch.blocks[b]);
               });
}
