#include <velmo/extraction/extractors/MiSkinExtract.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/SkinLaws.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A mesh that hands out whatever view it is given.
class RawMesh final : public MiVolumeMeshUnstructured
{
public:
  struct Topology final : MiTopologyI
  {
    std::uint64_t getTimeStamp() const override { return 1; }
    std::size_t getCellCount() const override { return cellCount; }
    MiCellShape getCellShape(std::size_t) const override { return view.uniformShape; }
    void getCellNodes(std::size_t, std::vector<std::size_t>& nodes) const override
    {
      nodes = callNodes;
    }
    void getCellFaces(std::size_t, std::vector<std::size_t>& stream) const override
    {
      stream = callStream;
    }
    bool hasDeadCells() const override { return static_cast<bool>(view.active); }
    MiTopologyView getView() const override { return view; }

    MiTopologyView view;
    std::size_t cellCount = 0;
    std::vector<std::size_t> callNodes, callStream;
  } topology;
  struct Geometry final : MiGeometryI
  {
    std::uint64_t getTimeStamp() const override { return 1; }
    std::size_t getNodeCount() const override { return points.size() / 3; }
    MbVec3d getNode(std::size_t n) const override
    {
      return {points.at(3 * n), points.at(3 * n + 1), points.at(3 * n + 2)};
    }
    MiArrayView getView() const override
    {
      return hasView ? MiArrayView::triples(std::span<const double>(points)) : MiArrayView{};
    }
    std::vector<double> points;
    bool hasView = true;
  } geometry;

  const MiTopologyI& getTopology() const override { return topology; }
  const MiGeometryI& getGeometry() const override { return geometry; }
};

/// `count` points in general places.
std::vector<double> somePoints(std::size_t count)
{
  std::vector<double> points(3 * count);
  for (std::size_t n = 0; n < points.size(); ++n)
    points[n] = static_cast<double>(n * n % 101);
  return points;
}

template <class T>
MiArrayView view(const std::vector<T>& values)
{
  return MiArrayView(std::span<const T>(values));
}

} // namespace

TEST(SkinHostile, UnknownShapesAreNamedAndLowerDimensionsHaveNoSkin)
{
  const std::vector<std::int64_t> connectivity{0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3,
                                               0, 1, 2, 0, 1, 2, 3, 1, 2, 3, 4};
  const std::vector<std::int64_t> offsets{0, 4, 8, 12, 15, 15, 19, 23};
  const std::vector<std::uint16_t> shapes{99, 10, 99, 5, 0, 300, 10};
  const std::vector<double> points = somePoints(5);
  const MbVolumeMeshUnstructured mesh({shapes, offsets, connectivity}, points);
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, true);
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 6u);
  EXPECT_THAT(extractor->getWarnings(), ElementsAre("2 cells of unknown shape 99 left out.",
                                                    "1 cell of unknown shape 300 left out."));
  EXPECT_EQ(mesh.getTopology().getCellShape(5), MiCellShape{255}) << "not what its last byte says";
}

