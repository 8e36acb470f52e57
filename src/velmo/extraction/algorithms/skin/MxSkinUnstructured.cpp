#include <velmo/extraction/algorithms/skin/MxSkinUnstructured.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxPolygons.h>
#include <velmo/extraction/algorithms/access/MxVolumeCells.h>

#include <array>
#include <atomic>
#include <optional>
#include <utility>

namespace {

constexpr std::size_t kCellBlock = 8192; // whole words of MxBits
/// Words that are joined at a time, in the nearest cache.
constexpr std::size_t kPage = 512;
/// Up to this many threads each have words of their own; more of them share one set by atomic
/// operations, which cost several times as much each but need no more memory.
constexpr std::size_t kMostOwnThreads = 8;

bool isChosen(const MxCellChoice& choice, std::size_t cell)
{
  return choice.accepted.empty() || choice.accepted.test(cell);
}

// --- First pass: the words of the nodes ------------------------------------------------------

/// One 64-bit word a node, zeros that the system provides when they are touched.
using Words = MxArray<std::uint64_t>;

/// Where a thread puts the hashes of faces.
template <bool Shared>
class WordSink
{
public:
  explicit WordSink(Words& words) : m_words(words.data()) {}

  void add(std::uint32_t node, std::uint64_t hash)
  {
    if constexpr (Shared)
      std::atomic_ref(m_words[node]).fetch_xor(hash, std::memory_order_relaxed);
    else
      m_words[node] ^= hash;
  }

private:
  std::uint64_t* m_words;
};

/// The hash of a face is a mix of the sum of its nodes' mixes: the same for any order, and each
/// node is mixed once per cell. A sum alone would let sums of neighbouring faces cancel bit by bit.
constexpr std::uint64_t mixNode(std::uint64_t node)
{
  std::uint64_t x = (node + 1) * 0x9e3779b97f4a7c15u;
  x = (x ^ (x >> 32)) * 0xd6e8feb86659fd93u;
  return x ^ (x >> 29);
}
constexpr std::uint64_t mixFace(std::uint64_t sum)
{
  return (sum ^ (sum >> 31)) * 0xbf58476d1ce4e5b9u;
}

template <class Ids, class Sink>
void hashTetrahedron(const Ids& nodes, Sink& sink)
{
  std::uint32_t n[4];
  std::uint64_t m[4];
  for (int i = 0; i < 4; ++i) {
    n[i] = static_cast<std::uint32_t>(nodes[i]);
    m[i] = mixNode(n[i]);
  }
  const std::uint32_t low01 = std::min(n[0], n[1]), low23 = std::min(n[2], n[3]);
  const std::uint64_t sum01 = m[0] + m[1], sum23 = m[2] + m[3];
  sink.add(std::min(low01, n[3]), mixFace(sum01 + m[3]));
  sink.add(std::min(low23, n[1]), mixFace(sum23 + m[1]));
  sink.add(std::min(low23, n[0]), mixFace(sum23 + m[0]));
  sink.add(std::min(low01, n[2]), mixFace(sum01 + m[2]));
}

/// Hashes hexahedra one after the other. In most meshes the next one stands on the upper I face of
/// the last: its four nodes need not be mixed again, and the face between them cancels here.
template <class Sink>
class HexahedronHasher
{
public:
  explicit HexahedronHasher(Sink& sink) : m_sink(&sink) {}

