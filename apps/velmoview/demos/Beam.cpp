#include <velmoview/demos/MakeDemos.h>

#include <velmo/mesh/MbMesh.h>

#include <array>

namespace velmoview {

namespace {

// Metres and megapascals; the deformation is drawn exaggerated.
constexpr double kLength = 3.0, kWidth = 0.30, kHeight = 0.45;
constexpr double kFlange = 0.045, kWeb = 0.03;
constexpr double kTipDeflection = 0.42, kTipTwist = 0.22;
constexpr double kRootStress = 240, kWebShear = 38;

std::vector<double> graded(std::initializer_list<std::pair<double, int>> pieces, double from)
{
  std::vector<double> lines{from};
  for (const auto& [to, count] : pieces) {
    const double begin = lines.back();
    for (int n = 1; n <= count; ++n)
      lines.push_back(begin + (to - begin) * n / count);
  }
  return lines;
}

/// Where a point of the straight beam goes: bending of a cantilever, with a twist along it.
MbVec3d deform(const MbVec3d& p)
{
  const double s = p.x / kLength;
  const double sag = -kTipDeflection * s * s * (3 - s) / 2;
  const double slope = -kTipDeflection * (3 * s - 1.5 * s * s) / kLength;
  const double twist = kTipTwist * s * s;
  const double y = p.y * std::cos(twist) - p.z * std::sin(twist);
  const double z = p.y * std::sin(twist) + p.z * std::cos(twist);
  return {p.x - z * slope, y, z + sag};
}

/// Von Mises stress of beam theory: bending falls to the tip, shear sits in the web.
double stress(const MbVec3d& p)
{
  const double s = p.x / kLength;
  const double bending = kRootStress * (1 - s) * 2 * p.z / kHeight * (1 + 0.35 * p.y / kWidth);
  const double depth = 2 * std::abs(p.z) / kHeight;
  const double shear = kWebShear * (std::abs(p.y) <= kWeb ? 1.3 - 0.5 * depth * depth : 0.25);
  return std::sqrt(bending * bending + 3 * shear * shear);
}

} // namespace

DemoMesh makeBeam(int size)
{
  const int fine = std::max(1, size / 32);
  const std::vector<double> x = graded({{kLength, size}}, 0);
  const std::vector<double> y =
      graded({{-kWeb / 2, 3 * fine}, {kWeb / 2, fine}, {kWidth / 2, 3 * fine}}, -kWidth / 2);
  const std::vector<double> z = graded(
      {{-kHeight / 2 + kFlange, fine}, {kHeight / 2 - kFlange, 6 * fine}, {kHeight / 2, fine}},
      -kHeight / 2);
  const std::size_t nx = x.size(), ny = y.size(), nz = z.size();

  // A cell of the lattice belongs to a flange, the web, a stiffener plate, or to nothing.
  enum Part
  {
    Nothing = -1,
    Flange = 0,
    Web = 1,
    Stiffener = 2
  };
  const auto part = [&](std::size_t i, std::size_t j, std::size_t k) {
    const double cy = (y[j] + y[j + 1]) / 2, cz = (z[k] + z[k + 1]) / 2;
    if (std::abs(cz) > kHeight / 2 - kFlange) return Flange;
    if (std::abs(cy) < kWeb / 2) return Web;
    const std::size_t last = nx - 2, third = std::max<std::size_t>(1, (nx - 1) / 3);
    return i == 0 || i == last || (i % third == 0 && i + 1 < last) ? Stiffener : Nothing;
  };

  std::vector<std::int32_t> nodeOf(nx * ny * nz, -1);
  std::vector<MbVec3d> straight;
  std::vector<std::int32_t> connectivity;
  std::vector<float> parts;
  const auto node = [&](std::size_t i, std::size_t j, std::size_t k) {
    std::int32_t& id = nodeOf[i + nx * (j + ny * k)];
    if (id < 0) {
      id = static_cast<std::int32_t>(straight.size());
      straight.push_back({x[i], y[j], z[k]});
    }
    return id;
  };
  for (std::size_t i = 0; i + 1 < nx; ++i) {
    for (std::size_t k = 0; k + 1 < nz; ++k) {
      for (std::size_t j = 0; j + 1 < ny; ++j) {
        const Part p = part(i, j, k);
        if (p == Nothing) continue;
        for (std::size_t up : {k, k + 1}) {
          for (const auto& [a, b] : {std::pair{i, j}, {i + 1, j}, {i + 1, j + 1}, {i, j + 1}})
            connectivity.push_back(node(a, b, up));
        }
        parts.push_back(static_cast<float>(p));
      }
    }
  }

  DemoMesh demo;
  std::vector<double> points;
  std::vector<float> mises, displacement;
  for (const MbVec3d& p : straight) {
    const MbVec3d q = deform(p);
    points.insert(points.end(), {q.x, q.y, q.z});
    mises.push_back(static_cast<float>(stress(p)));
    for (std::size_t axis = 0; axis < 3; ++axis)
      displacement.push_back(static_cast<float>(q[axis] - p[axis]));
  }
  demo.mesh = std::make_shared<MbVolumeMeshUnstructured>(
      MbTopologyI(MiCellShape::Hexahedron, std::move(connectivity)), std::move(points));
  demo.arrays = {{"von Mises stress", MiDataBinding::PerNode, 1, std::move(mises)},
                 {"displacement", MiDataBinding::PerNode, 3, std::move(displacement)},
                 {"part", MiDataBinding::PerCell, 1, std::move(parts)}};
  return demo;
}

} // namespace velmoview
