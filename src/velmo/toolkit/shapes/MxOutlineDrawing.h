#pragma once

#include <velmo/toolkit/shapes/MxFaceState.h>
#include <velmo/toolkit/shapes/MxShapeContexts.h>

#include <Inventor/elements/SoLazyElement.h>

class SoGLRenderAction;
class SoIndexedFaceSetOutline;

/// How an outline face set draws: chooses the pass, keeps the buffers of each graphics context and
/// frees them when the context or the face set goes.
class MxOutlineDrawing
{
public:
  explicit MxOutlineDrawing(SoIndexedFaceSetOutline& shape);
  ~MxOutlineDrawing();
  MxOutlineDrawing(const MxOutlineDrawing&) = delete;
  MxOutlineDrawing& operator=(const MxOutlineDrawing&) = delete;

  /// Only for states of actions that draw.
  static bool allowsOnePass(SoState* state);

  /// Decides how to draw what the state shows; outlined is whether edges belong to the faces.
  /// @return false where the toolkit's own face set has to draw
  bool prepare(SoGLRenderAction* action, bool outlined);
  /// Draws what prepare() decided.
  void draw(SoGLRenderAction* action);

  MxFaceState& state() { return m_state; }
  const MxUploadCounts& counts() const { return m_counts; }
  const MxFaceCache& cache() const { return m_cache; }

private:
  enum class Pass
  {
    Faces,
    Lines,
    Overlay, ///< edges alone, over faces that are drawn already
    Points,
    OnePass,
    TwoPasses
  };
  using Context = MxShapeContexts<MxFaceBuffers>::Context;

  MxFaceBuffers& buffersFor(Context& context) const;
  bool usesValues(int coloring) const;
  bool allowsOverlay(SoState* state) const;
  bool isFading() const;
  bool canUnderlay(SoState* state) const;
  float edgeWidth(SoState* state) const;
  bool useProgram(SoState* state, Context& context, bool openEdges);
  void drawWithProgram(SoState* state, Context& context, bool backFaces);
  void bind(Context& context, int edgeAttribute);
  void drawTwoPasses(SoState* state, Context& context);

  SoIndexedFaceSetOutline& m_shape;
  MxFaceState m_state;
  const MxFaceCache& m_cache;
  MxShapeContexts<MxFaceBuffers> m_contexts;
  MxUploadCounts m_counts;
  SoColorPacker m_packer;

  // What prepare() decided.
  MxFaceData m_data;
  Pass m_pass = Pass::Faces;
  bool m_lit = false;
  bool m_programActive = false;
  bool m_overlayFades = false;
};
