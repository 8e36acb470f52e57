#pragma once

#include <velmo/io/MxFileMesh.h>

/// The cells of a file that lists vertices, lines, polygons and strips apart, in this order, as one
/// list with types. Each section has `count`, `offsets` and `connectivity`.
MxFileCells mxJoinSections(std::array<MxFileCells, 4> sections, bool parallel);
