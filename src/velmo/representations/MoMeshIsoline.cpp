#include <velmo/representations/MoMeshIsoline.h>

#include <velmo/extraction/extractors/MiIsolineExtract.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdIsoSet.h>
#include <velmo/representation/MdMeshMultiLinesRepresentation.h>

#include <Inventor/nodes/SoSeparator.h>

MO_NODE_SOURCE(MoMeshIsoline, MoMeshLineRepresentation)

namespace {

using Extractors = MdFlatExtractorFamily<MiIsolineExtractUnstructured, MiIsolineExtractIj>;

constexpr MdRepresentationTexts kTexts{
    .node = "MoMeshIsoline",
    .extractors = {"MiIsolineExtractUnstructured", "MiIsolineExtractIj", nullptr},
    .refusalFunction = "MoMeshIsoline::doExtract",
    .refusal = "Cannot compute isolines on this type of mesh."};

template <MeshType K>
class MdIsolineExtract final : public MdExtract<MdTraits<K, Extractors>>
{
  using Base = MdExtract<MdTraits<K, Extractors>>;

public:
  using typename Base::CellFilter, typename Base::Extractor;

  MdIsolineExtract(std::shared_ptr<Extractor> extractor, const MoMeshIsoline& node)
      : Base(std::move(extractor), kTexts.extractors[Base::kExtractorIndex]), m_node(node)
  {}

  /// Null without a set to follow.
  const MeXLineMeshes* extract(SoState* state, const CellFilter* filter)
  {
    m_hasLines = false;
    const int count = m_node.isovalues.getNum();
    if (count == 0) return nullptr;
    const MiTypedDataSet<double>* set = mdFindIsoSet<K>(
        m_node.getAttributesManager(), state, m_node.isoScalarSetId.getValue(), kTexts.node);
    if (!set) return nullptr;
    const float* values = m_node.isovalues.getValues(0);
    const std::vector<double> wide(values, values + count);
    m_hasLines = this->getExtractor().extractIsolines(wide, *set, filter);
    if (!m_hasLines) mdWarnOfIsoSet(kTexts.node);
    return m_hasLines ? &this->getExtractor().getLines() : nullptr;
  }
  const MeXLineMeshUnstructured* getExtract() const override
  {
    return m_hasLines ? Base::getExtract() : nullptr;
  }

private:
  const MoMeshIsoline& m_node;
  bool m_hasLines = false;
};

template <MeshType K>
class MdMeshIsoline final : public MdMeshMultiLinesRepresentation<MdIsolineExtract<K>>
{
  using Base = MdMeshMultiLinesRepresentation<MdIsolineExtract<K>>;

public:
  using typename Base::CellFilter, typename Base::Interface;

  MdMeshIsoline(MoMeshIsoline& node, const MdRepresentationTexts& texts)
      : Base(node, texts), m_node(node)
  {
    this->setBuilders(&node.getLineMeshes());
  }

protected:
  std::unique_ptr<MdIsolineExtract<K>> makeExtract(const Interface& mesh, bool parallel,
                                                   const MiTessellator*) override
  {
    return std::make_unique<MdIsolineExtract<K>>(
        MdIsolineExtract<K>::Extractor::getNewInstance(mesh, parallel), m_node);
  }
  const MeXLineMeshes* extractLines(SoState* state, const CellFilter* filter) override
  {
    return this->getExtract()->extract(state, filter);
  }
  void finishLines(std::size_t index, MdLineMesh& builder) override
  {
    // Signed, so that lines before the first major one count down to others.
    const int period = m_node.majorPeriod.getValue();
    const int distance = static_cast<int>(index) - static_cast<int>(m_node.firstMajor.getValue());
    const bool isMajor = period == 0 || distance % period == 0;
    builder.setLinePattern(isMajor ? m_node.majorLinePattern.getValue()
                                   : m_node.minorLinePattern.getValue());
  }

private:
  const MoMeshIsoline& m_node;
};

} // namespace

MoMeshIsoline::MoMeshIsoline()
{
  SO_NODE_CONSTRUCTOR(MoMeshIsoline);
  SO_NODE_ADD_EMPTY_MFIELD(isovalues);
  SO_NODE_ADD_FIELD(isoScalarSetId, (0));
  SO_NODE_ADD_FIELD(majorPeriod, (3));
  SO_NODE_ADD_FIELD(firstMajor, (0));
  SO_NODE_ADD_FIELD(majorLinePattern, (0xFFFF));
  SO_NODE_ADD_FIELD(minorLinePattern, (0x0F0F));
  m_lineMeshes = std::make_unique<MdLineMeshes>(getHiddenRoot());
}

MoMeshIsoline::~MoMeshIsoline() = default;

void MoMeshIsoline::clearBuilders()
{
  MoMeshLineRepresentation::clearBuilders();
  m_lineMeshes->clear();
}

void MoMeshIsoline::doExtract(SoAction* action)
{
  mdExtract<MdMeshIsoline>(*this, action, MxSurfaceKinds{}, kTexts);
}

MiIsolineExtractUnstructured* MoMeshIsoline::getUnstructuredExtractor() const
{
  return mdExtractor<MiIsolineExtractUnstructured>(*this);
}

MiIsolineExtractIj* MoMeshIsoline::getIjExtractor() const
{
  return mdExtractor<MiIsolineExtractIj>(*this);
}
