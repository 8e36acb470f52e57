#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>
#include <velmo/toolkit/shapes/MxFaceCache.h>
#include <velmo/toolkit/shapes/MxFaceEdges.h>
#include <velmo/toolkit/shapes/TkTexture2.h>

#include <tests/support/SceneQueries.h>
#include <tests/support/WarningLog.h>
#include <tests/toolkit/OutlineScene.h>

#include <gmock/gmock.h>
#include <Inventor/actions/SoRayPickAction.h>

using testing::IsEmpty;

namespace {

Outline* makeFaces()
{
  auto* shape = new Outline;
  shape->outlineMode = Outline::NO_OUTLINE;
  return shape;
}

const std::vector<SbVec3f>& faceNormals()
{
  static const std::vector<SbVec3f> normals = WavySheet(12).faceNormals();
  return normals;
}

const OutlineCase kCases[] = {
    {"computed normals", [](OutlineScene&, const WavySheet&) {}},
    {"computed normals, colours per vertex",
     [](OutlineScene& s, const WavySheet& w) { s.giveColors(w.colors, 8); }},
    {"smooth computed normals",
     [](OutlineScene& s, const WavySheet&) { s.hints->creaseAngle = 0.5f; }},
    {"clockwise",
     [](OutlineScene& s, const WavySheet&) { s.hints->vertexOrdering = SoShapeHints::CLOCKWISE; }},
    {"normals per vertex, colours per vertex",
     [](OutlineScene& s, const WavySheet& w) {
       s.giveNormals(w.normals, 8);
       s.giveColors(w.colors, 8);
     }},
    {"colours per face",
     [](OutlineScene& s, const WavySheet& w) { s.giveColors(w.faceColors, 5); }},
    {"normals per face, colours per face",
     [](OutlineScene& s, const WavySheet& w) {
       s.giveNormals(faceNormals(), 5);
       s.giveColors(w.faceColors, 5);
     }},
    {"one normal, one colour",
     [](OutlineScene& s, const WavySheet&) {
       s.property->normal.setValue(0, 0.3f, 0.9f);
       s.property->normalBinding = 2;
       s.property->orderedRGBA = 0x40a0c0ff;
       s.property->materialBinding = 2;
     }},
    {"unlit, colours per vertex",
     [](OutlineScene& s, const WavySheet& w) {
       s.model->model = SoLightModel::BASE_COLOR;
       s.giveColors(w.colors, 8);
     }},
    {"texture",
     [](OutlineScene& s, const WavySheet& w) {
       auto* texture = new TkTexture2;
       const unsigned char texels[] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 0};
       texture->image.setValue(SbVec2s(4, 1), 3, texels);
       texture->wrapS = SoTexture2::CLAMP;
       texture->wrapT = SoTexture2::CLAMP;
       s.root->insertChild(texture, s.root->findChild(s.shape));
       s.property->texCoord.setValuesPointer(static_cast<int>(w.coordinates.size()),
                                             w.coordinates.data());
     },
     0.005},
    {"transparent colours",
     [](OutlineScene& s, const WavySheet& w) {
       static std::vector<std::uint32_t> colors;
       colors = w.colors;
       for (auto& color : colors)
         color = (color & 0xffffff00u) | 0x80u;
       s.giveColors(colors, 8);
     }},
};

void expectAlike(const OutlineCase& test, const std::function<void(OutlineScene&)>& more,
                 double least = 0)
{
  const WavySheet sheet(12);
  OutlineScene ours(makeFaces()), theirs(new SoIndexedFaceSet);
  for (OutlineScene* scene : {&ours, &theirs}) {
    scene->show(sheet);
    test.apply(*scene, sheet);
    more(*scene);
  }
  const MbImage one = ours.draw(), other = theirs.draw();
  EXPECT_LE(differingShare(one, other), std::max(least, test.tolerance)) << test.name;
  EXPECT_GT(static_cast<Outline*>(ours.shape)->getUploadCounts().positions, 0)
      << test.name << " is drawn from our own buffers";
  std::size_t drawn = 0;
  for (std::size_t i = 0; i < one.rgba.size(); i += 4)
    drawn += one.rgba[i] != 255 || one.rgba[i + 1] != 255 || one.rgba[i + 2] != 255;
  EXPECT_GT(drawn, 1000u) << test.name;
}

} // namespace

