#include <velmoview/demos/MakeDemos.h>

#include <velmo/mesh/MbMesh.h>

namespace velmoview {

namespace {

constexpr double kHalfSide = 8.5, kTopHeight = 13.5; // km

/// Cell borders, finer in the middle of [-kHalfSide, kHalfSide].
std::vector<double> horizontalAxis(std::size_t cells)
{
  std::vector<double> axis(cells + 1);
  for (std::size_t n = 0; n <= cells; ++n) {
    const double t = 2 * static_cast<double>(n) / static_cast<double>(cells) - 1;
    axis[n] = kHalfSide * t * (0.55 + 0.45 * t * t);
  }
  return axis;
}

/// Cell borders, thin near the ground.
std::vector<double> verticalAxis(std::size_t cells)
{
  std::vector<double> axis(cells + 1);
  for (std::size_t n = 0; n <= cells; ++n) {
    const double t = static_cast<double>(n) / static_cast<double>(cells);
    axis[n] = kTopHeight * t * (0.35 + 0.65 * t);
  }
  return axis;
}

/// Bumps of a cauliflower: waves of three lengths, folded so that they bulge outward.
double billow(double x, double y, double z)
{
  double sum = 0;
  for (int octave = 0; octave < 3; ++octave) {
    const double f = 1.15 * (1 << octave), p = 1.3 * octave;
    sum +=
        std::abs(std::sin(f * x + p) + std::sin(f * 1.1 * y + 2 * p) + std::sin(f * 0.9 * z - p)) /
        (1 << octave);
  }
  return sum / 3;
}

/// Grams of water in a kilogram of air: a tower with an anvil, and small clouds around it.
double cloudWater(double x, double y, double z)
{
  const double lean = 0.08 * z;
  const double r = std::hypot(x - lean, 1.1 * y);
  const double tower =
      gauss(r, 1.5 + 0.16 * z) * smoothStep(1.2, 1.7, z) * (1 - smoothStep(10.2, 11.4, z));
  const double anvil = gauss(std::hypot((x - 1.6) / 1.35, y), 3.4) * gauss(z - 10.4, 0.55);
  double small = 0;
  if (z > 1.2 && z < 4) {
    for (int c = 0; c < 7; ++c) {
      const double angle = 0.9 * c + 0.4, away = 4.4 + 2.4 * std::abs(std::sin(2.3 * c));
      const double d = std::hypot(x - away * std::cos(angle), y - away * std::sin(angle));
      small = std::max(small, gauss(d, 0.6 + 0.2 * (c % 3)) * smoothStep(1.2, 1.5, z) *
                                  (1 - smoothStep(2.0 + 0.4 * (c % 3), 2.9 + 0.5 * (c % 3), z)));
    }
  }
  const double most = std::max({tower, 0.9 * anvil, small});
  if (most < 0.1) return -0.75; // clear air, whatever the billows
  return 2.4 * most * (0.45 + 0.8 * billow(x, y, z)) - 0.75;
}

/// Metres a second: up in the tower and in the small clouds, down around them.
double updraft(double x, double y, double z)
{
  const double r = std::hypot(x - 0.08 * z, y);
  const double height = std::sin(std::numbers::pi * std::min(1.0, z / 11.5));
  return 24 * gauss(r, 1.2) * height + 5 * std::max(0.0, cloudWater(x, y, z)) * height -
         6 * gauss(r - 3.4, 1.1) * (1 - smoothStep(5, 10, z));
}

} // namespace

DemoMesh makeCloud(int size)
{
  const auto n = static_cast<std::size_t>(size);
  const std::size_t nz = std::max<std::size_t>(2, n * 2 / 3);
  const std::vector<double> x = horizontalAxis(n), y = horizontalAxis(n), z = verticalAxis(nz);
  const std::size_t nodes = (n + 1) * (n + 1) * (nz + 1);

  DemoMesh demo;
  demo.arrays.reserve(4); // addArray's references stay valid
  std::vector<float>& rising = addArray(demo, "updraft", MiDataBinding::PerNode, nodes);
  std::vector<float>& temperature = addArray(demo, "temperature", MiDataBinding::PerNode, nodes);
  std::vector<float>& wind = addArray(demo, "wind", MiDataBinding::PerNode, nodes, 3);
  std::size_t node = 0;
  for (const double c : z) {
    for (const double b : y) {
      for (const double a : x) {
        const double up = updraft(a, b, c);
        temperature[node] = static_cast<float>(26 - 6.5 * c + 0.12 * up +
                                               1.5 * std::sin(0.5 * a) * std::cos(0.6 * b) *
                                                   (1 - smoothStep(0, 3, c)));
        rising[node] = static_cast<float>(up);
        wind[3 * node] = static_cast<float>(3 + 1.6 * c - 0.3 * a);
        wind[3 * node + 1] = static_cast<float>(-0.3 * b);
        wind[3 * node + 2] = static_cast<float>(up);
        ++node;
      }
    }
  }
  // What can be seen lives: the cloud, opened towards the default view, and the lowest layer of
  // air.
  std::vector<float>& water = addArray(demo, "cloud water", MiDataBinding::PerCell, n * n * nz);
  std::vector<std::uint8_t> active(n * n * nz);
  std::size_t cell = 0;
  for (std::size_t k = 0; k < nz; ++k) {
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = 0; i < n; ++i, ++cell) {
        const double value =
            cloudWater((x[i] + x[i + 1]) / 2, (y[j] + y[j + 1]) / 2, (z[k] + z[k + 1]) / 2);
        water[cell] = static_cast<float>(std::max(0.0, value));
        const bool opened = x[i] >= 0 && y[j + 1] <= 0;
        active[cell] = (value > 0 && !opened) || k == 0 ? 1 : 0;
      }
    }
  }
  demo.mesh = std::make_shared<MbVolumeMeshRectilinear>(
      MbTopologyIjk({n, n, nz}, std::move(active)), std::vector<double>(x), std::vector<double>(y),
      std::vector<double>(z));
  return demo;
}

} // namespace velmoview
