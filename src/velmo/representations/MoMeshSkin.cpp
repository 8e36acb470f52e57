#include <velmo/representations/MoMeshSkin.h>

#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

#include <limits>

MO_NODE_SOURCE(MoMeshSkin, MoMeshSurfaceRepresentation)

namespace {

using Extractors =
    MdExtractorFamily<MiSkinExtractUnstructured, MiSkinExtractHexahedronIjk, MiSkinExtractIjk>;

constexpr MdRepresentationTexts kTexts{
    .node = "MoMeshSkin",
    .extractors = {"MiSkinExtractUnstructured", "MiSkinExtractHexahedronIjk", "MiSkinExtractIjk"},
    .refusalFunction = "MoMeshSkin::doExtract",
    .refusal = "Cannot compute skins on this type of mesh."};

constexpr std::size_t kNoBound = std::numeric_limits<std::size_t>::max();

// The bounds of the fields are inclusive, those of the extractor half-open. The step from the one
// to the other is made in 32 bits: the largest value wraps to 0, which leaves nothing.
std::size_t boundOf(std::uint32_t value, bool upper)
{
  return upper ? static_cast<std::uint32_t>(value + 1u) : value;
}

template <class Index>
Index boundsOf(const SoMFUInt32& field, bool upper)
{
  if constexpr (std::is_same_v<Index, std::size_t>) {
    return field.getNum() == 1 ? boundOf(field[0], upper) : kNoBound;
  } else {
    if (field.getNum() != 3) return {kNoBound, kNoBound, kNoBound};
    return {boundOf(field[0], upper), boundOf(field[1], upper), boundOf(field[2], upper)};
  }
}

template <MeshType K>
class MdSkinExtract final : public MdExtract<MdTraits<K, Extractors>>
{
  using Base = MdExtract<MdTraits<K, Extractors>>;
  using Index =
      std::conditional_t<MxMeshKind<K>::kIndexing == MxIndexing::I, std::size_t, MbIndex3>;

public:
  using typename Base::CellFilter;
  using typename Base::Extractor;

  MdSkinExtract(std::shared_ptr<Extractor> extractor, const MoMeshSkin& node)
      : Base(std::move(extractor), kTexts.extractors[Base::kExtractorIndex]), m_node(node)
  {}

  const MeXSurfaceMeshUnstructured* extractSurface(SoState*, const CellFilter* filter)
  {
    updateCellRange();
    return &this->getExtractor().extractSkin(filter);
  }
  const MeXLineMeshUnstructured* extractLine(SoState*, const CellFilter* filter) override
  {
    updateCellRange();
    return &this->getExtractor().extractLine(filter);
  }
  const MeXPointMeshCurvilinear* extractPoints(SoState*, const CellFilter* filter) override
  {
    updateCellRange();
    return &this->getExtractor().extractPoints(filter);
  }

private:
  void updateCellRange()
  {
    this->getExtractor().clearCellRanges();
    this->getExtractor().setCellRange(boundsOf<Index>(m_node.minCellRanges, false),
                                      boundsOf<Index>(m_node.maxCellRanges, true));
  }

  const MoMeshSkin& m_node;
};

template <MeshType K>
using MdMeshSkin = MdMeshSurfaceOf<MdSkinExtract<K>, MoMeshSkin>;

} // namespace

MoMeshSkin::MoMeshSkin()
{
  SO_NODE_CONSTRUCTOR(MoMeshSkin);
  SO_NODE_ADD_EMPTY_MFIELD(minCellRanges);
  SO_NODE_ADD_EMPTY_MFIELD(maxCellRanges);
}

MoMeshSkin::~MoMeshSkin() = default;

void MoMeshSkin::doExtract(SoAction* action)
{
  mdExtract<MdMeshSkin>(*this, action, MxVolumeKinds{}, kTexts);
}

MiSkinExtractUnstructured* MoMeshSkin::getUnstructuredExtractor() const
{
  return mdExtractor<MiSkinExtractUnstructured>(*this);
}

MiSkinExtractHexahedronIjk* MoMeshSkin::getHexahedronIjkExtractor() const
{
  return mdExtractor<MiSkinExtractHexahedronIjk>(*this);
}

MiSkinExtractHexahedronIjk* MoMeshSkin::getUnstructuredIjkExtractor() const
{
  return getHexahedronIjkExtractor();
}

MiSkinExtractIjk* MoMeshSkin::getIjkExtractor() const
{
  return mdExtractor<MiSkinExtractIjk>(*this);
}
