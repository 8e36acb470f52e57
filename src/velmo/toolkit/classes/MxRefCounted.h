#pragma once

#include <atomic>

/// Base of shared objects: made with a count of zero, deleted by the unref that brings it back
/// there. *Threads*: the count may be changed from several threads.
class MxRefCounted
{
public:
  MxRefCounted() = default;
  // A copy is an object of its own, with a count of its own.
  MxRefCounted(const MxRefCounted&) : MxRefCounted() {}
  MxRefCounted& operator=(const MxRefCounted&) { return *this; }

  void ref() const { m_count.fetch_add(1, std::memory_order_relaxed); }
  void unref() const
  {
    if (m_count.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  /// Lowers the count without deleting: for handing on an object that nobody holds yet.
  void unrefNoDelete() const { m_count.fetch_sub(1, std::memory_order_acq_rel); }
  int getRefCount() const { return m_count.load(std::memory_order_relaxed); }

protected:
  virtual ~MxRefCounted() = default;

private:
  mutable std::atomic<int> m_count{0};
};
