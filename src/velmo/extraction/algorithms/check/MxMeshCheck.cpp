#include <velmo/extraction/algorithms/check/MxMeshCheck.h>

#include <velmo/extraction/algorithms/access/MxVolumeCells.h>
#include <velmo/extraction/algorithms/check/MxMeshCheckTools.h>

using namespace velmo_check;

namespace {

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

MxMeshKey cellsKeyOf(const MiMeshUnstructuredI& mesh)
{
  const std::size_t cellCount = mesh.getTopology().getCellCount();
  const std::size_t nodeCount = mesh.getGeometry().getNodeCount();
  refuseAbove32Bits(cellCount, "cells");
  refuseAbove32Bits(nodeCount, "nodes");
  return keyOf(mesh, cellCount, nodeCount, mesh.getTopology().getView().connectivity.data);
}

std::shared_ptr<MxMeshCheck> checkCells(const MiMeshUnstructuredI& mesh, const MxBits& lost,
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

std::shared_ptr<const MxMeshCheck> checkMesh(const MiMeshUnstructuredI& mesh, bool parallel,
                                             MxExtractionMonitor& monitor)
{
  return remember(cellsKeyOf(mesh), [&] {
    return checkCells(mesh, findLostNodes(mesh.getGeometry(), parallel, monitor), parallel,
                      monitor);
  });
}

std::shared_ptr<const MxMeshCheck> recallCheck(const MiMeshUnstructuredI& mesh)
{
  return recall(cellsKeyOf(mesh));
}

std::shared_ptr<const MxMeshCheck> checkNodes(const MiMeshUnstructuredI& mesh, bool parallel,
                                              MxExtractionMonitor& monitor)
{
  const MxMeshKey key = cellsKeyOf(mesh);
  if (auto known = recall(key)) return known;
  const MxBits lost = findLostNodes(mesh.getGeometry(), parallel, monitor);
  if (lost.empty()) return nullptr;
  return remember(key, [&] { return checkCells(mesh, lost, parallel, monitor); });
}

std::shared_ptr<const MxMeshCheck> rememberClean(const MiMeshUnstructuredI& mesh)
{
  return remember(cellsKeyOf(mesh), [] { return std::make_shared<MxMeshCheck>(); });
}
