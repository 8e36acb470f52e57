#include <tests/support/ExtractorOf.h>
#include <tests/support/SkinLaws.h>

#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <map>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

/// What joined lines must obey and what is counted of them.
struct Shape
{
  std::size_t open = 0, closed = 0;
  double length = 0;
  friend bool operator==(const Shape&, const Shape&) = default;
};

Shape shapeOf(const MeXLineMeshUnstructured& lines)
{
  Shape shape;
  std::map<std::pair<int, int>, int> uses;
  std::map<int, int> ends;
  for (std::size_t c = 0; c < lines.topology.getCellCount(); ++c) {
    const auto cell = lines.topology.getCell(c);
    EXPECT_GE(cell.size(), 2u);
    const bool isClosed = cell.front() == cell.back();
    ++(isClosed ? shape.closed : shape.open);
    if (!isClosed) ++ends[cell.front()], ++ends[cell.back()];
    for (std::size_t n = 1; n < cell.size(); ++n) {
      EXPECT_NE(cell[n - 1], cell[n]);
      ++uses[std::minmax(cell[n - 1], cell[n])];
    }
  }
  shape.length = laws::lengthOf(lines);
  for (const auto& [edge, count] : uses)
    EXPECT_EQ(count, 1) << "a segment is drawn twice";
  // Two loose ends at one point could have been joined.
  for (const auto& [node, count] : ends)
    EXPECT_EQ(count, 1);
  const MeXProvenance& provenance = lines.provenance;
  EXPECT_EQ(provenance.nodes.size(), 2 * lines.geometry.getNodeCount());
  EXPECT_EQ(provenance.weights.size(), lines.geometry.getNodeCount());
  EXPECT_EQ(provenance.nodeCells.size(), lines.geometry.getNodeCount());
  EXPECT_EQ(provenance.cells.size(), lines.topology.getCellCount());
  return shape;
}

using Field = std::function<double(double, double)>;

/// A sheet of 'n' x 'm' cells with a field of its (i, j).
template <MeshType K = SURFACE_MESH_REGULAR>
class Sheet
{
public:
  using Extractor = extractors::Isolines<K>;

  Sheet(std::size_t n, std::size_t m, const Field& field, zoo::Active active = {},
        bool parallel = true)
      : values(sample(n, m, field)), mesh(zoo::sheet(K, {n, m, 0}, std::move(active))),
        flat("values", MiDataBinding::PerNode, values),
        grid("values", MiDataBinding::PerNode, n + 1, m + 1, values),
        extractor(Extractor::getNewInstance(zoo::as<K>(*mesh), parallel))
  {}

  const MeXLineMeshUnstructured& lines(double value)
  {
    EXPECT_TRUE(extractor->extractIsolines(std::vector<double>{value}, set(), nullptr));
    return extractor->getLines()[0];
  }
  const MiTypedDataSet<double>& set() const
  {
    if constexpr (K == SURFACE_MESH_UNSTRUCTURED)
      return flat;
    else
      return grid;
  }
  static std::vector<double> sample(std::size_t n, std::size_t m, const Field& field)
  {
    std::vector<double> values;
    for (std::size_t j = 0; j <= m; ++j)
      for (std::size_t i = 0; i <= n; ++i)
        values.push_back(field(static_cast<double>(i), static_cast<double>(j)));
    return values;
  }

  std::vector<double> values;
  std::unique_ptr<MiMesh> mesh;
  MbScalardSetI flat;
  MbScalardSetIj grid;
  std::unique_ptr<Extractor> extractor;
};

/// Where the nodes of a line lie, in its order.
std::vector<std::pair<float, float>> placesOf(const MeXLineMeshUnstructured& lines,
                                              std::size_t cell = 0)
{
  std::vector<std::pair<float, float>> places;
  for (const int node : lines.topology.getCell(cell)) {
    const MbVec3f& p = lines.geometry.points()[static_cast<std::size_t>(node)];
    places.emplace_back(p.x, p.y);
  }
  return places;
}

/// Bumps of several sizes: many lines, open and closed.
double bumps(double i, double j)
{
  return std::sin(0.21 * i) * std::cos(0.17 * j) + 0.4 * std::sin(0.05 * i * j);
}

