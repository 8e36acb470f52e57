#include <velmo/extraction/algorithms/map/MxNodeNormals.h>

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

/// Blocks of polygons whose areas are summed in one place. They depend on the surface alone, and so
/// do the sums, whatever the number of threads. Neighbours in another layer of a grid are far away:
/// few large blocks share fewer nodes than many small ones.
constexpr std::size_t kMostBlocks = 8, kLeastPolygons = 1 << 16;
constexpr std::size_t kNodeBlock = 1 << 15;

/// The vector area of a polygon of another block at a node.
struct Share
{
  std::size_t node;
  MbVec3f area;
};

/// A block of polygons, and the nodes whose sums it begins; what it has for other nodes waits.
struct Block
{
  std::size_t firstPolygon, lastPolygon, firstNode, endNode;
  MxArray<Share> others;
};

/// Replaces the square of a length by its inverse, and zero by zero.
void invertLengths(std::span<float, 4> squares)
{
#ifdef __SSE2__
  const __m128 given = _mm_loadu_ps(squares.data());
  const __m128 inverse = _mm_div_ps(_mm_set1_ps(1), _mm_sqrt_ps(given));
  _mm_storeu_ps(squares.data(), _mm_and_ps(inverse, _mm_cmpgt_ps(given, _mm_setzero_ps())));
#else
  for (float& square : squares)
    square = square > 0 ? 1 / std::sqrt(square) : 0;
#endif
}

/// Makes vectors as long as one, and those without a direction zero.
void normalize(std::span<MbVec3f> vectors)
{
  std::size_t n = 0;
  std::array<float, 4> scales{};
  const auto four = [&](std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
      scales[i] = dot(vectors[n + i], vectors[n + i]);
    invertLengths(scales);
    for (std::size_t i = 0; i < count; ++i)
      vectors[n + i] = vectors[n + i] * scales[i];
  };
  for (; n + 4 <= vectors.size(); n += 4)
    four(4);
  four(vectors.size() - n);
}

/// Twice the vector area, by a fan.
MbVec3f areaOf(std::span<const int> polygon, const MxArray<MbVec3f>& points)
{
  const auto point = [&](std::size_t n) { return points[static_cast<std::size_t>(polygon[n])]; };
  // The diagonals of a quad give what the two triangles of its fan do.
  if (polygon.size() == 4) return cross(point(2) - point(0), point(3) - point(1));
  const MbVec3f origin = point(0);
  MbVec3f sum, before = point(1) - origin;
  for (std::size_t n = 2; n < polygon.size(); ++n) {
    const MbVec3f next = point(n) - origin;
    sum += cross(before, next);
    before = next;
  }
  return sum;
}

void clear(MbVec3f* first, MbVec3f* last)
{
  std::fill(first, last, MbVec3f{});
}

/// Calls add(node, area) for all corners of polygons `first` to `last`.
template <class Add>
void forEachCorner(const MeXSurfaceMeshUnstructured& surface, std::size_t first, std::size_t last,
                   const Add& add)
{
  const auto& points = surface.geometry.points();
  for (std::size_t f = first; f < last; ++f) {
    const std::span<const int> polygon = surface.topology.getCell(f);
    const MbVec3f area = areaOf(polygon, points);
    for (const int node : polygon)
      add(static_cast<std::size_t>(node), area);
  }
}

/// Blocks of polygons, whose nodes begin with the first polygon's: nodes that come in the order of
/// the polygons mostly have all of theirs in one block.
std::vector<Block> makeBlocks(const MeXSurfaceMeshUnstructured& surface)
{
  const std::size_t count = surface.topology.getCellCount();
  const std::size_t size = std::max(kLeastPolygons, (count + kMostBlocks - 1) / kMostBlocks);
  std::vector<Block> blocks;
  for (std::size_t first = 0; first < count; first += size) {
    const auto polygon = surface.topology.getCell(first);
    const int node = *std::min_element(polygon.begin(), polygon.end());
    blocks.push_back({first,
                      std::min(count, first + size),
                      first == 0 ? 0 : static_cast<std::size_t>(node),
                      0,
                      {}});
  }
  std::size_t end = surface.geometry.getNodeCount();
  for (std::size_t b = blocks.size(); b-- > 0;) {
    blocks[b].endNode = end;
    end = blocks[b].firstNode = std::min(blocks[b].firstNode, end);
  }
  return blocks;
}

/// False when too many polygons are far from the nodes of their block.
bool addInBlocks(const MeXSurfaceMeshUnstructured& surface, bool parallel,
                 MxArray<MbVec3f>& normals)
{
  std::vector<Block> blocks = makeBlocks(surface);
  std::atomic<bool> scattered = false;
  forEachTask(parallel, blocks.size(), [&](std::size_t number) {
    Block& block = blocks[number];
    clear(normals.data() + block.firstNode, normals.data() + block.endNode);
    const std::size_t nodeCount = block.endNode - block.firstNode;
    const std::size_t most = (block.lastPolygon - block.firstPolygon) / 2;
    constexpr std::size_t kStretch = 4096;
    for (std::size_t first = block.firstPolygon; first < block.lastPolygon; first += kStretch) {
      MxPoll::ask();
      if (block.others.size() > most) scattered = true;
      if (scattered) return;
      forEachCorner(surface, first, std::min(block.lastPolygon, first + kStretch),
                    [&](std::size_t node, const MbVec3f& area) {
                      if (node - block.firstNode < nodeCount)
                        normals[node] += area;
                      else
                        block.others.push_back({node, area});
                    });
    }
  });
  if (scattered) return false;
  for (const Block& block : blocks)
    for (const Share& share : block.others)
      normals[share.node] += share.area;
  return !blocks.empty();
}

} // namespace

void nodeNormals(const MeXSurfaceMeshUnstructured& surface, bool parallel,
                 MxArray<MbVec3f>& normals)
{
  normals.resizeUninitialized(surface.geometry.getNodeCount());
  if (!addInBlocks(surface, parallel, normals)) {
    clear(normals.begin(), normals.end());
    forEachBlock(false, surface.topology.getCellCount(), kLeastPolygons,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   forEachCorner(surface, first, last, [&](std::size_t node, const MbVec3f& area) {
                     normals[node] += area;
                   });
                 });
  }
  forEachBlock(parallel, normals.size(), kNodeBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 normalize(normals.span().subspan(first, last - first));
               });
}
