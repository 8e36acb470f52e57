#pragma once

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/algorithms/access/MxBits.h>
#include <velmo/extraction/algorithms/cut/MxCutLevels.h>
#include <velmo/extraction/algorithms/cut/MxCutTables.h>

#include <atomic>
#include <functional>
#include <optional>

/// The passes of a cut. Cells are read through a cursor of MxVolumeCells.h; levels come in batches
/// through MxCutSource, so that ways to read cells and ways to make levels are not multiplied.

/// The levels of all nodes of a mesh.
class MxCutSource
{
public:
  virtual ~MxCutSource() = default;
  /// The classes of the nodes [first, last).
  /// @return all their bits
  virtual std::uint8_t classifyRange(std::size_t first, std::size_t last,
                                     std::uint8_t* classes) const = 0;
  /// The classes of `count` nodes.
  virtual void classify(const std::uint32_t* nodes, std::size_t count,
                        std::uint8_t* classes) const = 0;
  /// The classes of some nodes will be asked for soon.
  virtual void announce(const std::uint32_t* nodes, std::size_t count) const = 0;
  /// The second nodes' weights of `count` cut edges, two nodes each; zero where both are the same.
  virtual void weigh(const std::uint32_t* edges, std::size_t count, double* weights) const = 0;
};

/// The levels of a field: `values`[node] less the isovalue.
template <class Values>
struct MxFieldLevels
{
  Values values;
  double isovalue;

  double level(std::size_t node) const { return values[node] - isovalue; }
  /// The node's level will be asked for soon.
  [[gnu::always_inline]] void announce(std::size_t node) const
  {
    if constexpr (std::is_pointer_v<Values>) __builtin_prefetch(values + node);
  }
  double weight(std::size_t a, std::size_t b) const { return linearCutWeight(level(a), level(b)); }
};

/// The levels of a shape in space at `points`[node].
template <class Shape, class Points>
struct MxShapeLevels
{
  Shape shape;
  Points points;

  double level(std::size_t node) const { return shape.level(points[node]); }
  [[gnu::always_inline]] void announce(std::size_t node) const { prefetchPoint(points, node); }
  double weight(std::size_t a, std::size_t b) const { return shape.weight(points[a], points[b]); }
};

template <class Levels>
class MxCutSourceOf final : public MxCutSource
{
public:
  explicit MxCutSourceOf(const Levels& levels) : m_levels(levels) {}

  std::uint8_t classifyRange(std::size_t first, std::size_t last,
                             std::uint8_t* classes) const override
  {
    // A copy, which the bytes that are written cannot be part of; levels first, as they may need
    // more than the loop that makes bytes of them can be vectorised with.
    const Levels levels = m_levels;
    constexpr std::size_t kChunk = 512;
    double chunk[kChunk];
    std::uint8_t bytes[kChunk];
    std::uint8_t all = 0;
    for (; first < last; first += kChunk, classes += kChunk) {
      const std::size_t count = std::min(kChunk, last - first);
      for (std::size_t n = 0; n < count; ++n)
        chunk[n] = levels.level(first + n);
      for (std::size_t n = 0; n < count; ++n)
        bytes[n] = classifyLevel(chunk[n]);
      for (std::size_t n = 0; n < count; ++n)
        all |= bytes[n];
      std::copy(bytes, bytes + count, classes);
    }
    return all;
  }
  void classify(const std::uint32_t* nodes, std::size_t count, std::uint8_t* classes) const override
  {
    const Levels levels = m_levels;
    constexpr std::size_t kChunk = 512;
    double chunk[kChunk];
    std::uint8_t bytes[kChunk];
    for (; count > 0;) {
      const std::size_t now = std::min(kChunk, count);
      for (std::size_t n = 0; n < now; ++n)
        chunk[n] = levels.level(nodes[n]);
      for (std::size_t n = 0; n < now; ++n)
        bytes[n] = classifyLevel(chunk[n]);
      std::copy(bytes, bytes + now, classes);
      count -= now;
      nodes += now;
      classes += now;
    }
  }
  void announce(const std::uint32_t* nodes, std::size_t count) const override
  {
    for (std::size_t n = 0; n < count; ++n)
      m_levels.announce(nodes[n]);
  }
  void weigh(const std::uint32_t* edges, std::size_t count, double* weights) const override
  {
    for (std::size_t n = 0; n < count; ++n)
      weights[n] =
          edges[2 * n] == edges[2 * n + 1] ? 0 : m_levels.weight(edges[2 * n], edges[2 * n + 1]);
  }

private:
  Levels m_levels;
};

/// Which of the cells that are cut are there at all.
class MxCutKeep
{
public:
  virtual ~MxCutKeep() = default;
  /// Asked from several threads.
  virtual bool keep(std::size_t cell) const = 0;
};

/// What a cut works on.
struct MxCutJob
{
  const MxCutSource* source = nullptr;
  std::size_t nodeCount = 0;
  const MxBits* unusable = nullptr; ///< cells that must not be read; null for none
  const MxCutKeep* keep = nullptr;  ///< null for all
  bool sweepNodes = false;          ///< the nodes' places, which levels come from, were not checked
  bool sweep = false;               ///< the cells were not checked
  /// Tells whether the cells are left-handed, asked once they are known to be clean; null for no.
  std::function<bool()> isLeftHanded;
  /// The places of nodes of usable cells; null where there are no polyhedra.
  std::function<MbVec3d(std::uint32_t)> placeOf;
  bool parallel = false;
};

