#include <velmo/render/MxStyledShapeGraph.h>

#include <velmo/render/MxSetField.h>

#include <Inventor/actions/SoPickAction.h>
#include <Inventor/elements/SoPickStyleElement.h>
#include <Inventor/errors/SoDebugError.h>
#include <Inventor/nodes/SoMaterialBinding.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoVertexShape.h>
#include <velmo/toolkit/shapes/TkTexture2.h>

namespace {

/// A draw style that hides from picks, too: rays meet the toolkit's invisible shapes. As a type it
/// is the toolkit's.
class HidingStyle final : public SoDrawStyle
{
public:
  void pick(SoPickAction* action) override
  {
    if (!style.isIgnored() && style.getValue() == INVISIBLE)
      SoPickStyleElement::set(action->getState(), this, SoPickStyleElement::UNPICKABLE);
  }

private:
  ~HidingStyle() override = default;
};

template <class Field>
void empty(Field& field)
{
  if (field.getNum() > 0) field.setNum(0);
}

} // namespace

MxStyledShapeGraph::MxStyledShapeGraph(SoSeparator* parent, SoDrawStyle::Style style,
                                       const MxStyledShapeGraph* shared)
    : m_vertexProperty(shared ? shared->getVertexProperty() : new TkVertexProperty),
      m_drawStyle(new HidingStyle), m_uniformColor(new SoSwitch), m_uniformMaterial(new SoMaterial),
      m_levelTexture(new SoSwitch), m_style(style),
      m_placeholder(!parent || style == SoDrawStyle::INVISIBLE)
{
  m_levelTexture->setName("LevelTexture");
  m_levelTexture->whichChild = SO_SWITCH_NONE;

  m_drawStyle->style = SoDrawStyle::INVISIBLE;
  m_drawStyle->pointSize.setIgnored(TRUE);
  m_drawStyle->lineWidth.setIgnored(TRUE);
  m_drawStyle->linePattern.setIgnored(TRUE);
  m_drawStyle->linePatternScaleFactor.setIgnored(TRUE);

  m_uniformColor->setName("UniformColor");
  m_uniformColor->whichChild = SO_SWITCH_ALL;
  m_uniformMaterial->ambientColor.setIgnored(TRUE);
  m_uniformMaterial->specularColor.setIgnored(TRUE);
  m_uniformMaterial->emissiveColor.setIgnored(TRUE);
  m_uniformMaterial->shininess.setIgnored(TRUE);
  // The vertex property may carry the colours of another graph; where the uniform colour is shown
  // it has to win over them.
  m_uniformMaterial->setOverride(TRUE);
  m_uniformColor->addChild(m_uniformMaterial);
  // With it the binding: as many colours as those of the other graph would be read.
  auto* overall = new SoMaterialBinding;
  overall->value = SoMaterialBinding::OVERALL;
  overall->setOverride(TRUE);
  m_uniformColor->addChild(overall);

  if (m_placeholder) return;
  parent->addChild(m_levelTexture);
  parent->addChild(m_drawStyle);
  parent->addChild(m_uniformColor);
}

MxStyledShapeGraph::~MxStyledShapeGraph() = default;

void MxStyledShapeGraph::addShape(SoSeparator* parent, SoVertexShape* shape)
{
  setIfDifferent(shape->vertexProperty, m_vertexProperty.get());
  if (!m_placeholder) parent->addChild(shape);
}

void MxStyledShapeGraph::clear()
{
  empty(m_vertexProperty->vertex);
  verticesChanged(0);
  empty(m_vertexProperty->orderedRGBA);
  empty(m_vertexProperty->texCoord);
  empty(m_vertexProperty->normal);
  empty(m_vertexProperty->tangent);
  setIfDifferent(m_vertexProperty->materialBinding, SoVertexProperty::OVERALL);
  setIfDifferent(m_vertexProperty->normalBinding, SoVertexProperty::PER_VERTEX_INDEXED);
  setTexture(nullptr);
}

bool MxStyledShapeGraph::isEndingPath(const SoFullPath*) const
{
  return false;
}

SoDetail* MxStyledShapeGraph::createDetail(const SoDetail*, const MoMeshRepresentationDetail*) const
{
  return nullptr;
}

bool MxStyledShapeGraph::isContouringEnabled() const
{
  return m_enabled && m_coloring == MoMaterial::CONTOURING;
}

void MxStyledShapeGraph::enable(bool enabled)
{
  if (m_style == SoDrawStyle::INVISIBLE) return;
  m_enabled = enabled;
  if (m_drawStyle->style.isIgnored()) m_drawStyle->style.setIgnored(FALSE);
  setIfDifferent(m_drawStyle->style, enabled ? m_style : SoDrawStyle::INVISIBLE);
}

