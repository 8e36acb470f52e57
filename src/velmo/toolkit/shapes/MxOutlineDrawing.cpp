#define GL_GLEXT_PROTOTYPES 1

#include <velmo/toolkit/shapes/MxOutlineDrawing.h>
#include <velmo/toolkit/shapes/MxProgramBlending.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>
#include <velmo/toolkit/shapes/TkShaderProgram.h>

#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/bundles/SoMaterialBundle.h>
#include <Inventor/elements/SoClipPlaneElement.h>
#include <Inventor/elements/SoDrawStyleElement.h>
#include <Inventor/elements/SoGLCacheContextElement.h>
#include <Inventor/elements/SoGLLazyElement.h>
#include <Inventor/elements/SoGLShaderProgramElement.h>
#include <Inventor/elements/SoLinePatternElement.h>
#include <Inventor/elements/SoLineWidthElement.h>
#include <Inventor/elements/SoPolygonOffsetElement.h>
#include <Inventor/elements/SoShapeHintsElement.h>
#include <Inventor/elements/SoShapeStyleElement.h>
#include <Inventor/elements/SoVertexAttributeElement.h>
#include <Inventor/elements/SoViewportRegionElement.h>
#include <Inventor/system/gl.h>

#include <algorithm>
#include <optional>

namespace {
// The edges of so few cost next to nothing as lines.
constexpr std::size_t kFewTriangles = 20000;
// How far, of the depth range, lines stand back behind faces that are drawn already, so that all
// but the steepest faces hide them.
constexpr double kStandBack = 0.1;
} // namespace

MxOutlineDrawing::MxOutlineDrawing(SoIndexedFaceSetOutline& shape)
    : m_shape(shape), m_state(shape), m_cache(m_state.cache())
{}

MxOutlineDrawing::~MxOutlineDrawing() = default;

bool MxOutlineDrawing::allowsOnePass(SoState* state)
{
  bool replacing;
  return !SoGLShaderProgramElement::get(state) &&
         SoDrawStyleElement::get(state) == SoDrawStyleElement::FILLED && !mxHasFog(state) &&
         !(SoShapeStyleElement::get(state)->getFlags() &
           SoShapeStyleElement::TRANSP_SORTED_TRIANGLES) &&
         mxTextureFits(state, replacing) && mxHasBuffers(state);
}

// An active fading program is replaced by our own fading.
bool MxOutlineDrawing::allowsOverlay(SoState* state) const
{
  bool replacing;
  const TkShaderProgram* fading = m_shape.getFadingProgram();
  return m_shape.areEdgesOnFaces() && SoLinePatternElement::get(state) == 0xffff &&
         (!SoGLShaderProgramElement::get(state) || (fading && fading->isInUse(state))) &&
         !mxHasFog(state) && mxTextureFits(state, replacing) &&
         !(SoShapeStyleElement::get(state)->getFlags() &
           SoShapeStyleElement::TRANSP_SORTED_TRIANGLES);
}

bool MxOutlineDrawing::isFading() const
{
  return (m_pass == Pass::Overlay ? m_overlayFades : m_shape.fading.getValue() != FALSE) &&
         m_shape.edgeLengthReference.getValue() > 0 && m_shape.fadingEdgePixelLength.getValue() > 0;
}

float MxOutlineDrawing::edgeWidth(SoState* state) const
{
  float width = m_shape.edgeWidth.getValue();
  if (width <= 0) width = SoLineWidthElement::get(state);
  return width > 0 ? width : 1;
}

bool MxOutlineDrawing::usesValues(int coloring) const
{
  return coloring == SoIndexedFaceSetOutline::CONTOURING;
}

