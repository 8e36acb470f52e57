#include <velmo/extraction/algorithms/lines/MxIsolines.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxVolumeCells.h>
#include <velmo/extraction/algorithms/lines/MxPolygonCuts.h>

#include <bit>
#include <cmath>
#include <cstring>

namespace {

constexpr std::size_t kNodeBlock = 16384;
constexpr std::size_t kCellBlock = 16384;

// --- Codes of nodes --------------------------------------------------------------------------

/// Finds the codes of values one after the other; most have that of the one before.
class Coder
{
public:
  explicit Coder(const MxIsoLevels& levels) : m_levels(levels.values) { setInterval(0); }

  std::uint16_t code(double value)
  {
    if (value > m_low && value < m_high) return m_code;
    if (!std::isfinite(value)) return kNoCode;
    const auto found = std::lower_bound(m_levels.begin(), m_levels.end(), value);
    const auto below = static_cast<std::size_t>(found - m_levels.begin());
    if (found != m_levels.end() && *found == value)
      return static_cast<std::uint16_t>(2 * below + 1);
    setInterval(below);
    return m_code;
  }

private:
  void setInterval(std::size_t below)
  {
    constexpr double kLargest = std::numeric_limits<double>::max();
    m_low = below > 0 ? m_levels[below - 1] : -kLargest;
    m_high = below < m_levels.size() ? m_levels[below] : kLargest;
    m_code = static_cast<std::uint16_t>(2 * below);
  }

  std::span<const double> m_levels;
  double m_low, m_high;
  std::uint16_t m_code;
};

// --- Cells -----------------------------------------------------------------------------------

/// The segments that one block of cells has given, in cell order.
struct Piece
{
  MxIsoSegment segment;
  std::uint32_t level;
};

bool isChosen(const MxCellChoice& choice, std::size_t cell)
{
  return choice.accepted.empty() || choice.accepted.test(cell);
}

/// Cuts polygons at all levels that cross them.
class Cutter
{
public:
  Cutter(const MxNodeValues& values, const MxIsoLevels& levels, const std::uint16_t* codes,
         std::vector<Piece>& pieces)
      : m_values(values), m_levels(levels), m_codes(codes), m_pieces(pieces)
  {}

  /// A triangle or a quad.
  template <std::size_t Size>
  void cut(const std::array<std::uint32_t, Size>& nodes, std::size_t cell)
  {
    std::array<std::uint16_t, Size> codes;
    for (std::size_t n = 0; n < Size; ++n)
      codes[n] = m_codes[nodes[n]];
    forEachLevel(codes, [&](std::size_t level, std::uint16_t limit) {
      std::size_t above = 0;
      for (std::size_t n = 0; n < Size; ++n)
        above |= static_cast<std::size_t>(codes[n] >= limit) << n;
      const MxPolygonCut<Size>& row = kPolygonCuts<Size>[above];
      const bool joined = row.count > 1 && isJoined(nodes, m_levels.values[level]);
      for (std::size_t i = 0; i < row.count; ++i)
        add(nodes, codes, limit, row.leaves[i], row.enters[joined ? 1 - i : i], level, cell);
    });
  }

  /// Any polygon.
  void cut(const std::vector<std::uint32_t>& nodes, std::size_t cell)
  {
    const std::size_t size = nodes.size();
    m_polygonCodes.resize(size);
    for (std::size_t n = 0; n < size; ++n)
      m_polygonCodes[n] = m_codes[nodes[n]];
    const std::vector<std::uint16_t>& codes = m_polygonCodes;
    forEachLevel(codes, [&](std::size_t level, std::uint16_t limit) {
      m_enters.clear();
      m_leaves.clear();
      for (std::size_t n = 0; n < size; ++n) {
        const bool here = codes[n] >= limit, next = codes[n + 1 < size ? n + 1 : 0] >= limit;
        if (!here && next) m_enters.push_back(n);
        if (here && !next) m_leaves.push_back(n);
      }
      const std::size_t count = m_enters.size();
      // The leave after the first enter comes first.
      if (count > 0 && m_leaves.front() < m_enters.front())
        std::rotate(m_leaves.begin(), m_leaves.begin() + 1, m_leaves.end());
      const std::size_t shift = count > 1 && isMeanAbove(nodes, m_levels.values[level]) ? 1 : 0;
      for (std::size_t i = 0; i < count; ++i)
        add(nodes, codes, limit, m_leaves[i], m_enters[(i + shift) % count], level, cell);
    });
  }

private:
  /// Calls body(level, limit) for the levels that have corners on both sides; those with codes of
  /// `limit` and more are above, those with `limit` itself are on it.
  template <class Codes, class Body>
  void forEachLevel(const Codes& codes, const Body& body) const
  {
    const auto [low, high] = std::minmax_element(codes.begin(), codes.end());
    if (*high == kNoCode || *high == 0) return;
    const std::size_t last = (*high - 1u) / 2;
    for (std::size_t level = (*low + 1u) / 2; level <= last; ++level)
      body(level, static_cast<std::uint16_t>(2 * level + 1));
  }

