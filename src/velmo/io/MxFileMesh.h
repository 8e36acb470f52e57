#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiCellShape.h>
#include <velmo/extraction/interfaces/MiDataSet.h>
#include <velmo/io/MxFileArray.h>

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

class MxFileBytes;

/// Values per node or cell, as the file has them.
struct MxFileSet
{
  std::string name;
  MiDataBinding binding = MiDataBinding::PerNode;
  std::size_t components = 1;
  MxFileArray values;
  bool isPartial = false; ///< some have no value in the file, and NaN here
};

/// Unstructured cells. As a reader gives them, `types` are the numbers of the file format, a
/// polyhedron without `faces` has its face stream in the connectivity, and `offsets` run forwards
/// and end within the connectivity (both checked by the reader). All but the types are indices as
/// of mxAsIndices. After mxNormalizeCells the arrays
/// are those of MiTopologyView.
struct MxFileCells
{
  std::size_t count = 0;
  MxFileArray types;   ///< UInt8; empty when all cells are `uniform`
  MxFileArray offsets; ///< count + 1; empty when `uniform` tells the node count
  MxFileArray connectivity;
  MxFileArray faces;
  MxFileArray faceOffsets; ///< count + 1
  MiCellShape uniform = MiCellShape::Empty;
};

enum class MxFileLayout
{
  Cells,
  Regular,
  Rectilinear,
  Curvilinear
};

/// What a reader is asked for besides the file.
struct MxReadRequest
{
  bool parallel = true;
  bool sharedNodes = false;   ///< corner-point grids: weld the corners of a pillar that coincide
  std::optional<double> time; ///< the wanted time of a series; none for its first step
  /// Told how much is done, 0 to 1, by the reading thread; may be empty.
  std::function<void(double)> progress;
  int depth = 0;                        ///< files that name files: how many are open already
  const MxFileBytes* namedBy = nullptr; ///< the file that names this one, if one does
};

/// Tells the one who asked how far the reading has come.
void mxReport(const MxReadRequest& request, const MxFileBytes& file, const char* where);

/// Refuses a time outside of those that a series has.
/// @throw MbMeshFileError that names the range
void mxCheckTime(const MxFileBytes& file, double wanted, double first, double last);
/// The same for a file of one time or of none.
void mxCheckOnlyTime(const MxFileBytes& file, const MxReadRequest& request,
                     const std::optional<double>& time);

/// What a reader takes from a file: arrays and counts that fit each other, no mesh yet.
struct MxFileMesh
{
  std::string format;
  std::string title;
  std::optional<double> time;
  std::vector<std::string> notes;
  std::vector<std::string> remarks; ///< what is good to know, and nothing that went amiss
  std::vector<std::string> files;   ///< all that belong to it, as MbMeshFile::getFiles

  MxFileLayout layout = MxFileLayout::Cells;
  std::size_t nodeCount = 0;
  MxFileArray points; ///< three numbers a node: unstructured and curvilinear
  MxFileCells cells;  ///< unstructured
  /// Unstructured hexahedra that are an IJK grid: its cells along each axis, I fastest.
  std::optional<MbIndex3> ijk;
  /// With `ijk`: `points` has the eight corners of every cell, or `pillars` and `depths` (of
  /// double, as of MiVertexIjkView) tell where they are; the connectivity is empty.
  bool vertex = false;
  MxFileArray pillars, depths;
  MbIndex3 nodes; ///< structured: nodes along each axis, none zero
  MbVec3d origin, spacing;
  std::array<MxFileArray, 3> axes; ///< rectilinear

  /// One number a cell, zero for a dead one; empty when all cells live.
  MxFileArray active;
  std::vector<MxFileSet> sets;

  std::size_t cellCount() const;
};

/// What mxNormalizeCells found.
struct MxCellFacts
{
  /// Kind of the cells that stay: those of the highest dimension.
  MeshType kind = VOLUME_MESH_UNSTRUCTURED;
  /// True when cells were left out, split or rewritten.
  bool changed = false;
  /// File cell of each cell, where they were.
  std::vector<std::size_t> source;
};

/// Brings cells into the shapes that a topology knows: leaves out cells of a lower dimension than
/// the highest, permutes voxels and pixels, turns prisms of five and six sides into polyhedra and
/// strips into triangles, unpacks face streams, and drops types and offsets where all cells are
/// alike. Shapes that are not known stay; so do cells with a wrong number of nodes.
/// @throw MbMeshFileError for a face stream that does not fit its cell
MxCellFacts mxNormalizeCells(MxFileCells& cells, const std::string& path,
                             std::vector<std::string>& notes, bool parallel);

/// The counts of cells per file type; a type beyond 255 counts as 255.
std::array<std::size_t, 256> mxCountTypes(const MxFileCells& cells);

/// Tells that all cells are of a file type that is a shape of just so many nodes: they need neither
/// types nor offsets.
/// @param nodesEach  of every cell
bool mxMakeUniform(MxFileCells& cells, std::int64_t fileType, std::size_t nodesEach);
/// 0, each, 2 each ... as offsets of `count` cells, in 32 bits where they fit.
MxFileArray mxEvenOffsets(std::size_t count, std::size_t each, bool parallel);

/// The first of the offsets that is negative, smaller than the one before, or beyond `limit`; their
/// count when all are well.
std::size_t mxFirstBadOffset(const MxFileArray& offsets, std::size_t limit);

/// Replaces the nodes in the face streams by `map` of them.
/// @throw MbMeshFileError for a face stream that does not fit its cell
void mxMapFaceNodes(MxFileCells& cells, const std::string& path,
                    const std::function<std::int64_t(std::int64_t)>& map);

/// Unstructured parts of one file as one mesh, part after part; arrays that a part lacks are left
/// out with a note.
/// @throw MbMeshFileError
MxFileMesh mxJoinParts(std::vector<MxFileMesh> parts, const std::string& path);

/// Makes one node of those that have the same number in the array `globalIds` and lie at one place:
/// the first of them, with the values of the first one that is no ghost. Does nothing without such
/// an array of whole numbers per node.
void mxWeldNodes(MxFileMesh& mesh, const std::string& globalIds, const std::string& path,
                 bool parallel);

// Readers.
bool mxIsLegacyVtk(const MxFileBytes& file);
MxFileMesh mxReadLegacyVtk(const MxFileBytes& file, const MxReadRequest& request);
bool mxIsVtkXml(const MxFileBytes& file);
MxFileMesh mxReadVtkXml(const MxFileBytes& file, const MxReadRequest& request);
bool mxIsGrdecl(const MxFileBytes& file);
MxFileMesh mxReadGrdecl(const MxFileBytes& file, const MxReadRequest& request);
bool mxIsMsh(const MxFileBytes& file);
MxFileMesh mxReadMsh(const MxFileBytes& file, const MxReadRequest& request);
bool mxIsInp(const MxFileBytes& file);
MxFileMesh mxReadInp(const MxFileBytes& file, const MxReadRequest& request);
bool mxIsExodus(const MxFileBytes& file);
MxFileMesh mxReadExodus(const MxFileBytes& file, const MxReadRequest& request);
