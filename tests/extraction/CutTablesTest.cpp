#include <velmo/extraction/algorithms/cut/MxCutTables.h>

#include <tests/support/MeshZoo.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

namespace {

using S = MiCellShape;

/// The nodes of a right-handed cell of its own.
std::vector<MbVec3d> placesOf(S shape)
{
  return zoo::nodePlaces(*zoo::cellsOf({shape}));
}

using Edge = std::pair<int, int>;

Edge sorted(int a, int b)
{
  return {std::min(a, b), std::max(a, b)};
}

/// The loops of a case by the table, as node pairs.
template <class Table>
std::vector<std::vector<Edge>> loopsOf(const Table& table, std::size_t mask)
{
  std::vector<std::vector<Edge>> loops;
  const std::uint8_t* at = table.cases[mask].data();
  while (const std::size_t size = *at++) {
    auto& loop = loops.emplace_back();
    for (std::size_t n = 0; n < size; ++n, ++at)
      loop.emplace_back(table.edges[*at].first, table.edges[*at].second);
  }
  return loops;
}

/// The same by MxLoopFinder.
std::vector<std::vector<Edge>> loopsOf(const MxShapeFaces& faces, std::size_t mask, int flippedFace)
{
  MxLoopFinder finder;
  finder.begin();
  for (int f = 0; f < faces.count; ++f) {
    std::vector<std::uint32_t> nodes(faces[f].nodes.begin(),
                                     faces[f].nodes.begin() + faces[f].size);
    if (f == flippedFace) std::reverse(nodes.begin(), nodes.end());
    std::vector<std::uint8_t> below;
    for (const std::uint32_t node : nodes)
      below.push_back(mask >> node & 1);
    finder.addFace(nodes, below);
  }
  std::vector<MxCutKey> keys;
  std::vector<std::uint32_t> sizes;
  finder.findLoops(keys, sizes);
  std::vector<std::vector<Edge>> loops;
  std::size_t at = 0;
  for (const std::uint32_t size : sizes) {
    auto& loop = loops.emplace_back();
    for (std::uint32_t n = 0; n < size; ++n, ++at)
      loop.emplace_back(keys[at].first, keys[at].second);
  }
  return loops;
}

/// A loop begun at its smallest edge.
std::vector<std::vector<Edge>> normalised(std::vector<std::vector<Edge>> loops)
{
  for (auto& loop : loops)
    std::rotate(loop.begin(), std::min_element(loop.begin(), loop.end()), loop.end());
  std::sort(loops.begin(), loops.end());
  return loops;
}

/// Every cut edge is once in a loop, neighbours in a loop share a face, each face holds half as
/// many segments as it has cut edges, and the normal looks from below upward.
void expectLaws(S shape, std::size_t mask, const std::vector<std::vector<Edge>>& loops)
{
  const MxShapeFaces faces = linearShapeFaces(shape);
  const auto places = placesOf(shape);
  std::set<Edge> cut;
  for (const MxShapeFace& face : faces)
    for (int n = 0; n < face.size; ++n) {
      const int a = face.nodes[static_cast<std::size_t>(n)];
      const int b = face.nodes[static_cast<std::size_t>((n + 1) % face.size)];
      if ((mask >> a ^ mask >> b) & 1) cut.insert(sorted(a, b));
    }
  std::set<Edge> seen;
  for (const auto& loop : loops) {
    ASSERT_GE(loop.size(), 3u);
    MbVec3d normal, up;
    const auto at = [&](int node) { return places[static_cast<std::size_t>(node)]; };
    const auto middle = [&](const Edge& edge) { return (at(edge.first) + at(edge.second)) * 0.5; };
    for (std::size_t n = 0; n < loop.size(); ++n) {
      EXPECT_TRUE(seen.insert(loop[n]).second);
      const Edge& next = loop[(n + 1) % loop.size()];
      bool shared = false;
      for (const MxShapeFace& face : faces) {
        const std::set<int> nodes(face.nodes.begin(), face.nodes.begin() + face.size);
        shared |= nodes.contains(loop[n].first) && nodes.contains(loop[n].second) &&
                  nodes.contains(next.first) && nodes.contains(next.second);
      }
      EXPECT_TRUE(shared);
      normal += cross(middle(loop[n]), middle(next));
      up += (at(loop[n].second) - at(loop[n].first)) * (mask >> loop[n].first & 1 ? 1.0 : -1.0);
    }
    EXPECT_GT(dot(normal, up), 0);
  }
  EXPECT_EQ(seen, cut);
}

template <S Shape>
void checkTable()
{
  const auto& table = kCutTable<Shape>;
  for (std::size_t mask = 0; mask < table.cases.size(); ++mask) {
    SCOPED_TRACE(testing::Message() << cellShapeFacts(Shape).name << " case " << mask);
    const auto loops = loopsOf(table, mask);
    expectLaws(Shape, mask, loops);
    EXPECT_EQ(normalised(loopsOf(linearShapeFaces(Shape), mask, -1)), normalised(loops));
  }
}

/// The signed volume under the faces of one part of a quadratic shape, in its flat form.
double volumeOf(S shape, const MxShapeFaces& faces, const std::uint8_t* nodes)
{
  const auto places = placesOf(shape);
  double sum = 0;
  for (const MxShapeFace& face : faces)
    for (std::size_t n = 1; n + 1 < face.size; ++n) {
      const auto at = [&](std::size_t corner) {
        const std::size_t local = face.nodes[corner];
        return places[nodes ? nodes[local] : local];
      };
      sum += dot(at(0), cross(at(n), at(n + 1)));
    }
  return sum / 6;
}

} // namespace

