#pragma once

#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/representation/MdMeshRepresentationFor.h>

/// The implementation of a representation that extracts one mesh, with the edges and points drawn
/// on it.
///
/// @tparam Builder  of the mesh: MdSurfaceMesh, or MdLineMesh, on which no edges are drawn
template <class Extract, class Builder>
class MdMeshShapeRepresentation : public MdMeshRepresentationFor<Extract>
{
  using Base = MdMeshRepresentationFor<Extract>;
  static constexpr bool kIsSurface = std::is_same_v<Builder, MdSurfaceMesh>;

public:
  using typename Base::ColorSets;

  using Base::Base;

  /// Where the results go; borrowed, null for what is not there.
  void setBuilders(Builder* shape, MdLineMesh* edges, MdPointMesh* points)
  {
    m_shape = shape;
    m_edges = edges;
    m_points = points;
  }

  void rayPick(SoRayPickAction* action) override
  {
    if (m_shape) m_shape->rayPick(action);
  }

protected:
  using typename Base::Request;

  void extract(SoState* state, const Request& request, const ColorSets& colorSets) override
  {
    bool faces, edges, points;
    MoDrawStyleElement::getDrawStyle(state, faces, edges, points);
    // Only a tessellator makes edges and points that differ from those of the mesh's cells;
    // otherwise the builder of the mesh draws them itself.
    const bool separate = this->getNode().isUsingTessellator();
    edges = kIsSurface && edges && separate;
    points = points && separate;
    const bool isCurrent = this->bringUpToDate(state, request, colorSets, !edges && !points);
    // While a task runs, what is there may still be given other colours.
    if (!isCurrent && !this->canMap(request)) return;

    Extract& extractor = *this->getExtract();
    const auto* mesh = this->hasMesh() ? extractor.getExtract() : nullptr;
    Sets sets;
    for (const MiTypedDataSet<double>* set : mesh ? colorSets : ColorSets{})
      sets.push_back(extractor.extractScalarSet(set, this->getWarnings()));
    if (isCurrent && mesh) this->postExtractorWarnings(mesh->getTopology().getTimeStamp());
    const auto* edgeMesh =
        isCurrent && mesh && edges ? extractor.extractLine(request.filter) : nullptr;
    const auto* pointMesh =
        isCurrent && mesh && points ? extractor.extractPoints(request.filter) : nullptr;
    if (isCurrent && m_shape) m_shape->setIgnoreExtraStyle(edgeMesh || pointMesh);
    this->build(m_shape, state, mesh, sets,
                kIsSurface ? "Cannot find child surface nodes." : "Cannot find child line nodes.");
    // While a task runs, what was drawn beside the mesh stays as well.
    if (isCurrent) buildExtras(state, edgeMesh, pointMesh, colorSets);
  }

private:
  using Sets = std::vector<const MeXDataSetI<double>*>;

  void buildExtras(SoState* state, const MeXLineMeshUnstructured* edges,
                   const MeXPointMeshCurvilinear* points, const ColorSets& colorSets)
  {
    Sets edgeSets, pointSets;
    for (const MiTypedDataSet<double>* set : colorSets) {
      if (edges) edgeSets.push_back(this->getExtract()->extractLineScalarSet(set));
      if (points) pointSets.push_back(this->getExtract()->extractPointsScalarSet(set));
    }
    if (kIsSurface) this->build(m_edges, state, edges, edgeSets, "Cannot find child line nodes.");
    this->build(m_points, state, points, pointSets, "Cannot find child point nodes.");
  }

  Builder* m_shape = nullptr;
  MdLineMesh* m_edges = nullptr;
  MdPointMesh* m_points = nullptr;
};