std::unique_ptr<MbSurfaceMeshUnstructured> triangulated(std::size_t n, std::size_t m)
{
  std::vector<std::int64_t> connectivity;
  std::vector<double> points;
  for (std::size_t j = 0; j <= m; ++j)
    for (std::size_t i = 0; i <= n; ++i)
      points.insert(points.end(), {double(i), double(j) / 2, 0.});
  const auto row = static_cast<std::int64_t>(n + 1);
  for (std::size_t j = 0; j < m; ++j)
    for (std::size_t i = 0; i < n; ++i) {
      const auto a = static_cast<std::int64_t>(i) + row * static_cast<std::int64_t>(j);
      connectivity.insert(connectivity.end(), {a, a + 1, a + row + 1, a, a + row + 1, a + row});
    }
  return std::make_unique<MbSurfaceMeshUnstructured>(
      MbTopologyI{MiCellShape::Triangle, std::move(connectivity)}, std::move(points));
}

} // namespace

TEST(Isoline, CrossesEdgesWhereTheValueLies)
{
  Sheet sheet(3, 2, [](double i, double j) { return i + 0.25 * j; });
  const auto& lines = sheet.lines(1.125);
  // Higher values lie to the left, so the line runs down.
  EXPECT_THAT(placesOf(lines), ElementsAre(std::pair(0.625f, 1.f), std::pair(0.875f, 0.5f),
                                           std::pair(1.f, 0.25f), std::pair(1.125f, 0.f)));
  EXPECT_EQ(shapeOf(lines).open, 1u);
  EXPECT_EQ(lines.provenance.form, MeXProvenance::NodeForm::Edge);
  EXPECT_EQ(lines.provenance.nodes[0], 8u);
  EXPECT_EQ(lines.provenance.nodes[1], 9u);
  EXPECT_DOUBLE_EQ(lines.provenance.weights[0], 0.625);
  EXPECT_EQ(lines.provenance.sourceNodes, (MbIndex3{4, 3, 1}));
  // The cell that the line goes on into.
  EXPECT_THAT(std::vector(lines.provenance.nodeCells.begin(), lines.provenance.nodeCells.end()),
              ElementsAre(3, 0, 1, 1));
}

TEST(Isoline, ClosesLoopsAndJoinsThePiecesOfEachLine)
{
  const auto ring = [](double i, double j) { return std::hypot(i - 20, (j - 20)); };
  Sheet sheet(40, 40, ring);
  const Shape circle = shapeOf(sheet.lines(10.3));
  EXPECT_EQ(circle.open, 0u);
  EXPECT_EQ(circle.closed, 1u);
  // Half as high as wide: the perimeter of an ellipse.
  EXPECT_NEAR(circle.length, 10.3 * 4.8442, 0.2);
  const Shape corners = shapeOf(sheet.lines(23));
  EXPECT_EQ(corners.open, 4u);
  EXPECT_EQ(corners.closed, 0u);
  EXPECT_THAT(shapeOf(sheet.lines(50)), (Shape{}));

  // Each open line ends twice on the rim: as few of them as crossings allow.
  Sheet many(60, 50, bumps);
  for (const double value : {-0.7, -0.2, 0.013, 0.4, 0.9}) {
    const auto crosses = [&](std::size_t a, std::size_t b) {
      return (many.values[a] >= value) != (many.values[b] >= value);
    };
    std::size_t crossings = 0;
    for (std::size_t i = 0; i < 60; ++i)
      crossings += crosses(i, i + 1) + crosses(50 * 61 + i, 50 * 61 + i + 1);
    for (std::size_t j = 0; j < 50; ++j)
      crossings += crosses(61 * j, 61 * (j + 1)) + crosses(61 * j + 60, 61 * (j + 1) + 60);
    EXPECT_EQ(2 * shapeOf(many.lines(value)).open, crossings) << value;
  }
}

