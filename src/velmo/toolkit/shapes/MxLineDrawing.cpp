#define GL_GLEXT_PROTOTYPES 1

#include <velmo/toolkit/shapes/MxLineDrawing.h>
#include <velmo/toolkit/shapes/MxLinePick.h>
#include <velmo/toolkit/shapes/MxProgramBlending.h>

#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/bundles/SoMaterialBundle.h>
#include <Inventor/elements/SoClipPlaneElement.h>
#include <Inventor/elements/SoDrawStyleElement.h>
#include <Inventor/elements/SoGLLazyElement.h>
#include <Inventor/elements/SoGLShaderProgramElement.h>
#include <Inventor/elements/SoLinePatternElement.h>
#include <Inventor/elements/SoNormalElement.h>
#include <Inventor/elements/SoVertexAttributeElement.h>
#include <Inventor/nodes/SoIndexedShape.h>
#include <Inventor/nodes/SoVertexProperty.h>
#include <Inventor/system/gl.h>

#include <new>

MxLineDrawing::MxLineDrawing(SoVertexShape& shape, SoIndexedShape* indexed)
    : m_shape(shape), m_isLines(indexed != nullptr), m_state(shape, indexed)
{}

bool MxLineDrawing::render(SoGLRenderAction* action, int pointCount,
                           const std::function<bool()>& wanted)
{
  SoState* state = action->getState();
  state->push();
  if (SoNode* property = m_shape.vertexProperty.getValue()) property->GLRender(action);
  bool ours = false;
  try {
    ours = prepare(action, pointCount);
    if (ours && wanted()) draw(action);
  } catch (const std::bad_alloc&) {
    ours = false;
  }
  state->pop();
  return ours;
}

bool MxLineDrawing::prepare(SoGLRenderAction* action, int pointCount)
{
  SoState* state = action->getState();
  if (!mxHasBuffers(state) || !m_state.read(state, pointCount) ||
      SoVertexAttributeElement::getInstance(state)->getNumAttributes() > 0)
    return false;
  const bool lightOn = SoLazyElement::getLightModel(state) != SoLazyElement::BASE_COLOR;
  // The toolkit lights lines and points by normals; ours have tangents or nothing.
  const SoNormalElement* normals = SoNormalElement::getInstance(state);
  if (lightOn && normals && normals->getNum() > 0) return false;
  m_points = !m_isLines || SoDrawStyleElement::get(state) == SoDrawStyleElement::POINTS;
  bool replacing;
  m_lit = m_isLines && lightOn && !SoGLShaderProgramElement::get(state) && !mxHasFog(state) &&
          mxTextureFits(state, replacing) && m_state.readTangents();
  return m_state.readColors(state, MxShapeState::ColorSource::State) &&
         m_state.readTextureCoordinates(state);
}

bool MxLineDrawing::useProgram(SoState* state, Context& context) const
{
  const MxLineData& data = m_state.data();
  MxOutlineLook look;
  look.lit = look.tangents = look.faceValues = true;
  look.specular = SoLazyElement::getSpecular(state) != SbColor(0, 0, 0);
  look.clipped = SoClipPlaneElement::getInstance(state)->getNum() > 0;
  look.textured = data.textureCoordinates.binding != MxFaceBinding::Overall;
  mxTextureFits(state, look.replacing);
  look.lights = mxLightsOf(state);
  return context.programs->use(look, {});
}

void MxLineDrawing::draw(SoGLRenderAction* action)
{
  // Transparent shapes come back sides first, in a pass of their own. Lines and points have none:
  // they would be blended twice.
  if (action->isRenderingTranspBackfaces()) return;
  SoState* state = action->getState();
  const MxLineData& data = m_state.data();
  if (!m_lit) SoLazyElement::setLightModel(state, SoLazyElement::BASE_COLOR);
  SoMaterialBundle material(action);
  material.sendFirst();
  Context& context = m_contexts.of(SoGLCacheContextElement::get(state));
  const bool hasProgram = m_lit && useProgram(state, context);

  glPushClientAttrib(GL_CLIENT_VERTEX_ARRAY_BIT);
  glClientActiveTexture(GL_TEXTURE0);
  const bool ownVertices = data.colors.binding == MxFaceBinding::PerFace ||
                           (hasProgram && data.tangents.binding == MxFaceBinding::PerFace);
  const MxProgramBlending blending(state);
  MxLineBuffers& buffers = context.choose(ownVertices, data);
  buffers.bind(data, hasProgram ? MxOutlinePrograms::kTangentAttribute : -1, m_counts);
  if (m_points)
    buffers.drawPoints(data, m_counts);
  else
    buffers.drawLines(data, SoLinePatternElement::get(state) != 0xffff, m_counts);
  if (hasProgram) MxOutlinePrograms::useNone();
  glPopClientAttrib();
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  // A colour array leaves the current colour undefined.
  static_cast<SoGLLazyElement*>(SoLazyElement::getInstance(state))
      ->reset(state, SoLazyElement::DIFFUSE_MASK);
  // Display lists would copy what lies in graphics memory already.
  SoGLCacheContextElement::shouldAutoCache(state, SoGLCacheContextElement::DONT_AUTO_CACHE);
}

bool MxLineDrawing::pick(SoRayPickAction* action, int pointCount,
                         const std::function<bool()>& wanted)
{
  SoState* state = action->getState();
  state->push();
  if (SoNode* property = m_shape.vertexProperty.getValue()) property->doAction(action);
  bool ours = false;
  try {
    ours = m_state.read(state, pointCount);
    if (ours && wanted()) mxPickLines(m_shape, *action, m_state);
  } catch (const std::bad_alloc&) {
    ours = false;
  }
  state->pop();
  return ours;
}
