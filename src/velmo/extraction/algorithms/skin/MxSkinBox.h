#pragma once

#include <velmo/extraction/algorithms/skin/MxSkinIjk.h>

/// The skin of a grid of which a whole box of cells is taken: what writeGridSkin and
/// numberByFirstUse give together, at the cost of the box's surface alone.
///
/// @param choice   a box without a mask, not empty
/// @param result   quads of numbered nodes, in cell order
/// @param cells    the flat source cell of each
/// @param sources  the flat source node of each number
void writeBoxSkin(const MxIjkChoice& choice, bool parallel, MxExtractionMonitor& monitor,
                  MeXTopologyExplicitI& result, MxArray<std::uint32_t>& cells,
                  MxArray<std::uint32_t>& sources);
