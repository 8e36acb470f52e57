#include <velmo/toolkit/MxFaceBuffers.h>
#include <velmo/toolkit/MxFaceCache.h>
#include <velmo/toolkit/MxFaceEdges.h>
#include <velmo/toolkit/MxOffscreenCanvas.h>
#include <velmo/toolkit/TkTexture2.h>

#include <tests/support/Offscreen.h>
#include <tests/support/WarningLog.h>
#include <tests/toolkit/OutlineScene.h>

#include <gmock/gmock.h>
#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/nodes/SoCallback.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoEnvironment.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoMaterial.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/nodes/SoPointLight.h>
#include <Inventor/nodes/SoPolygonOffset.h>
#include <Inventor/nodes/SoShapeHints.h>
#include <Inventor/nodes/SoSpotLight.h>

#include <functional>

using testing::IsEmpty;

namespace {

using Outline = SoIndexedFaceSetOutline;

// One face set before a camera, either ours or the toolkit's, with the same nodes around it.
struct Scene
{
  explicit Scene(SoIndexedFaceSet* faceSet)
  {
    root.reset(new SoSeparator);
    auto* camera = new SoPerspectiveCamera;
    camera->position.setValue(0.8f, -1.2f, 2.2f);
    camera->pointAt(SbVec3f(0, 0, 0));
    camera->nearDistance = 0.5f;
    camera->farDistance = 6;
    root->addChild(camera);
    light = new SoDirectionalLight;
    light->direction.setValue(-0.3f, 0.4f, -1);
    root->addChild(light);
    lights = new SoSeparator;
    hints = new SoShapeHints;
    hints->vertexOrdering = SoShapeHints::COUNTERCLOCKWISE;
    root->addChild(hints);
    model = new SoLightModel;
    root->addChild(model);
    material = new SoMaterial;
    material->diffuseColor.setValue(0.7f, 0.6f, 0.4f);
    root->addChild(material);
    style = new SoDrawStyle;
    root->addChild(style);
    shape = faceSet;
    property = new TkVertexProperty;
    shape->vertexProperty = property;
    root->addChild(shape);
  }
  void show(const WavySheet& sheet)
  {
    sheet.fill(property);
    sheet.fill(shape);
  }
  MxImage draw(int size = 300) { return drawScene(root, size, size * 4 / 5); }

