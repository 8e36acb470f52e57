#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MiMesh.h>

#include <type_traits>

/// How the cells of a mesh kind are numbered.
enum class MxIndexing
{
  I,
  Ij,
  Ijk
};

template <MxIndexing>
struct MxIndexingTypes;
template <>
struct MxIndexingTypes<MxIndexing::I>
{
  using CellFilter = MiCellFilterI;
  template <class T>
  using Set = MiDataSetI<T>;
};
template <>
struct MxIndexingTypes<MxIndexing::Ij>
{
  using CellFilter = MiCellFilterIj;
  template <class T>
  using Set = MiDataSetIj<T>;
};
template <>
struct MxIndexingTypes<MxIndexing::Ijk>
{
  using CellFilter = MiCellFilterIjk;
  template <class T>
  using Set = MiDataSetIjk<T>;
};

template <class MeshInterface, MxIndexing Cells, MxIndexing Nodes = Cells>
struct MxMeshKindRow
{
  using Interface = MeshInterface;
  static constexpr MxIndexing kIndexing = Cells;
  static constexpr MxIndexing kNodeIndexing = Nodes;
  using CellFilter = typename MxIndexingTypes<Cells>::CellFilter;
  template <class T>
  using CellSet = typename MxIndexingTypes<Cells>::template Set<T>;
  template <class T>
  using NodeSet = typename MxIndexingTypes<Nodes>::template Set<T>;
};

/// The table of mesh kinds: interface, filter and data sets of each. Only the hexahedron IJK mesh
/// numbers its cells and its nodes differently.
template <MeshType>
struct MxMeshKind;
template <>
struct MxMeshKind<VOLUME_MESH_UNSTRUCTURED> : MxMeshKindRow<MiVolumeMeshUnstructured, MxIndexing::I>
{};
template <>
struct MxMeshKind<VOLUME_MESH_HEXAHEDRON_IJK>
    : MxMeshKindRow<MiVolumeMeshHexahedronIjk, MxIndexing::Ijk, MxIndexing::I>
{};
template <>
struct MxMeshKind<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK>
    : MxMeshKindRow<MiVolumeMeshVertexHexahedronIjk, MxIndexing::Ijk>
{};
template <>
struct MxMeshKind<VOLUME_MESH_REGULAR> : MxMeshKindRow<MiVolumeMeshRegular, MxIndexing::Ijk>
{};
template <>
struct MxMeshKind<VOLUME_MESH_RECTILINEAR> : MxMeshKindRow<MiVolumeMeshRectilinear, MxIndexing::Ijk>
{};
template <>
struct MxMeshKind<VOLUME_MESH_CURVILINEAR> : MxMeshKindRow<MiVolumeMeshCurvilinear, MxIndexing::Ijk>
{};
template <>
struct MxMeshKind<SURFACE_MESH_UNSTRUCTURED>
    : MxMeshKindRow<MiSurfaceMeshUnstructured, MxIndexing::I>
{};
template <>
struct MxMeshKind<SURFACE_MESH_REGULAR> : MxMeshKindRow<MiSurfaceMeshRegular, MxIndexing::Ij>
{};
template <>
struct MxMeshKind<SURFACE_MESH_RECTILINEAR>
    : MxMeshKindRow<MiSurfaceMeshRectilinear, MxIndexing::Ij>
{};
template <>
struct MxMeshKind<SURFACE_MESH_CURVILINEAR>
    : MxMeshKindRow<MiSurfaceMeshCurvilinear, MxIndexing::Ij>
{};
template <>
struct MxMeshKind<LINE_MESH_UNSTRUCTURED> : MxMeshKindRow<MiLineMeshUnstructured, MxIndexing::I>
{};
template <>
struct MxMeshKind<LINE_MESH_REGULAR> : MxMeshKindRow<MiLineMeshRegular, MxIndexing::I>
{};
template <>
struct MxMeshKind<LINE_MESH_CURVILINEAR> : MxMeshKindRow<MiLineMeshCurvilinear, MxIndexing::I>
{};

/// A list of kinds, in the order in which a mesh is tested against them.
template <MeshType...>
struct MxKinds
{};

using MxVolumeKinds =
    MxKinds<VOLUME_MESH_UNSTRUCTURED, VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_VERTEX_HEXAHEDRON_IJK,
            VOLUME_MESH_REGULAR, VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR>;
using MxSurfaceKinds = MxKinds<SURFACE_MESH_UNSTRUCTURED, SURFACE_MESH_REGULAR,
                               SURFACE_MESH_RECTILINEAR, SURFACE_MESH_CURVILINEAR>;
using MxLineKinds = MxKinds<LINE_MESH_UNSTRUCTURED, LINE_MESH_REGULAR, LINE_MESH_CURVILINEAR>;
using MxAllKinds =
    MxKinds<VOLUME_MESH_UNSTRUCTURED, VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_VERTEX_HEXAHEDRON_IJK,
            VOLUME_MESH_REGULAR, VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR,
            SURFACE_MESH_UNSTRUCTURED, SURFACE_MESH_REGULAR, SURFACE_MESH_RECTILINEAR,
            SURFACE_MESH_CURVILINEAR, LINE_MESH_UNSTRUCTURED, LINE_MESH_REGULAR,
            LINE_MESH_CURVILINEAR>;

/// Calls visit.operator()<K>() for the kind K of the list that equals `kind`; false when there is
/// none.
template <MeshType... Kinds, class Visitor>
bool visitMeshKind(MxKinds<Kinds...>, MeshType kind, Visitor&& visit)
{
  return ((kind == Kinds && (visit.template operator()<Kinds>(), true)) || ...);
}

/// The kind in the list whose interface `Interface` is; UNDEFINED_MESH for none.
template <class Interface, MeshType... Kinds>
constexpr MeshType meshTypeOf(MxKinds<Kinds...>)
{
  MeshType type = UNDEFINED_MESH;
  ((type = std::is_same_v<Interface, typename MxMeshKind<Kinds>::Interface> ? Kinds : type), ...);
  return type;
}

/// The first kind, in the order of the table, whose interface the mesh has; UNDEFINED_MESH for none
/// or null.
MeshType classifyMesh(const MiMesh* mesh);

/// "VOLUME_MESH_UNSTRUCTURED" and so on, "UNDEFINED_MESH" for anything else.
const char* meshTypeName(MeshType type);
