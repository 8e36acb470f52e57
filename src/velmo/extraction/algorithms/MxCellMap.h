#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxBoxTree.h>
#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiCellShape.h>

#include <array>
#include <cstdint>
#include <limits>

/// How far outside a cell a point may lie and still count as in it, in units of the cell: a point
/// on a face, an edge or a node is found whatever the rounding. A point that is further inside than
/// this belongs to that cell alone.
inline constexpr double kInsideTolerance = 1e-6;
/// How far from a surface's cell a point may lie, as a part of the cell's diagonal, and ...
inline constexpr double kSurfaceReach = 1e-3;
/// ... as a part of the largest coordinate: probes come as single-precision points.
inline constexpr double kSurfaceReachOfCoordinate = 2.4e-7;

/// A place in a cell: r, s, t of the reference cell (see MxShapeFunctions.h); for polygons and
/// polyhedra the weights of the corners of one of their parts.
struct MxPlace
{
  double r[3] = {0, 0, 0};
  std::uint32_t part = 0;
};

/// One cell, read from its mesh, and the mapping between its reference cell and space.
///
/// Polygons and polyhedra are divided into triangles and tetrahedra: their mean point with each
/// edge of the polygon; the cell's mean point and a face's mean point with each edge of the face.
/// Within a part the interpolation is linear, at a mean point the value is the mean of the
/// corners': linear fields are given exactly and cells that share a face agree on it.
///
/// An object is filled again and again, once a cell; it belongs to one thread.
class MxCellMap
{
public:
  static constexpr std::size_t kNoCell = std::numeric_limits<std::size_t>::max();
  /// What `findPlace` answers for a point that has no place in the cell.
  static constexpr double kNowhere = std::numeric_limits<double>::infinity();

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
  /// A guess for points of which nothing is known.
  MxPlace middle() const;
  /// @param w  gets size() weights, whose sum is one
  void weights(const MxPlace& place, double* w) const;

  // For readers of meshes.

  /// Room for a cell's nodes.
  void begin(std::size_t cell, MiCellShape shape, std::size_t size)
  {
    m_cell = cell;
    m_shape = shape;
    m_nodes.resizeUninitialized(size);
    m_points.resizeUninitialized(size);
    m_faces.clear();
  }
  void setNode(std::size_t n, std::uint32_t node, const MbVec3d& point)
  {
    m_nodes[n] = node;
    m_points[n] = point;
  }
  /// A polyhedron's faces: for each the count of its nodes and their places among the cell's nodes.
  MxArray<std::uint32_t>& faces() { return m_faces; }
  /// The last step: prepares the mapping. False for a cell that cannot be mapped: no dimension of
  /// two or three, no corners, a corner that is not finite.
  bool finish();
  void forget() { m_cell = kNoCell; }

private:
  template <MiCellShape Shape>
  double invert(const MbVec3d& point, MxPlace& place) const;
  double invertHexahedron(const MbVec3d& point, MxPlace& place) const;
  double invertSimplex(const MbVec3d& point, MxPlace& place) const;
  double invertParts(const MbVec3d& point, MxPlace& place) const;
  void prepareBox();
  void prepareSimplex();
  void prepareHexahedron();
  void listParts();

  std::size_t m_cell = kNoCell;
  MiCellShape m_shape = MiCellShape::Empty;
  MiCellShape m_linear = MiCellShape::Empty;
  bool m_isSurface = false;
  MxArray<std::uint32_t> m_nodes;
  MxArray<MbVec3d> m_points;
  MxArray<std::uint32_t> m_faces;
  MxBox3d m_box;
  MbVec3d m_extent;
  double m_reach = 0; // surfaces only

  // Tetrahedra and triangles: r, s, t are these vectors times the way from corner 0.
  // Hexahedra: the coefficients of 1, r, s, t, rs, st, rt, rst.
  std::array<MbVec3d, 8> m_terms;

  /// A part of a polygon or polyhedron: the edge from corner a to b, and for polyhedra the face.
  struct Part
  {
    std::uint32_t a, b, face;
  };
  struct Face
  {
    std::uint32_t begin, size;
    MbVec3d centre;
  };
  MxArray<Part> m_parts;
  MxArray<Face> m_partFaces;
  MbVec3d m_centre;
};
