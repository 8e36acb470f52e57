#include <velmo/extraction/algorithms/check/MbMeshFaults.h>

#include <velmo/extraction/algorithms/access/MxBits.h>
#include <velmo/extraction/algorithms/access/MxVolumeCells.h>
#include <velmo/extraction/algorithms/check/MxCellQuality.h>
#include <velmo/extraction/algorithms/check/MxMeshCheck.h>
#include <velmo/extraction/algorithms/check/MxRepeatedKeys.h>
#include <velmo/mesh/MbUnstructuredView.h>
#include <velmo/mesh/views/MxCellView.h>

namespace {

using Fault = MbMeshFault;

constexpr std::size_t kFirstCount = 10;
constexpr std::size_t kBlock = 4096; // whole words of MxBits

/// Counts what is found and keeps the lowest numbers; they come in rising order.
void note(MbMeshFinding& finding, std::size_t number)
{
  ++finding.count;
  if (finding.first.size() < kFirstCount) finding.first.push_back(number);
}

/// Joins what was found in a later block.
void append(MbMeshFinding& finding, const MbMeshFinding& later)
{
  finding.count += later.count;
  for (const std::size_t number : later.first)
    if (finding.first.size() < kFirstCount) finding.first.push_back(number);
}

bool isGrid(MeshType type)
{
  return type != VOLUME_MESH_UNSTRUCTURED && type != SURFACE_MESH_UNSTRUCTURED &&
         type != LINE_MESH_UNSTRUCTURED;
}

/// Cells name their nodes, or have corners of their own, so that two may have the same.
bool hasFreeCells(MeshType type)
{
  return !isGrid(type) || type == VOLUME_MESH_HEXAHEDRON_IJK ||
         type == VOLUME_MESH_VERTEX_HEXAHEDRON_IJK;
}

/// What one block of cells has.
struct CellFindings
{
  std::array<MbMeshFinding, kMbMeshFaultCount> faults;
  MbMeshFinding positive, negative; ///< by the sign of the volume
  std::size_t dead = 0, faces = 0;
};

class Examination
{
public:
  Examination(MeshType type, int dimension, const MiTopologyI& topology,
              const MiGeometryI& geometry, bool parallel,
              const std::function<void(double)>& progress)
      : m_progress(progress), m_type(type), m_dimension(dimension), m_topology(topology),
        m_nodes(geometry), m_cells(topology, m_nodes.size()), m_parallel(parallel),
        m_usedNodes(m_nodes.size()), m_soundCells(topology.getCellCount())
  {
    m_faults.type = type;
    m_faults.cellCount = topology.getCellCount();
    m_faults.nodeCount = m_nodes.size();
  }

