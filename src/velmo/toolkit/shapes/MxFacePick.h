#pragma once

#include <velmo/toolkit/shapes/MxFaceState.h>

class SoIndexedFaceSet;
class SoRayPickAction;

/// Finds the faces on the ray of a pick through the tree, and adds a point for each as the
/// toolkit's face set would: the same position, side, detail, normal and texture coordinates. A ray
/// along a diagonal of a polygon gives one point, not two.
///
/// The ray has to be in object space, and `state` read.
void mxPickFaces(SoIndexedFaceSet& shape, SoRayPickAction& action, MxFaceState& state);
