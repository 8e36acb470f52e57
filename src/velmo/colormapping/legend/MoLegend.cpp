#include <velmo/colormapping/legend/MoLegend.h>

#include <velmo/colormapping/MbPredefinedColorMappings.h>
#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/colormapping/MdLinearColorMapping.h>
#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/extraction/extractors/MiSurfaceExtract.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/render/MxSetField.h>
#include <velmo/render/MxTextureContouring.h>
#include <velmo/representation/caches/MdCache.h>
#include <velmo/representation/MxQuietNode.h>
#include <velmo/toolkit/shapes/MxTextFont.h>

#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoGLRenderAction.h>
#include <Inventor/elements/SoCacheElement.h>
#include <Inventor/elements/SoDepthBufferElement.h>
#include <Inventor/elements/SoFontSizeElement.h>
#include <Inventor/elements/SoLazyElement.h>
#include <Inventor/elements/SoModelMatrixElement.h>
#include <Inventor/elements/SoMultiTextureEnabledElement.h>
#include <Inventor/elements/SoOverrideElement.h>
#include <Inventor/elements/SoShapeHintsElement.h>
#include <Inventor/elements/SoViewportRegionElement.h>
#include <Inventor/errors/SoError.h>
#include <Inventor/misc/SoNotification.h>
#include <Inventor/nodes/SoFont.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoText2.h>
#include <Inventor/nodes/SoTranslation.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <sstream>

MO_NODE_SOURCE(MoLegend, MoMeshBaseRepresentation)

/// What the bar is drawn from. The extracted surface belongs to the extractor.
struct MoLegend::Bar
{
  MbSurfaceMeshRectilinear mesh;
  MbDataSetIj<double> values;
  std::unique_ptr<MiSurfaceExtractIj> extractor;
};

/// Where values lie along the bar.
struct MoLegend::Range
{
  double min, max;   // values
  double start, end; // coordinates of the viewport

  double positionOf(double value) const
  {
    return start + (value - min) / (max - min) * (end - start);
  }
  double valueAt(double position) const
  {
    return min + (position - start) / (end - start) * (max - min);
  }
  /// Of the i-th of count values; evenly spread where the range is empty.
  double positionOf(double value, std::size_t i, std::size_t count) const
  {
    return max == min ? evenly(i, count) : positionOf(value);
  }
  double evenly(std::size_t i, std::size_t count) const
  {
    const double last = count < 2 ? 1.0 : static_cast<double>(count - 1);
    return start + static_cast<double>(i) / last * (end - start);
  }
};

