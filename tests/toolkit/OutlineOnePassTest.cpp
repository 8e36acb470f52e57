#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <tests/support/SceneQueries.h>
#include <tests/support/WarningLog.h>
#include <tests/toolkit/OutlineScene.h>

#include <gmock/gmock.h>
#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/nodes/SoCallback.h>
#include <Inventor/nodes/SoEnvironment.h>
#include <Inventor/nodes/SoPointLight.h>
#include <Inventor/nodes/SoPolygonOffset.h>
#include <Inventor/nodes/SoSpotLight.h>

using testing::IsEmpty;

namespace {

using OutlineChange = std::function<void(OutlineScene&, const WavySheet&)>;

// A picture of fewer pixels, each the mean of n by n. One pass knows how much of a pixel an edge
// covers, lines count which of four samples they meet: compared pixel by pixel they would differ by
// up to a quarter of the contrast.
MbImage shrunk(const MbImage& picture, int n)
{
  MbImage small;
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
MbImage drawOutlined(EdgePass pass, const WavySheet& sheet, const OutlineChange& change,
                     SbColor edgeColor = SbColor(0, 0, 0), int size = 300, float width = 1)
{
  const bool onePass = pass == EdgePass::One;
  auto* shape = new Outline;
  OutlineScene scene(shape);
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

TEST(OutlineOnePass, IsRefusedWhereItCannotBeDrawn)
{
  auto* shape = new Outline;
  OutlineScene scene(shape);
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
  MoOffscreenCanvas canvas;
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
  const auto fogged = [](OutlineScene& s, const WavySheet&) {
    auto* fog = new SoEnvironment;
    fog->fogType = SoEnvironment::FOG;
    fog->fogVisibility = 1e6f;
    s.root->insertChild(fog, 0);
  };
  const WavySheet sheet(6, 0.05f);
  const auto none = [](OutlineScene&, const WavySheet&) {};
  const MbImage two = drawOutlined(EdgePass::One, sheet, fogged, SbColor(1, 0, 0), 600);
  const MbImage separate = drawOutlined(EdgePass::Lines, sheet, none, SbColor(1, 0, 0), 600);
  EXPECT_LT(differingShare(two, separate), 0.01);

  const auto edgesOnly = [](OutlineScene& s, const WavySheet&) {
    s.outline().outlineMode = Outline::EDGES;
  };
  const MbImage edges = drawOutlined(EdgePass::One, sheet, edgesOnly, SbColor(1, 0, 0), 600);
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
  const OutlineCase cases[] = {
      {"one colour", [](OutlineScene&, const WavySheet&) {}},
      {"colours per vertex",
       [](OutlineScene& s, const WavySheet& w) { s.giveColors(w.colors, 8); }},
      {"colours per face",
       [](OutlineScene& s, const WavySheet& w) { s.giveColors(w.faceColors, 5); }},
      {"given normals, highlights and other lights",
       [](OutlineScene& s, const WavySheet& w) {
         s.giveNormals(w.normals, 8);
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
      {"unlit",
       [](OutlineScene& s, const WavySheet&) { s.model->model = SoLightModel::BASE_COLOR; }},
  };
  // Not steep: there the faces of the two passes come before their own edges.
  const WavySheet sheet(6, 0.05f);
  constexpr int kFiner = 4;
  for (const OutlineCase& test : cases) {
    const auto draw = [&](EdgePass pass) {
      return shrunk(drawOutlined(pass, sheet, test.apply, SbColor(0, 0, 0), 300 * kFiner, kFiner),
                    kFiner);
    };
    const MbImage lines = draw(EdgePass::Lines), one = draw(EdgePass::One);
    EXPECT_LT(differingShare(one, lines), 0.01) << test.name;
  }
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(OutlineOnFaces, LooksLikeOnePassHoweverSteepTheFaces)
{
  struct Case
  {
    int cells;
    float angle; // of the camera, so that cells of both sheets are as large in the picture
  };
  for (const Case& test : {Case{12, 0.8f}, Case{160, 0.06f}}) {
    const WavySheet sheet(test.cells, 0.4f);
    const OutlineChange look = [&](OutlineScene& s, const WavySheet& w) {
      auto* camera = static_cast<SoPerspectiveCamera*>(s.root->getChild(0));
      camera->heightAngle = test.angle;
      // Tight: what is steep is steep in depth, too.
      camera->nearDistance = 1.4f;
      camera->farDistance = 3.9f;
      s.giveColors(w.colors, 8);
    };
    const MbImage one = drawOutlined(EdgePass::One, sheet, look);
    EXPECT_LT(differingShare(drawOutlined(EdgePass::OnFaces, sheet, look), one), 0.002)
        << test.cells;
    EXPECT_GT(differingShare(drawOutlined(EdgePass::Lines, sheet, look), one), 0.01)
        << test.cells << ": lines over faces that stand back are half hidden";
  }
}

TEST(OutlineOnFaces, ShowsTheWholeWidthOfSilhouettes)
{
  // A box from the front: all that is seen of it is the outline of one face.
  WavySheet box(1, 0);
  box.positions.clear();
  for (int n = 0; n < 8; ++n)
    box.positions.emplace_back(n & 1 ? 0.6f : -0.6f, n & 2 ? 0.6f : -0.6f, n & 4 ? 0.0f : -1.0f);
  box.indices = {0, 2, 3, 1, -1, 4, 5, 7, 6, -1, 0, 1, 5, 4, -1,
                 2, 6, 7, 3, -1, 0, 4, 6, 2, -1, 1, 3, 7, 5, -1};
  const OutlineChange front = [](OutlineScene& s, const WavySheet&) {
    s.model->model = SoLightModel::BASE_COLOR;
    s.material->diffuseColor.setValue(1, 1, 1);
    s.outline().faceColor.setValue(1, 1, 1);
    s.root->replaceChild(0, cameraAt(0, 0, 2, 2));
  };
  for (const EdgePass pass : {EdgePass::One, EdgePass::OnFaces})
    for (const float width : {1.0f, 3.0f}) {
      const MbImage picture = drawOutlined(pass, box, front, SbColor(0, 0, 0), 300, width);
      double ink = 0;
      for (std::size_t i = 0; i < picture.rgba.size(); i += 4)
        ink += 1 - picture.rgba[i] / 255.0;
      const double side = 1.2 * picture.height / 2;
      EXPECT_NEAR(ink / (4 * side * width), 1, 0.12)
          << (pass == EdgePass::One ? "one pass, " : "on faces, ") << width;
    }
}

TEST(OutlineOnePass, ShowsTrueEdgesAndNoDiagonals)
{
  // Unlit white faces: whatever is dark is an edge.
  const OutlineChange white = [](OutlineScene& s, const WavySheet&) {
    s.model->model = SoLightModel::BASE_COLOR;
    s.material->diffuseColor.setValue(1, 1, 1);
    s.outline().faceColor.setValue(1, 1, 1);
  };
  WavySheet quad(1);
  quad.indices = {0, 1, 3, 2, -1};
  const auto darkInside = [](const MbImage& picture) {
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
  const auto share = [&](const OutlineChange& change,
                         const std::function<bool(const std::uint8_t*)>& is) {
    const MbImage picture = drawOutlined(EdgePass::One, sheet, change, SbColor(1, 0, 0));
    std::size_t count = 0;
    for (std::size_t i = 0; i < picture.rgba.size(); i += 4)
      count += is(&picture.rgba[i]);
    return static_cast<double>(count) / (picture.rgba.size() / 4);
  };
  const auto unlit = [](OutlineScene& s) {
    s.model->model = SoLightModel::BASE_COLOR;
    s.outline().faceColor.setValue(1, 1, 1);
  };
  const auto isRed = [](const std::uint8_t* p) { return p[0] > 200 && p[1] < 100 && p[2] < 100; };
  const double whole = share([&](OutlineScene& s, const WavySheet&) { unlit(s); }, isRed);
  EXPECT_GT(whole, 0.02);

  const auto faded = [&](float pixels) {
    return share(
        [&](OutlineScene& s, const WavySheet&) {
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
  const auto edgesByValue = [&](OutlineScene& s, const WavySheet& w) {
    unlit(s);
    s.giveColors(w.colors, 8);
    s.outline().faceColoring = Outline::COLOR;
    s.outline().edgeColoring = Outline::CONTOURING;
  };
  EXPECT_GT(share(edgesByValue, isGreen), 0.01);
}

TEST(OutlineOnePass, BlendsTransparentFacesUnderTheirEdges)
{
  WavySheet flat(2, 0);
  const auto draw = [&](float transparency) {
    return drawOutlined(EdgePass::One, flat, [&](OutlineScene& s, const WavySheet&) {
      s.model->model = SoLightModel::BASE_COLOR;
      auto* shape = static_cast<Outline*>(s.shape);
      shape->faceColor.setValue(1, 0, 0);
      shape->transparency = transparency;
    });
  };
  const auto center = [](const MbImage& picture) {
    const std::uint8_t* p = picture.pixel(185, 110); // inside a cell
    return std::vector<int>{p[0], p[1], p[2]};
  };
  EXPECT_THAT(center(draw(0)), testing::ElementsAre(255, 0, 0));
  EXPECT_THAT(center(draw(0.5f)),
              testing::ElementsAre(255, testing::AllOf(testing::Ge(126), testing::Le(129)),
                                   testing::AllOf(testing::Ge(126), testing::Le(129))));
}

TEST(OutlineOnePass, DrawsTheEdgesOfHollowFacesAlone)
{
  const WavySheet shapes = makeHollowFaces();
  EXPECT_LT(
      differingShare(drawOutlined(EdgePass::One, shapes, [](OutlineScene&, const WavySheet&) {}),
                     drawOutlined(EdgePass::Lines, shapes, [](OutlineScene&, const WavySheet&) {})),
      0.01);
}
