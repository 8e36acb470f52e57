#include <velmo/extraction/extractors/MiSliceExtract.h>

#include <velmo/extraction/extractors/MxCutWork.h>

#include <bit>
#include <cmath>

namespace {

/// A cutting surface, known again by the bits of its numbers: not-a-number equals itself.
struct SliceArguments
{
  template <class Shape>
  explicit SliceArguments(const Shape& given) : shape(given)
  {
    using Bits = std::array<std::uint64_t, sizeof(Shape) / sizeof(double)>;
    const Bits own = std::bit_cast<Bits>(given);
    std::copy(own.begin(), own.end(), bits.begin());
  }
  friend bool operator==(const SliceArguments& a, const SliceArguments& b)
  {
    return a.shape.index() == b.shape.index() && a.bits == b.bits;
  }

  MxCutShape shape;
  std::array<std::uint64_t, sizeof(MxCutShape) / sizeof(std::uint64_t)> bits{};
};

template <MeshType K>
struct SliceWork : MxCutWork<K>
{
  using Arguments = SliceArguments;
  using typename MxCutWork<K>::Mesh, typename MxCutWork<K>::Request;

  std::shared_ptr<const MxMeshCheck> build(const Mesh& mesh, const Arguments& arguments,
                                           const Request& request,
                                           MeXSurfaceMeshUnstructured& surface)
  {
    if (!isCutShapeUsable(arguments.shape)) return nullptr;
    return this->cut(mesh, arguments.shape, request, surface);
  }
};

template <class Interface, MeshType K, class Shape, class Slice>
class SliceExtractor;

template <class Interface, MeshType K, class Shape, class CellFilter, class... Geometry>
class SliceExtractor<Interface, K, Shape, MiSliceExtract<CellFilter, Geometry...>> final
    : public MxSurfaceExtractor<Interface, SliceWork<K>>
{
  using Base = MxSurfaceExtractor<Interface, SliceWork<K>>;

public:
  using typename Base::Filter, typename Base::Arguments;

  using Base::Base;

  const MeXSurfaceMeshUnstructured& extractSlice(Geometry... geometry,
                                                 const Filter* filter) override
  {
    return this->m_results.extractSurface(Arguments(Shape{geometry...}), filter);
  }
  const MeXLineMeshUnstructured& extractLine(Geometry... geometry, const Filter* filter) override
  {
    return this->m_results.extractLines(Arguments(Shape{geometry...}), filter);
  }
  const MeXPointMeshCurvilinear& extractPoints(Geometry... geometry, const Filter* filter) override
  {
    return this->m_results.extractPoints(Arguments(Shape{geometry...}), filter);
  }
};

} // namespace

/// The extractors of a shape: those named Mi...SliceExtract after it, for all kinds of mesh.
#define MX_SLICES(Shape)                                                                           \
  namespace {                                                                                      \
  template <class Interface, MeshType K>                                                           \
  using Shape##Extractor =                                                                         \
      SliceExtractor<Interface, K, MxCut##Shape,                                                   \
                     Mi##Shape##SliceExtract<typename MxMeshKind<K>::CellFilter>>;                 \
  }                                                                                                \
  MX_SLICE_ROW(Shape##Extractor, Mi##Shape##SliceExtractUnstructured)                              \
  MX_SLICE_ROW(Shape##Extractor, Mi##Shape##SliceExtractHexahedronIjk)                             \
  MX_SLICE_ROW(Shape##Extractor, Mi##Shape##SliceExtractIjk)                                       \
  MX_SLICE_KIND(Mi##Shape##SliceExtractUnstructured, MiVolumeMeshUnstructured)                     \
  MX_SLICE_KIND(Mi##Shape##SliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk)                   \
  MX_SLICE_KIND(Mi##Shape##SliceExtractIjk, MiVolumeMeshVertexHexahedronIjk)                       \
  MX_SLICE_KIND(Mi##Shape##SliceExtractIjk, MiVolumeMeshRegular)                                   \
  MX_SLICE_KIND(Mi##Shape##SliceExtractIjk, MiVolumeMeshRectilinear)                               \
  MX_SLICE_KIND(Mi##Shape##SliceExtractIjk, MiVolumeMeshCurvilinear)

#define MX_SLICE_ROW(Extractor, Interface)                                                         \
  template <>                                                                                      \
  inline constexpr MxExtractorRow<Extractor> kExtractorRow<Interface>{#Interface};
#define MX_SLICE_KIND(Interface, Mesh) template struct MiExtractorMaker<Interface, Mesh>;

MX_SLICES(Plane)
MX_SLICES(Sphere)
MX_SLICES(Cylinder)
