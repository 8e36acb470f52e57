#pragma once

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/mesh/MbMesh.h>

#include <functional>
#include <limits>
#include <memory>
#include <vector>

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Small meshes for tests. All own their arrays.
namespace zoo {

/// One number a cell, zero for dead; empty for none.
using Active = std::vector<std::uint8_t>;

/// The small mesh of a kind: a dozen cells of several shapes or a bent, faulted grid, its second
/// cell dead. Null for UNDEFINED_MESH.
std::unique_ptr<MiMesh> small(MeshType kind);

/// The same mesh with virtual calls alone, without a view. Keeps the mesh given, whose stamps are
/// its own.
std::unique_ptr<MiMesh> procedural(std::unique_ptr<MiMesh> mesh);

/// One grid of cells.x * cells.y * cells.z boxes as each of the six volume kinds. Node (i, j, k)
/// lies at (i, j / 2, k / 4); nodes and cells of unstructured kinds are numbered I fastest.
std::unique_ptr<MiMesh> block(MeshType volumeKind, MbIndex3 cells, Active active = {});
/// block(VOLUME_MESH_VERTEX_HEXAHEDRON_IJK, ...) from pillars and depths instead of corners.
std::unique_ptr<MiMesh> pillarBlock(MbIndex3 cells, Active active = {});

/// One sheet of cells.x * cells.y rectangles as each of the four surface kinds. Node (i, j) lies at
/// (i, j / 2, 0); unstructured ones are numbered I fastest.
std::unique_ptr<MiMesh> sheet(MeshType surfaceKind, MbIndex3 cells, Active active = {});
/// One row of segments as each of the three line kinds. Node i lies at (i, 0, 0).
std::unique_ptr<MiMesh> row(MeshType lineKind, std::size_t cells, Active active = {});

/// The same grid with every box split, in a conforming way, into cells of one volume shape: 1
/// hexahedron or polyhedron, 2 wedges, 6 tetrahedra or 6 pyramids, each of any order.
std::unique_ptr<MbVolumeMeshUnstructured> blockOf(MiCellShape shape, MbIndex3 cells);

/// A cube of size^3 unit boxes at random as hexahedra, wedges, pyramids and tetrahedra around a
/// node of their own, and polyhedra of triangles, quads and larger polygons, whose faces may be
/// listed in either sense; cells share whole faces. Inner nodes are moved at random by up to
/// `moved` along each axis, so that faces are warped; the surface stays a cube.
std::unique_ptr<MbVolumeMeshUnstructured> mixedBlock(int size, double moved, unsigned seed);

/// A mesh of cells that do not touch, one of each shape given, in a row along X; all shapes of one
/// dimension, 1 to 3.
std::unique_ptr<MiMesh> cellsOf(const std::vector<MiCellShape>& shapes, Active active = {});

/// Every shape of a dimension, 1 to 3, polyhedra, polygons and polylines included.
std::vector<MiCellShape> shapesOf(int dimension);

/// Where the nodes of a mesh of any kind lie, in the order of its data sets per node.
std::vector<MbVec3d> nodePlaces(const MiMesh& mesh);
/// Values as a set that is numbered as the mesh's kind numbers its nodes or cells.
std::unique_ptr<MiTypedDataSet<double>> setOf(const MiMesh& mesh, MiDataBinding binding,
                                              std::vector<double> values);
/// A set per node with the values of a function of the nodes' places.
std::unique_ptr<MiTypedDataSet<double>> nodeSet(const MiMesh& mesh,
                                                const std::function<double(const MbVec3d&)>& field);
std::unique_ptr<MiTypedDataSet<MbVec3d>>
vectorSet(const MiMesh& mesh, const std::function<MbVec3d(const MbVec3d&)>& field);
/// A set per cell with the numbers of the cells, I fastest.
std::unique_ptr<MiTypedDataSet<double>> cellNumbers(const MiMesh& mesh);
/// A pattern without order in which one cell of five is dead.
Active someDead(const MbIndex3& cells);

/// The mesh as the interface of its kind; throws std::bad_cast when it has another.
template <MeshType Kind>
const typename MxMeshKind<Kind>::Interface& as(const MiMesh& mesh)
{
  return dynamic_cast<const typename MxMeshKind<Kind>::Interface&>(mesh);
}

/// All thirteen kinds, for loops and for value-parameterised tests.
inline constexpr MeshType kKinds[] = {
    VOLUME_MESH_UNSTRUCTURED,  VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_VERTEX_HEXAHEDRON_IJK,
    VOLUME_MESH_REGULAR,       VOLUME_MESH_RECTILINEAR,    VOLUME_MESH_CURVILINEAR,
    SURFACE_MESH_UNSTRUCTURED, SURFACE_MESH_REGULAR,       SURFACE_MESH_RECTILINEAR,
    SURFACE_MESH_CURVILINEAR,  LINE_MESH_UNSTRUCTURED,     LINE_MESH_REGULAR,
    LINE_MESH_CURVILINEAR};
inline constexpr MeshType kSurfaceKinds[] = {SURFACE_MESH_UNSTRUCTURED, SURFACE_MESH_REGULAR,
                                             SURFACE_MESH_RECTILINEAR, SURFACE_MESH_CURVILINEAR};
inline constexpr MeshType kLineKinds[] = {LINE_MESH_UNSTRUCTURED, LINE_MESH_REGULAR,
                                          LINE_MESH_CURVILINEAR};
inline constexpr MeshType kVolumeKinds[] = {
    VOLUME_MESH_UNSTRUCTURED, VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_VERTEX_HEXAHEDRON_IJK,
    VOLUME_MESH_REGULAR,      VOLUME_MESH_RECTILINEAR,    VOLUME_MESH_CURVILINEAR};

} // namespace zoo
