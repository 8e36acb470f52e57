#include <velmo/extraction/algorithms/cut/MxCutPasses.h>

#include <velmo/base/MxParallel.h>

#include <stdexcept>

namespace {

constexpr std::size_t kWordBlock = 4096;
constexpr std::size_t kLargestIndex = 0x7fffffff;
/// Marks the code of an edge whose owner's bucket was full.
constexpr std::uint32_t kOverflow = 0x80000000u;

template <class T>
std::size_t bytesOf(const MxArray<T>& array)
{
  return array.capacity() * sizeof(T);
}

// --- Polygons --------------------------------------------------------------------------------

/// Cut edges are known by their smaller node, their owner, which has a bucket of a few second
/// nodes; a slot of a bucket is the vertex of that edge. Zero is an empty slot, otherwise it holds
/// the second node + 1. What finds its bucket full goes to a list that is sorted later. Which edge
/// has which slot depends on the order of the threads; the vertices' numbers do not.
template <bool Shared>
class EdgeSlots
{
public:
  EdgeSlots(MxCutScratch& scratch, MxCutScratch::Block& block)
      : m_words(scratch.owners.words().data()), m_ranks(scratch.ranks.data()),
        m_buckets(scratch.buckets.data()), m_room(scratch.bucketRoom), m_block(&block)
  {}

  [[gnu::always_inline]] std::uint32_t slot(const MxCutKey& edge)
  {
    const std::uint64_t before =
        m_words[edge.first / 64] & ((std::uint64_t{1} << (edge.first % 64)) - 1);
    const std::uint32_t bucket =
        m_ranks[edge.first / 64] + static_cast<std::uint32_t>(__builtin_popcountll(before));
    const std::size_t first = bucket * m_room;
    const std::uint32_t wanted = edge.second + 1;
    for (std::size_t s = first; s < first + m_room; ++s)
      if (take(m_buckets[s], wanted)) return static_cast<std::uint32_t>(s);
    return overflow(bucket, edge.second);
  }

private:
  [[gnu::always_inline]] static bool take(std::uint32_t& place, std::uint32_t wanted)
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
  [[gnu::noinline]] std::uint32_t overflow(std::uint32_t bucket, std::uint32_t second)
  {
    m_block->overflow.push_back({bucket, second});
    return kOverflow + static_cast<std::uint32_t>(m_block->overflow.size() - 1);
  }

  const std::uint64_t* m_words;
  const std::uint32_t* m_ranks;
  std::uint32_t* m_buckets;
  std::size_t m_room;
  MxCutScratch::Block* m_block;
};

/// Cuts the cells of one block. What is called for each cell of a linear shape is inlined, for
/// MX_WITH_BIT_COUNT.
template <bool Shared>
class BlockCutter
{
public:
  BlockCutter(const MxCutJob& job, bool flip, MxCutScratch& scratch, MxCutScratch::Block& block)
      : m_job(&job), m_flip(flip), m_block(&block), m_slots(scratch, block)
  {}

  [[gnu::always_inline]] void run()
  {
    using S = MiCellShape;
    const std::uint32_t* nodes = m_block->nodes.data();
    for (const MxCutCell& cell : m_block->cells) {
      m_cell = cell.cell;
      switch (cell.shape) {
      case S::Tetrahedron:
        nodes = cutLinear<S::Tetrahedron>(nodes, cell);
        break;
      case S::Hexahedron:
        nodes = cutLinear<S::Hexahedron>(nodes, cell);
        break;
      case S::Wedge:
        nodes = cutLinear<S::Wedge>(nodes, cell);
        break;
      case S::Pyramid:
        nodes = cutLinear<S::Pyramid>(nodes, cell);
        break;
      case S::Polyhedron:
        nodes = cutPolyhedron(nodes);
        break;
      default:
        nodes = cutQuadratic(nodes, cell.shape);
        break;
      }
    }
  }

private:
  template <MiCellShape Shape>
  [[gnu::always_inline]] const std::uint32_t* cutLinear(const std::uint32_t* nodes,
                                                        const MxCutCell& cell)
  {
    cutByTable(kCutTable<Shape>, nodes, cell.below, cell.on);
    return nodes + kCutTable<Shape>.kNodeCount;
  }

