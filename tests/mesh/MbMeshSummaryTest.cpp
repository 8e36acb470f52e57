#include <tests/support/MeshZoo.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMeshDump.h>
#include <velmo/mesh/MbMeshSummary.h>

#include <gmock/gmock.h>

#include <cmath>
#include <sstream>

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Pair;

namespace {
std::string dump(const MiMesh& mesh, std::vector<const MiDataSet*> sets = {},
                 const MbDumpOptions& options = {})
{
  std::ostringstream out;
  mbDump(out, mesh, sets, options);
  return out.str();
}

class NoKind final : public MiMesh
{};
} // namespace

TEST(MbBoundingBox, OfEveryKindHoldsItsNodesTightly)
{
  for (const MeshType kind : zoo::kVolumeKinds) {
    const auto mesh = zoo::block(kind, {3, 4, 5});
    const MbBox box = mbBoundingBox(*mesh);
    EXPECT_EQ(box.min, (MbVec3d{0, 0, 0})) << meshTypeName(kind);
    EXPECT_EQ(box.max, (MbVec3d{3, 2, 1.25})) << meshTypeName(kind);
  }
  EXPECT_EQ(mbBoundingBox(*zoo::pillarBlock({3, 4, 5})).max, (MbVec3d{3, 2, 1.25}));
  const MbBox skewed = mbBoundingBox(*zoo::small(SURFACE_MESH_REGULAR));
  EXPECT_EQ(skewed.min, (MbVec3d{1, 2, 3}));
  EXPECT_EQ(skewed.max, (MbVec3d{4, 4, 5}));
  const MbBox falling = mbBoundingBox(*zoo::small(SURFACE_MESH_RECTILINEAR));
  EXPECT_EQ(falling.min, (MbVec3d{1, 0, 3}));
  EXPECT_EQ(falling.max, (MbVec3d{5.5, 2, 7.5}));
  for (const MeshType kind : zoo::kKinds) {
    const MbBox box = mbBoundingBox(*zoo::small(kind));
    const MbBox procedural = mbBoundingBox(*zoo::procedural(zoo::small(kind)));
    EXPECT_EQ(procedural.min, box.min) << meshTypeName(kind);
    EXPECT_EQ(procedural.max, box.max) << meshTypeName(kind);
  }
}

TEST(MbBoundingBox, LeavesOutNodesThatAreNotFinite)
{
  const std::vector<float> points{NAN, -9, -9, 1, 2, 3, INFINITY, 9, 9, 2, 1, 4};
  const MbLineMeshCurvilinear line(3, points);
  EXPECT_EQ(mbBoundingBox(line).min, (MbVec3d{1, 1, 3}));
  EXPECT_EQ(mbBoundingBox(line).max, (MbVec3d{2, 2, 4}));
  const std::vector<double> x{NAN, 5, 3, INFINITY}, none{NAN, NAN};
  const MbVolumeMeshRectilinear box(MbIndex3{3, 3, 3}, x, x, x);
  EXPECT_EQ(mbBoundingBox(box).min, (MbVec3d{3, 3, 3}));
  EXPECT_EQ(mbBoundingBox(box).max, (MbVec3d{5, 5, 5}));
  EXPECT_TRUE(mbBoundingBox(MbVolumeMeshRectilinear(MbIndex3{3, 1, 3}, x, none, x)).isEmpty());
  EXPECT_TRUE(mbBoundingBox(MbVolumeMeshUnstructured(MbTopologyI{}, MbPoints{})).isEmpty());
}

TEST(MbBoundingBox, IsTheSameInParallel)
{
  std::vector<double> points;
  for (int n = 0; n < 300000; ++n)
    points.push_back(n % 7 == 0 ? NAN : std::sin(n) * (1 + n % 1013));
  const MbLineMeshCurvilinear line(99999, points);
  EXPECT_EQ(mbBoundingBox(line, true).min, mbBoundingBox(line, false).min);
  EXPECT_EQ(mbBoundingBox(line, true).max, mbBoundingBox(line, false).max);
  EXPECT_GT(mbBoundingBox(line).max.x, 1000);
}

