#pragma once

#include <velmo/io/MxFileMesh.h>

/// Makes the nodes of a corner-point grid from its pillars: the corners that lie on one pillar at
/// exactly the same depth become one node. Nodes follow the pillars, along each by their depth.
///
/// @param mesh  has `ijk`, `pillars` and `depths`; gets points, node count and hexahedra
void mxWeldCorners(MxFileMesh& mesh, bool parallel);
