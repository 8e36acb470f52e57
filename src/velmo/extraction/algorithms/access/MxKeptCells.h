#pragma once

#include <velmo/mesh/MeXTopology.h>

#include <array>

/// Knows which cells of a whole grid the index list of an extracted mesh was filled with last, so
/// that they need not be written again: a sheet that moves through a volume, or whose nodes move,
/// keeps its cells. One object an extractor.
class MxKeptCells
{
public:
  /// Whether the list holds these cells; otherwise they have to be written to it now.
  /// @param corners  of a cell, from its first node
  bool keep(MeXTopologyExplicitI& topology, std::size_t columns, std::size_t rows,
            const std::array<std::size_t, 4>& corners, std::size_t cornerCount = 4)
  {
    const std::size_t count = columns * rows;
    const Cells cells{columns, rows, corners, cornerCount};
    // An extractor may write to several meshes in turn.
    m_kept = m_indices && m_indices == topology.indices().data() && m_cells == cells &&
             topology.getCellCount() == count &&
             topology.indices().size() == count * (cornerCount + 1);
    if (m_kept) return true;
    m_indices = nullptr; // until they are written
    topology.setUniform(count, cornerCount);
    m_cells = cells;
    return false;
  }
  /// The cells have been written.
  void written(const MeXTopologyExplicitI& topology) { m_indices = topology.indices().data(); }
  void forget() { *this = {}; }
  /// Whether the last list was kept.
  bool hasKept() const { return m_kept; }

private:
  struct Cells
  {
    std::size_t columns = 0, rows = 0;
    std::array<std::size_t, 4> corners{};
    std::size_t cornerCount = 0;
    friend bool operator==(const Cells&, const Cells&) = default;
  };
  Cells m_cells;
  const int* m_indices = nullptr;
  bool m_kept = false;
};
