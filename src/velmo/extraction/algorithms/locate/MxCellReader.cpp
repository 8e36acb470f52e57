#include <velmo/extraction/algorithms/locate/MxCellReader.h>

#include <velmo/extraction/algorithms/access/MxIjkGrid.h>
#include <velmo/extraction/algorithms/access/MxVolumeCells.h>
#include <velmo/mesh/views/MxCellView.h>

#include <algorithm>

namespace {

constexpr std::size_t kLargestCount = 0xffffffffu;

constexpr int dimensionOf(MeshType kind)
{
  return kind <= VOLUME_MESH_CURVILINEAR ? 3 : 2;
}

MxBox3d widened(MxBox3d box, double reach)
{
  for (int a = 0; a < 3; ++a) {
    box.min[a] -= reach;
    box.max[a] += reach;
  }
  return box;
}

/// The extent of some points.
class Hull
{
public:
  explicit Hull(const MbVec3d& p) : m_low(p), m_high(p), m_sum((p.x + p.y + p.z) * 0) {}

  void add(const Hull& other)
  {
    const MbVec3d &l = other.m_low, &h = other.m_high;
    m_low = {std::min(m_low.x, l.x), std::min(m_low.y, l.y), std::min(m_low.z, l.z)};
    m_high = {std::max(m_high.x, h.x), std::max(m_high.y, h.y), std::max(m_high.z, h.z)};
    m_sum += other.m_sum;
  }
  void add(const MbVec3d& p) { add(Hull(p)); }

  /// The box of a linear volume cell that has these points; empty where one is not finite.
  MxBox3d box() const
  {
    const MbVec3d size = m_high - m_low;
    if (m_sum != 0 || !isFinite(size)) return MxBox3d::empty();
    const double reach = 4 * kInsideTolerance * std::max(size.x, std::max(size.y, size.z));
    return widened({{m_low.x, m_low.y, m_low.z}, {m_high.x, m_high.y, m_high.z}}, reach);
  }

private:
  MbVec3d m_low, m_high;
  double m_sum; ///< zero, or not a number
};

/// Reads a cell for nothing but its box.
MxBox3d boxByReading(const MxCellReader& reader, std::size_t cell)
{
  thread_local MxCellMap map;
  return reader.read(cell, map) ? map.box() : MxBox3d::empty();
}

/// A polyhedron's faces in the numbers of its own nodes. False when a face names another node.
template <class Nodes, class Stream>
bool takeFaces(const Nodes& nodes, std::size_t nodeCount, const Stream& stream, std::size_t length,
               MxCellMap& map)
{
  MxArray<std::uint32_t>& faces = map.faces();
  for (std::size_t at = 1; at < length;) {
    const std::size_t size = stream[at++];
    faces.push_back(static_cast<std::uint32_t>(size));
    for (const std::size_t end = at + size; at < end; ++at) {
      const auto node = stream[at];
      std::size_t own = 0;
      while (own < nodeCount && nodes[own] != node)
        ++own;
      if (own == nodeCount) return false;
      faces.push_back(static_cast<std::uint32_t>(own));
    }
  }
  return true;
}

/// Any kind, through its cell view.
template <MeshType Kind>
class ViewReader final : public MxCellReader
{
public:
  explicit ViewReader(const typename MxMeshKind<Kind>::Interface& mesh) : m_view(mesh)
  {
    cellCounts = m_view.cellCounts();
    nodeCounts = m_view.nodeCounts();
  }
  bool read(std::size_t cell, MxCellMap& map) const override
  {
    thread_local MxCellBuffer nodeBuffer, faceBuffer;
    map.forget();
    if (m_view.isDead(cell)) return false;
    const MiCellShape shape = m_view.shape(cell);
    if (cellShapeFacts(shape).dimension != dimensionOf(Kind)) return false;
    const std::span<const std::size_t> nodes = m_view.nodes(cell, nodeBuffer);
    map.begin(cell, shape, nodes.size());
    const std::size_t nodeCount = m_view.nodeCount();
    for (std::size_t n = 0; n < nodes.size(); ++n) {
      if (nodes[n] >= nodeCount || nodes[n] > kLargestCount) return forgotten(map);
      map.setNode(n, static_cast<std::uint32_t>(m_view.dataNode(nodes[n])),
                  m_view.position(nodes[n]));
    }
    if (shape == MiCellShape::Polyhedron) {
      const std::span<const std::size_t> stream = m_view.faces(cell, faceBuffer);
      if (!isFaceStream(stream, stream.size(), nodeCount) ||
          !takeFaces(nodes, nodes.size(), stream, stream.size(), map))
        return forgotten(map);
    }
    return map.finish() || forgotten(map);
  }
  MxBox3d box(std::size_t cell) const override { return boxByReading(*this, cell); }

private:
  static bool forgotten(MxCellMap& map)
  {
    map.forget();
    return false;
  }

