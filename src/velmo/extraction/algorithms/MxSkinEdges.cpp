#include <velmo/extraction/algorithms/MxSkinEdges.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/MxNodeNumbering.h>

#include <tbb/parallel_sort.h>

#include <algorithm>
#include <tuple>

namespace {

struct Edge
{
  std::uint32_t low, high;
  std::uint32_t at; ///< where the surface's index list has its first end
  std::uint32_t face;
  friend bool operator<(const Edge& a, const Edge& b)
  {
    return std::tie(a.low, a.high, a.at) < std::tie(b.low, b.high, b.at);
  }
};

/// The surface's points and provenance of the given surface nodes.
template <class Source, class Mesh>
void takeNodes(const Source& surface, const MxArray<std::uint32_t>& surfaceNodes, bool parallel,
               Mesh& result)
{
  const MeXProvenance& from = surface.provenance;
  MeXProvenance& to = result.provenance;
  to.form = from.form;
  to.sourceCells = from.sourceCells;
  to.sourceNodes = from.sourceNodes;
  to.nodes.clear();
  to.weights.clear();
  to.offsets.clear();
  auto& points = result.geometry.points();
  points.resizeUninitialized(surfaceNodes.size());
  for (std::size_t n = 0; n < surfaceNodes.size(); ++n)
    points[n] = surface.geometry.points()[surfaceNodes[n]];
  result.geometry.origin = surface.geometry.origin;
  result.geometry.touch(parallel);
  if (from.form == MeXProvenance::NodeForm::Node) {
    to.nodes.resizeUninitialized(surfaceNodes.size());
    for (std::size_t n = 0; n < surfaceNodes.size(); ++n)
      to.nodes[n] = from.nodes[surfaceNodes[n]];
    return;
  }
  if (from.form == MeXProvenance::NodeForm::Edge) {
    to.nodes.resizeUninitialized(2 * surfaceNodes.size());
    to.weights.resizeUninitialized(surfaceNodes.size());
    for (std::size_t n = 0; n < surfaceNodes.size(); ++n) {
      to.nodes[2 * n] = from.nodes[2 * surfaceNodes[n]];
      to.nodes[2 * n + 1] = from.nodes[2 * surfaceNodes[n] + 1];
      to.weights[n] = from.weights[surfaceNodes[n]];
    }
    return;
  }
  to.offsets.push_back(0);
  for (const std::uint32_t node : surfaceNodes) {
    for (std::uint32_t n = from.offsets[node]; n < from.offsets[node + 1]; ++n) {
      to.nodes.push_back(from.nodes[n]);
      to.weights.push_back(from.weights[n]);
    }
    to.offsets.push_back(static_cast<std::uint32_t>(to.nodes.size()));
  }
}

template <class Source>
void takeAllNodes(const Source& source, bool parallel, MeXPointMeshCurvilinear& points)
{
  points.provenance.cells.clear();
  takeNodes(source, keepNumbers(source.geometry.getNodeCount(), parallel), parallel, points);
}

} // namespace

void writeEdges(const MeXSurfaceMeshUnstructured& surface, bool insideCells, bool parallel,
                MeXLineMeshUnstructured& lines)
{
  const MeXTopologyExplicitI& topology = surface.topology;
  MxArray<Edge> edges;
  for (std::size_t face = 0; face < topology.getCellCount(); ++face) {
    const std::span<const int> nodes = topology.getCell(face);
    for (std::size_t n = 0; n < nodes.size(); ++n) {
      const auto a = static_cast<std::uint32_t>(nodes[n]);
      const auto b = static_cast<std::uint32_t>(nodes[n + 1 < nodes.size() ? n + 1 : 0]);
      if (a == b) continue;
      edges.push_back({std::min(a, b), std::max(a, b),
                       static_cast<std::uint32_t>(topology.getCellBegin(face) + n),
                       static_cast<std::uint32_t>(face)});
    }
  }
  if (parallel && edges.size() >= kParallelThreshold)
    tbb::parallel_sort(edges.begin(), edges.end());
  else
    std::sort(edges.begin(), edges.end());
  const MxArray<std::uint32_t>& sources = surface.provenance.cells;
  auto last = edges.begin();
  for (auto first = edges.begin(), next = first; first != edges.end(); first = next) {
    while (next != edges.end() && next->low == first->low && next->high == first->high)
      ++next;
    if (insideCells || next - first != 2 || sources[first[0].face] != sources[first[1].face])
      *last++ = *first;
  }
  std::sort(edges.begin(), last, [](const Edge& a, const Edge& b) { return a.at < b.at; });
  const auto count = static_cast<std::size_t>(last - edges.begin());

  MxArray<int>& indices = lines.topology.setUniform(count, 2);
  lines.provenance.cells.resizeUninitialized(count);
  for (std::size_t e = 0; e < count; ++e) {
    const bool forward =
        topology.getCell(edges[e].face)[edges[e].at - topology.getCellBegin(edges[e].face)] ==
        static_cast<int>(edges[e].low);
    indices[3 * e] = static_cast<int>(forward ? edges[e].low : edges[e].high);
    indices[3 * e + 1] = static_cast<int>(forward ? edges[e].high : edges[e].low);
    indices[3 * e + 2] = -1;
    lines.provenance.cells[e] = surface.provenance.cells[edges[e].face];
  }
  lines.topology.touch();
  const MxArray<std::uint32_t> nodes =
      numberByFirstUse(indices.span(), surface.geometry.getNodeCount(), parallel);
  takeNodes(surface, nodes, parallel, lines);
}

void writeNodes(const MeXSurfaceMeshUnstructured& surface, bool parallel,
                MeXPointMeshCurvilinear& points)
{
  takeAllNodes(surface, parallel, points);
}

void writeNodes(const MeXLineMeshUnstructured& lines, bool parallel,
                MeXPointMeshCurvilinear& points)
{
  takeAllNodes(lines, parallel, points);
}
