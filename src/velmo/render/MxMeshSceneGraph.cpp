#include <velmo/render/MxMeshSceneGraph.h>

#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/colormapping/MoCombineColorMappingElement.h>
#include <velmo/colormapping/MoUndefinedColorElement.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/render/details/MoCellDetail.h>
#include <velmo/render/details/MoMeshRepresentationDetail.h>
#include <velmo/render/MxSetField.h>
#include <velmo/toolkit/classes/SoPreferences.h>
#include <velmo/toolkit/shapes/TkShaderObject.h>
#include <velmo/toolkit/shapes/TkShaderProgram.h>

#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/errors/SoDebugError.h>
#include <Inventor/lists/SoPickedPointList.h>
#include <Inventor/nodes/SoPickStyle.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/SoFullPath.h>
#include <Inventor/SoPickedPoint.h>

#include <algorithm>
#include <cmath>

namespace {

// Read once, when the library is loaded.
const bool s_bBoxActivated = !SoPreferences::getBool("VELMO_DEACTIVATE_SOBBOX", FALSE);

constexpr float kUnknownLength = -1.0f;

std::uint32_t packed(const SbColorRGBA& color, float opacity)
{
  // getPackedValue takes components outside 0 to 1 as they are; a mapping may answer NaN for NaN.
  const auto clamped = [](float c) { return c > 0.0f ? std::min(c, 1.0f) : 0.0f; };
  return SbColorRGBA(clamped(color[0]), clamped(color[1]), clamped(color[2]),
                     clamped(color[3] * opacity))
      .getPackedValue();
}

SbVec3f toFloat(const MbVec3d& p)
{
  return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}

/// Overwrites what belongs to values that are no numbers: a second run over them, so that those who
/// do not want it do not pay for it.
template <class Values, class Shown>
void markUndefined(const Values& values, std::vector<Shown>& shown, const Shown& mark)
{
  for (std::size_t i = 0; i < shown.size(); ++i)
    if (std::isnan(values[i])) shown[i] = mark;
}

SoShaderParameter1f* makeParameter(const char* name, float value)
{
  auto* parameter = new SoShaderParameter1f;
  parameter->name = name;
  parameter->value = value;
  return parameter;
}

} // namespace

MxMeshSceneGraph::MxMeshSceneGraph(SoSeparator* root, bool fading)
    : m_mainStyle(new SoSeparator), m_extraStyles(new SoSwitch), m_box(new SoBBox)
{
  m_box->mode = s_bBoxActivated ? SoBBox::COMPUTED : SoBBox::NONE;
  root->addChild(m_box);
  m_mainStyle->setName("MainStyle");
  root->addChild(m_mainStyle);
  m_extraStyles->setName("ExtraStyles");
  m_extraStyles->whichChild = SO_SWITCH_ALL;
  root->addChild(m_extraStyles);
  if (fading) addFadingShader();
  auto* unpickable = new SoPickStyle;
  unpickable->style = SoPickStyle::UNPICKABLE;
  m_extraStyles->addChild(unpickable);
}

MxMeshSceneGraph::~MxMeshSceneGraph() = default;

void MxMeshSceneGraph::addFadingShader()
{
  m_fadingEdgePixelLength.reset(makeParameter("fadingEdgePixelLength", 5.0f));
  m_edgeLengthReference.reset(makeParameter("edgeLengthReference", kUnknownLength));

  auto* vertexShader = new TkVertexShader;
  vertexShader->sourceType = SoShaderObject::FILENAME;
  vertexShader->sourceProgram = "fading_vert.glsl";
  vertexShader->parameter.set1Value(0, m_fadingEdgePixelLength);
  vertexShader->parameter.set1Value(1, m_edgeLengthReference);
  // Nothing built in tells a shader the size of the viewport.
  auto* viewport = new SoShaderParameter2f;
  viewport->name = "viewportSize";
  vertexShader->parameter.set1Value(2, viewport);
  vertexShader->isActive = FALSE;
  auto* fragmentShader = new TkFragmentShader;
  fragmentShader->sourceType = SoShaderObject::FILENAME;
  fragmentShader->sourceProgram = "kestaDepthPeeling_frag.glsl";
  fragmentShader->isActive = FALSE;

  auto* program = new TkShaderProgram;
  program->setName("Fading_Shader");
  program->shaderObject.set1Value(0, vertexShader);
  program->shaderObject.set1Value(1, fragmentShader);
  m_extraStyles->addChild(program);
}

