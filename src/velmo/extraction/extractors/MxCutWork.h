#pragma once

#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/cut/MxCut.h>
#include <velmo/extraction/extractors/MxSurfaceExtractor.h>

/// What the works of all cuts share: the cut, and what it keeps from one to the next.
template <MeshType K>
struct MxCutWork : MxSurfaceWork<K>
{
  using typename MxSurfaceWork<K>::Kind, typename MxSurfaceWork<K>::Mesh,
      typename MxSurfaceWork<K>::Request;

  /// Grids are cut in fewer passes; what is known of a mesh already is not done again.
  static constexpr bool kIsGrid =
      K == VOLUME_MESH_REGULAR || K == VOLUME_MESH_RECTILINEAR || K == VOLUME_MESH_CURVILINEAR;
  static constexpr std::size_t kPhaseCount = kIsGrid ? 4 : 9; // at most

  std::shared_ptr<const MxMeshCheck> cut(const Mesh& mesh, const MxCutShape& shape,
                                         const Request& request,
                                         MeXSurfaceMeshUnstructured& surface)
  {
    return cutMesh(mesh, request.filter, shape, request.tessellator, request.parallel,
                   request.monitor, m_memory, surface);
  }
  void countSource(const Mesh& mesh, MeXProvenance& provenance) const
  {
    if constexpr (Kind::kIndexing == MxIndexing::I)
      provenance.sourceCells = {mesh.getTopology().getCellCount(), 1, 1};
    else
      provenance.sourceCells = mesh.getTopology().getCellCounts();
    if constexpr (Kind::kNodeIndexing == MxIndexing::I)
      provenance.sourceNodes = {mesh.getGeometry().getNodeCount(), 1, 1};
    else
      provenance.sourceNodes = nodeCountsOf(provenance.sourceCells);
  }
  /// Sub-cells stay out of sight: a cell shows the outline of its cut alone.
  void buildLines(const Mesh&, const MeXSurfaceMeshUnstructured& surface, const Request& request,
                  MeXLineMeshUnstructured& lines)
  {
    request.monitor.beginPhase("Collecting edges", 1);
    writeEdges(surface, false, request.parallel, lines);
  }

private:
  MxCutMemory m_memory;
};
