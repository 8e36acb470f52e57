#include <velmo/extraction/algorithms/layers/MxLayer.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/skin/MxSkinIjk.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t kQuadsPerPoll = 16384;
constexpr std::size_t kRowBlock = 16;
constexpr const MxShapeFaces& kFaces = kLinearFaces<MiCellShape::Hexahedron>;

MbVec3d between(const MbVec3d& low, const MbVec3d& high, double fraction)
{
  return low + (high - low) * fraction;
}

/// The layer's own numbering: cells and nodes (p, q) along the other two axes, p fastest. Lower
/// axes are p, so that ascending (p, q) are ascending flat numbers.
struct Sheet
{
  Sheet(const MxLayer& layer, const MxIjkChoice& choice)
      : layer(layer), p(layer.axis == 0 ? 1 : 0), q(layer.axis == 2 ? 1 : 2),
        cells(choice.numbering), nodes{nodeCountsOf(choice.numbering.counts)},
        cellCountP(cells.counts[p]), cellCountQ(cells.counts[q])
  {
    const std::size_t side = 2 * layer.axis + (layer.facesUp ? 1 : 0);
    for (std::size_t n = 0; n < 4; ++n) {
      const auto& step = kCornerSteps[kFaces[side].nodes[n]];
      corners[n] = step[p] + (cellCountP + 1) * step[q];
    }
    const auto strideOf = [](const MxIjkNumbering& numbering, std::size_t axis) {
      MbIndex3 step;
      step[axis] = 1;
      return numbering.flat(step.x, step.y, step.z);
    };
    cellStrideP = strideOf(cells, p);
    cellStrideQ = strideOf(cells, q);
    cellBegin = layer.cell * strideOf(cells, layer.axis);
    nodeStrideP = strideOf(nodes, p);
    nodeStrideQ = strideOf(nodes, q);
    upward = strideOf(nodes, layer.axis);
    nodeBegin = layer.cell * upward + (layer.fraction == 1 ? upward : 0);
  }

  std::size_t nodeCount() const { return (cellCountP + 1) * (cellCountQ + 1); }
  std::size_t cellCount() const { return cellCountP * cellCountQ; }
  std::size_t cellAt(std::size_t atP, std::size_t atQ) const
  {
    return cellBegin + atP * cellStrideP + atQ * cellStrideQ;
  }
  /// The lower node of the edge at (p, q); the upper one is `upward` further.
  std::size_t nodeAt(std::size_t atP, std::size_t atQ) const
  {
    return nodeBegin + atP * nodeStrideP + atQ * nodeStrideQ;
  }
  MbIndex3 indices(std::size_t atP, std::size_t atQ) const
  {
    MbIndex3 at;
    at[p] = atP;
    at[q] = atQ;
    at[layer.axis] = layer.cell;
    return at;
  }
  /// Calls body(row) for `rows` rows of the sheet.
  template <class Body>
  void forEachRow(std::size_t rows, bool parallel, MxExtractionMonitor& monitor,
                  const Body& body) const
  {
    constexpr std::size_t kLongRow = 1024;
    forEachTask(parallel && nodeCount() >= kParallelThreshold, blockCount(rows, kRowBlock),
                [&](std::size_t block) {
                  monitor.step();
                  for (std::size_t row = block * kRowBlock;
                       row < std::min(rows, (block + 1) * kRowBlock); ++row) {
                    if (cellCountP >= kLongRow) MxPoll::ask();
                    body(row);
                  }
                });
  }

  MxLayer layer;
  std::size_t p, q;
  MxIjkNumbering cells, nodes;
  std::size_t cellCountP, cellCountQ;
  std::array<std::size_t, 4> corners; ///< of a cell's quad, from its first node (p, q)
  std::size_t cellStrideP, cellStrideQ, cellBegin;
  std::size_t nodeStrideP, nodeStrideQ, nodeBegin, upward;
};

/// One byte a cell of the sheet; empty when all are taken.
MxArray<std::uint8_t> acceptedCells(const Sheet& sheet, const MxIjkChoice& choice, bool parallel,
                                    MxExtractionMonitor& monitor)
{
  MxArray<std::uint8_t> accepted;
  if (choice.accepted.empty()) return accepted;
  accepted.resizeUninitialized(sheet.cellCount());
  sheet.forEachRow(sheet.cellCountQ, parallel, monitor, [&](std::size_t atQ) {
    for (std::size_t atP = 0; atP < sheet.cellCountP; ++atP) {
      const MbIndex3 at = sheet.indices(atP, atQ);
      accepted[atP + sheet.cellCountP * atQ] =
          choice.word(at.x / 64, at.y, at.z) >> (at.x % 64) & 1;
    }
  });
  return accepted;
}

