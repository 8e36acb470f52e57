#include <velmo/extraction/algorithms/cut/MxCutTessellate.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxArrayAccess.h>
#include <velmo/extraction/algorithms/cut/MxCutKinds.h>
#include <velmo/extraction/algorithms/map/MxDataMap.h>
#include <velmo/extraction/algorithms/skin/MxTessellated.h>
#include <velmo/mesh/MbMesh.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t kItemsPerPoll = 16384;
constexpr std::size_t kBlock = 256;
/// A cell's values stay within this many times the range of those at its nodes, which is the
/// largest sum of the absolute values of shape functions: in the middle of 20-node hexahedra.
constexpr double kOvershoot = 5;

/// Whether the cut may reach a cell with nodes at these places.
class Reach
{
public:
  Reach(const MxCutShape& shape, std::span<const double> values) : m_shape(shape), m_values(values)
  {}

  /// @param places  of the nodes, at least one
  bool mayReach(std::span<const std::uint32_t> nodes, std::span<const MbVec3d> places) const
  {
    if (const auto* field = std::get_if<MxIsovalue>(&m_shape)) return mayTake(nodes, field->value);
    MbVec3d low = places[0], high = places[0];
    for (const MbVec3d& p : places)
      for (std::size_t axis = 0; axis < 3; ++axis) {
        low[axis] = std::min(low[axis], p[axis]);
        high[axis] = std::max(high[axis], p[axis]);
      }
    const MbVec3d middle = (low + high) * 0.5;
    // Not less, so that what is no number is kept.
    return !(std::abs(distance(middle)) > kOvershoot * length(high - middle));
  }

private:
  bool mayTake(std::span<const std::uint32_t> nodes, double value) const
  {
    double low = m_values[nodes[0]], high = low;
    for (const std::uint32_t node : nodes) {
      low = std::min(low, m_values[node]);
      high = std::max(high, m_values[node]);
    }
    const double middle = low / 2 + high / 2;
    return !(std::abs(value - middle) > kOvershoot * (high - middle));
  }
  double distance(const MbVec3d& p) const
  {
    double distance = 0;
    visitShapeInSpace(m_shape, [&](const auto& shape) { distance = shape.distanceTo(p); });
    return distance;
  }

  const MxCutShape& m_shape;
  std::span<const double> m_values; ///< one per node, of isosurfaces
};

/// What one block of cells becomes.
struct Block
{
  MxTessellated pieces;
  std::vector<MiCellShape> shapes;   ///< of each cell
  std::vector<std::size_t> faces;    ///< streams of polyhedra, by point
  std::vector<std::size_t> faceEnds; ///< of each cell, in `faces`
};

void addAsItIs(const MiTopologyI& topology, MiCellShape shape, std::uint32_t cell,
               std::span<const std::uint32_t> nodes, std::vector<std::size_t>& stream, Block& block)
{
  const std::uint32_t first = block.pieces.pointCount();
  std::vector<std::uint32_t> order(nodes.size());
  for (std::size_t n = 0; n < nodes.size(); ++n) {
    block.pieces.addNode(nodes[n]);
    order[n] = static_cast<std::uint32_t>(n);
  }
  block.pieces.addCell(cell, first, order, order.size());
  block.shapes.push_back(shape);
  if (shape == MiCellShape::Polyhedron) {
    topology.getCellFaces(cell, stream);
    block.faces.push_back(stream.empty() ? 0 : stream[0]);
    for (std::size_t at = 1; at < stream.size();) {
      const std::size_t size = stream[at++];
      block.faces.push_back(size);
      for (const std::size_t end = std::min(stream.size(), at + size); at < end; ++at) {
        const auto found =
            std::find(nodes.begin(), nodes.end(), static_cast<std::uint32_t>(stream[at]));
        // An answer that has changed since the check must not lead out of bounds.
        const auto place = static_cast<std::size_t>(found - nodes.begin());
        block.faces.push_back(first + (found == nodes.end() ? 0 : place));
      }
    }
  }
  block.faceEnds.push_back(block.faces.size());
}

/// The refined cells as a mesh, and where they come from.
struct Refined
{
  MeXProvenance provenance; ///< `cells` of its cells, the rest of its nodes
  std::unique_ptr<MbVolumeMeshUnstructured> mesh;
};

