#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>

#include <velmo/extraction/algorithms/access/MxBits.h>

#include <atomic>
#include <cmath>

namespace {

constexpr std::size_t kBlock = 16384;
constexpr std::size_t kWordBlock = 4096;
constexpr std::uint32_t kUnused = 0xffffffffu;

/// How many bits are set before each word.
MxArray<std::uint32_t> rankWords(const MxBits& bits, bool parallel, std::size_t& total)
{
  const auto& words = bits.words();
  MxArray<std::uint32_t> ranks(words.size());
  std::vector<std::size_t> sums(blockCount(words.size(), kWordBlock));
  forEachBlock(parallel, words.size(), kWordBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 std::size_t sum = 0;
                 for (std::size_t w = first; w < last; ++w)
                   sum += countBits(words[w]);
                 sums[block] = sum;
               });
  total = exclusivePrefixSum(std::span(sums));
  forEachBlock(parallel, words.size(), kWordBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 auto rank = static_cast<std::uint32_t>(sums[block]);
                 for (std::size_t w = first; w < last; ++w) {
                   ranks[w] = rank;
                   rank += static_cast<std::uint32_t>(countBits(words[w]));
                 }
               });
  return ranks;
}

/// Sets of bits with the number of bits before each word.
struct RankedBits
{
  const std::uint64_t* words;
  const std::uint32_t* ranks;
};

// Always inlined, so that it takes on its caller's instruction set.
[[gnu::always_inline]] inline std::uint32_t rankOf(const RankedBits& bits, std::size_t i)
{
  const std::uint64_t below = bits.words[i / 64] & ((std::uint64_t{1} << (i % 64)) - 1);
  return bits.ranks[i / 64] + static_cast<std::uint32_t>(__builtin_popcountll(below));
}

/// Replaces the nodes in a part of the list by their ranks.
MX_WITH_BIT_COUNT void replaceByRanks(int* indices, std::size_t count, RankedBits used)
{
  for (std::size_t at = 0; at < count; ++at)
    if (indices[at] != -1)
      indices[at] = static_cast<int>(rankOf(used, static_cast<std::uint32_t>(indices[at])));
}

/// Replaces places in the list by their ranks.
MX_WITH_BIT_COUNT void rankPlaces(std::uint32_t* places, std::size_t count, RankedBits firsts)
{
  for (std::size_t n = 0; n < count; ++n)
    places[n] = rankOf(firsts, places[n]);
}

/// Keeps the smallest value put in, by several threads.
void lower(std::uint32_t& target, std::uint32_t value)
{
  std::atomic_ref cell(target);
  std::uint32_t known = cell.load(std::memory_order_relaxed);
  while (value < known && !cell.compare_exchange_weak(known, value, std::memory_order_relaxed)) {
  }
}

/// The number of each rank, in parallel: where it stands first in the list, and how many first
/// places there are before that one.
void numberRanks(std::span<const int> indices, MxArray<std::uint32_t>& numbers)
{
  forEachBlock(true, indices.size(), kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t at = first; at < last; ++at)
      if (indices[at] != -1)
        lower(numbers[static_cast<std::uint32_t>(indices[at])], static_cast<std::uint32_t>(at));
  });
  MxBits firsts(indices.size());
  forEachBlock(true, numbers.size(), kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    for (std::size_t rank = first; rank < last; ++rank)
      firsts.setShared(numbers[rank]);
  });
  std::size_t total = 0;
  const MxArray<std::uint32_t> ranks = rankWords(firsts, true, total);
  forEachBlock(true, numbers.size(), kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    rankPlaces(numbers.data() + first, last - first, {firsts.words().data(), ranks.data()});
  });
}

} // namespace

MxArray<std::uint32_t> keepNumbers(std::size_t sourceNodeCount, bool parallel)
{
  MxArray<std::uint32_t> nodes(sourceNodeCount);
  forEachBlock(parallel, sourceNodeCount, kBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 for (std::size_t node = first; node < last; ++node)
                   nodes[node] = static_cast<std::uint32_t>(node);
               });
  return nodes;
}

MxArray<std::uint32_t> numberByFirstUse(std::span<int> indices, std::size_t sourceNodeCount,
                                        bool parallel, bool keepWhole)
{
  if (indices.empty()) return {};
  parallel = parallel && indices.size() >= kParallelThreshold;
  const auto forEachNode = [&](const auto& body) {
    forEachBlock(parallel, indices.size(), kBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t at = first; at < last; ++at)
                     if (indices[at] != -1) body(at, static_cast<std::uint32_t>(indices[at]));
                 });
  };

  // The used nodes in ascending order: a node's rank among them is its place in small arrays.
  MxBits used(sourceNodeCount);
  forEachNode([&](std::size_t, std::uint32_t node) {
    if (parallel)
      used.setShared(node);
    else
      used.set(node);
  });
  std::size_t usedCount = 0;
  const MxArray<std::uint32_t> ranks = rankWords(used, parallel, usedCount);
  if (keepWhole && usedCount == sourceNodeCount) return keepNumbers(sourceNodeCount, parallel);

  forEachBlock(
      parallel, indices.size(), kBlock, [&](std::size_t, std::size_t first, std::size_t last) {
        replaceByRanks(indices.data() + first, last - first, {used.words().data(), ranks.data()});
      });
  MxArray<std::uint32_t> numbers(usedCount, kUnused);
  if (parallel) {
    numberRanks(indices, numbers);
    forEachNode(
        [&](std::size_t at, std::uint32_t rank) { indices[at] = static_cast<int>(numbers[rank]); });
  } else {
    std::uint32_t next = 0;
    forEachNode([&](std::size_t at, std::uint32_t rank) {
      if (numbers[rank] == kUnused) numbers[rank] = next++;
      indices[at] = static_cast<int>(numbers[rank]);
    });
  }
  MxArray<std::uint32_t> sources(usedCount);
  forEachBlock(parallel, used.words().size(), kWordBlock,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 for (std::size_t w = first; w < last; ++w) {
                   std::uint32_t rank = ranks[w];
                   forEachBit(used.words()[w], 64 * w, [&](std::size_t node) {
                     sources[numbers[rank++]] = static_cast<std::uint32_t>(node);
                   });
                 }
               });
  return sources;
}

MbVec3d velmo_detail::chooseOrigin(const PointRange& range)
{
  double size = 0, distance = 0;
  MbVec3d centre;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    size = std::max(size, range.high[axis] - range.low[axis]);
    distance = std::max({distance, std::abs(range.low[axis]), std::abs(range.high[axis])});
    // A number that floats hold: scene graphs move shapes by it, and several extracted meshes must
    // be moved alike. Volatile, as GCC 12 drops the rounding where it vectorises such a pair of
    // conversions.
    const volatile float rounded = toFloat(range.low[axis] / 2 + range.high[axis] / 2);
    centre[axis] = rounded;
  }
  // Beyond the range of floats an origin cannot help.
  if (distance > static_cast<double>(std::numeric_limits<float>::max())) return {};
  return distance > kFarOriginRatio * size ? centre : MbVec3d{};
}
