#include <velmo/render/MxSurfaceSceneGraph.h>

#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/render/MxSetField.h>
#include <velmo/toolkit/shapes/TkShaderProgram.h>

#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShaderObject.h>
#include <Inventor/nodes/SoShaderParameter.h>
#include <Inventor/nodes/SoShaderProgram.h>

#include <cmath>

MxSurfaceSceneGraph::MxSurfaceSceneGraph(SoSeparator* root) : MxUnstrMeshSceneGraph(root, true)
{
  m_enhanced = std::make_unique<MxEnhancedColoring>(getMainStyle());
  auto faces =
      std::make_unique<MxStyledIndexedFaceGraph>(getMainStyle(), SoDrawStyle::FILLED, nullptr);
  auto edges = std::make_unique<MxStyledIndexedFaceGraph>(addExtraStyle("LineStyle"),
                                                          SoDrawStyle::LINES, faces.get());
  auto points = std::make_unique<MxStyledIndexedFaceGraph>(addExtraStyle("PointStyle"),
                                                           SoDrawStyle::POINTS, faces.get());
  // The edges that the shape draws itself fade as those of the extra styles do.
  const auto* program = getFadingShaderProgram();
  const auto* shader = static_cast<const SoShaderObject*>(program->shaderObject[0]);
  const auto value = [&](int i) -> SoSFFloat& {
    return static_cast<SoShaderParameter1f*>(shader->parameter[i])->value;
  };
  faces->connectSinglePassFading(value(0), value(1));
  MxStyledShapeGraph* main = faces.get();
  setGraphs(std::move(faces), std::move(edges), std::move(points), main);
}

MxStyledIndexedFaceGraph& MxSurfaceSceneGraph::getFaceGraph() const
{
  return static_cast<MxStyledIndexedFaceGraph&>(getFaces());
}

bool MxSurfaceSceneGraph::isEnabled(SoState* state)
{
  bool faces, edges, points;
  const bool hasDrawStyle = MoDrawStyleElement::getDrawStyle(state, faces, edges, points);
  const bool enhanced = MoMaterialElement::getEnhancedColoring(state);
  MxStyledIndexedFaceGraph& faceGraph = getFaceGraph();
  const bool wanted = isSinglePassOutlineAllowed() && faces && edges && !isIgnoringExtraStyle() &&
                      !enhanced && hasDrawStyle;
  if (wanted && faceGraph.enableSinglePassOutline(true, state)) {
    faceGraph.enable(true);
    getEdges().enable(false); // the shape draws them
    getPoints().enable(points);
    showExtraStyles(points);
    faceGraph.enableSinglePassFading(MoDrawStyleElement::getFadingThreshold(state) > 0.0f);
    faceGraph.bypassOutlineRendering(false);
    return true;
  }
  faceGraph.enableSinglePassOutline(false, state);
  faceGraph.bypassOutlineRendering(enhanced || !isSinglePassOutlineAllowed());
  faceGraph.setEdgesOnFaces(hasDrawStyle && faces && edges && !isIgnoringExtraStyle(),
                            static_cast<TkShaderProgram*>(getFadingShaderProgram()));
  return MxUnstrMeshSceneGraph::isEnabled(state);
}

void MxSurfaceSceneGraph::clear()
{
  MxUnstrMeshSceneGraph::clear();
  m_normal = SbVec3f(0, 0, 0);
  m_nodeNormals = {};
  m_setNormals.clear();
  m_setNormalsStamp = MxTimeStamp::kNone;
  m_namesStamp = MxTimeStamp::kNone;
  getFaceGraph().setNormalsFor(nullptr, false);
  m_enhanced->deactivate();
}

bool MxSurfaceSceneGraph::requireFading() const
{
  return getEdges().isEnabled() || getPoints().isEnabled() || getFaceGraph().isSinglePassFading();
}

void MxSurfaceSceneGraph::setOverallNormal(const SbVec3f& normal)
{
  m_normal = normal;
  applyNormals();
}

