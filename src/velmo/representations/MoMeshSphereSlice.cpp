#include <velmo/representations/MoMeshSphereSlice.h>

#include <velmo/extraction/extractors/MiSliceExtract.h>
#include <velmo/representations/MdMeshSlice.h>

MO_NODE_SOURCE(MoMeshSphereSlice, MoMeshSurfaceRepresentation)

namespace {

struct SphereSlice : MdTupleRecipe<SphereSlice, MbVec3d, double>
{
  using Node = MoMeshSphereSlice;
  using Extractors = MdExtractorFamily<MiSphereSliceExtractUnstructured,
                                       MiSphereSliceExtractHexahedronIjk, MiSphereSliceExtractIjk>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshSphereSlice",
      .extractors = {"MiSphereSliceExtractUnstructured", "MiSphereSliceExtractUnstructuredIjk",
                     "MiShpereSliceExtractIjk"},
      .refusalFunction = "MoMeshSphereSlice::doExtract",
      .refusal = "Cannot compute a sphere slice on this type of mesh."};

  static std::tuple<MbVec3d, double> readTuple(const Node& node)
  {
    return {mdVector(node.center.getValue()), node.radius.getValue()};
  }
};

template <MeshType K>
using MdSphereSlice = MdMeshSurfaceOf<SphereSlice, K>;

} // namespace

MoMeshSphereSlice::MoMeshSphereSlice()
{
  SO_NODE_CONSTRUCTOR(MoMeshSphereSlice);
  SO_NODE_ADD_FIELD(center, (SbVec3f(0, 0, 0)));
  SO_NODE_ADD_FIELD(radius, (1.0f));
  mdAddSliceHints(getHiddenRoot());
  getSurfaceMesh().setSmooth(true);
}

MoMeshSphereSlice::~MoMeshSphereSlice() = default;

void MoMeshSphereSlice::doExtract(SoAction* action)
{
  mdExtract<MdSphereSlice>(*this, action, MxVolumeKinds{}, SphereSlice::kTexts);
}

MiSphereSliceExtractUnstructured* MoMeshSphereSlice::getUnstructuredExtractor() const
{
  return mdExtractor<MiSphereSliceExtractUnstructured>(*this);
}

MiSphereSliceExtractHexahedronIjk* MoMeshSphereSlice::getHexahedronIjkExtractor() const
{
  return mdExtractor<MiSphereSliceExtractHexahedronIjk>(*this);
}

MiSphereSliceExtractHexahedronIjk* MoMeshSphereSlice::getUnstructuredIjkExtractor() const
{
  return getHexahedronIjkExtractor();
}

MiSphereSliceExtractIjk* MoMeshSphereSlice::getIjkExtractor() const
{
  return mdExtractor<MiSphereSliceExtractIjk>(*this);
}
