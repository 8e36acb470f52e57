#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>

/// The surface inside a volume mesh on which a data set takes one value.
///
/// Values of nodes vary linearly along cell edges. Values of the cells of a mesh numbered by I, J
/// and K are brought to its nodes first: a node gets the mean of the live, accepted cells around
/// it. Every live, accepted cell that the surface crosses gives polygons of three corners and more,
/// one for each connected part; nodes lie on cell edges and are shared by all polygons that meet
/// there: between cells that share a face there is no crack. A higher-order cell is cut as its
/// linear sub-cells, or as what the tessellator makes of it. The polygons are counter-clockwise
/// seen from the side of the larger values; where a corner's value is not a number there is no
/// surface. The result is the same for any number of threads.
///
/// The set is numbered as the nodes of the mesh are (a grid whose nodes are numbered by I, J and K
/// also takes a flat set, I fastest), or holds the values of the cells of a mesh numbered by I, J
/// and K. One that does not fit gives an empty surface and a warning, a value that is not finite an
/// empty surface.
///
/// @tparam Filter  MiCellFilterI or MiCellFilterIjk
template <class Filter>
class MiIsosurfExtract : public MiSurfaceExtractor
{
public:
  using SetI = MiDataSetI<double>;
  using SetIjk = MiDataSetIjk<double>;

  /// @param set     borrowed for the call
  /// @param filter  cells to take, null for all; borrowed for the call
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  virtual const MeXSurfaceMeshUnstructured& extractIsosurf(const SetI& set, double value,
                                                           const Filter* filter) = 0;
  virtual const MeXSurfaceMeshUnstructured& extractIsosurf(const SetIjk& set, double value,
                                                           const Filter* filter) = 0;
  /// The outlines of the surface in the cut cells, each line once.
  virtual const MeXLineMeshUnstructured& extractLine(const SetI& set, double value,
                                                     const Filter* filter) = 0;
  virtual const MeXLineMeshUnstructured& extractLine(const SetIjk& set, double value,
                                                     const Filter* filter) = 0;
  /// The nodes of the surface.
  virtual const MeXPointMeshCurvilinear& extractPoints(const SetI& set, double value,
                                                       const Filter* filter) = 0;
  virtual const MeXPointMeshCurvilinear& extractPoints(const SetIjk& set, double value,
                                                       const Filter* filter) = 0;
};

class MiIsosurfExtractUnstructured
    : public MiIsosurfExtract<MiCellFilterI>,
      public MiExtractorMakers<MiIsosurfExtractUnstructured, MiVolumeMeshUnstructured>
{};

class MiIsosurfExtractHexahedronIjk
    : public MiIsosurfExtract<MiCellFilterIjk>,
      public MiExtractorMakers<MiIsosurfExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>
{};

class MiIsosurfExtractIjk : public MiIsosurfExtract<MiCellFilterIjk>,
                            public MiIjkExtractorMakers<MiIsosurfExtractIjk>
{};
