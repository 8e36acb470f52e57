#pragma once

#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/check/MxMeshCheck.h>
#include <velmo/extraction/algorithms/skin/MxFlatCells.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

/// The kinds of surfaces and lines as extractors see them: what their cells are, which of them are
/// wanted, and where their nodes are.
template <MeshType K>
struct MxFlatMesh
{
  using Kind = MxMeshKind<K>;
  using Mesh = typename Kind::Interface;
  using Filter = typename Kind::CellFilter;
  static constexpr int kDimension = K >= LINE_MESH_UNSTRUCTURED ? 1 : 2;
  static constexpr bool kIsGrid = K != SURFACE_MESH_UNSTRUCTURED && K != LINE_MESH_UNSTRUCTURED;

  static MbIndex3 cellCounts(const Mesh& mesh)
  {
    if constexpr (kIsGrid)
      return flatGridOf(mesh.getTopology()).cells.counts;
    else
      return {mesh.getTopology().getCellCount(), 1, 1};
  }
  static MbIndex3 nodeCounts(const Mesh& mesh)
  {
    if constexpr (kIsGrid)
      return flatGridOf(mesh.getTopology()).nodes.counts;
    else
      return {mesh.getGeometry().getNodeCount(), 1, 1};
  }

  static MxCellChoice choose(const Mesh& mesh, const MxMeshCheck& check, const Filter* filter,
                             bool parallel, MxExtractionMonitor& monitor)
  {
    if constexpr (kIsGrid)
      return chooseCells(mesh.getTopology(), check.unusable, filter, parallel, monitor);
    else
      return chooseCells(mesh.getTopology(), check.unusable, filter, 0,
                         static_cast<std::size_t>(-1), parallel, monitor);
  }

  /// Calls visit(points) with the places of the nodes, by flat number.
  template <class Visitor>
  static void visitNodes(const Mesh& mesh, const Visitor& visit)
  {
    const auto& geometry = mesh.getGeometry();
    if constexpr (kIsGrid) {
      // A geometry of other counts has no usable cell, and no node of it is asked for.
      const MxFlatGrid grid = flatGridOf(mesh.getTopology());
      if (hasNodesOf(geometry, grid))
        visitFlatPoints(geometry, grid, visit);
      else
        visit(NoNodes{});
    } else {
      visitPoints(geometry.getView(), geometry.getNodeCount(), MxVirtualNodes{&geometry}, visit);
    }
  }

  /// Fills a mesh with the chosen cells as they are, all but the stamp of its topology.
  /// @param kept  of the meshes that were written before; knows of this one afterwards
  template <class Result>
  static void write(const Mesh& mesh, const MxCellChoice& choice, bool parallel,
                    MxExtractionMonitor& monitor, Result& result, MxKeptCells& kept)
  {
    const MbIndex3 nodes = nodeCounts(mesh);
    const std::size_t nodeCount = nodes.x * nodes.y * nodes.z;
    MeXProvenance& provenance = result.provenance;
    bool isWhole = false;
    if constexpr (kIsGrid) {
      isWhole = choice.accepted.empty();
      writeFlatGrid(flatGridOf(mesh.getTopology()), choice, parallel, monitor, result.topology,
                    provenance.cells, kept);
    } else {
      writeFlatCells(mesh.getTopology(), nodeCount, kDimension, choice, parallel, monitor,
                     result.topology, provenance.cells);
    }
    provenance.nodes =
        isWhole ? keepNumbers(nodeCount, parallel)
                : numberByFirstUse(result.topology.indices().span(), nodeCount, parallel, true);
    visitNodes(mesh, [&](const auto& points) {
      placeNodes(cellCounts(mesh), nodes, points, parallel, result);
    });
  }

private:
  struct NoNodes
  {
    MbVec3d operator[](std::size_t) const { return {}; }
  };
};
