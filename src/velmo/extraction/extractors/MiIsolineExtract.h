#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiMesh.h>

#include <span>

/// Lines of equal value on a surface mesh, one line set for each value: the border between the
/// nodes below the value and those that reach it.
///
/// Lines are joined to polylines, as few open ones as can be; closed ones end with their first
/// node. A line has one node on each mesh edge that it crosses, and one on each mesh node that it
/// passes through. It lies on the linear parts of higher-order cells. On a quad with two opposite
/// corners above it goes where the bilinear function between the corners does. Cells with a value
/// that is not finite have no line. The result is the same for any number of threads.
///
/// @tparam Filter  MiCellFilterI or MiCellFilterIj
template <class Filter>
class MiIsolineExtract : public MiMultiLineExtractor
{
public:
  /// The lines of all values in one sweep; those of a value that was asked for before, with nothing
  /// else changed, are the same objects again. Values that are not finite have no lines.
  /// @param values  one line set each, in this order
  /// @param set     per node: MiDataSetI, or MiDataSetIj where nodes are numbered (i, j)
  /// @param filter  cells to take, null for all; borrowed for the call
  /// @return false, and no line sets are left, when the set does not fit the mesh
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  virtual bool extractIsolines(std::span<const double> values, const MiTypedDataSet<double>& set,
                               const Filter* filter) = 0;
};

class MiIsolineExtractUnstructured
    : public MiIsolineExtract<MiCellFilterI>,
      public MiExtractorMakers<MiIsolineExtractUnstructured, MiSurfaceMeshUnstructured>
{};

class MiIsolineExtractIj
    : public MiIsolineExtract<MiCellFilterIj>,
      public MiExtractorMakers<MiIsolineExtractIj, MiSurfaceMeshRegular, MiSurfaceMeshRectilinear,
                               MiSurfaceMeshCurvilinear>
{};
