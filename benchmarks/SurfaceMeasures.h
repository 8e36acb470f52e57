#pragma once

#include <velmo/mesh/MeXMesh.h>

namespace bench {

/// `triangles`: those that the faces would be split into; `volume`: what a closed surface encloses.
struct Measures
{
  std::size_t faces = 0, nodes = 0, triangles = 0;
  double area = 0, volume = 0;
};

inline Measures measure(const MeXSurfaceMeshUnstructured& surface)
{
  Measures result;
  result.faces = surface.topology.getCellCount();
  result.nodes = surface.geometry.getNodeCount();
  for (std::size_t f = 0; f < result.faces; ++f) {
    const auto cell = surface.topology.getCell(f);
    const auto point = [&](std::size_t n) {
      return surface.geometry.getNode(static_cast<std::size_t>(cell[n]));
    };
    const MbVec3d first = point(0);
    MbVec3d sum, mean = first;
    for (std::size_t n = 1; n < cell.size(); ++n) {
      mean += point(n);
      if (n + 1 < cell.size()) sum += cross(point(n) - first, point(n + 1) - first) * 0.5;
    }
    result.triangles += cell.size() - 2;
    result.area += length(sum);
    result.volume += dot(mean * (1.0 / static_cast<double>(cell.size())), sum) / 3;
  }
  return result;
}

} // namespace bench
