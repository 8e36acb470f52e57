#include <velmo/representations/MoMeshSurface.h>

#include <velmo/extraction/extractors/MiSurfaceExtract.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

MO_NODE_SOURCE(MoMeshSurface, MoMeshSurfaceRepresentation)

namespace {

using Extractors = MdFlatExtractorFamily<MiSurfaceExtractUnstructured, MiSurfaceExtractIj>;

constexpr MdRepresentationTexts kTexts{
    .node = "MoMeshSurface",
    .extractors = {"MiSurfaceExtractUnstructured", "MiSurfaceExtractIj", nullptr},
    .refusalFunction = "MoMeshSurface::doExtract",
    .refusal = "Cannot compute surface on this type of mesh."};

template <MeshType K>
class MdSurfaceExtract final : public MdExtract<MdTraits<K, Extractors>>
{
  using Base = MdExtract<MdTraits<K, Extractors>>;

public:
  using typename Base::CellFilter, typename Base::Extractor;

  MdSurfaceExtract(std::shared_ptr<Extractor> extractor, const MoMeshSurface&)
      : Base(std::move(extractor), kTexts.extractors[Base::kExtractorIndex])
  {}

  const MeXSurfaceMeshUnstructured* extractSurface(SoState*, const CellFilter* filter)
  {
    return &this->getExtractor().extractSurface(filter);
  }
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
using MdMeshSurface = MdMeshSurfaceOf<MdSurfaceExtract<K>, MoMeshSurface>;

} // namespace

MoMeshSurface::MoMeshSurface()
{
  SO_NODE_CONSTRUCTOR(MoMeshSurface);
}

MoMeshSurface::~MoMeshSurface() = default;

void MoMeshSurface::doExtract(SoAction* action)
{
  mdExtract<MdMeshSurface>(*this, action, MxSurfaceKinds{}, kTexts);
}

MiSurfaceExtractUnstructured* MoMeshSurface::getUnstructuredExtractor() const
{
  return mdExtractor<MiSurfaceExtractUnstructured>(*this);
}

MiSurfaceExtractIj* MoMeshSurface::getIjExtractor() const
{
  return mdExtractor<MiSurfaceExtractIj>(*this);
}