  template <class Table>
  [[gnu::always_inline]] void cutByTable(const Table& table, const std::uint32_t* nodes,
                                         std::uint32_t below, std::uint32_t on)
  {
    const std::uint8_t* loop = table.cases[below].data();
    while (const std::size_t size = *loop++) {
      MxCutKey keys[12];
      for (std::size_t n = 0; n < size; ++n) {
        const MxCutEdge& edge = table.edges[*loop++];
        const std::uint32_t a = edge.first, b = edge.second;
        keys[n] = cutKey(nodes[a], on >> a & 1, nodes[b], on >> b & 1);
      }
      bool repeats = false;
      for (std::size_t a = 1; a < size; ++a)
        for (std::size_t b = 0; b < a; ++b)
          repeats |= keys[a] == keys[b];
      if (repeats)
        addRepeating({keys, size});
      else
        addPolygon({keys, size});
    }
  }

  [[gnu::always_inline]] void addPolygon(std::span<const MxCutKey> keys)
  {
    const std::size_t size = keys.size();
    const std::size_t at = m_block->codes.size();
    m_block->codes.resize(at + size);
    std::uint32_t* codes = m_block->codes.data() + at;
    for (std::size_t n = 0; n < size; ++n)
      codes[n] = m_slots.slot(keys[m_flip ? size - 1 - n : n]);
    m_block->sizes.push_back(static_cast<std::uint32_t>(size));
    m_block->sources.push_back(m_cell);
    m_block->smallest = std::min(m_block->smallest, static_cast<std::uint32_t>(size));
    m_block->largest = std::max(m_block->largest, static_cast<std::uint32_t>(size));
  }
  [[gnu::noinline]] void addRepeating(std::span<MxCutKey> keys)
  {
    forEachSimplePolygon(keys, [&](std::span<const MxCutKey> simple) { addPolygon(simple); });
  }

  [[gnu::noinline]] const std::uint32_t* cutQuadratic(const std::uint32_t* nodes, MiCellShape shape)
  {
    const std::size_t nodeCount = cellShapeFacts(shape).nodeCount;
    const std::uint32_t* classes = nodes + nodeCount;
    const MxCutParts& parts = findCutParts(shape);
    for (std::size_t p = 0; p < parts.count; ++p) {
      const MxCutParts::Part& part = parts.parts[p];
      visitCutTable(part.shape, [&](const auto& table) {
        constexpr std::size_t kSize = std::decay_t<decltype(table)>::kNodeCount;
        std::uint32_t own[kSize], below = 0, on = 0, undefined = 0;
        for (std::size_t n = 0; n < kSize; ++n) {
          own[n] = nodes[part.nodes[n]];
          const std::uint32_t level = classes[part.nodes[n]];
          below |= (level & kCutBelow) << n;
          on |= (level / kCutOn & 1) << n;
          undefined |= level & kCutUndefined;
        }
        if (!undefined) cutByTable(table, own, below, on);
      });
    }
    cutCore(parts.core, nodes, classes);
    return classes + nodeCount;
  }

  void cutCore(const MxShapeFaces& core, const std::uint32_t* nodes, const std::uint32_t* classes)
  {
    m_finder.begin();
    m_on.clear();
    for (const MxShapeFace& face : core) {
      beginFace();
      for (std::size_t n = 0; n < face.size; ++n) {
        if (classes[face.nodes[n]] & kCutUndefined) return;
        addFaceNode(nodes[face.nodes[n]], classes[face.nodes[n]]);
      }
      m_finder.addFace(m_faceNodes, m_faceBelow);
    }
    addLoops();
  }

  [[gnu::noinline]] const std::uint32_t* cutPolyhedron(const std::uint32_t* at)
  {
    m_finder.begin();
    m_on.clear();
    while (const std::size_t size = *at++) {
      beginFace();
      for (std::size_t n = 0; n < size; ++n)
        addFaceNode(at[n], at[size + n]);
      m_finder.addFace(m_faceNodes, m_faceBelow, m_job->placeOf);
      at += 2 * size;
    }
    addLoops();
    return at;
  }

  void beginFace()
  {
    m_faceNodes.clear();
    m_faceBelow.clear();
  }
  void addFaceNode(std::uint32_t node, std::uint32_t level)
  {
    m_faceNodes.push_back(node);
    m_faceBelow.push_back(level & kCutBelow);
    if (level & kCutOn) m_on.push_back(node);
  }

  /// The loops of a cell without a table, whose keys are whole edges still.
  void addLoops()
  {
    m_finder.findLoops(m_keys, m_sizes);
    std::sort(m_on.begin(), m_on.end());
    const auto isOn = [&](std::uint32_t node) {
      return std::binary_search(m_on.begin(), m_on.end(), node);
    };
    if (!m_on.empty())
      for (MxCutKey& key : m_keys)
        key = cutKey(key.first, isOn(key.first), key.second, isOn(key.second));
    std::size_t at = 0;
    for (const std::uint32_t size : m_sizes) {
      addRepeating({m_keys.data() + at, size});
      at += size;
    }
  }