TEST(OutlineFaces, LookLikeTheToolkitsForEveryBinding)
{
  WarningLog warnings;
  for (const OutlineCase& test : kCases)
    expectAlike(test, [](OutlineScene&) {});
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(OutlineFaces, SplitQuadrilateralsWhereTheToolkitPicksThem)
{
  // Light along the diagonal of vertices 0 and 2, dark across.
  WavySheet quad(1, 0);
  quad.indices = {0, 1, 3, 2, -1};
  quad.colors = {0xffffffff, 0x000000ff, 0x000000ff, 0xffffffff};
  OutlineScene scene(makeFaces());
  scene.show(quad);
  scene.model->model = SoLightModel::BASE_COLOR;
  scene.giveColors(quad.colors, 8);
  EXPECT_GT(scene.draw().pixel(150, 120)[0], 240);
}

TEST(OutlineFaces, LookLikeTheToolkitsAsLinesAndPoints)
{
  // The toolkit draws an edge once for each of its faces: where those differ the last one wins.
  for (const OutlineCase& test : kCases) {
    if (std::string(test.name) == "transparent colours") continue; // blended once, not twice
    expectAlike(
        test, [](OutlineScene& s) { s.style->style = SoDrawStyle::LINES; }, 0.05);
    expectAlike(
        test,
        [](OutlineScene& s) {
          s.style->style = SoDrawStyle::POINTS;
          s.style->pointSize = 4;
        },
        0.02);
  }
}

TEST(OutlineFaces, SkipFacesWithBadIndicesAndUnfinishedLists)
{
  WarningLog warnings;
  const WavySheet sheet(12);
  OutlineScene whole(makeFaces()), broken(makeFaces());
  whole.show(sheet);
  WavySheet bad = sheet;
  bad.indices.insert(bad.indices.begin(), {0, 1, -1, 5, -1, -1, 3, 4, 1000000, -1, -1});
  bad.indices.pop_back(); // no -1 at the end
  broken.show(bad);
  EXPECT_EQ(differingShare(whole.draw(), broken.draw()), 0);
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(OutlineFaces, LookLikeTheToolkitsWhenTheirTrianglesAreSortedAndWhenTheyAreCached)
{
  WavySheet sheet(12, 0.5f);
  for (auto& color : sheet.colors)
    color = (color & 0xffffff00u) | 0x80u;
  MbImage pictures[2];
  for (const bool own : {false, true}) {
    OutlineScene scene(own ? makeFaces() : new SoIndexedFaceSet);
    scene.show(sheet);
    scene.giveColors(sheet.colors, 8);
    MoOffscreenCanvas canvas;
    canvas.setTransparencyType(SoGLRenderAction::SORTED_OBJECT_SORTED_TRIANGLE_BLEND);
    pictures[own] = canvas.render(scene.root, 300, 240);
  }
  EXPECT_EQ(differingShare(pictures[0], pictures[1]), 0);

  OutlineScene cached(makeFaces()), plain(makeFaces());
  cached.root->renderCaching = SoSeparator::ON;
  MoOffscreenCanvas canvas;
  for (int frame = 0; frame < 4; ++frame) {
    for (OutlineScene* scene : {&cached, &plain}) {
      scene->show(sheet);
      scene->giveColors(frame < 3 ? sheet.colors : sheet.faceColors, frame < 3 ? 8 : 5);
    }
    EXPECT_EQ(
        differingShare(canvas.render(cached.root, 300, 240), canvas.render(plain.root, 300, 240)),
        0)
        << "frame " << frame;
  }
}

TEST(FaceEdges, FindsThoseOfOneFaceOnly)
{
  const auto openOf = [](const std::vector<std::int32_t>& indices, std::size_t vertexCount) {
    MxFaceTable faces;
    faces.build(indices, vertexCount);
    const auto elements = mxOpenEdges(faces, vertexCount, MxFaceLayout::Indexed);
    return std::vector<std::uint32_t>(elements.begin(), elements.end());
  };
  const WavySheet sheet(20);
  EXPECT_EQ(openOf(sheet.indices, sheet.positions.size()).size(), 2u * 4 * 20);
  const std::vector<std::int32_t> tetrahedron{0, 1, 2, -1, 0, 3, 1, -1, 1, 3, 2, -1, 2, 3, 0, -1};
  EXPECT_THAT(openOf(tetrahedron, 4), IsEmpty());
  // Three faces on one edge: it is not open, those around it are.
  EXPECT_EQ(openOf({0, 1, 2, -1, 1, 0, 3, -1, 0, 1, 4, -1}, 5).size(), 2u * 6);
  EXPECT_THAT(openOf({0, 1, 2, 2, -1}, 3), testing::ElementsAre(0, 1, 2, 0, 1, 2));
}

TEST(OutlineUploads, HappenOnlyForWhatChanged)
{
  WavySheet sheet(12);
  OutlineScene scene(makeFaces());
  auto* shape = static_cast<Outline*>(scene.shape);
  scene.show(sheet);
  scene.giveColors(sheet.colors, 8);
  MoOffscreenCanvas canvas;
  const auto uploads = [&] {
    const MxUploadCounts before = shape->getUploadCounts();
    EXPECT_FALSE(canvas.render(scene.root, 64, 64).empty());
    const MxUploadCounts& after = shape->getUploadCounts();
    return MxUploadCounts{after.positions - before.positions, after.normals - before.normals,
                          after.colors - before.colors,
                          after.textureCoordinates - before.textureCoordinates,
                          after.indices - before.indices};
  };
  EXPECT_EQ(uploads(), (MxUploadCounts{1, 1, 1, 0, 0})) << "first";
  EXPECT_EQ(uploads(), MxUploadCounts{}) << "nothing changed";
  EXPECT_EQ(shape->getCache().normalsComputed(), 1);

  sheet.colors[0] = 0xffffffff;
  scene.property->orderedRGBA.touch();
  EXPECT_EQ(uploads(), (MxUploadCounts{0, 0, 1, 0, 0})) << "colours in place";
  scene.giveColors(sheet.faceColors, 5);
  EXPECT_EQ(uploads(), (MxUploadCounts{0, 0, 1, 0, 0})) << "colours and their binding";
  EXPECT_EQ(shape->getCache().normalsComputed(), 1) << "colours need no new normals";

  sheet.positions[20][2] += 0.5f;
  sheet.fill(scene.property);
  EXPECT_EQ(uploads(), (MxUploadCounts{1, 1, 0, 0, 0})) << "geometry";
  EXPECT_EQ(shape->getCache().normalsComputed(), 2);

  sheet.indices.resize(sheet.indices.size() / 2);
  sheet.fill(scene.shape);
  EXPECT_EQ(uploads(), (MxUploadCounts{1, 1, 1, 0, 0})) << "topology: all hangs on the corners";
  scene.material->diffuseColor.setValue(1, 0, 0);
  scene.style->pointSize = 3;
  EXPECT_EQ(uploads(), MxUploadCounts{}) << "material and draw style";

  scene.giveNormals(sheet.normals, 8);
  scene.giveColors(sheet.colors, 8);
  scene.show(sheet);
  EXPECT_EQ(uploads(), (MxUploadCounts{1, 1, 1, 0, 1})) << "indexed";
  sheet.indices.resize(sheet.indices.size() / 2);
  sheet.fill(scene.shape);
  EXPECT_EQ(uploads(), (MxUploadCounts{0, 0, 0, 0, 1})) << "topology alone";
  scene.style->style = SoDrawStyle::LINES;
  EXPECT_EQ(uploads(), (MxUploadCounts{0, 0, 0, 0, 1})) << "the list of edges";
  scene.style->style = SoDrawStyle::FILLED;
  EXPECT_EQ(uploads(), MxUploadCounts{});
}

TEST(OutlineUploads, AreFreedWithTheirContextAndComeBackInTheNext)
{
  const WavySheet sheet(12);
  OutlineScene scene(makeFaces());
  scene.show(sheet);
  auto* shape = static_cast<Outline*>(scene.shape);
  MbImage first, second;
  {
    MoOffscreenCanvas canvas;
    first = canvas.render(scene.root, 64, 64);
  }
  {
    MoOffscreenCanvas canvas;
    second = canvas.render(scene.root, 64, 64);
  }
  EXPECT_EQ(differingShare(first, second), 0);
  EXPECT_EQ(shape->getUploadCounts().positions, 2);
}

TEST(OutlineFaces, AreDrawnAndPickedAsTheyAreWhenTheyAreHollow)
{
  const WavySheet shapes = makeHollowFaces();
  const auto inside = [&](float x, float y) {
    bool in = false;
    const auto crosses = [&](int a, int b) {
      const SbVec3f &p = shapes.positions[a], &q = shapes.positions[b];
      if ((p[1] > y) != (q[1] > y) && x < p[0] + (y - p[1]) / (q[1] - p[1]) * (q[0] - p[0]))
        in = !in;
    };
    for (int k = 0; k < 4; ++k)
      crosses(k, (k + 1) % 4);
    for (int k = 0; k < 12; ++k)
      crosses(4 + k, 4 + (k + 1) % 12);
    return in;
  };
  for (const float side : {1.0f, -1.0f}) { // seen from the front and from the back
    WavySheet sheet = shapes;
    for (SbVec3f& p : sheet.positions)
      p[0] *= side;
    OutlineScene scene(makeFaces());
    scene.show(sheet);
    scene.root->replaceChild(0, cameraAt(0, 0, 2, 2));
    const MbImage picture = scene.draw(250);
    SoRayPickAction pick(SbViewportRegion(250, 200));
    int wrong = 0, wrongPicks = 0, hits = 0;
    for (int y = 2; y < 200; y += 6)
      for (int x = 2; x < 250; x += 6) {
        const float px = (x + 0.5f - 125) / 100 * side, py = (100 - y - 0.5f) / 100;
        bool near = false;
        for (const float dx : {-0.02f, 0.0f, 0.02f})
          for (const float dy : {-0.02f, 0.0f, 0.02f})
            near |= inside(px + dx, py + dy) != inside(px, py);
        if (near) continue;
        wrong += (picture.pixel(x, y)[2] < 250) != inside(px, py);
        pick.setRay(SbVec3f(px * side, py, 1), SbVec3f(0, 0, -1));
        pick.apply(scene.root);
        wrongPicks += (pick.getPickedPoint() != nullptr) != inside(px, py);
        hits += inside(px, py);
      }
    EXPECT_EQ(wrong, 0) << side;
    EXPECT_EQ(wrongPicks, 0) << side;
    EXPECT_GT(hits, 200);
  }
}
