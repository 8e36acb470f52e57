#include <benchmarks/Workloads.h>
#include <tests/support/MeshZoo.h>
#include <velmo/extraction/algorithms/lines/MxStreamlines.h>
#include <velmo/extraction/extractors/MiStreamlineExtract.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>

#include <gmock/gmock.h>

namespace {

using S = MiCellShape;
using Field = MbVec3d (*)(const MbVec3d&);

// All about the middle of the unit cube.
MbVec3d rotation(const MbVec3d& p)
{
  return {-(p.y - 0.5), p.x - 0.5, 0.1};
}
MbVec3d saddle(const MbVec3d& p)
{
  return {p.x - 0.5, -2 * (p.y - 0.5), p.z - 0.5};
}
MbVec3d abc(const MbVec3d& p)
{
  constexpr double k = 2 * bench::kPi, a = 1.7320508075688772, b = 1.4142135623730951, c = 1;
  return {a * std::sin(k * p.z) + c * std::cos(k * p.y),
          b * std::sin(k * p.x) + a * std::cos(k * p.z),
          c * std::sin(k * p.y) + b * std::cos(k * p.x)};
}

/// The path itself, in very small steps.
MbVec3d reference(Field field, MbVec3d p, double time)
{
  constexpr int kSteps = 20000;
  const double h = time / kSteps;
  for (int n = 0; n < kSteps; ++n) {
    const MbVec3d a = field(p), b = field(p + a * (h / 2)), c = field(p + b * (h / 2)),
                  d = field(p + c * h);
    p += (a + (b + c) * 2.0 + d) * (h / 6);
  }
  return p;
}

MbVolumeMeshUnstructured unstructured(bench::CellArrays arrays)
{
  return MbVolumeMeshUnstructured(MbTopologyI(std::move(arrays.types), std::move(arrays.offsets),
                                              std::move(arrays.connectivity)),
                                  std::move(arrays.points));
}
MbVolumeMeshRegular cube(std::size_t n)
{
  const double h = 1.0 / static_cast<double>(n);
  return MbVolumeMeshRegular(MbIndex3{n, n, n}, MbVec3d{0, 0, 0}, MbVec3d{h, h, h});
}

/// The extractor of a mesh whose class is known.
template <class Mesh>
using ExtractOf = std::conditional_t<
    std::is_base_of_v<MiVolumeMeshUnstructured, Mesh>, MiStreamlineExtractUnstructured,
    std::conditional_t<std::is_base_of_v<MiVolumeMeshHexahedronIjk, Mesh>,
                       MiStreamlineExtractHexahedronIjk, MiStreamlineExtractIjk>>;

/// Where the line with this seed is after `time`.
template <class Mesh>
MbVec3d endAfter(const Mesh& mesh, Field field, const MbVec3d& seed, double time,
                 bool isBackward = false)
{
  const auto vectors = zoo::vectorSet(mesh, field);
  const auto extract = ExtractOf<Mesh>::getNewInstance(mesh, true);
  extract->setMaxLifeTime(time);
  if (isBackward) extract->setDirection(MiStreamlineDirection::Backward);
  EXPECT_TRUE(extract->extractStreamlines(std::span(&seed, 1), *vectors, nullptr));
  EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::LifeTime);
  EXPECT_EQ(extract->getTimes(0).values.back(), time);
  return extract->getPoints(0).back();
}

double distance(const MbVec3d& a, const MbVec3d& b)
{
  return length(a - b);
}

} // namespace

