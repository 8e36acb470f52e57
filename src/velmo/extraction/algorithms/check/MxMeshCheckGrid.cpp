#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/access/MxVolumeCells.h>
#include <velmo/extraction/algorithms/check/MxMeshCheckTools.h>

#include <algorithm>

using namespace velmo_check;

namespace {

constexpr std::size_t kRowBlock = 64;
constexpr std::size_t kRowsAhead = 8;

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

/// Some of the cells numbered (i, j, k), or their nodes: not empty, within the counts.
struct IndexBox
{
  MxIjkNumbering numbering;
  MbIndex3 lower, upper; ///< half-open

  bool isWhole() const { return lower == MbIndex3{} && upper == numbering.counts; }
  IndexBox ofNodes() const
  {
    return {{nodeCountsOf(numbering.counts)}, lower, nodeCountsOf(upper)};
  }
};

/// Calls body(block, first, last) for the flat numbers of the rows along I, some rows a block.
template <class Body>
void forEachRow(const IndexBox& box, bool parallel, const Body& body)
{
  const std::size_t width = box.upper.x - box.lower.x, height = box.upper.y - box.lower.y;
  const std::size_t rows = height * (box.upper.z - box.lower.z);
  constexpr std::size_t kLongRow = 1024;
  const bool worthwhile = rows * width >= kParallelThreshold;
  forEachTask(parallel && worthwhile, blockCount(rows, kRowBlock), [&](std::size_t block) {
    for (std::size_t row = block * kRowBlock; row < std::min(rows, (block + 1) * kRowBlock); ++row)
    {
      if (width >= kLongRow) MxPoll::ask();
      const std::size_t first =
          box.numbering.flat(box.lower.x, box.lower.y + row % height, box.lower.z + row / height);
      body(block, first, first + width);
    }
  });
}
std::size_t rowBlockCount(const IndexBox& box)
{
  return blockCount((box.upper.y - box.lower.y) * (box.upper.z - box.lower.z), kRowBlock);
}

/// As inspectCells, for the cells of a box.
template <class Inspect>
std::shared_ptr<MxMeshCheck> inspectBoxCells(const IndexBox& box, bool parallel,
                                             MxExtractionMonitor& monitor, const Inspect& inspect)
{
  if (box.isWhole())
    return velmo_check::inspectCells(box.numbering.total(), parallel, monitor, inspect);
  std::vector<Findings> blocks(rowBlockCount(box));
  forEachRow(box, parallel, [&](std::size_t block, std::size_t first, std::size_t last) {
    inspect(blocks[block], first, last);
  });
  monitor.step();
  return joinFindings(blocks, box.numbering.total());
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

// --- Meshes numbered by I, J and K -------------------------------------------------------------

template <class Mesh>
MbIndex3 cellCountsOf(const Mesh& mesh)
{
  return mesh.getTopology().getCellCounts();
}

/// @return the key of a mesh with cells
template <class Mesh>
MxMeshKey gridKeyOf(const Mesh& mesh)
{
  const MbIndex3 cells = cellCountsOf(mesh);
  const std::size_t count = countOrRefuse(cells, "cells");
  const std::size_t nodeCount = countOrRefuse(nodeCountsOf(cells), "nodes");
  const void* data = nullptr;
  if constexpr (std::is_same_v<Mesh, MiVolumeMeshCurvilinear>)
    data = mesh.getGeometry().getView().data;
  return keyOf(mesh, count, nodeCount, data);
}
MxMeshKey gridKeyOf(const MiVolumeMeshHexahedronIjk& mesh)
{
  const std::size_t count = countOrRefuse(cellCountsOf(mesh), "cells");
  const std::size_t nodeCount = mesh.getGeometry().getNodeCount();
  refuseAbove32Bits(nodeCount, "nodes");
  return keyOf(mesh, count, nodeCount, mesh.getTopology().getConnectivityView().data);
}
MxMeshKey gridKeyOf(const MiVolumeMeshVertexHexahedronIjk& mesh)
{
  const MbIndex3 cells = cellCountsOf(mesh);
  const std::size_t count = countOrRefuse(cells, "cells");
  countOrRefuse(nodeCountsOf(cells), "nodes");
  const MiVertexIjkView view = mesh.getGeometry().getView();
  return keyOf(mesh, count, 8 * count, view.corners.data ? view.corners.data : view.depths.data);
}

/// Nodes without a finite place, found when they are asked for.
template <class Points>
struct LostPoints
{
  const Points& points;
  bool empty() const { return false; }
  bool test(std::size_t node) const { return !isFinite(points[node]); }
};

/// @param lost  empty() promises that no node is
template <class Lost>
std::shared_ptr<MxMeshCheck> inspectHexahedra(const MiVolumeMeshHexahedronIjk& mesh,
                                              const IndexBox& box, const Lost& lost, bool parallel,
                                              MxExtractionMonitor& monitor)
{
  const MiTopologyHexahedronIjk& topology = mesh.getTopology();
  const std::size_t nodeCount = mesh.getGeometry().getNodeCount();
  const auto test = [&](Findings& found, std::size_t cell, const auto& nodes) {
    bool fits = true;
    for (int n = 0; n < 8; ++n)
      fits = fits && nodes[n] < nodeCount && (lost.empty() || !lost.test(nodes[n]));
    if (!fits) found.broken.push_back(static_cast<std::uint32_t>(cell));
  };
  const auto inspect = [&](const auto& connectivity) {
    return inspectBoxCells(
        box, parallel, monitor, [&](Findings& found, std::size_t first, std::size_t last) {
          using Ids = std::decay_t<decltype(connectivity)>;
          if constexpr (std::is_pointer_v<Ids>)
            if (lost.empty() &&
                velmo_detail::allBelow(connectivity + 8 * first, 8 * (last - first), nodeCount))
              return;
          for (std::size_t cell = first; cell < last; ++cell)
            test(found, cell, connectivity + 8 * cell);
        });
  };
  const MiArrayView view = topology.getConnectivityView();
  const MxIndexArray any(view);
  if (!any || any.size() < 8 * box.numbering.total())
    return inspectBoxCells(box, parallel, monitor,
                           [&](Findings& found, std::size_t first, std::size_t last) {
                             std::size_t nodes[8];
                             for (std::size_t cell = first; cell < last; ++cell) {
                               const MbIndex3 at = box.numbering.split(cell);
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

std::shared_ptr<MxMeshCheck> inspectBox(const MiVolumeMeshHexahedronIjk& mesh, const IndexBox& box,
                                        bool parallel, MxExtractionMonitor& monitor)
{
  const MiGeometryI& geometry = mesh.getGeometry();
  if (box.isWhole())
    return inspectHexahedra(mesh, box, findLostNodes(geometry, parallel, monitor), parallel,
                            monitor);
  // A few cells: their nodes are looked at one by one.
  std::shared_ptr<MxMeshCheck> check;
  visitPoints(geometry.getView(), geometry.getNodeCount(), VirtualNodes{&geometry},
              [&]<class Points>(const Points& points) {
                check = inspectHexahedra(mesh, box, LostPoints<Points>{points}, parallel, monitor);
              });
  return check;
}

std::shared_ptr<MxMeshCheck> inspectBox(const MiVolumeMeshVertexHexahedronIjk& mesh,
                                        const IndexBox& box, bool parallel,
                                        MxExtractionMonitor& monitor)
{
  const MxVertexCorners corners(mesh);
  return inspectBoxCells(box, parallel, monitor,
                         [&](Findings& found, std::size_t first, std::size_t last) {
                           for (std::size_t cell = first; cell < last; ++cell) {
                             const MbIndex3 at = box.numbering.split(cell);
                             bool finite = true;
                             for (int c = 0; c < 8; ++c)
                               finite = finite && isFinite(corners.corner(at.x, at.y, at.z, c));
                             if (!finite) found.broken.push_back(static_cast<std::uint32_t>(cell));
                           }
                         });
}

/// Grids whose node (i, j, k) has a finite place exactly when x[i], y[j] and z[k] have.
template <class Mesh>
std::shared_ptr<MxMeshCheck> inspectBox(const Mesh& mesh, const IndexBox& box, bool parallel,
                                        MxExtractionMonitor& monitor)
{
  const MxIjkNumbering& cells = box.numbering;
  if (mesh.getGeometry().getNodeCounts() != nodeCountsOf(cells.counts))
    return allBroken(cells.total());
  const MxAxes axes = makeAxes(mesh);
  bool clean = true;
  for (const auto& axis : axes.values)
    clean = clean && allFinite(axis.data(), axis.size());
  if (clean) return std::make_shared<MxMeshCheck>();
  return inspectBoxCells(box, parallel, monitor,
                         [&](Findings& found, std::size_t first, std::size_t last) {
                           for (std::size_t cell = first; cell < last; ++cell) {
                             const MbIndex3 at = cells.split(cell);
                             if (!isFinite(axes.node(at.x, at.y, at.z)) ||
                                 !isFinite(axes.node(at.x + 1, at.y + 1, at.z + 1)))
                               found.broken.push_back(static_cast<std::uint32_t>(cell));
                           }
                         });
}

/// Whether all nodes of a box of nodes have a finite place.
template <class Points>
bool boxIsFinite(const Points& points, const IndexBox& nodes, bool parallel,
                 MxExtractionMonitor& monitor)
{
  if (nodes.isWhole())
    return findLostNodes(points, nodes.numbering.total(), parallel, monitor).empty();
  std::vector<std::uint8_t> lost(rowBlockCount(nodes), 0);
  forEachRow(nodes, parallel, [&](std::size_t block, std::size_t first, std::size_t last) {
    // Rows are too far apart for the hardware to see where the next one is.
    prefetchPoint(points, first + kRowsAhead * nodes.numbering.counts.x);
    if (!blockIsFinite(points, first, last)) lost[block] = 1;
  });
  return std::find(lost.begin(), lost.end(), 1) == lost.end();
}

std::shared_ptr<MxMeshCheck> inspectBox(const MiVolumeMeshCurvilinear& mesh, const IndexBox& box,
                                        bool parallel, MxExtractionMonitor& monitor)
{
  const MxIjkNumbering& cells = box.numbering;
  const IndexBox nodes = box.ofNodes();
  const MiGeometryIjk& geometry = mesh.getGeometry();
  if (geometry.getNodeCounts() != nodes.numbering.counts) return allBroken(cells.total());
  auto check = std::make_shared<MxMeshCheck>();
  const VirtualIjkNodes virtualNodes{&geometry, nodes.numbering};
  visitPoints(geometry.getView(), nodes.numbering.total(), virtualNodes, [&](const auto& points) {
    if (boxIsFinite(points, nodes, parallel, monitor)) return;
    check = inspectBoxCells(
        box, parallel, monitor, [&](Findings& found, std::size_t first, std::size_t last) {
          for (std::size_t cell = first; cell < last; ++cell) {
            const MbIndex3 at = cells.split(cell);
            bool broken = false;
            for (const auto& step : kCornerSteps)
              broken |= !isFinite(
                  points[nodes.numbering.flat(at.x + step[0], at.y + step[1], at.z + step[2])]);
            if (broken) found.broken.push_back(static_cast<std::uint32_t>(cell));
          }
        });
  });
  return check;
}

template <class Mesh>
std::shared_ptr<const MxMeshCheck> checkGrid(const Mesh& mesh, bool parallel,
                                             MxExtractionMonitor& monitor)
{
  const MbIndex3 counts = cellCountsOf(mesh);
  if (countOrRefuse(counts, "cells") == 0) return std::make_shared<MxMeshCheck>();
  return remember(gridKeyOf(mesh), [&] {
    return inspectBox(mesh, IndexBox{{counts}, {}, counts}, parallel, monitor);
  });
}

} // namespace

MX_CHECK_KIND(MiVolumeMeshHexahedronIjk, checkGrid)
MX_CHECK_KIND(MiVolumeMeshVertexHexahedronIjk, checkGrid)
MX_CHECK_KIND(MiVolumeMeshRegular, checkGrid)
MX_CHECK_KIND(MiVolumeMeshRectilinear, checkGrid)
MX_CHECK_KIND(MiVolumeMeshCurvilinear, checkGrid)

std::shared_ptr<const MxMeshCheck> recallCheck(const MiVolumeMeshHexahedronIjk& mesh)
{
  return recall(gridKeyOf(mesh));
}

std::shared_ptr<const MxMeshCheck> checkNodes(const MiVolumeMeshHexahedronIjk& mesh, bool parallel,
                                              MxExtractionMonitor& monitor)
{
  const MxMeshKey key = gridKeyOf(mesh);
  if (auto known = recall(key)) return known;
  const MxBits lost = findLostNodes(mesh.getGeometry(), parallel, monitor);
  if (lost.empty()) return nullptr;
  const MbIndex3 counts = cellCountsOf(mesh);
  return remember(key, [&] {
    return inspectHexahedra(mesh, IndexBox{{counts}, {}, counts}, lost, parallel, monitor);
  });
}

std::shared_ptr<const MxMeshCheck> rememberClean(const MiVolumeMeshHexahedronIjk& mesh)
{
  return remember(gridKeyOf(mesh), [] { return std::make_shared<MxMeshCheck>(); });
}

std::shared_ptr<const MxMeshCheck> rememberClean(const MiVolumeMeshCurvilinear& mesh)
{
  return remember(gridKeyOf(mesh), [] { return std::make_shared<MxMeshCheck>(); });
}

template <class Mesh>
std::shared_ptr<const MxMeshCheck> checkBox(const Mesh& mesh, const MbIndex3& lower,
                                            const MbIndex3& upper, bool parallel,
                                            MxExtractionMonitor& monitor)
{
  IndexBox box{{cellCountsOf(mesh)}, lower, upper};
  if (countOrRefuse(box.numbering.counts, "cells") == 0) return std::make_shared<MxMeshCheck>();
  for (std::size_t axis = 0; axis < 3; ++axis) {
    box.upper[axis] = std::min(upper[axis], box.numbering.counts[axis]);
    if (lower[axis] >= box.upper[axis]) return std::make_shared<MxMeshCheck>();
  }
  if (box.isWhole()) return checkMesh(mesh, parallel, monitor);
  // What is broken elsewhere is not this box's affair.
  if (auto known = recall(gridKeyOf(mesh)); known && known->isClean()) return known;
  return inspectBox(mesh, box, parallel, monitor);
}

template std::shared_ptr<const MxMeshCheck> checkBox(const MiVolumeMeshHexahedronIjk&,
                                                     const MbIndex3&, const MbIndex3&, bool,
                                                     MxExtractionMonitor&);
template std::shared_ptr<const MxMeshCheck> checkBox(const MiVolumeMeshVertexHexahedronIjk&,
                                                     const MbIndex3&, const MbIndex3&, bool,
                                                     MxExtractionMonitor&);
template std::shared_ptr<const MxMeshCheck> checkBox(const MiVolumeMeshRegular&, const MbIndex3&,
                                                     const MbIndex3&, bool, MxExtractionMonitor&);
template std::shared_ptr<const MxMeshCheck> checkBox(const MiVolumeMeshRectilinear&,
                                                     const MbIndex3&, const MbIndex3&, bool,
                                                     MxExtractionMonitor&);
template std::shared_ptr<const MxMeshCheck> checkBox(const MiVolumeMeshCurvilinear&,
                                                     const MbIndex3&, const MbIndex3&, bool,
                                                     MxExtractionMonitor&);
