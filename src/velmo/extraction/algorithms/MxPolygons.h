#pragma once

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/interfaces/MxExtractionMonitor.h>
#include <velmo/mesh/MeXTopology.h>

#include <cstdint>
#include <vector>

inline constexpr std::size_t kFaceBlock = 4096;

/// Removes nodes that are named twice in a row, around the end too.
inline void removeRepeats(std::vector<std::uint32_t>& polygon)
{
  std::size_t kept = 0;
  for (const std::uint32_t node : polygon)
    if (kept == 0 || polygon[kept - 1] != node) polygon[kept++] = node;
  while (kept > 1 && polygon[kept - 1] == polygon[0])
    --kept;
  polygon.resize(kept);
}

/// Writes `count` polygons, each ended by -1: node numbers as 32-bit patterns, to be replaced by
/// those of the extracted mesh.
///
/// @param makeReader  gives each block a reader; reader(f, polygon) replaces `polygon` by the nodes
///                    of polygon f and is asked in ascending order
template <class MakeReader>
void writePolygons(std::size_t count, const MakeReader& makeReader, bool parallel,
                   MxExtractionMonitor& monitor, MeXTopologyExplicitI& result)
{
  struct Block
  {
    std::vector<int> indices;
    std::size_t smallest = static_cast<std::size_t>(-1), largest = 0;
  };
  std::vector<Block> blocks(blockCount(count, kFaceBlock));
  forEachBlock(parallel, count, kFaceBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 monitor.step();
                 auto reader = makeReader();
                 std::vector<std::uint32_t> polygon;
                 Block own;
                 own.indices.reserve(5 * (last - first));
                 for (std::size_t face = first; face < last; ++face) {
                   reader(face, polygon);
                   own.indices.insert(own.indices.end(), polygon.begin(), polygon.end());
                   own.indices.push_back(-1);
                   own.smallest = std::min(own.smallest, polygon.size());
                   own.largest = std::max(own.largest, polygon.size());
                 }
                 blocks[block] = std::move(own);
               });
  std::size_t indexCount = 0, smallest = static_cast<std::size_t>(-1), largest = 0;
  std::vector<std::size_t> begins;
  for (const Block& block : blocks) {
    begins.push_back(indexCount);
    indexCount += block.indices.size();
    smallest = std::min(smallest, block.smallest);
    largest = std::max(largest, block.largest);
  }
  const bool uniform = count > 0 && smallest == largest;
  MxArray<int>& indices =
      uniform ? result.setUniform(count, smallest) : result.setMixed(count, indexCount);
  MxArray<std::uint32_t>& starts = result.begins();
  if (!uniform) starts[count] = static_cast<std::uint32_t>(indexCount);
  forEachBlock(parallel, count, kFaceBlock, [&](std::size_t block, std::size_t first, std::size_t) {
    const std::vector<int>& own = blocks[block].indices;
    std::copy(own.begin(), own.end(), indices.data() + begins[block]);
    if (uniform) return;
    // A polygon starts after the end of the one before.
    std::size_t face = first;
    bool starting = true;
    for (std::size_t at = 0; at < own.size(); ++at) {
      if (starting) starts[face++] = static_cast<std::uint32_t>(begins[block] + at);
      starting = own[at] == -1;
    }
  });
}
