#include <velmo/extraction/extractors/MiSliceExtract.h>

#include <velmo/extraction/extractors/MxCutWork.h>

#include <bit>
#include <cmath>

namespace {

bool isDirection(const MbVec3d& v)
{
  return isFinite(v) && (v.x != 0 || v.y != 0 || v.z != 0);
}
bool isRadius(double r)
{
  return std::isfinite(r) && r >= 0;
}

bool isUsable(const MxCutPlane& plane)
{
  return isDirection(plane.normal) && std::isfinite(plane.distance);
}
bool isUsable(const MxCutSphere& sphere)
{
  return isFinite(sphere.center) && isRadius(sphere.radius);
}
bool isUsable(const MxCutCylinder& cylinder)
{
  return isFinite(cylinder.center) && isDirection(cylinder.direction) && isRadius(cylinder.radius);
}

/// A cutting surface, known again by the bits of its numbers: not-a-number equals itself.
struct SliceArguments
{
  template <class Shape>
  explicit SliceArguments(const Shape& given) : shape(given), usable(isUsable(given))
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
  bool usable;
  std::array<std::uint64_t, 7> bits{};
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
    return arguments.usable ? this->cut(mesh, arguments.shape, request, surface) : nullptr;
  }
};

template <class Interface, MeshType K, class Shape, class... Geometry>
class SliceExtractor final : public MxSurfaceExtractor<Interface, SliceWork<K>>
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

template <class Interface, MeshType K>
using PlaneExtractor = SliceExtractor<Interface, K, MxCutPlane, const MbVec3d&, double>;
template <class Interface, MeshType K>
using SphereExtractor = SliceExtractor<Interface, K, MxCutSphere, const MbVec3d&, double>;
template <class Interface, MeshType K>
using CylinderExtractor =
    SliceExtractor<Interface, K, MxCutCylinder, const MbVec3d&, const MbVec3d&, double>;

} // namespace

template <>
inline constexpr MxExtractorRow<PlaneExtractor> kExtractorRow<MiPlaneSliceExtractUnstructured>{
    "MiPlaneSliceExtractUnstructured"};
template <>
inline constexpr MxExtractorRow<PlaneExtractor> kExtractorRow<MiPlaneSliceExtractHexahedronIjk>{
    "MiPlaneSliceExtractHexahedronIjk"};
template <>
inline constexpr MxExtractorRow<PlaneExtractor> kExtractorRow<MiPlaneSliceExtractIjk>{
    "MiPlaneSliceExtractIjk"};
template <>
inline constexpr MxExtractorRow<SphereExtractor> kExtractorRow<MiSphereSliceExtractUnstructured>{
    "MiSphereSliceExtractUnstructured"};
template <>
inline constexpr MxExtractorRow<SphereExtractor> kExtractorRow<MiSphereSliceExtractHexahedronIjk>{
    "MiSphereSliceExtractHexahedronIjk"};
template <>
inline constexpr MxExtractorRow<SphereExtractor> kExtractorRow<MiSphereSliceExtractIjk>{
    "MiSphereSliceExtractIjk"};
template <>
inline constexpr MxExtractorRow<CylinderExtractor>
    kExtractorRow<MiCylinderSliceExtractUnstructured>{"MiCylinderSliceExtractUnstructured"};
template <>
inline constexpr MxExtractorRow<CylinderExtractor>
    kExtractorRow<MiCylinderSliceExtractHexahedronIjk>{"MiCylinderSliceExtractHexahedronIjk"};
template <>
inline constexpr MxExtractorRow<CylinderExtractor> kExtractorRow<MiCylinderSliceExtractIjk>{
    "MiCylinderSliceExtractIjk"};

template struct MiExtractorMaker<MiPlaneSliceExtractUnstructured, MiVolumeMeshUnstructured>;
template struct MiExtractorMaker<MiPlaneSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>;
template struct MiExtractorMaker<MiPlaneSliceExtractIjk, MiVolumeMeshVertexHexahedronIjk>;
template struct MiExtractorMaker<MiPlaneSliceExtractIjk, MiVolumeMeshRegular>;
template struct MiExtractorMaker<MiPlaneSliceExtractIjk, MiVolumeMeshRectilinear>;
template struct MiExtractorMaker<MiPlaneSliceExtractIjk, MiVolumeMeshCurvilinear>;

template struct MiExtractorMaker<MiSphereSliceExtractUnstructured, MiVolumeMeshUnstructured>;
template struct MiExtractorMaker<MiSphereSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>;
template struct MiExtractorMaker<MiSphereSliceExtractIjk, MiVolumeMeshVertexHexahedronIjk>;
template struct MiExtractorMaker<MiSphereSliceExtractIjk, MiVolumeMeshRegular>;
template struct MiExtractorMaker<MiSphereSliceExtractIjk, MiVolumeMeshRectilinear>;
template struct MiExtractorMaker<MiSphereSliceExtractIjk, MiVolumeMeshCurvilinear>;

template struct MiExtractorMaker<MiCylinderSliceExtractUnstructured, MiVolumeMeshUnstructured>;
template struct MiExtractorMaker<MiCylinderSliceExtractHexahedronIjk, MiVolumeMeshHexahedronIjk>;
template struct MiExtractorMaker<MiCylinderSliceExtractIjk, MiVolumeMeshVertexHexahedronIjk>;
template struct MiExtractorMaker<MiCylinderSliceExtractIjk, MiVolumeMeshRegular>;
template struct MiExtractorMaker<MiCylinderSliceExtractIjk, MiVolumeMeshRectilinear>;
template struct MiExtractorMaker<MiCylinderSliceExtractIjk, MiVolumeMeshCurvilinear>;
