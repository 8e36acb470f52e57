#include <velmo/toolkit/MxFaceTable.h>

#include <algorithm>
#include <vector>

namespace {

constexpr std::size_t kIndexBlock = 65536;

} // namespace

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
  std::vector<std::size_t> ends(blockCount(indices.size(), kIndexBlock));
  forEachBlock(true, indices.size(), kIndexBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 ends[block] = static_cast<std::size_t>(
                     std::count_if(indices.begin() + first, indices.begin() + last,
                                   [](std::int32_t i) { return i < 0; }));
               });
  std::size_t faces = exclusivePrefixSum(std::span(ends));
  const bool open = !indices.empty() && indices.back() >= 0;
  if (open) ++faces;

  m_first.resizeUninitialized(faces + 1);
  m_first[0] = 0;
  forEachBlock(true, indices.size(), kIndexBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 std::size_t face = ends[block];
                 for (std::size_t i = first; i < last; ++i)
                   if (indices[i] < 0) m_first[++face] = static_cast<std::uint32_t>(i + 1);
               });
  if (open) m_first[faces] = static_cast<std::uint32_t>(indices.size() + 1);

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