  template <class Ids>
  void add(const Ids& nodes)
  {
    std::uint32_t n[8];
    for (int i = 0; i < 8; ++i)
      n[i] = static_cast<std::uint32_t>(nodes[i]);
    std::uint64_t m[8];
    const bool adjoins = m_pending && n[0] == m_nodes[0] && n[3] == m_nodes[1] &&
                         n[7] == m_nodes[2] && n[4] == m_nodes[3];
    if (adjoins) {
      m[0] = m_mixes[0];
      m[3] = m_mixes[1];
      m[7] = m_mixes[2];
      m[4] = m_mixes[3];
    } else {
      flush();
      for (const int i : {0, 3, 7, 4})
        m[i] = mixNode(n[i]);
      addQuad(std::min(std::min(n[0], n[4]), std::min(n[3], n[7])), m[0] + m[4] + m[3] + m[7]);
    }
    for (const int i : {1, 2, 6, 5})
      m[i] = mixNode(n[i]);
    const std::uint32_t low12 = std::min(n[1], n[2]), low45 = std::min(n[4], n[5]),
                        low37 = std::min(n[3], n[7]);
    const std::uint64_t sum12 = m[1] + m[2], sum45 = m[4] + m[5], sum37 = m[3] + m[7];
    addQuad(std::min(std::min(n[0], n[1]), low45), m[0] + m[1] + sum45);
    addQuad(std::min(std::min(n[6], n[2]), low37), m[6] + m[2] + sum37);
    addQuad(std::min(std::min(n[0], n[3]), low12), m[0] + m[3] + sum12);
    addQuad(std::min(std::min(n[6], n[7]), low45), m[6] + m[7] + sum45);
    m_nodes = {n[1], n[2], n[6], n[5]};
    m_mixes = {m[1], m[2], m[6], m[5]};
    m_smallest = std::min(low12, std::min(n[6], n[5]));
    m_sum = sum12 + m[6] + m[5];
    m_pending = true;
  }
  void flush()
  {
    if (m_pending) addQuad(m_smallest, m_sum);
    m_pending = false;
  }

private:
  void addQuad(std::uint32_t smallest, std::uint64_t sum) { m_sink->add(smallest, mixFace(sum)); }

