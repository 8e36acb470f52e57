#include <velmo/toolkit/shapes/MxFaceCache.h>

#include <tests/support/SceneQueries.h>
#include <tests/support/WarningLog.h>
#include <tests/toolkit/OutlineScene.h>

#include <gmock/gmock.h>
#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/actions/SoGetPrimitiveCountAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/details/SoFaceDetail.h>
#include <Inventor/details/SoPointDetail.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoPickStyle.h>
#include <Inventor/nodes/SoShapeHints.h>
#include <Inventor/nodes/SoTransform.h>
#include <Inventor/SoPickedPoint.h>
#include <Inventor/SoPrimitiveVertex.h>

#include <algorithm>
#include <random>
#include <set>

namespace {

struct PickScene
{
  explicit PickScene(SoIndexedFaceSet* faceSet) : shape(faceSet)
  {
    root.reset(new SoSeparator);
    hints = new SoShapeHints;
    root->addChild(hints);
    auto* transform = new SoTransform;
    transform->translation.setValue(3, 4, 5);
    transform->rotation.setValue(SbVec3f(1, 1, 0), 0.7f);
    transform->scaleFactor.setValue(2, 2, 1);
    root->addChild(transform);
    property = new TkVertexProperty;
    shape->vertexProperty = property;
    style = new SoPickStyle;
    root->addChild(style);
    root->addChild(shape);
  }
  SoRef<SoSeparator> root;
  SoShapeHints* hints;
  SoPickStyle* style;
  SoIndexedFaceSet* shape;
  TkVertexProperty* property;
};

// The picked points that are not at the place of the one before: the toolkit gives two where a ray
// meets the diagonal of a polygon.
std::vector<const SoPickedPoint*> pointsOf(const SoRayPickAction& action)
{
  std::vector<const SoPickedPoint*> points;
  const SoPickedPointList& list = action.getPickedPointList();
  for (int i = 0; i < list.getLength(); ++i)
    if (points.empty() || (points.back()->getPoint() - list[i]->getPoint()).length() > 1e-5f)
      points.push_back(list[i]);
  return points;
}

void expectSameDetail(const SoDetail* one, const SoDetail* other, bool givenNormals)
{
  ASSERT_TRUE(one && one->isOfType(SoFaceDetail::getClassTypeId()));
  const auto& a = *static_cast<const SoFaceDetail*>(one);
  const auto& b = *static_cast<const SoFaceDetail*>(other);
  EXPECT_EQ(a.getFaceIndex(), b.getFaceIndex());
  EXPECT_EQ(a.getPartIndex(), b.getPartIndex());
  ASSERT_EQ(a.getNumPoints(), b.getNumPoints());
  for (int k = 0; k < a.getNumPoints(); ++k) {
    EXPECT_EQ(a.getPoint(k)->getCoordinateIndex(), b.getPoint(k)->getCoordinateIndex());
    EXPECT_EQ(a.getPoint(k)->getMaterialIndex(), b.getPoint(k)->getMaterialIndex());
    EXPECT_EQ(a.getPoint(k)->getTextureCoordIndex(), b.getPoint(k)->getTextureCoordIndex());
    // The numbers of computed normals are the owner's business.
    if (givenNormals) {
      EXPECT_EQ(a.getPoint(k)->getNormalIndex(), b.getPoint(k)->getNormalIndex());
    }
  }
}

} // namespace

