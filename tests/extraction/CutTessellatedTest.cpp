#include <velmo/extraction/algorithms/map/MxDataMap.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbTessellator.h>

#include <tests/support/CutMesh.h>
#include <tests/support/UniformTessellator.h>

#include <gmock/gmock.h>

#include <numbers>

namespace {

using S = MiCellShape;

constexpr S kVolumes[] = {S::QuadraticTetrahedron, S::QuadraticHexahedron,    S::QuadraticWedge,
                          S::QuadraticPyramid,     S::TriquadraticHexahedron, S::BiquadraticWedge};
constexpr MbVec3d kCentre{2.03, 0.98, 0.51};
constexpr double kRadius = 0.43;

std::unique_ptr<MeXSurfaceMeshUnstructured> cut(const MiMesh& mesh, const MxCutShape& shape,
                                                const MiTessellator* tessellator,
                                                bool parallel = true,
                                                const MiCellFilter* filter = nullptr)
{
  laws::CutOptions options;
  options.tessellator = tessellator;
  options.parallel = parallel;
  options.filter = filter;
  return laws::cut(mesh, shape, options);
}

double areaError(const MeXSurfaceMeshUnstructured& surface)
{
  const double exact = 4 * std::numbers::pi * kRadius * kRadius;
  return std::abs(laws::sizeOf(surface).area - exact);
}

double squareDistance(const MbVec3d& p)
{
  return dot(p - kCentre, p - kCentre);
}

} // namespace

TEST(CutTessellated, SpheresAreClosedAndConverge)
{
  for (const S shape : kVolumes) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const auto mesh = zoo::blockOf(shape, {4, 4, 4});
    double last = 0;
    for (const unsigned parts : {1u, 2u, 4u}) {
      const MbUniformTessellator tessellator(parts);
      const auto surface = cut(*mesh, MxCutSphere{kCentre, kRadius}, &tessellator);
      laws::expectClosed(*surface);
      EXPECT_GT(laws::sizeOf(*surface).volume, 0);
      for (std::size_t n = 0; n < surface->geometry.getNodeCount(); ++n)
        EXPECT_NEAR(length(surface->geometry.getNode(n) - kCentre), kRadius, 1e-6);
      const double error = areaError(*surface);
      if (parts > 1) {
        EXPECT_LT(error, last / 2.5);
      }
      last = error;
    }
  }
}

TEST(CutTessellated, IsosurfacesFollowTheQuadraticField)
{
  for (const S shape : kVolumes) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const auto mesh = zoo::blockOf(shape, {4, 4, 4});
    const auto field = zoo::nodeSet(*mesh, squareDistance);
    double errors[2];
    for (const unsigned parts : {2u, 8u}) {
      const MbUniformTessellator tessellator(parts);
      const auto surface = cut(*mesh, MxIsovalue{field.get(), kRadius * kRadius}, &tessellator);
      laws::expectClosed(*surface);
      errors[parts / 8] = areaError(*surface);
    }
    // A pyramid's rational functions are exact for linear fields only.
    EXPECT_LT(errors[1], shape == S::QuadraticPyramid ? 0.02 : errors[0] / 8);
  }
}

