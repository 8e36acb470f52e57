#include <velmo/render/MdLineMesh.h>

#include <velmo/render/details/MoLineMeshDetail.h>
#include <velmo/render/MxLineSceneGraph.h>

#include <Inventor/nodes/SoSeparator.h>

MdLineMesh::MdLineMesh(SoGroup* parent, bool fading) : MdIndexedMesh(parent)
{
  setSceneGraph(std::make_unique<MxLineSceneGraph>(getSeparator(), fading));
}

void MdLineMesh::set(SoState* state, const MeXLineMeshUnstructured& lines,
                     const ColorSets& colorSets, const MxRefCounted* keep)
{
  m_lines = &lines;
  setParts(state, {&lines, LINE_MESH_UNSTRUCTURED, &lines.getTopology(), &lines.getGeometry()},
           colorSets, keep);
}

void MdLineMesh::set(SoState* state, const MeXLineMeshUnstructured& lines,
                     const MeXDataSetI<double>* colorSet, const MxRefCounted* keep)
{
  set(state, lines, ColorSets{colorSet}, keep);
}

void MdLineMesh::setLinePattern(unsigned short pattern)
{
  sceneGraph().setLinePattern(pattern);
}

void MdLineMesh::setTangents(const MeXDataSetI<MbVec3d>* tangents)
{
  sceneGraph().fillTangents(tangents);
}

void MdLineMesh::rayPick(SoRayPickAction* action)
{
  MeshType type;
  if (!getExtractedMesh(type) || m_lines->getTopology().getCellCount() == 0) return;
  const MoLineMeshDetail detail(m_lines, getColorSets());
  sceneGraph().setDetails(action, &detail);
}