  MbMeshFaults run()
  {
    const bool hasFaces = hasFreeCells(m_type) && m_dimension > 1;
    // Shares of the time, as measured on hexahedra and tetrahedra.
    examineCells();
    tell(hasFaces ? 0.3 : 0.5);
    examineNodes();
    tell(hasFaces ? 0.4 : 0.9);
    if (hasFreeCells(m_type)) findDuplicateCells();
    tell(hasFaces ? 0.6 : 1);
    if (hasFaces) findCrowdedFaces();
    tell(1);
    describe();
    return std::move(m_faults);
  }

private:
  using Cursor = MxVirtualCells::Cursor;
  void tell(double done) const
  {
    if (m_progress) m_progress(done);
  }
  bool isVertexMesh() const { return m_type == VOLUME_MESH_VERTEX_HEXAHEDRON_IJK; }
  /// What tells a node from others: its number, or its place where each cell has its own.
  std::uint64_t hashOf(std::size_t node) const
  {
    return isVertexMesh() ? hashOfPlace(node) : mxMixed(node + 1);
  }
  std::uint64_t hashOfPlace(std::size_t node) const
  {
    const MbVec3d p = m_nodes.at(node);
    std::uint64_t hash = 0;
    for (std::size_t a = 0; a < 3; ++a)
      hash = mxMixed(hash + std::bit_cast<std::uint64_t>(p[a] + 0.0) + 1); // no negative zero
    return hash;
  }
  bool isSame(std::size_t a, std::size_t b) const
  {
    return a == b || (isVertexMesh() && m_nodes.at(a) == m_nodes.at(b));
  }
  /// Sorts nodes, and leaves one of each.
  void makeSet(std::vector<std::size_t>& nodes) const
  {
    if (isVertexMesh())
      std::sort(nodes.begin(), nodes.end(), [&](std::size_t a, std::size_t b) {
        const std::uint64_t ha = hashOf(a), hb = hashOf(b);
        return ha != hb ? ha < hb : a < b;
      });
    else
      std::sort(nodes.begin(), nodes.end());
    nodes.erase(std::unique(nodes.begin(), nodes.end(),
                            [&](std::size_t a, std::size_t b) { return isSame(a, b); }),
                nodes.end());
  }
  std::uint64_t hashOfSet(const std::vector<std::size_t>& nodes) const
  {
    std::uint64_t sum = nodes.size();
    for (const std::size_t node : nodes)
      sum += hashOf(node);
    return mxMixed(sum);
  }
  /// What tells a set of nodes from others, and a place that near ones have near it: the lowest of
  /// their numbers, where they are numbers.
  struct SetKey
  {
    std::uint64_t hash = 0;
    std::size_t place = 0;
    bool isSet = false; ///< no node stands twice
  };
  SetKey keyOfSet(const std::vector<std::size_t>& nodes) const
  {
    return {hashOfSet(nodes), isVertexMesh() || nodes.empty() ? 0 : nodes.front(), true};
  }
  /// The same of up to so many nodes in any order, without sorting them.
  static constexpr std::size_t kFewNodes = 8;
  template <class NodeAt>
  SetKey keyOfFew(std::size_t count, const NodeAt& nodeAt) const
  {
    if (isVertexMesh() || count == 0 || count > kFewNodes) return {};
    std::size_t nodes[kFewNodes];
    SetKey key{count, nodeAt(0), true};
    for (std::size_t n = 0; n < count; ++n) {
      nodes[n] = nodeAt(n);
      key.hash += mxMixed(nodes[n] + 1);
      key.place = std::min(key.place, nodes[n]);
      for (std::size_t m = 0; m < n; ++m)
        key.isSet &= nodes[m] != nodes[n];
    }
    key.hash = mxMixed(key.hash);
    return key;
  }
  std::size_t placeCount() const { return isVertexMesh() ? 0 : m_faults.nodeCount; }
  bool areSame(const std::vector<std::size_t>& a, const std::vector<std::size_t>& b) const
  {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](std::size_t m, std::size_t n) { return isSame(m, n); });
  }
  void readCell(Cursor& cursor, std::size_t cell, std::vector<std::size_t>& nodes) const
  {
    cursor.load(cell);
    nodes.assign(cursor.nodes(), cursor.nodes() + cursor.size());
    makeSet(nodes);
  }
  template <class Body>
  void forEachSide(Cursor& cursor, std::size_t cell, const Body& body) const;
  template <class NodeAt>
  SetKey keyOfSide(std::size_t count, const NodeAt& nodeAt, std::vector<std::size_t>& nodes) const;
  template <class NodeAt>
  bool readSide(std::size_t count, const NodeAt& nodeAt, std::vector<std::size_t>& nodes) const;

  void examineCells();
  void examineCell(std::size_t cell, Cursor& cursor, MxCellJudge& judge,
                   std::vector<MbVec3d>& places, CellFindings& found);
  void examineNodes();
  void findDuplicateCells();
  void findCrowdedFaces();
  void describe();
  /// Numbers in any order, some perhaps twice.
  void noteAll(Fault fault, std::vector<std::size_t> numbers)
  {
    std::sort(numbers.begin(), numbers.end());
    for (const std::size_t number : numbers)
      note(m_faults[fault], number);
  }
  /// Calls emit(hash, owner) of the items of a block of `count`.
  template <class Each>
  static auto inBlocks(std::size_t count, const Each& each)
  {
    return [count, &each](std::size_t block, const auto& emit) {
      each(block * kBlock, std::min(count, (block + 1) * kBlock), emit);
    };
  }

  const std::function<void(double)>& m_progress;
  MeshType m_type;
  int m_dimension;
  const MiTopologyI& m_topology;
  MxNodePositions<MiGeometryI> m_nodes;
  MxVirtualCells m_cells;
  bool m_parallel;
  MxBits m_usedNodes;
  MxBits m_soundCells; ///< alive, and of an extent
  std::size_t m_faceCount = 0;
  MbMeshFaults m_faults;
};

