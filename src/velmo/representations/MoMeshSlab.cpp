#include <velmo/representations/MoMeshSlab.h>

#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

#include <limits>

MO_NODE_SOURCE(MoMeshSlab, MoMeshSurfaceRepresentation)

namespace {

using Extractors =
    MdExtractorsByKind<MdExtractorOf<VOLUME_MESH_HEXAHEDRON_IJK, MiSkinExtractHexahedronIjk>,
                       MdExtractorOf<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK, MiSkinExtractIjk>,
                       MdExtractorOf<VOLUME_MESH_REGULAR, MiSkinExtractIjk>,
                       MdExtractorOf<VOLUME_MESH_RECTILINEAR, MiSkinExtractIjk>,
                       MdExtractorOf<VOLUME_MESH_CURVILINEAR, MiSkinExtractIjk>>;

constexpr MdRepresentationTexts kTexts{.node = "MoMeshSlab",
                                       .extractors = {"MiSkinExtractHexahedronIjk",
                                                      "MiSkinExtractIjk", "MiSkinExtractIjk",
                                                      "MiSkinExtractIjk", "MiSkinExtractIjk"},
                                       .refusalFunction = "MoMeshSlab::doExtract",
                                       .refusal = "Cannot compute slabs on this type of mesh."};

template <MeshType K>
class MdSlabExtract final : public MdExtract<MdTraits<K, Extractors>>
{
  using Base = MdExtract<MdTraits<K, Extractors>>;

public:
  using typename Base::CellFilter;
  using typename Base::Extractor;

  MdSlabExtract(std::shared_ptr<Extractor> extractor, const MoMeshSlab& node)
      : Base(std::move(extractor), kTexts.extractors[Base::kExtractorIndex]), m_node(node)
  {}

  const MeXSurfaceMeshUnstructured* extractSurface(SoState*, const CellFilter* filter)
  {
    updateCellRange();
    return &this->getExtractor().extractSkin(filter);
  }
  const MeXLineMeshUnstructured* extractLine(SoState*, const CellFilter* filter) override
  {
    updateCellRange();
    return &this->getExtractor().extractLine(filter);
  }
  const MeXPointMeshCurvilinear* extractPoints(SoState*, const CellFilter* filter) override
  {
    updateCellRange();
    return &this->getExtractor().extractPoints(filter);
  }

private:
  void updateCellRange()
  {
    constexpr std::size_t kNoBound = std::numeric_limits<std::size_t>::max();
    MbIndex3 lower{kNoBound, kNoBound, kNoBound}, upper = lower;
    this->getExtractor().clearCellRanges();
    const int axis = m_node.dimension.getValue();
    if (axis >= MiMesh::DIMENSION_I && axis <= MiMesh::DIMENSION_K) {
      const std::size_t first = m_node.index.getValue();
      lower[static_cast<std::size_t>(axis)] = first;
      upper[static_cast<std::size_t>(axis)] = first + m_node.thickness.getValue();
    } else {
      upper = {}; // an axis that no mesh has
    }
    this->getExtractor().setCellRange(lower, upper);
  }

  const MoMeshSlab& m_node;
};

template <MeshType K>
using MdMeshSlab = MdMeshSurfaceOf<MdSlabExtract<K>, MoMeshSlab>;

} // namespace

MoMeshSlab::MoMeshSlab()
{
  SO_NODE_CONSTRUCTOR(MoMeshSlab);
  SO_NODE_ADD_FIELD(dimension, (MiMesh::DIMENSION_I));
  SO_NODE_ADD_FIELD(index, (0));
  SO_NODE_ADD_FIELD(thickness, (1));
  SO_NODE_DEFINE_ENUM_VALUE(MiMesh::Dimension, MiMesh::DIMENSION_I);
  SO_NODE_DEFINE_ENUM_VALUE(MiMesh::Dimension, MiMesh::DIMENSION_J);
  SO_NODE_DEFINE_ENUM_VALUE(MiMesh::Dimension, MiMesh::DIMENSION_K);
  SO_NODE_SET_SF_ENUM_TYPE(dimension, MiMesh::Dimension);
}

MoMeshSlab::~MoMeshSlab() = default;

void MoMeshSlab::doExtract(SoAction* action)
{
  mdExtract<MdMeshSlab>(*this, action, Extractors::Kinds{}, kTexts);
}

MiSkinExtractUnstructured* MoMeshSlab::getUnstructuredExtractor() const
{
  return nullptr;
}

MiSkinExtractHexahedronIjk* MoMeshSlab::getHexahedronIjkExtractor() const
{
  return mdExtractor<MiSkinExtractHexahedronIjk>(*this);
}

MiSkinExtractHexahedronIjk* MoMeshSlab::getUnstructuredIjkExtractor() const
{
  return getHexahedronIjkExtractor();
}

MiSkinExtractIjk* MoMeshSlab::getIjkExtractor() const
{
  return mdExtractor<MiSkinExtractIjk>(*this);
}
