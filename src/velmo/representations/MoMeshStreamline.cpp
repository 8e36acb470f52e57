#include <velmo/representations/MoMeshStreamline.h>

#include <velmo/extraction/extractors/MiStreamlineExtract.h>
#include <velmo/nodes/MoDataBindingElement.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/nodes/MoVec3SetElementI.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshMultiLinesRepresentation.h>
#include <velmo/representation/MxAttributesManager.h>

#include <Inventor/errors/SoDebugError.h>

#include <Inventor/nodes/SoSeparator.h>

MO_NODE_SOURCE(MoMeshStreamline, MoMeshRepresentation)

namespace {

using Kinds = MxKinds<VOLUME_MESH_UNSTRUCTURED, VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_REGULAR,
                      VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR>;

/// Where a mesh kind looks for the vectors that are followed.
template <MeshType K>
struct VectorSets
{
  using Set = MiTypedDataSet<MbVec3d>;
  using CellSet = typename MxMeshKind<K>::template CellSet<MbVec3d>;
  using NodeSet = typename MxMeshKind<K>::template NodeSet<MbVec3d>;

  static const Set* find(const MoMeshStreamline& node, SoState* state)
  {
    const int id = node.vec3SetId.getValue();
    const MxAttributesManager& attributes = node.getAttributesManager();
    const auto find = [&]<class Typed>() -> const Set* {
      return attributes.getDataSet<Typed>(state, id);
    };
    // Where cells and nodes are numbered differently, the binding node says which list comes first.
    const Set* set = nullptr;
    if (!std::is_same_v<CellSet, NodeSet> &&
        MoDataBindingElement::getDataBinding(state) != MoDataBinding::PER_CELL)
      set = find.template operator()<NodeSet>();
    if (!set) set = find.template operator()<CellSet>();
    if (!set && !std::is_same_v<CellSet, NodeSet>) set = find.template operator()<NodeSet>();
    MeshType type = UNDEFINED_MESH;
    if (!set)
      if (MoMeshRepresentation* source = MoMeshElement::getConnectedRepresentation(state, type))
        set = source->extractVec3SetI(state, static_cast<unsigned long>(id));
    return set ? set : MoVec3SetElementI::get(state, id);
  }
  static bool isBound(const Set& set)
  {
    return set.getBinding() == MiDataBinding::PerCell
               ? dynamic_cast<const CellSet*>(&set) != nullptr
               : dynamic_cast<const NodeSet*>(&set) != nullptr;
  }
};

constexpr const char* kUnbound = "Vectorset type not compatible with binding";

struct Streamline
{
  using Node = MoMeshStreamline;
  using Extractors = MdExtractorFamily<MiStreamlineExtractUnstructured,
                                       MiStreamlineExtractHexahedronIjk, MiStreamlineExtractIjk>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshStreamline",
      .extractors = {"MiStreamlineExtractUnstructured", "MiStreamlineExtractHexahedronIjk",
                     "MiStreamlineExtractIjk"},
      .refusalFunction = "MoMeshStreamline::doExtract",
      .refusal = "Cannot compute streamlines on this type of mesh."};

  template <MeshType>
  struct Arguments
  {
    const MiTypedDataSet<MbVec3d>* set;
    std::uint64_t setStamp;
    std::vector<MbVec3d> seeds;
    double maxLifeTime, maxLength, minSpeed, stepLengthFactor;
    std::size_t maxStepNumber;
    MiStreamlineDirection direction;
    bool operator==(const Arguments&) const = default;
  };

