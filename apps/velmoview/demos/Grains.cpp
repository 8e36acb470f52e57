#include <velmoview/demos/MakeDemos.h>

#include <velmo/mesh/MbMesh.h>

#include <array>
#include <map>

namespace velmoview {

namespace {

using Key = std::array<int, 3>;

/// The 14 faces of the truncated octahedron with corners at the permutations of (0, +-1, +-2),
/// counter-clockwise from outside. Copies at the points of a body-centred lattice fill space.
std::vector<std::vector<Key>> truncatedOctahedron()
{
  std::vector<std::vector<Key>> faces;
  for (int axis = 0; axis < 3; ++axis) {
    for (int sign : {1, -1}) {
      constexpr int kRing[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
      std::vector<Key> square(4);
      for (int n = 0; n < 4; ++n) {
        Key& corner = square[sign > 0 ? n : 3 - n];
        corner[axis] = 2 * sign;
        corner[(axis + 1) % 3] = kRing[n][0];
        corner[(axis + 2) % 3] = kRing[n][1];
      }
      faces.push_back(square);
    }
  }
  constexpr Key kHexagon[6] = {{0, 1, 2}, {1, 0, 2}, {2, 0, 1}, {2, 1, 0}, {1, 2, 0}, {0, 2, 1}};
  for (int octant = 0; octant < 8; ++octant) {
    const Key sign{octant & 1 ? -1 : 1, octant & 2 ? -1 : 1, octant & 4 ? -1 : 1};
    const bool mirrored = sign[0] * sign[1] * sign[2] < 0;
    std::vector<Key> hexagon(6);
    for (int n = 0; n < 6; ++n) {
      for (int axis = 0; axis < 3; ++axis)
        hexagon[mirrored ? 5 - n : n][axis] = sign[axis] * kHexagon[n][axis];
    }
    faces.push_back(hexagon);
  }
  return faces;
}

/// A number from 0 to 1 that looks random and depends on the place alone.
double scatter(const Key& p)
{
  const double x = std::sin(12.9898 * p[0] + 78.233 * p[1] + 37.719 * p[2]) * 43758.5453;
  return x - std::floor(x);
}

} // namespace

DemoMesh makeGrains(int size)
{
  const auto faces = truncatedOctahedron();
  const double radius = 2.0 * size; // a grain is four units wide
  std::map<Key, std::int64_t> nodeOf;
  std::vector<double> points;
  const auto node = [&](const Key& corner) {
    const auto [at, isNew] = nodeOf.try_emplace(corner, static_cast<std::int64_t>(nodeOf.size()));
    if (isNew) {
      const double r =
          std::sqrt(1.0 * corner[0] * corner[0] + corner[1] * corner[1] + corner[2] * corner[2]);
      const double grow = 0.7 + 0.3 * r / radius; // grains are larger outside
      for (int axis = 0; axis < 3; ++axis)
        points.push_back(corner[axis] * grow);
    }
    return at->second;
  };

  MbCellArrays arrays;
  std::vector<std::uint8_t> shapes;
  std::vector<std::int64_t> connectivity, offsets{0}, stream, streamOffsets{0};
  std::vector<float> orientation, distance;
  const auto addGrain = [&](const Key& centre) {
    const std::size_t begin = connectivity.size();
    stream.push_back(static_cast<std::int64_t>(faces.size()));
    for (const auto& face : faces) {
      stream.push_back(static_cast<std::int64_t>(face.size()));
      for (const Key& corner : face) {
        const std::int64_t id =
            node({centre[0] + corner[0], centre[1] + corner[1], centre[2] + corner[2]});
        stream.push_back(id);
        if (std::find(connectivity.begin() + static_cast<std::ptrdiff_t>(begin), connectivity.end(),
                      id) == connectivity.end())
          connectivity.push_back(id);
      }
    }
    offsets.push_back(static_cast<std::int64_t>(connectivity.size()));
    streamOffsets.push_back(static_cast<std::int64_t>(stream.size()));
    shapes.push_back(static_cast<std::uint8_t>(MiCellShape::Polyhedron));
    orientation.push_back(static_cast<float>(62.8 * scatter(centre)));
    distance.push_back(static_cast<float>(
        std::sqrt(1.0 * centre[0] * centre[0] + centre[1] * centre[1] + centre[2] * centre[2])));
  };

  // A ball, opened on the side that the default view shows.
  const int reach = size / 2 + 1;
  for (int k = -reach; k <= reach; ++k) {
    for (int j = -reach; j <= reach; ++j) {
      for (int i = -reach; i <= reach; ++i) {
        for (int half : {0, 2}) {
          const Key c{4 * i + half, 4 * j + half, 4 * k + half};
          const double r2 = 1.0 * c[0] * c[0] + c[1] * c[1] + c[2] * c[2];
          const bool opened = c[0] > 0 && c[1] < 0 && c[2] > 0;
          if (r2 <= radius * radius && !opened) addGrain(c);
        }
      }
    }
  }

  arrays.shapes = std::move(shapes);
  arrays.offsets = std::move(offsets);
  arrays.connectivity = std::move(connectivity);
  arrays.faces = std::move(stream);
  arrays.faceOffsets = std::move(streamOffsets);
  DemoMesh demo;
  demo.mesh =
      std::make_shared<MbVolumeMeshUnstructured>(MbTopologyI(std::move(arrays)), std::move(points));
  demo.arrays = {{"misorientation", MiDataBinding::PerCell, 1, std::move(orientation)},
                 {"distance", MiDataBinding::PerCell, 1, std::move(distance)}};
  return demo;
}

} // namespace velmoview
