#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>

#include <span>

class SoPerspectiveCamera;

namespace velmoview {

/// The directions of a picture: to the right, up, and towards the viewer; unit length.
struct ViewAxes
{
  MbVec3d right, up, back;
};

/// z points up, or y when the view runs along z.
/// @param direction  in which the camera looks, not zero
ViewAxes viewAxes(const MbVec3d& direction);

/// Moves the camera as close as it can be with all points in the picture and a margin around them.
/// Without a finite point it stays where it is.
/// @param aspect  width over height of the picture
void fitCamera(SoPerspectiveCamera& camera, std::span<const MbVec3d> points, const ViewAxes& axes,
               double aspect);

} // namespace velmoview
