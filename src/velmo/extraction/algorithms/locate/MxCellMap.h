#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxBoxTree.h>
#include <velmo/extraction/algorithms/locate/MxPlace.h>
#include <velmo/extraction/algorithms/locate/MxPolyhedron.h>
#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiCellShape.h>

#include <array>
#include <cstdint>
#include <limits>

/// How far from a surface's cell a point may lie, as a part of the cell's diagonal, and ...
inline constexpr double kSurfaceReach = 1e-3;
/// ... as a part of the largest coordinate: probes come as single-precision points.
inline constexpr double kSurfaceReachOfCoordinate = 2.4e-7;

/// One cell, read from its mesh, and the mapping between its reference cell and space.
///
/// Polygons are divided into triangles from their mean point to each edge, polyhedra into cones
/// (see MxPolyhedron). Parts are interpolated as triangles, tetrahedra and pyramids are, and at a
/// mean point the value is the mean of the corners': linear fields are given exactly and cells that
/// share a face agree on it.
///
/// An object is filled again and again, once per cell; it belongs to one thread.
class MxCellMap
{
public:
  static constexpr std::size_t kNoCell = std::numeric_limits<std::size_t>::max();

  std::size_t cell() const { return m_cell; }
  MiCellShape shape() const { return m_shape; }
  std::size_t size() const { return m_nodes.size(); }
  /// The nodes as data sets per node number them.
  const std::uint32_t* nodes() const { return m_nodes.data(); }
  const MbVec3d* points() const { return m_points.data(); }
  /// The box of all points that count as in the cell, also where its sides are curved.
  const MxBox3d& box() const { return m_box; }
  /// The lengths of the box of its nodes.
  const MbVec3d& extent() const { return m_extent; }

  /// Where the point is in the cell.
  /// @param place  a guess, and gets the place of a point that is in the cell
  /// @return how far outside the cell it is, in units of the cell, negative inside; of points that
  ///         are clearly outside anything positive, kNowhere for one that the mapping does not
  ///         reach or that is off a surface
  double findPlace(const MbVec3d& point, MxPlace& place) const;
  /// The same for a point that was found nowhere, with many starts, in a cell whose mapping turns
  /// back somewhere; kNowhere in all others.
  double findFoldedPlace(const MbVec3d& point, MxPlace& place) const;
  /// A guess for points of which nothing is known.
  MxPlace middle() const;
  /// @param w  gets size() weights, whose sum is one
  void weights(const MxPlace& place, double* w) const;
  /// Moves a place that is beyond the cell onto its rim.
  void pullIn(MxPlace& place) const;

  // For readers of meshes.

  /// Room for a cell's nodes.
  void begin(std::size_t cell, MiCellShape shape, std::size_t size)
  {
    m_cell = cell;
    m_shape = shape;
    m_nodes.resizeUninitialized(size);
    m_points.resizeUninitialized(size);
    m_polyhedron.faces().clear();
  }
  void setNode(std::size_t n, std::uint32_t node, const MbVec3d& point)
  {
    m_nodes[n] = node;
    m_points[n] = point;
  }
  /// A polyhedron's faces: for each the count of its nodes and their places among the cell's nodes.
  MxArray<std::uint32_t>& faces() { return m_polyhedron.faces(); }
  /// The last step: prepares the mapping. False for a cell that cannot be mapped: no dimension of
  /// two or three, no corners, a corner that is not finite.
  bool finish();
  void forget() { m_cell = kNoCell; }

private:
  enum class Effort : std::uint8_t
  {
    Usual,
    Great
  };
  template <Effort E>
  double find(const MbVec3d& point, MxPlace& place) const;
  template <MiCellShape Shape, Effort E>
  double invert(const MbVec3d& point, MxPlace& place) const;
  template <Effort E>
  double invertHexahedron(const MbVec3d& point, MxPlace& place) const;
  /// The position of a place, and its derivatives by r, s and t.
  template <MiCellShape Shape>
  MbVec3d slopesOf(const double (&at)[3], MbVec3d (&by)[3]) const;
  bool isFolded() const;
  double invertSimplex(const MbVec3d& point, MxPlace& place) const;
  /// A pyramid's mapping has no derivative at its apex.
  bool isAtApex(const MbVec3d& point) const;
  static double atApex(MxPlace& place);
  double invertPyramid(const MbVec3d& point, MxPlace& place) const;
  double invertPolygon(const MbVec3d& point, MxPlace& place) const;
  void prepareBox();
  void prepareSimplex();
  void prepareHexahedron();

  std::size_t m_cell = kNoCell;
  MiCellShape m_shape = MiCellShape::Empty;
  MiCellShape m_linear = MiCellShape::Empty;
  bool m_isSurface = false;
  MxArray<std::uint32_t> m_nodes;
  MxArray<MbVec3d> m_points;
  MxBox3d m_box;
  MbVec3d m_extent;
  double m_reach = 0; // surfaces only

  // Tetrahedra and triangles: r, s, t are these vectors times the way from corner 0.
  // Hexahedra: the coefficients of 1, r, s, t, rs, st, rt, rst.
  std::array<MbVec3d, 8> m_terms;
  MbVec3d m_centre; // of a polygon
  MxPolyhedron m_polyhedron;
};
