#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace velmo_detail {

/// How many of the first `count` items of two sorted runs together come from the first of them, of
/// which equal ones go first.
template <class T, class Less>
std::size_t shareOfFirst(std::span<const T> a, std::span<const T> b, std::size_t count,
                         const Less& less)
{
  std::size_t low = count > b.size() ? count - b.size() : 0, high = std::min(count, a.size());
  while (low < high) {
    const std::size_t middle = (low + high) / 2;
    if (less(b[count - middle - 1], a[middle]))
      high = middle;
    else
      low = middle + 1;
  }
  return low;
}

} // namespace velmo_detail

/// Sorts an array in pieces that ask the thread's poll between them: blocks are sorted, runs of
/// them merged, each piece of a merged run by itself. The same order for any number of threads,
/// also of equal items where the blocks' own order is told by `less`.
/// @throw std::bad_alloc, and what the poll throws; the array then holds anything
template <class T, class Less = std::less<>>
void sortInPieces(bool parallel, MxArray<T>& items, const Less& less = {})
{
  constexpr std::size_t kBlock = 32768;
  const std::size_t count = items.size();
  forEachBlock(parallel, count, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    std::sort(items.data() + first, items.data() + last, less);
  });
  if (count <= kBlock) return;
  MxArray<T> merged(count);
  for (std::size_t run = kBlock; run < count; run *= 2) {
    forEachBlock(parallel, count, kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
      // A piece lies within one pair of runs, whose lengths are multiples of its own.
      const std::size_t begin = first / (2 * run) * 2 * run;
      const std::size_t middle = std::min(count, begin + run), end = std::min(count, middle + run);
      const std::span<const T> a(items.data() + begin, middle - begin),
          b(items.data() + middle, end - middle);
      const auto share = [&](std::size_t at) {
        return velmo_detail::shareOfFirst(a, b, at - begin, less);
      };
      const std::size_t fromA = share(first), toA = share(last);
      const std::size_t fromB = first - begin - fromA, toB = last - begin - toA;
      std::merge(a.data() + fromA, a.data() + toA, b.data() + fromB, b.data() + toB,
                 merged.data() + first, less);
    });
    items.swap(merged);
  }
}

/// Sorts an array or a vector by the 64-bit numbers numberOf(item); of equal ones the first stays
/// first. In pieces like the one above, and several times faster where numbers are at hand.
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
