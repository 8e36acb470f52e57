#include <velmo/extraction/algorithms/MxCut.h>

#include <velmo/extraction/algorithms/MxCutKinds.h>
#include <velmo/extraction/algorithms/MxGridRanges.h>
#include <velmo/extraction/algorithms/MxShared.h>
#include <velmo/mesh/views/MxCellView.h>

namespace {

using View = MxCellView<VOLUME_MESH_VERTEX_HEXAHEDRON_IJK>;

/// Some cells of a grid in ascending order.
class ChosenCells
{
public:
  explicit ChosenCells(std::size_t cellCount) : m_bits(cellCount) {}

  /// While several threads do the same.
  void add(std::size_t cell) { m_bits.setShared(cell); }
  /// After the last one was added.
  void number()
  {
    const MxArray<std::uint64_t>& words = m_bits.words();
    m_ranks.resizeUninitialized(words.size());
    std::size_t count = 0;
    for (std::size_t w = 0; w < words.size(); ++w) {
      m_ranks[w] = static_cast<std::uint32_t>(count);
      count += countBits(words[w]);
    }
    m_cells.resizeUninitialized(count);
    for (std::size_t w = 0; w < words.size(); ++w) {
      std::uint32_t rank = m_ranks[w];
      forEachBit(words[w], 64 * w,
                 [&](std::size_t cell) { m_cells[rank++] = static_cast<std::uint32_t>(cell); });
    }
  }

  std::size_t size() const { return m_cells.size(); }
  std::size_t operator[](std::size_t rank) const { return m_cells[rank]; }
  bool has(std::size_t cell) const { return m_bits.test(cell); }
  std::size_t rank(std::size_t cell) const
  {
    const std::uint64_t before = (std::uint64_t{1} << cell % 64) - 1;
    return m_ranks[cell / 64] + countBits(m_bits.words()[cell / 64] & before);
  }

private:
  MxBits m_bits;
  MxArray<std::uint32_t> m_ranks, m_cells;
};

/// The nodes of chosen cells, by their ranks: 8 * rank + corner. Each stands for all corners of
/// chosen cells that coincide exactly at its logical corner, and is the first of them. Cells that
/// share a cut edge are all chosen, so they agree on its nodes.
struct ChosenCorners
{
  const MxVertexCorners* corners;
  MxIjkNumbering cells;
  const ChosenCells* chosen;

