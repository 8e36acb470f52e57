#include <velmo/base/MxPointTree.h>

#include <algorithm>

namespace {

constexpr std::size_t kBins = MxPointTree::kWidth;
// Sets up to this size are halved at their medians, which makes full leaves; larger ones go into
// bins, which is faster.
constexpr std::size_t kMedianCount = 8192;

/// Which of the 16 bins between `low` and `high` a centre lies in: four halvings, each of the side
/// that is longest by then.
class Bins
{
public:
  Bins(const MxBox3f& bounds)
  {
    float size[3];
    for (int a = 0; a < 3; ++a) {
      m_low[a] = bounds.min[a];
      size[a] = bounds.max[a] - bounds.min[a];
    }
    for (int halving = 0; halving < 4; ++halving) {
      int longest = 0;
      for (int a = 1; a < 3; ++a)
        if (size[a] > size[longest]) longest = a;
      size[longest] *= 0.5f;
      m_count[longest] *= 2;
    }
    for (int a = 0; a < 3; ++a) {
      const float extent = bounds.max[a] - bounds.min[a];
      m_scale[a] = extent > 0 ? static_cast<float>(m_count[a]) / extent : 0;
      if (!std::isfinite(m_scale[a])) m_scale[a] = 0;
    }
  }
  std::size_t of(const float (&centre)[3]) const
  {
    int at[3];
    for (int a = 0; a < 3; ++a)
      at[a] = std::min(static_cast<int>((centre[a] - m_low[a]) * m_scale[a]), m_count[a] - 1);
    return static_cast<std::size_t>(at[0] + m_count[0] * (at[1] + m_count[1] * at[2]));
  }

private:
  float m_low[3], m_scale[3];
  int m_count[3] = {1, 1, 1};
};

template <class Entry>
MxBox3f centreBounds(std::span<const Entry> entries)
{
  MxBox3f box = MxBox3f::empty();
  for (const Entry& entry : entries)
    box.extendBy(entry.centre);
  return box;
}

int longestSide(const MxBox3f& box)
{
  int longest = 0;
  for (int a = 1; a < 3; ++a)
    if (box.max[a] - box.min[a] > box.max[longest] - box.min[longest]) longest = a;
  return longest;
}

/// Parts of a set: 16 at the most, [begins[p], begins[p + 1]) each.
struct Parts
{
  std::array<std::size_t, kBins + 1> begins{};
  std::size_t count = 0;

