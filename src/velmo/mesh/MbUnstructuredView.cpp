#include <velmo/mesh/MbUnstructuredView.h>

#include <velmo/mesh/views/MxCellView.h>

namespace {
template <MeshType Kind>
class TopologyView final : public MiTopologyI
{
public:
  using Source = typename MxMeshKind<Kind>::Interface;
  explicit TopologyView(const Source& source) : m_source(&source), m_cells(source) {}

  std::uint64_t getTimeStamp() const override { return m_source->getTopology().getTimeStamp(); }
  bool hasDeadCells() const override { return m_cells.hasDead(); }
  std::size_t getCellCount() const override { return m_cells.cellCount(); }
  MiCellShape getCellShape(std::size_t cell) const override { return m_cells.shape(cell); }
  void getCellNodes(std::size_t cell, std::vector<std::size_t>& nodes) const override
  {
    m_cells.nodes(cell, nodes);
  }
  void getCellFaces(std::size_t cell, std::vector<std::size_t>& stream) const override
  {
    m_cells.faces(cell, stream);
  }
  bool isDead(std::size_t cell) const override { return m_cells.isDead(cell); }
  MiTopologyView getView() const override
  {
    const auto& topology = m_source->getTopology();
    MiTopologyView view;
    if constexpr (requires { topology.getConnectivityView(); }) {
      view.connectivity = topology.getConnectivityView();
      view.uniformShape = MiCellShape::Hexahedron;
      // Without an array of live cells, isDead tells.
      if (topology.hasDeadCells()) view.active = topology.getActiveView();
    } else if constexpr (requires { topology.getCellShape(0); }) {
      view = topology.getView();
    }
    return view;
  }

private:
  const Source* m_source;
  MxCellView<Kind> m_cells;
};

template <MeshType Kind>
class GeometryView final : public MiGeometryI
{
public:
  using Source = typename MxMeshKind<Kind>::Interface;
  explicit GeometryView(const Source& source) : m_source(&source), m_nodes(source) {}

  std::uint64_t getTimeStamp() const override { return m_source->getGeometry().getTimeStamp(); }
  std::size_t getNodeCount() const override { return m_nodes.nodeCount(); }
  MbVec3d getNode(std::size_t node) const override { return m_nodes.position(node); }
  MiArrayView getView() const override
  {
    const auto view = m_source->getGeometry().getView();
    if constexpr (requires { view.corners; })
      return atMost(view.corners);
    else
      return atMost(view);
  }

private:
  // An array that is longer than the nodes shows its beginning; a shorter one is left to the calls.
  MiArrayView atMost(MiArrayView view) const
  {
    if (view.count < m_nodes.nodeCount()) return {};
    view.count = m_nodes.nodeCount();
    return view;
  }

  const Source* m_source;
  MxCellView<Kind> m_nodes;
};

template <MeshType Kind, class Interface>
class MeshView final : public Interface
{
public:
  explicit MeshView(const typename MxMeshKind<Kind>::Interface& source)
      : m_topology(source), m_geometry(source)
  {}
  const MiTopologyI& getTopology() const override { return m_topology; }
  const MiGeometryI& getGeometry() const override { return m_geometry; }

private:
  TopologyView<Kind> m_topology;
  GeometryView<Kind> m_geometry;
};

template <class Interface, class Kinds>
std::unique_ptr<Interface> viewOf(Kinds kinds, const MiMesh& mesh)
{
  std::unique_ptr<Interface> view;
  visitMeshKind(kinds, classifyMesh(&mesh), [&]<MeshType Kind>() {
    view = std::make_unique<MeshView<Kind, Interface>>(
        dynamic_cast<const typename MxMeshKind<Kind>::Interface&>(mesh));
  });
  return view;
}
} // namespace

std::unique_ptr<MiVolumeMeshUnstructured> mbUnstructuredVolume(const MiMesh& mesh)
{
  return viewOf<MiVolumeMeshUnstructured>(MxVolumeKinds{}, mesh);
}

std::unique_ptr<MiSurfaceMeshUnstructured> mbUnstructuredSurface(const MiMesh& mesh)
{
  return viewOf<MiSurfaceMeshUnstructured>(MxSurfaceKinds{}, mesh);
}

std::unique_ptr<MiLineMeshUnstructured> mbUnstructuredLine(const MiMesh& mesh)
{
  return viewOf<MiLineMeshUnstructured>(MxLineKinds{}, mesh);
}
