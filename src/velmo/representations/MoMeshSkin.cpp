#include <velmo/representations/MoMeshSkin.h>

#include <velmo/representations/MdRangedSkin.h>

#include <limits>

MO_NODE_SOURCE(MoMeshSkin, MoMeshSurfaceRepresentation)

namespace {

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

struct Skin : MdRangedSkin<Skin>
{
  using Node = MoMeshSkin;
  using Extractors =
      MdExtractorFamily<MiSkinExtractUnstructured, MiSkinExtractHexahedronIjk, MiSkinExtractIjk>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshSkin",
      .extractors = {"MiSkinExtractUnstructured", "MiSkinExtractHexahedronIjk", "MiSkinExtractIjk"},
      .refusalFunction = "MoMeshSkin::doExtract",
      .refusal = "Cannot compute skins on this type of mesh."};

  template <MeshType K>
  static Arguments<K> rangeOf(const Node& node)
  {
    using Index = typename Arguments<K>::Index;
    return {boundsOf<Index>(node.minCellRanges, false), boundsOf<Index>(node.maxCellRanges, true)};
  }
};

template <MeshType K>
using MdMeshSkin = MdMeshSurfaceOf<Skin, K>;

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
  mdExtract<MdMeshSkin>(*this, action, MxVolumeKinds{}, Skin::kTexts);
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
