#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

/// Below this many items a loop runs serially: starting tasks would cost more than it saves.
inline constexpr std::size_t kParallelThreshold = 4096;

inline constexpr std::size_t blockCount(std::size_t count, std::size_t blockSize)
{
  return (count + blockSize - 1) / blockSize;
}

/// Calls body(block, first, last) for the blocks of `blockSize` items that [0, count) falls into.
///
/// The blocks are the same for any number of threads, so a count per block, a prefix sum and a fill
/// give the same bytes always. The order of the calls is free, each block is called once.
template <class Body>
void forEachBlock(bool parallel, std::size_t count, std::size_t blockSize, const Body& body)
{
  const std::size_t blocks = blockCount(count, blockSize);
  const auto run = [&](std::size_t block) {
    body(block, block * blockSize, std::min(count, (block + 1) * blockSize));
  };
  if (!parallel || blocks < 2 || count < kParallelThreshold) {
    for (std::size_t block = 0; block < blocks; ++block)
      run(block);
    return;
  }
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, blocks, 1),
                    [&](const tbb::blocked_range<std::size_t>& range) {
                      for (std::size_t block = range.begin(); block != range.end(); ++block)
                        run(block);
                    });
}

/// Calls body(task) for the tasks [0, count), each of which is worth a thread of its own.
template <class Body>
void forEachTask(bool parallel, std::size_t count, const Body& body)
{
  if (!parallel || count < 2) {
    for (std::size_t task = 0; task < count; ++task)
      body(task);
    return;
  }
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, count, 1),
                    [&](const tbb::blocked_range<std::size_t>& range) {
                      for (std::size_t task = range.begin(); task != range.end(); ++task)
                        body(task);
                    });
}

/// Replaces each value by the sum of those before it; returns the sum of all.
template <class T>
T exclusivePrefixSum(std::span<T> values)
{
  T sum{};
  for (T& value : values) {
    const T own = value;
    value = sum;
    sum += own;
  }
  return sum;
}
