#include <velmo/render/details/MxPickedValues.h>

#include <velmo/extraction/algorithms/locate/MxCellWeights.h>

#include <algorithm>
#include <limits>
#include <tuple>

MxPickedValues::MxPickedValues(const MeXTopologyExplicitI& topology, const MeXGeometryI& geometry,
                               const MeXProvenance& provenance, const ColorSets& sets,
                               std::size_t cell)
    : m_cell(cell), m_closed(false), m_values(sets.size())
{
  if (cell >= topology.getCellCount()) return;
  const MiCellShape shape = topology.getCellShape(cell);
  m_closed = shape != MiCellShape::Line && shape != MiCellShape::Polyline;
  for (const int index : topology.getCell(cell)) {
    const auto node = static_cast<std::size_t>(index);
    m_corners.push_back(geometry.getNode(node));
    addSources(provenance, node, 1);
    m_sourceEnds.push_back(m_sources.size());
    for (std::size_t s = 0; s < sets.size(); ++s)
      if (sets[s] && sets[s]->getBinding() == MiDataBinding::PerNode &&
          node < sets[s]->values.size())
        m_values[s].push_back(sets[s]->values[node]);
  }
  for (std::size_t s = 0; s < sets.size(); ++s) {
    if (!sets[s]) continue;
    if (sets[s]->getBinding() == MiDataBinding::PerCell) {
      if (cell < sets[s]->values.size()) m_values[s] = {sets[s]->values[cell]};
    } else if (m_values[s].size() != m_corners.size()) {
      m_values[s].clear();
    }
  }
}

MxPickedValues::MxPickedValues(const MxPickedValues& other, const MeXProvenance* source)
    : MxPickedValues(other)
{
  m_sources.clear();
  m_sourceEnds.clear();
  std::size_t next = 0;
  for (const std::size_t end : other.m_sourceEnds) {
    for (; next < end; ++next)
      if (source) addSources(*source, other.m_sources[next].node, other.m_sources[next].weight);
    m_sourceEnds.push_back(m_sources.size());
  }
}

void MxPickedValues::addSources(const MeXProvenance& provenance, std::size_t node, double weight)
{
  const auto& [nodes, weights, offsets] =
      std::tie(provenance.nodes, provenance.weights, provenance.offsets);
  switch (provenance.form) {
  case MeXProvenance::NodeForm::Node:
    if (node < nodes.size()) m_sources.push_back({nodes[node], weight});
    break;
  case MeXProvenance::NodeForm::Edge:
    if (node >= weights.size() || 2 * node + 1 >= nodes.size()) break;
    m_sources.push_back({nodes[2 * node], weight * (1 - weights[node])});
    m_sources.push_back({nodes[2 * node + 1], weight * weights[node]});
    break;
  default:
    if (node + 1 >= offsets.size()) break;
    for (std::size_t i = offsets[node]; i < offsets[node + 1]; ++i)
      m_sources.push_back({nodes[i], weight * weights[i]});
  }
}

std::vector<double> MxPickedValues::weightsAt(const MbVec3d& point) const
{
  std::vector<double> weights;
  if (m_corners.empty()) return weights;
  if (m_closed)
    polygonWeights(m_corners, point, weights);
  else
    polylineWeights(m_corners, point, weights);
  return weights;
}

std::vector<double> MxPickedValues::valuesAt(const MbVec3d& point) const
{
  const std::vector<double> weights = weightsAt(point);
  std::vector<double> result;
  for (const std::vector<double>& values : m_values) {
    if (values.empty()) {
      result.push_back(std::numeric_limits<double>::quiet_NaN());
    } else if (values.size() != weights.size()) {
      result.push_back(values.front());
    } else {
      double sum = 0;
      // A corner that does not count may have no number.
      for (std::size_t c = 0; c < weights.size(); ++c)
        if (weights[c] != 0) sum += weights[c] * values[c];
      result.push_back(sum);
    }
  }
  return result;
}

std::vector<MoPickedNode> MxPickedValues::sourceNodesAt(const MbVec3d& point) const
{
  const std::vector<double> weights = weightsAt(point);
  std::vector<MoPickedNode> all;
  std::size_t source = 0;
  for (std::size_t c = 0; c < weights.size(); ++c)
    for (; source < m_sourceEnds[c]; ++source)
      all.push_back({m_sources[source].node, weights[c] * m_sources[source].weight});
  std::sort(all.begin(), all.end(),
            [](const MoPickedNode& a, const MoPickedNode& b) { return a.node < b.node; });
  std::vector<MoPickedNode> merged;
  for (const MoPickedNode& entry : all) {
    if (entry.weight == 0) continue;
    if (!merged.empty() && merged.back().node == entry.node)
      merged.back().weight += entry.weight;
    else
      merged.push_back(entry);
  }
  return merged;
}
