#pragma once

#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/extraction/interfaces/MiMesh.h>

#include <cstdint>
#include <memory>
#include <span>

/// Finds the cell of a mesh that holds a point, and the values of data sets there.
///
/// A point strictly inside a cell is found in it; a point on a face, an edge or a node, within a
/// millionth of a cell, in the cell of the smallest number that holds it, whatever the hint. Dead
/// and broken cells and those that the filter refuses hold nothing. On a surface mesh a point
/// counts that lies within a thousandth of a cell's diagonal from the cell (plus the rounding of
/// single-precision coordinates).
///
/// Values per node are interpolated with the shape functions of the cell (bilinear, trilinear,
/// quadratic ...; in polygons and polyhedra linearly between their nodes and the mean points of
/// their faces and of themselves), which give linear fields exactly; values per cell are those of
/// the cell. Without a cell a value is 0; where a set's size or binding does not fit the mesh it is
/// not a number.
///
/// The mesh is borrowed and outlives the probe; a change of its stamps is seen by the next search.
/// What a search needs is prepared once for all probes of a mesh. *Threads*: one at a time for each
/// probe.
///
/// @tparam Index   std::size_t, or MbIndex3 for cells numbered (i, j) or (i, j, k), where k is 0
/// for
///                 (i, j)
/// @tparam Filter  MiCellFilterI, MiCellFilterIj or MiCellFilterIjk
template <class Index, class Filter>
class MiPointProbe
{
public:
  virtual ~MiPointProbe() = default;

  /// Who hears of what a search has to prepare first, and of searches for many points, as of an
  /// extraction of one phase, when that takes longer than a tenth of a second; he may cancel it.
  /// Borrowed, null for nobody. After a cancel nothing is found, and the next search starts anew.
  virtual void setCallback(MiExtractorCallback* callback) = 0;

  /// Looks for the cell that holds a point.
  /// @param hint    a cell to look at first, such as the last one found; need not exist
  /// @param filter  cells to look at, null for all; borrowed for the call
  /// @return whether there is one
  /// @throw std::bad_alloc, std::length_error (a mesh of more than 2^32 - 1 cells),
  ///        MiCancellationException
  virtual bool locate(const MbVec3d& point, const Index& hint, const Filter* filter) = 0;

  // Of the last search.
  virtual bool isFound() const = 0;
  /// The cell; all ones, in each index, when none was found.
  virtual Index getCell() const = 0;
  /// The nodes of the cell, in the order of its shape, as data sets per node number them: flat, I
  /// fastest. Empty when no cell was found. Valid until the next search.
  virtual std::span<const std::uint32_t> getNodes() const = 0;
  /// The weights of these nodes, which sum to one.
  virtual std::span<const double> getWeights() const = 0;
  virtual double getValue(const MiTypedDataSet<double>& set) const = 0;
  virtual MbVec3d getValue(const MiTypedDataSet<MbVec3d>& set) const = 0;

  /// The values of a set at many points at once, faster than one after the other: the points are
  /// visited in an order that keeps near what was read, by several threads where the probe may.
  /// @param values  gets a value for each point, not a number where no cell was found
  /// @return for how many points a cell was found. The last search stays what it was.
  /// @throw what locate throws; the values are then undefined
  virtual std::size_t getValues(std::span<const MbVec3d> points, const Filter* filter,
                                const MiTypedDataSet<double>& set,
                                std::span<double> values) const = 0;
  virtual std::size_t getValues(std::span<const MbVec3d> points, const Filter* filter,
                                const MiTypedDataSet<MbVec3d>& set,
                                std::span<MbVec3d> values) const = 0;
};

class MiPointProbeUnstructured : public MiPointProbe<std::size_t, MiCellFilterI>
{
public:
  static std::unique_ptr<MiPointProbeUnstructured>
  getNewInstance(const MiVolumeMeshUnstructured& mesh, bool parallel);
  static std::unique_ptr<MiPointProbeUnstructured>
  getNewInstance(const MiSurfaceMeshUnstructured& mesh, bool parallel);
};

class MiPointProbeHexahedronIjk : public MiPointProbe<MbIndex3, MiCellFilterIjk>
{
public:
  static std::unique_ptr<MiPointProbeHexahedronIjk>
  getNewInstance(const MiVolumeMeshHexahedronIjk& mesh, bool parallel);
};

class MiPointProbeIjk : public MiPointProbe<MbIndex3, MiCellFilterIjk>
{
public:
  static std::unique_ptr<MiPointProbeIjk> getNewInstance(const MiVolumeMeshRegular& mesh,
                                                         bool parallel);
  static std::unique_ptr<MiPointProbeIjk> getNewInstance(const MiVolumeMeshRectilinear& mesh,
                                                         bool parallel);
  static std::unique_ptr<MiPointProbeIjk> getNewInstance(const MiVolumeMeshCurvilinear& mesh,
                                                         bool parallel);
};

class MiPointProbeIj : public MiPointProbe<MbIndex3, MiCellFilterIj>
{
public:
  static std::unique_ptr<MiPointProbeIj> getNewInstance(const MiSurfaceMeshRegular& mesh,
                                                        bool parallel);
  static std::unique_ptr<MiPointProbeIj> getNewInstance(const MiSurfaceMeshRectilinear& mesh,
                                                        bool parallel);
  static std::unique_ptr<MiPointProbeIj> getNewInstance(const MiSurfaceMeshCurvilinear& mesh,
                                                        bool parallel);
};
