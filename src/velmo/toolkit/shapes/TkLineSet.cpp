#include <velmo/toolkit/shapes/MxDrawnStyle.h>
#include <velmo/toolkit/shapes/MxLineDrawing.h>
#include <velmo/toolkit/shapes/TkLineSet.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/elements/SoMaterialBindingElement.h>
#include <Inventor/SoPrimitiveVertex.h>

MO_NODE_SOURCE(TkLineSet, SoIndexedLineSet)

TkLineSet::TkLineSet()
{
  SO_NODE_CONSTRUCTOR(TkLineSet);
  m_drawing = std::make_unique<MxLineDrawing>(*this, this);
}

TkLineSet::~TkLineSet() = default;

void TkLineSet::GLRender(SoGLRenderAction* action)
{
  if (coordIndex.getNum() < 1) return;
  if (!m_drawing->render(action, -1, [&] { return shouldGLRender(action) == TRUE; }))
    inherited::GLRender(action);
}

void TkLineSet::rayPick(SoRayPickAction* action)
{
  if (coordIndex.getNum() < 2) return;
  const auto wanted = [&] {
    if (!shouldRayPick(action)) return false;
    computeObjectSpaceRay(action);
    return true;
  };
  if (!m_drawing->pick(action, -1, wanted)) inherited::rayPick(action);
}

MxArray<std::uint32_t> TkLineSet::drawnPoints(SoAction* action)
{
  MxLineState& lines = m_drawing->state();
  if (!lines.read(action->getState(), -1)) return {};
  return mxUsedVertices(*lines.data().lines, lines.data().positions.values.size());
}

void TkLineSet::callback(SoCallbackAction* action)
{
  const SoDrawStyleElement::Style style = mxDrawnStyle(action);
  if (style == SoDrawStyleElement::INVISIBLE) return;
  if (style != SoDrawStyleElement::POINTS) {
    inherited::callback(action);
    return;
  }
  if (!action->shouldGeneratePrimitives(this)) return;
  SoState* state = action->getState();
  state->push();
  if (SoNode* property = vertexProperty.getValue()) property->doAction(action);
  const bool colored =
      SoMaterialBindingElement::get(state) == SoMaterialBindingElement::PER_VERTEX_INDEXED;
  beginShape(action, POINTS);
  SoPrimitiveVertex vertex;
  vertex.setNormal(SbVec3f(0, 0, 1));
  for (const std::uint32_t v : drawnPoints(action)) {
    vertex.setPoint(m_drawing->state().data().positions.values[v]);
    if (colored) vertex.setMaterialIndex(static_cast<int>(v));
    shapeVertex(&vertex);
  }
  endShape();
  state->pop();
}

const MxUploadCounts& TkLineSet::getUploadCounts() const
{
  return m_drawing->counts();
}

int TkLineSet::getTreesBuilt() const
{
  return m_drawing->treesBuilt();
}
