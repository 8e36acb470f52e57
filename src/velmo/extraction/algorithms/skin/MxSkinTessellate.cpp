#include <velmo/extraction/algorithms/skin/MxSkinTessellate.h>

#include <velmo/base/MxSort.h>
#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/access/MxPolygons.h>
#include <velmo/extraction/algorithms/skin/MxSkinUnstructured.h>
#include <velmo/extraction/algorithms/skin/MxTessellated.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <cmath>
#include <tuple>

namespace {

constexpr std::size_t kBlock = 512;
constexpr std::size_t kItemsPerPoll = 4096;
void addFace(const MiTessellator& tessellator, MiCellShape shape, std::uint32_t source,
             std::span<const std::uint32_t> nodes, const std::vector<MbVec3d>& places,
             MiTessellation& answer, MxTessellated& pieces)
{
  if (isQuadratic(shape)) {
    if (pieces.addRefined(tessellator, shape, source, nodes, places, answer)) return;
    const std::uint32_t firstPoint = pieces.pointCount();
    for (const std::uint32_t node : nodes)
      pieces.addNode(node);
    for (const MxShapeFace& part : findFlatParts(shape))
      pieces.addCell(source, firstPoint, part.nodes, part.size);
    return;
  }
  const std::uint32_t firstPoint = pieces.pointCount();
  std::vector<std::uint32_t> order(nodes.size());
  for (std::size_t n = 0; n < nodes.size(); ++n) {
    pieces.addNode(nodes[n]);
    order[n] = static_cast<std::uint32_t>(n);
  }
  pieces.addCell(source, firstPoint, order, order.size());
}

struct Nodes
{
  const MiGeometryI* geometry;
  MbVec3d operator[](std::size_t node) const { return geometry->getNode(node); }
};

/// Joins the pieces of all blocks into an extracted mesh; faces with fewer than three different
/// corners and lines with fewer than two are left out.
template <class Mesh>
void joinPieces(const MiMeshUnstructuredI& source, const std::vector<MxTessellated>& blocks,
                bool parallel, MxExtractionMonitor& monitor, Mesh& result)
{
  constexpr bool kIsSurface = std::is_same_v<Mesh, MeXSurfaceMeshUnstructured>;
  constexpr std::size_t kFewest = kIsSurface ? 3 : 2;
  MeXProvenance& provenance = result.provenance;
  provenance.form = MeXProvenance::NodeForm::Weighted;
  provenance.cells.clear();
  provenance.nodes.clear();
  provenance.weights.clear();
  provenance.offsets.clear();
  provenance.offsets.push_back(0);
  MxTessellatedPoints numbers;
  std::vector<std::uint32_t> corners, polygon;
  std::vector<std::size_t> begins{0};
  for (const MxTessellated& pieces : blocks) {
    monitor.step();
    std::size_t at = 0;
    for (std::size_t c = 0; c < pieces.sizes.size(); ++c) {
      if (c % kItemsPerPoll == 0) MxPoll::ask();
      polygon.clear();
      for (std::uint32_t n = 0; n < pieces.sizes[c]; ++n)
        polygon.push_back(numbers.number(pieces, pieces.corners[at++], provenance));
      removeRepeats(polygon, kIsSurface);
      if (polygon.size() < kFewest) continue;
      corners.insert(corners.end(), polygon.begin(), polygon.end());
      begins.push_back(corners.size());
      provenance.cells.push_back(pieces.sources[c]);
    }
  }
  writePolygons(
      begins.size() - 1,
      [&] {
        return [&](std::size_t f, std::vector<std::uint32_t>& nodes) {
          nodes.assign(corners.begin() + static_cast<std::ptrdiff_t>(begins[f]),
                       corners.begin() + static_cast<std::ptrdiff_t>(begins[f + 1]));
        };
      },
      parallel, monitor, result.topology);

  const MiGeometryI& geometry = source.getGeometry();
  const std::size_t nodeCount = geometry.getNodeCount();
  provenance.sourceCells = {source.getTopology().getCellCount(), 1, 1};
  provenance.sourceNodes = {nodeCount, 1, 1};
  visitPoints(geometry.getView(), nodeCount, Nodes{&geometry}, [&](const auto& points) {
    placePoints(
        provenance.offsets.size() - 1,
        [&](std::size_t n) {
          MbVec3d sum;
          for (std::uint32_t at = provenance.offsets[n]; at < provenance.offsets[n + 1]; ++at)
            sum += points[provenance.nodes[at]] * provenance.weights[at];
          return sum;
        },
        parallel, result.geometry);
  });
}

/// An edge of a face and where it was met.
struct Edge
{
  std::uint32_t low, high, middle;
  std::uint32_t order;
  std::uint32_t face;
  std::array<std::uint32_t, 3> nodes;