/// @param blocks  emptied one after the other
template <class Points>
Refined join(std::vector<Block>& blocks, const Points& points)
{
  Refined refined;
  MeXProvenance& provenance = refined.provenance;
  provenance.form = MeXProvenance::NodeForm::Weighted;
  provenance.offsets.push_back(0);
  MxTessellatedPoints numbers;
  std::vector<std::uint8_t> shapes;
  std::vector<std::int64_t> offsets{0}, connectivity, faces, faceOffsets{0};
  // Large arrays that grow are copied whole, while nobody is asked.
  std::size_t cornerCount = 0, cellCount = 0;
  for (const Block& block : blocks) {
    cornerCount += block.pieces.corners.size();
    cellCount += block.shapes.size();
  }
  connectivity.reserve(cornerCount);
  shapes.reserve(cellCount);
  offsets.reserve(cellCount + 1);
  faceOffsets.reserve(cellCount + 1);
  for (Block& block : blocks) {
    MxPoll::ask();
    std::vector<std::uint32_t> own(block.pieces.pointCount());
    for (std::uint32_t p = 0; p < own.size(); ++p)
      own[p] = numbers.number(block.pieces, p, provenance);
    for (const std::uint32_t corner : block.pieces.corners)
      connectivity.push_back(own[corner]);
    for (std::size_t c = 0; c < block.shapes.size(); ++c) {
      shapes.push_back(static_cast<std::uint8_t>(block.shapes[c]));
      offsets.push_back(offsets.back() + block.pieces.sizes[c]);
      provenance.cells.push_back(block.pieces.sources[c]);
      const std::size_t end = block.faceEnds[c];
      for (std::size_t at = c > 0 ? block.faceEnds[c - 1] : 0, left = 0; at < end; ++at) {
        // The count of faces, and before each face its size, are no points.
        const bool isFirst = at == (c > 0 ? block.faceEnds[c - 1] : 0);
        const std::size_t item = block.faces[at];
        const bool isCount = isFirst || left == 0;
        faces.push_back(isCount ? static_cast<std::int64_t>(item)
                                : static_cast<std::int64_t>(own[item]));
        if (!isFirst) left = left == 0 ? item : left - 1;
      }
      faceOffsets.push_back(static_cast<std::int64_t>(faces.size()));
    }
    block = {};
  }
  std::vector<double> places;
  places.reserve(3 * provenance.offsets.size());
  for (std::size_t n = 0; n + 1 < provenance.offsets.size(); ++n) {
    if (n % kItemsPerPoll == 0) MxPoll::ask();
    MbVec3d sum;
    for (std::uint32_t at = provenance.offsets[n]; at < provenance.offsets[n + 1]; ++at)
      sum += points[provenance.nodes[at]] * provenance.weights[at];
    places.insert(places.end(), {sum.x, sum.y, sum.z});
  }
  MbCellArrays arrays;
  arrays.connectivity = MbNumbers(std::move(connectivity));
  arrays.offsets = MbNumbers(std::move(offsets));
  arrays.shapes = MbNumbers(std::move(shapes));
  if (!faces.empty()) {
    arrays.faces = MbNumbers(std::move(faces));
    arrays.faceOffsets = MbNumbers(std::move(faceOffsets));
  }
  refined.mesh = std::make_unique<MbVolumeMeshUnstructured>(MbTopologyI(std::move(arrays)),
                                                            MbPoints(std::move(places)));
  return refined;
}

/// Replaces cells and nodes of the refined mesh by those that they come from.
void traceBack(const MeXProvenance& refined, MeXProvenance& cut)
{
  for (std::uint32_t& cell : cut.cells)
    cell = refined.cells[cell];
  MxArray<std::uint32_t> nodes, offsets;
  MxArray<double> weights;
  offsets.push_back(0);
  std::vector<std::pair<std::uint32_t, double>> parts;
  for (std::size_t v = 0; v < cut.weights.size(); ++v) {
    if (v % kItemsPerPoll == 0) MxPoll::ask();
    parts.clear();
    const double shares[2] = {1 - cut.weights[v], cut.weights[v]};
    for (std::size_t end = 0; end < 2; ++end) {
      if (shares[end] == 0) continue;
      const std::uint32_t node = cut.nodes[2 * v + end];
      for (std::uint32_t at = refined.offsets[node]; at < refined.offsets[node + 1]; ++at)
        parts.emplace_back(refined.nodes[at], refined.weights[at] * shares[end]);
    }
    std::stable_sort(parts.begin(), parts.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (std::size_t p = 0; p < parts.size(); ++p) {
      if (p > 0 && parts[p].first == parts[p - 1].first) {
        weights[weights.size() - 1] += parts[p].second;
        continue;
      }
      nodes.push_back(parts[p].first);
      weights.push_back(parts[p].second);
    }
    offsets.push_back(static_cast<std::uint32_t>(nodes.size()));
  }
  cut.form = MeXProvenance::NodeForm::Weighted;
  cut.nodes = std::move(nodes);
  cut.weights = std::move(weights);
  cut.offsets = std::move(offsets);
}

struct Nodes
{
  const MiGeometryI* geometry;
  MbVec3d operator[](std::size_t node) const { return geometry->getNode(node); }
};

} // namespace

bool hasQuadraticCells(const MiTopologyI& topology)
{
  const MiTopologyView view = topology.getView();
  if (view && !view.shapes) return isQuadratic(view.uniformShape);
  const MxIndexArray shapes(view.shapes);
  const std::size_t count = topology.getCellCount();
  for (std::size_t cell = 0; cell < count; ++cell) {
    if (cell % kItemsPerPoll == 0) MxPoll::ask();
    const MiCellShape shape = shapes && cell < shapes.size()
                                  ? static_cast<MiCellShape>(shapes[cell])
                                  : topology.getCellShape(cell);
    const MiCellShapeFacts facts = cellShapeFacts(shape);
    if (facts.dimension == 3 && isQuadratic(shape)) return true;
  }
  return false;
}

