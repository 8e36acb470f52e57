#pragma once

#include <velmo/extraction/extractors/MiInterpolatedLogicalSliceExtract.h>
#include <velmo/extraction/extractors/MiIsolineExtract.h>
#include <velmo/extraction/extractors/MiLineExtract.h>
#include <velmo/extraction/extractors/MiLogicalSliceExtract.h>
#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/extraction/extractors/MiStreamlineExtract.h>
#include <velmo/extraction/extractors/MiSurfaceExtract.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <tests/support/MeshZoo.h>

#include <memory>
#include <type_traits>

/// Which extractor of a family serves a kind of mesh.
namespace extractors {

template <MeshType K, class Unstructured, class HexahedronIjk, class Ijk>
using Of =
    std::conditional_t<K == VOLUME_MESH_UNSTRUCTURED, Unstructured,
                       std::conditional_t<K == VOLUME_MESH_HEXAHEDRON_IJK, HexahedronIjk, Ijk>>;

template <MeshType K>
using Skin = Of<K, MiSkinExtractUnstructured, MiSkinExtractHexahedronIjk, MiSkinExtractIjk>;
template <MeshType K>
using Streamlines = Of<K, MiStreamlineExtractUnstructured, MiStreamlineExtractHexahedronIjk,
                       MiStreamlineExtractIjk>;

/// The kinds that slices along an index serve.
using LayerKinds = MxKinds<VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_REGULAR, VOLUME_MESH_RECTILINEAR,
                           VOLUME_MESH_CURVILINEAR>;
template <MeshType K>
using Layer =
    std::conditional_t<K == VOLUME_MESH_HEXAHEDRON_IJK, MiLogicalSliceExtractHexahedronIjk,
                       std::conditional_t<K == VOLUME_MESH_REGULAR, MiLogicalSliceExtractRegular,
                                          std::conditional_t<K == VOLUME_MESH_RECTILINEAR,
                                                             MiLogicalSliceExtractRectilinear,
                                                             MiLogicalSliceExtractCurvilinear>>>;
template <MeshType K>
using Between = std::conditional_t<K == VOLUME_MESH_HEXAHEDRON_IJK,
                                   MiInterpolatedLogicalSliceExtractHexahedronIjk,
                                   MiInterpolatedLogicalSliceExtract>;

template <MeshType K>
using Surface = std::conditional_t<K == SURFACE_MESH_UNSTRUCTURED, MiSurfaceExtractUnstructured,
                                   MiSurfaceExtractIj>;
template <MeshType K>
using Isolines = std::conditional_t<K == SURFACE_MESH_UNSTRUCTURED, MiIsolineExtractUnstructured,
                                    MiIsolineExtractIj>;
template <MeshType K>
using Lines =
    std::conditional_t<K == LINE_MESH_UNSTRUCTURED, MiLineExtractUnstructured, MiLineExtractRow>;

/// The extractor of a family for a mesh of any of these kinds.
template <class Base, template <MeshType> class Family, MeshType... Kinds>
std::unique_ptr<Base> make(MxKinds<Kinds...> kinds, const MiMesh& mesh, bool parallel)
{
  std::unique_ptr<Base> made;
  visitMeshKind(kinds, classifyMesh(&mesh), [&]<MeshType K>() {
    made = Family<K>::getNewInstance(zoo::as<K>(mesh), parallel);
  });
  return made;
}

} // namespace extractors