void clearLayer(const MbIndex3& cells, const MbIndex3& nodes, MeXSurfaceMeshUnstructured& surface)
{
  surface.topology.setUniform(0, 4);
  surface.provenance = {};
  surface.provenance.sourceCells = cells;
  surface.provenance.sourceNodes = nodes;
  surface.geometry.origin = {};
  surface.geometry.points().clear();
  surface.geometry.touch(false);
}

/// Room for where `count` nodes come from.
void prepareNodes(const MxLayer& layer, std::size_t count, MeXProvenance& provenance)
{
  const bool isBetween = layer.isBetween();
  provenance.form = isBetween ? MeXProvenance::NodeForm::Edge : MeXProvenance::NodeForm::Node;
  provenance.offsets.clear();
  provenance.nodeCells.clear();
  provenance.nodes.resizeUninitialized(isBetween ? 2 * count : count);
  if (isBetween)
    provenance.weights.assign(count, layer.fraction);
  else
    provenance.weights.clear();
}

// --- Grids whose nodes are numbered (i, j, k)
// -----------------------------------------------------

/// The quads of a sheet of which all cells are taken.
void writeAllCells(const Sheet& sheet, bool parallel, MxExtractionMonitor& monitor,
                   MeXSurfaceMeshUnstructured& surface, MxKeptCells& kept)
{
  const bool isKept =
      kept.keep(surface.topology, sheet.cellCountP, sheet.cellCountQ, sheet.corners);
  MxArray<int>& indices = surface.topology.indices();
  MxArray<std::uint32_t>& cells = surface.provenance.cells;
  cells.resizeUninitialized(sheet.cellCount());
  sheet.forEachRow(sheet.cellCountQ, parallel, monitor, [&](std::size_t atQ) {
    std::uint32_t* source = cells.data() + sheet.cellCountP * atQ;
    for (std::size_t atP = 0; atP < sheet.cellCountP; ++atP)
      source[atP] = static_cast<std::uint32_t>(sheet.cellAt(atP, atQ));
    if (isKept) return;
    int* out = indices.data() + 5 * sheet.cellCountP * atQ;
    for (std::size_t atP = 0; atP < sheet.cellCountP; ++atP, out += 5) {
      const std::size_t first = atP + (sheet.cellCountP + 1) * atQ;
      for (std::size_t n = 0; n < 4; ++n)
        out[n] = static_cast<int>(first + sheet.corners[n]);
      out[4] = -1;
    }
  });
  kept.written(surface.topology);
}

/// The quads of the accepted cells; their nodes are numbered in the sheet's order.
/// @return for each number the node's place p + (cellCountP + 1) * q
MxArray<std::uint32_t> writeSomeCells(const Sheet& sheet, const MxArray<std::uint8_t>& accepted,
                                      bool parallel, MxExtractionMonitor& monitor,
                                      MeXSurfaceMeshUnstructured& surface)
{
  const std::size_t width = sheet.cellCountP, nodeWidth = width + 1;
  const auto isCell = [&](std::size_t atP, std::size_t atQ) {
    return atP < width && atQ < sheet.cellCountQ && accepted[atP + width * atQ];
  };
  // One less than zero is beyond the last.
  const auto isNode = [&](std::size_t atP, std::size_t atQ) {
    return isCell(atP, atQ) || isCell(atP - 1, atQ) || isCell(atP, atQ - 1) ||
           isCell(atP - 1, atQ - 1);
  };
  std::vector<std::size_t> cellBegins(sheet.cellCountQ + 1, 0), nodeBegins(cellBegins);
  sheet.forEachRow(sheet.cellCountQ + 1, parallel, monitor, [&](std::size_t atQ) {
    for (std::size_t atP = 0; atP < nodeWidth; ++atP) {
      cellBegins[atQ] += isCell(atP, atQ) ? 1 : 0;
      nodeBegins[atQ] += isNode(atP, atQ) ? 1 : 0;
    }
  });
  const std::size_t cellCount = exclusivePrefixSum(std::span(cellBegins));
  const std::size_t nodeCount = exclusivePrefixSum(std::span(nodeBegins));

  MxArray<std::uint32_t> places(nodeCount), numbers(sheet.nodeCount());
  sheet.forEachRow(sheet.cellCountQ + 1, parallel, monitor, [&](std::size_t atQ) {
    std::size_t next = nodeBegins[atQ];
    for (std::size_t atP = 0; atP < nodeWidth; ++atP) {
      if (!isNode(atP, atQ)) continue;
      const std::size_t place = atP + nodeWidth * atQ;
      numbers[place] = static_cast<std::uint32_t>(next);
      places[next++] = static_cast<std::uint32_t>(place);
    }
  });
  MxArray<int>& indices = surface.topology.setUniform(cellCount, 4);
  MxArray<std::uint32_t>& cells = surface.provenance.cells;
  cells.resizeUninitialized(cellCount);
  sheet.forEachRow(sheet.cellCountQ, parallel, monitor, [&](std::size_t atQ) {
    std::size_t at = cellBegins[atQ];
    for (std::size_t atP = 0; atP < width; ++atP) {
      if (!isCell(atP, atQ)) continue;
      int* out = indices.data() + 5 * at;
      for (std::size_t n = 0; n < 4; ++n)
        out[n] = static_cast<int>(numbers[atP + nodeWidth * atQ + sheet.corners[n]]);
      out[4] = -1;
      cells[at++] = static_cast<std::uint32_t>(sheet.cellAt(atP, atQ));
    }
  });
  return places;
}

