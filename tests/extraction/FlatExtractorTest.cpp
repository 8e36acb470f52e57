#include <tests/support/ExtractorOf.h>
#include <tests/support/SkinLaws.h>
#include <tests/support/UniformTessellator.h>

#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <gmock/gmock.h>

#include <cmath>
#include <numeric>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Calls body(extractor) with an extractor of the mesh, which may be of any surface kind.
template <class Body>
void withSurface(const MiMesh& mesh, bool parallel, const Body& body)
{
  visitMeshKind(MxSurfaceKinds{}, classifyMesh(&mesh), [&]<MeshType K>() {
    body(*extractors::Surface<K>::getNewInstance(zoo::as<K>(mesh), parallel));
  });
}
template <class Body>
void withLines(const MiMesh& mesh, bool parallel, const Body& body)
{
  visitMeshKind(MxLineKinds{}, classifyMesh(&mesh), [&]<MeshType K>() {
    body(*extractors::Lines<K>::getNewInstance(zoo::as<K>(mesh), parallel));
  });
}

std::string surfaceBytes(const MiMesh& mesh, bool parallel = true)
{
  std::string bytes;
  withSurface(mesh, parallel,
              [&](auto& extractor) { bytes = laws::bytesOf(extractor.extractSurface(nullptr)); });
  return bytes;
}
std::string lineBytes(const MiMesh& mesh, bool parallel = true)
{
  std::string bytes;
  withLines(mesh, parallel,
            [&](auto& extractor) { bytes = laws::bytesOf(extractor.extractLine(nullptr)); });
  return bytes;
}

std::vector<std::uint32_t> numbers(const MxArray<std::uint32_t>& array)
{
  return {array.begin(), array.end()};
}

zoo::Active everyThirdDead(std::size_t cells)
{
  zoo::Active active(cells, 1);
  for (std::size_t cell = 1; cell < cells; cell += 3)
    active[cell] = 0;
  return active;
}

} // namespace

TEST(SurfaceExtract, EveryKindGivesTheSameSheetUnderItsOwnNumbers)
{
  for (const bool dead : {false, true}) {
    const zoo::Active active = dead ? everyThirdDead(20) : zoo::Active{};
    std::string expected;
    for (const MeshType kind : zoo::kSurfaceKinds) {
      SCOPED_TRACE(meshTypeName(kind));
      const auto mesh = zoo::sheet(kind, {5, 4, 0}, active);
      withSurface(*mesh, true, [&](auto& extractor) {
        const auto& surface = extractor.extractSurface(nullptr);
        EXPECT_EQ(surface.topology.getCellCount(), dead ? 13u : 20u);
        EXPECT_NEAR(laws::sizeOf(surface).area, dead ? 6.5 : 10, 1e-6);
        EXPECT_EQ(surface.getProvenance().sourceCells.x * surface.getProvenance().sourceCells.y,
                  20u);
        EXPECT_THAT(extractor.getWarnings(), IsEmpty());
        if (!dead) {
          // Whole: the nodes keep their numbers.
          EXPECT_THAT(laws::cellsOf(surface)[6], ElementsAre(7, 8, 14, 13));
          EXPECT_EQ(surface.provenance.nodes[29], 29u);
        }
      });
      const std::string bytes = surfaceBytes(*mesh);
      if (expected.empty()) expected = bytes;
      EXPECT_EQ(bytes, expected);
      EXPECT_EQ(surfaceBytes(*zoo::procedural(zoo::sheet(kind, {5, 4, 0}, active))), expected);
      const auto large =
          zoo::sheet(kind, {150, 131, 0}, dead ? everyThirdDead(150 * 131) : zoo::Active{});
      EXPECT_EQ(surfaceBytes(*large, false), surfaceBytes(*large, true));
    }
  }
}

TEST(SurfaceExtract, TakesOnlyAcceptedCellsAndTheNodesTheyUse)
{
  for (const MeshType kind : zoo::kSurfaceKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    const auto mesh = zoo::sheet(kind, {3, 2, 0});
    visitMeshKind(MxSurfaceKinds{}, kind, [&]<MeshType K>() {
      using Mask =
          std::conditional_t<K == SURFACE_MESH_UNSTRUCTURED, MbMaskFilterI, MbMaskFilterIj>;
      const auto mask = [&]() -> Mask {
        std::vector<std::uint8_t> keep{0, 0, 1, 0, 1, 0};
        if constexpr (K == SURFACE_MESH_UNSTRUCTURED)
          return Mask(std::move(keep));
        else
          return Mask(std::move(keep), MbIndex3{3, 2, 1});
      }();
      withSurface(*mesh, true, [&](auto& extractor) {
        if constexpr (requires { extractor.extractSurface(&mask); }) {
          const auto& surface = extractor.extractSurface(&mask);
          EXPECT_THAT(laws::cellsOf(surface),
                      ElementsAre(ElementsAre(0, 1, 2, 3), ElementsAre(4, 3, 5, 6)));
          EXPECT_THAT(numbers(surface.provenance.cells), ElementsAre(2, 4));
          EXPECT_THAT(numbers(surface.provenance.nodes), ElementsAre(2, 3, 7, 6, 5, 10, 9));
          EXPECT_EQ(extractor.extractLine(&mask).topology.getCellCount(), 8u);
          EXPECT_EQ(extractor.extractPoints(&mask).geometry.getNodeCount(), 7u);
        } else {
          ADD_FAILURE() << "no filter of this numbering";
        }
      });
    });
  }
}

