#include <velmo/extraction/algorithms/skin/MxFlatCells.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxPolygons.h>
#include <velmo/extraction/algorithms/access/MxVolumeCells.h>

#include <atomic>

namespace {

constexpr std::size_t kCellBlock = 8192; // whole words of MxBits
/// Rows that are taken together: their cells make whole words, however long they are.
constexpr std::size_t kRowBlock = 64;

bool isChosen(const MxCellChoice& choice, std::size_t cell)
{
  return choice.accepted.empty() || choice.accepted.test(cell);
}

/// Notes which of the accepted cells [first, first + accepted.size()) can be used and are alive.
template <class IsDead>
void takeCells(std::size_t first, std::span<const std::uint8_t> accepted, const MxBits& unusable,
               const IsDead& isDead, MxCellChoice& choice)
{
  for (std::size_t n = 0; n < accepted.size(); ++n) {
    const std::size_t cell = first + n;
    if (accepted[n] && (unusable.empty() || !unusable.test(cell)) && !isDead(cell, n))
      choice.accepted.set(cell);
  }
}

/// Whether a cell is marked as dead in an array, which may be too short.
bool isMarkedDead(const MxIndexArray& active, std::size_t cell)
{
  return cell >= active.size() || active[cell] == 0;
}

/// Calls body(size, nodeAt) for the linear parts of a loaded cell of a dimension.
template <class Cursor, class Body>
void forEachPart(const Cursor& cursor, int dimension, const Body& body)
{
  const MiCellShapeFacts facts = cellShapeFacts(cursor.shape());
  if (facts.dimension != dimension) return;
  const auto& nodes = cursor.nodes();
  if (facts.nodeCount == 0) {
    body(cursor.size(), [&](std::size_t n) { return static_cast<std::uint32_t>(nodes[n]); });
    return;
  }
  for (const MxShapeFace& part : findFlatParts(cursor.shape()))
    body(part.size,
         [&](std::size_t n) { return static_cast<std::uint32_t>(nodes[part.nodes[n]]); });
}

/// Writes a mesh of which all cells are taken, linear, of one size and without repeated nodes;
/// false when it is not such a mesh, and what was written means nothing.
template <class Cells>
bool writeUniform(const Cells& cells, int dimension, const MxCellChoice& choice, bool parallel,
                  MxExtractionMonitor& monitor, MeXTopologyExplicitI& result,
                  MxArray<std::uint32_t>& sources)
{
  const std::size_t count = cells.cellCount();
  if (!choice.accepted.empty() || choice.first > 0 || choice.last < count || count == 0)
    return false;
  const auto run = cells.findRun(0, count);
  const MiCellShapeFacts facts = cellShapeFacts(run.shape);
  if (run.count != count || facts.dimension != dimension || facts.nodeCount > facts.cornerCount)
    return false;
  const std::size_t size = facts.nodeCount;
  MxArray<int>& indices = result.setUniform(count, size);
  sources.resizeUninitialized(count);
  std::atomic<bool> clean{true};
  forEachBlock(parallel, count, kCellBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    monitor.step();
    int* out = indices.data() + (size + 1) * first;
    bool repeats = false;
    for (std::size_t cell = first; cell < last; ++cell) {
      sources[cell] = static_cast<std::uint32_t>(cell);
      int before = static_cast<int>(run.nodes[size * cell + size - 1]);
      for (std::size_t n = 0; n < size; ++n) {
        const int node = static_cast<int>(run.nodes[size * cell + n]);
        repeats |= node == before;
        before = *out++ = node;
      }
      *out++ = -1;
    }
    if (repeats) clean.store(false, std::memory_order_relaxed);
  });
  return clean.load();
}

} // namespace

MxCellChoice chooseCells(const MiTopologyIj& topology, const MxBits& unusable,
                         const MiCellFilterIj* filter, bool parallel, MxExtractionMonitor& monitor)
{
  const MbIndex3 counts = flatGridOf(topology).cells.counts;
  MxCellChoice choice;
  choice.last = counts.x * counts.y;
  const bool hasDead = topology.hasDeadCells();
  if (unusable.empty() && !filter && !hasDead) return choice;
  const MxIndexArray active(topology.getActiveView());
  choice.accepted = MxBits(choice.last);
  forEachBlock(parallel && choice.last >= kParallelThreshold, counts.y, kRowBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 monitor.step(0);
                 std::vector<std::uint8_t> accepted(counts.x, 1);
                 for (std::size_t j = first; j < last; ++j) {
                   if (filter) filter->acceptRow(counts.x, j, accepted.data());
                   takeCells(
                       j * counts.x, accepted, unusable,
                       [&](std::size_t cell, std::size_t i) {
                         return hasDead &&
                                (active ? isMarkedDead(active, cell) : topology.isDead(i, j));
                       },
                       choice);
                 }
               });
  return choice;
}

MxCellChoice chooseCells(const MiTopologyRow& topology, const MxBits& unusable,
                         const MiCellFilterI* filter, bool parallel, MxExtractionMonitor& monitor)
{
  MxCellChoice choice;
  choice.last = topology.getCellCount();
  const bool hasDead = topology.hasDeadCells();
  if (unusable.empty() && !filter && !hasDead) return choice;
  const MxIndexArray active(topology.getActiveView());
  choice.accepted = MxBits(choice.last);
  forEachBlock(
      parallel, choice.last, kCellBlock, [&](std::size_t, std::size_t first, std::size_t last) {
        monitor.step(0);
        std::vector<std::uint8_t> accepted(last - first, 1);
        if (filter) filter->acceptCells(first, last, accepted.data());
        takeCells(
            first, accepted, unusable,
            [&](std::size_t cell, std::size_t) {
              return hasDead && (active ? isMarkedDead(active, cell) : topology.isDead(cell));
            },
            choice);
      });
  return choice;
}

