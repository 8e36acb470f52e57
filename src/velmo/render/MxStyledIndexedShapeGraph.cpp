#include <velmo/render/MxStyledIndexedShapeGraph.h>

#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/details/MoLineDetail.h>
#include <velmo/render/MxSetField.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>
#include <velmo/toolkit/shapes/TkLineSet.h>
#include <velmo/toolkit/shapes/TkPointSet.h>

#include <Inventor/errors/SoDebugError.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/SoFullPath.h>

namespace {

SoIndexedFaceSetOutline* makeFaceSet()
{
  auto* shape = new SoIndexedFaceSetOutline;
  shape->outlineMode = SoIndexedFaceSetOutline::NO_OUTLINE;
  return shape;
}

} // namespace

MxStyledIndexedShapeGraph::MxStyledIndexedShapeGraph()
    : MxStyledIndexedShapeGraph(nullptr, SoDrawStyle::INVISIBLE, nullptr, nullptr)
{}

MxStyledIndexedShapeGraph::MxStyledIndexedShapeGraph(SoSeparator* parent, SoDrawStyle::Style style,
                                                     SoIndexedShape* shape,
                                                     const MxStyledIndexedShapeGraph* shared)
    : MxStyledShapeGraph(parent, style, shared), m_shape(shared ? shared->getShape() : shape)
{
  if (!m_shape) return;
  // The default index list, one -1, is a cell without vertices.
  if (!shared) m_shape->coordIndex.setNum(0);
  addShape(parent, m_shape);
}

MxStyledIndexedShapeGraph::~MxStyledIndexedShapeGraph() = default;

void MxStyledIndexedShapeGraph::clear()
{
  // Indices first: at no time may they name vertices that are gone.
  if (m_shape) {
    if (m_shape->coordIndex.getNum() > 0) m_shape->coordIndex.setNum(0);
    if (m_shape->materialIndex.getNum() > 0) m_shape->materialIndex.setNum(0);
  }
  MxStyledShapeGraph::clear();
  if (!getDrawStyle()->linePattern.isIgnored()) getDrawStyle()->linePattern.setIgnored(TRUE);
}

bool MxStyledIndexedShapeGraph::isEndingPath(const SoFullPath* path) const
{
  return m_shape && path->getTail() == m_shape;
}

void MxStyledIndexedShapeGraph::setCoordIndex(const MxCpuBuffer<int>* buffer)
{
  if (!m_shape) return;
  m_shape->coordIndex.setNum(0);
  if (!buffer) {
    SoDebugError::postWarning("MxStyledIndexedShapeGraph::setCoordIndex",
                              "Buffer is NULL, no index set in SoIndexedShape");
    return;
  }
  m_shape->coordIndex.setValuesPointer(static_cast<int>(buffer->getByteCount() / sizeof(int)),
                                       buffer->array.data());
}

void MxStyledIndexedShapeGraph::setLinePattern(unsigned short pattern)
{
  SoSFUShort& field = getDrawStyle()->linePattern;
  if (field.isIgnored()) field.setIgnored(FALSE);
  setIfDifferent(field, pattern);
}

MxStyledIndexedFaceGraph::MxStyledIndexedFaceGraph(SoSeparator* parent, SoDrawStyle::Style style,
                                                   const MxStyledIndexedFaceGraph* shared)
    : MxStyledIndexedShapeGraph(parent, style, shared ? nullptr : makeFaceSet(), shared)
{}

SoIndexedFaceSetOutline* MxStyledIndexedFaceGraph::getFaceSet() const
{
  return static_cast<SoIndexedFaceSetOutline*>(getShape());
}

void MxStyledIndexedFaceGraph::clear()
{
  setIfDifferent(getFaceSet()->outlineMode, SoIndexedFaceSetOutline::NO_OUTLINE);
  setIfDifferent(getFaceSet()->fading, FALSE);
  MxStyledIndexedShapeGraph::clear();
}

SoDetail* MxStyledIndexedFaceGraph::createDetail(const SoDetail* detail,
                                                 const MoMeshRepresentationDetail* mesh) const
{
  const auto* face = detail && detail->isOfType(SoFaceDetail::getClassTypeId())
                         ? static_cast<const SoFaceDetail*>(detail)
                         : nullptr;
  return face ? new MoFaceDetail(*face, mesh) : nullptr;
}

