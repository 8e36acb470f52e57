#pragma once

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
    std::erase_if(m_entries, [](const auto& entry) { return entry.second.expired(); });
    for (const auto& [known, value] : m_entries)
      if (known == key)
        if (auto held = value.lock()) return held;
    return nullptr;
  }
  void keep(const Key& key, const std::shared_ptr<const Value>& value)
  {
    const std::lock_guard lock(m_mutex);
    m_entries.emplace_back(key, value);
  }

private:
  std::mutex m_mutex;
  std::vector<std::pair<Key, std::weak_ptr<const Value>>> m_entries;
};
