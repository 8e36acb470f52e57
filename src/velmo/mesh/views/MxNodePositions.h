#pragma once

#include <velmo/extraction/interfaces/MiGeometry.h>
#include <velmo/mesh/MbGeometry.h>
#include <velmo/mesh/views/MxArrayRead.h>

/// The nodes of a geometry interface under flat numbers, read from its arrays where it has them and
/// by a virtual call a node otherwise. One specialisation a geometry; each has
///
///     MbIndex3 counts() const;     nodes along I, J, K, as data sets per node are numbered
///     std::size_t size() const;    flat numbers that have a position
///     MbVec3d at(node) const;      kNoPoint for a number that no node has
template <class Geometry>
class MxNodePositions;

template <>
class MxNodePositions<MiGeometryI>
{
public:
  explicit MxNodePositions(const MiGeometryI& geometry)
      : m_geometry(&geometry), m_view(geometry.getView()), m_count(geometry.getNodeCount())
  {
    if (m_view) m_count = std::min(m_count, m_view.count);
  }
  MbIndex3 counts() const { return {m_count, 1, 1}; }
  std::size_t size() const { return m_count; }
  MbVec3d at(std::size_t node) const
  {
    if (node >= m_count) return kNoPoint;
    return m_view ? readPoint(m_view, node) : m_geometry->getNode(node);
  }

private:
  const MiGeometryI* m_geometry;
  MiArrayView m_view;
  std::size_t m_count;
};

/// The counts of a lattice of nodes as three numbers, zero when one of them is.
inline MbIndex3 nodeCountsOf(const MiGeometryIj& geometry)
{
  const MbIndex3 counts{geometry.getNodeCountI(), geometry.getNodeCountJ(), 1};
  return counts.x && counts.y ? counts : MbIndex3{};
}
inline MbIndex3 nodeCountsOf(const MiGeometryIjk& geometry)
{
  const MbIndex3 counts = geometry.getNodeCounts();
  return counts.x && counts.y && counts.z ? counts : MbIndex3{};
}
inline MbVec3d nodeOf(const MiGeometryIj& geometry, const MbIndex3& node)
{
  return geometry.getNode(node.x, node.y);
}
inline MbVec3d nodeOf(const MiGeometryIjk& geometry, const MbIndex3& node)
{
  return geometry.getNode(node.x, node.y, node.z);
}

/// What the lattices of nodes share; `Own` has MbVec3d atIndex(const MbIndex3&) const.
template <class Own>
class MxLatticePositions
{
public:
  MbIndex3 counts() const { return m_counts; }
  std::size_t size() const { return m_counts.x * m_counts.y * m_counts.z; }
  MbVec3d at(std::size_t node) const
  {
    if (node >= size()) return kNoPoint;
    return static_cast<const Own&>(*this).atIndex(splitIndex(node, m_counts));
  }

protected:
  explicit MxLatticePositions(const MbIndex3& counts) : m_counts(counts) {}
  MbIndex3 m_counts;
};

/// A point for each index of a lattice.
template <class Geometry>
class MxPointLattice : public MxLatticePositions<MxPointLattice<Geometry>>
{
  using Base = MxLatticePositions<MxPointLattice<Geometry>>;

public:
  explicit MxPointLattice(const Geometry& geometry)
      : Base(nodeCountsOf(geometry)), m_geometry(&geometry), m_view(geometry.getView())
  {}
  MbVec3d at(std::size_t node) const { return m_view ? readPoint(m_view, node) : Base::at(node); }
  MbVec3d atIndex(const MbIndex3& node) const
  {
    return m_view ? readPoint(m_view, flatIndex(node, this->m_counts)) : nodeOf(*m_geometry, node);
  }

private:
  const Geometry* m_geometry;
  MiArrayView m_view;
};
template <>
class MxNodePositions<MiGeometryIj> : public MxPointLattice<MiGeometryIj>
{
  using MxPointLattice::MxPointLattice;
};
template <>
class MxNodePositions<MiGeometryIjk> : public MxPointLattice<MiGeometryIjk>
{
  using MxPointLattice::MxPointLattice;
};

template <>
class MxNodePositions<MiGeometryRegularRow>
{
public:
  explicit MxNodePositions(const MiGeometryRegularRow& geometry)
      : m_origin(geometry.getOrigin()), m_step(geometry.getStep()), m_count(geometry.getNodeCount())
  {}
  MbIndex3 counts() const { return {m_count, 1, 1}; }
  std::size_t size() const { return m_count; }
  MbVec3d at(std::size_t node) const
  {
    return node < m_count ? m_origin + m_step * static_cast<double>(node) : kNoPoint;
  }

private:
  MbVec3d m_origin, m_step;
  std::size_t m_count;
};

template <>
class MxNodePositions<MiGeometryRegularIj>
    : public MxLatticePositions<MxNodePositions<MiGeometryRegularIj>>
{
public:
  explicit MxNodePositions(const MiGeometryRegularIj& geometry)
      : MxLatticePositions(nodeCountsOf(geometry)), m_origin(geometry.getOrigin()),
        m_stepI(geometry.getStepI()), m_stepJ(geometry.getStepJ())
  {}
  MbVec3d atIndex(const MbIndex3& node) const
  {
    return m_origin + m_stepI * static_cast<double>(node.x) + m_stepJ * static_cast<double>(node.y);
  }

private:
  MbVec3d m_origin, m_stepI, m_stepJ;
};

