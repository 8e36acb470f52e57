#include <velmo/toolkit/MxFaceTable.h>
#include <velmo/toolkit/MxIndexList.h>

#include <algorithm>
#include <vector>

void MxFaceTable::clear()
{
  m_indices = nullptr;
  m_first.release();
  m_triangleFirst.release();
  m_largest = 0;
}

void MxFaceTable::build(std::span<const std::int32_t> indices, std::size_t vertexCount)
{
  m_indices = indices.data();
  m_largest = 0;
  mxCellBegins(indices, m_first);
  const std::size_t faces = faceCount();

  m_triangleFirst.resizeUninitialized(faces + 1);
  m_triangleFirst[faces] = 0;
  std::vector<std::size_t> largest(blockCount(faces, kBlock));
  forEachBlock(true, faces, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
    for (std::size_t f = first; f < last; ++f) {
      const std::size_t count = m_first[f + 1] - m_first[f] - 1;
      const auto* vertices = m_indices + m_first[f];
      const bool known = std::all_of(vertices, vertices + count, [&](std::int32_t v) {
        return static_cast<std::size_t>(v) < vertexCount;
      });
      m_triangleFirst[f] = count >= 3 && known ? static_cast<std::uint32_t>(count - 2) : 0;
      largest[block] = std::max(largest[block], m_triangleFirst[f] ? count : 0);
    }
  });
  exclusivePrefixSum(m_triangleFirst.span());
  for (const std::size_t count : largest)
    m_largest = std::max(m_largest, count);
}
