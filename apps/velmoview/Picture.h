#pragma once

#include <velmoview/Options.h>

#include <iosfwd>

class SoNode;

namespace velmoview {

/// What became of a picture.
struct Picture
{
  bool blank = true; ///< every pixel as without the scene
  double renderMs = 0;
};

/// Draws the scene and writes it as PNG, to `out` when the file is called "-".
/// @throw std::runtime_error when nothing can be drawn or the file cannot be written
Picture drawPicture(SoNode* root, const Options& options, std::ostream& out);

} // namespace velmoview