TEST(MbMeshSummary, CountsShapesAndDeadCells)
{
  using S = MiCellShape;
  const auto mesh = zoo::cellsOf({S::Wedge, S::Tetrahedron, S::Wedge}, {1, 0, 0});
  const MbMeshSummary summary = mbSummarize(*mesh);
  EXPECT_EQ(summary.type, VOLUME_MESH_UNSTRUCTURED);
  EXPECT_EQ(summary.cellCount, 3u);
  EXPECT_EQ(summary.deadCellCount, 2u);
  EXPECT_EQ(summary.nodeCount, 16u);
  EXPECT_THAT(summary.shapes, ElementsAre(Pair(S::Tetrahedron, 1u), Pair(S::Wedge, 2u)));
  const MbMeshSummary grid = mbSummarize(*zoo::small(VOLUME_MESH_VERTEX_HEXAHEDRON_IJK));
  EXPECT_EQ(grid.cellCounts, (MbIndex3{4, 2, 3}));
  EXPECT_EQ(grid.nodeCounts, (MbIndex3{5, 3, 4}));
  EXPECT_EQ(grid.deadCellCount, 1u);
  EXPECT_EQ(mbSummarize(NoKind()).type, UNDEFINED_MESH);
}

TEST(MbMeshDump, WritesAMeshAndItsSetsInFull)
{
  const std::vector<float> points{0, 0, 0, 1, 0, 0, 0, 0.1f, 0, NAN, 0, 1};
  const std::vector<int> connectivity{0, 1, 2, 3, 0, 1, 2, -1}, active{1, 0};
  const MbVolumeMeshUnstructured mesh({MiCellShape::Tetrahedron, connectivity, active}, points);
  const MbScalardSetI depth("depth", MiDataBinding::PerNode,
                            std::vector<double>{0.1, -2, 1e300, 0});
  const MbStringSetI name("a \"b\"", MiDataBinding::PerCell, std::vector<std::string>{"x\ny", ""});
  EXPECT_EQ(dump(mesh, {&depth, nullptr, &name}), R"(mesh VOLUME_MESH_UNSTRUCTURED
cells 2 dead 1 counts 2 1 1
nodes 4 counts 4 1 1
shapes tetrahedron 2
bounds 0 0 0 1 0.10000000149011612 0
node 0 0 0 0
node 1 1 0 0
node 2 0 0.10000000149011612 0
node 3 nan 0 1
cell 0 tetrahedron 0 1 2 3
cell 1 tetrahedron 0 1 2 18446744073709551615 dead
set "depth" PER_NODE double 4 1 1
value 0 0.1
value 1 -2
value 2 1e+300
value 3 0
set "a \"b\"" PER_CELL string 2 1 1
value 0 "x\ny"
value 1 ""
)");
}

TEST(MbMeshDump, OfEveryKindIsTheSameForArraysAndCalls)
{
  for (const MeshType kind : zoo::kKinds) {
    const std::string text = dump(*zoo::small(kind));
    EXPECT_EQ(dump(*zoo::procedural(zoo::small(kind))), text);
    EXPECT_THAT(text, HasSubstr("dead\n")) << text;
  }
  EXPECT_EQ(dump(NoKind()).substr(0, 20), "mesh UNDEFINED_MESH\n");
}

TEST(MbMeshDump, CountsWhatItLeavesOut)
{
  const auto mesh = zoo::block(VOLUME_MESH_REGULAR, {2, 2, 2});
  const MbVec3dSetIjk flow("flow", MiDataBinding::PerCell, {2, 2, 2}, std::vector<float>(24));
  const std::string text = dump(*mesh, {&flow}, {.maxItems = 3});
  EXPECT_THAT(text, HasSubstr("node 2 2 0 0\nleft out 24 nodes\ncell 0 "));
  EXPECT_THAT(text,
              HasSubstr("left out 5 cells\nset \"flow\" PER_CELL vec3 2 2 2\nvalue 0 0 0 0\n"));
  EXPECT_THAT(text, EndsWith("left out 5 values\n"));
}
