#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>

#include <algorithm>
#include <cmath>

/// Solves a x + b y + c z = d. False when the three have no common volume.
inline bool solveVectors(const MbVec3d& a, const MbVec3d& b, const MbVec3d& c, const MbVec3d& d,
                         double (&x)[3])
{
  const MbVec3d bc = cross(b, c);
  const double determinant = dot(a, bc);
  if (!(std::abs(determinant) > 0)) return false;
  const double inverse = 1 / determinant;
  x[0] = dot(d, bc) * inverse;
  x[1] = dot(a, cross(d, c)) * inverse;
  x[2] = dot(a, cross(b, d)) * inverse;
  return std::isfinite(x[0] + x[1] + x[2]);
}

/// Where a line from the origin, the apex of a cone, meets what the cone stands on.
struct MxConePlace
{
  /// The weights of the first two corners of a triangle, the third has the rest; or r and s on the
  /// unit square that a patch is the image of.
  double u = 0, v = 0;
  /// What part of the way from the apex to there the point is.
  double way = 0;

  /// How far the point is outside the sides of the cone, as a part of its height; negative inside.
  double besideTriangle() const { return way * -std::min(std::min(u, v), 1 - u - v); }
  double besidePatch() const { return way * std::max(std::max(-u, -v), std::max(u, v) - 1); }
};

/// Calls visit(place) for the place of point x in the cone over the plane of a triangle, where
/// there is one on the triangle's side of the apex, the origin.
template <class Visit>
void visitTriangleCone(const MbVec3d& a, const MbVec3d& b, const MbVec3d& c, const MbVec3d& x,
                       Visit&& visit)
{
  double w[3];
  if (!solveVectors(a, b, c, x, w)) return;
  const double way = w[0] + w[1] + w[2];
  if (way > 0)
    visit(MxConePlace{w[0] / way, w[1] / way, way});
  else if (x == MbVec3d{})
    visit(MxConePlace{});
}

/// Calls visit(place) for the places of point x in the cone over the surface that the bilinear
/// interpolation between four corners, in their order around a face, spans: none, one or, where it
/// is so warped that a line meets it twice, two. The apex is the origin.
template <class Visit>
void visitPatchCone(const MbVec3d (&q)[4], const MbVec3d& x, Visit&& visit)
{
  if (x == MbVec3d{}) {
    visit(MxConePlace{0.5, 0.5, 0});
    return;
  }
  // Between first(u) on one side and second(u) on the other a segment runs through the patch; the
  // plane through it and the apex must hold the point: a quadratic equation.
  const MbVec3d along = q[1] - q[0], opposite = q[2] - q[3];
  const double c0 = dot(x, cross(q[0], q[3])),
               c1 = dot(x, cross(q[0], opposite) + cross(along, q[3])),
               c2 = dot(x, cross(along, opposite));
  const double discriminant = c1 * c1 - 4 * c2 * c0;
  if (!(discriminant >= 0)) return;
  const double larger = -0.5 * (c1 + std::copysign(std::sqrt(discriminant), c1));
  for (const double u : {c0 / larger, larger / c2}) {
    if (!(std::abs(u) < 1e6)) continue; // none, or far from the patch
    const MbVec3d first = q[0] + along * u, second = q[3] + opposite * u;
    const MbVec3d normal = cross(first, second);
    const double size = dot(normal, normal);
    if (!(size > 0)) continue;
    const double b = dot(cross(first, x), normal) / size;
    const double way = dot(cross(x, second), normal) / size + b;
    if (way > 0) visit(MxConePlace{u, b / way, way});
  }
}