  Sink* m_sink;
  bool m_pending = false; ///< the last upper I face is still to be added
  std::uint32_t m_smallest = 0;
  std::uint64_t m_sum = 0;
  std::array<std::uint32_t, 4> m_nodes{};
  std::array<std::uint64_t, 4> m_mixes{};
};

template <MiCellShape Shape, class Ids, class Sink>
void hashCell(const Ids& nodes, Sink& sink)
{
  constexpr std::size_t kNodeCount = cellShapeFacts(Shape).nodeCount;
  std::uint32_t ids[kNodeCount];
  std::uint64_t mixes[kNodeCount];
  for (std::size_t n = 0; n < kNodeCount; ++n) {
    ids[n] = static_cast<std::uint32_t>(nodes[n]);
    mixes[n] = mixNode(ids[n]);
  }
  const auto addFace = [&]<std::size_t F>(std::integral_constant<std::size_t, F>) {
    constexpr MxShapeFace kFace = kLinearFaces<Shape>.faces[F];
    std::uint32_t smallest = ids[kFace.nodes[0]];
    std::uint64_t sum = mixes[kFace.nodes[0]];
    for (std::size_t n = 1; n < kFace.size; ++n) {
      smallest = std::min(smallest, ids[kFace.nodes[n]]);
      sum += mixes[kFace.nodes[n]];
    }
    sink.add(smallest, mixFace(sum));
  };
  [&]<std::size_t... F>(std::index_sequence<F...>)
  {
    (addFace(std::integral_constant<std::size_t, F>{}), ...);
  }
  (std::make_index_sequence<kLinearFaces<Shape>.count>{});
}

template <bool Whole, class Cursor, class Sink>
void hashAnyCell(const Cursor& cursor, Sink& sink)
{
  forEachFace<Whole>(cursor, [&](std::uint32_t, std::size_t size, const auto& nodeAt, MiCellShape) {
    if (size == 0) return;
    std::uint32_t smallest = nodeAt(0);
    std::uint64_t sum = 0;
    for (std::size_t n = 0; n < size; ++n) {
      const std::uint32_t node = nodeAt(n);
      smallest = std::min(smallest, node);
      sum += mixNode(node);
    }
    sink.add(smallest, mixFace(sum));
  });
}

/// Hashes the cells of a run, whose nodes stand one after the other; false for other shapes.
template <class Run, class Sink>
bool hashRun(const Run& run, HexahedronHasher<Sink>& hexahedra, Sink& sink)
{
  using S = MiCellShape;
  const auto forEachCell = [&](std::size_t size, const auto& body) {
    for (std::size_t c = 0; c < run.count; ++c)
      body(run.nodes + c * size);
    return true;
  };
  switch (run.shape) {
  case S::Tetrahedron:
    return forEachCell(4, [&](const auto& nodes) { hashTetrahedron(nodes, sink); });
  case S::Hexahedron:
    return forEachCell(8, [&](const auto& nodes) { hexahedra.add(nodes); });
  case S::Wedge:
    return forEachCell(6, [&](const auto& nodes) { hashCell<S::Wedge>(nodes, sink); });
  case S::Pyramid:
    return forEachCell(5, [&](const auto& nodes) { hashCell<S::Pyramid>(nodes, sink); });
  default:
    return false;
  }
}

template <bool Whole, class Cells, class Sink>
void hashCells(const Cells& cells, const MxCellChoice& choice, std::size_t first, std::size_t last,
               Sink& sink)
{
  typename Cells::Cursor cursor(cells);
  HexahedronHasher<Sink> hexahedra(sink);
  typename Cells::Run run;
  for (std::size_t cell = first; cell < last;) {
    if (choice.accepted.empty()) {
      run = cells.findRun(cell, last);
      if (run.count > 0 && hashRun(run, hexahedra, sink)) {
        cell += run.count;
        continue;
      }
    } else if (!choice.accepted.test(cell)) {
      ++cell;
      continue;
    }
    cursor.load(cell++);
    run.count = 1;
    run.shape = cursor.shape();
    run.nodes = cursor.nodes();
    if (!hashRun(run, hexahedra, sink)) hashAnyCell<Whole>(cursor, sink);
  }
  hexahedra.flush();
}

/// One byte a node: not zero where the node's faces did not all cancel.
using OpenNodes = MxArray<std::uint8_t>;

/// Joins the words of all threads.
OpenNodes joinWords(const std::vector<Words>& sets, std::size_t nodeCount, bool parallel)
{
  constexpr std::size_t kBlock = 65536;
  OpenNodes open(nodeCount);
  forEachBlock(parallel, nodeCount, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    if (sets.size() == 1) {
      const std::uint64_t* words = sets[0].data();
      for (std::size_t n = first; n < last; ++n)
        open[n] = words[n] != 0;
      return;
    }
    for (std::size_t begin = first; begin < last; begin += kPage) {
      const std::size_t count = std::min(kPage, last - begin);
      std::uint64_t joined[kPage] = {};
      for (const Words& set : sets)
        for (std::size_t n = 0; n < count; ++n)
          joined[n] ^= set[begin + n];
      for (std::size_t n = 0; n < count; ++n)
        open[begin + n] = joined[n] != 0;
    }
  });
  return open;
}

