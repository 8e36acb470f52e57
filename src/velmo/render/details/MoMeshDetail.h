#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/toolkit/classes/MoClassMacros.h>

#include <vector>

class MiMesh;
class MoFaceDetail;
class MoLineDetail;

/// The mesh that a picked representation was extracted from, with the sets that colour it.
/// *Ownership*: mesh and sets are borrowed from the application.
class MoMeshDetail : public SoDetail
{
  MO_DETAIL_HEADER(MoMeshDetail);

public:
  using ColorSets = std::vector<const MiTypedDataSet<double>*>;

  MoMeshDetail() = default;
  SoDetail* copy() const override;

  void setMesh(const MiMesh* mesh, MeshType type);
  /// Null for none.
  const MiMesh* getMesh() const { return m_mesh; }
  MeshType getMeshType() const { return m_type; }

  /// Null for a set that was missing.
  void setColorScalarSets(const ColorSets& sets) { m_colorSets = sets; }
  std::size_t getColorScalarSetCount() const { return m_colorSets.size(); }
  /// Null when there is no such set.
  const MiTypedDataSet<double>* getColorScalarSet(std::size_t index) const;

  /// The same pick in the variant that numbers cells as the mesh does; a new object, null when
  /// there is no mesh or the picked cell is not known.
  MoFaceDetail* specilizeFaceDetail(const MoFaceDetail& face) const;
  MoLineDetail* specilizeLineDetail(const MoLineDetail& line) const;

  /// @param cells  the mesh's cells along I and J
  static void computeIj(std::size_t cell, const MbIndex3& cells, std::size_t& i, std::size_t& j);
  /// @param cells  the mesh's cells along I, J and K
  static void computeIjk(std::size_t cell, const MbIndex3& cells, std::size_t& i, std::size_t& j,
                         std::size_t& k);

private:
  const MiMesh* m_mesh = nullptr;
  MeshType m_type = UNDEFINED_MESH;
  ColorSets m_colorSets;
};
