#include <velmo/representations/MoMeshIsosurface.h>

#include <velmo/extraction/extractors/MiIsosurfExtract.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/nodes/MoScalarSetElement.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/representation/MdExtract.h>
#include <velmo/representation/MdExtractByKind.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

MO_NODE_SOURCE(MoMeshIsosurface, MoMeshSurfaceRepresentation)

namespace {

using Extractors = MdExtractorFamily<MiIsosurfExtractUnstructured, MiIsosurfExtractHexahedronIjk,
                                     MiIsosurfExtractIjk>;

constexpr MdRepresentationTexts kTexts{
    .node = "MoMeshIsosurface",
    .extractors = {"MiIsosurfExtractUnstructured", "MiIsosurfExtractHexahedronIjk",
                   "MiIsosurfExtractIjk"},
    .refusalFunction = "MdMeshIsosurface::doExtract",
    .refusal = "Cannot compute isosurface on this type of mesh."};

/// The set that an isosurface is made of, in one of the two numberings; both null for none.
struct IsoSet
{
  const MiDataSetI<double>* flat = nullptr;
  const MiDataSetIjk<double>* grid = nullptr;
};

template <MeshType K>
class MdIsosurfExtract final : public MdExtract<MdTraits<K, Extractors>>
{
  using Base = MdExtract<MdTraits<K, Extractors>>;
  // Nodes numbered by I, J and K: their values may be numbered either way.
  static constexpr bool kIsGrid = MxMeshKind<K>::kNodeIndexing == MxIndexing::Ijk;

public:
  using typename Base::CellFilter, typename Base::Extractor;
  static constexpr bool kMayBeAsynchronous = false;

  MdIsosurfExtract(std::shared_ptr<Extractor> extractor, const MoMeshIsosurface& node)
      : Base(std::move(extractor), kTexts.extractors[Base::kExtractorIndex]), m_node(node)
  {}

  const MeXSurfaceMeshUnstructured* getExtract() const override
  {
    return m_hasSurface ? Base::getExtract() : nullptr;
  }

  const MeXSurfaceMeshUnstructured* extractSurface(SoState* state, const CellFilter* filter)
  {
    const auto* surface = call(state, [&](const auto& set) -> const MeXSurfaceMeshUnstructured* {
      return &this->getExtractor().extractIsosurf(set, isovalue(), filter);
    });
    m_hasSurface = surface != nullptr;
    return surface;
  }
  const MeXLineMeshUnstructured* extractLine(SoState* state, const CellFilter* filter) override
  {
    return call(state, [&](const auto& set) -> const MeXLineMeshUnstructured* {
      return &this->getExtractor().extractLine(set, isovalue(), filter);
    });
  }
  const MeXPointMeshCurvilinear* extractPoints(SoState* state, const CellFilter* filter) override
  {
    return call(state, [&](const auto& set) -> const MeXPointMeshCurvilinear* {
      return &this->getExtractor().extractPoints(set, isovalue(), filter);
    });
  }

private:
  double isovalue() const { return m_node.isovalue.getValue(); }

  /// What `extract` gives for the set; null without one.
  template <class Extraction>
  auto call(SoState* state, const Extraction& extract) const
      -> decltype(extract(std::declval<const MiDataSetI<double>&>()))
  {
    const IsoSet set = findSet(state);
    if (set.grid) return extract(*set.grid);
    return set.flat ? extract(*set.flat) : nullptr;
  }

  IsoSet findSet(SoState* state) const
  {
    const int id = m_node.isoScalarSetId.getValue();
    const MxAttributesManager& attributes = m_node.getAttributesManager();
    const MiTypedDataSet<double>* set = attributes.getScalarSet(state, id);
    if (!set) {
      if (MoScalarSetElement::getNum(state) > 0) return {};
      if constexpr (kIsGrid) set = attributes.getDataSet<MiDataSetIjk<double>>(state, id);
      if (!set) set = attributes.getDataSet<MiDataSetI<double>>(state, id);
    }
    IsoSet found;
    if (set) {
      const bool perNode = set->getBinding() == MiDataBinding::PerNode;
      const bool perCell = set->getBinding() == MiDataBinding::PerCell;
      if (perNode) found.flat = dynamic_cast<const MiDataSetI<double>*>(set);
      if (perCell || (perNode && kIsGrid))
        found.grid = dynamic_cast<const MiDataSetIjk<double>*>(set);
    }
    if (!found.flat && !found.grid)
      SoDebugError::postWarning(kTexts.node,
                                "Cannot find a compatible scalartset node in the scene graph or "
                                "isoScalarSetId field is invalid.");
    return found;
  }

  const MoMeshIsosurface& m_node;
  bool m_hasSurface = false;
};

template <MeshType K>
using MdMeshIsosurface = MdMeshSurfaceOf<MdIsosurfExtract<K>, MoMeshIsosurface>;

} // namespace

MoMeshIsosurface::MoMeshIsosurface()
{
  SO_NODE_CONSTRUCTOR(MoMeshIsosurface);
  SO_NODE_ADD_FIELD(isovalue, (0.0f));
  SO_NODE_ADD_FIELD(isoScalarSetId, (0));
  getSurfaceMesh().setSmooth(true);
}

MoMeshIsosurface::~MoMeshIsosurface() = default;

void MoMeshIsosurface::doExtract(SoAction* action)
{
  mdExtract<MdMeshIsosurface>(*this, action, MxVolumeKinds{}, kTexts);
}

MiIsosurfExtractUnstructured* MoMeshIsosurface::getUnstructuredExtractor() const
{
  return mdExtractor<MiIsosurfExtractUnstructured>(*this);
}

MiIsosurfExtractHexahedronIjk* MoMeshIsosurface::getHexahedronIjkExtractor() const
{
  return mdExtractor<MiIsosurfExtractHexahedronIjk>(*this);
}

MiIsosurfExtractHexahedronIjk* MoMeshIsosurface::getUnstructuredIjkExtractor() const
{
  return getHexahedronIjkExtractor();
}

MiIsosurfExtractIjk* MoMeshIsosurface::getIjkExtractor() const
{
  return mdExtractor<MiIsosurfExtractIjk>(*this);
}

MiIsosurfExtractIjk* MoMeshIsosurface::getRegularExtractor() const
{
  return getIjkExtractor();
}
