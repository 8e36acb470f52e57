#include "tests/support/Offscreen.h"
#include "tests/support/SceneQueries.h"
#include "tests/support/WarningLog.h"

#include <velmo/base/MxTimeStamp.h>
#include <velmo/colormapping/legend/MoLegend.h>
#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/colormapping/MoCustomColorMapping.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/render/MxTextureContouring.h>
#include <velmo/representations/MoMeshSurface.h>

#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>

#include <cmath>
#include <gmock/gmock.h>
#include <numeric>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargest = std::numeric_limits<double>::max();

/// No two are alike, nor next to each other nearly so.
std::vector<SbColorRGBA> distinctColors(std::size_t count)
{
  std::vector<SbColorRGBA> colors;
  for (std::size_t i = 0; i < count; ++i)
    colors.emplace_back(static_cast<float>(i * 7 % 16) / 15, static_cast<float>(i / 16 % 256) / 255,
                        static_cast<float>(i % 3) / 2, 1.0f);
  return colors;
}

/// From red to green.
std::vector<SbColorRGBA> ramp(std::size_t count)
{
  std::vector<SbColorRGBA> colors;
  for (std::size_t i = 0; i < count; ++i) {
    const float t = static_cast<float>(i) / static_cast<float>(count);
    colors.emplace_back(1 - t, t, 0.5f, 1.0f);
  }
  return colors;
}

std::vector<double> upTo(std::size_t last)
{
  std::vector<double> numbers(last + 1);
  std::iota(numbers.begin(), numbers.end(), 0.0);
  return numbers;
}

/// Colours as another mapping does, one vertex at a time.
class UnknownMapping : public MiScalarColorMapping
{
public:
  explicit UnknownMapping(const MiScalarColorMapping& mapping) : m_mapping(mapping) {}
  SbColorRGBA getColor(double value) const override { return m_mapping.getColor(value); }
  void getRange(double& min, double& max) const override { m_mapping.getRange(min, max); }
  std::uint64_t getTimeStamp() const override { return m_stamp; }

private:
  const MiScalarColorMapping& m_mapping;
  std::uint64_t m_stamp = MxTimeStamp::take();
};

/// A row of quads from (0, 0) to (1, 1), each of one value, and a legend in the lowest tenth.
class Quads
{
public:
  Quads(const std::vector<double>& levels, const std::vector<double>& values) : m_values(values)
  {
    setLevels(levels);
    std::vector<double> perNode;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const auto n = static_cast<float>(values.size());
      const float left = static_cast<float>(i) / n, right = static_cast<float>(i + 1) / n;
      m_points.insert(m_points.end(), {left, 0, 0, right, 0, 0, right, 1, 0, left, 1, 0});
      perNode.insert(perNode.end(), 4, values[i]);
    }
    m_cells.resize(perNode.size());
    std::iota(m_cells.begin(), m_cells.end(), 0);
    m_mesh = std::make_unique<MbSurfaceMeshUnstructured>(MbTopologyI{MiCellShape::Quad, m_cells},
                                                         m_points);
    m_set = std::make_unique<MbDataSetI<double>>("v", MiDataBinding::PerNode, std::move(perNode));
    add(cameraAt(0.5f, 0.5f, 1, 1));
    add(new SoLightModel)->model = SoLightModel::BASE_COLOR;
    add(new MoMesh)->setMesh(m_mesh.get());
    add(new MoScalarSet)->setScalarSet(m_set.get());
    add(new MoDataBinding)->dataBinding = MoDataBinding::AUTO;
    chosen = add(new MoCustomColorMapping);
    chosen->setColorMapping(&mapping);
    material = add(new MoMaterial);
    add(new MoMeshSurface);
    legend->topRight.setValue(1, 0.1f);
    add(legend.get());
  }

  void setLevels(const std::vector<double>& levels)
  {
    const std::size_t count = levels.size() - 1;
    mapping.setLevels(levels, count < 100 ? distinctColors(count) : ramp(count));
  }
  void draw()
  {
    const auto width = static_cast<int>(20 * m_values.size());
    picture = drawScene(root, width, width);
  }
  SbVec3f at(double x, double y) const
  {
    const std::uint8_t* p = picture.pixel(static_cast<int>(x * picture.width),
                                          static_cast<int>((1 - y) * picture.height));
    return SbVec3f(p[0], p[1], p[2]) / 255.0f;
  }
  void expectColorsOfTheMapping()
  {
    draw();
    for (std::size_t i = 0; i < m_values.size(); ++i)
      expectColor((static_cast<double>(i) + 0.5) / static_cast<double>(m_values.size()), 0.5,
                  m_values[i]);
    double low = 0, high = 0;
    mapping.getRange(low, high);
    // Off the borders of bands.
    for (double x = 0.02; x < 1; x += 0.0625)
      expectColor(x, 0.05, low + x * (high - low));
  }

  MdLevelColorMapping mapping;
  MoCustomColorMapping* chosen;
  MoMaterial* material;
  SoRef<MoLegend> legend{new MoLegend};
  SoRef<SoSeparator> root{new SoSeparator};
  MbImage picture;

