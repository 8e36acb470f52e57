#pragma once

#include <velmo/toolkit/shapes/MxLineState.h>

class SoRayPickAction;
class SoVertexShape;

/// Finds the segments of a line set, or the points of a point set, that a pick comes near enough to
/// by the radius of its action, through the tree, and adds a point for each with an SoLineDetail or
/// SoPointDetail. The ends in a line's detail are those of the segment.
///
/// The ray has to be in object space, and `lines` read.
void mxPickLines(SoVertexShape& shape, SoRayPickAction& action, MxLineState& lines);