void MxMeshSceneGraph::setGraphs(std::unique_ptr<MxStyledShapeGraph> faces,
                                 std::unique_ptr<MxStyledIndexedShapeGraph> edges,
                                 std::unique_ptr<MxStyledShapeGraph> points,
                                 MxStyledShapeGraph* main)
{
  m_faces = std::move(faces);
  m_edges = std::move(edges);
  m_points = std::move(points);
  m_main = main;
}

SoSeparator* MxMeshSceneGraph::addExtraStyle(const char* name)
{
  auto* separator = new SoSeparator;
  separator->setName(name);
  m_extraStyles->addChild(separator);
  return separator;
}

void MxMeshSceneGraph::showExtraStyles(bool show)
{
  setIfDifferent(m_extraStyles->whichChild, show ? SO_SWITCH_ALL : SO_SWITCH_NONE);
}

bool MxMeshSceneGraph::isEnabled(SoState* state)
{
  bool faces, edges, points;
  const bool hasDrawStyle = MoDrawStyleElement::getDrawStyle(state, faces, edges, points);
  m_faces->enable(faces);
  m_points->enable(points);
  m_edges->enable(edges);
  if (!hasDrawStyle) m_main->ignoreStyle();
  showExtraStyles(hasDrawStyle && !m_ignoreExtraStyle);
  return m_faces->isEnabled() || m_edges->isEnabled() || m_points->isEnabled();
}

void MxMeshSceneGraph::clear()
{
  setIfDifferent(m_box->mode, SoBBox::COMPUTED);
  setIfDifferent(m_box->origin, SbVec3f(0, 0, 0));
  m_faces->clear();
  m_edges->clear();
  m_points->clear();
  m_contouring.reset();
  resetFading();
  m_tangents.clear();
  m_tangentsStamp = MxTimeStamp::kNone;
}

void MxMeshSceneGraph::setDetails(SoRayPickAction*, const MoMeshRepresentationDetail*) {}

void MxMeshSceneGraph::fillGeometry(const MeXGeometryI& geometry)
{
  ++m_fillCounts.geometry;
  m_main->setVertices(dynamic_cast<const MxCpuBuffer<MbVec3f>*>(geometry.getBuffer()));
  setIfDifferent(m_box->origin, toFloat(geometry.origin));
  updateBox(geometry);
  resetFading();
}

void MxMeshSceneGraph::updateBox(const MeXGeometryI& geometry)
{
  if (m_box->mode.getValue() == SoBBox::NONE) return;
  if (geometry.hasExtent()) {
    m_box->box = SbBox3f(toFloat(geometry.getMin()), toFloat(geometry.getMax()));
    m_box->mode = SoBBox::EXPLICIT;
  } else {
    m_box->mode = SoBBox::COMPUTED;
  }
}

void MxMeshSceneGraph::fillColors(SoState* state, const ColorSets& sets)
{
  ++m_fillCounts.colors;
  const MiScalarColorMapping* mapping = MoColorMappingElement::getColorMapping(state);
  const MiCombineColorMapping* combined = MoCombineColorMappingElement::getColorMapping(state);
  m_colors.clear();
  m_textureCoordinates.clear();
  auto binding = SoVertexProperty::OVERALL;
  const bool complete = !sets.empty() && std::find(sets.begin(), sets.end(), nullptr) == sets.end();
  if (complete && isContouring() && (mapping || combined)) {
    const MeXDataSetI<double>& first = *sets.front();
    const bool perNode = first.getBinding() == MiDataBinding::PerNode;
    if (perNode && m_contouring && m_contouring->getTexture()) {
      m_textureCoordinates.reserve(first.values.size());
      for (const double value : first.values)
        m_textureCoordinates.push_back(m_contouring->getTexturePoint(value));
      if (m_undefinedColor)
        markUndefined(first.values, m_textureCoordinates, MxTextureContouring::undefinedPoint());
    } else {
      binding = perNode ? SoVertexProperty::PER_VERTEX_INDEXED : SoVertexProperty::PER_FACE;
      fillMappedColors(sets, mapping, combined);
    }
  }
  for (MxStyledShapeGraph* graph :
       {m_faces.get(), static_cast<MxStyledShapeGraph*>(m_edges.get()), m_points.get()})
    graph->setColors(m_textureCoordinates, m_colors, binding);
}

