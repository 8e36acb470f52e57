#include <velmo/extraction/interfaces/MxExtractionMonitor.h>

#include <velmo/extraction/interfaces/MxAbortableCallback.h>

#include <algorithm>

namespace {
using Clock = std::chrono::steady_clock;

/// Seconds for which short work is not told of.
constexpr double kPatience = 0.1;
/// The part of a period after which a call is due: the rest is for the work in hand.
constexpr double kDue = 0.6;
} // namespace

MxExtractionMonitor::MxExtractionMonitor(MiExtractorCallback* callback, const char* extractor,
                                         std::size_t phaseCount)
    : m_callback(callback), m_abortable(dynamic_cast<const MxAbortableCallback*>(callback)),
      m_extractor(extractor), m_phaseCount(phaseCount), m_thread(std::this_thread::get_id()),
      m_scope(callback ? this : nullptr)
{
  if (m_callback) begin();
}

MxExtractionMonitor::MxExtractionMonitor(MiExtractorCallback* callback, const char* extractor)
    : m_callback(callback), m_abortable(dynamic_cast<const MxAbortableCallback*>(callback)),
      m_extractor(extractor), m_phaseCount(1), m_thread(std::this_thread::get_id()),
      m_scope(callback ? this : nullptr)
{
  if (m_callback) setNext(kPatience);
}

MxExtractionMonitor::~MxExtractionMonitor()
{
  if (!m_begun) return;
  const Scope quiet(nullptr);
  if (m_phase) m_callback->endPhase();
  m_callback->endExtract();
}

// What a callback does, which may be another extraction, is its own.
void MxExtractionMonitor::begin()
{
  const Scope quiet(nullptr);
  m_callback->beginExtract(m_extractor, m_phaseCount);
  m_begun = true;
  if (m_phase) m_callback->beginPhase(m_phase, m_stepCount);
  setNext(kDue * m_callback->getEndStepCallPeriod());
}

void MxExtractionMonitor::beginPhase(const char* name, std::size_t stepCount)
{
  if (!m_callback) return;
  {
    const Scope quiet(nullptr);
    if (m_begun && m_phase) m_callback->endPhase();
    m_done = 0;
    m_stepCount = stepCount;
    m_phase = name;
    if (m_begun) m_callback->beginPhase(name, stepCount);
  }
  poll();
}

void MxExtractionMonitor::poll()
{
  if (m_abortable && m_abortable->isAbortRequested()) m_cancelled = true;
  if (!m_cancelled.load(std::memory_order_relaxed) && std::this_thread::get_id() == m_thread &&
      Clock::now() >= m_next)
  {
    const Scope quiet(nullptr);
    if (!m_begun) begin();
    const std::size_t done = std::min(m_done.load(std::memory_order_relaxed), m_stepCount);
    if (!m_callback->endStep(done)) m_cancelled = true;
    setNext(kDue * m_callback->getEndStepCallPeriod());
  }
  if (m_cancelled.load(std::memory_order_relaxed)) throw MiCancellationException();
}

void MxExtractionMonitor::setNext(double seconds)
{
  // An hour is as good as any longer period, and the clock can count it; not-a-number is none.
  const std::chrono::duration<double> wait(seconds > 0 ? std::min(seconds, 3600.0) : 0.0);
  m_next = Clock::now() + std::chrono::duration_cast<Clock::duration>(wait);
}
