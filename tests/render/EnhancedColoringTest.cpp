#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/colormapping/MdLinearColorMapping.h>
#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/extraction/algorithms/locate/MxCellWeights.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/render/MxEnhancedColoring.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>
#include <velmo/toolkit/shapes/TkShaderProgram.h>
#include <velmo/toolkit/shapes/TkTexture2.h>

#include <tests/support/ExtractedMesh.h>
#include <tests/support/Offscreen.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoEnvironment.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoScale.h>
#include <Inventor/nodes/SoShaderObject.h>
#include <Inventor/nodes/SoShaderParameter.h>
#include <Inventor/nodes/SoTranslation.h>
#include <Inventor/SoPickedPoint.h>

#include <gmock/gmock.h>

#include <cmath>
#include <functional>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int kPixels = 200;

/// Polygons in the square from -1 to 1, in the plane z = 0, with a value a node.
struct Polygons
{
  std::vector<std::vector<int>> cells;
  std::vector<MbVec3d> nodes;
  std::vector<double> values;

  int add(double x, double y, double value)
  {
    nodes.push_back({x, y, 0});
    values.push_back(value);
    return static_cast<int>(nodes.size()) - 1;
  }
  // A convex polygon inscribed in an ellipse, its corners at uneven angles.
  void addRound(double x, double y, double size, int corners, double turn)
  {
    std::vector<int>& cell = cells.emplace_back();
    for (int k = 0; k < corners; ++k) {
      const double angle = turn + 2 * M_PI * (k + 0.3 * std::sin(2.7 * k)) / corners;
      cell.push_back(add(x + size * std::cos(angle), y + 0.8 * size * std::sin(angle),
                         0.5 + 0.5 * std::sin(1 + 3.1 * k + x)));
    }
  }
};

Polygons makePolygons()
{
  Polygons p;
  p.addRound(-0.5, -0.5, 0.48, 4, 0.2);
  p.addRound(0.5, -0.5, 0.48, 7, 0);
  p.addRound(-0.5, 0.5, 0.48, 3, 0.5);
  p.addRound(0.5, 0.5, 0.48, 23, 0.1);
  return p;
}

double crossOf(const MbVec3d& a, const MbVec3d& b)
{
  return a.x * b.y - a.y * b.x;
}

/// The value inside the polygon that holds (x, y); NaN outside of all and near sides.
double valueAt(const Polygons& p, double x, double y, double margin)
{
  const MbVec3d here{x, y, 0};
  for (const std::vector<int>& cell : p.cells) {
    std::vector<MbVec3d> corners;
    for (const int node : cell)
      corners.push_back(p.nodes[node]);
    double nearest = 1e300, sum = 0;
    for (std::size_t k = 0; k < corners.size(); ++k) {
      const MbVec3d side = corners[(k + 1) % corners.size()] - corners[k];
      nearest = std::min(nearest, crossOf(side, here - corners[k]) / length(side));
    }
    if (nearest <= margin) continue;
    std::vector<double> weights;
    polygonWeights(corners, here, weights);
    for (std::size_t k = 0; k < corners.size(); ++k)
      sum += weights[k] * p.values[cell[k]];
    return sum;
  }
  return std::nan("");
}

/// Lit so that a face that looks along z shows its colour as it is.
SoSeparator* makeRoot()
{
  auto* root = new SoSeparator;
  auto* dark = new SoEnvironment;
  dark->ambientIntensity = 0;
  root->addChild(dark);
  root->addChild(cameraAt(0, 0, 2, 2));
  auto* light = new SoDirectionalLight;
  light->direction.setValue(0, 0, -1);
  root->addChild(light);
  auto* material = new SoMaterial;
  material->ambientColor.setValue(0, 0, 0);
  root->addChild(material);
  return root;
}

