#pragma once

#include <velmo/mesh/MeXMesh.h>

/// One unit normal a node of a surface: the sum of the vector areas of the polygons around it, to
/// the side from which they are counter-clockwise. Zero where there is none. The same for any
/// number of threads.
void nodeNormals(const MeXSurfaceMeshUnstructured& surface, bool parallel,
                 MxArray<MbVec3f>& normals);
