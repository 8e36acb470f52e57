#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <benchmarks/Workloads.h>
#include <tests/support/CutMesh.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using S = MiCellShape;

/// A set with the values of a function of the nodes' places.
MbScalardSetI field(const MiVolumeMeshUnstructured& mesh,
                    const std::function<double(const MbVec3d&)>& function)
{
  std::vector<double> values;
  for (std::size_t n = 0; n < mesh.getGeometry().getNodeCount(); ++n)
    values.push_back(function(mesh.getGeometry().getNode(n)));
  return MbScalardSetI("f", MiDataBinding::PerNode, std::move(values));
}

std::unique_ptr<MbVolumeMeshUnstructured> meshOf(const bench::CellArrays& arrays)
{
  return std::make_unique<MbVolumeMeshUnstructured>(
      MbTopologyI(arrays.types, arrays.offsets, arrays.connectivity), arrays.points);
}

/// Closed shapes well inside a block of 8 x 8 x 8 boxes of 1 x 1/2 x 1/4.
const MxCutSphere kSphere{{4.03, 2.02, 1.01}, 0.83};

} // namespace

TEST(CutShapes, SphereInABlockOfEveryShapeIsClosedAndRound)
{
  for (const S shape : zoo::shapesOf(3)) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const auto mesh = zoo::blockOf(shape, {8, 8, 8});
    const auto surface = laws::cut(*mesh, kSphere);
    laws::expectSound(*surface);
    const laws::Size size = laws::sizeOf(*surface);
    EXPECT_NEAR(size.volume, 4 * bench::kPi / 3 * std::pow(kSphere.radius, 3), 0.4);
    EXPECT_GT(size.volume, 0);
    EXPECT_NEAR(size.area, 4 * bench::kPi * kSphere.radius * kSphere.radius, 1);
    for (std::size_t n = 0; n < surface->geometry.getNodeCount(); ++n)
      EXPECT_NEAR(length(surface->geometry.getNode(n) - kSphere.center), kSphere.radius, 1e-6);
  }
}

// One isosurface through hexahedra, tetrahedra, wedges and pyramids: no cracks between them.
TEST(CutShapes, ConformingMixedMeshHasNoCracks)
{
  const bench::CellArrays arrays = bench::makeMixed(16);
  const auto mesh = meshOf(arrays);
  const auto set = field(*mesh, [](const MbVec3d& p) {
    return std::sin(17 * p.x) * std::cos(15 * p.y) + std::sin(16 * p.y) * std::cos(17 * p.z) +
           std::sin(15 * p.z) * std::cos(16 * p.x) -
           400 * std::pow(std::max(0.0, length(p - MbVec3d{0.5, 0.5, 0.5}) - 0.3), 2);
  });
  const auto surface = laws::cut(*mesh, MxIsovalue{&set, 0.2});
  EXPECT_GT(surface->topology.getCellCount(), 1000u);
  laws::expectSound(*surface);
  EXPECT_LT(laws::sizeOf(*surface).volume, 0); // larger values are inside
}
