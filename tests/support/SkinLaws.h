#pragma once

#include <velmo/mesh/MeXMesh.h>

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

/// Laws that every skin obeys, and what is compared of two skins.
namespace laws {

/// Every edge of the polygons is used an even number of times.
inline void expectClosed(const MeXSurfaceMeshUnstructured& surface)
{
  std::map<std::pair<int, int>, int> uses;
  for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f) {
    const auto cell = surface.topology.getCell(f);
    for (std::size_t n = 0; n < cell.size(); ++n) {
      const int a = cell[n], b = cell[(n + 1) % cell.size()];
      ++uses[{std::min(a, b), std::max(a, b)}];
    }
  }
  std::size_t odd = 0;
  for (const auto& [edge, count] : uses)
    odd += count % 2;
  EXPECT_EQ(odd, 0u) << "open edges of " << uses.size();
}

struct Size
{
  double area = 0, volume = 0;
};

/// Area by vector areas of the polygons, and the volume they enclose, positive when they face
/// outward.
inline Size sizeOf(const MeXSurfaceMeshUnstructured& surface)
{
  Size size;
  for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f) {
    const auto cell = surface.topology.getCell(f);
    const auto point = [&](std::size_t n) {
      return surface.geometry.getNode(static_cast<std::size_t>(cell[n]));
    };
    MbVec3d sum, mean;
    for (std::size_t n = 0; n < cell.size(); ++n) {
      mean += point(n) * (1.0 / static_cast<double>(cell.size()));
      if (n > 0 && n + 1 < cell.size())
        sum += cross(point(n) - point(0), point(n + 1) - point(0)) * 0.5;
    }
    size.area += length(sum);
    size.volume += dot(mean, sum) / 3;
  }
  return size;
}

/// Faces as lists of source nodes.
inline std::vector<std::vector<std::uint32_t>>
sourceFaces(const MeXSurfaceMeshUnstructured& surface)
{
  std::vector<std::vector<std::uint32_t>> faces;
  for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f) {
    auto& face = faces.emplace_back();
    for (const int node : surface.topology.getCell(f))
      face.push_back(surface.provenance.nodes[static_cast<std::size_t>(node)]);
  }
  return faces;
}

template <class T>
void append(std::string& bytes, const MxArray<T>& array)
{
  bytes += std::to_string(array.size()) + ":";
  if (!array.empty())
    bytes.append(reinterpret_cast<const char*>(array.data()), array.size() * sizeof(T));
}

/// Everything that an extraction fills, but for stamps; `withSources` false leaves out where it
/// came from.
template <class Mesh>
std::string bytesOf(const Mesh& mesh, bool withSources = true)
{
  std::string bytes;
  append(bytes, mesh.geometry.points());
  bytes.append(reinterpret_cast<const char*>(&mesh.geometry.origin), sizeof(MbVec3d));
  if constexpr (requires { mesh.topology; }) {
    for (std::size_t c = 0; c < mesh.topology.getCellCount(); ++c) {
      const auto cell = mesh.topology.getCell(c);
      bytes.append(reinterpret_cast<const char*>(cell.data()), (cell.size() + 1) * sizeof(int));
    }
  }
  append(bytes, mesh.provenance.cells);
  if (!withSources) return bytes;
  append(bytes, mesh.provenance.nodes);
  append(bytes, mesh.provenance.weights);
  append(bytes, mesh.provenance.offsets);
  return bytes;
}

} // namespace laws
