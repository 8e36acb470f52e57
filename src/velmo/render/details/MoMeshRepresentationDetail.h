#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/mesh/MeXMesh.h>
#include <velmo/render/details/MoPickedCell.h>
#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/SbVec3f.h>

#include <memory>
#include <utility>
#include <vector>

class MxPickedValues;

/// The extracted mesh that was picked, with its colour sets. *Ownership*: borrowed from the
/// representation, valid until it extracts again.
class MoMeshRepresentationDetail : public SoDetail
{
  MO_DETAIL_HEADER(MoMeshRepresentationDetail);

public:
  using ColorSets = std::vector<const MeXDataSetI<double>*>;

  MoMeshRepresentationDetail() = default;
  SoDetail* copy() const override;

  /// Null for none.
  const MiMesh* getMesh() const { return m_mesh; }
  MeshType getMeshType() const { return m_type; }
  /// Null for a set that was missing.
  const ColorSets& getColorScalarSets() const { return m_colorSets; }
  /// What the coordinates of the extracted points are relative to, in mesh space.
  MbVec3d getOrigin() const { return m_geometry ? m_geometry->origin : MbVec3d(); }
  /// What is known of a cell of the extracted mesh.
  /// @param firstNode  where the picked segment of a line begins, which tells one source cell from
  ///                   another on lines through several
  MoPickedCell getPickedCell(std::size_t extractedCell,
                             std::size_t firstNode = MoPickedCell::kNone) const;
  /// The node of the source mesh that a node of the extracted one is; MoPickedCell::kNone for none.
  std::size_t getSourceNode(std::size_t extractedNode) const
  {
    return m_provenance ? m_provenance->sourceNodeOf(extractedNode) : MoPickedCell::kNone;
  }
  /// One value a colour set at a point of a cell: that of the cell, or interpolated between its
  /// nodes; no number (NaN) for a set that was missing.
  /// @param point      in mesh space; one outside the cell counts as the nearest one of it
  /// @param cellIndex  of the extracted mesh
  std::vector<double> computeValues(const SbVec3f& point, std::size_t cellIndex) const;

  /// A copy of the cell with its values; null when there is no mesh.
  std::shared_ptr<const MxPickedValues> getPickedValues(std::size_t extractedCell) const;

protected:
  template <class Mesh>
  MoMeshRepresentationDetail(const Mesh& mesh, MeshType type, ColorSets colorSets)
      : m_mesh(&mesh), m_type(type), m_topology(&mesh.topology), m_geometry(&mesh.geometry),
        m_provenance(&mesh.provenance), m_colorSets(std::move(colorSets))
  {}

private:
  const MiMesh* m_mesh = nullptr;
  MeshType m_type = UNDEFINED_MESH;
  const MeXTopologyExplicitI* m_topology = nullptr;
  const MeXGeometryI* m_geometry = nullptr;
  const MeXProvenance* m_provenance = nullptr;
  ColorSets m_colorSets;
  // Many picked points may lie in one long line.
  mutable std::shared_ptr<const MxPickedValues> m_last;
};
