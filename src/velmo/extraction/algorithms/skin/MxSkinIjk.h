#pragma once

#include <velmo/extraction/algorithms/access/MxBits.h>
#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/skin/MxFaceMatch.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/mesh/MeXMesh.h>

/// The cells (i, j, k) whose skin is wanted: those of a box, all or those of a mask.
///
/// Rows along I of the whole grid, 64 cells a word, each row starting a word of its own.
struct MxIjkChoice
{
  MxIjkNumbering numbering;
  MbIndex3 lower, upper; ///< the box, half-open, within the grid
  std::size_t wordsPerRow = 0;
  std::vector<std::uint64_t> box;  ///< the box along I
  MxArray<std::uint64_t> accepted; ///< empty when all cells of the box are taken

  bool isEmpty() const { return lower.x >= upper.x || lower.y >= upper.y || lower.z >= upper.z; }
  /// The cells of a row, as a word; j and k in the grid.
  std::uint64_t word(std::size_t w, std::size_t j, std::size_t k) const
  {
    if (accepted.empty()) return box[w];
    return box[w] & accepted[w + wordsPerRow * (j + numbering.counts.y * k)];
  }
};

/// @param unusable  flat cells that cannot be used; empty when all can
/// @param filter    null for all
/// @param lower,upper  half-open bounds; the largest std::size_t means none
MxIjkChoice chooseCells(const MiTopologyIjk& topology, const MxBits& unusable,
                        const MiCellFilterIjk* filter, const MbIndex3& lower, const MbIndex3& upper,
                        bool parallel, MxExtractionMonitor& monitor);

/// Writes the skin of a grid whose neighbours always share their faces, in cell order: indices of
/// flat nodes as 32-bit patterns, and the source cells.
void writeGridSkin(const MxIjkChoice& choice, bool parallel, MxExtractionMonitor& monitor,
                   MeXTopologyExplicitI& result, MxArray<std::uint32_t>& cells);

/// The skin of a hexahedron IJK mesh. Neighbours along I, J and K that name the same nodes share
/// their face; the few faces left are matched with each other by their nodes, so that cells on both
/// sides of a layer that has thinned out to nothing meet.
///
/// @param result  polygons of node numbers as 32-bit patterns
/// @param cells   the flat source cell of each
void writeHexahedronSkin(const MiVolumeMeshHexahedronIjk& mesh, const MxIjkChoice& choice,
                         bool parallel, MxExtractionMonitor& monitor, MeXTopologyExplicitI& result,
                         MxArray<std::uint32_t>& cells);

/// The same for a mesh whose cells have corners of their own, by corners that coincide exactly.
///
/// @return for each number in `result`, 8 * cell + corner of a corner at that place
MxArray<std::uint64_t> writeVertexSkin(const MxVertexCorners& corners, const MxIjkChoice& choice,
                                       bool parallel, MxExtractionMonitor& monitor,
                                       MeXTopologyExplicitI& result, MxArray<std::uint32_t>& cells);
