#include <tests/support/MeshZoo.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <algorithm>
#include <map>
#include <random>

namespace {

using S = MiCellShape;
using Nodes = std::vector<int>;

constexpr int kCorners[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};

/// Builds zoo::mixedBlock: boxes whose faces agree on whether they are quads, two triangles or,
/// with a node on an edge, larger polygons; what a box becomes depends on its faces.
class MixedBlock
{
public:
  MixedBlock(int size, double moved, unsigned seed) : m_size(size), m_moved(moved), m_random(seed)
  {
    for (int k = 0; k <= size; ++k)
      for (int j = 0; j <= size; ++j)
        for (int i = 0; i <= size; ++i)
          addNode({1.0 * i, 1.0 * j, 1.0 * k}, isInner(i) && isInner(j) && isInner(k));
    m_lattice = m_points;
  }

  std::unique_ptr<MbVolumeMeshUnstructured> make()
  {
    splitForWedges();
    for (int box = 0; box < m_size * m_size * m_size; ++box)
      addBox(box);
    MbCellArrays arrays;
    arrays.connectivity = std::move(m_connectivity);
    arrays.offsets = std::move(m_offsets);
    arrays.shapes = std::move(m_shapes);
    arrays.faces = std::move(m_faces);
    arrays.faceOffsets = std::move(m_faceOffsets);
    return std::make_unique<MbVolumeMeshUnstructured>(MbTopologyI(std::move(arrays)),
                                                      std::move(m_points));
  }

private:
  double uniform() { return std::uniform_real_distribution<double>(0, 1)(m_random); }
  bool isInner(int i) const { return i > 0 && i < m_size; }

  int addNode(const MbVec3d& at, bool isMoved)
  {
    MbVec3d p = at;
    for (std::size_t a = 0; a < 3 && isMoved; ++a)
      p[a] += m_moved * (2 * uniform() - 1);
    m_points.push_back(p);
    return static_cast<int>(m_points.size()) - 1;
  }
  Nodes cornersOf(int box) const
  {
    const int i = box % m_size, j = box / m_size % m_size, k = box / m_size / m_size;
    Nodes corners;
    for (const auto& c : kCorners)
      corners.push_back(i + c[0] + (m_size + 1) * (j + c[1] + (m_size + 1) * (k + c[2])));
    return corners;
  }
  /// A box's faces, seen from outside.
  std::vector<Nodes> facesOf(int box) const
  {
    const Nodes corners = cornersOf(box);
    std::vector<Nodes> faces;
    for (const MxShapeFace& face : findWholeFaces(S::Hexahedron)) {
      Nodes nodes;
      for (std::size_t n = 0; n < 4; ++n)
        nodes.push_back(corners[face.nodes[n]]);
      faces.push_back(nodes);
    }
    return faces;
  }

  /// The node in the middle of an edge, -1 for most.
  int middleOf(int a, int b)
  {
    const auto [found, isNew] = m_middles.try_emplace(std::minmax(a, b), -1);
    if (isNew) {
      const MbVec3d &p = m_lattice[static_cast<std::size_t>(a)],
                    &q = m_lattice[static_cast<std::size_t>(b)];
      int inner = 0;
      for (std::size_t axis = 0; axis < 3; ++axis)
        inner += p[axis] == q[axis] && isInner(static_cast<int>(p[axis]));
      if (inner == 2 && uniform() < 0.04) found->second = addNode((p + q) * 0.5, true);
    }
    return found->second;
  }
  /// Where a face is split: the smaller node of a diagonal, -1 for a quad.
  int diagonalOf(const Nodes& face)
  {
    Nodes key = face;
    std::ranges::sort(key);
    const auto [found, isNew] = m_diagonals.try_emplace(key, -1);
    if (isNew && uniform() < 0.08) found->second = std::min(face[0], face[2]);
    if (isNew && uniform() < 0.08) found->second = std::min(face[1], face[3]);
    return found->second;
  }
  /// The polygons that a face of a box is; more than one for two triangles.
  std::vector<Nodes> polygonsOf(const Nodes& face)
  {
    Nodes polygon;
    for (std::size_t n = 0; n < 4; ++n) {
      polygon.push_back(face[n]);
      const int middle = middleOf(face[n], face[(n + 1) % 4]);
      if (middle >= 0) polygon.push_back(middle);
    }
    const int diagonal = diagonalOf(face);
    if (polygon.size() > 4 || diagonal < 0) return {polygon};
    const std::size_t first = diagonal == std::min(face[0], face[2]) ? 0 : 1;
    return {{face[first], face[first + 1], face[first + 2]},
            {face[first], face[first + 2], face[(first + 3) % 4]}};
  }

