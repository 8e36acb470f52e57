#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/mesh/MeXMesh.h>
#include <velmo/render/details/MoCellDetail.h>
#include <velmo/toolkit/MoClassMacros.h>

#include <vector>

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
  /// What is known of a cell of the extracted mesh.
  /// @param firstNode  where the picked segment of a line begins, which tells one source cell from
  ///                   another on lines through several
  MoPickedCell getPickedCell(std::size_t extractedCell,
                             std::size_t firstNode = MoPickedCell::kNone) const;

protected:
  MoMeshRepresentationDetail(const MiMesh* mesh, MeshType type, const MeXProvenance* provenance,
                             ColorSets colorSets);

private:
  const MiMesh* m_mesh = nullptr;
  MeshType m_type = UNDEFINED_MESH;
  const MeXProvenance* m_provenance = nullptr;
  ColorSets m_colorSets;
};
