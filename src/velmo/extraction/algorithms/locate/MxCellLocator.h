#pragma once

#include <velmo/base/MxPointTree.h>
#include <velmo/extraction/algorithms/locate/MxCellReader.h>
#include <velmo/extraction/algorithms/locate/MxGridAxis.h>
#include <velmo/extraction/interfaces/MiCellFilter.h>
#include <velmo/mesh/views/MxArrayRead.h>

#include <functional>
#include <span>
#include <vector>

/// The cells that the application leaves of a mesh; borrowed.
class MxCellsLeft
{
public:
  MxCellsLeft() = default;
  explicit MxCellsLeft(const MiCellFilterI* filter) : m_i(filter) {}
  MxCellsLeft(const MiCellFilterI* filter, const MbIndex3&) : m_i(filter) {}
  MxCellsLeft(const MiCellFilterIj* filter, const MbIndex3& counts) : m_ij(filter), m_counts(counts)
  {}
  MxCellsLeft(const MiCellFilterIjk* filter, const MbIndex3& counts)
      : m_ijk(filter), m_counts(counts)
  {}
  bool all() const { return !m_i && !m_ij && !m_ijk; }
  bool has(std::size_t cell) const
  {
    if (m_i) return m_i->acceptCell(cell);
    if (m_ij) return m_ij->acceptCell(cell % m_counts.x, cell / m_counts.x);
    if (!m_ijk) return true;
    const std::size_t row = cell / m_counts.x;
    return m_ijk->acceptCell(cell % m_counts.x, row % m_counts.y, row / m_counts.y);
  }

private:
  const MiCellFilterI* m_i = nullptr;
  const MiCellFilterIj* m_ij = nullptr;
  const MiCellFilterIjk* m_ijk = nullptr;
  MbIndex3 m_counts;
};

/// Finds the cell of a mesh that holds a point. Made once for a mesh and its stamps and shared by
/// all who ask; see MxCellCursor for asking. Regular and rectilinear grids are answered by
/// arithmetic, all others through a tree over the boxes of their cells.
///
/// *Threads*: any number may ask at the same time.
class MxCellLocator
{
public:
  /// The locator of a mesh: one that is in use already, or a new one.
  /// @param mesh  borrowed; outlives the locator
  /// @throw std::bad_alloc; std::length_error when the mesh has more than 2^32 - 1 cells
  template <MeshType Kind>
  static std::shared_ptr<const MxCellLocator> get(const typename MxMeshKind<Kind>::Interface& mesh,
                                                  bool parallel);

  const MxCellReader& reader() const { return *m_reader; }
  const MbIndex3& cellCounts() const { return m_reader->cellCounts; }
  const MbIndex3& nodeCounts() const { return m_reader->nodeCounts; }
  /// Whether the mesh is a grid of boxes: then it has axes along I, J and K, and no tree.
  bool isGrid() const { return !m_axes.empty(); }
  const std::vector<MxGridAxis>& axes() const { return m_axes; }
  const MxPointTree& tree() const { return m_tree; }
  bool isDead(std::size_t cell) const { return m_isDead && m_isDead(cell); }

private:
  template <MeshType Kind>
  static std::shared_ptr<const MxCellLocator> make(const typename MxMeshKind<Kind>::Interface& mesh,
                                                   bool parallel);

  std::unique_ptr<MxCellReader> m_reader;
  std::vector<MxGridAxis> m_axes;
  std::function<bool(std::size_t)> m_isDead; // of grids of boxes; null when no cell is
  MxPointTree m_tree;
};

/// A walker through a mesh: stands in a cell and finds the cell of the next point, first where it
/// stands.
///
/// A point strictly inside a cell is found in that cell; one on a face, an edge or a node, within
/// kInsideTolerance, in the cell of the smallest number among those left that hold it: the answer
/// does not depend on where the walker stood before. Dead and broken cells and those that are not
/// left never answer. *Threads*: a cursor belongs to one.
class MxCellCursor
{
public:
  static constexpr std::size_t kNoCell = MxCellMap::kNoCell;

  /// Both borrowed.
  MxCellCursor(const MxCellLocator& locator, const MxCellsLeft& left);

  /// Finds the cell of a point. After a failure the cursor stands where it stood, and is not found.
  bool find(const MbVec3d& point) { return standsInBox(point) || findElsewhere(point); }
  /// The same from another cell, whose number need not exist.
  bool findFrom(std::size_t hint, const MbVec3d& point)
  {
    return standsInBox(point) || findElsewhereFrom(hint, point);
  }
  /// The same where the tree was asked before: with the cells that it has for the point.
  bool findAmong(std::span<const std::uint32_t> cells, const MbVec3d& point);

  /// Of the last point found.
  bool isFound() const { return m_isFound; }
  std::size_t cell() const { return m_cell; }
  /// The cell of a structured mesh along I, J and K.
  MbIndex3 cellIndex() const
  {
    return m_locator->isGrid() ? m_at : splitIndex(m_cell, m_locator->cellCounts());
  }
  /// The cell's nodes as data sets per node number them, and their weights at the point.
  std::span<const std::uint32_t> nodes() const { return {m_nodes, m_size}; }
  std::span<const double> weights() const { return {m_weights.data(), m_size}; }
  /// Moves the last point found, which may be beyond the cell by the tolerance, onto its rim, and
  /// the weights with it; a point inside stays but for rounding.
  void pullIn(MbVec3d& point);
  /// The length of the cell's box along a direction, which need not have length one.
  double sizeAlong(const MbVec3d& direction) const;

private:
  /// Whether a grid's box where the cursor stands holds the point too.
  bool standsInBox(const MbVec3d& point)
  {
    double place[3];
    if (!m_box[0].holds(point.x, place[0]) || !m_box[1].holds(point.y, place[1]) ||
        !m_box[2].holds(point.z, place[2]))
      return false;
    m_isFound = true;
    weighCorners(place);
    return true;
  }
  void weighCorners(const double (&place)[3]);
  bool findElsewhere(const MbVec3d& point);
  bool findElsewhereFrom(std::size_t hint, const MbVec3d& point);
  template <class VisitCandidates>
  bool findInTree(const MbVec3d& point, const VisitCandidates& visitCandidates);
  bool findInGrid(const MbVec3d& point, const MbIndex3& from);
  bool standInBox(const MbIndex3& at, const double (&place)[3]);
  void standIn(MxCellMap& map, const MxPlace& place);
  bool isLeft(std::size_t cell) const { return m_left->all() || m_left->has(cell); }

  const MxCellLocator* m_locator;
  const MxCellsLeft* m_left;
  bool m_isFound = false;
  std::size_t m_cell = kNoCell;
  std::size_t m_size = 0;
  const std::uint32_t* m_nodes = nullptr;
  MxArray<double> m_weights;
  MbVec3d m_extent;

  MxCellMap m_maps[2];
  int m_current = 0;
  MxPlace m_place;

  MbIndex3 m_at;                           // in a grid of boxes
  std::array<MxGridAxis::Step, 3> m_box{}; ///< of m_cell; holds nothing where there is none
  std::array<std::uint32_t, 8> m_gridNodes{};
  std::array<std::uint32_t, 8> m_corners{}; // from node 0 of a box
};
