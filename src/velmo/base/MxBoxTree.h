#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

/// An axis-aligned box. A box whose minimum is not below or at its maximum is empty and is never
/// found.
template <class T>
struct MxBoxOf
{
  std::array<T, 3> min;
  std::array<T, 3> max;

  static constexpr MxBoxOf empty()
  {
    constexpr T far = std::numeric_limits<T>::infinity();
    return {{far, far, far}, {-far, -far, -far}};
  }
  bool isEmpty() const { return !(min[0] <= max[0] && min[1] <= max[1] && min[2] <= max[2]); }
  void extend(const MxBoxOf& other)
  {
    for (int a = 0; a < 3; ++a) {
      min[a] = std::min(min[a], other.min[a]);
      max[a] = std::max(max[a], other.max[a]);
    }
  }
  template <class Point>
  void extendBy(const Point& p)
  {
    for (int a = 0; a < 3; ++a) {
      min[a] = std::min(min[a], static_cast<T>(p[a]));
      max[a] = std::max(max[a], static_cast<T>(p[a]));
    }
  }
};

using MxBox3d = MxBoxOf<double>;
using MxBox3f = MxBoxOf<float>;

/// A bounding-volume tree over numbered items: finds those whose boxes a line, a point or a box
/// meets.
///
/// The items are put in the order of a space-filling curve, runs of kWidth of them become leaves,
/// runs of kWidth leaves their parents, and so on; nothing but the boxes and the order is stored
/// (about 14 bytes an item). Boxes are kept in single precision about the centre of all, rounded
/// outwards: an item may be reported that is missed by a hair, none is left out.
///
/// *Threads*: building is parallel and gives the same tree for any number of threads; queries may
/// run at the same time. Memory that runs out throws std::bad_alloc and leaves the tree empty.
class MxBoxTree
{
public:
  static constexpr std::size_t kWidth = 4;

  /// @param boxOf  boxOf(item) answers the MxBox3d of an item, for several items at a time; items
  ///               with empty boxes or such that are not finite are never found
  template <class BoxOf>
  void build(std::size_t count, const BoxOf& boxOf)
  {
    clear();
    const std::vector<MxBox3d> parts = boundsOfBlocks(count, boxOf);
    MxBox3d bounds = MxBox3d::empty();
    for (const MxBox3d& part : parts)
      bounds.extend(part);
    prepare(count, bounds);
    forEachBlock(true, count, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
      for (std::size_t i = first; i < last; ++i)
        setCode(i, boxOf(i));
    });
    sortCodes();
    fitLeaves(boxOf);
  }

  /// Takes over new boxes of the same items; fast, but the tree searches best when they have not
  /// moved far from where they were built.
  template <class BoxOf>
  void refit(const BoxOf& boxOf)
  {
    fitLeaves(boxOf);
  }

  void clear();
  std::size_t size() const { return m_order.size(); }

  /// Calls visit(item) for the items whose boxes the line through `origin` along `direction` meets,
  /// ahead and behind, in no particular order.
  template <class Visit>
  void forEachOnLine(const std::array<double, 3>& origin, const std::array<double, 3>& direction,
                     const Visit& visit) const
  {
    std::array<double, 3> from;
    for (int a = 0; a < 3; ++a)
      from[a] = origin[a] - m_origin[a];
    traverse([&](const MxBox3f& box) { return meetsLine(box, from, direction); }, visit);
  }

  /// Calls visit(item) for the items whose boxes overlap or touch this one, in no particular order.
  template <class Visit>
  void forEachIn(const MxBox3d& region, const Visit& visit) const
  {
    if (region.isEmpty()) return;
    const MxBox3f local = toLocal(region);
    traverse(
        [&](const MxBox3f& box) {
          return box.min[0] <= local.max[0] && local.min[0] <= box.max[0] &&
                 box.min[1] <= local.max[1] && local.min[1] <= box.max[1] &&
                 box.min[2] <= local.max[2] && local.min[2] <= box.max[2];
        },
        visit);
  }

  /// Calls visit(item) for the items whose boxes hold the point, in no particular order.
  template <class Visit>
  void forEachAt(const std::array<double, 3>& point, const Visit& visit) const
  {
    forEachIn(MxBox3d{point, point}, visit);
  }

  /// Calls visit(item) for the items in those boxes for which meets(MxBox3d) is true, in no
  /// particular order; a box that holds others is asked before them.
  template <class Meets, class Visit>
  void forEachMeeting(const Meets& meets, const Visit& visit) const
  {
    traverse(
        [&](const MxBox3f& box) {
          if (box.isEmpty()) return false;
          MxBox3d moved;
          for (int a = 0; a < 3; ++a) {
            moved.min[a] = m_origin[a] + box.min[a];
            moved.max[a] = m_origin[a] + box.max[a];
          }
          return meets(moved);
        },
        visit);
  }

