#pragma once

#include <velmo/extraction/interfaces/MiMesh.h>
#include <velmo/mesh/MbGeometry.h>
#include <velmo/mesh/MbTopology.h>

/// A ready-made mesh over the application's arrays, one alias a mesh kind below. Nothing is copied;
/// MbArray tells which arrays are borrowed and which are moved in.
///
/// The constructor takes the topology, in braces where it has several parts, and then what the
/// geometry needs besides the counts:
///
///     MbVolumeMeshUnstructured beam({MiCellShape::Tetrahedron, connectivity}, points);
///     MbVolumeMeshUnstructured mixed({shapes, offsets, connectivity}, points);
///     MbVolumeMeshHexahedronIjk reservoir({{ni, nj, nk}, connectivity, active}, points);
///     MbVolumeMeshVertexHexahedronIjk cornerPoint({{ni, nj, nk}, active}, pillars, depths);
///     MbVolumeMeshCurvilinear duct(MbIndex3{ni, nj, nk}, points);
///     MbVolumeMeshRegular image(MbIndex3{ni, nj, nk}, origin, spacing);
///
/// Counts are of cells. An application that changes the contents of its arrays says so with
/// `touchTopology` or `touchGeometry`; one whose arrays move or change their size sets them anew.
/// *Threads*: set and touch in the thread that traverses the scene, while nothing is extracted.
template <class Interface, class Topology, class Geometry>
class MbMesh : public Interface
{
public:
  /// @throw std::invalid_argument when an array is too short for the counts
  template <class... GeometryArguments>
  explicit MbMesh(Topology topology, GeometryArguments&&... arguments)
      : m_topology(std::move(topology)),
        m_geometry(m_topology.getNodeCounts(), std::forward<GeometryArguments>(arguments)...)
  {}

  const Topology& getTopology() const override { return m_topology; }
  const Geometry& getGeometry() const override { return m_geometry; }

  /// Cells came, went or died in place.
  void touchTopology() { m_topology.touch(); }
  /// Nodes moved in place.
  void touchGeometry() { m_geometry.touch(); }

  /// Replaces everything, as the constructor does; the mesh is unchanged when it throws.
  template <class... GeometryArguments>
  void set(Topology topology, GeometryArguments&&... arguments)
  {
    Geometry geometry(topology.getNodeCounts(), std::forward<GeometryArguments>(arguments)...);
    m_topology = std::move(topology);
    m_geometry = std::move(geometry);
  }
  /// Replaces the nodes and keeps the cells, as for the next step of a moving mesh.
  template <class... GeometryArguments>
  void setGeometry(GeometryArguments&&... arguments)
  {
    m_geometry =
        Geometry(m_topology.getNodeCounts(), std::forward<GeometryArguments>(arguments)...);
  }

private:
  Topology m_topology;
  Geometry m_geometry;
};

using MbVolumeMeshUnstructured = MbMesh<MiVolumeMeshUnstructured, MbTopologyI, MbGeometryI>;
using MbVolumeMeshHexahedronIjk =
    MbMesh<MiVolumeMeshHexahedronIjk, MbTopologyHexahedronIjk, MbGeometryI>;
using MbVolumeMeshVertexHexahedronIjk =
    MbMesh<MiVolumeMeshVertexHexahedronIjk, MbTopologyIjk, MbGeometryVertexIjk>;
using MbVolumeMeshRegular = MbMesh<MiVolumeMeshRegular, MbTopologyIjk, MbGeometryRegularIjk>;
using MbVolumeMeshRectilinear =
    MbMesh<MiVolumeMeshRectilinear, MbTopologyIjk, MbGeometryRectilinearIjk>;
using MbVolumeMeshCurvilinear = MbMesh<MiVolumeMeshCurvilinear, MbTopologyIjk, MbGeometryIjk>;

using MbSurfaceMeshUnstructured = MbMesh<MiSurfaceMeshUnstructured, MbTopologyI, MbGeometryI>;
using MbSurfaceMeshRegular = MbMesh<MiSurfaceMeshRegular, MbTopologyIj, MbGeometryRegularIj>;
using MbSurfaceMeshRectilinear =
    MbMesh<MiSurfaceMeshRectilinear, MbTopologyIj, MbGeometryRectilinearIj>;
using MbSurfaceMeshCurvilinear = MbMesh<MiSurfaceMeshCurvilinear, MbTopologyIj, MbGeometryIj>;

using MbLineMeshUnstructured = MbMesh<MiLineMeshUnstructured, MbTopologyI, MbGeometryI>;
using MbLineMeshRegular = MbMesh<MiLineMeshRegular, MbTopologyRow, MbGeometryRegularRow>;
using MbLineMeshCurvilinear = MbMesh<MiLineMeshCurvilinear, MbTopologyRow, MbGeometryI>;