  template <class Nodes, class Codes>
  void add(const Nodes& nodes, const Codes& codes, std::uint16_t limit, std::size_t leave,
           std::size_t enter, std::size_t level, std::size_t cell)
  {
    const std::size_t size = nodes.size();
    Piece piece;
    const std::size_t afterLeave = leave + 1 < size ? leave + 1 : 0;
    const std::size_t afterEnter = enter + 1 < size ? enter + 1 : 0;
    setPoint(nodes[afterLeave], nodes[leave], codes[leave] == limit, piece.segment.from);
    setPoint(nodes[enter], nodes[afterEnter], codes[afterEnter] == limit, piece.segment.to);
    const MxIsoSegment& s = piece.segment;
    if (s.from[0] == s.to[0] && s.from[1] == s.to[1]) return;
    piece.segment.cell = static_cast<std::uint32_t>(cell);
    piece.level = static_cast<std::uint32_t>(level);
    m_pieces.push_back(piece);
  }
  static void setPoint(std::uint32_t below, std::uint32_t above, bool isOnNode,
                       std::uint32_t (&point)[2])
  {
    point[0] = isOnNode ? above : std::min(below, above);
    point[1] = isOnNode ? above : std::max(below, above);
  }

  /// Whether the opposite corners above are joined: the saddle value is not below.
  bool isJoined(const std::array<std::uint32_t, 4>& nodes, double level) const
  {
    double distances[4], largest = 0;
    for (std::size_t n = 0; n < 4; ++n) {
      // Halves, so that no difference is too large.
      distances[n] = m_values[nodes[n]] / 2 - level / 2;
      largest = std::max(largest, std::abs(distances[n]));
    }
    for (double& distance : distances)
      distance /= largest;
    const double even = distances[0] * distances[2], odd = distances[1] * distances[3];
    return distances[0] > 0 || distances[2] > 0 ? even >= odd : odd >= even;
  }
  static bool isJoined(const std::array<std::uint32_t, 3>&, double) { return false; }
  bool isMeanAbove(const std::vector<std::uint32_t>& nodes, double level) const
  {
    double mean = 0;
    for (const std::uint32_t node : nodes)
      mean += m_values[node] / static_cast<double>(nodes.size());
    return mean >= level;
  }

