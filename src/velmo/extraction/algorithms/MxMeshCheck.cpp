#include <velmo/extraction/algorithms/MxMeshCheck.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/MxIjkGrid.h>
#include <velmo/extraction/algorithms/MxVolumeCells.h>

#include <cmath>
#include <mutex>
#include <stdexcept>

namespace {

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
  if (points.stride == 3 * sizeof(T))
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
struct VirtualIjkNodes
{
  const MiGeometryIjk* geometry;
  MxIjkNumbering numbering;
  MbVec3d operator[](std::size_t node) const
  {
    const MbIndex3 at = numbering.split(node);
    return geometry->getNode(at.x, at.y, at.z);
  }
};

MxBits findLostNodes(const MiGeometryI& geometry, bool parallel, MxExtractionMonitor& monitor)
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
  auto check = std::make_shared<MxMeshCheck>();
  for (const Findings& block : blocks) {
    if (block.broken.empty() && block.unknown.empty()) continue;
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

std::shared_ptr<MxMeshCheck> allBroken(std::size_t cellCount)
{
  auto check = std::make_shared<MxMeshCheck>();
  check->brokenCount = cellCount;
  if (cellCount == 0) return check;
  check->unusable = MxBits(cellCount);
  for (std::size_t cell = 0; cell < cellCount; ++cell)
    check->unusable.set(cell);
  return check;
}

template <class Cursor>
bool hasLostNode(const Cursor& cursor, const MxBits& lost)
{
  for (std::size_t n = 0; n < cursor.size(); ++n)
    if (lost.test(cursor.nodes()[n])) return true;
  std::size_t at = 1;
  while (at < cursor.streamSize())
    for (const std::size_t end = at + 1 + cursor.stream()[at]; ++at < end;)
      if (lost.test(cursor.stream()[at])) return true;
  return false;
}

// --- Memory of checks ------------------------------------------------------------------------

/// Identifies what was checked. Addresses and counts stand beside the stamps so that a stale stamp
/// cannot vouch for other arrays.
struct Key
{
  const void* topology;
  std::uint64_t topologyStamp;
  const void* geometry;
  std::uint64_t geometryStamp;
  std::size_t cellCount, nodeCount;
  const void* data;
  friend bool operator==(const Key&, const Key&) = default;
};

struct Remembered
{
  Key key;
  std::weak_ptr<const MxMeshCheck> check;
};

std::mutex s_mutex;
std::vector<Remembered>& rememberedChecks()
{
  static std::vector<Remembered> checks;
  return checks;
}

std::shared_ptr<const MxMeshCheck> recall(const Key& key)
{
  const std::lock_guard lock(s_mutex);
  std::erase_if(rememberedChecks(), [](const Remembered& r) { return r.check.expired(); });
  for (const Remembered& r : rememberedChecks())
    if (r.key == key)
      if (auto check = r.check.lock()) return check;
  return nullptr;
}

template <class Compute>
std::shared_ptr<const MxMeshCheck> remember(const Key& key, const Compute& compute)
{
  if (auto known = recall(key)) return known;
  std::shared_ptr<const MxMeshCheck> check = compute();
  const std::lock_guard lock(s_mutex);
  rememberedChecks().push_back({key, check});
  return check;
}

template <class Mesh>
Key keyOf(const Mesh& mesh, std::size_t cellCount, std::size_t nodeCount, const void* data)
{
  const auto& topology = mesh.getTopology();
  const auto& geometry = mesh.getGeometry();
  return {
      &topology, topology.getTimeStamp(), &geometry, geometry.getTimeStamp(), cellCount, nodeCount,
      data};
}

Key keyOf(const MiVolumeMeshCurvilinear& mesh)
{
  const MbIndex3 cells = mesh.getTopology().getCellCounts();
  return keyOf(mesh, countOrRefuse(cells, "cells"), countOrRefuse(nodeCountsOf(cells), "nodes"),
               mesh.getGeometry().getView().data);
}

void refuseAbove32Bits(std::size_t count, const char* what)
{
  if (count > kLargestCount)
    throw std::length_error(std::string("The mesh has more than 4294967295 ") + what + ".");
}

Key keyOf(const MiVolumeMeshUnstructured& mesh)
{
  const std::size_t cellCount = mesh.getTopology().getCellCount();
  const std::size_t nodeCount = mesh.getGeometry().getNodeCount();
  refuseAbove32Bits(cellCount, "cells");
  refuseAbove32Bits(nodeCount, "nodes");
  return keyOf(mesh, cellCount, nodeCount, mesh.getTopology().getView().connectivity.data);
}

std::shared_ptr<MxMeshCheck> checkCells(const MiVolumeMeshUnstructured& mesh, const MxBits& lost,
                                        bool parallel, MxExtractionMonitor& monitor)
{
  const MiTopologyI& topology = mesh.getTopology();
  const std::size_t nodeCount = mesh.getGeometry().getNodeCount();
  std::shared_ptr<MxMeshCheck> check;
  visitVolumeCells(topology, nodeCount, [&]<class Cells>(const Cells& cells) {
    check = inspectCells(topology.getCellCount(), parallel, monitor,
                         [&](Findings& found, std::size_t first, std::size_t last) {
                           if (lost.empty() && cells.isCleanBlock(first, last, nodeCount)) return;
                           typename Cells::Cursor cursor(cells);
                           for (std::size_t cell = first; cell < last; ++cell) {
                             const MxCellFault fault = cursor.probe(cell, nodeCount);
                             if (fault == MxCellFault::UnknownShape)
                               found.unknown.emplace_back(cell, cells.shapeNumber(cell));
                             else if (fault == MxCellFault::Broken ||
                                      (!lost.empty() && hasLostNode(cursor, lost)))
                               found.broken.push_back(static_cast<std::uint32_t>(cell));
                           }
                         });
  });
  return check;
}

Key keyOf(const MiVolumeMeshHexahedronIjk& mesh)
{
  const std::size_t cellCount = countOrRefuse(mesh.getTopology().getCellCounts(), "cells");
  const std::size_t nodeCount = mesh.getGeometry().getNodeCount();
  refuseAbove32Bits(nodeCount, "nodes");
  return keyOf(mesh, cellCount, nodeCount, mesh.getTopology().getConnectivityView().data);
}

std::shared_ptr<MxMeshCheck> checkCells(const MiVolumeMeshHexahedronIjk& mesh, const MxBits& lost,
                                        bool parallel, MxExtractionMonitor& monitor)
{
  const MiTopologyHexahedronIjk& topology = mesh.getTopology();
  const MxIjkNumbering cells{topology.getCellCounts()};
  const std::size_t cellCount = cells.total();
  const std::size_t nodeCount = mesh.getGeometry().getNodeCount();
  const MiArrayView view = topology.getConnectivityView();
  const auto test = [&](Findings& found, std::size_t cell, const auto& nodes) {
    bool fits = true;
    for (int n = 0; n < 8; ++n)
      fits = fits && nodes[n] < nodeCount && (lost.empty() || !lost.test(nodes[n]));
    if (!fits) found.broken.push_back(static_cast<std::uint32_t>(cell));
  };
  const auto inspect = [&](const auto& connectivity) {
    return inspectCells(
        cellCount, parallel, monitor, [&](Findings& found, std::size_t first, std::size_t last) {
          using Ids = std::decay_t<decltype(connectivity)>;
          if constexpr (std::is_pointer_v<Ids>)
            if (lost.empty() &&
                velmo_detail::allBelow(connectivity + 8 * first, 8 * (last - first), nodeCount))
              return;
          for (std::size_t cell = first; cell < last; ++cell)
            test(found, cell, connectivity + 8 * cell);
        });
  };
  const MxIndexArray any(view);
  if (!any || any.size() < 8 * cellCount)
    return inspectCells(cellCount, parallel, monitor,
                        [&](Findings& found, std::size_t first, std::size_t last) {
                          std::size_t nodes[8];
                          for (std::size_t cell = first; cell < last; ++cell) {
                            const MbIndex3 at = cells.split(cell);
                            topology.getCellNodes(at.x, at.y, at.z, nodes);
                            test(found, cell, nodes);
                          }
                        });
  if (view.isContiguous<std::int32_t>() || view.isContiguous<std::uint32_t>())
    return inspect(view.as<std::uint32_t>());
  if (view.isContiguous<std::int64_t>() || view.isContiguous<std::uint64_t>())
    return inspect(view.as<std::uint64_t>());
  return inspect(any);
}

/// Kinds with nodes of one index.
template <class Mesh>
std::shared_ptr<const MxMeshCheck> checkAll(const Mesh& mesh, bool parallel,
                                            MxExtractionMonitor& monitor)
{
  return remember(keyOf(mesh), [&] {
    return checkCells(mesh, findLostNodes(mesh.getGeometry(), parallel, monitor), parallel,
                      monitor);
  });
}

template <class Mesh>
std::shared_ptr<const MxMeshCheck> checkNodesFirst(const Mesh& mesh, bool parallel,
                                                   MxExtractionMonitor& monitor)
{
  const Key key = keyOf(mesh);
  if (auto known = recall(key)) return known;
  const MxBits lost = findLostNodes(mesh.getGeometry(), parallel, monitor);
  if (lost.empty()) return nullptr;
  return remember(key, [&] { return checkCells(mesh, lost, parallel, monitor); });
}

/// Grids whose node (i, j, k) has a finite place exactly when x[i], y[j] and z[k] have.
template <class Mesh>
std::shared_ptr<const MxMeshCheck> checkAxes(const Mesh& mesh, bool parallel,
                                             MxExtractionMonitor& monitor)
{
  const MxIjkNumbering cells{mesh.getTopology().getCellCounts()};
  const std::size_t count = countOrRefuse(cells.counts, "cells");
  if (count == 0) return std::make_shared<MxMeshCheck>();
  const std::size_t nodeCount = countOrRefuse(nodeCountsOf(cells.counts), "nodes");
  return remember(keyOf(mesh, count, nodeCount, nullptr), [&] {
    if (mesh.getGeometry().getNodeCounts() != nodeCountsOf(cells.counts)) return allBroken(count);
    const MxAxes axes = makeAxes(mesh);
    bool clean = true;
    for (const auto& axis : axes.values)
      clean = clean && allFinite(axis.data(), axis.size());
    if (clean) return std::make_shared<MxMeshCheck>();
    return inspectCells(count, parallel, monitor,
                        [&](Findings& found, std::size_t first, std::size_t last) {
                          for (std::size_t cell = first; cell < last; ++cell) {
                            const MbIndex3 at = cells.split(cell);
                            if (!isFinite(axes.node(at.x, at.y, at.z)) ||
                                !isFinite(axes.node(at.x + 1, at.y + 1, at.z + 1)))
                              found.broken.push_back(static_cast<std::uint32_t>(cell));
                          }
                        });
  });
}

std::string counted(std::size_t count)
{
  return std::to_string(count) + (count == 1 ? " cell" : " cells");
}

} // namespace

std::size_t countOrRefuse(const MbIndex3& counts, const char* what)
{
  if (counts.x == 0 || counts.y == 0 || counts.z == 0) return 0;
  // Each factor is checked before it is used, so the products cannot wrap.
  refuseAbove32Bits(counts.x, what);
  refuseAbove32Bits(counts.y, what);
  refuseAbove32Bits(counts.z, what);
  refuseAbove32Bits(counts.x * counts.y, what);
  const std::size_t product = counts.x * counts.y * counts.z;
  refuseAbove32Bits(product, what);
  return product;
}

std::vector<std::string> MxMeshCheck::describe() const
{
  std::vector<std::string> sentences;
  if (brokenCount > 0)
    sentences.push_back(counted(brokenCount) +
                        " with missing nodes, counts that do not match or coordinates that are "
                        "not finite left out, first cell " +
                        std::to_string(firstBroken) + ".");
  for (const auto& [number, count] : unknownShapes)
    sentences.push_back(counted(count) + " of unknown shape " + std::to_string(number) +
                        " left out.");
  return sentences;
}

std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshUnstructured& mesh, bool parallel,
                                             MxExtractionMonitor& monitor)
{
  return checkAll(mesh, parallel, monitor);
}

