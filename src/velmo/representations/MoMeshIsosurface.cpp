#include <velmo/representations/MoMeshIsosurface.h>

#include <velmo/extraction/extractors/MiIsosurfExtract.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/representation/MdIsoSet.h>
#include <velmo/representation/MdMeshSurfaceOf.h>

MO_NODE_SOURCE(MoMeshIsosurface, MoMeshSurfaceRepresentation)

namespace {

struct Isosurface
{
  using Node = MoMeshIsosurface;
  using Extractors = MdExtractorFamily<MiIsosurfExtractUnstructured, MiIsosurfExtractHexahedronIjk,
                                       MiIsosurfExtractIjk>;
  static constexpr MdRepresentationTexts kTexts{
      .node = "MoMeshIsosurface",
      .extractors = {"MiIsosurfExtractUnstructured", "MiIsosurfExtractHexahedronIjk",
                     "MiIsosurfExtractIjk"},
      .refusalFunction = "MdMeshIsosurface::doExtract",
      .refusal = "Cannot compute isosurface on this type of mesh."};

  template <MeshType>
  struct Arguments
  {
    const MiTypedDataSet<double>* set;
    std::uint64_t setStamp;
    double isovalue;
    bool operator==(const Arguments&) const = default;
  };

  template <MeshType K>
  static std::optional<Arguments<K>> read(SoState* state, const Node& node)
  {
    const auto* set =
        mdFindIsoSet<K>(node, state, node.isoScalarSetId.getValue(), kTexts.node, true);
    if (!set) return std::nullopt;
    return Arguments<K>{set, set->getTimeStamp(), node.isovalue.getValue()};
  }
  template <class Extractor, class At, class Filter>
  static const auto& extractMesh(Extractor& extractor, const At& at, const Filter* filter)
  {
    return withSet(
        at, [&](const auto& set) -> const auto& {
          return extractor.extractIsosurf(set, at.isovalue, filter);
        });
  }
  template <class Extractor, class At, class Filter>
  static const auto& extractLine(Extractor& extractor, const At& at, const Filter* filter)
  {
    return withSet(
        at, [&](const auto& set) -> const auto& {
          return extractor.extractLine(set, at.isovalue, filter);
        });
  }
  template <class Extractor, class At, class Filter>
  static const auto& extractPoints(Extractor& extractor, const At& at, const Filter* filter)
  {
    return withSet(
        at, [&](const auto& set) -> const auto& {
          return extractor.extractPoints(set, at.isovalue, filter);
        });
  }

private:
  /// Calls call(set) with the numbering that the set has.
  template <class At, class Call>
  static const auto& withSet(const At& at, const Call& call)
  {
    if (const auto* grid = dynamic_cast<const MiDataSetIjk<double>*>(at.set)) return call(*grid);
    return call(dynamic_cast<const MiDataSetI<double>&>(*at.set));
  }
};

template <MeshType K>
using MdMeshIsosurface = MdMeshSurfaceOf<Isosurface, K>;

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
  mdExtract<MdMeshIsosurface>(*this, action, MxVolumeKinds{}, Isosurface::kTexts);
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
