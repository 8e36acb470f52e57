#include <velmo/extraction/algorithms/MxCutGrid.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/MxCutTables.h>
#include <velmo/extraction/algorithms/MxNodeNumbering.h>

#include <bit>

namespace {

constexpr const auto& kTable = kCutTable<MiCellShape::Hexahedron>;
constexpr std::size_t kNodeKind = 3;

/// The place of a vertex among the 4 kinds of vertices of 5 x 5 x 5 nodes.
constexpr std::size_t placeOf(std::size_t i, std::size_t j, std::size_t k, std::size_t kind = 0)
{
  return 4 * (i + 5 * j + 25 * k) + kind;
}
constexpr std::size_t kPlaces = 500;

/// placeOf the nodes of a brick.
constexpr auto kNodePlaces = [] {
  std::array<std::uint16_t, 64> places{};
  for (std::size_t bit = 0; bit < 64; ++bit)
    places[bit] = static_cast<std::uint16_t>(placeOf(bit % 4, bit / 4 % 4, bit / 16));
  return places;
}();

constexpr std::uint8_t cornerPlace(std::size_t corner, std::size_t kind)
{
  const auto& step = kCornerSteps[corner];
  return static_cast<std::uint8_t>(placeOf(step[0], step[1], step[2], kind));
}

/// The places of a cell's vertices relative to the cell's: that of each edge, where it is not
/// replaced by a node.
struct EdgePlace
{
  std::uint8_t edge;
  std::array<std::uint8_t, 2> corners;
};
constexpr auto kEdgePlaces = [] {
  std::array<EdgePlace, 12> places{};
  for (std::size_t e = 0; e < 12; ++e) {
    const std::uint8_t a = kTable.edges[e].first, b = kTable.edges[e].second;
    std::size_t axis = 0;
    while (kCornerSteps[a][axis] == kCornerSteps[b][axis])
      ++axis;
    places[e] = {cornerPlace(kCornerSteps[a][axis] ? b : a, axis), {a, b}};
  }
  return places;
}();

/// Polygon after polygon, each its size and the places of its corners; zero ends the list. There is
/// room to read six places of any polygon.
using Loops = std::array<std::uint8_t, 17 + 5>;

struct CaseTable
{
  std::array<Loops, 256> loops{};
  std::array<std::uint32_t, 256> sums{};  ///< polygons, + 65536 * what they need of the index list
  std::array<std::uint16_t, 256> sizes{}; ///< bit n: there is a polygon of n corners
};

constexpr CaseTable makeCaseTable(bool flip)
{
  CaseTable table;
  for (std::size_t c = 0; c < 256; ++c) {
    const std::uint8_t* from = kTable.cases[c].data();
    std::uint8_t* to = table.loops[c].data();
    while (const std::size_t size = *from++) {
      *to++ = static_cast<std::uint8_t>(size);
      for (std::size_t n = 0; n < size; ++n)
        to[flip ? size - 1 - n : n] = kEdgePlaces[from[n]].edge;
      from += size;
      to += size;
      table.sums[c] += 1 + static_cast<std::uint32_t>((size + 1) << 16);
      table.sizes[c] = static_cast<std::uint16_t>(table.sizes[c] | 1u << size);
    }
  }
  return table;
}
constexpr CaseTable kCases[2] = {makeCaseTable(false), makeCaseTable(true)};

/// The polygons of a cell that has nodes on the level: these stand for the edges that end there.
class LoopResolver
{
public:
  const Loops& resolve(std::uint8_t below, std::uint8_t on, bool flip)
  {
    const std::uint8_t* from = kTable.cases[below].data();
    std::size_t at = 0;
    while (const std::size_t size = *from++) {
      m_keys.clear();
      for (std::size_t n = 0; n < size; ++n) {
        const EdgePlace& edge = kEdgePlaces[from[n]];
        std::uint32_t place = edge.edge;
        for (const std::uint8_t corner : edge.corners)
          if (on >> corner & 1) place = cornerPlace(corner, kNodeKind);
        m_keys.push_back({place, place});
      }
      from += size;
      forEachSimplePolygon(m_keys, [&](std::span<const MxCutKey> polygon) {
        const std::size_t count = polygon.size();
        m_loops[at++] = static_cast<std::uint8_t>(count);
        for (std::size_t n = 0; n < count; ++n)
          m_loops[at++] = static_cast<std::uint8_t>(polygon[flip ? count - 1 - n : n].first);
      });
    }
    m_loops[at] = 0;
    return m_loops;
  }

private:
  std::vector<MxCutKey> m_keys;
  Loops m_loops{};
};

/// The bits of eight words, eight cells at a time, as a byte a cell; those of the cells in `wanted`
/// at least.
void transpose(const std::array<std::uint64_t, 8>& words, std::uint64_t wanted,
               std::array<std::uint8_t, 64>& bytes)
{
  for (std::size_t part = 0; part < 8; ++part) {
    if (!(wanted >> 8 * part & 0xff)) continue;
    std::uint64_t x = 0;
    for (std::size_t c = 0; c < 8; ++c)
      x |= (words[c] >> 8 * part & 0xff) << 8 * c;
    // Eight by eight bits, mirrored at the diagonal by halves, quarters and single bits.
    std::uint64_t t = (x ^ x >> 7) & 0x00aa00aa00aa00aau;
    x ^= t ^ t << 7;
    t = (x ^ x >> 14) & 0x0000cccc0000ccccu;
    x ^= t ^ t << 14;
    t = (x ^ x >> 28) & 0x00000000f0f0f0f0u;
    x ^= t ^ t << 28;
    for (std::size_t n = 0; n < 8; ++n)
      bytes[8 * part + n] = static_cast<std::uint8_t>(x >> 8 * n);
  }
}

/// Five bits, for the cells from the one before `i` on, of a row of the choice.
unsigned cellBits(const MxIjkChoice& choice, std::size_t i, std::size_t j, std::size_t k)
{
  if (choice.accepted.empty()) {
    // Cells after the last one are none.
    const std::size_t count = choice.numbering.counts.x;
    const std::size_t inside = count + 1 - std::min(count + 1, i);
    return ((1u << std::min<std::size_t>(inside, 5)) - 1) & (i == 0 ? 30u : 31u);
  }
  const std::uint64_t* row =
      choice.accepted.data() + choice.wordsPerRow * (j + choice.numbering.counts.y * k);
  if (i == 0) return static_cast<unsigned>(row[0] << 1 & 30);
  const std::size_t word = (i - 1) / 64, shift = (i - 1) % 64;
  std::uint64_t bits = row[word] >> shift;
  if (shift > 59 && word + 1 < choice.wordsPerRow) bits |= row[word + 1] << (64 - shift);
  return static_cast<unsigned>(bits & 31);
}

/// What all passes know.
struct Pass
{
  const MxGridLevel& level;
  const MxIjkChoice& choice;
  bool flip;
  MxGridBricks lattice;
  MxCutGridMemory& memory;