  SoRef<SoSeparator> root;
  SoDirectionalLight* light;
  SoSeparator* lights;
  SoShapeHints* hints;
  SoLightModel* model;
  SoMaterial* material;
  SoDrawStyle* style;
  SoIndexedFaceSet* shape;
  TkVertexProperty* property;
};

Outline* makeFaces()
{
  auto* shape = new Outline;
  shape->outlineMode = Outline::NO_OUTLINE;
  return shape;
}

using Change = std::function<void(Scene&, const WavySheet&)>;

struct Case
{
  const char* name;
  Change apply;
  double tolerance = 0.002;
};

void giveColors(Scene& s, const std::vector<std::uint32_t>& colors, int binding)
{
  s.property->orderedRGBA.setValuesPointer(static_cast<int>(colors.size()), colors.data());
  s.property->materialBinding = binding;
}

const std::vector<SbVec3f>& faceNormals()
{
  static const std::vector<SbVec3f> normals = WavySheet(12).faceNormals();
  return normals;
}

void giveNormals(Scene& s, const std::vector<SbVec3f>& normals, int binding)
{
  s.property->normal.setValuesPointer(static_cast<int>(normals.size()), normals.data());
  s.property->normalBinding = binding;
}

const Case kCases[] = {
    {"computed normals", [](Scene&, const WavySheet&) {}},
    {"computed normals, colours per vertex",
     [](Scene& s, const WavySheet& w) { giveColors(s, w.colors, 8); }},
    {"smooth computed normals", [](Scene& s, const WavySheet&) { s.hints->creaseAngle = 0.5f; }},
    {"clockwise",
     [](Scene& s, const WavySheet&) { s.hints->vertexOrdering = SoShapeHints::CLOCKWISE; }},
    {"normals per vertex, colours per vertex",
     [](Scene& s, const WavySheet& w) {
       giveNormals(s, w.normals, 8);
       giveColors(s, w.colors, 8);
     }},
    {"colours per face", [](Scene& s, const WavySheet& w) { giveColors(s, w.faceColors, 5); }},
    {"normals per face, colours per face",
     [](Scene& s, const WavySheet& w) {
       giveNormals(s, faceNormals(), 5);
       giveColors(s, w.faceColors, 5);
     }},
    {"one normal, one colour",
     [](Scene& s, const WavySheet&) {
       s.property->normal.setValue(0, 0.3f, 0.9f);
       s.property->normalBinding = 2;
       s.property->orderedRGBA = 0x40a0c0ff;
       s.property->materialBinding = 2;
     }},
    {"unlit, colours per vertex",
     [](Scene& s, const WavySheet& w) {
       s.model->model = SoLightModel::BASE_COLOR;
       giveColors(s, w.colors, 8);
     }},
    {"texture",
     [](Scene& s, const WavySheet& w) {
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
     [](Scene& s, const WavySheet& w) {
       static std::vector<std::uint32_t> colors;
       colors = w.colors;
       for (auto& color : colors)
         color = (color & 0xffffff00u) | 0x80u;
       giveColors(s, colors, 8);
     }},
};

void expectAlike(const Case& test, const std::function<void(Scene&)>& more, double least = 0)
{
  const WavySheet sheet(12);
  Scene ours(makeFaces()), theirs(new SoIndexedFaceSet);
  for (Scene* scene : {&ours, &theirs}) {
    scene->show(sheet);
    test.apply(*scene, sheet);
    more(*scene);
  }
  const MxImage one = ours.draw(), other = theirs.draw();
  EXPECT_LE(differingShare(one, other), std::max(least, test.tolerance)) << test.name;
  EXPECT_GT(static_cast<Outline*>(ours.shape)->getUploadCounts().positions, 0)
      << test.name << " is drawn from our own buffers";
  std::size_t drawn = 0;
  for (std::size_t i = 0; i < one.rgba.size(); i += 4)
    drawn += one.rgba[i] != 255 || one.rgba[i + 1] != 255 || one.rgba[i + 2] != 255;
  EXPECT_GT(drawn, 1000u) << test.name;
}

// A picture of fewer pixels, each the mean of n by n. One pass knows how much of a pixel an edge
// covers, lines count which of four samples they meet: compared pixel by pixel they would differ by
// up to a quarter of the contrast.
MxImage shrunk(const MxImage& picture, int n)
{
  MxImage small;
  small.width = picture.width / n;
  small.height = picture.height / n;
  small.rgba.resize(4 * static_cast<std::size_t>(small.width) * small.height);
  for (int y = 0; y < small.height; ++y)
    for (int x = 0; x < small.width; ++x)
      for (int c = 0; c < 4; ++c) {
        int sum = 0;
        for (int k = 0; k < n * n; ++k)
          sum += picture.pixel(n * x + k % n, n * y + k / n)[c];
        small.rgba[4 * (static_cast<std::size_t>(y) * small.width + x) + c] =
            static_cast<std::uint8_t>(sum / (n * n));
      }
  return small;
}

enum class EdgePass
{
  One,
  OnFaces, // a second pass that knows of the first
  Lines    // over faces that stand back
};

// Faces and edges of one sheet.
MxImage drawOutlined(EdgePass pass, const WavySheet& sheet, const Change& change,
                     SbColor edgeColor = SbColor(0, 0, 0), int size = 300, float width = 1)
{
  const bool onePass = pass == EdgePass::One;
  auto* shape = new Outline;
  Scene scene(shape);
  scene.show(sheet);
  scene.style->lineWidth = width;
  shape->edgeColor = edgeColor;
  shape->faceColor = scene.material->diffuseColor[0];
  change(scene, sheet);
  if (scene.property->orderedRGBA.getNum() == 0) shape->faceColoring = Outline::COLOR;
  if (!onePass) {
    shape->outlineMode = Outline::NO_OUTLINE;
    auto* offset = new SoPolygonOffset;
    offset->factor = width; // half would do for the half of a line, but for rounding
    offset->units = 15;
    scene.root->insertChild(offset, scene.root->findChild(shape));
    auto* edges = new SoMaterial;
    edges->diffuseColor = edgeColor;
    edges->setOverride(TRUE);
    scene.root->addChild(edges);
    auto* style = new SoDrawStyle;
    style->style = SoDrawStyle::LINES;
    style->lineWidth = width;
    scene.root->addChild(style);
    scene.root->addChild(shape);
    shape->setEdgesOnFaces(pass == EdgePass::OnFaces, nullptr);
  }
  return scene.draw(size);
}

} // namespace

TEST(OutlineFaces, LookLikeTheToolkitsForEveryBinding)
{
  WarningLog warnings;
  for (const Case& test : kCases)
    expectAlike(test, [](Scene&) {});
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(OutlineFaces, SplitQuadrilateralsWhereTheToolkitPicksThem)
{
  // Light along the diagonal of vertices 0 and 2, dark across.
  WavySheet quad(1, 0);
  quad.indices = {0, 1, 3, 2, -1};
  quad.colors = {0xffffffff, 0x000000ff, 0x000000ff, 0xffffffff};
  Scene scene(makeFaces());
  scene.show(quad);
  scene.model->model = SoLightModel::BASE_COLOR;
  giveColors(scene, quad.colors, 8);
  EXPECT_GT(scene.draw().pixel(150, 120)[0], 240);
}

TEST(OutlineFaces, LookLikeTheToolkitsAsLinesAndPoints)
{
  // The toolkit draws an edge once for each of its faces: where those differ the last one wins.
  for (const Case& test : kCases) {
    if (std::string(test.name) == "transparent colours") continue; // blended once, not twice
    expectAlike(
        test, [](Scene& s) { s.style->style = SoDrawStyle::LINES; }, 0.05);
    expectAlike(
        test,
        [](Scene& s) {
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
  Scene whole(makeFaces()), broken(makeFaces());
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
  MxImage pictures[2];
  for (const bool own : {false, true}) {
    Scene scene(own ? makeFaces() : new SoIndexedFaceSet);
    scene.show(sheet);
    giveColors(scene, sheet.colors, 8);
    MxOffscreenCanvas canvas;
    canvas.setTransparencyType(SoGLRenderAction::SORTED_OBJECT_SORTED_TRIANGLE_BLEND);
    pictures[own] = canvas.render(scene.root, 300, 240);
  }
  EXPECT_EQ(differingShare(pictures[0], pictures[1]), 0);

  Scene cached(makeFaces()), plain(makeFaces());
  cached.root->renderCaching = SoSeparator::ON;
  MxOffscreenCanvas canvas;
  for (int frame = 0; frame < 4; ++frame) {
    for (Scene* scene : {&cached, &plain}) {
      scene->show(sheet);
      giveColors(*scene, frame < 3 ? sheet.colors : sheet.faceColors, frame < 3 ? 8 : 5);
    }
    EXPECT_EQ(
        differingShare(canvas.render(cached.root, 300, 240), canvas.render(plain.root, 300, 240)),
        0)
        << "frame " << frame;
  }
}

TEST(OutlineOnePass, IsRefusedWhereItCannotBeDrawn)
{
  auto* shape = new Outline;
  Scene scene(shape);
  const WavySheet sheet(6);
  scene.show(sheet);
  bool answer = false;
  auto* probe = new SoCallback;
  std::pair<Outline*, bool*> data{shape, &answer};
  probe->setCallback(
      [](void* closure, SoAction* action) {
        const auto& [asked, to] = *static_cast<std::pair<Outline*, bool*>*>(closure);
        *to = asked->isCompatibleWithState(action->getState());
      },
      &data);
  scene.root->addChild(probe);
  MxOffscreenCanvas canvas;
  const auto ask = [&] {
    canvas.render(scene.root, 32, 32);
    return answer;
  };
  SoGetBoundingBoxAction boxes(SbViewportRegion(10, 10));
  boxes.apply(scene.root);
  EXPECT_FALSE(answer) << "nothing has been drawn";
  EXPECT_TRUE(ask());
  answer = false;
  boxes.apply(scene.root);
  EXPECT_TRUE(answer) << "the answer for what was drawn last";
  scene.style->style = SoDrawStyle::LINES;
  EXPECT_FALSE(ask());
  scene.style->style = SoDrawStyle::FILLED;
  auto* fog = new SoEnvironment;
  fog->fogType = SoEnvironment::FOG;
  scene.root->insertChild(fog, 0);
  EXPECT_FALSE(ask());
  scene.root->removeChild(fog);
  canvas.setTransparencyType(SoGLRenderAction::SORTED_OBJECT_SORTED_TRIANGLE_BLEND);
  scene.property->orderedRGBA = 0x80808080;
  EXPECT_FALSE(ask());
}

TEST(OutlineOnePass, FallsBackToTwoPassesOfItsOwn)
{
  const auto fogged = [](Scene& s, const WavySheet&) {
    auto* fog = new SoEnvironment;
    fog->fogType = SoEnvironment::FOG;
    fog->fogVisibility = 1e6f;
    s.root->insertChild(fog, 0);
  };
  const WavySheet sheet(6, 0.05f);
  const auto none = [](Scene&, const WavySheet&) {};
  const MxImage two = drawOutlined(EdgePass::One, sheet, fogged, SbColor(1, 0, 0), 600);
  const MxImage separate = drawOutlined(EdgePass::Lines, sheet, none, SbColor(1, 0, 0), 600);
  EXPECT_LT(differingShare(two, separate), 0.01);

  const auto edgesOnly = [](Scene& s, const WavySheet&) {
    static_cast<Outline*>(s.shape)->outlineMode = Outline::EDGES;
  };
  const MxImage edges = drawOutlined(EdgePass::One, sheet, edgesOnly, SbColor(1, 0, 0), 600);
  std::size_t white = 0, red = 0;
  for (std::size_t i = 0; i < edges.rgba.size(); i += 4) {
    white += edges.rgba[i + 1] > 250;
    red += edges.rgba[i] > 150 && edges.rgba[i + 1] < 60;
  }
  EXPECT_GT(white, edges.rgba.size() / 4 * 9 / 10);
  EXPECT_GT(red, 1000u);
}

TEST(OutlineOnePass, LooksLikeTwoPasses)
{
  WarningLog warnings;
  const Case cases[] = {
      {"one colour", [](Scene&, const WavySheet&) {}},
      {"colours per vertex", [](Scene& s, const WavySheet& w) { giveColors(s, w.colors, 8); }},
      {"colours per face", [](Scene& s, const WavySheet& w) { giveColors(s, w.faceColors, 5); }},
      {"given normals, highlights and other lights",
       [](Scene& s, const WavySheet& w) {
         giveNormals(s, w.normals, 8);
         s.material->specularColor.setValue(0.6f, 0.6f, 0.6f);
         s.material->shininess = 0.3f;
         auto* point = new SoPointLight;
         point->location.setValue(1, 1, 1);
         point->color.setValue(0.4f, 0.1f, 0.1f);
         auto* spot = new SoSpotLight;
         spot->location.setValue(-0.5f, 0.5f, 1.5f);
         spot->direction.setValue(0, 0, -1);
         spot->cutOffAngle = 0.3f;
         spot->color.setValue(0.1f, 0.1f, 0.5f);
         s.root->insertChild(point, 1);
         s.root->insertChild(spot, 1);
       }},
      {"unlit", [](Scene& s, const WavySheet&) { s.model->model = SoLightModel::BASE_COLOR; }},
  };
  // Not steep: there the faces of the two passes come before their own edges.
  const WavySheet sheet(6, 0.05f);
  constexpr int kFiner = 4;
  for (const Case& test : cases) {
    const auto draw = [&](EdgePass pass) {
      return shrunk(drawOutlined(pass, sheet, test.apply, SbColor(0, 0, 0), 300 * kFiner, kFiner),
                    kFiner);
    };
    const MxImage lines = draw(EdgePass::Lines), one = draw(EdgePass::One);
    EXPECT_LT(differingShare(one, lines), 0.01) << test.name;
  }
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(OutlineOnFaces, LooksLikeOnePassHoweverSteepTheFaces)
{
  // So many faces that lines are not worth it.
  WavySheet sheet(160, 0.4f);
  const Change closer = [](Scene& s, const WavySheet& w) {
    auto* camera = static_cast<SoPerspectiveCamera*>(s.root->getChild(0));
    camera->heightAngle = 0.06f;
    giveColors(s, w.colors, 8);
  };
  const MxImage one = drawOutlined(EdgePass::One, sheet, closer);
  EXPECT_LT(differingShare(drawOutlined(EdgePass::OnFaces, sheet, closer), one), 0.002);
  EXPECT_GT(differingShare(drawOutlined(EdgePass::Lines, sheet, closer), one), 0.01)
      << "lines over faces that stand back are half hidden";
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

TEST(OutlineOnePass, ShowsTrueEdgesAndNoDiagonals)
{
  // Unlit white faces: whatever is dark is an edge.
  const Change white = [](Scene& s, const WavySheet&) {
    s.model->model = SoLightModel::BASE_COLOR;
    s.material->diffuseColor.setValue(1, 1, 1);
    static_cast<Outline*>(s.shape)->faceColor.setValue(1, 1, 1);
  };
  WavySheet quad(1);
  quad.indices = {0, 1, 3, 2, -1};
  const auto darkInside = [](const MxImage& picture) {
    int dark = 0;
    for (int y = 90; y < 150; ++y)
      for (int x = 120; x < 180; ++x)
        dark += picture.pixel(x, y)[0] < 200;
    return dark;
  };
  EXPECT_EQ(darkInside(drawOutlined(EdgePass::One, quad, white)), 0);
  EXPECT_EQ(darkInside(drawOutlined(EdgePass::Lines, quad, white)), 0);
  WavySheet triangles(1);
  triangles.indices = {0, 1, 3, -1, 0, 3, 2, -1};
  EXPECT_GT(darkInside(drawOutlined(EdgePass::One, triangles, white)), 30);
  EXPECT_GT(darkInside(drawOutlined(EdgePass::Lines, triangles, white)), 30);
}

TEST(OutlineOnePass, ColoursItsEdgesAndFadesShortOnes)
{
  const WavySheet sheet(12);
  const auto share = [&](const Change& change, const std::function<bool(const std::uint8_t*)>& is) {
    const MxImage picture = drawOutlined(EdgePass::One, sheet, change, SbColor(1, 0, 0));
    std::size_t count = 0;
    for (std::size_t i = 0; i < picture.rgba.size(); i += 4)
      count += is(&picture.rgba[i]);
    return static_cast<double>(count) / (picture.rgba.size() / 4);
  };
  const auto unlit = [](Scene& s) {
    s.model->model = SoLightModel::BASE_COLOR;
    static_cast<Outline*>(s.shape)->faceColor.setValue(1, 1, 1);
  };
  const auto isRed = [](const std::uint8_t* p) { return p[0] > 200 && p[1] < 100 && p[2] < 100; };
  const double whole = share([&](Scene& s, const WavySheet&) { unlit(s); }, isRed);
  EXPECT_GT(whole, 0.02);

  const auto faded = [&](float pixels) {
    return share(
        [&](Scene& s, const WavySheet&) {
          unlit(s);
          auto* shape = static_cast<Outline*>(s.shape);
          shape->fading = TRUE;
          shape->fadingEdgePixelLength = pixels;
          shape->edgeLengthReference = 1.0f / 6;
        },
        isRed);
  };
  EXPECT_GT(faded(1), 0.7 * whole);
  EXPECT_EQ(faded(100), 0) << "all edges are short";

  // Edges by value on faces of one colour: the sheet's colours run over red and green.
  const auto isGreen = [](const std::uint8_t* p) { return p[1] > p[0] + 40 && p[1] > p[2] + 40; };
  const auto edgesByValue = [&](Scene& s, const WavySheet& w) {
    unlit(s);
    giveColors(s, w.colors, 8);
    static_cast<Outline*>(s.shape)->faceColoring = Outline::COLOR;
    static_cast<Outline*>(s.shape)->edgeColoring = Outline::CONTOURING;
  };
  EXPECT_GT(share(edgesByValue, isGreen), 0.01);
}

TEST(OutlineOnePass, BlendsTransparentFacesUnderTheirEdges)
{
  WavySheet flat(2, 0);
  const auto draw = [&](float transparency) {
    return drawOutlined(EdgePass::One, flat, [&](Scene& s, const WavySheet&) {
      s.model->model = SoLightModel::BASE_COLOR;
      auto* shape = static_cast<Outline*>(s.shape);
      shape->faceColor.setValue(1, 0, 0);
      shape->transparency = transparency;
    });
  };
  const auto center = [](const MxImage& picture) {
    const std::uint8_t* p = picture.pixel(185, 110); // inside a cell
    return std::vector<int>{p[0], p[1], p[2]};
  };
  EXPECT_THAT(center(draw(0)), testing::ElementsAre(255, 0, 0));
  EXPECT_THAT(center(draw(0.5f)),
              testing::ElementsAre(255, testing::AllOf(testing::Ge(126), testing::Le(129)),
                                   testing::AllOf(testing::Ge(126), testing::Le(129))));
}

TEST(OutlineUploads, HappenOnlyForWhatChanged)
{
  WavySheet sheet(12);
  Scene scene(makeFaces());
  auto* shape = static_cast<Outline*>(scene.shape);
  scene.show(sheet);
  giveColors(scene, sheet.colors, 8);
  MxOffscreenCanvas canvas;
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
  giveColors(scene, sheet.faceColors, 5);
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

  giveNormals(scene, sheet.normals, 8);
  giveColors(scene, sheet.colors, 8);
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
  Scene scene(makeFaces());
  scene.show(sheet);
  auto* shape = static_cast<Outline*>(scene.shape);
  MxImage first, second;
  {
    MxOffscreenCanvas canvas;
    first = canvas.render(scene.root, 64, 64);
  }
  {
    MxOffscreenCanvas canvas;
    second = canvas.render(scene.root, 64, 64);
  }
  EXPECT_EQ(differingShare(first, second), 0);
  EXPECT_EQ(shape->getUploadCounts().positions, 2);
}

TEST(OutlineFaces, AreDrawnAndPickedAsTheyAreWhenTheyAreHollow)
{
  // An arrowhead whose first vertex is far from its notch, and a comb with three teeth.
  WavySheet shapes(1, 0);
  shapes.positions = {{-0.9f, -0.8f, 0}, {0.0f, -0.3f, 0}, {0.9f, -0.8f, 0}, {0, 0.0f, 0},
                      {-0.9f, 0.1f, 0},  {0.9f, 0.1f, 0},  {0.9f, 0.9f, 0},  {0.5f, 0.9f, 0},
                      {0.45f, 0.3f, 0},  {0.2f, 0.3f, 0},  {0.2f, 0.9f, 0},  {-0.2f, 0.9f, 0},
                      {-0.2f, 0.3f, 0},  {-0.5f, 0.3f, 0}, {-0.5f, 0.9f, 0}, {-0.9f, 0.9f, 0}};
  shapes.indices = {0, 1, 2, 3, -1, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, -1};
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
    Scene scene(makeFaces());
    scene.show(sheet);
    auto* camera = new SoOrthographicCamera;
    camera->position.setValue(0, 0, 2);
    camera->height = 2;
    scene.root->replaceChild(0, camera);
    const MxImage picture = scene.draw(250);
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
  // The edges of a hollow face are its own.
  EXPECT_LT(differingShare(drawOutlined(EdgePass::One, shapes, [](Scene&, const WavySheet&) {}),
                           drawOutlined(EdgePass::Lines, shapes, [](Scene&, const WavySheet&) {})),
            0.01);
}
