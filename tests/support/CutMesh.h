#pragma once

#include <velmo/extraction/algorithms/MxCut.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/SkinLaws.h>

#include <functional>
#include <map>

/// Cuts of test meshes, and laws that every cut obeys.
namespace laws {

struct CutOptions
{
  bool parallel = false;
  const MiCellFilter* filter = nullptr;
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
  const auto check =
      cutMesh(zoo::as<Kind>(mesh), dynamic_cast<const Filter*>(options.filter), shape, nullptr,
              options.parallel, monitor, options.memory ? *options.memory : own, *surface);
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

/// Polygons have three different corners at least, all vertices are used, the edges between
/// polygons are passed once in each direction but for at most `openEdges`, and vertices ascend by
/// their nodes, which are two, the smaller one first, or one with weight zero.
inline void expectSound(const MeXSurfaceMeshUnstructured& surface, std::size_t openEdges = 0)
{
  std::map<std::pair<int, int>, int> passes;
  std::vector<bool> used(surface.geometry.getNodeCount());
  for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f) {
    const auto cell = surface.topology.getCell(f);
    std::vector<int> sorted(cell.begin(), cell.end());
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::unique(sorted.begin(), sorted.end()), sorted.end()) << "polygon " << f;
    EXPECT_GE(cell.size(), 3u);
    for (std::size_t n = 0; n < cell.size(); ++n) {
      const int a = cell[n], b = cell[(n + 1) % cell.size()];
      used.at(static_cast<std::size_t>(a)) = true;
      passes[{std::min(a, b), std::max(a, b)}] += a < b ? 1 : -1;
    }
    if (f > 0 && surface.provenance.sourceCells.y == 1) {
      EXPECT_LE(surface.provenance.cells[f - 1], surface.provenance.cells[f]);
    }
  }
  std::size_t open = 0;
  for (const auto& [edge, sum] : passes)
    open += sum != 0;
  EXPECT_EQ(open, openEdges) << "edges that are not closed, of " << passes.size();
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
  std::map<std::pair<int, int>, int> passes;
  for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f) {
    const auto cell = surface.topology.getCell(f);
    for (std::size_t n = 0; n < cell.size(); ++n) {
      const int a = cell[n], b = cell[(n + 1) % cell.size()];
      passes[{std::min(a, b), std::max(a, b)}] += a < b ? 1 : -1;
    }
  }
  std::vector<std::pair<MbVec3d, MbVec3d>> edges;
  for (const auto& [edge, sum] : passes)
    if (sum != 0)
      edges.emplace_back(surface.geometry.getNode(static_cast<std::size_t>(edge.first)),
                         surface.geometry.getNode(static_cast<std::size_t>(edge.second)));
  return edges;
}

} // namespace laws
