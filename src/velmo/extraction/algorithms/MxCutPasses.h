#pragma once

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/MxBits.h>
#include <velmo/extraction/algorithms/MxCutLevels.h>
#include <velmo/extraction/algorithms/MxCutTables.h>

#include <atomic>
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
  double weight(std::size_t a, std::size_t b) const { return linearCutWeight(level(a), level(b)); }
};

/// The levels of a shape in space at `points`[node].
template <class Shape, class Points>
struct MxShapeLevels
{
  Shape shape;
  Points points;

  double level(std::size_t node) const { return shape.level(points[node]); }
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
    std::uint8_t all = 0;
    for (std::size_t node = first; node < last; ++node)
      all |= classes[node - first] = classifyLevel(m_levels.level(node));
    return all;
  }
  void classify(const std::uint32_t* nodes, std::size_t count, std::uint8_t* classes) const override
  {
    for (std::size_t n = 0; n < count; ++n)
      classes[n] = classifyLevel(m_levels.level(nodes[n]));
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
  bool sweep = false;               ///< the cells were not checked yet
  bool flip = false;                ///< the cells are left-handed
  bool parallel = false;
};

/// A cell that is cut. The last three numbers are bits of its nodes, for linear shapes alone.
struct MxCutCell
{
  std::uint32_t cell;
  std::uint8_t shape; ///< zero for a cell without a table
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
    MxArray<std::uint32_t> codes;   ///< corners of all polygons, as slots; see MxCutEdges
    MxArray<std::uint32_t> sizes;   ///< of each polygon
    MxArray<std::uint32_t> sources; ///< the cell of each polygon
    MxArray<MxCutKey> overflow;     ///< a bucket and a second node each
    std::uint32_t smallest = 0xffffffffu, largest = 0;
    bool hasOtherShapes = false; ///< than hexahedra

    void clear();
  };

  MxArray<std::uint8_t> classes;
  std::vector<Block> blocks;
  MxBits owners;
  MxArray<std::uint32_t> ranks;   ///< owners before each word of bits
  MxArray<std::uint32_t> buckets; ///< see MxCutEdges
  std::size_t bucketRoom = 0, ownerCount = 0;
};

/// Cut edges are known by their smaller node, their owner, which has a bucket of a few second
/// nodes; a slot of a bucket is the vertex of that edge. Zero is an empty slot, otherwise it holds
/// the second node + 1. What finds its bucket full goes to a list that is sorted later. Which edge
/// has which slot depends on the order of the threads; the vertices' numbers do not.
template <bool Shared>
class MxCutEdges
{
public:
  static constexpr std::uint32_t kOverflow = 0x80000000u;

  MxCutEdges(MxCutScratch& scratch, MxCutScratch::Block& block)
      : m_words(scratch.owners.words().data()), m_ranks(scratch.ranks.data()),
        m_buckets(scratch.buckets.data()), m_room(scratch.bucketRoom), m_block(&block)
  {}

  /// The slot of an edge.
  std::uint32_t slot(const MxCutKey& edge)
  {
    const std::uint64_t below =
        m_words[edge.first / 64] & ((std::uint64_t{1} << (edge.first % 64)) - 1);
    const std::uint32_t bucket =
        m_ranks[edge.first / 64] + static_cast<std::uint32_t>(countBits(below));
    const std::size_t first = bucket * m_room;
    const std::uint32_t wanted = edge.second + 1;
    for (std::size_t s = first; s < first + m_room; ++s)
      if (take(m_buckets[s], wanted)) return static_cast<std::uint32_t>(s);
    m_block->overflow.push_back({bucket, edge.second});
    return kOverflow + static_cast<std::uint32_t>(m_block->overflow.size() - 1);
  }

private:
  static bool take(std::uint32_t& place, std::uint32_t wanted)
  {
    if constexpr (Shared) {
      std::atomic_ref shared(place);
      std::uint32_t held = shared.load(std::memory_order_relaxed);
      if (held == 0 && shared.compare_exchange_strong(held, wanted, std::memory_order_relaxed))
        return true;
      return held == wanted;
    } else {
      if (place == 0) place = wanted;
      return place == wanted;
    }
  }

