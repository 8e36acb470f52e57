#pragma once

#include <memory>
#include <string>

#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/SbColor4f.h>

#include <velmo/toolkit/offscreen/MbImage.h>

class SoNode;

/// Draws scene graphs into pictures without a window or an X server, with four samples a pixel.
///
/// One EGL context is kept for the process and shared by all canvases. A canvas must be gone before
/// the scene-graph toolkit is finished. *Threads*: use canvases in the thread that traverses
/// scenes. *Failure*: render() answers an empty picture and error() says why.
class MoOffscreenCanvas
{
public:
  MoOffscreenCanvas();
  ~MoOffscreenCanvas();
  MoOffscreenCanvas(const MoOffscreenCanvas&) = delete;
  MoOffscreenCanvas& operator=(const MoOffscreenCanvas&) = delete;

  /// One colour behind the scene, black at first. With an opacity of 1 the picture is opaque
  /// whatever the scene blends over it.
  void setBackground(const SbColor4f& color) { setBackground(color, color); }
  /// Blends from the colour of the top row to that of the bottom row.
  void setBackground(const SbColor4f& top, const SbColor4f& bottom);

  /// How transparent shapes are drawn. At first sorted by object, each with its back faces first:
  /// right for convex shapes and close to it for others. Sorting by triangle is right for all, but
  /// slow, and it draws the diagonals of polygons among their edges.
  void setTransparencyType(SoGLRenderAction::TransparencyType type) { m_transparency = type; }

  /// Draws the scene, which holds its own camera and lights.
  ///
  /// @param root    borrowed for the call
  /// @param width, height  in pixels, at least 1 and at most maxSize()
  /// @return the picture; empty after a failure
  MbImage render(SoNode* root, int width, int height);

  /// Why the last render() failed; empty after one that succeeded.
  const std::string& error() const { return m_error; }

  /// The most pixels that a side may have; 0 where nothing can be drawn.
  static int maxSize();

  /// The name of the renderer in use, "llvmpipe ..." for Mesa's software renderer; empty where
  /// nothing can be drawn.
  static std::string rendererName();

  /// Lets the toolkit's own SoOffscreenRenderer work without an X server; where there is no EGL
  /// either, its render() answers FALSE. Holds until the toolkit is finished.
  static void installToolkitCallbacks();

private:
  struct Buffers;

  bool prepare(int width, int height);
  void drawBackground() const;
  MbImage read() const;

  SbColor4f m_top{0, 0, 0, 1};
  SbColor4f m_bottom{0, 0, 0, 1};
  SoGLRenderAction::TransparencyType m_transparency = SoGLRenderAction::SORTED_OBJECT_BLEND;
  std::string m_error;
  std::unique_ptr<Buffers> m_buffers;
  std::unique_ptr<SoGLRenderAction> m_action;
};