TEST(OutlinePick, AgreesWithTheToolkitsOnRandomRays)
{
  WarningLog warnings;
  const WavySheet sheet(24, 0.4f);
  const std::vector<SbVec3f> faceNormals = sheet.faceNormals();
  for (int test = 0; test < 4; ++test) {
    PickScene ours(new SoIndexedFaceSetOutline), theirs(new SoIndexedFaceSet);
    for (PickScene* scene : {&ours, &theirs}) {
      sheet.fill(scene->property);
      sheet.fill(scene->shape);
      auto& property = *scene->property;
      if (test == 0 || test == 2) {
        property.normal.setValuesPointer(sheet.normals.size(), sheet.normals.data());
        property.orderedRGBA.setValuesPointer(sheet.colors.size(), sheet.colors.data());
        property.materialBinding = SoVertexProperty::PER_VERTEX_INDEXED;
      } else if (test == 1) {
        property.normal.setValuesPointer(faceNormals.size(), faceNormals.data());
        property.normalBinding = SoVertexProperty::PER_FACE;
        property.orderedRGBA.setValuesPointer(sheet.faceColors.size(), sheet.faceColors.data());
        property.materialBinding = SoVertexProperty::PER_FACE;
      }
      if (test == 2) scene->hints->vertexOrdering = SoShapeHints::CLOCKWISE;
      if (test < 2) continue;
      scene->hints->shapeType = SoShapeHints::SOLID;
      scene->style->style = SoPickStyle::SHAPE_FRONTFACES;
    }
    std::mt19937 random(7 + test);
    std::uniform_real_distribution<float> place(-4, 4);
    int hits = 0;
    for (int ray = 0; ray < 400; ++ray) {
      const SbVec3f from(3 + place(random), 4 + place(random), 5 + place(random));
      const SbVec3f to(3 + 0.3f * place(random), 4 + 0.3f * place(random),
                       5 + 0.2f * place(random));
      for (const bool all : {false, true}) {
        SoRayPickAction one(SbViewportRegion(100, 100)), other(SbViewportRegion(100, 100));
        for (auto [action, root] : {std::pair{&one, ours.root.get()}, {&other, theirs.root.get()}})
        {
          action->setRay(from, to - from);
          action->setPickAll(all);
          action->apply(root);
        }
        const auto mine = pointsOf(one), toolkits = pointsOf(other);
        ASSERT_EQ(mine.size(), toolkits.size()) << "ray " << ray;
        for (std::size_t i = 0; i < mine.size(); ++i) {
          ++hits;
          EXPECT_TRUE(mine[i]->getPoint().equals(toolkits[i]->getPoint(), 1e-6f));
          EXPECT_TRUE(mine[i]->getNormal().equals(toolkits[i]->getNormal(), 1e-4f));
          EXPECT_EQ(mine[i]->getMaterialIndex(), toolkits[i]->getMaterialIndex());
          EXPECT_EQ(mine[i]->isOnGeometry(), toolkits[i]->isOnGeometry());
          expectSameDetail(mine[i]->getDetail(), toolkits[i]->getDetail(), test < 3);
        }
      }
    }
    EXPECT_GT(hits, 300);
    const auto& cache = static_cast<SoIndexedFaceSetOutline*>(ours.shape)->getCache();
    EXPECT_EQ(cache.treesBuilt(), 1) << "one tree serves all picks";
  }
  EXPECT_THAT(warnings.texts(), testing::IsEmpty());
}

TEST(OutlinePick, FollowsChangesAndGivesOnePointAFace)
{
  PickScene scene(new SoIndexedFaceSetOutline);
  scene.root->removeChild(1);
  WavySheet sheet(1, 0);
  sheet.indices = {0, 1, 3, 2, -1};
  sheet.fill(scene.property);
  sheet.fill(scene.shape);
  const auto picks = [&](float x, float y) {
    return PickDown(scene.root, x, y, true).action.getPickedPointList().getLength();
  };
  EXPECT_EQ(picks(0, 0), 1) << "on the diagonal";
  EXPECT_EQ(picks(2, 0), 0);
  for (SbVec3f& p : sheet.positions)
    p[0] += 2;
  scene.property->vertex.touch();
  EXPECT_EQ(picks(0, 0), 0) << "the sheet has moved";
  EXPECT_EQ(picks(2, 0), 1);
  sheet.indices = {0, 1, 900, -1};
  sheet.fill(scene.shape);
  EXPECT_EQ(picks(2, 0), 0) << "a face with an unknown vertex";
}

