#pragma once

#include <velmo/extraction/extractors/MiExtractor.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiMesh.h>
#include <velmo/extraction/interfaces/MiStreamlineEnd.h>

#include <memory>
#include <span>

/// The paths of particles through a vector field on a volume mesh, from given seeds.
///
/// There is one line for each seed, in their order; the value of a line in getLines() is the number
/// of its seed. A line is one polyline, a point a step; where its seed is in no cell it has no
/// points, and where it cannot go on at once a single one. A seed may be given twice. Lines end
/// on the rim of the mesh, or of the cells that the filter leaves, where a limit is reached, and
/// where they stand still. A line without a limit of time, length or steps ends after 10000 steps:
/// a field may go round for ever. The result is the same for any number of threads.
///
/// Vectors per node are interpolated as a MiPointProbe does; vectors per cell are those of the
/// cell. A step is as long as `stepLengthFactor` times the way through the box around the cell it
/// starts in, or shorter where the field asks for it.
///
/// @tparam Filter  MiCellFilterI or MiCellFilterIjk
template <class Filter>
class MiStreamlineExtract : public MiMultiLineExtractor
{
public:
  // Limits: zero, the default, is none, and so is what is not finite. They count from the next
  // extraction on. Each is kept whatever it costs: a point takes some 200 bytes.

  /// Time since the seed, in the units of length and speed.
  virtual void setMaxLifeTime(double time) = 0;
  virtual void setMaxLength(double length) = 0;
  /// A line stops at the first point where it is slower.
  virtual void setMinSpeed(double speed) = 0;
  virtual void setMaxStepNumber(std::size_t count) = 0;
  /// 0.3 by default; a factor that is not above zero makes no steps.
  virtual void setIntegrationStepLengthFactor(double factor) = 0;
  virtual void setDirection(MiStreamlineDirection direction) = 0;

  /// @param seeds    in mesh space; borrowed for the call, as the filter
  /// @param vectors  numbered and bound as the mesh asks for
  /// @return false, and there are no lines, when the set does not fit the mesh
  /// @throw std::bad_alloc, also when the lines outgrow the machine's memory; std::length_error,
  ///        MiCancellationException
  virtual bool extractStreamlines(std::span<const MbVec3d> seeds,
                                  const MiTypedDataSet<MbVec3d>& vectors, const Filter* filter) = 0;

  // Of line `index` of the last extraction, an entry a point of the line; nothing of a line that
  // is not there.

  virtual MiStreamlineEnd getEnd(std::size_t index) const = 0;
  /// The points in double precision.
  virtual std::span<const MbVec3d> getPoints(std::size_t index) const = 0;
  /// Since the seed, also where the field is followed backwards.
  virtual const MeXDataSetI<double>& getTimes(std::size_t index) const = 0;
  virtual const MeXDataSetI<double>& getSpeeds(std::size_t index) const = 0;
  /// Unit vectors along the line, away from its seed.
  virtual const MeXDataSetI<MbVec3d>& getTangents(std::size_t index) const = 0;
};

class MiStreamlineExtractUnstructured
    : public MiStreamlineExtract<MiCellFilterI>,
      public MiExtractorMakers<MiStreamlineExtractUnstructured, MiVolumeMeshUnstructured>
{};

class MiStreamlineExtractHexahedronIjk
    : public MiStreamlineExtract<MiCellFilterIjk>,
      public MiExtractorMakers<MiStreamlineExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>
{};

class MiStreamlineExtractIjk
    : public MiStreamlineExtract<MiCellFilterIjk>,
      public MiExtractorMakers<MiStreamlineExtractIjk, MiVolumeMeshRegular, MiVolumeMeshRectilinear,
                               MiVolumeMeshCurvilinear>
{};
