#include <velmo/toolkit/shapes/MxFacePick.h>

#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/bundles/SoTextureCoordinateBundle.h>
#include <Inventor/details/SoFaceDetail.h>
#include <Inventor/details/SoPointDetail.h>
#include <Inventor/elements/SoMaterialBindingElement.h>
#include <Inventor/elements/SoNormalBindingElement.h>
#include <Inventor/elements/SoNormalElement.h>
#include <Inventor/elements/SoShapeHintsElement.h>
#include <Inventor/elements/SoTextureCoordinateBindingElement.h>
#include <Inventor/nodes/SoIndexedFaceSet.h>
#include <Inventor/SbLine.h>
#include <Inventor/SoPickedPoint.h>

#include <algorithm>
#include <vector>

namespace {

// A corner of a triangle seen this close to it (in shares of the triangle's height) is a hit on the
// opposite side, which the triangle before has reported.
constexpr float kSideTolerance = 1e-5f;

const std::int32_t* usedIndices(const SoMFInt32& indices)
{
  return indices.getNum() > 0 && indices[0] >= 0 ? indices.getValues(0) : nullptr;
}

int indexAt(const SoMFInt32& indices, std::size_t place)
{
  return place < static_cast<std::size_t>(indices.getNum()) ? indices[static_cast<int>(place)] : 0;
}

// The indices and values that the toolkit gives for the vertices of a face.
class FaceVertices
{
public:
  FaceVertices(SoIndexedFaceSet& shape, SoRayPickAction& action, MxFaceState& faceState)
      : m_shape(shape), m_state(faceState), m_texture(&action, FALSE, FALSE)
  {
    SoState* state = action.getState();
    m_materialBinding = SoMaterialBindingElement::get(state);
    m_normalBinding = SoNormalBindingElement::get(state);
    const SoNormalElement* normals = SoNormalElement::getInstance(state);
    if (normals && normals->getNum() > 0)
      m_given = {normals->getArrayPtr(), static_cast<std::size_t>(normals->getNum())};
    else
      m_computed = faceState.computedNormals(state);
    m_texturePerVertex = SoTextureCoordinateBindingElement::get(state) ==
                         SoTextureCoordinateBindingElement::PER_VERTEX;
  }

  // The number of a value of face f at its place k, whose index stands at `position`.
  int materialIndex(std::size_t f, std::size_t k) const
  {
    const std::size_t position = m_state.data().faces->positionOf(f) + k;
    switch (m_materialBinding) {
    case SoMaterialBindingElement::PER_FACE:
    case SoMaterialBindingElement::PER_PART:
      return static_cast<int>(f);
    case SoMaterialBindingElement::PER_FACE_INDEXED:
    case SoMaterialBindingElement::PER_PART_INDEXED:
      return usedIndices(m_shape.materialIndex) ? indexAt(m_shape.materialIndex, f) : 0;
    case SoMaterialBindingElement::PER_VERTEX:
      return static_cast<int>(position - f);
    case SoMaterialBindingElement::PER_VERTEX_INDEXED:
      return usedIndices(m_shape.materialIndex) ? indexAt(m_shape.materialIndex, position)
                                                : indexAt(m_shape.coordIndex, position);
    default:
      return 0;
    }
  }

  int normalIndex(std::size_t f, std::size_t k) const
  {
    const std::size_t position = m_state.data().faces->positionOf(f) + k;
    if (m_given.empty()) {
      if (m_computed.binding == MxFaceBinding::PerFace) return static_cast<int>(f);
      return m_computed.binding == MxFaceBinding::PerCorner
                 ? static_cast<int>(m_state.data().faces->cornerOf(f, k))
                 : 0;
    }
    switch (m_normalBinding) {
    case SoNormalBindingElement::PER_FACE:
    case SoNormalBindingElement::PER_PART:
      return static_cast<int>(f);
    case SoNormalBindingElement::PER_FACE_INDEXED:
    case SoNormalBindingElement::PER_PART_INDEXED:
      return usedIndices(m_shape.normalIndex) ? indexAt(m_shape.normalIndex, f) : 0;
    case SoNormalBindingElement::PER_VERTEX:
      return static_cast<int>(position - f);
    case SoNormalBindingElement::PER_VERTEX_INDEXED:
      return usedIndices(m_shape.normalIndex) ? indexAt(m_shape.normalIndex, position)
                                              : indexAt(m_shape.coordIndex, position);
    default:
      return 0;
    }
  }