bool MxMeshSceneGraph::fillMappedColors(const ColorSets& sets, const MiScalarColorMapping* mapping,
                                        const MiCombineColorMapping* combined)
{
  const MeXDataSetI<double>& first = *sets.front();
  const std::size_t count = first.values.size();
  if (mapping) {
    m_colors.resize(count);
    for (std::size_t i = 0; i < count; ++i)
      m_colors[i] = packed(mapping->getColor(first.values[i]), m_opacity);
    if (m_undefinedColor)
      markUndefined(first.values, m_colors, packed(*m_undefinedColor, m_opacity));
    return true;
  }
  const bool alike = std::all_of(sets.begin(), sets.end(), [&](const auto* set) {
    return set->getBinding() == first.getBinding() && set->values.size() == count;
  });
  if (!alike) {
    SoDebugError::postWarning("MxMeshSceneGraph::fillColors",
                              "Can not combine scalarsets with different bindings");
    return false;
  }
  m_colors.resize(count);
  std::vector<double> values(sets.size());
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t s = 0; s < sets.size(); ++s)
      values[s] = sets[s]->values[i];
    m_colors[i] = packed(combined->getColor(values), m_opacity);
  }
  for (const auto* set : sets)
    if (m_undefinedColor)
      markUndefined(set->values, m_colors, packed(*m_undefinedColor, m_opacity));
  return true;
}

void MxMeshSceneGraph::fillTangents(const MeXDataSetI<MbVec3d>* tangents)
{
  if (tangents && m_tangentsStamp == tangents->getTimeStamp()) return;
  ++m_fillCounts.tangents;
  m_tangentsStamp = tangents ? tangents->getTimeStamp() : MxTimeStamp::kNone;
  m_tangents.clear();
  if (!tangents) {
    m_main->setTangents(nullptr, SoVertexProperty::OVERALL);
    return;
  }
  m_tangents.reserve(tangents->values.size());
  for (const MbVec3d& t : tangents->values)
    m_tangents.push_back(
        {static_cast<float>(t.x), static_cast<float>(t.y), static_cast<float>(t.z)});
  const SoRef<SoCpuBufferObject> buffer(
      new SoCpuBufferObject(m_tangents.data(), m_tangents.size() * sizeof(MbVec3f)));
  m_main->setTangents(buffer, tangents->getBinding() == MiDataBinding::PerNode
                                  ? SoVertexProperty::PER_VERTEX_INDEXED
                                  : SoVertexProperty::PER_FACE_INDEXED);
}

bool MxMeshSceneGraph::setMaterial(SoState* state, const MiScalarColorMapping* mapping)
{
  const MoMaterialElementValues material = MoMaterialElement::getMaterial(state);
  const std::optional<SbColorRGBA> undefined = MoUndefinedColorElement::get(state);
  const bool undefinedChanged = undefined != m_undefinedColor;
  m_undefinedColor = undefined;
  if (!m_contouring) m_contouring = std::make_unique<MxTextureContouring>();
  const float opacity = 1.0f - material.transparency;
  const bool hadTexture = m_contouring->getTexture() != nullptr;
  if (m_contouring->buildTexture(dynamic_cast<const MdLevelColorMapping*>(mapping), opacity,
                                 m_undefinedColor))
  {
    m_faces->setTexture(m_contouring->getTexture());
    m_edges->setTexture(m_contouring->getTexture());
    m_points->setTexture(m_contouring->getTexture());
  }
  const bool textureChanged = hadTexture != (m_contouring->getTexture() != nullptr);
  bool outlineChanged = false;
  if (auto* faceGraph = dynamic_cast<MxStyledIndexedFaceGraph*>(m_faces.get()))
    outlineChanged = !faceGraph->updateSinglePassMaterial(state, m_singlePassOutline);

  const float transparency =
      material.isSet ? material.transparency : MxStyledShapeGraph::kNoMaterial;
  const bool facesValid =
      m_faces->isCacheValid(material.faceColoring, material.faceColor, transparency);
  const bool edgesValid =
      m_edges->isCacheValid(material.lineColoring, material.lineColor, transparency);
  const bool pointsValid =
      m_points->isCacheValid(material.pointColoring, material.pointColor, transparency);
  const bool changed = undefinedChanged || textureChanged || outlineChanged || !facesValid ||
                       !edgesValid || !pointsValid;
  if (m_hasMaterial == material.isSet && m_opacity == opacity &&
      m_enhancedColoring == material.enhancedColoring)
    return changed;
  m_hasMaterial = material.isSet;
  m_opacity = opacity;
  m_enhancedColoring = material.enhancedColoring;
  return true;
}

