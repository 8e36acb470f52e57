#pragma once

#include <string>

#include <Inventor/SbColor4f.h>

class SoNode;

/// Draws a scene into a PNG file, without a window or an X server.
///
/// A scene without a camera is seen whole, from the front, right and above (+X, -Y, +Z) with Z
/// upward, and one without a light is lit from the camera. An opaque background gives an opaque
/// picture. For several pictures of one scene, as of a movie, or a picture in memory, keep a
/// MoOffscreenCanvas, which does not send the scene to the graphics memory each time, and write
/// what it draws with mbWritePng().
///
/// Extraction in the background draws what there is so far: wait for the representations first.
///
/// @param path           a file that is there is replaced
/// @param scene          borrowed for the call and not changed
/// @param width, height  in pixels, at least 1 and at most MoOffscreenCanvas::maxSize()
/// @param background     red, green, blue and opacity, each 0 to 1
/// @param error          receives the reason of a failure. Null: it is posted as a warning
/// @return false when nothing can be drawn here or the file cannot be written
///
/// *Threads*: the thread that traverses scenes.
bool moWritePicture(const std::string& path, SoNode* scene, int width, int height,
                    const SbColor4f& background = SbColor4f(0.95f, 0.96f, 0.98f, 1),
                    std::string* error = nullptr);
