#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

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

/// What was found out about meshes, given again to all users of one mesh while its stamps stay the
/// same and as long as somebody holds it. *Threads*: any.
template <class T>
class MxMeshMemory
{
public:
  std::shared_ptr<const T> recall(const MxMeshKey& key)
  {
    const std::lock_guard lock(m_mutex);
    return find(key);
  }
  /// What is known under the key, else what compute() answers, which is called without a lock: two
  /// threads that ask at once both compute, and the first to end has it for both.
  template <class Compute>
  std::shared_ptr<const T> remember(const MxMeshKey& key, const Compute& compute)
  {
    if (auto known = recall(key)) return known;
    std::shared_ptr<const T> made = compute();
    const std::lock_guard lock(m_mutex);
    if (auto known = find(key)) return known;
    m_known.push_back({key, made});
    return made;
  }

private:
  struct Entry
  {
    MxMeshKey key;
    std::weak_ptr<const T> what;
  };

  std::shared_ptr<const T> find(const MxMeshKey& key)
  {
    std::erase_if(m_known, [](const Entry& entry) { return entry.what.expired(); });
    for (const Entry& entry : m_known)
      if (entry.key == key)
        if (auto what = entry.what.lock()) return what;
    return nullptr;
  }

  std::mutex m_mutex;
  std::vector<Entry> m_known;
};
