#include <velmo/extraction/algorithms/MxNodeNormals.h>

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <atomic>

namespace {

/// Blocks of polygons whose areas are summed in one place. They depend on the surface alone, and so
/// do the sums, whatever the number of threads. Neighbours in another layer of a grid are far away:
/// windows of few large blocks overlap less than those of many small ones.
constexpr std::size_t kMostBlocks = 8, kLeastPolygons = 1 << 16;
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
  if (width > kWidest * std::max(last - first, kLeastPolygons)) return false;
  window.first = static_cast<std::size_t>(lowest);
  window.sums.assign(width, MbVec3f{});
  addAreas(surface, first, last, window.sums.data(), window.first);
  return true;
}

/// Adds what a window holds of nodes `first` to `last`.
void addWindow(const Window& window, std::size_t first, std::size_t last, MxArray<MbVec3f>& normals)
{
  const std::size_t end = std::min(last, window.end());
  for (std::size_t n = std::max(first, window.first); n < end; ++n)
    normals[n] += window.sums[n - window.first];
}

/// False when a block's nodes lie too far apart.
bool addInBlocks(const MeXSurfaceMeshUnstructured& surface, bool parallel,
                 MxArray<MbVec3f>& normals)
{
  const std::size_t faceCount = surface.topology.getCellCount();
  const std::size_t blockSize =
      std::max(kLeastPolygons, (faceCount + kMostBlocks - 1) / kMostBlocks);
  std::atomic<bool> scattered = false;
  const auto fill = [&](Window& window, std::size_t first, std::size_t last) {
    if (!scattered.load(std::memory_order_relaxed) && !fillWindow(surface, first, last, window))
      scattered.store(true, std::memory_order_relaxed);
  };
  if (!parallel) {
    Window window; // one place for all of them
    for (std::size_t first = 0; first < faceCount && !scattered; first += blockSize) {
      MxPoll::ask();
      fill(window, first, std::min(faceCount, first + blockSize));
      if (!scattered) addWindow(window, window.first, window.end(), normals);
    }
    return !scattered;
  }
  std::vector<Window> windows(blockCount(faceCount, blockSize));
  forEachBlock(true, faceCount, blockSize,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 fill(windows[block], first, last);
               });
  if (scattered) return false;
  forEachBlock(true, normals.size(), kNodeBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 for (const Window& window : windows)
                   addWindow(window, first, last, normals);
               });
  return true;
}

} // namespace

void nodeNormals(const MeXSurfaceMeshUnstructured& surface, bool parallel,
                 MxArray<MbVec3f>& normals)
{
  const std::size_t count = surface.geometry.getNodeCount();
  const auto forEachNode = [&](const auto& body) {
    forEachBlock(parallel, count, kNodeBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t n = first; n < last; ++n)
                     body(normals[n]);
                 });
  };
  normals.resizeUninitialized(count);
  forEachNode([](MbVec3f& normal) { normal = {}; });
  if (!addInBlocks(surface, parallel, normals)) {
    forEachNode([](MbVec3f& normal) { normal = {}; });
    forEachBlock(false, surface.topology.getCellCount(), kLeastPolygons,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   addAreas(surface, first, last, normals.data(), 0);
                 });
  }
  forEachNode([](MbVec3f& normal) { normal = unit(normal); });
}