  const MxCutJob* m_job;
  bool m_flip;
  MxCutScratch::Block* m_block;
  EdgeSlots<Shared> m_slots;
  std::uint32_t m_cell = 0;
  MxLoopFinder m_finder;
  std::vector<std::uint32_t> m_faceNodes, m_sizes, m_on;
  std::vector<std::uint8_t> m_faceBelow;
  std::vector<MxCutKey> m_keys;
};

MX_WITH_BIT_COUNT void cutShared(const MxCutJob& job, bool flip, MxCutScratch& scratch,
                                 MxCutScratch::Block& block)
{
  BlockCutter<true>(job, flip, scratch, block).run();
}

MX_WITH_BIT_COUNT void cutAlone(const MxCutJob& job, bool flip, MxCutScratch& scratch,
                                MxCutScratch::Block& block)
{
  BlockCutter<false>(job, flip, scratch, block).run();
}

// --- Vertices --------------------------------------------------------------------------------

/// The edges of one owner, in the order of their second nodes.
class OwnerEdges
{
public:
  OwnerEdges(MxCutScratch& scratch, const std::vector<MxCutKey>& overflow)
      : m_scratch(&scratch), m_overflow(&overflow)
  {}

  std::size_t count(std::size_t bucket) const
  {
    const std::uint32_t* slots = slotsOf(bucket);
    std::size_t used = 0;
    while (used < m_scratch->bucketRoom && slots[used] != 0)
      ++used;
    if (used < m_scratch->bucketRoom || m_overflow->empty()) return used;
    const auto [first, last] = rangeOf(bucket);
    return used + (last - first);
  }

  /// Calls body(second node, vertex) in ascending order and puts the vertices into the slots and
  /// the list of what did not fit.
  template <class Body>
  std::uint32_t number(std::size_t bucket, std::uint32_t vertex,
                       MxArray<std::uint32_t>& overflowVertices, const Body& body)
  {
    std::uint32_t* slots = m_scratch->buckets.data() + bucket * m_scratch->bucketRoom;
    m_entries.clear();
    for (std::size_t s = 0; s < m_scratch->bucketRoom && slots[s] != 0; ++s) {
      // From the smallest on; there are few.
      std::size_t at = m_entries.size();
      m_entries.push_back({});
      for (; at > 0 && m_entries[at - 1].second > slots[s] - 1; --at)
        m_entries[at] = m_entries[at - 1];
      m_entries[at] = {slots[s] - 1, slots + s};
    }
    if (m_entries.size() == m_scratch->bucketRoom && !m_overflow->empty()) {
      const auto [first, last] = rangeOf(bucket);
      for (std::size_t at = first; at < last; ++at)
        m_entries.push_back({(*m_overflow)[at].second, overflowVertices.data() + at});
      if (last > first)
        std::sort(m_entries.begin(), m_entries.end(),
                  [](const Entry& a, const Entry& b) { return a.second < b.second; });
    }
    for (const Entry& entry : m_entries) {
      body(entry.second, vertex);
      *entry.place = vertex++;
    }
    return vertex;
  }

private:
  struct Entry
  {
    std::uint32_t second;
    std::uint32_t* place;
  };

  const std::uint32_t* slotsOf(std::size_t bucket) const
  {
    return m_scratch->buckets.data() + bucket * m_scratch->bucketRoom;
  }
  std::pair<std::size_t, std::size_t> rangeOf(std::size_t bucket) const
  {
    const auto b = static_cast<std::uint32_t>(bucket);
    const auto first = std::lower_bound(m_overflow->begin(), m_overflow->end(), MxCutKey{b, 0});
    const auto last = std::lower_bound(first, m_overflow->end(), MxCutKey{b + 1, 0});
    return {static_cast<std::size_t>(first - m_overflow->begin()),
            static_cast<std::size_t>(last - m_overflow->begin())};
  }

