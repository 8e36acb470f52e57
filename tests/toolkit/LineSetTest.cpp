#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>
#include <velmo/toolkit/shapes/MxShapeData.h>
#include <velmo/toolkit/shapes/TkLineSet.h>
#include <velmo/toolkit/shapes/TkPointSet.h>

#include <tests/support/SceneQueries.h>
#include <tests/support/WarningLog.h>
#include <tests/toolkit/ShapeScene.h>

#include <gmock/gmock.h>
#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/actions/SoGetPrimitiveCountAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/details/SoLineDetail.h>
#include <Inventor/details/SoPointDetail.h>
#include <Inventor/nodes/SoTransform.h>
#include <Inventor/SoPickedPoint.h>
#include <Inventor/SoPrimitiveVertex.h>

#include <cmath>
#include <functional>
#include <random>

using testing::IsEmpty;

namespace {

// Spirals of different lengths, and short lines between them.
struct Curls
{
  explicit Curls(int count)
  {
    for (int l = 0; l < count; ++l) {
      const int points = l % 3 == 2 ? 2 : 12 + l % 5;
      for (int k = 0; k < points; ++k) {
        const float a = 0.5f * static_cast<float>(k) + static_cast<float>(l);
        const float r = 0.03f + 0.012f * static_cast<float>(k);
        indices.push_back(static_cast<int>(positions.size()));
        positions.emplace_back(0.8f * std::sin(2.4f * static_cast<float>(l)) + r * std::cos(a),
                               0.8f * std::cos(1.7f * static_cast<float>(l)) + r * std::sin(a),
                               0.1f * static_cast<float>(k));
        colors.push_back(static_cast<std::uint32_t>(positions.size()) * 2654435761u | 0xffu);
      }
      indices.push_back(-1);
      lineColors.push_back(static_cast<std::uint32_t>(l) * 2246822519u | 0xffu);
    }
    indices.pop_back(); // the last line may end with the list
  }
  std::vector<SbVec3f> positions;
  std::vector<std::uint32_t> colors, lineColors;
  std::vector<std::int32_t> indices;
};

// A line or point set before a camera.
struct Scene : ShapeScene
{
  explicit Scene(SoVertexShape* vertexShape)
      : ShapeScene(cameraAt(0, 0, 5, 2), vertexShape, SbColor(0.1f, 0.2f, 0.6f)), shape(vertexShape)
  {
    style->lineWidth = 2;
    style->pointSize = 5;
  }
  // The arrays are handed over in place.
  void show(const std::vector<SbVec3f>& positions)
  {
    property->vertex.setValuesPointer(static_cast<int>(positions.size()), positions.data());
  }
  void show(const std::vector<SbVec3f>& positions, const std::vector<std::int32_t>& indices)
  {
    show(positions);
    static_cast<SoIndexedLineSet*>(shape)->coordIndex.setValuesPointer(
        static_cast<int>(indices.size()), indices.data());
  }
  MbImage draw() { return ShapeScene::draw(240, 240); }

