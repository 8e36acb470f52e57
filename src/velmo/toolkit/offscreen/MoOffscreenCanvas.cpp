#define GL_GLEXT_PROTOTYPES 1
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <algorithm>
#include <cstring>

#include <GL/gl.h>
#include <GL/glext.h>
#include <Inventor/C/glue/gl.h>
#include <Inventor/elements/SoGLCacheContextElement.h>
#include <Inventor/errors/SoDebugError.h>
#include <Inventor/misc/SoContextHandler.h>
#include <Inventor/nodes/SoNode.h>
#include <Inventor/SbViewportRegion.h>
#include <Inventor/SoDB.h>

#include <velmo/toolkit/offscreen/MxOffscreenContext.h>

namespace {

constexpr int kSamples = 4;
/// Larger pictures are drawn with one sample a pixel: four would take 32 bytes a pixel.
constexpr std::int64_t kMostAntialiasedPixels = std::int64_t{1} << 26;

int glInteger(GLenum name)
{
  GLint value = 0;
  glGetIntegerv(name, &value);
  return value;
}

/// A framebuffer with renderbuffers of its own.
class Framebuffer
{
public:
  Framebuffer(int width, int height, int samples, bool withDepth)
  {
    glGenFramebuffers(1, &m_framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
    glGenRenderbuffers(2, m_renderbuffers);
    attach(0, GL_RGBA8, GL_COLOR_ATTACHMENT0, width, height, samples);
    if (withDepth)
      attach(1, GL_DEPTH24_STENCIL8, GL_DEPTH_STENCIL_ATTACHMENT, width, height, samples);
    m_complete = glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE &&
                 glGetError() == GL_NO_ERROR;
  }
  ~Framebuffer()
  {
    glDeleteFramebuffers(1, &m_framebuffer);
    glDeleteRenderbuffers(2, m_renderbuffers);
  }
  Framebuffer(const Framebuffer&) = delete;
  Framebuffer& operator=(const Framebuffer&) = delete;

  bool complete() const { return m_complete; }
  GLuint id() const { return m_framebuffer; }

private:
  void attach(int i, GLenum format, GLenum attachment, int width, int height, int samples)
  {
    glBindRenderbuffer(GL_RENDERBUFFER, m_renderbuffers[i]);
    glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples > 1 ? samples : 0, format, width,
                                     height);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, attachment, GL_RENDERBUFFER, m_renderbuffers[i]);
  }

  GLuint m_framebuffer = 0;
  GLuint m_renderbuffers[2] = {0, 0};
  bool m_complete = false;
};

int limitOfCurrentContext()
{
  GLint viewport[2] = {0, 0};
  glGetIntegerv(GL_MAX_VIEWPORT_DIMS, viewport);
  constexpr GLint kMostOfToolkit = 32767; // viewport regions hold short integers
  return std::min({glInteger(GL_MAX_RENDERBUFFER_SIZE), viewport[0], viewport[1], kMostOfToolkit});
}

/// Keeps back, for its lifetime, a warning that the toolkit posts for every context that is not a
/// GLX one. It means nothing, and whoever counts warnings should not see it.
class WithoutGlxWarnings
{
public:
  WithoutGlxWarnings()
      : m_callback(SoDebugError::getHandlerCallback()), m_data(SoDebugError::getHandlerData())
  {
    SoDebugError::setHandlerCallback(&WithoutGlxWarnings::handle, this);
  }
  ~WithoutGlxWarnings() { SoDebugError::setHandlerCallback(m_callback, m_data); }
  WithoutGlxWarnings(const WithoutGlxWarnings&) = delete;
  WithoutGlxWarnings& operator=(const WithoutGlxWarnings&) = delete;

private:
  static void handle(const SoError* error, void* data)
  {
    const auto* self = static_cast<const WithoutGlxWarnings*>(data);
    if (!std::strstr(error->getDebugString().getString(), " in glxglue_"))
      self->m_callback(error, self->m_data);
  }

  SoErrorCB* m_callback;
  void* m_data;
};

} // namespace

/// Drawn into with several samples a pixel, then resolved into the one that is read.
struct MoOffscreenCanvas::Buffers
{
  Buffers(int w, int h, int samples)
      : width(w), height(h), drawn(w, h, samples, true), resolved(w, h, 1, false)
  {}

  int width;
  int height;
  Framebuffer drawn;
  Framebuffer resolved;
};

MoOffscreenCanvas::MoOffscreenCanvas() = default;

MoOffscreenCanvas::~MoOffscreenCanvas()
{
  if (!m_buffers && !m_action) return;
  std::string ignored;
  const MxCurrentContext current(MxOffscreenContext::shared(ignored));
  m_buffers.reset();
  if (!m_action) return;
  // Lets the scene's nodes free what they keep in the context.
  SoContextHandler::destructingContext(m_action->getCacheContext());
  m_action.reset();
}

void MoOffscreenCanvas::setBackground(const SbColor4f& top, const SbColor4f& bottom)
{
  m_top = top;
  m_bottom = bottom;
}

