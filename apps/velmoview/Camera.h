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

/// Shares of the picture's width and height that are kept free.
struct PictureMargins
{
  double left = 0, right = 0, bottom = 0, top = 0;
};

/// Moves the camera as close as it can be with all points in the picture and a margin around them.
/// Without a finite point it stays where it is.
/// @param aspect   width over height of the picture
/// @param margins  at the borders of the picture, besides the usual ones
void fitCamera(SoPerspectiveCamera& camera, std::span<const MbVec3d> points, const ViewAxes& axes,
               double aspect, const PictureMargins& margins = {});

} // namespace velmoview
