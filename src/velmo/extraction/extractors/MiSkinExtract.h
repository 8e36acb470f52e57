#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiMesh.h>

/// The outer boundary of a volume mesh: the faces that belong to exactly one live, accepted cell in
/// range.
///
/// Faces keep their polygons (no triangulation) and face outward; nodes are shared and numbered in
/// the order of their first use. A higher-order cell is bounded by its linear sub-faces, or by what
/// the tessellator makes of its faces. The result is the same for any number of threads.
///
/// Bounds are half-open, [lower, upper), per index; the largest std::size_t means no bound on
/// either side, and an upper bound of 0 leaves nothing.
///
/// @tparam Index   std::size_t or MbIndex3
/// @tparam Filter  MiCellFilterI or MiCellFilterIjk
template <class Index, class Filter>
class MiSkinExtract : public MiSurfaceExtractor
{
public:
  virtual void setCellRange(const Index& lower, const Index& upper) = 0;
  virtual void clearCellRanges() = 0;
  /// @param filter  cells to take, null for all; borrowed for the call
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  virtual const MeXSurfaceMeshUnstructured& extractSkin(const Filter* filter) = 0;
  /// The edges of the skin's faces, each once; refined by the tessellator where there is one.
  virtual const MeXLineMeshUnstructured& extractLine(const Filter* filter) = 0;
  /// The nodes of the source mesh on the skin.
  virtual const MeXPointMeshCurvilinear& extractPoints(const Filter* filter) = 0;
};

class MiSkinExtractUnstructured
    : public MiSkinExtract<std::size_t, MiCellFilterI>,
      public MiExtractorMakers<MiSkinExtractUnstructured, MiVolumeMeshUnstructured>
{};

class MiSkinExtractHexahedronIjk
    : public MiSkinExtract<MbIndex3, MiCellFilterIjk>,
      public MiExtractorMakers<MiSkinExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>
{};

class MiSkinExtractIjk : public MiSkinExtract<MbIndex3, MiCellFilterIjk>,
                         public MiIjkExtractorMakers<MiSkinExtractIjk>
{};
