#include <tests/support/ExtractorOf.h>
#include <tests/support/SkinLaws.h>

#include <velmo/mesh/MbCellFilter.h>

#include <gmock/gmock.h>

namespace {

/// The extractor of a mesh of any volume kind.
std::unique_ptr<MiSurfaceExtractor> makeExtractor(const MiMesh& mesh, bool parallel)
{
  return extractors::make<MiSurfaceExtractor, extractors::Skin>(MxVolumeKinds{}, mesh, parallel);
}

struct Range
{
  MbIndex3 lower, upper;
};

const MeXSurfaceMeshUnstructured& extract(MiSurfaceExtractor& extractor,
                                          const MiCellFilterI* flat = nullptr,
                                          const MiCellFilterIjk* grid = nullptr,
                                          const Range* range = nullptr)
{
  if (auto* cells = dynamic_cast<MiSkinExtractUnstructured*>(&extractor))
    return cells->extractSkin(flat);
  if (auto* cells = dynamic_cast<MiSkinExtractHexahedronIjk*>(&extractor)) {
    if (range) cells->setCellRange(range->lower, range->upper);
    return cells->extractSkin(grid);
  }
  auto& cells = dynamic_cast<MiSkinExtractIjk&>(extractor);
  if (range) cells.setCellRange(range->lower, range->upper);
  return cells.extractSkin(grid);
}

/// Large enough for several threads, several words a row and several blocks.
constexpr MbIndex3 kLarge{131, 24, 17};

} // namespace

class SkinKinds : public testing::TestWithParam<MeshType>
{};

TEST_P(SkinKinds, OneGridGivesTheSameSkinAsHexahedra)
{
  for (const bool withDead : {false, true}) {
    const zoo::Active active = withDead ? zoo::someDead(kLarge) : zoo::Active{};
    const auto expectedMesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, kLarge, active);
    const auto expectedExtractor = makeExtractor(*expectedMesh, false);
    const auto& expected = extract(*expectedExtractor);
    const auto mesh = zoo::block(GetParam(), kLarge, active);
    const auto extractor = makeExtractor(*mesh, true);
    const auto& surface = extract(*extractor);
    EXPECT_EQ(surface.topology.getCellCount(), expected.topology.getCellCount());
    EXPECT_EQ(laws::bytesOf(surface), laws::bytesOf(expected));
    laws::expectClosed(surface);
    if (!withDead) {
      EXPECT_EQ(surface.topology.getCellCount(),
                2 * (kLarge.x * kLarge.y + kLarge.y * kLarge.z + kLarge.z * kLarge.x));
      EXPECT_NEAR(laws::sizeOf(surface).volume, 131 * 12.0 * 4.25, 1e-2);
    }
    EXPECT_TRUE(extractor->getWarnings().empty());
  }
}

TEST_P(SkinKinds, BoxesOfAnySizeGiveWhatAFilterOfAllCellsGives)
{
  // A filter, even of all cells, takes the way that looks at every cell.
  const MbFunctionFilterIjk all([](std::size_t, std::size_t, std::size_t) { return true; });
  const MbIndex3 grids[] = {{1, 1, 1}, {1, 3, 2}, {3, 1, 1}, {2, 2, 5}, {70, 3, 4}, kLarge};
  for (const MbIndex3& cells : grids) {
    const auto mesh = zoo::block(GetParam(), cells);
    const Range ranges[] = {{{0, 0, 0}, cells},
                            {{cells.x / 2, cells.y / 3, 0}, {cells.x, cells.y, (cells.z + 1) / 2}}};
    for (const Range& range : ranges) {
      const auto box = makeExtractor(*mesh, true), filtered = makeExtractor(*mesh, false);
      EXPECT_EQ(laws::bytesOf(extract(*box, nullptr, nullptr, &range)),
                laws::bytesOf(extract(*filtered, nullptr, &all, &range)))
          << cells.x << " x " << cells.y << " x " << cells.z;
    }
  }
}

