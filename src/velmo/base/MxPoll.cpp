#include <velmo/base/MxPoll.h>

#include <velmo/base/MxParallel.h>

#include <tbb/task_group.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

namespace {
thread_local MxPoll* t_poll = nullptr;
} // namespace

MxPoll* MxPoll::current()
{
  return t_poll;
}

MxPoll::Scope::Scope(MxPoll* poll) : m_before(std::exchange(t_poll, poll)) {}

MxPoll::Scope::~Scope()
{
  t_poll = m_before;
}

// Each thread takes the next task until none is left.
void velmo_detail::forEachWatched(MxPoll& poll, std::size_t count,
                                  const std::function<void(std::size_t)>& body)
{
  std::atomic<std::size_t> next{0}, busyCount{0};
  const auto work = [&] {
    try {
      for (std::size_t task = next++; task < count; task = next++) {
        poll.poll();
        body(task);
      }
    } catch (...) {
      next = count;
      throw;
    }
  };
  const auto help = [&] {
    struct Busy
    {
      explicit Busy(std::atomic<std::size_t>& count) : m_count(count) { ++m_count; }
      ~Busy() { --m_count; }
      std::atomic<std::size_t>& m_count;
    };
    const Busy busy(busyCount);
    const MxPoll::Scope scope(&poll);
    work();
  };
  const auto askWhileBusy = [&] {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::microseconds kShort(200);
    const Clock::time_point begin = Clock::now();
    while (busyCount > 0) {
      poll.poll();
      if (Clock::now() - begin < kShort)
        std::this_thread::yield();
      else
        std::this_thread::sleep_for(kShort);
    }
  };
  tbb::this_task_arena::isolate([&] {
    const auto concurrency = static_cast<std::size_t>(tbb::this_task_arena::max_concurrency());
    tbb::task_group helpers;
    for (std::size_t helper = 1; helper < std::min(count, concurrency); ++helper)
      helpers.run(help);
    try {
      work();
      askWhileBusy();
    } catch (...) {
      next = count;
      try {
        helpers.wait();
      } catch (...) { // the same poll has told others too, and one exception is enough
      }
      throw;
    }
    // Helpers that have not begun find nothing left.
    helpers.wait();
  });
}
