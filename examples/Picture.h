#pragma once

#include <MxPng.h>

#include <velmo/toolkit/MxOffscreenCanvas.h>

#include <cstdio>

/// Draws a scene without a screen into a PNG file; false, with a message, when that fails.
inline bool writePicture(const char* path, SoNode* scene, int width, int height,
                         const SbColor4f& background = {0.95f, 0.96f, 0.98f, 1})
{
  MxOffscreenCanvas canvas;
  canvas.setBackground(background);
  const MxImage picture = canvas.render(scene, width, height);
  std::string error = canvas.error();
  if (!picture.empty() && mxWritePng(path, picture, error)) return true;
  std::fprintf(stderr, "%s: %s\n", path, error.c_str());
  return false;
}