std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshHexahedronIjk& mesh, bool parallel,
                                             MxExtractionMonitor& monitor)
{
  return checkAll(mesh, parallel, monitor);
}

std::shared_ptr<const MxMeshCheck> recallCheck(const MiVolumeMeshUnstructured& mesh)
{
  return recall(keyOf(mesh));
}

std::shared_ptr<const MxMeshCheck> recallCheck(const MiVolumeMeshHexahedronIjk& mesh)
{
  return recall(keyOf(mesh));
}

std::shared_ptr<const MxMeshCheck> checkNodes(const MiVolumeMeshUnstructured& mesh, bool parallel,
                                              MxExtractionMonitor& monitor)
{
  return checkNodesFirst(mesh, parallel, monitor);
}

std::shared_ptr<const MxMeshCheck> checkNodes(const MiVolumeMeshHexahedronIjk& mesh, bool parallel,
                                              MxExtractionMonitor& monitor)
{
  return checkNodesFirst(mesh, parallel, monitor);
}

std::shared_ptr<const MxMeshCheck> rememberClean(const MiVolumeMeshUnstructured& mesh)
{
  return remember(keyOf(mesh), [] { return std::make_shared<MxMeshCheck>(); });
}

std::shared_ptr<const MxMeshCheck> rememberClean(const MiVolumeMeshHexahedronIjk& mesh)
{
  return remember(keyOf(mesh), [] { return std::make_shared<MxMeshCheck>(); });
}

