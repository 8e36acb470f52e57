#include <velmo/representations/MoMeshIsoline.h>

#include <velmo/extraction/extractors/MiIsolineExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdIsoSet.h>
#include <velmo/representation/MdMeshMultiLinesRepresentation.h>

#include <Inventor/nodes/SoSeparator.h>

MO_NODE_SOURCE(MoMeshIsoline, MoMeshLineRepresentation)

namespace {

struct Isoline
{
  using Node = MoMeshIsoline;
  using Extractors = MdFlatExtractorFamily<MiIsolineExtractUnstructured, MiIsolineExtractIj>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshIsoline",
      .extractors = {"MiIsolineExtractUnstructured", "MiIsolineExtractIj", nullptr},
      .refusalFunction = "MoMeshIsoline::doExtract",
      .refusal = "Cannot compute isolines on this type of mesh."};

  template <MeshType>
  struct Arguments
  {
    const MiTypedDataSet<double>* set;
    std::uint64_t setStamp;
    std::vector<double> values;
    bool operator==(const Arguments&) const = default;
  };

  template <MeshType K>
  static std::optional<Arguments<K>> read(SoState* state, const Node& node)
  {
    const int count = node.isovalues.getNum();
    if (count == 0) return std::nullopt;
    const auto* set =
        mdFindIsoSet<K>(node, state, node.isoScalarSetId.getValue(), kTexts.node, false);
    if (!set) return std::nullopt;
    const float* values = node.isovalues.getValues(0);
    return Arguments<K>{set, set->getTimeStamp(), {values, values + count}};
  }
  template <class Extractor, class At, class Filter>
  static bool extractMesh(Extractor& extractor, const At& at, const Filter* filter)
  {
    return extractor.extractIsolines(at.values, *at.set, filter);
  }
  static void refuse() { SoDebugError::postWarning(kTexts.node, "%s", kMdNoIsoSet); }
};

template <MeshType K>
class MdMeshIsoline final : public MdMeshMultiLinesRepresentation<MdExtractBy<Isoline, K>>
{
public:
  using MdMeshMultiLinesRepresentation<MdExtractBy<Isoline, K>>::MdMeshMultiLinesRepresentation;

protected:
  void finishLines(std::size_t index, MdLineMesh& builder) override
  {
    const MoMeshIsoline& node = this->getNode();
    // Signed, so that lines before the first major one count down to others.
    const int period = node.majorPeriod.getValue();
    const int distance = static_cast<int>(index) - static_cast<int>(node.firstMajor.getValue());
    const bool isMajor = period == 0 || distance % period == 0;
    builder.setLinePattern(isMajor ? node.majorLinePattern.getValue()
                                   : node.minorLinePattern.getValue());
  }
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
  mdExtract<MdMeshIsoline>(*this, action, MxSurfaceKinds{}, Isoline::kTexts);
}

MiIsolineExtractUnstructured* MoMeshIsoline::getUnstructuredExtractor() const
{
  return mdExtractor<MiIsolineExtractUnstructured>(*this);
}

MiIsolineExtractIj* MoMeshIsoline::getIjExtractor() const
{
  return mdExtractor<MiIsolineExtractIj>(*this);
}
