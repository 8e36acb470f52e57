#include <velmo/base/MxPoll.h>
#include <velmo/extraction/algorithms/gridcut/MxBrickSides.h>
#include <velmo/extraction/algorithms/gridcut/MxGridCases.h>
#include <velmo/extraction/algorithms/gridcut/MxGridPass.h>

#include <bit>

namespace {

using namespace velmo_grid_cut;

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

/// Looks at the bricks of one task.
class BrickFinder
{
public:
  BrickFinder(const MxGridPass& pass, MxCutGridMemory::Task& task) : m_pass(pass), m_task(task)
  {
    task.bricks.clear();
    task.cases.clear();
    task.nodesOn.clear();
    task.weights.clear();
    task.vertexCount = task.polygonCount = task.indexCount = 0;
    task.sizes = 0;
  }

  /// Finds those that are cut of the bricks of the groups (0, j, k), (1, j, k), ...
  void findRow(std::size_t j, std::size_t k)
  {
    const MxIjkNumbering& groups = m_pass.lattice.groups;
    for (std::size_t first = 0; first < groups.counts.x; first += MxBrickSides::kGroups)
      findGroups({first, j, k}, std::min(MxBrickSides::kGroups, groups.counts.x - first));
  }

private:
  void findGroups(const MbIndex3& first, std::size_t count)
  {
    MxPoll::ask();
    std::array<std::uint64_t, MxBrickSides::kGroups> candidates;
    for (std::size_t n = 0; n < count; ++n) {
      const MbIndex3 group{first.x + n, first.y, first.z};
      candidates[n] = m_pass.level.findBricks(group) & m_pass.lattice.bricksOf(group);
    }
    m_sides.read(m_pass.level, m_pass.lattice.nodes, first, {candidates.data(), count});
    for (std::size_t n = 0; n < count; ++n) {
      const MbIndex3 group{first.x + n, first.y, first.z};
      std::uint64_t found = 0;
      forEachBit(candidates[n], 0, [&](std::size_t place) {
        MxBrickBits below;
        const bool isClear = m_sides.get(n, place, below);
        if (findBrick(MxGridBricks::brickAt(group, place), isClear ? &below : nullptr))
          found |= std::uint64_t{1} << place;
      });
      m_pass.memory.present[m_pass.lattice.groups.flat(group.x, group.y, group.z)] = found;
    }
  }

  /// @param below  the sides of its nodes, null when only a closer look can tell
  bool findBrick(const MbIndex3& at, const MxBrickBits* below)
  {
    m_origin = {4 * at.x, 4 * at.y, 4 * at.z};
    m_insideNodes = MxGridBricks::firstOf(m_pass.lattice.nodes.counts, m_origin);
    m_insideCells = MxGridBricks::firstOf(m_pass.cells(), m_origin);
    const std::size_t number = m_pass.lattice.brick(at);
    const bool allCellsTaken = areAllCellsTaken();
    MxCutBrick brick;
    brick.isPlain = true;
    // The nodes of a plain brick belong to a cell of its own each, whose polygons use all vertices.
    if (below && allCellsTaken && m_insideCells == m_insideNodes &&
        !m_pass.level.mayBeUndefined(number))
      findPlain(below->corners(), brick);
    else
      findExactly(allCellsTaken, brick);
    const auto& v = brick.vertices;
    if (!(brick.cells | v[0] | v[1] | v[2] | v[3])) return false;

    brick.brick = static_cast<std::uint32_t>(number);
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

  const MxGridPass& m_pass;
  MxCutGridMemory::Task& m_task;
  MbIndex3 m_origin;
  std::uint64_t m_insideNodes = 0, m_insideCells = 0;
  std::array<std::uint8_t, 36> m_below, m_on, m_undefined;
  std::array<std::uint8_t, 64> m_cases, m_casesOn;
  MxBrickVertices m_vertices;
  LoopResolver m_resolver;
  MxBrickSides m_sides;
};

} // namespace

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

void findCutBricks(const MxGridPass& pass, std::size_t task)
{
  const std::size_t countJ = pass.lattice.groups.counts.y;
  BrickFinder(pass, pass.task(task)).findRow(task % countJ, task / countJ);
}
