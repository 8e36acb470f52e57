#pragma once

#include <velmo/base/MxArray.h>

#include <cstdint>
#include <span>

/// Where the cells of an index list begin in which any negative entry ends a cell: one place more
/// than there are cells; a cell ends one before the next begins.
void mxCellBegins(std::span<const std::int32_t> indices, MxArray<std::uint32_t>& begins);
