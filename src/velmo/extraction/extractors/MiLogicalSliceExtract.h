#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiMesh.h>

/// One layer of the faces of a grid, across one of its indices: for each live and accepted cell at
/// an index, its lower or upper face along the axis.
///
/// Faces are in cell order and keep the mesh's nodes; those of pinched cells that have collapsed to
/// a line are left out. An index beyond the cells of the mesh gives an empty surface. Only the
/// layer is read, and only its cells are checked. The result is the same for any number of threads.
class MiLogicalSliceExtract : public MiSurfaceExtractor
{
public:
  /// @param axis         the index that is the same in the whole slice
  /// @param index        of the cells along it
  /// @param upperVertex  their upper faces instead of the lower ones
  /// @param filter       cells to take, null for all; borrowed for the call
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  virtual const MeXSurfaceMeshUnstructured& extractSlice(MiMesh::Dimension axis, std::size_t index,
                                                         bool upperVertex,
                                                         const MiCellFilterIjk* filter) = 0;
  /// The edges of the slice's faces, each once.
  virtual const MeXLineMeshUnstructured& extractLine(MiMesh::Dimension axis, std::size_t index,
                                                     bool upperVertex,
                                                     const MiCellFilterIjk* filter) = 0;
  /// The nodes of the slice.
  virtual const MeXPointMeshCurvilinear& extractPoints(MiMesh::Dimension axis, std::size_t index,
                                                       bool upperVertex,
                                                       const MiCellFilterIjk* filter) = 0;
};

class MiLogicalSliceExtractHexahedronIjk
    : public MiLogicalSliceExtract,
      public MiExtractorMakers<MiLogicalSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>
{};

class MiLogicalSliceExtractRegular
    : public MiLogicalSliceExtract,
      public MiExtractorMakers<MiLogicalSliceExtractRegular, MiVolumeMeshRegular>
{};

class MiLogicalSliceExtractRectilinear
    : public MiLogicalSliceExtract,
      public MiExtractorMakers<MiLogicalSliceExtractRectilinear, MiVolumeMeshRectilinear>
{};

class MiLogicalSliceExtractCurvilinear
    : public MiLogicalSliceExtract,
      public MiExtractorMakers<MiLogicalSliceExtractCurvilinear, MiVolumeMeshCurvilinear>
{};
