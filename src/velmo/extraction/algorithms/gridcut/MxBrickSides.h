#pragma once

#include <velmo/extraction/algorithms/gridcut/MxCutGrid.h>

#include <span>

/// On which side of a level the nodes of some bricks lie, of up to 16 groups of bricks in a row.
///
/// Nodes are read by rows along I, as far as a brick that may be cut has them: memory is read in
/// long pieces, where a brick by itself would touch a line of it here and there, and what bricks
/// share is looked at once.
class MxBrickSides
{
public:
  static constexpr std::size_t kGroups = 16;

  /// @param group       the first of the groups
  /// @param candidates  of each group, the bricks to read: no more than kGroups words
  void read(const MxGridLevel& level, const MxIjkNumbering& nodes, const MbIndex3& group,
            std::span<const std::uint64_t> candidates);
  /// The sides of the nodes of a brick that was read: the one at `place` of group `number`.
  /// @return false when a node may lie on the level; the bits are not valid then
  bool get(std::size_t number, std::size_t place, MxBrickBits& below) const;

private:
  static constexpr std::size_t kBricks = 4 * kGroups, kRows = 17;
  /// Bytes of a brick and a layer: a row of nodes each, and room to read eight from the last
  /// brick's first.
  static constexpr std::size_t kStride = 20;

  /// The nodes of `count` bricks from `brick` on in row (j, k).
  struct Run
  {
    std::uint8_t brick, count, j, k;
  };

  void listRuns(std::span<const std::uint64_t> candidates);

  // Kept in place: a sweep makes one of these for each task.
  std::array<Run, kRows * kRows * kBricks / 2> m_runs;
  std::size_t m_runCount = 0;
  std::array<std::uint8_t, kRows * kBricks * kStride> m_bytes;
};