/// @param pointOf  pointOf(node, atP, atQ, level): the place of a node of the mesh; level 0 is the
///                 sheet's lower layer of nodes, 1 the one above
template <class PointOf>
void writeGrid(const Sheet& sheet, const MxIjkChoice& choice, const PointOf& pointOf, bool parallel,
               MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface, MxKeptCells& kept)
{
  const MxArray<std::uint8_t> accepted = acceptedCells(sheet, choice, parallel, monitor);
  MxArray<std::uint32_t> places;
  const bool all = accepted.empty();
  if (all) {
    writeAllCells(sheet, parallel, monitor, surface, kept);
  } else {
    kept.forget();
    places = writeSomeCells(sheet, accepted, parallel, monitor, surface);
  }

  const std::size_t count = all ? sheet.nodeCount() : places.size();
  const std::size_t nodeWidth = sheet.cellCountP + 1;
  const double fraction = sheet.layer.fraction;
  const bool isBetween = sheet.layer.isBetween();
  prepareNodes(sheet.layer, count, surface.provenance);
  std::uint32_t* sources = surface.provenance.nodes.data();
  const auto place = [&](std::size_t n, std::size_t atP, std::size_t atQ) {
    const std::size_t node = sheet.nodeAt(atP, atQ);
    if (!isBetween) {
      sources[n] = static_cast<std::uint32_t>(node);
      return pointOf(node, atP, atQ, 0);
    }
    sources[2 * n] = static_cast<std::uint32_t>(node);
    sources[2 * n + 1] = static_cast<std::uint32_t>(node + sheet.upward);
    return between(pointOf(node, atP, atQ, 0), pointOf(node + sheet.upward, atP, atQ, 1), fraction);
  };
  placePointBlocks(
      count,
      [&](std::size_t first, std::size_t last, const auto& put) {
        if (!all) {
          for (std::size_t n = first; n < last; ++n)
            put(n, place(n, places[n] % nodeWidth, places[n] / nodeWidth));
          return;
        }
        std::size_t atP = first % nodeWidth, atQ = first / nodeWidth;
        for (std::size_t n = first; n < last; ++n) {
          put(n, place(n, atP, atQ));
          if (++atP == nodeWidth) atP = 0, ++atQ;
        }
      },
      parallel, surface.geometry);
}

