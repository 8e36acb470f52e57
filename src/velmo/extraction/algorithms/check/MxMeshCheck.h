#pragma once

#include <velmo/extraction/algorithms/access/MxBits.h>
#include <velmo/extraction/interfaces/MiMesh.h>
#include <velmo/extraction/interfaces/MxExtractionMonitor.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

/// The cells of a mesh that no algorithm may touch, found in one pass over its arrays.
///
/// A cell is broken when it names a node that does not exist, when its offsets or counts do not
/// fit its shape or the arrays, or when a corner is not finite. Algorithms treat broken cells as
/// dead and read the others without looking again.
struct MxMeshCheck
{
  std::size_t brokenCount = 0;
  std::size_t firstBroken = 0;
  /// Cells of numbers that are no shape: count by number.
  std::map<std::uint64_t, std::size_t> unknownShapes;
  std::size_t firstUnknown = 0;
  /// Broken cells and cells of unknown shape; without any, no memory.
  MxBits unusable;

  bool isClean() const { return unusable.empty(); }
  /// What is left out, a sentence each; empty for a clean mesh.
  std::vector<std::string> describe() const;
};

/// The check of a mesh; cells without the nodes that their grid should have are broken too. What
/// was found is kept as long as somebody holds it, and given again while
/// the stamps of topology and geometry stay the same.
/// *Threads*: may be called from several threads.
/// @throw std::bad_alloc, MiCancellationException; std::length_error when the mesh has more than
/// 2^32 - 1 cells or nodes
std::shared_ptr<const MxMeshCheck> checkMesh(const MiMeshUnstructuredI& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);

std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshHexahedronIjk& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);

/// Parts of the same, for an algorithm that can look at nodes and cells itself while it works on
/// them. First: the whole check when it is known already, otherwise null.
std::shared_ptr<const MxMeshCheck> recallCheck(const MiMeshUnstructuredI& mesh);
std::shared_ptr<const MxMeshCheck> recallCheck(const MiVolumeMeshHexahedronIjk& mesh);
/// The nodes: null when all are where they should be and the cells remain to be looked at, and the
/// whole check when it is known already or the nodes are not.
std::shared_ptr<const MxMeshCheck> checkNodes(const MiMeshUnstructuredI& mesh, bool parallel,
                                              MxExtractionMonitor& monitor);
std::shared_ptr<const MxMeshCheck> checkNodes(const MiVolumeMeshHexahedronIjk& mesh, bool parallel,
                                              MxExtractionMonitor& monitor);
/// Last: notes that nothing was wrong with the cells either.
std::shared_ptr<const MxMeshCheck> rememberClean(const MiMeshUnstructuredI& mesh);
std::shared_ptr<const MxMeshCheck> rememberClean(const MiVolumeMeshHexahedronIjk& mesh);

std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshVertexHexahedronIjk& mesh,
                                             bool parallel, MxExtractionMonitor& monitor);
std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshRegular& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);
std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshRectilinear& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);
std::shared_ptr<const MxMeshCheck> checkMesh(const MiVolumeMeshCurvilinear& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);
/// Notes that all nodes were found to be where they should be, by an algorithm that has read them.
std::shared_ptr<const MxMeshCheck> rememberClean(const MiVolumeMeshCurvilinear& mesh);
std::shared_ptr<const MxMeshCheck> checkMesh(const MiSurfaceMeshRegular& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);
std::shared_ptr<const MxMeshCheck> checkMesh(const MiSurfaceMeshRectilinear& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);
std::shared_ptr<const MxMeshCheck> checkMesh(const MiSurfaceMeshCurvilinear& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);
std::shared_ptr<const MxMeshCheck> checkMesh(const MiLineMeshRegular& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);
std::shared_ptr<const MxMeshCheck> checkMesh(const MiLineMeshCurvilinear& mesh, bool parallel,
                                             MxExtractionMonitor& monitor);

/// The check of a box of the cells of a mesh numbered by I, J and K, at the cost of the box: cells
/// outside do not count. Not kept.
/// @param lower,upper  half-open; cut at the mesh's ends
template <class Mesh>
std::shared_ptr<const MxMeshCheck> checkBox(const Mesh& mesh, const MbIndex3& lower,
                                            const MbIndex3& upper, bool parallel,
                                            MxExtractionMonitor& monitor);

/// Counts of cells and nodes as 32-bit numbers must be able to name them.
/// @return i * j * k
/// @throw std::length_error when the product passes 2^32 - 1
std::size_t countOrRefuse(const MbIndex3& counts, const char* what);