namespace {

constexpr std::size_t kSmoothPositions = 256;
/// More cannot be told apart on any screen, and each is three nodes.
constexpr int kMostValues = 10000;
/// Enough to write any double out in full.
constexpr std::uint32_t kMostDigits = 1100;
/// Of the size of a font: half the height of its digits.
constexpr float kHalfDigit = 0.36f;

class ColorMappingCache final : public MdCache<ColorMappingCache>
{
  friend class MdCache<ColorMappingCache>;
  explicit ColorMappingCache(SoState* state) : MdCache(state)
  {
    addDependency(state, MoColorMappingElement::getClassStackIndex());
  }
};

/// Text whose digits are centred upon its anchor. As a type it is the toolkit's.
class CentredText final : public SoText2
{
public:
  void GLRender(SoGLRenderAction* action) override
  {
    SoState* state = action->getState();
    const short height = SoViewportRegionElement::get(state).getViewportSizePixels()[1];
    const float down = kHalfDigit * SoFontSizeElement::get(state) / std::max<short>(height, 1);
    state->push();
    SoModelMatrixElement::translateBy(state, this, SbVec3f(0, -down, 0));
    SoText2::GLRender(action);
    state->pop();
  }

private:
  ~CentredText() override = default;
};

template <class Element>
bool knows(SoState* state)
{
  return state->isElementEnabled(Element::getClassStackIndex());
}

// What a scene in front of the legend has set is meant for the scene.
void forgetScene(SoState* state, SoNode* node)
{
  if (knows<SoModelMatrixElement>(state)) SoModelMatrixElement::makeIdentity(state, node);
  if (knows<SoOverrideElement>(state)) {
    SoOverrideElement::setDiffuseColorOverride(state, node, FALSE);
    SoOverrideElement::setTransparencyOverride(state, node, FALSE);
    SoOverrideElement::setMaterialBindingOverride(state, node, FALSE);
    SoOverrideElement::setDrawStyleOverride(state, node, FALSE);
    SoOverrideElement::setFontNameOverride(state, node, FALSE);
    SoOverrideElement::setFontSizeOverride(state, node, FALSE);
  }
  if (knows<SoShapeHintsElement>(state))
    SoShapeHintsElement::set(state, node, SoShapeHintsElement::UNKNOWN_ORDERING,
                             SoShapeHintsElement::UNKNOWN_SHAPE_TYPE, SoShapeHintsElement::CONVEX);
  if (knows<SoLazyElement>(state)) SoLazyElement::setLightModel(state, SoLazyElement::BASE_COLOR);
  if (knows<SoDepthBufferElement>(state))
    SoDepthBufferElement::set(state, TRUE, TRUE, SoDepthBufferElement::ALWAYS, SbVec2f(0, 0));
  if (knows<SoMultiTextureEnabledElement>(state)) SoMultiTextureEnabledElement::disableAll(state);
}

SbVec2s windowSize(SoState* state)
{
  const SbVec2s size = SoViewportRegionElement::get(state).getWindowSize();
  return {std::max<short>(size[0], 1), std::max<short>(size[1], 1)};
}

SoFont* makeFont(float size)
{
  auto* font = new SoFont;
  font->name = mxTextFont();
  font->size = size;
  return font;
}

SoMaterial* makeMaterial(const SbColor& color)
{
  auto* material = new SoMaterial;
  material->diffuseColor = color;
  return material;
}

SoText2* makeText(const SbString& string, SoText2::Justification justification, bool centred)
{
  SoText2* text = centred ? new CentredText : new SoText2;
  text->string = string;
  text->justification = justification;
  return text;
}

} // namespace

MoLegend::MoLegend()
{
  SO_NODE_CONSTRUCTOR(MoLegend);
  SO_NODE_ADD_FIELD(bottomLeft, (0, 0));
  SO_NODE_ADD_FIELD(topRight, (0, 1));
  SO_NODE_ADD_FIELD(minValue, (0));
  SO_NODE_ADD_FIELD(maxValue, (0));
  SO_NODE_ADD_FIELD(vertical, (FALSE));
  SO_NODE_ADD_FIELD(title, (""));
  SO_NODE_ADD_FIELD(titleFontSize, (10));
  SO_NODE_ADD_FIELD(titlePosition, (POS_BOTTOM));
  SO_NODE_ADD_FIELD(titleColor, (0.8f, 0.8f, 0.8f));
  SO_NODE_ADD_FIELD(displayValues, (FALSE));
  SO_NODE_ADD_FIELD(numValues, (2));
  SO_NODE_ADD_FIELD(valuesColor, (0.8f, 0.8f, 0.8f));
  SO_NODE_ADD_FIELD(valuesFontSize, (10));
  SO_NODE_ADD_FIELD(valueNotation, (NOTATION_DEFAULT));
  SO_NODE_ADD_FIELD(valuePrecision, (0));
  SO_NODE_DEFINE_ENUM_VALUE(Position, POS_BOTTOM);
  SO_NODE_DEFINE_ENUM_VALUE(Position, POS_TOP);
  SO_NODE_DEFINE_ENUM_VALUE(Position, POS_RIGHT);
  SO_NODE_DEFINE_ENUM_VALUE(Position, POS_LEFT);
  SO_NODE_SET_SF_ENUM_TYPE(titlePosition, Position);
  SO_NODE_DEFINE_ENUM_VALUE(Notation, NOTATION_DEFAULT);
  SO_NODE_DEFINE_ENUM_VALUE(Notation, NOTATION_FIXED);
  SO_NODE_DEFINE_ENUM_VALUE(Notation, NOTATION_SCIENTIFIC);
  SO_NODE_SET_SF_ENUM_TYPE(valueNotation, Notation);

  // The viewport from (0, 0) to (1, 1), seen from a little before it.
  auto* camera = new SoOrthographicCamera;
  camera->viewportMapping = SoCamera::LEAVE_ALONE;
  camera->position.setValue(0.5f, 0.5f, 1);
  camera->height = 1;
  camera->nearDistance = 0.5f;
  camera->farDistance = 2;
  getHiddenRoot()->addChild(camera);
  m_barMesh = std::make_unique<MdSurfaceMesh>(getHiddenRoot());
  m_title = new SoSeparator;
  m_title->setName("Title");
  getHiddenRoot()->addChild(m_title);
  m_values = new SoSeparator;
  m_values->setName("Values");
  getHiddenRoot()->addChild(m_values);
}