TEST(Isoline, PassesThroughNodesOnceWithoutGapsOrDoubles)
{
  // A column of nodes that have the value.
  Sheet slope(4, 3, [](double i, double) { return i; });
  EXPECT_THAT(placesOf(slope.lines(2)), ElementsAre(std::pair(2.f, 1.5f), std::pair(2.f, 1.f),
                                                    std::pair(2.f, 0.5f), std::pair(2.f, 0.f)));
  EXPECT_EQ(shapeOf(slope.lines(2)).open, 1u);
  // A ridge belongs to both of its sides and is drawn once.
  Sheet ridge(4, 3, [](double i, double) { return -std::abs(i - 2); });
  EXPECT_EQ(shapeOf(ridge.lines(0)), (Shape{1, 0, 1.5}));
  // A plain that has the value has a border where it goes down.
  Sheet plain(6, 6, [](double i, double j) {
    return -std::max({std::abs(i - 3), std::abs(j - 3), 1.0});
  });
  EXPECT_EQ(shapeOf(plain.lines(-1)), (Shape{0, 1, 6}));
  // A peak is a point, a pit and a value below all others have no border.
  Sheet peak(4, 4, [](double i, double j) { return -std::hypot(i - 2, j - 2); });
  EXPECT_EQ(shapeOf(peak.lines(0)), (Shape{}));
  Sheet pit(4, 4, [](double i, double j) { return std::hypot(i - 2, j - 2); });
  EXPECT_EQ(shapeOf(pit.lines(0)), (Shape{}));
  // A diagonal through nodes of quads and of triangles.
  const auto diagonal = [](double i, double j) { return i - j; };
  Sheet across(5, 5, diagonal);
  EXPECT_EQ(shapeOf(across.lines(0)).open, 1u);
  EXPECT_EQ(across.lines(0).geometry.getNodeCount(), 6u);
  // Heights in whole metres: every line ends on the rim or not at all.
  Sheet terrain(50, 40, [](double i, double j) { return std::floor(6 * bumps(i, j)); });
  for (double value = -6; value <= 6; ++value)
    shapeOf(terrain.lines(value));
}

TEST(Isoline, CutsQuadsAsTheBilinearFunctionWould)
{
  // Corners 0 and 2 above by 1, the others below by `depth`: joined when they outweigh.
  for (const double depth : {0.5, 2.0}) {
    for (const bool turned : {false, true}) {
      Sheet quad(1, 1, [&](double i, double j) { return (i == j) != turned ? 1 : -depth; });
      // Beside a lower one, at which other corners are joined.
      const std::vector<double> levels{-0.9, 0};
      ASSERT_TRUE(quad.extractor->extractIsolines(levels, quad.set(), nullptr));
      const auto& lines = quad.extractor->getLines()[1];
      EXPECT_EQ(shapeOf(lines).open, 2u);
      // The centre is above when the corners above are joined; a segment then cuts off each of the
      // corners below.
      std::vector<std::pair<bool, bool>> cutOff;
      for (std::size_t c = 0; c < 2; ++c) {
        const auto places = placesOf(lines, c);
        cutOff.emplace_back(places[0].first + places[1].first > 1,
                            places[0].second + places[1].second > 0.5f);
      }
      const bool sameSide = (depth < 1) == turned; // the corners cut off have i == j
      EXPECT_THAT(cutOff,
                  UnorderedElementsAre(std::pair(false, !sameSide), std::pair(true, sameSide)))
          << depth << turned;
    }
  }
  // Numbers whose differences or products are too large.
  Sheet huge(1, 1, [&](double i, double j) { return i == j ? 1.5e308 : -1.5e308; });
  EXPECT_NEAR(shapeOf(huge.lines(0)).length, 2 * std::hypot(0.5, 0.25), 1e-6);
}