  SoVertexShape* shape;
};

struct Case
{
  const char* name;
  std::function<void(Scene&, const Curls&)> apply;
};

const Case kLineCases[] = {
    {"one colour", [](Scene&, const Curls&) {}},
    {"a colour a vertex",
     [](Scene& s, const Curls& c) {
       s.giveColors(c.colors, SoVertexProperty::PER_VERTEX_INDEXED);
     }},
    {"a colour a line",
     [](Scene& s, const Curls& c) { s.giveColors(c.lineColors, SoVertexProperty::PER_FACE); }},
    {"a colour a vertex in order, by the toolkit",
     [](Scene& s, const Curls& c) { s.giveColors(c.colors, SoVertexProperty::PER_VERTEX); }},
    {"patterns and a colour a line",
     [](Scene& s, const Curls& c) {
       s.style->linePattern = 0xf0f8;
       s.giveColors(c.lineColors, SoVertexProperty::PER_FACE);
     }},
    {"points",
     [](Scene& s, const Curls& c) {
       s.style->style = SoDrawStyle::POINTS;
       s.giveColors(c.colors, SoVertexProperty::PER_VERTEX_INDEXED);
     }},
    {"points and a colour a line",
     [](Scene& s, const Curls& c) {
       s.style->style = SoDrawStyle::POINTS;
       s.giveColors(c.lineColors, SoVertexProperty::PER_FACE);
     }},
    {"lit by a normal",
     [](Scene& s, const Curls&) {
       s.property->normal = SbVec3f(0, 0.7f, 0.7f);
       s.property->normalBinding = SoVertexProperty::OVERALL;
     }},
};

double darkShare(const MbImage& picture)
{
  std::size_t dark = 0;
  for (std::size_t i = 0; i < picture.rgba.size(); i += 4)
    dark += picture.rgba[i] < 160;
  return static_cast<double>(dark) / static_cast<double>(picture.rgba.size() / 4);
}

// The brightest red of a line through the middle of the picture.
int brightnessOf(Scene& scene)
{
  const MbImage picture = scene.draw();
  int brightest = 0;
  for (int y = 110; y < 130; ++y)
    if (picture.pixel(120, y)[2] < 128)
      brightest = std::max<int>(brightest, picture.pixel(120, y)[0]);
  return brightest;
}

} // namespace