template <bool Whole, class Cells>
std::optional<OpenNodes> findOpenNodes(const Cells& cells, const MxCellChoice& choice,
                                       std::size_t nodeCount, bool sweep, bool parallel,
                                       MxExtractionMonitor& monitor)
{
  std::atomic<bool> dirty{false};
  const std::size_t count = choice.last - choice.first;
  const std::size_t threads = parallel && count >= kParallelThreshold ? threadCount() : 1;
  std::vector<Words> sets;
  const auto hashBlocks = [&](std::size_t first, std::size_t last, auto sink) {
    for (std::size_t begin = first; begin < last; begin += kCellBlock) {
      const std::size_t end = std::min(last, begin + kCellBlock);
      monitor.step();
      // The block is still in the cache when it is hashed.
      if (sweep && !cells.isCleanBlock(begin, end, nodeCount)) dirty = true;
      if (dirty.load(std::memory_order_relaxed)) return;
      hashCells<Whole>(cells, choice, begin, end, sink);
    }
  };
  if (threads > kMostOwnThreads) {
    sets.emplace_back().resizeZeroed(nodeCount);
    forEachBlock(parallel, count, kCellBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   hashBlocks(choice.first + first, choice.first + last, WordSink<true>(sets[0]));
                 });
  } else {
    // Twice as many runs of cells as threads, so that one delayed thread does not delay all. In a
    // mesh with some order each run touches words of its own.
    const std::size_t runs = threads == 1 ? 1 : 2 * threads;
    for (std::size_t run = 0; run < runs; ++run)
      sets.emplace_back().resizeZeroed(nodeCount);
    forEachTask(parallel, runs, [&](std::size_t run) {
      hashBlocks(choice.first + count * run / runs, choice.first + count * (run + 1) / runs,
                 WordSink<false>(sets[run]));
    });
  }
  if (dirty) return std::nullopt;
  return joinWords(sets, nodeCount, parallel);
}

// --- Second pass: the faces of open nodes ----------------------------------------------------

/// Calls body(cell) for the cells of a run of which a node is open; false for runs of other sizes.
template <class Run, class Body>
bool forEachOpenCell(const Run& run, std::size_t first, const OpenNodes& open, const Body& body)
{
  const auto sweep = [&]<std::size_t Size>(std::integral_constant<std::size_t, Size>) {
    for (std::size_t c = 0; c < run.count; ++c) {
      if constexpr (std::is_pointer_v<decltype(run.nodes)>) readAhead(run.nodes + c * Size);
      std::uint8_t any = 0;
      for (std::size_t n = 0; n < Size; ++n)
        any |= open[run.nodes[c * Size + n]];
      if (any) body(first + c);
    }
    return true;
  };
  switch (velmo_detail::kFixedSizes[static_cast<std::size_t>(run.shape)]) {
  case 4:
    return sweep(std::integral_constant<std::size_t, 4>{});
  case 5:
    return sweep(std::integral_constant<std::size_t, 5>{});
  case 6:
    return sweep(std::integral_constant<std::size_t, 6>{});
  case 8:
    return sweep(std::integral_constant<std::size_t, 8>{});
  default:
    return false;
  }
}

/// Adds the faces of one cell that have an open smallest node.
template <bool Whole, class Cursor>
void addCandidates(const Cursor& cursor, std::size_t cell, const OpenNodes& open,
                   std::vector<std::uint32_t>& nodes, MxArray<MxFaceCandidate>& found)
{
  forEachFace<Whole>(cursor,
                     [&](std::uint32_t face, std::size_t size, const auto& nodeAt, MiCellShape) {
                       if (size < 3) return;
                       std::uint32_t few[9], *own = few;
                       if (size > std::size(few)) {
                         nodes.resize(size);
                         own = nodes.data();
                       }
                       std::uint32_t smallest = own[0] = nodeAt(0);
                       for (std::size_t n = 1; n < size; ++n)
                         smallest = std::min(smallest, own[n] = nodeAt(n));
                       if (!open[smallest]) return;
                       MxFaceCandidate candidate;
                       candidate.cell = static_cast<std::uint32_t>(cell);
                       candidate.face = face;
                       if (makeFaceKey(own, size, candidate)) found.push_back(candidate);
                     });
}