  const MbIndex3& cells() const { return choice.numbering.counts; }
  std::size_t taskCount() const { return lattice.groups.counts.y * lattice.groups.counts.z; }
  std::size_t taskOf(const MbIndex3& brick) const
  {
    return brick.y / 4 + lattice.groups.counts.y * (brick.z / 4);
  }
};

void listVertices(const MxCutBrick& brick, const MbIndex3& origin, MxBrickVertices& list)
{
  list.origin = origin;
  std::size_t count = 0;
  for (std::size_t kind = 0; kind < 4; ++kind) {
    list.begins[kind] = static_cast<std::uint16_t>(count);
    forEachBit(brick.vertices[kind], 0,
               [&](std::size_t bit) { list.bits[count++] = static_cast<std::uint8_t>(bit); });
  }
  list.begins[4] = static_cast<std::uint16_t>(count);
}

// --- Finding what is cut -------------------------------------------------------------------------

/// Looks at the bricks of one task.
class BrickFinder
{
public:
  BrickFinder(const Pass& pass, MxCutGridMemory::Task& task) : m_pass(pass), m_task(task)
  {
    task.bricks.clear();
    task.cases.clear();
    task.nodesOn.clear();
    task.weights.clear();
    task.vertexCount = task.polygonCount = task.indexCount = 0;
    task.sizes = 0;
  }

