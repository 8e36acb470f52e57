#pragma once

#include "CheckValues.h"

#include <cstddef>
#include <cstdint>
#include <memory>

// The one header that both sides share. The peer's headers need an older language standard than
// ours, so that this one stays plain C++17.

/// A mesh as the application's own arrays, which both sides read in place.
///
/// *Shape*: `points` has three numbers a node. Unstructured meshes have connectivity, cellCount + 1
/// offsets and shapes in the numbering of .vtu files; structured ones have none of these but the
/// nodes along each axis, I fastest.
struct MeshArrays
{
  const double* points = nullptr;
  std::size_t nodeCount = 0;
  std::size_t cellCount = 0;
  const std::int64_t* connectivity = nullptr;
  std::size_t connectivityCount = 0;
  const std::int64_t* offsets = nullptr;
  const std::uint8_t* shapes = nullptr;
  std::size_t axisNodes[3] = {0, 0, 0};

  bool isStructured() const { return connectivity == nullptr; }
};

/// One piece of work, made anew for every run, so that nothing is remembered.
class Job
{
public:
  virtual ~Job() = default;
  /// What is timed: from the arrays to the output, which the job then holds.
  virtual void run() = 0;
  /// Looks at the output; not timed.
  virtual CheckValues check() const = 0;
  /// The part of `run` that went into checking the mesh; 0 where nothing is checked.
  virtual double meshCheckSeconds() const { return 0; }
  /// Extractions that `run` really did, as they reported themselves.
  virtual std::size_t extractionCount() const { return 0; }
};

/// @param mesh     borrowed
/// @param threads  threads that may work
using JobMaker = std::unique_ptr<Job> (*)(const MeshArrays& mesh, int threads);
