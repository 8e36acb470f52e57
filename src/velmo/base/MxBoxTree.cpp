#include <velmo/base/MxBoxTree.h>

#include <velmo/base/MxSort.h>

#include <new>

namespace {

constexpr double kCodeSteps = (1 << 21) - 1;

// Spreads the lower 21 bits so that two empty bits follow each.
std::uint64_t spread(std::uint64_t v)
{
  v &= 0x1fffff;
  v = (v | v << 32) & 0x1f00000000ffff;
  v = (v | v << 16) & 0x1f0000ff0000ff;
  v = (v | v << 8) & 0x100f00f00f00f00f;
  v = (v | v << 4) & 0x10c30c30c30c30c3;
  return (v | v << 2) & 0x1249249249249249;
}

float roundDown(double value)
{
  const float rounded = static_cast<float>(value);
  return rounded <= value ? rounded
                          : std::nextafter(rounded, -std::numeric_limits<float>::infinity());
}

float roundUp(double value)
{
  return -roundDown(-value);
}

} // namespace

void MxBoxTree::clear()
{
  m_codes.release();
  m_order.release();
  m_levels.clear();
}

void MxBoxTree::prepare(std::size_t count, const MxBox3d& bounds)
{
  if (count > std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
  for (int a = 0; a < 3; ++a) {
    m_origin[a] = bounds.isEmpty() ? 0 : bounds.min[a] + 0.5 * (bounds.max[a] - bounds.min[a]);
    const double extent = bounds.isEmpty() ? 0 : bounds.max[a] - bounds.min[a];
    m_scale[a] = extent > 0 ? kCodeSteps / extent : 0;
    if (!std::isfinite(m_scale[a])) m_scale[a] = 0;
  }
  m_codes.resizeUninitialized(count);
  m_order.resizeUninitialized(count);
  for (std::size_t size = count; size > 0;) {
    size = blockCount(size, kWidth);
    m_levels.emplace_back(size);
    if (size == 1) break;
  }
}

void MxBoxTree::setCode(std::size_t item, const MxBox3d& box)
{
  std::uint64_t code = 0;
  if (isUsable(box))
    for (int a = 0; a < 3; ++a) {
      const double offset = 0.5 * box.min[a] + 0.5 * box.max[a] - m_origin[a];
      const double step = std::clamp(offset * m_scale[a] + 0.5 * kCodeSteps, 0.0, kCodeSteps);
      code |= spread(static_cast<std::uint64_t>(step)) << a;
    }
  m_codes[item] = {code, static_cast<std::uint32_t>(item)};
}

void MxBoxTree::sortCodes()
{
  sortByNumber(true, m_codes, [](const Code& code) { return code.code; });
  forEachBlock(true, m_codes.size(), kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i)
      m_order[i] = m_codes[i].item;
  });
  m_codes.release();
}

void MxBoxTree::fitParents()
{
  for (std::size_t level = 1; level < m_levels.size(); ++level) {
    const MxArray<MxBox3f>& children = m_levels[level - 1];
    MxArray<MxBox3f>& parents = m_levels[level];
    forEachBlock(true, parents.size(), kBlock / kWidth,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t node = first; node < last; ++node) {
                     MxBox3f box = MxBox3f::empty();
                     const std::size_t end = std::min(children.size(), (node + 1) * kWidth);
                     for (std::size_t child = node * kWidth; child < end; ++child)
                       box.extend(children[child]);
                     parents[node] = box;
                   }
                 });
  }
}

MxBox3f MxBoxTree::toLocal(const MxBox3d& box) const
{
  MxBox3f local;
  for (int a = 0; a < 3; ++a) {
    local.min[a] = roundDown(box.min[a] - m_origin[a]);
    local.max[a] = roundUp(box.max[a] - m_origin[a]);
  }
  return local;
}

// Slabs, in double precision: float boxes about the centre are exact there. A slab widened by the
// rounding of the subtraction and the division keeps lines within the plane of a flat box.
bool MxBoxTree::meetsLine(const MxBox3f& box, const std::array<double, 3>& from,
                          const std::array<double, 3>& direction)
{
  double enter = -std::numeric_limits<double>::infinity();
  double leave = std::numeric_limits<double>::infinity();
  for (int a = 0; a < 3; ++a) {
    const double reach = std::max(std::abs(static_cast<double>(box.min[a])),
                                  std::abs(static_cast<double>(box.max[a])));
    const double slack = 1e-6 * (reach + std::abs(from[a])) + 1e-300;
    const double low = box.min[a] - slack - from[a];
    const double high = box.max[a] + slack - from[a];
    if (direction[a] == 0) {
      if (!(low <= 0 && high >= 0)) return false;
      continue;
    }
    const double one = low / direction[a];
    const double other = high / direction[a];
    enter = std::max(enter, std::min(one, other));
    leave = std::min(leave, std::max(one, other));
  }
  return enter <= leave && box.min[0] <= box.max[0];
}
