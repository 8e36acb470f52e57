#include <velmo/representations/MoMeshSurface.h>

#include <velmo/extraction/extractors/MiSurfaceExtract.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

MO_NODE_SOURCE(MoMeshSurface, MoMeshSurfaceRepresentation)

namespace {

struct Surface : MdTupleRecipe<Surface>
{
  using Node = MoMeshSurface;
  using Extractors = MdFlatExtractorFamily<MiSurfaceExtractUnstructured, MiSurfaceExtractIj>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshSurface",
      .extractors = {"MiSurfaceExtractUnstructured", "MiSurfaceExtractIj", nullptr},
      .refusalFunction = "MoMeshSurface::doExtract",
      .refusal = "Cannot compute surface on this type of mesh."};

  static std::tuple<> readTuple(const Node&) { return {}; }
};

template <MeshType K>
using MdMeshSurface = MdMeshSurfaceOf<Surface, K>;

} // namespace

MoMeshSurface::MoMeshSurface()
{
  SO_NODE_CONSTRUCTOR(MoMeshSurface);
}

MoMeshSurface::~MoMeshSurface() = default;

void MoMeshSurface::doExtract(SoAction* action)
{
  mdExtract<MdMeshSurface>(*this, action, MxSurfaceKinds{}, Surface::kTexts);
}

MiSurfaceExtractUnstructured* MoMeshSurface::getUnstructuredExtractor() const
{
  return mdExtractor<MiSurfaceExtractUnstructured>(*this);
}

MiSurfaceExtractIj* MoMeshSurface::getIjExtractor() const
{
  return mdExtractor<MiSurfaceExtractIj>(*this);
}
