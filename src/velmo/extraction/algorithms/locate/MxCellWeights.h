#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>

#include <span>
#include <vector>

/// How much each corner of a polygon counts at a point of it; the weights add up to 1.
///
/// Strictly convex polygons have weights after M. Meyer, H. Lee, A. Barr, M. Desbrun: Generalized
/// barycentric coordinates on irregular polygons (2002), which are the usual ones of triangles and
/// parallelograms; all others mean value coordinates (M. S. Floater: Mean value coordinates, 2003).
/// Along an edge only its ends count, linearly. A warped polygon is seen along its vector area; a
/// point outside counts as the nearest one of the outline.
///
/// @param corners  at least one; may be in either sense
/// @param weights  replaced, one per corner
void polygonWeights(std::span<const MbVec3d> corners, const MbVec3d& at,
                    std::vector<double>& weights);

/// How much each corner of a polyline counts at the point of it that is nearest: only the ends of
/// one segment do.
/// @param corners  at least one
/// @param weights  replaced, one per corner
void polylineWeights(std::span<const MbVec3d> corners, const MbVec3d& at,
                     std::vector<double>& weights);