  void add(std::size_t size)
  {
    if (size == 0) return;
    begins[count + 1] = begins[count] + size;
    ++count;
  }
};

/// Brings the `left` entries with the smallest coordinates along an axis to the front, as
/// std::nth_element would, but by counting: entries move once, and only those that share a step of
/// the coordinate with the border between the two are compared.
template <class Entry>
void select(std::span<Entry> entries, std::size_t left, int axis, const MxBox3f& bounds,
            MxArray<Entry>& room)
{
  const auto less = [axis](const Entry& a, const Entry& b) {
    const float x = a.centre[axis], y = b.centre[axis];
    return x != y ? x < y : a.item < b.item;
  };
  const std::size_t steps = entries.size() < 1024 ? 32 : 256;
  const float low = bounds.min[axis];
  const float scale = static_cast<float>(steps - 1) / (bounds.max[axis] - low);
  if (entries.size() < 2 * kBins || !std::isfinite(scale)) {
    std::nth_element(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(left),
                     entries.end(), less);
    return;
  }
  const auto stepOf = [&](const Entry& entry) {
    return static_cast<std::size_t>(static_cast<int>((entry.centre[axis] - low) * scale));
  };
  std::array<std::uint32_t, 256> counts{};
  for (const Entry& entry : entries)
    ++counts[stepOf(entry)];
  std::size_t border = 0, below = 0;
  while (below + counts[border] <= left)
    below += counts[border++];
  // Three runs: below the border's step, in it, above it.
  room.resizeUninitialized(entries.size());
  std::size_t to[3] = {0, below, below + counts[border]};
  for (const Entry& entry : entries) {
    const std::size_t step = stepOf(entry);
    room[to[(step >= border) + (step > border)]++] = entry;
  }
  std::copy(room.begin(), room.begin() + entries.size(), entries.begin());
  const auto first = entries.begin() + static_cast<std::ptrdiff_t>(below);
  std::nth_element(first, entries.begin() + static_cast<std::ptrdiff_t>(left),
                   first + static_cast<std::ptrdiff_t>(counts[border]), less);
}

/// Divides a set into parts of `capacity` entries, the last of which may have fewer, by halving it
/// at the median of its longest side.
template <class Entry>
void halve(std::span<Entry> entries, std::size_t capacity, MxArray<Entry>& room, Parts& parts)
{
  const std::size_t count = blockCount(entries.size(), capacity);
  if (entries.size() >= kMedianCount) MxPoll::ask();
  if (count <= 1) {
    parts.add(entries.size());
    return;
  }
  const MxBox3f bounds = centreBounds(std::span<const Entry>(entries));
  const std::size_t left = count / 2 * capacity;
  select(entries, left, longestSide(bounds), bounds, room);
  halve(entries.first(left), capacity, room, parts);
  halve(entries.subspan(left), capacity, room, parts);
}

/// Puts a set into its bins, keeping the order within each; false, and nothing moved, when they
/// divide it badly.
template <class Entry>
bool bin(bool parallel, std::span<Entry> entries, MxArray<Entry>& room, Parts& parts)
{
  constexpr std::size_t kBlock = 16384;
  const std::size_t blocks = blockCount(entries.size(), kBlock);
  std::vector<MxBox3f> bounds(blocks);
  forEachBlock(parallel, entries.size(), kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 bounds[block] =
                     centreBounds(std::span<const Entry>(entries).subspan(first, last - first));
               });
  MxBox3f whole = MxBox3f::empty();
  for (const MxBox3f& box : bounds)
    whole.extend(box);
  const Bins bins(whole);
  std::vector<std::array<std::size_t, kBins>> begins(blocks);
  forEachBlock(parallel, entries.size(), kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 std::array<std::size_t, kBins> counts{};
                 for (std::size_t i = first; i < last; ++i)
                   ++counts[bins.of(entries[i].centre)];
                 begins[block] = counts;
               });
  std::array<std::size_t, kBins> totals{};
  for (const auto& counts : begins)
    for (std::size_t b = 0; b < kBins; ++b)
      totals[b] += counts[b];
  if (*std::max_element(totals.begin(), totals.end()) > entries.size() / 4 * 3) return false;
  std::size_t at = 0;
  for (std::size_t b = 0; b < kBins; ++b) {
    parts.add(totals[b]);
    for (auto& counts : begins) {
      const std::size_t own = counts[b];
      counts[b] = at;
      at += own;
    }
  }
  room.resizeUninitialized(entries.size());
  forEachBlock(parallel, entries.size(), kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 std::array<std::size_t, kBins> to = begins[block];
                 for (std::size_t i = first; i < last; ++i)
                   room[to[bins.of(entries[i].centre)]++] = entries[i];
               });
  forEachBlock(parallel, entries.size(), kBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 std::copy(room.begin() + first, room.begin() + last,
                           entries.begin() + static_cast<std::ptrdiff_t>(first));
               });
  return true;
}

template <class Entry>
Parts divide(bool parallel, std::span<Entry> entries, MxArray<Entry>& room)
{
  Parts parts;
  if (entries.size() > kMedianCount && bin(parallel, entries, room, parts)) return parts;
  // Parts that are full to the last leaf.
  std::size_t capacity = kBins;
  while (capacity * kBins < entries.size())
    capacity *= kBins;
  halve(entries, capacity, room, parts);
  return parts;
}

} // namespace