/// A cell that is cut. The last two are bits of its nodes, for linear shapes alone.
struct MxCutCell
{
  std::uint32_t cell;
  MiCellShape shape;
  std::uint8_t below, on;
};

/// Buffers that are used again by the next cut.
class MxCutScratch final : public MxCutKept
{
public:
  std::size_t getByteCount() const override;

  /// What one block of cells gives.
  struct Block
  {
    MxArray<MxCutCell> cells;
    /// The nodes of these cells: of linear cells in their order, of quadratic ones followed by as
    /// many classes, of polyhedra face by face, each its size, its nodes and their classes, and a
    /// zero at the end.
    MxArray<std::uint32_t> nodes;
    MxArray<std::uint32_t> codes;   ///< corners of all polygons, as slots; see MxCutEdges
    MxArray<std::uint32_t> sizes;   ///< of each polygon
    MxArray<std::uint32_t> sources; ///< the cell of each polygon
    MxArray<MxCutKey> overflow;     ///< a bucket and a second node each
    std::uint32_t smallest = 0xffffffffu, largest = 0;
    bool hasOtherShapes = false; ///< than hexahedra
    bool hasNodesOn = false;     ///< some cell has a node on the level

    void clear();
  };

  /// Of the last cut.
  bool hasNodesOn() const
  {
    return std::any_of(blocks.begin(), blocks.end(),
                       [](const Block& block) { return block.hasNodesOn; });
  }

  MxArray<std::uint8_t> classes;
  std::vector<Block> blocks;
  MxBits active; ///< cells that may be cut, where that was found first
  MxBits owners;
  MxArray<std::uint32_t> ranks;   ///< owners before each word of bits
  MxArray<std::uint32_t> buckets; ///< see MxCutEdges
  std::size_t bucketRoom = 0, ownerCount = 0;
};

inline MxCutKey cutKey(std::uint32_t a, bool aIsOn, std::uint32_t b, bool bIsOn)
{
  if (aIsOn) return {a, a};
  if (bIsOn) return {b, b};
  return {std::min(a, b), std::max(a, b)};
}

namespace velmo_detail {

inline constexpr std::size_t kCutBlock = 8192; // whole words of MxBits

/// Notes cells that are cut, and the owners of their edges.
class CutCollector
{
public:
  CutCollector(const MxCutJob& job, MxBits& owners, MxCutScratch::Block& block)
      : m_job(&job), m_owners(&owners), m_block(&block)
  {}

  /// A linear cell, of which some nodes are below and all are defined.
  template <MiCellShape Shape, class Nodes>
  void addLinear(std::size_t cell, const Nodes& nodes, const std::uint8_t* classes)
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

/// Looks at cells of one shape whose nodes stand one after the other.
template <MiCellShape Shape, class Nodes>
void collectFromRun(const Nodes& nodes, std::size_t first, std::size_t count,
                    const std::uint8_t* classes, CutCollector& collector)
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
                    const std::uint8_t* classes, CutCollector& collector)
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

/// The cut cells of all blocks; false when cells that were not checked are not clean.
template <class Cells>
bool collectCutCells(const Cells& cells, const MxCutJob& job, MxCutScratch& scratch,
                     MxExtractionMonitor& monitor)
{
  const std::size_t cellCount = cells.cellCount();
  scratch.blocks.resize(blockCount(cellCount, kCutBlock));
  scratch.owners = MxBits(job.nodeCount);
  std::atomic<bool> dirty{false};
  const std::uint8_t* classes = scratch.classes.data();
  const auto classesOf = [&](const std::uint32_t* nodes, std::size_t count, std::uint8_t* result) {
    for (std::size_t n = 0; n < count; ++n)
      result[n] = classes[nodes[n]];
  };
  forEachBlock(job.parallel, cellCount, kCutBlock,
               [&](std::size_t b, std::size_t first, std::size_t last) {
                 monitor.step();
                 MxCutScratch::Block& block = scratch.blocks[b];
                 block.clear();
                 if (job.sweep && !cells.isCleanBlock(first, last, job.nodeCount)) dirty = true;
                 if (dirty.load(std::memory_order_relaxed)) return;
                 typename Cells::Cursor cursor(cells);
                 CutCollector collector(job, scratch.owners, block);
                 for (std::size_t cell = first; cell < last;) {
                   if (!job.unusable) {
                     const auto run = cells.findRun(cell, last);
                     if (run.count > 0 &&
                         collectFromRun(run.shape, run.nodes, cell, run.count, classes, collector))
                     {
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
               });
  return !dirty;
}

} // namespace velmo_detail

/// From the collected cells: fills all of the surface but its points.
void cutCollected(const MxCutJob& job, MxCutScratch& scratch, MxExtractionMonitor& monitor,
                  MeXSurfaceMeshUnstructured& surface);

/// Cuts cells and fills all of the surface but its points.
/// @return false when something that was not checked is not clean; nothing is filled then
template <class Cells>
bool cutCells(const Cells& cells, const MxCutJob& job, MxCutScratch& scratch,
              MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface)
{
  using namespace velmo_detail;
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
