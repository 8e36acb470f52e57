#pragma once

#include <velmo/toolkit/shapes/MxLineState.h>
#include <velmo/toolkit/shapes/MxShapeContexts.h>

#include <functional>

class SoGLRenderAction;
class SoRayPickAction;

/// How a line or point set draws and picks: from buffers that it keeps in each graphics context,
/// and through a tree.
class MxLineDrawing
{
public:
  /// @param indexed  the same shape when it is a line set; null for a point set
  MxLineDrawing(SoVertexShape& shape, SoIndexedShape* indexed);

  /// Draws, inside a state of its own, when `wanted` agrees once the vertex property is in it.
  /// @param pointCount  of a point set, as MxLineState::read takes it
  /// @return false where the toolkit's own shape has to draw
  bool render(SoGLRenderAction* action, int pointCount, const std::function<bool()>& wanted);
  /// The same for a pick; `wanted` also brings the ray into object space.
  bool pick(SoRayPickAction* action, int pointCount, const std::function<bool()>& wanted);

  /// What a line set read last is made of.
  MxLineState& state() { return m_state; }
  const MxUploadCounts& counts() const { return m_counts; }
  int treesBuilt() const { return m_state.treesBuilt(); }

private:
  using Context = MxShapeContexts<MxLineBuffers>::Context;

  bool prepare(SoGLRenderAction* action, int pointCount);
  void draw(SoGLRenderAction* action);
  bool useProgram(SoState* state, Context& context) const;

  SoVertexShape& m_shape;
  bool m_isLines;
  MxLineState m_state;
  MxShapeContexts<MxLineBuffers> m_contexts;
  MxUploadCounts m_counts;

  // What prepare() decided.
  bool m_points = false;
  bool m_lit = false;
};
