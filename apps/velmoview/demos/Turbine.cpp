#include <velmoview/demos/MakeDemos.h>

#include <velmo/mesh/MbMesh.h>

namespace velmoview {

namespace {

// A draft tube: a cone down from the runner, an elbow, a widening duct. Metres; `s` runs along the
// axis from 0 at the runner to 1 at the outlet.
constexpr double kCone = 3.2, kBend = 2.6, kDuct = 6.5;
constexpr double kElbow = kBend * std::numbers::pi / 2;
constexpr double kTotal = kCone + kElbow + kDuct;

/// A cross-section: its middle and the directions of its width and height.
struct Station
{
  MbVec3d middle, across, upward, along;
  double halfWidth, halfHeight, roundness;
};

Station station(double s)
{
  const double way = s * kTotal;
  Station at{};
  at.across = {0, 1, 0};
  double angle = 0; // of the axis, from straight down to horizontal
  if (way < kCone) {
    at.middle = {0, 0, -way};
  } else if (way < kCone + kElbow) {
    angle = (way - kCone) / kBend;
    at.middle = {kBend * (1 - std::cos(angle)), 0, -kCone - kBend * std::sin(angle)};
  } else {
    angle = std::numbers::pi / 2;
    const double rest = way - kCone - kElbow;
    at.middle = {kBend + rest, 0, -kCone - kBend + 0.06 * rest * rest / kDuct * 2};
  }
  at.along = {std::sin(angle), 0, -std::cos(angle)};
  at.upward = {std::cos(angle), 0, std::sin(angle)};
  const double open = smoothStep(0.25, 1, s);
  at.halfWidth = 1 + 0.25 * s + 1.5 * open;
  at.halfHeight = 1 + 0.25 * s * (1 - open) - 0.05 * open;
  at.roundness = 1 - smoothStep(0.3, 0.75, s);
  return at;
}

/// A square's point (u, v), each from -1 to 1, on a disk.
void ontoDisk(double u, double v, double& a, double& b)
{
  a = u * std::sqrt(1 - v * v / 2);
  b = v * std::sqrt(1 - u * u / 2);
}

/// The vortex rope: where its core lies in the unit cross-section, how wide and how strong it is.
struct Rope
{
  double a, b, width, strength;
  explicit Rope(double s)
  {
    const double turn = 2 * std::numbers::pi * 3.1 * s;
    const double away = 0.10 + 0.55 * smoothStep(0, 0.35, s);
    a = away * std::cos(turn);
    b = away * std::sin(turn);
    width = 0.16 + 0.25 * s;
    strength = 1 - smoothStep(0.45, 1.0, s) * 0.85;
  }
};

} // namespace

DemoMesh makeTurbine(int size)
{
  const auto nk = static_cast<std::size_t>(size);
  const std::size_t nij = std::max<std::size_t>(2, nk / 4 / 2 * 2);
  const std::size_t side = nij + 1, nodes = side * side * (nk + 1);
  DemoMesh demo;
  demo.arrays.reserve(2); // addArray's references stay valid
  std::vector<float>& suction = addArray(demo, "suction", MiDataBinding::PerNode, nodes);
  std::vector<float>& velocity = addArray(demo, "velocity", MiDataBinding::PerNode, nodes, 3);
  std::vector<double> points;
  points.reserve(3 * nodes);
  std::size_t node = 0;
  for (std::size_t k = 0; k <= nk; ++k) {
    const double s = static_cast<double>(k) / static_cast<double>(nk);
    const Station at = station(s);
    const Rope rope(s);
    const double area = at.halfWidth * at.halfHeight;
    for (std::size_t j = 0; j < side; ++j) {
      for (std::size_t i = 0; i < side; ++i, ++node) {
        const double u = 2 * static_cast<double>(i) / static_cast<double>(nij) - 1;
        const double v = 2 * static_cast<double>(j) / static_cast<double>(nij) - 1;
        double a = 0, b = 0;
        ontoDisk(u, v, a, b);
        a = at.roundness * a + (1 - at.roundness) * u;
        b = at.roundness * b + (1 - at.roundness) * v;
        const MbVec3d p =
            at.middle + at.across * (a * at.halfWidth) + at.upward * (b * at.halfHeight);
        points.insert(points.end(), {p.x, p.y, p.z});

        // A smoothed line vortex (Rankine's, without the kink) on a flow that slows as the duct
        // widens; the suction is strongest in the core and fades as the flow slows.
        const double da = a - rope.a, db = b - rope.b, core = rope.width * rope.width;
        const double swirl = 1.5 * rope.strength / (da * da + db * db + core);
        const double onward = 6.5 / area * (1 - 0.35 * std::pow(a * a + b * b, 3.0) / 4);
        const MbVec3d velocityHere =
            at.along * onward + at.across * (-0.35 * swirl * db) + at.upward * (0.35 * swirl * da);
        for (std::size_t axis = 0; axis < 3; ++axis)
          velocity[3 * node + axis] = static_cast<float>(velocityHere[axis]);
        suction[node] = static_cast<float>(2 / (area * area) + 4 * (1 - s) +
                                           9 * rope.strength * core / (da * da + db * db + core));
      }
    }
  }
  // The quarter that the default view looks into is cut away along the whole tube.
  std::vector<std::uint8_t> active(nij * nij * nk, 1);
  for (std::size_t cell = 0; cell < active.size(); ++cell) {
    const std::size_t i = cell % nij, j = cell / nij % nij;
    if (i < nij / 2 && j >= nij / 2) active[cell] = 0;
  }
  demo.mesh = std::make_shared<MbVolumeMeshCurvilinear>(
      MbTopologyIjk({nij, nij, nk}, std::move(active)), std::move(points));
  return demo;
}

} // namespace velmoview
