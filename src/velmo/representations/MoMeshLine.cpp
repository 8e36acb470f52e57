#include <velmo/representations/MoMeshLine.h>

#include <velmo/extraction/extractors/MiLineExtract.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshLineRepresentation.h>

MO_NODE_SOURCE(MoMeshLine, MoMeshLineRepresentation)

namespace {

using Extractors = MdFlatExtractorFamily<MiLineExtractUnstructured, MiLineExtractRow>;

constexpr MdRepresentationTexts kTexts{
    .node = "MoMeshLine",
    .extractors = {"MiLineExtractUnstructured", "MiLineExtractRow", nullptr},
    .refusalFunction = "MoMeshLine::doExtract",
    .refusal = "Cannot compute line on this type of mesh."};

template <MeshType K>
class MdLineExtract final : public MdExtract<MdTraits<K, Extractors>>
{
  using Base = MdExtract<MdTraits<K, Extractors>>;

public:
  using typename Base::CellFilter, typename Base::Extractor;

  explicit MdLineExtract(std::shared_ptr<Extractor> extractor)
      : Base(std::move(extractor), kTexts.extractors[Base::kExtractorIndex])
  {}

  const MeXLineMeshUnstructured* extractLine(SoState*, const CellFilter* filter) override
  {
    return &this->getExtractor().extractLine(filter);
  }
  const MeXPointMeshCurvilinear* extractPoints(SoState*, const CellFilter* filter) override
  {
    return &this->getExtractor().extractPoints(filter);
  }
};

template <MeshType K>
class MdMeshLine final : public MdMeshLineRepresentation<MdLineExtract<K>>
{
  using Base = MdMeshLineRepresentation<MdLineExtract<K>>;

public:
  using typename Base::CellFilter, typename Base::Interface;

  MdMeshLine(MoMeshLine& node, const MdRepresentationTexts& texts) : Base(node, texts)
  {
    this->setBuilders(&node.getLineMesh(), &node.getPointMesh());
  }

protected:
  std::unique_ptr<MdLineExtract<K>> makeExtract(const Interface& mesh, bool parallel,
                                                const MiTessellator* tessellator) override
  {
    return std::make_unique<MdLineExtract<K>>(
        MdLineExtract<K>::Extractor::getNewInstance(mesh, parallel, tessellator));
  }
  const MeXLineMeshUnstructured* extractLines(SoState* state, const CellFilter* filter) override
  {
    return this->getExtract()->extractLine(state, filter);
  }
};

} // namespace

MoMeshLine::MoMeshLine()
{
  SO_NODE_CONSTRUCTOR(MoMeshLine);
}

MoMeshLine::~MoMeshLine() = default;

void MoMeshLine::doExtract(SoAction* action)
{
  mdExtract<MdMeshLine>(*this, action, MxLineKinds{}, kTexts);
}

MiLineExtractUnstructured* MoMeshLine::getUnstructuredExtractor() const
{
  return mdExtractor<MiLineExtractUnstructured>(*this);
}

MiLineExtractRow* MoMeshLine::getRowExtractor() const
{
  return mdExtractor<MiLineExtractRow>(*this);
}
