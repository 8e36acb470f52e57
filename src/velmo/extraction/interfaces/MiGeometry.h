#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiArrayView.h>

/// Where the nodes of a mesh are, in mesh space.
/// *Threads*: the const functions of a geometry are called from several threads at once.
class MiGeometry
{
public:
  virtual ~MiGeometry() = default;
  /// Changes whenever a node may have moved.
  virtual std::uint64_t getTimeStamp() const = 0;
};

/// Nodes numbered by one index (unstructured meshes, hexahedron IJK meshes, rows).
class MiGeometryI : public virtual MiGeometry
{
public:
  virtual std::size_t getNodeCount() const = 0;
  virtual MbVec3d getNode(std::size_t node) const = 0;
  /// The points, one triple a node, or an empty view.
  virtual MiArrayView getView() const { return {}; }
};

/// Nodes numbered (i, j).
class MiGeometryIj : public virtual MiGeometry
{
public:
  virtual std::size_t getNodeCountI() const = 0;
  virtual std::size_t getNodeCountJ() const = 0;
  virtual MbVec3d getNode(std::size_t i, std::size_t j) const = 0;
  /// The points, I fastest, or an empty view.
  virtual MiArrayView getView() const { return {}; }
};

/// Nodes numbered (i, j, k).
class MiGeometryIjk : public virtual MiGeometry
{
public:
  /// Nodes along I, J and K.
  virtual MbIndex3 getNodeCounts() const = 0;
  virtual MbVec3d getNode(std::size_t i, std::size_t j, std::size_t k) const = 0;
  /// The points, I fastest, then J, then K, or an empty view.
  virtual MiArrayView getView() const { return {}; }
};

/// A row of nodes at equal steps.
class MiGeometryRegularRow : public virtual MiGeometryI
{
public:
  virtual MbVec3d getOrigin() const = 0;
  /// From each node to the next.
  virtual MbVec3d getStep() const = 0;
  MbVec3d getNode(std::size_t i) const override
  {
    return getOrigin() + getStep() * static_cast<double>(i);
  }
};

/// Nodes on a parallelogram lattice.
class MiGeometryRegularIj : public virtual MiGeometryIj
{
public:
  virtual MbVec3d getOrigin() const = 0;
  /// From node (i, j) to (i + 1, j).
  virtual MbVec3d getStepI() const = 0;
  /// From node (i, j) to (i, j + 1).
  virtual MbVec3d getStepJ() const = 0;
  MbVec3d getNode(std::size_t i, std::size_t j) const override
  {
    return getOrigin() + getStepI() * static_cast<double>(i) + getStepJ() * static_cast<double>(j);
  }
};

/// Nodes on a rectangular lattice along the axes of the space.
class MiGeometryRegularIjk : public virtual MiGeometryIjk
{
public:
  virtual MbVec3d getOrigin() const = 0;
  /// Step along each axis; may be negative.
  virtual MbVec3d getSpacing() const = 0;
  MbVec3d getNode(std::size_t i, std::size_t j, std::size_t k) const override
  {
    const MbVec3d origin = getOrigin(), step = getSpacing();
    return {origin.x + step.x * static_cast<double>(i), origin.y + step.y * static_cast<double>(j),
            origin.z + step.z * static_cast<double>(k)};
  }
};

/// Nodes at origin + a[i] * direction I + b[j] * direction J.
class MiGeometryRectilinearIj : public virtual MiGeometryIj
{
public:
  /// Coordinate `index` of axis 0 (I) or 1 (J).
  virtual double getCoordinate(int axis, std::size_t index) const = 0;
  virtual MbVec3d getOrigin() const { return {}; }
  virtual MbVec3d getDirection(int axis) const
  {
    return axis == 0 ? MbVec3d{1, 0, 0} : MbVec3d{0, 1, 0};
  }
  /// The coordinates of an axis, or an empty view.
  virtual MiArrayView getAxisView(int axis) const
  {
    (void)axis;
    return {};
  }
  MbVec3d getNode(std::size_t i, std::size_t j) const override
  {
    return getOrigin() + getDirection(0) * getCoordinate(0, i) +
           getDirection(1) * getCoordinate(1, j);
  }
};

/// Nodes at (x[i], y[j], z[k]).
class MiGeometryRectilinearIjk : public virtual MiGeometryIjk
{
public:
  /// Coordinate `index` of axis 0, 1 or 2.
  virtual double getCoordinate(int axis, std::size_t index) const = 0;
  /// The coordinates of an axis, or an empty view.
  virtual MiArrayView getAxisView(int axis) const
  {
    (void)axis;
    return {};
  }
  MbVec3d getNode(std::size_t i, std::size_t j, std::size_t k) const override
  {
    return {getCoordinate(0, i), getCoordinate(1, j), getCoordinate(2, k)};
  }
};

/// The arrays behind a vertex-hexahedron geometry, where it has them: either the eight corners of
/// every cell, or a corner-point grid's pillars.
///
/// *Shape*, for ni x nj x nk cells: `corners` has 8 points a cell, cells with I fastest, corners in
/// the order of a hexahedron. `pillars` has 6 numbers (two points) for each of (ni + 1)(nj + 1)
/// pillars, I fastest; `depths` has 2ni x 2nj x 2nk numbers, I fastest: the depth of each cell
/// corner on its pillar.
struct MiVertexIjkView
{
  MiArrayView corners;
  MiArrayView pillars;
  MiArrayView depths;
};

/// Eight corner points of its own for every cell (i, j, k).
class MiGeometryVertexIjk : public virtual MiGeometry
{
public:
  /// Corner 0 to 7 of a cell, in the order of a hexahedron: 0 to 3 around the lower K face, 4 to 7
  /// above.
  virtual MbVec3d getCorner(std::size_t i, std::size_t j, std::size_t k, int corner) const = 0;
  virtual MiVertexIjkView getView() const { return {}; }
};
