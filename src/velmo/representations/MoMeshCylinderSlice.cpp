#include <velmo/representations/MoMeshCylinderSlice.h>

#include <velmo/extraction/extractors/MiSliceExtract.h>
#include <velmo/representations/MdMeshSlice.h>

MO_NODE_SOURCE(MoMeshCylinderSlice, MoMeshSurfaceRepresentation)

namespace {

struct CylinderSlice : MdTupleRecipe<CylinderSlice, MbVec3d, MbVec3d, double>
{
  using Node = MoMeshCylinderSlice;
  using Extractors =
      MdExtractorFamily<MiCylinderSliceExtractUnstructured, MiCylinderSliceExtractHexahedronIjk,
                        MiCylinderSliceExtractIjk>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshCylinderSlice",
      .extractors = {"MiCylinderSliceExtractUnstructured", "MiCylinderSliceExtractHexahedronIjk",
                     "MiCylinderSliceExtractIjk"},
      .refusalFunction = "MoMeshCylinderSlice::doExtract",
      .refusal = "Cannot compute a cylinder slice on this type of mesh."};

  static std::tuple<MbVec3d, MbVec3d, double> readTuple(const Node& node)
  {
    return {mdVector(node.center.getValue()), mdVector(node.direction.getValue()),
            node.radius.getValue()};
  }
};

template <MeshType K>
using MdCylinderSlice = MdMeshSurfaceOf<CylinderSlice, K>;

} // namespace

MoMeshCylinderSlice::MoMeshCylinderSlice()
{
  SO_NODE_CONSTRUCTOR(MoMeshCylinderSlice);
  SO_NODE_ADD_FIELD(center, (SbVec3f(0, 0, 0)));
  SO_NODE_ADD_FIELD(radius, (1.0f));
  SO_NODE_ADD_FIELD(direction, (SbVec3f(1, 0, 0)));
  mdAddSliceHints(getHiddenRoot());
  getSurfaceMesh().setSmooth(true);
}

MoMeshCylinderSlice::~MoMeshCylinderSlice() = default;

void MoMeshCylinderSlice::doExtract(SoAction* action)
{
  mdExtract<MdCylinderSlice>(*this, action, MxVolumeKinds{}, CylinderSlice::kTexts);
}

MiCylinderSliceExtractUnstructured* MoMeshCylinderSlice::getUnstructuredExtractor() const
{
  return mdExtractor<MiCylinderSliceExtractUnstructured>(*this);
}

MiCylinderSliceExtractHexahedronIjk* MoMeshCylinderSlice::getHexahedronIjkExtractor() const
{
  return mdExtractor<MiCylinderSliceExtractHexahedronIjk>(*this);
}

MiCylinderSliceExtractHexahedronIjk* MoMeshCylinderSlice::getUnstructuredIjkExtractor() const
{
  return getHexahedronIjkExtractor();
}

MiCylinderSliceExtractIjk* MoMeshCylinderSlice::getIjkExtractor() const
{
  return mdExtractor<MiCylinderSliceExtractIjk>(*this);
}
