#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/extraction/algorithms/skin/MxFaceMatch.h>
#include <velmo/extraction/interfaces/MiTessellator.h>
#include <velmo/mesh/MeXProvenance.h>

#include <span>
#include <vector>

/// Whether a shape has more nodes than corners.
inline bool isQuadratic(MiCellShape shape)
{
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  return facts.nodeCount > facts.cornerCount;
}

/// Linear cells over weighted points of a mesh, made by one block of cells, faces or edges.
struct MxTessellated
{
  std::vector<std::uint32_t> sizes, sources; ///< of each cell: corners, source cell
  std::vector<std::uint32_t> corners;        ///< of all cells, by point
  std::vector<std::uint32_t> offsets{0};     ///< of each point: its nodes and weights
  std::vector<std::uint32_t> nodes;
  std::vector<double> weights;

  std::uint32_t pointCount() const { return static_cast<std::uint32_t>(offsets.size() - 1); }

  /// @param with  a weight for each node of `from`
  void addPoint(std::span<const std::uint32_t> from, const double* with);
  void addNode(std::uint32_t node)
  {
    const double whole = 1;
    addPoint({&node, 1}, &whole);
  }
  template <class Corners>
  void addCell(std::uint32_t source, std::uint32_t firstPoint, const Corners& points,
               std::size_t size)
  {
    for (std::size_t c = 0; c < size; ++c)
      corners.push_back(firstPoint + static_cast<std::uint32_t>(points[c]));
    sizes.push_back(static_cast<std::uint32_t>(size));
    sources.push_back(source);
  }
  /// Adds what the tessellator makes of a cell, face or edge; false, and nothing is added, when it
  /// declines or its answer is no linear cells of the same dimension over points that are there.
  /// @param places  of the nodes
  /// @param answer  memory for it
  /// @param made    takes the shape of the linear cells; null where nobody asks
  bool addRefined(const MiTessellator& tessellator, MiCellShape shape, std::uint32_t source,
                  std::span<const std::uint32_t> nodes, const std::vector<MbVec3d>& places,
                  MiTessellation& answer, MiCellShape* made = nullptr);
};

/// Numbers points by their nodes and rounded weights, in the order in which they are met.
class MxTessellatedPoints
{
public:
  /// @param provenance  takes a new point's nodes and weights, and nothing else while points are
  ///                    numbered; begins with the one offset 0
  std::uint32_t number(const MxTessellated& pieces, std::uint32_t point, MeXProvenance& provenance);

private:
  void makeRoom();

  // Of places as many as a power of two, at most half of them taken: a number and one, 0 for none.
  // What is compared is in the provenance.
  MxArray<std::uint32_t> m_places;
  MxArray<std::uint64_t> m_hashes; // of each number
};
