#pragma once

#include <velmo/extraction/interfaces/MiTopology.h>
#include <velmo/mesh/views/MxNodePositions.h>

#include <span>

/// The cells of a topology interface under flat numbers, read from its arrays where it has them and
/// by a virtual call a cell otherwise. One specialisation a topology; each has
///
///     MbIndex3 counts() const;      cells along I, J, K
///     bool hasDead() const;
///     bool isDead(cell) const;      also true for cells of a grid that has too few nodes for them
///     MiCellShape shape(cell) const;
///     std::span<const std::size_t> nodes(cell, buffer) const;   flat node numbers, unchecked
///     std::span<const std::size_t> faces(cell, buffer) const;   of a polyhedron, as a face stream
template <class Topology>
class MxCells;

/// Room for the nodes or faces of a cell; reused from cell to cell, one per thread.
using MxCellBuffer = std::vector<std::size_t>;

template <>
class MxCells<MiTopologyI>
{
public:
  MxCells(const MiTopologyI& topology, const MbIndex3&)
      : m_topology(&topology), m_view(topology.getView()), m_count(topology.getCellCount()),
        m_hasDead(topology.hasDeadCells()),
        m_uniformCount(cellShapeFacts(m_view.uniformShape).nodeCount)
  {}
  MbIndex3 counts() const { return {m_count, 1, 1}; }
  bool hasDead() const { return m_hasDead; }
  bool isDead(std::size_t cell) const
  {
    if (!m_hasDead) return false;
    return m_view.active ? readDead(m_view.active, cell) : m_topology->isDead(cell);
  }
  MiCellShape shape(std::size_t cell) const
  {
    if (!m_view) return m_topology->getCellShape(cell);
    if (!m_view.shapes) return m_view.uniformShape;
    return static_cast<MiCellShape>(std::min(readIndex(m_view.shapes, cell), std::size_t{255}));
  }
  std::span<const std::size_t> nodes(std::size_t cell, MxCellBuffer& buffer) const
  {
    if (!m_view)
      m_topology->getCellNodes(cell, buffer);
    else if (m_view.offsets)
      copy(m_view.connectivity, readIndex(m_view.offsets, cell),
           readIndex(m_view.offsets, cell + 1), buffer);
    else
      copy(m_view.connectivity, cell * m_uniformCount, (cell + 1) * m_uniformCount, buffer);
    return buffer;
  }
  std::span<const std::size_t> faces(std::size_t cell, MxCellBuffer& buffer) const
  {
    if (!m_view)
      m_topology->getCellFaces(cell, buffer);
    else if (m_view.faces && m_view.faceOffsets)
      copy(m_view.faces, readIndex(m_view.faceOffsets, cell),
           readIndex(m_view.faceOffsets, cell + 1), buffer);
    else
      buffer.clear();
    return buffer;
  }

private:
  // Nothing when the array does not hold the range.
  static void copy(const MiArrayView& view, std::size_t first, std::size_t last,
                   MxCellBuffer& buffer)
  {
    buffer.clear();
    if (first > last || last > view.count) return;
    buffer.resize(last - first);
    visitIndices(view, [&](const auto& reader) {
      for (std::size_t item = first; item < last; ++item)
        buffer[item - first] = reader(item);
    });
  }

  const MiTopologyI* m_topology;
  MiTopologyView m_view;
  std::size_t m_count;
  bool m_hasDead;
  std::size_t m_uniformCount;
};

/// The counts of a grid of cells as three numbers, all zero when one of them is.
inline MbIndex3 cellCountsOf(const MiTopologyRow& topology)
{
  const std::size_t count = topology.getCellCount();
  return count ? MbIndex3{count, 1, 1} : MbIndex3{};
}
inline MbIndex3 cellCountsOf(const MiTopologyIj& topology)
{
  const MbIndex3 counts{topology.getCellCountI(), topology.getCellCountJ(), 1};
  return counts.x && counts.y ? counts : MbIndex3{};
}
inline MbIndex3 cellCountsOf(const MiTopologyIjk& topology)
{
  const MbIndex3 counts = topology.getCellCounts();
  return counts.x && counts.y && counts.z ? counts : MbIndex3{};
}
inline bool isDeadAt(const MiTopologyRow& topology, const MbIndex3& cell)
{
  return topology.isDead(cell.x);
}
inline bool isDeadAt(const MiTopologyIj& topology, const MbIndex3& cell)
{
  return topology.isDead(cell.x, cell.y);
}
inline bool isDeadAt(const MiTopologyIjk& topology, const MbIndex3& cell)
{
  return topology.isDead(cell.x, cell.y, cell.z);
}

