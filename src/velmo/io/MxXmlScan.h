#pragma once

#include <velmo/io/MxStructuredParts.h>
#include <velmo/io/MxXmlArray.h>

/// The arrays of one Piece, or the file that holds them.
struct MxXmlPiece
{
  std::size_t nodes = 0;
  /// Of the unstructured cells, or of the vertices, lines, polygons and strips.
  std::array<std::size_t, 4> cells{};
  std::optional<MxExtent> extent; ///< of the nodes, where the file names one
  std::string source;             ///< another file's path
  std::vector<MxXmlArray> nodeSets, cellSets, points;
  std::array<std::vector<MxXmlArray>, 4> topology; ///< as `cells`
  const char* tag = nullptr;
};

/// One DataSet of a collection.
struct MxXmlStep
{
  double time = 0;
  std::string source;
  const char* tag = nullptr;
};

inline constexpr std::array<double, 9> kUpright{1, 0, 0, 0, 1, 0, 0, 0, 1};

/// What the elements of a file say; the numbers of its arrays are not read yet.
struct MxXmlContent
{
  /// Both are borrowed.
  MxXmlContent(const MxFileBytes& file, const MxReadRequest& request) : reader(file, request) {}

  MxXmlArrayReader reader;
  std::string type;      ///< "UnstructuredGrid" and so on
  bool parallel = false; ///< the pieces are files
  /// The array per node whose numbers tell which nodes of different pieces are one; may be empty.
  std::string globalIds;
  /// Of the steps that the file holds, and which of them is read; most files have none.
  std::vector<double> times;
  std::size_t step = 0;
  std::optional<MxExtent> wholeExtent;
  MbVec3d origin, spacing{1, 1, 1};
  std::array<double, 9> direction = kUpright; ///< of images: rows of the matrix
  std::vector<MxXmlPiece> pieces;
  std::vector<MxXmlArray> fields;
  std::vector<MxXmlStep> steps;
};

/// Finds where the arrays of a file are. The text between tags is passed over, not parsed. Of a
/// file of several time steps, the arrays of other steps than the one nearest to the wanted time
/// are left out; an array that a step does not have stays as it was before.
/// @throw MbMeshFileError
MxXmlContent mxScanXml(const MxFileBytes& file, const MxReadRequest& request);