TEST(Streamline, FollowsLinearFieldsExactlyOnEveryKindAndShape)
{
  // The cells interpolate these without error: what is left is that of the steps.
  constexpr double kAllowed = 2e-5;
  const MbVec3d seed{0.7, 0.45, 0.3}, slow{0.55, 0.7, 0.48};
  const MbVec3d round = reference(rotation, seed, 4), away = reference(saddle, slow, 1.5);
  const auto check = [&](const auto& mesh, const char* name) {
    EXPECT_LT(distance(endAfter(mesh, rotation, seed, 4), round), kAllowed) << name;
    EXPECT_LT(distance(endAfter(mesh, saddle, slow, 1.5), away), kAllowed) << name;
    // And back again.
    EXPECT_LT(distance(endAfter(mesh, rotation, round, 4, true), seed), kAllowed) << name;
  };
  check(cube(16), "regular");
  std::vector<double> x, y, z;
  for (int axis = 0; axis < 3; ++axis)
    (axis == 0 ? x : axis == 1 ? y : z) = bench::latticeAxis(16, axis);
  check(MbVolumeMeshRectilinear(MbIndex3{16, 16, 16}, x, y, z), "rectilinear");
  check(MbVolumeMeshCurvilinear(MbIndex3{16, 16, 16}, bench::latticePoints(16)), "curvilinear");
  bench::CellArrays hex = bench::makeHex(16);
  check(MbVolumeMeshHexahedronIjk(MbTopologyHexahedronIjk(MbIndex3{16, 16, 16}, hex.connectivity),
                                  hex.points),
        "hexahedron IJK");
  check(unstructured(bench::makeHex(16)), "hexahedra");
  check(unstructured(bench::makeTet(10)), "tetrahedra");
  check(unstructured(bench::makeMixed(12)), "mixed");
}

TEST(Streamline, ConvergesInACurvedFlow)
{
  // The field between the nodes is wrong by the square of the cell's size: half the size, a quarter
  // of the error.
  constexpr double kTime = 0.15;
  bench::Generator random{5};
  std::vector<MbVec3d> seeds(6), exact;
  for (MbVec3d& seed : seeds) {
    for (std::size_t a = 0; a < 3; ++a)
      seed[a] = 0.45 + 0.1 * random.uniform();
    exact.push_back(reference(abc, seed, kTime));
  }
  const auto errorOf = [&](const auto& mesh) {
    double sum = 0;
    for (std::size_t n = 0; n < seeds.size(); ++n)
      sum += distance(endAfter(mesh, abc, seeds[n], kTime), exact[n]);
    return sum / static_cast<double>(seeds.size());
  };
  const double coarse = errorOf(cube(16));
  const double fine = errorOf(cube(32));
  EXPECT_LT(coarse, 0.01);
  EXPECT_LT(fine, 0.4 * coarse);
  EXPECT_LT((errorOf(unstructured(bench::makeMixed(32)))), 0.005);
}

