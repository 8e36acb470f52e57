#include <velmo/extraction/algorithms/MxNodeNormals.h>

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <atomic>

namespace {

constexpr std::size_t kBlock = 8192;

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

void addSerially(const MeXSurfaceMeshUnstructured& surface, MxArray<MbVec3f>& normals)
{
  const auto& points = surface.geometry.points();
  for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f) {
    const std::span<const int> polygon = surface.topology.getCell(f);
    const MbVec3f area = areaOf(polygon, points);
    for (const int node : polygon)
      normals[static_cast<std::size_t>(node)] += area;
  }
}

/// Lists the polygons around each node, in the order of their numbers, and lets each node add: the
/// sums are those of the serial way, to the bit.
void addByNode(const MeXSurfaceMeshUnstructured& surface, MxArray<MbVec3f>& normals)
{
  const MeXTopologyExplicitI& topology = surface.topology;
  const auto& points = surface.geometry.points();
  const std::size_t faceCount = topology.getCellCount();
  MxArray<MbVec3f> areas(faceCount);
  MxArray<std::uint32_t> ends(points.size() + 1, 0);
  forEachBlock(true, faceCount, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t f = first; f < last; ++f) {
      const std::span<const int> polygon = topology.getCell(f);
      areas[f] = areaOf(polygon, points);
      for (const int node : polygon)
        std::atomic_ref(ends[static_cast<std::size_t>(node)])
            .fetch_add(1, std::memory_order_relaxed);
    }
  });
  MxArray<std::uint32_t> around(exclusivePrefixSum(ends.span()));
  // Each node's begin moves up to its end while its list is filled.
  forEachBlock(true, faceCount, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t f = first; f < last; ++f)
      for (const int node : topology.getCell(f))
        around[std::atomic_ref(ends[static_cast<std::size_t>(node)])
                   .fetch_add(1, std::memory_order_relaxed)] = static_cast<std::uint32_t>(f);
  });
  forEachBlock(true, points.size(), kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t n = first; n < last; ++n) {
      std::uint32_t* begin = around.data() + (n > 0 ? ends[n - 1] : 0);
      std::uint32_t* end = around.data() + ends[n];
      std::sort(begin, end);
      for (; begin != end; ++begin)
        normals[n] += areas[*begin];
    }
  });
}

} // namespace

void nodeNormals(const MeXSurfaceMeshUnstructured& surface, bool parallel,
                 MxArray<MbVec3f>& normals)
{
  const std::size_t count = surface.geometry.getNodeCount();
  normals.assign(count, MbVec3f{});
  if (parallel && surface.topology.getCellCount() >= kParallelThreshold)
    addByNode(surface, normals);
  else
    addSerially(surface, normals);
  forEachBlock(parallel, count, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t n = first; n < last; ++n)
      normals[n] = unit(normals[n]);
  });
}
