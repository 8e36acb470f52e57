#include <velmo/base/MxParallel.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

/// Tasks that a thread and its helpers share: each takes the next one until none is left.
class WatchedTasks
{
public:
  WatchedTasks(MxPoll& poll, std::size_t count, const std::function<void(std::size_t)>& body)
      : m_poll(poll), m_count(count), m_body(body)
  {}

  static void lead(void* tasks)
  {
    auto& self = *static_cast<WatchedTasks*>(tasks);
    self.guarded([&] {
      self.work();
      self.askWhileBusy();
    });
  }
  static void help(void* tasks)
  {
    auto& self = *static_cast<WatchedTasks*>(tasks);
    struct Busy
    {
      explicit Busy(std::atomic<std::size_t>& count) : m_count(count) { ++m_count; }
      ~Busy() { --m_count; }
      std::atomic<std::size_t>& m_count;
    };
    const Busy busy(self.m_busyCount);
    const MxPoll::Scope scope(&self.m_poll);
    self.guarded([&] { self.work(); });
  }

private:
  void work()
  {
    for (std::size_t task = m_next++; task < m_count; task = m_next++) {
      m_poll.poll();
      m_body(task);
    }
  }
  void askWhileBusy()
  {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::microseconds kShort(200);
    const Clock::time_point begin = Clock::now();
    while (m_busyCount > 0) {
      m_poll.poll();
      if (Clock::now() - begin < kShort)
        std::this_thread::yield();
      else
        std::this_thread::sleep_for(kShort);
    }
  }
  // An exception leaves nothing for the others.
  template <class Function>
  void guarded(const Function& function)
  {
    try {
      function();
    } catch (...) {
      m_next = m_count;
      throw;
    }
  }

  MxPoll& m_poll;
  const std::size_t m_count;
  const std::function<void(std::size_t)>& m_body;
  std::atomic<std::size_t> m_next{0}, m_busyCount{0};
};

} // namespace

void velmo_detail::forEachWatched(MxPoll& poll, std::size_t count,
                                  const std::function<void(std::size_t)>& body)
{
  WatchedTasks tasks(poll, count, body);
  // Helpers that have not begun when all is done find nothing left.
  runWithHelpers(std::min(count, threadCount()) - 1, &WatchedTasks::lead, &WatchedTasks::help,
                 &tasks);
}
