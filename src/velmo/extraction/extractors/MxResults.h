#pragma once

#include <velmo/extraction/algorithms/map/MxDataMap.h>
#include <velmo/extraction/extractors/MxExtractorState.h>

#include <atomic>
#include <map>
#include <memory>
#include <utility>
#include <vector>

/// A result that others may hold while its extractor goes on.
struct MxHoldable
{
  std::atomic<std::size_t> holderCount{0};
};

/// Empties an extracted mesh; its cells, if it had any, would have `size` nodes.
template <class Mesh>
void clearExtracted(Mesh& mesh, std::size_t size)
{
  mesh.topology.setUniform(0, size);
  mesh.topology.touch();
  mesh.provenance = {};
  mesh.geometry.origin = {};
  mesh.geometry.points().clear();
  mesh.geometry.touch(false);
}

/// Holds results of an extractor: see MiExtractor::holdResults.
class MxHold
{
public:
  MxHold() = default;
  MxHold(const MxHold&) = delete;
  MxHold& operator=(const MxHold&) = delete;
  ~MxHold()
  {
    // What the holder has read is read before the extractor writes there again.
    for (const auto& result : m_results)
      result->holderCount.fetch_sub(1, std::memory_order_release);
  }

  void add(std::shared_ptr<MxHoldable> result)
  {
    m_results.push_back(std::move(result));
    m_results.back()->holderCount.fetch_add(1, std::memory_order_relaxed);
  }
  /// What is never written again needs to be kept only.
  void keep(std::shared_ptr<const void> result) { m_kept.push_back(std::move(result)); }

private:
  std::vector<std::shared_ptr<MxHoldable>> m_results;
  std::vector<std::shared_ptr<const void>> m_kept;
};

/// The sets that were mapped onto one extracted mesh, by source set. A mapped set is never written
/// again.
template <class T>
class MxMappedSets
{
public:
  /// @throw std::bad_alloc, MiCancellationException
  const MeXDataSetI<T>* map(const MiTypedDataSet<T>& set, const MeXProvenance& provenance,
                            MxIndexing cells, MxIndexing nodes, const MxExtractorState& extractor)
  {
    const std::uint64_t stamp = set.getTimeStamp();
    if (const auto known = m_entries.find(&set);
        known != m_entries.end() && known->second.stamp == stamp)
      return known->second.mapped.get();
    MxExtractionMonitor monitor = extractor.patientMonitor();
    monitor.beginPhase("Mapping values", 1);
    std::shared_ptr<const MeXDataSetI<T>> mapped =
        mapDataSet(provenance, set, cells, nodes, extractor.isParallel());
    Entry& entry = m_entries[&set];
    entry = {stamp, std::move(mapped)};
    return entry.mapped.get();
  }
  void clear() { m_entries.clear(); }
  void holdAll(MxHold& hold) const
  {
    for (const auto& [set, entry] : m_entries)
      hold.keep(entry.mapped);
  }

private:
  struct Entry
  {
    std::uint64_t stamp = 0;
    std::shared_ptr<const MeXDataSetI<T>> mapped;
  };
  std::map<const void*, Entry> m_entries;
};

/// The sets of all types that were mapped onto one extracted mesh.
struct MxAllMappedSets
{
  MxMappedSets<double> scalars;
  MxMappedSets<MbVec3d> vectors;
  MxMappedSets<std::string> strings;

  template <class T>
  auto& of()
  {
    if constexpr (std::is_same_v<T, double>)
      return scalars;
    else if constexpr (std::is_same_v<T, MbVec3d>)
      return vectors;
    else
      return strings;
  }
  void clear()
  {
    scalars.clear();
    vectors.clear();
    strings.clear();
  }
  void holdAll(MxHold& hold) const
  {
    scalars.holdAll(hold);
    vectors.holdAll(hold);
    strings.holdAll(hold);
  }
};

/// Where an extractor writes one of its results: the same memory again and again, but another one
/// while somebody holds what stands there.
template <class Mesh>
class MxResult
{
public:
  const Mesh& mesh() const { return m_present->mesh; }
  MxAllMappedSets& sets() { return m_present->sets; }

  /// A mesh to write to, with anything in it; the present one where nobody holds it.
  Mesh& renew()
  {
    if (isHeld(*m_present)) {
      if (!m_spare || isHeld(*m_spare)) m_spare = std::make_shared<Content>();
      std::swap(m_present, m_spare);
    }
    m_present->sets.clear();
    return m_present->mesh;
  }
  /// The mesh that renew gave last.
  Mesh& writable() { return m_present->mesh; }

  void holdAll(MxHold& hold) const
  {
    hold.add(m_present);
    m_present->sets.holdAll(hold);
  }

private:
  struct Content : MxHoldable
  {
    Mesh mesh;
    MxAllMappedSets sets;
  };
  static bool isHeld(const Content& content)
  {
    return content.holderCount.load(std::memory_order_acquire) > 0;
  }

  std::shared_ptr<Content> m_present = std::make_shared<Content>();
  std::shared_ptr<Content> m_spare;
};