MoLegend::~MoLegend() = default;

void MoLegend::doAction(SoAction* action)
{
  SoState* state = action->getState();
  // An action that does not know colour mappings sees what is there already.
  if (knows<MoColorMappingElement>(state)) update(state);
  state->push();
  forgetScene(state, this);
  MoMeshBaseRepresentation::doAction(action);
  state->pop();
}

// As late as annotations are: after what is transparent, wherever in the scene the legend stands.
void MoLegend::GLRender(SoGLRenderAction* action)
{
  if (action->isRenderingDelayedPaths()) {
    doAction(action);
    return;
  }
  SoCacheElement::invalidate(action->getState());
  action->addDelayedPath(action->getCurPath()->copy());
}

void MoLegend::getBoundingBox(SoGetBoundingBoxAction* action)
{
  if (knows<MoColorMappingElement>(action->getState())) update(action->getState());
}

// The base's mark goes with every traversal, also with one that could not build anything.
void MoLegend::notify(SoNotList* list)
{
  const SoField* field = list->getLastField();
  if (field && field->getContainer() == this) m_isStale = true;
  MoMeshBaseRepresentation::notify(list);
}

void MoLegend::update(SoState* state)
{
  const bool cacheValid = checkCache(state);
  const MxQuietNode quiet(*this);
  if (!cacheValid || m_isStale) {
    m_isStale = false;
    try {
      fillLegend(state);
    } catch (const std::exception& error) {
      SoError::post("MoLegend: %s", error.what());
      clear();
    }
  }
  placeTexts(state);
}

bool MoLegend::checkCache(SoState* state)
{
  if (m_cache && m_cache->isValid(state)) {
    SoCacheElement::addCacheDependency(state, m_cache);
    return true;
  }
  touch();
  buildCache(state);
  return false;
}

void MoLegend::buildCache(SoState* state)
{
  m_cache.reset(ColorMappingCache::build(state));
  SoCacheElement::addCacheDependency(state, m_cache);
}

void MoLegend::clear()
{
  m_barMesh->clear();
  m_bar.reset();
  m_title->removeAllChildren();
  m_titlePlace = nullptr;
  m_values->removeAllChildren();
  m_valuePlaces.clear();
  m_windowSize.setValue(0, 0);
}

void MoLegend::fillLegend(SoState* state)
{
  clear();
  const MiScalarColorMapping* mapping = MoColorMappingElement::getColorMapping(state);
  if (!mapping) return;
  if (const auto* level = dynamic_cast<const MdLevelColorMapping*>(mapping))
    fillLevelCM(state, *level);
  else if (const auto* linear = dynamic_cast<const MdLinearColorMapping*>(mapping))
    fillLinearCM(state, *linear);
  else if (const auto* predefined = dynamic_cast<const MdPredefinedColorMapping*>(mapping))
    fillPredefCM(state, *predefined);
  else
    fillCustomCM(state, *mapping);
}

