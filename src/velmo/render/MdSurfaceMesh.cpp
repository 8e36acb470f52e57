#include <velmo/render/MdSurfaceMesh.h>

#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/extraction/algorithms/map/MxNodeNormals.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/render/details/MoSurfaceMeshDetail.h>
#include <velmo/render/MxStructuredView.h>
#include <velmo/toolkit/classes/SoPreferences.h>

#include <Inventor/errors/SoDebugError.h>
#include <Inventor/nodes/SoPolygonOffset.h>
#include <Inventor/nodes/SoSeparator.h>

#include <utility>

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

MdSurfaceMesh::~MdSurfaceMesh() = default;

MxSurfaceSceneGraph& MdSurfaceMesh::surfaceGraph() const
{
  return static_cast<MxSurfaceSceneGraph&>(sceneGraph());
}

void MdSurfaceMesh::set(SoState* state, const MeXSurfaceMeshUnstructured& surface,
                        const ColorSets& colorSets, MiExtractorCallback* callback,
                        const MxRefCounted* keep)
{
  const Building building(callback, "MdSurfaceMesh");
  m_surface = &surface;
  setParts(state,
           {&surface, SURFACE_MESH_UNSTRUCTURED, &surface.getTopology(), &surface.getGeometry()},
           colorSets, keep);
  m_internal.reset();
}

template <class Surface>
void MdSurfaceMesh::setInternalSurfaceMesh(SoState* state, const Surface& surface,
                                           const ColorSets& colorSets,
                                           MiExtractorCallback* callback, const MxRefCounted* keep)
{
  Building building(callback, "MdSurfaceMesh");
  if (!m_internal) m_internal = std::make_unique<MxStructuredView<MeXSurfaceMeshUnstructured>>();
  if (!updateInternal(*m_internal, surface, building)) return;
  m_surface = &m_internal->shown();
  setParts(state,
           {&surface, meshTypeOf<Surface>(MxSurfaceKinds{}), &m_surface->topology,
            &m_surface->geometry, m_internal->cells()},
           colorSets, keep);
}

void MdSurfaceMesh::set(SoState* state, const MiSurfaceMeshRegular& surface,
                        const ColorSets& colorSets, MiExtractorCallback* callback,
                        const MxRefCounted* keep)
{
  setInternalSurfaceMesh(state, surface, colorSets, callback, keep);
}

void MdSurfaceMesh::set(SoState* state, const MiSurfaceMeshRectilinear& surface,
                        const ColorSets& colorSets, MiExtractorCallback* callback,
                        const MxRefCounted* keep)
{
  setInternalSurfaceMesh(state, surface, colorSets, callback, keep);
}

void MdSurfaceMesh::set(SoState* state, const MiSurfaceMeshCurvilinear& surface,
                        const ColorSets& colorSets, MiExtractorCallback* callback,
                        const MxRefCounted* keep)
{
  setInternalSurfaceMesh(state, surface, colorSets, callback, keep);
}

void MdSurfaceMesh::allowSinglePassOutline(bool allow)
{
  sceneGraph().allowSinglePassOutline(allow);
}

void MdSurfaceMesh::setOverallNormal(const SbVec3f& normal)
{
  surfaceGraph().setOverallNormal(normal);
}

void MdSurfaceMesh::setNormalDataSet(const MeXDataSetI<MbVec3d>* normals)
{
  MeshType type;
  if (!getExtractedMesh(type)) normals = nullptr;
  if (normals) {
    const std::size_t count = normals->getBinding() == MiDataBinding::PerNode
                                  ? m_surface->geometry.getNodeCount()
                                  : m_surface->topology.getCellCount();
    if (normals->values.size() != count) {
      if (std::exchange(m_unfitNormals, normals->getTimeStamp()) != normals->getTimeStamp())
        SoDebugError::postWarning("MdSurfaceMesh::setNormalDataSet",
                                  "The number of normals does not fit the surface");
      normals = nullptr;
    }
  }
  surfaceGraph().setNormalDataSet(normals);
}

void MdSurfaceMesh::afterFill(SoState* state)
{
  // Those of another surface may be too few.
  if (haveIndicesChanged() || hasGeometryChanged()) surfaceGraph().setNormalDataSet(nullptr);
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
  if (!getExtractedMesh(type) || type != SURFACE_MESH_UNSTRUCTURED ||
      m_surface->getTopology().getCellCount() == 0)
    return;
  const MoSurfaceMeshDetail detail(m_surface, getColorSets());
  sceneGraph().setDetails(action, &detail);
}