void writeFlatCells(const MiTopologyI& topology, std::size_t nodeCount, int dimension,
                    const MxCellChoice& choice, bool parallel, MxExtractionMonitor& monitor,
                    MeXTopologyExplicitI& result, MxArray<std::uint32_t>& cells)
{
  const bool isPolygon = dimension == 2;
  const std::size_t fewest = isPolygon ? 3 : 2;
  visitVolumeCells(topology, nodeCount, [&]<class Cells>(const Cells& view) {
    if (writeUniform(view, dimension, choice, parallel, monitor, result, cells)) return;
    std::vector<MxPolygonBlock> blocks(blockCount(choice.last, kCellBlock));
    forEachBlock(parallel, choice.last, kCellBlock,
                 [&](std::size_t block, std::size_t first, std::size_t last) {
                   monitor.step();
                   typename Cells::Cursor cursor(view);
                   std::vector<std::uint32_t> nodes;
                   MxPolygonBlock own;
                   for (std::size_t cell = first; cell < last; ++cell) {
                     if (!isChosen(choice, cell)) continue;
                     cursor.load(cell);
                     forEachPart(cursor, dimension, [&](std::size_t size, const auto& nodeAt) {
                       nodes.clear();
                       for (std::size_t n = 0; n < size; ++n)
                         nodes.push_back(nodeAt(n));
                       removeRepeats(nodes, isPolygon);
                       if (nodes.size() < fewest) return;
                       own.add(nodes);
                       own.cells.push_back(static_cast<std::uint32_t>(cell));
                     });
                   }
                   blocks[block] = std::move(own);
                 });
    joinPolygons(blocks, parallel, result, &cells);
  });
}

void writeFlatGrid(const MxFlatGrid& grid, const MxCellChoice& choice, bool parallel,
                   MxExtractionMonitor& monitor, MeXTopologyExplicitI& result,
                   MxArray<std::uint32_t>& cells, MxKeptCells& kept)
{
  const std::size_t columns = grid.cells.counts.x, rows = grid.cells.counts.y;
  const bool all = choice.accepted.empty();
  if (!all) kept.forget();
  const std::size_t nodesAcross = grid.nodes.counts.x;
  if (all &&
      kept.keep(result, columns, rows, {0, 1, nodesAcross + 1, nodesAcross}, grid.cornerCount))
    return; // with the same cells they came from
  std::vector<std::size_t> begins(rows);
  for (std::size_t j = 0; j < rows; ++j) {
    begins[j] = columns;
    if (choice.accepted.empty()) continue;
    MxPoll::ask();
    begins[j] = 0;
    for (std::size_t cell = j * columns; cell < (j + 1) * columns; ++cell)
      begins[j] += choice.accepted.test(cell);
  }
  const std::size_t total = exclusivePrefixSum(std::span(begins));
  MxArray<int>& indices = result.setUniform(total, grid.cornerCount);
  cells.resizeUninitialized(total);
  const auto nodesPerRow = static_cast<int>(nodesAcross);
  forEachBlock(parallel && total >= kParallelThreshold, rows, 1,
               [&](std::size_t j, std::size_t, std::size_t) {
                 monitor.step();
                 int* out = indices.data() + (grid.cornerCount + 1) * begins[j];
                 std::uint32_t* source = cells.data() + begins[j];
                 // Node numbers as 32-bit patterns.
                 const auto firstNode = static_cast<std::uint32_t>(j * grid.nodes.counts.x);
                 for (std::size_t i = 0; i < columns; ++i) {
                   const std::size_t cell = j * columns + i;
                   if (!isChosen(choice, cell)) continue;
                   const auto node = static_cast<int>(firstNode + static_cast<std::uint32_t>(i));
                   *source++ = static_cast<std::uint32_t>(cell);
                   *out++ = node;
                   *out++ = node + 1;
                   if (grid.cornerCount == 4) {
                     *out++ = node + nodesPerRow + 1;
                     *out++ = node + nodesPerRow;
                   }
                   *out++ = -1;
                 }
               });
  if (all) kept.written(result);
}

MxWholeFaces collectWholeCells(const MiTopologyI& topology, std::size_t nodeCount, int dimension,
                               const MxCellChoice& choice)
{
  MxWholeFaces whole;
  visitVolumeCells(topology, nodeCount, [&]<class Cells>(const Cells& view) {
    typename Cells::Cursor cursor(view);
    const auto forEachCell = [&](const auto& body) {
      for (std::size_t cell = choice.first; cell < choice.last; ++cell) {
        if (cell % 4096 == 0) MxPoll::ask();
        if (!isChosen(choice, cell)) continue;
        cursor.load(cell);
        const MiCellShapeFacts facts = cellShapeFacts(cursor.shape());
        if (facts.dimension == dimension) body(cell, facts);
      }
    };
    forEachCell([&](std::size_t, const MiCellShapeFacts& facts) {
      whole.hasQuadratic = whole.hasQuadratic || facts.nodeCount > facts.cornerCount;
    });
    if (!whole.hasQuadratic) return;
    whole.begins.push_back(0);
    forEachCell([&](std::size_t cell, const MiCellShapeFacts&) {
      whole.cells.push_back(static_cast<std::uint32_t>(cell));
      whole.shapes.push_back(cursor.shape());
      for (std::size_t n = 0; n < cursor.size(); ++n)
        whole.nodes.push_back(static_cast<std::uint32_t>(cursor.nodes()[n]));
      whole.begins.push_back(static_cast<std::uint32_t>(whole.nodes.size()));
    });
  });
  return whole;
}
