#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/mesh/MbTessellator.h>
#include <velmo/mesh/MxShapeFunctions.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/SkinLaws.h>

#include <gmock/gmock.h>

#include <set>

namespace {

using S = MiCellShape;

constexpr S kVolumes[] = {S::QuadraticTetrahedron, S::QuadraticHexahedron,
                          S::QuadraticWedge,       S::QuadraticPyramid,
                          S::BiquadraticWedge,     S::TriquadraticHexahedron};
constexpr S kQuadratic[] = {S::QuadraticLine,   S::QuadraticTriangle,    S::QuadraticQuad,
                            S::BiquadraticQuad, S::QuadraticTetrahedron, S::QuadraticHexahedron,
                            S::QuadraticWedge,  S::QuadraticPyramid,     S::TriquadraticHexahedron,
                            S::BiquadraticWedge};

/// The grid of boxes with all nodes, those in the middle of edges and faces too, moved by a map.
template <class Map>
std::unique_ptr<MbVolumeMeshUnstructured> bent(S shape, const MbIndex3& cells, const Map& map)
{
  auto mesh = zoo::blockOf(shape, cells);
  std::vector<MbVec3d> points = zoo::nodePlaces(*mesh);
  for (MbVec3d& p : points)
    p = map(p);
  mesh->setGeometry(std::move(points));
  return mesh;
}

/// Domes the upper side and leaves the lower one flat.
MbVec3d domed(const MbVec3d& p)
{
  return {p.x, p.y, p.z * (1 + p.y * (1 - p.y) + 0.1 * p.x * (2 - p.x))};
}

/// Bends one end of the grid more and more, and leaves the other one straight.
MbVec3d partlyBent(const MbVec3d& p)
{
  const double along = std::max(0.0, p.x - 1);
  return {p.x, p.y + 0.25 * along * along, p.z - 0.04 * along * p.y * p.y};
}

/// The sub-cells of all cells as a mesh, points at one place being one node.
std::unique_ptr<MbVolumeMeshUnstructured> subCells(const MbVolumeMeshUnstructured& mesh,
                                                   const MiTessellator& tessellator)
{
  std::map<std::array<std::int64_t, 3>, std::size_t> numbers;
  std::vector<double> points;
  std::vector<std::uint8_t> shapes;
  std::vector<std::int64_t> offsets{0}, connectivity;
  std::vector<std::size_t> nodes;
  for (std::size_t c = 0; c < mesh.getTopology().getCellCount(); ++c) {
    mesh.getTopology().getCellNodes(c, nodes);
    std::vector<MbVec3d> places;
    for (const std::size_t node : nodes)
      places.push_back(mesh.getGeometry().getNode(node));
    MiTessellation cells;
    EXPECT_TRUE(tessellator.tessellate(mesh.getTopology().getCellShape(c), places, cells));
    std::vector<std::size_t> own;
    for (std::size_t p = 0; p < cells.pointCount; ++p) {
      MbVec3d sum;
      for (std::size_t n = 0; n < nodes.size(); ++n)
        sum += places[n] * cells.weights[p * nodes.size() + n];
      const std::array<std::int64_t, 3> key{std::llround(sum.x * 1e8), std::llround(sum.y * 1e8),
                                            std::llround(sum.z * 1e8)};
      const auto [entry, isNew] = numbers.try_emplace(key, numbers.size());
      if (isNew) points.insert(points.end(), {sum.x, sum.y, sum.z});
      own.push_back(entry->second);
    }
    const std::size_t size = cellShapeFacts(cells.shape).nodeCount;
    for (std::size_t at = 0; at < cells.points.size(); ++at) {
      connectivity.push_back(static_cast<std::int64_t>(own[cells.points[at]]));
      if ((at + 1) % size != 0) continue;
      shapes.push_back(static_cast<std::uint8_t>(cells.shape));
      offsets.push_back(static_cast<std::int64_t>(connectivity.size()));
    }
  }
  return std::make_unique<MbVolumeMeshUnstructured>(MbTopologyI(MbNumbers(std::move(shapes)),
                                                                MbNumbers(std::move(offsets)),
                                                                MbNumbers(std::move(connectivity))),
                                                    MbPoints(std::move(points)));
}

laws::Size skinSize(const MiVolumeMeshUnstructured& mesh, const MiTessellator* tessellator)
{
  const auto extractor = MiSkinExtractUnstructured::getNewInstance(mesh, true, tessellator);
  const auto& surface = extractor->extractSkin(nullptr);
  laws::expectClosed(surface);
  return laws::sizeOf(surface);
}

using Weights = std::vector<std::int64_t>;

std::set<Weights> pointSet(const MiTessellation& cells, std::size_t nodeCount)
{
  std::set<Weights> points;
  for (std::size_t p = 0; p < cells.pointCount; ++p) {
    Weights weights;
    for (std::size_t n = 0; n < nodeCount; ++n)
      weights.push_back(std::llround(cells.weights[p * nodeCount + n] * 0x1p50));
    points.insert(weights);
  }
  return points;
}

} // namespace

