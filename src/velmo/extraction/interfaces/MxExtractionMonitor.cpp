#include <velmo/extraction/interfaces/MxExtractionMonitor.h>

namespace {
using Clock = std::chrono::steady_clock;

Clock::time_point after(double seconds)
{
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(
                            std::chrono::duration<double>(seconds > 0 ? seconds : 0));
}
} // namespace

MxExtractionMonitor::MxExtractionMonitor(MiExtractorCallback* callback, const char* extractor,
                                         std::size_t phaseCount)
    : m_callback(callback), m_thread(std::this_thread::get_id())
{
  if (!m_callback) return;
  m_callback->beginExtract(extractor, phaseCount);
  m_next = after(m_callback->getEndStepCallPeriod());
}

MxExtractionMonitor::~MxExtractionMonitor()
{
  if (!m_callback) return;
  endPhase();
  m_callback->endExtract();
}

void MxExtractionMonitor::beginPhase(const char* name, std::size_t stepCount)
{
  if (!m_callback) return;
  endPhase();
  m_done = 0;
  m_inPhase = true;
  m_callback->beginPhase(name, stepCount);
}

void MxExtractionMonitor::endPhase()
{
  if (m_inPhase) m_callback->endPhase();
  m_inPhase = false;
}

void MxExtractionMonitor::report()
{
  if (!m_cancelled.load(std::memory_order_relaxed) && std::this_thread::get_id() == m_thread &&
      Clock::now() >= m_next)
  {
    m_next = after(m_callback->getEndStepCallPeriod());
    if (!m_callback->endStep(m_done.load(std::memory_order_relaxed))) m_cancelled = true;
  }
  if (m_cancelled.load(std::memory_order_relaxed)) throw MiCancellationException();
}