TEST_P(SkinKinds, FiltersAndRangesTakeCellsAwayAsIfDead)
{
  const MbIndex3 cells{70, 8, 9};
  const auto mesh = zoo::block(GetParam(), cells);
  const auto inside = [&](std::size_t i, std::size_t j, std::size_t k) {
    return i >= 3 && i < 68 && j >= 2 && k < 7;
  };
  zoo::Active active;
  for (std::size_t k = 0; k < cells.z; ++k)
    for (std::size_t j = 0; j < cells.y; ++j)
      for (std::size_t i = 0; i < cells.x; ++i)
        active.push_back(inside(i, j, k) && (i + j + k) % 7 != 0);
  const auto dead = zoo::block(GetParam(), cells, active);
  const auto expectedExtractor = makeExtractor(*dead, false);
  const std::string expected = laws::bytesOf(extract(*expectedExtractor));

  const MbFunctionFilterI flat([&](std::size_t cell) { return active[cell] != 0; });
  const MbFunctionFilterIjk grid([&](std::size_t i, std::size_t j, std::size_t k) {
    return inside(i, j, k) && (i + j + k) % 7 != 0;
  });
  const auto filtered = makeExtractor(*mesh, true);
  EXPECT_EQ(laws::bytesOf(extract(*filtered, &flat, &grid)), expected);

  if (GetParam() == VOLUME_MESH_UNSTRUCTURED) return;
  // The range with the rest of the filter.
  const MbFunctionFilterIjk rest(
      [&](std::size_t i, std::size_t j, std::size_t k) { return (i + j + k) % 7 != 0; });
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  const Range range{{3, 2, kNone}, {68, kNone, 7}};
  const auto ranged = makeExtractor(*mesh, true);
  EXPECT_EQ(laws::bytesOf(extract(*ranged, nullptr, &rest, &range)), expected);
  // Few cells of long rows are asked for one by one.
  const MbFunctionFilterIjk layer([&](std::size_t i, std::size_t j, std::size_t k) {
    return i >= 20 && i < 24 && (i + j + k) % 7 != 0;
  });
  const Range thin{{20, kNone, kNone}, {24, kNone, kNone}};
  EXPECT_EQ(laws::bytesOf(extract(*ranged, nullptr, &rest, &thin)),
            laws::bytesOf(extract(*filtered, nullptr, &layer)));
  const Range nothing{{kNone, kNone, kNone}, {0, 0, 0}};
  EXPECT_EQ(extract(*ranged, nullptr, nullptr, &nothing).topology.getCellCount(), 0u);
  const Range beyond{{100, 0, 0}, {kNone, kNone, kNone}};
  EXPECT_EQ(extract(*ranged, nullptr, nullptr, &beyond).topology.getCellCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(AllVolumes, SkinKinds, testing::ValuesIn(zoo::kVolumeKinds),
                         [](const auto& info) { return meshTypeName(info.param); });

TEST(SkinUnstructured, RangeIsHalfOpen)
{
  const auto mesh = zoo::blockOf(MiCellShape::Hexahedron, {10, 1, 1});
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(*mesh, false);
  extractor->setCellRange(5, 8);
  const auto& surface = extractor->extractSkin(nullptr);
  EXPECT_EQ(surface.topology.getCellCount(), 14u);
  EXPECT_EQ(surface.provenance.cells[0], 5u);
  EXPECT_EQ(surface.provenance.cells[13], 7u);
  extractor->setCellRange(static_cast<std::size_t>(-1), 0);
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 0u);
  extractor->clearCellRanges();
  EXPECT_EQ(extractor->extractSkin(nullptr).topology.getCellCount(), 42u);
}

TEST(SkinUnstructured, AllIndexTypesGiveTheSameBytes)
{
  const auto cells = zoo::blockOf(MiCellShape::Wedge, {12, 20, 20});
  const MiTopologyI& topology = cells->getTopology();
  std::vector<std::int64_t> connectivity, offsets{0};
  std::vector<std::size_t> nodes;
  for (std::size_t c = 0; c < topology.getCellCount(); ++c) {
    topology.getCellNodes(c, nodes);
    connectivity.insert(connectivity.end(), nodes.begin(), nodes.end());
    offsets.push_back(static_cast<std::int64_t>(connectivity.size()));
  }
  std::vector<float> points;
  for (std::size_t n = 0; n < cells->getGeometry().getNodeCount(); ++n)
    for (std::size_t axis = 0; axis < 3; ++axis)
      points.push_back(static_cast<float>(cells->getGeometry().getNode(n)[axis]));
  const std::string expected =
      laws::bytesOf(MiSkinExtractUnstructured::getNewInstance(*cells, true)->extractSkin(nullptr));

  const auto check = [&](auto id, auto shape) {
    using Id = decltype(id);
    const std::vector<Id> ids(connectivity.begin(), connectivity.end());
    const std::vector<Id> begins(offsets.begin(), offsets.end());
    const std::vector<decltype(shape)> shapes(topology.getCellCount(), 13);
    const MbVolumeMeshUnstructured mixed({shapes, begins, ids}, points);
    EXPECT_EQ(
        laws::bytesOf(MiSkinExtractUnstructured::getNewInstance(mixed, true)->extractSkin(nullptr)),
        expected);
    const MbVolumeMeshUnstructured uniform({MiCellShape::Wedge, ids}, points);
    EXPECT_EQ(laws::bytesOf(
                  MiSkinExtractUnstructured::getNewInstance(uniform, true)->extractSkin(nullptr)),
              expected);
  };
  check(std::int32_t{}, std::uint8_t{});
  check(std::uint64_t{}, std::int64_t{});
  check(std::uint32_t{}, std::int8_t{});
  check(std::uint16_t{}, std::int32_t{});
}