/// An extracted surface of polygons, drawn by its builder.
class Scene
{
public:
  explicit Scene(const Polygons& p, double scale = 1, MbVec3d origin = {0, 0, 0})
      : root(makeRoot()), above(new SoSeparator), material(new MoMaterial), style(new MoDrawStyle)
  {
    fill(p, scale);
    surface.geometry.origin = origin;
    surface.geometry.touch(false);
    auto* size = new SoScale;
    size->scaleFactor.setValue(1 / scale, 1 / scale, 1 / scale);
    root->addChild(size);
    auto* back = new SoTranslation;
    back->translation.setValue(-origin.x, -origin.y, -origin.z);
    root->addChild(back);
    builder = std::make_unique<MdSurfaceMesh>(root);
    material->enhancedColoring = TRUE;
    above->addChild(material);
    above->addChild(style);
    mapping = &grey;
    grey.setColors({{0.0, SbColorRGBA(0, 0, 0, 1)}, {1.0, SbColorRGBA(1, 1, 1, 1)}});
  }
  MbImage draw()
  {
    update();
    return drawScene(root, kPixels, kPixels);
  }
  void update()
  {
    const StateProbe probe([&](SoAction* action) {
      MoColorMappingElement::set(action->getState(), nullptr, mapping);
      builder->set(action->getState(), surface, {&values});
    });
    above->addChild(probe.node());
    SoCallbackAction().apply(above);
    above->removeChild(probe.node());
  }
  void fill(const Polygons& p, double scale)
  {
    std::vector<MbVec3f> points;
    for (const MbVec3d& node : p.nodes)
      points.push_back({static_cast<float>(node.x * scale), static_cast<float>(node.y * scale), 0});
    fillPoints(surface, points);
    fillCells(surface, p.cells);
    values.values.assign(p.values.begin(), p.values.end());
    values.touch();
  }

  MeXSurfaceMeshUnstructured surface;
  MeXDataSetI<double> values{"values", MiDataBinding::PerNode};
  MdLinearColorMapping grey;
  const MiScalarColorMapping* mapping;
  SoRef<SoSeparator> root, above;
  std::unique_ptr<MdSurfaceMesh> builder;
  MoMaterial* material;
  MoDrawStyle* style;
};

double pixelX(int x)
{
  return (x + 0.5) * 2 / kPixels - 1;
}

/// The largest difference of a channel from what the mapping answers for the double-precision
/// value, in shares of the colour range; pixels closer than 1.5 pixels to a side do not count.
double largestDifference(const MbImage& picture, const Polygons& p,
                         const MiScalarColorMapping& mapping)
{
  double largest = picture.empty() ? 1 : 0;
  int compared = 0;
  for (int y = 0; y < picture.height; ++y)
    for (int x = 0; x < picture.width; ++x) {
      const double value = valueAt(p, pixelX(x), -pixelX(y), 3.0 / kPixels);
      if (std::isnan(value)) continue;
      // Where a level ends, the last bit of the value decides.
      if (mapping.getColor(value - 1e-4) != mapping.getColor(value) &&
          dynamic_cast<const MdLevelColorMapping*>(&mapping))
        continue;
      const SbColorRGBA color = mapping.getColor(value);
      for (int c = 0; c < 3; ++c)
        largest = std::max(largest, std::abs(picture.pixel(x, y)[c] / 255.0 - color[c]));
      ++compared;
    }
  EXPECT_GT(compared, 7000);
  return largest;
}

MdLevelColorMapping makeLevels()
{
  MdLevelColorMapping levels;
  levels.setLevels({0, 0.2, 0.45, 0.7, 1}, {SbColorRGBA(1, 0, 0, 1), SbColorRGBA(1, 1, 0, 1),
                                            SbColorRGBA(0, 1, 0, 1), SbColorRGBA(0, 0, 1, 1)});
  levels.setMinThreshold({true, 0.1, SbColorRGBA(0.2f, 0.2f, 0.2f, 1)});
  return levels;
}

} // namespace