  /// Some boxes get two opposite faces with like diagonals, and four quads.
  void splitForWedges()
  {
    for (int box = 0; box < m_size * m_size * m_size; ++box) {
      if (uniform() > 0.2) continue;
      const auto axis = static_cast<std::size_t>(3 * uniform());
      const Nodes corners = cornersOf(box);
      const std::vector<Nodes> faces = facesOf(box);
      for (std::size_t f = 0; f < 6; ++f) {
        // Diagonals from corners 0 and 6, which are on opposite sides along every axis.
        const Nodes& face = faces[f];
        const int own = std::ranges::count(face, corners[0]) ? corners[0] : corners[6];
        const auto at = static_cast<std::size_t>(std::ranges::find(face, own) - face.begin());
        Nodes key = face;
        std::ranges::sort(key);
        m_diagonals.try_emplace(key, f / 2 == axis ? std::min(own, face[(at + 2) % 4]) : -1);
      }
    }
  }

  void addCell(S shape, const Nodes& nodes)
  {
    m_shapes.push_back(static_cast<std::uint8_t>(shape));
    m_connectivity.insert(m_connectivity.end(), nodes.begin(), nodes.end());
    m_offsets.push_back(static_cast<std::int32_t>(m_connectivity.size()));
    m_faceOffsets.push_back(static_cast<std::int32_t>(m_faces.size()));
  }
  /// @param isMessy  faces in either sense
  void addPolyhedron(const std::vector<Nodes>& polygons, bool isMessy)
  {
    Nodes nodes;
    m_faces.push_back(static_cast<std::int32_t>(polygons.size()));
    for (const Nodes& polygon : polygons) {
      Nodes face = polygon;
      if (isMessy && uniform() < 0.5) std::ranges::reverse(face);
      m_faces.push_back(static_cast<std::int32_t>(face.size()));
      m_faces.insert(m_faces.end(), face.begin(), face.end());
      nodes.insert(nodes.end(), face.begin(), face.end());
    }
    std::ranges::sort(nodes);
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    addCell(S::Polyhedron, nodes);
  }
  bool addWedges(const std::vector<Nodes>& faces, const Nodes& corners)
  {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      std::size_t quads = 0;
      for (std::size_t f = 0; f < 6; ++f)
        quads += f / 2 != axis && polygonsOf(faces[f]).size() == 1;
      if (quads != 4) continue;
      const Nodes& low = faces[2 * axis];
      const auto across = [&](int node) {
        const std::ptrdiff_t n = std::ranges::find(corners, node) - corners.begin();
        constexpr int kAcross[3][8] = {
            {1, 0, 3, 2, 5, 4, 7, 6}, {3, 2, 1, 0, 7, 6, 5, 4}, {4, 5, 6, 7, 0, 1, 2, 3}};
        return corners[static_cast<std::size_t>(kAcross[axis][n])];
      };
      const auto parts = polygonsOf(low), others = polygonsOf(faces[2 * axis + 1]);
      if (parts.size() != 2 || others.size() != 2) continue;
      Nodes shared{across(parts[0][0]), across(parts[0][2])};
      if (!std::ranges::all_of(shared, [&](int node) {
            return std::ranges::count(others[0], node) && std::ranges::count(others[1], node);
          }))
        continue;
      for (const Nodes& t : parts)
        addCell(S::Wedge, {t[0], t[1], t[2], across(t[0]), across(t[1]), across(t[2])});
      return true;
    }
    return false;
  }
  void addBox(int box)
  {
    const Nodes corners = cornersOf(box);
    const std::vector<Nodes> faces = facesOf(box);
    std::vector<Nodes> polygons;
    std::size_t largest = 0;
    for (const Nodes& face : faces)
      for (const Nodes& polygon : polygonsOf(face)) {
        polygons.push_back(polygon);
        largest = std::max(largest, polygon.size());
      }
    const double choice = uniform();
    if (largest > 4 || choice < 0.3)
      addPolyhedron(polygons, choice < 0.15);
    else if (polygons.size() == 6 && choice < 0.8)
      addCell(S::Hexahedron, corners);
    else if (!addWedges(faces, corners))
      addPyramids(polygons, corners);
  }
  /// Pyramids and tetrahedra around a node in the middle.
  void addPyramids(const std::vector<Nodes>& polygons, const Nodes& corners)
  {
    const MbVec3d middle = (m_lattice[static_cast<std::size_t>(corners[0])] +
                            m_lattice[static_cast<std::size_t>(corners[6])]) *
                           0.5;
    const int centre = addNode(middle, true);
    for (const Nodes& polygon : polygons) {
      Nodes nodes(polygon.rbegin(), polygon.rend());
      nodes.push_back(centre);
      addCell(polygon.size() == 3 ? S::Tetrahedron : S::Pyramid, nodes);
    }
  }

  int m_size;
  double m_moved;
  std::mt19937 m_random;
  std::vector<MbVec3d> m_points, m_lattice; ///< lattice: where the boxes' nodes were
  std::map<std::pair<int, int>, int> m_middles;
  std::map<Nodes, int> m_diagonals;
  std::vector<std::uint8_t> m_shapes;
  std::vector<std::int32_t> m_connectivity, m_offsets{0}, m_faces, m_faceOffsets{0};
};

} // namespace

std::unique_ptr<MbVolumeMeshUnstructured> zoo::mixedBlock(int size, double moved, unsigned seed)
{
  return MixedBlock(size, moved, seed).make();
}
