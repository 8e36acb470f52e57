#include <velmo/extraction/algorithms/map/MxNodeNormals.h>

#include <benchmarks/Workloads.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

using Polygons = std::vector<std::vector<int>>;

/// A wavy sheet: quads, pairs of triangles and pentagons, the nodes row by row.
Polygons makeSheet(int side, MeXSurfaceMeshUnstructured& surface)
{
  MxArray<MbVec3f>& points = surface.geometry.points();
  for (int j = 0; j <= side; ++j)
    for (int i = 0; i <= side; ++i) {
      const float x = static_cast<float>(i), y = static_cast<float>(j);
      points.push_back({x, y, 3 * std::sin(0.1f * x) * std::cos(0.07f * y)});
    }
  Polygons polygons;
  for (int j = 0; j < side; ++j)
    for (int i = 0; i < side; ++i) {
      const int o = i + (side + 1) * j, up = o + side + 1;
      if ((i + 2 * j) % 5 == 0)
        polygons.insert(polygons.end(), {{o, o + 1, up + 1}, {o, up + 1, up}});
      else if ((i + j) % 3 == 0 && i + 2 < side)
        polygons.push_back({o, o + 1, o + 2, up + 1, up});
      else
        polygons.push_back({o, o + 1, up + 1, up});
    }
  return polygons;
}

void setPolygons(const Polygons& polygons, MeXSurfaceMeshUnstructured& surface)
{
  std::vector<int> indices;
  std::vector<std::uint32_t> begins;
  for (const std::vector<int>& polygon : polygons) {
    begins.push_back(static_cast<std::uint32_t>(indices.size()));
    indices.insert(indices.end(), polygon.begin(), polygon.end());
    indices.push_back(-1);
  }
  begins.push_back(static_cast<std::uint32_t>(indices.size()));
  std::copy(indices.begin(), indices.end(),
            surface.topology.setMixed(polygons.size(), indices.size()).begin());
  std::copy(begins.begin(), begins.end(), surface.topology.begins().begin());
}

/// In double precision, by the sum over the edges of each polygon.
std::vector<MbVec3d> expectedNormals(const Polygons& polygons, const MxArray<MbVec3f>& points)
{
  std::vector<MbVec3d> normals(points.size());
  const auto point = [&](int n) {
    const MbVec3f& p = points[static_cast<std::size_t>(n)];
    return MbVec3d{p.x, p.y, p.z};
  };
  for (const std::vector<int>& polygon : polygons) {
    MbVec3d area;
    for (std::size_t n = 0; n < polygon.size(); ++n)
      area += cross(point(polygon[n]) - point(polygon[0]),
                    point(polygon[(n + 1) % polygon.size()]) - point(polygon[0]));
    for (const int node : polygon)
      normals[static_cast<std::size_t>(node)] += area;
  }
  for (MbVec3d& normal : normals)
    if (length(normal) > 0) normal = normal * (1 / length(normal));
  return normals;
}

} // namespace

TEST(NodeNormals, AreSumsOfAreasWhateverTheOrderOfPolygonsAndTheThreads)
{
  // Enough polygons for several blocks, in order, in blocks that are turned round, and shuffled: no
  // block has its nodes to itself then. The last node belongs to no polygon.
  MeXSurfaceMeshUnstructured surface;
  Polygons polygons = makeSheet(420, surface);
  surface.geometry.points().push_back({1, 2, 3});
  ASSERT_GT(polygons.size(), 2u << 16);
  bench::Generator random{5};
  for (const char* order : {"as it is", "backwards", "shuffled"}) {
    SCOPED_TRACE(order);
    if (*order == 'b') std::reverse(polygons.begin(), polygons.end());
    if (*order == 's')
      for (std::size_t n = polygons.size(); n > 1; --n)
        std::swap(polygons[n - 1], polygons[random.below(n)]);
    setPolygons(polygons, surface);
    const std::vector<MbVec3d> expected = expectedNormals(polygons, surface.geometry.points());
    MxArray<MbVec3f> serial, parallel;
    nodeNormals(surface, false, serial);
    nodeNormals(surface, true, parallel);
    ASSERT_EQ(serial.size(), expected.size());
    for (std::size_t n = 0; n < expected.size(); ++n) {
      const MbVec3d own{serial[n].x, serial[n].y, serial[n].z};
      ASSERT_LT(length(own - expected[n]), 1e-5) << n;
    }
    ASSERT_EQ(std::memcmp(serial.data(), parallel.data(), serial.size() * sizeof(MbVec3f)), 0);
  }
}