  auto key() const { return std::tie(low, high, middle); }
};

constexpr std::uint32_t kNoMiddle = 0xffffffffu;

MxArray<Edge> collectEdges(const MxWholeFaces& faces, bool parallel)
{
  MxArray<Edge> edges;
  const auto add = [&](std::size_t face, std::uint32_t a, std::uint32_t b, std::uint32_t middle) {
    if (a == b) return;
    edges.push_back({std::min(a, b),
                     std::max(a, b),
                     middle,
                     static_cast<std::uint32_t>(edges.size()),
                     static_cast<std::uint32_t>(face),
                     {a, b, middle}});
  };
  for (std::size_t f = 0; f < faces.size(); ++f) {
    if (f % kItemsPerPoll == 0) MxPoll::ask();
    const std::span<const std::uint32_t> nodes =
        faces.nodes.span().subspan(faces.begins[f], faces.begins[f + 1] - faces.begins[f]);
    if (isQuadratic(faces.shapes[f])) {
      for (const MxShapeEdge& edge : shapeEdges(faces.shapes[f]))
        add(f, nodes[edge.first], nodes[edge.second], nodes[edge.middle]);
    } else {
      for (std::size_t n = 0; n < nodes.size(); ++n)
        add(f, nodes[n], nodes[n + 1 < nodes.size() ? n + 1 : 0], kNoMiddle);
    }
  }
  // Of the edges with the same nodes the first one comes first.
  sortByNumber(parallel, edges, [](const Edge& edge) { return std::uint64_t{edge.middle}; });
  sortByNumber(parallel, edges,
               [](const Edge& edge) { return std::uint64_t{edge.low} << 32 | edge.high; });
  const auto last = std::unique(edges.begin(), edges.end(),
                                [](const Edge& a, const Edge& b) { return a.key() == b.key(); });
  edges.resize(static_cast<std::size_t>(last - edges.begin()));
  sortByNumber(parallel, edges, [](const Edge& edge) { return std::uint64_t{edge.order}; });
  return edges;
}

template <class Mesh>
void tessellateAll(const MiMeshUnstructuredI& mesh, const MxWholeFaces& faces,
                   const MiTessellator& tessellator, bool parallel, MxExtractionMonitor& monitor,
                   Mesh& result)
{
  const MiGeometryI& geometry = mesh.getGeometry();
  std::vector<MxTessellated> blocks(blockCount(faces.size(), kBlock));
  visitPoints(geometry.getView(), geometry.getNodeCount(), Nodes{&geometry},
              [&](const auto& points) {
                forEachBlock(parallel, faces.size(), kBlock,
                             [&](std::size_t block, std::size_t first, std::size_t last) {
                               monitor.step();
                               MiTessellation answer;
                               std::vector<MbVec3d> places;
                               for (std::size_t f = first; f < last; ++f) {
                                 const auto nodes = faces.nodes.span().subspan(
                                     faces.begins[f], faces.begins[f + 1] - faces.begins[f]);
                                 places.clear();
                                 for (const std::uint32_t node : nodes)
                                   places.push_back(points[node]);
                                 addFace(tessellator, faces.shapes[f], faces.cells[f], nodes,
                                         places, answer, blocks[block]);
                               }
                             });
              });
  joinPieces(mesh, blocks, parallel, monitor, result);
}

} // namespace