// Whatever the arrays hold, nothing is read beyond them (the sanitizer runs watch).
TEST(SkinHostile, LyingArraysGiveBrokenCells)
{
  const std::vector<double> points = somePoints(10);
  const std::vector<std::int64_t> connectivity{0, 1, 2, 3, 4, 5, 6, 7};
  const std::vector<std::uint8_t> shapes{10, 10, 10};
  const auto extract = [&](const MiTopologyView& view, std::size_t cells) {
    RawMesh mesh;
    mesh.geometry.points = points;
    mesh.topology.view = view;
    mesh.topology.cellCount = cells;
    const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, true);
    return std::pair(extractor->extractSkin(nullptr).topology.getCellCount(),
                     extractor->getWarnings());
  };
  MiTopologyView topology;
  topology.connectivity = view(connectivity);
  topology.shapes = view(shapes);
  for (const std::vector<std::int64_t>& offsets : {std::vector<std::int64_t>{0, 4, 2, 9},
                                                   {0, 4, 1000000, 4},
                                                   {0, 4, -4, 0},
                                                   {0, 4},
                                                   {0, 4, 5, 7}})
  {
    topology.offsets = view(offsets);
    const auto [faces, warnings] = extract(topology, 3);
    EXPECT_EQ(faces, 4u);
    EXPECT_THAT(warnings, ElementsAre(laws::brokenCells(2, 1)));
  }
  // More cells than shapes, or than the connectivity of one shape holds.
  const std::vector<std::int64_t> offsets{0, 4, 8, 8, 8, 8};
  topology.offsets = view(offsets);
  topology.shapes = MiArrayView(std::span<const std::uint8_t>(shapes.data(), 1));
  EXPECT_EQ(extract(topology, 5).first, 4u);
  MiTopologyView uniform;
  uniform.connectivity = view(connectivity);
  uniform.uniformShape = MiCellShape::Tetrahedron;
  EXPECT_EQ(extract(uniform, 1000000).first, 8u);
  uniform.uniformShape = MiCellShape::Polyhedron;
  EXPECT_EQ(extract(uniform, 7).first, 0u);
  uniform.uniformShape = MiCellShape::Empty;
  EXPECT_EQ(extract(uniform, 7).first, 0u);
  // Too few flags: the rest counts as dead.
  uniform.uniformShape = MiCellShape::Tetrahedron;
  const std::vector<std::uint8_t> active{1};
  uniform.active = view(active);
  EXPECT_EQ(extract(uniform, 2).first, 4u);
  // Numbers that are no indices: the application's functions are asked instead, and give nothing.
  const std::vector<double> numbers{0, 1, 2, 3};
  uniform.active = {};
  uniform.connectivity = view(numbers);
  EXPECT_EQ(extract(uniform, 1).first, 0u);
}

TEST(SkinHostile, PolyhedraWhoseStreamsLieAreLeftOut)
{
  const std::vector<std::int64_t> connectivity{0, 1, 2, 3};
  const std::vector<std::int64_t> offsets{0, 4};
  const std::vector<std::uint8_t> shapes{42};
  const std::vector<std::int64_t> good{4, 3, 0, 1, 3, 3, 1, 2, 3, 3, 2, 0, 3, 3, 0, 2, 1};
  const auto countFaces = [&](const std::vector<std::int64_t>& stream, std::int64_t end) {
    const std::vector<std::int64_t> faceOffsets{0, end};
    RawMesh mesh;
    mesh.geometry.points = somePoints(4);
    mesh.topology.cellCount = 1;
    mesh.topology.view.connectivity = view(connectivity);
    mesh.topology.view.offsets = view(offsets);
    mesh.topology.view.shapes = view(shapes);
    mesh.topology.view.faces = view(stream);
    mesh.topology.view.faceOffsets = view(faceOffsets);
    const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, false);
    return extractor->extractSkin(nullptr).topology.getCellCount();
  };
  EXPECT_EQ(countFaces(good, 17), 4u);
  EXPECT_EQ(countFaces(good, 18), 0u);
  EXPECT_EQ(countFaces(good, 16), 0u);
  EXPECT_EQ(countFaces(good, -1), 0u);
  for (const auto& [at, value] :
       {std::pair{0, 99}, {0, -1}, {0, 3}, {1, 1000}, {1, -2}, {2, 4}, {2, -7}, {13, 2147483647}})
  {
    std::vector<std::int64_t> bad = good;
    bad[static_cast<std::size_t>(at)] = value;
    EXPECT_EQ(countFaces(bad, 17), 0u) << at << " " << value;
  }
}

TEST(SkinHostile, VirtualAnswersAreCheckedToo)
{
  RawMesh mesh;
  mesh.geometry.points = somePoints(8);
  mesh.geometry.hasView = false;
  mesh.topology.cellCount = 3;
  mesh.topology.view.uniformShape = MiCellShape::Tetrahedron;
  for (const std::vector<std::size_t>& nodes :
       {std::vector<std::size_t>{0, 1, 2}, {0, 1, 2, 8}, {}, {0, 1, 2, 3, 4}})
  {
    mesh.topology.callNodes = nodes;
    const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, true);
    EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 0u);
    EXPECT_THAT(extractor->getWarnings(), ElementsAre(laws::brokenCells(3, 0)));
  }
}

