#pragma once

#include <velmo/extraction/algorithms/cut/MxCut.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/SkinLaws.h>

#include <map>
#include <set>

/// Cuts of test meshes, and laws that every cut obeys.
namespace laws {

struct CutOptions
{
  bool parallel = false;
  const MiCellFilter* filter = nullptr;
  const MiTessellator* tessellator = nullptr;
  MxCutMemory* memory = nullptr;
  std::shared_ptr<const MxMeshCheck>* check = nullptr;
};

template <MeshType Kind>
std::unique_ptr<MeXSurfaceMeshUnstructured> cutKind(const MiMesh& mesh, const MxCutShape& shape,
                                                    const CutOptions& options)
{
  using Filter = typename MxMeshKind<Kind>::CellFilter;
  auto surface = std::make_unique<MeXSurfaceMeshUnstructured>();
  MxExtractionMonitor monitor(nullptr, "", 0);
  MxCutMemory own;
  const auto check = cutMesh(zoo::as<Kind>(mesh), dynamic_cast<const Filter*>(options.filter),
                             shape, options.tessellator, options.parallel, monitor,
                             options.memory ? *options.memory : own, *surface);
  if (options.check) *options.check = check;
  return surface;
}

/// The cut of a volume mesh of any kind.
inline std::unique_ptr<MeXSurfaceMeshUnstructured> cut(const MiMesh& mesh, const MxCutShape& shape,
                                                       const CutOptions& options = {})
{
  std::unique_ptr<MeXSurfaceMeshUnstructured> surface;
  visitMeshKind(MxVolumeKinds{}, classifyMesh(&mesh),
                [&]<MeshType Kind>() { surface = cutKind<Kind>(mesh, shape, options); });
  return surface;
}

/// The source cells of all polygons; structured grids have an order of their own.
inline std::vector<std::uint32_t> sortedCells(const MeXSurfaceMeshUnstructured& surface)
{
  const auto& cells = surface.provenance.cells;
  std::vector<std::uint32_t> sorted(cells.begin(), cells.end());
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

/// How often the edges between polygons are passed in one direction more than in the other.
inline std::map<std::pair<int, int>, int> openPasses(const MeXSurfaceMeshUnstructured& surface)
{
  std::map<std::pair<int, int>, int> passes;
  for (const std::vector<int>& cell : cellsOf(surface))
    for (std::size_t n = 0; n < cell.size(); ++n) {
      const int a = cell[n], b = cell[(n + 1) % cell.size()];
      passes[{std::min(a, b), std::max(a, b)}] += a < b ? 1 : -1;
    }
  std::erase_if(passes, [](const auto& entry) { return entry.second == 0; });
  return passes;
}

/// Polygons have three different corners at least, all vertices are used, the edges between
/// polygons are passed once in each direction but for at most `openEdges`, and vertices ascend by
/// their nodes, which are two, the smaller one first, or one with weight zero.
inline void expectSound(const MeXSurfaceMeshUnstructured& surface, std::size_t openEdges = 0)
{
  std::vector<bool> used(surface.geometry.getNodeCount());
  const std::vector<std::vector<int>> cells = cellsOf(surface);
  for (std::size_t f = 0; f < cells.size(); ++f) {
    EXPECT_GE(cells[f].size(), 3u);
    EXPECT_EQ(std::set<int>(cells[f].begin(), cells[f].end()).size(), cells[f].size())
        << "polygon " << f;
    for (const int node : cells[f])
      used.at(static_cast<std::size_t>(node)) = true;
    if (f > 0 && surface.provenance.sourceCells.y == 1) {
      EXPECT_LE(surface.provenance.cells[f - 1], surface.provenance.cells[f]);
    }
  }
  EXPECT_EQ(openPasses(surface).size(), openEdges) << "edges that are not closed";
  EXPECT_EQ(std::count(used.begin(), used.end(), false), 0);
  const MeXProvenance& provenance = surface.provenance;
  ASSERT_EQ(provenance.form, MeXProvenance::NodeForm::Edge);
  ASSERT_EQ(provenance.weights.size(), used.size());
  for (std::size_t n = 0; n < used.size(); ++n) {
    const std::uint32_t a = provenance.nodes[2 * n], b = provenance.nodes[2 * n + 1];
    const double weight = provenance.weights[n];
    EXPECT_TRUE(a == b ? weight == 0 : weight >= 0 && weight <= 1) << a << " " << b;
  }
}

/// The edges at which polygons are open, as the vertices' places.
inline std::vector<std::pair<MbVec3d, MbVec3d>> openEdges(const MeXSurfaceMeshUnstructured& surface)
{
  std::vector<std::pair<MbVec3d, MbVec3d>> edges;
  for (const auto& [edge, passes] : openPasses(surface))
    edges.emplace_back(surface.geometry.getNode(static_cast<std::size_t>(edge.first)),
                       surface.geometry.getNode(static_cast<std::size_t>(edge.second)));
  return edges;
}

} // namespace laws