TEST(ShapeFunctions, AreOneAtTheirOwnNodeAndReproduceQuadraticMaps)
{
  for (const S shape : kQuadratic) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const MiCellShapeFacts facts = cellShapeFacts(shape);
    // The nodes' places, from the corners.
    std::vector<std::array<double, 3>> places;
    const auto mean = [&](std::initializer_list<std::size_t> corners) {
      std::array<double, 3> sum{};
      for (const std::size_t corner : corners)
        for (std::size_t axis = 0; axis < 3; ++axis)
          sum[axis] +=
              shapeCorner(facts.linear, corner).x[axis] / static_cast<double>(corners.size());
      places.push_back(sum);
    };
    for (std::size_t c = 0; c < facts.cornerCount; ++c)
      mean({c});
    if (shape == S::QuadraticLine) mean({0, 1});
    for (const MxShapeEdge& edge : shapeEdges(shape))
      mean({edge.first, edge.second});
    if (shape == S::BiquadraticQuad) mean({0, 2});
    for (const MxShapeFace& face : shapeFaces(shape))
      if (face.size == 9) mean({face.nodes[0], face.nodes[2]});
    if (shape == S::TriquadraticHexahedron) mean({0, 6});
    ASSERT_EQ(places.size(), facts.nodeCount);
    for (std::size_t n = 0; n < places.size(); ++n) {
      std::vector<double> values;
      appendShapeValues(shape, {places[n], 1}, values);
      for (std::size_t m = 0; m < places.size(); ++m)
        EXPECT_NEAR(values[m], m == n ? 1 : 0, 1e-15);
    }
    // Of the coordinates alone where pyramids are rational: x and y of a pyramid are skewed.
    const auto field = [&](const std::array<double, 3>& x) {
      const double linear = 0.3 + x[0] - 0.5 * x[1] + 2 * x[2];
      return shape == S::QuadraticPyramid ? linear + x[2] * x[2]
                                          : linear + x[0] * x[0] + x[0] * x[1];
    };
    const double t = 0.17;
    const int dimension = facts.dimension;
    const std::array<double, 3> inside{t, dimension > 1 ? 2 * t : 0, dimension > 2 ? 1.5 * t : 0};
    std::vector<double> values;
    appendShapeValues(shape, {inside, 1}, values);
    double sum = 0, ones = 0;
    for (std::size_t n = 0; n < places.size(); ++n) {
      sum += values[n] * field(places[n]);
      ones += values[n];
    }
    EXPECT_NEAR(ones, 1, 1e-14);
    EXPECT_NEAR(sum, field(inside), 1e-14);
  }
}

TEST(Tessellators, RefineACellsFacesAsTheFacesThemselves)
{
  MbUniformTessellator uniform(3);
  MbChordTessellator chord(0.004);
  for (const S shape : kVolumes) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const auto mesh = bent(shape, {3, 1, 1}, partlyBent);
    std::vector<std::size_t> nodes;
    std::set<std::size_t> counts;
    for (std::size_t c = 0; c < mesh->getTopology().getCellCount(); ++c) {
      mesh->getTopology().getCellNodes(c, nodes);
      std::vector<MbVec3d> places;
      for (const std::size_t node : nodes)
        places.push_back(mesh->getGeometry().getNode(node));
      for (const MiTessellator* tessellator :
           {static_cast<const MiTessellator*>(&uniform), static_cast<const MiTessellator*>(&chord)})
      {
        MiTessellation cell, own;
        ASSERT_TRUE(tessellator->tessellate(shape, places, cell));
        if (tessellator == &chord) counts.insert(cell.points.size());
        const std::set<Weights> all = pointSet(cell, nodes.size());
        for (const MxShapeFace& face : shapeFaces(shape)) {
          std::set<std::size_t> faceNodes(face.nodes.begin(), face.nodes.begin() + face.size);
          std::vector<MbVec3d> facePlaces;
          for (std::size_t n = 0; n < face.size; ++n)
            facePlaces.push_back(places[face.nodes[n]]);
          std::set<Weights> onFace, expected;
          for (const Weights& weights : all) {
            bool isOn = true;
            for (std::size_t n = 0; n < weights.size(); ++n)
              isOn = isOn && (weights[n] == 0 || faceNodes.count(n) > 0);
            if (isOn) onFace.insert(weights);
          }
          ASSERT_TRUE(tessellator->tessellate(face.shape, facePlaces, own));
          for (const Weights& weights : pointSet(own, face.size)) {
            Weights ofCell(nodes.size(), 0);
            for (std::size_t n = 0; n < face.size; ++n)
              ofCell[face.nodes[n]] = weights[n];
            expected.insert(ofCell);
          }
          EXPECT_EQ(onFace, expected);
        }
      }
    }
    EXPECT_GT(counts.size(), 1u); // straight cells got fewer than bent ones
  }
}

