#pragma once

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

/// Sorts an array or a vector by the 64-bit numbers numberOf(item); of equal ones the first stays
/// first. In pieces that ask the thread's poll between them.
/// @throw std::bad_alloc, and what the poll throws; the items are then in any order, and some of
///        them perhaps lost
template <class Items, class NumberOf>
void sortByNumber(bool parallel, Items& items, const NumberOf& numberOf)
{
  // Digit by digit, from the lowest: with more digits at a time the places no longer fit the
  // caches.
  constexpr std::size_t kDigits = 1 << 11, kBlock = 1 << 16;
  constexpr unsigned kDigitBits = 11, kNumberBits = 64;
  const std::size_t count = items.size(), blocks = blockCount(count, kBlock);
  if (count < kDigits) {
    std::stable_sort(items.begin(), items.end(),
                     [&](const auto& a, const auto& b) { return numberOf(a) < numberOf(b); });
    return;
  }
  std::vector<std::uint64_t> differences(blocks);
  forEachBlock(parallel, count, kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 const std::uint64_t one = numberOf(items[0]);
                 std::uint64_t difference = 0;
                 for (std::size_t n = first; n < last; ++n)
                   difference |= numberOf(items[n]) ^ one;
                 differences[block] = difference;
               });
  std::uint64_t difference = 0;
  for (const std::uint64_t each : differences)
    difference |= each;
  if (difference == 0) return;

  Items moved(count);
  // The first block is scattered over all of it: the system would make all pages for that block.
  const std::size_t perPage = std::max<std::size_t>(4096 / sizeof(items[0]), 1);
  forEachBlock(parallel, count, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t n = first; n < last; n += perPage)
      moved[n] = items[n];
  });
  std::vector<std::size_t> places(blocks * kDigits); // of the next item of each block and digit
  for (unsigned shift = 0; shift < kNumberBits; shift += kDigitBits) {
    if ((difference >> shift) % kDigits == 0) continue;
    const auto digitOf = [&](const auto& item) {
      return static_cast<std::size_t>(numberOf(item) >> shift) % kDigits;
    };
    forEachBlock(parallel, count, kBlock,
                 [&](std::size_t block, std::size_t first, std::size_t last) {
                   std::size_t* const counts = places.data() + block * kDigits;
                   std::fill_n(counts, kDigits, 0);
                   for (std::size_t n = first; n < last; ++n)
                     ++counts[digitOf(items[n])];
                 });
    std::size_t before = 0;
    for (std::size_t digit = 0; digit < kDigits; ++digit)
      for (std::size_t block = 0; block < blocks; ++block)
        before += std::exchange(places[block * kDigits + digit], before);
    forEachBlock(parallel, count, kBlock,
                 [&](std::size_t block, std::size_t first, std::size_t last) {
                   std::size_t* const next = places.data() + block * kDigits;
                   for (std::size_t n = first; n < last; ++n)
                     moved[next[digitOf(items[n])]++] = items[n];
                 });
    items.swap(moved);
  }
}
