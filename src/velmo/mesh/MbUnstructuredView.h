#pragma once

#include <velmo/extraction/interfaces/MiMesh.h>

#include <memory>

/// A mesh of any volume kind as an unstructured one, for what only takes those: cells and nodes
/// under flat numbers with I fastest, then J, then K; the corners of vertex hexahedra are eight
/// nodes a cell.
///
/// Nothing is copied: arrays of points and connectivity stay the source's, the rest is computed
/// when asked for. Stamps are the source's. *Ownership*: the source is borrowed; make the view anew
/// when the source's counts or arrays have changed. Null for a mesh of another dimension.
std::unique_ptr<MiVolumeMeshUnstructured> mbUnstructuredVolume(const MiMesh& mesh);
/// A mesh of any surface kind as an unstructured one; see mbUnstructuredVolume.
std::unique_ptr<MiSurfaceMeshUnstructured> mbUnstructuredSurface(const MiMesh& mesh);
/// A mesh of any line kind as an unstructured one; see mbUnstructuredVolume.
std::unique_ptr<MiLineMeshUnstructured> mbUnstructuredLine(const MiMesh& mesh);
