#include <velmo/extraction/algorithms/MxSkinTessellate.h>

#include <velmo/extraction/algorithms/MxArrayAccess.h>
#include <velmo/extraction/algorithms/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/MxPolygons.h>
#include <velmo/extraction/algorithms/MxSkinUnstructured.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <cmath>
#include <tuple>
#include <unordered_map>

namespace {

constexpr std::size_t kBlock = 512;
/// Weights that differ by less are the same; smaller ones are none.
constexpr double kWeightStep = 0x1p-40;

bool isQuadratic(MiCellShape shape)
{
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  return facts.nodeCount > facts.cornerCount;
}

/// Cells over weighted points, made by one block of faces or edges.
struct Pieces
{
  std::vector<std::uint32_t> sizes, sources; ///< of each cell: corners, source cell
  std::vector<std::uint32_t> corners;        ///< of all cells, by point
  std::vector<std::uint32_t> offsets{0};     ///< of each point: its nodes and weights
  std::vector<std::uint32_t> nodes;
  std::vector<double> weights;

  std::uint32_t pointCount() const { return static_cast<std::uint32_t>(offsets.size() - 1); }

  void addPoint(std::span<const std::uint32_t> from, const double* with)
  {
    std::vector<std::pair<std::uint32_t, double>> parts;
    for (std::size_t n = 0; n < from.size(); ++n)
      if (std::abs(with[n]) >= kWeightStep) parts.emplace_back(from[n], with[n]);
    // In the order of the nodes, so that two faces that share an edge compute the same sums.
    std::sort(parts.begin(), parts.end());
    for (const auto& [node, weight] : parts) {
      nodes.push_back(node);
      weights.push_back(weight);
    }
    offsets.push_back(static_cast<std::uint32_t>(nodes.size()));
  }
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
};

/// True when the answer can be used: linear cells of the dimension asked for over points that are
/// there.
bool isUsable(const MiTessellation& answer, std::size_t nodeCount, int dimension)
{
  const MiCellShapeFacts facts = cellShapeFacts(answer.shape);
  if (facts.dimension != dimension || facts.nodeCount == 0 || isQuadratic(answer.shape))
    return false;
  if (answer.weights.size() / nodeCount < answer.pointCount) return false;
  if (answer.points.size() % facts.nodeCount != 0) return false;
  for (const std::uint32_t point : answer.points)
    if (point >= answer.pointCount) return false;
  return std::all_of(answer.weights.begin(), answer.weights.end(),
                     [](double weight) { return std::isfinite(weight); });
}

/// Adds what the tessellator makes of a face or an edge; false when it is left to its own parts.
bool addTessellated(const MiTessellator& tessellator, MiCellShape shape, std::uint32_t source,
                    std::span<const std::uint32_t> nodes, const std::vector<MbVec3d>& places,
                    MiTessellation& answer, Pieces& pieces)
{
  answer.clear();
  if (!tessellator.tessellate(shape, places, answer)) return false;
  if (!isUsable(answer, nodes.size(), cellShapeFacts(shape).dimension)) return false;
  const std::uint32_t firstPoint = pieces.pointCount();
  for (std::size_t p = 0; p < answer.pointCount; ++p)
    pieces.addPoint(nodes, answer.weights.data() + p * nodes.size());
  const std::size_t size = cellShapeFacts(answer.shape).nodeCount;
  for (std::size_t at = 0; at < answer.points.size(); at += size)
    pieces.addCell(source, firstPoint, answer.points.data() + at, size);
  return true;
}

void addFace(const MiTessellator& tessellator, MiCellShape shape, std::uint32_t source,
             std::span<const std::uint32_t> nodes, const std::vector<MbVec3d>& places,
             MiTessellation& answer, Pieces& pieces)
{
  if (isQuadratic(shape)) {
    if (addTessellated(tessellator, shape, source, nodes, places, answer, pieces)) return;
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

/// Points by their nodes and rounded weights.
class PointNumbers
{
public:
  std::uint32_t number(const Pieces& pieces, std::uint32_t point, MeXProvenance& provenance)
  {
    const std::uint32_t first = pieces.offsets[point], last = pieces.offsets[point + 1];
    m_signature.clear();
    for (std::uint32_t n = first; n < last; ++n) {
      const std::int64_t steps =
          std::llround(std::clamp(pieces.weights[n], -1e6, 1e6) / kWeightStep);
      m_signature.push_back(pieces.nodes[n]);
      m_signature.push_back(static_cast<std::uint64_t>(steps));
    }
    const auto next = static_cast<std::uint32_t>(m_numbers.size());
    const auto [entry, isNew] = m_numbers.try_emplace(m_signature, next);
    if (isNew) {
      for (std::uint32_t n = first; n < last; ++n) {
        provenance.nodes.push_back(pieces.nodes[n]);
        provenance.weights.push_back(pieces.weights[n]);
      }
      provenance.offsets.push_back(static_cast<std::uint32_t>(provenance.nodes.size()));
    }
    return entry->second;
  }

private:
  struct Hash
  {
    std::size_t operator()(const std::vector<std::uint64_t>& signature) const
    {
      std::uint64_t hash = signature.size();
      for (const std::uint64_t item : signature)
        hash = mixBits(hash ^ item);
      return static_cast<std::size_t>(hash);
    }
  };
  std::unordered_map<std::vector<std::uint64_t>, std::uint32_t, Hash> m_numbers;
  std::vector<std::uint64_t> m_signature;
};

struct Nodes
{
  const MiGeometryI* geometry;
  MbVec3d operator[](std::size_t node) const { return geometry->getNode(node); }
};

/// Joins the pieces of all blocks into an extracted mesh; faces with fewer than three different
/// corners and lines with fewer than two are left out.
template <class Mesh>
void joinPieces(const MiMeshUnstructuredI& source, const std::vector<Pieces>& blocks, bool parallel,
                MxExtractionMonitor& monitor, Mesh& result)
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
  PointNumbers numbers;
  std::vector<std::uint32_t> corners, polygon;
  std::vector<std::size_t> begins{0};
  for (const Pieces& pieces : blocks) {
    monitor.step();
    std::size_t at = 0;
    for (std::size_t c = 0; c < pieces.sizes.size(); ++c) {
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

std::vector<Edge> collectEdges(const MxWholeFaces& faces)
{
  std::vector<Edge> edges;
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
  std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) {
    return std::tie(a.low, a.high, a.middle, a.order) < std::tie(b.low, b.high, b.middle, b.order);
  });
  edges.erase(std::unique(edges.begin(), edges.end(),
                          [](const Edge& a, const Edge& b) { return a.key() == b.key(); }),
              edges.end());
  std::sort(edges.begin(), edges.end(),
            [](const Edge& a, const Edge& b) { return a.order < b.order; });
  return edges;
}

template <class Mesh>
void tessellateAll(const MiMeshUnstructuredI& mesh, const MxWholeFaces& faces,
                   const MiTessellator& tessellator, bool parallel, MxExtractionMonitor& monitor,
                   Mesh& result)
{
  const MiGeometryI& geometry = mesh.getGeometry();
  std::vector<Pieces> blocks(blockCount(faces.size(), kBlock));
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
  const std::vector<Edge> edges = collectEdges(faces);
  const MiGeometryI& geometry = mesh.getGeometry();
  std::vector<Pieces> blocks(1);
  Pieces& pieces = blocks[0];
  MiTessellation answer;
  std::vector<MbVec3d> places;
  for (const Edge& edge : edges) {
    const std::uint32_t source = faces.cells[edge.face];
    const bool curved = edge.middle != kNoMiddle;
    if (curved) {
      places.clear();
      for (const std::uint32_t node : edge.nodes)
        places.push_back(geometry.getNode(node));
      if (addTessellated(tessellator, MiCellShape::QuadraticLine, source, edge.nodes, places,
                         answer, pieces))
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