  MxCellView<Kind> m_view;
};

/// Unstructured cells of any layout and points of one.
template <class Cells, class Points>
class UnstructuredReader final : public MxCellReader
{
public:
  UnstructuredReader(const Cells& cells, const Points& points, const MiTopologyI& topology,
                     std::size_t nodeCount, int dimension)
      : m_cells(cells), m_points(points), m_topology(topology), m_nodeCount(nodeCount),
        m_dimension(dimension), m_hasDead(topology.hasDeadCells()),
        m_active(topology.getView().active)
  {
    cellCounts = {cells.cellCount(), 1, 1};
    nodeCounts = {nodeCount, 1, 1};
  }
  bool read(std::size_t cell, MxCellMap& map) const override
  {
    map.forget();
    if (isDead(cell)) return false;
    typename Cells::Cursor cursor(m_cells);
    if (cursor.probe(cell, m_nodeCount) != MxCellFault::None) return false;
    if (cellShapeFacts(cursor.shape()).dimension != m_dimension) return false;
    map.begin(cell, cursor.shape(), cursor.size());
    const auto& nodes = cursor.nodes();
    for (std::size_t n = 0; n < cursor.size(); ++n)
      map.setNode(n, static_cast<std::uint32_t>(nodes[n]), m_points[nodes[n]]);
    if ((cursor.shape() == MiCellShape::Polyhedron &&
         !takeFaces(nodes, cursor.size(), cursor.stream(), cursor.streamSize(), map)) ||
        !map.finish())
    {
      map.forget();
      return false;
    }
    return true;
  }
  MxBox3d box(std::size_t cell) const override
  {
    typename Cells::Cursor cursor(m_cells);
    if (isDead(cell) || cursor.probe(cell, m_nodeCount) != MxCellFault::None)
      return MxBox3d::empty();
    const MiCellShapeFacts facts = cellShapeFacts(cursor.shape());
    if (facts.dimension != m_dimension) return MxBox3d::empty();
    if (facts.dimension != 3 || facts.nodeCount != facts.cornerCount || facts.nodeCount == 0)
      return boxByReading(*this, cell);
    const auto& nodes = cursor.nodes();
    Hull hull(m_points[nodes[0]]);
    for (std::size_t n = 1; n < cursor.size(); ++n)
      hull.add(m_points[nodes[n]]);
    return hull.box();
  }
  void prefetchNodes(std::size_t cell) const override
  {
    if constexpr (!std::is_same_v<Cells, MxVirtualCells>) {
      typename Cells::Cursor cursor(m_cells);
      cursor.load(cell);
      if constexpr (std::is_pointer_v<std::remove_cvref_t<decltype(cursor.nodes())>>)
        __builtin_prefetch(cursor.nodes());
    }
  }
  void prefetchPoints(std::size_t cell) const override
  {
    if constexpr (!std::is_same_v<Cells, MxVirtualCells>) {
      typename Cells::Cursor cursor(m_cells);
      cursor.load(cell);
      const auto& nodes = cursor.nodes();
      for (std::size_t n = 0; n < cursor.size(); ++n)
        prefetchPoint(m_points, nodes[n]);
    }
  }

private:
  bool isDead(std::size_t cell) const
  {
    if (!m_hasDead) return false;
    return m_active ? readDead(m_active, cell) : m_topology.isDead(cell);
  }

