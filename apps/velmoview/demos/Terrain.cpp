#include <velmoview/demos/MakeDemos.h>

#include <velmo/mesh/MbMesh.h>

#include <cstdint>

namespace velmoview {

namespace {

constexpr double kWidth = 12000, kDepth = 9000; // metres

/// A number from -1 to 1 for each point of a lattice (the finaliser of MurmurHash3).
double latticeNoise(std::int64_t i, std::int64_t j)
{
  auto h = static_cast<std::uint64_t>(i) * 0x9e3779b97f4a7c15u +
           static_cast<std::uint64_t>(j) * 0xc2b2ae3d27d4eb4fu;
  h = (h ^ (h >> 33)) * 0xff51afd7ed558ccdu;
  h = (h ^ (h >> 33)) * 0xc4ceb9fe1a85ec53u;
  return static_cast<double>(h >> 11) * 0x1.0p-52 - 1;
}

/// Smooth between the lattice points.
double noise(double x, double y)
{
  const double i = std::floor(x), j = std::floor(y);
  const double u = smoothStep(0, 1, x - i), v = smoothStep(0, 1, y - j);
  const auto at = [&](int di, int dj) {
    return latticeNoise(static_cast<std::int64_t>(i) + di, static_cast<std::int64_t>(j) + dj);
  };
  return (at(0, 0) * (1 - u) + at(1, 0) * u) * (1 - v) + (at(0, 1) * (1 - u) + at(1, 1) * u) * v;
}

/// Metres above the sea: a volcano with a crater, foothills with sharp ridges, a plain with a lake.
double elevation(double x, double y)
{
  double hills = 0, size = 1, step = 3200;
  for (int octave = 0; octave < 6; ++octave, size *= 0.5, step *= 0.47)
    hills += size * (1 - 2 * std::abs(noise(x / step + 7.3 * octave, y / step - 3.1 * octave)));
  const double distance = std::hypot(x - 7300, y - 5200) * (1 + 0.12 * noise(x / 1500, y / 1500));
  const double cone = 1900 * std::exp(-distance / 2100);
  const double crater = 520 * gauss(distance, 420);
  const double lake = 330 * gauss(std::hypot((x - 2600) / 1.6, y - 2300), 900);
  return 520 + cone - crater + 210 * hills * (0.35 + smoothStep(1500, 6000, x)) - lake;
}

} // namespace

DemoMesh makeTerrain(int size)
{
  const auto ni = static_cast<std::size_t>(size);
  const std::size_t nj = std::max<std::size_t>(1, ni * 3 / 4);
  DemoMesh demo;
  demo.arrays.reserve(2); // addArray's references stay valid
  std::vector<float>& heights =
      addArray(demo, "elevation", MiDataBinding::PerNode, (ni + 1) * (nj + 1));
  std::vector<double> points;
  points.reserve(3 * heights.size());
  for (std::size_t j = 0, node = 0; j <= nj; ++j) {
    for (std::size_t i = 0; i <= ni; ++i, ++node) {
      const double x = kWidth * static_cast<double>(i) / static_cast<double>(ni);
      const double y = kDepth * static_cast<double>(j) / static_cast<double>(nj);
      heights[node] = static_cast<float>(elevation(x, y));
      points.insert(points.end(), {x, y, static_cast<double>(heights[node])});
    }
  }
  // How steep the ground is, in degrees.
  std::vector<float>& slopes = addArray(demo, "slope", MiDataBinding::PerCell, ni * nj);
  for (std::size_t cell = 0; cell < slopes.size(); ++cell) {
    const std::size_t node = cell + cell / ni;
    const auto at = [&](std::size_t n) { return points[3 * n + 2]; };
    const double dx = (at(node + 1) - at(node)) * static_cast<double>(ni) / kWidth;
    const double dy = (at(node + ni + 1) - at(node)) * static_cast<double>(nj) / kDepth;
    slopes[cell] = static_cast<float>(std::atan(std::hypot(dx, dy)) * 180 / std::numbers::pi);
  }
  demo.mesh = std::make_shared<MbSurfaceMeshCurvilinear>(MbTopologyIj(ni, nj), std::move(points));
  return demo;
}

} // namespace velmoview