private:
  template <class Node>
  Node* add(Node* node)
  {
    root->addChild(node);
    return node;
  }
  void expectColor(double x, double y, double value) const
  {
    const SbColorRGBA expected = mapping.getColor(value);
    const SbVec3f found = at(x, y), wanted(expected.getValue());
    EXPECT_TRUE(found.equals(wanted, 0.02f * 0.02f))
        << value << " at " << x << ": " << found.toString().getString() << " for "
        << wanted.toString().getString();
  }

  std::vector<double> m_values;
  std::vector<float> m_points;
  std::vector<int> m_cells;
  std::unique_ptr<MbSurfaceMeshUnstructured> m_mesh;
  std::unique_ptr<MbDataSetI<double>> m_set;
};

} // namespace

TEST(LevelTexture, HasTheColourOfTheMappingForEveryValue)
{
  const std::vector<std::vector<double>> tables{
      upTo(1),
      upTo(10),
      upTo(49),
      upTo(16383),
      {0, 5, 10, 10},
      {0, 0, 5, 10},
      {0, 1, 1, 1, 2},
      {7, 7, 7},
      {-kInfinite, 0, 1},
      {0, 1, kInfinite},
      {-kLargest, 0, kLargest},
      {-1e30, 0, 1, 1e30},
      {3, 2, 1, 0}, // the mapping answers by its own rule
      {0, 4, 2, 6, 1},
  };
  for (const std::vector<double>& levels : tables) {
    MdLevelColorMapping mapping;
    mapping.setLevels(levels, distinctColors(levels.size() - 1));
    MxTextureContouring texture;
    ASSERT_TRUE(texture.buildTexture(&mapping, 1));
    std::vector<double> values{-kInfinite, -kLargest, -1e30, -3e9, -1,       -1e-300,  0.5,
                               1.5,        3e9,       4.3e9, 1e30, kLargest, kInfinite};
    for (const double level : levels)
      values.insert(values.end(), {level, std::nextafter(level, -kInfinite),
                                   std::nextafter(level, kInfinite), level - 0.3, level + 0.3});
    for (const double value : values) {
      const float along = texture.getTexturePoint(value)[0];
      EXPECT_NEAR(along, texture.getTextureCoord(value), 1e-5);
      const auto count = static_cast<float>(mapping.colors().size());
      ASSERT_LT(std::abs(along) * count, 0x1p30f) << value << " is beyond what cards can address";
      const float texel = std::clamp(std::floor(along * count), 0.0f, count - 1);
      EXPECT_EQ(mapping.colors()[static_cast<std::size_t>(texel)], mapping.getColor(value))
          << testing::PrintToString(levels) << " " << value;
    }
    EXPECT_EQ(texture.getTextureCoord(kNan), 1.0f);
  }
}

// Between the corners of a face the coordinate runs evenly, so a level is where its value is.
TEST(LevelTexture, GoesOnEvenlyBeyondTheLevels)
{
  for (const auto& levels : {std::vector<double>{0, 5, 10}, {0, 5, 10, 10}, {0, 0, 5, 10}}) {
    MdLevelColorMapping mapping;
    mapping.setLevels(levels, distinctColors(levels.size() - 1));
    MxTextureContouring texture;
    texture.buildTexture(&mapping, 1);
    const double last = texture.getTextureCoord(10);
    const double step = texture.getTextureCoord(9) - texture.getTextureCoord(8);
    EXPECT_NEAR(texture.getTextureCoord(15), last + 5 * step, 1e-6);
    EXPECT_NEAR(texture.getTextureCoord(1e3), last + 990 * step, 1e-3);
    const double belowFirst = texture.getTextureCoord(-1e-9);
    EXPECT_NEAR(texture.getTextureCoord(-5), belowFirst - 5 * step, 1e-6);
  }
}

