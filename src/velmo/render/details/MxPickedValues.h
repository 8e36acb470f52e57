#pragma once

#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/mesh/MeXGeometry.h>
#include <velmo/mesh/MeXProvenance.h>
#include <velmo/mesh/MeXTopology.h>
#include <velmo/render/details/MoPickedCell.h>

#include <span>
#include <vector>

/// A cell of an extracted mesh with its values, copied: it answers for picked points after the
/// representation has extracted something else.
class MxPickedValues
{
public:
  using ColorSets = std::vector<const MeXDataSetI<double>*>;

  /// @param cell  of the topology; one that it does not have gives an object without corners
  /// @param sets  null for a set that is missing
  MxPickedValues(const MeXTopologyExplicitI& topology, const MeXGeometryI& geometry,
                 const MeXProvenance& provenance, const ColorSets& sets, std::size_t cell);

  /// The same, with the source nodes of its source mesh, which was extracted itself; with none when
  /// that is not known.
  MxPickedValues(const MxPickedValues& other, const MeXProvenance* source);

  std::size_t cell() const { return m_cell; }
  /// One value a set at this point in mesh space; no number for a set without values here.
  std::vector<double> valuesAt(const MbVec3d& point) const;
  /// The source nodes that the values per node come from, each once, in ascending order.
  std::vector<MoPickedNode> sourceNodesAt(const MbVec3d& point) const;

private:
  std::vector<double> weightsAt(const MbVec3d& point) const;
  void addSources(const MeXProvenance& provenance, std::size_t node, double weight);

  std::size_t m_cell;
  bool m_closed;
  std::vector<MbVec3d> m_corners;
  std::vector<MoPickedNode> m_sources;       // of all corners
  std::vector<std::size_t> m_sourceEnds;     // one per corner
  std::vector<std::vector<double>> m_values; // of each set: none, one, or one per corner
};
