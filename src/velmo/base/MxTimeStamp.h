#pragma once

#include <atomic>
#include <cstdint>

/// The process-wide counter from which everything that changes takes its stamp.
///
/// A stamp tells when the content it belongs to was last replaced; stamps are compared for equality
/// only. *Threads*: any; extractions in the background take stamps too.
class MxTimeStamp
{
public:
  /// The stamp of "nothing": no mesh, no set, no filter.
  static constexpr std::uint64_t kNone = ~std::uint64_t{0};

  /// Returns the counter's value and moves the counter on by one.
  static std::uint64_t take() { return m_timeStamp.fetch_add(1, std::memory_order_relaxed); }

  static std::atomic<std::uint64_t> m_timeStamp;
};