  Cells m_cells;
  Points m_points;
  const MiTopologyI& m_topology;
  std::size_t m_nodeCount;
  int m_dimension;
  bool m_hasDead;
  MiArrayView m_active;
};

struct NodesOf
{
  const MiGeometryI* geometry;
  MbVec3d operator[](std::size_t node) const { return geometry->getNode(node); }
};

template <class Mesh>
std::unique_ptr<MxCellReader> makeUnstructured(const Mesh& mesh, int dimension)
{
  std::unique_ptr<MxCellReader> reader;
  const MiGeometryI& geometry = mesh.getGeometry();
  const std::size_t nodeCount = std::min(geometry.getNodeCount(), kLargestCount);
  visitVolumeCells(mesh.getTopology(), nodeCount, [&](const auto& cells) {
    visitPoints(geometry.getView(), nodeCount, NodesOf{&geometry}, [&](const auto& points) {
      reader = std::make_unique<UnstructuredReader<std::remove_cvref_t<decltype(cells)>,
                                                   std::remove_cvref_t<decltype(points)>>>(
          cells, points, mesh.getTopology(), nodeCount, dimension);
    });
  });
  return reader;
}

/// Curvilinear cells between points in an array.
template <class Points>
class CurvilinearReader final : public MxCellReader
{
public:
  CurvilinearReader(const MiTopologyIjk& topology, const Points& points)
      : m_topology(topology),
        m_points(points), m_cells{topology.getCellCounts()}, m_nodes{::nodeCountsOf(
                                                                 m_cells.counts)},
        m_hasDead(topology.hasDeadCells()), m_active(topology.getActiveView())
  {
    cellCounts = m_cells.counts;
    nodeCounts = m_nodes.counts;
    for (std::size_t n = 0; n < 8; ++n)
      m_corners[n] = m_nodes.flat(kCornerSteps[n][0], kCornerSteps[n][1], kCornerSteps[n][2]);
  }
  bool read(std::size_t cell, MxCellMap& map) const override
  {
    map.forget();
    const MbIndex3 at = m_cells.split(cell);
    if (isDead(cell, at)) return false;
    const std::size_t first = m_nodes.flat(at.x, at.y, at.z);
    map.begin(cell, MiCellShape::Hexahedron, 8);
    for (std::size_t n = 0; n < 8; ++n)
      map.setNode(n, static_cast<std::uint32_t>(first + m_corners[n]),
                  m_points[first + m_corners[n]]);
    if (map.finish()) return true;
    map.forget();
    return false;
  }
  MxBox3d box(std::size_t cell) const override
  {
    MxBox3d box;
    CurvilinearReader::boxes(cell, 1, &box);
    return box;
  }
  void boxes(std::size_t cell, std::size_t count, MxBox3d* boxes) const override
  {
    const MbIndex3 at = m_cells.split(cell);
    const std::size_t first = m_nodes.flat(at.x, at.y, at.z);
    // Of the four nodes between a cell and the next one.
    const auto between = [&](std::size_t node) {
      Hull hull(m_points[node]);
      for (const std::size_t corner : {m_corners[3], m_corners[4], m_corners[7]})
        hull.add(m_points[node + corner]);
      return hull;
    };
    Hull before = between(first);
    for (std::size_t n = 0; n < count; ++n) {
      const Hull next = between(first + n + 1);
      before.add(next);
      boxes[n] = isDead(cell + n, {at.x + n, at.y, at.z}) ? MxBox3d::empty() : before.box();
      before = next;
    }
  }
  void prefetchPoints(std::size_t cell) const override
  {
    const MbIndex3 at = m_cells.split(cell);
    const std::size_t first = m_nodes.flat(at.x, at.y, at.z);
    for (std::size_t n = 0; n < 8; ++n)
      prefetchPoint(m_points, first + m_corners[n]);
  }

private:
  bool isDead(std::size_t cell, const MbIndex3& at) const
  {
    if (!m_hasDead) return false;
    return m_active ? readDead(m_active, cell) : m_topology.isDead(at.x, at.y, at.z);
  }

  const MiTopologyIjk& m_topology;
  Points m_points;
  MxIjkNumbering m_cells, m_nodes;
  std::size_t m_corners[8];
  bool m_hasDead;
  MiArrayView m_active;
};

std::unique_ptr<MxCellReader> makeCurvilinear(const MiVolumeMeshCurvilinear& mesh)
{
  const MiGeometryIjk& geometry = mesh.getGeometry();
  const MbIndex3 cells = mesh.getTopology().getCellCounts(), nodes = geometry.getNodeCounts();
  std::unique_ptr<MxCellReader> reader;
  if (cells.x && cells.y && cells.z && nodes == nodeCountsOf(cells))
    visitPoints(geometry.getView(), nodes.x * nodes.y * nodes.z, std::false_type{},
                [&]<class Points>(const Points& points) {
                  if constexpr (!std::is_same_v<Points, std::false_type>)
                    reader =
                        std::make_unique<CurvilinearReader<Points>>(mesh.getTopology(), points);
                });
  if (!reader) reader = std::make_unique<ViewReader<VOLUME_MESH_CURVILINEAR>>(mesh);
  return reader;
}

} // namespace

template <MeshType Kind>
std::unique_ptr<MxCellReader> makeCellReader(const typename MxMeshKind<Kind>::Interface& mesh)
{
  std::unique_ptr<MxCellReader> reader;
  if constexpr (Kind == VOLUME_MESH_UNSTRUCTURED || Kind == SURFACE_MESH_UNSTRUCTURED)
    reader = makeUnstructured(mesh, dimensionOf(Kind));
  else if constexpr (Kind == VOLUME_MESH_CURVILINEAR)
    reader = makeCurvilinear(mesh);
  else
    reader = std::make_unique<ViewReader<Kind>>(mesh);
  return reader;
}

#define VELMO_INSTANTIATE(Kind)                                                                    \
  template std::unique_ptr<MxCellReader> makeCellReader<Kind>(const MxMeshKind<Kind>::Interface&);

VELMO_FOR_CELL_MESHES(VELMO_INSTANTIATE)
