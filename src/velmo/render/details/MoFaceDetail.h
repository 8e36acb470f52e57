#pragma once

#include <velmo/render/details/MoCellDetail.h>
#include <velmo/toolkit/MoClassMacros.h>

/// The picked face of an extracted mesh.
class MoFaceDetail : public MoCellDetail<SoFaceDetail>
{
  MO_DETAIL_HEADER(MoFaceDetail);

public:
  MoFaceDetail() = default;
  /// @param mesh  the mesh that the picked shape draws; null when it is not known
  MoFaceDetail(const SoFaceDetail& detail, const MoMeshRepresentationDetail* mesh)
      : MoCellDetail(detail, mesh)
  {}
  SoDetail* copy() const override;
};

/// The picked face of what was extracted from a mesh whose cells have one index.
class MoFaceDetailI : public MoFaceDetail
{
  MO_DETAIL_HEADER(MoFaceDetailI);

public:
  MoFaceDetailI() = default;
  explicit MoFaceDetailI(const MoFaceDetail& face) : MoFaceDetail(face) {}
  SoDetail* copy() const override;
  /// The cell of the source mesh.
  std::size_t getCell() const { return getSourceCell(); }
};

/// The picked face of what was extracted from a mesh whose cells are numbered (i, j).
class MoFaceDetailIj : public MoFaceDetail
{
  MO_DETAIL_HEADER(MoFaceDetailIj);

public:
  MoFaceDetailIj() = default;
  /// @param i, j  the cell of the source mesh
  MoFaceDetailIj(const MoFaceDetail& face, std::size_t i, std::size_t j)
      : MoFaceDetail(face), m_i(i), m_j(j)
  {}
  SoDetail* copy() const override;
  std::size_t getI() const { return m_i; }
  std::size_t getJ() const { return m_j; }

private:
  std::size_t m_i = MoPickedCell::kNone, m_j = MoPickedCell::kNone;
};

/// The picked face of what was extracted from a mesh whose cells are numbered (i, j, k).
class MoFaceDetailIjk : public MoFaceDetail
{
  MO_DETAIL_HEADER(MoFaceDetailIjk);

public:
  MoFaceDetailIjk() = default;
  /// @param cell  the cell of the source mesh
  MoFaceDetailIjk(const MoFaceDetail& face, const MbIndex3& cell) : MoFaceDetail(face), m_cell(cell)
  {}
  SoDetail* copy() const override;
  std::size_t getI() const { return m_cell.x; }
  std::size_t getJ() const { return m_cell.y; }
  std::size_t getK() const { return m_cell.z; }

private:
  MbIndex3 m_cell{MoPickedCell::kNone, MoPickedCell::kNone, MoPickedCell::kNone};
};
