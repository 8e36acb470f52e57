#include <velmo/representations/MoMeshInterpolatedLogicalSlice.h>

#include <velmo/extraction/extractors/MiInterpolatedLogicalSliceExtract.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

MO_NODE_SOURCE(MoMeshInterpolatedLogicalSlice, MoMeshSurfaceRepresentation)

namespace {

struct InterpolatedLogicalSlice
{
  using Node = MoMeshInterpolatedLogicalSlice;
  using Extractors = MdExtractorsByKind<
      MdExtractorOf<VOLUME_MESH_HEXAHEDRON_IJK, MiInterpolatedLogicalSliceExtractHexahedronIjk>,
      MdExtractorOf<VOLUME_MESH_REGULAR, MiInterpolatedLogicalSliceExtract>,
      MdExtractorOf<VOLUME_MESH_RECTILINEAR, MiInterpolatedLogicalSliceExtract>,
      MdExtractorOf<VOLUME_MESH_CURVILINEAR, MiInterpolatedLogicalSliceExtract>>;

  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshInterpolatedLogicalSlice",
      .extractors = {"MiInterpolatedLogicalSliceExtractHexahedronIjk",
                     "MiInterpolatedLogicalSliceExtract", "MiInterpolatedLogicalSliceExtract",
                     "MiInterpolatedLogicalSliceExtract"},
      .refusalFunction = "MoMeshInterpolatedLogicalSlice::doExtract",
      .refusal = "Cannot compute interpolated logical slice on this type of mesh."};

  template <MeshType>
  struct Arguments
  {
    MiMesh::Dimension axis;
    double value;
    bool operator==(const Arguments&) const = default;
  };

  template <MeshType K>
  static std::optional<Arguments<K>> read(SoState*, const Node& node)
  {
    return Arguments<K>{static_cast<MiMesh::Dimension>(node.sliceAxis.getValue()),
                        node.sliceValue.getValue()};
  }
  template <class Extractor, class At, class Filter>
  static const auto& extractMesh(Extractor& extractor, const At& at, const Filter* filter)
  {
    return extractor.extractSlice(at.axis, filter, at.value);
  }
  template <class Extractor, class At, class Filter>
  static const auto& extractLine(Extractor& extractor, const At& at, const Filter* filter)
  {
    return extractor.extractLine(at.axis, filter, at.value);
  }
  template <class Extractor, class At, class Filter>
  static const auto& extractPoints(Extractor& extractor, const At& at, const Filter* filter)
  {
    return extractor.extractPoints(at.axis, filter, at.value);
  }
};

template <MeshType K>
using MdMeshInterpolatedLogicalSlice = MdMeshSurfaceOf<InterpolatedLogicalSlice, K>;

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
  mdExtract<MdMeshInterpolatedLogicalSlice>(*this, action,
                                            InterpolatedLogicalSlice::Extractors::Kinds{},
                                            InterpolatedLogicalSlice::kTexts);
}
