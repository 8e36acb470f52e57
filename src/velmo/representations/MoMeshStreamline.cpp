#include <velmo/representations/MoMeshStreamline.h>

#include <velmo/extraction/extractors/MiStreamlineExtract.h>
#include <velmo/nodes/MoDataBindingElement.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/nodes/MoVec3SetElementI.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshMultiLinesRepresentation.h>

#include <Inventor/nodes/SoSeparator.h>

MO_NODE_SOURCE(MoMeshStreamline, MoMeshRepresentation)

namespace {

using Extractors = MdExtractorFamily<MiStreamlineExtractUnstructured,
                                     MiStreamlineExtractHexahedronIjk, MiStreamlineExtractIjk>;
using Kinds = MxKinds<VOLUME_MESH_UNSTRUCTURED, VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_REGULAR,
                      VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR>;

constexpr MdRepresentationTexts kTexts{
    .node = "MoMeshStreamline",
    .extractors = {"MiStreamlineExtractUnstructured", "MiStreamlineExtractHexahedronIjk",
                   "MiStreamlineExtractIjk"},
    .refusalFunction = "MoMeshStreamline::doExtract",
    .refusal = "Cannot compute streamlines on this type of mesh."};

template <MeshType K>
class MdStreamlineExtract final : public MdExtract<MdTraits<K, Extractors>>
{
  using Base = MdExtract<MdTraits<K, Extractors>>;
  using Set = MiTypedDataSet<MbVec3d>;
  using CellSet = typename MxMeshKind<K>::template CellSet<MbVec3d>;
  using NodeSet = typename MxMeshKind<K>::template NodeSet<MbVec3d>;

public:
  using typename Base::CellFilter, typename Base::Extractor;

  MdStreamlineExtract(std::shared_ptr<Extractor> extractor, const MoMeshStreamline& node)
      : Base(std::move(extractor), kTexts.extractors[Base::kExtractorIndex]), m_node(node)
  {}

  /// Null without a set to follow.
  const MeXLineMeshes* extract(SoState* state, const CellFilter* filter)
  {
    m_hasLines = false;
    const Set* set = findSet(state);
    if (!set) {
      SoDebugError::postWarning(kTexts.node,
                                "Cannot find a compatible Vec3Set node in the scene graph or "
                                "vec3SetId field is invalid.");
      return nullptr;
    }
    Extractor& extractor = this->getExtractor();
    extractor.setMaxLifeTime(m_node.maxLifeTime.getValue());
    extractor.setMaxLength(m_node.maxLength.getValue());
    extractor.setMinSpeed(m_node.minSpeed.getValue());
    extractor.setIntegrationStepLengthFactor(m_node.integrationStepLengthFactor.getValue());
    extractor.setMaxStepNumber(
        static_cast<std::size_t>(std::max(m_node.maxStepNumber.getValue(), 0)));
    extractor.setDirection(m_node.direction.getValue() == MoMeshStreamline::BACKWARD
                               ? MiStreamlineDirection::Backward
                               : MiStreamlineDirection::Forward);
    std::vector<MbVec3d> seeds;
    for (int n = 0; n < m_node.startingPoints.getNum(); ++n) {
      const SbVec3f& p = m_node.startingPoints[n];
      seeds.push_back({p[0], p[1], p[2]});
    }
    // A set of the right numbering whose size is not the mesh's fits no better.
    m_hasLines = isBound(*set) && extractor.extractStreamlines(seeds, *set, filter);
    if (!m_hasLines) {
      SoDebugError::postWarning(kTexts.node, "Vectorset type not compatible with binding");
      return nullptr;
    }
    return &extractor.getLines();
  }
  const MeXLineMeshUnstructured* getExtract() const override
  {
    return m_hasLines ? Base::getExtract() : nullptr;
  }

private:
  const Set* findSet(SoState* state) const
  {
    const int id = m_node.vec3SetId.getValue();
    const MxAttributesManager& attributes = m_node.getAttributesManager();
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

  const MoMeshStreamline& m_node;
  bool m_hasLines = false;
};

template <MeshType K>
class MdMeshStreamline final : public MdMeshMultiLinesRepresentation<MdStreamlineExtract<K>>
{
  using Base = MdMeshMultiLinesRepresentation<MdStreamlineExtract<K>>;

public:
  using typename Base::CellFilter, typename Base::Interface;

  MdMeshStreamline(MoMeshStreamline& node, const MdRepresentationTexts& texts)
      : Base(node, texts), m_node(node)
  {
    this->setBuilders(&node.getLineMeshes());
  }

protected:
  std::unique_ptr<MdStreamlineExtract<K>> makeExtract(const Interface& mesh, bool parallel,
                                                      const MiTessellator*) override
  {
    return std::make_unique<MdStreamlineExtract<K>>(
        MdStreamlineExtract<K>::Extractor::getNewInstance(mesh, parallel), m_node);
  }
  const MeXLineMeshes* extractLines(SoState* state, const CellFilter* filter) override
  {
    return this->getExtract()->extract(state, filter);
  }
  void finishLines(std::size_t index, MdLineMesh& builder) override
  {
    builder.setTangents(&this->getExtract()->getExtractor().getTangents(index));
  }

private:
  const MoMeshStreamline& m_node;
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
  mdExtract<MdMeshStreamline>(*this, action, Kinds{}, kTexts);
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
