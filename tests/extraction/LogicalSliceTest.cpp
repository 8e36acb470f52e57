#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <tests/support/ExtractorOf.h>
#include <tests/support/SkinLaws.h>

#include <velmo/mesh/MbCellFilter.h>

#include <gmock/gmock.h>

#include <limits>
#include <set>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using Kinds = extractors::LayerKinds;
constexpr MiMesh::Dimension kAxes[] = {MiMesh::DIMENSION_I, MiMesh::DIMENSION_J,
                                       MiMesh::DIMENSION_K};

std::unique_ptr<MiLogicalSliceExtract> makeSlice(const MiMesh& mesh, bool parallel)
{
  return extractors::make<MiLogicalSliceExtract, extractors::Layer>(Kinds{}, mesh, parallel);
}

std::unique_ptr<MiInterpolatedLogicalSliceExtractBase> makeBetween(const MiMesh& mesh,
                                                                   bool parallel)
{
  return extractors::make<MiInterpolatedLogicalSliceExtractBase, extractors::Between>(Kinds{}, mesh,
                                                                                      parallel);
}

constexpr MbIndex3 kLarge{71, 24, 67};

/// What a slice of the zoo's blocks has to be, cell by cell: the source cell and the four corners.
struct Expected
{
  std::vector<std::uint32_t> cells;
  std::vector<MbVec3f> corners;
};