  const std::uint64_t* m_words;
  const std::uint32_t* m_ranks;
  std::uint32_t* m_buckets;
  std::size_t m_room;
  MxCutScratch::Block* m_block;
};

/// After the cells are found: counts owners and makes their buckets.
void makeBuckets(MxCutScratch& scratch, bool parallel);

/// After all polygons are found: numbers the vertices and fills the topology, the sources of cells
/// and nodes and the weights.
/// @throw std::length_error when there are too many
void finishCut(const MxCutJob& job, MxCutScratch& scratch, MxExtractionMonitor& monitor,
               MeXSurfaceMeshUnstructured& surface);

namespace velmo_detail {

inline constexpr std::size_t kCutBlock = 8192; // whole words of MxBits

/// Reads the classes of nodes.
struct CutClasses
{
  const std::uint8_t* classes; ///< of all nodes
  void operator()(const std::uint32_t* nodes, std::size_t count, std::uint8_t* result) const
  {
    for (std::size_t n = 0; n < count; ++n)
      result[n] = classes[nodes[n]];
  }
};

inline MxCutKey cutKey(std::uint32_t a, bool aIsOn, std::uint32_t b, bool bIsOn)
{
  if (aIsOn) return {a, a};
  if (bIsOn) return {b, b};
  return {std::min(a, b), std::max(a, b)};
}

/// Notes the owners of edges, alone or beside other threads.
struct CutOwners
{
  MxBits* bits;
  bool shared;
  void add(std::uint32_t node) const
  {
    if (shared)
      bits->setShared(node);
    else if (!bits->test(node))
      bits->set(node);
  }
};

/// Looks at cells of one shape whose nodes stand one after the other.
template <MiCellShape Shape, class Nodes>
void findCutInRun(const Nodes& nodes, std::size_t first, std::size_t count,
                  const std::uint8_t* classes, const MxCutJob& job, const CutOwners& owners,
                  MxCutScratch::Block& block)
{
  constexpr const auto& kTable = kCutTable<Shape>;
  constexpr std::size_t kSize = kTable.kNodeCount;
  for (std::size_t c = 0; c < count; ++c) {
    std::uint8_t any = 0, all = 0xff;
    for (std::size_t n = 0; n < kSize; ++n) {
      const std::uint8_t own = classes[nodes[c * kSize + n]];
      any |= own;
      all &= own;
    }
    if (!(any & kCutBelow) || (all & kCutBelow) || (any & kCutUndefined)) continue;
    if (job.keep && !job.keep->keep(first + c)) continue;
    std::uint32_t ids[kSize];
    std::uint32_t below = 0, on = 0;
    for (std::size_t n = 0; n < kSize; ++n) {
      ids[n] = static_cast<std::uint32_t>(nodes[c * kSize + n]);
      const std::uint8_t own = classes[ids[n]];
      below |= static_cast<std::uint32_t>(own & kCutBelow) << n;
      on |= static_cast<std::uint32_t>(own / kCutOn & 1) << n;
    }
    for (const MxCutEdge& edge : kTable.edges) {
      const std::uint32_t a = edge.first, b = edge.second;
      if (!((below >> a ^ below >> b) & 1)) continue;
      owners.add(cutKey(ids[a], on >> a & 1, ids[b], on >> b & 1).first);
    }
    block.cells.push_back({static_cast<std::uint32_t>(first + c), static_cast<std::uint8_t>(Shape),
                           static_cast<std::uint8_t>(below), static_cast<std::uint8_t>(on)});
    if (Shape != MiCellShape::Hexahedron) block.hasOtherShapes = true;
  }
}

template <class Nodes>
bool findCutInRun(MiCellShape shape, const Nodes& nodes, std::size_t first, std::size_t count,
                  const std::uint8_t* classes, const MxCutJob& job, const CutOwners& owners,
                  MxCutScratch::Block& block)
{
  using S = MiCellShape;
  switch (shape) {
  case S::Tetrahedron:
    findCutInRun<S::Tetrahedron>(nodes, first, count, classes, job, owners, block);
    return true;
  case S::Hexahedron:
    findCutInRun<S::Hexahedron>(nodes, first, count, classes, job, owners, block);
    return true;
  case S::Wedge:
    findCutInRun<S::Wedge>(nodes, first, count, classes, job, owners, block);
    return true;
  case S::Pyramid:
    findCutInRun<S::Pyramid>(nodes, first, count, classes, job, owners, block);
    return true;
  default:
    return false;
  }
}

/// The mesh nodes of a loaded cell without a table.
template <class Cursor>
void collectNodes(const Cursor& cursor, std::vector<std::uint32_t>& nodes)
{
  nodes.clear();
  if (cursor.shape() != MiCellShape::Polyhedron) {
    for (std::size_t n = 0; n < cursor.size(); ++n)
      nodes.push_back(static_cast<std::uint32_t>(cursor.nodes()[n]));
    return;
  }
  const std::size_t length = cursor.streamSize();
  for (std::size_t at = 1; at < length;) {
    const std::size_t size = cursor.stream()[at++];
    for (const std::size_t end = at + size; at < end; ++at)
      nodes.push_back(static_cast<std::uint32_t>(cursor.stream()[at]));
  }
}

inline bool isCutVolume(MiCellShape shape)
{
  return cellShapeFacts(shape).dimension == 3;
}

/// A cell without a table: all its nodes may come to own an edge.
template <class Cursor>
void findCutCell(const Cursor& cursor, std::size_t cell, const std::uint8_t* classes,
                 const MxCutJob& job, const CutOwners& owners, std::vector<std::uint32_t>& nodes,
                 MxCutScratch::Block& block)
{
  if (!isCutVolume(cursor.shape())) return;
  collectNodes(cursor, nodes);
  std::uint8_t any = 0, all = 0xff;
  for (const std::uint32_t node : nodes) {
    any |= classes[node];
    all &= classes[node];
  }
  if (!(any & kCutBelow) || (all & kCutBelow)) return;
  if (cursor.shape() == MiCellShape::Polyhedron && (any & kCutUndefined)) return;
  if (job.keep && !job.keep->keep(cell)) return;
  for (const std::uint32_t node : nodes)
    owners.add(node);
  block.cells.push_back({static_cast<std::uint32_t>(cell), 0, 0, 0});
  block.hasOtherShapes = true;
}

/// The cut cells of all blocks; false when cells that were not checked are not clean.
template <class Cells>
bool findCutCells(const Cells& cells, const MxCutJob& job, MxCutScratch& scratch,
                  MxExtractionMonitor& monitor)
{
  const std::size_t cellCount = cells.cellCount();
  scratch.blocks.resize(blockCount(cellCount, kCutBlock));
  scratch.owners = MxBits(job.nodeCount);
  const bool shared = job.parallel && cellCount >= kParallelThreshold;
  const CutOwners owners{&scratch.owners, shared};
  std::atomic<bool> dirty{false};
  forEachBlock(
      job.parallel, cellCount, kCutBlock, [&](std::size_t b, std::size_t first, std::size_t last) {
        monitor.step();
        MxCutScratch::Block& block = scratch.blocks[b];
        block.clear();
        if (job.sweep && !cells.isCleanBlock(first, last, job.nodeCount)) dirty = true;
        if (dirty.load(std::memory_order_relaxed)) return;
        typename Cells::Cursor cursor(cells);
        std::vector<std::uint32_t> nodes;
        const std::uint8_t* classes = scratch.classes.data();
        for (std::size_t cell = first; cell < last;) {
          if (!job.unusable) {
            const auto run = cells.findRun(cell, last);
            if (run.count > 0 &&
                findCutInRun(run.shape, run.nodes, cell, run.count, classes, job, owners, block))
            {
              cell += run.count;
              continue;
            }
          } else if (job.unusable->test(cell)) {
            ++cell;
            continue;
          }
          cursor.load(cell);
          if (!findCutInRun(cursor.shape(), cursor.nodes(), cell, 1, classes, job, owners, block))
            findCutCell(cursor, cell, classes, job, owners, nodes, block);
          ++cell;
        }
      });
  return !dirty;
}

/// Cuts the cells of one block.
template <class Cells, bool Shared>
class CellCutter
{
public:
  CellCutter(const Cells& cells, const MxCutJob& job, MxCutScratch& scratch,
             MxCutScratch::Block& block)
      : m_job(&job), m_classes{scratch.classes.data()}, m_block(&block), m_edges(scratch, block),
        m_cursor(cells)
  {}

