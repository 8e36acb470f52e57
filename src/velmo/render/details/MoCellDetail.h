#pragma once

#include <velmo/render/details/MoPickedCell.h>

#include <Inventor/details/SoFaceDetail.h>
#include <Inventor/details/SoLineDetail.h>
#include <Inventor/SbVec3f.h>

#include <memory>
#include <vector>

class MoMeshRepresentationDetail;
class MxPickedValues;
struct MeXProvenance;

/// What a pick knows of the picked cell of an extracted mesh: which one it is, in the application's
/// own mesh too, and what its values are at a point.
///
/// All of it is copied when the pick happens; it stays right when the representation extracts
/// again. Points are in mesh space: SoPickedPoint::getObjectPoint(representation), or getPoint()
/// where no transform stands above the representation.
class MoCellPick
{
public:
  virtual ~MoCellPick();

  /// MoPickedCell::kNone for a detail that was not made by a pick.
  std::size_t getExtractedCell() const { return m_cell.extractedCell; }
  /// Of a line through several cells, the one that the picked segment lies in.
  std::size_t getSourceCell() const { return m_cell.sourceCell; }
  const MoPickedCell& getPickedCell() const { return m_cell; }

  /// Where the cell was picked, in mesh space and in double precision.
  const MbVec3d& getPickedPoint() const { return m_point; }
  void setPickedPoint(const MbVec3d& point) { m_point = point; }

  /// The value of the colour set, or of the first one, at a point: of the cell, or interpolated
  /// between its nodes; a point outside counts as the nearest one of the cell. No number (NaN)
  /// where there are no values.
  double getValue(const SbVec3f& point) const;
  /// One value a colour set.
  std::vector<double> getValues(const SbVec3f& point) const;
  /// The same at the picked point.
  double getValue() const;
  std::vector<double> getValues() const;
  /// The nodes of the source mesh between which values per node are interpolated at the picked
  /// point, each once, in ascending order. The weights add up to 1.
  std::vector<MoPickedNode> getSourceNodes() const;

  /// The source mesh was extracted itself: names the cell and the nodes of what that came from.
  /// @param source  of the source mesh; null when it is not known, and then they are not either
  void traceBack(const MeXProvenance* source);

protected:
  MoCellPick() = default;
  MoCellPick(const MoCellPick&) = default;
  MoCellPick& operator=(const MoCellPick&) = default;
  /// @param mesh       the mesh that the picked shape draws; null when it is not known
  /// @param firstNode  as MoMeshRepresentationDetail::getPickedCell takes it
  MoCellPick(const MoMeshRepresentationDetail* mesh, int extractedCell, std::size_t firstNode);

private:
  MoPickedCell m_cell;
  /// Of a segment of a line, the one node of the source mesh that it begins at, if that is one.
  std::size_t m_firstNode = MoPickedCell::kNone;
  std::shared_ptr<const MxPickedValues> m_values;
  MbVec3d m_point;
};

/// A face or line detail of the toolkit together with the picked cell.
template <class ToolkitDetail>
class MoCellDetail : public ToolkitDetail, public MoCellPick
{
public:
  void assign(const MoCellDetail& other);

protected:
  MoCellDetail() = default;
  MoCellDetail(const MoCellDetail& other) : ToolkitDetail(), MoCellPick() { assign(other); }
  MoCellDetail& operator=(const MoCellDetail& other)
  {
    assign(other);
    return *this;
  }
  /// @param mesh  the mesh that the picked shape draws; null when it is not known
  MoCellDetail(const ToolkitDetail& detail, const MoMeshRepresentationDetail* mesh);
};

extern template class MoCellDetail<SoFaceDetail>;
extern template class MoCellDetail<SoLineDetail>;

/// A cell detail of what was extracted from a mesh whose cells have one index.
template <class Self, class Detail>
class MoCellDetailI : public Detail
{
public:
  MoCellDetailI() = default;
  explicit MoCellDetailI(const Detail& detail) : Detail(detail) {}
  SoDetail* copy() const override { return new Self(static_cast<const Self&>(*this)); }
  /// The cell of the source mesh.
  std::size_t getCell() const { return this->getSourceCell(); }
};

/// A cell detail of what was extracted from a mesh whose cells are numbered (i, j).
template <class Self, class Detail>
class MoCellDetailIj : public Detail
{
public:
  MoCellDetailIj() = default;
  /// @param i, j  the cell of the source mesh
  MoCellDetailIj(const Detail& detail, std::size_t i, std::size_t j)
      : Detail(detail), m_i(i), m_j(j)
  {}
  SoDetail* copy() const override { return new Self(static_cast<const Self&>(*this)); }
  std::size_t getI() const { return m_i; }
  std::size_t getJ() const { return m_j; }

private:
  std::size_t m_i = MoPickedCell::kNone, m_j = MoPickedCell::kNone;
};

/// A cell detail of what was extracted from a mesh whose cells are numbered (i, j, k).
template <class Self, class Detail>
class MoCellDetailIjk : public Detail
{
public:
  MoCellDetailIjk() = default;
  /// @param cell  the cell of the source mesh
  MoCellDetailIjk(const Detail& detail, const MbIndex3& cell) : Detail(detail), m_cell(cell) {}
  SoDetail* copy() const override { return new Self(static_cast<const Self&>(*this)); }
  std::size_t getI() const { return m_cell.x; }
  std::size_t getJ() const { return m_cell.y; }
  std::size_t getK() const { return m_cell.z; }

private:
  MbIndex3 m_cell{MoPickedCell::kNone, MoPickedCell::kNone, MoPickedCell::kNone};
};
