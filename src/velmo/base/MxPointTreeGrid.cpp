#include <velmo/base/MxPointTree.h>

namespace {

using Triple = std::array<std::size_t, 3>;

/// A level of the tree: blocks of what stands on the level below, all alike but for those at the
/// ends of the grid.
struct Level
{
  Triple sides;  ///< along I, J and K; their product is kWidth at the most
  Triple counts; ///< blocks
};

/// From the leaves up to the root. Sides are doubled where a block is shortest by then, in the
/// numbers of the grid: blocks are near cubes.
std::vector<Level> makeLevels(const Triple& counts)
{
  std::vector<Level> levels;
  Triple left = counts, extent{1, 1, 1};
  do {
    Triple sides{1, 1, 1};
    for (std::size_t room = MxPointTree::kWidth; room > 1; room /= 2) {
      std::size_t shortest = 3;
      for (std::size_t a = 0; a < 3; ++a)
        if (left[a] > sides[a] &&
            (shortest == 3 || extent[a] * sides[a] < extent[shortest] * sides[shortest]))
          shortest = a;
      if (shortest == 3) break;
      sides[shortest] *= 2;
    }
    for (std::size_t a = 0; a < 3; ++a) {
      left[a] = blockCount(left[a], sides[a]);
      extent[a] *= sides[a];
    }
    levels.push_back({sides, left});
  } while (left != Triple{1, 1, 1});
  return levels;
}

std::size_t product(const Triple& t)
{
  return t[0] * t[1] * t[2];
}

} // namespace

/// Makes the nodes of a grid's tree, each before what hangs below it.
class MxPointTree::GridBuilder
{
public:
  GridBuilder(MxPointTree& tree, const Triple& counts, const BoxesOf& boxesOf)
      : m_tree(tree), m_counts(counts), m_boxesOf(boxesOf), m_levels(makeLevels(counts))
  {}

  /// @return the box of all items
  MxBox3f build(bool parallel)
  {
    const std::size_t top = m_levels.size() - 1;
    // What hangs below a node of this level is a task of its own.
    constexpr std::size_t kTasks = 64;
    std::size_t level = top;
    while (level > 1 && product(m_levels[level].counts) < kTasks)
      --level;

    // First the nodes from there up are counted, and where all others stand is found.
    struct Task
    {
      Triple at;
      std::uint32_t node;
      Cursor begin;
      MxBox3f box;
      std::size_t count;
    };
    std::vector<Task> tasks;
    Cursor above{1, 0, 0};
    std::size_t nodeCount = 0, itemCount = 0;
    m_tree.m_nodes.resize(countAbove(level));
    make(top, {}, 0, above, level, [&](const Triple& at, std::uint32_t node) {
      tasks.push_back({at, node, {nodeCount, itemCount, 0}, MxBox3f::empty(), 0});
      nodeCount += countBelow(level, at);
      itemCount += itemsBelow(level, at);
      return MxBox3f::empty();
    });
    const std::size_t first = m_tree.m_nodes.size();
    m_tree.m_nodes.resize(first + nodeCount);
    m_tree.m_items.resizeUninitialized(itemCount);

    forEachTask(parallel, tasks.size(), [&](std::size_t number) {
      Task& task = tasks[number];
      Cursor cursor = task.begin;
      cursor.node += first;
      task.box = make(level, task.at, task.node, cursor, kNever,
                      [](const Triple&, std::uint32_t) { return MxBox3f::empty(); });
      task.count = cursor.found;
    });
    for (const Task& task : tasks)
      m_tree.m_count += task.count;
    // Now with the boxes of their children.
    above = {1, 0, 0};
    std::size_t next = 0;
    return make(top, {}, 0, above, level,
                [&](const Triple&, std::uint32_t) { return tasks[next++].box; });
  }

private:
  static constexpr std::size_t kNever = static_cast<std::size_t>(-1);

  /// The next node and item to be made; items that were found to have boxes.
  struct Cursor
  {
    std::size_t node, item, found;
  };

