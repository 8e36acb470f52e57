#pragma once

#include <velmo/extraction/extractors/MxExtractorTable.h>
#include <velmo/extraction/extractors/MxResults.h>

/// A line set of an extraction and the data sets mapped onto it.
struct MxMappedLines
{
  std::shared_ptr<const MeXLineMeshUnstructured> mesh;
  MxAllMappedSets sets;
};

/// The base of extractors of several line sets: what every one of them can do. Its line sets are
/// never written again once they are shown, so that those who hold them are safe from the next
/// extraction.
template <class Interface, MeshType K>
class MxMultiLineExtractor : public Interface
{
public:
  using Kind = MxMeshKind<K>;
  using Mesh = typename Kind::Interface;
  using Filter = typename Kind::CellFilter;

  MxMultiLineExtractor(const Mesh& mesh, bool parallel, const MiTessellator*, const char* name)
      : m_mesh(mesh), m_state(parallel, name)
  {}

  void setCallback(MiExtractorCallback* callback) override { m_state.setCallback(callback); }
  const std::vector<std::string>& getWarnings() const override { return m_state.getWarnings(); }
  const MeXLineMeshes& getLines() const override { return m_result; }
  std::shared_ptr<const void> holdResults() const override
  {
    auto hold = std::make_shared<MxHold>();
    for (const auto& lines : m_shown) {
      hold->keep(lines->mesh);
      lines->sets.holdAll(*hold);
    }
    return hold;
  }

  const MeXDataSetI<double>* extractScalarSet(std::size_t index,
                                              const MiTypedDataSet<double>& set) override
  {
    return map(index, set);
  }
  const MeXDataSetI<MbVec3d>* extractVec3Set(std::size_t index,
                                             const MiTypedDataSet<MbVec3d>& set) override
  {
    return map(index, set);
  }
  const MeXDataSetI<std::string>* extractStringSet(std::size_t index,
                                                   const MiTypedDataSet<std::string>& set) override
  {
    return map(index, set);
  }

protected:
  const Mesh& mesh() const { return m_mesh; }
  MxExtractorState& state() { return m_state; }

  void showNothing()
  {
    m_shown.clear();
    m_result.clear();
  }
  /// Adds a line set to the result; one may be there several times.
  void show(double value, std::shared_ptr<MxMappedLines> lines)
  {
    m_result.add(value, lines->mesh);
    m_shown.push_back(std::move(lines));
  }

private:
  template <class T>
  const MeXDataSetI<T>* map(std::size_t index, const MiTypedDataSet<T>& set)
  {
    if (index >= m_shown.size()) return nullptr;
    MxMappedLines& lines = *m_shown[index];
    return lines.sets.template of<T>().map(set, lines.mesh->provenance, Kind::kIndexing,
                                           Kind::kNodeIndexing, m_state);
  }

  const Mesh& m_mesh;
  MxExtractorState m_state;
  MeXLineMeshes m_result;
  std::vector<std::shared_ptr<MxMappedLines>> m_shown; ///< those of m_result
};