TEST(Streamline, EndsAtEveryLimit)
{
  const MbVolumeMeshRegular mesh = cube(10);
  const auto along = [](const MbVec3d& p) { return MbVec3d{1 - p.x, 0, 0}; }; // slower and slower
  const auto vectors = zoo::vectorSet(mesh, along);
  const std::vector<MbVec3d> seeds{{0.05, 0.5, 0.5}, {0.45, 0.2, 0.9}, {2, 0.5, 0.5}};
  const auto traced = [&](const auto& limit) {
    auto extract = MiStreamlineExtractIjk::getNewInstance(mesh, true);
    limit(*extract);
    EXPECT_TRUE(extract->extractStreamlines(seeds, *vectors, nullptr));
    return extract;
  };
  auto extract = traced([](auto& lines) { lines.setMaxLength(0.3); });
  ASSERT_EQ(extract->getLines().size(), 3u);
  EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::Length);
  EXPECT_NEAR(extract->getPoints(0).back().x, 0.35, 1e-9);
  EXPECT_EQ(extract->getEnd(2), MiStreamlineEnd::NotInMesh);
  EXPECT_TRUE(extract->getPoints(2).empty());
  EXPECT_EQ(extract->getLines()[2].getTopology().getCellCount(), 0u);
  EXPECT_EQ(extract->getLines()[0].getTopology().getCellCount(), 1u);
  EXPECT_EQ(extract->getLines()[0].getTopology().getCellSize(0), extract->getPoints(0).size());

  extract = traced([](auto& lines) { lines.setMaxLifeTime(0.5); });
  EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::LifeTime);
  EXPECT_NEAR(extract->getPoints(0).back().x, 1 - 0.95 * std::exp(-0.5), 1e-7);

  extract = traced([](auto& lines) { lines.setMinSpeed(0.5); });
  EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::LowSpeed);
  EXPECT_LT(extract->getSpeeds(0).values.back(), 0.5);
  EXPECT_NEAR(extract->getPoints(0).back().x, 0.5, 0.04);

  extract = traced([](auto& lines) { lines.setMaxStepNumber(7); });
  EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::StepNumber);
  EXPECT_EQ(extract->getPoints(0).size(), 8u);
  // Steps are 0.3 cells long; a field that asks for less gets less.
  EXPECT_NEAR(distance(extract->getPoints(0)[0], extract->getPoints(0)[1]), 0.03, 0.001);
  extract = traced([](auto& lines) { lines.setIntegrationStepLengthFactor(0.1); });
  EXPECT_NEAR(distance(extract->getPoints(0)[0], extract->getPoints(0)[1]), 0.01, 0.001);

  // A field that goes round for ever.
  const auto round = zoo::vectorSet(mesh, [](const MbVec3d& p) {
    return MbVec3d{0.5 - p.y, p.x - 0.5, 0};
  });
  extract = MiStreamlineExtractIjk::getNewInstance(mesh, true);
  ASSERT_TRUE(extract->extractStreamlines(std::span(seeds).first(1), *round, nullptr));
  EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::DefaultStepNumber);
  EXPECT_EQ(extract->getPoints(0).size(), kDefaultStreamlineSteps + 1);
  EXPECT_NEAR(distance(extract->getPoints(0).back(), {0.5, 0.5, 0.5}), 0.45, 1e-3);

  // What is asked for is what a line gets, beyond the number of steps where it would end unasked.
  const auto tracedRound = [&](const auto& limit) {
    extract = MiStreamlineExtractIjk::getNewInstance(mesh, true);
    limit(*extract);
    EXPECT_TRUE(extract->extractStreamlines(std::span(seeds).first(1), *round, nullptr));
    EXPECT_GT(extract->getPoints(0).size(), 1.2 * kDefaultStreamlineSteps);
    return extract->getEnd(0);
  };
  EXPECT_EQ(tracedRound([](auto& lines) { lines.setMaxStepNumber(12345); }),
            MiStreamlineEnd::StepNumber);
  EXPECT_EQ(extract->getPoints(0).size(), 12346u);
  EXPECT_EQ(tracedRound([](auto& lines) { lines.setMaxLifeTime(1000); }),
            MiStreamlineEnd::LifeTime);
  EXPECT_EQ(extract->getTimes(0).values.back(), 1000);
  EXPECT_EQ(tracedRound([](auto& lines) { lines.setMaxLength(450); }), MiStreamlineEnd::Length);
  // That is no limit.
  extract->setMaxLength(kInfinity);
  ASSERT_TRUE(extract->extractStreamlines(std::span(seeds).first(1), *round, nullptr));
  EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::DefaultStepNumber);
}

TEST(Streamline, EndsInASinkWhateverItsLimits)
{
  const MbVolumeMeshRegular mesh = cube(4);
  const std::vector<MbVec3d> seeds{{0.3, 0.4, 0.6}};
  const auto sink = zoo::vectorSet(mesh, [](const MbVec3d& p) {
    return MbVec3d{0.4 - p.x - 3 * (p.y - 0.45), 0.45 - p.y + 3 * (p.x - 0.4), 0.5 - p.z};
  });
  for (const double factor : {0.3, 1e-3}) {
    const auto extract = MiStreamlineExtractIjk::getNewInstance(mesh, true);
    extract->setMaxLength(1000);
    extract->setIntegrationStepLengthFactor(factor);
    ASSERT_TRUE(extract->extractStreamlines(seeds, *sink, nullptr));
    EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::LowSpeed);
    EXPECT_LT(distance(extract->getPoints(0).back(), {0.4, 0.45, 0.5}), 1e-4);
  }
}

