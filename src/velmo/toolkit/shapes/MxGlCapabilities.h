#pragma once

#include <cstddef>

class SoState;

/// What the graphics context can do.
class MxGlCapabilities
{
public:
  /// The largest width or height of a texture, in texels. Asked of the context that is current in
  /// the calling thread, once; while there has been none, 16384 is assumed.
  static int getMaxTextureSize();
  /// Whether a shader program can read numbers from textures, vertex by vertex, in the context of a
  /// state of an action that draws.
  /// @param width     texels of the widest texture
  /// @param uniforms  numbers in the uniform variables of its fragment stage
  static bool canFetchFloats(SoState* state, std::size_t width, std::size_t uniforms);
};
