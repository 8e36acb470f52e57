#include <array>
#include <cmath>
#include <memory>
#include <ostream>

#include <gmock/gmock.h>

#include <Inventor/actions/SoSearchAction.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoIndexedFaceSet.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShapeHints.h>
#include <Inventor/SbViewportRegion.h>

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/MoCustomColorMapping.h>
#include <velmo/colormapping/MoPredefinedColorMapping.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/nodes/MoVelmo.h>
#include <velmo/representations/MoMeshSkin.h>
#include <velmo/toolkit/SoRef.h>

#include "tests/support/Offscreen.h"

namespace {

constexpr int kWidth = 480;
constexpr int kHeight = 360;

/// A mesh with values from 0 to 1.
struct Content
{
  std::unique_ptr<MiMesh> mesh;
  std::unique_ptr<const MiTypedDataSet<double>> values;
};

/// What a golden picture shows.
struct Subject
{
  const char* name;
  Content (*make)();
  SbVec3f eye; ///< the direction from the mesh to the viewer
  bool edges;
  bool points;
  float transparency;
  int face; ///< one that the picture shows

  friend void PrintTo(const Subject& subject, std::ostream* out) { *out << subject.name; }
};

/// A bar of hexahedra, bent upwards; its values run along it.
Content bentBar()
{
  constexpr int ni = 6, nj = 2, nk = 2;
  std::vector<MbVec3d> points;
  std::vector<float> values;
  for (int k = 0; k <= nk; ++k)
    for (int j = 0; j <= nj; ++j)
      for (int i = 0; i <= ni; ++i) {
        const double angle = (i - ni / 2) * 0.21, radius = 6.0 - 0.7 * k;
        points.push_back({radius * std::sin(angle), 1.2 * j, -radius * std::cos(angle)});
        values.push_back(static_cast<float>(i) / ni);
      }
  const auto node = [](int i, int j, int k) { return i + (ni + 1) * (j + (nj + 1) * k); };
  std::vector<int> cells;
  for (int k = 0; k < nk; ++k)
    for (int j = 0; j < nj; ++j)
      for (int i = 0; i < ni; ++i)
        for (int up = 0; up < 2; ++up)
          cells.insert(cells.end(), {node(i, j, k + up), node(i + 1, j, k + up),
                                     node(i + 1, j + 1, k + up), node(i, j + 1, k + up)});
  return {std::make_unique<MbVolumeMeshUnstructured>(
              MbTopologyI(MiCellShape::Hexahedron, std::move(cells)), std::move(points)),
          std::make_unique<MbDataSetI<double>>("along", MiDataBinding::PerNode, std::move(values))};
}

/// A quadratic hexahedron and a quadratic tetrahedron with bulging edges, a wedge and a pyramid,
/// apart from each other; the values are heights.
Content mixedCells()
{
  using Shape = MiCellShape;
  std::vector<MbVec3d> points;
  std::vector<Shape> shapes;
  std::vector<int> cells, offsets{0};
  const auto addCell = [&](Shape shape, MbVec3d center, std::vector<MbVec3d> corners,
                           std::vector<std::array<int, 2>> edges) {
    for (const auto& [a, b] : edges)
      corners.push_back((corners[a] + corners[b]) * 0.6);
    for (const MbVec3d& corner : corners) {
      cells.push_back(static_cast<int>(points.size()));
      points.push_back(center + corner);
    }
    shapes.push_back(shape);
    offsets.push_back(static_cast<int>(cells.size()));
  };
  addCell(Shape::QuadraticHexahedron, {0, 0, 0},
          {{-1, -1, -1},
           {1, -1, -1},
           {1, 1, -1},
           {-1, 1, -1},
           {-1, -1, 1},
           {1, -1, 1},
           {1, 1, 1},
           {-1, 1, 1}},
          {{0, 1},
           {1, 2},
           {2, 3},
           {3, 0},
           {4, 5},
           {5, 6},
           {6, 7},
           {7, 4},
           {0, 4},
           {1, 5},
           {2, 6},
           {3, 7}});
  addCell(Shape::QuadraticTetrahedron, {3.2, 0, 0},
          {{-1, -1, -1}, {1, -1, -1}, {0, 1, -1}, {0, 0, 1}},
          {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}});
  addCell(Shape::Wedge, {0, 3, 0},
          {{-1, -1, -1}, {1, -1, -1}, {0, -1, 1}, {-1, 1, -1}, {1, 1, -1}, {0, 1, 1}}, {});
  addCell(Shape::Pyramid, {3.2, 3, 0},
          {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1}, {0, 0, 1}}, {});
  std::vector<float> values;
  for (const MbVec3d& p : points)
    values.push_back(static_cast<float>((p.z + 1) / 2));
  return {
      std::make_unique<MbVolumeMeshUnstructured>(
          MbTopologyI(std::move(shapes), std::move(offsets), std::move(cells)), std::move(points)),
      std::make_unique<MbDataSetI<double>>("height", MiDataBinding::PerNode, std::move(values))};
}