TEST(Streamline, EndsOnTheRimOfMixedCellsWithWarpedFacesAndNowhereElse)
{
  const auto mesh = zoo::mixedBlock(6, 0.25, 5);
  const auto vectors = zoo::vectorSet(*mesh, [](const MbVec3d& p) {
    return MbVec3d{3 - p.y + 0.4 * (p.x - 3), p.x - 3 + 0.4 * (p.y - 3), 0.5 + 0.1 * p.z};
  });
  bench::Generator random{9};
  std::vector<MbVec3d> seeds(500);
  for (MbVec3d& seed : seeds)
    for (std::size_t a = 0; a < 3; ++a)
      seed[a] = 6 * random.uniform();
  const auto extract = MiStreamlineExtractUnstructured::getNewInstance(*mesh, true);
  ASSERT_TRUE(extract->extractStreamlines(seeds, *vectors, nullptr));
  for (std::size_t l = 0; l < seeds.size(); ++l) {
    ASSERT_EQ(extract->getEnd(l), MiStreamlineEnd::LeftMesh) << l;
    const MbVec3d end = extract->getPoints(l).back();
    double depth = 6; // below the surface
    for (std::size_t a = 0; a < 3; ++a)
      depth = std::min(depth, std::min(end[a], 6 - end[a]));
    EXPECT_NEAR(depth, 0, 1e-10) << l << ": " << end.x << ' ' << end.y << ' ' << end.z;
  }
}

TEST(Streamline, EndsAtTheRimAndInFilteredAndDeadCells)
{
  const auto along = [](const MbVec3d&) { return MbVec3d{2, 0.5, 0}; };
  const MbVec3d seed{0.1, 0.1, 0.45};
  const auto endOf = [&]<class Mesh>(const Mesh& mesh, const auto* filter) {
    const auto vectors = zoo::vectorSet(mesh, along);
    const auto extract = ExtractOf<Mesh>::getNewInstance(mesh, false);
    EXPECT_TRUE(extract->extractStreamlines(std::span(&seed, 1), *vectors, filter));
    EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::LeftMesh);
    return extract->getPoints(0).back();
  };
  const MbVolumeMeshRegular mesh = cube(10);
  const MiCellFilterIjk* all = nullptr;
  const MbVec3d rim = endOf(mesh, all);
  EXPECT_NEAR(rim.x, 1, 1e-12); // and not beyond it by the tolerance with which points are found
  EXPECT_NEAR(rim.y, 0.325, 1e-6);
  const MbCellFilter<3, MbFunctionRule<std::size_t, std::size_t, std::size_t>> half(
      [](std::size_t i, std::size_t, std::size_t) { return i < 5; });
  const MiCellFilterIjk* filter = &half;
  EXPECT_NEAR((endOf(mesh, filter)).x, 0.5, 1e-12);
  const MbVolumeMeshUnstructured tets = unstructured(bench::makeTet(8));
  const MiCellFilterI* none = nullptr;
  const MbVec3d bent = endOf(tets, none);
  EXPECT_GT(bent.x, 0.9);
  std::vector<std::uint8_t> active(1000, 1);
  for (std::size_t cell = 0; cell < 1000; ++cell)
    if (cell % 10 == 7) active[cell] = 0;
  const MbVolumeMeshCurvilinear holed(MbTopologyIjk(MbIndex3{10, 10, 10}, active),
                                      bench::latticePoints(10));
  const MbVec3d hole = endOf(holed, all);
  EXPECT_NEAR(hole.x, 0.7 + 0.04 * std::sin(2 * bench::kPi * hole.y + 1), 0.02);
}

