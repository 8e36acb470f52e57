#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/toolkit/shapes/MxFaceTable.h>

#include <Inventor/SbVec3f.h>

#include <span>

/// One unit normal a face, along the vector area of the face; zero where that is zero.
/// @param counterClockwise  how faces are listed seen from their front
void mxFaceNormals(const MxFaceTable& faces, std::span<const SbVec3f> positions,
                   bool counterClockwise, MxArray<SbVec3f>& normals);

/// One unit normal for each triangle corner (MxFaceTable::cornerOf): the sum of the normals of the
/// faces around the vertex that meet the corner's own face at less than the crease angle.
/// @param faceNormals  of mxFaceNormals
/// @param creaseAngle  in radians
void mxCornerNormals(const MxFaceTable& faces, std::span<const SbVec3f> faceNormals,
                     std::size_t vertexCount, float creaseAngle, MxArray<SbVec3f>& normals);