void MxPointTree::fillNode(Node& node, std::span<const MxBox3f> children, std::uint32_t first,
                           bool isLeaf)
{
  MxBox3f whole = MxBox3f::empty();
  for (const MxBox3f& box : children)
    whole.extend(box);
  node.first = first;
  node.count = static_cast<std::uint8_t>(children.size());
  node.isLeaf = isLeaf;
  for (int a = 0; a < 3; ++a) {
    const float extent = whole.max[a] - whole.min[a];
    const float scale = 255.f / extent;
    node.origin[a] = whole.min[a];
    // Of a flat box only its own plane counts.
    node.scale[a] = extent > 0 && std::isfinite(scale) ? scale : 1e37f;
    const auto step = [&](float value) {
      return static_cast<std::uint8_t>(
          std::clamp(Node::stepOf(value, node.origin[a], node.scale[a]), 0.0, 255.0));
    };
    for (std::size_t c = 0; c < kWidth; ++c) {
      const bool isFound = c < children.size() && children[c].min[a] <= children[c].max[a];
      node.low[a][c] = isFound ? step(children[c].min[a]) : 1;
      node.high[a][c] = isFound ? step(children[c].max[a]) : 0;
    }
  }
}
/// The nodes above a run of entries, numbered from its own root.
struct MxPointTree::Subtree
{
  const MxArray<MxBox3f>& boxes;
  std::vector<Node> nodes;
  MxArray<Entry> room;

  MxBox3f makeLeaf(std::size_t node, std::span<const Entry> entries, std::size_t begin)
  {
    std::array<MxBox3f, kWidth> children;
    MxBox3f whole = MxBox3f::empty();
    for (std::size_t c = 0; c < entries.size(); ++c) {
      children[c] = boxes[entries[c].item];
      whole.extend(children[c]);
    }
    fillNode(nodes[node], std::span(children).first(entries.size()),
             static_cast<std::uint32_t>(begin), true);
    return whole;
  }
  /// @param begin  where the entries stand in the list of items
  MxBox3f make(std::size_t node, std::span<Entry> entries, std::size_t begin)
  {
    if (entries.size() <= kWidth) return makeLeaf(node, entries, begin);
    if (entries.size() >= 256) MxPoll::ask();
    const Parts parts = divide(false, entries, room);
    const std::size_t first = nodes.size();
    nodes.resize(first + parts.count);
    std::array<MxBox3f, kWidth> children;
    MxBox3f whole = MxBox3f::empty();
    for (std::size_t p = 0; p < parts.count; ++p) {
      children[p] =
          make(first + p, entries.subspan(parts.begins[p], parts.begins[p + 1] - parts.begins[p]),
               begin + parts.begins[p]);
      whole.extend(children[p]);
    }
    fillNode(nodes[node], std::span(children).first(parts.count), static_cast<std::uint32_t>(first),
             false);
    return whole;
  }
};

void MxPointTree::clear()
{
  m_boxes.release();
  m_nodes = {};
  m_items.release();
  m_count = 0;
  m_bounds = MxBox3f::empty();
  m_origin = {};
}

MxBox3d MxPointTree::bounds() const
{
  MxBox3d box = MxBox3d::empty();
  if (m_nodes.empty()) return box;
  for (int a = 0; a < 3; ++a) {
    box.min[a] = m_origin[a] + static_cast<double>(m_bounds.min[a]);
    box.max[a] = m_origin[a] + static_cast<double>(m_bounds.max[a]);
  }
  return box;
}

