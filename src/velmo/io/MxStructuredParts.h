#pragma once

#include <velmo/io/MxFileMesh.h>

#include <span>

/// A grid may be described in a line, whatever its size: more nodes than this are taken for damage.
inline constexpr std::size_t kMostGridNodes = std::size_t{1} << 32;

/// The first and the last node along each axis, both inclusive; empty when one runs backwards.
struct MxExtent
{
  std::array<std::int64_t, 3> first{0, 0, 0}, last{-1, -1, -1};

  bool isEmpty() const { return last[0] < first[0] || last[1] < first[1] || last[2] < first[2]; }
  bool operator==(const MxExtent&) const = default;
  /// Nodes along each axis; of an extent that is not empty.
  MbIndex3 nodes() const;
};

/// A structured mesh and its place in the grid that all parts belong to. Its origin is that of
/// index 0, not of its own first node.
struct MxStructuredPart
{
  MxExtent extent;
  MxFileMesh mesh;
};

/// Puts structured parts into one mesh: nodes that several have are there once. Where parts
/// overlap, cells that are marked as ghosts give way. Cells that no part has are dead.
/// @param whole  what the parts should fill; none for what they span
/// @throw MbMeshFileError when parts do not fit each other
MxFileMesh mxJoinStructured(std::vector<MxStructuredPart> parts, std::optional<MxExtent> whole,
                            const std::string& path, bool parallel);

/// The nodes of a structured mesh as a list, three numbers each.
MxFileArray mxStructuredPoints(const MxFileMesh& mesh, bool parallel);

/// A structured mesh as one of nodes and cells: hexahedra, quads or lines.
MxFileMesh mxAsUnstructured(MxFileMesh mesh, bool parallel);

/// Gives marks of ghosts to the parts that have none, where others have some: nothing in them is a
/// ghost. Otherwise the array would be one that not every part has, and be left out.
void mxCompleteGhosts(std::span<MxFileMesh* const> parts);

/// Marks as dead the cells that the file's own array "vtkGhostType" calls duplicates or hidden.
void mxApplyGhosts(MxFileMesh& mesh, bool parallel);