TEST(CutTables, EveryCaseOfEveryShapeObeysTheLaws)
{
  checkTable<S::Tetrahedron>();
  checkTable<S::Hexahedron>();
  checkTable<S::Wedge>();
  checkTable<S::Pyramid>();
}

// A polyhedron's faces need not all be turned outward.
TEST(CutTables, OneFaceTurnedTheWrongWayChangesNoLoop)
{
  const MxShapeFaces faces = linearShapeFaces(S::Hexahedron);
  for (std::size_t mask = 0; mask < 256; ++mask) {
    // With two loops through one face the pairing there may change.
    const auto expected = normalised(loopsOf(faces, mask, -1));
    if (expected.size() != 1 || expected[0].size() < 4) continue;
    for (int face = 0; face < 6; ++face)
      EXPECT_EQ(normalised(loopsOf(faces, mask, face)), expected) << mask << " " << face;
  }
}

// The linear cells of a quadratic one are right-handed, fill it, and show its linear faces outside.
TEST(CutTables, PartsOfQuadraticShapesFillThem)
{
  for (const S shape : {S::QuadraticTetrahedron, S::QuadraticHexahedron, S::QuadraticWedge,
                        S::QuadraticPyramid, S::TriquadraticHexahedron, S::BiquadraticWedge})
  {
    SCOPED_TRACE(cellShapeFacts(shape).name);
    const MxCutParts& parts = findCutParts(shape);
    double sum = volumeOf(shape, parts.core, nullptr);
    std::map<std::set<int>, int> faces;
    const auto add = [&](const MxShapeFaces& list, const std::uint8_t* nodes) {
      for (const MxShapeFace& face : list) {
        std::set<int> own;
        for (std::size_t n = 0; n < face.size; ++n)
          own.insert(nodes ? nodes[face.nodes[n]] : face.nodes[n]);
        ++faces[own];
      }
    };
    add(parts.core, nullptr);
    for (std::size_t p = 0; p < parts.count; ++p) {
      const double volume =
          volumeOf(shape, linearShapeFaces(parts.parts[p].shape), parts.parts[p].nodes.data());
      EXPECT_GT(volume, 0);
      sum += volume;
      add(linearShapeFaces(parts.parts[p].shape), parts.parts[p].nodes.data());
    }
    EXPECT_NEAR(sum, volumeOf(shape, linearShapeFaces(cellShapeFacts(shape).linear), nullptr),
                1e-12);
    std::set<std::set<int>> outside, expected;
    for (const auto& [nodes, count] : faces) {
      EXPECT_LE(count, 2);
      if (count == 1) outside.insert(nodes);
    }
    for (const MxShapeFace& face : linearShapeFaces(shape))
      expected.insert({face.nodes.begin(), face.nodes.begin() + face.size});
    EXPECT_EQ(outside, expected);
  }
}

TEST(CutTables, PolygonsAreSplitWhereTheyMeetThemselves)
{
  const auto split = [](std::vector<MxCutKey> keys) {
    std::vector<std::vector<std::uint32_t>> polygons;
    forEachSimplePolygon(std::span(keys), [&](std::span<const MxCutKey> polygon) {
      auto& own = polygons.emplace_back();
      for (const MxCutKey& key : polygon)
        own.push_back(key.first);
    });
    return polygons;
  };
  const auto keys = [](std::initializer_list<std::uint32_t> list) {
    std::vector<MxCutKey> result;
    for (const std::uint32_t n : list)
      result.push_back({n, n});
    return result;
  };
  using Polygons = std::vector<std::vector<std::uint32_t>>;
  EXPECT_EQ(split(keys({1, 2, 3, 4})), (Polygons{{1, 2, 3, 4}}));
  EXPECT_EQ(split(keys({1, 1, 2, 3, 3})), (Polygons{{1, 2, 3}}));
  EXPECT_EQ(split(keys({1, 2, 1, 2})), Polygons{});
  EXPECT_EQ(split(keys({1, 2, 3, 1, 4, 5})), (Polygons{{1, 2, 3}, {1, 4, 5}}));
  std::vector<MxCutKey> large;
  for (std::uint32_t n = 0; n < 50; ++n)
    large.push_back({n, n});
  large.push_back({10, 10});
  EXPECT_EQ(split(large).size(), 2u);
}
