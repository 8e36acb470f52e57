#pragma once

#include <velmo/mesh/MeXLineMeshes.h>
#include <velmo/render/MdLineMeshes.h>
#include <velmo/representation/MdExtractBy.h>
#include <velmo/representation/MdMeshRepresentationFor.h>

#include <algorithm>

/// The implementation of a representation that extracts several sets of lines, each drawn by a
/// builder of its own.
///
/// Its extracted mesh, for whom it is the source of a mesh, is the first set.
template <class Extract>
class MdMeshMultiLinesRepresentation : public MdMeshRepresentationFor<Extract>
{
  using Base = MdMeshRepresentationFor<Extract>;

public:
  using typename Base::ColorSets;

  MdMeshMultiLinesRepresentation(typename Base::Node& node, const MdRepresentationTexts& texts)
      : Base(node, texts)
  {
    setBuilders(&node.getLineMeshes());
  }

  /// Where the results go; borrowed, null for what is not there.
  void setBuilders(MdLineMeshes* lines) { m_lines = lines; }

  void rayPick(SoRayPickAction* action) override
  {
    if (m_lines) m_lines->rayPick(action);
  }

protected:
  using typename Base::Request;

  /// Called for every set and its builder when they are up to date.
  virtual void finishLines(std::size_t index, MdLineMesh& builder) = 0;

  void extract(SoState* state, const Request& request, const ColorSets& colorSets) override
  {
    const bool isCurrent = this->bringUpToDate(state, request, colorSets, true);
    if (!isCurrent && !this->canMap(request)) return;
    const MeXLineMeshes* lines =
        this->hasMesh() ? &this->getExtract()->getExtractor().getLines() : nullptr;
    const std::size_t count = lines ? lines->size() : 0;
    std::uint64_t latest = 0;
    for (std::size_t i = 0; i < count; ++i)
      latest = std::max(latest, (*lines)[i].getTopology().getTimeStamp());
    if (count > 0) this->postExtractorWarnings(latest);
    if (!m_lines) {
      if (count > 0) this->warn("Cannot find child line nodes.");
      return;
    }
    m_lines->resize(count);
    std::vector<const MeXDataSetI<double>*> sets;
    for (std::size_t i = 0; i < count; ++i) {
      sets.clear();
      for (const MiTypedDataSet<double>* set : colorSets)
        sets.push_back(this->getExtract()->extractScalarSet(i, set, this->getWarnings()));
      (*m_lines)[i].set(state, (*lines)[i], sets, this->getNode().getBuildCallback(),
                        this->getResult());
      finishLines(i, (*m_lines)[i]);
    }
  }

private:
  MdLineMeshes* m_lines = nullptr;
};