TEST(SkinHostile, NodesWithoutAPlaceKillTheCellsOfEveryKind)
{
  const MbIndex3 cells{5, 4, 3};
  std::vector<double> points;
  for (std::size_t n = 0; n < 6 * 5 * 4; ++n)
    for (const std::size_t at : {n % 6, n / 6 % 5, n / 30})
      points.push_back(static_cast<double>(at));
  points[3 * 0 + 2] = kInfinity;
  const MbVolumeMeshCurvilinear bent(MbTopologyIjk(cells), points);
  auto extractor = MiSkinExtractIjk::getNewInstance(bent, true);
  const auto& surface = extractor->extractSkin(nullptr);
  EXPECT_EQ(surface.topology.getCellCount(), 94u); // a corner cell away leaves as many faces
  laws::expectClosed(surface);
  EXPECT_THAT(extractor->getWarnings(), ElementsAre(laws::brokenCells(1, 0)));

  std::vector<double> x{0, 1, kNaN, 3, 4, 5}, y{0, 1, 2, 3, 4}, z{0, 1, 2, 3};
  const MbVolumeMeshRectilinear rectilinear(MbTopologyIjk(cells), x, y, z);
  extractor = MiSkinExtractIjk::getNewInstance(rectilinear, true);
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(),
            2u * (4 + 3 + 12) + 2u * (8 + 6 + 12));
  EXPECT_THAT(extractor->getWarnings(), ElementsAre(laws::brokenCells(24, 1)));

  const MbVolumeMeshRegular regular(MbTopologyIjk(cells), MbVec3d{0, 0, kNaN}, MbVec3d{1, 1, 1});
  extractor = MiSkinExtractIjk::getNewInstance(regular, false);
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 0u);
  EXPECT_THAT(extractor->getWarnings(), ElementsAre(laws::brokenCells(60, 0)));
}

TEST(SkinHostile, EmptyAndHugeMeshes)
{
  const MbVolumeMeshUnstructured nothing{MbTopologyI(), std::vector<double>{}};
  const auto cells = MiSkinExtractUnstructured::getNewInstance(nothing, true);
  EXPECT_EQ(cells->extractSkin(nullptr).topology.getCellCount(), 0u);
  EXPECT_FALSE(cells->extractSkin(nullptr).geometry.hasExtent());
  EXPECT_EQ(cells->extractLine(nullptr).topology.getCellCount(), 0u);
  EXPECT_EQ(cells->extractPoints(nullptr).geometry.getNodeCount(), 0u);

  const MbVolumeMeshRegular flat(MbTopologyIjk({4, 0, 4}), MbVec3d{}, MbVec3d{1, 1, 1});
  EXPECT_EQ(
      MiSkinExtractIjk::getNewInstance(flat, true)->extractSkin(nullptr).topology.getCellCount(),
      0u);
  const MbVolumeMeshRegular huge(MbTopologyIjk({70000, 70000, 1}), MbVec3d{}, MbVec3d{1, 1, 1});
  const auto extractor = MiSkinExtractIjk::getNewInstance(huge, true);
  EXPECT_THROW(extractor->extractSkin(nullptr), std::length_error);
  RawMesh many;
  many.topology.cellCount = std::size_t{1} << 32;
  EXPECT_THROW(MiSkinExtractUnstructured::getNewInstance(many, true)->extractSkin(nullptr),
               std::length_error);
}

TEST(SkinHostile, CoordinatesBeyondFloatsStayFinite)
{
  const std::vector<std::int32_t> connectivity{0, 1, 2, 3};
  const std::vector<double> points{0, 0, 0, 1e300, 0, 0, 0, 1e300, 0, 0, 0, -1e300};
  const MbVolumeMeshUnstructured mesh({MiCellShape::Tetrahedron, connectivity}, points);
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, false);
  for (const MbVec3f& point : extractor->extractSkin(nullptr).geometry.points())
    EXPECT_TRUE(isFinite(point));
}