  /// @return the bricks of a group that are cut
  std::uint64_t find(const MbIndex3& group)
  {
    const std::uint64_t candidates =
        m_pass.level.findBricks(group) & m_pass.lattice.bricksOf(group);
    std::uint64_t found = 0;
    forEachBit(candidates, 0, [&](std::size_t place) {
      // The next one's levels are on their way while this one is looked at.
      const std::uint64_t rest = candidates & ~((std::uint64_t{2} << place) - 1);
      if (rest) m_pass.level.announce(originOf(group, std::countr_zero(rest)));
      if (findBrick(MxGridBricks::brickAt(group, place))) found |= std::uint64_t{1} << place;
    });
    return found;
  }

private:
  static MbIndex3 originOf(const MbIndex3& group, int place)
  {
    const MbIndex3 at = MxGridBricks::brickAt(group, static_cast<std::size_t>(place));
    return {4 * at.x, 4 * at.y, 4 * at.z};
  }

  bool findBrick(const MbIndex3& at)
  {
    m_origin = {4 * at.x, 4 * at.y, 4 * at.z};
    m_insideNodes = MxGridBricks::firstOf(m_pass.lattice.nodes.counts, m_origin);
    m_insideCells = MxGridBricks::firstOf(m_pass.cells(), m_origin);
    MxBrickBits below;
    const bool allCellsTaken = areAllCellsTaken();
    MxCutBrick brick;
    brick.isPlain = true;
    // The nodes of a plain brick belong to a cell of its own each, whose polygons use all vertices.
    if (allCellsTaken && m_insideCells == m_insideNodes && m_pass.level.classify(m_origin, below))
      findPlain(below.corners(), brick);
    else
      findExactly(allCellsTaken, brick);
    const auto& v = brick.vertices;
    if (!(brick.cells | v[0] | v[1] | v[2] | v[3])) return false;

    brick.brick = static_cast<std::uint32_t>(m_pass.lattice.brick(at));
    brick.firstVertex = static_cast<std::uint32_t>(m_task.vertexCount);
    listVertices(brick, m_origin, m_vertices);
    for (std::size_t kind = 0; kind < 4; ++kind)
      brick.counts[kind] = static_cast<std::uint8_t>(m_vertices.begins[kind]);
    m_task.vertexCount += m_vertices.count();
    if (m_task.vertexCount > 0xffffffffu)
      throw std::length_error("The extracted mesh needs more than 4294967295 nodes.");
    // The levels are in the cache now.
    m_task.weights.resize(m_task.vertexCount);
    double* weights = m_task.weights.data() + brick.firstVertex;
    m_pass.level.weigh(m_vertices, weights);
    std::fill(weights + m_vertices.begins[kNodeKind], weights + m_vertices.count(), 0.0);
    m_pass.memory.slots[brick.brick] = static_cast<std::uint32_t>(m_task.bricks.size());
    brick.firstCase = static_cast<std::uint32_t>(m_task.cases.size());
    m_task.cases.resize(brick.firstCase + countBits(brick.cells));
    std::uint8_t* cases = m_task.cases.data() + brick.firstCase;
    if (brick.isPlain)
      countPlain(brick, cases);
    else
      countExactly(brick, cases);
    m_task.bricks.push_back(brick);
    return true;
  }

  /// Every cell is cut that touches the brick's nodes.
  bool areAllCellsTaken() const
  {
    const MxIjkChoice& choice = m_pass.choice;
    if (choice.accepted.empty()) return true;
    const MbIndex3& cells = m_pass.cells();
    const MbIndex3& o = m_origin;
    const unsigned wanted =
        ((1u << std::min<std::size_t>(cells.x + 1 - o.x, 5)) - 1) & (o.x == 0 ? 30u : 31u);
    for (std::size_t k = o.z - (o.z > 0); k < std::min(o.z + 4, cells.z); ++k)
      for (std::size_t j = o.y - (o.y > 0); j < std::min(o.y + 4, cells.y); ++j)
        if (cellBits(choice, o.x, j, k) != wanted) return false;
    return true;
  }

  /// All nodes have a level other than zero.
  void findPlain(const std::array<std::uint64_t, 8>& below, MxCutBrick& brick)
  {
    brick.vertices = {(below[0] ^ below[1]) & m_insideNodes, (below[0] ^ below[3]) & m_insideNodes,
                      (below[0] ^ below[4]) & m_insideNodes, 0};
    std::uint64_t any = 0, all = ~std::uint64_t{0};
    for (const std::uint64_t word : below) {
      any |= word;
      all &= word;
    }
    brick.cells = any & ~all & m_insideCells;
    if (brick.cells) transpose(below, brick.cells, m_cases);
  }

