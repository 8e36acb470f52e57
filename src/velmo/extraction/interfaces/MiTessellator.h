#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiCellShape.h>

#include <cstdint>
#include <span>
#include <vector>

/// Linear cells that stand for one higher-order cell.
///
/// *Shape*: point p of the refinement is the sum over the cell's nodes n of weights[p * nodeCount +
/// n] times node n. Sub-cell s has the shape `shape` and the points points[s * k .. (s + 1) * k), k
/// being the shape's node count.
struct MiTessellation
{
  MiCellShape shape = MiCellShape::Empty;
  std::vector<double> weights;
  std::vector<std::uint32_t> points;
  std::size_t pointCount = 0;

  void clear()
  {
    shape = MiCellShape::Empty;
    weights.clear();
    points.clear();
    pointCount = 0;
  }
};

/// The application's way to refine higher-order cells, faces and edges into linear ones.
/// *Threads*: `tessellate` is called from several threads at once.
class MiTessellator
{
public:
  virtual ~MiTessellator() = default;
  /// Changes whenever the refinement may have changed.
  virtual std::uint64_t getTimeStamp() const = 0;
  /// Fills `result` for a cell of one, two or three dimensions, given its nodes in the order of its
  /// shape. Cells that meet in a face or edge must refine it alike. Returns false to leave the cell
  /// to its own linear sub-cells.
  virtual bool tessellate(MiCellShape shape, std::span<const MbVec3d> nodes,
                          MiTessellation& result) const = 0;
};
