#include <velmo/extraction/algorithms/MxManyPoints.h>

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <numeric>

namespace {

constexpr std::size_t kBlock = 512;
// Points whose cells are announced together.
constexpr std::size_t kGroup = 16;
// Below this many points the order is not worth making.
constexpr std::size_t kSortedCount = 256;
constexpr int kCodeBits = 10; // along each axis

// Spreads ten bits so that two empty bits follow each.
std::uint32_t spread(std::uint32_t v)
{
  v = (v | v << 16) & 0x030000ff;
  v = (v | v << 8) & 0x0300f00f;
  v = (v | v << 4) & 0x030c30c3;
  return (v | v << 2) & 0x09249249;
}

/// The points along a curve through their bounds; the order is that of their codes, then of their
/// numbers.
MxArray<std::uint32_t> orderOf(std::span<const MbVec3d> points, bool parallel)
{
  struct Code
  {
    std::uint32_t code, point;
  };
  MxBox3d box = MxBox3d::empty();
  for (const MbVec3d& point : points)
    if (isFinite(point)) box.extendBy(point);
  double scale[3];
  for (int a = 0; a < 3; ++a) {
    scale[a] = ((1 << kCodeBits) - 1) / (box.max[a] - box.min[a]);
    if (!std::isfinite(scale[a])) scale[a] = 0;
  }
  MxArray<Code> codes(points.size()), room(points.size());
  forEachBlock(parallel, points.size(), 8192,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 for (std::size_t p = first; p < last; ++p) {
                   std::uint32_t code = 0;
                   for (int a = 0; a < 3 && isFinite(points[p]); ++a) {
                     const double at = (points[p][static_cast<std::size_t>(a)] - box.min[a]);
                     code |= spread(static_cast<std::uint32_t>(at * scale[a])) << a;
                   }
                   codes[p] = {code, static_cast<std::uint32_t>(p)};
                 }
               });
  // Three rounds of a radix sort, ten bits each.
  constexpr std::size_t kValues = std::size_t{1} << kCodeBits;
  for (int round = 0; round < 3; ++round) {
    std::array<std::size_t, kValues> begins{};
    const auto valueOf = [&](const Code& code) {
      return code.code >> (round * kCodeBits) & (kValues - 1);
    };
    for (const Code& code : codes)
      ++begins[valueOf(code)];
    exclusivePrefixSum(std::span<std::size_t>(begins));
    for (const Code& code : codes)
      room[begins[valueOf(code)]++] = code;
    codes.swap(room);
  }
  MxArray<std::uint32_t> order(points.size());
  for (std::size_t p = 0; p < points.size(); ++p)
    order[p] = codes[p].point;
  return order;
}

} // namespace

template <class T>
std::size_t probeMany(const MxCellLocator& locator, const MxCellsLeft& left,
                      const MxFieldValues<T>& field, bool parallel, std::span<const MbVec3d> points,
                      std::span<T> values)
{
  const std::size_t count = std::min(points.size(), values.size());
  if (count > 0xffffffffu) throw std::bad_alloc();
  points = points.first(count);
  // Grids of boxes are answered by arithmetic: there is little to keep near.
  MxArray<std::uint32_t> order;
  if (count >= kSortedCount && locator.axes().empty()) order = orderOf(points, parallel);
  std::vector<std::size_t> found(blockCount(count, kBlock));
  const auto probe = [&](std::size_t block, std::size_t first, std::size_t last) {
    MxCellCursor cursor(locator, left);
    // Groups of points are asked for in turns, so that memory answers for all of a group at once.
    std::array<std::size_t, 2 * kGroup> cells;
    for (std::size_t i = first; i < last; ++i) {
      if (!order.empty() && (i - first) % kGroup == 0) {
        std::size_t count = 0;
        for (std::size_t g = i; g < std::min(i + kGroup, last); ++g) {
          const MbVec3d& p = points[order[g]];
          locator.tree().findAt({p.x, p.y, p.z}, [&](std::size_t cell) {
            if (count < cells.size()) cells[count++] = cell;
            return false;
          });
        }
        for (std::size_t c = 0; c < count; ++c)
          locator.reader().prefetchNodes(cells[c]);
        for (std::size_t c = 0; c < count; ++c)
          locator.reader().prefetchPoints(cells[c]);
      }
      const std::size_t p = order.empty() ? i : order[i];
      values[p] = MxFieldValues<T>::nothing();
      if (!cursor.find(points[p])) continue;
      ++found[block];
      if (field.fits()) values[p] = field.at(cursor.cell(), cursor.nodes(), cursor.weights());
    }
  };
  forEachBlock(parallel, count, kBlock, probe);
  return std::accumulate(found.begin(), found.end(), std::size_t{0});
}

template std::size_t probeMany(const MxCellLocator&, const MxCellsLeft&,
                               const MxFieldValues<double>&, bool, std::span<const MbVec3d>,
                               std::span<double>);
template std::size_t probeMany(const MxCellLocator&, const MxCellsLeft&,
                               const MxFieldValues<MbVec3d>&, bool, std::span<const MbVec3d>,
                               std::span<MbVec3d>);
