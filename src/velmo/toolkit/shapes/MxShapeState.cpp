#include <velmo/toolkit/shapes/MxShapeState.h>

#include <Inventor/elements/SoCoordinateElement.h>
#include <Inventor/elements/SoLazyElement.h>
#include <Inventor/elements/SoMaterialBindingElement.h>
#include <Inventor/elements/SoMultiTextureCoordinateElement.h>
#include <Inventor/elements/SoMultiTextureEnabledElement.h>
#include <Inventor/elements/SoTextureCoordinateBindingElement.h>
#include <Inventor/nodes/SoIndexedShape.h>
#include <Inventor/nodes/SoVertexProperty.h>

namespace {

template <class T>
std::span<const T> values(const T* data, int count)
{
  return {data, static_cast<std::size_t>(count)};
}

} // namespace

MxShapeState::MxShapeState(SoVertexShape& shape, SoIndexedShape* indexed)
    : m_shape(shape), m_indexed(indexed)
{
  if (indexed) m_indices.watch(&indexed->coordIndex);
}

// The index lists besides the coordinates' count only when they begin with an index.
bool MxShapeState::isUsed(const SoMFInt32& indices)
{
  return indices.getNum() > 0 && indices[0] >= 0;
}

SoVertexProperty* MxShapeState::vertexProperty() const
{
  SoNode* node = m_shape.vertexProperty.getValue();
  return node && node->isOfType(SoVertexProperty::getClassTypeId())
             ? static_cast<SoVertexProperty*>(node)
             : nullptr;
}

bool MxShapeState::readPositions(SoState* state)
{
  MxShapeData& data = shapeData();
  SoVertexProperty* property = vertexProperty();
  m_vertices.watch(property ? &property->vertex : nullptr);
  m_normals.watch(property ? &property->normal : nullptr);
  m_colors.watch(property ? &property->orderedRGBA : nullptr);
  m_coordinates.watch(property ? &property->texCoord : nullptr);

  const SoCoordinateElement* coordinates = SoCoordinateElement::getInstance(state);
  if (!coordinates || !coordinates->is3D() || coordinates->getNum() <= 0) return false;
  const SbVec3f* points = coordinates->getArrayPtr3();
  // Nobody tells when coordinates of other nodes change, but their element carries the node's id.
  const bool own =
      property && property->vertex.getNum() > 0 && points == property->vertex.getValues(0);
  data.positions.binding = MxFaceBinding::PerVertex;
  data.positions.values = values(points, coordinates->getNum());
  data.positions.key = {points, data.positions.values.size(),
                        own ? m_vertices.get() : ~std::uint64_t{coordinates->getNodeId()}};
  if (m_indexed)
    data.topology = {m_indexed->coordIndex.getValues(0),
                     static_cast<std::size_t>(m_indexed->coordIndex.getNum()), m_indices.get()};
  return true;
}

bool MxShapeState::readColors(SoState* state, ColorSource source)
{
  MxShapeData& data = shapeData();
  SoVertexProperty* property = vertexProperty();
  const int count = property ? property->orderedRGBA.getNum() : 0;
  int binding = SoMaterialBindingElement::OVERALL;
  if (source == ColorSource::VertexProperty) {
    if (count > 0) binding = property->materialBinding.getValue();
  } else {
    binding = SoMaterialBindingElement::get(state);
    const SoLazyElement* material = SoLazyElement::getInstance(state);
    if (material->getNumDiffuse() <= 1) binding = SoMaterialBindingElement::OVERALL;
    // Only the vertex property's colours have a stamp.
    if (binding != SoMaterialBindingElement::OVERALL &&
        (count == 0 || !material->isPacked() ||
         material->getPackedPointer() != property->orderedRGBA.getValues(0)))
      return false;
  }
  if (binding == SoMaterialBindingElement::OVERALL) return true;
  const std::uint32_t* colors = property->orderedRGBA.getValues(0);
  data.colors.values = values(colors, count);
  data.colors.key = {colors, data.colors.values.size(), m_colors.get()};
  switch (binding) {
  case SoMaterialBindingElement::PER_FACE:
  case SoMaterialBindingElement::PER_PART:
    data.colors.binding = m_indexed ? MxFaceBinding::PerFace : MxFaceBinding::PerVertex;
    return true;
  case SoMaterialBindingElement::PER_VERTEX_INDEXED:
    data.colors.binding = MxFaceBinding::PerVertex;
    return !m_indexed || !isUsed(m_indexed->materialIndex);
  case SoMaterialBindingElement::PER_VERTEX:
    if (!m_indexed) {
      data.colors.binding = MxFaceBinding::PerVertex;
      return true;
    }
    [[fallthrough]];
  default:
    data.colors = {};
    return false;
  }
}

bool MxShapeState::readTextureCoordinates(SoState* state)
{
  MxShapeData& data = shapeData();
  int last = -1;
  const SoMultiTextureEnabledElement::Mode* units =
      SoMultiTextureEnabledElement::getActiveUnits(state, last);
  if (!units || last < 0) return true;
  for (int unit = 1; unit <= last; ++unit)
    if (units[unit] != SoMultiTextureEnabledElement::DISABLED) return false;
  if (units[0] == SoMultiTextureEnabledElement::DISABLED) return true;
  if (units[0] != SoMultiTextureEnabledElement::TEXTURE2D) return false;

  SoVertexProperty* property = vertexProperty();
  const SoMultiTextureCoordinateElement* element =
      SoMultiTextureCoordinateElement::getInstance(state);
  if (!property || property->texCoord.getNum() == 0 ||
      element->getType(0) != SoMultiTextureCoordinateElement::EXPLICIT ||
      element->getDimension(0) != 2 || (m_indexed && isUsed(m_indexed->textureCoordIndex)) ||
      (m_indexed && SoTextureCoordinateBindingElement::get(state) ==
                        SoTextureCoordinateBindingElement::PER_VERTEX))
    return false;
  const SbVec2f* coordinates = element->getArrayPtr2(0);
  if (coordinates != property->texCoord.getValues(0)) return false;
  data.textureCoordinates.binding = MxFaceBinding::PerVertex;
  data.textureCoordinates.values = values(coordinates, element->getNum(0));
  data.textureCoordinates.key = {coordinates, data.textureCoordinates.values.size(),
                                 m_coordinates.get()};
  return true;
}