  MxCutScratch* m_scratch;
  const std::vector<MxCutKey>* m_overflow;
  std::vector<Entry> m_entries;
};

/// Calls body(node, bucket) for the owners of some words.
template <class Body>
void forEachOwner(const MxCutScratch& scratch, std::size_t first, std::size_t last,
                  const Body& body)
{
  for (std::size_t w = first; w < last; ++w) {
    std::size_t bucket = scratch.ranks[w];
    forEachBit(scratch.owners.words()[w], 64 * w, [&](std::size_t node) { body(node, bucket++); });
  }
}

/// Numbers the vertices and notes their nodes.
void numberVertices(bool parallel, MxCutScratch& scratch, const std::vector<MxCutKey>& overflow,
                    MxArray<std::uint32_t>& overflowVertices, MeXProvenance& provenance)
{
  const std::size_t wordCount = scratch.owners.words().size();
  std::vector<std::size_t> firsts(blockCount(wordCount, kWordBlock));
  forEachBlock(parallel, wordCount, kWordBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 const OwnerEdges edges(scratch, overflow);
                 std::size_t sum = 0;
                 forEachOwner(scratch, first, last,
                              [&](std::size_t, std::size_t bucket) { sum += edges.count(bucket); });
                 firsts[block] = sum;
               });
  const std::size_t count = exclusivePrefixSum(std::span(firsts));
  if (count > kLargestIndex) throw std::length_error("The cut has more than 2147483647 vertices.");
  provenance.nodes.resizeUninitialized(2 * count);
  provenance.weights.resizeUninitialized(count);
  forEachBlock(
      parallel, wordCount, kWordBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
        OwnerEdges edges(scratch, overflow);
        auto next = static_cast<std::uint32_t>(firsts[block]);
        forEachOwner(scratch, first, last, [&](std::size_t node, std::size_t bucket) {
          next = edges.number(bucket, next, overflowVertices,
                              [&](std::uint32_t second, std::uint32_t vertex) {
                                provenance.nodes[2 * vertex] = static_cast<std::uint32_t>(node);
                                provenance.nodes[2 * vertex + 1] = second;
                              });
        });
      });
}

/// Joins the blocks' polygons, corners as vertices.
template <class VertexOf>
void writeCutPolygons(bool parallel, const std::vector<MxCutScratch::Block>& blocks,
                      const VertexOf& vertexOf, MeXSurfaceMeshUnstructured& surface)
{
  std::vector<std::size_t> polygonFirsts, cornerFirsts;
  std::size_t polygonCount = 0, cornerCount = 0;
  std::uint32_t smallest = 0xffffffffu, largest = 0;
  for (const MxCutScratch::Block& block : blocks) {
    polygonFirsts.push_back(polygonCount);
    cornerFirsts.push_back(cornerCount);
    polygonCount += block.sizes.size();
    cornerCount += block.codes.size();
    smallest = std::min(smallest, block.smallest);
    largest = std::max(largest, block.largest);
  }
  MeXTopologyExplicitI& topology = surface.topology;
  const bool uniform = polygonCount == 0 || smallest == largest;
  MxArray<int>& indices = uniform
                              ? topology.setUniform(polygonCount, polygonCount > 0 ? smallest : 3)
                              : topology.setMixed(polygonCount, cornerCount + polygonCount);
  MxArray<std::uint32_t>& begins = topology.begins();
  if (!uniform) begins[polygonCount] = static_cast<std::uint32_t>(cornerCount + polygonCount);
  MxArray<std::uint32_t>& cells = surface.provenance.cells;
  cells.resizeUninitialized(polygonCount);
  forEachTask(parallel && polygonCount >= kParallelThreshold, blocks.size(), [&](std::size_t b) {
    const MxCutScratch::Block& block = blocks[b];
    std::size_t at = polygonFirsts[b] + cornerFirsts[b], corner = 0;
    for (std::size_t p = 0; p < block.sizes.size(); ++p) {
      const std::size_t polygon = polygonFirsts[b] + p;
      cells[polygon] = block.sources[p];
      if (!uniform) begins[polygon] = static_cast<std::uint32_t>(at);
      for (std::uint32_t n = 0; n < block.sizes[p]; ++n)
        indices[at++] = static_cast<int>(vertexOf(block, block.codes[corner++]));
      indices[at++] = -1;
    }
  });
}