  /// Nodes of a level and all above it.
  std::size_t countAbove(std::size_t level) const
  {
    std::size_t count = 0;
    for (; level < m_levels.size(); ++level)
      count += product(m_levels[level].counts);
    return count;
  }
  /// Calls visit(parts) with the parts of a node on all levels below its own: the nodes of these,
  /// at last the items.
  template <class Visit>
  void forEachLevelBelow(std::size_t level, Triple at, const Visit& visit) const
  {
    Triple end{at[0] + 1, at[1] + 1, at[2] + 1};
    for (std::size_t l = level + 1; l-- > 0;) {
      const Triple& counts = l == 0 ? m_counts : m_levels[l - 1].counts;
      for (std::size_t a = 0; a < 3; ++a) {
        at[a] *= m_levels[l].sides[a];
        end[a] = std::min(end[a] * m_levels[l].sides[a], counts[a]);
      }
      visit(l, (end[0] - at[0]) * (end[1] - at[1]) * (end[2] - at[2]));
    }
  }
  std::size_t countBelow(std::size_t level, const Triple& at) const
  {
    std::size_t count = 0;
    forEachLevelBelow(level, at, [&](std::size_t l, std::size_t parts) { count += l ? parts : 0; });
    return count;
  }
  std::size_t itemsBelow(std::size_t level, const Triple& at) const
  {
    std::size_t count = 0;
    forEachLevelBelow(level, at, [&](std::size_t l, std::size_t parts) { count = l ? 0 : parts; });
    return count;
  }

  /// Makes a node and what hangs below it; a node of level `stop` is answered by atStop(at, node)
  /// instead. @return its box
  template <class AtStop>
  MxBox3f make(std::size_t level, const Triple& at, std::uint32_t node, Cursor& cursor,
               std::size_t stop, const AtStop& atStop)
  {
    if (level == stop) return atStop(at, node);
    if (level == 0) return makeLeaf(at, node, cursor);
    if (level == 1) MxPoll::ask();
    const Level& own = m_levels[level];
    Triple begin, end;
    for (std::size_t a = 0; a < 3; ++a) {
      begin[a] = at[a] * own.sides[a];
      end[a] = std::min(begin[a] + own.sides[a], m_levels[level - 1].counts[a]);
    }
    const auto first = static_cast<std::uint32_t>(cursor.node);
    cursor.node += (end[0] - begin[0]) * (end[1] - begin[1]) * (end[2] - begin[2]);
    std::array<MxBox3f, kWidth> children;
    std::uint32_t count = 0;
    MxBox3f whole = MxBox3f::empty();
    for (std::size_t k = begin[2]; k < end[2]; ++k)
      for (std::size_t j = begin[1]; j < end[1]; ++j)
        for (std::size_t i = begin[0]; i < end[0]; ++i) {
          children[count] = make(level - 1, {i, j, k}, first + count, cursor, stop, atStop);
          whole.extend(children[count++]);
        }
    fillNode(m_tree.m_nodes[node], std::span(children).first(count), first, false);
    return whole;
  }

  MxBox3f makeLeaf(const Triple& at, std::uint32_t node, Cursor& cursor)
  {
    const Triple& sides = m_levels[0].sides;
    const Triple begin{at[0] * sides[0], at[1] * sides[1], at[2] * sides[2]};
    const std::size_t length = std::min(sides[0], m_counts[0] - begin[0]);
    const auto first = static_cast<std::uint32_t>(cursor.item);
    std::array<MxBox3f, kWidth> children;
    std::array<MxBox3d, kWidth> row;
    std::size_t count = 0;
    MxBox3f whole = MxBox3f::empty();
    for (std::size_t k = begin[2]; k < std::min(begin[2] + sides[2], m_counts[2]); ++k)
      for (std::size_t j = begin[1]; j < std::min(begin[1] + sides[1], m_counts[1]); ++j) {
        const std::size_t item = begin[0] + m_counts[0] * (j + m_counts[1] * k);
        m_boxesOf(item, length, row.data());
        for (std::size_t n = 0; n < length; ++n) {
          const MxBox3f box = m_tree.toLocal(row[n]);
          if (!(box.min[0] <= box.max[0])) continue;
          children[count++] = box;
          whole.extend(box);
          m_tree.m_items[cursor.item++] = static_cast<std::uint32_t>(item + n);
        }
      }
    cursor.found += count;
    fillNode(m_tree.m_nodes[node], std::span(children).first(count), first, true);
    return whole;
  }

  MxPointTree& m_tree;
  const Triple m_counts;
  const BoxesOf& m_boxesOf;
  const std::vector<Level> m_levels;
};

void MxPointTree::buildGrid(bool parallel, const std::array<std::size_t, 3>& counts,
                            const BoxesOf& boxesOf)
{
  clear();
  const std::size_t count = product(counts);
  if (count == 0) return;
  chooseOrigin(count, [&](std::size_t item) {
    MxBox3d box;
    boxesOf(item, 1, &box);
    return box;
  });
  try {
    m_bounds = GridBuilder(*this, counts, boxesOf).build(parallel && count >= kParallelThreshold);
  } catch (...) {
    clear();
    throw;
  }
  if (m_count == 0) clear();
}