TEST(OutlinePick, LeavesPrimitivesAndBoxesToTheToolkit)
{
  const WavySheet sheet(8);
  PickScene ours(new SoIndexedFaceSetOutline), theirs(new SoIndexedFaceSet);
  const auto describe = [&](PickScene& scene) {
    sheet.fill(scene.property);
    sheet.fill(scene.shape);
    std::vector<SbVec3f> corners;
    SoCallbackAction callbacks;
    callbacks.addTriangleCallback(
        SoIndexedFaceSet::getClassTypeId(),
        [](void* data, SoCallbackAction*, const SoPrimitiveVertex* a, const SoPrimitiveVertex* b,
           const SoPrimitiveVertex* c) {
          for (const auto* v : {a, b, c})
            static_cast<std::vector<SbVec3f>*>(data)->push_back(v->getPoint());
        },
        &corners);
    callbacks.apply(scene.root);
    SoGetPrimitiveCountAction count;
    count.apply(scene.root);
    corners.emplace_back(count.getTriangleCount(), 0, 0);
    corners.push_back(boxOf(scene.root).getMin());
    corners.push_back(boxOf(scene.root).getMax());
    return corners;
  };
  const auto one = describe(ours);
  EXPECT_EQ(one, describe(theirs));
  EXPECT_GT(one.size(), 300u);
}

TEST(OutlinePick, GivesCallbacksWhatIsDrawn)
{
  // A pentagon and a quadrilateral that share an edge, and a vertex that nothing uses.
  const std::vector<SbVec3f> positions = {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {1, 3, 0},
                                          {0, 2, 0}, {4, 0, 0}, {4, 2, 0}, {9, 9, 9}};
  const std::vector<std::int32_t> indices = {0, 1, 2, 3, 4, -1, 1, 5, 6, 2, -1};
  PickScene scene(new SoIndexedFaceSetOutline);
  scene.property->vertex.setValuesPointer(static_cast<int>(positions.size()), positions.data());
  scene.shape->coordIndex.setValuesPointer(static_cast<int>(indices.size()), indices.data());
  auto* style = new SoDrawStyle;
  scene.root->insertChild(style, 0);
  struct Seen
  {
    int triangles = 0;
    std::set<std::pair<int, int>> lines;
    std::vector<SbVec3f> lineEnds, points;
  };
  const auto look = [&](SoDrawStyle::Style drawn) {
    style->style = drawn;
    Seen seen;
    SoCallbackAction callbacks;
    callbacks.addTriangleCallback(
        SoShape::getClassTypeId(),
        [](void* data, SoCallbackAction*, const SoPrimitiveVertex*, const SoPrimitiveVertex*,
           const SoPrimitiveVertex*) { ++static_cast<Seen*>(data)->triangles; },
        &seen);
    callbacks.addLineSegmentCallback(
        SoShape::getClassTypeId(),
        [](void* data, SoCallbackAction*, const SoPrimitiveVertex* a, const SoPrimitiveVertex* b) {
          for (const auto* v : {a, b})
            static_cast<Seen*>(data)->lineEnds.push_back(v->getPoint());
        },
        &seen);
    callbacks.addPointCallback(
        SoShape::getClassTypeId(),
        [](void* data, SoCallbackAction*, const SoPrimitiveVertex* v) {
          static_cast<Seen*>(data)->points.push_back(v->getPoint());
        },
        &seen);
    callbacks.apply(scene.root);
    const auto vertexAt = [&](const SbVec3f& p) {
      return static_cast<int>(std::find(positions.begin(), positions.end(), p) - positions.begin());
    };
    for (std::size_t i = 0; i < seen.lineEnds.size(); i += 2)
      seen.lines.insert(std::minmax(vertexAt(seen.lineEnds[i]), vertexAt(seen.lineEnds[i + 1])));
    return seen;
  };
  EXPECT_EQ(look(SoDrawStyle::FILLED).triangles, 5);
  const Seen edges = look(SoDrawStyle::LINES);
  EXPECT_EQ(edges.triangles, 0);
  EXPECT_EQ(edges.lineEnds.size(), 16u) << "the shared edge once";
  EXPECT_EQ(edges.lines, (std::set<std::pair<int, int>>{
                             {0, 1}, {1, 2}, {2, 3}, {3, 4}, {0, 4}, {1, 5}, {5, 6}, {2, 6}}));
  const Seen points = look(SoDrawStyle::POINTS);
  EXPECT_EQ(points.triangles, 0);
  EXPECT_EQ(points.points.size(), 7u);
  const Seen nothing = look(SoDrawStyle::INVISIBLE);
  EXPECT_EQ(nothing.triangles, 0);
  EXPECT_TRUE(nothing.lineEnds.empty() && nothing.points.empty());
}
