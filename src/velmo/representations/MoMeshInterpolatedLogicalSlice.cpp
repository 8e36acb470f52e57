#include <velmo/representations/MoMeshInterpolatedLogicalSlice.h>

#include <velmo/extraction/extractors/MiInterpolatedLogicalSliceExtract.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

MO_NODE_SOURCE(MoMeshInterpolatedLogicalSlice, MoMeshSurfaceRepresentation)

namespace {

using Extractors = MdExtractorsByKind<
    MdExtractorOf<VOLUME_MESH_HEXAHEDRON_IJK, MiInterpolatedLogicalSliceExtractHexahedronIjk>,
    MdExtractorOf<VOLUME_MESH_REGULAR, MiInterpolatedLogicalSliceExtract>,
    MdExtractorOf<VOLUME_MESH_RECTILINEAR, MiInterpolatedLogicalSliceExtract>,
    MdExtractorOf<VOLUME_MESH_CURVILINEAR, MiInterpolatedLogicalSliceExtract>>;

constexpr MdRepresentationTexts kTexts{
    .node = "MoMeshInterpolatedLogicalSlice",
    .extractors = {"MiInterpolatedLogicalSliceExtractHexahedronIjk",
                   "MiInterpolatedLogicalSliceExtract", "MiInterpolatedLogicalSliceExtract",
                   "MiInterpolatedLogicalSliceExtract"},
    .refusalFunction = "MoMeshInterpolatedLogicalSlice::doExtract",
    .refusal = "Cannot compute interpolated logical slice on this type of mesh."};

template <MeshType K>
class MdInterpolatedLogicalSliceExtract final : public MdExtract<MdTraits<K, Extractors>>
{
  using Base = MdExtract<MdTraits<K, Extractors>>;

public:
  using typename Base::CellFilter;
  using typename Base::Extractor;
  static constexpr bool kMayBeAsynchronous = false;

  MdInterpolatedLogicalSliceExtract(std::shared_ptr<Extractor> extractor,
                                    const MoMeshInterpolatedLogicalSlice& node)
      : Base(std::move(extractor), kTexts.extractors[Base::kExtractorIndex]), m_node(node)
  {}

  const MeXSurfaceMeshUnstructured* extractSurface(SoState*, const CellFilter* filter)
  {
    return &this->getExtractor().extractSlice(axis(), filter, value());
  }
  const MeXLineMeshUnstructured* extractLine(SoState*, const CellFilter* filter) override
  {
    return &this->getExtractor().extractLine(axis(), filter, value());
  }
  const MeXPointMeshCurvilinear* extractPoints(SoState*, const CellFilter* filter) override
  {
    return &this->getExtractor().extractPoints(axis(), filter, value());
  }

private:
  MiMesh::Dimension axis() const
  {
    return static_cast<MiMesh::Dimension>(m_node.sliceAxis.getValue());
  }
  double value() const { return m_node.sliceValue.getValue(); }

  const MoMeshInterpolatedLogicalSlice& m_node;
};

template <MeshType K>
using MdMeshInterpolatedLogicalSlice =
    MdMeshSurfaceOf<MdInterpolatedLogicalSliceExtract<K>, MoMeshInterpolatedLogicalSlice>;

} // namespace

MoMeshInterpolatedLogicalSlice::MoMeshInterpolatedLogicalSlice()
{
  SO_NODE_CONSTRUCTOR(MoMeshInterpolatedLogicalSlice);
  SO_NODE_ADD_FIELD(sliceValue, (0));
  SO_NODE_ADD_FIELD(sliceAxis, (MiMesh::DIMENSION_I));
  SO_NODE_DEFINE_ENUM_VALUE(MiMesh::Dimension, MiMesh::DIMENSION_I);
  SO_NODE_DEFINE_ENUM_VALUE(MiMesh::Dimension, MiMesh::DIMENSION_J);
  SO_NODE_DEFINE_ENUM_VALUE(MiMesh::Dimension, MiMesh::DIMENSION_K);
  SO_NODE_SET_SF_ENUM_TYPE(sliceAxis, MiMesh::Dimension);
}

MoMeshInterpolatedLogicalSlice::~MoMeshInterpolatedLogicalSlice() = default;

void MoMeshInterpolatedLogicalSlice::doExtract(SoAction* action)
{
  mdExtract<MdMeshInterpolatedLogicalSlice>(*this, action, Extractors::Kinds{}, kTexts);
}
