// All calls of the parallel library's scheduler. The library as packaged knows nothing of the
// thread sanitizer, which would take the orders that it keeps for races. So this file is compiled
// without the sanitizer, and tells it what comes before what.

#include <velmo/base/MxThreads.h>

#include <algorithm>
#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#ifdef VELMO_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace {

/// For the thread sanitizer alone: what a thread does before releaseAt comes before what another
/// does after acquireAt at the same place, which is never looked into.
#ifdef VELMO_THREAD_SANITIZER
void releaseAt(char& place)
{
  __tsan_release(&place);
}
void acquireAt(char& place)
{
  __tsan_acquire(&place);
}
#else
void releaseAt(char&) {}
void acquireAt(char&) {}
#endif

/// Whatever the calling thread did comes before the pieces, and the pieces before what it does
/// after waiting for them. Nothing is said of one piece and another.
class PieceOrder
{
public:
  PieceOrder() { releaseAt(m_before); }
  PieceOrder(const PieceOrder&) = delete;
  PieceOrder& operator=(const PieceOrder&) = delete;

  /// Around a piece.
  class Piece
  {
  public:
    explicit Piece(PieceOrder& order) : m_order(order) { acquireAt(order.m_before); }
    ~Piece() { releaseAt(m_order.m_after); }
    Piece(const Piece&) = delete;
    Piece& operator=(const Piece&) = delete;

  private:
    PieceOrder& m_order;
  };
  /// Around what waits for the pieces; also an exception of theirs is handled after it.
  class Wait
  {
  public:
    explicit Wait(PieceOrder& order) : m_order(order) {}
    ~Wait() { acquireAt(m_order.m_after); }
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;

  private:
    PieceOrder& m_order;
  };

private:
  char m_before = 0, m_after = 0;
};

char s_enqueued = 0; // stands for the queue of tasks

} // namespace

std::size_t threadCount()
{
  return std::min(static_cast<std::size_t>(tbb::this_task_arena::max_concurrency()),
                  tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism));
}

void enqueueTask(void (*run)())
{
  // Never deleted: a worker may be in it while the program's statics go.
  static auto* arena = new tbb::task_arena;
  releaseAt(s_enqueued);
  arena->enqueue([run] {
    acquireAt(s_enqueued);
    run();
  });
}

void velmo_detail::runLoop(std::size_t count, void (*body)(void*, std::size_t, std::size_t),
                           void* context)
{
  PieceOrder order;
  const PieceOrder::Wait wait(order);
  tbb::this_task_arena::isolate([&] {
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, count, 1),
                      [&](const tbb::blocked_range<std::size_t>& range) {
                        const PieceOrder::Piece piece(order);
                        body(context, range.begin(), range.end());
                      });
  });
}

void velmo_detail::runWithHelpers(std::size_t helperCount, void (*lead)(void*), void (*help)(void*),
                                  void* context)
{
  PieceOrder order;
  tbb::this_task_arena::isolate([&] {
    tbb::task_group helpers;
    for (std::size_t helper = 0; helper < helperCount; ++helper)
      helpers.run([&] {
        const PieceOrder::Piece piece(order);
        help(context);
      });
    const auto waitForAll = [&] {
      const PieceOrder::Wait wait(order);
      helpers.wait();
    };
    try {
      lead(context);
    } catch (...) {
      try {
        waitForAll();
      } catch (...) { // one exception is enough
      }
      throw;
    }
    waitForAll();
  });
}
