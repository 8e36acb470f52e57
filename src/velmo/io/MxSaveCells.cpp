#include <velmo/base/MxParallel.h>
#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxSaveCells.h>
#include <velmo/mesh/views/MxFaceStream.h>

#include <algorithm>

namespace {
/// Where a cell's nodes begin is known for the first of so many cells.
constexpr std::size_t kCellBlock = 1024;

/// The nodes around a quadratic line or face, corners and middles in turn; none for other shapes.
std::span<const std::uint8_t> outlineOf(MiCellShape shape)
{
  static constexpr std::uint8_t kLine[] = {0, 2, 1}, kTriangle[] = {0, 3, 1, 4, 2, 5},
                                kQuad[] = {0, 4, 1, 5, 2, 6, 3, 7};
  switch (shape) {
  case MiCellShape::QuadraticLine:
    return kLine;
  case MiCellShape::QuadraticTriangle:
    return kTriangle;
  case MiCellShape::QuadraticQuad:
  case MiCellShape::BiquadraticQuad:
    return kQuad;
  default:
    return {};
  }
}

} // namespace

MxCellOutput::MxCellOutput(const MiTopologyI& topology, std::size_t nodeCount, bool parallel,
                           bool asOutlines)
    : m_cells(topology, {}), m_count(m_cells.counts().x), m_nodeCount(nodeCount),
      m_asOutlines(asOutlines)
{
  const std::size_t blocks = blockCount(m_count, kCellBlock);
  m_nodeStarts.assign(blocks + 1, 0);
  m_faceStarts.assign(blocks + 1, 0);
  std::vector<std::size_t> broken(blocks, 0), dead(blocks, 0), outlined(blocks, 0);
  forEachBlock(parallel, m_count, kCellBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 Buffers buffers;
                 for (std::size_t c = first; c < last; ++c) {
                   const Cell cell = read(c, buffers);
                   m_nodeStarts[block] += cell.nodes.size();
                   m_faceStarts[block] += cell.faces.size();
                   broken[block] += cell.isBroken ? 1 : 0;
                   outlined[block] += cell.isOutlined ? 1 : 0;
                   dead[block] += m_cells.isDead(c) ? 1 : 0;
                 }
               });
  exclusivePrefixSum(std::span(m_nodeStarts));
  exclusivePrefixSum(std::span(m_faceStarts));
  m_brokenCount = exclusivePrefixSum(std::span(broken));
  m_outlinedCount = exclusivePrefixSum(std::span(outlined));
  m_hasDead = exclusivePrefixSum(std::span(dead)) > 0;
}

MxCellOutput::Cell MxCellOutput::read(std::size_t cell, Buffers& buffers) const
{
  Cell result{m_cells.shape(cell), m_cells.nodes(cell, buffers.nodes), {}};
  const MiCellShapeFacts facts = cellShapeFacts(result.shape);
  bool isWhole = facts.nodeCount == 0 || facts.nodeCount == result.nodes.size();
  for (const std::size_t node : result.nodes)
    isWhole = isWhole && node < m_nodeCount;
  if (result.shape == MiCellShape::Polyhedron) {
    result.faces = m_cells.faces(cell, buffers.faces);
    isWhole = isWhole && isFaceStream(result.faces, result.faces.size(), m_nodeCount);
  }
  if (!isWhole) return {MiCellShape::Empty, {}, {}, true};
  const auto order = m_asOutlines ? outlineOf(result.shape) : std::span<const std::uint8_t>();
  if (!order.empty()) {
    buffers.outline.clear();
    for (const std::uint8_t place : order)
      buffers.outline.push_back(result.nodes[place]);
    result.nodes = buffers.outline;
    result.isOutlined = true;
  }
  return result;
}

template <class T>
MxOutputArray MxCellOutput::listArray(const char* name, List list) const
{
  const auto fill = [this, list](std::size_t first, std::size_t last, std::byte* to) {
    const std::vector<std::size_t>& starts = startsOf(list);
    const auto block = static_cast<std::size_t>(
        std::upper_bound(starts.begin(), starts.end(), first) - starts.begin() - 1);
    auto* numbers = reinterpret_cast<T*>(to);
    Buffers buffers;
    std::size_t at = starts[block];
    for (std::size_t c = block * kCellBlock; at < last; ++c) {
      const Cell cell = read(c, buffers);
      for (const std::size_t number : listOf(cell, list)) {
        if (at >= first && at < last) numbers[at - first] = static_cast<T>(number);
        ++at;
      }
    }
  };
  return {name, kMiScalarTypeOf<T>, 1, startsOf(list).back(), fill};
}

template <class T>
MxOutputArray MxCellOutput::endArray(const char* name, List list) const
{
  const auto fill = [this, list](std::size_t first, std::size_t last, std::byte* to) {
    auto* numbers = reinterpret_cast<T*>(to);
    Buffers buffers;
    std::size_t end = startsOf(list)[first / kCellBlock];
    for (std::size_t c = first - first % kCellBlock; c < last; ++c) {
      const Cell cell = read(c, buffers);
      end += listOf(cell, list).size();
      // Of cells without faces a file says -1.
      const bool isNone = list == List::Faces && cell.faces.empty();
      if (c >= first) numbers[c - first] = isNone ? T{-1} : static_cast<T>(end);
    }
  };
  return {name, kMiScalarTypeOf<T>, 1, m_count, fill};
}

template <class T>
std::vector<MxOutputArray> MxCellOutput::arraysOf() const
{
  const auto fillShapes = [this](std::size_t first, std::size_t last, std::byte* to) {
    Buffers buffers;
    for (std::size_t c = first; c < last; ++c)
      to[c - first] = static_cast<std::byte>(read(c, buffers).shape);
  };
  std::vector<MxOutputArray> arrays{listArray<T>("connectivity", List::Nodes),
                                    endArray<T>("offsets", List::Nodes),
                                    {"types", MiScalarType::UInt8, 1, m_count, fillShapes}};
  if (m_faceStarts.back() > 0) {
    arrays.push_back(listArray<T>("faces", List::Faces));
    arrays.push_back(endArray<T>("faceoffsets", List::Faces));
  }
  return arrays;
}

std::vector<MxOutputArray> MxCellOutput::arrays() const
{
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  const bool isSmall = std::max({m_nodeCount, m_nodeStarts.back(), m_faceStarts.back()}) <= kMost;
  return isSmall ? arraysOf<std::int32_t>() : arraysOf<std::int64_t>();
}
