#include <velmo/extraction/algorithms/MxNodeNormals.h>

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <atomic>

namespace {

/// Polygons whose areas are summed in one place. The blocks depend on the surface alone, and so do
/// the sums, whatever the number of threads.
constexpr std::size_t kPolygonBlock = 1 << 16;
constexpr std::size_t kNodeBlock = 1 << 15;
/// Nodes that the window of a block may span for each of its polygons.
constexpr std::size_t kWidest = 8;

/// The sums of one block of polygons at nodes `first` to `first + sums.size()`.
struct Window
{
  std::size_t first = 0;
  MxArray<MbVec3f> sums;

  std::size_t end() const { return first + sums.size(); }
};

MbVec3f unit(const MbVec3f& v)
{
  const float size = length(v);
  return size > 0 ? v * (1 / size) : MbVec3f{};
}

/// Twice the vector area, by a fan.
MbVec3f areaOf(std::span<const int> polygon, const MxArray<MbVec3f>& points)
{
  const MbVec3f& origin = points[static_cast<std::size_t>(polygon[0])];
  MbVec3f sum, before = points[static_cast<std::size_t>(polygon[1])] - origin;
  for (std::size_t n = 2; n < polygon.size(); ++n) {
    const MbVec3f next = points[static_cast<std::size_t>(polygon[n])] - origin;
    sum += cross(before, next);
    before = next;
  }
  return sum;
}

/// Adds the areas of polygons `first` to `last` at their nodes; `sums` starts at node `base`.
void addAreas(const MeXSurfaceMeshUnstructured& surface, std::size_t first, std::size_t last,
              MbVec3f* sums, std::size_t base)
{
  const auto& points = surface.geometry.points();
  for (std::size_t f = first; f < last; ++f) {
    const std::span<const int> polygon = surface.topology.getCell(f);
    const MbVec3f area = areaOf(polygon, points);
    for (const int node : polygon)
      sums[static_cast<std::size_t>(node) - base] += area;
  }
}

/// False when the nodes of polygons `first` to `last` lie too far apart for a window.
bool fillWindow(const MeXSurfaceMeshUnstructured& surface, std::size_t first, std::size_t last,
                Window& window)
{
  int lowest = surface.topology.getCell(first)[0], highest = lowest;
  for (std::size_t f = first; f < last; ++f)
    for (const int node : surface.topology.getCell(f)) {
      lowest = std::min(lowest, node);
      highest = std::max(highest, node);
    }
  const auto width = static_cast<std::size_t>(highest - lowest) + 1;
  if (width > kWidest * kPolygonBlock) return false;
  window.first = static_cast<std::size_t>(lowest);
  window.sums.assign(width, MbVec3f{});
  addAreas(surface, first, last, window.sums.data(), window.first);
  return true;
}

} // namespace

void nodeNormals(const MeXSurfaceMeshUnstructured& surface, bool parallel,
                 MxArray<MbVec3f>& normals)
{
  const std::size_t faceCount = surface.topology.getCellCount();
  const std::size_t count = surface.geometry.getNodeCount();
  std::vector<Window> windows((faceCount + kPolygonBlock - 1) / kPolygonBlock);
  std::atomic<bool> scattered = false;
  forEachBlock(parallel, faceCount, kPolygonBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 if (!scattered.load(std::memory_order_relaxed) &&
                     !fillWindow(surface, first, last, windows[block]))
                   scattered.store(true, std::memory_order_relaxed);
               });
  if (scattered) {
    windows.resize(1);
    windows[0].first = 0;
    windows[0].sums.assign(count, MbVec3f{});
    addAreas(surface, 0, faceCount, windows[0].sums.data(), 0);
  }
  normals.resizeUninitialized(count);
  forEachBlock(parallel, count, kNodeBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    std::fill(normals.begin() + first, normals.begin() + last, MbVec3f{});
    for (const Window& window : windows) {
      const std::size_t end = std::min(last, window.end());
      for (std::size_t n = std::max(first, window.first); n < end; ++n)
        normals[n] += window.sums[n - window.first];
    }
    for (std::size_t n = first; n < last; ++n)
      normals[n] = unit(normals[n]);
  });
}
