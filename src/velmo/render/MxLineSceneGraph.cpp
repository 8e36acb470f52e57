#include <velmo/render/MxLineSceneGraph.h>

#include <Inventor/nodes/SoSeparator.h>

MxLineSceneGraph::MxLineSceneGraph(SoSeparator* root, bool fading)
    : MxUnstrMeshSceneGraph(root, fading)
{
  auto faces = std::make_unique<MxStyledIndexedLineGraph>(nullptr, SoDrawStyle::INVISIBLE, nullptr);
  auto edges =
      std::make_unique<MxStyledIndexedLineGraph>(getMainStyle(), SoDrawStyle::LINES, nullptr);
  auto points = std::make_unique<MxStyledIndexedLineGraph>(addExtraStyle("PointStyle"),
                                                           SoDrawStyle::POINTS, edges.get());
  MxStyledShapeGraph* main = edges.get();
  setGraphs(std::move(faces), std::move(edges), std::move(points), main);
}

bool MxLineSceneGraph::requireFading() const
{
  return getPoints().isEnabled();
}
