#pragma once

#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/toolkit/MxRefCounted.h>

#include <mutex>

/// Hands what an extractor tells on to the callback of the application, which may be exchanged at
/// any time.
///
/// *Threads*: any. setTarget waits for a call of the old target that is under way in another
/// thread, and none follows.
class MdUserExtractorCallback final : public MxRefCounted, public MiExtractorCallback
{
public:
  /// @param target  borrowed, null for nobody
  void setTarget(MiExtractorCallback* target)
  {
    const std::lock_guard lock(m_mutex);
    m_target = target;
  }
  MiExtractorCallback* getTarget() const
  {
    const std::lock_guard lock(m_mutex);
    return m_target;
  }

  /// Calls call(target) if the target is still this one.
  /// @return what it answers, `otherwise` when the target is another
  template <class Answer, class Call>
  Answer callIf(const MiExtractorCallback* expected, Answer otherwise, const Call& call) const
  {
    const std::lock_guard lock(m_mutex);
    return m_target && m_target == expected ? call(*m_target) : otherwise;
  }

  void beginExtract(const std::string& name, std::size_t phaseCount) override
  {
    const std::lock_guard lock(m_mutex);
    if (m_target) m_target->beginExtract(name, phaseCount);
  }
  void endExtract() override
  {
    const std::lock_guard lock(m_mutex);
    if (m_target) m_target->endExtract();
  }
  void beginPhase(const std::string& name, std::size_t stepCount) override
  {
    const std::lock_guard lock(m_mutex);
    if (m_target) m_target->beginPhase(name, stepCount);
  }
  void endPhase() override
  {
    const std::lock_guard lock(m_mutex);
    if (m_target) m_target->endPhase();
  }
  bool endStep(std::size_t stepsDone) override
  {
    const std::lock_guard lock(m_mutex);
    return !m_target || m_target->endStep(stepsDone);
  }
  double getEndStepCallPeriod() const override
  {
    const std::lock_guard lock(m_mutex);
    return m_target ? m_target->getEndStepCallPeriod()
                    : MiExtractorCallback::getEndStepCallPeriod();
  }

private:
  ~MdUserExtractorCallback() override = default;

  // A callback may exchange itself.
  mutable std::recursive_mutex m_mutex;
  MiExtractorCallback* m_target = nullptr;
};