template <bool Whole, class Cells>
std::vector<MxArray<MxFaceCandidate>>
collectCandidates(const Cells& cells, const MxCellChoice& choice, const OpenNodes& open,
                  bool parallel, MxExtractionMonitor& monitor)
{
  const std::size_t count = choice.last - choice.first;
  std::vector<MxArray<MxFaceCandidate>> blocks(blockCount(count, kCellBlock));
  forEachBlock(parallel, count, kCellBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 monitor.step();
                 typename Cells::Cursor cursor(cells);
                 std::vector<std::uint32_t> nodes;
                 const auto add = [&](std::size_t cell) {
                   cursor.load(cell);
                   addCandidates<Whole>(cursor, cell, open, nodes, blocks[block]);
                 };
                 const std::size_t end = choice.first + last;
                 for (std::size_t cell = choice.first + first; cell < end;) {
                   if (choice.accepted.empty()) {
                     const auto run = cells.findRun(cell, end);
                     if (run.count > 0 && forEachOpenCell(run, cell, open, add)) {
                       cell += run.count;
                       continue;
                     }
                   }
                   if (isChosen(choice, cell)) add(cell);
                   ++cell;
                 }
               });
  return blocks;
}

// --- Reading faces again ---------------------------------------------------------------------

/// Gives the nodes of faces asked for in ascending order.
template <class Cells, bool Whole>
class FaceReader
{
public:
  explicit FaceReader(const Cells& cells) : m_cursor(cells) {}

  MiCellShape read(std::size_t cell, std::uint32_t face, std::vector<std::uint32_t>& nodes)
  {
    if (cell != m_cell) {
      m_cell = cell;
      m_cursor.load(cell);
      m_streamFace = 0;
      m_streamAt = 1;
    }
    nodes.clear();
    if (m_cursor.shape() == MiCellShape::Polyhedron) {
      readStream(face, nodes);
      return MiCellShape::Polygon;
    }
    const MxShapeFaces& table =
        Whole ? findWholeFaces(m_cursor.shape()) : findLinearFaces(m_cursor.shape());
    if (face >= table.count) return MiCellShape::Empty;
    const MxShapeFace& row = table[face];
    nodes.resize(row.size);
    for (std::size_t n = 0; n < row.size; ++n)
      nodes[n] = static_cast<std::uint32_t>(m_cursor.nodes()[row.nodes[n]]);
    return row.shape;
  }

private:
  void readStream(std::uint32_t face, std::vector<std::uint32_t>& nodes)
  {
    if (face < m_streamFace) {
      m_streamFace = 0;
      m_streamAt = 1;
    }
    for (; m_streamFace < face && m_streamAt < m_cursor.streamSize(); ++m_streamFace)
      m_streamAt += 1 + m_cursor.stream()[m_streamAt];
    if (m_streamAt >= m_cursor.streamSize()) return;
    const std::size_t size = m_cursor.stream()[m_streamAt];
    for (std::size_t n = 1; n <= size; ++n)
      nodes.push_back(static_cast<std::uint32_t>(m_cursor.stream()[m_streamAt + n]));
  }

  typename Cells::Cursor m_cursor;
  std::size_t m_cell = static_cast<std::size_t>(-1);
  std::uint32_t m_streamFace = 0;
  std::size_t m_streamAt = 1;
};

template <bool Whole, class Cells>
bool findFaces(const Cells& cells, std::size_t nodeCount, const MxCellChoice& choice, bool sweep,
               bool parallel, MxExtractionMonitor& monitor, MxFaceList& faces)
{
  const std::size_t steps = blockCount(choice.last - choice.first, kCellBlock);
  monitor.beginPhase("Hashing faces", steps);
  const std::optional<OpenNodes> open =
      findOpenNodes<Whole>(cells, choice, nodeCount, sweep, parallel, monitor);
  if (!open) return false;
  monitor.beginPhase("Collecting faces", steps);
  auto candidates = collectCandidates<Whole>(cells, choice, *open, parallel, monitor);
  const auto sameNodes = [&](const MxFaceCandidate& a, const MxFaceCandidate& b) {
    std::vector<std::uint32_t> nodes[2];
    for (int side = 0; side < 2; ++side) {
      const MxFaceCandidate& candidate = side == 0 ? a : b;
      FaceReader<Cells, Whole>(cells).read(candidate.cell, candidate.face, nodes[side]);
      std::sort(nodes[side].begin(), nodes[side].end());
      nodes[side].erase(std::unique(nodes[side].begin(), nodes[side].end()), nodes[side].end());
    }
    return nodes[0] == nodes[1];
  };
  monitor.beginPhase("Matching faces", 1);
  markUniqueFaces(parallel, candidates, sameNodes, monitor);
  faces = collectUniqueFaces(parallel, candidates);
  return true;
}

} // namespace

