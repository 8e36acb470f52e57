#pragma once

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/mesh/views/MxCells.h>
#include <velmo/mesh/views/MxNodePositions.h>

#include <concepts>

/// A mesh as flatly numbered cells and nodes, whatever its kind. See MxCellView.
template <class View>
concept MxCellViewLike = requires(const View& view, std::size_t number, MxCellBuffer& buffer)
{
  {
    View::kType
    } -> std::convertible_to<MeshType>;
  {
    view.cellCount()
    } -> std::same_as<std::size_t>;
  {
    view.nodeCount()
    } -> std::same_as<std::size_t>;
  {
    view.cellCounts()
    } -> std::same_as<MbIndex3>;
  {
    view.nodeCounts()
    } -> std::same_as<MbIndex3>;
  {
    view.hasDead()
    } -> std::same_as<bool>;
  {
    view.isDead(number)
    } -> std::same_as<bool>;
  {
    view.shape(number)
    } -> std::same_as<MiCellShape>;
  {
    view.nodes(number, buffer)
    } -> std::same_as<std::span<const std::size_t>>;
  {
    view.faces(number, buffer)
    } -> std::same_as<std::span<const std::size_t>>;
  {
    view.position(number)
    } -> std::same_as<MbVec3d>;
  {
    view.dataNode(number)
    } -> std::same_as<std::size_t>;
};

/// The cell view of a mesh kind: arrays are read in place without a virtual call, procedural meshes
/// are asked cell by cell and node by node.
///
/// Flat numbers have I fastest, then J, then K; splitIndex and flatIndex convert. Node numbers come
/// as the mesh gives them: one that no node has reads as the position kNoPoint. A view is cheap to
/// make and to copy, and is valid as long as the mesh and its stamps. *Threads*: any number of
/// readers, a buffer each.
template <MeshType Kind>
class MxCellView
{
public:
  using Interface = typename MxMeshKind<Kind>::Interface;
  static constexpr MeshType kType = Kind;

  explicit MxCellView(const Interface& mesh) : MxCellView(mesh, isVertex()) {}

  std::size_t cellCount() const
  {
    const MbIndex3 counts = m_cells.counts();
    return counts.x * counts.y * counts.z;
  }
  /// Flat node numbers that have a position.
  std::size_t nodeCount() const { return m_nodes.size(); }
  /// Cells along I, J and K, as data sets per cell are numbered; {count, 1, 1} for one index.
  MbIndex3 cellCounts() const { return m_cells.counts(); }
  /// Nodes along I, J and K, as data sets per node are numbered.
  MbIndex3 nodeCounts() const { return m_nodes.counts(); }

  /// False promises that no cell is dead.
  bool hasDead() const { return m_cells.hasDead(); }
  bool isDead(std::size_t cell) const { return m_cells.isDead(cell); }
  MiCellShape shape(std::size_t cell) const { return m_cells.shape(cell); }
  /// The cell's nodes in the order of its shape; valid until the buffer is used again. Empty when
  /// the topology's offsets are broken. A number may be that of no node.
  std::span<const std::size_t> nodes(std::size_t cell, MxCellBuffer& buffer) const
  {
    return m_cells.nodes(cell, buffer);
  }
  /// The face stream of a polyhedron, unchecked; empty for other shapes.
  std::span<const std::size_t> faces(std::size_t cell, MxCellBuffer& buffer) const
  {
    return m_cells.faces(cell, buffer);
  }
  MbVec3d position(std::size_t node) const { return m_nodes.at(node); }
  /// The number of a node in a data set per node: itself, but for vertex hexahedra the logical
  /// corner.
  std::size_t dataNode(std::size_t node) const
  {
    if constexpr (isVertex())
      return m_nodes.logicalNode(node);
    else
      return node;
  }

private:
  using Topology = std::remove_cvref_t<decltype(std::declval<const Interface&>().getTopology())>;
  using Geometry = std::remove_cvref_t<decltype(std::declval<const Interface&>().getGeometry())>;
  using isVertex = std::is_same<Geometry, MiGeometryVertexIjk>;
  using Cells = std::conditional_t<isVertex::value, MxVertexCells, MxCells<Topology>>;

  MxCellView(const Interface& mesh, std::false_type)
      : m_nodes(mesh.getGeometry()), m_cells(mesh.getTopology(), m_nodes.counts())
  {}
  MxCellView(const Interface& mesh, std::true_type)
      : m_nodes(mesh.getGeometry(), cellCountsOf(mesh.getTopology())), m_cells(mesh.getTopology())
  {}

  MxNodePositions<Geometry> m_nodes;
  Cells m_cells;
};

/// Calls visit(view) with the cell view of the mesh's kind; false for a mesh of none of `kinds`.
template <MeshType... Kinds, class Visitor>
bool visitCellView(MxKinds<Kinds...> kinds, const MiMesh* mesh, Visitor&& visit)
{
  return visitMeshKind(kinds, classifyMesh(mesh), [&]<MeshType Kind>() {
    visit(MxCellView<Kind>(dynamic_cast<const typename MxMeshKind<Kind>::Interface&>(*mesh)));
  });
}
