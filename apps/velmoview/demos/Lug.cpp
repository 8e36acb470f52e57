#include <velmoview/demos/MakeDemos.h>

#include <velmo/mesh/MbMesh.h>

namespace velmoview {

namespace {

// In hole radii; a plate of 10 x 6 with a boss around the hole.
constexpr double kHalfLength = 5, kHalfWidth = 3, kHalfThickness = 0.4, kBoss = 0.45;
constexpr double kTension = 100;       // MPa, far away along x
constexpr double kExaggeration = 0.04; // tension over modulus, as drawn
constexpr double kPoisson = 0.3;

/// A point of the undeformed plate: `around` runs once round the hole in [0, 4), one side of the
/// rectangle each; `outward` from the hole (0) to the rim (1); `up` from -1 to 1.
MbVec3d place(double around, double outward, double up)
{
  const int side = static_cast<int>(around) % 4;
  const double t = 2 * (around - std::floor(around)) - 1;
  const double angle = (around - 0.5) * std::numbers::pi / 2;
  const MbVec3d rim = side == 0   ? MbVec3d{kHalfLength, t * kHalfWidth, 0}
                      : side == 1 ? MbVec3d{-t * kHalfLength, kHalfWidth, 0}
                      : side == 2 ? MbVec3d{-kHalfLength, -t * kHalfWidth, 0}
                                  : MbVec3d{t * kHalfLength, -kHalfWidth, 0};
  const MbVec3d hole{std::cos(angle), std::sin(angle), 0};
  const double g = outward * (0.45 + 0.55 * outward); // finer near the hole
  MbVec3d p = hole * (1 - g) + rim * g;
  p.z = up * (kHalfThickness + kBoss * (1 - smoothStep(0.25, 0.45, outward)));
  return p;
}

/// The infinite plate with a circular hole under tension along x (Kirsch, 1898).
struct Kirsch
{
  double r, angle, c, s;
  explicit Kirsch(const MbVec3d& p)
      : r(std::max(1.0, std::hypot(p.x, p.y))), angle(std::atan2(p.y, p.x)), c(std::cos(2 * angle)),
        s(std::sin(2 * angle))
  {}
  double mises() const
  {
    const double a = 1 / (r * r), b = a * a, half = kTension / 2;
    const double radial = half * (1 - a) + half * (1 - 4 * a + 3 * b) * c;
    const double hoop = half * (1 + a) - half * (1 + 3 * b) * c;
    const double shear = -half * (1 + 2 * a - 3 * b) * s;
    return std::sqrt(radial * radial - radial * hoop + hoop * hoop + 3 * shear * shear);
  }
  MbVec3d displacement() const
  {
    const double kappa = (3 - kPoisson) / (1 + kPoisson);
    const double scale = kExaggeration * (1 + kPoisson) / 4;
    const double out =
        scale * (r * (kappa - 1 + 2 * c) + 2 / r * (1 + (kappa + 1) * c) - 2 / (r * r * r) * c);
    const double along = scale * (-2 * r + 2 / r * (1 - kappa) - 2 / (r * r * r)) * s;
    return {out * std::cos(angle) - along * std::sin(angle),
            out * std::sin(angle) + along * std::cos(angle), 0};
  }
};

} // namespace

DemoMesh makeLug(int size)
{
  // Cells around (a multiple of four, so that corners are nodes), outward and up. Nodes lie on a
  // lattice of half cells; a quadratic hexahedron has those with at most one odd index.
  const int around = 4 * std::max(1, (size + 2) / 4);
  const int outward = std::max(2, around / 5), up = std::max(1, around / 16);
  const int la = 2 * around, lo = 2 * outward + 1, lu = 2 * up + 1;

  std::vector<std::int32_t> nodeOf(static_cast<std::size_t>(la) * lo * lu, -1);
  std::vector<double> points;
  std::vector<float> mises, displacement;
  const auto node = [&](int a, int o, int u) {
    std::int32_t& id =
        nodeOf[static_cast<std::size_t>(a % la) + la * (o + static_cast<std::size_t>(lo) * u)];
    if (id >= 0) return id;
    id = static_cast<std::int32_t>(mises.size());
    const MbVec3d p =
        place(4.0 * (a % la) / la, static_cast<double>(o) / (lo - 1), 2.0 * u / (lu - 1) - 1);
    const Kirsch field(p);
    const MbVec3d d = field.displacement();
    points.insert(points.end(), {p.x + d.x, p.y + d.y, p.z + d.z});
    mises.push_back(static_cast<float>(field.mises()));
    for (std::size_t axis = 0; axis < 3; ++axis)
      displacement.push_back(static_cast<float>(d[axis]));
    return id;
  };

  // Outward, around, up is right-handed.
  constexpr int kNodes[20][3] = {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {0, 0, 2},
                                 {2, 0, 2}, {2, 2, 2}, {0, 2, 2}, {1, 0, 0}, {2, 1, 0},
                                 {1, 2, 0}, {0, 1, 0}, {1, 0, 2}, {2, 1, 2}, {1, 2, 2},
                                 {0, 1, 2}, {0, 0, 1}, {2, 0, 1}, {2, 2, 1}, {0, 2, 1}};
  std::vector<std::int32_t> connectivity;
  for (int u = 0; u < up; ++u) {
    for (int a = 0; a < around; ++a) {
      for (int o = 0; o < outward; ++o) {
        for (const auto& offset : kNodes)
          connectivity.push_back(node(2 * a + offset[1], 2 * o + offset[0], 2 * u + offset[2]));
      }
    }
  }

  DemoMesh demo;
  demo.mesh = std::make_shared<MbVolumeMeshUnstructured>(
      MbTopologyI(MiCellShape::QuadraticHexahedron, std::move(connectivity)), std::move(points));
  demo.arrays = {{"von Mises stress", MiDataBinding::PerNode, 1, std::move(mises)},
                 {"displacement", MiDataBinding::PerNode, 3, std::move(displacement)}};
  return demo;
}

} // namespace velmoview
