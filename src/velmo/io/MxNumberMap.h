#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

/// Finds numbers in a list: the nodes or elements of a file by the numbers that it gives them.
///
/// Costs nothing where the numbers follow each other, a table where they lie close together, and a
/// sorted list where they do not. *Threads*: finding is safe from several at once.
class MxNumberMap
{
public:
  MxNumberMap() = default;
  MxNumberMap(std::span<const std::int64_t> numbers, bool parallel);
  /// The list first, first + 1 ...
  static MxNumberMap consecutive(std::int64_t first, std::size_t count)
  {
    MxNumberMap map;
    map.m_lowest = first;
    map.m_range = count;
    return map;
  }

  /// The place of a number in the list, the first one where it stands twice; -1 when it is not
  /// there.
  std::int64_t find(std::int64_t number) const
  {
    if (m_sorted.empty()) {
      // In 64 bits without a sign, as a number may be anything.
      const auto place = static_cast<std::uint64_t>(number) - static_cast<std::uint64_t>(m_lowest);
      if (place >= m_range) return -1;
      return m_table.empty() ? static_cast<std::int64_t>(place) : m_table[place];
    }
    return findSorted(number);
  }
  /// How often a number stands behind another place of its own.
  std::size_t getRepeatedCount() const { return m_repeated; }

private:
  std::int64_t findSorted(std::int64_t number) const;

  std::int64_t m_lowest = 0;
  std::uint64_t m_range = 0;
  std::vector<std::int64_t> m_table;
  std::vector<std::pair<std::int64_t, std::int64_t>> m_sorted;
  std::size_t m_repeated = 0;
};