/// What the grids of cells share: counts, dead cells and one shape.
template <class Topology, MiCellShape Shape>
class MxGridCells
{
public:
  explicit MxGridCells(const Topology& topology)
      : m_topology(&topology), m_active(topology.getActiveView()), m_counts(cellCountsOf(topology)),
        m_hasDead(topology.hasDeadCells())
  {}
  MbIndex3 counts() const { return m_counts; }
  bool hasDead() const { return m_hasDead; }
  bool isDead(std::size_t cell) const
  {
    if (!m_hasDead) return false;
    return m_active ? readDead(m_active, cell) : isDeadAt(*m_topology, splitIndex(cell, m_counts));
  }
  MiCellShape shape(std::size_t) const { return Shape; }
  std::span<const std::size_t> faces(std::size_t, MxCellBuffer& buffer) const
  {
    buffer.clear();
    return buffer;
  }

protected:
  const Topology* m_topology;
  MiArrayView m_active;
  MbIndex3 m_counts;
  bool m_hasDead;
};

/// A grid whose cell (i, j, k) lies between the nodes (i, j, k) and (i + 1, j + 1, k + 1) of a
/// lattice.
template <class Topology, MiCellShape Shape>
class MxLatticeCells : public MxGridCells<Topology, Shape>
{
  using Base = MxGridCells<Topology, Shape>;

public:
  MxLatticeCells(const Topology& topology, const MbIndex3& nodeCounts)
      : Base(topology), m_nodeCounts(nodeCounts)
  {
    m_isComplete = m_nodeCounts.x > this->m_counts.x;
    if constexpr (kCorners >= 4) m_isComplete &= m_nodeCounts.y > this->m_counts.y;
    if constexpr (kCorners == 8) m_isComplete &= m_nodeCounts.z > this->m_counts.z;
  }
  bool hasDead() const { return Base::hasDead() || !m_isComplete; }
  bool isDead(std::size_t cell) const
  {
    return Base::isDead(cell) || (!m_isComplete && lacksNodes(splitIndex(cell, this->m_counts)));
  }
  std::span<const std::size_t> nodes(std::size_t cell, MxCellBuffer& buffer) const
  {
    buffer.resize(kCorners);
    const std::size_t first = flatIndex(splitIndex(cell, this->m_counts), m_nodeCounts);
    for (std::size_t corner = 0; corner < kCorners; ++corner)
      buffer[corner] = first + flatIndex(hexahedronCorner(corner), m_nodeCounts);
    return buffer;
  }

private:
  static constexpr std::size_t kCorners = cellShapeFacts(Shape).nodeCount;

  bool lacksNodes(const MbIndex3& cell) const
  {
    return cell.x + 1 >= m_nodeCounts.x || (kCorners >= 4 && cell.y + 1 >= m_nodeCounts.y) ||
           (kCorners == 8 && cell.z + 1 >= m_nodeCounts.z);
  }

  MbIndex3 m_nodeCounts;
  bool m_isComplete = true;
};

template <>
class MxCells<MiTopologyRow> : public MxLatticeCells<MiTopologyRow, MiCellShape::Line>
{
  using MxLatticeCells::MxLatticeCells;
};
template <>
class MxCells<MiTopologyIj> : public MxLatticeCells<MiTopologyIj, MiCellShape::Quad>
{
  using MxLatticeCells::MxLatticeCells;
};
template <>
class MxCells<MiTopologyIjk> : public MxLatticeCells<MiTopologyIjk, MiCellShape::Hexahedron>
{
  using MxLatticeCells::MxLatticeCells;
};

template <>
class MxCells<MiTopologyHexahedronIjk>
    : public MxGridCells<MiTopologyHexahedronIjk, MiCellShape::Hexahedron>
{
public:
  MxCells(const MiTopologyHexahedronIjk& topology, const MbIndex3&)
      : MxGridCells(topology), m_connectivity(topology.getConnectivityView())
  {}
  std::span<const std::size_t> nodes(std::size_t cell, MxCellBuffer& buffer) const
  {
    buffer.resize(8);
    if (m_connectivity) {
      for (std::size_t n = 0; n < 8; ++n)
        buffer[n] = readIndex(m_connectivity, 8 * cell + n);
    } else {
      const MbIndex3 at = splitIndex(cell, m_counts);
      std::size_t eight[8];
      m_topology->getCellNodes(at.x, at.y, at.z, eight);
      std::copy(eight, eight + 8, buffer.begin());
    }
    return buffer;
  }

private:
  MiArrayView m_connectivity;
};

/// The cells of a vertex-hexahedron mesh: cell n has the positions 8 n to 8 n + 7.
class MxVertexCells : public MxGridCells<MiTopologyIjk, MiCellShape::Hexahedron>
{
public:
  using MxGridCells::MxGridCells;
  std::span<const std::size_t> nodes(std::size_t cell, MxCellBuffer& buffer) const
  {
    buffer.resize(8);
    for (std::size_t n = 0; n < 8; ++n)
      buffer[n] = 8 * cell + n;
    return buffer;
  }
};
