#pragma once

/// What the graphics context can do.
class MxGlCapabilities
{
public:
  /// The largest width or height of a texture, in texels. Asked of the context that is current in
  /// the calling thread, once; while there has been none, 16384 is assumed.
  static int getMaxTextureSize();
};