void MxStyledShapeGraph::ignoreStyle()
{
  if (m_placeholder) return;
  if (!m_drawStyle->style.isIgnored()) m_drawStyle->style.setIgnored(TRUE);
  m_enabled = true;
}

void MxStyledShapeGraph::setVertices(const MxCpuBuffer<MbVec3f>* buffer)
{
  empty(m_vertexProperty->vertex);
  if (!buffer) {
    verticesChanged(0);
    SoDebugError::postWarning("MxStyledShapeGraph::setVertices",
                              "Buffer is NULL, no index set in SoVertexProperty");
    return;
  }
  static_assert(sizeof(MbVec3f) == sizeof(SbVec3f));
  m_vertexProperty->vertex.setValuesPointer(
      static_cast<int>(buffer->getByteCount() / sizeof(SbVec3f)),
      reinterpret_cast<const SbVec3f*>(buffer->array.data()));
  verticesChanged(m_vertexProperty->vertex.getNum());
}

void MxStyledShapeGraph::setTangents(const SoCpuBufferObject* buffer,
                                     SoVertexProperty::Binding binding)
{
  setIfDifferent(m_vertexProperty->tangentBinding, binding);
  empty(m_vertexProperty->tangent);
  if (!buffer) {
    SoDebugError::postWarning("MxStyledShapeGraph::setTangents",
                              "Buffer is NULL, no tangent set in SoVertexProperty");
    return;
  }
  m_vertexProperty->tangent.setValuesPointer(static_cast<int>(buffer->getSize() / sizeof(SbVec3f)),
                                             static_cast<const SbVec3f*>(buffer->getData()));
}

void MxStyledShapeGraph::setNormals(const SbVec3f& normal)
{
  if (normal == SbVec3f(0, 0, 0)) {
    empty(m_vertexProperty->normal);
    setIfDifferent(m_vertexProperty->normalBinding, SoVertexProperty::PER_VERTEX_INDEXED);
    return;
  }
  setIfDifferent(m_vertexProperty->normalBinding, SoVertexProperty::OVERALL);
  SoMFVec3f& field = m_vertexProperty->normal;
  if (field.getNum() == 1 && field[0] == normal) return;
  // Setting fewer values than an attached array has would free the array.
  empty(field);
  field = normal;
}

void MxStyledShapeGraph::setTexture(TkTexture2* texture)
{
  if (m_levelTexture->getNumChildren() > 0) m_levelTexture->removeAllChildren();
  if (!texture) {
    setIfDifferent(m_levelTexture->whichChild, SO_SWITCH_NONE);
    return;
  }
  auto* white = new SoMaterial;
  white->diffuseColor = SbColor(1, 1, 1);
  m_levelTexture->addChild(white);
  m_levelTexture->addChild(texture);
}

void MxStyledShapeGraph::setColors(const std::vector<SbVec2f>& textureCoordinates,
                                   const std::vector<std::uint32_t>& colors,
                                   SoVertexProperty::Binding binding)
{
  TkVertexProperty& property = *m_vertexProperty;
  const bool fromValues = m_coloring != MoMaterial::COLOR;
  bool coloured = false;
  if (textureCoordinates.empty()) {
    setIfDifferent(m_levelTexture->whichChild, SO_SWITCH_NONE);
    empty(property.texCoord);
    if (colors.empty()) {
      empty(property.orderedRGBA);
    } else {
      property.orderedRGBA.setValuesPointer(static_cast<int>(colors.size()), colors.data());
      setIfDifferent(property.materialBinding, binding);
      coloured = fromValues;
    }
  } else {
    empty(property.orderedRGBA);
    setIfDifferent(property.materialBinding, SoVertexProperty::OVERALL);
    property.texCoord.setValuesPointer(static_cast<int>(textureCoordinates.size()),
                                       textureCoordinates.data());
    setIfDifferent(m_levelTexture->whichChild, fromValues ? SO_SWITCH_ALL : SO_SWITCH_NONE);
    coloured = fromValues;
  }
  const bool showUniform = !coloured && m_uniformMaterial->transparency[0] != kNoMaterial;
  setIfDifferent(m_uniformColor->whichChild, showUniform ? SO_SWITCH_ALL : SO_SWITCH_NONE);
}

bool MxStyledShapeGraph::isCacheValid(MoMaterial::ColoringType coloring, const SbColor& color,
                                      float transparency)
{
  if (!m_enabled) return true;
  SoMaterial& material = *m_uniformMaterial;
  if (m_coloring == coloring && material.diffuseColor[0] == color &&
      material.transparency[0] == transparency)
    return true;
  m_coloring = coloring;
  material.diffuseColor = color;
  material.transparency = transparency;
  return false;
}