TEST(SurfaceExtract, KeepsPolygonsAndCutsQuadraticCellsIntoTheirParts)
{
  const std::vector<MiCellShape> shapes = zoo::shapesOf(2);
  const auto mesh = zoo::cellsOf(shapes);
  withSurface(*mesh, true, [&](auto& extractor) {
    const auto& surface = extractor.extractSurface(nullptr);
    std::map<MiCellShape, std::vector<std::size_t>> sizes;
    std::map<MiCellShape, double> areas;
    for (std::size_t c = 0; c < surface.topology.getCellCount(); ++c) {
      const MiCellShape shape = shapes[surface.provenance.cells[c]];
      sizes[shape].push_back(surface.topology.getCellSize(c));
    }
    using S = MiCellShape;
    EXPECT_THAT(sizes[S::Triangle], ElementsAre(3));
    EXPECT_THAT(sizes[S::Quad], ElementsAre(4));
    EXPECT_THAT(sizes[S::Polygon], ElementsAre(5));
    EXPECT_THAT(sizes[S::QuadraticTriangle], ElementsAre(3, 3, 3, 3));
    EXPECT_THAT(sizes[S::QuadraticQuad], ElementsAre(3, 3, 3, 3, 4));
    EXPECT_THAT(sizes[S::BiquadraticQuad], ElementsAre(4, 4, 4, 4));
    EXPECT_NEAR(laws::sizeOf(surface).area, 2 * 0.5 + 3 + 0.75, 1e-6);
  });
}

TEST(SurfaceExtract, RefinesHigherOrderCellsByTheTessellator)
{
  const auto mesh = zoo::cellsOf({MiCellShape::Quad, MiCellShape::QuadraticTriangle});
  UniformTessellator tessellator;
  tessellator.parts = 2;
  const auto extractor = MiSurfaceExtractUnstructured::getNewInstance(
      zoo::as<SURFACE_MESH_UNSTRUCTURED>(*mesh), true, &tessellator);
  const auto& surface = extractor->extractSurface(nullptr);
  EXPECT_THAT(numbers(surface.provenance.cells), ElementsAre(0, 1, 1, 1, 1));
  EXPECT_NEAR(laws::sizeOf(surface).area, 1 + 0.5, 1e-6);
  // Four edges of the quad, two halves of each edge of the triangle.
  EXPECT_EQ(extractor->extractLine(nullptr).topology.getCellCount(), 10u);
  EXPECT_EQ(extractor->extractPoints(nullptr).geometry.getNodeCount(), 10u);
}

TEST(SurfaceExtract, KeepsTheCellsOfAGridThatTouchNoLostNode)
{
  std::vector<double> lattice;
  for (int j = 0; j < 4; ++j)
    for (int i = 0; i < 4; ++i)
      lattice.insert(lattice.end(), {double(i), i == 2 && j == 1 ? kNaN : double(j), 0.});
  const MbSurfaceMeshCurvilinear grid(MbTopologyIj{3, 3}, lattice);
  withSurface(grid, false, [&](auto& extractor) {
    EXPECT_THAT(numbers(extractor.extractSurface(nullptr).provenance.cells),
                ElementsAre(0, 3, 6, 7, 8));
  });
  const std::vector<double> a{0, 1, kInfinity}, b{0, 1};
  const MbSurfaceMeshRectilinear axes(MbTopologyIj{2, 1}, a, b);
  EXPECT_EQ(surfaceBytes(axes), surfaceBytes(axes, false));
  withSurface(axes, true, [&](auto& extractor) {
    EXPECT_THAT(numbers(extractor.extractSurface(nullptr).provenance.cells), ElementsAre(0));
  });
}

