#include <velmo/toolkit/shapes/MxDrawnStyle.h>
#include <velmo/toolkit/shapes/MxFacePick.h>
#include <velmo/toolkit/shapes/MxOutlineDrawing.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>
#include <velmo/toolkit/shapes/TkShaderProgram.h>

#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/elements/SoLazyElement.h>
#include <Inventor/elements/SoMaterialBindingElement.h>
#include <Inventor/elements/SoNormalElement.h>
#include <Inventor/elements/SoOverrideElement.h>
#include <Inventor/elements/SoShapeHintsElement.h>
#include <Inventor/nodes/SoVertexProperty.h>
#include <Inventor/SoPrimitiveVertex.h>

#include <new>

MO_NODE_SOURCE(SoIndexedFaceSetOutline, SoIndexedFaceSet)

SoIndexedFaceSetOutline::SoIndexedFaceSetOutline()
{
  SO_NODE_CONSTRUCTOR(SoIndexedFaceSetOutline);
  SO_NODE_ADD_FIELD(outlineMode, (FACES_AND_EDGES));
  SO_NODE_ADD_FIELD(fading, (FALSE));
  SO_NODE_ADD_FIELD(faceColoring, (CONTOURING));
  SO_NODE_ADD_FIELD(edgeColoring, (COLOR));
  SO_NODE_ADD_FIELD(faceColor, (1.0f, 1.0f, 1.0f));
  SO_NODE_ADD_FIELD(edgeColor, (0.0f, 0.0f, 0.0f));
  SO_NODE_ADD_FIELD(transparency, (0.0f));
  SO_NODE_ADD_FIELD(edgeWidth, (0.0f));
  SO_NODE_ADD_FIELD(fadingEdgePixelLength, (5.0f));
  SO_NODE_ADD_FIELD(edgeLengthReference, (-1.0f));
  SO_NODE_DEFINE_ENUM_VALUE(OutlineMode, FACES_AND_EDGES);
  SO_NODE_DEFINE_ENUM_VALUE(OutlineMode, EDGES);
  SO_NODE_DEFINE_ENUM_VALUE(OutlineMode, NO_OUTLINE);
  SO_NODE_SET_SF_ENUM_TYPE(outlineMode, OutlineMode);
  SO_NODE_DEFINE_ENUM_VALUE(Coloring, COLOR);
  SO_NODE_DEFINE_ENUM_VALUE(Coloring, CONTOURING);
  SO_NODE_SET_SF_ENUM_TYPE(faceColoring, Coloring);
  SO_NODE_SET_SF_ENUM_TYPE(edgeColoring, Coloring);
  m_drawing = std::make_unique<MxOutlineDrawing>(*this);
}

SoIndexedFaceSetOutline::~SoIndexedFaceSetOutline() = default;

SbBool SoIndexedFaceSetOutline::isCompatibleWithState(SoState* state) const
{
  // Picks and boxes know nothing of graphics; an answer of their own would make the node change its
  // mode between one drawing and the next.
  if (state && mxIsDrawing(state)) m_compatible = MxOutlineDrawing::allowsOnePass(state);
  return m_compatible;
}

void SoIndexedFaceSetOutline::bypassSinglePassOutline(SbBool bypass)
{
  if (m_bypassed == bypass) return;
  m_bypassed = bypass;
  // What was cached of the other way of drawing is no longer right.
  touch();
}

void SoIndexedFaceSetOutline::setNormalsFor(TkShaderProgram* program, SbBool transparent)
{
  if (m_numbersFor == program && m_numbersBlend == (transparent != FALSE)) return;
  m_numbersFor.reset(program);
  m_numbersBlend = transparent != FALSE;
  touch();
}

void SoIndexedFaceSetOutline::setEdgesOnFaces(SbBool on, TkShaderProgram* fading)
{
  if (m_edgesOnFaces == on && m_fadingProgram == fading) return;
  m_edgesOnFaces = on;
  m_fadingProgram.reset(fading);
  touch();
}

void SoIndexedFaceSetOutline::replaceNumbers(SoState* state)
{
  if (!m_numbersFor) return;
  if (m_numbersFor->isInUse(state)) {
    if (!m_numbersBlend) return;
    // Known as transparent before it is delayed or sorted, whatever the colours at the vertices.
    static const std::uint32_t s_color = 0xffffff80;
    SoLazyElement::setPacked(state, this, 1, &s_color, TRUE);
    SoOverrideElement::setDiffuseColorOverride(state, this, TRUE);
    SoOverrideElement::setTransparencyOverride(state, this, TRUE);
    return;
  }
  SoNormalElement::set(state, this, 0, nullptr);
  SoOverrideElement::setNormalVectorOverride(state, this, TRUE);
  const SoNode* node = vertexProperty.getValue();
  if (!node || !node->isOfType(SoVertexProperty::getClassTypeId())) return;
  const auto* property = static_cast<const SoVertexProperty*>(node);
  if (SoOverrideElement::getMaterialBindingOverride(state) ||
      property->orderedRGBA.getNum() != property->vertex.getNum())
    return;
  SoMaterialBindingElement::set(state, this, SoMaterialBindingElement::PER_VERTEX_INDEXED);
  SoOverrideElement::setMaterialBindingOverride(state, this, TRUE);
}

