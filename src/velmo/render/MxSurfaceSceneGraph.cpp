#include <velmo/render/MxSurfaceSceneGraph.h>

#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterialElement.h>
#include <velmo/render/MxSetField.h>
#include <velmo/toolkit/TkShaderProgram.h>

#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShaderObject.h>
#include <Inventor/nodes/SoShaderParameter.h>
#include <Inventor/nodes/SoShaderProgram.h>

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

void MxSurfaceSceneGraph::setNodeNormals(std::span<const MbVec3f> normals)
{
  m_nodeNormals = normals;
  applyNormals();
}

void MxSurfaceSceneGraph::applyNormals()
{
  TkVertexProperty& property = *getFaces().getVertexProperty();
  // They name faces now, for the enhanced colouring.
  if (property.normalBinding.getValue() == SoVertexProperty::PER_FACE) return;
  getFaces().setNormals(m_normal);
  if (m_normal != SbVec3f(0, 0, 0) || m_nodeNormals.empty()) return;
  static_assert(sizeof(MbVec3f) == sizeof(SbVec3f));
  property.normal.setValuesPointer(static_cast<int>(m_nodeNormals.size()),
                                   reinterpret_cast<const SbVec3f*>(m_nodeNormals.data()));
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
  if (property.normalBinding.getValue() != SoVertexProperty::PER_FACE) return;
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