  void cut(const MxCutCell& cell)
  {
    m_cell = cell.cell;
    m_cursor.load(cell.cell);
    if (visitCutTable(static_cast<MiCellShape>(cell.shape), [&](const auto& table) {
          std::uint32_t nodes[std::decay_t<decltype(table)>::kNodeCount];
          std::size_t n = 0;
          for (std::uint32_t& node : nodes)
            node = static_cast<std::uint32_t>(m_cursor.nodes()[n++]);
          cutByTable(table, nodes, cell.below, cell.on);
        }))
      return;
    if (m_cursor.shape() == MiCellShape::Polyhedron)
      cutPolyhedron();
    else
      cutParts(findCutParts(m_cursor.shape()));
  }

private:
  template <class Table>
  void cutByTable(const Table& table, const std::uint32_t* nodes, std::uint32_t below,
                  std::uint32_t on)
  {
    const std::uint8_t* loop = table.cases[below].data();
    while (const std::size_t size = *loop++) {
      MxCutKey keys[12];
      for (std::size_t n = 0; n < size; ++n) {
        const MxCutEdge& edge = table.edges[*loop++];
        const std::uint32_t a = edge.first, b = edge.second;
        keys[n] = cutKey(nodes[a], on >> a & 1, nodes[b], on >> b & 1);
      }
      addPolygon({keys, size});
    }
  }

