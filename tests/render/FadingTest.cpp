#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/colormapping/MdLinearColorMapping.h>
#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/render/MxEdgeLengthStat.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <tests/support/ExtractedMesh.h>
#include <tests/support/Offscreen.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoScale.h>
#include <Inventor/nodes/SoShaderObject.h>
#include <Inventor/nodes/SoShaderParameter.h>
#include <Inventor/nodes/SoShaderProgram.h>

#include <gmock/gmock.h>

#include <cmath>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// A square sheet from 0 to 1 of cells x cells squares.
void fillSheet(MeXSurfaceMeshUnstructured& surface, int cells)
{
  std::vector<MbVec3f> points;
  std::vector<std::vector<int>> faces;
  for (int j = 0; j <= cells; ++j)
    for (int i = 0; i <= cells; ++i) {
      const int a = j * (cells + 1) + i, d = a + cells + 1;
      points.push_back({static_cast<float>(i) / cells, static_cast<float>(j) / cells, 0});
      if (i < cells && j < cells) faces.push_back({a, a + 1, d + 1, d});
    }
  fillPoints(surface, points);
  fillCells(surface, faces);
}

/// Dark edges on white faces, seen along z; the sheet fills a picture of 200 x 200.
class Scene
{
public:
  explicit Scene(int cells, float scale = 1) : root(new SoSeparator), above(new SoSeparator)
  {
    fillSheet(surface, cells);
    root->addChild(cameraAt(0.5f * scale, 0.5f * scale, 2, scale));
    auto* unlit = new SoLightModel;
    unlit->model = SoLightModel::BASE_COLOR;
    root->addChild(unlit);
    auto* size = new SoScale;
    size->scaleFactor.setValue(scale, scale, scale);
    root->addChild(size);
    builder = std::make_unique<MdSurfaceMesh>(root);
    material = new MoMaterial;
    material->faceColoring = MoMaterial::COLOR;
    material->lineColoring = MoMaterial::COLOR;
    material->lineColor.setValue(0, 0, 0);
    style = new MoDrawStyle;
    style->displayEdges = TRUE;
    above->addChild(material);
    above->addChild(style);
  }
  // Twice: only drawing tells whether faces and edges can be one pass.
  MbImage draw()
  {
    const StateProbe probe([&](SoAction* action) {
      if (mapping) MoColorMappingElement::set(action->getState(), nullptr, mapping);
      builder->set(action->getState(), surface, {&values});
    });
    above->addChild(probe.node());
    MoOffscreenCanvas canvas;
    canvas.render(above, 16, 16);
    above->removeChild(probe.node());
    return drawScene(root, 200, 200);
  }
  double darkness()
  {
    const MbImage picture = draw();
    double sum = 0;
    for (std::size_t i = 0; i < picture.rgba.size(); i += 4)
      sum += 255 - picture.rgba[i];
    return sum / 255 / (picture.rgba.size() / 4.0);
  }
  float reference() const
  {
    const auto* shader =
        static_cast<const SoShaderObject*>(builder->getFadingShaderProgram()->shaderObject[0]);
    return static_cast<SoShaderParameter1f*>(shader->parameter[1])->value.getValue();
  }
  bool isActive() const
  {
    return static_cast<const SoShaderObject*>(builder->getFadingShaderProgram()->shaderObject[1])
        ->isActive.getValue();
  }

  MeXSurfaceMeshUnstructured surface;
  MeXDataSetI<double> values{"values", MiDataBinding::PerNode};
  const MiScalarColorMapping* mapping = nullptr;
  SoRef<SoSeparator> root, above;
  std::unique_ptr<MdSurfaceMesh> builder;
  MoMaterial* material;
  MoDrawStyle* style;
};

} // namespace

