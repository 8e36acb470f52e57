#pragma once

#include <velmo/base/MbValueVector.h>
#include <velmo/base/MxBoxTree.h>

#include <bit>
#include <functional>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// A bounding-volume tree made for one question: which of many boxes hold a point.
///
/// A node has up to 16 children, whose boxes stand in it as bytes between the sides of the node's
/// own box: 128 bytes are read to test 16 boxes at once, and a million items make a tree of five
/// levels and about 9 MB. It is built from the top: large sets are put into 16 bins between their
/// bounds, small ones halved at their median; the cells of a grid stay together as they are
/// numbered. Boxes are widened by rounding, never narrowed: an item may be reported that is missed
/// by a hair, none is left out.
///
/// *Threads*: building is parallel where it is allowed and gives the same tree for any number of
/// threads; any number may ask at the same time.
class MxPointTree
{
public:
  static constexpr std::size_t kWidth = 16;

  /// @param count  below 2^32
  /// @param boxOf  boxOf(item) answers the MxBox3d of an item, for several items at a time; items
  ///               with empty boxes or such that are not finite are left out
  /// @throw std::bad_alloc  and the tree is empty
  template <class BoxOf>
  void build(bool parallel, std::size_t count, const BoxOf& boxOf)
  {
    clear();
    m_boxes.resizeUninitialized(count);
    chooseOrigin(count, boxOf);
    forEachBlock(parallel, count, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
      for (std::size_t item = first; item < last; ++item)
        m_boxes[item] = toLocal(boxOf(item));
    });
    finish(parallel);
  }

  /// Answers the boxes of `count` items of one row, `item` being the first.
  using BoxesOf = std::function<void(std::size_t item, std::size_t count, MxBox3d* boxes)>;
  /// The same for the items i + counts[0] * (j + counts[1] * k) of a grid, whose neighbours by
  /// number are taken for neighbours in space: nothing is sorted.
  /// @param counts   their product is below 2^32
  /// @param boxesOf  for several rows at a time
  void buildGrid(bool parallel, const std::array<std::size_t, 3>& counts, const BoxesOf& boxesOf);

  void clear();
  bool empty() const { return m_nodes.empty(); }
  /// Items that can be found.
  std::size_t size() const { return m_count; }
  /// Bytes that the tree holds.
  std::size_t byteCount() const { return m_nodes.size() * sizeof(Node) + 4 * m_items.size(); }
  /// All boxes together.
  MxBox3d bounds() const;

  /// Calls visit(item) for the items whose boxes hold the point, in an order that depends on the
  /// tree alone, until one call answers true. @return whether one did
  template <class Visit>
  bool findAt(const std::array<double, 3>& point, const Visit& visit) const
  {
    if (m_nodes.empty()) return false;
    const double p[3] = {point[0] - m_origin[0], point[1] - m_origin[1], point[2] - m_origin[2]};
    std::array<std::uint32_t, kMostWaiting> waiting;
    std::size_t depth = 0;
    waiting[depth++] = 0;
    while (depth > 0) {
      const Node& node = m_nodes[waiting[--depth]];
      std::uint32_t hits = node.childrenAt(p);
      for (; hits; hits &= hits - 1) {
        const std::uint32_t child = node.first + static_cast<std::uint32_t>(std::countr_zero(hits));
        if (!node.isLeaf)
          waiting[depth++] = child;
        else if (visit(static_cast<std::size_t>(m_items[child])))
          return true;
      }
    }
    return false;
  }

private:
  static constexpr std::size_t kBlock = 8192;
  // A set that its bins do not divide well is halved instead, so that no child has more than 3/4
  // of its parent's items: 32-bit numbers are used up after 78 levels at the most.
  static constexpr std::size_t kMostWaiting = 80 * kWidth;

  struct alignas(64) Node
  {
    float origin[3];
    float scale[3];
    std::uint32_t first; ///< the first child, or the first entry of the list of items
    std::uint8_t count;
    bool isLeaf;
    std::uint8_t low[3][kWidth], high[3][kWidth];

    // The same for boxes and points, and rising with its argument: what a box holds stays within
    // its bytes.
    static double stepOf(double value, float origin, float scale)
    {
      return (value - static_cast<double>(origin)) * static_cast<double>(scale);
    }
    /// A bit for each child whose box may hold the point.
    std::uint32_t childrenAt(const double (&p)[3]) const
    {
      std::uint8_t at[3];
      for (int a = 0; a < 3; ++a) {
        const double step = stepOf(p[a], origin[a], scale[a]);
        if (!(step >= 0 && step < 256)) return 0;
        at[a] = static_cast<std::uint8_t>(step);
      }
      const std::uint32_t all = (1u << count) - 1u;
#if defined(__SSE2__)
      __m128i hold = _mm_set1_epi8(-1);
      for (int a = 0; a < 3; ++a) {
        const __m128i p8 = _mm_set1_epi8(static_cast<char>(at[a]));
        const __m128i l = _mm_loadu_si128(reinterpret_cast<const __m128i*>(low[a]));
        const __m128i h = _mm_loadu_si128(reinterpret_cast<const __m128i*>(high[a]));
        hold = _mm_and_si128(hold, _mm_and_si128(_mm_cmpeq_epi8(_mm_max_epu8(p8, l), p8),
                                                 _mm_cmpeq_epi8(_mm_min_epu8(p8, h), p8)));
      }
      return static_cast<std::uint32_t>(_mm_movemask_epi8(hold)) & all;
#else
      std::uint32_t hits = 0;
      for (std::uint32_t c = 0; c < kWidth; ++c) {
        bool holds = true;
        for (int a = 0; a < 3; ++a)
          holds = holds && low[a][c] <= at[a] && at[a] <= high[a][c];
        hits |= static_cast<std::uint32_t>(holds) << c;
      }
      return hits & all;
#endif
    }
  };

  /// An item while the tree is built.
  struct Entry
  {
    float centre[3];
    std::uint32_t item;
  };
  struct Subtree;
  class GridBuilder;

  template <class BoxOf>
  void chooseOrigin(std::size_t count, const BoxOf& boxOf)
  {
    for (std::size_t item = 0; item < count; ++item) {
      const MxBox3d box = boxOf(item);
      bool finite = !box.isEmpty();
      for (int a = 0; a < 3; ++a)
        finite = finite && std::isfinite(box.min[a]) && std::isfinite(box.max[a]);
      if (!finite) continue;
      m_origin = box.min;
      return;
    }
  }
  /// Children whose boxes are empty are never found.
  static void fillNode(Node& node, std::span<const MxBox3f> children, std::uint32_t first,
                       bool isLeaf);
  MxBox3f toLocal(const MxBox3d& box) const;
  void finish(bool parallel);

  std::array<double, 3> m_origin{};
  MxArray<MxBox3f> m_boxes; // while building, by item
  MxBox3f m_bounds = MxBox3f::empty();
  std::vector<Node, MbUnwritten<Node>> m_nodes; // on cache lines, unlike MxArray
  MxArray<std::uint32_t> m_items;
  std::size_t m_count = 0;
};
