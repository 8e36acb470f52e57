#pragma once

#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <tests/support/MeshZoo.h>

#include <array>
#include <functional>
#include <map>
#include <stdexcept>
#include <vector>

/// A slow and simple way to cut meshes, to compare the library's with: face by face through maps
/// keyed by edges, in double precision. It knows nothing of case tables.
namespace oracle {

/// The live linear cells of a mesh as outward faces of nodes. Nodes at the same place of a mesh
/// whose cells have corners of their own are one.
struct Mesh
{
  std::vector<MbVec3d> points;
  std::vector<std::size_t> valueAt; ///< where a set per node has the node's value, I fastest
  std::size_t valueCount = 0;       ///< of such a set
  std::vector<std::vector<std::vector<std::size_t>>> cells;
};

struct Cut
{
  std::size_t vertices = 0, polygons = 0, corners = 0;
  double area = 0, volume = 0;    ///< by vector areas; the volume is positive for outward surfaces
  std::size_t ambiguousFaces = 0; ///< in which four edges are cut
};

inline const std::vector<std::vector<std::size_t>>& facesOf(MiCellShape shape)
{
  using Faces = std::vector<std::vector<std::size_t>>;
  static const std::map<MiCellShape, Faces> kFaces{
      {MiCellShape::Tetrahedron, {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}}},
      {MiCellShape::Pyramid, {{0, 3, 2, 1}, {0, 1, 4}, {1, 2, 4}, {2, 3, 4}, {3, 0, 4}}},
      {MiCellShape::Wedge, {{0, 1, 2}, {3, 5, 4}, {0, 3, 4, 1}, {1, 4, 5, 2}, {2, 5, 3, 0}}},
      {MiCellShape::Hexahedron,
       {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4}, {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}}}};
  const auto found = kFaces.find(shape);
  if (found == kFaces.end()) throw std::invalid_argument("not a linear shape");
  return found->second;
}

inline void addCell(Mesh& mesh, MiCellShape shape, const std::vector<std::size_t>& nodes)
{
  auto& cell = mesh.cells.emplace_back();
  for (const auto& face : facesOf(shape)) {
    auto& own = cell.emplace_back();
    for (const std::size_t corner : face)
      own.push_back(nodes[corner]);
  }
}

inline void read(const MiVolumeMeshUnstructured& mesh, Mesh& result)
{
  const MiTopologyI& topology = mesh.getTopology();
  for (std::size_t n = 0; n < mesh.getGeometry().getNodeCount(); ++n) {
    result.points.push_back(mesh.getGeometry().getNode(n));
    result.valueAt.push_back(n);
  }
  std::vector<std::size_t> nodes;
  for (std::size_t c = 0; c < topology.getCellCount(); ++c) {
    if (topology.isDead(c)) continue;
    if (topology.getCellShape(c) != MiCellShape::Polyhedron) {
      topology.getCellNodes(c, nodes);
      addCell(result, topology.getCellShape(c), nodes);
      continue;
    }
    topology.getCellFaces(c, nodes);
    auto& cell = result.cells.emplace_back();
    for (std::size_t at = 1; at < nodes.size(); at += nodes[at] + 1)
      cell.emplace_back(nodes.begin() + static_cast<std::ptrdiff_t>(at + 1),
                        nodes.begin() + static_cast<std::ptrdiff_t>(at + 1 + nodes[at]));
  }
}

/// @param nodeOf  (i, j, k, corner) to a node of the result
template <class Topology, class NodeOf>
void addGrid(const Topology& topology, const NodeOf& nodeOf, Mesh& result)
{
  const MbIndex3 cells = topology.getCellCounts();
  std::vector<std::size_t> nodes(8);
  for (std::size_t k = 0; k < cells.z; ++k)
    for (std::size_t j = 0; j < cells.y; ++j)
      for (std::size_t i = 0; i < cells.x; ++i) {
        if (topology.isDead(i, j, k)) continue;
        for (int corner = 0; corner < 8; ++corner)
          nodes[static_cast<std::size_t>(corner)] = nodeOf(i, j, k, corner);
        addCell(result, MiCellShape::Hexahedron, nodes);
      }
}

inline std::size_t flatNode(const MbIndex3& cells, std::size_t i, std::size_t j, std::size_t k,
                            int corner)
{
  i += corner == 1 || corner == 2 || corner == 5 || corner == 6 ? 1 : 0;
  j += corner == 2 || corner == 3 || corner == 6 || corner == 7 ? 1 : 0;
  k += corner >= 4 ? 1 : 0;
  return i + (cells.x + 1) * (j + (cells.y + 1) * k);
}

inline void read(const MiVolumeMeshHexahedronIjk& mesh, Mesh& result)
{
  for (std::size_t n = 0; n < mesh.getGeometry().getNodeCount(); ++n) {
    result.points.push_back(mesh.getGeometry().getNode(n));
    result.valueAt.push_back(n);
  }
  addGrid(
      mesh.getTopology(),
      [&](std::size_t i, std::size_t j, std::size_t k, int corner) {
        std::size_t nodes[8];
        mesh.getTopology().getCellNodes(i, j, k, nodes);
        return nodes[corner];
      },
      result);
}