void MoLegend::getLegendRange(const MiScalarColorMapping& mapping, double& min, double& max) const
{
  if (minValue.isDefault() && maxValue.isDefault()) {
    mapping.getRange(min, max);
    return;
  }
  min = minValue.getValue();
  max = maxValue.getValue();
}

MoLegend::Range MoLegend::alongBar(const MiScalarColorMapping& mapping) const
{
  Range range{};
  getLegendRange(mapping, range.min, range.max);
  const int axis = vertical.getValue() ? 1 : 0;
  range.start = bottomLeft.getValue()[axis];
  range.end = topRight.getValue()[axis];
  return range;
}

void MoLegend::fillLevelCM(SoState* state, const MdLevelColorMapping& mapping)
{
  // Bands that are thinner than a texture can show are thinner than any screen can.
  if (mapping.colors().size() > MxTextureContouring::getMostColors())
    return fillPredefCM(state, mapping);
  const Range range = alongBar(mapping);
  const std::vector<double>& levels = mapping.levels();
  std::vector<double> positions;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const bool isInner = i > 0 && i + 1 < levels.size();
    positions.insert(positions.end(), isInner ? 2 : 1,
                     range.positionOf(levels[i], i, levels.size()));
  }
  createMesh(state, range, positions);
}

void MoLegend::fillLinearCM(SoState* state, const MdLinearColorMapping& mapping)
{
  const Range range = alongBar(mapping);
  const auto& colors = mapping.colors();
  std::vector<double> positions;
  for (std::size_t i = 0; i < colors.size(); ++i)
    positions.push_back(range.positionOf(colors[i].first, i, colors.size()));
  createMesh(state, range, positions);
}

void MoLegend::fillPredefCM(SoState* state, const MiScalarColorMapping& mapping)
{
  const Range range = alongBar(mapping);
  std::vector<double> positions;
  for (std::size_t i = 0; i < kSmoothPositions; ++i)
    positions.push_back(range.evenly(i, kSmoothPositions));
  createMesh(state, range, positions);
}

void MoLegend::fillCustomCM(SoState* state, const MiScalarColorMapping& mapping)
{
  fillPredefCM(state, mapping);
}

void MoLegend::createMesh(SoState* state, const Range& range, const std::vector<double>& positions)
{
  if (positions.empty()) return;
  const bool upright = vertical.getValue();
  const int cross = upright ? 0 : 1;
  const std::vector<double> sides{bottomLeft.getValue()[cross], topRight.getValue()[cross]};
  const std::size_t countI = upright ? sides.size() : positions.size();
  const std::size_t countJ = upright ? positions.size() : sides.size();
  std::vector<double> values;
  for (std::size_t j = 0; j < countJ; ++j)
    for (std::size_t i = 0; i < countI; ++i)
      values.push_back(range.valueAt(positions[upright ? j : i]));

  m_bar = std::make_unique<Bar>(Bar{
      MbSurfaceMeshRectilinear(MbTopologyIj(countI - 1, countJ - 1), upright ? sides : positions,
                               upright ? positions : sides),
      MbDataSetIj<double>("", MiDataBinding::PerNode, countI, countJ, std::move(values)), nullptr});
  m_bar->extractor = MiSurfaceExtractIj::getNewInstance(m_bar->mesh, false);
  const MeXSurfaceMeshUnstructured& surface = m_bar->extractor->extractSurface(nullptr);
  const SbColor unused(0, 0, 0);
  state->push();
  MoDrawStyleElement::set(state, this, true, false, false, 0);
  MoMaterialElement::set(state, this, MoMaterial::CONTOURING, unused, MoMaterial::CONTOURING,
                         unused, MoMaterial::CONTOURING, unused, 0, false);
  m_barMesh->setIgnoreExtraStyle(true);
  m_barMesh->set(state, surface, m_bar->extractor->extractScalarSet(m_bar->values));
  state->pop();
  drawTitle();
  drawValues(range.min, range.max);
}