void Examination::examineCells()
{
  const std::size_t count = m_faults.cellCount;
  std::vector<CellFindings> blocks(blockCount(count, kBlock));
  forEachBlock(m_parallel, count, kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 Cursor cursor(m_cells);
                 MxCellJudge judge;
                 std::vector<MbVec3d> places;
                 for (std::size_t cell = first; cell < last; ++cell)
                   examineCell(cell, cursor, judge, places, blocks[block]);
               });
  MbMeshFinding positive, negative;
  for (const CellFindings& block : blocks) {
    for (std::size_t f = 0; f < kMbMeshFaultCount; ++f)
      append(m_faults.findings[f], block.faults[f]);
    append(positive, block.positive);
    append(negative, block.negative);
    m_faults.deadCellCount += block.dead;
    m_faceCount += block.faces;
  }
  m_faults.isMirrored = negative.count > 0 && positive.count == 0;
  const bool isMostlyMirrored = isGrid(m_type) && negative.count > positive.count;
  m_faults[Fault::InvertedCell] = isMostlyMirrored ? positive : negative;
  if (isGrid(m_type)) m_faults.isMirrored = isMostlyMirrored;
}

void Examination::examineCell(std::size_t cell, Cursor& cursor, MxCellJudge& judge,
                              std::vector<MbVec3d>& places, CellFindings& found)
{
  const auto add = [&](Fault fault) { note(found.faults[static_cast<std::size_t>(fault)], cell); };
  const bool isDead = m_topology.hasDeadCells() && m_topology.isDead(cell);
  found.dead += isDead ? 1 : 0;
  const MxCellFault fault = cursor.probe(cell, m_faults.nodeCount);
  if (fault != MxCellFault::None) {
    if (!isDead) add(fault == MxCellFault::UnknownShape ? Fault::UnknownShape : Fault::BrokenCell);
    return;
  }
  for (std::size_t n = 0; n < cursor.size(); ++n)
    m_usedNodes.setShared(cursor.nodes()[n]);
  if (isDead) return;
  places.clear();
  bool isAllFinite = true;
  for (std::size_t n = 0; n < cursor.size(); ++n) {
    places.push_back(m_nodes.at(cursor.nodes()[n]));
    isAllFinite &= isFinite(places.back());
  }
  if (!isAllFinite) return add(Fault::NonFiniteCell);
  const MxCellQuality quality = judge.judge(cursor.shape(), {cursor.nodes(), cursor.size()}, places,
                                            {cursor.stream(), cursor.streamSize()});
  if (quality.isDegenerate) add(Fault::DegenerateCell);
  if (quality.isFolded) add(Fault::FoldedCell);
  if (quality.isCollapsed) add(Fault::CollapsedCell);
  if (quality.isOpen) add(Fault::OpenPolyhedron);
  if (quality.sign != 0) note(quality.sign > 0 ? found.positive : found.negative, cell);
  if (quality.isDegenerate) return;
  m_soundCells.set(cell);
  found.faces += cursor.shape() == MiCellShape::Polyhedron ? cursor.stream()[0]
                 : m_dimension == 3                        ? findWholeFaces(cursor.shape()).count
                                                           : cursor.size();
}

