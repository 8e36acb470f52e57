#include <velmo/extraction/algorithms/skin/MxFaceMatch.h>

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace {

constexpr std::uint32_t kNoNode = 0xffffffffu;
/// Candidates in one bucket of the match, about: its table stays in the nearest cache.
constexpr std::size_t kBucketSize = 1024;
constexpr std::size_t kMostBuckets = 4096;
/// Lists are counted and filled in this many groups, for any number of threads.
constexpr std::size_t kGroups = 64;

std::uint64_t hashOf(const MxFaceCandidate& candidate)
{
  const auto pair = [&](int i) {
    return static_cast<std::uint64_t>(candidate.key[i]) << 32 | candidate.key[i + 1];
  };
  return mixBits(pair(0) * 0xff51afd7ed558ccdu + pair(2));
}

bool sameKey(const MxFaceCandidate& a, const MxFaceCandidate& b)
{
  std::uint32_t difference = 0;
  for (std::size_t n = 0; n < 4; ++n)
    difference |= a.key[n] ^ b.key[n];
  return difference == 0;
}

struct Entry
{
  std::uint32_t hash;
  std::uint32_t block;
  std::uint32_t index;
};

template <class Same>
bool isSameFace(const MxFaceCandidate& a, const MxFaceCandidate& b, const Same& same)
{
  return sameKey(a, b) && a.isLarge == b.isLarge && (!a.isLarge || same(a, b));
}

/// Marks the faces of one bucket that occur once.
/// @return false, with marks that mean nothing, where a cell may have a face twice: two occurrences
///         are of one cell, or there are more than two
template <class Same>
bool matchPairs(std::span<const Entry> entries, std::vector<MxArray<MxFaceCandidate>>& blocks,
                std::vector<std::uint32_t>& slots, const Same& same)
{
  const std::size_t slotCount = std::bit_ceil(2 * entries.size() + 1);
  slots.assign(slotCount, 0);
  for (std::size_t e = 0; e < entries.size(); ++e) {
    const Entry& entry = entries[e];
    MxFaceCandidate& candidate = blocks[entry.block][entry.index];
    candidate.isSkin = 1;
    for (std::size_t slot = entry.hash & (slotCount - 1);; slot = (slot + 1) & (slotCount - 1)) {
      if (slots[slot] == 0) {
        slots[slot] = static_cast<std::uint32_t>(e + 1);
        break;
      }
      const Entry& earlier = entries[slots[slot] - 1];
      if (earlier.hash != entry.hash) continue;
      MxFaceCandidate& first = blocks[earlier.block][earlier.index];
      if (!isSameFace(first, candidate, same)) continue;
      if (!first.isSkin || first.cell == candidate.cell) return false;
      first.isSkin = 0;
      candidate.isSkin = 0;
      break;
    }
  }
  return true;
}

/// Marks the faces of one bucket that one cell has, where occurrences in the same cell cancel in
/// pairs. Entries come in the order of cells, and are sorted here.
template <class Same>
void matchCells(std::span<Entry> entries, std::vector<MxArray<MxFaceCandidate>>& blocks,
                const Same& same)
{
  const auto candidateOf = [&](const Entry& entry) -> MxFaceCandidate& {
    return blocks[entry.block][entry.index];
  };
  std::stable_sort(entries.begin(), entries.end(),
                   [](const Entry& a, const Entry& b) { return a.hash < b.hash; });
  for (auto begin = entries.begin(), end = begin; begin != entries.end(); begin = end) {
    const Entry first = *begin;
    end = std::find_if(begin, entries.end(), [&](const Entry& e) { return e.hash != first.hash; });
    end = std::stable_partition(begin, end, [&](const Entry& e) {
      return isSameFace(candidateOf(first), candidateOf(e), same);
    });
    std::size_t cellCount = 0;
    MxFaceCandidate* last = nullptr;
    for (auto entry = begin; entry != end; ++entry) {
      candidateOf(*entry).isSkin = 0;
      if (entry + 1 != end && candidateOf(entry[0]).cell == candidateOf(entry[1]).cell) {
        candidateOf(*++entry).isSkin = 0;
        continue;
      }
      last = &candidateOf(*entry);
      ++cellCount;
    }
    if (cellCount == 1) last->isSkin = 1;
  }
}

/// Sorts two numbers.
void order(std::uint32_t& a, std::uint32_t& b)
{
  const std::uint32_t low = std::min(a, b), high = std::max(a, b);
  a = low;
  b = high;
}

/// Sorts up to a handful of numbers.
void insertionSort(std::uint32_t* values, std::size_t count)
{
  for (std::size_t i = 1; i < count; ++i) {
    const std::uint32_t value = values[i];
    std::size_t at = i;
    for (; at > 0 && values[at - 1] > value; --at)
      values[at] = values[at - 1];
    values[at] = value;
  }
}

} // namespace

bool makeFaceKey(std::uint32_t* nodes, std::size_t count, MxFaceCandidate& candidate)
{
  // Nearly all faces have three or four nodes, all different.
  candidate.isSkin = 0;
  candidate.isLarge = 0;
  if (count == 3 || count == 4) {
    std::uint32_t last = count == 4 ? nodes[3] : kNoNode;
    order(nodes[0], nodes[1]);
    order(nodes[2], last);
    order(nodes[0], nodes[2]);
    order(nodes[1], last);
    order(nodes[1], nodes[2]);
    candidate.key = {nodes[0], nodes[1], nodes[2], last};
    if ((nodes[0] != nodes[1]) & (nodes[1] != nodes[2]) & (nodes[2] != last)) return true;
    if (count == 4) nodes[3] = last;
  }
  if (count <= 16)
    insertionSort(nodes, count);
  else
    std::sort(nodes, nodes + count);
  const std::size_t distinct = static_cast<std::size_t>(std::unique(nodes, nodes + count) - nodes);
  candidate.isLarge = distinct > 4;
  if (distinct < 3) return false;
  if (distinct <= 4) {
    candidate.key = {nodes[0], nodes[1], nodes[2], distinct == 4 ? nodes[3] : kNoNode};
    return true;
  }
  std::uint64_t hash = distinct;
  for (std::size_t n = 0; n < distinct; ++n)
    hash = mixBits(hash ^ nodes[n]);
  candidate.key = {nodes[0], nodes[1], static_cast<std::uint32_t>(hash >> 32),
                   static_cast<std::uint32_t>(hash)};
  return true;
}

