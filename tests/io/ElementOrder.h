#pragma once

#include <velmo/extraction/interfaces/MxCellShapes.h>
#include <velmo/io/MbMeshFile.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

/// An element whose nodes stand where the manual of its format puts them: "3" is corner 3, "01"
/// lies between corners 0 and 1, "0123" in the middle of a face, "c" in the middle of all.
struct ElementCase
{
  const char* type; ///< as the format names it
  MiCellShape shape;
  std::vector<std::string> nodes;
};

/// Where such a node lies in an element of that many corners.
inline MbVec3d elementPoint(const ElementCase& element, const std::string& place)
{
  using S = MiCellShape;
  static const std::vector<MbVec3d> kCube{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                          {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
  static const std::vector<MbVec3d> kPrism{{0, 0, 0}, {1, 0, 0}, {0, 1, 0},
                                           {0, 0, 1}, {1, 0, 1}, {0, 1, 1}};
  static const std::vector<MbVec3d> kPeak{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}};
  static const std::vector<MbVec3d> kSimplex{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  const MiCellShapeFacts facts = cellShapeFacts(element.shape);
  const auto& corners = facts.linear == S::Wedge                                        ? kPrism
                        : facts.linear == S::Pyramid                                    ? kPeak
                        : facts.linear == S::Tetrahedron || facts.linear == S::Triangle ? kSimplex
                                                                                        : kCube;
  std::string all = place;
  if (place == "c")
    for (all.clear(); all.size() < facts.cornerCount;)
      all += static_cast<char>('0' + all.size());
  MbVec3d sum;
  for (const char corner : all)
    sum = sum + corners[static_cast<std::size_t>(corner - '0')];
  return sum * (1.0 / static_cast<double>(all.size()));
}

/// Checks that the first cell of a file has the case's shape, that each middle node lies between
/// the corners of its edge or face, and that volumes are not turned inside out.
inline void expectElement(const MbMeshFile& file, const ElementCase& element)
{
  ASSERT_GT(file.getCellCount(), 0u);
  const MiTopologyI* topology = nullptr;
  const MiGeometryI* geometry = nullptr;
  const auto take = [&](const auto* mesh) {
    if (!mesh) return;
    topology = &mesh->getTopology();
    geometry = &mesh->getGeometry();
  };
  take(dynamic_cast<const MiVolumeMeshUnstructured*>(file.getMesh()));
  take(dynamic_cast<const MiSurfaceMeshUnstructured*>(file.getMesh()));
  take(dynamic_cast<const MiLineMeshUnstructured*>(file.getMesh()));
  ASSERT_TRUE(topology);
  ASSERT_EQ(topology->getCellShape(0), element.shape);
  std::vector<std::size_t> nodes;
  topology->getCellNodes(0, nodes);
  const MiCellShapeFacts facts = cellShapeFacts(element.shape);
  ASSERT_EQ(nodes.size(), facts.nodeCount);
  std::vector<MbVec3d> points;
  for (const std::size_t node : nodes)
    points.push_back(geometry->getNode(node));

  for (const MxShapeEdge& edge : shapeEdges(element.shape))
    if (edge.middle < points.size()) {
      EXPECT_EQ(points[edge.middle], (points[edge.first] + points[edge.second]) * 0.5);
    }
  if (element.shape == MiCellShape::QuadraticLine) {
    EXPECT_EQ(points[2], (points[0] + points[1]) * 0.5);
  }
  double volume = 0;
  for (const MxShapeFace& face : shapeFaces(element.shape)) {
    const std::size_t corners = cellShapeFacts(face.shape).cornerCount;
    MbVec3d middle;
    for (std::size_t i = 0; i < corners; ++i)
      middle = middle + points[face.nodes[i]] * (1.0 / static_cast<double>(corners));
    if (face.shape == MiCellShape::BiquadraticQuad) {
      EXPECT_EQ(points[face.nodes[8]], middle);
    }
    for (std::size_t i = 0; i < corners; ++i)
      volume += dot(middle, cross(points[face.nodes[i]], points[face.nodes[(i + 1) % corners]]));
  }
  if (facts.dimension == 3) {
    EXPECT_GT(volume, 0);
  }
  if (element.shape == MiCellShape::TriquadraticHexahedron) {
    EXPECT_EQ(points[26], (MbVec3d{0.5, 0.5, 0.5}));
  }
}