  /// Looks at each node's level, from the nodes before the brick's on, and at each cell that has a
  /// node of the brick: vertices are those that a polygon uses.
  void findExactly(bool allCellsTaken, MxCutBrick& brick)
  {
    readLevels();
    const auto anyOf = [](const auto& rows) {
      return std::any_of(rows.begin(), rows.end(), [](std::uint8_t row) { return row != 0; });
    };
    if (allCellsTaken && !anyOf(m_on) && !anyOf(m_undefined)) {
      MxBrickBits below;
      for (std::size_t k = 0; k < 5; ++k)
        for (std::size_t j = 0; j < 5; ++j)
          below.setRow(j, k, m_below[j + 1 + 6 * (k + 1)] >> 1);
      findPlain(below.corners(), brick);
      return;
    }
    brick.vertices = {};
    brick.cells = 0;
    brick.isPlain = false;
    for (std::size_t k = 0; k < 5; ++k)
      for (std::size_t j = 0; j < 5; ++j)
        forEachBit(takenRow(j, k), 0, [&](std::size_t i) { addCell(i, j, k, brick); });
  }

  /// The corners of the cell with the lower corner (i, j, k) of six rows of six bits each.
  static std::uint8_t cornersOf(const std::array<std::uint8_t, 36>& rows, std::size_t i,
                                std::size_t j, std::size_t k)
  {
    const std::uint8_t* row = rows.data() + j + 6 * k;
    // The corners on a row of higher J are counted back.
    constexpr std::uint8_t kSwapped[4] = {0, 2, 1, 3};
    return static_cast<std::uint8_t>((row[0] >> i & 3) | kSwapped[row[1] >> i & 3] << 2 |
                                     (row[6] >> i & 3) << 4 | kSwapped[row[7] >> i & 3] << 6);
  }

  /// A cell that is to be cut, (1, 1, 1) being the brick's first: marks the brick's vertices that
  /// its polygons use.
  void addCell(std::size_t i, std::size_t j, std::size_t k, MxCutBrick& brick)
  {
    const std::uint8_t below = cornersOf(m_below, i, j, k), on = cornersOf(m_on, i, j, k);
    if (below == 0 || below == 255) return;
    if (i > 0 && j > 0 && k > 0) {
      const std::size_t cell = (i - 1) + 4 * (j - 1) + 16 * (k - 1);
      brick.cells |= std::uint64_t{1} << cell;
      m_cases[cell] = below;
      m_casesOn[cell] = on;
    }
    const Loops& loops = on == 0 ? kCases[0].loops[below] : m_resolver.resolve(below, on, false);
    for (std::size_t at = 0; const std::size_t size = loops[at]; at += size + 1)
      for (std::size_t n = 1; n <= size; ++n) {
        const std::size_t place = loops[at + n], node = place / 4;
        const std::size_t x = i + node % 5 - 1, y = j + node / 5 % 5 - 1, z = k + node / 25 - 1;
        if (x < 4 && y < 4 && z < 4)
          brick.vertices[place % 4] |= std::uint64_t{1} << (x + 4 * y + 16 * z);
      }
  }

  /// The sides of the nodes from (-1, -1, -1) to (4, 4, 4), a row of six bits each; out of the grid
  /// they are as the nodes next to them in it.
  void readLevels()
  {
    const MbIndex3& counts = m_pass.lattice.nodes.counts;
    const auto clamped = [](std::size_t origin, std::size_t step, std::size_t count) {
      return std::min(origin + step - (origin + step > 0), count - 1);
    };
    for (std::size_t k = 0; k < 6; ++k)
      for (std::size_t j = 0; j < 6; ++j) {
        const std::size_t first = clamped(m_origin.x, 0, counts.x);
        const std::size_t last = clamped(m_origin.x, 5, counts.x);
        double levels[6];
        m_pass.level.read(first, clamped(m_origin.y, j, counts.y), clamped(m_origin.z, k, counts.z),
                          last - first + 1, levels);
        unsigned below = 0, on = 0, undefined = 0;
        for (std::size_t n = 0; n < 6; ++n) {
          const double level = levels[clamped(m_origin.x, n, counts.x) - first];
          below |= static_cast<unsigned>(level < 0) << n;
          on |= static_cast<unsigned>(level == 0) << n;
          undefined |= static_cast<unsigned>(!(level - level == 0)) << n;
        }
        m_below[j + 6 * k] = static_cast<std::uint8_t>(below);
        m_on[j + 6 * k] = static_cast<std::uint8_t>(on);
        m_undefined[j + 6 * k] = static_cast<std::uint8_t>(undefined);
      }
  }

