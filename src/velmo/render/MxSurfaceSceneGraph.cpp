#include <velmo/render/MxSurfaceSceneGraph.h>

#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/nodes/MoMaterialElement.h>

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
  return MxUnstrMeshSceneGraph::isEnabled(state);
}

void MxSurfaceSceneGraph::clear()
{
  MxUnstrMeshSceneGraph::clear();
  m_normal = SbVec3f(0, 0, 0);
  m_enhanced->deactivate();
}

bool MxSurfaceSceneGraph::requireFading() const
{
  return getEdges().isEnabled() || getPoints().isEnabled() || getFaceGraph().isSinglePassFading();
}

void MxSurfaceSceneGraph::setOverallNormal(const SbVec3f& normal)
{
  m_normal = normal;
  getFaces().setNormals(normal);
}

void MxSurfaceSceneGraph::fillEnhancedColoring(const MeXSurfaceMeshUnstructured&,
                                               const MeXDataSetI<double>*,
                                               const MiScalarColorMapping*)
{
  // There is no shader that does it yet: the faces keep the colours of their vertices.
  m_enhanced->deactivate();
  if (getFaces().getVertexProperty()->normalBinding.getValue() == SoVertexProperty::PER_FACE)
    getFaces().setNormals(m_normal);
}