bool MxOutlineDrawing::prepare(SoGLRenderAction* action, bool outlined)
{
  SoState* state = action->getState();
  if (!mxHasBuffers(state) || !m_state.readFaces(state) ||
      SoVertexAttributeElement::getInstance(state)->getNumAttributes() > 0)
    return false;

  switch (SoDrawStyleElement::get(state)) {
  case SoDrawStyleElement::LINES:
    m_pass = allowsOverlay(state) ? Pass::Overlay : Pass::Lines;
    break;
  case SoDrawStyleElement::POINTS:
    m_pass = Pass::Points;
    break;
  default:
    m_pass = !outlined ? Pass::Faces
             : allowsOnePass(state) &&
                     m_shape.outlineMode.getValue() == SoIndexedFaceSetOutline::FACES_AND_EDGES
                 ? Pass::OnePass
                 : Pass::TwoPasses;
  }
  if (m_pass == Pass::Lines || m_pass == Pass::Points) {
    // Lines of their own are neither culled with their faces nor moved in depth.
    float factor, units;
    SoPolygonOffsetElement::Style styles;
    SbBool on;
    SoPolygonOffsetElement::get(state, factor, units, styles, on);
    const auto moved =
        m_pass == Pass::Lines ? SoPolygonOffsetElement::LINES : SoPolygonOffsetElement::POINTS;
    if (on && (styles & moved)) return false;
    SoShapeHintsElement::VertexOrdering ordering;
    SoShapeHintsElement::ShapeType type;
    SoShapeHintsElement::FaceType faceType;
    SoShapeHintsElement::get(state, ordering, type, faceType);
    if (type == SoShapeHintsElement::SOLID && ordering != SoShapeHintsElement::UNKNOWN_ORDERING)
      return false;
  }

  m_overlayFades = m_pass == Pass::Overlay && SoGLShaderProgramElement::get(state);
  m_lit = SoLazyElement::getLightModel(state) != SoLazyElement::BASE_COLOR;
  m_programActive = SoGLShaderProgramElement::get(state) != nullptr && m_pass != Pass::Overlay;
  const bool onePass = m_pass == Pass::OnePass || m_pass == Pass::TwoPasses;
  if (!m_state.readNormals(state, m_lit             ? MxFaceState::NormalUse::Always
                                  : m_programActive ? MxFaceState::NormalUse::IfGiven
                                                    : MxFaceState::NormalUse::None) ||
      !m_state.readColors(state, onePass ? MxFaceState::ColorSource::VertexProperty
                                         : MxFaceState::ColorSource::State) ||
      !m_state.readTextureCoordinates(state))
    return false;
  m_data = m_state.data();
  if (onePass && !usesValues(m_shape.faceColoring.getValue())) {
    // Transparent faces have to be known as such before they are delayed or sorted.
    const float transparency = std::clamp(m_shape.transparency.getValue(), 0.0f, 1.0f);
    SoLazyElement::setDiffuse(state, &m_shape, 1, &m_shape.faceColor.getValue(), &m_packer);
    SoLazyElement::setTransparency(state, &m_shape, 1, &transparency, &m_packer);
  }
  return true;
}

MxFaceBuffers& MxOutlineDrawing::buffersFor(Context& context) const
{
  const auto needsCorners = [](MxFaceBinding binding) {
    return binding == MxFaceBinding::PerFace || binding == MxFaceBinding::PerCorner;
  };
  return context.choose(m_pass == Pass::OnePass || m_pass == Pass::Overlay ||
                            needsCorners(m_data.normals.binding) ||
                            needsCorners(m_data.colors.binding),
                        m_data);
}

