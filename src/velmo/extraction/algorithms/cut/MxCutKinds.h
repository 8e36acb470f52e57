#pragma once

#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/cut/MxCutPasses.h>

/// What the cuts of all mesh kinds share.

/// An empty surface.
inline void clearCut(MeXSurfaceMeshUnstructured& surface)
{
  surface.topology.setUniform(0, 3);
  surface.provenance.form = MeXProvenance::NodeForm::Edge;
  surface.provenance.cells.clear();
  surface.provenance.nodes.clear();
  surface.provenance.weights.clear();
  surface.provenance.offsets.clear();
  surface.provenance.nodeCells.clear();
  surface.geometry.origin = {};
  surface.geometry.points().clear();
  surface.geometry.touch(false);
}

/// Cells that are dead or not accepted are left out.
class MxIjkCutKeep final : public MxCutKeep
{
public:
  MxIjkCutKeep(const MiTopologyIjk& topology, const MiCellFilterIjk* filter)
      : m_topology(&topology), m_filter(filter), m_cells{topology.getCellCounts()},
        m_active(topology.getActiveView()), m_hasDead(topology.hasDeadCells())
  {}
  bool isNeeded() const { return m_filter || m_hasDead; }
  bool keep(std::size_t cell) const override
  {
    const MbIndex3 at = m_cells.split(cell);
    if (m_hasDead && (m_active ? cell >= m_active.size() || m_active[cell] == 0
                               : m_topology->isDead(at.x, at.y, at.z)))
      return false;
    return !m_filter || m_filter->acceptCell(at.x, at.y, at.z);
  }

private:
  const MiTopologyIjk* m_topology;
  const MiCellFilterIjk* m_filter;
  MxIjkNumbering m_cells;
  MxIndexArray m_active;
  bool m_hasDead;
};

/// True when most of a grid's cells are left-handed: a sample of them, the same for the same mesh.
/// @param cornersOf  cornersOf(cell, nodes) fills the eight nodes of a usable cell
template <class CornersOf, class Points>
bool isLeftHanded(std::size_t cellCount, const MxBits& unusable, const CornersOf& cornersOf,
                  const Points& points)
{
  constexpr std::size_t kSample = 64;
  const std::size_t step = std::max<std::size_t>(1, cellCount / kSample);
  int sum = 0;
  for (std::size_t cell = 0; cell < cellCount; cell += step) {
    if (!unusable.empty() && unusable.test(cell)) continue;
    std::uint32_t nodes[8];
    cornersOf(cell, nodes);
    const MbVec3d origin = points[nodes[0]];
    const double volume =
        dot(cross(points[nodes[1]] - origin, points[nodes[3]] - origin), points[nodes[4]] - origin);
    sum += (volume > 0) - (volume < 0);
  }
  return sum < 0;
}