void MoLegend::drawTitle()
{
  if (title.getValue().getLength() == 0) return;
  const int where = titlePosition.getValue();
  const auto justification = where == POS_RIGHT  ? SoText2::LEFT
                             : where == POS_LEFT ? SoText2::RIGHT
                                                 : SoText2::CENTER;
  m_titlePlace = new SoTranslation;
  m_title->addChild(m_titlePlace);
  m_title->addChild(makeFont(titleFontSize.getValue()));
  m_title->addChild(makeMaterial(titleColor.getValue()));
  m_title->addChild(
      makeText(title.getValue(), justification, where == POS_RIGHT || where == POS_LEFT));
}

void MoLegend::drawValues(double min, double max)
{
  const int count = std::min(numValues.getValue(), kMostValues);
  if (!displayValues.getValue() || count < 2) return;
  m_values->addChild(makeFont(valuesFontSize.getValue()));
  m_values->addChild(makeMaterial(valuesColor.getValue()));

  std::ostringstream stream;
  if (valueNotation.getValue() == NOTATION_FIXED) stream << std::fixed;
  if (valueNotation.getValue() == NOTATION_SCIENTIFIC) stream << std::scientific;
  stream.precision(std::min(valuePrecision.getValue(), kMostDigits));
  const bool upright = vertical.getValue();
  for (int i = 0; i < count; ++i) {
    double value = min + i * (max - min) / (count - 1);
    // What is left of a zero after rounding would show as 1e-17.
    if (std::abs(value) < 1e-14 * std::abs(max - min)) value = 0;
    stream.str("");
    stream << value;
    auto* label = new SoSeparator;
    label->addChild(m_valuePlaces.emplace_back(new SoTranslation));
    label->addChild(
        makeText(stream.str().c_str(), upright ? SoText2::RIGHT : SoText2::CENTER, upright));
    m_values->addChild(label);
  }
}

// Distances to the bar are pixels: when the window gets another size, texts move and nothing else
// is built.
void MoLegend::placeTexts(SoState* state)
{
  if (!knows<SoViewportRegionElement>(state)) return;
  const SbVec2s size = windowSize(state);
  if (size == m_windowSize) return;
  m_windowSize = size;
  const SbVec2f low = bottomLeft.getValue(), high = topRight.getValue();
  const SbVec2f middle = (low + high) * 0.5f;
  const auto place = [](SoTranslation* text, float x, float y) {
    setIfDifferent(text->translation, SbVec3f(x, y, 0));
  };

  const float titleX = titleFontSize.getValue() / size[0];
  const float titleY = titleFontSize.getValue() / size[1];
  if (m_titlePlace) {
    switch (titlePosition.getValue()) {
    case POS_TOP:
      place(m_titlePlace, middle[0], high[1] + titleY);
      break;
    case POS_RIGHT:
      place(m_titlePlace, high[0] + titleX, middle[1]);
      break;
    case POS_LEFT:
      place(m_titlePlace, low[0] - titleX, middle[1]);
      break;
    default:
      place(m_titlePlace, middle[0], low[1] - 2 * titleY);
      break;
    }
  }
  const float valueX = low[0] - 2 * valuesFontSize.getValue() / size[0];
  const float valueY = low[1] - 2 * valuesFontSize.getValue() / size[1];
  const float last = static_cast<float>(m_valuePlaces.size()) - 1;
  for (std::size_t i = 0; i < m_valuePlaces.size(); ++i) {
    const float along = static_cast<float>(i) / last;
    if (vertical.getValue())
      place(m_valuePlaces[i], valueX, low[1] + along * (high[1] - low[1]));
    else
      place(m_valuePlaces[i], low[0] + along * (high[0] - low[0]), valueY);
  }
}
