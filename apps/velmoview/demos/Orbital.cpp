#include <velmoview/demos/MakeDemos.h>

#include <velmo/mesh/MbMesh.h>

namespace velmoview {

namespace {

constexpr double kReach = 27;        // Bohr radii from the middle to a side
constexpr double kThreshold = 0.035; // of the largest density

/// The hydrogen orbital 4d z2, without its factor.
double waveFunction(double x, double y, double z)
{
  const double r2 = x * x + y * y + z * z, r = std::sqrt(r2);
  return (1 - r / 12) * (3 * z * z - r2) * std::exp(-r / 4);
}

} // namespace

namespace {

DemoMesh makeOrbital(int size, bool isCut)
{
  const auto n = static_cast<std::size_t>(size), nodes = n + 1;
  const double step = 2 * kReach / static_cast<double>(n);
  const auto at = [&](double index) { return step * index - kReach; };

  DemoMesh demo;
  demo.arrays.reserve(2); // addArray's references stay valid
  std::vector<float>& psi = addArray(demo, "psi", MiDataBinding::PerNode, nodes * nodes * nodes);
  std::vector<float>& density =
      addArray(demo, "density", MiDataBinding::PerNode, nodes * nodes * nodes);
  float largest = 0;
  for (std::size_t k = 0, node = 0; k < nodes; ++k) {
    for (std::size_t j = 0; j < nodes; ++j) {
      for (std::size_t i = 0; i < nodes; ++i, ++node) {
        psi[node] = static_cast<float>(waveFunction(
            at(static_cast<double>(i)), at(static_cast<double>(j)), at(static_cast<double>(k))));
        density[node] = psi[node] * psi[node];
        largest = std::max(largest, density[node]);
      }
    }
  }
  // Where the electron is hardly ever found, cells are dead; so are those in the quarter that
  // faces the default view, which shows the inside.
  std::vector<std::uint8_t> active;
  if (isCut) active.resize(n * n * n);
  for (std::size_t k = 0, cell = 0; isCut && k < n; ++k) {
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = 0; i < n; ++i, ++cell) {
        const double x = at(static_cast<double>(i) + 0.5), y = at(static_cast<double>(j) + 0.5);
        const double value = waveFunction(x, y, at(static_cast<double>(k) + 0.5));
        const bool opened = x > 0 && y < 0;
        active[cell] = value * value > kThreshold * static_cast<double>(largest) && !opened ? 1 : 0;
      }
    }
  }
  demo.mesh = std::make_shared<MbVolumeMeshRegular>(MbTopologyIjk({n, n, n}, std::move(active)),
                                                    MbVec3d{-kReach, -kReach, -kReach},
                                                    MbVec3d{step, step, step});
  return demo;
}

} // namespace

DemoMesh makeOrbital(int size)
{
  return makeOrbital(size, true);
}

DemoMesh makeWholeOrbital(int size)
{
  return makeOrbital(size, false);
}

} // namespace velmoview