  const MxNodeValues& m_values;
  const MxIsoLevels& m_levels;
  const std::uint16_t* m_codes;
  std::vector<Piece>& m_pieces;
  std::vector<std::uint16_t> m_polygonCodes;
  std::vector<std::size_t> m_enters, m_leaves;
};

/// Cuts whatever cell the cursor stands on.
template <class Cursor>
void cutCell(const Cursor& cursor, std::size_t cell, std::vector<std::uint32_t>& polygon,
             Cutter& cutter)
{
  const MiCellShapeFacts facts = cellShapeFacts(cursor.shape());
  if (facts.dimension != 2) return;
  const auto& nodes = cursor.nodes();
  const auto node = [&](std::size_t n) { return static_cast<std::uint32_t>(nodes[n]); };
  if (facts.nodeCount == 0) {
    polygon.clear();
    for (std::size_t n = 0; n < cursor.size(); ++n)
      polygon.push_back(node(n));
    if (polygon.size() >= 3) cutter.cut(polygon, cell);
    return;
  }
  for (const MxShapeFace& part : findFlatParts(cursor.shape())) {
    const auto at = [&](std::size_t n) { return node(part.nodes[n]); };
    if (part.size == 3)
      cutter.cut(std::array{at(0), at(1), at(2)}, cell);
    else
      cutter.cut(std::array{at(0), at(1), at(2), at(3)}, cell);
  }
}

/// Cuts a run of triangles or quads whose nodes lie one after the other; most have no level inside.
template <std::size_t Size, class Ids>
void cutRun(const Ids& nodes, std::size_t first, std::size_t count, const std::uint16_t* codes,
            Cutter& cutter)
{
  for (std::size_t n = 0; n < count; ++n) {
    const auto at = [&](std::size_t c) { return static_cast<std::uint32_t>(nodes[Size * n + c]); };
    const std::uint16_t code = codes[at(0)];
    bool same = codes[at(1)] == code && codes[at(2)] == code;
    if constexpr (Size == 4) same = same && codes[at(3)] == code;
    if (same) continue;
    if constexpr (Size == 3)
      cutter.cut(std::array{at(0), at(1), at(2)}, first + n);
    else
      cutter.cut(std::array{at(0), at(1), at(2), at(3)}, first + n);
  }
}

template <class Cells>
void cutBlock(const Cells& cells, const MxCellChoice& choice, std::size_t first, std::size_t last,
              const std::uint16_t* codes, Cutter& cutter)
{
  typename Cells::Cursor cursor(cells);
  std::vector<std::uint32_t> polygon;
  for (std::size_t cell = first; cell < last;) {
    // Only where all cells are taken has each been checked.
    const auto run = choice.accepted.empty() ? cells.findRun(cell, last) : typename Cells::Run{};
    if (run.count > 0 && run.shape == MiCellShape::Triangle) {
      cutRun<3>(run.nodes, cell, run.count, codes, cutter);
      cell += run.count;
    } else if (run.count > 0 && run.shape == MiCellShape::Quad) {
      cutRun<4>(run.nodes, cell, run.count, codes, cutter);
      cell += run.count;
    } else {
      if (isChosen(choice, cell)) {
        cursor.load(cell);
        cutCell(cursor, cell, polygon, cutter);
      }
      ++cell;
    }
  }
}

/// The first cell of a row from `i` on that may have a level inside.
std::size_t findMixed(const std::uint16_t* low, const std::uint16_t* high, std::size_t i,
                      std::size_t columns)
{
  // Four cells at a time: their corners' codes as one word.
  const auto word = [](const std::uint16_t* at) {
    std::uint64_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
  };
  for (; i + 4 <= columns; i += 4) {
    const std::uint64_t corner = word(low + i);
    const std::uint64_t differences =
        (corner ^ word(low + i + 1)) | (corner ^ word(high + i)) | (corner ^ word(high + i + 1));
    if (differences == 0) continue;
    const auto bit = static_cast<std::size_t>(std::countr_zero(differences));
    return std::endian::native == std::endian::little ? i + bit / 16 : i;
  }
  const auto isMixed = [&](std::size_t at) {
    return low[at] != low[at + 1] || low[at] != high[at] || low[at] != high[at + 1];
  };
  while (i < columns && !isMixed(i))
    ++i;
  return i;
}

/// Puts the pieces of all blocks in the order of their levels, each level's in cell order.
MxIsoSegments sortPieces(const std::vector<std::vector<Piece>>& blocks, std::size_t levelCount,
                         bool parallel)
{
  std::size_t total = 0;
  for (const auto& pieces : blocks)
    total += pieces.size();
  MxIsoSegments segments;
  segments.begins.assign(levelCount + 1, 0);
  // Consecutive blocks are taken together: a count for each level and group.
  constexpr std::size_t kGroups = 16;
  const std::size_t perGroup = std::max<std::size_t>(1, blockCount(blocks.size(), kGroups));
  const std::size_t groups = blockCount(blocks.size(), perGroup);
  std::vector<std::vector<std::size_t>> places(groups, std::vector<std::size_t>(levelCount));
  const bool share = parallel && total >= kParallelThreshold;
  const auto forEachPiece = [&](std::size_t group, const auto& body) {
    const std::size_t last = std::min(blocks.size(), (group + 1) * perGroup);
    for (std::size_t block = group * perGroup; block < last; ++block)
      for (const Piece& piece : blocks[block])
        body(piece);
  };
  forEachTask(share, groups, [&](std::size_t group) {
    forEachPiece(group, [&](const Piece& piece) { ++places[group][piece.level]; });
  });
  std::size_t place = 0;
  for (std::size_t level = 0; level < levelCount; ++level) {
    segments.begins[level] = place;
    for (auto& counts : places)
      place += std::exchange(counts[level], place);
  }
  segments.begins[levelCount] = place;
  segments.all.resizeUninitialized(total);
  forEachTask(share, groups, [&](std::size_t group) {
    forEachPiece(group, [&](const Piece& piece) {
      segments.all[places[group][piece.level]++] = piece.segment;
    });
  });
  return segments;
}

} // namespace

