#include <velmo/mesh/views/MxCellView.h>

#include <tests/io/TestFiles.h>
#include <tests/support/CutExtractors.h>
#include <tests/support/SkinLaws.h>

#include <gtest/gtest.h>

#include <random>

namespace {

TEST(RealPolyhedra, TheAreaOfACutIsTheSameWhicheverWayThePlaneFaces)
{
  SKIP_WITHOUT_DATA();
  for (const char* name :
       {"mixed_tiny/mixed_supported.vtk", "poly_pebi/poly_pebi.vtk", "hostile/poly_single.vtk"})
  {
    SCOPED_TRACE(name);
    const MbMeshFile file = MbMeshFile::read((dataFolder() / name).string());
    ASSERT_EQ(file.getMeshType(), VOLUME_MESH_UNSTRUCTURED);
    const MxCellView<VOLUME_MESH_UNSTRUCTURED> view(
        zoo::as<VOLUME_MESH_UNSTRUCTURED>(*file.getMesh()));
    CutExtractors cuts(*file.getMesh());
    std::mt19937 random(3);
    std::uniform_real_distribution<double> unit(-1, 1);
    std::size_t polygons = 0;
    for (std::size_t n = 0; n < 100; ++n) {
      const MbVec3d normal{unit(random), unit(random), unit(random)};
      // Near one node and another.
      const MbVec3d through = view.position(n * 29 % view.nodeCount()) * 0.97 +
                              view.position(n * 31 % view.nodeCount()) * 0.03;
      const double distance = dot(normal, through);
      const auto& surface = cuts.plane(normal, distance, nullptr);
      const double area = laws::sizeOf(surface).area;
      polygons += surface.topology.getCellCount();
      EXPECT_NEAR(laws::sizeOf(cuts.plane(normal * -1, -distance, nullptr)).area, area,
                  1e-6 * (area + 1))
          << "plane " << n;
    }
    EXPECT_GT(polygons, 50u);
  }
}

} // namespace
