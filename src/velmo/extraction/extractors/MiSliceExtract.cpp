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

template <class Interface, class Mesh>
using PlaneExtractor = SliceExtractor<Interface, meshTypeOf<Mesh>(MxVolumeKinds{}), MxCutPlane,
                                      const MbVec3d&, double>;
template <class Interface, class Mesh>
using SphereExtractor = SliceExtractor<Interface, meshTypeOf<Mesh>(MxVolumeKinds{}), MxCutSphere,
                                       const MbVec3d&, double>;
template <class Interface, class Mesh>
using CylinderExtractor = SliceExtractor<Interface, meshTypeOf<Mesh>(MxVolumeKinds{}),
                                         MxCutCylinder, const MbVec3d&, const MbVec3d&, double>;

} // namespace

template <class Mesh>
struct MxExtractorFor<MiPlaneSliceExtractUnstructured, Mesh>
{
  using Type = PlaneExtractor<MiPlaneSliceExtractUnstructured, Mesh>;
  static constexpr const char* kName = "MiPlaneSliceExtractUnstructured";
};
template <class Mesh>
struct MxExtractorFor<MiPlaneSliceExtractHexahedronIjk, Mesh>
{
  using Type = PlaneExtractor<MiPlaneSliceExtractHexahedronIjk, Mesh>;
  static constexpr const char* kName = "MiPlaneSliceExtractHexahedronIjk";
};
template <class Mesh>
struct MxExtractorFor<MiPlaneSliceExtractIjk, Mesh>
{
  using Type = PlaneExtractor<MiPlaneSliceExtractIjk, Mesh>;
  static constexpr const char* kName = "MiPlaneSliceExtractIjk";
};
template <class Mesh>
struct MxExtractorFor<MiSphereSliceExtractUnstructured, Mesh>
{
  using Type = SphereExtractor<MiSphereSliceExtractUnstructured, Mesh>;
  static constexpr const char* kName = "MiSphereSliceExtractUnstructured";
};
template <class Mesh>
struct MxExtractorFor<MiSphereSliceExtractHexahedronIjk, Mesh>
{
  using Type = SphereExtractor<MiSphereSliceExtractHexahedronIjk, Mesh>;
  static constexpr const char* kName = "MiSphereSliceExtractHexahedronIjk";
};
template <class Mesh>
struct MxExtractorFor<MiSphereSliceExtractIjk, Mesh>
{
  using Type = SphereExtractor<MiSphereSliceExtractIjk, Mesh>;
  static constexpr const char* kName = "MiSphereSliceExtractIjk";
};
template <class Mesh>
struct MxExtractorFor<MiCylinderSliceExtractUnstructured, Mesh>
{
  using Type = CylinderExtractor<MiCylinderSliceExtractUnstructured, Mesh>;
  static constexpr const char* kName = "MiCylinderSliceExtractUnstructured";
};
template <class Mesh>
struct MxExtractorFor<MiCylinderSliceExtractHexahedronIjk, Mesh>
{
  using Type = CylinderExtractor<MiCylinderSliceExtractHexahedronIjk, Mesh>;
  static constexpr const char* kName = "MiCylinderSliceExtractHexahedronIjk";
};
template <class Mesh>
struct MxExtractorFor<MiCylinderSliceExtractIjk, Mesh>
{
  using Type = CylinderExtractor<MiCylinderSliceExtractIjk, Mesh>;
  static constexpr const char* kName = "MiCylinderSliceExtractIjk";
};

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