template <class Mesh>
void writeMesh(const Mesh& mesh, const Sheet& sheet, const MxIjkChoice& choice, bool parallel,
               MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface, MxKeptCells& kept)
{
  if constexpr (std::is_same_v<Mesh, MiVolumeMeshCurvilinear>) {
    const MiGeometryIjk& geometry = mesh.getGeometry();
    struct Nodes
    {
      const MiGeometryIjk* geometry;
      MxIjkNumbering numbering;
      MbVec3d operator[](std::size_t node) const
      {
        const MbIndex3 at = numbering.split(node);
        return geometry->getNode(at.x, at.y, at.z);
      }
    };
    visitPoints(geometry.getView(), sheet.nodes.total(), Nodes{&geometry, sheet.nodes},
                [&](const auto& points) {
                  const auto pointOf = [&](std::size_t node, std::size_t, std::size_t, int) {
                    return points[node];
                  };
                  writeGrid(sheet, choice, pointOf, parallel, monitor, surface, kept);
                });
  } else {
    const MxAxes axes = makeAxes(mesh);
    const std::size_t axis = sheet.layer.axis;
    const std::size_t first = sheet.layer.cell + (sheet.layer.fraction == 1 ? 1 : 0);
    const auto pointOf = [&](std::size_t, std::size_t atP, std::size_t atQ, int level) {
      MbVec3d point;
      point[sheet.p] = axes.values[sheet.p][atP];
      point[sheet.q] = axes.values[sheet.q][atQ];
      point[axis] = axes.values[axis][first + static_cast<std::size_t>(level)];
      return point;
    };
    writeGrid(sheet, choice, pointOf, parallel, monitor, surface, kept);
  }
}

// --- Hexahedra that name their nodes ------------------------------------------------------------

/// The eight nodes of a cell.
class CellNodes
{
public:
  CellNodes(const MiVolumeMeshHexahedronIjk& mesh, const MxIjkNumbering& cells)
      : m_topology(mesh.getTopology()), m_connectivity(m_topology.getConnectivityView()),
        m_cells(cells), m_nodeCount(mesh.getGeometry().getNodeCount())
  {
    m_hasArray = m_connectivity && m_connectivity.size() >= 8 * cells.total();
  }
  void read(const MbIndex3& at, std::array<std::uint32_t, 8>& nodes) const
  {
    std::size_t asked[8];
    const std::size_t begin = 8 * m_cells.flat(at.x, at.y, at.z);
    if (!m_hasArray) m_topology.getCellNodes(at.x, at.y, at.z, asked);
    for (std::size_t n = 0; n < 8; ++n) {
      const std::uint64_t node = m_hasArray ? m_connectivity[begin + n] : asked[n];
      // The application is asked again; an answer that has changed must not lead out of bounds.
      nodes[n] = node < m_nodeCount ? static_cast<std::uint32_t>(node) : 0;
    }
  }

private:
  const MiTopologyHexahedronIjk& m_topology;
  MxIndexArray m_connectivity;
  MxIjkNumbering m_cells;
  std::size_t m_nodeCount;
  bool m_hasArray;
};

/// A corner of a quad: a node, or the edge between two nodes.
struct Corner
{
  std::uint32_t low, high;
  friend bool operator==(const Corner&, const Corner&) = default;
};

/// Quads of corners, in cell order; corners that repeat are left out, and so are faces that have
/// less than three.
struct Quads
{
  MxArray<std::uint32_t> cells;
  MxArray<Corner> corners;     ///< four a cell
  MxArray<std::uint8_t> sizes; ///< how many of them count
};

Quads readQuads(const Sheet& sheet, const MxIjkChoice& choice, const CellNodes& cellNodes,
                bool parallel, MxExtractionMonitor& monitor)
{
  const MxArray<std::uint8_t> accepted = acceptedCells(sheet, choice, parallel, monitor);
  const MxLayer& layer = sheet.layer;
  // The ends of the edge that each corner lies on; both are the corner where it is a node.
  std::array<std::array<std::size_t, 2>, 4> pairs;
  for (std::size_t n = 0; n < 4; ++n) {
    std::array<std::uint8_t, 3> step =
        kCornerSteps[kFaces[2 * layer.axis + (layer.facesUp ? 1 : 0)].nodes[n]];
    const auto cornerAt = [&](bool above) {
      step[layer.axis] = above ? 1 : 0;
      const auto found = std::find(kCornerSteps.begin(), kCornerSteps.end(), step);
      return static_cast<std::size_t>(found - kCornerSteps.begin());
    };
    pairs[n] = {cornerAt(layer.fraction == 1), cornerAt(layer.fraction > 0)};
  }

  Quads all;
  all.corners.resizeUninitialized(4 * sheet.cellCount());
  all.sizes.resizeUninitialized(sheet.cellCount());
  sheet.forEachRow(sheet.cellCountQ, parallel, monitor, [&](std::size_t atQ) {
    std::array<std::uint32_t, 8> nodes;
    for (std::size_t atP = 0; atP < sheet.cellCountP; ++atP) {
      const std::size_t place = atP + sheet.cellCountP * atQ;
      std::uint8_t size = 0;
      if (accepted.empty() || accepted[place]) {
        cellNodes.read(sheet.indices(atP, atQ), nodes);
        Corner* quad = all.corners.data() + 4 * place;
        for (std::size_t n = 0; n < 4; ++n) {
          const Corner corner{nodes[pairs[n][0]], nodes[pairs[n][1]]};
          if (size == 0 || quad[size - 1] != corner) quad[size++] = corner;
        }
        while (size > 1 && quad[size - 1] == quad[0])
          --size;
      }
      all.sizes[place] = size;
    }
  });
  Quads quads;
  for (std::size_t place = 0; place < all.sizes.size(); ++place) {
    if (place % kQuadsPerPoll == 0) MxPoll::ask();
    if (all.sizes[place] < 3) continue;
    quads.cells.push_back(static_cast<std::uint32_t>(
        sheet.cellAt(place % sheet.cellCountP, place / sheet.cellCountP)));
    quads.sizes.push_back(all.sizes[place]);
    for (std::size_t n = 0; n < 4; ++n)
      quads.corners.push_back(all.corners[4 * place + n]);
  }
  return quads;
}