void markUniqueFaces(
    bool parallel, std::vector<MxArray<MxFaceCandidate>>& blocks,
    const std::function<bool(const MxFaceCandidate&, const MxFaceCandidate&)>& sameNodes,
    MxExtractionMonitor& monitor)
{
  std::size_t total = 0;
  for (const auto& block : blocks)
    total += block.size();
  if (total == 0) return;
  if (total > kNoNode) throw std::length_error("More than 4294967295 faces remain to be matched.");
  parallel = parallel && total >= kParallelThreshold;
  const std::size_t bucketCount = std::min(kMostBuckets, std::bit_ceil(total / kBucketSize + 1));
  const int shift = 64 - std::countr_zero(bucketCount);
  const auto bucketOf = [shift](std::uint64_t hash) {
    return shift == 64 ? std::size_t{0} : static_cast<std::size_t>(hash >> shift);
  };

  // Positions of each group's entries in each bucket: groups within a bucket, buckets in a row.
  const std::size_t perGroup = blockCount(blocks.size(), kGroups);
  const std::size_t groups = blockCount(blocks.size(), perGroup);
  const auto forEachGroup = [&](const auto& body) {
    forEachTask(parallel, groups, [&](std::size_t group) {
      monitor.step(0);
      body(group, group * perGroup, std::min(blocks.size(), (group + 1) * perGroup));
    });
  };
  MxArray<std::uint32_t> positions(groups * bucketCount, 0);
  forEachGroup([&](std::size_t group, std::size_t first, std::size_t last) {
    std::vector<std::uint32_t> counts(bucketCount, 0);
    for (std::size_t b = first; b < last; ++b)
      for (const MxFaceCandidate& candidate : blocks[b])
        ++counts[bucketOf(hashOf(candidate))];
    for (std::size_t bucket = 0; bucket < bucketCount; ++bucket)
      positions[bucket * groups + group] = counts[bucket];
  });
  exclusivePrefixSum(positions.span());
  MxArray<std::uint32_t> begins(bucketCount + 1);
  for (std::size_t bucket = 0; bucket < bucketCount; ++bucket)
    begins[bucket] = positions[bucket * groups];
  begins[bucketCount] = static_cast<std::uint32_t>(total);

  MxArray<Entry> entries(total);
  forEachGroup([&](std::size_t group, std::size_t first, std::size_t last) {
    std::vector<std::uint32_t> next(bucketCount);
    for (std::size_t bucket = 0; bucket < bucketCount; ++bucket)
      next[bucket] = positions[bucket * groups + group];
    for (std::size_t b = first; b < last; ++b)
      for (std::size_t i = 0; i < blocks[b].size(); ++i) {
        const std::uint64_t hash = hashOf(blocks[b][i]);
        entries[next[bucketOf(hash)]++] = {static_cast<std::uint32_t>(hash),
                                           static_cast<std::uint32_t>(b),
                                           static_cast<std::uint32_t>(i)};
      }
  });

  constexpr std::size_t kBucketsPerTask = 8;
  forEachTask(parallel, blockCount(bucketCount, kBucketsPerTask), [&](std::size_t task) {
    monitor.step(0);
    std::vector<std::uint32_t> slots;
    const std::size_t last = std::min(bucketCount, (task + 1) * kBucketsPerTask);
    for (std::size_t bucket = task * kBucketsPerTask; bucket < last; ++bucket) {
      const std::span<Entry> own(entries.data() + begins[bucket],
                                 begins[bucket + 1] - begins[bucket]);
      if (!matchPairs(own, blocks, slots, sameNodes)) matchCells(own, blocks, sameNodes);
    }
  });
}

MxFaceList collectUniqueFaces(bool parallel, const std::vector<MxArray<MxFaceCandidate>>& blocks)
{
  std::vector<std::size_t> begins(blocks.size());
  const auto forEachList = [&](const auto& body) {
    constexpr std::size_t kListsPerTask = 16;
    forEachTask(parallel, blockCount(blocks.size(), kListsPerTask), [&](std::size_t task) {
      const std::size_t last = std::min(blocks.size(), (task + 1) * kListsPerTask);
      for (std::size_t b = task * kListsPerTask; b < last; ++b)
        body(b);
    });
  };
  forEachList([&](std::size_t b) {
    std::size_t count = 0;
    for (const MxFaceCandidate& candidate : blocks[b])
      count += candidate.isSkin;
    begins[b] = count;
  });
  MxFaceList list;
  const std::size_t total = exclusivePrefixSum(std::span(begins));
  list.cells.resizeUninitialized(total);
  list.faces.resizeUninitialized(total);
  forEachList([&](std::size_t b) {
    std::size_t at = begins[b];
    for (const MxFaceCandidate& candidate : blocks[b]) {
      if (!candidate.isSkin) continue;
      list.cells[at] = candidate.cell;
      list.faces[at] = candidate.face;
      ++at;
    }
  });
  return list;
}