// For the faces with their edges, for the edges on them, or for lines and points.
bool MxOutlineDrawing::useProgram(SoState* state, Context& context, bool openEdges)
{
  const bool onePass = m_pass == Pass::OnePass, overlay = m_pass == Pass::Overlay;
  MxOutlineLook look;
  look.edges = (onePass || overlay) && !openEdges;
  look.edgesOnly = overlay && !openEdges;
  look.lit = m_lit;
  look.twoSided = SoLazyElement::getTwoSidedLighting(state);
  look.specular = m_lit && SoLazyElement::getSpecular(state) != SbColor(0, 0, 0);
  look.clipped = SoClipPlaneElement::getInstance(state)->getNum() > 0;
  look.textured = m_data.textureCoordinates.binding != MxFaceBinding::Overall;
  mxTextureFits(state, look.replacing);
  const bool edgeValues = overlay || (onePass && usesValues(m_shape.edgeColoring.getValue()));
  look.edgeValues = look.edges && edgeValues;
  look.faceValues = openEdges    ? edgeValues
                    : look.edges ? onePass && usesValues(m_shape.faceColoring.getValue())
                                 : true;
  look.fading = (onePass || overlay) && isFading();
  if (m_lit) look.lights = mxLightsOf(state);

  MxOutlineValues values;
  const float opacity = 1 - std::clamp(m_shape.transparency.getValue(), 0.0f, 1.0f);
  const SbColor edge = m_shape.edgeColor.getValue();
  const SbColor face = openEdges ? edge : m_shape.faceColor.getValue();
  values.faceColor = {face[0], face[1], face[2], opacity};
  values.edgeColor = {edge[0], edge[1], edge[2], opacity};
  values.edgeWidth = edgeWidth(state);
  values.fadingEdgePixelLength = m_shape.fadingEdgePixelLength.getValue();
  values.edgeLengthReference = m_shape.edgeLengthReference.getValue();
  const SbVec2s size = SoViewportRegionElement::get(state).getViewportSizePixels();
  values.viewportSize = {static_cast<float>(size[0]), static_cast<float>(size[1])};
  if (!context.programs->use(look, values)) return false;
  if (look.edges && m_lit && look.twoSided) glEnable(GL_VERTEX_PROGRAM_TWO_SIDE);
  return true;
}

void MxOutlineDrawing::bind(Context& context, int edgeAttribute)
{
  buffersFor(context).bind(m_data, edgeAttribute, m_counts);
}

void MxOutlineDrawing::draw(SoGLRenderAction* action)
{
  SoState* state = action->getState();
  const bool lines = m_pass == Pass::Lines || m_pass == Pass::Points;
  // Transparent faces come back sides first, in a pass of their own. Nothing culls lines there:
  // they would be blended twice.
  if (lines && action->isRenderingTranspBackfaces()) return;
  SoMaterialBundle material(action);
  material.sendFirst();
  Context& context = m_contexts.of(SoGLCacheContextElement::get(state));

  glPushClientAttrib(GL_CLIENT_VERTEX_ARRAY_BIT);
  glClientActiveTexture(GL_TEXTURE0);
  if (m_lit && m_data.normals.binding == MxFaceBinding::Overall) {
    const SbVec3f normal =
        m_data.normals.values.empty() ? SbVec3f(0, 0, 1) : m_data.normals.values.front();
    glNormal3fv(normal.getValue());
  }
  bool replacing;
  // That of the scene, which only fades, comes back afterwards.
  GLint programBefore = 0;
  if (m_pass == Pass::Overlay) glGetIntegerv(GL_CURRENT_PROGRAM, &programBefore);
  const bool wantsProgram =
      m_pass == Pass::OnePass || m_pass == Pass::Overlay ||
      (lines && m_lit && !m_programActive && SoLazyElement::getTwoSidedLighting(state) &&
       !mxHasFog(state) && mxTextureFits(state, replacing));
  const bool hasProgram = wantsProgram && useProgram(state, context, false);
  if (m_pass == Pass::OnePass && !hasProgram) m_pass = Pass::TwoPasses;
  if (m_pass == Pass::Overlay && !hasProgram) m_pass = Pass::Lines;

  if (m_pass == Pass::TwoPasses) {
    drawTwoPasses(state, context);
  } else if (m_pass == Pass::OnePass || m_pass == Pass::Overlay) {
    drawWithProgram(state, context, action->isRenderingTranspBackfaces());
  } else {
    std::optional<MxProgramBlending> blending;
    if (lines) blending.emplace(state);
    MxFaceBuffers& buffers = buffersFor(context);
    buffers.bind(m_data, -1, m_counts);
    if (m_pass == Pass::Lines)
      buffers.drawEdges(m_data, m_counts);
    else if (m_pass == Pass::Points)
      buffers.drawPoints(m_data, m_counts);
    else
      buffers.drawTriangles(m_data, m_counts);
  }
  if (hasProgram) {
    MxOutlinePrograms::useNone();
    if (programBefore) glUseProgram(static_cast<GLuint>(programBefore));
    glDisable(GL_VERTEX_PROGRAM_TWO_SIDE);
  }
  glPopClientAttrib();
  glBindBuffer(GL_ARRAY_BUFFER, 0);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
  // A colour array leaves the current colour undefined.
  static_cast<SoGLLazyElement*>(SoLazyElement::getInstance(state))
      ->reset(state, SoLazyElement::DIFFUSE_MASK);
  // Display lists would copy what lies in graphics memory already.
  SoGLCacheContextElement::shouldAutoCache(state, SoGLCacheContextElement::DONT_AUTO_CACHE);
}

