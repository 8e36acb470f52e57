#pragma once

#include <velmo/mesh/MeXMesh.h>

#include <array>
#include <cstddef>
#include <span>

namespace velmoview {

/// xmin, xmax, ymin, ymax, zmin, zmax.
using Bounds = std::array<double, 6>;

/// What a report says of extracted meshes, computed in double from their coordinates.
struct Measures
{
  std::size_t cells = 0; ///< faces, or segments of lines, or points
  std::size_t nodes = 0;
  double area = 0;           ///< of faces; polygons as fans from their first node
  double length = 0;         ///< of lines
  std::size_t openEdges = 0; ///< edges of one face only, per mesh
  Bounds bounds{};           ///< of the nodes; means nothing without nodes
};

/// @param meshes  as extracted: surfaces, lines or points
Measures measure(std::span<const MiMesh* const> meshes);

/// The nodes of an extracted mesh; null for a mesh that was not extracted.
const MeXGeometryI* geometryOf(const MiMesh& mesh);

/// Milliseconds since `start` was taken.
class Stopwatch
{
public:
  Stopwatch();
  double milliseconds() const;

private:
  double m_start;
};

/// The most memory that this process has held, in MB; 0 where the system does not tell.
double peakMegabytes();

} // namespace velmoview
