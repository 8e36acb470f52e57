#include <velmoview/demos/MakeDemos.h>

#include <velmo/mesh/MbMesh.h>

#include <algorithm>

namespace velmoview {

namespace {

// Metres; z is height, so depths are negative.
constexpr double kLength = 2400, kWidth = 1600, kTop = -2000, kContact = -2135;

/// A corner-point grid: pillars, and the height of every cell corner on its pillar.
struct CornerPoint
{
  std::size_t ni, nj, nk;
  std::vector<double> pillars; // 6 a pillar: a point above, a point below
  std::vector<double> heights; // 2ni x 2nj x 2nk
  std::vector<std::uint8_t> active;
  std::vector<float> porosity, permeability, water;

  std::size_t cell(std::size_t i, std::size_t j, std::size_t k) const
  {
    return i + ni * (j + nj * k);
  }
  std::size_t pillar(std::size_t i, std::size_t j) const { return i + (ni + 1) * j; }
  /// Corner (di, dj, dk), each 0 or 1, of a cell.
  double& height(std::size_t i, std::size_t j, std::size_t k, int di, int dj, int dk)
  {
    return heights[2 * i + di + 2 * ni * (2 * j + dj + 2 * nj * (2 * k + dk))];
  }
  MbVec3d point(std::size_t pillarId, double z) const
  {
    const double* p = &pillars[6 * pillarId];
    const double t = (z - p[2]) / (p[5] - p[2]);
    return {p[0] + t * (p[3] - p[0]), p[1] + t * (p[4] - p[1]), z};
  }
};

/// Thickness of layer k of nk at (u, v) from 0 to 1; the fourth layer from the top thins out to
/// nothing towards u = 0.
double thickness(std::size_t k, std::size_t nk, double u, double v)
{
  const double even = 200.0 / static_cast<double>(nk);
  if (k == std::min<std::size_t>(3, nk - 1)) return std::max(0.0, 2.2 * even * (u - 0.42));
  const double wave =
      std::sin(2.1 * static_cast<double>(k) + 3 * u) + std::cos(2 * v + static_cast<double>(k));
  return even * (1 + 0.25 * wave);
}

/// A dome that dips to the sides, gently folded.
double topSurface(double u, double v)
{
  const double du = u - 0.55, dv = v - 0.5;
  return kTop - 420 * (du * du + 0.8 * dv * dv) + 14 * std::sin(7 * u + 2 * v) +
         9 * std::cos(9 * v - 3 * u);
}

/// How far the block of a cell has moved: one fault across the whole field, dying out at one end,
/// and a second one that branches off.
struct Faults
{
  std::size_t ni, nj;
  bool beyondFirst(std::size_t i, std::size_t j) const
  {
    const double v = (static_cast<double>(j) + 0.5) / static_cast<double>(nj);
    return static_cast<double>(i) >= static_cast<double>(ni) * (0.34 + 0.16 * v);
  }
  bool beyondSecond(std::size_t i, std::size_t j) const
  {
    const double u = (static_cast<double>(i) + 0.5) / static_cast<double>(ni);
    return static_cast<double>(j) >= static_cast<double>(nj) * (0.72 - 0.22 * u);
  }
  double shift(std::size_t i, std::size_t j, double u, double v) const
  {
    if (!beyondFirst(i, j)) return 0;
    const double second = beyondSecond(i, j) ? -48 * smoothStep(0.36, 0.75, u) : 0;
    return 70 * (1 - 0.75 * v) + second;
  }
};

/// The licence's outline: a rounded, uneven shape.
bool insideOutline(double u, double v)
{
  const double x = 2 * u - 1, y = 2 * v - 1;
  const double angle = std::atan2(y, x);
  const double reach = 0.98 + 0.05 * std::sin(3 * angle + 1) + 0.04 * std::cos(5 * angle);
  return std::pow(std::abs(x), 3.2) + std::pow(std::abs(y), 3.2) < std::pow(reach, 3.2);
}

/// Sand channels that wander along u, a few a layer.
double channel(std::size_t k, double u, double v)
{
  double sand = 0;
  for (int c = 0; c < 3; ++c) {
    const double phase = 1.7 * static_cast<double>(k) + 2.4 * c;
    const double course = 0.2 + 0.3 * c + 0.12 * std::sin(5.5 * u + phase);
    sand = std::max(sand, gauss(v - course, 0.05));
  }
  return sand;
}

void fillProperties(CornerPoint& grid)
{
  const std::size_t count = grid.ni * grid.nj * grid.nk;
  grid.active.assign(count, 0);
  grid.porosity.assign(count, 0);
  grid.permeability.assign(count, 0);
  grid.water.assign(count, 1);
  for (std::size_t k = 0; k < grid.nk; ++k) {
    for (std::size_t j = 0; j < grid.nj; ++j) {
      for (std::size_t i = 0; i < grid.ni; ++i) {
        const double u = (static_cast<double>(i) + 0.5) / static_cast<double>(grid.ni);
        const double v = (static_cast<double>(j) + 0.5) / static_cast<double>(grid.nj);
        double middle = 0, thick = 0;
        for (int corner = 0; corner < 4; ++corner) {
          const double above = grid.height(i, j, k, corner & 1, corner >> 1, 0);
          const double below = grid.height(i, j, k, corner & 1, corner >> 1, 1);
          middle += (above + below) / 8;
          thick += (above - below) / 4;
        }
        const std::size_t c = grid.cell(i, j, k);
        grid.active[c] = thick > 1e-6 && insideOutline(u, v) ? 1 : 0;
        const double layer = 0.5 + 0.5 * std::sin(1.9 * static_cast<double>(k) + 0.6);
        const double porosity = 0.06 + 0.08 * layer + 0.17 * channel(k, u, v) +
                                0.01 * std::sin(31 * u + 17 * v + static_cast<double>(k));
        grid.porosity[c] = static_cast<float>(porosity);
        grid.permeability[c] = static_cast<float>(std::pow(10, 18 * porosity - 1.5));
        grid.water[c] =
            static_cast<float>(0.2 + 0.8 * smoothStep(kContact + 15, kContact - 10, middle) * 1.0);
      }
    }
  }
}

CornerPoint makeGrid(int size)
{
  const auto n = static_cast<std::size_t>(size);
  CornerPoint grid{
      n, std::max<std::size_t>(2, n * 2 / 3), std::max<std::size_t>(4, n / 5), {}, {}, {}, {}, {},
      {}};
  const Faults faults{grid.ni, grid.nj};
  for (std::size_t j = 0; j <= grid.nj; ++j) {
    for (std::size_t i = 0; i <= grid.ni; ++i) {
      const double u = static_cast<double>(i) / static_cast<double>(grid.ni);
      const double v = static_cast<double>(j) / static_cast<double>(grid.nj);
      // J runs against y, so that with K downward the axes are right-handed. Pillars lean along
      // the first fault and bend back to upright far from it.
      const double x = kLength * u + 60 * std::sin(std::numbers::pi * u) * v;
      const double y = kWidth * (1 - v);
      const double lean = 130 * gauss(u - 0.34 - 0.16 * v, 0.18);
      grid.pillars.insert(grid.pillars.end(), {x, y, kTop + 200, x + lean, y, kTop - 600});
    }
  }
  grid.heights.resize(8 * grid.ni * grid.nj * grid.nk);
  for (std::size_t j = 0; j < grid.nj; ++j) {
    for (std::size_t i = 0; i < grid.ni; ++i) {
      for (int corner = 0; corner < 4; ++corner) {
        const int di = corner & 1, dj = corner >> 1;
        const double u = static_cast<double>(i + di) / static_cast<double>(grid.ni);
        const double v = static_cast<double>(j + dj) / static_cast<double>(grid.nj);
        double z = topSurface(u, v) + faults.shift(i, j, u, v);
        for (std::size_t k = 0; k < grid.nk; ++k) {
          grid.height(i, j, k, di, dj, 0) = z;
          z -= thickness(k, grid.nk, u, v);
          grid.height(i, j, k, di, dj, 1) = z;
        }
      }
    }
  }
  fillProperties(grid);
  return grid;
}

/// Gives corners on one pillar at the same height one node.
void weld(CornerPoint& grid, std::vector<std::int32_t>& connectivity, std::vector<double>& points)
{
  struct Known
  {
    double z;
    std::int32_t node;
  };
  std::vector<std::vector<Known>> onPillar((grid.ni + 1) * (grid.nj + 1));
  std::int32_t nodeCount = 0;
  const auto node = [&](std::size_t pillar, double z) {
    for (const Known& known : onPillar[pillar]) {
      if (known.z == z) return known.node;
    }
    onPillar[pillar].push_back({z, nodeCount});
    const MbVec3d p = grid.point(pillar, z);
    points.insert(points.end(), {p.x, p.y, p.z});
    return nodeCount++;
  };
  constexpr int kRound[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  for (std::size_t k = 0; k < grid.nk; ++k) {
    for (std::size_t j = 0; j < grid.nj; ++j) {
      for (std::size_t i = 0; i < grid.ni; ++i) {
        for (int dk : {0, 1}) {
          for (const auto& [di, dj] : kRound)
            connectivity.push_back(
                node(grid.pillar(i + di, j + dj), grid.height(i, j, k, di, dj, dk)));
        }
      }
    }
  }
}

DemoMesh withProperties(std::shared_ptr<const MiMesh> mesh, CornerPoint& grid)
{
  return {std::move(mesh),
          {{"PORO", MiDataBinding::PerCell, 1, std::move(grid.porosity)},
           {"PERMX", MiDataBinding::PerCell, 1, std::move(grid.permeability)},
           {"SWAT", MiDataBinding::PerCell, 1, std::move(grid.water)}}};
}

} // namespace

DemoMesh makeReservoir(int size)
{
  CornerPoint grid = makeGrid(size);
  std::vector<std::int32_t> connectivity;
  std::vector<double> points;
  weld(grid, connectivity, points);
  return withProperties(
      std::make_shared<MbVolumeMeshHexahedronIjk>(
          MbTopologyHexahedronIjk({grid.ni, grid.nj, grid.nk}, std::move(connectivity),
                                  std::move(grid.active)),
          std::move(points)),
      grid);
}

DemoMesh makeReservoirVertex(int size)
{
  CornerPoint grid = makeGrid(size);
  return withProperties(std::make_shared<MbVolumeMeshVertexHexahedronIjk>(
                            MbTopologyIjk({grid.ni, grid.nj, grid.nk}, std::move(grid.active)),
                            std::move(grid.pillars), std::move(grid.heights)),
                        grid);
}

} // namespace velmoview