void MxMeshSceneGraph::allowSinglePassOutline(bool allow)
{
  m_singlePassOutline =
      allow && SoPreferences::getBool("VELMORA_USE_SINGLEPASS_OUTLINE", TRUE) != FALSE;
}

bool MxMeshSceneGraph::isContouring() const
{
  return m_faces->isContouringEnabled() || m_edges->isContouringEnabled() ||
         m_points->isContouringEnabled();
}

SoShaderProgram* MxMeshSceneGraph::getFadingShaderProgram() const
{
  SoNode* first = m_extraStyles->getChild(0);
  return first->isOfType(SoShaderProgram::getClassTypeId()) ? static_cast<SoShaderProgram*>(first)
                                                            : nullptr;
}

void MxMeshSceneGraph::resetFading()
{
  if (!m_fadingEdgePixelLength) return;
  setIfDifferent(m_fadingEdgePixelLength->value, 0.0f);
  setIfDifferent(m_edgeLengthReference->value, kUnknownLength);
}

void MxMeshSceneGraph::updateFading(float pixelLength,
                                    const std::function<double()>& referenceLength)
{
  const SoShaderProgram* program = getFadingShaderProgram();
  if (!program) return;
  setIfDifferent(m_fadingEdgePixelLength->value, pixelLength);
  bool on = pixelLength > 0.0f && requireFading();
  if (on && m_edgeLengthReference->value.getValue() == kUnknownLength)
    m_edgeLengthReference->value = static_cast<float>(referenceLength());
  on = on && m_edgeLengthReference->value.getValue() > 0.0f;
  for (int i = 0; i < program->shaderObject.getNum(); ++i)
    setIfDifferent(static_cast<SoShaderObject*>(program->shaderObject[i])->isActive, SbBool(on));
}

void MxMeshSceneGraph::setLinePattern(unsigned short pattern)
{
  m_edges->setLinePattern(pattern);
}

void MxUnstrMeshSceneGraph::fillIndices(const MiTopologyI& topology, const MxBuffer* indices)
{
  ++m_fillCounts.indices;
  if (topology.hasDeadCells())
    SoDebugError::postWarning("MxUnstrMeshSceneGraph::fillIndices",
                              "Extracted topology should not have dead cells");
  static_cast<MxStyledIndexedShapeGraph&>(getMainGraph())
      .setCoordIndex(dynamic_cast<const MxCpuBuffer<int>*>(indices));
  resetFading();
}

void MxUnstrMeshSceneGraph::setDetails(SoRayPickAction* action,
                                       const MoMeshRepresentationDetail* mesh)
{
  const SoPickedPointList& points = action->getPickedPointList();
  for (int i = 0; i < points.getLength(); ++i) {
    SoPickedPoint* point = points[i];
    const auto* path = static_cast<const SoFullPath*>(point->getPath());
    if (!getMainGraph().isEndingPath(path)) continue;
    // The same shape may have been picked at another place of the scene, showing another mesh.
    if (dynamic_cast<const MoCellPick*>(point->getDetail())) continue;
    SoDetail* detail = getMainGraph().createDetail(point->getDetail(), mesh);
    if (!detail) continue;
    if (auto* pick = dynamic_cast<MoCellPick*>(detail)) {
      const SbVec3f at = point->getObjectPoint();
      pick->setPickedPoint(mesh->getOrigin() + MbVec3d{at[0], at[1], at[2]});
    }
    point->setDetail(detail, path->getTail());
  }
}
