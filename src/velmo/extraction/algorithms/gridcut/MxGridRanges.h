#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/extraction/algorithms/gridcut/MxGridBricks.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MxExtractionMonitor.h>

#include <memory>

/// Smallest and largest of `Components` numbers over the nodes that the cells of a brick have: its
/// own and those after them. Numbers that are not finite do not count; a brick without any has a
/// range that is empty, low above high.
template <std::size_t Components>
struct MxRange
{
  std::array<double, Components> low, high;
};

/// The ranges of all bricks of a grid, by their numbers, and of all groups of bricks.
template <std::size_t Components>
struct MxGridRanges
{
  using Range = MxRange<Components>;

  MxGridBricks lattice;
  MxArray<Range> bricks, groups;
  Range whole;
  /// Bricks among whose nodes, or the ones just before these, is one without a finite number; a
  /// word a group. Empty when all are finite.
  MxArray<std::uint64_t> undefined;

  std::size_t byteCount() const
  {
    return (bricks.size() + groups.size()) * sizeof(Range) + undefined.size() * 8;
  }
};

using MxFieldRanges = MxGridRanges<1>;
using MxPointRanges = MxGridRanges<3>;

/// The values of a set per node of a grid: in its array, or asked one by one.
class MxGridValues
{
public:
  MxGridValues() = default;
  /// @param set  MiDataSetIjk of these sizes, or MiDataSetI of as many values, I fastest; otherwise
  ///             there are none
  MxGridValues(const MiTypedDataSet<double>& set, const MbIndex3& nodeCounts);

  explicit operator bool() const { return m_flat || m_grid; }
  const MxIjkNumbering& nodes() const { return m_nodes; }
  /// The array, or an empty view.
  const MiArrayView& view() const { return m_view; }
  void read(std::size_t i, std::size_t j, std::size_t k, std::size_t count, double* values) const;

private:
  MxIjkNumbering m_nodes;
  const MiDataSetI<double>* m_flat = nullptr;
  const MiDataSetIjk<double>* m_grid = nullptr;
  MiArrayView m_view;
};

/// The points of a curvilinear grid: in its array, or asked one by one.
class MxGridPoints
{
public:
  /// @param geometry  has these counts
  MxGridPoints(const MiGeometryIjk& geometry, const MbIndex3& nodeCounts);

  const MxIjkNumbering& nodes() const { return m_nodes; }
  const MiArrayView& view() const { return m_view; }
  void read(std::size_t i, std::size_t j, std::size_t k, std::size_t count, double* triples) const;

private:
  MxIjkNumbering m_nodes;
  const MiGeometryIjk* m_geometry;
  MiArrayView m_view;
};

/// Rows of an array of numbers (Components 1) or points (3) without gaps, read in place.
template <class T, std::size_t Components>
struct MxTightRows
{
  using Value = T;
  const T* data;
  MxIjkNumbering nodes;

  /// `count` items from node (i, j, k) on.
  const T* row(std::size_t i, std::size_t j, std::size_t k, std::size_t, T*) const
  {
    return data + Components * nodes.flat(i, j, k);
  }
  /// Asks for the memory of these items.
  void announce(std::size_t i, std::size_t j, std::size_t k, std::size_t count) const
  {
    const char* first = reinterpret_cast<const char*>(data + Components * nodes.flat(i, j, k));
    const std::size_t last = Components * count * sizeof(T) - 1;
    for (std::size_t at = 0; at < last; at += kCacheLine)
      __builtin_prefetch(first + at);
    __builtin_prefetch(first + last);
  }
};

/// Rows of any other source, read into a buffer.
template <class Source>
struct MxOtherRows
{
  using Value = double;
  const Source* source;

  const double* row(std::size_t i, std::size_t j, std::size_t k, std::size_t count,
                    double* buffer) const
  {
    source->read(i, j, k, count, buffer);
    return buffer;
  }
  void announce(std::size_t, std::size_t, std::size_t, std::size_t) const {}
};

/// Calls visit(rows) with the fastest way to read.
template <class Visitor>
void visitRows(const MxGridValues& values, Visitor&& visit)
{
  if (values.view().isContiguous<double>())
    visit(MxTightRows<double, 1>{values.view().as<double>(), values.nodes()});
  else if (values.view().isContiguous<float>())
    visit(MxTightRows<float, 1>{values.view().as<float>(), values.nodes()});
  else
    visit(MxOtherRows<MxGridValues>{&values});
}
template <class Visitor>
void visitRows(const MxGridPoints& points, Visitor&& visit)
{
  if (points.view().isContiguous<double>(3))
    visit(MxTightRows<double, 3>{points.view().as<double>(), points.nodes()});
  else if (points.view().isContiguous<float>(3))
    visit(MxTightRows<float, 3>{points.view().as<float>(), points.nodes()});
  else
    visit(MxOtherRows<MxGridPoints>{&points});
}

/// The ranges of a field or of a geometry: those that another user of it holds, or read now in one
/// sweep. The key is the object with its stamp, its array and the counts.
std::shared_ptr<const MxFieldRanges> shareRanges(const MiTypedDataSet<double>& set,
                                                 const MxGridValues& values, bool parallel,
                                                 MxExtractionMonitor& monitor);
std::shared_ptr<const MxPointRanges> shareRanges(const MiGeometryIjk& geometry,
                                                 const MxGridPoints& points, bool parallel,
                                                 MxExtractionMonitor& monitor);
