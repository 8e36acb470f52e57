#include <velmoview/Camera.h>
#include <velmoview/Measure.h>

#include <velmo/nodes/MoVelmo.h>

#include <tests/support/ExtractedMesh.h>

#include <gtest/gtest.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/SbViewVolume.h>

#include <random>

using namespace velmoview;

namespace {

/// A tent: two quads and two triangles over the square without its floor, `height` high.
void makeTent(MeXSurfaceMeshUnstructured& tent, float height)
{
  fillPoints(tent, {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {0, 1, height}, {2, 1, height}});
  fillCells(tent, {{0, 1, 5, 4}, {2, 3, 4, 5}, {0, 4, 3}, {1, 2, 5}});
}

} // namespace

TEST(Measure, AddsUpPolygonsAndFindsTheOpenEdges)
{
  MeXSurfaceMeshUnstructured tent;
  makeTent(tent, 1);

  const MiMesh* const meshes[] = {&tent};
  const Measures measures = measure(meshes);

  EXPECT_EQ(measures.cells, 4u);
  EXPECT_EQ(measures.nodes, 6u);
  EXPECT_NEAR(measures.area, 2 * 2 * std::sqrt(2.0) + 2, 1e-12);
  EXPECT_EQ(measures.openEdges, 4u); // the floor is missing
  EXPECT_EQ(measures.bounds, (Bounds{0, 2, 0, 2, 0, 1}));

  MeXSurfaceMeshUnstructured book;
  makeTent(book, 1);
  fillCells(book, {{0, 1, 2}, {0, 1, 4}, {0, 1, 5}});
  const MiMesh* const pages[] = {&book};
  EXPECT_EQ(measure(pages).openEdges, 6u); // the back has three faces
}

TEST(Measure, KnowsTheAreaOfAPolygonWithANotch)
{
  // A U of seven unit squares, from each of its corners: fans from most of them leave the polygon.
  std::vector<MbVec3f> corners{{0, 0, 5}, {3, 0, 5}, {3, 3, 5}, {2, 3, 5},
                               {2, 1, 5}, {1, 1, 5}, {1, 3, 5}, {0, 3, 5}};
  for (std::size_t n = 0; n < corners.size(); ++n) {
    MeXSurfaceMeshUnstructured letter;
    fillPoints(letter, corners);
    fillCells(letter, {{0, 1, 2, 3, 4, 5, 6, 7}});
    const MiMesh* const meshes[] = {&letter};
    EXPECT_NEAR(measure(meshes).area, 7, 1e-12) << n;
    std::rotate(corners.begin(), corners.begin() + 1, corners.end());
  }
}

TEST(Measure, AddsUpTheSegmentsOfSeveralMeshes)
{
  MeXLineMeshUnstructured lines;
  const MbVec3f nodes[] = {{0, 0, 0}, {3, 0, 0}, {3, 4, 0}, {-1, 0, 0}};
  lines.geometry.points().resize(4);
  std::copy(std::begin(nodes), std::end(nodes), lines.geometry.points().data());
  const int indices[] = {0, 1, 2, 0, -1, 0, 3, -1};
  MxArray<int>& list = lines.topology.setMixed(2, std::size(indices));
  std::copy(std::begin(indices), std::end(indices), list.data());
  lines.topology.begins().resize(3);
  const std::uint32_t begins[] = {0, 5, 8};
  std::copy(std::begin(begins), std::end(begins), lines.topology.begins().data());
  MeXPointMeshCurvilinear points;
  points.geometry.points().resize(1);
  points.geometry.points()[0] = {0, 0, 9};

  const MiMesh* const meshes[] = {&points, &lines};
  const Measures measures = measure(meshes);

  EXPECT_EQ(measures.cells, 1u + 4u);
  EXPECT_EQ(measures.nodes, 5u);
  EXPECT_NEAR(measures.length, 3 + 4 + 5 + 1, 1e-12);
  EXPECT_EQ(measures.area, 0);
  EXPECT_EQ(measures.bounds, (Bounds{-1, 3, 0, 4, 0, 9}));
}

TEST(Measure, IsInDoubleAroundAFarOrigin)
{
  MeXSurfaceMeshUnstructured tent;
  makeTent(tent, 1);
  tent.geometry.origin = {6e6, 1e9, -4e8};

  const MiMesh* const meshes[] = {&tent};
  const Measures measures = measure(meshes);

  EXPECT_NEAR(measures.area, 2 * 2 * std::sqrt(2.0) + 2, 1e-6);
  EXPECT_EQ(measures.bounds, (Bounds{6e6, 6e6 + 2, 1e9, 1e9 + 2, -4e8, -4e8 + 1}));
}

TEST(Camera, ShowsAllPointsAndTouchesTheMargins)
{
  MoVelmo::init();
  std::mt19937 random(7);
  std::uniform_real_distribution<double> place(-1, 1);
  for (const MbVec3d& scale : {MbVec3d{1, 1, 1}, {1000, 3, 0.1}, {0, 5, 5}, {0, 0, 2}}) {
    for (const MbVec3d& direction : {MbVec3d{-0.5, 0.7, -0.5}, {0, 0, -3}, {1e-9, 0, 1}}) {
      std::vector<MbVec3d> points;
      for (int n = 0; n < 50; ++n)
        points.push_back(
            {scale.x * place(random) + 7, scale.y * place(random), scale.z * place(random)});
      points.push_back({0, std::nan(""), 0}); // is left out
      const bool isWide = length(cross(direction, scale)) > 1e-3;
      SoPerspectiveCamera* camera = new SoPerspectiveCamera;
      camera->ref();

      fitCamera(*camera, points, viewAxes(direction), 1.5);

      const SbViewVolume volume = camera->getViewVolume(1.5f);
      double reach = 0;
      for (std::size_t n = 0; n + 1 < points.size(); ++n) {
        const MbVec3d& p = points[n];
        SbVec3f seen;
        volume.projectToScreen({float(p.x), float(p.y), float(p.z)}, seen);
        for (int axis = 0; axis < 2; ++axis)
          reach = std::max<double>(reach, std::abs(2 * seen[axis] - 1));
        EXPECT_GE(seen[2], 0);
        EXPECT_LE(seen[2], 1);
      }
      EXPECT_LT(reach, 0.95);
      if (isWide) {
        EXPECT_GT(reach, 0.7);
      }

      // What is kept free, at one side more than at the other, stays free.
      const PictureMargins margins{.left = 0.1, .right = 0.25, .bottom = 0.05, .top = 0.3};
      fitCamera(*camera, points, viewAxes(direction), 1.5, margins);
      const SbViewVolume narrow = camera->getViewVolume(1.5f);
      for (std::size_t n = 0; n + 1 < points.size(); ++n) {
        const MbVec3d& p = points[n];
        SbVec3f seen;
        narrow.projectToScreen({float(p.x), float(p.y), float(p.z)}, seen);
        EXPECT_GT(seen[0], margins.left);
        EXPECT_LT(seen[0], 1 - margins.right);
        EXPECT_GT(seen[1], margins.bottom);
        EXPECT_LT(seen[1], 1 - margins.top);
      }
      camera->unref();
    }
  }
  MoVelmo::finish();
}
