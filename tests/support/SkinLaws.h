#pragma once

#include <velmo/mesh/MeXMesh.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>

/// Laws that every skin obeys, and what is compared of two skins.
namespace laws {

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

/// The cells of an extracted surface or of lines, as lists of its own nodes.
template <class Mesh>
std::vector<std::vector<int>> cellsOf(const Mesh& mesh)
{
  std::vector<std::vector<int>> cells;
  for (std::size_t c = 0; c < mesh.topology.getCellCount(); ++c) {
    const auto cell = mesh.topology.getCell(c);
    cells.emplace_back(cell.begin(), cell.end());
  }
  return cells;
}

/// The edges of the polygons, and how many polygons have each.
inline std::map<std::pair<int, int>, int> edgesOf(const MeXSurfaceMeshUnstructured& surface)
{
  std::map<std::pair<int, int>, int> uses;
  for (const std::vector<int>& cell : cellsOf(surface))
    for (std::size_t n = 0; n < cell.size(); ++n)
      ++uses[std::minmax(cell[n], cell[(n + 1) % cell.size()])];
  return uses;
}

/// Every edge of the polygons is used an even number of times.
inline void expectClosed(const MeXSurfaceMeshUnstructured& surface)
{
  const auto edges = edgesOf(surface);
  EXPECT_EQ(std::ranges::count_if(edges, [](const auto& edge) { return edge.second % 2; }), 0)
      << "open edges of " << edges.size();
}

/// Faces as lists of source nodes.
inline std::vector<std::vector<std::uint32_t>>
sourceFaces(const MeXSurfaceMeshUnstructured& surface)
{
  std::vector<std::vector<std::uint32_t>> faces;
  for (const std::vector<int>& cell : cellsOf(surface)) {
    auto& face = faces.emplace_back();
    for (const int node : cell)
      face.push_back(surface.provenance.nodes[static_cast<std::size_t>(node)]);
  }
  return faces;
}

inline double lengthOf(const MeXLineMeshUnstructured& lines)
{
  double sum = 0;
  for (const std::vector<int>& line : cellsOf(lines))
    for (std::size_t n = 1; n < line.size(); ++n)
      sum += length(lines.geometry.getNode(static_cast<std::size_t>(line[n])) -
                    lines.geometry.getNode(static_cast<std::size_t>(line[n - 1])));
  return sum;
}

/// What an extractor says of cells that it cannot use.
inline std::string brokenCells(std::size_t count, std::size_t first)
{
  return std::to_string(count) + (count == 1 ? " cell" : " cells") +
         " with missing nodes, counts that do not match or coordinates that are not finite left "
         "out, first cell " +
         std::to_string(first) + ".";
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