  template <MeshType K>
  static std::optional<Arguments<K>> read(SoState* state, const Node& node)
  {
    const auto* set = VectorSets<K>::find(node, state);
    if (!set) {
      node.getWarnings().post(kTexts.node,
                              "Cannot find a compatible Vec3Set node in the scene graph or "
                              "vec3SetId field is invalid.");
      return std::nullopt;
    }
    if (!VectorSets<K>::isBound(*set)) {
      node.getWarnings().post(kTexts.node, kUnbound, set, set->getTimeStamp());
      return std::nullopt;
    }
    std::vector<MbVec3d> seeds;
    for (int n = 0; n < node.startingPoints.getNum(); ++n) {
      const SbVec3f& p = node.startingPoints[n];
      seeds.push_back({p[0], p[1], p[2]});
    }
    return Arguments<K>{set,
                        set->getTimeStamp(),
                        std::move(seeds),
                        node.maxLifeTime.getValue(),
                        node.maxLength.getValue(),
                        node.minSpeed.getValue(),
                        node.integrationStepLengthFactor.getValue(),
                        static_cast<std::size_t>(std::max(node.maxStepNumber.getValue(), 0)),
                        node.direction.getValue() == MoMeshStreamline::BACKWARD
                            ? MiStreamlineDirection::Backward
                            : MiStreamlineDirection::Forward};
  }
  template <class Extractor, class From, class Filter>
  static bool extractMesh(Extractor& extractor, const From& from, const Filter* filter)
  {
    extractor.setMaxLifeTime(from.maxLifeTime);
    extractor.setMaxLength(from.maxLength);
    extractor.setMinSpeed(from.minSpeed);
    extractor.setIntegrationStepLengthFactor(from.stepLengthFactor);
    extractor.setMaxStepNumber(from.maxStepNumber);
    extractor.setDirection(from.direction);
    // A set of the right numbering whose size is not the mesh's fits no better.
    return extractor.extractStreamlines(from.seeds, *from.set, filter);
  }
  static void refuse() { SoDebugError::postWarning(kTexts.node, "%s", kUnbound); }
};

template <MeshType K>
class MdMeshStreamline final : public MdMeshMultiLinesRepresentation<MdExtractBy<Streamline, K>>
{
public:
  using MdMeshMultiLinesRepresentation<MdExtractBy<Streamline, K>>::MdMeshMultiLinesRepresentation;

protected:
  void finishLines(std::size_t index, MdLineMesh& builder) override
  {
    builder.setTangents(&this->getExtract()->getExtractor().getTangents(index));
  }
};

} // namespace

MoMeshStreamline::MoMeshStreamline()
{
  SO_NODE_CONSTRUCTOR(MoMeshStreamline);
  SO_NODE_ADD_FIELD(vec3SetId, (0));
  SO_NODE_ADD_FIELD(startingPoints, (SbVec3f(0, 0, 0)));
  SO_NODE_ADD_FIELD(maxLifeTime, (0.0));
  SO_NODE_ADD_FIELD(maxLength, (0.0));
  SO_NODE_ADD_FIELD(minSpeed, (0.0));
  SO_NODE_ADD_FIELD(integrationStepLengthFactor, (static_cast<double>(0.3f)));
  SO_NODE_ADD_FIELD(maxStepNumber, (0));
  SO_NODE_DEFINE_ENUM_VALUE(IntegrationDirection, FORWARD);
  SO_NODE_DEFINE_ENUM_VALUE(IntegrationDirection, BACKWARD);
  SO_NODE_SET_SF_ENUM_TYPE(direction, IntegrationDirection);
  SO_NODE_ADD_FIELD(direction, (FORWARD));
  m_lineMeshes = std::make_unique<MdLineMeshes>(getHiddenRoot());
}

MoMeshStreamline::~MoMeshStreamline() = default;

void MoMeshStreamline::clear()
{
  clearBuilders();
  MoMeshRepresentation::clear();
}

void MoMeshStreamline::clearBuilders()
{
  m_lineMeshes->clear();
}

void MoMeshStreamline::doExtract(SoAction* action)
{
  mdExtract<MdMeshStreamline>(*this, action, Kinds{}, Streamline::kTexts);
}

MiStreamlineExtractUnstructured* MoMeshStreamline::getUnstructuredExtractor() const
{
  return mdExtractor<MiStreamlineExtractUnstructured>(*this);
}

MiStreamlineExtractHexahedronIjk* MoMeshStreamline::getHexahedronIjkExtractor() const
{
  return mdExtractor<MiStreamlineExtractHexahedronIjk>(*this);
}

MiStreamlineExtractHexahedronIjk* MoMeshStreamline::getUnstructuredIjkExtractor() const
{
  return getHexahedronIjkExtractor();
}

MiStreamlineExtractIjk* MoMeshStreamline::getIjkExtractor() const
{
  return mdExtractor<MiStreamlineExtractIjk>(*this);
}
