#pragma once

#include <cstdint>
#include <span>

/// A colour map that is a table of rows 0xRRGGBB (sRGB).
///
/// Sources and licences of the figures:
/// - viridis, plasma, inferno, magma: S. van der Walt, N. Smith, 2015, for matplotlib; CC0.
/// - cividis: J. Nuñez, C. Anderson, R. Renslow, "Optimizing colormaps with consideration for color
///   vision deficiency", PLOS ONE 13(7), 2018; as in matplotlib, under its licence (BSD-style).
/// - cool warm: K. Moreland, "Diverging Color Maps for Scientific Visualization", 2009, whose 33
///   figures are free to use.
/// - twilight: B. Bechtold, 2017, for matplotlib; CC0.
/// - Blues, YlGnBu, OrRd, RdBu, RdYlBu, PuOr, BrBG, PRGn, Set2, Dark2, Paired: ColorBrewer, by
///   C. Brewer and M. Harrower, colorbrewer.org; Apache License 2.0, acknowledged in
///   docs/legend.md.
/// - Tableau 10: the ten colours known as tab10 or category10, as in matplotlib.
/// - Okabe-Ito: M. Okabe, K. Ito, "Color Universal Design", 2008; free to use.
struct MxColorTable
{
  std::span<const std::uint32_t> rows;
  bool isCategorical; ///< equal shares of the range, one a row; else blended from row to row
};

inline constexpr int kMxColorTableCount = 20;
/// In the order of the enumeration of MoPredefinedColorMapping, from VIRIDIS on.
extern const MxColorTable kMxColorTables[kMxColorTableCount];
