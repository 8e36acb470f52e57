#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/interfaces/MiGeometry.h>
#include <velmo/mesh/MbArray.h>

/// What the ready-made geometries share: a stamp.
///
/// Their constructors begin with the node counts that the topology asks for (zero where it leaves
/// them to the array of points). An array that is too short for them is refused with
/// std::invalid_argument; of a longer one only the beginning is read. Node numbers given to the
/// const functions must lie within the counts.
template <class Interface>
class MbGeometry : public Interface
{
public:
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }
  /// The application has changed the contents of the arrays.
  void touch() { m_timeStamp = MxTimeStamp::take(); }

private:
  std::uint64_t m_timeStamp = MxTimeStamp::take();
};

/// A list of points.
class MbGeometryI final : public MbGeometry<MiGeometryI>
{
public:
  /// @param atLeast  {nodes, 1, 1}, or zero for any count
  /// @throw std::invalid_argument
  MbGeometryI(MbIndex3 atLeast, MbPoints points);

  std::size_t getNodeCount() const override { return m_points.size(); }
  MbVec3d getNode(std::size_t node) const override { return mbPoint(m_points.getView(), node); }
  MiArrayView getView() const override { return m_points.getView(); }

private:
  MbPoints m_points;
};

/// A point for each (i, j).
class MbGeometryIj final : public MbGeometry<MiGeometryIj>
{
public:
  /// @param points  I fastest
  /// @throw std::invalid_argument
  MbGeometryIj(MbIndex3 nodeCounts, MbPoints points);

  std::size_t getNodeCountI() const override { return m_counts.x; }
  std::size_t getNodeCountJ() const override { return m_counts.y; }
  MbVec3d getNode(std::size_t i, std::size_t j) const override
  {
    return mbPoint(m_points.getView(), i + m_counts.x * j);
  }
  MiArrayView getView() const override { return m_points.getView(); }

private:
  MbIndex3 m_counts;
  MbPoints m_points;
};

/// A point for each (i, j, k).
class MbGeometryIjk final : public MbGeometry<MiGeometryIjk>
{
public:
  /// @param points  I fastest, then J, then K
  /// @throw std::invalid_argument
  MbGeometryIjk(MbIndex3 nodeCounts, MbPoints points);

  MbIndex3 getNodeCounts() const override { return m_counts; }
  MbVec3d getNode(std::size_t i, std::size_t j, std::size_t k) const override
  {
    return mbPoint(m_points.getView(), i + m_counts.x * (j + m_counts.y * k));
  }
  MiArrayView getView() const override { return m_points.getView(); }

private:
  MbIndex3 m_counts;
  MbPoints m_points;
};

/// A row of nodes at equal steps.
class MbGeometryRegularRow final : public MbGeometry<MiGeometryRegularRow>
{
public:
  MbGeometryRegularRow(MbIndex3 nodeCounts, MbVec3d origin, MbVec3d step)
      : m_count(nodeCounts.x), m_origin(origin), m_step(step)
  {}

  std::size_t getNodeCount() const override { return m_count; }
  MbVec3d getOrigin() const override { return m_origin; }
  MbVec3d getStep() const override { return m_step; }
  /// Moves the nodes and takes a new stamp.
  void set(MbVec3d origin, MbVec3d step)
  {
    m_origin = origin;
    m_step = step;
    touch();
  }

private:
  std::size_t m_count;
  MbVec3d m_origin, m_step;
};

/// A parallelogram lattice of nodes.
class MbGeometryRegularIj final : public MbGeometry<MiGeometryRegularIj>
{
public:
  MbGeometryRegularIj(MbIndex3 nodeCounts, MbVec3d origin, MbVec3d stepI, MbVec3d stepJ)
      : m_counts(nodeCounts), m_origin(origin), m_stepI(stepI), m_stepJ(stepJ)
  {}

  std::size_t getNodeCountI() const override { return m_counts.x; }
  std::size_t getNodeCountJ() const override { return m_counts.y; }
  MbVec3d getOrigin() const override { return m_origin; }
  MbVec3d getStepI() const override { return m_stepI; }
  MbVec3d getStepJ() const override { return m_stepJ; }
  /// Moves the nodes and takes a new stamp.
  void set(MbVec3d origin, MbVec3d stepI, MbVec3d stepJ)
  {
    m_origin = origin;
    m_stepI = stepI;
    m_stepJ = stepJ;
    touch();
  }

private:
  MbIndex3 m_counts;
  MbVec3d m_origin, m_stepI, m_stepJ;
};

