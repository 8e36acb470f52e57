#include <velmo/representations/MoMeshLine.h>

#include <velmo/extraction/extractors/MiLineExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshLineRepresentation.h>

MO_NODE_SOURCE(MoMeshLine, MoMeshLineRepresentation)

namespace {

struct Line
{
  using Node = MoMeshLine;
  using Extractors = MdFlatExtractorFamily<MiLineExtractUnstructured, MiLineExtractRow>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshLine",
      .extractors = {"MiLineExtractUnstructured", "MiLineExtractRow", nullptr},
      .refusalFunction = "MoMeshLine::doExtract",
      .refusal = "Cannot compute line on this type of mesh."};

  template <MeshType>
  using Arguments = std::tuple<>;

  template <MeshType>
  static std::optional<std::tuple<>> read(SoState*, const Node&)
  {
    return std::tuple<>{};
  }
  template <class Extractor, class Filter>
  static const auto& extractMesh(Extractor& extractor, const std::tuple<>&, const Filter* filter)
  {
    return extractor.extractLine(filter);
  }
  template <class Extractor, class Filter>
  static const auto& extractPoints(Extractor& extractor, const std::tuple<>&, const Filter* filter)
  {
    return extractor.extractPoints(filter);
  }
};

template <MeshType K>
using MdMeshLine = MdMeshLineRepresentation<MdExtractBy<Line, K>>;

} // namespace

MoMeshLine::MoMeshLine()
{
  SO_NODE_CONSTRUCTOR(MoMeshLine);
}

MoMeshLine::~MoMeshLine() = default;

void MoMeshLine::doExtract(SoAction* action)
{
  mdExtract<MdMeshLine>(*this, action, MxLineKinds{}, Line::kTexts);
}

MiLineExtractUnstructured* MoMeshLine::getUnstructuredExtractor() const
{
  return mdExtractor<MiLineExtractUnstructured>(*this);
}

MiLineExtractRow* MoMeshLine::getRowExtractor() const
{
  return mdExtractor<MiLineExtractRow>(*this);
}
