#pragma once

#include "CheckValues.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>

// The one header that both sides share. The peer's headers need an older language standard than
// ours, so that this one stays plain C++17.

enum class MeshKind
{
  Unstructured,
  Curvilinear,
  Rectilinear,
  Regular
};

/// A mesh as the application's own arrays, which both sides read in place.
///
/// *Shape*: `points` has three numbers a node, for unstructured and curvilinear meshes.
/// Unstructured ones have connectivity, cellCount + 1 offsets and shapes in the numbering of .vtu
/// files; the others have the nodes along each axis, I fastest, and coordinates on each axis
/// (rectilinear) or a spacing from the origin (regular). The fields have a number a node.
struct MeshArrays
{
  MeshKind kind = MeshKind::Unstructured;
  const double* points = nullptr;
  std::size_t nodeCount = 0;
  std::size_t cellCount = 0;
  bool isSurface = false;  ///< cells of two dimensions
  bool isPolygons = false; ///< for the peer: a mesh that can hold nothing else
  const std::int64_t* connectivity = nullptr;
  std::size_t connectivityCount = 0;
  const std::int64_t* offsets = nullptr;
  const std::uint8_t* shapes = nullptr;
  std::size_t axisNodes[3] = {0, 0, 0};
  const double* axes[3] = {nullptr, nullptr, nullptr};
  double spacing = 0;
  const double *smooth = nullptr, *busy = nullptr, *colour = nullptr;
  const double* vec = nullptr; ///< three numbers a node; of the meshes that have it

  bool isStructured() const { return kind != MeshKind::Unstructured; }
};

enum class Cut
{
  None,
  Isosurface,
  Plane,
  Sphere,
  Cylinder,
  Isolines
};

enum class Flow
{
  None,
  Probe, ///< values at points in no order
  Walk,  ///< values at points along a line, one after the other
  Stream ///< streamlines
};

/// How a file that is read holds a mesh.
enum class FileFormat
{
  None,
  VtuRaw,  ///< .vtu, appended raw
  VtuZlib, ///< the same, compressed by zlib
  VtkBinary,
  VtkAscii
};

/// What the work of a case is told beside the mesh.
struct Task
{
  Cut cut = Cut::None;
  Flow flow = Flow::None;
  FileFormat file = FileFormat::None;
  bool busy = false;        ///< isosurfaces: of the field `busy`, not of `smooth`
  double value = 0;         ///< isosurfaces; the first one of isolines
  double valueStep = 0;     ///< isolines: from one value to the next
  int valueCount = 1;       ///< isolines
  double point[3] = {};     ///< on the plane, the centre of the sphere, or on the cylinder's axis
  double direction[3] = {}; ///< the plane's unit normal, or the cylinder's axis
  double radius = 0;
  bool colour = false;  ///< interpolate the field `colour`
  bool normals = false; ///< compute a normal a vertex
  /// Dragging: after a first extraction, so many more with the value or the plane moved on by
  /// `stepSize` each time; 0 for one extraction.
  int steps = 0;
  double stepSize = 0;
  /// Layers of a grid: the faces below the middle cells along `axis`, or the boundary of
  /// `layerCount` layers of cells from there on.
  std::size_t axis = 0, layerCount = 0;
  /// The middle layer of a mesh.
  std::size_t layer(const MeshArrays& mesh) const { return (mesh.axisNodes[axis] - 1) / 2; }

  double movedValue(int step) const { return value + step * stepSize; }
  /// The plane's distance from the origin.
  double movedDistance(int step) const
  {
    return point[0] * direction[0] + point[1] * direction[1] + point[2] * direction[2] +
           step * stepSize;
  }
};

// Probes and streamlines: as many as the size of the mesh asks for, and the size of a lattice cell.

inline std::size_t probeCount(const MeshArrays& mesh)
{
  return mesh.cellCount > 500000 ? 100000 : 20000;
}
inline std::size_t seedCount(const MeshArrays& mesh)
{
  return probeCount(mesh) / 100;
}
inline double cellSizeOf(const MeshArrays& mesh)
{
  return 1 / (std::cbrt(static_cast<double>(mesh.nodeCount)) - 1);
}

/// One piece of work, made anew for every run, so that nothing is remembered.
class Job
{
public:
  virtual ~Job() = default;
  /// What is timed: from the arrays to the output, which the job then holds.
  virtual void run() = 0;
  /// Dragging: one more extraction, from where `run` or the last step ended. Timed by itself.
  virtual void step(int) {}
  /// Looks at the output; not timed.
  virtual CheckValues check() const = 0;
  /// The part of `run` that went into checking the mesh; 0 where nothing is checked.
  virtual double meshCheckSeconds() const { return 0; }
  /// Extractions that were really done, as they reported themselves.
  virtual std::size_t extractionCount() const { return 0; }
};

/// @param mesh     borrowed
/// @param threads  threads that may work
using JobMaker = std::unique_ptr<Job> (*)(const MeshArrays& mesh, const Task& task, int threads);
