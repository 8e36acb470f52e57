#pragma once

#include <velmo/io/MbMeshFile.h>

/// The range of each component; for three components also that of the magnitude, as a fourth.
/// The same numbers for any number of threads.
std::vector<MbValueRange> mxRangesOf(const MiArrayView& values, std::size_t components,
                                     bool parallel);