void Examination::examineNodes()
{
  const std::size_t count = m_faults.nodeCount;
  const bool canDangle = m_dimension > 0 && !isVertexMesh();
  struct Findings
  {
    MbMeshFinding lost, dangling;
  };
  std::vector<Findings> blocks(blockCount(count, kBlock));
  forEachBlock(m_parallel, count, kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 for (std::size_t node = first; node < last; ++node) {
                   if (!isFinite(m_nodes.at(node))) note(blocks[block].lost, node);
                   if (canDangle && !m_usedNodes.test(node)) note(blocks[block].dangling, node);
                 }
               });
  for (const Findings& block : blocks) {
    append(m_faults[Fault::NonFiniteNode], block.lost);
    append(m_faults[Fault::DanglingNode], block.dangling);
  }
  if (isVertexMesh()) return;
  const auto each = [&](std::size_t first, std::size_t last, const auto& emit) {
    for (std::size_t node = first; node < last; ++node)
      if (isFinite(m_nodes.at(node))) emit(hashOfPlace(node), node);
  };
  std::vector<std::size_t> duplicates;
  mxForEachRepeated(
      mxCollectRepeated(blockCount(count, kBlock), count, 2, m_parallel, inBlocks(count, each)), 2,
      [&](std::size_t a, std::size_t b) { return m_nodes.at(a) == m_nodes.at(b); },
      [&](const auto& nodes) {
        duplicates.insert(duplicates.end(), nodes.begin() + 1, nodes.end());
      });
  noteAll(Fault::DuplicateNode, std::move(duplicates));
}

void Examination::findDuplicateCells()
{
  const std::size_t count = m_faults.cellCount;
  const auto each = [&](std::size_t first, std::size_t last, const auto& emit) {
    Cursor cursor(m_cells);
    std::vector<std::size_t> nodes;
    for (std::size_t cell = first; cell < last; ++cell) {
      if (!m_soundCells.test(cell)) continue;
      cursor.load(cell);
      SetKey key = keyOfFew(cursor.size(), [&](std::size_t n) { return cursor.nodes()[n]; });
      if (!key.isSet) {
        readCell(cursor, cell, nodes);
        key = keyOfSet(nodes);
      }
      emit(key.hash, cell, key.place);
    }
  };
  Cursor one(m_cells), other(m_cells);
  std::vector<std::size_t> ones, others, duplicates;
  mxForEachRepeated(
      mxCollectRepeated(blockCount(count, kBlock), count, 2, m_parallel, inBlocks(count, each),
                        placeCount()),
      2,
      [&](std::size_t a, std::size_t b) {
        readCell(one, a, ones);
        readCell(other, b, others);
        return areSame(ones, others);
      },
      [&](const auto& cells) {
        duplicates.insert(duplicates.end(), cells.begin() + 1, cells.end());
      });
  noteAll(Fault::DuplicateCell, std::move(duplicates));
}

/// Calls body(number, count, nodeAt) for the corners of every face of a volume cell, or edge of a
/// face.
template <class Body>
void Examination::forEachSide(Cursor& cursor, std::size_t cell, const Body& body) const
{
  cursor.load(cell);
  if (m_dimension == 3) {
    forEachFace<true>(
        cursor, [&](std::uint32_t face, std::size_t size, const auto& nodeAt, MiCellShape shape) {
          const std::size_t fixed = cellShapeFacts(shape).cornerCount;
          body(face, fixed ? fixed : size, nodeAt);
        });
    return;
  }
  const std::size_t fixed = cellShapeFacts(cursor.shape()).cornerCount;
  const std::size_t corners = fixed ? fixed : cursor.size();
  for (std::size_t n = 0; n < corners; ++n)
    body(static_cast<std::uint32_t>(n), std::size_t{2},
         [&](std::size_t end) { return std::size_t{cursor.nodes()[(n + end) % corners]}; });
}