  SbVec3f normal(std::size_t f, std::size_t k) const
  {
    const std::span<const SbVec3f> values = m_given.empty() ? m_computed.values : m_given;
    if (values.empty()) return {0, 0, 1};
    const int index = std::max(normalIndex(f, k), 0);
    return values[std::min(static_cast<std::size_t>(index), values.size() - 1)];
  }

  int textureIndex(std::size_t f, std::size_t k) const
  {
    if (!m_texture.needCoordinates() || (m_texture.isFunction() && !m_texture.needIndices()))
      return 0;
    const std::size_t position = m_state.data().faces->positionOf(f) + k;
    if (m_texturePerVertex) return static_cast<int>(position - f);
    return usedIndices(m_shape.textureCoordIndex) ? indexAt(m_shape.textureCoordIndex, position)
                                                  : indexAt(m_shape.coordIndex, position);
  }

  SbVec4f textureCoordinates(std::size_t f, std::size_t k, const SbVec3f& point)
  {
    if (m_texture.isFunction()) return m_texture.get(point, normal(f, k));
    if (!m_texture.needCoordinates()) return {0, 0, 0, 1};
    return m_texture.get(textureIndex(f, k));
  }

  SoFaceDetail* makeDetail(std::size_t f) const
  {
    const auto face = m_state.data().faces->face(f);
    auto* detail = new SoFaceDetail;
    detail->setFaceIndex(static_cast<int>(f));
    detail->setPartIndex(static_cast<int>(f));
    detail->setNumPoints(static_cast<int>(face.size()));
    SoPointDetail point;
    for (std::size_t k = 0; k < face.size(); ++k) {
      point.setCoordinateIndex(face[k]);
      point.setMaterialIndex(materialIndex(f, k));
      point.setNormalIndex(normalIndex(f, k));
      point.setTextureCoordIndex(textureIndex(f, k));
      detail->setPoint(static_cast<int>(k), &point);
    }
    return detail;
  }

private:
  SoIndexedFaceSet& m_shape;
  MxFaceState& m_state;
  SoTextureCoordinateBundle m_texture;
  int m_materialBinding, m_normalBinding;
  bool m_texturePerVertex;
  std::span<const SbVec3f> m_given;
  MxFaceAttribute<SbVec3f> m_computed;
};

} // namespace

void mxPickFaces(SoIndexedFaceSet& shape, SoRayPickAction& action, MxFaceState& faceState)
{
  const SbLine& line = action.getLine();
  const SbVec3f& from = line.getPosition();
  const SbVec3f& along = line.getDirection();
  std::vector<std::size_t> candidates;
  faceState.tree().forEachOnLine({from[0], from[1], from[2]}, {along[0], along[1], along[2]},
                                 [&](std::size_t f) { candidates.push_back(f); });
  if (candidates.empty()) return;
  // Points at the same distance keep the order of their faces.
  std::sort(candidates.begin(), candidates.end());

  const MxFaceData& data = faceState.data();
  const std::span<const SbVec3f> positions = data.positions.values;
  FaceVertices vertices(shape, action, faceState);
  const bool clockwise =
      SoShapeHintsElement::getVertexOrdering(action.getState()) == SoShapeHintsElement::CLOCKWISE;
  for (const std::size_t f : candidates) {
    const auto face = data.faces->face(f);
    bool hitBefore = false;
    data.faces->forEachTriangle(f, [&](std::size_t a, std::size_t b, std::size_t c) {
      const std::size_t places[3] = {a, b, c};
      SbVec3f point, weights;
      SbBool front;
      const bool hit = action.intersect(positions[face[a]], positions[face[b]], positions[face[c]],
                                        point, weights, front);
      const bool again = hit && hitBefore && weights[2] < kSideTolerance;
      hitBefore = hit;
      if (!hit || again || !action.isBetweenPlanes(point)) return;
      SoPickedPoint* picked = action.addIntersection(point, clockwise ? !front : front);
      if (!picked) return;
      picked->setDetail(vertices.makeDetail(f), &shape);
      SbVec3f normal(0, 0, 0);
      SbVec4f texture(0, 0, 0, 0);
      int heaviest = 0;
      for (int i = 0; i < 3; ++i) {
        normal += vertices.normal(f, places[i]) * weights[i];
        texture +=
            vertices.textureCoordinates(f, places[i], positions[face[places[i]]]) * weights[i];
        if (weights[i] > weights[heaviest]) heaviest = i;
      }
      if (normal.length() > 0) normal.normalize();
      picked->setObjectNormal(normal);
      picked->setObjectTextureCoords(texture);
      picked->setMaterialIndex(vertices.materialIndex(f, places[heaviest]));
    });
  }
}