/// A corner-point grid with a fault across it and two dead cells; each layer has its value.
Content faultedGrid()
{
  constexpr int ni = 6, nj = 4, nk = 3;
  std::vector<double> pillars, depths;
  for (int j = 0; j <= nj; ++j)
    for (int i = 0; i <= ni; ++i)
      pillars.insert(pillars.end(), {1.0 * i, 1.0 * j, 0.0, i + 0.15, 1.0 * j, 3.0});
  for (int k = 0; k < 2 * nk; ++k)
    for (int j = 0; j < 2 * nj; ++j)
      for (int i = 0; i < 2 * ni; ++i) {
        const int pillarI = (i + 1) / 2, pillarJ = (j + 1) / 2, layer = (k + 1) / 2;
        const double dome = 0.12 * ((pillarI - 3) * (pillarI - 3) + (pillarJ - 2) * (pillarJ - 2));
        const double thrown = i / 2 >= 4 ? 0.6 : 0.0;
        depths.push_back(-0.8 * layer - dome - thrown);
      }
  std::vector<unsigned char> active(ni * nj * nk, 1);
  active[0] = active[1 + ni * (1 + nj * 2)] = 0;
  std::vector<float> values;
  for (int c = 0; c < ni * nj * nk; ++c)
    values.push_back(static_cast<float>(c / (ni * nj)) / nk + 0.05f * static_cast<float>(c % 7));
  const MbIndex3 counts{ni, nj, nk};
  return {std::make_unique<MbVolumeMeshVertexHexahedronIjk>(
              MbTopologyIjk(counts, std::move(active)), std::move(pillars), std::move(depths)),
          std::make_unique<MbDataSetIjk<double>>("porosity", MiDataBinding::PerCell, counts,
                                                 std::move(values))};
}

class ReversedMapping : public MiScalarColorMapping
{
public:
  explicit ReversedMapping(const MiScalarColorMapping& mapping) : m_mapping(mapping) {}
  SbColorRGBA getColor(double value) const override
  {
    double min, max;
    getRange(min, max);
    return m_mapping.getColor(min + max - value);
  }
  void getRange(double& min, double& max) const override { m_mapping.getRange(min, max); }
  std::uint64_t getTimeStamp() const override { return m_timeStamp; }

private:
  const MiScalarColorMapping& m_mapping;
  std::uint64_t m_timeStamp = MxTimeStamp::take();
};

/// The subject's scene, ready to be drawn and to be spoilt.
class Scene
{
public:
  explicit Scene(const Subject& subject) : m_subject(subject), m_content(subject.make())
  {
    m_camera = add(new SoPerspectiveCamera);
    addLight({0.45f, -0.6f, -1.0f}, 0.62f);
    addLight({-0.9f, 0.2f, -1.0f}, 0.42f);
    addLight({0, 0, -1.0f}, 0.22f);
    auto* hints = add(new SoShapeHints); // both sides lit, smooth over small angles
    hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE;
    hints->creaseAngle = 0.5f;
    add(new SoDrawStyle)->pointSize = 6;
    m_map = add(new MoPredefinedColorMapping);
    m_map->minValue = -0.15f; // dark edges are to show on the lowest values
    m_map->predefColorMap = MoPredefinedColorMapping::RAINBOW_TURBO;
    m_reversed = add(new MoCustomColorMapping);
    add(new MoDataBinding)->dataBinding = MoDataBinding::AUTO;
    m_style = add(new MoDrawStyle);
    m_style->displayEdges = subject.edges;
    m_style->displayPoints = subject.points;
    auto* material = add(new MoMaterial);
    material->lineColoring = MoMaterial::COLOR;
    material->lineColor = SbColor(0.1f, 0.1f, 0.12f);
    material->pointColoring = MoMaterial::COLOR;
    material->pointColor = SbColor(0.1f, 0.1f, 0.12f);
    material->transparency = subject.transparency;
    add(new MoMesh)->setMesh(m_content.mesh.get());
    add(new MoScalarSet)->setScalarSet(m_content.values.get());
    m_skin = add(new MoMeshSkin);
    m_camera->pointAt(m_camera->position.getValue() - subject.eye, {0, 0, 1});
    m_camera->heightAngle = 0.5f;
    m_camera->viewAll(m_root, SbViewportRegion(kWidth, kHeight), 1.0f);
    m_camera->heightAngle = 0.4f; // closer than the sphere around everything
  }

