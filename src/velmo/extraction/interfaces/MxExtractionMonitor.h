#pragma once

#include <velmo/extraction/interfaces/MiExtractorCallback.h>

#include <atomic>
#include <chrono>
#include <thread>

/// What an algorithm tells while it runs. Made by an extractor around one extraction.
///
/// `step` may be called from any thread; the callback hears of it only in the thread that made the
/// monitor, at most once a period. Once the callback has said stop, every further step throws.
class MxExtractionMonitor
{
public:
  /// @param callback  null for nobody
  MxExtractionMonitor(MiExtractorCallback* callback, const char* extractor, std::size_t phaseCount);
  ~MxExtractionMonitor();
  MxExtractionMonitor(const MxExtractionMonitor&) = delete;
  MxExtractionMonitor& operator=(const MxExtractionMonitor&) = delete;

  /// Begins the next phase and ends the one before. Called in the monitor's own thread.
  void beginPhase(const char* name, std::size_t stepCount);

  /// `done` more steps of the phase are done; called once a block of items.
  /// @throw MiCancellationException
  void step(std::size_t done = 1)
  {
    if (!m_callback) return;
    m_done.fetch_add(done, std::memory_order_relaxed);
    report();
  }

private:
  void report();
  void endPhase();

  MiExtractorCallback* m_callback;
  std::thread::id m_thread;
  std::chrono::steady_clock::time_point m_next;
  std::atomic<std::size_t> m_done{0};
  std::atomic<bool> m_cancelled{false};
  bool m_inPhase = false;
};
