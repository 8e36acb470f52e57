#include <array>
#include <cmath>
#include <memory>

#include <gmock/gmock.h>

#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoIndexedFaceSet.h>
#include <Inventor/nodes/SoShapeHints.h>

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
#include <velmo/representations/MoMeshSkin.h>

#include "tests/golden/GoldenScene.h"
#include "tests/support/SceneQueries.h"

namespace {

/// A mesh with values from 0 to 1.
struct Content
{
  std::unique_ptr<MiMesh> mesh;
  std::unique_ptr<const MiTypedDataSet<double>> values;
};

/// What is drawn of it.
struct Look
{
  Content (*make)();
  SbVec3f eye; ///< the direction from the mesh to the viewer
  bool points;
  float transparency;
  int face; ///< one that the picture shows
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

class Skin final : public GoldenScene
{
public:
  explicit Skin(const Look& look) : GoldenScene(look.eye), m_content(look.make())
  {
    addLight(look.eye, {0.45f, -0.6f, -1.0f}, 0.62f);
    addLight(look.eye, {-0.9f, 0.2f, -1.0f}, 0.42f);
    addLight(look.eye, {0, 0, -1.0f}, 0.22f);
    auto* hints = add(new SoShapeHints); // both sides lit, smooth over small angles
    hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE;
    hints->creaseAngle = 0.5f;
    add(new SoDrawStyle)->pointSize = 6;
    auto* map = add(new MoPredefinedColorMapping);
    map->minValue = -0.15f; // dark edges are to show on the lowest values
    map->predefColorMap = MoPredefinedColorMapping::RAINBOW_TURBO;
    auto* other = add(new MoCustomColorMapping);
    add(new MoDataBinding)->dataBinding = MoDataBinding::AUTO;
    auto* style = add(new MoDrawStyle);
    style->displayEdges = TRUE;
    style->displayPoints = look.points;
    auto* material = add(new MoMaterial);
    material->lineColoring = MoMaterial::COLOR;
    material->lineColor = SbColor(0.1f, 0.1f, 0.12f);
    material->pointColoring = MoMaterial::COLOR;
    material->pointColor = SbColor(0.1f, 0.1f, 0.12f);
    material->transparency = look.transparency;
    add(new MoMesh)->setMesh(m_content.mesh.get());
    add(new MoScalarSet)->setScalarSet(m_content.values.get());
    m_skin = add(new MoMeshSkin);
    GoldenScene::look(0.5f); // closer than the sphere around everything

    addFault("reversed colours", [this, map, other] {
      m_reversed = std::make_unique<ReversedMapping>(*map->getColorMapping());
      other->setColorMapping(m_reversed.get());
    });
    addFault("no edges and points",
             [style] { style->displayEdges = style->displayPoints = FALSE; });
    addFault("a missing face", [this, face = look.face] { dropFace(face); });
  }

private:
  /// @param direction  as seen by the viewer, whose axes are those of pointAt
  void addLight(SbVec3f eye, SbVec3f direction, float intensity)
  {
    SbVec3f right = SbVec3f(0, 0, 1).cross(eye);
    eye.normalize();
    right.normalize();
    auto* light = add(new SoDirectionalLight);
    light->direction = right * direction[0] + eye.cross(right) * direction[1] + eye * direction[2];
    light->intensity = intensity;
  }
  /// Shrinks a face to a point, so that every other one keeps its place.
  void dropFace(int face)
  {
    auto* shape = findNode<SoIndexedFaceSet>((*m_skin->getChildren())[0]);
    ASSERT_NE(shape, nullptr);
    const int count = shape->coordIndex.getNum();
    std::vector<int> indices(shape->coordIndex.getValues(0),
                             shape->coordIndex.getValues(0) + count);
    int at = 0;
    for (; face > 0 && at < count; ++at)
      face -= indices[at] < 0;
    ASSERT_LT(at, count);
    for (const int first = indices[at]; indices[at] >= 0; ++at)
      indices[at] = first;
    shape->coordIndex.setValues(0, count, indices.data());
  }

  Content m_content;
  std::unique_ptr<ReversedMapping> m_reversed;
  MoMeshSkin* m_skin;
};

GoldenSubject skin(const char* name, const Look& look)
{
  return {name, [look] { return std::make_unique<Skin>(look); }};
}

} // namespace

TEST_P(GoldenPicture, IsDrawn)
{
  EXPECT_TRUE(matchesGolden(GetParam().make()->draw(), GetParam().name));
}

TEST_P(GoldenPicture, TellsWhatIsWrong)
{
  const std::size_t count = GetParam().make()->faults().size();
  ASSERT_GT(count, 0u);
  for (std::size_t f = 0; f < count; ++f) {
    const std::unique_ptr<GoldenScene> scene = GetParam().make();
    scene->draw();
    scene->faults()[f].make();
    EXPECT_GT(differenceFromGolden(scene->draw(), GetParam().name), 2 * kDifferingShareTolerance)
        << scene->faults()[f].what;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Skins, GoldenPicture,
    testing::Values(skin("bent_bar_edges", {bentBar, {-0.5f, -1.0f, 0.7f}, false, 0, 1}),
                    skin("mixed_cells_points", {mixedCells, {-0.35f, -1.0f, 0.6f}, true, 0, 29}),
                    skin("faulted_grid_transparent",
                         {faultedGrid, {-0.7f, -1.0f, 0.6f}, false, 0.45f, 16})),
    GoldenSubject::nameOf);