/// Writes the quads with the lower nodes of their corners, as 32-bit patterns.
void writeLowNodes(const Quads& quads, MeXTopologyExplicitI& topology)
{
  const std::size_t count = quads.cells.size();
  std::size_t indexCount = count;
  for (const std::uint8_t size : quads.sizes)
    indexCount += size;
  const bool uniform = indexCount == 5 * count;
  MxArray<int>& indices =
      uniform ? topology.setUniform(count, 4) : topology.setMixed(count, indexCount);
  std::size_t at = 0;
  for (std::size_t f = 0; f < count; ++f) {
    if (f % kQuadsPerPoll == 0) MxPoll::ask();
    if (!uniform) topology.begins()[f] = static_cast<std::uint32_t>(at);
    for (std::size_t n = 0; n < quads.sizes[f]; ++n)
      indices[at++] = static_cast<int>(quads.corners[4 * f + n].low);
    indices[at++] = -1;
  }
  if (!uniform) topology.begins()[count] = static_cast<std::uint32_t>(at);
}

/// Corners that share their lower node have one number so far; gives a new one to each upper node
/// but the first. At faults and where layers meet there are several.
/// @param lows  the lower node of each number; grows
/// @return the upper node of each number
MxArray<std::uint32_t> separateEdges(const Quads& quads, std::span<int> indices,
                                     MxArray<std::uint32_t>& lows)
{
  constexpr std::uint32_t kNone = 0xffffffffu;
  MxArray<std::uint32_t> highs(lows.size(), kNone), next(lows.size(), kNone);
  std::size_t at = 0;
  for (std::size_t f = 0; f < quads.cells.size(); ++f, ++at) {
    if (f % kQuadsPerPoll == 0) MxPoll::ask();
    for (std::size_t n = 0; n < quads.sizes[f]; ++n, ++at) {
      const Corner& corner = quads.corners[4 * f + n];
      auto number = static_cast<std::uint32_t>(indices[at]);
      if (highs[number] == kNone) highs[number] = corner.high;
      while (highs[number] != corner.high && next[number] != kNone)
        number = next[number];
      if (highs[number] != corner.high) {
        next[number] = static_cast<std::uint32_t>(lows.size());
        number = next[number];
        lows.push_back(corner.low);
        highs.push_back(corner.high);
        next.push_back(kNone);
      }
      indices[at] = static_cast<int>(number);
    }
  }
  return highs;
}

void writeMesh(const MiVolumeMeshHexahedronIjk& mesh, const Sheet& sheet, const MxIjkChoice& choice,
               bool parallel, MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface,
               MxKeptCells&)
{
  const MiGeometryI& geometry = mesh.getGeometry();
  const std::size_t nodeCount = geometry.getNodeCount();
  Quads quads = readQuads(sheet, choice, CellNodes(mesh, sheet.cells), parallel, monitor);
  writeLowNodes(quads, surface.topology);
  const std::span<int> indices = surface.topology.indices().span();
  MxArray<std::uint32_t> lows = numberByFirstUse(indices, nodeCount, parallel), highs;
  const bool isBetween = sheet.layer.isBetween();
  if (isBetween) highs = separateEdges(quads, indices, lows);
  surface.provenance.cells = std::move(quads.cells);

  prepareNodes(sheet.layer, lows.size(), surface.provenance);
  MxArray<std::uint32_t>& sources = surface.provenance.nodes;
  for (std::size_t n = 0; n < lows.size(); ++n) {
    if (!isBetween) {
      sources[n] = lows[n];
      continue;
    }
    sources[2 * n] = lows[n];
    sources[2 * n + 1] = highs[n];
  }
  struct Nodes
  {
    const MiGeometryI* geometry;
    MbVec3d operator[](std::size_t node) const { return geometry->getNode(node); }
  };
  visitPoints(geometry.getView(), nodeCount, Nodes{&geometry}, [&](const auto& points) {
    placePoints(
        lows.size(),
        [&](std::size_t n) {
          return isBetween ? between(points[lows[n]], points[highs[n]], sheet.layer.fraction)
                           : points[lows[n]];
        },
        [&](std::size_t n) { prefetchPoint(points, lows[n]); }, parallel, surface.geometry);
  });
}