std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshVertexHexahedronIjk& mesh,
                                             bool parallel, MxExtractionMonitor& monitor)
{
  const MxIjkNumbering cells{mesh.getTopology().getCellCounts()};
  const std::size_t cellCount = countOrRefuse(cells.counts, "cells");
  if (cellCount == 0) return std::make_shared<MxMeshCheck>();
  countOrRefuse(nodeCountsOf(cells.counts), "nodes");
  const MiVertexIjkView view = mesh.getGeometry().getView();
  const void* data = view.corners.data ? view.corners.data : view.depths.data;
  return remember(keyOf(mesh, cellCount, 8 * cellCount, data), [&] {
    const MxVertexCorners corners(mesh);
    return inspectCells(cellCount, parallel, monitor,
                        [&](Findings& found, std::size_t first, std::size_t last) {
                          for (std::size_t cell = first; cell < last; ++cell) {
                            const MbIndex3 at = cells.split(cell);
                            bool finite = true;
                            for (int c = 0; c < 8; ++c)
                              finite = finite && isFinite(corners.corner(at.x, at.y, at.z, c));
                            if (!finite) found.broken.push_back(static_cast<std::uint32_t>(cell));
                          }
                        });
  });
}

std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshRegular& mesh, bool parallel,
                                             MxExtractionMonitor& monitor)
{
  return checkAxes(mesh, parallel, monitor);
}

