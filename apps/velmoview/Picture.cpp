#include <velmoview/Picture.h>

#include <velmoview/Measure.h>
#include <velmoview/Outputs.h>

#include <velmo/picture/MbPng.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <algorithm>
#include <cstring>
#include <Inventor/nodes/SoSeparator.h>
#include <stdexcept>

namespace velmoview {

Picture drawPicture(SoNode* root, const Options& options, std::ostream& out)
{
  MoOffscreenCanvas canvas;
  const auto& b = options.background;
  // A little darker towards the bottom gives the mesh a ground to stand on.
  const SbColor4f top(b[0], b[1], b[2], 1);
  const SbColor4f bottom(b[0] * 0.88f, b[1] * 0.89f, b[2] * 0.91f, 1);
  canvas.setBackground(top, bottom);
  const auto render = [&](SoNode* scene) {
    MbImage image = canvas.render(scene, options.size[0], options.size[1]);
    if (image.empty()) throw std::runtime_error("nothing can be drawn here: " + canvas.error());
    return image;
  };

  const SoRef<SoSeparator> nothing(new SoSeparator);
  const MbImage empty = render(nothing); // and the graphics context is started
  Picture picture;
  const Stopwatch stopwatch;
  const MbImage image = render(root);
  picture.renderMs = stopwatch.milliseconds();
  picture.blank = image.rgba == empty.rgba;

  std::string error;
  if (options.output == "-") {
    const std::vector<std::uint8_t> bytes = mbEncodePng(image, error);
    if (bytes.empty()) throw std::runtime_error("the picture: " + error);
    writeOut(out, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  } else if (!mbWritePng(options.output, image, error)) {
    throw std::runtime_error(error);
  }
  return picture;
}

} // namespace velmoview
