#pragma once

#include <velmo/extraction/algorithms/layers/MxLayer.h>
#include <velmo/extraction/extractors/MxSurfaceExtractor.h>

/// What the two kinds of slices along a grid's indices do on one kind of mesh.
///
/// @tparam Place  the arguments; place(cellCounts) gives the layer
template <MeshType K, class Place>
struct MxLayerWork : MxSurfaceWork<K>
{
  using typename MxSurfaceWork<K>::Mesh, typename MxSurfaceWork<K>::Request;
  using Arguments = Place;
  static constexpr std::size_t kPhaseCount = 2;

  std::shared_ptr<const MxMeshCheck> build(const Mesh& mesh, const Place& place,
                                           const Request& request,
                                           MeXSurfaceMeshUnstructured& surface)
  {
    const MxLayer layer = place.layer(mesh.getTopology().getCellCounts());
    const std::shared_ptr<const MxMeshCheck> check =
        writeLayer(mesh, layer, request.filter, request.parallel, request.monitor, surface, m_kept);
    // Each layer's check is its own; of one mesh the first that is not clean is reported once.
    const std::pair stamps{mesh.getTopology().getTimeStamp(), mesh.getGeometry().getTimeStamp()};
    if (!m_told || m_told->isClean() || m_stamps != stamps) m_told = check;
    m_stamps = stamps;
    return m_told;
  }
  bool hasKeptPolygons() const { return m_kept.hasKept(); }
  void clear() { m_kept.forget(); }

private:
  MxKeptCells m_kept;
  std::shared_ptr<const MxMeshCheck> m_told;
  std::pair<std::uint64_t, std::uint64_t> m_stamps;
};
