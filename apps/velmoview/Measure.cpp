#include <velmoview/Measure.h>

#include <velmo/base/MxSort.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <sys/resource.h>
#include <vector>

namespace velmoview {

namespace {

double secondsNow()
{
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Triangles of the fan that turn the other way than the polygon as a whole lie outside of it: it
// has a notch. Quads may be warped or twisted instead, and count both of their triangles.
double polygonArea(const MeXGeometryI& geometry, std::span<const int> cell)
{
  if (cell.size() < 3) return 0;
  const auto node = [&](std::size_t n) {
    return geometry.getNode(static_cast<std::size_t>(cell[n]));
  };
  const MbVec3d first = node(0);
  const auto triangle = [&](std::size_t n) { return cross(node(n - 1) - first, node(n) - first); };
  MbVec3d whole{};
  for (std::size_t n = 2; cell.size() > 4 && n < cell.size(); ++n)
    whole = whole + triangle(n);
  double twice = 0;
  for (std::size_t n = 2; n < cell.size(); ++n) {
    const MbVec3d part = triangle(n);
    twice += dot(part, whole) < 0 ? -length(part) : length(part);
  }
  return twice / 2;
}

void appendEdges(std::span<const int> cell, std::vector<std::uint64_t>& edges)
{
  for (std::size_t n = 0; n < cell.size(); ++n) {
    const auto a = static_cast<std::uint32_t>(cell[n]);
    const auto b = static_cast<std::uint32_t>(cell[(n + 1) % cell.size()]);
    if (a != b) edges.push_back(std::uint64_t{std::min(a, b)} << 32 | std::max(a, b));
  }
}

std::size_t countSingles(std::vector<std::uint64_t>& edges)
{
  sortByNumber(true, edges, [](std::uint64_t edge) { return edge; });
  std::size_t singles = 0;
  for (std::size_t first = 0, last = 0; first < edges.size(); first = last) {
    while (last < edges.size() && edges[last] == edges[first])
      ++last;
    singles += last - first == 1 ? 1 : 0;
  }
  return singles;
}

void addFaces(const MeXSurfaceMeshUnstructured& surface, Measures& measures)
{
  std::vector<std::uint64_t> edges;
  const std::size_t count = surface.topology.getCellCount();
  for (std::size_t c = 0; c < count; ++c) {
    measures.area += polygonArea(surface.geometry, surface.topology.getCell(c));
    appendEdges(surface.topology.getCell(c), edges);
  }
  measures.cells += count;
  measures.openEdges += countSingles(edges);
}

void addSegments(const MeXLineMeshUnstructured& lines, Measures& measures)
{
  for (std::size_t c = 0; c < lines.topology.getCellCount(); ++c) {
    const std::span<const int> line = lines.topology.getCell(c);
    for (std::size_t n = 1; n < line.size(); ++n)
      measures.length += length(lines.geometry.getNode(static_cast<std::size_t>(line[n])) -
                                lines.geometry.getNode(static_cast<std::size_t>(line[n - 1])));
    measures.cells += line.empty() ? 0 : line.size() - 1;
  }
}

void addNodes(const MeXGeometryI& geometry, Measures& measures)
{
  for (std::size_t n = 0; n < geometry.getNodeCount(); ++n, ++measures.nodes) {
    const MbVec3d p = geometry.getNode(n);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      double& low = measures.bounds[2 * axis];
      double& high = measures.bounds[2 * axis + 1];
      low = measures.nodes == 0 ? p[axis] : std::min(low, p[axis]);
      high = measures.nodes == 0 ? p[axis] : std::max(high, p[axis]);
    }
  }
}

} // namespace

const MeXGeometryI* geometryOf(const MiMesh& mesh)
{
  if (const auto* surface = dynamic_cast<const MeXSurfaceMeshUnstructured*>(&mesh))
    return &surface->geometry;
  if (const auto* lines = dynamic_cast<const MeXLineMeshUnstructured*>(&mesh))
    return &lines->geometry;
  const auto* points = dynamic_cast<const MeXPointMeshCurvilinear*>(&mesh);
  return points ? &points->geometry : nullptr;
}

Measures measure(std::span<const MiMesh* const> meshes)
{
  Measures measures;
  for (const MiMesh* mesh : meshes) {
    const MeXGeometryI* geometry = geometryOf(*mesh);
    if (!geometry) continue;
    if (const auto* surface = dynamic_cast<const MeXSurfaceMeshUnstructured*>(mesh))
      addFaces(*surface, measures);
    else if (const auto* lines = dynamic_cast<const MeXLineMeshUnstructured*>(mesh))
      addSegments(*lines, measures);
    else
      measures.cells += geometry->getNodeCount();
    addNodes(*geometry, measures);
  }
  return measures;
}

Stopwatch::Stopwatch() : m_start(secondsNow()) {}

double Stopwatch::milliseconds() const
{
  return 1000 * (secondsNow() - m_start);
}

double peakMegabytes()
{
  rusage usage{};
  if (getrusage(RUSAGE_SELF, &usage) != 0) return 0;
  return static_cast<double>(usage.ru_maxrss) / 1024; // kilobytes on Linux
}

} // namespace velmoview
