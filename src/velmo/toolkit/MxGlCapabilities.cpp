#include <velmo/toolkit/MxGlCapabilities.h>

#include <Inventor/system/gl.h>

int MxGlCapabilities::getMaxTextureSize()
{
  static GLint s_maxTextureSize = 0;
  // Without a current context the call leaves the variable alone.
  if (s_maxTextureSize <= 0) glGetIntegerv(GL_MAX_TEXTURE_SIZE, &s_maxTextureSize);
  return s_maxTextureSize > 0 ? s_maxTextureSize : 16384;
}
