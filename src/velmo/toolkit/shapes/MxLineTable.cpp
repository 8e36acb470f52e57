#include <velmo/toolkit/shapes/MxIndexList.h>
#include <velmo/toolkit/shapes/MxLineTable.h>

#include <vector>

void MxLineTable::build(std::span<const std::int32_t> indices, std::size_t vertexCount)
{
  m_indices = indices.data();
  mxCellBegins(indices, m_first);
  const std::size_t lines = lineCount();
  m_size.resizeUninitialized(lines);
  m_segmentFirst.resizeUninitialized(lines + 1);
  m_segmentFirst[lines] = 0;
  std::vector<char> bends(blockCount(lines, kBlock));
  forEachBlock(true, lines, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
    for (std::size_t l = first; l < last; ++l) {
      const std::size_t count = m_first[l + 1] - m_first[l] - 1;
      const auto* vertices = m_indices + m_first[l];
      const bool known = std::all_of(vertices, vertices + count, [&](std::int32_t v) {
        return static_cast<std::size_t>(v) < vertexCount;
      });
      m_size[l] = known ? static_cast<std::uint32_t>(count) : 0;
      m_segmentFirst[l] = m_size[l] > 1 ? m_size[l] - 1 : 0;
      if (m_size[l] > 2) bends[block] = 1;
    }
  });
  exclusivePrefixSum(m_segmentFirst.span());
  m_hasBends = std::find(bends.begin(), bends.end(), 1) != bends.end();
}
