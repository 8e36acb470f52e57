#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MxAbortableCallback.h>
#include <velmo/representation/caches/MdExtractionThreadCache.h>
#include <velmo/representation/MdUserExtractorCallback.h>
#include <velmo/toolkit/background/MxBackgroundTask.h>
#include <velmo/toolkit/background/MxTaskWatch.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <memory>
#include <utility>
#include <vector>

class MoMeshRepresentation;
class SoSensor;
class SoState;

/// What background extraction has to know of an extraction, whatever is extracted: whether a task
/// runs or waits to be collected, whether it is still wanted, and who hears of its end.
///
/// From the start of a task on it is *running*, until the traversing thread has collected it; one
/// runs at a time. *Threads*: the traversing thread's, but for the ProgressIndicator.
class MdExtractionThreadBase
{
public:
  /// What the extractor of a task tells, in the worker; handed on to the callback that the owner
  /// had when the task began, as long as it is still the owner's.
  class ProgressIndicator final
      : public MdForwardingCallback<ProgressIndicator, MxAbortableCallback>
  {
  public:
    explicit ProgressIndicator(SoRef<MdUserExtractorCallback> user);

    /// False exactly when an abort was requested; the user's callback requests one by its own
    /// false.
    bool endStep(std::size_t stepsDone) override;
    /// 0.3 seconds, or less where the user's callback asks for less.
    double getEndStepCallPeriod() const override;

    template <class Answer, class Call>
    Answer forward(Answer otherwise, const Call& call) const
    {
      return m_user->callIf(m_target, otherwise, call);
    }

  private:
    using Forwarding = MdForwardingCallback<ProgressIndicator, MxAbortableCallback>;

    SoRef<MdUserExtractorCallback> m_user;
    MiExtractorCallback* m_target;
  };

  /// @param owner  touched when a task has ended; owns this object
  explicit MdExtractionThreadBase(MoMeshRepresentation& owner);
  /// Aborts a task and waits for it.
  ~MdExtractionThreadBase();
  MdExtractionThreadBase(const MdExtractionThreadBase&) = delete;
  MdExtractionThreadBase& operator=(const MdExtractionThreadBase&) = delete;

  /// Extractions run in the background from now on, wherever they can.
  void setAsynchronous(bool asynchronous) { m_isAsynchronous = asynchronous; }
  bool isAsynchronous() const { return m_isAsynchronous; }
  bool isRunning() const { return m_task != nullptr; }
  /// The running task has ended and waits to be collected.
  bool hasEnded() const { return m_task && m_task->hasEnded(); }
  /// The state is still what the task began with, as far as the cache knows.
  bool isCacheValid(const SoState* state) const { return m_cache && m_cache->isValid(state); }

  /// The running task's result is not wanted: it will end soon, and what it made is dropped.
  void requestAbort();
  /// Waits for the running task, if there is one.
  void wait() const;

protected:
  /// What the work tells of its end beside what it throws.
  struct Outcome
  {
    bool cancelled = false; ///< written by the worker before the task ends
  };

  void start(SoState* state, MxBackgroundTask::Inputs inputs, std::shared_ptr<Outcome> outcome,
             std::function<void()> work, std::shared_ptr<ProgressIndicator> progress);
  /// Ends the running state of a task that has ended.
  /// @return whether its result is wanted
  /// @throw what the task threw, when it is wanted
  bool finish();
  SoRef<MdUserExtractorCallback> getUserCallback() const;

private:
  static void updateShapeSensorCB(void* self, SoSensor* sensor);

  MoMeshRepresentation& m_owner;
  bool m_isAsynchronous = false;
  std::shared_ptr<MxBackgroundTask> m_task;
  std::shared_ptr<Outcome> m_outcome;
  SoRef<MdExtractionThreadCache> m_cache;
  MxTaskWatch m_watch;
};

/// Runs the extractions of one implementation object in the background, where it is asked to.
///
/// @tparam Extract  an MdExtract with arguments of its own; each task has a new one, so that what
///                  the last one extracted can be drawn, coloured and asked while the task runs
template <class Extract>
class MdExtractionThread : public MdExtractionThreadBase
{
public:
  using CellFilter = typename Extract::CellFilter;
  using ColorSets = std::vector<const MiTypedDataSet<double>*>;

  using MdExtractionThreadBase::MdExtractionThreadBase;

  /// Has a worker extract and map the colour sets. Nothing may run yet.
  /// @param extract  told what to extract; the filter and the sets are borrowed as inputs are
  void start(SoState* state, std::unique_ptr<Extract> extract, const CellFilter* filter,
             const ColorSets& colorSets, MxBackgroundTask::Inputs inputs)
  {
    auto progress = std::make_shared<ProgressIndicator>(getUserCallback());
    extract->getExtractor().setCallback(progress.get());
    m_extract = std::move(extract);
    auto outcome = std::make_shared<Outcome>();
    MdExtractionThreadBase::start(state, std::move(inputs), outcome,
                                  ExtractionTask{m_extract, filter, colorSets, progress, outcome},
                                  progress);
  }

  /// Takes what an ended task extracted; null when it was aborted or cancelled.
  /// @throw what the task threw
  std::shared_ptr<Extract> collect()
  {
    std::shared_ptr<Extract> extract = std::exchange(m_extract, nullptr);
    if (!finish()) return nullptr;
    extract->getExtractor().setCallback(nullptr);
    return extract;
  }

private:
  /// What the worker does. It calls nothing of the toolkit.
  struct ExtractionTask
  {
    std::shared_ptr<Extract> extract;
    const CellFilter* filter;
    ColorSets colorSets;
    std::shared_ptr<ProgressIndicator> progress;
    std::shared_ptr<Outcome> outcome;

    void execute() const
    {
      extract->extractMesh(filter);
      for (const MiTypedDataSet<double>* set : colorSets) {
        if (progress->isAbortRequested()) throw MiCancellationException();
        extract->prepareScalarSet(set);
      }
    }
    void operator()() const
    {
      try {
        execute();
      } catch (const MiCancellationException&) {
        outcome->cancelled = true;
      }
    }
  };

  std::shared_ptr<Extract> m_extract; // of the running task; the worker's until it has ended
};
