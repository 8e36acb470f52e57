#pragma once

#include <velmo/extraction/algorithms/access/MxFlatGrid.h>
#include <velmo/extraction/algorithms/access/MxKeptCells.h>
#include <velmo/extraction/algorithms/skin/MxSkinTessellate.h>
#include <velmo/extraction/algorithms/skin/MxSkinUnstructured.h>

/// The cells of surfaces numbered (i, j) and of rows that are alive, usable and accepted, by flat
/// numbers.
/// @param unusable  empty when all cells can be used
/// @param filter    null for all
MxCellChoice chooseCells(const MiTopologyIj& topology, const MxBits& unusable,
                         const MiCellFilterIj* filter, bool parallel, MxExtractionMonitor& monitor);
MxCellChoice chooseCells(const MiTopologyRow& topology, const MxBits& unusable,
                         const MiCellFilterI* filter, bool parallel, MxExtractionMonitor& monitor);

/// Writes the chosen cells of one dimension, 1 or 2, as lists of source nodes: linear ones as they
/// are, polygons and polylines whole, quadratic ones by their linear parts. A node named twice in a
/// row is written once; what is left with fewer nodes than a segment or a triangle has is left out,
/// and so are cells of other dimensions.
///
/// @param cells  the source cell of each
void writeFlatCells(const MiTopologyI& topology, std::size_t nodeCount, int dimension,
                    const MxCellChoice& choice, bool parallel, MxExtractionMonitor& monitor,
                    MeXTopologyExplicitI& result, MxArray<std::uint32_t>& cells);

/// The same for the quads or segments of a grid.
/// @param kept  of the meshes that were written before; knows of this one afterwards
void writeFlatGrid(const MxFlatGrid& grid, const MxCellChoice& choice, bool parallel,
                   MxExtractionMonitor& monitor, MeXTopologyExplicitI& result,
                   MxArray<std::uint32_t>& cells, MxKeptCells& kept);

/// The chosen cells of one dimension with all their nodes, where any of them is quadratic.
MxWholeFaces collectWholeCells(const MiTopologyI& topology, std::size_t nodeCount, int dimension,
                               const MxCellChoice& choice);