MxBox3f MxPointTree::toLocal(const MxBox3d& box) const
{
  constexpr float kStep = 2 * std::numeric_limits<float>::epsilon();
  MxBox3f local;
  bool usable = true;
  for (int a = 0; a < 3; ++a) {
    const float low = static_cast<float>(box.min[a] - m_origin[a]);
    const float high = static_cast<float>(box.max[a] - m_origin[a]);
    local.min[a] = low - std::abs(low) * kStep - std::numeric_limits<float>::min();
    local.max[a] = high + std::abs(high) * kStep + std::numeric_limits<float>::min();
    usable = usable && box.min[a] <= box.max[a] && std::isfinite(local.min[a]) &&
             std::isfinite(local.max[a]) && std::isfinite(local.max[a] - local.min[a]);
  }
  return usable ? local : MxBox3f::empty();
}

void MxPointTree::finish(bool parallel)
{
  // The items that can be found, in their order.
  const std::size_t all = m_boxes.size();
  std::vector<std::size_t> begins(blockCount(all, kBlock));
  const auto isFound = [&](std::size_t item) {
    return m_boxes[item].min[0] <= m_boxes[item].max[0];
  };
  forEachBlock(parallel, all, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
    for (std::size_t item = first; item < last; ++item)
      begins[block] += isFound(item);
  });
  const std::size_t count = exclusivePrefixSum(std::span(begins));
  MxArray<Entry> entries(count);
  std::vector<MxBox3f> bounds(begins.size(), MxBox3f::empty());
  forEachBlock(parallel, all, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
    std::size_t at = begins[block];
    for (std::size_t item = first; item < last; ++item) {
      if (!isFound(item)) continue;
      const MxBox3f& box = m_boxes[item];
      Entry& entry = entries[at++];
      for (int a = 0; a < 3; ++a)
        entry.centre[a] = box.min[a] + 0.5f * (box.max[a] - box.min[a]);
      entry.item = static_cast<std::uint32_t>(item);
      bounds[block].extend(box);
    }
  });
  for (const MxBox3f& box : bounds)
    m_bounds.extend(box);
  m_count = count;
  if (count == 0) {
    m_boxes.release();
    return;
  }

  // The root and its children are made here, what hangs below each child is a task of its own.
  const std::span<Entry> span = entries.span();
  MxArray<Entry> room;
  Parts parts;
  if (count > kWidth) parts = divide(parallel, span, room);
  room.release();
  std::vector<Subtree> subtrees;
  for (std::size_t p = 0; p < parts.count; ++p)
    subtrees.push_back({m_boxes, std::vector<Node>(1), {}});
  std::array<MxBox3f, kWidth> children;
  forEachTask(parallel && count >= kParallelThreshold, parts.count, [&](std::size_t p) {
    children[p] = subtrees[p].make(
        0, span.subspan(parts.begins[p], parts.begins[p + 1] - parts.begins[p]), parts.begins[p]);
  });

  // Roots of the subtrees stand together behind the root, the rest of each follows.
  std::vector<std::size_t> restBegins;
  std::size_t total = 1 + parts.count;
  for (const Subtree& subtree : subtrees) {
    restBegins.push_back(total);
    total += subtree.nodes.size() - 1;
  }
  m_nodes.resize(total);
  forEachTask(parallel, subtrees.size(), [&](std::size_t p) {
    const auto& nodes = subtrees[p].nodes;
    for (std::size_t n = 0; n < nodes.size(); ++n) {
      Node& to = m_nodes[n == 0 ? 1 + p : restBegins[p] + n - 1];
      to = nodes[n];
      if (!to.isLeaf) to.first = static_cast<std::uint32_t>(to.first - 1 + restBegins[p]);
    }
  });
  if (parts.count == 0) {
    Subtree single{m_boxes, std::vector<Node>(1), {}};
    single.makeLeaf(0, span, 0);
    m_nodes[0] = single.nodes[0];
  } else {
    fillNode(m_nodes[0], std::span(children).first(parts.count), 1, false);
  }
  m_items.resizeUninitialized(count);
  forEachBlock(parallel, count, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t i = first; i < last; ++i)
      m_items[i] = entries[i].item;
  });
  m_boxes.release();
}