MxCellChoice chooseCells(const MiTopologyI& topology, const MxBits& unusable,
                         const MiCellFilterI* filter, std::size_t first, std::size_t last,
                         bool parallel, MxExtractionMonitor& monitor)
{
  const std::size_t cellCount = topology.getCellCount();
  MxCellChoice choice;
  choice.last = std::min(last, cellCount);
  choice.first = std::min(first, choice.last);
  const bool hasDead = topology.hasDeadCells();
  if (unusable.empty() && !filter && !hasDead) return choice;
  const MiTopologyView view = topology.getView();
  const MxIndexArray active(view.active);
  choice.accepted = MxBits(cellCount);
  // Whole words of the cells numbered from zero, so that no word belongs to two blocks.
  forEachBlock(parallel, choice.last, kCellBlock,
               [&](std::size_t, std::size_t begin, std::size_t end) {
                 begin = std::max(begin, choice.first);
                 if (begin >= end) return;
                 monitor.step(0);
                 std::vector<std::uint8_t> accepted(end - begin, 1);
                 if (filter) filter->acceptCells(begin, end, accepted.data());
                 for (std::size_t cell = begin; cell < end; ++cell) {
                   if (!accepted[cell - begin]) continue;
                   if (!unusable.empty() && unusable.test(cell)) continue;
                   if (hasDead && (active ? cell >= active.size() || active[cell] == 0
                                          : topology.isDead(cell)))
                     continue;
                   choice.accepted.set(cell);
                 }
               });
  return choice;
}

bool findSkinFaces(const MiTopologyI& topology, std::size_t nodeCount, const MxCellChoice& choice,
                   bool whole, bool sweep, bool parallel, MxExtractionMonitor& monitor,
                   MxFaceList& faces)
{
  bool found = false;
  visitVolumeCells(topology, nodeCount, [&](const auto& cells) {
    found = whole ? findFaces<true>(cells, nodeCount, choice, sweep, parallel, monitor, faces)
                  : findFaces<false>(cells, nodeCount, choice, sweep, parallel, monitor, faces);
  });
  return found;
}

void writeFaces(const MiTopologyI& topology, std::size_t nodeCount, const MxFaceList& faces,
                bool parallel, MxExtractionMonitor& monitor, MeXTopologyExplicitI& result)
{
  visitVolumeCells(topology, nodeCount, [&]<class Cells>(const Cells& cells) {
    const auto makeReader = [&] {
      return [&, reader = FaceReader<Cells, false>(cells)](
                 std::size_t f, std::vector<std::uint32_t>& polygon) mutable {
        reader.read(faces.cells[f], faces.faces[f], polygon);
        removeRepeats(polygon);
      };
    };
    writePolygons(faces.size(), makeReader, parallel, monitor, result);
  });
}

void forEachWholeFace(
    const MiTopologyI& topology, std::size_t nodeCount, const MxFaceList& faces, std::size_t first,
    std::size_t last,
    const std::function<void(std::size_t, MiCellShape, std::span<const std::uint32_t>)>& body)
{
  visitVolumeCells(topology, nodeCount, [&]<class Cells>(const Cells& cells) {
    FaceReader<Cells, true> reader(cells);
    std::vector<std::uint32_t> nodes;
    for (std::size_t f = first; f < last; ++f) {
      if (f % 4096 == 0) MxPoll::ask();
      const MiCellShape shape = reader.read(faces.cells[f], faces.faces[f], nodes);
      body(f, shape, nodes);
    }
  });
}