/// The corners of a side as a set; false when it has collapsed.
template <class NodeAt>
bool Examination::readSide(std::size_t count, const NodeAt& nodeAt,
                           std::vector<std::size_t>& nodes) const
{
  nodes.clear();
  for (std::size_t n = 0; n < count; ++n)
    nodes.push_back(nodeAt(n));
  makeSet(nodes);
  return nodes.size() >= (m_dimension == 3 ? 3u : 2u);
}

/// None for a side that has collapsed.
template <class NodeAt>
Examination::SetKey Examination::keyOfSide(std::size_t count, const NodeAt& nodeAt,
                                           std::vector<std::size_t>& nodes) const
{
  if (const SetKey key = keyOfFew(count, nodeAt); key.isSet) return key;
  return readSide(count, nodeAt, nodes) ? keyOfSet(nodes) : SetKey{};
}

void Examination::findCrowdedFaces()
{
  constexpr int kFaceBits = 32;
  const std::size_t count = m_faults.cellCount;
  const auto each = [&](std::size_t first, std::size_t last, const auto& emit) {
    Cursor cursor(m_cells);
    std::vector<std::size_t> nodes;
    for (std::size_t cell = first; cell < last; ++cell)
      if (m_soundCells.test(cell))
        forEachSide(cursor, cell, [&](std::uint32_t face, std::size_t size, const auto& nodeAt) {
          const SetKey key = keyOfSide(size, nodeAt, nodes);
          if (key.isSet) emit(key.hash, std::uint64_t{cell} << kFaceBits | face, key.place);
        });
  };
  Cursor cursor(m_cells);
  std::vector<std::size_t> ones, others;
  const auto read = [&](std::uint64_t owner, std::vector<std::size_t>& set) {
    forEachSide(cursor, owner >> kFaceBits,
                [&](std::uint32_t face, std::size_t size, const auto& nodeAt) {
                  if (face == static_cast<std::uint32_t>(owner)) readSide(size, nodeAt, set);
                });
  };
  std::vector<std::size_t> crowded;
  mxForEachRepeated(
      mxCollectRepeated(blockCount(count, kBlock), m_faceCount, 3, m_parallel,
                        inBlocks(count, each), placeCount()),
      3,
      [&](std::uint64_t a, std::uint64_t b) {
        read(a, ones);
        read(b, others);
        return areSame(ones, others);
      },
      [&](const auto& owners) {
        // A cell may have the same face twice.
        std::size_t cells = 1;
        for (std::size_t n = 1; n < owners.size(); ++n)
          cells += owners[n] >> kFaceBits != owners[n - 1] >> kFaceBits;
        if (cells > 2) crowded.push_back(owners[0] >> kFaceBits);
      });
  noteAll(Fault::CrowdedFace, std::move(crowded));
}

/// Which findings mean nothing for the kind, and which may be meant.
void Examination::describe()
{
  const auto impossible = [&](Fault fault) { m_faults[fault].isImpossible = true; };
  if (m_dimension < 3) impossible(Fault::InvertedCell);
  if (m_dimension < 2) impossible(Fault::CollapsedCell);
  if (m_dimension < 2) impossible(Fault::FoldedCell);
  if (m_type != VOLUME_MESH_UNSTRUCTURED) impossible(Fault::OpenPolyhedron);
  if (isGrid(m_type)) impossible(Fault::UnknownShape);
  if (!hasFreeCells(m_type)) impossible(Fault::DuplicateCell);
  if (!hasFreeCells(m_type) || m_dimension < 2) impossible(Fault::CrowdedFace);
  if (isVertexMesh()) impossible(Fault::DanglingNode);
  if (isVertexMesh()) impossible(Fault::DuplicateNode);
  m_faults[Fault::CollapsedCell].isRemark = true;
  if (isGrid(m_type)) m_faults[Fault::DuplicateNode].isRemark = true;
  if (m_dimension == 2) m_faults[Fault::CrowdedFace].isRemark = true;
}

