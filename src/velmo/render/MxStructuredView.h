#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/skin/MxFlatCells.h>
#include <velmo/mesh/MbUnstructuredView.h>
#include <velmo/mesh/MeXMesh.h>

#include <memory>

/// A surface numbered (i, j), or a row, as a builder draws it: its index list follows from its
/// counts and is made once for them, its points are written when its geometry has changed.
///
/// Nodes keep their numbers, I fastest, and so do cells: values fit as they are. *Lifetime*: the
/// mesh is borrowed until the next update.
/// @tparam Shown  MeXSurfaceMeshUnstructured or MeXLineMeshUnstructured
template <class Shown>
class MxStructuredView
{
public:
  /// @param mesh  its nodes have finite places
  /// @return false for a mesh whose geometry does not have the nodes of its cells
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  template <class Mesh>
  bool update(const Mesh& mesh, MxExtractionMonitor& monitor)
  {
    const auto& geometry = mesh.getGeometry();
    const MxFlatGrid grid = flatGridOf(mesh.getTopology());
    if (!hasNodesOf(geometry, grid)) return false;
    m_source = viewOf(mesh, m_shown);
    MxArray<std::uint32_t> sources; // each cell its own
    writeFlatGrid(grid, {}, true, monitor, m_shown.topology, sources, m_cells);
    if (!m_cells.hasKept()) m_shown.topology.touch();
    if (m_cells.hasKept() && m_geometry == &geometry && m_geometryStamp == geometry.getTimeStamp())
      return true;
    m_geometry = nullptr;
    visitFlatPoints(geometry, grid, [&](const auto& points) {
      placePoints(
          grid.nodes.total(), [&](std::size_t n) { return points[n]; }, true, m_shown.geometry);
    });
    m_geometry = &geometry;
    m_geometryStamp = geometry.getTimeStamp();
    return true;
  }

  const Shown& shown() const { return m_shown; }
  /// The mesh's cells under flat numbers, which tell whether some are dead; null for an object that
  /// is first of all a mesh of another dimension.
  const MiTopologyI* cells() const { return m_source ? &m_source->getTopology() : nullptr; }

private:
  static std::unique_ptr<MiMeshUnstructuredI> viewOf(const MiMesh& mesh,
                                                     const MeXSurfaceMeshUnstructured&)
  {
    return mbUnstructuredSurface(mesh);
  }
  static std::unique_ptr<MiMeshUnstructuredI> viewOf(const MiMesh& mesh,
                                                     const MeXLineMeshUnstructured&)
  {
    return mbUnstructuredLine(mesh);
  }

  std::unique_ptr<MiMeshUnstructuredI> m_source;
  Shown m_shown;
  MxKeptCells m_cells;
  const void* m_geometry = nullptr; // the one whose nodes are shown
  std::uint64_t m_geometryStamp = MxTimeStamp::kNone;
};
