#define EGL_NO_X11
#include <velmo/toolkit/offscreen/MxOffscreenContext.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include <EGL/egl.h>
#include <EGL/eglext.h>

namespace {

bool hasExtension(const char* list, std::string_view name)
{
  std::string_view rest = list ? list : "";
  while (!rest.empty()) {
    const auto end = std::min(rest.find(' '), rest.size());
    if (rest.substr(0, end) == name) return true;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return false;
}

template <class Function>
Function eglFunction(const char* name)
{
  return reinterpret_cast<Function>(eglGetProcAddress(name));
}

bool softwareWanted()
{
  const char* value = std::getenv("LIBGL_ALWAYS_SOFTWARE");
  return value && (std::strcmp(value, "1") == 0 || std::strcmp(value, "true") == 0);
}

bool started(EGLDisplay display)
{
  return display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr);
}

/// A display of a graphics device, for drivers that offer no surfaceless platform.
EGLDisplay deviceDisplay()
{
  const auto queryDevices = eglFunction<PFNEGLQUERYDEVICESEXTPROC>("eglQueryDevicesEXT");
  const auto queryString = eglFunction<PFNEGLQUERYDEVICESTRINGEXTPROC>("eglQueryDeviceStringEXT");
  const auto getDisplay = eglFunction<PFNEGLGETPLATFORMDISPLAYEXTPROC>("eglGetPlatformDisplayEXT");
  constexpr EGLint kMost = 16;
  EGLDeviceEXT devices[kMost];
  EGLint count = 0;
  if (!queryDevices || !queryString || !getDisplay || !queryDevices(kMost, devices, &count))
    return EGL_NO_DISPLAY;
  for (EGLint i = 0; i < count; ++i) {
    if (softwareWanted() &&
        !hasExtension(queryString(devices[i], EGL_EXTENSIONS), "EGL_MESA_device_software"))
      continue;
    const EGLDisplay display = getDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
    if (started(display)) return display;
  }
  return EGL_NO_DISPLAY;
}

EGLDisplay findDisplay()
{
  const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
  if (hasExtension(client, "EGL_MESA_platform_surfaceless")) {
    const auto getDisplay =
        eglFunction<PFNEGLGETPLATFORMDISPLAYEXTPROC>("eglGetPlatformDisplayEXT");
    const EGLDisplay display =
        getDisplay ? getDisplay(EGL_PLATFORM_SURFACELESS_MESA, nullptr, nullptr) : EGL_NO_DISPLAY;
    if (started(display)) return display;
  }
  if (hasExtension(client, "EGL_EXT_platform_device")) {
    const EGLDisplay display = deviceDisplay();
    if (display != EGL_NO_DISPLAY) return display;
  }
  const EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
  return started(display) ? display : EGL_NO_DISPLAY;
}

struct Egl
{
  EGLDisplay display = EGL_NO_DISPLAY;
  EGLConfig config = nullptr;
  std::string error;
};

Egl startEgl()
{
  Egl egl;
  egl.display = findDisplay();
  if (egl.display == EGL_NO_DISPLAY) {
    egl.error = "no EGL display; install the Mesa drivers (libegl-mesa0, libgl1-mesa-dri)";
    return egl;
  }
  const EGLint wanted[] = {EGL_SURFACE_TYPE,
                           EGL_PBUFFER_BIT,
                           EGL_RENDERABLE_TYPE,
                           EGL_OPENGL_BIT,
                           EGL_RED_SIZE,
                           8,
                           EGL_GREEN_SIZE,
                           8,
                           EGL_BLUE_SIZE,
                           8,
                           EGL_ALPHA_SIZE,
                           8,
                           EGL_DEPTH_SIZE,
                           24,
                           EGL_STENCIL_SIZE,
                           8,
                           EGL_NONE};
  EGLint count = 0;
  if (!eglChooseConfig(egl.display, wanted, &egl.config, 1, &count) || count == 0)
    egl.error = "EGL offers no OpenGL with 8 bits a colour and a depth buffer";
  return egl;
}

const Egl& egl()
{
  static const Egl instance = startEgl();
  return instance;
}

} // namespace

MxOffscreenContext* MxOffscreenContext::create(int width, int height, std::string& error)
{
  error = egl().error;
  if (!error.empty()) return nullptr;

  const EGLenum previousApi = eglQueryAPI();
  eglBindAPI(EGL_OPENGL_API);
  std::unique_ptr<MxOffscreenContext> made(new MxOffscreenContext);
  const EGLint size[] = {EGL_WIDTH, width, EGL_HEIGHT, height, EGL_NONE};
  made->m_surface = eglCreatePbufferSurface(egl().display, egl().config, size);
  // No version attribute: the newest compatibility profile, which the toolkit's shapes need.
  made->m_context = eglCreateContext(egl().display, egl().config, EGL_NO_CONTEXT, nullptr);
  eglBindAPI(previousApi);
  if (!made->m_context || !made->m_surface) {
    error = "EGL could not make an OpenGL context";
    return nullptr;
  }
  return made.release();
}

MxOffscreenContext* MxOffscreenContext::shared(std::string& error)
{
  // Never destroyed: at exit the driver may already be gone.
  static std::string firstError;
  static MxOffscreenContext* const context = create(16, 16, firstError);
  error = firstError;
  return context;
}

MxOffscreenContext::~MxOffscreenContext()
{
  if (m_context) eglDestroyContext(egl().display, m_context);
  if (m_surface) eglDestroySurface(egl().display, m_surface);
}

bool MxOffscreenContext::makeCurrent()
{
  m_previousApi = eglQueryAPI();
  eglBindAPI(EGL_OPENGL_API);
  m_previousDisplay = eglGetCurrentDisplay();
  m_previousContext = eglGetCurrentContext();
  m_previousDraw = eglGetCurrentSurface(EGL_DRAW);
  m_previousRead = eglGetCurrentSurface(EGL_READ);
  if (eglMakeCurrent(egl().display, m_surface, m_surface, m_context)) return true;
  eglBindAPI(m_previousApi);
  return false;
}

void MxOffscreenContext::restorePrevious()
{
  const bool had = m_previousContext != EGL_NO_CONTEXT;
  eglMakeCurrent(had ? m_previousDisplay : egl().display, m_previousDraw, m_previousRead,
                 m_previousContext);
  eglBindAPI(m_previousApi);
}
