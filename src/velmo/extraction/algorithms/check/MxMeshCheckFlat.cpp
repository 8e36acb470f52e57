#include <velmo/extraction/algorithms/access/MxFlatGrid.h>
#include <velmo/extraction/algorithms/check/MxMeshCheckTools.h>

using namespace velmo_check;

namespace {

/// Surfaces numbered (i, j), and rows.
template <class Mesh>
std::shared_ptr<const MxMeshCheck> checkFlatGrid(const Mesh& mesh, bool parallel,
                                                 MxExtractionMonitor& monitor)
{
  const MxFlatGrid grid = flatGridOf(mesh.getTopology());
  const std::size_t cellCount = countOrRefuse(grid.cells.counts, "cells");
  if (cellCount == 0) return std::make_shared<MxMeshCheck>();
  const std::size_t nodeCount = countOrRefuse(grid.nodes.counts, "nodes");
  const auto& geometry = mesh.getGeometry();
  return remember(keyOf(mesh, cellCount, nodeCount, nodeData(geometry)), [&] {
    const bool hasNodes = hasNodesOf(geometry, grid);
    MxBits lost;
    if (hasNodes)
      visitFlatPoints(geometry, grid, [&]<class Points>(const Points& points) {
        if constexpr (requires { points.areFinite(); })
          if (points.areFinite()) return;
        lost = findLostNodes(points, nodeCount, parallel, monitor);
      });
    if (hasNodes && lost.empty()) return std::make_shared<MxMeshCheck>();
    return inspectCells(cellCount, parallel, monitor,
                        [&](Findings& found, std::size_t first, std::size_t last) {
                          for (std::size_t cell = first; cell < last; ++cell) {
                            const MbIndex3 at = grid.cells.split(cell);
                            bool broken = !hasNodes;
                            for (std::size_t c = 0; hasNodes && c < grid.cornerCount; ++c)
                              broken |= lost.test(grid.nodes.flat(at.x + kCornerSteps[c][0],
                                                                  at.y + kCornerSteps[c][1], 0));
                            if (broken) found.broken.push_back(static_cast<std::uint32_t>(cell));
                          }
                        });
  });
}

} // namespace

MX_CHECK_KIND(MiSurfaceMeshRegular, checkFlatGrid)
MX_CHECK_KIND(MiSurfaceMeshRectilinear, checkFlatGrid)
MX_CHECK_KIND(MiSurfaceMeshCurvilinear, checkFlatGrid)
MX_CHECK_KIND(MiLineMeshRegular, checkFlatGrid)
MX_CHECK_KIND(MiLineMeshCurvilinear, checkFlatGrid)
