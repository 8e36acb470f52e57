#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>

#include <cstddef>

/// Which cell was picked: of the extracted mesh, and of the mesh that it was extracted from.
struct MoPickedCell
{
  static constexpr std::size_t kNone = ~std::size_t{0};

  std::size_t extractedCell = kNone;
  std::size_t sourceCell = kNone; ///< i + ni * (j + nj * k) for cells of two or three indices
  MbIndex3 sourceCells;           ///< ni, nj, nk; {count, 1, 1} for cells of one index
};

/// A node of the source mesh and how much it counts at a picked point.
struct MoPickedNode
{
  std::size_t node = MoPickedCell::kNone; ///< flat, as cells are numbered
  double weight = 0;
};
