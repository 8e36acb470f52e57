#include <velmo/representations/MoMeshPlaneSlice.h>

#include <velmo/extraction/extractors/MiSliceExtract.h>
#include <velmo/representations/MdMeshSlice.h>

MO_NODE_SOURCE(MoMeshPlaneSlice, MoMeshSurfaceRepresentation)

namespace {

struct PlaneSlice : MdTupleRecipe<PlaneSlice, MbVec3d, double>
{
  using Node = MoMeshPlaneSlice;
  using Extractors = MdExtractorFamily<MiPlaneSliceExtractUnstructured,
                                       MiPlaneSliceExtractHexahedronIjk, MiPlaneSliceExtractIjk>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshPlaneSlice",
      .extractors = {"MiPlaneSliceExtractUnstructured", "MiPlaneSliceExtractHexahedronIjk",
                     "MiPlaneSliceExtractIjk"},
      .refusalFunction = "MoMeshPlaneSlice::doExtract",
      .refusal = "Cannot compute a planeslice on this type of mesh."};

  static std::tuple<MbVec3d, double> readTuple(const Node& node)
  {
    const SbPlane& plane = node.plane.getValue();
    return {mdVector(plane.getNormal()), plane.getDistanceFromOrigin()};
  }
  static SbVec3f normalOf(const Node& node) { return node.plane.getValue().getNormal(); }
};

template <MeshType K>
using MdPlaneSlice = MdMeshSurfaceOf<PlaneSlice, K>;

} // namespace

MoMeshPlaneSlice::MoMeshPlaneSlice()
{
  SO_NODE_CONSTRUCTOR(MoMeshPlaneSlice);
  SO_NODE_ADD_FIELD(plane, (SbPlane(SbVec3f(1, 0, 0), 0)));
  mdAddSliceHints(getHiddenRoot());
}

MoMeshPlaneSlice::~MoMeshPlaneSlice() = default;

void MoMeshPlaneSlice::doExtract(SoAction* action)
{
  mdExtract<MdPlaneSlice>(*this, action, MxVolumeKinds{}, PlaneSlice::kTexts);
}

MiPlaneSliceExtractUnstructured* MoMeshPlaneSlice::getUnstructuredExtractor() const
{
  return mdExtractor<MiPlaneSliceExtractUnstructured>(*this);
}

MiPlaneSliceExtractHexahedronIjk* MoMeshPlaneSlice::getHexahedronIjkExtractor() const
{
  return mdExtractor<MiPlaneSliceExtractHexahedronIjk>(*this);
}

MiPlaneSliceExtractHexahedronIjk* MoMeshPlaneSlice::getUnstructuredIjkExtractor() const
{
  return getHexahedronIjkExtractor();
}

MiPlaneSliceExtractIjk* MoMeshPlaneSlice::getIjkExtractor() const
{
  return mdExtractor<MiPlaneSliceExtractIjk>(*this);
}