TEST(EdgeLengthStat, CountsEdgesAndTakesTheCentreOfABin)
{
  // Two rectangles, 1 by 2 and 1 by 3, and a triangle that has collapsed to a line of length 0.5.
  MeXSurfaceMeshUnstructured mesh;
  fillPoints(mesh, {{0, 0, 0},
                    {1, 0, 0},
                    {1, 2, 0},
                    {0, 2, 0},
                    {1, 5, 0},
                    {0, 5, 0},
                    {9, 0, 0},
                    {9, 0, 0.5f},
                    {std::nanf(""), 0, 0}});
  fillCells(mesh, {{0, 1, 2, 3}, {3, 2, 4, 5}, {6, 6, 7}, {0, 1, 8}});

  const MxEdgeLengthStat stat(mesh.topology, mesh.geometry, true);
  EXPECT_EQ(stat.edgeCount(), 11u) << "no edges without length or with a missing corner";
  EXPECT_EQ(stat.shortest(), 0.5);
  EXPECT_EQ(stat.longest(), 3);
  EXPECT_THAT(stat.histogramDistribution(5), ElementsAre(2, 5, 0, 2, 2));
  EXPECT_EQ(stat.lengthAt(0.1, 5), 0.75);
  EXPECT_EQ(stat.lengthAt(0.5, 5), 1.25);
  EXPECT_EQ(stat.lengthAt(1, 5), 2.75);

  const MxEdgeLengthStat lines(mesh.topology, mesh.geometry, false);
  EXPECT_EQ(lines.edgeCount(), 8u);
  EXPECT_EQ(MxEdgeLengthStat(MeXTopologyExplicitI(2), mesh.geometry, true).lengthAt(0.2, 100), 0);
}

TEST(Fading, TakesShortEdgesAwaySmoothlyInOnePassAndInTwo)
{
  WarningLog warnings;
  for (const bool onePass : {false, true})
    for (const float scale : {1.0f, 50.0f}) {
      SCOPED_TRACE(testing::Message() << (onePass ? "one pass" : "two passes") << ", x " << scale);
      Scene scene(10, scale);
      scene.builder->allowSinglePassOutline(onePass);
      const double whole = scene.darkness();
      ASSERT_GT(whole, 0.05);
      EXPECT_EQ(scene.reference(), -1) << "not asked for";
      // Cells of 20 pixels: their diagonal over the threshold, squared, is d.
      for (const float threshold : {5.0f, 10.0f, 20.0f, 28.0f, 40.0f}) {
        scene.style->fadingThreshold = threshold;
        const double d = 2 * 20.0 * 20.0 / (threshold * threshold);
        EXPECT_NEAR(scene.darkness() / whole, std::exp2(-2 / d), 0.04) << threshold;
        EXPECT_NEAR(scene.reference(), 0.1, 1e-3);
        EXPECT_TRUE(scene.isActive());
      }
      scene.style->fadingThreshold = 400;
      EXPECT_LT(scene.darkness(), 0.002) << "gone";
      scene.style->fadingThreshold = 0;
      EXPECT_NEAR(scene.darkness(), whole, 1e-3) << "back";
      EXPECT_FALSE(scene.isActive());

      scene.style->fadingThreshold = 20;
      fillSheet(scene.surface, 5);
      scene.draw();
      EXPECT_NEAR(scene.reference(), 0.2, 2e-3) << "of the new edges";
      scene.style->displayEdges = FALSE;
      scene.draw();
      EXPECT_FALSE(scene.isActive()) << "nothing to fade";
    }
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(Fading, KeepsTheColoursOfEdges)
{
  MdLevelColorMapping levels;
  levels.setLevels({0, 0.5, 1}, {SbColorRGBA(1, 0, 0, 1), SbColorRGBA(0, 0, 1, 1)});
  MdLinearColorMapping linear;
  linear.setColors({{0.0, SbColorRGBA(1, 0, 0, 1)}, {1.0, SbColorRGBA(0, 0, 1, 1)}});
  for (const MiScalarColorMapping* mapping : {static_cast<const MiScalarColorMapping*>(&levels),
                                              static_cast<const MiScalarColorMapping*>(&linear)})
  {
    Scene scene(10);
    scene.material->lineColoring = MoMaterial::CONTOURING;
    scene.mapping = mapping;
    for (const MbVec3f& point : scene.surface.geometry.points())
      scene.values.values.push_back(point.x);
    scene.values.touch();
    scene.style->fadingThreshold = 2;
    const MbImage picture = scene.draw();
    const auto colorOf = [&](int x0, int x1) {
      // The strongest colour in a row between two edges along y, across those along x.
      std::array<int, 3> darkest{255, 255, 255};
      for (int x = x0; x < x1; ++x)
        for (int c = 0; c < 3; ++c)
          darkest[c] = std::min<int>(darkest[c], picture.pixel(x, 90)[c]);
      return darkest;
    };
    const auto left = colorOf(15, 25), right = colorOf(175, 185);
    EXPECT_GT(left[0], left[2] + 60);
    EXPECT_GT(right[2], right[0] + 60);
  }
}
