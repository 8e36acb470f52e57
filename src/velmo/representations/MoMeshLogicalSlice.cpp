#include <velmo/representations/MoMeshLogicalSlice.h>

#include <velmo/extraction/extractors/MiLogicalSliceExtract.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

MO_NODE_SOURCE(MoMeshLogicalSlice, MoMeshSurfaceRepresentation)

namespace {

struct LogicalSlice : MdTupleRecipe<LogicalSlice, MiMesh::Dimension, std::size_t, bool>
{
  using Node = MoMeshLogicalSlice;
  /// One extractor class a kind of mesh.
  using Extractors = MdExtractorsByKind<
      MdExtractorOf<VOLUME_MESH_HEXAHEDRON_IJK, MiLogicalSliceExtractHexahedronIjk>,
      MdExtractorOf<VOLUME_MESH_REGULAR, MiLogicalSliceExtractRegular>,
      MdExtractorOf<VOLUME_MESH_RECTILINEAR, MiLogicalSliceExtractRectilinear>,
      MdExtractorOf<VOLUME_MESH_CURVILINEAR, MiLogicalSliceExtractCurvilinear>>;

  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshLogicalSlice",
      .extractors = {"MiLogicalSliceExtractHexahedronIjk", "MiLogicalSliceExtractRegular",
                     "MiLogicalSliceExtractRectilinear", "MiLogicalSliceExtractCurvilinear"},
      .refusalFunction = "MoMeshLogicalSlice::doExtract",
      .refusal = "Cannot compute logical slice on this type of mesh."};

  static std::tuple<MiMesh::Dimension, std::size_t, bool> readTuple(const Node& node)
  {
    return {static_cast<MiMesh::Dimension>(node.sliceAxis.getValue()), node.sliceIndex.getValue(),
            node.upperVertex.getValue() == TRUE};
  }
};

template <MeshType K>
using MdMeshLogicalSlice = MdMeshSurfaceOf<LogicalSlice, K>;

} // namespace

MoMeshLogicalSlice::MoMeshLogicalSlice()
{
  SO_NODE_CONSTRUCTOR(MoMeshLogicalSlice);
  SO_NODE_ADD_FIELD(sliceIndex, (0));
  SO_NODE_ADD_FIELD(sliceAxis, (MiMesh::DIMENSION_I));
  SO_NODE_ADD_FIELD(upperVertex, (FALSE));
  SO_NODE_DEFINE_ENUM_VALUE(MiMesh::Dimension, MiMesh::DIMENSION_I);
  SO_NODE_DEFINE_ENUM_VALUE(MiMesh::Dimension, MiMesh::DIMENSION_J);
  SO_NODE_DEFINE_ENUM_VALUE(MiMesh::Dimension, MiMesh::DIMENSION_K);
  SO_NODE_SET_SF_ENUM_TYPE(sliceAxis, MiMesh::Dimension);
}

MoMeshLogicalSlice::~MoMeshLogicalSlice() = default;

void MoMeshLogicalSlice::doExtract(SoAction* action)
{
  mdExtract<MdMeshLogicalSlice>(*this, action, LogicalSlice::Extractors::Kinds{},
                                LogicalSlice::kTexts);
}
