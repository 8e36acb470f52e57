#include <velmo/toolkit/shapes/MxGlCapabilities.h>

#include <Inventor/elements/SoGLCacheContextElement.h>
#include <Inventor/system/gl.h>

#ifndef GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS
#define GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS 0x8B4C
#endif
#ifndef GL_MAX_FRAGMENT_UNIFORM_COMPONENTS
#define GL_MAX_FRAGMENT_UNIFORM_COMPONENTS 0x8B49
#endif

namespace {
std::size_t limitOf(GLenum name)
{
  GLint value = 0;
  glGetIntegerv(name, &value);
  return value > 0 ? static_cast<std::size_t>(value) : 0;
}
} // namespace

int MxGlCapabilities::getMaxTextureSize()
{
  static GLint s_maxTextureSize = 0;
  // Without a current context the call leaves the variable alone.
  if (s_maxTextureSize <= 0) glGetIntegerv(GL_MAX_TEXTURE_SIZE, &s_maxTextureSize);
  return s_maxTextureSize > 0 ? s_maxTextureSize : 16384;
}

bool MxGlCapabilities::canFetchFloats(SoState* state, std::size_t width, std::size_t uniforms)
{
  int major = 0, minor = 0;
  SoGLCacheContextElement::getOpenGLVersion(state, major, minor);
  return major >= 3 && limitOf(GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS) >= 2 &&
         limitOf(GL_MAX_TEXTURE_SIZE) >= width &&
         limitOf(GL_MAX_FRAGMENT_UNIFORM_COMPONENTS) >= uniforms;
}