  void operator()(std::size_t rank, std::uint32_t* nodes) const
  {
    const MbIndex3 at = cells.split((*chosen)[rank]);
    for (int c = 0; c < 8; ++c)
      nodes[c] = first(rank, at, c);
  }

private:
  std::uint32_t first(std::size_t rank, const MbIndex3& at, int corner) const
  {
    const MbVec3d place = corners->corner(at.x, at.y, at.z, corner);
    const auto& step = kCornerSteps[corner];
    const MbIndex3 node{at.x + step[0], at.y + step[1], at.z + step[2]};
    // Cells in ascending order: the corner of the one at the largest distance below is 6.
    constexpr int kOpposite[8] = {6, 7, 5, 4, 2, 3, 1, 0};
    for (const int other : kOpposite) {
      const auto& own = kCornerSteps[other];
      if (node.x < own[0] || node.y < own[1] || node.z < own[2]) continue;
      const MbIndex3 cell{node.x - own[0], node.y - own[1], node.z - own[2]};
      if (cell.x >= cells.counts.x || cell.y >= cells.counts.y || cell.z >= cells.counts.z)
        continue;
      const std::size_t number = cells.flat(cell.x, cell.y, cell.z);
      if (chosen->has(number) && corners->corner(cell.x, cell.y, cell.z, other) == place)
        return static_cast<std::uint32_t>(8 * chosen->rank(number) +
                                          static_cast<std::size_t>(other));
    }
    return static_cast<std::uint32_t>(8 * rank + static_cast<std::size_t>(corner));
  }
};

/// Corners of all cells, 8 * cell + corner, and those of chosen ones.
struct AllNodes
{
  const View* view;
  std::size_t operator()(std::size_t node) const { return node; }
};
struct ChosenNodes
{
  const View* view;
  const ChosenCells* chosen;
  std::size_t operator()(std::size_t node) const { return 8 * (*chosen)[node / 8] + node % 8; }
};

template <class Nodes>
struct Places
{
  Nodes nodes;
  MbVec3d operator[](std::size_t node) const { return nodes.view->position(nodes(node)); }
};

/// Values by node: those of the data node.
template <class Nodes, class Values>
struct ValuesOf
{
  Nodes nodes;
  Values values;
  double operator[](std::size_t node) const { return values[nodes.view->dataNode(nodes(node))]; }
};
template <class Nodes>
struct DataNode
{
  Nodes nodes;
  template <class Values>
  ValuesOf<Nodes, Values> operator()(const Values& values) const
  {
    return {nodes, values};
  }
};

/// Ranges of the corners of the cells in each brick of cells; corners that are not finite do not
/// count.
std::shared_ptr<const MxPointRanges> shareCornerRanges(const MiGeometryVertexIjk& geometry,
                                                       const MxVertexCorners& corners,
                                                       bool parallel, MxExtractionMonitor& monitor)
{
  using Key = std::array<std::uint64_t, 7>;
  static MxShared<Key, MxPointRanges> s_shared;
  const MiVertexIjkView view = geometry.getView();
  const MbIndex3& cells = corners.numbering().counts;
  const Key key{reinterpret_cast<std::uintptr_t>(&geometry),
                geometry.getTimeStamp(),
                reinterpret_cast<std::uintptr_t>(view.corners.data),
                reinterpret_cast<std::uintptr_t>(view.depths.data),
                cells.x,
                cells.y,
                cells.z};
  if (auto known = s_shared.find(key)) return known;
  auto ranges = std::make_shared<MxPointRanges>();
  ranges->lattice = MxGridBricks(cells);
  const MxGridBricks& lattice = ranges->lattice;
  ranges->bricks.resizeUninitialized(lattice.room());
  ranges->groups.resizeUninitialized(lattice.groups.total());
  monitor.beginPhase("Reading corners", lattice.groups.total());
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  constexpr MxRange<3> kEmpty{{kInfinite, kInfinite, kInfinite},
                              {-kInfinite, -kInfinite, -kInfinite}};
  forEachTask(parallel, lattice.groups.total(), [&](std::size_t group) {
    monitor.step();
    MxRange<3> all = kEmpty;
    for (std::size_t place = 0; place < 64; ++place) {
      const MbIndex3 at = MxGridBricks::brickAt(lattice.groups.split(group), place);
      MxRange<3>& range = ranges->bricks[64 * group + place] = kEmpty;
      for (std::size_t k = 4 * at.z; k < std::min(4 * at.z + 4, cells.z); ++k)
        for (std::size_t j = 4 * at.y; j < std::min(4 * at.y + 4, cells.y); ++j)
          for (std::size_t i = 4 * at.x; i < std::min(4 * at.x + 4, cells.x); ++i)
            for (int c = 0; c < 8; ++c) {
              const MbVec3d p = corners.corner(i, j, k, c);
              if (!isFinite(p)) continue;
              for (std::size_t axis = 0; axis < 3; ++axis) {
                range.low[axis] = std::min(range.low[axis], p[axis]);
                range.high[axis] = std::max(range.high[axis], p[axis]);
              }
            }
      for (std::size_t axis = 0; axis < 3; ++axis) {
        all.low[axis] = std::min(all.low[axis], range.low[axis]);
        all.high[axis] = std::max(all.high[axis], range.high[axis]);
      }
    }
    ranges->groups[group] = all;
  });
  s_shared.keep(key, ranges);
  return ranges;
}

/// What is kept between the cuts.
struct Memory final : MxCutKept
{
  std::size_t getByteCount() const override
  {
    return (fieldRanges ? fieldRanges->byteCount() : 0) +
           (cornerRanges ? cornerRanges->byteCount() : 0);
  }
  std::shared_ptr<const MxMeshCheck> check;
  std::shared_ptr<const MxFieldRanges> fieldRanges;
  std::shared_ptr<const MxPointRanges> cornerRanges;
};

/// Calls visit(cell) for the cells of bricks that may be cut, from several threads.
template <std::size_t Components, class MayCut, class Visitor>
void visitCells(const MxGridRanges<Components>& ranges, const MxIjkNumbering& cells,
                const MayCut& mayCut, bool parallel, MxExtractionMonitor& monitor,
                const Visitor& visit)
{
  const MxGridBricks& lattice = ranges.lattice;
  forEachTask(parallel, ranges.groups.size(), [&](std::size_t group) {
    monitor.step();
    if (!mayCut(ranges.groups[group])) return;
    const MbIndex3 groupAt = lattice.groups.split(group);
    forEachBit(lattice.bricksOf(groupAt), 0, [&](std::size_t place) {
      if (!mayCut(ranges.bricks[64 * group + place])) return;
      const MbIndex3 at = MxGridBricks::brickAt(groupAt, place);
      const MbIndex3 origin{4 * at.x, 4 * at.y, 4 * at.z};
      forEachBit(MxGridBricks::firstOf(cells.counts, origin), 0, [&](std::size_t bit) {
        visit(cells.flat(origin.x + bit % 4, origin.y + bit / 4 % 4, origin.z + bit / 16));
      });
    });
  });
}

} // namespace

