#include <velmo/toolkit/shapes/MxFaceState.h>

#include <Inventor/elements/SoCreaseAngleElement.h>
#include <Inventor/elements/SoNormalBindingElement.h>
#include <Inventor/elements/SoNormalElement.h>
#include <Inventor/elements/SoShapeHintsElement.h>
#include <Inventor/nodes/SoIndexedShape.h>
#include <Inventor/nodes/SoVertexProperty.h>

MxFaceState::MxFaceState(SoIndexedShape& shape) : MxShapeState(shape, &shape), m_shape(shape) {}

bool MxFaceState::readFaces(SoState* state)
{
  m_data = {};
  if (!readPositions(state)) return false;
  MxArrayKey& topology = m_data.topology;
  m_data.faces =
      &m_cache.faces({m_shape.coordIndex.getValues(0), topology.count}, topology, m_data.positions);
  // Other coordinates may split hollow faces in another way.
  topology.stamp = m_cache.facesStamp();
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
  m_data.normals.values = {normals, static_cast<std::size_t>(count)};
  m_data.normals.key = {normals, m_data.normals.values.size(),
                        own ? normalStamp() : ~std::uint64_t{element->getNodeId()}};
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
