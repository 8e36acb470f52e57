#include <velmo/representations/MoMeshSlab.h>

#include <velmo/representations/MdRangedSkin.h>

#include <limits>

MO_NODE_SOURCE(MoMeshSlab, MoMeshSurfaceRepresentation)

namespace {

struct Slab : MdRangedSkin<Slab>
{
  using Node = MoMeshSlab;
  using Extractors =
      MdExtractorsByKind<MdExtractorOf<VOLUME_MESH_HEXAHEDRON_IJK, MiSkinExtractHexahedronIjk>,
                         MdExtractorOf<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK, MiSkinExtractIjk>,
                         MdExtractorOf<VOLUME_MESH_REGULAR, MiSkinExtractIjk>,
                         MdExtractorOf<VOLUME_MESH_RECTILINEAR, MiSkinExtractIjk>,
                         MdExtractorOf<VOLUME_MESH_CURVILINEAR, MiSkinExtractIjk>>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshSlab",
      .extractors = {"MiSkinExtractHexahedronIjk", "MiSkinExtractIjk", "MiSkinExtractIjk",
                     "MiSkinExtractIjk", "MiSkinExtractIjk"},
      .refusalFunction = "MoMeshSlab::doExtract",
      .refusal = "Cannot compute slabs on this type of mesh."};

  template <MeshType K>
  static Arguments<K> rangeOf(const Node& node)
  {
    constexpr std::size_t kNoBound = std::numeric_limits<std::size_t>::max();
    MbIndex3 lower{kNoBound, kNoBound, kNoBound}, upper = lower;
    const int axis = node.dimension.getValue();
    if (axis >= MiMesh::DIMENSION_I && axis <= MiMesh::DIMENSION_K) {
      const std::size_t first = node.index.getValue();
      lower[static_cast<std::size_t>(axis)] = first;
      upper[static_cast<std::size_t>(axis)] = first + node.thickness.getValue();
    } else {
      upper = {}; // an axis that no mesh has
    }
    return {lower, upper};
  }
};

template <MeshType K>
using MdMeshSlab = MdMeshSurfaceOf<Slab, K>;

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
  mdExtract<MdMeshSlab>(*this, action, Slab::Extractors::Kinds{}, Slab::kTexts);
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
