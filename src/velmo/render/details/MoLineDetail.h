#pragma once

#include <velmo/render/details/MoCellDetail.h>
#include <velmo/toolkit/MoClassMacros.h>

/// The picked line of an extracted mesh.
class MoLineDetail : public MoCellDetail<SoLineDetail>
{
  MO_DETAIL_HEADER(MoLineDetail);

public:
  MoLineDetail() = default;
  /// @param mesh  the mesh that the picked shape draws; null when it is not known
  MoLineDetail(const SoLineDetail& detail, const MoMeshRepresentationDetail* mesh)
      : MoCellDetail(detail, mesh)
  {}
  SoDetail* copy() const override;
};

/// The picked line of what was extracted from a mesh whose cells have one index.
class MoLineDetailI : public MoLineDetail
{
  MO_DETAIL_HEADER(MoLineDetailI);

public:
  MoLineDetailI() = default;
  explicit MoLineDetailI(const MoLineDetail& line) : MoLineDetail(line) {}
  SoDetail* copy() const override;
  /// The cell of the source mesh.
  std::size_t getCell() const { return getSourceCell(); }
};

/// The picked line of what was extracted from a mesh whose cells are numbered (i, j).
class MoLineDetailIj : public MoLineDetail
{
  MO_DETAIL_HEADER(MoLineDetailIj);

public:
  MoLineDetailIj() = default;
  /// @param i, j  the cell of the source mesh
  MoLineDetailIj(const MoLineDetail& line, std::size_t i, std::size_t j)
      : MoLineDetail(line), m_i(i), m_j(j)
  {}
  SoDetail* copy() const override;
  std::size_t getI() const { return m_i; }
  std::size_t getJ() const { return m_j; }

private:
  std::size_t m_i = MoPickedCell::kNone, m_j = MoPickedCell::kNone;
};

/// The picked line of what was extracted from a mesh whose cells are numbered (i, j, k).
class MoLineDetailIjk : public MoLineDetail
{
  MO_DETAIL_HEADER(MoLineDetailIjk);

public:
  MoLineDetailIjk() = default;
  /// @param cell  the cell of the source mesh
  MoLineDetailIjk(const MoLineDetail& line, const MbIndex3& cell) : MoLineDetail(line), m_cell(cell)
  {}
  SoDetail* copy() const override;
  std::size_t getI() const { return m_cell.x; }
  std::size_t getJ() const { return m_cell.y; }
  std::size_t getK() const { return m_cell.z; }

private:
  MbIndex3 m_cell{MoPickedCell::kNone, MoPickedCell::kNone, MoPickedCell::kNone};
};
