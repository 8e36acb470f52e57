#include <velmo/base/MxParallel.h>

#include <velmo/base/MxSort.h>

#include <gmock/gmock.h>
#include <tbb/global_control.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <random>
#include <stdexcept>
#include <thread>

namespace {

using namespace std::chrono_literals;

struct Entry
{
  std::uint64_t number;
  std::uint32_t place;
  friend bool operator==(const Entry&, const Entry&) = default;
};

/// Numbers with what may go wrong: repeated ones, the extremes, digits that are all alike.
std::vector<Entry> entriesOf(std::size_t count, std::uint64_t mask)
{
  std::mt19937_64 random(count);
  std::vector<Entry> entries;
  for (std::size_t n = 0; n < count; ++n) {
    std::uint64_t number = random() & mask;
    if (n % 101 == 0) number = std::numeric_limits<std::uint64_t>::max();
    if (n % 103 == 0) number = 0;
    entries.push_back({number, static_cast<std::uint32_t>(n)});
  }
  return entries;
}

/// Says stop when it is asked for the n-th time.
class StopAt final : public MxPoll
{
public:
  struct Stop
  {};
  explicit StopAt(int count) : m_count(count) {}
  void poll() override
  {
    if (++asked >= m_count) throw Stop();
  }
  std::atomic<int> asked{0};

private:
  const int m_count;
};

} // namespace

TEST(MxSort, SortsByNumbersInOrderAndKeepsEqualOnesInTheirs)
{
  for (const std::size_t count : {0, 1, 2, 2047, 2048, 40000, 200001})
    for (const std::uint64_t mask :
         {~std::uint64_t{0}, std::uint64_t{0xff00ff0000}, std::uint64_t{3}})
      for (const bool parallel : {false, true}) {
        SCOPED_TRACE(testing::Message() << count << " " << mask << " " << parallel);
        const std::vector<Entry> entries = entriesOf(count, mask);
        std::vector<Entry> expected = entries, sorted = entries;
        std::stable_sort(expected.begin(), expected.end(),
                         [](const Entry& a, const Entry& b) { return a.number < b.number; });
        sortByNumber(parallel, sorted, [](const Entry& entry) { return entry.number; });
        EXPECT_TRUE(sorted == expected);
      }
}

TEST(MxParallel, EveryPieceIsDoneOnceAndSeenByTheCaller)
{
  constexpr std::size_t kCount = 20011;
  for (int round = 0; round < 20; ++round) {
    // Plain numbers: the thread sanitizer looks at who writes and reads them.
    std::vector<int> input(kCount, round), blocks(kCount), tasks(kCount);
    forEachBlock(true, kCount, 64, [&](std::size_t, std::size_t first, std::size_t last) {
      for (std::size_t n = first; n < last; ++n)
        blocks[n] += input[n] + 1;
    });
    forEachTask(true, kCount / 64, [&](std::size_t task) {
      forEachBlock(true, 5000, 1000, [&](std::size_t block, std::size_t, std::size_t) {
        if (block < 5) tasks[task * 5 + block] += blocks[task] + 1;
      });
    });
    EXPECT_EQ(std::count(blocks.begin(), blocks.end(), round + 1), std::ptrdiff_t{kCount});
    EXPECT_EQ(std::count(tasks.begin(), tasks.begin() + kCount / 64 * 5, round + 2),
              std::ptrdiff_t{kCount / 64 * 5});
  }
}

TEST(MxParallel, AStopEndsLoopsOfAllSortsAndNothingRunsAfterwards)
{
  for (const bool tasks : {false, true})
    for (const bool parallel : {false, true})
      for (const int stopAt : {1, 2, 40}) {
        SCOPED_TRACE(testing::Message() << tasks << parallel << stopAt);
        StopAt poll(stopAt);
        std::atomic<int> running{0}, done{0};
        const auto work = [&](std::size_t) {
          ++running;
          std::this_thread::sleep_for(100us);
          // Others ask while this one works.
          MxPoll::ask();
          ++done;
          --running;
        };
        const auto loop = [&] {
          const MxPoll::Scope scope(&poll);
          if (tasks)
            forEachTask(parallel, 5000, work);
          else
            forEachBlock(parallel, 5000, 1,
                         [&](std::size_t block, std::size_t, std::size_t) { work(block); });
        };
        EXPECT_THROW(loop(), StopAt::Stop);
        const int then = done;
        EXPECT_LT(then, 45);
        std::this_thread::sleep_for(2ms);
        EXPECT_EQ(done, then);
        EXPECT_EQ(MxPoll::current(), nullptr);
      }
}

TEST(MxParallel, TheCallerAsksWhileAnotherThreadHasALongTask)
{
  if (threadCount() < 2) GTEST_SKIP() << "one thread";
  StopAt poll(1 << 30);
  const MxPoll::Scope scope(&poll);
  std::atomic<int> askedInTheMiddle{0};
  const auto caller = std::this_thread::get_id();
  // A helper may come late or not at all; it came when it has a task of its own.
  for (int attempt = 0; attempt < 100 && askedInTheMiddle == 0; ++attempt)
    forEachTask(true, 2, [&](std::size_t) {
      if (std::this_thread::get_id() == caller) {
        std::this_thread::sleep_for(5ms);
        return;
      }
      std::this_thread::sleep_for(10ms);
      const int before = poll.asked;
      std::this_thread::sleep_for(20ms);
      askedInTheMiddle = poll.asked - before;
    });
  EXPECT_GT(askedInTheMiddle, 3);
}

TEST(MxParallel, AnotherExceptionOfAPieceReachesTheCaller)
{
  for (const bool watched : {false, true}) {
    StopAt never(1 << 30);
    const MxPoll::Scope scope(watched ? &never : nullptr);
    EXPECT_THROW(forEachTask(true, 100,
                             [](std::size_t task) {
                               if (task == 50) throw std::length_error("too long");
                             }),
                 std::length_error);
  }
}

namespace {
std::atomic<int> s_begun{0};
} // namespace

TEST(MxThreads, QueuedTasksRunBesideALoopAndAlsoWhereOneThreadIsAllowed)
{
  const auto waitFor = [](int count) {
    for (int n = 0; n < 5000 && s_begun < count; ++n)
      std::this_thread::sleep_for(1ms);
    return s_begun.load();
  };
  const auto caller = std::this_thread::get_id();
  static std::thread::id s_caller;
  s_caller = caller;
  const auto task = [] {
    EXPECT_NE(std::this_thread::get_id(), s_caller);
    ++s_begun;
  };
  for (int n = 0; n < 8; ++n)
    enqueueTask(task);
  // The caller of a loop never takes up what is queued.
  forEachBlock(true, 100000, 10, [](std::size_t, std::size_t, std::size_t) {});
  EXPECT_EQ(waitFor(8), 8);
  const tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
  EXPECT_EQ(threadCount(), 1u);
  enqueueTask(task);
  EXPECT_EQ(waitFor(9), 9);
}