TEST(Isoline, CutsPolygonsAndThePartsOfQuadraticCells)
{
  const auto mesh = zoo::cellsOf(zoo::shapesOf(2));
  const auto& surface = zoo::as<SURFACE_MESH_UNSTRUCTURED>(*mesh);
  const auto set = zoo::nodeSet(surface, [](const MbVec3d& p) { return p.y; });
  const auto extractor = MiIsolineExtractUnstructured::getNewInstance(surface, true);
  ASSERT_TRUE(extractor->extractIsolines(std::vector<double>{0.25}, *set, nullptr));
  const auto& lines = extractor->getLines()[0];
  // One line a cell; its length is the cell's width at this height: both triangles, three squares
  // and the pentagon.
  const Shape shape = shapeOf(lines);
  EXPECT_EQ(shape.open, 6u);
  EXPECT_NEAR(shape.length, 2 * 0.75 + 3 * 1 + 1, 1e-6);

  // A star of two arms: the mean says whether they are joined.
  const std::vector<double> points{0, 0, 0, 1, 0, 0, 2, 0, 0, 2, 1, 0, 1, 1, 0, 0, 1, 0};
  const std::vector<std::int32_t> connectivity{0, 1, 2, 3, 4, 5}, offsets{0, 6};
  const std::vector<std::uint8_t> shapes{7};
  const MbSurfaceMeshUnstructured hexagon({shapes, offsets, connectivity}, points);
  for (const double middle : {-1.0, -3.0}) {
    const std::vector<double> values{1, middle, 1, 1, middle, 1};
    const MbScalardSetI arms("arms", MiDataBinding::PerNode, values);
    const auto other = MiIsolineExtractUnstructured::getNewInstance(hexagon, true);
    ASSERT_TRUE(other->extractIsolines(std::vector<double>{-0.9, 0}, arms, nullptr));
    const auto& cut = other->getLines()[1];
    EXPECT_EQ(shapeOf(cut).open, 2u);
    // Joined: each line cuts off a middle node and stays in its half of the height.
    EXPECT_EQ(placesOf(cut)[0].second == placesOf(cut)[1].second, middle > -2);
  }
}

TEST(Isoline, EveryKindGivesTheSameLines)
{
  const std::vector<double> values{-0.31, 0.2, 0.77};
  const zoo::Active active = [] {
    zoo::Active some(70 * 60, 1);
    for (std::size_t cell = 5; cell < some.size(); cell += 61)
      some[cell] = 0;
    return some;
  }();
  std::string expected;
  const auto bytesOf = [&](auto& extractor, const MiTypedDataSet<double>& set) {
    EXPECT_TRUE(extractor.extractIsolines(values, set, nullptr));
    std::string bytes;
    for (std::size_t l = 0; l < values.size(); ++l)
      bytes += laws::bytesOf(extractor.getLines()[l]);
    return bytes;
  };
  for (const MeshType kind : zoo::kSurfaceKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    visitMeshKind(MxSurfaceKinds{}, kind, [&]<MeshType K>() {
      for (const bool parallel : {false, true}) {
        Sheet<K> sheet(70, 60, bumps, active, parallel);
        const std::string bytes = bytesOf(*sheet.extractor, sheet.set());
        if (expected.empty()) expected = bytes;
        EXPECT_EQ(bytes, expected);
        EXPECT_EQ(bytesOf(*sheet.extractor, sheet.flat), expected) << "flat sets serve every kind";
        const auto virtually = zoo::procedural(zoo::sheet(K, {70, 60, 0}, active));
        const auto other = Sheet<K>::Extractor::getNewInstance(zoo::as<K>(*virtually), parallel);
        EXPECT_EQ(bytesOf(*other, sheet.set()), expected);
      }
    });
  }
}

TEST(Isoline, OneThreadGivesTheBytesOfManyOnTriangles)
{
  const auto mesh = triangulated(300, 200);
  const std::vector<double> numbers = Sheet<>::sample(300, 200, bumps);
  const std::vector<float> floats(numbers.begin(), numbers.end());
  const MbScalardSetI set("bumps", MiDataBinding::PerNode, floats);
  std::vector<double> values;
  for (int v = -12; v < 13; ++v)
    values.push_back(0.1 * v + 0.003);
  std::string bytes[2];
  for (const bool parallel : {false, true}) {
    const auto extractor = MiIsolineExtractUnstructured::getNewInstance(*mesh, parallel);
    ASSERT_TRUE(extractor->extractIsolines(values, set, nullptr));
    for (std::size_t l = 0; l < values.size(); ++l)
      bytes[parallel] += laws::bytesOf(extractor->getLines()[l]);
  }
  EXPECT_GT(bytes[0].size(), 100000u);
  EXPECT_EQ(bytes[0], bytes[1]);
}

