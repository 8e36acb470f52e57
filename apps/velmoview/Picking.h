#pragma once

#include <velmoview/Model.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace velmoview {

class Scene;

/// What lies under a pixel of the picture.
struct Picked
{
  std::array<int, 2> pixel; ///< to the right and down from the upper left corner
  bool found = false;
  std::string type;              ///< of the representation, as in the report
  std::vector<std::size_t> cell; ///< of the mesh that was read: one index, or two or three
  MbVec3d point;                 ///< in the coordinates of the mesh
  /// Every array at the point, one number a component: of the cell, or interpolated between nodes.
  std::vector<std::pair<std::string, std::vector<double>>> values;
};

/// Looks through every pixel that the options name. The scene's camera is aimed.
std::vector<Picked> pickPixels(const Scene& scene, const Model& model, const Options& options);

} // namespace velmoview
