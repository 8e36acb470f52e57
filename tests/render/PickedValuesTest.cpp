#include <velmo/render/details/MxPickedValues.h>

#include <tests/support/ExtractedMesh.h>

#include <gtest/gtest.h>

#include <cmath>

TEST(MxPickedValues, LeaveOutCornersThatDoNotCount)
{
  MeXSurfaceMeshUnstructured mesh;
  fillPoints(mesh, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
  fillCells(mesh, {{0, 1, 2, 3}});
  MeXDataSetI<double> values("values", MiDataBinding::PerNode);
  values.values = {1, 3, std::nan(""), 5};
  const MxPickedValues picked(mesh.topology, mesh.geometry, mesh.provenance, {&values}, 0);
  EXPECT_EQ(picked.valuesAt({0, 0, 0}), std::vector<double>{1});
  EXPECT_NEAR(picked.valuesAt({0.25, 0, 0})[0], 1.5, 1e-12) << "on the side between two numbers";
  EXPECT_TRUE(std::isnan(picked.valuesAt({0.5, 0.5, 0})[0]));
}
