#include <tests/support/CutMesh.h>

#include <velmo/mesh/MbMesh.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

/// The outline of a prism, counter-clockwise, and triangles that fill it.
struct Outline
{
  const char* name;
  std::vector<std::array<double, 2>> corners;
  std::vector<std::array<std::size_t, 3>> triangles;
};

const std::vector<Outline>& outlines()
{
  static const std::vector<Outline> kOutlines{
      {"L",
       {{0, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 3}, {0, 3}},
       {{0, 1, 3}, {1, 2, 3}, {0, 3, 5}, {3, 4, 5}}},
      {"U",
       {{0, 0}, {3, 0}, {3, 2}, {2, 2}, {2, 0.4}, {1, 0.4}, {1, 2}, {0, 2}},
       {{0, 1, 5}, {1, 4, 5}, {1, 2, 4}, {2, 3, 4}, {0, 5, 7}, {5, 6, 7}}},
      {"V", {{1, 0}, {2, 2}, {1, 1}, {0, 2}}, {{0, 1, 2}, {0, 2, 3}}},
      {"W",
       {{0, 0}, {4, 0}, {4, 2}, {3, 1}, {2, 3}, {1, 1}, {0, 2}},
       {{0, 5, 6}, {0, 1, 5}, {1, 3, 5}, {1, 2, 3}, {3, 4, 5}}}};
  return kOutlines;
}

/// Prisms of height 1 on top of each other, turned and moved: each a polyhedron, or the wedges that
/// its outline's triangles give.
class Prisms
{
public:
  explicit Prisms(const Outline& outline) : m_outline(outline) {}

  std::vector<MbVec3d> points(std::size_t layers) const
  {
    // Axes of a rotation, and an offset.
    const MbVec3d x{0.36, 0.48, -0.8}, y{-0.8, 0.6, 0}, z = cross(x, y);
    std::vector<MbVec3d> points;
    for (std::size_t layer = 0; layer <= layers; ++layer)
      for (const auto& [u, v] : m_outline.corners)
        points.push_back(x * u + y * v + z * static_cast<double>(layer) + MbVec3d{0.3, -0.2, 0.1});
    return points;
  }
  std::unique_ptr<MbVolumeMeshUnstructured> polyhedra(std::size_t layers) const
  {
    const std::size_t size = m_outline.corners.size();
    MbCellArrays arrays;
    std::vector<std::int64_t> connectivity, offsets{0}, faces, faceOffsets{0};
    for (std::size_t layer = 0; layer < layers; ++layer) {
      const auto at = [&](std::size_t n, std::size_t up) {
        return static_cast<std::int64_t>(n % size + size * (layer + up));
      };
      for (std::size_t n = 0; n < 2 * size; ++n)
        connectivity.push_back(at(n, n / size));
      offsets.push_back(static_cast<std::int64_t>(connectivity.size()));
      faces.insert(faces.end(),
                   {static_cast<std::int64_t>(size + 2), static_cast<std::int64_t>(size)});
      for (std::size_t n = 0; n < size; ++n) // not from the same corner as the cell below has it
        faces.push_back(at(2 * size - 2 - n, 0));
      faces.push_back(static_cast<std::int64_t>(size));
      for (std::size_t n = 0; n < size; ++n)
        faces.push_back(at(n, 1));
      for (std::size_t n = 0; n < size; ++n)
        faces.insert(faces.end(), {4, at(n, 0), at(n + 1, 0), at(n + 1, 1), at(n, 1)});
      faceOffsets.push_back(static_cast<std::int64_t>(faces.size()));
    }
    arrays.shapes = std::vector<std::uint8_t>(layers, 42);
    arrays.connectivity = std::move(connectivity);
    arrays.offsets = std::move(offsets);
    arrays.faces = std::move(faces);
    arrays.faceOffsets = std::move(faceOffsets);
    return std::make_unique<MbVolumeMeshUnstructured>(MbTopologyI(std::move(arrays)),
                                                      points(layers));
  }
  std::unique_ptr<MbVolumeMeshUnstructured> wedges(std::size_t layers) const
  {
    const std::size_t size = m_outline.corners.size();
    std::vector<std::int64_t> cells;
    for (std::size_t layer = 0; layer < layers; ++layer)
      for (const auto& triangle : m_outline.triangles)
        for (std::size_t up = 0; up < 2; ++up)
          for (const std::size_t n : triangle)
            cells.push_back(static_cast<std::int64_t>(n + size * (layer + up)));
    return std::make_unique<MbVolumeMeshUnstructured>(
        MbTopologyI(MiCellShape::Wedge, std::move(cells)), points(layers));
  }

private:
  const Outline& m_outline;
};

TEST(CutConcave, APlaneThroughPrismsWithNotchesStaysInside)
{
  std::mt19937 random(7);
  std::uniform_real_distribution<double> unit(-1, 1);
  for (const Outline& outline : outlines()) {
    const Prisms prisms(outline);
    const auto whole = prisms.polyhedra(3), parts = prisms.wedges(3);
    const std::vector<MbVec3d> places = prisms.points(3);
    const MbVec3d up = places[outline.corners.size()] - places[0];
    std::size_t several = 0;
    for (int n = 0; n < 200; ++n) {
      SCOPED_TRACE(testing::Message() << outline.name << ", plane " << n);
      // Upright ones among them.
      MbVec3d normal{unit(random), unit(random), unit(random)};
      if (n % 2 == 0) normal = cross(normal, up);
      const MbVec3d through = places[static_cast<std::size_t>(n) % places.size()] * 0.7 +
                              places[static_cast<std::size_t>(7 * n) % places.size()] * 0.3;
      const double expected =
          laws::sizeOf(*laws::cut(*parts, MxCutPlane{normal, dot(normal, through)})).area;
      for (const double sign : {1.0, -1.0}) {
        const auto cut = laws::cut(*whole, MxCutPlane{normal * sign, dot(normal, through) * sign});
        EXPECT_NEAR(laws::sizeOf(*cut).area, expected, 2e-5);
        several += cut->topology.getCellCount() > 3;
        // The faces between the prisms are cut alike from both sides.
        const double layer = 1e-5, height = dot(up, up);
        for (const auto& [a, b] : laws::openEdges(*cut)) {
          const double low = dot(a - places[0], up) / height,
                       high = dot(b - places[0], up) / height;
          EXPECT_FALSE(std::abs(low - high) < layer && std::abs(low - std::round(low)) < layer &&
                       low > 0.5 && low < 2.5)
              << "open between two prisms";
        }
      }
    }
    EXPECT_GT(several, 0u) << "prisms cut in several pieces";
  }
}

TEST(CutConcave, SpheresThroughPrismsWithNotchesAreClosedInside)
{
  for (const Outline& outline : outlines()) {
    SCOPED_TRACE(outline.name);
    const Prisms prisms(outline);
    const auto whole = prisms.polyhedra(3), parts = prisms.wedges(3);
    for (const MbVec3d& center : prisms.points(1))
      for (const double radius : {0.9, 1.7, 2.6}) {
        const MxCutSphere sphere{center, radius};
        const auto cut = laws::cut(*whole, sphere);
        for (std::size_t n = 0; n < cut->geometry.getNodeCount(); ++n)
          EXPECT_NEAR(length(cut->geometry.getNode(n) - center), radius, 1e-6);
        EXPECT_EQ(cut->topology.getCellCount() > 0,
                  laws::cut(*parts, sphere)->topology.getCellCount() > 0);
      }
  }
}

} // namespace
