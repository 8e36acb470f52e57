#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiMesh.h>

/// A surface mesh as it is: its live, accepted cells.
///
/// Polygons stay whole, higher-order cells become their linear parts or what the tessellator makes
/// of them. A surface that uses all of its nodes keeps their numbers; otherwise the nodes are
/// numbered in the order of their first use. Cells of other dimensions are left out. The result is
/// the same for any number of threads.
///
/// @tparam Filter  MiCellFilterI or MiCellFilterIj
template <class Filter>
class MiSurfaceExtract : public MiSurfaceExtractor
{
public:
  /// @param filter  cells to take, null for all; borrowed for the call
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  virtual const MeXSurfaceMeshUnstructured& extractSurface(const Filter* filter) = 0;
  /// The edges of the cells, each once; refined by the tessellator where there is one.
  virtual const MeXLineMeshUnstructured& extractLine(const Filter* filter) = 0;
  /// The nodes of the source mesh that are used.
  virtual const MeXPointMeshCurvilinear& extractPoints(const Filter* filter) = 0;
};

class MiSurfaceExtractUnstructured
    : public MiSurfaceExtract<MiCellFilterI>,
      public MiExtractorMakers<MiSurfaceExtractUnstructured, MiSurfaceMeshUnstructured>
{};

class MiSurfaceExtractIj
    : public MiSurfaceExtract<MiCellFilterIj>,
      public MiExtractorMakers<MiSurfaceExtractIj, MiSurfaceMeshRegular, MiSurfaceMeshRectilinear,
                               MiSurfaceMeshCurvilinear>
{};