/// A lattice of nodes along the axes.
class MbGeometryRegularIjk final : public MbGeometry<MiGeometryRegularIjk>
{
public:
  MbGeometryRegularIjk(MbIndex3 nodeCounts, MbVec3d origin, MbVec3d spacing)
      : m_counts(nodeCounts), m_origin(origin), m_spacing(spacing)
  {}

  MbIndex3 getNodeCounts() const override { return m_counts; }
  MbVec3d getOrigin() const override { return m_origin; }
  MbVec3d getSpacing() const override { return m_spacing; }
  /// Moves the nodes and takes a new stamp.
  void set(MbVec3d origin, MbVec3d spacing)
  {
    m_origin = origin;
    m_spacing = spacing;
    touch();
  }

private:
  MbIndex3 m_counts;
  MbVec3d m_origin, m_spacing;
};

/// Nodes at origin + a[i] * direction I + b[j] * direction J.
class MbGeometryRectilinearIj final : public MbGeometry<MiGeometryRectilinearIj>
{
public:
  /// @param a  a coordinate for each i
  /// @param b  a coordinate for each j
  /// @throw std::invalid_argument
  MbGeometryRectilinearIj(MbIndex3 nodeCounts, MbNumbers a, MbNumbers b, MbVec3d origin = {},
                          MbVec3d directionI = {1, 0, 0}, MbVec3d directionJ = {0, 1, 0});

  std::size_t getNodeCountI() const override { return m_counts.x; }
  std::size_t getNodeCountJ() const override { return m_counts.y; }
  double getCoordinate(int axis, std::size_t index) const override
  {
    return mbNumber(m_axes[axis].getView(), index);
  }
  MbVec3d getOrigin() const override { return m_origin; }
  MbVec3d getDirection(int axis) const override { return m_directions[axis]; }
  MiArrayView getAxisView(int axis) const override { return m_axes[axis].getView(); }

private:
  MbIndex3 m_counts;
  MbNumbers m_axes[2];
  MbVec3d m_origin, m_directions[2];
};

/// Nodes at (x[i], y[j], z[k]).
class MbGeometryRectilinearIjk final : public MbGeometry<MiGeometryRectilinearIjk>
{
public:
  /// @throw std::invalid_argument
  MbGeometryRectilinearIjk(MbIndex3 nodeCounts, MbNumbers x, MbNumbers y, MbNumbers z);

  MbIndex3 getNodeCounts() const override { return m_counts; }
  double getCoordinate(int axis, std::size_t index) const override
  {
    return mbNumber(m_axes[axis].getView(), index);
  }
  MiArrayView getAxisView(int axis) const override { return m_axes[axis].getView(); }

private:
  MbIndex3 m_counts;
  MbNumbers m_axes[3];
};

/// The point of depth (z) `depth` on the straight line through a pillar's two points; on a pillar
/// without extent in z, the first point gives x and y.
MbVec3d mbPillarPoint(const MbVec3d& a, const MbVec3d& b, double depth);

/// Eight corner points for each cell (i, j, k), from an array of corners or from pillars; the
/// layouts are those of MiVertexIjkView. mbPillarPoint tells where a corner lies on its pillar.
class MbGeometryVertexIjk final : public MbGeometry<MiGeometryVertexIjk>
{
public:
  /// @param corners  eight points a cell
  /// @throw std::invalid_argument
  MbGeometryVertexIjk(MbIndex3 nodeCounts, MbPoints corners);
  /// @param pillars  six numbers a pillar (two points)
  /// @param depths   eight numbers a cell, of all corners with I fastest
  /// @throw std::invalid_argument
  MbGeometryVertexIjk(MbIndex3 nodeCounts, MbNumbers pillars, MbNumbers depths);

  MbVec3d getCorner(std::size_t i, std::size_t j, std::size_t k, int corner) const override;
  MiVertexIjkView getView() const override;

private:
  MbIndex3 m_cells;
  MbPoints m_corners;
  MbNumbers m_pillars, m_depths;
};
