#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>

#include <Inventor/details/SoFaceDetail.h>
#include <Inventor/details/SoLineDetail.h>

#include <cstddef>

class MoMeshRepresentationDetail;

/// Which cell was picked: of the extracted mesh, and of the mesh that it was extracted from.
struct MoPickedCell
{
  static constexpr std::size_t kNone = ~std::size_t{0};

  std::size_t extractedCell = kNone;
  std::size_t sourceCell = kNone; ///< i + ni * (j + nj * k) for cells of two or three indices
  MbIndex3 sourceCells;           ///< ni, nj, nk; {count, 1, 1} for cells of one index
};

/// A face or line detail of the toolkit together with the picked cell.
template <class ToolkitDetail>
class MoCellDetail : public ToolkitDetail
{
public:
  /// MoPickedCell::kNone for a detail that was not made by a pick.
  std::size_t getExtractedCell() const { return m_cell.extractedCell; }
  std::size_t getSourceCell() const { return m_cell.sourceCell; }
  const MoPickedCell& getPickedCell() const { return m_cell; }

  void assign(const MoCellDetail& other);

protected:
  MoCellDetail() = default;
  MoCellDetail(const MoCellDetail& other) : ToolkitDetail() { assign(other); }
  MoCellDetail& operator=(const MoCellDetail& other)
  {
    assign(other);
    return *this;
  }
  /// @param mesh  the mesh that the picked shape draws; null when it is not known
  MoCellDetail(const ToolkitDetail& detail, const MoMeshRepresentationDetail* mesh);

private:
  MoPickedCell m_cell;
};

extern template class MoCellDetail<SoFaceDetail>;
extern template class MoCellDetail<SoLineDetail>;