  void cutParts(const MxCutParts& parts)
  {
    collectNodes(m_cursor, m_nodes);
    m_nodeClasses.resize(m_nodes.size());
    m_classes(m_nodes.data(), m_nodes.size(), m_nodeClasses.data());
    for (std::size_t p = 0; p < parts.count; ++p) {
      const MxCutParts::Part& part = parts.parts[p];
      visitCutTable(part.shape, [&](const auto& table) {
        constexpr std::size_t kSize = std::decay_t<decltype(table)>::kNodeCount;
        std::uint32_t nodes[kSize], below = 0, on = 0, undefined = 0;
        for (std::size_t n = 0; n < kSize; ++n) {
          nodes[n] = m_nodes[part.nodes[n]];
          const std::uint8_t own = m_nodeClasses[part.nodes[n]];
          below |= static_cast<std::uint32_t>(own & kCutBelow) << n;
          on |= static_cast<std::uint32_t>(own / kCutOn & 1) << n;
          undefined |= own & kCutUndefined;
        }
        if (!undefined) cutByTable(table, nodes, below, on);
      });
    }
    if (parts.core.count == 0) return;
    m_finder.begin();
    for (const MxShapeFace& face : parts.core) {
      m_faceNodes.clear();
      m_faceBelow.clear();
      for (std::size_t n = 0; n < face.size; ++n) {
        const std::uint8_t own = m_nodeClasses[face.nodes[n]];
        if (own & kCutUndefined) return;
        m_faceNodes.push_back(m_nodes[face.nodes[n]]);
        m_faceBelow.push_back(own & kCutBelow);
      }
      m_finder.addFace(m_faceNodes, m_faceBelow);
    }
    addLoops();
  }

  void cutPolyhedron()
  {
    m_finder.begin();
    const std::size_t length = m_cursor.streamSize();
    for (std::size_t at = 1; at < length;) {
      const std::size_t size = m_cursor.stream()[at++];
      m_faceNodes.clear();
      for (const std::size_t end = at + size; at < end; ++at)
        m_faceNodes.push_back(static_cast<std::uint32_t>(m_cursor.stream()[at]));
      m_faceBelow.resize(size);
      m_classes(m_faceNodes.data(), size, m_faceBelow.data());
      for (std::uint8_t& own : m_faceBelow)
        own &= kCutBelow;
      m_finder.addFace(m_faceNodes, m_faceBelow);
    }
    addLoops();
  }