TEST(EnhancedColoring, AgreesWithItsWeightsInDoublePrecision)
{
  WarningLog warnings;
  const Polygons p = makePolygons();
  const MdLevelColorMapping levels = makeLevels();
  MdLinearColorMapping linear;
  linear.setColors({{0.1, SbColorRGBA(0, 0.5f, 1, 1)},
                    {0.3, SbColorRGBA(1, 0.2f, 0, 1)},
                    {0.8, SbColorRGBA(0.1f, 1, 0.3f, 1)}});
  linear.setMaxThreshold({true, 0.9, SbColorRGBA(0.5f, 0, 0.5f, 1)});
  struct Case
  {
    const char* name;
    double scale;
    MbVec3d origin;
  };
  for (const Case& test : {Case{"plain", 1, {0, 0, 0}}, Case{"tiny", 1e-6, {0, 0, 0}},
                           Case{"huge", 3e5, {0, 0, 0}}, Case{"far", 1, {524288, 4194304, 0}}})
  {
    SCOPED_TRACE(test.name);
    Scene scene(p, test.scale, test.origin);
    EXPECT_LT(largestDifference(scene.draw(), p, scene.grey), 1.0 / 255);
    scene.mapping = &linear;
    EXPECT_LT(largestDifference(scene.draw(), p, linear), 1.0 / 255);
    scene.mapping = &levels;
    EXPECT_LT(largestDifference(scene.draw(), p, levels), 1.0 / 255);
  }
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(EnhancedColoring, WorksWithTheToolkitsFaceSetAndWithTexturesOfManyRows)
{
  const Polygons p = makePolygons();
  Scene source(p);
  for (const bool toolkits : {false, true})
    for (const int width : {16384, 8}) {
      const SoRef<SoSeparator> root(makeRoot());
      MxEnhancedColoring coloring(root, width);
      auto* property = new SoVertexProperty;
      SoIndexedFaceSet* shape = toolkits ? new SoIndexedFaceSet : new SoIndexedFaceSetOutline;
      shape->vertexProperty = property;
      root->addChild(shape);
      ASSERT_TRUE(coloring.activate(source.grey, source.surface, source.values, 1));
      const auto& points = source.surface.geometry.points();
      property->vertex.setValuesPointer(static_cast<int>(points.size()),
                                        reinterpret_cast<const SbVec3f*>(points.data()));
      const auto& names = coloring.polygonNames();
      property->normal.setValuesPointer(static_cast<int>(names.size()), names.data());
      property->normalBinding = SoVertexProperty::PER_FACE;
      const auto& indices = source.surface.topology.indices();
      // Without the last -1: the last face ends with the list.
      shape->coordIndex.setValuesPointer(static_cast<int>(indices.size()) - 1, indices.data());
      if (auto* ours = dynamic_cast<SoIndexedFaceSetOutline*>(shape)) {
        ours->outlineMode = SoIndexedFaceSetOutline::NO_OUTLINE;
        ours->setNormalsFor(coloring.getProgram(), FALSE);
      }
      EXPECT_LT(largestDifference(drawScene(root, kPixels, kPixels), p, source.grey), 1.0 / 255)
          << toolkits << " " << width;
    }
}

TEST(EnhancedColoring, FollowsWhatChangesAndGivesWayToOtherColours)
{
  Polygons p = makePolygons();
  Scene scene(p);
  EXPECT_LT(largestDifference(scene.draw(), p, scene.grey), 1.0 / 255);
  for (double& value : p.values)
    value = 1 - value * value;
  scene.values.values.assign(p.values.begin(), p.values.end());
  scene.values.touch();
  EXPECT_LT(largestDifference(scene.draw(), p, scene.grey), 1.0 / 255) << "values";
  for (MbVec3d& node : p.nodes)
    node = {node.y, -0.9 * node.x, 0};
  scene.fill(p, 1);
  EXPECT_LT(largestDifference(scene.draw(), p, scene.grey), 1.0 / 255) << "points";
  p.cells.pop_back();
  std::reverse(p.cells.begin(), p.cells.end());
  scene.fill(p, 1);
  const MbImage enhanced = scene.draw();
  EXPECT_LT(largestDifference(enhanced, p, scene.grey), 1.0 / 255) << "cells";
  scene.material->transparency = 0.25f;
  const MbImage pale = scene.draw();
  for (const int x : {40, 60, 150}) {
    if (enhanced.pixel(x, 150)[0] == 255) continue;
    EXPECT_NEAR(pale.pixel(x, 150)[0], 0.75 * enhanced.pixel(x, 150)[0] + 0.25 * 255, 2) << x;
  }

  scene.material->transparency = 0;
  scene.material->enhancedColoring = FALSE;
  const MbImage plain = scene.draw();
  EXPECT_GT(largestDifference(plain, p, scene.grey), 0.1) << "triangles show";
  Scene never(p);
  never.material->enhancedColoring = FALSE;
  EXPECT_EQ(differingShare(plain, never.draw()), 0);
  scene.material->enhancedColoring = TRUE;
  EXPECT_EQ(differingShare(scene.draw(), enhanced), 0) << "and back again";
}

TEST(EnhancedColoring, LeavesEdgesPicksAndCellColoursAsTheyAre)
{
  const Polygons p = makePolygons();
  const auto edges = [&](bool enhanced, MoMaterial::ColoringType lines) {
    Scene scene(p);
    scene.material->enhancedColoring = enhanced;
    scene.material->lineColoring = lines;
    scene.material->faceColoring = MoMaterial::CONTOURING;
    scene.style->displayEdges = TRUE;
    const MbImage both = scene.draw();
    // Only pixels near sides: inside, the two ways of colouring differ.
    std::vector<std::uint8_t> seen;
    for (int y = 0; y < kPixels; ++y)
      for (int x = 0; x < kPixels; ++x)
        if (!std::isnan(valueAt(p, pixelX(x), -pixelX(y), -1.0 / kPixels)) &&
            std::isnan(valueAt(p, pixelX(x), -pixelX(y), 0.2 / kPixels)))
          seen.insert(seen.end(), both.pixel(x, y), both.pixel(x, y) + 3);
    return seen;
  };
  for (const auto lines : {MoMaterial::COLOR, MoMaterial::CONTOURING}) {
    const auto one = edges(true, lines), other = edges(false, lines);
    ASSERT_EQ(one.size(), other.size());
    ASSERT_GT(one.size(), 600u);
    std::size_t different = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
      different += std::abs(one[i] - other[i]) > 60;
    EXPECT_LT(different, one.size() / 20) << lines;
  }

  Scene scene(p);
  scene.draw();
  SoRayPickAction pick(SbViewportRegion(kPixels, kPixels));
  pick.setPoint(SbVec2s(50, 50));
  pick.apply(scene.root);
  ASSERT_NE(pick.getPickedPoint(), nullptr);
  EXPECT_EQ(pick.getPickedPoint()->getNormal(), SbVec3f(0, 0, 1));

  MeXDataSetI<double> perCell("cells", MiDataBinding::PerCell);
  perCell.values = {0, 0.25, 0.5, 1};
  const StateProbe probe([&](SoAction* action) {
    MoColorMappingElement::set(action->getState(), nullptr, scene.mapping);
    scene.builder->set(action->getState(), scene.surface, {&perCell});
  });
  scene.above->addChild(probe.node());
  SoCallbackAction().apply(scene.above);
  scene.above->removeChild(probe.node());
  EXPECT_NEAR(drawScene(scene.root, kPixels, kPixels).pixel(150, 150)[0], 64, 1);
}

TEST(EnhancedColoring, RefusesWhatItCannotDoWithAWarningAndTrianglesWithoutOne)
{
  WarningLog warnings;
  const std::string refusal =
      "MxEnhancedColoring::activate: Cannot use shader for enhanced coloring.";
  const Polygons p = makePolygons();
  Scene scene(p);
  const SoRef<SoSeparator> parent(new SoSeparator);
  {
    MxEnhancedColoring none(parent, -1);
    EXPECT_THAT(warnings.texts(),
                ElementsAre("MxEnhancedColoring constructor: Invalid max texture size."));
    warnings.clear();
    EXPECT_FALSE(none.activate(scene.grey, scene.surface, scene.values, 1));
    EXPECT_FALSE(none.isActive());
    MxEnhancedColoring small(parent, 6); // 36 texels for 37 nodes and 41 indices
    EXPECT_FALSE(small.activate(scene.grey, scene.surface, scene.values, 1));
    EXPECT_THAT(warnings.texts(), ElementsAre(refusal, refusal));
    warnings.clear();

    Polygons triangle;
    triangle.addRound(0, 0, 0.9, 3, 0);
    Scene triangles(triangle);
    MxEnhancedColoring usual(parent);
    EXPECT_FALSE(usual.activate(scene.grey, triangles.surface, triangles.values, 1));
    EXPECT_TRUE(usual.activate(scene.grey, scene.surface, scene.values, 1));
    EXPECT_FALSE(usual.activate(scene.grey, triangles.surface, triangles.values, 1));
    EXPECT_FALSE(usual.isActive());
    EXPECT_THAT(warnings.texts(), IsEmpty());
  }

  // More colours than the program's variables can hold: only the context knows.
  std::vector<MdLinearColorMapping::ValueAndColor> many;
  for (int i = 0; i <= 100000; ++i)
    many.emplace_back(i * 1e-5, SbColorRGBA(i * 1e-5f, i * 1e-5f, i * 1e-5f, 1));
  MdLinearColorMapping huge;
  huge.setColors(many);
  scene.mapping = &huge;
  const MbImage fallback = scene.draw();
  scene.draw();
  EXPECT_THAT(warnings.texts(), ElementsAre(refusal)) << "once";
  Scene plain(p);
  plain.mapping = &huge;
  plain.material->enhancedColoring = FALSE;
  EXPECT_EQ(differingShare(fallback, plain.draw()), 0) << "the colours of the vertices";
  scene.mapping = &scene.grey;
  EXPECT_LT(largestDifference(scene.draw(), p, scene.grey), 1.0 / 255);
}

TEST(EnhancedColoring, GivesOtherMappingsTenColoursFromZeroOn)
{
  class Ramp final : public MiScalarColorMapping
  {
  public:
    SbColorRGBA getColor(double value) const override
    {
      const auto t = static_cast<float>((value - 2) / 9);
      return {t, t, t, 1};
    }
    void getRange(double& min, double& max) const override
    {
      min = 2;
      max = 11;
    }
    std::uint64_t getTimeStamp() const override { return 1; }
  };
  const Ramp ramp;
  const Polygons p = makePolygons();
  Scene scene(p);
  const SoRef<SoSeparator> parent(new SoSeparator);
  MxEnhancedColoring coloring(parent);
  ASSERT_TRUE(coloring.activate(ramp, scene.surface, scene.values, 1));
  const auto* shader = static_cast<SoShaderObject*>(coloring.getProgram()->shaderObject[0]);
  for (int i = 0; i < shader->parameter.getNum(); ++i) {
    const auto* parameter = static_cast<SoShaderParameter*>(shader->parameter[i]);
    if (parameter->name.getValue() == "ColorMapLevels") {
      const auto& levels = static_cast<const SoShaderParameterArray1f*>(parameter)->value;
      EXPECT_EQ(levels.getNum(), 10);
      EXPECT_FLOAT_EQ(levels[9], 9);
    }
  }
}
