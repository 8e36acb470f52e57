#pragma once

#include <velmo/base/MxPoll.h>
#include <velmo/base/MxThreads.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <span>

/// Below this many items a loop runs serially: starting tasks would cost more than it saves.
inline constexpr std::size_t kParallelThreshold = 4096;

inline constexpr std::size_t blockCount(std::size_t count, std::size_t blockSize)
{
  return (count + blockSize - 1) / blockSize;
}

namespace velmo_detail {

/// Calls body(first) to body(last - 1), and asks before each.
template <class Body>
void forEachAsking(MxPoll* poll, std::size_t first, std::size_t last, const Body& body)
{
  for (std::size_t i = first; i < last; ++i) {
    if (poll) poll->poll();
    body(i);
  }
}

/// forEachIsolated in another way: the calling thread asks the poll instead of waiting.
void forEachWatched(MxPoll& poll, std::size_t count, const std::function<void(std::size_t)>& body);

} // namespace velmo_detail

/// A parallel loop over [0, count). While it waits for others, the calling thread works on nothing
/// but this loop: it does not take up another extraction, nor hold its own up by that.
template <class Body>
void forEachIsolated(std::size_t count, const Body& body)
{
  struct Loop
  {
    MxPoll* poll;
    const Body& body;

    static void run(void* context, std::size_t first, std::size_t last)
    {
      const Loop& loop = *static_cast<Loop*>(context);
      const MxPoll::Scope scope(loop.poll);
      velmo_detail::forEachAsking(loop.poll, first, last, loop.body);
    }
  } loop{MxPoll::current(), body};
  velmo_detail::runLoop(count, &Loop::run, &loop);
}

/// The same in the calling thread alone.
template <class Body>
void forEachSerially(std::size_t count, const Body& body)
{
  velmo_detail::forEachAsking(MxPoll::current(), 0, count, body);
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
  if (!parallel || blocks < 2 || count < kParallelThreshold)
    forEachSerially(blocks, run);
  else
    forEachIsolated(blocks, run);
}

/// Calls body(task) for the tasks [0, count), each of which is worth a thread of its own.
///
/// A poll is asked all the time in the calling thread, also while that waits for a long task.
template <class Body>
void forEachTask(bool parallel, std::size_t count, const Body& body)
{
  if (!parallel || count < 2)
    forEachSerially(count, body);
  else if (MxPoll* const poll = MxPoll::current())
    velmo_detail::forEachWatched(*poll, count, [&](std::size_t task) { body(task); });
  else
    forEachIsolated(count, body);
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