/// Counts owners and makes their buckets.
void makeBuckets(MxCutScratch& scratch, bool parallel)
{
  const MxArray<std::uint64_t>& words = scratch.owners.words();
  scratch.ranks.resizeUninitialized(words.size());
  std::vector<std::size_t> sums(blockCount(words.size(), kWordBlock));
  forEachBlock(parallel, words.size(), kWordBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 std::uint32_t sum = 0;
                 for (std::size_t w = first; w < last; ++w) {
                   scratch.ranks[w] = sum;
                   sum += static_cast<std::uint32_t>(countBits(words[w]));
                 }
                 sums[block] = sum;
               });
  scratch.ownerCount = exclusivePrefixSum(std::span(sums));
  forEachBlock(parallel, words.size(), kWordBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 for (std::size_t w = first; w < last; ++w)
                   scratch.ranks[w] += static_cast<std::uint32_t>(sums[block]);
               });
  bool hasOtherShapes = false;
  for (const MxCutScratch::Block& block : scratch.blocks)
    hasOtherShapes |= block.hasOtherShapes;
  // The nodes of a lattice own three edges, those of its tetrahedra seven.
  scratch.bucketRoom = hasOtherShapes ? 8 : 4;
  if (scratch.ownerCount * scratch.bucketRoom > kLargestIndex)
    throw std::length_error("The cut needs more than 2147483647 indices.");
  const std::size_t slotCount = scratch.ownerCount * scratch.bucketRoom;
  if (slotCount > scratch.buckets.capacity()) {
    scratch.buckets.resizeZeroed(slotCount);
    return;
  }
  scratch.buckets.resizeUninitialized(slotCount);
  forEachBlock(parallel, slotCount, 65536, [&](std::size_t, std::size_t first, std::size_t last) {
    std::fill(scratch.buckets.data() + first, scratch.buckets.data() + last, 0u);
  });
}

/// The polygons of the cells of one block.
void cutBlock(const MxCutJob& job, bool flip, MxCutScratch& scratch, MxCutScratch::Block& block)
{
  if (block.cells.empty()) return;
  if (job.parallel)
    cutShared(job, flip, scratch, block);
  else
    cutAlone(job, flip, scratch, block);
}

/// Numbers the vertices and fills the topology, the sources of cells and nodes and the weights.
void finishCut(const MxCutJob& job, MxCutScratch& scratch, MxExtractionMonitor& monitor,
               MeXSurfaceMeshUnstructured& surface)
{
  std::vector<MxCutKey> overflow;
  for (const MxCutScratch::Block& block : scratch.blocks)
    overflow.insert(overflow.end(), block.overflow.begin(), block.overflow.end());
  std::sort(overflow.begin(), overflow.end());
  overflow.erase(std::unique(overflow.begin(), overflow.end()), overflow.end());
  MxArray<std::uint32_t> overflowVertices(overflow.size());

  MeXProvenance& provenance = surface.provenance;
  provenance.form = MeXProvenance::NodeForm::Edge;
  provenance.offsets.clear();
  provenance.nodeCells.clear();
  numberVertices(job.parallel, scratch, overflow, overflowVertices, provenance);
  monitor.beginPhase("Writing polygons", 1);
  const std::uint32_t* slots = scratch.buckets.data();
  writeCutPolygons(
      job.parallel, scratch.blocks,
      [&](const MxCutScratch::Block& block, std::uint32_t code) {
        if (!(code & kOverflow)) return slots[code];
        const auto found =
            std::lower_bound(overflow.begin(), overflow.end(), block.overflow[code - kOverflow]);
        return overflowVertices[static_cast<std::size_t>(found - overflow.begin())];
      },
      surface);
  monitor.beginPhase("Placing vertices", 1);
  forEachBlock(job.parallel, provenance.weights.size(), 4096,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 job.source->weigh(provenance.nodes.data() + 2 * first, last - first,
                                   provenance.weights.data() + first);
               });
}

} // namespace

void MxCutScratch::Block::clear()
{
  cells.clear();
  nodes.clear();
  codes.clear();
  sizes.clear();
  sources.clear();
  overflow.clear();
  smallest = 0xffffffffu;
  largest = 0;
  hasOtherShapes = false;
  hasNodesOn = false;
}

std::size_t MxCutScratch::getByteCount() const
{
  std::size_t sum = bytesOf(classes) + bytesOf(active.words()) + bytesOf(owners.words()) +
                    bytesOf(ranks) + bytesOf(buckets);
  for (const Block& block : blocks)
    sum += sizeof(Block) + bytesOf(block.cells) + bytesOf(block.nodes) + bytesOf(block.codes) +
           bytesOf(block.sizes) + bytesOf(block.sources) + bytesOf(block.overflow);
  return sum;
}

void cutCollected(const MxCutJob& job, MxCutScratch& scratch, MxExtractionMonitor& monitor,
                  MeXSurfaceMeshUnstructured& surface)
{
  makeBuckets(scratch, job.parallel);
  monitor.beginPhase("Cutting cells", scratch.blocks.size());
  const bool flip = job.isLeftHanded && job.isLeftHanded();
  forEachTask(job.parallel, scratch.blocks.size(), [&](std::size_t b) {
    monitor.step();
    cutBlock(job, flip, scratch, scratch.blocks[b]);
  });
  monitor.beginPhase("Numbering vertices", 1);
  finishCut(job, scratch, monitor, surface);
}