void codeNodes(const MxNodeValues& values, const MxIsoLevels& levels, bool parallel,
               MxExtractionMonitor& monitor, MxArray<std::uint16_t>& codes)
{
  codes.resizeUninitialized(values.size());
  values.visit([&](const auto& numbers) {
    forEachBlock(parallel, codes.size(), kNodeBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   monitor.step();
                   Coder coder(levels);
                   for (std::size_t node = first; node < last; ++node)
                     codes[node] = coder.code(static_cast<double>(numbers[node]));
                 });
  });
}

MxIsoSegments cutCells(const MiTopologyI& topology, const MxCellChoice& choice,
                       const MxNodeValues& values, const MxIsoLevels& levels,
                       const MxArray<std::uint16_t>& codes, bool parallel,
                       MxExtractionMonitor& monitor)
{
  std::vector<std::vector<Piece>> blocks(blockCount(choice.last, kCellBlock));
  visitVolumeCells(topology, codes.size(), [&](const auto& cells) {
    forEachBlock(parallel, choice.last, kCellBlock,
                 [&](std::size_t block, std::size_t first, std::size_t last) {
                   monitor.step();
                   Cutter cutter(values, levels, codes.data(), blocks[block]);
                   cutBlock(cells, choice, first, last, codes.data(), cutter);
                 });
  });
  return sortPieces(blocks, levels.values.size(), parallel);
}

MxIsoSegments cutGrid(const MxFlatGrid& grid, const MxCellChoice& choice,
                      const MxNodeValues& values, const MxIsoLevels& levels,
                      const MxArray<std::uint16_t>& codes, bool parallel,
                      MxExtractionMonitor& monitor)
{
  const std::size_t columns = grid.cells.counts.x, rows = grid.cells.counts.y;
  const std::size_t nodesPerRow = grid.nodes.counts.x;
  const std::size_t rowsPerBlock =
      std::max<std::size_t>(1, kCellBlock / std::max<std::size_t>(1, columns));
  std::vector<std::vector<Piece>> blocks(blockCount(rows, rowsPerBlock));
  forEachBlock(parallel && choice.last >= kParallelThreshold, blocks.size(), 1,
               [&](std::size_t block, std::size_t, std::size_t) {
                 monitor.step();
                 Cutter cutter(values, levels, codes.data(), blocks[block]);
                 for (std::size_t j = block * rowsPerBlock;
                      j < std::min(rows, (block + 1) * rowsPerBlock); ++j) {
                   const std::size_t firstNode = j * nodesPerRow;
                   const std::uint16_t* low = codes.data() + firstNode;
                   const std::uint16_t* high = low + nodesPerRow;
                   for (std::size_t i = 0; (i = findMixed(low, high, i, columns)) < columns; ++i) {
                     const std::size_t cell = j * columns + i;
                     if (!isChosen(choice, cell)) continue;
                     const auto node = static_cast<std::uint32_t>(firstNode + i);
                     const auto above = static_cast<std::uint32_t>(firstNode + nodesPerRow + i);
                     cutter.cut(std::array{node, node + 1, above + 1, above}, cell);
                   }
                 }
               });
  return sortPieces(blocks, levels.values.size(), parallel);
}