// The ends of the edges, or the vertices, that the draw style shows.
MxArray<std::uint32_t> SoIndexedFaceSetOutline::drawnVertices(SoAction* action, bool edges)
{
  MxFaceState& faces = m_drawing->state();
  if (!faces.readFaces(action->getState())) return {};
  const std::size_t vertexCount = faces.data().positions.values.size();
  return edges ? mxUniqueEdges(*faces.data().faces, vertexCount, MxFaceLayout::Indexed)
               : mxUsedVertices(*faces.data().faces, vertexCount, MxFaceLayout::Indexed);
}

void SoIndexedFaceSetOutline::generatePrimitives(SoAction* action)
{
  const SoDrawStyleElement::Style style = mxDrawnStyle(action);
  if (style == SoDrawStyleElement::INVISIBLE) return;
  SoState* state = action->getState();
  state->push();
  if (style == SoDrawStyleElement::FILLED) {
    replaceNumbers(state);
    inherited::generatePrimitives(action);
    state->pop();
    return;
  }
  if (SoNode* property = vertexProperty.getValue()) property->doAction(action);
  const bool edges = style == SoDrawStyleElement::LINES;
  const bool colored =
      SoMaterialBindingElement::get(state) == SoMaterialBindingElement::PER_VERTEX_INDEXED;
  beginShape(action, edges ? LINES : POINTS);
  SoPrimitiveVertex vertex;
  vertex.setNormal(SbVec3f(0, 0, 1));
  for (const std::uint32_t v : drawnVertices(action, edges)) {
    vertex.setPoint(m_drawing->state().data().positions.values[v]);
    if (colored) vertex.setMaterialIndex(static_cast<int>(v));
    shapeVertex(&vertex);
  }
  endShape();
  state->pop();
}

const MxUploadCounts& SoIndexedFaceSetOutline::getUploadCounts() const
{
  return m_drawing->counts();
}

const MxFaceCache& SoIndexedFaceSetOutline::getCache() const
{
  return m_drawing->cache();
}

void SoIndexedFaceSetOutline::GLRender(SoGLRenderAction* action)
{
  if (coordIndex.getNum() < 3) return;
  SoState* state = action->getState();
  state->push();
  lightBothSides(state);
  replaceNumbers(state);
  if (!drawOurs(action)) inherited::GLRender(action);
  state->pop();
}

bool SoIndexedFaceSetOutline::drawOurs(SoGLRenderAction* action)
{
  SoState* state = action->getState();
  state->push();
  if (SoNode* property = vertexProperty.getValue()) property->GLRender(action);
  bool ours = false;
  try {
    ours = m_drawing->prepare(action, isOutlined());
    if (ours && shouldGLRender(action)) m_drawing->draw(action);
  } catch (const std::bad_alloc&) {
    ours = false;
  }
  state->pop();
  return ours;
}

void SoIndexedFaceSetOutline::lightBothSides(SoState* state)
{
  SoShapeHintsElement::VertexOrdering ordering;
  SoShapeHintsElement::ShapeType type;
  SoShapeHintsElement::FaceType faceType;
  SoShapeHintsElement::get(state, ordering, type, faceType);
  if (ordering == SoShapeHintsElement::UNKNOWN_ORDERING)
    SoShapeHintsElement::set(state, this, SoShapeHintsElement::COUNTERCLOCKWISE, type, faceType);
}

void SoIndexedFaceSetOutline::rayPick(SoRayPickAction* action)
{
  if (coordIndex.getNum() < 3) return;
  SoState* state = action->getState();
  state->push();
  replaceNumbers(state);
  if (SoNode* property = vertexProperty.getValue()) property->doAction(action);
  bool ours = false;
  try {
    MxFaceState& faces = m_drawing->state();
    ours = faces.readFaces(state);
    if (ours && shouldRayPick(action)) {
      computeObjectSpaceRay(action);
      mxPickFaces(*this, *action, faces);
    }
  } catch (const std::bad_alloc&) {
    ours = false;
  }
  state->pop();
  if (!ours) inherited::rayPick(action);
}
