#pragma once

#include <velmo/extraction/algorithms/access/MxIjkGrid.h>

#include <cmath>

/// The cells and nodes of a surface numbered (i, j), or of a row, as a lattice: j and k are 0 where
/// there is no such index.
struct MxFlatGrid
{
  MxIjkNumbering cells, nodes;
  std::size_t cornerCount; ///< of a cell: 4, or 2 in a row
};

inline MxFlatGrid flatGridOf(const MiTopologyIj& topology)
{
  const std::size_t i = topology.getCellCountI(), j = topology.getCellCountJ();
  if (i == 0 || j == 0) return {{{0, 0, 1}}, {{0, 0, 1}}, 4};
  return {{{i, j, 1}}, {{i + 1, j + 1, 1}}, 4};
}
inline MxFlatGrid flatGridOf(const MiTopologyRow& topology)
{
  const std::size_t i = topology.getCellCount();
  if (i == 0) return {{{0, 1, 1}}, {{0, 1, 1}}, 2};
  return {{{i, 1, 1}}, {{i + 1, 1, 1}}, 2};
}

/// Whether a geometry has the nodes of a grid.
inline bool hasNodesOf(const MiGeometryIj& geometry, const MxFlatGrid& grid)
{
  return geometry.getNodeCountI() == grid.nodes.counts.x &&
         geometry.getNodeCountJ() == grid.nodes.counts.y;
}
inline bool hasNodesOf(const MiGeometryI& geometry, const MxFlatGrid& grid)
{
  return geometry.getNodeCount() == grid.nodes.counts.x;
}

/// The array of a geometry's points, null where there is none; tells one geometry from another.
template <class Geometry>
const void* nodeData(const Geometry& geometry)
{
  if constexpr (requires { geometry.getAxisView(0); })
    return geometry.getAxisView(0).data;
  else
    return geometry.getView().data;
}

/// The nodes of regular and rectilinear surfaces: node (i, j) lies at a[i] + b[j], the origin being
/// part of a.
struct MxFlatAxes
{
  std::vector<MbVec3d> a, b;

  MbVec3d operator[](std::size_t node) const
  {
    const std::size_t j = node / a.size();
    return a[node - j * a.size()] + b[j];
  }
  /// True when all nodes are sure to have a finite place.
  bool areFinite() const { return std::isfinite(2 * (largest(a) + largest(b))); }

private:
  static double largest(const std::vector<MbVec3d>& axis)
  {
    double most = 0;
    for (const MbVec3d& p : axis)
      for (const double value : {p.x, p.y, p.z})
        // Written so that a value that is no number stays.
        most = std::abs(value) <= most ? most : std::abs(value);
    return most;
  }
};

inline MxFlatAxes makeFlatAxes(const MiGeometryRegularIj& geometry, const MxFlatGrid& grid)
{
  MxFlatAxes axes;
  for (std::size_t i = 0; i < grid.nodes.counts.x; ++i)
    axes.a.push_back(geometry.getOrigin() + geometry.getStepI() * static_cast<double>(i));
  for (std::size_t j = 0; j < grid.nodes.counts.y; ++j)
    axes.b.push_back(geometry.getStepJ() * static_cast<double>(j));
  return axes;
}
inline MxFlatAxes makeFlatAxes(const MiGeometryRectilinearIj& geometry, const MxFlatGrid& grid)
{
  MxFlatAxes axes;
  for (std::size_t i = 0; i < grid.nodes.counts.x; ++i)
    axes.a.push_back(geometry.getOrigin() +
                     geometry.getDirection(0) * geometry.getCoordinate(0, i));
  for (std::size_t j = 0; j < grid.nodes.counts.y; ++j)
    axes.b.push_back(geometry.getDirection(1) * geometry.getCoordinate(1, j));
  return axes;
}

/// Nodes asked one by one.
struct MxVirtualFlatNodes
{
  const MiGeometryIj* geometry;
  std::size_t countI;
  MbVec3d operator[](std::size_t node) const
  {
    return geometry->getNode(node % countI, node / countI);
  }
};
struct MxVirtualNodes
{
  const MiGeometryI* geometry;
  MbVec3d operator[](std::size_t node) const { return geometry->getNode(node); }
};

/// Calls visit(points) with an object whose operator[] gives the place of a flat node of a geometry
/// that has the nodes of the grid.
template <class Geometry, class Visitor>
void visitFlatPoints(const Geometry& geometry, const MxFlatGrid& grid, Visitor&& visit)
{
  if constexpr (requires { makeFlatAxes(geometry, grid); })
    visit(makeFlatAxes(geometry, grid));
  else if constexpr (std::is_base_of_v<MiGeometryIj, Geometry>)
    visitPoints(geometry.getView(), grid.nodes.total(),
                MxVirtualFlatNodes{&geometry, grid.nodes.counts.x}, visit);
  else
    visitPoints(geometry.getView(), grid.nodes.total(), MxVirtualNodes{&geometry}, visit);
}
