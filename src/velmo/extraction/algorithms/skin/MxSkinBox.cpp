#include <velmo/extraction/algorithms/skin/MxSkinBox.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

namespace {

constexpr std::size_t kRowBlock = 64;
constexpr const MxShapeFaces& kFaces = kLinearFaces<MiCellShape::Hexahedron>;

/// A box of cells; all indices are relative to it.
class Box
{
public:
  explicit Box(const MbIndex3& cells)
      : m_cells(cells), m_layer((cells.x + 1) * (cells.y + 1)),
        m_ring(2 * (cells.x + 1) + 2 * (cells.y - 1))
  {}

  const MbIndex3& cells() const { return m_cells; }
  std::size_t rowCount() const { return m_cells.y * m_cells.z; }
  std::size_t surfaceNodeCount() const { return 2 * m_layer + (m_cells.z - 1) * m_ring; }

  /// The place of a node of the surface among them all: the lower K layer, a ring for each K
  /// between, the upper layer.
  std::size_t place(std::size_t i, std::size_t j, std::size_t k) const
  {
    const std::size_t width = m_cells.x + 1;
    if (k == 0) return i + width * j;
    const std::size_t ring = m_layer + (k - 1) * m_ring;
    if (k == m_cells.z) return ring + i + width * j;
    if (j == 0) return ring + i;
    if (j == m_cells.y) return ring + width + i;
    return ring + 2 * width + 2 * (j - 1) + (i == 0 ? 0 : 1);
  }

  /// Whether cells between the ends of row (j, k) have open faces.
  bool isOuterRow(std::size_t j, std::size_t k) const
  {
    return j == 0 || j + 1 == m_cells.y || k == 0 || k + 1 == m_cells.z;
  }
  std::size_t faceCount(std::size_t j, std::size_t k) const
  {
    return 2 + m_cells.x *
                   (std::size_t{j == 0} + (j + 1 == m_cells.y) + (k == 0) + (k + 1 == m_cells.z));
  }
  /// The nodes that row (j, k) is the first to use: a node goes to the lowest row that it touches.
  std::size_t newNodeCount(std::size_t j, std::size_t k) const
  {
    std::size_t count = 0;
    for (std::size_t nodeK = k == 0 ? 0 : k + 1; nodeK <= k + 1; ++nodeK)
      for (std::size_t nodeJ = j == 0 ? 0 : j + 1; nodeJ <= j + 1; ++nodeJ) {
        const bool outer = nodeJ == 0 || nodeJ == m_cells.y || nodeK == 0 || nodeK == m_cells.z;
        count += outer ? m_cells.x + 1 : 2;
      }
    return count;
  }

  /// Calls body(i, side) for the open faces of row (j, k), in cell order.
  template <class Body>
  void forEachFace(std::size_t j, std::size_t k, const Body& body) const
  {
    const auto visit = [&](std::size_t i) {
      const bool open[6] = {i == 0, i + 1 == m_cells.x, j == 0, j + 1 == m_cells.y,
                            k == 0, k + 1 == m_cells.z};
      for (std::size_t side = 0; side < 6; ++side)
        if (open[side]) body(i, side);
    };
    if (isOuterRow(j, k)) {
      for (std::size_t i = 0; i < m_cells.x; ++i)
        visit(i);
      return;
    }
    visit(0);
    if (m_cells.x > 1) visit(m_cells.x - 1);
  }

private:
  MbIndex3 m_cells;
  std::size_t m_layer, m_ring;
};

} // namespace

void writeBoxSkin(const MxIjkChoice& choice, bool parallel, MxExtractionMonitor& monitor,
                  MeXTopologyExplicitI& result, MxArray<std::uint32_t>& cells,
                  MxArray<std::uint32_t>& sources)
{
  constexpr std::uint32_t kUnnumbered = 0xffffffffu;
  const Box box({choice.upper.x - choice.lower.x, choice.upper.y - choice.lower.y,
                 choice.upper.z - choice.lower.z});
  const std::size_t rows = box.rowCount();
  const auto forEachRow = [&](const auto& body) {
    const bool worthwhile = box.surfaceNodeCount() >= kParallelThreshold;
    forEachTask(parallel && worthwhile, blockCount(rows, kRowBlock), [&](std::size_t block) {
      monitor.step();
      for (std::size_t row = block * kRowBlock; row < std::min(rows, (block + 1) * kRowBlock);
           ++row)
        body(row, row % box.cells().y, row / box.cells().y);
    });
  };

  // Both are few, and a running sum over the rows is quickly made.
  MxArray<std::size_t> faceBegins(rows), nodeBegins(rows);
  std::size_t faceCount = 0, nodeCount = 0;
  for (std::size_t k = 0, row = 0; k < box.cells().z; ++k)
    for (std::size_t j = 0; j < box.cells().y; ++j, ++row) {
      faceBegins[row] = faceCount;
      nodeBegins[row] = nodeCount;
      faceCount += box.faceCount(j, k);
      nodeCount += box.newNodeCount(j, k);
    }
  MxArray<int>& indices = result.setUniform(faceCount, 4);
  cells.resizeUninitialized(faceCount);
  sources.resizeUninitialized(nodeCount);

  monitor.beginPhase("Numbering nodes", blockCount(rows, kRowBlock));
  const MxIjkNumbering nodes{nodeCountsOf(choice.numbering.counts)};
  const MbIndex3& lower = choice.lower;
  MxArray<std::uint32_t> numbers(box.surfaceNodeCount(), kUnnumbered);
  forEachRow([&](std::size_t row, std::size_t j, std::size_t k) {
    auto next = static_cast<std::uint32_t>(nodeBegins[row]);
    box.forEachFace(j, k, [&](std::size_t i, std::size_t side) {
      for (std::size_t n = 0; n < 4; ++n) {
        const auto& step = kCornerSteps[kFaces[side].nodes[n]];
        // The others belong to rows before this one.
        if ((step[1] == 0 && j > 0) || (step[2] == 0 && k > 0)) continue;
        std::uint32_t& number = numbers[box.place(i + step[0], j + step[1], k + step[2])];
        if (number != kUnnumbered) continue;
        number = next++;
        sources[number] = static_cast<std::uint32_t>(
            nodes.flat(lower.x + i + step[0], lower.y + j + step[1], lower.z + k + step[2]));
      }
    });
  });

  monitor.beginPhase("Writing faces", blockCount(rows, kRowBlock));
  forEachRow([&](std::size_t row, std::size_t j, std::size_t k) {
    std::size_t at = faceBegins[row];
    const std::size_t firstCell = choice.numbering.flat(lower.x, lower.y + j, lower.z + k);
    box.forEachFace(j, k, [&](std::size_t i, std::size_t side) {
      cells[at] = static_cast<std::uint32_t>(firstCell + i);
      int* face = indices.data() + 5 * at++;
      for (std::size_t n = 0; n < 4; ++n) {
        const auto& step = kCornerSteps[kFaces[side].nodes[n]];
        face[n] = static_cast<int>(numbers[box.place(i + step[0], j + step[1], k + step[2])]);
      }
      face[4] = -1;
    });
  });
}
