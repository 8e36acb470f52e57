#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>

/// The cut of a volume mesh by a plane, a sphere or a cylinder.
///
/// Every live, accepted cell that is crossed gives polygons of three corners and more, one for each
/// connected part of its cut. Nodes lie on cell edges, on the true plane, sphere or cylinder, and
/// are shared by all polygons that meet there: between cells that share a face there is no crack. A
/// higher-order cell is cut as its linear sub-cells, or as what the tessellator makes of it. The
/// polygons are counter-clockwise seen from the side that the plane's normal points to, or from
/// outside of the sphere or cylinder. Numbers that describe nothing (not finite, a normal or
/// direction of zero, a negative radius) give an empty surface. The result is the same for any
/// number of threads.
///
/// @tparam Filter    MiCellFilterI or MiCellFilterIjk
/// @tparam Geometry  what describes the cutting surface, in mesh space; told by the class
template <class Filter, class... Geometry>
class MiSliceExtract : public MiSurfaceExtractor
{
public:
  /// @param filter  cells to take, null for all; borrowed for the call
  /// @throw std::bad_alloc, std::length_error, MiCancellationException
  virtual const MeXSurfaceMeshUnstructured& extractSlice(Geometry... geometry,
                                                         const Filter* filter) = 0;
  /// The outlines of the cut cells, each line once.
  virtual const MeXLineMeshUnstructured& extractLine(Geometry... geometry,
                                                     const Filter* filter) = 0;
  /// The nodes of the slice.
  virtual const MeXPointMeshCurvilinear& extractPoints(Geometry... geometry,
                                                       const Filter* filter) = 0;
};

/// A slice by a plane: its normal, of any length, and its distance; the plane holds the points x
/// with normal . x = distance.
template <class Filter>
using MiPlaneSliceExtract = MiSliceExtract<Filter, const MbVec3d&, double>;
/// A slice by a sphere: its centre and radius. An edge is cut where one of its nodes is inside and
/// the other is not: a sphere that lies between the nodes of one cell gives nothing, nor does a
/// part of it that passes an edge twice.
template <class Filter>
using MiSphereSliceExtract = MiSliceExtract<Filter, const MbVec3d&, double>;
/// A slice by an endless cylinder: a point on its axis, the axis' direction, of any length, and the
/// radius. Edges are cut as by a sphere, so that a cylinder between the nodes of the cells that it
/// runs through gives nothing.
template <class Filter>
using MiCylinderSliceExtract = MiSliceExtract<Filter, const MbVec3d&, const MbVec3d&, double>;

class MiPlaneSliceExtractUnstructured
    : public MiPlaneSliceExtract<MiCellFilterI>,
      public MiExtractorMakers<MiPlaneSliceExtractUnstructured, MiVolumeMeshUnstructured>
{};

class MiPlaneSliceExtractHexahedronIjk
    : public MiPlaneSliceExtract<MiCellFilterIjk>,
      public MiExtractorMakers<MiPlaneSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>
{};

class MiPlaneSliceExtractIjk : public MiPlaneSliceExtract<MiCellFilterIjk>,
                               public MiIjkExtractorMakers<MiPlaneSliceExtractIjk>
{};

class MiSphereSliceExtractUnstructured
    : public MiSphereSliceExtract<MiCellFilterI>,
      public MiExtractorMakers<MiSphereSliceExtractUnstructured, MiVolumeMeshUnstructured>
{};

class MiSphereSliceExtractHexahedronIjk
    : public MiSphereSliceExtract<MiCellFilterIjk>,
      public MiExtractorMakers<MiSphereSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>
{};

class MiSphereSliceExtractIjk : public MiSphereSliceExtract<MiCellFilterIjk>,
                                public MiIjkExtractorMakers<MiSphereSliceExtractIjk>
{};

class MiCylinderSliceExtractUnstructured
    : public MiCylinderSliceExtract<MiCellFilterI>,
      public MiExtractorMakers<MiCylinderSliceExtractUnstructured, MiVolumeMeshUnstructured>
{};

class MiCylinderSliceExtractHexahedronIjk
    : public MiCylinderSliceExtract<MiCellFilterIjk>,
      public MiExtractorMakers<MiCylinderSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>
{};

class MiCylinderSliceExtractIjk : public MiCylinderSliceExtract<MiCellFilterIjk>,
                                  public MiIjkExtractorMakers<MiCylinderSliceExtractIjk>
{};
