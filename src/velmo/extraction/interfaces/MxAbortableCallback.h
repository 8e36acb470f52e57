#pragma once

#include <velmo/extraction/interfaces/MiExtractorCallback.h>

#include <atomic>

/// A callback whose extraction another thread may stop. Where `endStep` is asked once a period,
/// this is looked at in every step of every helper, so that little time passes until all have
/// stopped.
class MxAbortableCallback : public MiExtractorCallback
{
public:
  /// *Threads*: any.
  void requestAbort() { m_isAbortRequested.store(true, std::memory_order_relaxed); }
  bool isAbortRequested() const { return m_isAbortRequested.load(std::memory_order_relaxed); }

private:
  std::atomic<bool> m_isAbortRequested{false};
};
