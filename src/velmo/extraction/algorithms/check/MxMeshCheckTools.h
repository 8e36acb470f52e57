#pragma once

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/algorithms/access/MxShared.h>
#include <velmo/extraction/algorithms/check/MxMeshCheck.h>

#include <stdexcept>

/// What the checks of all kinds of meshes are made of.
namespace velmo_check {

constexpr std::size_t kNodeBlock = 32768;
constexpr std::size_t kCellBlock = 16384; // whole words of MxBits
constexpr std::size_t kLargestCount = 0xffffffffu;

// --- Coordinates that are not finite ---------------------------------------------------------

/// A finite number times zero is zero, anything else is not a number: sums without a branch.
template <class T>
bool allFinite(const T* values, std::size_t count)
{
  constexpr std::size_t kLanes = 2 * kCacheLine / sizeof(T);
  T sums[kLanes] = {};
  std::size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    readAhead(values + i);
    readAhead(values + i + kLanes / 2);
    for (std::size_t lane = 0; lane < kLanes; ++lane)
      sums[lane] += values[i + lane] * T{0};
  }
  for (; i < count; ++i)
    sums[0] += values[i] * T{0};
  T sum = 0;
  for (const T lane : sums)
    sum += lane;
  return sum == T{0};
}

template <class T>
bool blockIsFinite(const MxPointArray<T>& points, std::size_t first, std::size_t last)
{
  constexpr std::size_t kFew = 12; // not worth the many sums of long sweeps
  if (points.stride == 3 * sizeof(T) && last - first > kFew)
    return allFinite(reinterpret_cast<const T*>(points.data) + 3 * first, 3 * (last - first));
  for (std::size_t node = first; node < last; ++node)
    if (!isFinite(points[node])) return false;
  return true;
}

template <class Points>
bool blockIsFinite(const Points& points, std::size_t first, std::size_t last)
{
  for (std::size_t node = first; node < last; ++node)
    if (!isFinite(points[node])) return false;
  return true;
}

/// The nodes without a finite place; empty when all have one.
template <class Points>
MxBits findLostNodes(const Points& points, std::size_t nodeCount, bool parallel,
                     MxExtractionMonitor& monitor)
{
  std::vector<std::uint8_t> clean(blockCount(nodeCount, kNodeBlock));
  forEachBlock(parallel, nodeCount, kNodeBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 monitor.step();
                 clean[block] = blockIsFinite(points, first, last);
               });
  MxBits lost;
  for (std::size_t block = 0; block < clean.size(); ++block) {
    if (clean[block]) continue;
    MxPoll::ask();
    if (lost.empty()) lost = MxBits(nodeCount);
    const std::size_t last = std::min(nodeCount, (block + 1) * kNodeBlock);
    for (std::size_t node = block * kNodeBlock; node < last; ++node)
      if (!isFinite(points[node])) lost.set(node);
  }
  return lost;
}

/// Nodes asked one by one.
struct VirtualNodes
{
  const MiGeometryI* geometry;
  MbVec3d operator[](std::size_t node) const { return geometry->getNode(node); }
};
inline MxBits findLostNodes(const MiGeometryI& geometry, bool parallel,
                            MxExtractionMonitor& monitor)
{
  MxBits lost;
  const std::size_t nodeCount = geometry.getNodeCount();
  visitPoints(geometry.getView(), nodeCount, VirtualNodes{&geometry}, [&](const auto& points) {
    lost = findLostNodes(points, nodeCount, parallel, monitor);
  });
  return lost;
}

// --- Cells -----------------------------------------------------------------------------------

/// What one block of cells found; blocks are joined in their order.
struct Findings
{
  std::vector<std::uint32_t> broken;
  std::vector<std::pair<std::uint32_t, std::uint64_t>> unknown; // cell, shape number
};

inline std::shared_ptr<MxMeshCheck> joinFindings(const std::vector<Findings>& blocks,
                                                 std::size_t cellCount)
{
  auto check = std::make_shared<MxMeshCheck>();
  for (const Findings& block : blocks) {
    if (block.broken.empty() && block.unknown.empty()) continue;
    MxPoll::ask();
    if (check->unusable.empty()) check->unusable = MxBits(cellCount);
    if (check->brokenCount == 0 && !block.broken.empty()) check->firstBroken = block.broken.front();
    if (check->unknownShapes.empty() && !block.unknown.empty())
      check->firstUnknown = block.unknown.front().first;
    check->brokenCount += block.broken.size();
    for (const std::uint32_t cell : block.broken)
      check->unusable.set(cell);
    for (const auto& [cell, number] : block.unknown) {
      check->unusable.set(cell);
      ++check->unknownShapes[number];
    }
  }
  return check;
}

/// Runs inspect(findings, first, last) over blocks of cells and joins what they found.
template <class Inspect>
std::shared_ptr<MxMeshCheck> inspectCells(std::size_t cellCount, bool parallel,
                                          MxExtractionMonitor& monitor, const Inspect& inspect)
{
  std::vector<Findings> blocks(blockCount(cellCount, kCellBlock));
  forEachBlock(parallel, cellCount, kCellBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 monitor.step();
                 inspect(blocks[block], first, last);
               });
  return joinFindings(blocks, cellCount);
}

// --- Memory of checks ------------------------------------------------------------------------

inline MxShared<MxMeshKey, MxMeshCheck>& rememberedChecks()
{
  static MxShared<MxMeshKey, MxMeshCheck> checks;
  return checks;
}

inline std::shared_ptr<const MxMeshCheck> recall(const MxMeshKey& key)
{
  return rememberedChecks().find(key);
}

template <class Compute>
std::shared_ptr<const MxMeshCheck> remember(const MxMeshKey& key, const Compute& compute)
{
  return rememberedChecks().remember(key, compute);
}

template <class Mesh>
MxMeshKey keyOf(const Mesh& mesh, std::size_t cellCount, std::size_t nodeCount, const void* data)
{
  const auto& topology = mesh.getTopology();
  const auto& geometry = mesh.getGeometry();
  return {
      &topology, topology.getTimeStamp(), &geometry, geometry.getTimeStamp(), cellCount, nodeCount,
      data};
}

inline void refuseAbove32Bits(std::size_t count, const char* what)
{
  if (count > kLargestCount)
    throw std::length_error(std::string("The mesh has more than 4294967295 ") + what + ".");
}

} // namespace velmo_check

/// The check of a kind of meshes.
#define MX_CHECK_KIND(Mesh, function)                                                              \
  std::shared_ptr<const MxMeshCheck> checkMesh(const Mesh& mesh, bool parallel,                    \
                                               MxExtractionMonitor& monitor)                       \
  {                                                                                                \
    return function(mesh, parallel, monitor);                                                      \
  }