TEST(LevelTexture, IsDrawnAsTheMappingSaysOnSurfaceAndLegend)
{
  const std::vector<double> extremes{-kInfinite, -1e30, -3e9, -1,   0,         1,    5,
                                     9,          10,    11,   3e9,  4.3e9,     1e10, 1e30,
                                     kLargest,   kNan,  1e-9, 9.99, kInfinite, 2};
  for (const auto& levels :
       {upTo(10), std::vector<double>{0, 5, 10, 10}, {0, 0, 5, 10}, {0, 5, 10}}) {
    SCOPED_TRACE(testing::PrintToString(levels));
    Quads(levels, extremes).expectColorsOfTheMapping();
  }
  // A value that is exactly a level, for each of many.
  Quads(upTo(49), upTo(48)).expectColorsOfTheMapping();
}

TEST(LevelTexture, KeepsExactLevelsApartWhenSeenObliquely)
{
  for (const std::size_t count : {std::size_t{3}, std::size_t{49}, std::size_t{97}}) {
    std::vector<double> values;
    for (std::size_t i = 0; i < 30; ++i)
      values.push_back(static_cast<double>(i * count / 30));
    Quads scene(upTo(count), values);
    scene.legend->topRight.setValue(0, 0);
    for (const SbVec3f& from : {SbVec3f(0.5f, -1.3f, 0.3f), SbVec3f(-0.3f, 0.5f, 1.2f)}) {
      auto* camera = new SoPerspectiveCamera;
      camera->position = from;
      camera->pointAt(SbVec3f(0.5f, 0.5f, 0));
      camera->nearDistance = 0.1f;
      scene.root->replaceChild(0, camera);
      scene.chosen->setColorMapping(&scene.mapping);
      scene.draw();
      const MbImage banded = scene.picture;
      const UnknownMapping sameByVertex(scene.mapping);
      scene.chosen->setColorMapping(&sameByVertex);
      scene.draw();
      EXPECT_EQ(differingShare(banded, scene.picture), 0) << count;
    }
  }
}

TEST(LevelTexture, IsAsClearAsTheMaterialInTheSameTraversal)
{
  Quads scene({0, 1, 2}, {0.5, 0.5, 1.5});
  const SbColorRGBA color = scene.mapping.getColor(0.5);
  const auto expectOpacity = [&](float opacity) {
    scene.draw();
    const SbVec3f blended = SbVec3f(color.getValue()) * opacity + SbVec3f(1, 1, 1) * (1 - opacity);
    EXPECT_TRUE(scene.at(0.5, 0.5).equals(blended, 0.02f * 0.02f)) << opacity;
  };
  for (const float transparency : {0.75f, 0.0f, 0.5f}) {
    scene.material->transparency = transparency;
    expectOpacity(1 - transparency);
  }
}

TEST(LevelTexture, GivesWayToColoursOfVerticesForTooManyLevels)
{
  const std::size_t most = MxTextureContouring::getMostColors();
  WarningLog log;
  Quads scene(upTo(most), {0, 3, 70, static_cast<double>(most) - 1, 1e9});
  scene.expectColorsOfTheMapping();
  EXPECT_THAT(log.texts(), IsEmpty());
  for (const std::size_t count : {most + 1, std::size_t{32768}, std::size_t{65537}}) {
    SCOPED_TRACE(count);
    scene.setLevels(upTo(count));
    log.clear();
    for (int frame = 0; frame < 3; ++frame)
      scene.expectColorsOfTheMapping();
    EXPECT_THAT(log.texts(),
                ElementsAre("MxTextureContouring::buildTexture: Cannot use a texture for " +
                            std::to_string(count) + " colors, only for " + std::to_string(most) +
                            ": vertices are colored instead."))
        << "for surface and legend together";
  }
  scene.setLevels({0, 2, 4});
  log.clear();
  scene.expectColorsOfTheMapping();
  EXPECT_THAT(log.texts(), IsEmpty());
}
