#pragma once

#include <velmo/base/MxTimeStamp.h>
#include <velmo/extraction/algorithms/check/MxMeshCheck.h>
#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/extraction/interfaces/MxExtractionMonitor.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What every extractor has beside its mesh: how it works, who hears of it, and what it had to
/// leave out.
class MxExtractorState
{
public:
  /// @param name  the extractor's, as callbacks hear it; a literal
  MxExtractorState(bool parallel, const char* name) : m_parallel(parallel), m_name(name) {}

  bool isParallel() const { return m_parallel; }
  void setCallback(MiExtractorCallback* callback) { m_callback = callback; }
  MxExtractionMonitor monitor(std::size_t phaseCount) const
  {
    return MxExtractionMonitor(m_callback, m_name, phaseCount);
  }

  /// For short work of one phase that is reported only when it takes long.
  MxExtractionMonitor patientMonitor() const { return MxExtractionMonitor(m_callback, m_name); }

  const std::vector<std::string>& getWarnings() const
  {
    m_warningsRead = true;
    return m_warnings;
  }
  /// An extraction begins: warnings that were read are not told again.
  void forgetReadWarnings()
  {
    if (m_warningsRead) m_warnings.clear();
    m_warningsRead = false;
  }
  void warn(std::vector<std::string> warnings)
  {
    for (std::string& text : warnings)
      if (std::find(m_warnings.begin(), m_warnings.end(), text) == m_warnings.end())
        m_warnings.push_back(std::move(text));
  }
  /// Tells what a check found, once a check.
  void warnOf(std::shared_ptr<const MxMeshCheck> check)
  {
    if (check != m_check) warn(check->describe());
    m_check = std::move(check);
  }

private:
  const bool m_parallel;
  const char* const m_name;
  MiExtractorCallback* m_callback = nullptr;
  std::shared_ptr<const MxMeshCheck> m_check;
  std::vector<std::string> m_warnings;
  mutable bool m_warningsRead = false;
};

/// The state of the mesh, of the filter and of the tessellator that an extraction worked on.
struct MxInputs
{
  std::uint64_t topology, geometry, filterStamp, tessellator;
  const void* filter;

  template <class Mesh, class Filter>
  static MxInputs of(const Mesh& mesh, const Filter* filter,
                     const MiTessellator* tessellator = nullptr)
  {
    return {mesh.getTopology().getTimeStamp(), mesh.getGeometry().getTimeStamp(),
            filter ? filter->getTimeStamp() : MxTimeStamp::kNone,
            tessellator ? tessellator->getTimeStamp() : MxTimeStamp::kNone, filter};
  }
  friend bool operator==(const MxInputs&, const MxInputs&) = default;
};
