#include <velmo/toolkit/shapes/TkTexture2.h>

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

#include <algorithm>
#include <array>

#ifndef GL_CLAMP_TO_EDGE
#define GL_CLAMP_TO_EDGE 0x812F
#endif
#ifndef GL_R32F
#define GL_R32F 0x822E
#endif
#ifndef GL_RGB32F
#define GL_RGB32F 0x8815
#endif

MO_NODE_SOURCE(TkTexture2, SoTexture2)

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
  for (const Made& made : m_made)
    if (made.image) made.image->unref(nullptr);
}

void TkTexture2::setFloats(std::span<const float> values, int components, int width)
{
  if (values.empty() && m_floats.empty()) return;
  m_floats = values;
  m_components = components;
  m_width = std::max(width, 1);
  touch();
}

bool TkTexture2::isTransparent() const
{
  if (holdsFloats()) return false;
  SbVec2s size;
  int components = 0;
  const unsigned char* bytes = image.getValue(size, components);
  if (components != 2 && components != 4) return false;
  const int count = size[0] * size[1];
  for (int i = 0; i < count; ++i) {
    if (bytes[(i + 1) * components - 1] < 255) return true;
  }
  return false;
}

bool TkTexture2::uploadBytes() const
{
  SbVec2s size;
  int components = 0;
  const unsigned char* bytes = image.getValue(size, components);
  if (!bytes || size[0] < 1 || size[1] < 1 || components < 1 || components > 4) return false;
  constexpr std::array<GLenum, 4> formats{GL_LUMINANCE, GL_LUMINANCE_ALPHA, GL_RGB, GL_RGBA};
  const GLenum format = formats[static_cast<std::size_t>(components - 1)];
  glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), size[0], size[1], 0, format,
               GL_UNSIGNED_BYTE, bytes);
  return true;
}

bool TkTexture2::uploadFloats(SoState* state) const
{
  int major = 0, minor = 0, largest = 0;
  SoGLCacheContextElement::getOpenGLVersion(state, major, minor);
  glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largest);
  const std::size_t components = m_components;
  const std::size_t count = m_floats.size() / components;
  const std::size_t width = std::min<std::size_t>(m_width, count);
  const std::size_t fullRows = count / width, rest = count % width;
  const std::size_t height = fullRows + (rest > 0);
  if (major < 3 || std::max(width, height) > static_cast<std::size_t>(largest)) return false;

  const GLenum format = components == 3 ? GL_RGB : GL_RED;
  const auto put = [&](std::size_t row, std::size_t texels, std::size_t rows) {
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, static_cast<GLint>(row), static_cast<GLsizei>(texels),
                    static_cast<GLsizei>(rows), format, GL_FLOAT,
                    m_floats.data() + row * width * components);
  };
  glTexImage2D(GL_TEXTURE_2D, 0, components == 3 ? GL_RGB32F : GL_R32F, static_cast<GLsizei>(width),
               static_cast<GLsizei>(height), 0, format, GL_FLOAT, nullptr);
  put(0, width, fullRows);
  if (rest > 0) put(fullRows, rest, 1);
  return true;
}

SoGLImage* TkTexture2::makeImage(SoState* state) const
{
  auto* texture = new SoGLDisplayList(state, SoGLDisplayList::TEXTURE_OBJECT, 1, FALSE);
  texture->ref();
  texture->open(state);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter.getValue());
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magFilter.getValue());
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  const bool uploaded = holdsFloats() ? uploadFloats(state) : uploadBytes();
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  texture->close(state);

  SoGLImage* made = nullptr;
  if (uploaded) {
    made = new SoGLImage;
    made->setGLDisplayList(texture, state, SoGLImage::CLAMP_TO_EDGE, SoGLImage::CLAMP_TO_EDGE);
    made->setFlags(made->getFlags() | (isTransparent() ? SoGLImage::FORCE_TRANSPARENCY_TRUE
                                                       : SoGLImage::FORCE_TRANSPARENCY_FALSE));
  }
  texture->unref(state);
  return made;
}

SoGLImage* TkTexture2::imageFor(SoState* state)
{
  const int context = SoGLCacheContextElement::get(state);
  const auto found = std::find_if(m_made.begin(), m_made.end(),
                                  [context](const Made& made) { return made.context == context; });
  if (found != m_made.end() && found->content == getNodeId()) return found->image;
  Made& made = found != m_made.end() ? *found : m_made.emplace_back(Made{context, 0, nullptr});
  if (made.image) made.image->unref(state);
  made.image = makeImage(state);
  made.content = getNodeId();
  // A texture object made while a list is recorded would be recorded with it.
  SoCacheElement::setInvalid(TRUE);
  if (state->isCacheOpen()) SoCacheElement::invalidate(state);
  return made.image;
}

void TkTexture2::GLRender(SoGLRenderAction* action)
{
  SoState* state = action->getState();
  const int unit = SoTextureUnitElement::get(state);
  if (unit == 0 && SoTextureOverrideElement::getImageOverride(state)) return;

  SoGLImage* made = imageFor(state);
  SoGLMultiTextureImageElement::set(
      state, this, unit, made, static_cast<SoMultiTextureImageElement::Model>(model.getValue()),
      blendColor.getValue());
  // An enabled unit would ask shapes for texture coordinates.
  SoGLMultiTextureEnabledElement::set(state, this, unit, made != nullptr && !holdsFloats());
  if (isOverride() && unit == 0) SoTextureOverrideElement::setImageOverride(state, TRUE);
}
