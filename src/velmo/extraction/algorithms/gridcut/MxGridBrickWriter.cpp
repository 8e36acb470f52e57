#include <velmo/extraction/algorithms/gridcut/MxGridCases.h>
#include <velmo/extraction/algorithms/gridcut/MxGridPass.h>

namespace {

using namespace velmo_grid_cut;

class BrickWriter
{
public:
  BrickWriter(const MxGridPass& pass, const MxGridPlaces& places, const MxGridOutput& output)
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
    MxCutGridMemory::Task& own = m_pass.task(task);
    m_task = &own;
    m_polygon = m_output.polygonBegins[task];
    m_index = m_output.indexBegins[task];
    m_indexEnd = m_index + m_task->indexCount;
    const MxArray<MxCutBrick>& bricks = m_task->bricks;
    prepare(bricks[0], m_prepared[0]);
    for (std::size_t b = 0; b < bricks.size(); ++b) {
      // What the next one needs is on its way while this one is written.
      m_own = &m_prepared[b % 2];
      if (b + 1 < bricks.size()) prepare(bricks[b + 1], m_prepared[(b + 1) % 2]);
      writeVertices(bricks[b], m_output.vertexBegins[task] + bricks[b].firstVertex);
      if (!bricks[b].cells) continue;
      readNeighbours(bricks[b]);
      writeCells(bricks[b]);
    }
    own.low = m_low;
    own.high = m_high;
  }

private:
  /// What is found ahead for a brick.
  struct Prepared
  {
    MxBrickVertices vertices;
    /// The cut bricks after it, bits 0 to 2 of their place being the steps along I, J and K, and
    /// the first vertex of each one's task. Null where there is none.
    std::array<const MxCutBrick*, 8> neighbours;
    std::array<std::size_t, 8> taskVertices;
  };

  void prepare(const MxCutBrick& brick, Prepared& prepared) const
  {
    const MbIndex3 group = m_pass.lattice.groups.split(brick.brick / 64);
    const MbIndex3 at = MxGridBricks::brickAt(group, brick.brick % 64);
    listVertices(brick, {4 * at.x, 4 * at.y, 4 * at.z}, prepared.vertices);
    m_places.announce(prepared.vertices);
    if (brick.cells) findNeighbours(at, prepared);
  }

  void findNeighbours(const MbIndex3& at, Prepared& prepared) const
  {
    const MxCutGridMemory& memory = m_pass.memory;
    const MbIndex3& bricks = m_pass.lattice.bricks.counts;
    for (std::size_t side = 1; side < 8; ++side) {
      prepared.neighbours[side] = nullptr;
      const MbIndex3 other{at.x + (side & 1), at.y + (side >> 1 & 1), at.z + (side >> 2)};
      if (other.x == bricks.x || other.y == bricks.y || other.z == bricks.z) continue;
      const std::size_t number = m_pass.lattice.brick(other);
      if (!(memory.present[number / 64] >> number % 64 & 1)) continue;
      const std::size_t task = m_pass.taskOf(other);
      const MxCutBrick* neighbour = m_pass.task(task).bricks.data() + memory.slots[number];
      __builtin_prefetch(neighbour);
      prepared.neighbours[side] = neighbour;
      prepared.taskVertices[side] = m_output.vertexBegins[task];
    }
  }

  void writeVertices(const MxCutBrick& brick, std::size_t first)
  {
    const MxBrickVertices& own = m_own->vertices;
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
  void readNeighbours(const MxCutBrick& brick)
  {
    for (std::size_t side = 1; side < 8; ++side) {
      if (!m_own->neighbours[side]) continue;
      const MxCutBrick& neighbour = *m_own->neighbours[side];
      const std::size_t first = m_own->taskVertices[side] + neighbour.firstVertex;
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

  void writeCells(const MxCutBrick& brick)
  {
    const MbIndex3& origin = m_own->vertices.origin;
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

  const MxGridPass& m_pass;
  const MxGridPlaces& m_places;
  const MxGridOutput& m_output;
  const MxCutGridMemory::Task* m_task = nullptr;
  std::size_t m_polygon = 0, m_index = 0, m_indexEnd = 0;
  std::array<std::uint32_t, 4> m_steps;
  std::array<std::uint32_t, 64> m_nodeOffsets, m_cellOffsets;
  std::array<Prepared, 2> m_prepared;
  const Prepared* m_own = nullptr;
  std::array<int, kPlaces> m_numbers{};
  static constexpr float kHuge = std::numeric_limits<float>::infinity();
  MbVec3f m_low{kHuge, kHuge, kHuge}, m_high{-kHuge, -kHuge, -kHuge};
  LoopResolver m_resolver;
};

} // namespace

void writeCutBricks(const MxGridPass& pass, const MxGridPlaces& places, const MxGridOutput& output,
                    std::size_t task)
{
  if (pass.task(task).bricks.empty()) return;
  BrickWriter writer(pass, places, output);
  writer.write(task);
}
