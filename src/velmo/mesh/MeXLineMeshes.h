#pragma once

#include <velmo/mesh/MeXMesh.h>

#include <memory>
#include <vector>

/// Line sets of one extraction that are drawn apart, such as the lines of several values: each an
/// extracted mesh of its own with the number that it belongs to. Equal numbers share one mesh.
class MeXLineMeshes
{
public:
  struct Entry
  {
    double value = 0;
    std::shared_ptr<const MeXLineMeshUnstructured> lines;
  };

  std::size_t size() const { return m_entries.size(); }
  bool empty() const { return m_entries.empty(); }
  const MeXLineMeshUnstructured& operator[](std::size_t index) const
  {
    return *m_entries[index].lines;
  }
  double getValue(std::size_t index) const { return m_entries[index].value; }
  std::vector<Entry>::const_iterator begin() const { return m_entries.begin(); }
  std::vector<Entry>::const_iterator end() const { return m_entries.end(); }

  /// For the extractor.
  void clear() { m_entries.clear(); }
  void add(double value, std::shared_ptr<const MeXLineMeshUnstructured> lines)
  {
    m_entries.push_back({value, std::move(lines)});
  }

private:
  std::vector<Entry> m_entries;
};
