#include <velmo/toolkit/shapes/MxIndexList.h>

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <vector>

void mxCellBegins(std::span<const std::int32_t> indices, MxArray<std::uint32_t>& begins)
{
  constexpr std::size_t kIndexBlock = 65536;
  std::vector<std::size_t> ends(blockCount(indices.size(), kIndexBlock));
  forEachBlock(true, indices.size(), kIndexBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 ends[block] = static_cast<std::size_t>(
                     std::count_if(indices.begin() + first, indices.begin() + last,
                                   [](std::int32_t i) { return i < 0; }));
               });
  std::size_t cells = exclusivePrefixSum(std::span(ends));
  const bool open = !indices.empty() && indices.back() >= 0;
  if (open) ++cells;

  begins.resizeUninitialized(cells + 1);
  begins[0] = 0;
  forEachBlock(true, indices.size(), kIndexBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 std::size_t cell = ends[block];
                 for (std::size_t i = first; i < last; ++i)
                   if (indices[i] < 0) begins[++cell] = static_cast<std::uint32_t>(i + 1);
               });
  if (open) begins[cells] = static_cast<std::uint32_t>(indices.size() + 1);
}
