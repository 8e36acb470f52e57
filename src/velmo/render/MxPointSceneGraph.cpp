#include <velmo/render/MxPointSceneGraph.h>

MxPointSceneGraph::MxPointSceneGraph(SoSeparator* root) : MxMeshSceneGraph(root, false)
{
  showExtraStyles(false);
  auto points = std::make_unique<MxStyledPointGraph>(getMainStyle(), SoDrawStyle::POINTS);
  MxStyledShapeGraph* main = points.get();
  setGraphs(std::make_unique<MxStyledIndexedShapeGraph>(),
            std::make_unique<MxStyledIndexedShapeGraph>(), std::move(points), main);
}
