#pragma once

#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/extraction/interfaces/MiMesh.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// An array to write with a mesh, as it lies in memory: its numbers keep their type.
struct MbNamedArray
{
  std::string name;
  MiDataBinding binding = MiDataBinding::PerNode;
  std::size_t components = 1;
  /// One item of `components` numbers a node or cell, I fastest where the mesh is structured.
  /// Borrowed until the file is written, unless `owner` keeps it.
  MiArrayView values;
  std::shared_ptr<const void> owner;
};

/// A data set of double or MbVec3d, of any numbering, as an array: its view where it has one,
/// otherwise a copy. Without values for a set of another type.
MbNamedArray mbNamedArray(const MiDataSet& set);

struct MbSaveOptions
{
  /// zlib, at its fastest level.
  bool compress = false;
  /// False works with one thread; the bytes are the same.
  bool parallel = true;
  /// Written as the field value "TimeValue".
  std::optional<double> time;
};

/// Writes a mesh of any kind with arrays on it, for other programs to read: binary, in the byte
/// order of the machine.
///
/// The name's end decides: .vtu takes every kind (grids as hexahedra, quads and lines, I fastest;
/// vertex hexahedra with eight points a cell), .vtp surfaces and lines (quadratic ones as polygons
/// and polylines through their nodes), .vts every grid of nodes, .vtr and .vti rectilinear and
/// regular ones whose axes are those of the space. Nodes, cells, names, types and component counts
/// stay as they are; polyhedra keep their faces. Points are single precision when the mesh has them
/// so, otherwise double.
///
/// Dead cells stay and are marked in an array "vtkGhostType" per cell, which viewers understand as
/// hidden cells and which MbMeshFile reads. Cells that no reader could take (missing nodes, a wrong
/// number of nodes) become empty cells, so that the others keep their numbers.
///
/// *Memory*: some megabytes, and two numbers for every thousand cells. *Threads*: the mesh and
/// the arrays are read by several threads.
/// @return what was left out or changed, one sentence each
/// @throw MbMeshFileError when the file cannot be written; nothing is left of it then, and a file
///        that was there before stays
/// @throw MbMeshKindError when a file of that name cannot hold such a mesh
/// @throw std::bad_alloc
std::vector<std::string> mbSaveMesh(const MiMesh& mesh, std::span<const MbNamedArray> arrays,
                                    const std::string& path, const MbSaveOptions& options = {});

/// An extracted mesh to write.
struct MbExtractedPart
{
  /// A MeX mesh: surface, lines or points. Borrowed.
  const MiMesh* mesh = nullptr;
  /// Of its own nodes and cells, such as times along a line. The parts of a file have the same.
  std::vector<MbNamedArray> arrays;
};

/// Writes extracted meshes as one .vtp file, part after part, with the arrays of the mesh that they
/// were extracted from mapped onto them, and where their nodes and cells came from:
///
/// - `SourceCell` per cell: the number of the cell, I fastest; also per node, for lines through
///   several cells. `SourceCellIjk`, or `SourceCellIj`: its indices, when the source has them.
/// - `SourceNodes` per node: the nodes of the source that it lies between, -1 behind the last one;
///   `SourceWeights`, unless all are nodes themselves: their parts in it.
///
/// Arrays per node are mixed by these weights: then integers become double. Points are relative to
/// an origin when the mesh is small against its distance from zero; they are written in double
/// then, otherwise in single precision.
/// @param sourceArrays  of the mesh that was extracted from
/// @return, @throw  as mbSaveMesh
std::vector<std::string> mbSaveExtracted(std::span<const MbExtractedPart> parts,
                                         std::span<const MbNamedArray> sourceArrays,
                                         const std::string& path,
                                         const MbSaveOptions& options = {});