  /// Which cells of row (j - 1, k - 1) from the brick's, from the one before the brick's on, are
  /// chosen and have a level at each node.
  unsigned takenRow(std::size_t j, std::size_t k) const
  {
    const std::size_t cellJ = m_origin.y + j, cellK = m_origin.z + k;
    if (cellJ == 0 || cellK == 0 || cellJ > m_pass.cells().y || cellK > m_pass.cells().z) return 0;
    unsigned undefined = 0;
    for (const std::size_t row : {j + 6 * k, j + 1 + 6 * k, j + 6 * (k + 1), j + 1 + 6 * (k + 1)})
      undefined |= m_undefined[row];
    return cellBits(m_pass.choice, m_origin.x, cellJ - 1, cellK - 1) &
           ~(undefined | undefined >> 1) & 31u;
  }

  void countPlain(const MxCutBrick& brick, std::uint8_t* cases)
  {
    std::uint32_t sum = 0, sizes = 0;
    forEachBit(brick.cells, 0, [&](std::size_t cell) {
      const std::uint8_t own = m_cases[cell];
      *cases++ = own;
      sum += kCases[0].sums[own];
      sizes |= kCases[0].sizes[own];
    });
    m_task.polygonCount += sum & 0xffff;
    m_task.indexCount += sum >> 16;
    m_task.sizes |= sizes;
  }

  void countExactly(MxCutBrick& brick, std::uint8_t* cases)
  {
    brick.nodesOn = static_cast<std::uint32_t>(m_task.nodesOn.size());
    forEachBit(brick.cells, 0, [&](std::size_t cell) {
      *cases++ = m_cases[cell];
      m_task.nodesOn.push_back(m_casesOn[cell]);
      const Loops& loops = m_resolver.resolve(m_cases[cell], m_casesOn[cell], false);
      for (std::size_t at = 0; loops[at]; at += loops[at] + 1u) {
        ++m_task.polygonCount;
        m_task.indexCount += loops[at] + 1u;
        m_task.sizes |= 1u << loops[at];
      }
    });
  }

  const Pass& m_pass;
  MxCutGridMemory::Task& m_task;
  MbIndex3 m_origin;
  std::uint64_t m_insideNodes = 0, m_insideCells = 0;
  std::array<std::uint8_t, 36> m_below, m_on, m_undefined;
  std::array<std::uint8_t, 64> m_cases, m_casesOn;
  MxBrickVertices m_vertices;
  LoopResolver m_resolver;
};

// --- Writing it ----------------------------------------------------------------------------------

/// Where the tasks write.
struct Output
{
  std::vector<std::size_t> vertexBegins, polygonBegins, indexBegins; ///< by task
  int* indices;
  std::uint32_t* starts; ///< null for polygons of one size
  std::uint32_t* cells;
  std::uint32_t* nodes;
  double* weights;
  MbVec3f* points;
};

class BrickWriter
{
public:
  BrickWriter(const Pass& pass, const MxGridPlaces& places, const Output& output)
      : m_pass(pass), m_places(places), m_output(output)
  {
    const MxIjkNumbering& nodes = pass.lattice.nodes;
    const MxIjkNumbering& cells = pass.choice.numbering;
    m_steps = {1, static_cast<std::uint32_t>(nodes.counts.x),
               static_cast<std::uint32_t>(nodes.counts.x * nodes.counts.y), 0};
    for (std::size_t bit = 0; bit < 64; ++bit) {
      m_nodeOffsets[bit] = static_cast<std::uint32_t>(nodes.flat(bit % 4, bit / 4 % 4, bit / 16));
      m_cellOffsets[bit] = static_cast<std::uint32_t>(cells.flat(bit % 4, bit / 4 % 4, bit / 16));
    }
  }

