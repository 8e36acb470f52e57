#pragma once

#include <velmo/extraction/extractors/MxFlatMesh.h>
#include <velmo/extraction/extractors/MxSurfaceExtractor.h>

/// The work of the extractors that give a surface or line mesh as it is.
template <MeshType K, class ResultMesh>
struct MxFlatWork : MxSurfaceWork<K>
{
  using Base = MxSurfaceWork<K>;
  using Flat = MxFlatMesh<K>;
  using typename Base::Mesh, typename Base::Request;
  using Result = ResultMesh;
  struct Arguments
  {
    friend bool operator==(const Arguments&, const Arguments&) = default;
  };
  static constexpr std::size_t kPhaseCount = 2;

  std::shared_ptr<const MxMeshCheck> build(const Mesh& mesh, const Arguments&,
                                           const Request& request, Result& result)
  {
    const auto& [filter, tessellator, parallel, monitor, warnings] = request;
    std::shared_ptr<const MxMeshCheck> check = checkMesh(mesh, parallel, monitor);
    monitor.beginPhase("Writing cells", 1);
    const MxCellChoice choice = Flat::choose(mesh, *check, filter, parallel, monitor);
    m_wholes = {};
    if constexpr (!Flat::kIsGrid)
      if (tessellator)
        m_wholes = collectWholeCells(mesh.getTopology(), mesh.getGeometry().getNodeCount(),
                                     Flat::kDimension, choice);
    if constexpr (!Flat::kIsGrid)
      if (m_wholes.hasQuadratic) {
        writeTessellated(mesh, m_wholes, *tessellator, parallel, monitor, result);
        return check;
      }
    Flat::write(mesh, choice, parallel, monitor, result, m_kept);
    return check;
  }
  void buildLines(const Mesh& mesh, const Result& surface, const Request& request,
                  MeXLineMeshUnstructured& lines)
  {
    if constexpr (!Flat::kIsGrid)
      if (m_wholes.hasQuadratic) {
        request.monitor.beginPhase("Collecting edges", 1);
        writeTessellatedEdges(mesh, m_wholes, *request.tessellator, request.parallel,
                              request.monitor, lines);
        return;
      }
    Base::buildLines(mesh, surface, request, lines);
  }
  void buildPoints(const Mesh& mesh, const Result& surface, const Request& request,
                   MeXPointMeshCurvilinear& points)
  {
    request.monitor.beginPhase("Collecting nodes", 1);
    if constexpr (!Flat::kIsGrid)
      if (m_wholes.hasQuadratic) {
        writeWholeFaceNodes(mesh, m_wholes, request.parallel, points);
        return;
      }
    writeNodes(surface, request.parallel, points);
  }
  bool dependsOnCellsAlone() const { return !m_wholes.hasQuadratic; }
  void clear()
  {
    m_wholes = {};
    m_kept.forget();
  }

private:
  MxKeptCells m_kept; // of grids
  MxWholeFaces m_wholes;
};