private:
  static constexpr std::size_t kBlock = 16384;
  struct Code
  {
    std::uint64_t code;
    std::uint32_t item;
    bool operator<(const Code& other) const
    {
      return code != other.code ? code < other.code : item < other.item;
    }
  };

  template <class BoxOf>
  static std::vector<MxBox3d> boundsOfBlocks(std::size_t count, const BoxOf& boxOf)
  {
    std::vector<MxBox3d> parts(blockCount(count, kBlock), MxBox3d::empty());
    forEachBlock(true, count, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
      for (std::size_t i = first; i < last; ++i) {
        const MxBox3d box = boxOf(i);
        if (isUsable(box)) parts[block].extend(box);
      }
    });
    return parts;
  }

  template <class BoxOf>
  void fitLeaves(const BoxOf& boxOf)
  {
    if (m_levels.empty()) return;
    MxArray<MxBox3f>& leaves = m_levels.front();
    forEachBlock(true, leaves.size(), kBlock / kWidth,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t leaf = first; leaf < last; ++leaf) {
                     MxBox3d box = MxBox3d::empty();
                     const std::size_t end = std::min(m_order.size(), (leaf + 1) * kWidth);
                     for (std::size_t i = leaf * kWidth; i < end; ++i) {
                       const MxBox3d item = boxOf(m_order[i]);
                       if (isUsable(item)) box.extend(item);
                     }
                     leaves[leaf] = box.isEmpty() ? MxBox3f::empty() : toLocal(box);
                   }
                 });
    fitParents();
  }

  // The nodes of a level are numbered like those of a complete tree: the children of node n are
  // the nodes kWidth * n ... of the level below, the items of leaf n likewise.
  template <class Meets, class Visit>
  void traverse(const Meets& meets, const Visit& visit) const
  {
    if (m_levels.empty()) return;
    struct Entry
    {
      std::uint32_t level, node;
    };
    // Each level on the way down leaves at most kWidth - 1 entries behind, and 32-bit numbers give
    // at most 16 levels.
    std::array<Entry, 16 * kWidth> stack;
    std::size_t depth = 0;
    stack[depth++] = {static_cast<std::uint32_t>(m_levels.size() - 1), 0};
    while (depth > 0) {
      const Entry entry = stack[--depth];
      if (!meets(m_levels[entry.level][entry.node])) continue;
      const std::size_t first = entry.node * kWidth;
      const std::size_t below =
          entry.level == 0 ? m_order.size() : m_levels[entry.level - 1].size();
      const std::size_t last = std::min(first + kWidth, below);
      for (std::size_t child = last; child-- > first;) {
        if (entry.level == 0)
          visit(static_cast<std::size_t>(m_order[child]));
        else
          stack[depth++] = {entry.level - 1, static_cast<std::uint32_t>(child)};
      }
    }
  }

  static bool isUsable(const MxBox3d& box)
  {
    bool finite = true;
    for (int a = 0; a < 3; ++a)
      finite = finite && std::isfinite(box.min[a]) && std::isfinite(box.max[a]);
    return finite && !box.isEmpty();
  }
  static bool meetsLine(const MxBox3f& box, const std::array<double, 3>& from,
                        const std::array<double, 3>& direction);
  MxBox3f toLocal(const MxBox3d& box) const;
  void prepare(std::size_t count, const MxBox3d& bounds);
  void setCode(std::size_t item, const MxBox3d& box);
  void sortCodes();
  void fitParents();

  std::array<double, 3> m_origin{};
  std::array<double, 3> m_scale{};
  MxArray<Code> m_codes; // while building
  MxArray<std::uint32_t> m_order;
  std::vector<MxArray<MxBox3f>> m_levels; // leaves first, the last one is the root
};
