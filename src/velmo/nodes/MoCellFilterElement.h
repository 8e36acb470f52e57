#pragma once

#include <velmo/toolkit/classes/MoReplacedElement.h>

#include <cstdint>

class MiCellFilter;

/// How the cells are numbered that a cell filter judges.
enum CellFilterType : std::int32_t
{
  CELL_FILTER_I = 0,
  CELL_FILTER_IJ = 1,
  CELL_FILTER_IJK = 2,
  CELL_FILTER_NONE = 3
};

/// What MoCellFilterElement carries.
struct MoCellFilterElementValues
{
  const MiCellFilter* filter = nullptr;
  std::uint64_t timeStamp = ~std::uint64_t{0};
  CellFilterType type = CELL_FILTER_NONE;

  /// Filters are told apart by kind and stamp: a new object that answers like the old one keeps
  /// caches alive.
  friend bool operator==(const MoCellFilterElementValues& a, const MoCellFilterElementValues& b)
  {
    if (!a.filter || !b.filter) return !a.filter && !b.filter;
    return a.type == b.type && a.timeStamp == b.timeStamp;
  }
};

/// The cell filter of the representations below.
class MoCellFilterElement : public MoReplacedElement<MoCellFilterElement, MoCellFilterElementValues>
{
  MO_ELEMENT_HEADER(MoCellFilterElement);
  friend class MoReplacedElement<MoCellFilterElement, MoCellFilterElementValues>;

public:
  /// Also keeps the filter's present stamp.
  static void set(SoState* state, SoNode* node, CellFilterType type, const MiCellFilter* filter);
  /// Null and CELL_FILTER_NONE when there is none. The filter need not be of the kind that `type`
  /// says: cast it and check.
  static const MiCellFilter* getCellFilter(SoState* state, CellFilterType& type);

  std::uint64_t getTimeStamp() const { return m_values.timeStamp; }

protected:
  ~MoCellFilterElement() override = default;
};