  void write(std::size_t task)
  {
    MxCutGridMemory::Task& own = m_pass.memory.tasks[task];
    m_task = &own;
    m_polygon = m_output.polygonBegins[task];
    m_index = m_output.indexBegins[task];
    m_indexEnd = m_index + m_task->indexCount;
    const MxArray<MxCutBrick>& bricks = m_task->bricks;
    m_next = &m_vertices[0];
    prepare(bricks[0]);
    for (std::size_t b = 0; b < bricks.size(); ++b) {
      // The next one's nodes are on their way while this one is written.
      m_own = std::exchange(m_next, &m_vertices[(b + 1) % 2]);
      if (b + 1 < bricks.size()) prepare(bricks[b + 1]);
      writeVertices(bricks[b], m_output.vertexBegins[task] + bricks[b].firstVertex);
      if (!bricks[b].cells) continue;
      findNeighbours(bricks[b]);
      if (m_output.starts)
        writeCells<true>(bricks[b]);
      else
        writeCells<false>(bricks[b]);
    }
    own.low = m_low;
    own.high = m_high;
  }

private:
  void prepare(const MxCutBrick& brick)
  {
    const MbIndex3 group = m_pass.lattice.groups.split(brick.brick / 64);
    const MbIndex3 at = MxGridBricks::brickAt(group, brick.brick % 64);
    listVertices(brick, {4 * at.x, 4 * at.y, 4 * at.z}, *m_next);
    m_places.announce(*m_next);
  }

  void writeVertices(const MxCutBrick& brick, std::size_t first)
  {
    const MxBrickVertices& own = *m_own;
    const auto firstNode = static_cast<std::uint32_t>(
        m_pass.lattice.nodes.flat(own.origin.x, own.origin.y, own.origin.z));
    std::uint32_t* nodes = m_output.nodes + 2 * first;
    for (std::size_t kind = 0; kind < 4; ++kind)
      for (std::size_t n = own.begins[kind]; n < own.begins[kind + 1]; ++n) {
        const std::size_t bit = own.bits[n];
        m_numbers[kNodePlaces[bit] + kind] = static_cast<int>(first + n);
        nodes[2 * n] = firstNode + m_nodeOffsets[bit];
        nodes[2 * n + 1] = nodes[2 * n] + m_steps[kind];
      }
    const double* weights = m_task->weights.data() + brick.firstVertex;
    std::copy_n(weights, own.count(), m_output.weights + first);
    MbVec3f* points = m_output.points + first;
    m_places.place(own, weights, points);
    for (std::size_t n = 0; n < own.count(); ++n) {
      const MbVec3f& p = points[n];
      m_low = {std::min(m_low.x, p.x), std::min(m_low.y, p.y), std::min(m_low.z, p.z)};
      m_high = {std::max(m_high.x, p.x), std::max(m_high.y, p.y), std::max(m_high.z, p.z)};
    }
  }

  /// The numbers of vertices that the brick's cells have and its neighbours own.
  void findNeighbours(const MxCutBrick& brick)
  {
    const MbIndex3 at{m_own->origin.x / 4, m_own->origin.y / 4, m_own->origin.z / 4};
    const MbIndex3& bricks = m_pass.lattice.bricks.counts;
    for (std::size_t side = 1; side < 8; ++side) {
      const MbIndex3 other{at.x + (side & 1), at.y + (side >> 1 & 1), at.z + (side >> 2)};
      if (other.x == bricks.x || other.y == bricks.y || other.z == bricks.z) continue;
      const std::size_t number = m_pass.lattice.brick(other);
      const MxCutGridMemory& memory = m_pass.memory;
      if (!(memory.present[number / 64] >> number % 64 & 1)) continue;
      const std::size_t task = m_pass.taskOf(other);
      const MxCutBrick& neighbour = memory.tasks[task].bricks[memory.slots[number]];
      const std::size_t first = m_output.vertexBegins[task] + neighbour.firstVertex;
      // Its nodes that are next to the brick.
      const std::uint64_t shared = (side & 1 ? 0x1111111111111111u : ~std::uint64_t{0}) &
                                   (side & 2 ? 0x000f000f000f000fu : ~std::uint64_t{0}) &
                                   (side & 4 ? 0xffffu : ~std::uint64_t{0});
      const std::size_t place = placeOf(4 * (side & 1), 4 * (side >> 1 & 1), 4 * (side >> 2));
      for (std::size_t kind = 0; kind < 4; ++kind) {
        // No cell has the edges that lead away from it.
        if (kind == kNodeKind ? brick.isPlain : side >> kind & 1) continue;
        const std::uint64_t word = neighbour.vertices[kind];
        forEachBit(word & shared, 0, [&](std::size_t bit) {
          const std::uint64_t before = word & ((std::uint64_t{1} << bit) - 1);
          m_numbers[place + kNodePlaces[bit] + kind] =
              static_cast<int>(first + neighbour.counts[kind] + countBits(before));
        });
      }
    }
  }