MbImage MoOffscreenCanvas::render(SoNode* root, int width, int height)
{
  m_error.clear();
  if (!root || !SoDB::isInitialized()) {
    m_error = root ? "the scene-graph toolkit is not started" : "there is no scene";
    return {};
  }
  const MxCurrentContext current(MxOffscreenContext::shared(m_error));
  if (!current) {
    if (m_error.empty()) m_error = "the OpenGL context cannot be used in this thread";
    return {};
  }
  if (!prepare(width, height)) return {};

  const SbViewportRegion region(static_cast<short>(width), static_cast<short>(height));
  if (!m_action) {
    m_action = std::make_unique<SoGLRenderAction>(region);
    m_action->setCacheContext(SoGLCacheContextElement::getUniqueCacheContext());
    m_action->setTransparentDelayedObjectRenderType(
        SoGLRenderAction::NONSOLID_SEPARATE_BACKFACE_PASS);
  }
  m_action->setViewportRegion(region);
  m_action->setTransparencyType(m_transparency);

  glBindFramebuffer(GL_FRAMEBUFFER, m_buffers->drawn.id());
  glViewport(0, 0, width, height);
  drawBackground();
  glEnable(GL_DEPTH_TEST);
  const bool counted = root->getRefCount() > 0;
  if (!counted) root->ref();
  {
    const WithoutGlxWarnings filter;
    m_action->apply(root);
  }
  if (!counted) root->unrefNoDelete();
  MbImage image = read();
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  return image;
}

bool MoOffscreenCanvas::prepare(int width, int height)
{
  const int limit = limitOfCurrentContext();
  if (width < 1 || height < 1 || width > limit || height > limit) {
    m_error = "a picture of " + std::to_string(width) + " x " + std::to_string(height) +
              " pixels cannot be drawn; each side takes 1 to " + std::to_string(limit);
    return false;
  }
  if (m_buffers && m_buffers->width == width && m_buffers->height == height) return true;

  const bool antialiased = std::int64_t{width} * height <= kMostAntialiasedPixels;
  m_buffers.reset(); // before the new ones, so that both need not fit
  while (glGetError() != GL_NO_ERROR) {
  }
  m_buffers = std::make_unique<Buffers>(
      width, height, antialiased ? std::min(kSamples, glInteger(GL_MAX_SAMPLES)) : 1);
  if (m_buffers->drawn.complete() && m_buffers->resolved.complete()) return true;
  m_buffers.reset();
  m_error = "the graphics driver has no memory for a picture of " + std::to_string(width) + " x " +
            std::to_string(height) + " pixels";
  return false;
}

void MoOffscreenCanvas::drawBackground() const
{
  glDisable(GL_SCISSOR_TEST);
  glClearColor(m_top[0], m_top[1], m_top[2], m_top[3]);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
  if (m_top == m_bottom) return;

  glPushAttrib(GL_ALL_ATTRIB_BITS);
  for (const GLenum capability :
       {GL_DEPTH_TEST, GL_LIGHTING, GL_TEXTURE_2D, GL_BLEND, GL_CULL_FACE})
    glDisable(capability);
  glMatrixMode(GL_PROJECTION);
  glPushMatrix();
  glLoadIdentity();
  glMatrixMode(GL_MODELVIEW);
  glPushMatrix();
  glLoadIdentity();
  glShadeModel(GL_SMOOTH);
  glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
  glBegin(GL_QUADS);
  glColor4fv(m_bottom.getValue());
  glVertex2f(-1, -1);
  glVertex2f(1, -1);
  glColor4fv(m_top.getValue());
  glVertex2f(1, 1);
  glVertex2f(-1, 1);
  glEnd();
  glPopMatrix();
  glMatrixMode(GL_PROJECTION);
  glPopMatrix();
  glPopAttrib();
}

MbImage MoOffscreenCanvas::read() const
{
  const int width = m_buffers->width;
  const int height = m_buffers->height;
  glBindFramebuffer(GL_READ_FRAMEBUFFER, m_buffers->drawn.id());
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, m_buffers->resolved.id());
  glDisable(GL_SCISSOR_TEST);
  glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, m_buffers->resolved.id());

  MbImage image{width, height, {}};
  const std::size_t row = std::size_t{4} * width;
  image.rgba.resize(row * height);
  glPixelStorei(GL_PACK_ALIGNMENT, 4);
  glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, image.rgba.data());

  // OpenGL starts at the bottom row.
  for (int y = 0; y < height / 2; ++y)
    std::swap_ranges(image.rgba.begin() + row * y, image.rgba.begin() + row * (y + 1),
                     image.rgba.begin() + row * (height - 1 - y));
  // Blending lowers the opacity even over an opaque background.
  if (m_top[3] >= 1.0f && m_bottom[3] >= 1.0f) {
    for (std::size_t i = 3; i < image.rgba.size(); i += 4)
      image.rgba[i] = 255;
  }
  return image;
}

int MoOffscreenCanvas::maxSize()
{
  std::string ignored;
  const MxCurrentContext current(MxOffscreenContext::shared(ignored));
  return current ? limitOfCurrentContext() : 0;
}

std::string MoOffscreenCanvas::rendererName()
{
  std::string ignored;
  const MxCurrentContext current(MxOffscreenContext::shared(ignored));
  const GLubyte* name = current ? glGetString(GL_RENDERER) : nullptr;
  return name ? reinterpret_cast<const char*>(name) : "";
}

void MoOffscreenCanvas::installToolkitCallbacks()
{
  static cc_glglue_offscreen_cb_functions callbacks = {
      [](unsigned int width, unsigned int height) -> void* {
        std::string error;
        return MxOffscreenContext::create(static_cast<int>(width), static_cast<int>(height), error);
      },
      [](void* context) -> SbBool {
        return static_cast<MxOffscreenContext*>(context)->makeCurrent();
      },
      [](void* context) { static_cast<MxOffscreenContext*>(context)->restorePrevious(); },
      [](void* context) { delete static_cast<MxOffscreenContext*>(context); }};
  cc_glglue_context_set_offscreen_cb_functions(&callbacks);
}
