#pragma once

#include <velmo/mesh/MeXMesh.h>

/// The edges of a surface's polygons, each once, in the order in which they are first met; an
/// edge's source cell is that of the polygon that has it first.
/// @param insideCells  false leaves out edges between two polygons of the same source cell
void writeEdges(const MeXSurfaceMeshUnstructured& surface, bool insideCells, bool parallel,
                MeXLineMeshUnstructured& lines);

/// The nodes of a surface or of lines.
void writeNodes(const MeXSurfaceMeshUnstructured& surface, bool parallel,
                MeXPointMeshCurvilinear& points);
void writeNodes(const MeXLineMeshUnstructured& lines, bool parallel,
                MeXPointMeshCurvilinear& points);
