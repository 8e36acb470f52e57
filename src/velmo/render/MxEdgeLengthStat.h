#pragma once

#include <velmo/mesh/MeXGeometry.h>
#include <velmo/mesh/MeXTopology.h>

#include <cstddef>
#include <vector>

/// How long the edges of an extracted mesh are. An edge counts once for each of its cells; edges
/// without length and those with a corner that is not finite do not count.
class MxEdgeLengthStat
{
public:
  /// @param topology, geometry  borrowed
  /// @param closed              cells are polygons, not lines
  MxEdgeLengthStat(const MeXTopologyExplicitI& topology, const MeXGeometryI& geometry, bool closed);

  std::size_t edgeCount() const { return m_count; }
  /// In mesh space; 0 without edges.
  double shortest() const { return m_shortest; }
  double longest() const { return m_longest; }

  /// Numbers of edges in bins of equal width from the shortest edge to the longest.
  std::vector<std::size_t> histogramDistribution(std::size_t binCount) const;
  /// The centre of the first bin up to which `share` of all edges lie; 0 without edges.
  double lengthAt(double share, std::size_t binCount) const;

private:
  template <class Visit>
  void forEachLength(std::size_t first, std::size_t last, const Visit& visit) const;

  const MeXTopologyExplicitI& m_topology;
  const MeXGeometryI& m_geometry;
  bool m_closed;
  std::size_t m_count = 0;
  double m_shortest = 0;
  double m_longest = 0;
};
