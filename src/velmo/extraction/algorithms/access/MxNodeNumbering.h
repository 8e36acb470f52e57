#pragma once

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/mesh/MeXMesh.h>

#include <limits>
#include <vector>

/// Replaces the source nodes in an index list of an extracted mesh (cells ended by -1, nodes as
/// 32-bit patterns) by numbers in the order of their first use.
///
/// @param sourceNodeCount  all nodes are below it
/// @param keepWhole        a list that names every source node stays as it is
/// @return the source node of each number
MxArray<std::uint32_t> numberByFirstUse(std::span<int> indices, std::size_t sourceNodeCount,
                                        bool parallel, bool keepWhole = false);

/// Every source node under its own number.
MxArray<std::uint32_t> keepNumbers(std::size_t sourceNodeCount, bool parallel);

/// An origin other than zero is used when the farthest coordinate is more than this many times as
/// far from zero as the mesh is large: single precision then leaves less than 20 of its 24 bits.
inline constexpr double kFarOriginRatio = 16;

namespace velmo_detail {

struct PointRange
{
  MbVec3d low{1e300, 1e300, 1e300}, high{-1e300, -1e300, -1e300};

  void include(const MbVec3d& p)
  {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      low[axis] = std::min(low[axis], p[axis]);
      high[axis] = std::max(high[axis], p[axis]);
    }
  }
};

/// The origin for points in a range; zero where single precision suffices.
MbVec3d chooseOrigin(const PointRange& range);

inline float toFloat(double value)
{
  constexpr double kLargest = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -kLargest, kLargest));
}

} // namespace velmo_detail

/// Fills the points of an extracted mesh and chooses its origin.
/// @param fillBlock  fillBlock(first, last, put) calls put(n, p) with the finite place of each node
///                   n of [first, last), in mesh space; may be called twice for a block
template <class FillBlock>
void placePointBlocks(std::size_t count, const FillBlock& fillBlock, bool parallel,
                      MeXGeometryI& geometry)
{
  using velmo_detail::toFloat;
  constexpr std::size_t kBlock = 8192;
  MxArray<MbVec3f>& points = geometry.points();
  points.resizeUninitialized(count);
  std::vector<velmo_detail::PointRange> ranges(blockCount(count, kBlock));
  const auto fill = [&](const MbVec3d& origin) {
    forEachBlock(
        parallel, count, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
          velmo_detail::PointRange range;
          fillBlock(first, last, [&](std::size_t n, const MbVec3d& p) {
            range.include(p);
            points[n] = {toFloat(p.x - origin.x), toFloat(p.y - origin.y), toFloat(p.z - origin.z)};
          });
          ranges[block] = range;
        });
  };
  fill({});
  velmo_detail::PointRange all;
  for (const auto& range : ranges) {
    all.include(range.low);
    all.include(range.high);
  }
  geometry.origin = count > 0 ? velmo_detail::chooseOrigin(all) : MbVec3d{};
  if (geometry.origin != MbVec3d{}) fill(geometry.origin);
  geometry.touch(parallel);
}

/// The same with a function for one node.
/// @param pointOf   pointOf(n): the finite place of node n, in mesh space
/// @param announce  announce(n): node n will be asked for soon
template <class PointOf, class Announce>
void placePoints(std::size_t count, const PointOf& pointOf, const Announce& announce, bool parallel,
                 MeXGeometryI& geometry)
{
  constexpr std::size_t kAhead = 16;
  placePointBlocks(
      count,
      [&](std::size_t first, std::size_t last, const auto& put) {
        for (std::size_t n = first; n < last; ++n) {
          if (n + kAhead < last) announce(n + kAhead);
          put(n, pointOf(n));
        }
      },
      parallel, geometry);
}

template <class PointOf>
void placePoints(std::size_t count, const PointOf& pointOf, bool parallel, MeXGeometryI& geometry)
{
  placePoints(
      count, pointOf, [](std::size_t) {}, parallel, geometry);
}

/// Places the nodes of an extracted mesh whose nodes are nodes of its source, and notes where they
/// came from.
/// @param cells,nodes  counts of the source along I, J and K
/// @param points       the places of the source nodes, which stand in mesh.provenance.nodes
template <class Points, class Mesh>
void placeNodes(const MbIndex3& cells, const MbIndex3& nodes, const Points& points, bool parallel,
                Mesh& mesh)
{
  MeXProvenance& provenance = mesh.provenance;
  provenance.form = MeXProvenance::NodeForm::Node;
  provenance.weights.clear();
  provenance.offsets.clear();
  provenance.sourceCells = cells;
  provenance.sourceNodes = nodes;
  const MxArray<std::uint32_t>& sources = provenance.nodes;
  placePoints(
      sources.size(), [&](std::size_t n) { return points[sources[n]]; },
      [&](std::size_t n) { prefetchPoint(points, sources[n]); }, parallel, mesh.geometry);
}
