#include <tests/support/MeshZoo.h>

#include <algorithm>
#include <map>

namespace {
using Cell = std::vector<std::size_t>;
using S = MiCellShape;

// Corners of a box in the order of a hexahedron.
constexpr MbIndex3 kCorners[] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                 {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
// Seen from outside the box, counter-clockwise.
const std::vector<Cell> kBoxFaces{{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                  {3, 7, 6, 2}, {0, 4, 7, 3}, {1, 2, 6, 5}};

std::size_t flat(const MbIndex3& at, const MbIndex3& counts)
{
  return at.x + counts.x * (at.y + counts.y * at.z);
}

template <class Visit>
void forEachIndex(const MbIndex3& counts, const Visit& visit)
{
  for (std::size_t k = 0; k < counts.z; ++k)
    for (std::size_t j = 0; j < counts.y; ++j)
      for (std::size_t i = 0; i < counts.x; ++i)
        visit(MbIndex3{i, j, k});
}

MbVec3d blockNode(const MbIndex3& at)
{
  return {static_cast<double>(at.x), static_cast<double>(at.y) / 2, static_cast<double>(at.z) / 4};
}

MbVec3d bentNode(const MbIndex3& at)
{
  const MbVec3d p = blockNode(at);
  return {p.x + 0.125 * p.y, p.y + 0.25 * p.z, p.z * (1 + 0.125 * p.x)};
}

template <class Position>
std::vector<MbVec3d> latticePoints(const MbIndex3& nodes, const Position& position)
{
  std::vector<MbVec3d> points;
  forEachIndex(nodes, [&](const MbIndex3& at) { points.push_back(position(at)); });
  return points;
}

std::vector<int> latticeConnectivity(const MbIndex3& cells)
{
  std::vector<int> connectivity;
  const MbIndex3 nodes = cells + MbIndex3{1, 1, 1};
  forEachIndex(cells, [&](const MbIndex3& at) {
    for (const MbIndex3& corner : kCorners)
      connectivity.push_back(static_cast<int>(flat(at + corner, nodes)));
  });
  return connectivity;
}

template <class Position>
std::vector<MbVec3d> cornerPoints(const MbIndex3& cells, const Position& position)
{
  std::vector<MbVec3d> corners;
  forEachIndex(cells, [&](const MbIndex3& at) {
    for (const MbIndex3& corner : kCorners)
      corners.push_back(position(at, corner));
  });
  return corners;
}

std::vector<float> axis(std::size_t count, float step)
{
  std::vector<float> coordinates;
  for (std::size_t i = 0; i < count; ++i)
    coordinates.push_back(static_cast<float>(i) * step);
  return coordinates;
}

// Half a cell of throw at i = 2.
constexpr std::size_t kFault = 2;
constexpr MbIndex3 kFaulted{4, 2, 3};
double faultThrow(std::size_t cellI)
{
  return cellI < kFault ? 0 : 0.125;
}

std::unique_ptr<MiMesh> faultedHexahedra(zoo::Active active)
{
  // The nodes of column kFault stand twice: a lattice of one more column.
  const MbIndex3 nodes = kFaulted + MbIndex3{2, 1, 1};
  std::vector<float> points;
  forEachIndex(nodes, [&](const MbIndex3& at) {
    const bool right = at.x > kFault;
    const MbVec3d p = bentNode({at.x - (right ? 1 : 0), at.y, at.z});
    for (const double c : {p.x, p.y, p.z + (right ? faultThrow(kFault) : 0)})
      points.push_back(static_cast<float>(c));
  });
  std::vector<std::uint32_t> connectivity;
  forEachIndex(kFaulted, [&](const MbIndex3& at) {
    const MbIndex3 first = at + MbIndex3{at.x >= kFault ? std::size_t{1} : 0, 0, 0};
    for (const MbIndex3& corner : kCorners)
      connectivity.push_back(static_cast<std::uint32_t>(flat(first + corner, nodes)));
  });
  return std::make_unique<MbVolumeMeshHexahedronIjk>(
      MbTopologyHexahedronIjk{kFaulted, std::move(connectivity), std::move(active)},
      std::move(points));
}

template <class Number, class Throw>
std::unique_ptr<MiMesh> pillarGrid(const MbIndex3& cells, zoo::Active active, const Throw& thrown)
{
  std::vector<Number> pillars, depths;
  forEachIndex({cells.x + 1, cells.y + 1, 1}, [&](const MbIndex3& at) {
    const MbVec3d p = blockNode(at);
    for (const double c : {p.x, p.y, 0., p.x, p.y, 1.})
      pillars.push_back(static_cast<Number>(c));
  });
  forEachIndex(cells * 2, [&](const MbIndex3& at) {
    const MbVec3d p = blockNode({0, 0, (at.z + 1) / 2});
    depths.push_back(static_cast<Number>(p.z + thrown(at.x / 2)));
  });
  return std::make_unique<MbVolumeMeshVertexHexahedronIjk>(MbTopologyIjk{cells, std::move(active)},
                                                           std::move(pillars), std::move(depths));
}

// The corners of a shape on its own, and its faces for a polyhedron.
std::vector<MbVec3d> referenceCorners(S linear)
{
  switch (linear) {
  case S::Line:
    return {{0, 0, 0}, {1, 0, 0}};
  case S::Polyline:
    return {{0, 0, 0}, {0.5, 0.5, 0}, {1, 0, 0}, {1, 1, 0}};
  case S::Triangle:
    return {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  case S::Quad:
    return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  case S::Polygon:
    return {{0, 0, 0}, {1, 0, 0}, {1, 0.5, 0}, {0.5, 1, 0}, {0, 0.5, 0}};
  case S::Tetrahedron:
    return {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  case S::Pyramid:
    return {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, 1}};
  case S::Wedge: // the first triangle faces outward
    return {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}, {0, 1, 1}, {1, 0, 1}};
  default: {
    std::vector<MbVec3d> box;
    for (const MbIndex3& c : kCorners)
      box.push_back({static_cast<double>(c.x), static_cast<double>(c.y), static_cast<double>(c.z)});
    return box;
  }
  }
}

// The nodes after the corners: each in the middle of these corners.
std::vector<Cell> middleNodes(S shape)
{
  std::vector<Cell> nodes;
  const auto add = [&](std::initializer_list<Cell> more) {
    nodes.insert(nodes.end(), more.begin(), more.end());
  };
  switch (shape) {
  case S::QuadraticLine:
    add({{0, 1}});
    break;
  case S::QuadraticTriangle:
    add({{0, 1}, {1, 2}, {2, 0}});
    break;
  case S::QuadraticQuad:
  case S::BiquadraticQuad:
    add({{0, 1}, {1, 2}, {2, 3}, {3, 0}});
    break;
  case S::QuadraticTetrahedron:
    add({{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}});
    break;
  case S::QuadraticPyramid:
    add({{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}});
    break;
  case S::QuadraticWedge:
  case S::BiquadraticWedge:
    add({{0, 1}, {1, 2}, {2, 0}, {3, 4}, {4, 5}, {5, 3}, {0, 3}, {1, 4}, {2, 5}});
    break;
  case S::QuadraticHexahedron:
  case S::TriquadraticHexahedron:
    add({{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}});
    add({{6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}});
    break;
  default:
    break;
  }
  if (shape == S::BiquadraticQuad) add({{0, 1, 2, 3}});
  if (shape == S::BiquadraticWedge) add({{0, 1, 4, 3}, {1, 2, 5, 4}, {2, 0, 3, 5}});
  if (shape == S::TriquadraticHexahedron) {
    add({{0, 3, 7, 4}, {1, 2, 6, 5}, {0, 1, 5, 4}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 5, 6, 7}});
    add({{0, 1, 2, 3, 4, 5, 6, 7}});
  }
  return nodes;
}

// Gathers cells that share their nodes; a node between corners is made once.
class Builder
{
public:
  std::size_t addPoint(const MbVec3d& point)
  {
    m_points.push_back(point);
    return m_points.size() - 1;
  }
  void addCell(S shape, Cell nodes)
  {
    const Cell corners = nodes;
    for (const Cell& middle : middleNodes(shape)) {
      Cell members;
      for (const std::size_t corner : middle)
        members.push_back(corners[corner]);
      nodes.push_back(middleOf(members));
    }
    m_shapes.push_back(static_cast<std::uint8_t>(shape));
    m_connectivity.insert(m_connectivity.end(), nodes.begin(), nodes.end());
    m_offsets.push_back(static_cast<std::int32_t>(m_connectivity.size()));
    if (shape == S::Polyhedron) addFaces(corners);
    m_faceOffsets.push_back(static_cast<std::int32_t>(m_faces.size()));
  }
  std::size_t middleOf(Cell members)
  {
    std::sort(members.begin(), members.end());
    const auto [found, isNew] = m_middles.try_emplace(members, m_points.size());
    if (isNew) {
      MbVec3d sum;
      for (const std::size_t node : members)
        sum += m_points[node];
      addPoint(sum * (1.0 / static_cast<double>(members.size())));
    }
    return found->second;
  }

  template <class Mesh>
  std::unique_ptr<Mesh> make(zoo::Active active)
  {
    MbCellArrays arrays;
    arrays.connectivity = std::move(m_connectivity);
    arrays.offsets = std::move(m_offsets);
    arrays.shapes = std::move(m_shapes);
    if (!m_faces.empty()) {
      arrays.faces = std::move(m_faces);
      arrays.faceOffsets = std::move(m_faceOffsets);
    }
    arrays.active = std::move(active);
    return std::make_unique<Mesh>(std::move(arrays), std::move(m_points));
  }

private:
  void addFaces(const Cell& corners)
  {
    m_faces.push_back(static_cast<std::int64_t>(kBoxFaces.size()));
    for (const Cell& face : kBoxFaces) {
      m_faces.push_back(static_cast<std::int64_t>(face.size()));
      for (const std::size_t corner : face)
        m_faces.push_back(static_cast<std::int64_t>(corners[corner]));
    }
  }

  std::vector<MbVec3d> m_points;
  std::vector<std::uint8_t> m_shapes;
  std::vector<std::size_t> m_connectivity;
  std::vector<std::int32_t> m_offsets{0}, m_faceOffsets{0};
  std::vector<std::int64_t> m_faces;
  std::map<Cell, std::size_t> m_middles;
};

// A box cut into cells of a linear shape; corner 8 is the box's middle.
std::vector<Cell> splitBox(S linear)
{
  switch (linear) {
  case S::Tetrahedron:
    return {{0, 1, 2, 6}, {0, 2, 3, 6}, {0, 3, 7, 6}, {0, 7, 4, 6}, {0, 4, 5, 6}, {0, 5, 1, 6}};
  case S::Wedge:
    return {{0, 2, 1, 4, 6, 5}, {0, 3, 2, 4, 7, 6}};
  case S::Pyramid: {
    std::vector<Cell> pyramids;
    for (Cell face : kBoxFaces) {
      std::reverse(face.begin(), face.end());
      face.push_back(8);
      pyramids.push_back(face);
    }
    return pyramids;
  }
  default:
    return {{0, 1, 2, 3, 4, 5, 6, 7}};
  }
}

zoo::Active secondDead(std::size_t cells)
{
  zoo::Active active(cells, 1);
  active[1] = 0;
  return active;
}
} // namespace

std::vector<MiCellShape> zoo::shapesOf(int dimension)
{
  std::vector<MiCellShape> shapes;
  for (int number = 0; number < 256; ++number) {
    const auto shape = static_cast<MiCellShape>(number);
    if (cellShapeFacts(shape).dimension == dimension) shapes.push_back(shape);
  }
  return shapes;
}

std::unique_ptr<MiMesh> zoo::cellsOf(const std::vector<MiCellShape>& shapes, Active active)
{
  Builder builder;
  for (std::size_t n = 0; n < shapes.size(); ++n) {
    Cell corners;
    for (const MbVec3d& corner : referenceCorners(cellShapeFacts(shapes[n]).linear))
      corners.push_back(builder.addPoint(corner + MbVec3d{2. * static_cast<double>(n), 0, 0}));
    builder.addCell(shapes[n], corners);
  }
  switch (shapes.empty() ? 3 : cellShapeFacts(shapes[0]).dimension) {
  case 1:
    return builder.make<MbLineMeshUnstructured>(std::move(active));
  case 2:
    return builder.make<MbSurfaceMeshUnstructured>(std::move(active));
  default:
    return builder.make<MbVolumeMeshUnstructured>(std::move(active));
  }
}

std::unique_ptr<MbVolumeMeshUnstructured> zoo::blockOf(MiCellShape shape, MbIndex3 cells)
{
  Builder builder;
  const MbIndex3 nodes = cells + MbIndex3{1, 1, 1};
  forEachIndex(nodes, [&](const MbIndex3& at) { builder.addPoint(blockNode(at)); });
  const MiCellShape linear = cellShapeFacts(shape).linear;
  forEachIndex(cells, [&](const MbIndex3& at) {
    Cell box;
    for (const MbIndex3& corner : kCorners)
      box.push_back(flat(at + corner, nodes));
    if (linear == S::Pyramid) box.push_back(builder.middleOf(box));
    for (Cell part : splitBox(linear)) {
      for (std::size_t& node : part)
        node = box[node];
      builder.addCell(shape, part);
    }
  });
  return builder.make<MbVolumeMeshUnstructured>({});
}

std::unique_ptr<MiMesh> zoo::block(MeshType volumeKind, MbIndex3 cells, Active active)
{
  const MbIndex3 nodes = cells + MbIndex3{1, 1, 1};
  switch (volumeKind) {
  case VOLUME_MESH_UNSTRUCTURED:
    return std::make_unique<MbVolumeMeshUnstructured>(
        MbTopologyI{S::Hexahedron, latticeConnectivity(cells), std::move(active)},
        latticePoints(nodes, blockNode));
  case VOLUME_MESH_HEXAHEDRON_IJK:
    return std::make_unique<MbVolumeMeshHexahedronIjk>(
        MbTopologyHexahedronIjk{cells, latticeConnectivity(cells), std::move(active)},
        latticePoints(nodes, blockNode));
  case VOLUME_MESH_VERTEX_HEXAHEDRON_IJK:
    return std::make_unique<MbVolumeMeshVertexHexahedronIjk>(
        MbTopologyIjk{cells, std::move(active)},
        cornerPoints(cells, [](const MbIndex3& cell, const MbIndex3& corner) {
          return blockNode(cell + corner);
        }));
  case VOLUME_MESH_REGULAR:
    return std::make_unique<MbVolumeMeshRegular>(MbTopologyIjk{cells, std::move(active)}, MbVec3d{},
                                                 MbVec3d{1, 0.5, 0.25});
  case VOLUME_MESH_RECTILINEAR:
    return std::make_unique<MbVolumeMeshRectilinear>(MbTopologyIjk{cells, std::move(active)},
                                                     axis(nodes.x, 1), axis(nodes.y, 0.5f),
                                                     axis(nodes.z, 0.25f));
  case VOLUME_MESH_CURVILINEAR:
    return std::make_unique<MbVolumeMeshCurvilinear>(MbTopologyIjk{cells, std::move(active)},
                                                     latticePoints(nodes, blockNode));
  default:
    return nullptr;
  }
}

std::unique_ptr<MiMesh> zoo::sheet(MeshType surfaceKind, MbIndex3 cells, Active active)
{
  const MbIndex3 nodes{cells.x + 1, cells.y + 1, 1};
  switch (surfaceKind) {
  case SURFACE_MESH_UNSTRUCTURED: {
    std::vector<int> connectivity;
    forEachIndex({cells.x, cells.y, 1}, [&](const MbIndex3& at) {
      for (std::size_t c = 0; c < 4; ++c)
        connectivity.push_back(static_cast<int>(flat(at + kCorners[c], nodes)));
    });
    return std::make_unique<MbSurfaceMeshUnstructured>(
        MbTopologyI{S::Quad, std::move(connectivity), std::move(active)},
        latticePoints(nodes, blockNode));
  }
  case SURFACE_MESH_REGULAR:
    return std::make_unique<MbSurfaceMeshRegular>(MbTopologyIj{cells.x, cells.y, std::move(active)},
                                                  MbVec3d{}, MbVec3d{1, 0, 0}, MbVec3d{0, 0.5, 0});
  case SURFACE_MESH_RECTILINEAR:
    return std::make_unique<MbSurfaceMeshRectilinear>(
        MbTopologyIj{cells.x, cells.y, std::move(active)}, axis(nodes.x, 1), axis(nodes.y, 0.5f));
  case SURFACE_MESH_CURVILINEAR:
    return std::make_unique<MbSurfaceMeshCurvilinear>(
        MbTopologyIj{cells.x, cells.y, std::move(active)}, latticePoints(nodes, blockNode));
  default:
    return nullptr;
  }
}

std::unique_ptr<MiMesh> zoo::row(MeshType lineKind, std::size_t cells, Active active)
{
  const MbIndex3 nodes{cells + 1, 1, 1};
  switch (lineKind) {
  case LINE_MESH_UNSTRUCTURED: {
    std::vector<int> connectivity;
    for (std::size_t i = 0; i < cells; ++i)
      for (const std::size_t node : {i, i + 1})
        connectivity.push_back(static_cast<int>(node));
    return std::make_unique<MbLineMeshUnstructured>(
        MbTopologyI{S::Line, std::move(connectivity), std::move(active)},
        latticePoints(nodes, blockNode));
  }
  case LINE_MESH_REGULAR:
    return std::make_unique<MbLineMeshRegular>(MbTopologyRow{cells, std::move(active)}, MbVec3d{},
                                               MbVec3d{1, 0, 0});
  case LINE_MESH_CURVILINEAR:
    return std::make_unique<MbLineMeshCurvilinear>(MbTopologyRow{cells, std::move(active)},
                                                   latticePoints(nodes, blockNode));
  default:
    return nullptr;
  }
}

std::unique_ptr<MiMesh> zoo::pillarBlock(MbIndex3 cells, Active active)
{
  return pillarGrid<double>(cells, std::move(active), [](std::size_t) { return 0.; });
}

std::unique_ptr<MiMesh> zoo::small(MeshType kind)
{
  const auto cellsWithADead = [](int dimension) {
    const std::vector<MiCellShape> shapes = shapesOf(dimension);
    return cellsOf(shapes, secondDead(shapes.size()));
  };
  switch (kind) {
  case VOLUME_MESH_UNSTRUCTURED:
    return cellsWithADead(3);
  case VOLUME_MESH_HEXAHEDRON_IJK:
    return faultedHexahedra(secondDead(24));
  case VOLUME_MESH_VERTEX_HEXAHEDRON_IJK:
    return pillarGrid<float>(kFaulted, secondDead(24), faultThrow);
  case VOLUME_MESH_REGULAR:
  case VOLUME_MESH_RECTILINEAR:
    return block(kind, {3, 2, 2}, secondDead(12));
  case VOLUME_MESH_CURVILINEAR:
    return std::make_unique<MbVolumeMeshCurvilinear>(MbTopologyIjk{{3, 2, 2}, secondDead(12)},
                                                     latticePoints({4, 3, 3}, bentNode));
  case SURFACE_MESH_UNSTRUCTURED:
    return cellsWithADead(2);
  case SURFACE_MESH_REGULAR:
    return std::make_unique<MbSurfaceMeshRegular>(MbTopologyIj{3, 2, secondDead(6)},
                                                  MbVec3d{1, 2, 3}, MbVec3d{1, 0, 0.5},
                                                  MbVec3d{0, 1, 0.25});
  case SURFACE_MESH_RECTILINEAR:
    return std::make_unique<MbSurfaceMeshRectilinear>(
        MbTopologyIj{3, 2, secondDead(6)}, axis(4, 1.5f), axis(3, -0.5f), MbVec3d{1, 2, 3},
        MbVec3d{1, 0, 1}, MbVec3d{0, 2, 0});
  case SURFACE_MESH_CURVILINEAR:
    return std::make_unique<MbSurfaceMeshCurvilinear>(MbTopologyIj{3, 2, secondDead(6)},
                                                      latticePoints({4, 3, 1}, bentNode));
  case LINE_MESH_UNSTRUCTURED:
    return cellsWithADead(1);
  case LINE_MESH_REGULAR:
    return std::make_unique<MbLineMeshRegular>(MbTopologyRow{5, secondDead(5)}, MbVec3d{1, 2, 3},
                                               MbVec3d{0.5, 0, 1});
  case LINE_MESH_CURVILINEAR:
    return std::make_unique<MbLineMeshCurvilinear>(MbTopologyRow{5, secondDead(5)},
                                                   latticePoints({6, 1, 1}, bentNode));
  case UNDEFINED_MESH:
    break;
  }
  return nullptr;
}