TEST(CutTessellated, VerticesAndPolygonsKnowWhereTheyCameFrom)
{
  const auto mesh = zoo::blockOf(S::QuadraticWedge, {3, 2, 2});
  const auto x = zoo::nodeSet(*mesh, [](const MbVec3d& p) { return p.x; });
  const auto y2 = zoo::nodeSet(*mesh, [](const MbVec3d& p) { return p.y * p.y; });
  const MbUniformTessellator tessellator(4);
  const MxCutPlane plane{{1, 0.4, -0.3}, 1.6};
  const auto surface = cut(*mesh, plane, &tessellator);
  const MeXProvenance& provenance = surface->provenance;
  ASSERT_EQ(provenance.form, MeXProvenance::NodeForm::Weighted);
  const auto mappedX = mapDataSet<double>(provenance, *x, MxIndexing::I, MxIndexing::I, true);
  const auto mappedY = mapDataSet<double>(provenance, *y2, MxIndexing::I, MxIndexing::I, true);
  ASSERT_NE(mappedX, nullptr);
  ASSERT_GT(surface->geometry.getNodeCount(), 50u);
  for (std::size_t n = 0; n < surface->geometry.getNodeCount(); ++n) {
    const MbVec3d p = surface->geometry.getNode(n);
    EXPECT_NEAR(mappedX->values[n], p.x, 1e-6);
    // Linear between points a quarter of a box (1 / 2) apart.
    EXPECT_NEAR(mappedY->values[n], p.y * p.y, 0.125 * 0.125 / 4 + 1e-6);
  }
  EXPECT_TRUE(std::is_sorted(provenance.cells.begin(), provenance.cells.end()));
  EXPECT_EQ(laws::bytesOf(*surface), laws::bytesOf(*cut(*mesh, plane, &tessellator, false)));

  // A filtered cell is not there.
  const std::uint32_t gone = provenance.cells[provenance.cells.size() / 2];
  const MbFunctionFilterI filter([&](std::size_t cell) { return cell != gone; });
  const auto without = cut(*mesh, plane, &tessellator, true, &filter);
  EXPECT_EQ(std::count(without->provenance.cells.begin(), without->provenance.cells.end(), gone),
            0);
  EXPECT_LT(without->topology.getCellCount(), surface->topology.getCellCount());
}

TEST(CutTessellated, NeighboursOfDifferentFinenessMeet)
{
  // Only one end is bent, so that the edges of a cell differ.
  const auto straight = zoo::blockOf(S::QuadraticTetrahedron, {3, 2, 2});
  std::vector<double> points;
  for (std::size_t n = 0; n < straight->getGeometry().getNodeCount(); ++n) {
    const MbVec3d p = straight->getGeometry().getNode(n);
    const double along = std::max(0.0, p.x - 1);
    points.insert(points.end(), {p.x, p.y + 0.25 * along * along, p.z});
  }
  straight->setGeometry(MbPoints(std::move(points)));
  const MbChordTessellator tessellator(0.004);
  const auto surface = cut(*straight, MxCutSphere{{1.3, 0.55, 0.25}, 0.2}, &tessellator);
  EXPECT_GT(surface->topology.getCellCount(), 50u);
  laws::expectClosed(*surface);
}

TEST(CutTessellated, LinearMeshesAndDeclinedCellsAreCutAsWithout)
{
  const MxCutSphere sphere{kCentre, kRadius};
  UniformTessellator declines;
  declines.declines = true;
  const MbUniformTessellator uniform(3);
  const auto linear = zoo::blockOf(S::Polyhedron, {4, 4, 4});
  EXPECT_EQ(laws::bytesOf(*cut(*linear, sphere, &uniform)),
            laws::bytesOf(*cut(*linear, sphere, nullptr)));
  const auto quadratic = zoo::blockOf(S::TriquadraticHexahedron, {4, 4, 4});
  const auto with = cut(*quadratic, sphere, &declines), without = cut(*quadratic, sphere, nullptr);
  EXPECT_EQ(with->topology.getCellCount(), without->topology.getCellCount());
  EXPECT_NEAR(laws::sizeOf(*with).area, laws::sizeOf(*without).area, 1e-9);
  // All shapes in one mesh, polyhedra too.
  std::vector<S> shapes = zoo::shapesOf(3);
  const auto mixed = zoo::cellsOf(shapes);
  const auto& all = zoo::as<VOLUME_MESH_UNSTRUCTURED>(*mixed);
  const MxCutPlane plane{{0, 0.1, 1}, 0.47};
  EXPECT_NEAR(laws::sizeOf(*cut(all, plane, &uniform)).area,
              laws::sizeOf(*cut(all, plane, nullptr)).area, 1e-6);
  EXPECT_EQ(cut(all, MxCutPlane{{0, 0, 1}, 40}, &uniform)->topology.getCellCount(), 0u);
}