TEST(Tessellators, SubCellsFillWhatTheRefinedSkinEncloses)
{
  const MbUniformTessellator uniform(3);
  const MbChordTessellator chord(0.004);
  for (const S shape : kVolumes) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    for (const MiTessellator* tessellator :
         {static_cast<const MiTessellator*>(&uniform), static_cast<const MiTessellator*>(&chord)})
    {
      const auto mesh = bent(shape, {3, 2, 2}, partlyBent);
      const laws::Size skin = skinSize(*mesh, tessellator);
      const laws::Size filled = skinSize(*subCells(*mesh, *tessellator), nullptr);
      EXPECT_NEAR(filled.volume, skin.volume, 1e-6);
      EXPECT_NEAR(filled.area, skin.area, 1e-6);
    }
  }
}

TEST(Tessellators, ConvergeToTheVolumeOfCurvedCells)
{
  for (const S shape : kVolumes) {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const auto mesh = bent(shape, {2, 2, 2}, domed);
    const auto volume = [&](unsigned parts) {
      const MbUniformTessellator tessellator(parts);
      return skinSize(*mesh, &tessellator).volume;
    };
    // Chords cut off areas that fall with the square of their number.
    const double first = volume(4) - volume(2), second = volume(8) - volume(4);
    EXPECT_GT(first, 1e-3);
    EXPECT_NEAR(second, first / 4, 0.02 * first);
  }
}

TEST(Tessellators, StayWithinTheErrorAskedFor)
{
  // A quarter of a circle's parabola: its middle is 0.2 away from the chord.
  const MbVec3d nodes[] = {{0, 0, 0}, {1, 0, 0}, {0.5, 0.2, 0}};
  MiTessellation line;
  for (const auto& [error, parts] :
       {std::pair{0.3, 1}, {0.1, 2}, {0.05, 2}, {0.049, 4}, {1e-9, 16}}) {
    ASSERT_TRUE(MbChordTessellator(error).tessellate(S::QuadraticLine, nodes, line));
    EXPECT_EQ(line.points.size(), 2u * static_cast<unsigned>(parts)) << error;
  }
  for (const double error : {0.0, -1.0, std::nan("")}) {
    ASSERT_TRUE(MbChordTessellator(error, 8).tessellate(S::QuadraticLine, nodes, line));
    EXPECT_EQ(line.points.size(), 16u);
  }
}

TEST(Tessellators, LeaveOtherCellsAloneAndTakeStampsWhenTheyChange)
{
  MbUniformTessellator uniform(3);
  MbChordTessellator chord(0.1);
  const std::vector<MbVec3d> nodes(27);
  MiTessellation result;
  for (const S shape : {S::Tetrahedron, S::Polyhedron, S::Triangle, S::Line, S::Vertex, S(200)}) {
    const std::size_t count = cellShapeFacts(shape).nodeCount;
    EXPECT_FALSE(uniform.tessellate(shape, std::span(nodes).first(count), result));
    EXPECT_FALSE(chord.tessellate(shape, std::span(nodes).first(count), result));
  }
  EXPECT_FALSE(uniform.tessellate(S::QuadraticTriangle, std::span(nodes).first(5), result));
  const std::uint64_t first = uniform.getTimeStamp(), second = chord.getTimeStamp();
  EXPECT_NE(first, second);
  uniform.setPartCount(1000);
  EXPECT_EQ(uniform.getPartCount(), MbUniformTessellator::kMaxPartCount);
  uniform.setPartCount(0);
  EXPECT_EQ(uniform.getPartCount(), 1u);
  chord.setMaxError(0.2);
  EXPECT_NE(uniform.getTimeStamp(), first);
  EXPECT_NE(chord.getTimeStamp(), second);
}
