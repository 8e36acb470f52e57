#pragma once

#include <velmo/nodes/MoDrawStyleElement.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/representation/MdMeshRepresentationFor.h>

/// The implementation of a representation that extracts one set of lines, with the points drawn on
/// them.
template <class Extract>
class MdMeshLineRepresentation : public MdMeshRepresentationFor<Extract>
{
  using Base = MdMeshRepresentationFor<Extract>;

public:
  using typename Base::CellFilter;
  using typename Base::ColorSets;

  using Base::Base;

  /// Where the results go; borrowed, null for what is not there.
  void setBuilders(MdLineMesh* lines, MdPointMesh* points)
  {
    m_lines = lines;
    m_points = points;
  }

  void rayPick(SoRayPickAction* action) override
  {
    if (m_lines) m_lines->rayPick(action);
  }

protected:
  virtual const MeXLineMeshUnstructured* extractLines(SoState* state, const CellFilter* filter) = 0;

  void extract(SoState* state, const ColorSets& colorSets, const CellFilter* filter) override
  {
    bool faces, edges, points;
    MoDrawStyleElement::getDrawStyle(state, faces, edges, points);
    // As for surfaces: without a tessellator the line builder draws the points itself.
    const bool separate = this->getOwner().isUsingTessellator();
    Extract& extractor = *this->getExtract();
    const MeXPointMeshCurvilinear* pointMesh =
        separate && points ? extractor.extractPoints(state, filter) : nullptr;
    const MeXLineMeshUnstructured* lines = extractLines(state, filter);
    if (lines) this->postExtractorWarnings(lines->getTopology().getTimeStamp());

    std::vector<const MeXDataSetI<double>*> lineSets, pointSets;
    for (const MiTypedDataSet<double>* set : lines ? colorSets : ColorSets{}) {
      lineSets.push_back(extractor.extractScalarSet(set));
      if (pointMesh) pointSets.push_back(extractor.extractPointsScalarSet(set));
    }
    if (m_lines) m_lines->setIgnoreExtraStyle(pointMesh != nullptr);
    this->build(m_lines, state, lines, lineSets, "Cannot find child line nodes.");
    this->build(m_points, state, pointMesh, pointSets, "Cannot find child point nodes.");
  }

private:
  MdLineMesh* m_lines = nullptr;
  MdPointMesh* m_points = nullptr;
};
