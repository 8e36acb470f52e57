#include <velmo/toolkit/TkTexture2.h>

#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/elements/SoCacheElement.h>
#include <Inventor/elements/SoGLCacheContextElement.h>
#include <Inventor/elements/SoGLDisplayList.h>
#include <Inventor/elements/SoGLMultiTextureEnabledElement.h>
#include <Inventor/elements/SoGLMultiTextureImageElement.h>
#include <Inventor/elements/SoTextureOverrideElement.h>
#include <Inventor/elements/SoTextureUnitElement.h>
#include <Inventor/misc/SoGLImage.h>
#include <Inventor/system/gl.h>

#include <array>

#ifndef GL_CLAMP_TO_EDGE
#define GL_CLAMP_TO_EDGE 0x812F
#endif

MO_NODE_SOURCE(TkTexture2, SoTexture2)

namespace {

bool isTransparent(const unsigned char* bytes, SbVec2s size, int components)
{
  if (components != 2 && components != 4) return false;
  const int count = size[0] * size[1];
  for (int i = 0; i < count; ++i) {
    if (bytes[(i + 1) * components - 1] < 255) return true;
  }
  return false;
}

} // namespace

TkTexture2::TkTexture2()
{
  SO_NODE_CONSTRUCTOR(TkTexture2);
  SO_NODE_ADD_FIELD(minFilter, (NEAREST));
  SO_NODE_ADD_FIELD(magFilter, (NEAREST));
  SO_NODE_DEFINE_ENUM_VALUE(Filter, NEAREST);
  SO_NODE_DEFINE_ENUM_VALUE(Filter, LINEAR);
  SO_NODE_SET_SF_ENUM_TYPE(minFilter, Filter);
  SO_NODE_SET_SF_ENUM_TYPE(magFilter, Filter);
}

TkTexture2::~TkTexture2()
{
  if (m_glImage) m_glImage->unref(nullptr);
}

SoGLImage* TkTexture2::makeImage(SoState* state) const
{
  SbVec2s size;
  int components = 0;
  const unsigned char* bytes = image.getValue(size, components);
  if (!bytes || size[0] < 1 || size[1] < 1 || components < 1 || components > 4) return nullptr;

  constexpr std::array<GLenum, 4> formats{GL_LUMINANCE, GL_LUMINANCE_ALPHA, GL_RGB, GL_RGBA};
  const GLenum format = formats[static_cast<std::size_t>(components - 1)];
  auto* texture = new SoGLDisplayList(state, SoGLDisplayList::TEXTURE_OBJECT, 1, FALSE);
  texture->ref();
  texture->open(state);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter.getValue());
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magFilter.getValue());
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), size[0], size[1], 0, format,
               GL_UNSIGNED_BYTE, bytes);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  texture->close(state);

  auto* made = new SoGLImage;
  made->setGLDisplayList(texture, state, SoGLImage::CLAMP_TO_EDGE, SoGLImage::CLAMP_TO_EDGE);
  made->setFlags(made->getFlags() |
                 (isTransparent(bytes, size, components) ? SoGLImage::FORCE_TRANSPARENCY_TRUE
                                                         : SoGLImage::FORCE_TRANSPARENCY_FALSE));
  texture->unref(state);
  return made;
}

void TkTexture2::GLRender(SoGLRenderAction* action)
{
  SoState* state = action->getState();
  const int unit = SoTextureUnitElement::get(state);
  if (unit == 0 && SoTextureOverrideElement::getImageOverride(state)) return;

  const int context = SoGLCacheContextElement::get(state);
  if (!m_glImage || m_context != context || m_content != getNodeId()) {
    if (m_glImage) m_glImage->unref(state);
    m_glImage = makeImage(state);
    m_context = context;
    m_content = getNodeId();
    // A texture object made while a list is recorded would be recorded with it.
    SoCacheElement::setInvalid(TRUE);
    if (state->isCacheOpen()) SoCacheElement::invalidate(state);
  }
  SoGLMultiTextureImageElement::set(
      state, this, unit, m_glImage,
      static_cast<SoMultiTextureImageElement::Model>(model.getValue()), blendColor.getValue());
  SoGLMultiTextureEnabledElement::set(state, this, unit, m_glImage != nullptr);
  if (isOverride() && unit == 0) SoTextureOverrideElement::setImageOverride(state, TRUE);
}