std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshRectilinear& mesh, bool parallel,
                                             MxExtractionMonitor& monitor)
{
  return checkAxes(mesh, parallel, monitor);
}

std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshCurvilinear& mesh, bool parallel,
                                             MxExtractionMonitor& monitor)
{
  const MxIjkNumbering cells{mesh.getTopology().getCellCounts()};
  const MxIjkNumbering nodes{nodeCountsOf(cells.counts)};
  const std::size_t cellCount = cells.total();
  if (countOrRefuse(cells.counts, "cells") == 0) return std::make_shared<MxMeshCheck>();
  const std::size_t nodeCount = nodes.total();
  const MiGeometryIjk& geometry = mesh.getGeometry();
  return remember(keyOf(mesh), [&] {
    if (geometry.getNodeCounts() != nodes.counts) return allBroken(cellCount);
    MxBits lost;
    visitPoints(
        geometry.getView(), nodeCount, VirtualIjkNodes{&geometry, nodes},
        [&](const auto& points) { lost = findLostNodes(points, nodeCount, parallel, monitor); });
    if (lost.empty()) return std::make_shared<MxMeshCheck>();
    return inspectCells(
        cellCount, parallel, monitor, [&](Findings& found, std::size_t first, std::size_t last) {
          for (std::size_t cell = first; cell < last; ++cell) {
            const MbIndex3 at = cells.split(cell);
            bool broken = false;
            for (const auto& step : kCornerSteps)
              broken |= lost.test(nodes.flat(at.x + step[0], at.y + step[1], at.z + step[2]));
            if (broken) found.broken.push_back(static_cast<std::uint32_t>(cell));
          }
        });
  });
}

std::shared_ptr<const MxMeshCheck> rememberClean(const MiVolumeMeshCurvilinear& mesh)
{
  return remember(keyOf(mesh), [] { return std::make_shared<MxMeshCheck>(); });
}
