#pragma once

#include <cmath>
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

/// What two results must have in common.
struct CheckValues
{
  std::size_t faces = 0;
  std::size_t vertices = 0;
  double area = 0;
  double volume = 0;            ///< enclosed; its sign is the orientation, positive outward
  std::uint64_t cellDigest = 0; ///< of the cell of each face, whatever the order of the faces

  /// Counts a polygon of `size` corners, three numbers each, that came from `cell`.
  void addFace(const double* corners, std::size_t size, std::uint64_t cell)
  {
    double vectorArea[3] = {0, 0, 0}, centre[3] = {0, 0, 0};
    for (std::size_t i = 0; i < size; ++i) {
      const double* p = corners + 3 * i;
      const double* q = corners + 3 * ((i + 1) % size);
      for (int a = 0; a < 3; ++a) {
        const int b = (a + 1) % 3, c = (a + 2) % 3;
        // Relative to the first corner, to keep the digits.
        vectorArea[a] += 0.5 * ((p[b] - corners[b]) * (q[c] - corners[c]) -
                                (p[c] - corners[c]) * (q[b] - corners[b]));
        centre[a] += p[a] / static_cast<double>(size);
      }
    }
    ++faces;
    area += std::sqrt(vectorArea[0] * vectorArea[0] + vectorArea[1] * vectorArea[1] +
                      vectorArea[2] * vectorArea[2]);
    volume +=
        (centre[0] * vectorArea[0] + centre[1] * vectorArea[1] + centre[2] * vectorArea[2]) / 3;
    // A sum of scrambled numbers (the finaliser of MurmurHash3, with an offset so that cell 0
    // counts).
    std::uint64_t h = cell + 0x9e3779b97f4a7c15u;
    h = (h ^ (h >> 33)) * 0xff51afd7ed558ccdu;
    h = (h ^ (h >> 33)) * 0xc4ceb9fe1a85ec53u;
    cellDigest += h ^ (h >> 33);
  }
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
