#pragma once

#include <velmo/mesh/MeXMesh.h>

#include <array>
#include <cstddef>

namespace velmoview {

/// xmin, xmax, ymin, ymax, zmin, zmax.
using Bounds = std::array<double, 6>;

/// What a report says of an extracted mesh, computed in double from its coordinates.
struct Measures
{
  std::size_t cells = 0, nodes = 0;
  double area = 0;           ///< polygons as fans from their first node
  std::size_t openEdges = 0; ///< edges of one face only
  Bounds bounds{};           ///< of the nodes; means nothing without nodes
};

Measures measureSurface(const MeXSurfaceMeshUnstructured& surface);

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
