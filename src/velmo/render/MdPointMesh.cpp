#include <velmo/render/MdPointMesh.h>

#include <velmo/render/MxPointSceneGraph.h>

#include <Inventor/nodes/SoSeparator.h>

MdPointMesh::MdPointMesh(SoGroup* parent) : MdMesh(parent)
{
  setSceneGraph(std::make_unique<MxPointSceneGraph>(getSeparator()));
}

void MdPointMesh::set(SoState* state, const MeXPointMeshCurvilinear& points,
                      const ColorSets& colorSets, MiExtractorCallback* callback,
                      const MxRefCounted* keep)
{
  const Building building(callback, "MdPointMesh");
  // Points have no kind of their own among the mesh kinds.
  setParts(state, {&points, UNDEFINED_MESH, nullptr, &points.getGeometry()}, colorSets, keep);
}

void MdPointMesh::fillPrimitives(SoState* state)
{
  if (hasGeometryChanged()) sceneGraph().fillGeometry(*getParts().geometry);
  if (haveColorsChanged()) sceneGraph().fillColors(state, getColorSets());
}
