#pragma once

#include <velmo/extraction/algorithms/access/MxBits.h>
#include <velmo/extraction/algorithms/skin/MxFaceMatch.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiTopology.h>
#include <velmo/mesh/MeXMesh.h>

#include <functional>

/// The cells whose skin is wanted.
struct MxCellChoice
{
  std::size_t first = 0, last = 0; ///< half-open
  MxBits accepted;                 ///< one bit a cell; empty when all of the range are taken
};

/// The cells in [first, last) that are alive, usable and accepted.
/// @param unusable  empty when all cells can be used
/// @param filter    null for all
MxCellChoice chooseCells(const MiTopologyI& topology, const MxBits& unusable,
                         const MiCellFilterI* filter, std::size_t first, std::size_t last,
                         bool parallel, MxExtractionMonitor& monitor);

/// The faces that exactly one of the chosen cells has; faces with fewer than three distinct nodes
/// bound nothing.
///
/// A face is known by the set of its distinct nodes. A first pass over the cells joins, for each
/// node, a 64-bit hash of every face whose smallest node it is by exclusive or: faces that an even
/// number of cells have cancel out, and where a node's word ends as zero none of its faces is on
/// the skin (the chance of a wrong zero is 2^-64 a node). A second pass collects the faces of the
/// other nodes, few inside a mesh, which are then compared exactly. No order matters anywhere, so
/// the result does not depend on the number of threads.
///
/// @param nodeCount  all nodes of chosen cells are below it
/// @param whole      quadratic faces as they are; otherwise by their linear sub-faces
/// @param sweep      the cells have not been checked yet: gives up, and returns false, on the first
///                   block of cells that a plain sweep over its arrays does not find clean
/// @throw std::bad_alloc, std::length_error, MiCancellationException
bool findSkinFaces(const MiTopologyI& topology, std::size_t nodeCount, const MxCellChoice& choice,
                   bool whole, bool sweep, bool parallel, MxExtractionMonitor& monitor,
                   MxFaceList& faces);

/// Writes faces as polygons of source nodes; a node named twice in a row is written once.
void writeFaces(const MiTopologyI& topology, std::size_t nodeCount, const MxFaceList& faces,
                bool parallel, MxExtractionMonitor& monitor, MeXTopologyExplicitI& result);

/// Calls body(f, shape, nodes) for the faces [first, last) of the list as they are, without
/// removing anything, one after the other.
void forEachWholeFace(
    const MiTopologyI& topology, std::size_t nodeCount, const MxFaceList& faces, std::size_t first,
    std::size_t last,
    const std::function<void(std::size_t, MiCellShape, std::span<const std::uint32_t>)>& body);
