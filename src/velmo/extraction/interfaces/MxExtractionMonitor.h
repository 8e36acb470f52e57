#pragma once

#include <velmo/base/MxPoll.h>
#include <velmo/extraction/interfaces/MiExtractorCallback.h>

#include <atomic>
#include <chrono>
#include <thread>

class MxAbortableCallback;

/// What an algorithm tells while it runs. Made by an extractor around one extraction, in the thread
/// that asked for it.
///
/// It is the poll of that thread while it lives: each piece of a loop asks it, in any thread, and
/// algorithms have no need to. The callback hears of it only in the thread that made the monitor,
/// about twice a period. Once the callback has said stop, all that ask are answered by
/// MiCancellationException.
class MxExtractionMonitor final : public MxPoll
{
public:
  /// @param callback  null for nobody
  MxExtractionMonitor(MiExtractorCallback* callback, const char* extractor, std::size_t phaseCount);
  /// For work of one phase: the callback hears of it only when it lasts.
  MxExtractionMonitor(MiExtractorCallback* callback, const char* extractor);
  ~MxExtractionMonitor();
  MxExtractionMonitor(const MxExtractionMonitor&) = delete;
  MxExtractionMonitor& operator=(const MxExtractionMonitor&) = delete;

  /// Begins the next phase and ends the one before. Called in the monitor's own thread.
  /// @throw MiCancellationException
  void beginPhase(const char* name, std::size_t stepCount);

  /// `done` more steps of the phase are done; called once per block of items, from any thread.
  /// @throw MiCancellationException
  void step(std::size_t done = 1)
  {
    if (!m_callback) return;
    m_done.fetch_add(done, std::memory_order_relaxed);
    poll();
  }
  void poll() override;

private:
  void begin();
  void setNext(double seconds);

  MiExtractorCallback* m_callback;
  const MxAbortableCallback* m_abortable; // the same, where it is one
  const char* m_extractor;
  const char* m_phase = nullptr;
  std::size_t m_phaseCount;
  std::thread::id m_thread;
  std::chrono::steady_clock::time_point m_next;
  std::atomic<std::size_t> m_done{0};
  std::size_t m_stepCount = 0;
  std::atomic<bool> m_cancelled{false};
  bool m_begun = false;
  MxPoll::Scope m_scope;
};
