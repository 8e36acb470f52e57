#pragma once

#include <velmo/extraction/algorithms/access/MxFieldValues.h>
#include <velmo/extraction/algorithms/locate/MxCellLocator.h>

/// The values of a field at many points. The points are visited along a space-filling curve, so
/// that neighbours in space find in the caches what was read for the one before, and each is
/// announced a few points ahead.
/// @param values  gets a value for each point, not a number where no cell holds it or the field
/// does
///                not fit the mesh
/// @return for how many points a cell was found; the same for any number of threads, as the values
template <class T>
std::size_t probeMany(const MxCellLocator& locator, const MxCellsLeft& left,
                      const MxFieldValues<T>& field, bool parallel, std::span<const MbVec3d> points,
                      std::span<T> values);

extern template std::size_t probeMany(const MxCellLocator&, const MxCellsLeft&,
                                      const MxFieldValues<double>&, bool, std::span<const MbVec3d>,
                                      std::span<double>);
extern template std::size_t probeMany(const MxCellLocator&, const MxCellsLeft&,
                                      const MxFieldValues<MbVec3d>&, bool, std::span<const MbVec3d>,
                                      std::span<MbVec3d>);
