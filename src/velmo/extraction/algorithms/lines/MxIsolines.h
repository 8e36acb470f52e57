#pragma once

#include <velmo/extraction/algorithms/access/MxFlatGrid.h>
#include <velmo/extraction/algorithms/access/MxNodeValues.h>
#include <velmo/extraction/algorithms/skin/MxSkinUnstructured.h>
#include <velmo/mesh/MeXMesh.h>

/// Lines of equal value on surfaces: the border between the nodes below a value and those that
/// reach it.
///
/// A line crosses every mesh edge that has one end below and one at or above the value, in the
/// point where the value lies linearly between; the two cells of the edge share that point. A node
/// that has the value exactly is such a point itself, once for all edges that end there. Where
/// cells below meet along an edge that has the value, the line runs along it once.
///
/// A quad with two opposite corners above is cut as the bilinear function between its corners
/// would: the saddle value says which corners are joined (the asymptotic decider of Nielson and
/// Hamann, 1991). Of a polygon with several parts above, the mean of the corners says whether they
/// are joined. Quadratic cells are cut by their linear parts. A cell with a value that is not
/// finite has no line.

/// The values that lines are wanted for, ascending and distinct; 32766 at most.
struct MxIsoLevels
{
  static constexpr std::size_t kMost = 32766;
  std::vector<double> values;
};

/// Where the value of each node lies among the levels: 2 n with n levels below it, 2 n + 1 when it
/// is the next one, kNoCode when it is not finite. Two nodes with the same code have no level
/// between them.
inline constexpr std::uint16_t kNoCode = 0xffff;
void codeNodes(const MxNodeValues& values, const MxIsoLevels& levels, bool parallel,
               MxExtractionMonitor& monitor, MxArray<std::uint16_t>& codes);

/// A piece of a line in one cell, from a mesh edge to another; each is given by its nodes in
/// ascending order, or by one node twice where the line passes through a node. The side above lies
/// to the left in a cell whose nodes go round counter-clockwise.
struct MxIsoSegment
{
  std::uint32_t from[2], to[2];
  std::uint32_t cell;
};

/// The segments of all levels, level l having begins[l] .. begins[l + 1], each in cell order.
struct MxIsoSegments
{
  MxArray<MxIsoSegment> all;
  std::vector<std::size_t> begins;

  std::span<const MxIsoSegment> of(std::size_t level) const
  {
    return all.span().subspan(begins[level], begins[level + 1] - begins[level]);
  }
};

/// Cuts the chosen cells of two dimensions at all levels in one sweep.
/// @param codes  from codeNodes, one per node; all nodes of chosen cells are below its size
MxIsoSegments cutCells(const MiTopologyI& topology, const MxCellChoice& choice,
                       const MxNodeValues& values, const MxIsoLevels& levels,
                       const MxArray<std::uint16_t>& codes, bool parallel,
                       MxExtractionMonitor& monitor);
MxIsoSegments cutGrid(const MxFlatGrid& grid, const MxCellChoice& choice,
                      const MxNodeValues& values, const MxIsoLevels& levels,
                      const MxArray<std::uint16_t>& codes, bool parallel,
                      MxExtractionMonitor& monitor);

/// Joins the segments of one level into polylines: as few open ones as can be, the others closed
/// (their last node is the first again). Open ones come first, each kind in the order of its first
/// segment. Fills the cells and all that is known of where they came from; nodes are numbered along
/// the lines.
void joinSegments(std::span<const MxIsoSegment> segments, double level, const MxNodeValues& values,
                  MeXLineMeshUnstructured& lines);