template <class Mesh, class Filter>
std::shared_ptr<const MxMeshCheck> cutMesh(const Mesh& mesh, const Filter* filter,
                                           const MxCutShape& shape, const MiTessellator*,
                                           bool parallel, MxExtractionMonitor& monitor,
                                           MxCutMemory& memory, MeXSurfaceMeshUnstructured& surface)
{
  const std::shared_ptr<const MxMeshCheck> check = checkMesh(mesh, parallel, monitor);
  clearCut(surface);
  const View view(mesh);
  const MxIjkNumbering cells{mesh.getTopology().getCellCounts()};
  const MxIjkNumbering nodes{nodeCountsOf(cells.counts)};
  surface.provenance.sourceCells = cells.counts;
  surface.provenance.sourceNodes = nodes.counts;
  if (!isCutShapeUsable(shape) || cells.total() == 0) return check;
  Memory& kept = memory.part<Memory>();
  kept.check = check;

  // First the cells that are cut, of those in bricks that the level may cross.
  const MxVertexCorners corners(mesh);
  const MxIjkCutKeep keep(mesh.getTopology(), filter);
  ChosenCells chosen(cells.total());
  const AllNodes allNodes{&view};
  visitCutSource(shape, Places<AllNodes>{allNodes}, nodes.counts, true,
                 DataNode<AllNodes>{allNodes}, [&](const auto& source) {
                   const auto visit = [&](std::size_t cell) {
                     std::uint8_t classes[8];
                     source.classifyRange(8 * cell, 8 * cell + 8, classes);
                     const auto count = [&](std::uint8_t what) {
                       return std::count(classes, classes + 8, what);
                     };
                     const auto below = count(kCutBelow);
                     if (below == 0 || below == 8 || count(kCutUndefined) > 0) return;
                     if (!check->isClean() && check->unusable.test(cell)) return;
                     if (!keep.isNeeded() || keep.keep(cell)) chosen.add(cell);
                   };
                   if (const auto* isovalue = std::get_if<MxIsovalue>(&shape)) {
                     const MxGridValues values(*isovalue->set, nodes.counts);
                     if (!values) return;
                     kept.fieldRanges = shareRanges(*isovalue->set, values, parallel, monitor);
                     monitor.beginPhase("Choosing cells", kept.fieldRanges->groups.size());
                     const auto mayCut = [&](const MxRange<1>& range) {
                       return range.low[0] <= isovalue->value && range.high[0] >= isovalue->value;
                     };
                     visitCells(*kept.fieldRanges, cells, mayCut, parallel, monitor, visit);
                     return;
                   }
                   kept.cornerRanges =
                       shareCornerRanges(mesh.getGeometry(), corners, parallel, monitor);
                   monitor.beginPhase("Choosing cells", kept.cornerRanges->groups.size());
                   visitCutLevel(shape, [&](const auto& level) {
                     const auto mayCut = [&](const MxRange<3>& range) {
                       return level.mayCut({{range.low[0], range.low[1], range.low[2]},
                                            {range.high[0], range.high[1], range.high[2]}});
                     };
                     visitCells(*kept.cornerRanges, cells, mayCut, parallel, monitor, visit);
                   });
                 });
  chosen.number();
  if (chosen.size() == 0) return check;
  countOrRefuse({8, chosen.size(), 1}, "corners of cut cells");

  // Then these as a mesh of their own.
  MxCutJob job;
  job.nodeCount = 8 * chosen.size();
  job.parallel = parallel;
  const ChosenCorners cornersOf{&corners, cells, &chosen};
  const ChosenNodes chosenNodes{&view, &chosen};
  const Places<ChosenNodes> points{chosenNodes};
  visitCutSource(shape, points, nodes.counts, true, DataNode<ChosenNodes>{chosenNodes},
                 [&](const auto& source) {
                   job.source = &source;
                   job.isLeftHanded = [&] {
                     const auto ownCorners = [](std::size_t cell, std::uint32_t* own) {
                       for (std::size_t c = 0; c < 8; ++c)
                         own[c] = static_cast<std::uint32_t>(8 * cell + c);
                     };
                     return isLeftHanded(cells.total(), check->unusable, ownCorners,
                                         Places<AllNodes>{allNodes});
                   };
                   cutCells(MxHexahedronCells(chosen.size(), cornersOf), job,
                            memory.part<MxCutScratch>(), monitor, surface);
                   placeCut(points, parallel, surface);
                 });
  for (std::uint32_t& node : surface.provenance.nodes)
    node = static_cast<std::uint32_t>(view.dataNode(chosenNodes(node)));
  for (std::uint32_t& cell : surface.provenance.cells)
    cell = static_cast<std::uint32_t>(chosen[cell]);
  return check;
}

#define MX_CUT_KIND(Mesh, Filter)                                                                  \
  template std::shared_ptr<const MxMeshCheck> cutMesh(                                             \
      const Mesh&, const Filter*, const MxCutShape&, const MiTessellator*, bool,                   \
      MxExtractionMonitor&, MxCutMemory&, MeXSurfaceMeshUnstructured&);
MX_CUT_KIND(MiVolumeMeshVertexHexahedronIjk, MiCellFilterIjk)
