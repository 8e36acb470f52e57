#pragma once

#include <cstdint>
#include <span>

/// A colour map that is a table of rows 0xRRGGBB (sRGB).
///
/// LICENSES/NOTICE.md has the sources and the licences of the figures.
struct MxColorTable
{
  std::span<const std::uint32_t> rows;
  bool isCategorical; ///< equal shares of the range, one per row; else blended from row to row
};

inline constexpr int kMxColorTableCount = 20;
/// In the order of the enumeration of MoPredefinedColorMapping, from VIRIDIS on.
extern const MxColorTable kMxColorTables[kMxColorTableCount];