inline void read(const MiVolumeMeshVertexHexahedronIjk& mesh, Mesh& result)
{
  const MbIndex3 cells = mesh.getTopology().getCellCounts();
  std::map<std::array<double, 3>, std::size_t> known;
  addGrid(
      mesh.getTopology(),
      [&](std::size_t i, std::size_t j, std::size_t k, int corner) {
        const MbVec3d p = mesh.getGeometry().getCorner(i, j, k, corner);
        const auto [entry, isNew] = known.try_emplace({p.x, p.y, p.z}, result.points.size());
        if (isNew) {
          result.points.push_back(p);
          result.valueAt.push_back(flatNode(cells, i, j, k, corner));
        }
        return entry->second;
      },
      result);
}

template <class Grid>
void read(const Grid& mesh, Mesh& result)
{
  const MbIndex3 cells = mesh.getTopology().getCellCounts();
  for (std::size_t k = 0; k <= cells.z; ++k)
    for (std::size_t j = 0; j <= cells.y; ++j)
      for (std::size_t i = 0; i <= cells.x; ++i) {
        result.valueAt.push_back(result.points.size());
        result.points.push_back(mesh.getGeometry().getNode(i, j, k));
      }
  addGrid(
      mesh.getTopology(),
      [&](std::size_t i, std::size_t j, std::size_t k, int corner) {
        return flatNode(cells, i, j, k, corner);
      },
      result);
}

inline Mesh read(const MiMesh& mesh)
{
  Mesh result;
  visitMeshKind(MxVolumeKinds{}, classifyMesh(&mesh), [&]<MeshType K>() {
    const auto& typed = zoo::as<K>(mesh);
    read(typed, result);
    result.valueCount = result.points.size();
    if constexpr (K == VOLUME_MESH_VERTEX_HEXAHEDRON_IJK) {
      const MbIndex3 cells = typed.getTopology().getCellCounts();
      result.valueCount = (cells.x + 1) * (cells.y + 1) * (cells.z + 1);
    }
  });
  return result;
}

/// @param levels  one per node, none of them zero
/// @param place   the point of the surface between nodes a and b
inline Cut cut(const Mesh& mesh, const std::vector<double>& levels,
               const std::function<MbVec3d(std::size_t a, std::size_t b)>& place)
{
  using Edge = std::pair<std::size_t, std::size_t>;
  std::map<Edge, MbVec3d> vertices;
  Cut result;
  for (const auto& cell : mesh.cells) {
    // Seen from outside, the line across a face leads from where the level falls to where it rises
    // again; so the loops run counter-clockwise seen from the higher side.
    std::map<Edge, Edge> next;
    for (const auto& face : cell) {
      std::vector<std::pair<Edge, bool>> crossings;
      for (std::size_t n = 0; n < face.size(); ++n) {
        const std::size_t a = face[n], b = face[(n + 1) % face.size()];
        if ((levels[a] > 0) == (levels[b] > 0)) continue;
        const Edge edge{std::min(a, b), std::max(a, b)};
        crossings.push_back({edge, levels[b] > 0});
        if (!vertices.contains(edge)) vertices[edge] = place(edge.first, edge.second);
      }
      if (crossings.size() > 2) ++result.ambiguousFaces;
      for (std::size_t n = 0; n < crossings.size(); ++n)
        if (!crossings[n].second)
          next[crossings[n].first] = crossings[(n + 1) % crossings.size()].first;
    }
    while (!next.empty()) {
      std::vector<MbVec3d> loop;
      for (auto at = next.begin(); at != next.end();) {
        loop.push_back(vertices[at->first]);
        const Edge to = at->second;
        next.erase(at);
        at = next.find(to);
      }
      MbVec3d sum, mean;
      for (std::size_t n = 0; n < loop.size(); ++n) {
        mean += loop[n] * (1 / static_cast<double>(loop.size()));
        sum += cross(loop[n] - loop[0], loop[(n + 1) % loop.size()] - loop[0]) * 0.5;
      }
      ++result.polygons;
      result.corners += loop.size();
      result.area += length(sum);
      result.volume += dot(mean, sum) / 3;
    }
  }
  result.vertices = vertices.size();
  return result;
}

/// Cuts where a function of the place is zero, found on each edge by halving it.
inline Cut cut(const Mesh& mesh, const std::function<double(const MbVec3d&)>& function)
{
  std::vector<double> levels;
  for (const MbVec3d& p : mesh.points)
    levels.push_back(function(p));
  return cut(mesh, levels, [&](std::size_t a, std::size_t b) {
    MbVec3d low = mesh.points[a], high = mesh.points[b];
    if (levels[a] > 0) std::swap(low, high);
    for (int step = 0; step < 60; ++step) {
      const MbVec3d middle = (low + high) * 0.5;
      (function(middle) > 0 ? high : low) = middle;
    }
    return (low + high) * 0.5;
  });
}

/// Cuts where values of nodes, linear along edges, are `value`.
inline Cut cutValues(const Mesh& mesh, const std::vector<double>& values, double value)
{
  std::vector<double> levels;
  for (const std::size_t at : mesh.valueAt)
    levels.push_back(values[at] - value);
  return cut(mesh, levels, [&](std::size_t a, std::size_t b) {
    const double t = levels[a] / (levels[a] - levels[b]);
    return mesh.points[a] + (mesh.points[b] - mesh.points[a]) * t;
  });
}

} // namespace oracle
