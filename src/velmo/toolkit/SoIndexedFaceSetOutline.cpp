#include <velmo/toolkit/SoIndexedFaceSetOutline.h>

#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/elements/SoShapeHintsElement.h>

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
  SO_NODE_ADD_FIELD(edgeWidth, (1.0f));
  SO_NODE_DEFINE_ENUM_VALUE(OutlineMode, FACES_AND_EDGES);
  SO_NODE_DEFINE_ENUM_VALUE(OutlineMode, EDGES);
  SO_NODE_DEFINE_ENUM_VALUE(OutlineMode, NO_OUTLINE);
  SO_NODE_SET_SF_ENUM_TYPE(outlineMode, OutlineMode);
  SO_NODE_DEFINE_ENUM_VALUE(Coloring, COLOR);
  SO_NODE_DEFINE_ENUM_VALUE(Coloring, CONTOURING);
  SO_NODE_SET_SF_ENUM_TYPE(faceColoring, Coloring);
  SO_NODE_SET_SF_ENUM_TYPE(edgeColoring, Coloring);
}

SbBool SoIndexedFaceSetOutline::isCompatibleWithState(SoState*) const
{
  return FALSE;
}

void SoIndexedFaceSetOutline::GLRender(SoGLRenderAction* action)
{
  SoState* state = action->getState();
  SoShapeHintsElement::VertexOrdering ordering;
  SoShapeHintsElement::ShapeType shape;
  SoShapeHintsElement::FaceType face;
  SoShapeHintsElement::get(state, ordering, shape, face);
  if (ordering != SoShapeHintsElement::UNKNOWN_ORDERING) {
    inherited::GLRender(action);
    return;
  }
  state->push();
  SoShapeHintsElement::set(state, this, SoShapeHintsElement::COUNTERCLOCKWISE, shape, face);
  inherited::GLRender(action);
  state->pop();
}