  template <bool Mixed>
  void writeCells(const MxCutBrick& brick)
  {
    const MbIndex3& origin = m_own->origin;
    const auto firstCell =
        static_cast<std::uint32_t>(m_pass.choice.numbering.flat(origin.x, origin.y, origin.z));
    const CaseTable& table = kCases[m_pass.flip ? 1 : 0];
    const std::uint8_t* cases = m_task->cases.data() + brick.firstCase;
    const std::uint8_t* nodesOn = m_task->nodesOn.data() + (brick.isPlain ? 0 : brick.nodesOn);
    std::size_t polygon = m_polygon;
    int* index = m_output.indices + m_index;
    // Up to here a few indices too many may be written, to be replaced by those that follow: copies
    // of one length need no branch that is hard to foretell.
    constexpr std::size_t kMost = 6;
    const int* const roomy = m_output.indices + m_indexEnd - std::min(m_indexEnd, kMost + 1);
    forEachBit(brick.cells, 0, [&](std::size_t cell) {
      const std::uint8_t* loop = brick.isPlain
                                     ? table.loops[*cases++].data()
                                     : m_resolver.resolve(*cases++, *nodesOn++, m_pass.flip).data();
      const int* numbers = m_numbers.data() + kNodePlaces[cell];
      while (const std::size_t size = *loop++) {
        if constexpr (Mixed)
          m_output.starts[polygon] = static_cast<std::uint32_t>(index - m_output.indices);
        m_output.cells[polygon++] = firstCell + m_cellOffsets[cell];
        if (size <= kMost && index < roomy)
          for (std::size_t n = 0; n < kMost; ++n)
            index[n] = numbers[loop[n]];
        else
          for (std::size_t n = 0; n < size; ++n)
            index[n] = numbers[loop[n]];
        index[size] = -1;
        index += size + 1;
        loop += size;
      }
    });
    m_polygon = polygon;
    m_index = static_cast<std::size_t>(index - m_output.indices);
  }

  const Pass& m_pass;
  const MxGridPlaces& m_places;
  const Output& m_output;
  const MxCutGridMemory::Task* m_task = nullptr;
  std::size_t m_polygon = 0, m_index = 0, m_indexEnd = 0;
  std::array<std::uint32_t, 4> m_steps;
  std::array<std::uint32_t, 64> m_nodeOffsets, m_cellOffsets;
  std::array<MxBrickVertices, 2> m_vertices;
  MxBrickVertices *m_own = nullptr, *m_next = nullptr;
  std::array<int, kPlaces> m_numbers{};
  static constexpr float kHuge = std::numeric_limits<float>::infinity();
  MbVec3f m_low{kHuge, kHuge, kHuge}, m_high{-kHuge, -kHuge, -kHuge};
  LoopResolver m_resolver;
};

/// Gives the surface room for what was found, and tells the tasks where to write.
Output makeOutput(const MxCutGridMemory& memory, std::size_t taskCount,
                  MeXSurfaceMeshUnstructured& surface)
{
  Output output;
  std::size_t vertexCount = 0, polygonCount = 0, indexCount = 0;
  std::uint32_t sizes = 0;
  for (std::size_t t = 0; t < taskCount; ++t) {
    const MxCutGridMemory::Task& task = memory.tasks[t];
    output.vertexBegins.push_back(vertexCount);
    output.polygonBegins.push_back(polygonCount);
    output.indexBegins.push_back(indexCount);
    vertexCount += task.vertexCount;
    polygonCount += task.polygonCount;
    indexCount += task.indexCount;
    sizes |= task.sizes;
  }
  if (sizes == 0 || std::has_single_bit(sizes)) {
    const int size = sizes == 0 ? 3 : std::countr_zero(sizes);
    output.indices =
        surface.topology.setUniform(polygonCount, static_cast<std::size_t>(size)).data();
    output.starts = nullptr;
  } else {
    output.indices = surface.topology.setMixed(polygonCount, indexCount).data();
    output.starts = surface.topology.begins().data();
    output.starts[polygonCount] = static_cast<std::uint32_t>(indexCount);
  }
  MeXProvenance& provenance = surface.provenance;
  provenance.cells.resizeUninitialized(polygonCount);
  provenance.nodes.resizeUninitialized(2 * vertexCount);
  provenance.weights.resizeUninitialized(vertexCount);
  surface.geometry.points().resizeUninitialized(vertexCount);
  output.cells = provenance.cells.data();
  output.nodes = provenance.nodes.data();
  output.weights = provenance.weights.data();
  output.points = surface.geometry.points().data();
  return output;
}

/// Whether single precision may not do without an origin.
bool mayBeFar(const MeXGeometryI& geometry)
{
  if (!geometry.hasExtent()) return false;
  double size = 0, distance = 0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const double low = geometry.getMin()[axis], high = geometry.getMax()[axis];
    size = std::max(size, high - low);
    distance = std::max({distance, std::abs(low), std::abs(high)});
  }
  return distance > 0.9 * kFarOriginRatio * size;
}

} // namespace