template <class Taken>
Expected expectedSlice(const MbIndex3& cells, std::size_t axis, std::size_t index, double fraction,
                       const Taken& isTaken, bool facesUp = false)
{
  constexpr const MxShapeFaces& faces = kLinearFaces<MiCellShape::Hexahedron>;
  constexpr std::size_t steps[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                       {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
  Expected expected;
  MbIndex3 at;
  for (at.z = 0; at.z < cells.z; ++at.z)
    for (at.y = 0; at.y < cells.y; ++at.y)
      for (at.x = 0; at.x < cells.x; ++at.x) {
        if (at[axis] != index || !isTaken(at)) continue;
        expected.cells.push_back(
            static_cast<std::uint32_t>(at.x + cells.x * (at.y + cells.y * at.z)));
        for (std::size_t n = 0; n < 4; ++n) {
          const auto& step = steps[faces[2 * axis + (facesUp ? 1 : 0)].nodes[n]];
          double corner[3];
          for (std::size_t c = 0; c < 3; ++c)
            corner[c] = static_cast<double>(at[c] + step[c]);
          if (!facesUp) corner[axis] += fraction;
          expected.corners.push_back({static_cast<float>(corner[0]),
                                      static_cast<float>(corner[1] / 2),
                                      static_cast<float>(corner[2] / 4)});
        }
      }
  return expected;
}

void expectSame(const MeXSurfaceMeshUnstructured& surface, const Expected& expected)
{
  ASSERT_EQ(surface.topology.getCellCount(), expected.cells.size());
  std::size_t wrong = 0;
  for (std::size_t f = 0; f < expected.cells.size(); ++f) {
    const auto face = surface.topology.getCell(f);
    ASSERT_EQ(face.size(), 4u);
    wrong += surface.provenance.cells[f] != expected.cells[f];
    for (std::size_t n = 0; n < 4; ++n)
      wrong += surface.geometry.points()[static_cast<std::size_t>(face[n])] !=
               expected.corners[4 * f + n];
  }
  EXPECT_EQ(wrong, 0u);
}

/// Every node of the surface is used, and no two lie at one place.
void expectShared(const MeXSurfaceMeshUnstructured& surface)
{
  std::set<std::array<float, 3>> places;
  for (const MbVec3f& p : surface.geometry.points())
    places.insert({p.x, p.y, p.z});
  EXPECT_EQ(places.size(), surface.geometry.getNodeCount());
  std::set<int> used;
  for (std::size_t f = 0; f < surface.topology.getCellCount(); ++f)
    for (const int node : surface.topology.getCell(f))
      used.insert(node);
  EXPECT_EQ(used.size(), surface.geometry.getNodeCount());
}

} // namespace

class LogicalSlice : public testing::TestWithParam<MeshType>
{};

TEST_P(LogicalSlice, TakesTheLowerOrUpperFacesOfTheCellsThatAreThere)
{
  const zoo::Active active = zoo::someDead(kLarge);
  const MbFunctionFilterIjk filter(
      [](std::size_t i, std::size_t j, std::size_t k) { return (i + j + k) % 3 != 0; });
  const auto whole = zoo::block(GetParam(), kLarge);
  const auto holed = zoo::block(GetParam(), kLarge, active);
  const auto isLive = [&](const MbIndex3& at) {
    return active[at.x + kLarge.x * (at.y + kLarge.y * at.z)] != 0;
  };
  for (const MiMesh::Dimension axis : kAxes)
    for (const bool upper : {false, true})
      for (const std::size_t index : {std::size_t{0}, kLarge[axis] / 2, kLarge[axis] - 1}) {
        SCOPED_TRACE(testing::PrintToString(std::tuple(axis, upper, index)));
        const double fraction = upper ? 1 : 0;
        const auto all = makeSlice(*whole, true);
        const auto& surface = all->extractSlice(axis, index, upper, nullptr);
        expectSame(surface,
                   expectedSlice(
                       kLarge, axis, index, fraction, [](const MbIndex3&) { return true; }, upper));
        expectShared(surface);
        const auto some = makeSlice(*holed, true), serial = makeSlice(*holed, false);
        const auto& live = some->extractSlice(axis, index, upper, nullptr);
        expectSame(live, expectedSlice(kLarge, axis, index, fraction, isLive, upper));
        expectShared(live);
        EXPECT_EQ(laws::bytesOf(live),
                  laws::bytesOf(serial->extractSlice(axis, index, upper, nullptr)));
        expectSame(
            some->extractSlice(axis, index, upper, &filter),
            expectedSlice(
                kLarge, axis, index, fraction,
                [&](const MbIndex3& at) { return isLive(at) && (at.x + at.y + at.z) % 3 != 0; },
                upper));
        EXPECT_THAT(some->getWarnings(), IsEmpty());
      }
}

TEST_P(LogicalSlice, IsEmptyBeyondTheMesh)
{
  const auto mesh = zoo::block(GetParam(), {3, 2, 4});
  const auto extractor = makeSlice(*mesh, true);
  const std::size_t counts[] = {3, 2, 4};
  for (const MiMesh::Dimension axis : kAxes)
    for (const std::size_t index : {counts[axis], std::numeric_limits<std::size_t>::max()}) {
      EXPECT_GT(extractor->extractSlice(axis, 0, false, nullptr).topology.getCellCount(), 0u);
      const auto& nothing = extractor->extractSlice(axis, index, true, nullptr);
      EXPECT_EQ(nothing.topology.getCellCount(), 0u);
      EXPECT_EQ(nothing.geometry.getNodeCount(), 0u);
    }
  const auto between = makeBetween(*mesh, true);
  for (const double value : {-1e-9, 4 + 1e-9, kNaN, kInfinity, -kInfinity, 1e300}) {
    between->extractSlice(MiMesh::DIMENSION_K, nullptr, 1);
    EXPECT_EQ(between->extractSlice(MiMesh::DIMENSION_K, nullptr, value).topology.getCellCount(),
              0u);
  }
  const auto none = zoo::block(GetParam(), {0, 2, 4});
  EXPECT_EQ(makeSlice(*none, true)
                ->extractSlice(MiMesh::DIMENSION_J, 1, false, nullptr)
                .topology.getCellCount(),
            0u);
}

TEST_P(LogicalSlice, BetweenLayersCornersLieOnTheEdgesOfTheirCells)
{
  const zoo::Active active = zoo::someDead(kLarge);
  const auto mesh = zoo::block(GetParam(), kLarge, active);
  const auto isLive = [&](const MbIndex3& at) {
    return active[at.x + kLarge.x * (at.y + kLarge.y * at.z)] != 0;
  };
  for (const MiMesh::Dimension axis : kAxes) {
    const auto extractor = makeBetween(*mesh, true);
    const auto& surface = extractor->extractSlice(axis, nullptr, 5.25);
    expectSame(surface, expectedSlice(kLarge, axis, 5, 0.25, isLive));
    expectShared(surface);
    EXPECT_EQ(surface.provenance.form, MeXProvenance::NodeForm::Edge);
    EXPECT_EQ(laws::bytesOf(surface),
              laws::bytesOf(makeBetween(*mesh, false)->extractSlice(axis, nullptr, 5.25)));

    // On a layer of nodes: the cells above it, at the end those below, facing as everywhere else.
    const auto slice = makeSlice(*mesh, true);
    const double last = static_cast<double>(kLarge[axis]);
    EXPECT_EQ(laws::bytesOf(extractor->extractSlice(axis, nullptr, 7)),
              laws::bytesOf(slice->extractSlice(axis, 7, false, nullptr)));
    EXPECT_EQ(laws::bytesOf(extractor->extractSlice(axis, nullptr, 0)),
              laws::bytesOf(slice->extractSlice(axis, 0, false, nullptr)));
    expectSame(extractor->extractSlice(axis, nullptr, last),
               expectedSlice(kLarge, axis, kLarge[axis] - 1, 1, isLive));
  }
}

TEST_P(LogicalSlice, LinesAndPointsHaveTheirValues)
{
  const auto mesh = zoo::block(GetParam(), {4, 3, 5});
  const auto layers = zoo::nodeSet(*mesh, [](const MbVec3d& p) { return 4 * p.z; }); // their k
  const auto slice = makeSlice(*mesh, true);
  const auto& lines = slice->extractLine(MiMesh::DIMENSION_K, 2, true, nullptr);
  EXPECT_EQ(lines.topology.getCellCount(), 4u * 4 + 3u * 5);
  EXPECT_THAT(slice->extractLineScalarSet(*layers)->values, testing::Each(3));
  const auto between = makeBetween(*mesh, true);
  EXPECT_EQ(between->extractPoints(MiMesh::DIMENSION_K, nullptr, 2.75).geometry.getNodeCount(),
            20u);
  EXPECT_THAT(between->extractPointsScalarSet(*layers)->values, testing::Each(2.75));
}

TEST_P(LogicalSlice, SheetsThatMoveKeepTheListOfTheirCells)
{
  const auto mesh = zoo::block(GetParam(), {4, 3, 5});
  const auto slice = makeSlice(*mesh, true);
  const auto between = makeBetween(*mesh, true);
  const MbFunctionFilterIjk filter([](std::size_t i, std::size_t, std::size_t) { return i != 1; });
  const bool isGrid = GetParam() != VOLUME_MESH_HEXAHEDRON_IJK;
  std::uint64_t stamp = 0;
  // Whatever is kept, the surface is what an extractor without a past would give.
  const auto expectRight = [&](MiMesh::Dimension axis, std::size_t index, bool upper,
                               const MiCellFilterIjk* with, bool keeps) {
    SCOPED_TRACE(testing::PrintToString(std::tuple(axis, index, upper)));
    const auto& surface = slice->extractSlice(axis, index, upper, with);
    const auto fresh = makeSlice(*mesh, false);
    EXPECT_EQ(laws::bytesOf(surface), laws::bytesOf(fresh->extractSlice(axis, index, upper, with)));
    EXPECT_EQ(surface.topology.getTimeStamp() == stamp, keeps && isGrid);
    stamp = surface.topology.getTimeStamp();
  };
  using enum MiMesh::Dimension;
  expectRight(DIMENSION_K, 1, false, nullptr, false);
  expectRight(DIMENSION_K, 2, false, nullptr, true);
  expectRight(DIMENSION_K, 2, true, nullptr, false); // faces the other way
  expectRight(DIMENSION_K, 3, true, nullptr, true);
  expectRight(DIMENSION_K, 3, true, &filter, false);
  expectRight(DIMENSION_K, 2, true, nullptr, false);
  expectRight(DIMENSION_K, 5, true, nullptr, false); // beyond the mesh
  expectRight(DIMENSION_K, 4, true, nullptr, false);
  expectRight(DIMENSION_J, 1, true, nullptr, false);
  expectRight(DIMENSION_J, 0, true, nullptr, true);

  const std::string bytes = laws::bytesOf(*slice->getSurface());
  {
    const auto hold = slice->holdResults();
    const auto& held = *slice->getSurface();
    expectRight(DIMENSION_J, 2, true, nullptr, false); // written to another place
    expectRight(DIMENSION_J, 1, true, nullptr, true);
    EXPECT_EQ(laws::bytesOf(held), bytes);
  }
  expectRight(DIMENSION_J, 2, true, nullptr, true);

  stamp = between->extractSlice(DIMENSION_I, nullptr, 1.5).topology.getTimeStamp();
  const auto& moved = between->extractSlice(DIMENSION_I, nullptr, 2.25);
  EXPECT_EQ(moved.topology.getTimeStamp() == stamp, isGrid);
  EXPECT_EQ(laws::bytesOf(moved),
            laws::bytesOf(makeBetween(*mesh, false)->extractSlice(DIMENSION_I, nullptr, 2.25)));
}

INSTANTIATE_TEST_SUITE_P(Kinds, LogicalSlice,
                         testing::Values(VOLUME_MESH_HEXAHEDRON_IJK, VOLUME_MESH_REGULAR,
                                         VOLUME_MESH_RECTILINEAR, VOLUME_MESH_CURVILINEAR),
                         [](const auto& one) { return std::string(meshTypeName(one.param)); });

namespace {

MbVolumeMeshCurvilinear curvilinear(const MbIndex3& cells, const MbVec3d& origin,
                                    const std::vector<std::size_t>& lost = {})
{
  std::vector<double> points;
  for (std::size_t k = 0; k <= cells.z; ++k)
    for (std::size_t j = 0; j <= cells.y; ++j)
      for (std::size_t i = 0; i <= cells.x; ++i) {
        points.push_back(origin.x + static_cast<double>(i));
        points.push_back(origin.y + static_cast<double>(j));
        points.push_back(origin.z + static_cast<double>(k));
      }
  for (const std::size_t node : lost)
    points[3 * node] = std::nan("");
  return MbVolumeMeshCurvilinear(MbTopologyIjk(cells), MbPoints(std::move(points)));
}

/// Hexahedra (i, 0, 0) of unit size in a row along I that share faces where `joined`.
MbVolumeMeshHexahedronIjk row(std::vector<double> points, std::vector<int> connectivity)
{
  const std::size_t cells = connectivity.size() / 8;
  return MbVolumeMeshHexahedronIjk({{cells, 1, 1}, MbNumbers(std::move(connectivity))},
                                   MbPoints(std::move(points)));
}

} // namespace

TEST(LogicalSliceChecks, OnlyTheLayerIsLookedAt)
{
  // Node (1, 1, 1) of 3 x 3 x 3 cells is lost: eight cells of the layers 0 and 1 on every axis.
  const MbVolumeMeshCurvilinear mesh = curvilinear({3, 3, 3}, {}, {1 + 4 * (1 + 4 * 1)});
  const auto extractor = MiLogicalSliceExtractCurvilinear::getNewInstance(mesh, true);
  const std::size_t expected[] = {5, 5, 9};
  const auto count = [&](MiMesh::Dimension axis, std::size_t index) {
    return extractor->extractSlice(axis, index, false, nullptr).topology.getCellCount();
  };
  EXPECT_EQ(count(MiMesh::DIMENSION_I, 2), 9u);
  EXPECT_THAT(extractor->getWarnings(), IsEmpty());
  EXPECT_EQ(count(MiMesh::DIMENSION_I, 1), 5u);
  EXPECT_THAT(extractor->getWarnings(), ElementsAre(laws::brokenCells(4, 1)));
  for (const MiMesh::Dimension axis : kAxes)
    for (std::size_t index = 0; index < 3; ++index)
      EXPECT_EQ(count(axis, index), expected[index]);
  EXPECT_THAT(extractor->getWarnings(), IsEmpty()); // once per mesh

  // The same of a skin that is asked for some layers.
  const auto skin = MiSkinExtractIjk::getNewInstance(mesh, true);
  skin->setCellRange({0, 0, 2}, {3, 3, 3});
  EXPECT_EQ(skin->extractSkin(nullptr).topology.getCellCount(), 30u);
  EXPECT_THAT(skin->getWarnings(), IsEmpty());
  skin->clearCellRanges();
  skin->extractSkin(nullptr);
  EXPECT_THAT(skin->getWarnings(), ElementsAre(HasSubstr("8 cells")));
}

TEST(LogicalSliceChecks, FarFromZeroSinglePrecisionCarriesTheDistanceFromAnOrigin)
{
  const MbVolumeMeshCurvilinear mesh = curvilinear({2, 2, 2}, {6e6, 2e6, 0});
  const auto extractor = MiInterpolatedLogicalSliceExtract::getNewInstance(mesh, true);
  const auto& surface = extractor->extractSlice(MiMesh::DIMENSION_I, nullptr, 1.0625);
  EXPECT_NE(surface.geometry.origin, MbVec3d{});
  for (std::size_t n = 0; n < surface.geometry.getNodeCount(); ++n)
    EXPECT_EQ(surface.geometry.getNode(n).x, 6e6 + 1.0625);
}

TEST(LogicalSliceFaults, OpenOnlyWhereTheEdgesPart)
{
  // Two cells that share the lower K edge of the face between them and part above.
  const std::vector<double> points{0, 0, 0, 1, 0, 0, 2, 0, 0, 0, 1, 0, 1, 1, 0, 2, 1, 0, 0, 0, 1,
                                   1, 0, 1, 2, 0, 1, 0, 1, 1, 1, 1, 1, 2, 1, 1, 1, 0, 2, 1, 1, 2};
  const MbVolumeMeshHexahedronIjk mesh =
      row(points, {0, 1, 4, 3, 6, 7, 10, 9, 1, 2, 5, 4, 12, 8, 11, 13});
  const auto lower = MiLogicalSliceExtractHexahedronIjk::getNewInstance(mesh, true);
  EXPECT_EQ(lower->extractSlice(MiMesh::DIMENSION_K, 0, false, nullptr).geometry.getNodeCount(),
            6u);
  EXPECT_EQ(lower->extractSlice(MiMesh::DIMENSION_K, 0, true, nullptr).geometry.getNodeCount(), 8u);
  const auto between = MiInterpolatedLogicalSliceExtractHexahedronIjk::getNewInstance(mesh, true);
  const auto& open = between->extractSlice(MiMesh::DIMENSION_K, nullptr, 0.5);
  EXPECT_EQ(open.geometry.getNodeCount(), 8u);
  EXPECT_THAT(open.topology.getCell(0), ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(open.geometry.getNode(6).z + open.geometry.getNode(7).z, 2); // halfway up to z = 2
  // Across I there is nothing to part.
  EXPECT_EQ(between->extractSlice(MiMesh::DIMENSION_I, nullptr, 0.5).geometry.getNodeCount(), 4u);
}

TEST(LogicalSliceFaults, PinchedFacesKeepTheirDifferentNodesAndVanishWithoutThree)
{
  // A wedge: the second cell's upper I face has thinned out to an edge.
  const std::vector<double> points{0, 0, 0, 1, 0, 0, 2, 0, 0, 0, 1, 0, 1, 1, 0,
                                   2, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1};
  const MbVolumeMeshHexahedronIjk mesh =
      row(points, {0, 1, 4, 3, 6, 7, 9, 8, 1, 2, 5, 4, 7, 2, 5, 9});
  const auto slice = MiLogicalSliceExtractHexahedronIjk::getNewInstance(mesh, true);
  EXPECT_EQ(slice->extractSlice(MiMesh::DIMENSION_I, 1, true, nullptr).topology.getCellCount(), 0u);
  EXPECT_EQ(slice->extractSlice(MiMesh::DIMENSION_I, 1, false, nullptr).topology.getCellCount(),
            1u);
  const auto& side = slice->extractSlice(MiMesh::DIMENSION_J, 0, false, nullptr);
  ASSERT_EQ(side.topology.getCellCount(), 2u);
  EXPECT_EQ(side.topology.getCellSize(0), 4u);
  EXPECT_EQ(side.topology.getCellSize(1), 3u);
  EXPECT_THAT(laws::sourceFaces(side)[1], ElementsAre(1, 2, 7));
  const auto between = MiInterpolatedLogicalSliceExtractHexahedronIjk::getNewInstance(mesh, true);
  const auto& middle = between->extractSlice(MiMesh::DIMENSION_I, nullptr, 1.5);
  ASSERT_EQ(middle.topology.getCellCount(), 1u);
  EXPECT_NEAR(laws::sizeOf(middle).area, 0.5, 1e-7);
}
