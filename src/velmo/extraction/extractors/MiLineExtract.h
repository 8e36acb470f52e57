#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiMesh.h>

/// A line mesh as it is: its live, accepted cells.
///
/// Polylines stay whole; a quadratic line is a polyline through its three nodes, or what the
/// tessellator makes of it. Nodes and cells as MiSurfaceExtract has them.
class MiLineExtract : public MiLineExtractor
{
public:
  /// @param filter  cells to take, null for all; borrowed for the call
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  virtual const MeXLineMeshUnstructured& extractLine(const MiCellFilterI* filter) = 0;
  /// The nodes of the source mesh that are used.
  virtual const MeXPointMeshCurvilinear& extractPoints(const MiCellFilterI* filter) = 0;
};

class MiLineExtractUnstructured
    : public MiLineExtract,
      public MiExtractorMakers<MiLineExtractUnstructured, MiLineMeshUnstructured>
{};

class MiLineExtractRow
    : public MiLineExtract,
      public MiExtractorMakers<MiLineExtractRow, MiLineMeshRegular, MiLineMeshCurvilinear>
{};