// Whether lines may lie under the edges that are drawn on the faces: what is seen through would
// show both.
bool MxOutlineDrawing::canUnderlay(SoState* state) const
{
  const bool isClear =
      m_shape.transparency.getValue() > 0 || SoLazyElement::getTransparency(state, 0) > 0;
  return !isClear && m_state.data().faces->triangleCount() <= kFewTriangles;
}

// Whoever draws inside of faces only leaves half of an edge out where no second face is seen: at
// the ends of a surface, and along silhouettes. Lines draw it first; the inner half is covered by
// faces that come later, or lies behind those that are there. Of many edges only those at the ends
// are worth it.
void MxOutlineDrawing::drawWithProgram(SoState* state, Context& context, bool backFaces)
{
  MxFaceBuffers& buffers = buffersFor(context);
  buffers.bind(m_data, MxOutlinePrograms::kEdgeAttribute, m_counts);
  glPushAttrib(GL_POLYGON_BIT | GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_LINE_BIT);
  if (m_pass == Pass::Overlay || (isFading() && !glIsEnabled(GL_BLEND))) {
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  }
  GLboolean writesDepth = GL_TRUE;
  glGetBooleanv(GL_DEPTH_WRITEMASK, &writesDepth);
  glDepthMask(GL_FALSE);
  if (!backFaces && useProgram(state, context, true)) {
    glLineWidth(edgeWidth(state));
    if (canUnderlay(state)) {
      GLdouble range[2];
      glGetDoublev(GL_DEPTH_RANGE, range);
      if (m_pass == Pass::Overlay)
        glDepthRange(range[0] + kStandBack * (range[1] - range[0]), range[1]);
      buffers.drawEdges(m_data, m_counts);
      glDepthRange(range[0], range[1]);
    } else {
      buffers.drawOpenEdges(m_data, m_counts);
    }
  }
  useProgram(state, context, false);
  if (m_pass == Pass::Overlay)
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
  else
    glDepthMask(writesDepth);
  buffers.drawTriangles(m_data, m_counts);
  glPopAttrib();
}

void MxOutlineDrawing::drawTwoPasses(SoState* state, Context& context)
{
  const MxFaceAttribute<std::uint32_t> colors = m_data.colors;
  const auto prepareColors = [&](int coloring, const SbColor& color) {
    m_data.colors = usesValues(coloring) ? colors : MxFaceAttribute<std::uint32_t>{};
    if (!usesValues(coloring)) {
      const float opacity = 1 - std::clamp(m_shape.transparency.getValue(), 0.0f, 1.0f);
      glColor4f(color[0], color[1], color[2], opacity);
    }
  };
  MxFaceBuffers& buffers = buffersFor(context);
  const bool edgesOnly = m_shape.outlineMode.getValue() == SoIndexedFaceSetOutline::EDGES;
  // The faces stand back behind their edges, by what they recede over the width of one.
  glPushAttrib(GL_POLYGON_BIT | GL_COLOR_BUFFER_BIT | GL_LINE_BIT);
  glEnable(GL_POLYGON_OFFSET_FILL);
  glPolygonOffset(edgeWidth(state), 15.0f);
  if (edgesOnly) glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE);
  prepareColors(m_shape.faceColoring.getValue(), m_shape.faceColor.getValue());
  glPushClientAttrib(GL_CLIENT_VERTEX_ARRAY_BIT);
  buffers.bind(m_data, -1, m_counts);
  buffers.drawTriangles(m_data, m_counts);
  glPopClientAttrib();
  if (edgesOnly) glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);

  prepareColors(m_shape.edgeColoring.getValue(), m_shape.edgeColor.getValue());
  glLineWidth(edgeWidth(state));
  buffers.bind(m_data, -1, m_counts);
  buffers.drawEdges(m_data, m_counts);
  glPopAttrib();
  m_data.colors = colors;
}