std::size_t MxCutGridMemory::getByteCount() const
{
  std::size_t sum = present.capacity() * 8 + slots.capacity() * 4 + choice.accepted.capacity() * 8;
  if (fieldRanges) sum += fieldRanges->byteCount();
  if (pointRanges) sum += pointRanges->byteCount();
  for (const Task& task : tasks)
    sum += task.bricks.capacity() * sizeof(MxCutBrick) + task.nodesOn.capacity() +
           task.cases.capacity() + task.weights.capacity() * sizeof(double);
  return sum;
}

void cutGrid(const MxGridLevel& level, const MxGridPlaces& places, const MxIjkChoice& choice,
             bool flip, bool parallel, MxExtractionMonitor& monitor, MxCutGridMemory& memory,
             MeXSurfaceMeshUnstructured& surface)
{
  const MxGridBricks lattice(nodeCountsOf(choice.numbering.counts));
  const Pass pass{level, choice, flip, lattice, memory};
  const std::size_t taskCount = pass.taskCount();
  parallel = parallel && lattice.nodes.total() >= kParallelThreshold;
  if (memory.tasks.size() < taskCount) memory.tasks.resize(taskCount);
  memory.present.resizeUninitialized(lattice.groups.total());
  memory.slots.resizeUninitialized(lattice.room());

  monitor.beginPhase("Finding cut cells", taskCount);
  forEachTask(parallel, taskCount, [&](std::size_t task) {
    monitor.step();
    const MxIjkNumbering& groups = lattice.groups;
    const std::size_t j = task % groups.counts.y, k = task / groups.counts.y;
    BrickFinder finder(pass, memory.tasks[task]);
    for (std::size_t i = 0; i < groups.counts.x; ++i) {
      MxPoll::ask();
      memory.present[groups.flat(i, j, k)] = finder.find({i, j, k});
    }
  });

  const Output output = makeOutput(memory, taskCount, surface);
  monitor.beginPhase("Writing polygons", taskCount);
  forEachTask(parallel, taskCount, [&](std::size_t task) {
    monitor.step();
    if (memory.tasks[task].bricks.empty()) return;
    BrickWriter writer(pass, places, output);
    writer.write(task);
  });

  surface.geometry.origin = {};
  constexpr float kHuge = std::numeric_limits<float>::infinity();
  MbVec3f low{kHuge, kHuge, kHuge}, high{-kHuge, -kHuge, -kHuge};
  for (std::size_t t = 0; t < taskCount; ++t) {
    const MxCutGridMemory::Task& task = memory.tasks[t];
    for (std::size_t axis = 0; axis < 3 && !task.bricks.empty(); ++axis) {
      low[axis] = std::min(low[axis], task.low[axis]);
      high[axis] = std::max(high[axis], task.high[axis]);
    }
  }
  surface.geometry.touch(low, high);
  if (!mayBeFar(surface.geometry)) return;
  placePoints(
      surface.provenance.weights.size(),
      [&](std::size_t n) {
        const double weight = output.weights[n];
        const MbVec3d first = places.node(lattice.nodes.split(output.nodes[2 * n]));
        if (weight == 0) return first;
        const MbVec3d second = places.node(lattice.nodes.split(output.nodes[2 * n + 1]));
        return first * (1 - weight) + second * weight;
      },
      parallel, surface.geometry);
}
