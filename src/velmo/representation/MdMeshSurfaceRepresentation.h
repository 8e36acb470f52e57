#pragma once

#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/representation/MdMeshRepresentationFor.h>

/// The implementation of a representation that extracts a surface, with the edges and points drawn
/// on it.
template <class Extract>
class MdMeshSurfaceRepresentation : public MdMeshRepresentationFor<Extract>
{
  using Base = MdMeshRepresentationFor<Extract>;

public:
  using typename Base::CellFilter;
  using typename Base::ColorSets;

  using Base::Base;

  /// Where the results go; borrowed, null for what is not there.
  void setBuilders(MdSurfaceMesh* surfaces, MdLineMesh* lines, MdPointMesh* points)
  {
    m_surfaces = surfaces;
    m_lines = lines;
    m_points = points;
  }

  void rayPick(SoRayPickAction* action) override
  {
    if (m_surfaces) m_surfaces->rayPick(action);
  }

protected:
  virtual const MeXSurfaceMeshUnstructured* extractSurface(SoState* state,
                                                           const CellFilter* filter) = 0;

  void extract(SoState* state, const ColorSets& colorSets, const CellFilter* filter) override
  {
    bool faces, edges, points;
    MoDrawStyleElement::getDrawStyle(state, faces, edges, points);
    // Only a tessellator makes edges and points that differ from those of the surface's cells;
    // otherwise the surface builder draws them itself.
    const bool separate = this->getOwner().isUsingTessellator();
    Extract& extractor = *this->getExtract();

    const MeXPointMeshCurvilinear* pointMesh =
        separate && points ? extractor.extractPoints(state, filter) : nullptr;
    const MeXLineMeshUnstructured* lineMesh =
        separate && edges ? extractor.extractLine(state, filter) : nullptr;
    const MeXSurfaceMeshUnstructured* surface = extractSurface(state, filter);
    if (surface) this->postExtractorWarnings(surface->getTopology().getTimeStamp());

    std::vector<const MeXDataSetI<double>*> surfaceSets, lineSets, pointSets;
    // Without a surface there is nothing that a set could fail to fit.
    for (const MiTypedDataSet<double>* set : surface ? colorSets : ColorSets{}) {
      surfaceSets.push_back(extractor.extractScalarSet(set));
      if (lineMesh) lineSets.push_back(extractor.extractLineScalarSet(set));
      if (pointMesh) pointSets.push_back(extractor.extractPointsScalarSet(set));
    }
    if (m_surfaces) m_surfaces->setIgnoreExtraStyle(lineMesh || pointMesh);
    this->build(m_surfaces, state, surface, surfaceSets, "Cannot find child surface nodes.");
    this->build(m_lines, state, lineMesh, lineSets, "Cannot find child line nodes.");
    this->build(m_points, state, pointMesh, pointSets, "Cannot find child point nodes.");
  }

private:
  MdSurfaceMesh* m_surfaces = nullptr;
  MdLineMesh* m_lines = nullptr;
  MdPointMesh* m_points = nullptr;
};
