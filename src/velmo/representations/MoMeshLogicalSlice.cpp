#include <velmo/representations/MoMeshLogicalSlice.h>

#include <velmo/extraction/extractors/MiLogicalSliceExtract.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

MO_NODE_SOURCE(MoMeshLogicalSlice, MoMeshSurfaceRepresentation)

namespace {

/// One extractor class a kind of mesh.
using Extractors = MdExtractorsByKind<
    MdExtractorOf<VOLUME_MESH_HEXAHEDRON_IJK, MiLogicalSliceExtractHexahedronIjk>,
    MdExtractorOf<VOLUME_MESH_REGULAR, MiLogicalSliceExtractRegular>,
    MdExtractorOf<VOLUME_MESH_RECTILINEAR, MiLogicalSliceExtractRectilinear>,
    MdExtractorOf<VOLUME_MESH_CURVILINEAR, MiLogicalSliceExtractCurvilinear>>;

constexpr MdRepresentationTexts kTexts{
    .node = "MoMeshLogicalSlice",
    .extractors = {"MiLogicalSliceExtractHexahedronIjk", "MiLogicalSliceExtractRegular",
                   "MiLogicalSliceExtractRectilinear", "MiLogicalSliceExtractCurvilinear"},
    .refusalFunction = "MoMeshLogicalSlice::doExtract",
    .refusal = "Cannot compute logical slice on this type of mesh."};

template <MeshType K>
class MdLogicalSliceExtract final : public MdExtract<MdTraits<K, Extractors>>
{
  using Base = MdExtract<MdTraits<K, Extractors>>;

public:
  using typename Base::CellFilter;
  using typename Base::Extractor;
  static constexpr bool kMayBeAsynchronous = false;

  MdLogicalSliceExtract(std::shared_ptr<Extractor> extractor, const MoMeshLogicalSlice& node)
      : Base(std::move(extractor), kTexts.extractors[Base::kExtractorIndex]), m_node(node)
  {}

  const MeXSurfaceMeshUnstructured* extractSurface(SoState*, const CellFilter* filter)
  {
    return &this->getExtractor().extractSlice(axis(), index(), upper(), filter);
  }
  const MeXLineMeshUnstructured* extractLine(SoState*, const CellFilter* filter) override
  {
    return &this->getExtractor().extractLine(axis(), index(), upper(), filter);
  }
  const MeXPointMeshCurvilinear* extractPoints(SoState*, const CellFilter* filter) override
  {
    return &this->getExtractor().extractPoints(axis(), index(), upper(), filter);
  }

private:
  MiMesh::Dimension axis() const
  {
    return static_cast<MiMesh::Dimension>(m_node.sliceAxis.getValue());
  }
  std::size_t index() const { return m_node.sliceIndex.getValue(); }
  bool upper() const { return m_node.upperVertex.getValue() == TRUE; }

  const MoMeshLogicalSlice& m_node;
};

template <MeshType K>
using MdMeshLogicalSlice = MdMeshSurfaceOf<MdLogicalSliceExtract<K>, MoMeshLogicalSlice>;

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
  mdExtract<MdMeshLogicalSlice>(*this, action, Extractors::Kinds{}, kTexts);
}
