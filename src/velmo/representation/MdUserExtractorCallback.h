#pragma once

#include <velmo/representation/MdForwardingCallback.h>
#include <velmo/toolkit/classes/MxRefCounted.h>

#include <mutex>

/// Hands what an extractor tells on to the callback of the application, which may be exchanged at
/// any time.
///
/// *Threads*: any. setTarget waits for a call of the old target that is under way in another
/// thread, and none follows.
class MdUserExtractorCallback final : public MxRefCounted,
                                      public MdForwardingCallback<MdUserExtractorCallback>
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

  /// Calls call(target), if there is a target and it is still this one.
  /// @return what it answers, `otherwise` when the target is another
  template <class Answer, class Call>
  Answer callIf(const MiExtractorCallback* expected, Answer otherwise, const Call& call) const
  {
    const std::lock_guard lock(m_mutex);
    return m_target && m_target == expected ? call(*m_target) : otherwise;
  }
  template <class Answer, class Call>
  Answer forward(Answer otherwise, const Call& call) const
  {
    const std::lock_guard lock(m_mutex);
    return m_target ? call(*m_target) : otherwise;
  }

private:
  ~MdUserExtractorCallback() override = default;

  // A callback may exchange itself.
  mutable std::recursive_mutex m_mutex;
  MiExtractorCallback* m_target = nullptr;
};
