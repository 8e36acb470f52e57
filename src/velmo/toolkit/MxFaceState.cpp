#include <velmo/toolkit/MxFaceState.h>

#include <Inventor/elements/SoCoordinateElement.h>
#include <Inventor/elements/SoCreaseAngleElement.h>
#include <Inventor/elements/SoLazyElement.h>
#include <Inventor/elements/SoMaterialBindingElement.h>
#include <Inventor/elements/SoMultiTextureCoordinateElement.h>
#include <Inventor/elements/SoMultiTextureEnabledElement.h>
#include <Inventor/elements/SoNormalBindingElement.h>
#include <Inventor/elements/SoNormalElement.h>
#include <Inventor/elements/SoShapeHintsElement.h>
#include <Inventor/elements/SoTextureCoordinateBindingElement.h>
#include <Inventor/nodes/SoIndexedShape.h>
#include <Inventor/nodes/SoVertexProperty.h>

namespace {

// The index lists besides the coordinates' count only when they begin with an index.
bool isUsed(const SoMFInt32& indices)
{
  return indices.getNum() > 0 && indices[0] >= 0;
}

template <class T>
std::span<const T> values(const T* data, int count)
{
  return {data, static_cast<std::size_t>(count)};
}

} // namespace

MxFaceState::MxFaceState(SoIndexedShape& shape) : m_shape(shape)
{
  m_indices.watch(&shape.coordIndex);
}

SoVertexProperty* MxFaceState::vertexProperty() const
{
  SoNode* node = m_shape.vertexProperty.getValue();
  return node && node->isOfType(SoVertexProperty::getClassTypeId())
             ? static_cast<SoVertexProperty*>(node)
             : nullptr;
}

bool MxFaceState::readFaces(SoState* state)
{
  SoVertexProperty* property = vertexProperty();
  m_vertices.watch(property ? &property->vertex : nullptr);
  m_normals.watch(property ? &property->normal : nullptr);
  m_colors.watch(property ? &property->orderedRGBA : nullptr);
  m_coordinates.watch(property ? &property->texCoord : nullptr);

  m_data = {};
  const SoCoordinateElement* coordinates = SoCoordinateElement::getInstance(state);
  if (!coordinates || !coordinates->is3D() || coordinates->getNum() <= 0) return false;
  const SbVec3f* points = coordinates->getArrayPtr3();
  // Nobody tells when coordinates of other nodes change, but their element carries the node's id.
  const bool own =
      property && property->vertex.getNum() > 0 && points == property->vertex.getValues(0);
  m_data.positions.binding = MxFaceBinding::PerVertex;
  m_data.positions.values = values(points, coordinates->getNum());
  m_data.positions.key = {points, m_data.positions.values.size(),
                          own ? m_vertices.get() : ~std::uint64_t{coordinates->getNodeId()}};

  const int count = m_shape.coordIndex.getNum();
  const std::int32_t* indices = m_shape.coordIndex.getValues(0);
  m_data.topology = {indices, static_cast<std::size_t>(count), m_indices.get()};
  m_data.faces =
      &m_cache.faces(values(indices, count), m_data.topology, m_data.positions.values.size());
  return true;
}

MxFaceAttribute<SbVec3f> MxFaceState::computedNormals(SoState* state)
{
  const bool counterClockwise =
      SoShapeHintsElement::getVertexOrdering(state) != SoShapeHintsElement::CLOCKWISE;
  const auto binding = SoNormalBindingElement::get(state);
  if (binding == SoNormalBindingElement::OVERALL) return {};
  const bool smooth = binding == SoNormalBindingElement::PER_VERTEX ||
                      binding == SoNormalBindingElement::PER_VERTEX_INDEXED;
  const float crease = SoCreaseAngleElement::get(state);
  return smooth && crease > 0 ? m_cache.cornerNormals(m_data.positions, counterClockwise, crease)
                              : m_cache.faceNormals(m_data.positions, counterClockwise);
}

bool MxFaceState::readNormals(SoState* state, NormalUse use)
{
  if (use == NormalUse::None) return true;
  const SoNormalElement* element = SoNormalElement::getInstance(state);
  const int count = element ? element->getNum() : 0;
  if (count <= 0) {
    if (use == NormalUse::Always) m_data.normals = computedNormals(state);
    return true;
  }
  const SbVec3f* normals = element->getArrayPtr();
  SoVertexProperty* property = vertexProperty();
  const bool own =
      property && property->normal.getNum() > 0 && normals == property->normal.getValues(0);
  m_data.normals.values = values(normals, count);
  m_data.normals.key = {normals, m_data.normals.values.size(),
                        own ? m_normals.get() : ~std::uint64_t{element->getNodeId()}};
  switch (SoNormalBindingElement::get(state)) {
  case SoNormalBindingElement::OVERALL:
    return true;
  case SoNormalBindingElement::PER_FACE:
  case SoNormalBindingElement::PER_PART:
    m_data.normals.binding = MxFaceBinding::PerFace;
    return true;
  case SoNormalBindingElement::PER_VERTEX_INDEXED:
    m_data.normals.binding = MxFaceBinding::PerVertex;
    return !isUsed(m_shape.normalIndex);
  default:
    return false;
  }
}

bool MxFaceState::readColors(SoState* state, ColorSource source)
{
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
  m_data.colors.values = values(colors, count);
  m_data.colors.key = {colors, m_data.colors.values.size(), m_colors.get()};
  switch (binding) {
  case SoMaterialBindingElement::PER_FACE:
  case SoMaterialBindingElement::PER_PART:
    m_data.colors.binding = MxFaceBinding::PerFace;
    return true;
  case SoMaterialBindingElement::PER_VERTEX_INDEXED:
    m_data.colors.binding = MxFaceBinding::PerVertex;
    return !isUsed(m_shape.materialIndex);
  default:
    m_data.colors = {};
    return false;
  }
}

bool MxFaceState::readTextureCoordinates(SoState* state)
{
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
      element->getDimension(0) != 2 || isUsed(m_shape.textureCoordIndex) ||
      SoTextureCoordinateBindingElement::get(state) ==
          SoTextureCoordinateBindingElement::PER_VERTEX)
    return false;
  const SbVec2f* coordinates = element->getArrayPtr2(0);
  if (coordinates != property->texCoord.getValues(0)) return false;
  m_data.textureCoordinates.binding = MxFaceBinding::PerVertex;
  m_data.textureCoordinates.values = values(coordinates, element->getNum(0));
  m_data.textureCoordinates.key = {coordinates, m_data.textureCoordinates.values.size(),
                                   m_coordinates.get()};
  return true;
}
