#include <tests/support/MeshZoo.h>

namespace {
template <class Interface>
class Topology;

template <class Interface>
class Forwarding : public Interface
{
public:
  explicit Forwarding(const Interface& source) : m_source(source) {}
  std::uint64_t getTimeStamp() const override { return m_source.getTimeStamp(); }

protected:
  const Interface& m_source;
};

template <class Interface>
class ForwardingTopology : public Forwarding<Interface>
{
public:
  using Forwarding<Interface>::Forwarding;
  bool hasDeadCells() const override { return this->m_source.hasDeadCells(); }
};

template <>
class Topology<MiTopologyI> final : public ForwardingTopology<MiTopologyI>
{
public:
  using ForwardingTopology::ForwardingTopology;
  std::size_t getCellCount() const override { return m_source.getCellCount(); }
  MiCellShape getCellShape(std::size_t cell) const override { return m_source.getCellShape(cell); }
  void getCellNodes(std::size_t cell, std::vector<std::size_t>& nodes) const override
  {
    m_source.getCellNodes(cell, nodes);
  }
  void getCellFaces(std::size_t cell, std::vector<std::size_t>& stream) const override
  {
    m_source.getCellFaces(cell, stream);
  }
  bool isDead(std::size_t cell) const override { return m_source.isDead(cell); }
};

template <>
class Topology<MiTopologyRow> final : public ForwardingTopology<MiTopologyRow>
{
public:
  using ForwardingTopology::ForwardingTopology;
  std::size_t getCellCount() const override { return m_source.getCellCount(); }
  bool isDead(std::size_t i) const override { return m_source.isDead(i); }
};

template <>
class Topology<MiTopologyIj> final : public ForwardingTopology<MiTopologyIj>
{
public:
  using ForwardingTopology::ForwardingTopology;
  std::size_t getCellCountI() const override { return m_source.getCellCountI(); }
  std::size_t getCellCountJ() const override { return m_source.getCellCountJ(); }
  bool isDead(std::size_t i, std::size_t j) const override { return m_source.isDead(i, j); }
};

template <class Interface>
class TopologyIjk : public ForwardingTopology<Interface>
{
public:
  using ForwardingTopology<Interface>::ForwardingTopology;
  MbIndex3 getCellCounts() const override { return this->m_source.getCellCounts(); }
  bool isDead(std::size_t i, std::size_t j, std::size_t k) const override
  {
    return this->m_source.isDead(i, j, k);
  }
};
template <>
class Topology<MiTopologyIjk> final : public TopologyIjk<MiTopologyIjk>
{
public:
  using TopologyIjk::TopologyIjk;
};
template <>
class Topology<MiTopologyHexahedronIjk> final : public TopologyIjk<MiTopologyHexahedronIjk>
{
public:
  using TopologyIjk::TopologyIjk;
  void getCellNodes(std::size_t i, std::size_t j, std::size_t k,
                    std::size_t (&nodes)[8]) const override
  {
    m_source.getCellNodes(i, j, k, nodes);
  }
};

template <class Interface>
class Geometry;

template <class Interface>
class CountsI : public Forwarding<Interface>
{
public:
  using Forwarding<Interface>::Forwarding;
  std::size_t getNodeCount() const override { return this->m_source.getNodeCount(); }
};
template <class Interface>
class CountsIj : public Forwarding<Interface>
{
public:
  using Forwarding<Interface>::Forwarding;
  std::size_t getNodeCountI() const override { return this->m_source.getNodeCountI(); }
  std::size_t getNodeCountJ() const override { return this->m_source.getNodeCountJ(); }
};
template <class Interface>
class CountsIjk : public Forwarding<Interface>
{
public:
  using Forwarding<Interface>::Forwarding;
  MbIndex3 getNodeCounts() const override { return this->m_source.getNodeCounts(); }
};

template <>
class Geometry<MiGeometryI> final : public CountsI<MiGeometryI>
{
public:
  using CountsI::CountsI;
  MbVec3d getNode(std::size_t node) const override { return m_source.getNode(node); }
};
template <>
class Geometry<MiGeometryIj> final : public CountsIj<MiGeometryIj>
{
public:
  using CountsIj::CountsIj;
  MbVec3d getNode(std::size_t i, std::size_t j) const override { return m_source.getNode(i, j); }
};
template <>
class Geometry<MiGeometryIjk> final : public CountsIjk<MiGeometryIjk>
{
public:
  using CountsIjk::CountsIjk;
  MbVec3d getNode(std::size_t i, std::size_t j, std::size_t k) const override
  {
    return m_source.getNode(i, j, k);
  }
};
template <>
class Geometry<MiGeometryRegularRow> final : public CountsI<MiGeometryRegularRow>
{
public:
  using CountsI::CountsI;
  MbVec3d getOrigin() const override { return m_source.getOrigin(); }
  MbVec3d getStep() const override { return m_source.getStep(); }
};
template <>
class Geometry<MiGeometryRegularIj> final : public CountsIj<MiGeometryRegularIj>
{
public:
  using CountsIj::CountsIj;
  MbVec3d getOrigin() const override { return m_source.getOrigin(); }
  MbVec3d getStepI() const override { return m_source.getStepI(); }
  MbVec3d getStepJ() const override { return m_source.getStepJ(); }
};
template <>
class Geometry<MiGeometryRegularIjk> final : public CountsIjk<MiGeometryRegularIjk>
{
public:
  using CountsIjk::CountsIjk;
  MbVec3d getOrigin() const override { return m_source.getOrigin(); }
  MbVec3d getSpacing() const override { return m_source.getSpacing(); }
};
template <>
class Geometry<MiGeometryRectilinearIj> final : public CountsIj<MiGeometryRectilinearIj>
{
public:
  using CountsIj::CountsIj;
  MbVec3d getOrigin() const override { return m_source.getOrigin(); }
  MbVec3d getDirection(int axis) const override { return m_source.getDirection(axis); }
  double getCoordinate(int axis, std::size_t index) const override
  {
    return m_source.getCoordinate(axis, index);
  }
};
template <>
class Geometry<MiGeometryRectilinearIjk> final : public CountsIjk<MiGeometryRectilinearIjk>
{
public:
  using CountsIjk::CountsIjk;
  double getCoordinate(int axis, std::size_t index) const override
  {
    return m_source.getCoordinate(axis, index);
  }
};
template <>
class Geometry<MiGeometryVertexIjk> final : public Forwarding<MiGeometryVertexIjk>
{
public:
  using Forwarding::Forwarding;
  MbVec3d getCorner(std::size_t i, std::size_t j, std::size_t k, int corner) const override
  {
    return m_source.getCorner(i, j, k, corner);
  }
};

template <class Interface>
class Mesh final : public Interface
{
  using SourceTopology =
      std::remove_cvref_t<decltype(std::declval<const Interface&>().getTopology())>;
  using SourceGeometry =
      std::remove_cvref_t<decltype(std::declval<const Interface&>().getGeometry())>;

public:
  explicit Mesh(std::unique_ptr<MiMesh> mesh)
      : m_mesh(std::move(mesh)), m_topology(dynamic_cast<const Interface&>(*m_mesh).getTopology()),
        m_geometry(dynamic_cast<const Interface&>(*m_mesh).getGeometry())
  {}
  const SourceTopology& getTopology() const override { return m_topology; }
  const SourceGeometry& getGeometry() const override { return m_geometry; }

private:
  std::unique_ptr<MiMesh> m_mesh;
  Topology<SourceTopology> m_topology;
  Geometry<SourceGeometry> m_geometry;
};
} // namespace

std::unique_ptr<MiMesh> zoo::procedural(std::unique_ptr<MiMesh> mesh)
{
  std::unique_ptr<MiMesh> result;
  visitMeshKind(MxAllKinds{}, classifyMesh(mesh.get()), [&]<MeshType Kind>() {
    result = std::make_unique<Mesh<typename MxMeshKind<Kind>::Interface>>(std::move(mesh));
  });
  return result;
}
