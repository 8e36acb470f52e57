#pragma once

#include <velmo/io/MxVtkXmlWriter.h>
#include <velmo/mesh/views/MxCells.h>

/// The cells of an unstructured topology as the arrays of a file, each made in parts as it is
/// written. Cells that name missing nodes, or do not have the nodes of their shape, are empty.
class MxCellOutput
{
public:
  /// @param topology  borrowed
  /// @param asOutlines  gives the nodes of quadratic lines and faces in the order around them, and
  ///                    leaves out those in the middle of a face
  MxCellOutput(const MiTopologyI& topology, std::size_t nodeCount, bool parallel,
               bool asOutlines = false);

  std::size_t cellCount() const { return m_count; }
  /// Cells that became empty.
  std::size_t brokenCount() const { return m_brokenCount; }
  /// Cells whose nodes are in another order than their shape's.
  std::size_t outlinedCount() const { return m_outlinedCount; }
  bool hasDead() const { return m_hasDead; }
  bool isDead(std::size_t cell) const { return m_cells.isDead(cell); }
  /// connectivity, offsets, types, and faces and faceoffsets where there are polyhedra. They borrow
  /// this object.
  std::vector<MxOutputArray> arrays() const;

private:
  struct Cell
  {
    MiCellShape shape = MiCellShape::Empty;
    std::span<const std::size_t> nodes, faces;
    bool isBroken = false, isOutlined = false;
  };
  struct Buffers
  {
    MxCellBuffer nodes, faces;
    std::vector<std::size_t> outline;
  };
  enum class List
  {
    Nodes,
    Faces
  };
  static const std::span<const std::size_t>& listOf(const Cell& cell, List list)
  {
    return list == List::Nodes ? cell.nodes : cell.faces;
  }
  const std::vector<std::size_t>& startsOf(List list) const
  {
    return list == List::Nodes ? m_nodeStarts : m_faceStarts;
  }
  Cell read(std::size_t cell, Buffers& buffers) const;
  template <class T>
  MxOutputArray listArray(const char* name, List list) const;
  template <class T>
  MxOutputArray endArray(const char* name, List list) const;
  template <class T>
  std::vector<MxOutputArray> arraysOf() const;

  MxCells<MiTopologyI> m_cells;
  std::size_t m_count, m_nodeCount, m_brokenCount = 0, m_outlinedCount = 0;
  bool m_asOutlines, m_hasDead = false;
  /// Of every block of cells: where its part begins, and at the end how long the list is.
  std::vector<std::size_t> m_nodeStarts, m_faceStarts;
};
