#pragma once

/// The library's shader sources.
class SoTarvinShaders
{
public:
  /// Makes them known as in-memory text files under their file names ("fading_vert.glsl", ...).
  static void init();
};