TEST(SurfaceExtract, LeavesOutWhatIsNoFace)
{
  // A segment, a polygon of two nodes, a volume, a quad that is a triangle, a polygon of one node
  // named four times.
  const std::vector<std::int64_t> connectivity{0, 1, 0, 1, 0, 1, 2, 3, 0, 1, 1, 2, 3, 3, 3, 3};
  const std::vector<std::int32_t> offsets{0, 2, 4, 8, 12, 16};
  const std::vector<std::uint8_t> shapes{3, 7, 10, 9, 7};
  const std::vector<float> points{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
  const MbSurfaceMeshUnstructured mesh({shapes, offsets, connectivity}, points);
  withSurface(mesh, true, [&](auto& extractor) {
    const auto& surface = extractor.extractSurface(nullptr);
    EXPECT_THAT(laws::cellsOf(surface), ElementsAre(ElementsAre(0, 1, 2)));
    EXPECT_THAT(numbers(surface.provenance.cells), ElementsAre(3));
  });
  const MbSurfaceMeshRegular nothing(MbTopologyIj{0, 5}, MbVec3d{}, MbVec3d{1, 0, 0},
                                     MbVec3d{0, 1, 0});
  withSurface(nothing, true, [&](auto& extractor) {
    EXPECT_EQ(extractor.extractSurface(nullptr).topology.getCellCount(), 0u);
    EXPECT_EQ(extractor.extractLine(nullptr).topology.getCellCount(), 0u);
  });
}

TEST(LineExtract, EveryKindGivesTheSameRow)
{
  for (const std::size_t cells : {7, 20000}) {
    for (const bool dead : {false, true}) {
      const zoo::Active active = dead ? everyThirdDead(cells) : zoo::Active{};
      std::string expected;
      for (const MeshType kind : zoo::kLineKinds) {
        SCOPED_TRACE(meshTypeName(kind));
        const auto mesh = zoo::row(kind, cells, active);
        const std::string bytes = lineBytes(*mesh);
        if (expected.empty()) expected = bytes;
        EXPECT_EQ(bytes, expected);
        EXPECT_EQ(lineBytes(*mesh, false), expected);
        EXPECT_EQ(lineBytes(*zoo::procedural(zoo::row(kind, cells, active))), expected);
      }
    }
  }
  withLines(*zoo::row(LINE_MESH_REGULAR, 4, {1, 0, 1, 1}), true, [](auto& extractor) {
    MbIndexRangeFilterI filter(0, 3);
    const auto& lines = extractor.extractLine(&filter);
    EXPECT_THAT(laws::cellsOf(lines), ElementsAre(ElementsAre(0, 1), ElementsAre(2, 3)));
    EXPECT_THAT(numbers(lines.provenance.cells), ElementsAre(0, 2));
    EXPECT_THAT(numbers(lines.provenance.nodes), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(extractor.extractPoints(&filter).geometry.getNodeCount(), 4u);
  });
}

TEST(LineExtract, KeepsPolylinesAndRunsThroughMiddles)
{
  const auto mesh =
      zoo::cellsOf({MiCellShape::Line, MiCellShape::Polyline, MiCellShape::QuadraticLine});
  withLines(*mesh, true, [](auto& extractor) {
    const auto& lines = extractor.extractLine(nullptr);
    EXPECT_THAT(laws::cellsOf(lines),
                ElementsAre(ElementsAre(0, 1), ElementsAre(2, 3, 4, 5), ElementsAre(6, 8, 7)));
    EXPECT_NEAR(laws::lengthOf(lines), 1 + 2 * std::sqrt(0.5) + 1 + 1, 1e-6);
    EXPECT_EQ(lines.topology.getCellShape(1), MiCellShape::Polyline);
  });
  UniformTessellator tessellator;
  tessellator.parts = 2;
  const auto extractor = MiLineExtractUnstructured::getNewInstance(
      zoo::as<LINE_MESH_UNSTRUCTURED>(*mesh), true, &tessellator);
  const auto& lines = extractor->extractLine(nullptr);
  EXPECT_THAT(numbers(lines.provenance.cells), ElementsAre(0, 1, 2, 2));
  EXPECT_EQ(extractor->extractPoints(nullptr).geometry.getNodeCount(), 9u);
}

TEST(LineExtract, KeepsTheEndOfAClosedPolyline)
{
  const std::vector<std::int32_t> connectivity{0, 1, 1, 2, 0, 1, 1};
  const std::vector<std::int32_t> offsets{0, 5, 7};
  const std::vector<std::uint8_t> shapes{4, 3};
  const std::vector<float> points{0, 0, 0, 1, 0, 0, 1, 1, 0};
  const MbLineMeshUnstructured mesh({shapes, offsets, connectivity}, points);
  withLines(mesh, true, [](auto& extractor) {
    EXPECT_THAT(laws::cellsOf(extractor.extractLine(nullptr)),
                ElementsAre(ElementsAre(0, 1, 2, 0)));
  });
}
