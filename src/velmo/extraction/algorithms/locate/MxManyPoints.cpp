#include <velmo/extraction/algorithms/locate/MxManyPoints.h>

#include <velmo/base/MxParallel.h>
#include <velmo/base/MxSort.h>

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
  MxArray<Code> codes(points.size());
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
  sortByNumber(parallel, codes, [](const Code& code) { return std::uint64_t{code.code}; });
  MxArray<std::uint32_t> order(points.size());
  for (std::size_t p = 0; p < points.size(); ++p)
    order[p] = codes[p].point;
  return order;
}

/// Probes a group of points in turns, so that memory answers for all of them at once: what a turn
/// reads was announced in the one before.
template <class T>
class GroupProbe
{
public:
  GroupProbe(const MxCellLocator& locator, const MxCellsLeft& left, const MxFieldValues<T>& field)
      : m_locator(locator), m_field(field), m_cursor(locator, left)
  {}

  /// @param group  numbers of points, kGroup at the most
  std::size_t run(std::span<const std::uint32_t> group, std::span<const MbVec3d> points,
                  std::span<T> values)
  {
    if (!m_locator.isGrid()) findCandidates(group, points);
    m_nodes.clear();
    m_weights.clear();
    std::size_t found = 0;
    for (std::size_t g = 0; g < group.size(); ++g) {
      const MbVec3d& point = points[group[g]];
      m_cells[g] = find(g, point) ? m_cursor.cell() : MxCellCursor::kNoCell;
      if (m_cursor.isFound()) {
        ++found;
        keepPlace();
      }
      m_ends[g] = m_nodes.size();
    }
    std::size_t begin = 0;
    for (std::size_t g = 0; g < group.size(); ++g) {
      const std::size_t size = m_ends[g] - begin;
      values[group[g]] = m_cells[g] == MxCellCursor::kNoCell || !m_field.fits()
                             ? MxFieldValues<T>::nothing()
                             : m_field.at(m_cells[g], m_nodes.span().subspan(begin, size),
                                          m_weights.span().subspan(begin, size));
      begin = m_ends[g];
    }
    return found;
  }

private:
  void findCandidates(std::span<const std::uint32_t> group, std::span<const MbVec3d> points)
  {
    m_candidates.clear();
    for (std::size_t g = 0; g < group.size(); ++g) {
      const MbVec3d& p = points[group[g]];
      m_locator.tree().findAt({p.x, p.y, p.z}, [&](std::size_t cell) {
        m_candidates.push_back(static_cast<std::uint32_t>(cell));
        m_locator.reader().prefetchNodes(cell);
        return false;
      });
      m_candidateEnds[g] = m_candidates.size();
    }
    for (const std::uint32_t cell : m_candidates)
      m_locator.reader().prefetchPoints(cell);
  }
  bool find(std::size_t g, const MbVec3d& point)
  {
    if (m_locator.isGrid()) return m_cursor.find(point);
    const std::size_t begin = g == 0 ? 0 : m_candidateEnds[g - 1];
    return m_cursor.findAmong(m_candidates.span().subspan(begin, m_candidateEnds[g] - begin),
                              point);
  }
  /// Where the cursor stands.
  void keepPlace()
  {
    if (m_field.isPerCell()) {
      m_field.prefetch(m_cursor.cell());
      return;
    }
    const std::span<const std::uint32_t> nodes = m_cursor.nodes();
    const std::span<const double> weights = m_cursor.weights();
    const std::size_t begin = m_nodes.size();
    m_nodes.resize(begin + nodes.size());
    m_weights.resize(begin + nodes.size());
    for (std::size_t n = 0; n < nodes.size(); ++n) {
      m_nodes[begin + n] = nodes[n];
      m_weights[begin + n] = weights[n];
      m_field.prefetch(nodes[n]);
    }
  }

  const MxCellLocator& m_locator;
  const MxFieldValues<T>& m_field;
  MxCellCursor m_cursor;
  // Of the points of a group, in their order.
  MxArray<std::uint32_t> m_candidates;
  std::array<std::size_t, kGroup> m_candidateEnds{};
  std::array<std::size_t, kGroup> m_cells{};
  std::array<std::size_t, kGroup> m_ends{}; ///< in the following two
  MxArray<std::uint32_t> m_nodes;
  MxArray<double> m_weights;
};

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
  if (count >= kSortedCount && !locator.isGrid()) order = orderOf(points, parallel);
  std::vector<std::size_t> found(blockCount(count, kBlock));
  forEachBlock(parallel, count, kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 GroupProbe<T> probe(locator, left, field);
                 std::array<std::uint32_t, kGroup> group;
                 for (std::size_t i = first; i < last; i += kGroup) {
                   const std::size_t size = std::min(kGroup, last - i);
                   for (std::size_t g = 0; g < size; ++g)
                     group[g] = order.empty() ? static_cast<std::uint32_t>(i + g) : order[i + g];
                   found[block] += probe.run(std::span(group).first(size), points, values);
                 }
               });
  return std::accumulate(found.begin(), found.end(), std::size_t{0});
}

template std::size_t probeMany(const MxCellLocator&, const MxCellsLeft&,
                               const MxFieldValues<double>&, bool, std::span<const MbVec3d>,
                               std::span<double>);
template std::size_t probeMany(const MxCellLocator&, const MxCellsLeft&,
                               const MxFieldValues<MbVec3d>&, bool, std::span<const MbVec3d>,
                               std::span<MbVec3d>);