template <class Mesh>
MbIndex3 dataNodesOf(const Mesh& mesh, const MbIndex3& cells)
{
  if constexpr (std::is_same_v<Mesh, MiVolumeMeshHexahedronIjk>)
    return {mesh.getGeometry().getNodeCount(), 1, 1};
  else
    return nodeCountsOf(cells);
}

} // namespace

MxLayer MxLayer::atValue(std::size_t axis, double value, std::size_t cellCount)
{
  // False for what is no number, too.
  const bool isInside = cellCount > 0 && value >= 0 && value <= static_cast<double>(cellCount);
  if (!isInside) return {axis, 0, 0, true, false};
  const std::size_t cell = std::min(static_cast<std::size_t>(std::floor(value)), cellCount - 1);
  return {axis, cell, value - static_cast<double>(cell), false, false};
}

template <class Mesh>
std::shared_ptr<const MxMeshCheck>
writeLayer(const Mesh& mesh, const MxLayer& layer, const MiCellFilterIjk* filter, bool parallel,
           MxExtractionMonitor& monitor, MeXSurfaceMeshUnstructured& surface, MxKeptCells& kept)
{
  const MbIndex3 counts = mesh.getTopology().getCellCounts();
  const bool isInside = countOrRefuse(counts, "cells") > 0 && !layer.isNowhere && layer.axis < 3 &&
                        layer.cell < counts[layer.axis];
  if (!isInside) {
    kept.forget();
    clearLayer(counts, dataNodesOf(mesh, counts), surface);
    return std::make_shared<MxMeshCheck>();
  }
  MbIndex3 lower, upper = counts;
  lower[layer.axis] = layer.cell;
  upper[layer.axis] = layer.cell + 1;
  std::shared_ptr<const MxMeshCheck> check = checkBox(mesh, lower, upper, parallel, monitor);
  const MxIjkChoice choice =
      chooseCells(mesh.getTopology(), check->unusable, filter, lower, upper, parallel, monitor);
  const Sheet sheet(layer, choice);
  monitor.beginPhase("Writing faces", blockCount(sheet.cellCountQ, kRowBlock));
  surface.provenance.sourceCells = counts;
  surface.provenance.sourceNodes = dataNodesOf(mesh, counts);
  writeMesh(mesh, sheet, choice, parallel, monitor, surface, kept);
  return check;
}

template std::shared_ptr<const MxMeshCheck> writeLayer(const MiVolumeMeshHexahedronIjk&,
                                                       const MxLayer&, const MiCellFilterIjk*, bool,
                                                       MxExtractionMonitor&,
                                                       MeXSurfaceMeshUnstructured&, MxKeptCells&);
template std::shared_ptr<const MxMeshCheck> writeLayer(const MiVolumeMeshRegular&, const MxLayer&,
                                                       const MiCellFilterIjk*, bool,
                                                       MxExtractionMonitor&,
                                                       MeXSurfaceMeshUnstructured&, MxKeptCells&);
template std::shared_ptr<const MxMeshCheck> writeLayer(const MiVolumeMeshRectilinear&,
                                                       const MxLayer&, const MiCellFilterIjk*, bool,
                                                       MxExtractionMonitor&,
                                                       MeXSurfaceMeshUnstructured&, MxKeptCells&);
template std::shared_ptr<const MxMeshCheck> writeLayer(const MiVolumeMeshCurvilinear&,
                                                       const MxLayer&, const MiCellFilterIjk*, bool,
                                                       MxExtractionMonitor&,
                                                       MeXSurfaceMeshUnstructured&, MxKeptCells&);
