#pragma once

#include <velmo/extraction/extractors/MiIsosurfExtract.h>
#include <velmo/extraction/extractors/MiSliceExtract.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <tests/support/MeshZoo.h>

#include <functional>
#include <stdexcept>

/// The extractors of isosurfaces and slices of a volume mesh of any kind.
class CutExtractors
{
public:
  using Surface = MeXSurfaceMeshUnstructured;
  using Set = MiTypedDataSet<double>;

  explicit CutExtractors(const MiMesh& mesh, bool parallel = true,
                         const MiTessellator* tessellator = nullptr)
  {
    visitMeshKind(MxVolumeKinds{}, classifyMesh(&mesh), [&]<MeshType K>() {
      const auto& typed = zoo::as<K>(mesh);
      if constexpr (K == VOLUME_MESH_UNSTRUCTURED)
        make<MiIsosurfExtractUnstructured, MiPlaneSliceExtractUnstructured,
             MiSphereSliceExtractUnstructured, MiCylinderSliceExtractUnstructured>(typed, parallel,
                                                                                   tessellator);
      else if constexpr (K == VOLUME_MESH_HEXAHEDRON_IJK)
        make<MiIsosurfExtractHexahedronIjk, MiPlaneSliceExtractHexahedronIjk,
             MiSphereSliceExtractHexahedronIjk, MiCylinderSliceExtractHexahedronIjk>(
            typed, parallel, tessellator);
      else
        make<MiIsosurfExtractIjk, MiPlaneSliceExtractIjk, MiSphereSliceExtractIjk,
             MiCylinderSliceExtractIjk>(typed, parallel, tessellator);
    });
  }

  /// @param filter  of the numbering that the mesh has; null for all cells
  std::function<const Surface&(const Set& set, double value, const MiCellFilter* filter)>
      isosurface;
  std::function<const Surface&(MbVec3d normal, double distance, const MiCellFilter* filter)> plane;
  std::function<const Surface&(MbVec3d center, double radius, const MiCellFilter* filter)> sphere;
  std::function<const Surface&(MbVec3d center, MbVec3d direction, double radius,
                               const MiCellFilter* filter)>
      cylinder;
  std::shared_ptr<MiSurfaceExtractor> isosurfaces, planes, spheres, cylinders;

private:
  template <class Isosurf, class Plane, class Sphere, class Cylinder, class Mesh>
  void make(const Mesh& mesh, bool parallel, const MiTessellator* tessellator)
  {
    using Filter = typename MxMeshKind<meshTypeOf<Mesh>(MxVolumeKinds{})>::CellFilter;
    const auto own = [](const MiCellFilter* filter) { return dynamic_cast<const Filter*>(filter); };
    const std::shared_ptr<Isosurf> iso = Isosurf::getNewInstance(mesh, parallel, tessellator);
    isosurfaces = iso;
    isosurface = [=](const Set& set, double value, const MiCellFilter* filter) -> const Surface& {
      if (const auto* flat = dynamic_cast<const MiDataSetI<double>*>(&set))
        return iso->extractIsosurf(*flat, value, own(filter));
      return iso->extractIsosurf(dynamic_cast<const MiDataSetIjk<double>&>(set), value,
                                 own(filter));
    };
    const std::shared_ptr<Plane> flat = Plane::getNewInstance(mesh, parallel, tessellator);
    planes = flat;
    plane = [=](MbVec3d n, double d, const MiCellFilter* filter) -> const Surface& {
      return flat->extractSlice(n, d, own(filter));
    };
    const std::shared_ptr<Sphere> ball = Sphere::getNewInstance(mesh, parallel, tessellator);
    spheres = ball;
    sphere = [=](MbVec3d c, double r, const MiCellFilter* filter) -> const Surface& {
      return ball->extractSlice(c, r, own(filter));
    };
    const std::shared_ptr<Cylinder> tube = Cylinder::getNewInstance(mesh, parallel, tessellator);
    cylinders = tube;
    cylinder = [=](MbVec3d c, MbVec3d d, double r, const MiCellFilter* filter) -> const Surface& {
      return tube->extractSlice(c, d, r, own(filter));
    };
  }
};
