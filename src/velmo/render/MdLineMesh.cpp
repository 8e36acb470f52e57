#include <velmo/render/MdLineMesh.h>

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/render/details/MoLineMeshDetail.h>
#include <velmo/render/MxLineSceneGraph.h>
#include <velmo/render/MxStructuredView.h>

#include <Inventor/nodes/SoSeparator.h>

MdLineMesh::MdLineMesh(SoGroup* parent, bool fading) : MdIndexedMesh(parent)
{
  setSceneGraph(std::make_unique<MxLineSceneGraph>(getSeparator(), fading));
}

MdLineMesh::~MdLineMesh() = default;

void MdLineMesh::set(SoState* state, const MeXLineMeshUnstructured& lines,
                     const ColorSets& colorSets, MiExtractorCallback* callback,
                     const MxRefCounted* keep)
{
  const Building building(callback, "MdLineMesh");
  m_lines = &lines;
  setParts(state, {&lines, LINE_MESH_UNSTRUCTURED, &lines.getTopology(), &lines.getGeometry()},
           colorSets, keep);
  m_internal.reset();
}

template <class Lines>
void MdLineMesh::setInternalLineMesh(SoState* state, const Lines& lines, const ColorSets& colorSets,
                                     MiExtractorCallback* callback, const MxRefCounted* keep)
{
  Building building(callback, "MdLineMesh");
  if (!m_internal) m_internal = std::make_unique<MxStructuredView<MeXLineMeshUnstructured>>();
  if (!updateInternal(*m_internal, lines, building)) return;
  m_lines = &m_internal->shown();
  setParts(state,
           {&lines, meshTypeOf<Lines>(MxLineKinds{}), &m_lines->topology, &m_lines->geometry,
            m_internal->cells()},
           colorSets, keep);
}

void MdLineMesh::set(SoState* state, const MiLineMeshCurvilinear& lines, const ColorSets& colorSets,
                     MiExtractorCallback* callback, const MxRefCounted* keep)
{
  setInternalLineMesh(state, lines, colorSets, callback, keep);
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
  if (!getExtractedMesh(type) || type != LINE_MESH_UNSTRUCTURED ||
      m_lines->getTopology().getCellCount() == 0)
    return;
  const MoLineMeshDetail detail(m_lines, getColorSets());
  sceneGraph().setDetails(action, &detail);
}
