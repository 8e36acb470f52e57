#pragma once

#include <velmo/extraction/algorithms/access/MxFieldValues.h>
#include <velmo/extraction/algorithms/locate/MxCellLocator.h>
#include <velmo/extraction/interfaces/MiStreamlineEnd.h>
#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/mesh/MeXMesh.h>

#include <atomic>

/// Where streamlines have to end, and their steps.
struct MxStreamlineLimits
{
  // Zero, anything below and what is not finite is no limit.
  double maxLifeTime = 0;
  double maxLength = 0;
  double minSpeed = 0;
  std::size_t maxStepNumber = 0;
  /// The longest step as a part of the length of a cell's box along the line.
  double stepLengthFactor = 0.3;
  bool isBackward = false;

  friend bool operator==(const MxStreamlineLimits&, const MxStreamlineLimits&) = default;
};

/// The most steps of a line that no time, length or number of steps limits: none is endless.
inline constexpr std::size_t kDefaultStreamlineSteps = 10000;
/// The error of a step that is still good, as a part of the length of the cell's box.
inline constexpr double kStreamlineStepError = 1e-5;
/// A line that does not come further in so many steps than ten times that stands still.
inline constexpr std::size_t kStandstillSteps = 1000;

/// One streamline. Its mesh is a polyline, or nothing where it has less than two points; the points
/// stand in the geometry all the same. All others have an entry a point.
struct MxStreamline
{
  MeXLineMeshUnstructured mesh;
  std::vector<MbVec3d> points;
  /// Since the seed, also where it was followed backwards; from zero on.
  MeXDataSetI<double> times{"time", MiDataBinding::PerNode};
  MeXDataSetI<double> speeds{"speed", MiDataBinding::PerNode};
  /// Unit vectors along the line, from its seed on.
  MeXDataSetI<MbVec3d> tangents{"tangent", MiDataBinding::PerNode};
  MiStreamlineEnd end = MiStreamlineEnd::NotInMesh;
};

/// Follows a field from a seed with the classical Runge-Kutta method of fourth order and the third
/// order estimate of its error that costs no further evaluation (it uses the vector at the end of
/// the step, which begins the next one). A step that errs too much is shortened; one that leads out
/// of the mesh is halved until the line ends at the rim, on it but for rounding.
///
/// @param field   vectors that fit the mesh
/// @param line    filled; its mesh has new stamps
/// @param pointCount  of all lines that are followed at the same time; counts on
/// @throw std::bad_alloc, also where the lines would not fit into the machine's memory
void traceStreamline(const MxCellLocator& locator, const MxCellsLeft& left,
                     const MxFieldValues<MbVec3d>& field, const MxStreamlineLimits& limits,
                     const MbVec3d& seed, MxStreamline& line, std::atomic<std::size_t>& pointCount);
