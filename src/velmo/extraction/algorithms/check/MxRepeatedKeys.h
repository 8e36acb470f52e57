#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxParallel.h>
#include <velmo/base/MxSort.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>
#include <vector>

/// A hash of what may repeat, and who has it.
struct MxOwnedKey
{
  std::uint64_t hash = 0, owner = 0;
};

/// A number whose bits depend on all bits of `x` (the finaliser of splitmix64).
constexpr std::uint64_t mxMixed(std::uint64_t x)
{
  x = (x ^ x >> 30) * 0xbf58476d1ce4e5b9u;
  x = (x ^ x >> 27) * 0x94d049bb133111ebu;
  return x ^ x >> 31;
}

/// The keys whose hash occurs `least` times or more, sorted by hash and owner, and perhaps some
/// others: hashes are counted in a table of bytes first, and only what that does not rule out is
/// gathered. Where nothing repeats next to nothing is held besides the table, of two to four bytes
/// a key and 512 MB at the most.
///
/// @param keyCount  about so many keys
/// @param visit     visit(block, emit) calls emit(hash, owner) for the keys of each of `blocks`
///                  blocks, with rising owners; called twice a block, by several threads
/// @param placeCount  where emit(hash, owner, place) also tells a number below this that equal keys
///                  share and that is near for keys of one block: they are counted near each other,
///                  which is twice as fast or more as soon as the table is larger than a cache
template <class Visit>
std::vector<MxOwnedKey> mxCollectRepeated(std::size_t blocks, std::size_t keyCount, unsigned least,
                                          bool parallel, const Visit& visit,
                                          std::size_t placeCount = 0)
{
  constexpr std::size_t kSmallest = std::size_t{1} << 12, kLargest = std::size_t{1} << 29;
  // High enough for every question, and low enough that threads cannot carry it over the end.
  constexpr std::uint8_t kEnough = 64;
  const std::size_t size = std::clamp(std::bit_ceil(2 * keyCount), kSmallest, kLargest);
  MxArray<std::uint8_t> counts;
  counts.resizeZeroed(size);
  const std::size_t width = placeCount ? size / placeCount : 0;
  const auto slotOf = [&](std::uint64_t hash, std::size_t place) {
    const std::size_t slot =
        width ? place * width + ((hash >> 32) * width >> 32) : hash & (size - 1);
    return std::atomic_ref<std::uint8_t>(counts[slot]);
  };
  forEachTask(parallel, blocks, [&](std::size_t block) {
    visit(block, [&](std::uint64_t hash, std::uint64_t, std::size_t place = 0) {
      const auto slot = slotOf(hash, place);
      if (slot.load(std::memory_order_relaxed) < kEnough)
        slot.fetch_add(1, std::memory_order_relaxed);
    });
  });
  std::vector<std::vector<MxOwnedKey>> found(blocks);
  forEachTask(parallel, blocks, [&](std::size_t block) {
    visit(block, [&](std::uint64_t hash, std::uint64_t owner, std::size_t place = 0) {
      if (slotOf(hash, place).load(std::memory_order_relaxed) >= least)
        found[block].push_back({hash, owner});
    });
  });
  std::size_t total = 0;
  for (const auto& block : found)
    total += block.size();
  std::vector<MxOwnedKey> keys;
  keys.reserve(total);
  for (auto& block : found) {
    keys.insert(keys.end(), block.begin(), block.end());
    block = {};
  }
  sortByNumber(parallel, keys, [](const MxOwnedKey& key) { return key.hash; });
  return keys;
}

/// Calls body(owners) for every set of `least` owners or more whose keys are equal: same(a, b)
/// tells whether those of two owners of one hash are. Owners rise.
template <class Same, class Body>
void mxForEachRepeated(const std::vector<MxOwnedKey>& keys, std::size_t least, const Same& same,
                       const Body& body)
{
  std::vector<std::vector<std::uint64_t>> sets;
  for (std::size_t first = 0, last = 0; first < keys.size(); first = last) {
    while (last < keys.size() && keys[last].hash == keys[first].hash)
      ++last;
    if (last - first < least) continue;
    sets.clear();
    for (std::size_t n = first; n < last; ++n) {
      const std::uint64_t owner = keys[n].owner;
      auto set = std::find_if(sets.begin(), sets.end(),
                              [&](const auto& s) { return same(s.front(), owner); });
      if (set == sets.end()) set = sets.insert(sets.end(), {std::vector<std::uint64_t>{}});
      set->push_back(owner);
    }
    for (const auto& set : sets)
      if (set.size() >= least) body(set);
  }
}