TEST(Isoline, ManyValuesInOneSweepAreThoseOfManySweeps)
{
  Sheet all(40, 30, bumps), one(40, 30, bumps);
  // In any order, twice, and such as are none.
  const std::vector<double> values{0.5, kNaN, -0.5, 0.5, kInfinity, 0.1};
  ASSERT_TRUE(all.extractor->extractIsolines(values, all.set(), nullptr));
  const MeXLineMeshes& lines = all.extractor->getLines();
  ASSERT_EQ(lines.size(), values.size());
  for (const std::size_t l : {0, 2, 3, 5}) {
    EXPECT_EQ(laws::bytesOf(lines[l]), laws::bytesOf(one.lines(values[l]))) << values[l];
    EXPECT_EQ(lines.getValue(l), values[l]);
  }
  EXPECT_EQ(&lines[0], &lines[3]);
  EXPECT_EQ(lines[1].topology.getCellCount(), 0u);
  EXPECT_EQ(lines[4].geometry.getNodeCount(), 0u);
}

TEST(Isoline, RefusesSetsThatDoNotFit)
{
  Sheet sheet(4, 3, bumps);
  const std::vector<double> value{0.1};
  ASSERT_TRUE(sheet.extractor->extractIsolines(value, sheet.set(), nullptr));
  const std::vector<double> twelve(12), ten(10);
  const MbScalardSetIj perCell("c", MiDataBinding::PerCell, 4, 3, twelve);
  const MbScalardSetI shorter("s", MiDataBinding::PerNode, ten);
  const MbScalardSetIjk cube("k", MiDataBinding::PerNode, MbIndex3{3, 2, 2}, twelve);
  const MbScalardSetIj longer("l", MiDataBinding::PerNode, 5, 5, std::vector<double>(25));
  for (const MiTypedDataSet<double>* set :
       std::initializer_list<const MiTypedDataSet<double>*>{&perCell, &shorter, &cube, &longer})
  {
    EXPECT_FALSE(sheet.extractor->extractIsolines(value, *set, nullptr));
    EXPECT_TRUE(sheet.extractor->getLines().empty());
    EXPECT_EQ(sheet.extractor->extractScalarSet(0, sheet.set()), nullptr);
  }
}

TEST(Isoline, HasNoLineWhereValuesAreNotFinite)
{
  for (const double bad : {kNaN, kInfinity, -kInfinity}) {
    Sheet sheet(6, 1, [&](double i, double j) { return i == 3 ? bad : j - 0.5; });
    const Shape shape = shapeOf(sheet.lines(0));
    EXPECT_EQ(shape, (Shape{2, 0, 4}));
  }
  Sheet nothing(6, 6, [](double, double) { return kNaN; });
  EXPECT_EQ(shapeOf(nothing.lines(0)), (Shape{}));
}

TEST(Isoline, LeavesOutDeadAndRefusedCells)
{
  Sheet dead(5, 1, [](double, double j) { return j; }, {1, 1, 0, 1, 1});
  EXPECT_EQ(shapeOf(dead.lines(0.5)), (Shape{2, 0, 4}));
  MbFunctionFilterIj filter([](std::size_t i, std::size_t) { return i != 1; });
  ASSERT_TRUE(dead.extractor->extractIsolines(std::vector<double>{0.5}, dead.set(), &filter));
  EXPECT_EQ(shapeOf(dead.extractor->getLines()[0]), (Shape{2, 0, 3}));
}

// Three sheets that meet in one edge, and a surface that touches itself in a node.
TEST(Isoline, JoinsAsFewOpenLinesAsBranchesAllow)
{
  const std::vector<double> points{0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 1, 0, -1, -1, 0};
  const std::vector<std::int32_t> connectivity{0, 1, 2, 0, 1, 3, 0, 1, 4};
  const MbSurfaceMeshUnstructured fan({MiCellShape::Triangle, connectivity}, points);
  const std::vector<double> heights{0, 1, 0, 0, 0};
  const MbScalardSetI set("z", MiDataBinding::PerNode, heights);
  const auto extractor = MiIsolineExtractUnstructured::getNewInstance(fan, true);
  ASSERT_TRUE(extractor->extractIsolines(std::vector<double>{0.5}, set, nullptr));
  // Four ends of odd degree: two lines.
  EXPECT_EQ(shapeOf(extractor->getLines()[0]).open, 2u);
}
