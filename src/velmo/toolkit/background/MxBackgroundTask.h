#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <vector>

/// Work that a thread of the parallel library does while the scene goes on.
///
/// The toolkit has no thread safety: its locks are empty functions and its queues unguarded. So the
/// work calls nothing of it; whatever it needs from fields or from the state is copied before, and
/// what it made is collected by the traversing thread once `hasEnded` says so. Everything that
/// passes between the two goes through one mutex in here.
///
/// The application's objects that the work reads are its inputs. Whoever lets go of such an object
/// calls `release` first (`MoBorrowed` does), which stops the work; so an application may delete
/// what no node names any more, whether or not something runs in the background.
///
/// *Threads*: all functions are the traversing thread's, but for the work itself.
class MxBackgroundTask
{
public:
  using Inputs = std::vector<const void*>;

  /// Has a worker call `work`, at some time.
  /// @param inputs  the complete objects (dynamic_cast<const void*>) that the work reads
  /// @param work    what it throws is kept. Destroyed before the task counts as ended
  /// @param abort   tells the work to end early; may be called more than once, also after its end
  static std::shared_ptr<MxBackgroundTask> start(Inputs inputs, std::function<void()> work,
                                                 std::function<void()> abort);

  /// Returns at once. Work that no thread has begun is never begun, and has ended by that.
  void requestAbort();
  bool isAbortRequested() const;
  /// Nothing of the work runs or will run.
  bool hasEnded() const;
  /// Waits for the end, which comes soon after an abort only.
  void wait() const;
  /// What the work threw; null for nothing. Asked when it has ended.
  std::exception_ptr getFailure() const;

  /// Aborts the tasks that read the object and waits until they have ended. Costs nothing while no
  /// task runs. Not to be called by the work itself.
  static void release(const void* input);
  /// Aborts all tasks and waits until they have ended.
  static void stopAll();

private:
  enum class Stage
  {
    Waiting,
    Running,
    Ended
  };
  friend struct MxBackgroundTasks;

  Inputs m_inputs;
  std::function<void()> m_work, m_abort;
  // Under the mutex of all tasks.
  Stage m_stage = Stage::Waiting;
  bool m_isAbortRequested = false;
  std::exception_ptr m_failure;
};
