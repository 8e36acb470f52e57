#include <velmo/io/MxNumberMap.h>

#include <velmo/base/MxParallel.h>
#include <velmo/base/MxSort.h>
#include <velmo/io/MxFileArray.h>

#include <algorithm>

namespace {

struct Facts
{
  std::int64_t lowest = std::numeric_limits<std::int64_t>::max();
  std::int64_t highest = std::numeric_limits<std::int64_t>::min();
  bool consecutive = true;
};

Facts factsOf(std::span<const std::int64_t> numbers, bool parallel)
{
  std::vector<Facts> blocks(blockCount(numbers.size(), kFileBlock));
  const auto first = static_cast<std::uint64_t>(numbers[0]);
  forEachBlock(parallel, numbers.size(), kFileBlock,
               [&](std::size_t block, std::size_t begin, std::size_t end) {
                 Facts facts;
                 for (std::size_t i = begin; i < end; ++i) {
                   facts.lowest = std::min(facts.lowest, numbers[i]);
                   facts.highest = std::max(facts.highest, numbers[i]);
                   facts.consecutive &= static_cast<std::uint64_t>(numbers[i]) == first + i;
                 }
                 blocks[block] = facts;
               });
  Facts all;
  for (const Facts& facts : blocks) {
    all.lowest = std::min(all.lowest, facts.lowest);
    all.highest = std::max(all.highest, facts.highest);
    all.consecutive &= facts.consecutive;
  }
  return all;
}

} // namespace

MxNumberMap::MxNumberMap(std::span<const std::int64_t> numbers, bool parallel)
{
  if (numbers.empty()) return;
  const Facts facts = factsOf(numbers, parallel);
  m_lowest = facts.lowest;
  if (facts.consecutive && facts.lowest == numbers[0]) {
    m_range = numbers.size();
    return;
  }
  const auto last =
      static_cast<std::uint64_t>(facts.highest) - static_cast<std::uint64_t>(facts.lowest);
  if (last < 4 * numbers.size() + 1024) {
    m_range = last + 1;
    m_table.assign(m_range, -1);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      std::int64_t& place = m_table[static_cast<std::size_t>(
          static_cast<std::uint64_t>(numbers[i]) - static_cast<std::uint64_t>(m_lowest))];
      if (place < 0)
        place = static_cast<std::int64_t>(i);
      else
        ++m_repeated;
    }
    return;
  }
  m_sorted.resize(numbers.size());
  for (std::size_t i = 0; i < numbers.size(); ++i)
    m_sorted[i] = {numbers[i], static_cast<std::int64_t>(i)};
  // The sign bit turned over, negative numbers come first.
  sortByNumber(parallel, m_sorted, [](const auto& entry) {
    return static_cast<std::uint64_t>(entry.first) ^ std::uint64_t{1} << 63;
  });
  for (std::size_t i = 1; i < m_sorted.size(); ++i)
    m_repeated += m_sorted[i].first == m_sorted[i - 1].first;
}

std::int64_t MxNumberMap::findSorted(std::int64_t number) const
{
  const auto found = std::lower_bound(m_sorted.begin(), m_sorted.end(),
                                      std::pair(number, std::numeric_limits<std::int64_t>::min()));
  return found != m_sorted.end() && found->first == number ? found->second : -1;
}
