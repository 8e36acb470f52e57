#include <velmo/toolkit/background/MxBackgroundTask.h>

#include <velmo/toolkit/background/MoBorrowed.h>

#include <velmo/base/MxThreads.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

using Task = std::shared_ptr<MxBackgroundTask>;

/// The tasks that have not ended.
struct MxBackgroundTasks
{
  std::mutex mutex;
  std::condition_variable oneEnded;
  std::deque<Task> waiting;
  std::vector<Task> running;
  std::atomic<std::size_t> count{0}; // of both

  // Never deleted: a worker may be in here while the program's statics go.
  static MxBackgroundTasks& all()
  {
    static auto* tasks = new MxBackgroundTasks;
    return *tasks;
  }

  // What a worker is sent for. Every start sends one; a task that was aborted before leaves its
  // worker without work.
  static void runNext()
  {
    MxBackgroundTasks& tasks = all();
    Task task;
    {
      const std::lock_guard lock(tasks.mutex);
      if (tasks.waiting.empty()) return;
      task = std::move(tasks.waiting.front());
      tasks.waiting.pop_front();
      tasks.running.push_back(task);
      task->m_stage = MxBackgroundTask::Stage::Running;
    }
    std::exception_ptr failure;
    try {
      task->m_work();
    } catch (...) {
      failure = std::current_exception();
    }
    task->m_work = nullptr;
    const std::lock_guard lock(tasks.mutex);
    task->m_failure = std::move(failure);
    std::erase(tasks.running, task);
    tasks.end(*task);
  }

  void end(MxBackgroundTask& task)
  {
    task.m_stage = MxBackgroundTask::Stage::Ended;
    --count;
    oneEnded.notify_all();
  }

  template <class Predicate>
  std::vector<Task> select(const Predicate& predicate)
  {
    const std::lock_guard lock(mutex);
    std::vector<Task> chosen;
    std::copy_if(waiting.begin(), waiting.end(), std::back_inserter(chosen), predicate);
    std::copy_if(running.begin(), running.end(), std::back_inserter(chosen), predicate);
    return chosen;
  }

  static void stop(const std::vector<Task>& tasks)
  {
    for (const Task& task : tasks)
      task->requestAbort();
    for (const Task& task : tasks)
      task->wait();
  }
};

std::shared_ptr<MxBackgroundTask> MxBackgroundTask::start(Inputs inputs, std::function<void()> work,
                                                          std::function<void()> abort)
{
  const auto task = std::make_shared<MxBackgroundTask>();
  task->m_inputs = std::move(inputs);
  task->m_work = std::move(work);
  task->m_abort = std::move(abort);
  MxBackgroundTasks& tasks = MxBackgroundTasks::all();
  {
    const std::lock_guard lock(tasks.mutex);
    tasks.waiting.push_back(task);
    ++tasks.count;
  }
  enqueueTask(&MxBackgroundTasks::runNext);
  return task;
}

void MxBackgroundTask::requestAbort()
{
  MxBackgroundTasks& tasks = MxBackgroundTasks::all();
  std::function<void()> never; // goes when the lock is gone: it may hold much
  {
    const std::lock_guard lock(tasks.mutex);
    m_isAbortRequested = true;
    if (m_stage == Stage::Waiting) {
      never = std::move(m_work);
      std::erase_if(tasks.waiting, [this](const Task& task) { return task.get() == this; });
      tasks.end(*this);
    }
  }
  m_abort();
}

bool MxBackgroundTask::isAbortRequested() const
{
  const std::lock_guard lock(MxBackgroundTasks::all().mutex);
  return m_isAbortRequested;
}

bool MxBackgroundTask::hasEnded() const
{
  const std::lock_guard lock(MxBackgroundTasks::all().mutex);
  return m_stage == Stage::Ended;
}

void MxBackgroundTask::wait() const
{
  MxBackgroundTasks& tasks = MxBackgroundTasks::all();
  std::unique_lock lock(tasks.mutex);
  tasks.oneEnded.wait(lock, [this] { return m_stage == Stage::Ended; });
}

std::exception_ptr MxBackgroundTask::getFailure() const
{
  const std::lock_guard lock(MxBackgroundTasks::all().mutex);
  return m_failure;
}

void MxBackgroundTask::release(const void* input)
{
  MxBackgroundTasks& tasks = MxBackgroundTasks::all();
  if (!input || tasks.count == 0) return;
  tasks.stop(tasks.select([input](const Task& task) {
    return std::find(task->m_inputs.begin(), task->m_inputs.end(), input) != task->m_inputs.end();
  }));
}

void velmo_detail::stopReadersOf(const void* object)
{
  MxBackgroundTask::release(object);
}

void MxBackgroundTask::stopAll()
{
  MxBackgroundTasks& tasks = MxBackgroundTasks::all();
  tasks.stop(tasks.select([](const Task&) { return true; }));
}
