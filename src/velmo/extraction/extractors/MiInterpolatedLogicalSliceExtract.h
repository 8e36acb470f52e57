#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiMesh.h>

/// A sheet across one of a grid's indices at a fractional index, between two layers of nodes: a
/// quad for each live and accepted cell of the layer that it lies in, its corners on the cell's
/// edges along the axis.
///
/// With n cells along the axis the layers of nodes are at 0 to n. A value on a layer of nodes gives
/// the lower faces of the cells above it, the value n the upper faces of the last cells; a value
/// outside [0, n], or no number, gives an empty surface. Quads are in cell order and face as the
/// cells' lower faces do, at all values. Only the layer is read, and only its cells are checked.
/// The result is the same for any number of threads.
class MiInterpolatedLogicalSliceExtractBase : public MiSurfaceExtractor
{
public:
  /// @param axis    the index that is the same in the whole slice
  /// @param filter  cells to take, null for all; borrowed for the call
  /// @param value   of the index
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  virtual const MeXSurfaceMeshUnstructured&
  extractSlice(MiMesh::Dimension axis, const MiCellFilterIjk* filter, double value) = 0;
  /// The edges of the slice's quads, each once.
  virtual const MeXLineMeshUnstructured&
  extractLine(MiMesh::Dimension axis, const MiCellFilterIjk* filter, double value) = 0;
  /// The nodes of the slice.
  virtual const MeXPointMeshCurvilinear&
  extractPoints(MiMesh::Dimension axis, const MiCellFilterIjk* filter, double value) = 0;
};

class MiInterpolatedLogicalSliceExtractHexahedronIjk
    : public MiInterpolatedLogicalSliceExtractBase,
      public MiExtractorMakers<MiInterpolatedLogicalSliceExtractHexahedronIjk,
                               MiVolumeMeshHexahedronIjk>
{};

class MiInterpolatedLogicalSliceExtract
    : public MiInterpolatedLogicalSliceExtractBase,
      public MiExtractorMakers<MiInterpolatedLogicalSliceExtract, MiVolumeMeshRegular,
                               MiVolumeMeshRectilinear, MiVolumeMeshCurvilinear>
{};