  MxImage draw() const { return drawScene(m_root, kWidth, kHeight); }

  void reverseColors()
  {
    m_reversedMapping = std::make_unique<ReversedMapping>(*m_map->getColorMapping());
    m_reversed->setColorMapping(m_reversedMapping.get());
  }
  void dropEdgesAndPoints() { m_style->displayEdges = m_style->displayPoints = FALSE; }
  /// Shrinks a face to a point, so that every other one keeps its place. Draw once before.
  bool dropFace(int face)
  {
    SoIndexedFaceSet* shape = findFaceSet();
    if (!shape) return false;
    const int count = shape->coordIndex.getNum();
    std::vector<int> indices(shape->coordIndex.getValues(0),
                             shape->coordIndex.getValues(0) + count);
    int at = 0;
    for (; face > 0 && at < count; ++at)
      face -= indices[at] < 0;
    if (at == count) return false;
    for (const int first = indices[at]; indices[at] >= 0; ++at)
      indices[at] = first;
    shape->coordIndex.setValues(0, count, indices.data());
    return true;
  }

private:
  template <class Node>
  Node* add(Node* node)
  {
    m_root->addChild(node);
    return node;
  }
  void addLight(SbVec3f direction, float intensity)
  {
    // Given as seen by the viewer, whose axes are those of pointAt.
    SbVec3f back = m_subject.eye, right = SbVec3f(0, 0, 1).cross(back);
    back.normalize();
    right.normalize();
    auto* light = add(new SoDirectionalLight);
    light->direction =
        right * direction[0] + back.cross(right) * direction[1] + back * direction[2];
    light->intensity = intensity;
  }
  SoIndexedFaceSet* findFaceSet() const
  {
    SoSearchAction search;
    search.setType(SoIndexedFaceSet::getClassTypeId());
    search.setSearchingAll(TRUE);
    const SoChildList& hidden = *m_skin->getChildren();
    for (int i = 0; i < hidden.getLength() && !search.getPath(); ++i)
      search.apply(hidden[i]);
    return search.getPath() ? static_cast<SoIndexedFaceSet*>(
                                  static_cast<SoFullPath*>(search.getPath())->getTail())
                            : nullptr;
  }

  const Subject& m_subject;
  Content m_content;
  SoRef<SoSeparator> m_root{new SoSeparator};
  std::unique_ptr<ReversedMapping> m_reversedMapping;
  SoPerspectiveCamera* m_camera;
  MoPredefinedColorMapping* m_map;
  MoCustomColorMapping* m_reversed;
  MoDrawStyle* m_style;
  MoMeshSkin* m_skin;
};

class GoldenPicture : public testing::TestWithParam<Subject>
{
protected:
  GoldenPicture() { MoVelmo::init(); }
  ~GoldenPicture() override { MoVelmo::finish(); }
};

} // namespace

TEST_P(GoldenPicture, IsDrawn)
{
  EXPECT_TRUE(matchesGolden(Scene(GetParam()).draw(), GetParam().name));
}

TEST_P(GoldenPicture, TellsReversedColors)
{
  Scene scene(GetParam());
  scene.reverseColors();
  EXPECT_GT(differenceFromGolden(scene.draw(), GetParam().name), 5 * kDifferingShareTolerance);
}

TEST_P(GoldenPicture, TellsMissingEdgesOrPoints)
{
  Scene scene(GetParam());
  scene.dropEdgesAndPoints();
  EXPECT_GT(differenceFromGolden(scene.draw(), GetParam().name), 2 * kDifferingShareTolerance);
}

TEST_P(GoldenPicture, TellsAMissingFace)
{
  Scene scene(GetParam());
  scene.draw();
  ASSERT_TRUE(scene.dropFace(GetParam().face));
  EXPECT_GT(differenceFromGolden(scene.draw(), GetParam().name), 2 * kDifferingShareTolerance);
}

INSTANTIATE_TEST_SUITE_P(
    Golden, GoldenPicture,
    testing::Values(
        Subject{"bent_bar_edges", bentBar, {-0.5f, -1.0f, 0.7f}, true, false, 0, 1},
        Subject{"mixed_cells_points", mixedCells, {-0.35f, -1.0f, 0.6f}, true, true, 0, 29},
        Subject{
            "faulted_grid_transparent", faultedGrid, {-0.7f, -1.0f, 0.6f}, true, false, 0.45f, 16}),
    [](const auto& info) { return std::string(info.param.name); });