TEST(Streamline, CarriesSpeedsAndTangents)
{
  const MbVolumeMeshUnstructured mesh = unstructured(bench::makeMixed(8));
  const auto vectors = zoo::vectorSet(mesh, rotation);
  const auto extract = MiStreamlineExtractUnstructured::getNewInstance(mesh, true);
  extract->setMaxLifeTime(2);
  const std::vector<MbVec3d> seeds{{0.7, 0.5, 0.3}, {0.3, 0.5, 0.5}};
  ASSERT_TRUE(extract->extractStreamlines(seeds, *vectors, nullptr));
  for (std::size_t l = 0; l < 2; ++l) {
    const auto points = extract->getPoints(l);
    for (std::size_t n = 0; n < points.size(); ++n) {
      EXPECT_NEAR(extract->getSpeeds(l).values[n], length(rotation(points[n])), 1e-9);
      EXPECT_NEAR(length(extract->getTangents(l).values[n]), 1, 1e-12);
      EXPECT_NEAR(dot(extract->getTangents(l).values[n], rotation(points[n])),
                  extract->getSpeeds(l).values[n], 1e-9);
    }
  }
}

TEST(Streamline, BearsFieldsThatStandStillOrAreNoNumbers)
{
  const MbVolumeMeshRegular mesh = cube(4);
  const MbVec3d seed{0.5, 0.5, 0.4};
  const auto endIn = [&](Field field) {
    const auto vectors = zoo::vectorSet(mesh, field);
    const auto extract = MiStreamlineExtractIjk::getNewInstance(mesh, true);
    EXPECT_TRUE(extract->extractStreamlines(std::span(&seed, 1), *vectors, nullptr));
    EXPECT_EQ(extract->getLines().size(), 1u);
    return extract->getEnd(0);
  };
  EXPECT_EQ(endIn([](const MbVec3d&) { return MbVec3d{}; }), MiStreamlineEnd::LowSpeed);
  EXPECT_EQ(endIn([](const MbVec3d&) { return MbVec3d{kNaN, 0, 1}; }), MiStreamlineEnd::NotFinite);
  EXPECT_EQ(endIn([](const MbVec3d&) { return MbVec3d{1e-100, 0, 0}; }), MiStreamlineEnd::LeftMesh);
  EXPECT_EQ(endIn([](const MbVec3d&) { return MbVec3d{1e100, 0, 0}; }), MiStreamlineEnd::LeftMesh);
  // Into a sink: it ends, sooner or later.
  EXPECT_EQ(endIn([](const MbVec3d& p) {
              return MbVec3d{0.5 - p.x, 0.5 - p.y, 0.5 - p.z};
            }),
            MiStreamlineEnd::LowSpeed);
  const auto extract = MiStreamlineExtractIjk::getNewInstance(mesh, true);
  const MbDataSetIjk<MbVec3d> tooShort("s", MiDataBinding::PerNode, {4, 4, 4},
                                       std::vector<double>(192));
  EXPECT_FALSE(extract->extractStreamlines(std::span(&seed, 1), tooShort, nullptr));
  EXPECT_TRUE(extract->getLines().empty());
  const MbDataSetIjk<MbVec3d> perCell("c", MiDataBinding::PerCell, {4, 4, 4},
                                      std::vector<double>(192, 1.0));
  const MbVec3d lost{kNaN, 0, 0};
  ASSERT_TRUE(extract->extractStreamlines(std::vector<MbVec3d>{seed, lost}, perCell, nullptr));
  EXPECT_EQ(extract->getEnd(0), MiStreamlineEnd::LeftMesh);
  EXPECT_NEAR(extract->getPoints(0).back().y, 1, 1e-5);
  EXPECT_EQ(extract->getEnd(1), MiStreamlineEnd::NotInMesh);
  extract->setDirection(MiStreamlineDirection::Backward);
  ASSERT_TRUE(extract->extractStreamlines(std::span(&seed, 1), perCell, nullptr));
  EXPECT_LT(distance(extract->getPoints(0).back(), {0.1, 0.1, 0}), 1e-5);
}
