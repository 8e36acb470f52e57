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
///                    of polygon f and is asked in ascending order, twice
template <class MakeReader>
void writePolygons(std::size_t count, const MakeReader& makeReader, bool parallel,
                   MxExtractionMonitor& monitor, MeXTopologyExplicitI& result)
{
  struct Block
  {
    std::size_t indexCount = 0;
    std::size_t smallest = static_cast<std::size_t>(-1), largest = 0;
  };
  std::vector<Block> blocks(blockCount(count, kFaceBlock));
  forEachBlock(parallel, count, kFaceBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 monitor.step();
                 auto reader = makeReader();
                 std::vector<std::uint32_t> polygon;
                 Block own;
                 for (std::size_t face = first; face < last; ++face) {
                   reader(face, polygon);
                   own.indexCount += polygon.size() + 1;
                   own.smallest = std::min(own.smallest, polygon.size());
                   own.largest = std::max(own.largest, polygon.size());
                 }
                 blocks[block] = own;
               });
  Block all;
  std::vector<std::size_t> begins;
  for (const Block& block : blocks) {
    begins.push_back(all.indexCount);
    all.indexCount += block.indexCount;
    all.smallest = std::min(all.smallest, block.smallest);
    all.largest = std::max(all.largest, block.largest);
  }
  const bool uniform = count > 0 && all.smallest == all.largest;
  MxArray<int>& indices =
      uniform ? result.setUniform(count, all.smallest) : result.setMixed(count, all.indexCount);
  MxArray<std::uint32_t>& starts = result.begins();
  if (!uniform) starts[count] = static_cast<std::uint32_t>(all.indexCount);
  forEachBlock(parallel, count, kFaceBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 monitor.step();
                 auto reader = makeReader();
                 std::vector<std::uint32_t> polygon;
                 std::size_t at = begins[block];
                 for (std::size_t face = first; face < last; ++face) {
                   reader(face, polygon);
                   if (!uniform) starts[face] = static_cast<std::uint32_t>(at);
                   for (const std::uint32_t node : polygon)
                     indices[at++] = static_cast<int>(node);
                   indices[at++] = -1;
                 }
               });
}
