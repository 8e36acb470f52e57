#pragma once

#include "WorkloadPoints.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <numeric>
#include <utility>
#include <vector>

/// The meshes of the standard workloads as plain arrays, so that several libraries can be given the
/// same work. Lattices of n^3 cells have (n + 1)^3 nodes, I fastest; the domain of the distorted
/// ones has the volume 1.
namespace bench {

inline constexpr double kDistortion = 0.04;

/// An unstructured mesh: cell c has the shape types[c] and the nodes
/// connectivity[offsets[c] .. offsets[c + 1]). Points are xyz triples.
struct CellArrays
{
  std::vector<double> points;
  std::vector<std::int64_t> connectivity;
  std::vector<std::int64_t> offsets;
  std::vector<std::uint8_t> types;

  std::size_t nodeCount() const { return points.size() / 3; }
  std::size_t cellCount() const { return types.size(); }
};

/// Numbers of the cell shapes in `types`.
enum : std::uint8_t
{
  kTriangle = 5,
  kTetrahedron = 10,
  kHexahedron = 12,
  kWedge = 13,
  kPyramid = 14
};

inline Point distort(double u, double v, double w)
{
  return {u + kDistortion * std::sin(2 * kPi * v + 1), v + kDistortion * std::sin(2 * kPi * w + 2),
          w + kDistortion * std::sin(2 * kPi * u + 3)};
}

/// The nodes of the distorted lattice, then room for `extra` more.
inline std::vector<double> latticePoints(std::size_t n, std::size_t extra = 0)
{
  const std::size_t m = n + 1;
  const double step = static_cast<double>(n);
  std::vector<double> points;
  points.reserve(3 * (m * m * m + extra));
  for (std::size_t k = 0; k < m; ++k)
    for (std::size_t j = 0; j < m; ++j)
      for (std::size_t i = 0; i < m; ++i) {
        const Point p = distort(static_cast<double>(i) / step, static_cast<double>(j) / step,
                                static_cast<double>(k) / step);
        points.insert(points.end(), p.begin(), p.end());
      }
  points.resize(3 * (m * m * m + extra));
  return points;
}

/// Axis 0, 1 or 2 of the rectilinear lattice.
inline std::vector<double> latticeAxis(std::size_t n, int axis)
{
  std::vector<double> values;
  for (std::size_t i = 0; i <= n; ++i) {
    const double u = static_cast<double>(i) / static_cast<double>(n);
    values.push_back(u + 0.05 * std::sin(2 * kPi * u + axis));
  }
  return values;
}

/// The corners of lattice cell (i, j, k) in the order of a hexahedron.
inline std::array<std::int64_t, 8> latticeCell(std::size_t n, std::size_t i, std::size_t j,
                                               std::size_t k)
{
  const auto m = static_cast<std::int64_t>(n + 1);
  const std::int64_t o = (static_cast<std::int64_t>(k) * m + static_cast<std::int64_t>(j)) * m +
                         static_cast<std::int64_t>(i);
  const std::int64_t z = o + m * m;
  return {o, o + 1, o + 1 + m, o + m, z, z + 1, z + 1 + m, z + m};
}

/// The six tetrahedra around the diagonal 0-6 of a hexahedron.
inline constexpr int kSixTetrahedra[6][4] = {{0, 1, 2, 6}, {0, 2, 3, 6}, {0, 3, 7, 6},
                                             {0, 7, 4, 6}, {0, 4, 5, 6}, {0, 5, 1, 6}};

/// Calls body(i, j, k) for the cells of a lattice in their order.
template <class Body>
void forEachLatticeCell(std::size_t n, const Body& body)
{
  for (std::size_t k = 0; k < n; ++k)
    for (std::size_t j = 0; j < n; ++j)
      for (std::size_t i = 0; i < n; ++i)
        body(i, j, k);
}

/// Fills offsets and types of cells that all have one shape.
inline void finishUniform(CellArrays& mesh, std::uint8_t type, std::size_t nodesPerCell)
{
  const std::size_t cells = mesh.connectivity.size() / nodesPerCell;
  mesh.types.assign(cells, type);
  mesh.offsets.resize(cells + 1);
  for (std::size_t c = 0; c <= cells; ++c)
    mesh.offsets[c] = static_cast<std::int64_t>(c * nodesPerCell);
}

/// n^3 hexahedra.
inline CellArrays makeHex(std::size_t n)
{
  CellArrays mesh;
  mesh.points = latticePoints(n);
  mesh.connectivity.reserve(8 * n * n * n);
  forEachLatticeCell(n, [&](std::size_t i, std::size_t j, std::size_t k) {
    const auto h = latticeCell(n, i, j, k);
    mesh.connectivity.insert(mesh.connectivity.end(), h.begin(), h.end());
  });
  finishUniform(mesh, kHexahedron, 8);
  return mesh;
}

/// 6 n^3 tetrahedra.
inline CellArrays makeTet(std::size_t n)
{
  CellArrays mesh;
  mesh.points = latticePoints(n);
  mesh.connectivity.reserve(24 * n * n * n);
  forEachLatticeCell(n, [&](std::size_t i, std::size_t j, std::size_t k) {
    const auto h = latticeCell(n, i, j, k);
    for (const auto& tetrahedron : kSixTetrahedra)
      for (const int corner : tetrahedron)
        mesh.connectivity.push_back(h[static_cast<std::size_t>(corner)]);
  });
  finishUniform(mesh, kTetrahedron, 4);
  return mesh;
}

/// The tetrahedra of makeTet with nodes and cells renumbered at random.
inline CellArrays makeShuffledTet(std::size_t n)
{
  CellArrays mesh = makeTet(n);
  Generator random{12345};
  std::vector<std::size_t> moved(mesh.nodeCount());
  std::iota(moved.begin(), moved.end(), std::size_t{0});
  for (std::size_t i = moved.size() - 1; i > 0; --i)
    std::swap(moved[i], moved[random.below(i + 1)]);
  std::vector<double> points(mesh.points.size());
  for (std::size_t i = 0; i < moved.size(); ++i)
    std::copy_n(mesh.points.begin() + static_cast<std::ptrdiff_t>(3 * i), 3,
                points.begin() + static_cast<std::ptrdiff_t>(3 * moved[i]));
  mesh.points = std::move(points);
  for (std::int64_t& node : mesh.connectivity)
    node = static_cast<std::int64_t>(moved[static_cast<std::size_t>(node)]);
  std::int64_t* cells = mesh.connectivity.data();
  for (std::size_t i = mesh.cellCount() - 1; i > 0; --i) {
    const std::size_t j = random.below(i + 1);
    if (i != j) std::swap_ranges(cells + 4 * i, cells + 4 * i + 4, cells + 4 * j);
  }
  return mesh;
}

/// Layers of hexahedra, tetrahedra, wedges and hexahedra again, joined by two layers of pyramids
/// and tetrahedra; conforming throughout. n is a multiple of 4.
inline CellArrays makeMixed(std::size_t n)
{
  constexpr int kFaces[6][4] = {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};
  const std::size_t q = n / 4, m = n + 1, lattice = m * m * m;
  CellArrays mesh;
  mesh.points = latticePoints(n, 2 * n * n);
  mesh.offsets.push_back(0);
  const auto cell = [&](std::uint8_t type, std::initializer_list<std::int64_t> nodes) {
    mesh.connectivity.insert(mesh.connectivity.end(), nodes);
    mesh.offsets.push_back(static_cast<std::int64_t>(mesh.connectivity.size()));
    mesh.types.push_back(type);
  };
  const auto transition = [&](std::size_t i, std::size_t j, std::size_t k, const auto& h) {
    const bool lower = k == q;
    const std::size_t centre = lattice + (lower ? 0 : n * n) + j * n + i;
    const auto c = static_cast<std::int64_t>(centre);
    const double step = static_cast<double>(n);
    const Point p =
        distort((static_cast<double>(i) + 0.5) / step, (static_cast<double>(j) + 0.5) / step,
                (static_cast<double>(k) + 0.5) / step);
    std::copy(p.begin(), p.end(), mesh.points.begin() + static_cast<std::ptrdiff_t>(3 * centre));
    for (int f = 0; f < 6; ++f) {
      const auto at = [&](int corner) { return h[static_cast<std::size_t>(kFaces[f][corner])]; };
      if (f != (lower ? 1 : 0)) {
        cell(kPyramid, {at(3), at(2), at(1), at(0), c});
      } else if (lower) {
        cell(kTetrahedron, {h[4], h[6], h[5], c});
        cell(kTetrahedron, {h[4], h[7], h[6], c});
      } else {
        cell(kTetrahedron, {h[0], h[1], h[2], c});
        cell(kTetrahedron, {h[0], h[2], h[3], c});
      }
    }
  };
  forEachLatticeCell(n, [&](std::size_t i, std::size_t j, std::size_t k) {
    const auto h = latticeCell(n, i, j, k);
    if (k < q || k > 3 * q) {
      cell(kHexahedron, {h[0], h[1], h[2], h[3], h[4], h[5], h[6], h[7]});
    } else if (k == q || k == 3 * q) {
      transition(i, j, k, h);
    } else if (k < 2 * q) {
      for (const auto& t : kSixTetrahedra) {
        const auto at = [&](int corner) { return h[static_cast<std::size_t>(t[corner])]; };
        cell(kTetrahedron, {at(0), at(1), at(2), at(3)});
      }
    } else {
      cell(kWedge, {h[0], h[2], h[1], h[4], h[6], h[5]});
      cell(kWedge, {h[0], h[3], h[2], h[4], h[7], h[6]});
    }
  });
  return mesh;
}

// Surfaces of m x m cells: nodes (i, j), I fastest.

inline std::vector<double> surfacePoints(std::size_t m)
{
  const double step = static_cast<double>(m);
  std::vector<double> points;
  points.reserve(3 * (m + 1) * (m + 1));
  for (std::size_t j = 0; j <= m; ++j)
    for (std::size_t i = 0; i <= m; ++i) {
      const double u = static_cast<double>(i) / step, v = static_cast<double>(j) / step;
      points.push_back(u + kDistortion * std::sin(2 * kPi * v + 1));
      points.push_back(v + kDistortion * std::sin(2 * kPi * u + 2));
      points.push_back(0.1 * std::sin(2 * kPi * u) * std::cos(2 * kPi * v));
    }
  return points;
}

/// Two triangles a cell.
inline CellArrays makeSurface(std::size_t m)
{
  CellArrays mesh;
  mesh.points = surfacePoints(m);
  const auto row = static_cast<std::int64_t>(m + 1);
  for (std::size_t j = 0; j < m; ++j)
    for (std::size_t i = 0; i < m; ++i) {
      const auto a = static_cast<std::int64_t>(i) + row * static_cast<std::int64_t>(j);
      mesh.connectivity.insert(mesh.connectivity.end(),
                               {a, a + 1, a + row + 1, a, a + row + 1, a + row});
    }
  finishUniform(mesh, kTriangle, 3);
  return mesh;
}

// Values at nodes, of their coordinates.

inline double smoothSurfaceField(const Point& p)
{
  return std::sin(6 * kPi * p[0]) * std::cos(6 * kPi * p[1]) + 0.5 * p[2];
}

inline double smoothField(const Point& p)
{
  return (p[0] - 0.47) * (p[0] - 0.47) + 1.2 * (p[1] - 0.52) * (p[1] - 0.52) +
         0.9 * (p[2] - 0.49) * (p[2] - 0.49);
}
inline double busyField(const Point& p)
{
  constexpr double k = 2 * kPi * 11.3;
  return std::sin(k * p[0]) * std::cos(k * p[1]) + std::sin(k * p[1]) * std::cos(k * p[2]) +
         std::sin(k * p[2]) * std::cos(k * p[0]);
}
inline double colourField(const Point& p)
{
  return p[0] + 2 * p[1] + 3 * p[2] + 0.1 * std::sin(20 * p[0]);
}

/// A flow without divergence whose lines are wound all through the domain (Arnold, Beltrami and
/// Childress), with k = 2 pi.
inline Point vectorField(const Point& p)
{
  constexpr double k = 2 * kPi, a = 1.7320508075688772, b = 1.4142135623730951, c = 1;
  return {a * std::sin(k * p[2]) + c * std::cos(k * p[1]),
          b * std::sin(k * p[0]) + a * std::cos(k * p[2]),
          c * std::sin(k * p[1]) + b * std::cos(k * p[0])};
}

// What the meshes are cut by.

inline constexpr double kSmoothValue = 0.1234, kBusyValue = 0.1001;
/// Of the isolines: the first value, and from one to the next.
inline constexpr double kFirstIsoline = -0.8869, kIsolineStep = 0.2;
inline constexpr int kIsolineCount = 10;
/// Between one cut and the next of a user who drags a value or a plane.
inline constexpr double kDragStep = 0.002;
inline constexpr Point kPlanePoint{0.503, 0.497, 0.511};
inline constexpr Point kRoundCentre{0.47, 0.52, 0.49};
inline constexpr double kSphereRadius = 0.35, kCylinderRadius = 0.25;
/// The unit normal of the plane and the direction of the cylinder.
inline Point obliqueDirection()
{
  const double length = std::sqrt(98.0);
  return {3 / length, 5 / length, 8 / length};
}

/// Lattice sizes of the workloads.
struct Sizes
{
  std::size_t hex, tet, tetshuf, mixed, curv, rect, image, surface;
  std::size_t hexP, tetP; ///< for probes and streamlines
};
inline constexpr Sizes kFullSizes{200, 100, 60, 128, 200, 200, 256, 1000, 100, 50};
inline constexpr Sizes kQuickSizes{64, 40, 24, 48, 64, 64, 96, 300, 40, 24};

} // namespace bench