template <class Mesh>
bool examine(const MiMesh& mesh, int dimension, const std::unique_ptr<Mesh>& view, bool parallel,
             const std::function<void(double)>& progress, MbMeshFaults& faults)
{
  if (!view) return false;
  const auto& topology = view->getTopology();
  const auto& geometry = view->getGeometry();
  countOrRefuse({topology.getCellCount(), 1, 1}, "cells");
  countOrRefuse({geometry.getNodeCount(), 1, 1}, "nodes");
  faults =
      Examination(classifyMesh(&mesh), dimension, topology, geometry, parallel, progress).run();
  return true;
}

} // namespace

bool MbMeshFaults::isFaulty() const
{
  return std::any_of(findings.begin(), findings.end(), [](const MbMeshFinding& finding) {
    return finding.count > 0 && !finding.isRemark;
  });
}

const char* mbFaultName(MbMeshFault fault, MeshType type)
{
  constexpr const char* kNames[] = {"broken cells, with missing or too few nodes",
                                    "cells of unknown shape",
                                    "cells with corners that are not finite",
                                    "degenerate cells, without extent",
                                    "inverted cells",
                                    "folded or dented cells",
                                    "open polyhedra",
                                    "duplicate cells",
                                    "faces of more than two cells",
                                    "nodes that are not finite",
                                    "dangling nodes, of no cell",
                                    "duplicate nodes, at one place",
                                    "collapsed cells, some corners are one"};
  const bool isSurface = type >= SURFACE_MESH_UNSTRUCTURED && type <= SURFACE_MESH_CURVILINEAR;
  if (fault == Fault::CrowdedFace && isSurface) return "edges of more than two cells";
  return kNames[static_cast<std::size_t>(fault)];
}

bool mbIsOfNodes(MbMeshFault fault)
{
  return fault == Fault::NonFiniteNode || fault == Fault::DanglingNode ||
         fault == Fault::DuplicateNode;
}

MbMeshFaults mbFindFaults(const MiMesh& mesh, bool parallel,
                          const std::function<void(double)>& progress)
{
  MbMeshFaults faults;
  if (!examine(mesh, 3, mbUnstructuredVolume(mesh), parallel, progress, faults) &&
      !examine(mesh, 2, mbUnstructuredSurface(mesh), parallel, progress, faults))
    examine(mesh, 1, mbUnstructuredLine(mesh), parallel, progress, faults);
  return faults;
}

MbValueFaults mbFindFaults(const MiArrayView& values, std::size_t components, bool parallel)
{
  MbValueFaults faults;
  if (values.type != MiScalarType::Float32 && values.type != MiScalarType::Float64) return faults;
  struct Findings
  {
    std::size_t nans = 0, infinite = 0;
    MbMeshFinding items;
  };
  std::vector<Findings> blocks(blockCount(values.count, kBlock));
  visitScalarType(values.type, [&](auto scalar) {
    const auto* from = static_cast<const std::byte*>(values.data);
    forEachBlock(parallel, values.count, kBlock,
                 [&](std::size_t block, std::size_t first, std::size_t last) {
                   Findings& own = blocks[block];
                   for (std::size_t item = first; item < last; ++item) {
                     const auto* numbers =
                         reinterpret_cast<const decltype(scalar)*>(from + item * values.stride);
                     const std::size_t before = own.nans + own.infinite;
                     for (std::size_t c = 0; c < components; ++c) {
                       const auto value = static_cast<double>(numbers[c]);
                       own.nans += std::isnan(value);
                       own.infinite += std::isinf(value);
                     }
                     if (own.nans + own.infinite > before) note(own.items, item);
                   }
                 });
  });
  MbMeshFinding items;
  for (const Findings& block : blocks) {
    faults.nanCount += block.nans;
    faults.infiniteCount += block.infinite;
    append(items, block.items);
  }
  faults.first = std::move(items.first);
  return faults;
}
