#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <functional>

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
