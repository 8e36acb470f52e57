#include <velmo/extraction/algorithms/skin/MxSkinEdges.h>

#include <velmo/base/MxSort.h>
#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>

#include <algorithm>

namespace {

constexpr std::size_t kItemsPerPoll = 8192;

struct Edge
{
  std::uint32_t low, high;
  std::uint32_t at; ///< where the surface's index list has its first end
  std::uint32_t face;

  std::uint64_t ends() const { return std::uint64_t{low} << 32 | high; }
};

/// The edges of all faces, in the order of the index list.
MxArray<Edge> collectEdges(const MeXTopologyExplicitI& topology, bool parallel)
{
  const auto forEachEdge = [&](std::size_t firstFace, std::size_t lastFace, const auto& body) {
    for (std::size_t face = firstFace; face < lastFace; ++face) {
      const std::span<const int> nodes = topology.getCell(face);
      for (std::size_t n = 0; n < nodes.size(); ++n) {
        const auto a = static_cast<std::uint32_t>(nodes[n]);
        const auto b = static_cast<std::uint32_t>(nodes[n + 1 < nodes.size() ? n + 1 : 0]);
        if (a != b) body(face, n, a, b);
      }
    }
  };
  const std::size_t faceCount = topology.getCellCount();
  std::vector<std::size_t> begins(blockCount(faceCount, kItemsPerPoll));
  forEachBlock(parallel, faceCount, kItemsPerPoll,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 std::size_t count = 0;
                 forEachEdge(first, last, [&](auto...) { ++count; });
                 begins[block] = count;
               });
  MxArray<Edge> edges(exclusivePrefixSum(std::span(begins)));
  forEachBlock(parallel, faceCount, kItemsPerPoll,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 Edge* edge = edges.data() + begins[block];
                 forEachEdge(
                     first, last,
                     [&](std::size_t face, std::size_t n, std::uint32_t a, std::uint32_t b) {
                       *edge++ = {std::min(a, b), std::max(a, b),
                                  static_cast<std::uint32_t>(topology.getCellBegin(face) + n),
                                  static_cast<std::uint32_t>(face)};
                     });
               });
  return edges;
}

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
  const auto forEachNode = [&](const auto& body) {
    forEachBlock(parallel, surfaceNodes.size(), kItemsPerPoll,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t n = first; n < last; ++n)
                     body(n, surfaceNodes[n]);
                 });
  };
  forEachNode(
      [&](std::size_t n, std::uint32_t node) { points[n] = surface.geometry.points()[node]; });
  result.geometry.origin = surface.geometry.origin;
  result.geometry.touch(parallel);
  if (from.form == MeXProvenance::NodeForm::Node) {
    to.nodes.resizeUninitialized(surfaceNodes.size());
    forEachNode([&](std::size_t n, std::uint32_t node) { to.nodes[n] = from.nodes[node]; });
    return;
  }
  if (from.form == MeXProvenance::NodeForm::Edge) {
    to.nodes.resizeUninitialized(2 * surfaceNodes.size());
    to.weights.resizeUninitialized(surfaceNodes.size());
    forEachNode([&](std::size_t n, std::uint32_t node) {
      to.nodes[2 * n] = from.nodes[2 * node];
      to.nodes[2 * n + 1] = from.nodes[2 * node + 1];
      to.weights[n] = from.weights[node];
    });
    return;
  }
  to.offsets.push_back(0);
  for (const std::uint32_t node : surfaceNodes) {
    if (to.offsets.size() % kItemsPerPoll == 0) MxPoll::ask();
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
  MxArray<Edge> edges = collectEdges(topology, parallel);
  sortByNumber(parallel, edges, [](const Edge& edge) { return edge.ends(); });
  const MxArray<std::uint32_t>& sources = surface.provenance.cells;
  auto last = edges.begin();
  std::size_t done = 0;
  for (auto first = edges.begin(), next = first; first != edges.end(); first = next) {
    if (++done % kItemsPerPoll == 0) MxPoll::ask();
    while (next != edges.end() && next->ends() == first->ends())
      ++next;
    if (insideCells || next - first != 2 || sources[first[0].face] != sources[first[1].face])
      *last++ = *first;
  }
  edges.resize(static_cast<std::size_t>(last - edges.begin()));
  sortByNumber(parallel, edges, [](const Edge& edge) { return std::uint64_t{edge.at}; });
  const std::size_t count = edges.size();
  MxArray<int>& indices = lines.topology.setUniform(count, 2);
  lines.provenance.cells.resizeUninitialized(count);
  forEachBlock(parallel, count, kItemsPerPoll,
               [&](std::size_t, std::size_t first, std::size_t last) {
                 for (std::size_t e = first; e < last; ++e) {
                   const Edge& edge = edges[e];
                   const bool forward = topology.indices()[edge.at] == static_cast<int>(edge.low);
                   indices[3 * e] = static_cast<int>(forward ? edge.low : edge.high);
                   indices[3 * e + 1] = static_cast<int>(forward ? edge.high : edge.low);
                   indices[3 * e + 2] = -1;
                   lines.provenance.cells[e] = sources[edge.face];
                 }
               });
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
