#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/extraction/algorithms/locate/MxPlace.h>
#include <velmo/extraction/interfaces/MbVec3.h>

#include <span>

/// A polyhedron as cones from its mean point over its faces: tetrahedra over triangles, over quads
/// pyramids whose base is the same bilinear patch as a hexahedron's side, over larger polygons fans
/// of tetrahedra around the polygon's mean point. So it has no gap to a neighbour of any shape.
///
/// A point inside is one that a line leaves through an odd number of faces: hollow polyhedra hold
/// nothing of their notches, and faces may be listed in either sense. An object is filled again and
/// again and belongs to one thread.
class MxPolyhedron
{
public:
  /// For each face the count of its nodes and their places among the cell's nodes; to be filled
  /// before `prepare`.
  MxArray<std::uint32_t>& faces() { return m_faces; }
  void prepare(std::span<const MbVec3d> points);

  /// As MxCellMap's; r, s and t of a place are weights of a tetrahedron's three other corners, or
  /// the place in a pyramid.
  double findPlace(const MbVec3d& point, MxPlace& place) const;
  /// @param w  gets a weight for each of the cell's `count` nodes
  void weights(const MxPlace& place, std::size_t count, double* w) const;
  /// Moves a place that is beyond its part onto its rim.
  void pullIn(MxPlace& place) const;

private:
  /// A tetrahedron over a face that is a triangle, a pyramid over a quad, or a tetrahedron over an
  /// edge of a larger face.
  struct Part
  {
    MbVec3d corners[4]; ///< from the cell's mean point on
    std::uint32_t nodes[4];
    std::uint32_t begin, size; ///< of the face's nodes in m_faces
    bool isPatch() const { return size == 4; }
    bool isFan() const { return size > 4; }
  };

  template <class Visit>
  static void visitCone(const Part& part, const MbVec3d& x, const Visit& visit);
  double findInHollow(const MbVec3d& x, MxPlace& place) const;
  bool holds(const MbVec3d& x) const;
  /// Whether each line from the mean point leaves the cell once.
  bool isStar() const;

  MxArray<std::uint32_t> m_faces;
  MxArray<Part> m_parts;
  MbVec3d m_centre;
  enum class Star : std::uint8_t
  {
    Unknown,
    Yes,
    No
  };
  mutable Star m_star = Star::Unknown; ///< looked for where it is needed
};