MxWholeFaces collectWholeFaces(const MiTopologyI& topology, std::size_t nodeCount,
                               const MxFaceList& faces)
{
  MxWholeFaces whole;
  forEachWholeFace(topology, nodeCount, faces, 0, faces.size(),
                   [&](std::size_t, MiCellShape shape, std::span<const std::uint32_t>) {
                     whole.hasQuadratic = whole.hasQuadratic || isQuadratic(shape);
                   });
  if (!whole.hasQuadratic) return whole;
  whole.begins.push_back(0);
  forEachWholeFace(topology, nodeCount, faces, 0, faces.size(),
                   [&](std::size_t f, MiCellShape shape, std::span<const std::uint32_t> nodes) {
                     whole.cells.push_back(faces.cells[f]);
                     whole.shapes.push_back(shape);
                     for (const std::uint32_t node : nodes)
                       whole.nodes.push_back(node);
                     whole.begins.push_back(static_cast<std::uint32_t>(whole.nodes.size()));
                   });
  return whole;
}

void writeTessellated(const MiMeshUnstructuredI& mesh, const MxWholeFaces& faces,
                      const MiTessellator& tessellator, bool parallel, MxExtractionMonitor& monitor,
                      MeXSurfaceMeshUnstructured& surface)
{
  tessellateAll(mesh, faces, tessellator, parallel, monitor, surface);
}

void writeTessellated(const MiMeshUnstructuredI& mesh, const MxWholeFaces& cells,
                      const MiTessellator& tessellator, bool parallel, MxExtractionMonitor& monitor,
                      MeXLineMeshUnstructured& lines)
{
  tessellateAll(mesh, cells, tessellator, parallel, monitor, lines);
}

void writeTessellatedEdges(const MiMeshUnstructuredI& mesh, const MxWholeFaces& faces,
                           const MiTessellator& tessellator, bool parallel,
                           MxExtractionMonitor& monitor, MeXLineMeshUnstructured& lines)
{
  const MxArray<Edge> edges = collectEdges(faces, parallel);
  const MiGeometryI& geometry = mesh.getGeometry();
  std::vector<MxTessellated> blocks(1);
  MxTessellated& pieces = blocks[0];
  MiTessellation answer;
  std::vector<MbVec3d> places;
  for (const Edge& edge : edges) {
    if (edge.order % kItemsPerPoll == 0) MxPoll::ask();
    const std::uint32_t source = faces.cells[edge.face];
    const bool curved = edge.middle != kNoMiddle;
    if (curved) {
      places.clear();
      for (const std::uint32_t node : edge.nodes)
        places.push_back(geometry.getNode(node));
      if (pieces.addRefined(tessellator, MiCellShape::QuadraticLine, source, edge.nodes, places,
                            answer))
        continue;
    }
    const std::uint32_t first = pieces.pointCount();
    for (std::size_t n = 0; n < (curved ? 3 : 2); ++n)
      pieces.addNode(edge.nodes[n]);
    constexpr std::uint32_t kParts[3][2] = {{0, 1}, {0, 2}, {2, 1}};
    if (!curved) pieces.addCell(source, first, kParts[0], 2);
    for (std::size_t part = 1; curved && part < 3; ++part)
      pieces.addCell(source, first, kParts[part], 2);
  }
  joinPieces(mesh, blocks, parallel, monitor, lines);
  lines.topology.touch();
}

void writeWholeFaceNodes(const MiMeshUnstructuredI& mesh, const MxWholeFaces& faces, bool parallel,
                         MeXPointMeshCurvilinear& points)
{
  MxArray<int> used(faces.nodes.size());
  for (std::size_t n = 0; n < used.size(); ++n)
    used[n] = static_cast<int>(faces.nodes[n]);
  const MiGeometryI& geometry = mesh.getGeometry();
  const std::size_t nodeCount = geometry.getNodeCount();
  points.provenance = {};
  points.provenance.sourceCells = {mesh.getTopology().getCellCount(), 1, 1};
  points.provenance.sourceNodes = {nodeCount, 1, 1};
  points.provenance.nodes = numberByFirstUse(used.span(), nodeCount, parallel);
  placePoints(
      points.provenance.nodes.size(),
      [&](std::size_t n) { return geometry.getNode(points.provenance.nodes[n]); }, parallel,
      points.geometry);
}