  /// The loops of a cell without a table, whose keys are whole edges still.
  void addLoops()
  {
    m_finder.findLoops(m_keys, m_sizes);
    std::size_t at = 0;
    for (const std::uint32_t size : m_sizes) {
      const std::span<MxCutKey> polygon(m_keys.data() + at, size);
      for (MxCutKey& key : polygon) {
        std::uint8_t classes[2];
        const std::uint32_t nodes[2] = {key.first, key.second};
        m_classes(nodes, 2, classes);
        key = cutKey(key.first, classes[0] & kCutOn, key.second, classes[1] & kCutOn);
      }
      addPolygon(polygon);
      at += size;
    }
  }

  void addPolygon(std::span<MxCutKey> keys)
  {
    bool repeats = keys.size() > 12;
    if (!repeats)
      for (std::size_t a = 1; a < keys.size(); ++a)
        for (std::size_t b = 0; b < a; ++b)
          repeats |= keys[a] == keys[b];
    if (!repeats)
      writePolygon(keys);
    else
      forEachSimplePolygon(keys, [&](std::span<const MxCutKey> simple) { writePolygon(simple); });
  }
  void writePolygon(std::span<const MxCutKey> keys)
  {
    const std::size_t size = keys.size();
    const std::size_t at = m_block->codes.size();
    m_block->codes.resize(at + size);
    for (std::size_t n = 0; n < size; ++n)
      m_block->codes[at + n] = m_edges.slot(keys[m_job->flip ? size - 1 - n : n]);
    m_block->sizes.push_back(static_cast<std::uint32_t>(size));
    m_block->sources.push_back(m_cell);
    m_block->smallest = std::min(m_block->smallest, static_cast<std::uint32_t>(size));
    m_block->largest = std::max(m_block->largest, static_cast<std::uint32_t>(size));
  }

  const MxCutJob* m_job;
  CutClasses m_classes;
  MxCutScratch::Block* m_block;
  MxCutEdges<Shared> m_edges;
  typename Cells::Cursor m_cursor;
  std::uint32_t m_cell = 0;
  MxLoopFinder m_finder;
  std::vector<std::uint32_t> m_nodes, m_faceNodes, m_sizes;
  std::vector<std::uint8_t> m_nodeClasses, m_faceBelow;
  std::vector<MxCutKey> m_keys;
};

} // namespace velmo_detail

/// Cuts cells and fills all of the surface but its points.
/// @return false when `job.sweep` and the cells are not clean; nothing is filled then
template <class Cells>
bool cutCells(const Cells& cells, const MxCutJob& job, MxCutScratch& scratch,
              MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface)
{
  using namespace velmo_detail;
  const std::size_t steps = blockCount(cells.cellCount(), kCutBlock);
  monitor.beginPhase("Classifying nodes", 1);
  scratch.classes.resizeUninitialized(job.nodeCount);
  forEachBlock(job.parallel, job.nodeCount, 32768,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 monitor.step(0);
                 job.source->classifyRange(first, last, scratch.classes.data() + first);
               });
  monitor.beginPhase("Finding cut cells", steps);
  if (!findCutCells(cells, job, scratch, monitor)) return false;
  makeBuckets(scratch, job.parallel);
  monitor.beginPhase("Cutting cells", steps);
  const auto run = [&]<bool Shared>() {
    forEachBlock(job.parallel, cells.cellCount(), kCutBlock,
                 [&](std::size_t b, std::size_t, std::size_t) {
                   monitor.step();
                   MxCutScratch::Block& block = scratch.blocks[b];
                   CellCutter<Cells, Shared> cutter(cells, job, scratch, block);
                   for (const MxCutCell& cell : block.cells)
                     cutter.cut(cell);
                 });
  };
  if (job.parallel)
    run.template operator()<true>();
  else
    run.template operator()<false>();
  monitor.beginPhase("Numbering vertices", 1);
  finishCut(job, scratch, monitor, surface);
  return true;
}