std::shared_ptr<const MxMeshCheck>
cutTessellated(const MiVolumeMeshUnstructured& mesh, const MiCellFilterI* filter,
               const MxCutShape& shape, const MiTessellator& tessellator, bool parallel,
               MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface)
{
  const MiTopologyI& topology = mesh.getTopology();
  const MiGeometryI& geometry = mesh.getGeometry();
  const std::size_t cellCount = topology.getCellCount(), nodeCount = geometry.getNodeCount();
  std::shared_ptr<const MxMeshCheck> check = checkMesh(mesh, parallel, monitor);
  const auto* field = std::get_if<MxIsovalue>(&shape);
  std::unique_ptr<MeXDataSetI<double>> values;
  if (field && field->set) {
    // The values of all nodes, in one array whatever the set.
    MeXProvenance all;
    all.sourceCells = {cellCount, 1, 1};
    all.sourceNodes = {nodeCount, 1, 1};
    for (std::size_t n = 0; n < nodeCount; ++n)
      all.nodes.push_back(static_cast<std::uint32_t>(n));
    if (field->set->getBinding() == MiDataBinding::PerNode)
      values = mapDataSet(all, *field->set, MxIndexing::I, MxIndexing::I, parallel);
  }
  clearCut(surface);
  surface.provenance.sourceCells = {cellCount, 1, 1};
  surface.provenance.sourceNodes = {nodeCount, 1, 1};
  if (field && !values) return check;

  monitor.beginPhase("Refining cells", blockCount(cellCount, kBlock));
  const Reach reach(shape,
                    values ? std::span<const double>(values->values) : std::span<const double>());
  std::vector<Block> blocks(blockCount(cellCount, kBlock));
  Refined refined;
  visitPoints(geometry.getView(), nodeCount, Nodes{&geometry}, [&](const auto& points) {
    forEachBlock(
        parallel, cellCount, kBlock, [&](std::size_t b, std::size_t first, std::size_t last) {
          monitor.step();
          std::vector<std::uint8_t> accepted(last - first, 1);
          if (filter) filter->acceptCells(first, last, accepted.data());
          std::vector<std::size_t> asked, stream;
          std::vector<std::uint32_t> nodes;
          std::vector<MbVec3d> places;
          MiTessellation answer;
          for (std::size_t cell = first; cell < last; ++cell) {
            const MiCellShape cellShape = topology.getCellShape(cell);
            if (!accepted[cell - first] || cellShapeFacts(cellShape).dimension != 3) continue;
            if (!check->isClean() && check->unusable.test(cell)) continue;
            if (topology.hasDeadCells() && topology.isDead(cell)) continue;
            topology.getCellNodes(cell, asked);
            nodes.clear();
            places.clear();
            for (const std::size_t node : asked) {
              // Asked again; an answer that has changed must not lead out of bounds.
              nodes.push_back(node < nodeCount ? static_cast<std::uint32_t>(node) : 0);
              places.push_back(points[nodes.back()]);
            }
            if (nodes.empty() || !reach.mayReach(nodes, places)) continue;
            const auto source = static_cast<std::uint32_t>(cell);
            MiCellShape made = MiCellShape::Empty;
            Block& block = blocks[b];
            if (isQuadratic(cellShape) && block.pieces.addRefined(tessellator, cellShape, source,
                                                                  nodes, places, answer, &made))
            {
              block.shapes.resize(block.pieces.sizes.size(), made);
              block.faceEnds.resize(block.shapes.size(), block.faces.size());
            } else {
              addAsItIs(topology, cellShape, source, nodes, stream, block);
            }
          }
        });
    refined = join(blocks, points);
  });
  blocks.clear();
  if (refined.provenance.cells.empty()) return check;

  MxCutShape own = shape;
  std::unique_ptr<MeXDataSetI<double>> ownValues;
  if (field) {
    refined.provenance.sourceCells = {cellCount, 1, 1};
    refined.provenance.sourceNodes = {nodeCount, 1, 1};
    ownValues = mapDataSet(refined.provenance, *field->set, MxIndexing::I, MxIndexing::I, parallel);
    own = MxIsovalue{ownValues.get(), field->value};
  }
  MxCutMemory memory;
  cutMesh(static_cast<const MiVolumeMeshUnstructured&>(*refined.mesh),
          static_cast<const MiCellFilterI*>(nullptr), own, nullptr, parallel, monitor, memory,
          surface);
  traceBack(refined.provenance, surface.provenance);
  surface.provenance.sourceCells = {cellCount, 1, 1};
  surface.provenance.sourceNodes = {nodeCount, 1, 1};
  return check;
}
