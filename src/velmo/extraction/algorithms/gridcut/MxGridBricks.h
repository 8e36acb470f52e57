#pragma once

#include <velmo/extraction/algorithms/access/MxIjkGrid.h>

#include <array>
#include <cstdint>

/// Grids in bricks of 4 x 4 x 4 nodes, and of the cells and edges that begin at them: whatever is
/// asked of these is one word, bit i + 4 j + 16 k for the brick's own (i, j, k). Bricks stand in
/// groups of 4 x 4 x 4 again; a brick has the number 64 * group + its place in the group, so that a
/// group's bricks lie side by side and its set of bricks is a word too.
struct MxGridBricks
{
  static constexpr std::size_t kSide = 4;

  MxIjkNumbering nodes;
  MxIjkNumbering bricks, groups; ///< counts; the numbers of bricks go by groups, though

  MxGridBricks() = default;
  explicit MxGridBricks(const MbIndex3& nodeCounts)
      : nodes{nodeCounts}, bricks{fourths(nodeCounts)}, groups{fourths(bricks.counts)}
  {}

  /// Numbers of bricks lie below this; those that stand out of the grid belong to no brick.
  std::size_t room() const { return 64 * groups.total(); }
  std::size_t brick(const MbIndex3& at) const
  {
    return 64 * groups.flat(at.x / 4, at.y / 4, at.z / 4) + at.x % 4 + 4 * (at.y % 4) +
           16 * (at.z % 4);
  }
  /// The place of a group's brick among all bricks.
  static MbIndex3 brickAt(const MbIndex3& group, std::size_t place)
  {
    return {4 * group.x + place % 4, 4 * group.y + place / 4 % 4, 4 * group.z + place / 16};
  }
  /// The bricks of a group that stand in the grid.
  std::uint64_t bricksOf(const MbIndex3& group) const
  {
    return firstOf(bricks.counts, {4 * group.x, 4 * group.y, 4 * group.z});
  }

  /// The bits of a word that stand for places below `counts`, the word's first being `origin`.
  static std::uint64_t firstOf(const MbIndex3& counts, const MbIndex3& origin)
  {
    constexpr std::uint64_t kAlongI[5] = {0, 0x1111111111111111u, 0x3333333333333333u,
                                          0x7777777777777777u, ~std::uint64_t{0}};
    constexpr std::uint64_t kAlongJ[5] = {0, 0x000f000f000f000fu, 0x00ff00ff00ff00ffu,
                                          0x0fff0fff0fff0fffu, ~std::uint64_t{0}};
    constexpr std::uint64_t kAlongK[5] = {0, 0xffffu, 0xffffffffu, 0xffffffffffffu,
                                          ~std::uint64_t{0}};
    return kAlongI[inside(counts.x, origin.x)] & kAlongJ[inside(counts.y, origin.y)] &
           kAlongK[inside(counts.z, origin.z)];
  }

private:
  static MbIndex3 fourths(const MbIndex3& counts)
  {
    return {(counts.x + 3) / 4, (counts.y + 3) / 4, (counts.z + 3) / 4};
  }
  static std::size_t inside(std::size_t count, std::size_t first)
  {
    return first >= count ? 0 : count - first < 4 ? count - first : 4;
  }
};

/// A bit for each of 5 x 5 x 5 places: a brick's own and those after them.
struct MxBrickBits
{
  std::array<std::uint32_t, 5> layers{}; ///< bit i + 4 j of layer k, i below 4
  std::array<std::uint8_t, 5> columns{}; ///< bit j of layer k, i = 4

  void setRow(std::size_t j, std::size_t k, unsigned fiveBits)
  {
    layers[k] |= (fiveBits & 15u) << 4 * j;
    columns[k] = static_cast<std::uint8_t>(columns[k] | fiveBits >> 4 << j);
  }

  /// A word for each corner of a cell, in the order of kCornerSteps: bit n stands for the brick's
  /// place n moved by that corner's steps.
  std::array<std::uint64_t, 8> corners() const
  {
    // Four bits to the last of four places each.
    constexpr auto kSpread = [] {
      std::array<std::uint16_t, 16> spread{};
      for (unsigned bits = 0; bits < 16; ++bits)
        for (unsigned j = 0; j < 4; ++j)
          spread[bits] = static_cast<std::uint16_t>(spread[bits] | (bits >> j & 1u) << (4 * j + 3));
      return spread;
    }();
    std::array<std::array<std::uint64_t, 2>, 2> low{}, high{}; // of step k 0 and 1, by steps i, j
    for (std::size_t j = 0; j < 2; ++j) {
      std::uint64_t lastOwn = 0, lastMoved = 0;
      for (std::size_t k = 0; k < 5; ++k) {
        const std::uint64_t own = layers[k] >> 4 * j & 0xffffu;
        const std::uint64_t moved = (own >> 1 & 0x7777u) | kSpread[columns[k] >> j & 15u];
        if (k < 4) {
          low[0][j] |= own << 16 * k;
          low[1][j] |= moved << 16 * k;
        }
        lastOwn = own;
        lastMoved = moved;
      }
      high[0][j] = low[0][j] >> 16 | lastOwn << 48;
      high[1][j] = low[1][j] >> 16 | lastMoved << 48;
    }
    std::array<std::uint64_t, 8> words;
    for (std::size_t c = 0; c < 8; ++c) {
      const auto& step = kCornerSteps[c];
      words[c] = step[2] ? high[step[0]][step[1]] : low[step[0]][step[1]];
    }
    return words;
  }
};