TEST(TkLineSet, LooksLikeTheToolkitsForEveryBinding)
{
  WarningLog warnings;
  const Curls curls(40);
  for (const Case& test : kLineCases) {
    Scene ours(new TkLineSet), theirs(new SoIndexedLineSet);
    for (Scene* scene : {&ours, &theirs}) {
      scene->show(curls.positions, curls.indices);
      test.apply(*scene, curls);
    }
    const MbImage picture = ours.draw();
    EXPECT_LT(differingShare(picture, theirs.draw()), 0.003) << test.name;
    EXPECT_GT(darkShare(picture), 0.01) << test.name;
  }
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(TkLineSet, RunsPatternsAlongPolylines)
{
  // One straight line of 60 short pieces: a pattern that began anew in each would show no gap.
  std::vector<SbVec3f> positions;
  std::vector<std::int32_t> joined, pieces;
  for (int k = 0; k <= 60; ++k) {
    positions.emplace_back(-0.9f + 0.03f * static_cast<float>(k), 0.0f, 0.0f);
    joined.push_back(k);
    if (k > 0) pieces.insert(pieces.end(), {k - 1, k, -1});
  }
  const auto darkPixels = [&](const std::vector<std::int32_t>& indices, unsigned short pattern) {
    Scene scene(new TkLineSet);
    scene.show(positions, indices);
    scene.style->linePattern = pattern;
    return darkShare(scene.draw()) * 240 * 240;
  };
  const double solid = darkPixels(joined, 0xffff);
  EXPECT_NEAR(solid, 2 * 216, 30);
  EXPECT_NEAR(darkPixels(joined, 0x00ff), solid / 2, 0.08 * solid);
  EXPECT_NEAR(darkPixels(joined, 0x000f), solid / 4, 0.08 * solid);
  EXPECT_NEAR(darkPixels(pieces, 0x000f), solid, 0.1 * solid) << "each piece is a line of its own";
}

TEST(TkLineSet, BlendsTransparentLinesAndPointsOnceHoweverTheyAreSorted)
{
  const std::vector<SbVec3f> positions = {{-1, 0, 0}, {0, 0, 0}, {1, 0, 0}};
  const std::vector<std::int32_t> indices = {0, 1, 2, -1};
  Scene lines(new TkLineSet), points(new TkPointSet);
  lines.show(positions, indices);
  points.show(positions);
  for (Scene* scene : {&lines, &points}) {
    scene->style->lineWidth = 8;
    scene->style->pointSize = 8;
    scene->material->diffuseColor.setValue(0, 0, 0);
    scene->material->transparency = 0.5f;
    for (const auto type : {SoGLRenderAction::BLEND, SoGLRenderAction::DELAYED_BLEND,
                            SoGLRenderAction::SORTED_OBJECT_BLEND, SoGLRenderAction::NONE})
    {
      MoOffscreenCanvas canvas;
      canvas.setBackground(SbColor4f(1, 1, 1, 1));
      canvas.setTransparencyType(type);
      const MbImage picture = canvas.render(scene->root, 100, 100);
      ASSERT_FALSE(picture.empty());
      EXPECT_NEAR(picture.pixel(51, 50)[0], type == SoGLRenderAction::NONE ? 0 : 128, 2) << type;
    }
  }
}

TEST(TkLineSet, LooksTheSameInARenderCache)
{
  Curls curls(12);
  for (SoVertexShape* shape :
       {static_cast<SoVertexShape*>(new TkLineSet), static_cast<SoVertexShape*>(new TkPointSet)})
  {
    Scene scene(shape);
    scene.show(curls.positions);
    if (auto* lines = dynamic_cast<TkLineSet*>(shape))
      lines->coordIndex.setValuesPointer(static_cast<int>(curls.indices.size()),
                                         curls.indices.data());
    scene.giveColors(curls.colors, SoVertexProperty::PER_VERTEX_INDEXED);
    MoOffscreenCanvas canvas;
    const auto draw = [&] { return canvas.render(scene.root, 100, 100); };
    const MbImage plain = draw();
    scene.root->renderCaching = SoSeparator::ON;
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(differingShare(draw(), plain), 0) << i;
    scene.style->lineWidth = 6;
    scene.style->pointSize = 9;
    EXPECT_GT(differingShare(draw(), plain), 0.01) << "a change is seen";
  }
}

TEST(TkLineSet, LightsLinesByTheirTangents)
{
  const std::vector<SbVec3f> positions = {{-0.8f, 0, 0}, {0, 0, 0}, {0.8f, 0, 0}};
  const std::vector<std::int32_t> indices = {0, 1, 2, -1};
  const std::vector<SbVec3f> along(3, SbVec3f(2, 0, 0)), across(3, SbVec3f(0, 0, 1)),
      slanted = {{1, 0, 1}};
  Scene scene(new TkLineSet);
  scene.show(positions, indices);
  scene.style->lineWidth = 6;
  scene.material->diffuseColor.setValue(1, 0, 0);
  scene.material->ambientColor.setValue(0, 0, 0);
  const auto give = [&](const std::vector<SbVec3f>& tangents, SoVertexProperty::Binding binding) {
    scene.property->tangent.setValuesPointer(static_cast<int>(tangents.size()), tangents.data());
    scene.property->tangentBinding = binding;
  };
  EXPECT_EQ(brightnessOf(scene), 255) << "without tangents the light has no effect";
  give(along, SoVertexProperty::PER_VERTEX_INDEXED);
  EXPECT_GT(brightnessOf(scene), 250) << "light from the side";
  give(across, SoVertexProperty::PER_VERTEX_INDEXED);
  EXPECT_LT(brightnessOf(scene), 5) << "light along the line";
  for (const auto binding : {SoVertexProperty::PER_FACE_INDEXED, SoVertexProperty::OVERALL}) {
    give(slanted, binding);
    EXPECT_NEAR(brightnessOf(scene), 255 * std::sqrt(0.5), 4) << binding;
  }
  scene.model->model = SoLightModel::BASE_COLOR;
  EXPECT_EQ(brightnessOf(scene), 255) << "no light model";
}

TEST(TkLineSet, HidesLinesWithBadIndices)
{
  const Curls curls(6);
  Scene scene(new TkLineSet), whole(new TkLineSet);
  whole.show(curls.positions, curls.indices);
  std::vector<std::int32_t> indices = {0, 100000, -1, -1, 3, -1};
  indices.insert(indices.end(), curls.indices.begin(), curls.indices.end());
  for (const auto style : {SoDrawStyle::LINES, SoDrawStyle::POINTS}) {
    scene.show(curls.positions, indices);
    scene.style->style = whole.style->style = style;
    EXPECT_LT(differingShare(scene.draw(), whole.draw()), 0.001);
  }
  SoRayPickAction pick(SbViewportRegion(100, 100));
  pick.setRay(SbVec3f(0, 0, 5), SbVec3f(0, 0, -1));
  pick.apply(scene.root);
  indices = {5, 5, -1, 100000};
  scene.show(curls.positions, indices);
  EXPECT_LT(darkShare(scene.draw()), 0.01);
}

TEST(TkLineSet, SendsOnlyWhatChanged)
{
  Curls curls(20);
  const std::vector<SbVec3f> tangents(curls.positions.size(), SbVec3f(1, 0, 0));
  Scene scene(new TkLineSet);
  auto* lines = static_cast<TkLineSet*>(scene.shape);
  scene.show(curls.positions, curls.indices);
  scene.giveColors(curls.colors, SoVertexProperty::PER_VERTEX_INDEXED);
  MoOffscreenCanvas canvas;
  const auto uploads = [&] {
    const MxUploadCounts before = lines->getUploadCounts();
    EXPECT_FALSE(canvas.render(scene.root, 64, 64).empty());
    const MxUploadCounts& after = lines->getUploadCounts();
    return std::vector<int>{after.positions - before.positions, after.colors - before.colors,
                            after.indices - before.indices, after.tangents - before.tangents};
  };
  using Counts = std::vector<int>;
  EXPECT_EQ(uploads(), (Counts{1, 1, 1, 0})) << "first";
  EXPECT_EQ(uploads(), (Counts{0, 0, 0, 0})) << "nothing changed";
  scene.property->orderedRGBA.touch();
  EXPECT_EQ(uploads(), (Counts{0, 1, 0, 0})) << "colours";
  scene.property->tangent.setValuesPointer(static_cast<int>(tangents.size()), tangents.data());
  scene.property->tangentBinding = SoVertexProperty::PER_VERTEX_INDEXED;
  EXPECT_EQ(uploads(), (Counts{0, 0, 0, 1})) << "tangents";
  scene.property->vertex.touch();
  EXPECT_EQ(uploads(), (Counts{1, 0, 0, 0})) << "points";
  curls.indices.resize(curls.indices.size() / 2);
  scene.show(curls.positions, curls.indices);
  EXPECT_EQ(uploads(), (Counts{1, 0, 1, 0})) << "lines and points";
  scene.style->lineWidth = 3;
  scene.material->diffuseColor.setValue(1, 0, 0);
  EXPECT_EQ(uploads(), (Counts{0, 0, 0, 0})) << "style and material";
  scene.style->linePattern = 0x00ff;
  EXPECT_EQ(uploads(), (Counts{0, 0, 1, 0})) << "strips";
  scene.style->style = SoDrawStyle::POINTS;
  EXPECT_EQ(uploads(), (Counts{0, 0, 1, 0})) << "vertices";
  scene.giveColors(curls.lineColors, SoVertexProperty::PER_FACE);
  EXPECT_EQ(uploads(), (Counts{1, 1, 1, 1})) << "lines with vertices of their own";
}

TEST(TkLineSet, PicksWhatTheToolkitsPicks)
{
  WarningLog warnings;
  const Curls curls(300);
  // Backwards, so that the numbers of vertices are not their places in the list.
  const std::vector<std::int32_t> indices(curls.indices.rbegin(), curls.indices.rend());
  Scene ours(new TkLineSet), theirs(new SoIndexedLineSet);
  auto* move = new SoTransform;
  move->rotation.setValue(SbVec3f(1, 2, 0), 0.4f);
  move->scaleFactor.setValue(1.2f, 0.9f, 1);
  for (Scene* scene : {&ours, &theirs}) {
    scene->show(curls.positions, indices);
    scene->root->insertChild(move, 1);
  }
  std::mt19937 random(3);
  std::uniform_int_distribution<short> pixel(0, 399);
  int hits = 0;
  // The number of the colour of a segment's first vertex, from that of the second.
  constexpr std::pair<int, int> kBindings[] = {{SoVertexProperty::PER_FACE, 0},
                                               {SoVertexProperty::PER_PART, 0},
                                               {SoVertexProperty::PER_VERTEX, -1},
                                               {SoVertexProperty::PER_VERTEX_INDEXED, 1}};
  for (int test = 0; test < 400; ++test) {
    const auto [binding, steps] = kBindings[test / 100];
    for (Scene* scene : {&ours, &theirs})
      scene->giveColors(curls.colors, binding);
    const SbVec2s at(pixel(random), pixel(random));
    SoRayPickAction one(SbViewportRegion(400, 400)), other(SbViewportRegion(400, 400));
    for (auto [action, scene] : {std::pair{&one, &ours}, {&other, &theirs}}) {
      action->setPoint(at);
      action->setRadius(test % 2 ? 5 : 12);
      action->setPickAll(test % 3 > 0);
      action->apply(scene->root);
    }
    const SoPickedPointList& mine = one.getPickedPointList();
    const SoPickedPointList& toolkits = other.getPickedPointList();
    ASSERT_EQ(mine.getLength(), toolkits.getLength()) << test;
    for (int i = 0; i < mine.getLength(); ++i) {
      ++hits;
      EXPECT_TRUE(mine[i]->getPoint().equals(toolkits[i]->getPoint(), 1e-6f));
      const auto* a = static_cast<const SoLineDetail*>(mine[i]->getDetail());
      const auto* b = static_cast<const SoLineDetail*>(toolkits[i]->getDetail());
      EXPECT_EQ(a->getLineIndex(), b->getLineIndex());
      EXPECT_EQ(a->getPartIndex(), b->getPartIndex());
      // The toolkit names the first vertex of the line where ours names that of the segment.
      const SoPointDetail& first = *a->getPoint0();
      const SoPointDetail& second = *a->getPoint1();
      EXPECT_EQ(second.getCoordinateIndex(), b->getPoint1()->getCoordinateIndex());
      EXPECT_EQ(second.getMaterialIndex(), b->getPoint1()->getMaterialIndex()) << test;
      EXPECT_EQ(first.getCoordinateIndex(), second.getCoordinateIndex() + 1);
      EXPECT_EQ(first.getMaterialIndex(), second.getMaterialIndex() + steps) << test;
      // The picked point has the colour of the nearer end; the toolkit's has the other one's.
      const auto away = [&](const SoPointDetail& end) {
        const auto vertex = static_cast<std::size_t>(end.getCoordinateIndex());
        return (mine[i]->getObjectPoint() - curls.positions[vertex]).length();
      };
      const bool isSecond = away(second) < away(first);
      EXPECT_EQ(mine[i]->getMaterialIndex(), (isSecond ? second : first).getMaterialIndex());
    }
  }
  EXPECT_GT(hits, 150);
  EXPECT_EQ(static_cast<TkLineSet*>(ours.shape)->getTreesBuilt(), 1);
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(TkLineSet, GivesPrimitivesOfWhatIsDrawnAndTheToolkitsBoxes)
{
  const Curls curls(9);
  const auto describe = [&](SoVertexShape* shape, SoDrawStyle::Style style) {
    Scene scene(shape);
    scene.style->style = style;
    if (shape->isOfType(SoIndexedLineSet::getClassTypeId()))
      scene.show(curls.positions, curls.indices);
    else
      scene.show(curls.positions);
    std::vector<SbVec3f> seen;
    SoCallbackAction callbacks;
    callbacks.addLineSegmentCallback(
        SoShape::getClassTypeId(),
        [](void* data, SoCallbackAction*, const SoPrimitiveVertex* a, const SoPrimitiveVertex* b) {
          for (const auto* v : {a, b})
            static_cast<std::vector<SbVec3f>*>(data)->push_back(v->getPoint());
        },
        &seen);
    callbacks.addPointCallback(
        SoShape::getClassTypeId(),
        [](void* data, SoCallbackAction*, const SoPrimitiveVertex* v) {
          static_cast<std::vector<SbVec3f>*>(data)->push_back(v->getPoint());
        },
        &seen);
    callbacks.apply(scene.root);
    SoGetPrimitiveCountAction count;
    count.apply(scene.root);
    if (style == SoDrawStyle::FILLED)
      seen.emplace_back(count.getLineCount(), count.getPointCount(), 0);
    seen.push_back(boxOf(scene.root).getMin());
    seen.push_back(boxOf(scene.root).getMax());
    return seen;
  };
  const auto filled = SoDrawStyle::FILLED, hidden = SoDrawStyle::INVISIBLE;
  const auto lines = describe(new TkLineSet, filled), points = describe(new TkPointSet, filled);
  EXPECT_EQ(lines, describe(new SoIndexedLineSet, filled));
  EXPECT_GT(lines.size(), 100u);
  EXPECT_EQ(points, describe(new SoPointSet, filled));
  EXPECT_GT(points.size(), 50u);
  EXPECT_EQ(describe(new TkLineSet, SoDrawStyle::POINTS),
            describe(new TkPointSet, SoDrawStyle::LINES))
      << "every vertex once";
  EXPECT_EQ(describe(new TkLineSet, hidden).size(), 2u) << "the box alone";
  EXPECT_EQ(describe(new TkPointSet, hidden).size(), 2u);
}

TEST(TkPointSet, LooksAndPicksLikeTheToolkits)
{
  const Curls curls(60);
  Scene ours(new TkPointSet), theirs(new SoPointSet);
  for (const int variant : {0, 1, 2, 3}) {
    for (Scene* scene : {&ours, &theirs}) {
      scene->show(curls.positions);
      if (variant == 1) scene->giveColors(curls.colors, SoVertexProperty::PER_VERTEX);
      if (variant == 2) scene->giveColors(curls.colors, SoVertexProperty::PER_VERTEX_INDEXED);
      static_cast<SoPointSet*>(scene->shape)->numPoints = variant == 3 ? 100 : -1;
    }
    const MbImage picture = ours.draw();
    EXPECT_LT(differingShare(picture, theirs.draw()), 0.003) << variant;
    EXPECT_GT(darkShare(picture), 0.01) << variant;
  }
  int hits = 0;
  for (short y = 0; y < 400; y += 13)
    for (short x = 0; x < 400; x += 17) {
      SoRayPickAction one(SbViewportRegion(400, 400)), other(SbViewportRegion(400, 400));
      for (auto [action, scene] : {std::pair{&one, &ours}, {&other, &theirs}}) {
        action->setPoint(SbVec2s(x, y));
        action->setRadius(10);
        action->setPickAll(TRUE);
        action->apply(scene->root);
      }
      const SoPickedPointList& mine = one.getPickedPointList();
      const SoPickedPointList& toolkits = other.getPickedPointList();
      ASSERT_EQ(mine.getLength(), toolkits.getLength());
      for (int i = 0; i < mine.getLength(); ++i) {
        ++hits;
        const auto* a = static_cast<const SoPointDetail*>(mine[i]->getDetail());
        const auto* b = static_cast<const SoPointDetail*>(toolkits[i]->getDetail());
        EXPECT_EQ(a->getCoordinateIndex(), b->getCoordinateIndex());
        EXPECT_EQ(a->getMaterialIndex(), b->getMaterialIndex());
      }
    }
  EXPECT_GT(hits, 30);
}
