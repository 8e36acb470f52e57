#pragma once

#include <string>

/// An OpenGL compatibility context on EGL that needs no window and no X server.
///
/// The first 128 bytes stay zero: the toolkit reads a field of its own context record at offset 64
/// of whatever its offscreen callbacks give it.
class MxOffscreenContext
{
public:
  /// A context with a surface of the given size; null, with the reason in `error`, when there is no
  /// EGL or it offers no OpenGL.
  static MxOffscreenContext* create(int width, int height, std::string& error);
  /// The context that all canvases share, made on first use and kept; null as above.
  static MxOffscreenContext* shared(std::string& error);
  ~MxOffscreenContext();
  MxOffscreenContext(const MxOffscreenContext&) = delete;
  MxOffscreenContext& operator=(const MxOffscreenContext&) = delete;

  /// Makes it the thread's context and remembers the one before it.
  bool makeCurrent();
  /// Brings back the context that makeCurrent() found.
  void restorePrevious();

private:
  MxOffscreenContext() = default;

  [[maybe_unused]] char m_zero[128] = {};
  // EGL's handles, as pointers so that no EGL header is needed here.
  void* m_context = nullptr;
  void* m_surface = nullptr;
  void* m_previousDisplay = nullptr;
  void* m_previousContext = nullptr;
  void* m_previousDraw = nullptr;
  void* m_previousRead = nullptr;
  unsigned m_previousApi = 0;
};

/// Makes a context current for its lifetime; it is false when that failed.
class MxCurrentContext
{
public:
  explicit MxCurrentContext(MxOffscreenContext* context)
      : m_context(context && context->makeCurrent() ? context : nullptr)
  {}
  ~MxCurrentContext()
  {
    if (m_context) m_context->restorePrevious();
  }
  MxCurrentContext(const MxCurrentContext&) = delete;
  MxCurrentContext& operator=(const MxCurrentContext&) = delete;

  explicit operator bool() const { return m_context != nullptr; }

private:
  MxOffscreenContext* m_context;
};