void MxSurfaceSceneGraph::setNormalDataSet(const MeXDataSetI<MbVec3d>* normals)
{
  const std::uint64_t stamp = normals ? normals->getTimeStamp() : MxTimeStamp::kNone;
  if (m_setNormalsStamp == stamp) return;
  m_setNormalsStamp = stamp;
  // Nobody looks at the old ones while they change.
  if (m_namesStamp == MxTimeStamp::kNone) getFaces().setNormals(SbVec3f(0, 0, 0));
  m_setNormals.clear();
  if (normals) {
    m_setNormals.reserve(normals->values.size());
    for (const MbVec3d& n : normals->values) {
      const double length = std::sqrt(dot(n, n));
      const MbVec3d unit = length > 0 ? n * (1 / length) : n;
      m_setNormals.push_back(
          {static_cast<float>(unit.x), static_cast<float>(unit.y), static_cast<float>(unit.z)});
    }
    m_setNormalBinding = normals->getBinding() == MiDataBinding::PerNode
                             ? SoVertexProperty::PER_VERTEX_INDEXED
                             : SoVertexProperty::PER_FACE;
  }
  applyNormals();
}

void MxSurfaceSceneGraph::setNodeNormals(std::span<const MbVec3f> normals)
{
  m_nodeNormals = normals;
  applyNormals();
}

void MxSurfaceSceneGraph::applyNormals()
{
  TkVertexProperty& property = *getFaces().getVertexProperty();
  // They name faces now, for the enhanced colouring.
  if (m_namesStamp != MxTimeStamp::kNone) return;
  getFaces().setNormals(m_normal);
  if (m_normal != SbVec3f(0, 0, 0)) return;
  const bool hasSet = !m_setNormals.empty();
  const std::span<const MbVec3f> normals = hasSet ? std::span(m_setNormals) : m_nodeNormals;
  if (normals.empty()) return;
  if (hasSet) setIfDifferent(property.normalBinding, m_setNormalBinding);
  static_assert(sizeof(MbVec3f) == sizeof(SbVec3f));
  property.normal.setValuesPointer(static_cast<int>(normals.size()),
                                   reinterpret_cast<const SbVec3f*>(normals.data()));
}

void MxSurfaceSceneGraph::fillEnhancedColoring(const MeXSurfaceMeshUnstructured& surface,
                                               const MeXDataSetI<double>* values,
                                               const MiScalarColorMapping* mapping)
{
  TkVertexProperty& property = *getFaces().getVertexProperty();
  const bool wanted = getFaces().isEnabled() && isEnhancedColoringWanted() &&
                      getFaces().getColoring() != MoMaterial::COLOR && mapping && values &&
                      values->getBinding() == MiDataBinding::PerNode;
  if (wanted && m_enhanced->activate(*mapping, surface, *values, getOpacity(), getUndefinedColor()))
  {
    setIfDifferent(property.materialBinding, SoVertexProperty::OVERALL);
    setIfDifferent(property.normalBinding, SoVertexProperty::PER_FACE);
    const std::vector<SbVec3f>& names = m_enhanced->polygonNames();
    if (m_namesStamp != surface.topology.getTimeStamp()) {
      m_namesStamp = surface.topology.getTimeStamp();
      property.normal.setNum(0);
      property.normal.setValuesPointer(static_cast<int>(names.size()), names.data());
    }
    getFaceGraph().setNormalsFor(m_enhanced->getProgram(), m_enhanced->isTransparent());
    return;
  }
  m_enhanced->deactivate();
  if (m_namesStamp == MxTimeStamp::kNone) return;
  getFaceGraph().setNormalsFor(nullptr, false);
  m_namesStamp = MxTimeStamp::kNone;
  setIfDifferent(property.normalBinding, SoVertexProperty::PER_VERTEX_INDEXED);
  applyNormals();
  // The colours of the vertices, if there are any, count again.
  if (property.orderedRGBA.getNum() > 0)
    setIfDifferent(property.materialBinding,
                   values && values->getBinding() == MiDataBinding::PerNode
                       ? SoVertexProperty::PER_VERTEX_INDEXED
                       : SoVertexProperty::PER_FACE);
}
