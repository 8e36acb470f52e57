#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

/// Structures that several users of one mesh or field have in common: each lives as long as one of
/// its users holds it, and is found again by a key until then. *Threads*: any.
template <class Key, class Value>
class MxShared
{
public:
  /// Null when nobody holds one.
  std::shared_ptr<const Value> find(const Key& key)
  {
    const std::lock_guard lock(m_mutex);
    return findLocked(key);
  }
  void keep(const Key& key, const std::shared_ptr<const Value>& value)
  {
    const std::lock_guard lock(m_mutex);
    m_entries.emplace_back(key, value);
  }
  /// What is known under the key, else what compute() answers, which is called without a lock: two
  /// threads that ask at once both compute, and the first to end has it for both.
  template <class Compute>
  std::shared_ptr<const Value> remember(const Key& key, const Compute& compute)
  {
    if (auto known = find(key)) return known;
    std::shared_ptr<const Value> made = compute();
    const std::lock_guard lock(m_mutex);
    if (auto known = findLocked(key)) return known;
    m_entries.emplace_back(key, made);
    return made;
  }

private:
  std::shared_ptr<const Value> findLocked(const Key& key)
  {
    std::erase_if(m_entries, [](const auto& entry) { return entry.second.expired(); });
    for (const auto& [known, value] : m_entries)
      if (known == key)
        if (auto held = value.lock()) return held;
    return nullptr;
  }

  std::mutex m_mutex;
  std::vector<std::pair<Key, std::weak_ptr<const Value>>> m_entries;
};

/// Names a state of a mesh. Addresses and counts stand beside the stamps so that a stale stamp
/// cannot vouch for other arrays.
struct MxMeshKey
{
  const void* topology;
  std::uint64_t topologyStamp;
  const void* geometry;
  std::uint64_t geometryStamp;
  std::size_t cellCount, nodeCount;
  const void* data;
  friend bool operator==(const MxMeshKey&, const MxMeshKey&) = default;
};
