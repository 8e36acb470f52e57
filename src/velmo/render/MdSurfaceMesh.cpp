#include <velmo/render/MdSurfaceMesh.h>

#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/extraction/algorithms/MxNodeNormals.h>
#include <velmo/render/details/MoSurfaceMeshDetail.h>
#include <velmo/toolkit/SoPreferences.h>

#include <Inventor/nodes/SoPolygonOffset.h>
#include <Inventor/nodes/SoSeparator.h>

MdSurfaceMesh::MdSurfaceMesh(SoGroup* parent) : MdIndexedMesh(parent)
{
  getSeparator()->setName("SurfaceMesh_Display");
  auto* offset = new SoPolygonOffset;
  offset->styles = SoPolygonOffset::FILLED;
  offset->factor = 0.5f;
  offset->units = 15.0f;
  offset->on = SoPreferences::getBool("VELMO_POLYGON_OFFSET", TRUE);
  getSeparator()->addChild(offset);
  setSceneGraph(std::make_unique<MxSurfaceSceneGraph>(getSeparator()));
}

MxSurfaceSceneGraph& MdSurfaceMesh::surfaceGraph() const
{
  return static_cast<MxSurfaceSceneGraph&>(sceneGraph());
}

void MdSurfaceMesh::set(SoState* state, const MeXSurfaceMeshUnstructured& surface,
                        const ColorSets& colorSets, const MxRefCounted* keep)
{
  m_surface = &surface;
  setParts(state,
           {&surface, SURFACE_MESH_UNSTRUCTURED, &surface.getTopology(), &surface.getGeometry()},
           colorSets, keep);
}

void MdSurfaceMesh::set(SoState* state, const MeXSurfaceMeshUnstructured& surface,
                        const MeXDataSetI<double>* colorSet, const MxRefCounted* keep)
{
  set(state, surface, ColorSets{colorSet}, keep);
}

void MdSurfaceMesh::allowSinglePassOutline(bool allow)
{
  sceneGraph().allowSinglePassOutline(allow);
}

void MdSurfaceMesh::setOverallNormal(const SbVec3f& normal)
{
  surfaceGraph().setOverallNormal(normal);
}

void MdSurfaceMesh::afterFill(SoState* state)
{
  if (m_isSmooth && (haveIndicesChanged() || hasGeometryChanged())) {
    surfaceGraph().setNodeNormals({});
    nodeNormals(*m_surface, true, m_normals);
    surfaceGraph().setNodeNormals(m_normals.span());
  }
  surfaceGraph().fillEnhancedColoring(*m_surface,
                                      getColorSets().empty() ? nullptr : getColorSets().front(),
                                      MoColorMappingElement::getColorMapping(state));
}

void MdSurfaceMesh::rayPick(SoRayPickAction* action)
{
  MeshType type;
  if (!getExtractedMesh(type) || m_surface->getTopology().getCellCount() == 0) return;
  const MoSurfaceMeshDetail detail(m_surface, getColorSets());
  sceneGraph().setDetails(action, &detail);
}