bool MxStyledIndexedFaceGraph::isContouringEnabled() const
{
  const SoIndexedFaceSetOutline& shape = *getFaceSet();
  if (shape.outlineMode.getValue() == SoIndexedFaceSetOutline::NO_OUTLINE)
    return MxStyledIndexedShapeGraph::isContouringEnabled();
  if (!isEnabled()) return false;
  return shape.faceColoring.getValue() == SoIndexedFaceSetOutline::CONTOURING ||
         shape.edgeColoring.getValue() == SoIndexedFaceSetOutline::CONTOURING;
}

bool MxStyledIndexedFaceGraph::enableSinglePassOutline(bool enabled, SoState* state)
{
  const bool possible = enabled && getFaceSet()->isCompatibleWithState(state);
  setIfDifferent(getFaceSet()->outlineMode, possible ? SoIndexedFaceSetOutline::FACES_AND_EDGES
                                                     : SoIndexedFaceSetOutline::NO_OUTLINE);
  return possible;
}

void MxStyledIndexedFaceGraph::enableSinglePassFading(bool enabled)
{
  setIfDifferent(getFaceSet()->fading, SbBool(enabled));
}

bool MxStyledIndexedFaceGraph::isSinglePassFading() const
{
  const SoIndexedFaceSetOutline& shape = *getFaceSet();
  return shape.fading.getValue() &&
         shape.outlineMode.getValue() != SoIndexedFaceSetOutline::NO_OUTLINE;
}

void MxStyledIndexedFaceGraph::connectSinglePassFading(SoSFFloat& edgePixelLength,
                                                       SoSFFloat& edgeLengthReference)
{
  getFaceSet()->fadingEdgePixelLength.connectFrom(&edgePixelLength);
  getFaceSet()->edgeLengthReference.connectFrom(&edgeLengthReference);
}

void MxStyledIndexedFaceGraph::bypassOutlineRendering(bool bypassed)
{
  getFaceSet()->bypassSinglePassOutline(bypassed);
}

void MxStyledIndexedFaceGraph::setEdgesOnFaces(bool on, TkShaderProgram* fading)
{
  getFaceSet()->setEdgesOnFaces(on, fading);
}

void MxStyledIndexedFaceGraph::setNormalsFor(TkShaderProgram* program, bool transparent)
{
  getFaceSet()->setNormalsFor(program, transparent);
}

bool MxStyledIndexedFaceGraph::updateSinglePassMaterial(SoState* state, bool singlePass)
{
  const MoMaterialElementValues material = MoMaterialElement::getMaterial(state);
  const auto coloringOf = [](MoMaterial::ColoringType type) {
    return type == MoMaterial::COLOR ? SoIndexedFaceSetOutline::COLOR
                                     : SoIndexedFaceSetOutline::CONTOURING;
  };
  SoIndexedFaceSetOutline& shape = *getFaceSet();
  bool changed = setIfDifferent(shape.faceColoring, coloringOf(material.faceColoring));
  changed |= setIfDifferent(shape.faceColor, material.faceColor);
  changed |= setIfDifferent(shape.transparency, material.transparency);
  if (singlePass) {
    changed |= setIfDifferent(shape.edgeColoring, coloringOf(material.lineColoring));
    changed |= setIfDifferent(shape.edgeColor, material.lineColor);
  }
  return !changed;
}

MxStyledIndexedLineGraph::MxStyledIndexedLineGraph(SoSeparator* parent, SoDrawStyle::Style style,
                                                   const MxStyledIndexedLineGraph* shared)
    : MxStyledIndexedShapeGraph(parent, style, shared ? nullptr : new TkLineSet, shared)
{}

SoDetail* MxStyledIndexedLineGraph::createDetail(const SoDetail* detail,
                                                 const MoMeshRepresentationDetail* mesh) const
{
  const auto* line = detail && detail->isOfType(SoLineDetail::getClassTypeId())
                         ? static_cast<const SoLineDetail*>(detail)
                         : nullptr;
  return line ? new MoLineDetail(*line, mesh) : nullptr;
}

MxStyledPointGraph::MxStyledPointGraph(SoSeparator* parent, SoDrawStyle::Style style)
    : MxStyledShapeGraph(parent, style, nullptr), m_shape(new TkPointSet)
{
  verticesChanged(0);
  addShape(parent, m_shape);
}

MxStyledPointGraph::~MxStyledPointGraph() = default;

bool MxStyledPointGraph::isEndingPath(const SoFullPath* path) const
{
  return path->getTail() == m_shape;
}

void MxStyledPointGraph::verticesChanged(int count)
{
  // By default a point set without vertices of its own takes all those that stand above it.
  m_shape->numPoints = count;
}
