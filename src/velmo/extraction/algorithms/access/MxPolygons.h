#pragma once

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/interfaces/MxExtractionMonitor.h>
#include <velmo/mesh/MeXTopology.h>

#include <cstdint>
#include <vector>

inline constexpr std::size_t kFaceBlock = 4096;

/// Removes nodes that are named twice in a row, around the end too where the list is a polygon.
inline void removeRepeats(std::vector<std::uint32_t>& nodes, bool isPolygon = true)
{
  std::size_t kept = 0;
  for (const std::uint32_t node : nodes)
    if (kept == 0 || nodes[kept - 1] != node) nodes[kept++] = node;
  while (isPolygon && kept > 1 && nodes[kept - 1] == nodes[0])
    --kept;
  nodes.resize(kept);
}

/// Polygons or polylines that one block of an algorithm has written, each ended by -1.
struct MxPolygonBlock
{
  std::vector<int> indices;
  std::vector<std::uint32_t> cells; ///< the source cell of each, where the algorithm tells
  std::size_t count = 0;
  std::size_t smallest = static_cast<std::size_t>(-1), largest = 0;

  void add(std::span<const std::uint32_t> nodes)
  {
    indices.insert(indices.end(), nodes.begin(), nodes.end());
    indices.push_back(-1);
    ++count;
    smallest = std::min(smallest, nodes.size());
    largest = std::max(largest, nodes.size());
  }
};

/// Writes the polygons of all blocks one after the other, and the source cells where the blocks
/// have them.
inline void joinPolygons(const std::vector<MxPolygonBlock>& blocks, bool parallel,
                         MeXTopologyExplicitI& result, MxArray<std::uint32_t>* cells = nullptr)
{
  std::size_t count = 0, indexCount = 0, smallest = static_cast<std::size_t>(-1), largest = 0;
  std::vector<std::size_t> begins, firsts;
  for (const MxPolygonBlock& block : blocks) {
    begins.push_back(indexCount);
    firsts.push_back(count);
    indexCount += block.indices.size();
    count += block.count;
    smallest = std::min(smallest, block.smallest);
    largest = std::max(largest, block.largest);
  }
  const bool uniform = count > 0 && smallest == largest;
  MxArray<int>& indices =
      uniform ? result.setUniform(count, smallest) : result.setMixed(count, indexCount);
  MxArray<std::uint32_t>& starts = result.begins();
  if (!uniform) starts[count] = static_cast<std::uint32_t>(indexCount);
  if (cells) cells->resizeUninitialized(count);
  forEachTask(parallel && indexCount >= kParallelThreshold, blocks.size(), [&](std::size_t block) {
    const MxPolygonBlock& own = blocks[block];
    std::copy(own.indices.begin(), own.indices.end(), indices.data() + begins[block]);
    if (cells) std::copy(own.cells.begin(), own.cells.end(), cells->data() + firsts[block]);
    if (uniform) return;
    // A polygon starts after the end of the one before.
    std::size_t face = firsts[block];
    bool starting = true;
    for (std::size_t at = 0; at < own.indices.size(); ++at) {
      if (starting) starts[face++] = static_cast<std::uint32_t>(begins[block] + at);
      starting = own.indices[at] == -1;
    }
  });
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
  std::vector<MxPolygonBlock> blocks(blockCount(count, kFaceBlock));
  forEachBlock(parallel, count, kFaceBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 monitor.step();
                 auto reader = makeReader();
                 std::vector<std::uint32_t> polygon;
                 MxPolygonBlock own;
                 own.indices.reserve(5 * (last - first));
                 for (std::size_t face = first; face < last; ++face) {
                   reader(face, polygon);
                   own.add(polygon);
                 }
                 blocks[block] = std::move(own);
               });
  joinPolygons(blocks, parallel, result);
}