template <>
class MxNodePositions<MiGeometryRegularIjk>
    : public MxLatticePositions<MxNodePositions<MiGeometryRegularIjk>>
{
public:
  explicit MxNodePositions(const MiGeometryRegularIjk& geometry)
      : MxLatticePositions(nodeCountsOf(geometry)), m_origin(geometry.getOrigin()),
        m_spacing(geometry.getSpacing())
  {}
  MbVec3d atIndex(const MbIndex3& node) const
  {
    return {m_origin.x + m_spacing.x * static_cast<double>(node.x),
            m_origin.y + m_spacing.y * static_cast<double>(node.y),
            m_origin.z + m_spacing.z * static_cast<double>(node.z)};
  }

private:
  MbVec3d m_origin, m_spacing;
};

/// One axis of a rectilinear geometry.
template <class Geometry>
class MxAxis
{
public:
  MxAxis(const Geometry& geometry, int axis)
      : m_geometry(&geometry), m_view(geometry.getAxisView(axis)), m_axis(axis)
  {}
  double at(std::size_t index) const
  {
    return m_view ? readNumber(m_view, index) : m_geometry->getCoordinate(m_axis, index);
  }

private:
  const Geometry* m_geometry;
  MiArrayView m_view;
  int m_axis;
};

template <>
class MxNodePositions<MiGeometryRectilinearIj>
    : public MxLatticePositions<MxNodePositions<MiGeometryRectilinearIj>>
{
public:
  explicit MxNodePositions(const MiGeometryRectilinearIj& geometry)
      : MxLatticePositions(nodeCountsOf(geometry)), m_a(geometry, 0), m_b(geometry, 1),
        m_origin(geometry.getOrigin()), m_directionI(geometry.getDirection(0)),
        m_directionJ(geometry.getDirection(1))
  {}
  MbVec3d atIndex(const MbIndex3& node) const
  {
    return m_origin + m_directionI * m_a.at(node.x) + m_directionJ * m_b.at(node.y);
  }

private:
  MxAxis<MiGeometryRectilinearIj> m_a, m_b;
  MbVec3d m_origin, m_directionI, m_directionJ;
};

template <>
class MxNodePositions<MiGeometryRectilinearIjk>
    : public MxLatticePositions<MxNodePositions<MiGeometryRectilinearIjk>>
{
public:
  explicit MxNodePositions(const MiGeometryRectilinearIjk& geometry)
      : MxLatticePositions(nodeCountsOf(geometry)), m_x(geometry, 0), m_y(geometry, 1),
        m_z(geometry, 2)
  {}
  MbVec3d atIndex(const MbIndex3& node) const
  {
    return {m_x.at(node.x), m_y.at(node.y), m_z.at(node.z)};
  }

private:
  MxAxis<MiGeometryRectilinearIjk> m_x, m_y, m_z;
};

/// Steps along I, J and K from a cell's lowest node to corner `corner` of a hexahedron.
inline constexpr MbIndex3 hexahedronCorner(std::size_t corner)
{
  const std::size_t around = corner & 3;
  return {around == 1 || around == 2 ? std::size_t{1} : 0, around >> 1, corner >> 2};
}

/// The corners of vertex hexahedra: corner c of the cell numbered n is position 8 n + c.
template <>
class MxNodePositions<MiGeometryVertexIjk>
{
public:
  MxNodePositions(const MiGeometryVertexIjk& geometry, const MbIndex3& cells)
      : m_geometry(&geometry), m_view(geometry.getView()), m_cells(cells)
  {}
  /// Of the logical corners, to which data per node belongs.
  MbIndex3 counts() const { return m_cells.x ? m_cells + MbIndex3{1, 1, 1} : MbIndex3{}; }
  std::size_t size() const { return 8 * m_cells.x * m_cells.y * m_cells.z; }
  MbVec3d at(std::size_t node) const
  {
    if (node >= size()) return kNoPoint;
    if (m_view.corners) return readPoint(m_view.corners, node);
    const MbIndex3 cell = splitIndex(node / 8, m_cells);
    if (!m_view.pillars || !m_view.depths)
      return m_geometry->getCorner(cell.x, cell.y, cell.z, static_cast<int>(node % 8));
    const MbIndex3 step = hexahedronCorner(node % 8);
    const std::size_t pillar = 6 * (cell.x + step.x + (m_cells.x + 1) * (cell.y + step.y));
    const MbIndex3 depth{2 * cell.x + step.x, 2 * cell.y + step.y, 2 * cell.z + step.z};
    double p[6];
    for (std::size_t n = 0; n < 6; ++n)
      p[n] = readNumber(m_view.pillars, pillar + n);
    return mbPillarPoint({p[0], p[1], p[2]}, {p[3], p[4], p[5]},
                         readNumber(m_view.depths, flatIndex(depth, m_cells * 2)));
  }
  /// The flat number of the logical corner of a position.
  std::size_t logicalNode(std::size_t node) const
  {
    return flatIndex(splitIndex(node / 8, m_cells) + hexahedronCorner(node % 8), counts());
  }

private:
  const MiGeometryVertexIjk* m_geometry;
  MiVertexIjkView m_view;
  MbIndex3 m_cells;
};
