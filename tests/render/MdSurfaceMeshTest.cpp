#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/colormapping/MoCombineColorMappingElement.h>
#include <velmo/colormapping/MoUndefinedColor.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>

#include <tests/render/BuilderParts.h>
#include <tests/support/ExtractedMesh.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <Inventor/nodes/SoPolygonOffset.h>
#include <Inventor/nodes/SoShaderObject.h>
#include <Inventor/nodes/SoShaderProgram.h>

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Two unit squares side by side: six nodes, two cells.
class TwoSquares
{
public:
  TwoSquares()
  {
    moveTo(0);
    fillCells(mesh, {{0, 1, 4, 3}, {1, 2, 5, 4}});
    perNode.values = {0, 1, 2, 3, 4, 5};
    perCell.values = {0, 5};
  }
  void moveTo(float z)
  {
    fillPoints(mesh, {{0, 0, z}, {1, 0, z}, {2, 0, z}, {0, 1, z}, {1, 1, z}, {2, 1, z}});
  }

  MeXSurfaceMeshUnstructured mesh;
  MeXDataSetI<double> perNode{"node values", MiDataBinding::PerNode};
  MeXDataSetI<double> perCell{"cell values", MiDataBinding::PerCell};
};

class AverageMapping final : public MiCombineColorMapping
{
public:
  SbColorRGBA getColor(std::vector<double> values) const override
  {
    float sum = 0;
    for (const double value : values)
      sum += static_cast<float>(value);
    sum /= 10.0f;
    return {sum, sum, sum, 1};
  }
  void getRange(double& min, double& max) const override
  {
    min = 0;
    max = 10;
  }
  std::uint64_t getTimeStamp() const override { return 1; }
};

// A builder under a root, with the property nodes and mappings it is shown under.
class BuilderScene
{
public:
  BuilderScene()
  {
    root->addChild(above);
    builder = std::make_unique<MdSurfaceMesh>(root);
  }
  ~BuilderScene() { above->removeAllChildren(); }

  void set(const MdMesh::ColorSets& sets, const MxRefCounted* keep = nullptr)
  {
    const StateProbe probe([&](SoAction* action) {
      SoState* state = action->getState();
      if (mapping) MoColorMappingElement::set(state, nullptr, mapping);
      if (combined) MoCombineColorMappingElement::set(state, nullptr, combined);
      builder->set(state, squares.mesh, sets, nullptr, keep);
    });
    const SoRef<SoSeparator> scene(new SoSeparator);
    scene->addChild(above);
    scene->addChild(probe.node());
    SoCallbackAction().apply(scene);
  }
  MoMaterial* addMaterial() { return add(new MoMaterial); }
  MoDrawStyle* addDrawStyle(bool faces, bool edges, bool points)
  {
    auto* style = add(new MoDrawStyle);
    style->displayFaces = faces;
    style->displayEdges = edges;
    style->displayPoints = points;
    return style;
  }

  template <class Node>
  Node* find(const char* name = "", SoNode* under = nullptr)
  {
    return findNode<Node>(under ? under : builder->getSeparator(), name);
  }
  SoVertexProperty& vertices()
  {
    return *static_cast<SoVertexProperty*>(
        find<SoIndexedFaceSetOutline>()->vertexProperty.getValue());
  }
  MxMeshSceneGraph::FillCounts fills() const { return builder->getSceneGraph().getFillCounts(); }

  SoRef<SoSeparator> root{new SoSeparator};
  SoRef<SoGroup> above{new SoGroup};
  std::unique_ptr<MdSurfaceMesh> builder;
  TwoSquares squares;
  const MiScalarColorMapping* mapping = nullptr;
  const MiCombineColorMapping* combined = nullptr;

private:
  template <class Node>
  Node* add(Node* node)
  {
    above->addChild(node);
    return node;
  }
};

std::string fillsOf(const BuilderScene& scene)
{
  const auto fills = scene.fills();
  return std::to_string(fills.indices) + " " + std::to_string(fills.geometry) + " " +
         std::to_string(fills.colors);
}

std::vector<std::uint32_t> packedColors(BuilderScene& scene)
{
  const SoMFUInt32& colors = scene.vertices().orderedRGBA;
  return {colors.getValues(0), colors.getValues(0) + colors.getNum()};
}

class Held final : public MxRefCounted
{
public:
  explicit Held(bool& alive) : m_alive(alive) { m_alive = true; }

private:
  ~Held() override { m_alive = false; }
  bool& m_alive;
};

} // namespace

TEST(MdSurfaceMesh, LaysOutItsNodesInOrder)
{
  BuilderScene scene;
  SoSeparator* display = scene.builder->getSeparator();
  EXPECT_STREQ(display->getName().getString(), "SurfaceMesh_Display");
  EXPECT_THAT(childrenOf(display),
              ElementsAre("PolygonOffset", "SoBBox", "MainStyle", "ExtraStyles"));
  EXPECT_THAT(childrenOf(scene.find<SoSeparator>("MainStyle")),
              ElementsAre("EnhancedColoring", "LevelTexture", "DrawStyle", "UniformColor",
                          "SoIndexedFaceSetOutline"));
  auto* extra = scene.find<SoSwitch>("ExtraStyles");
  EXPECT_THAT(childrenOf(extra),
              ElementsAre("Fading_Shader", "PickStyle", "LineStyle", "PointStyle"));
  for (const char* style : {"LineStyle", "PointStyle"}) {
    auto* separator = scene.find<SoSeparator>(style, extra);
    EXPECT_THAT(childrenOf(separator), ElementsAre("LevelTexture", "DrawStyle", "UniformColor",
                                                   "SoIndexedFaceSetOutline"));
    EXPECT_EQ(separator->getChild(3), scene.find<SoIndexedFaceSetOutline>())
        << "the same node, drawn again";
  }
  EXPECT_EQ(extra->getChild(0), scene.builder->getFadingShaderProgram());
  for (int i = 0; i < 2; ++i) {
    const auto* object =
        static_cast<SoShaderObject*>(scene.builder->getFadingShaderProgram()->shaderObject[i]);
    EXPECT_FALSE(object->isActive.getValue());
  }
}

TEST(MdSurfaceMesh, AttachesTheExtractedArraysInPlace)
{
  BuilderScene scene;
  scene.set({});
  const auto* shape = scene.find<SoIndexedFaceSetOutline>();
  const auto& geometry = scene.squares.mesh.geometry;
  EXPECT_EQ(static_cast<const void*>(scene.vertices().vertex.getValues(0)),
            geometry.points().data());
  EXPECT_EQ(scene.vertices().vertex.getNum(), 6);
  EXPECT_EQ(shape->coordIndex.getValues(0), scene.squares.mesh.topology.getCell(0).data());
  EXPECT_EQ(shape->coordIndex.getNum(), 10);

  EXPECT_EQ(boxOf(scene.root).getMax(), SbVec3f(2, 1, 0));
  EXPECT_EQ(scene.find<SoBBox>()->mode.getValue(), SoBBox::EXPLICIT);
}

TEST(MdSurfaceMesh, RefillsOnlyWhatChanged)
{
  BuilderScene scene;
  GreyMapping grey;
  scene.mapping = &grey.mapping;
  for (int i = 0; i < 2; ++i)
    scene.set({&scene.squares.perNode});
  EXPECT_EQ(fillsOf(scene), "1 1 1");

  grey.setWhite(10);
  scene.set({&scene.squares.perNode});
  EXPECT_EQ(fillsOf(scene), "1 1 2") << "another colour mapping";
  scene.set({&scene.squares.perNode, &scene.squares.perNode});
  EXPECT_EQ(fillsOf(scene), "1 1 3") << "one set more";
  scene.squares.perNode.touch();
  scene.set({&scene.squares.perNode, &scene.squares.perNode});
  EXPECT_EQ(fillsOf(scene), "1 1 4") << "other values";
  scene.squares.moveTo(1);
  scene.set({&scene.squares.perNode, &scene.squares.perNode});
  EXPECT_EQ(fillsOf(scene), "1 2 4") << "other points";
  scene.squares.mesh.topology.touch();
  scene.set({&scene.squares.perNode, &scene.squares.perNode});
  EXPECT_EQ(fillsOf(scene), "2 2 4") << "other cells";
  scene.addMaterial()->transparency = 0.5f;
  scene.set({&scene.squares.perNode, &scene.squares.perNode});
  scene.set({&scene.squares.perNode, &scene.squares.perNode});
  EXPECT_EQ(fillsOf(scene), "2 2 5") << "another material";
  scene.builder->clear();
  scene.set({&scene.squares.perNode});
  EXPECT_EQ(fillsOf(scene), "3 3 6") << "everything after a clear";
}

TEST(MdSurfaceMesh, MultipliesTheOpacityIntoPackedColours)
{
  BuilderScene scene;
  GreyMapping grey;
  scene.mapping = &grey.mapping;
  scene.addMaterial()->transparency = 0.25f;
  scene.set({&scene.squares.perNode});
  const std::uint32_t alpha = 191; // 0.75 of 255
  const auto colors = packedColors(scene);
  ASSERT_EQ(colors.size(), 6u);
  EXPECT_NEAR(colors[0] & 255u, alpha, 1);
  EXPECT_EQ(colors[0] >> 8, 0u);
  EXPECT_EQ(colors[5] >> 8, 0xffffffu);
  EXPECT_EQ(scene.vertices().materialBinding.getValue(), SoVertexProperty::PER_VERTEX_INDEXED);

  scene.set({&scene.squares.perCell});
  EXPECT_EQ(packedColors(scene).size(), 2u);
  EXPECT_EQ(scene.vertices().materialBinding.getValue(), SoVertexProperty::PER_FACE);
}

TEST(MdSurfaceMesh, ShowsTheUniformColourWhereNoValuesColour)
{
  BuilderScene scene;
  GreyMapping grey;
  auto* uniform = scene.find<SoSwitch>("UniformColor");

  scene.set({&scene.squares.perNode});
  EXPECT_THAT(packedColors(scene), IsEmpty()) << "no mapping";
  EXPECT_EQ(uniform->whichChild.getValue(), SO_SWITCH_NONE) << "no material: the application's own";

  scene.mapping = &grey.mapping;
  scene.set({&scene.squares.perNode});
  EXPECT_EQ(uniform->whichChild.getValue(), SO_SWITCH_NONE);
  EXPECT_EQ(packedColors(scene).size(), 6u);
  scene.set({&scene.squares.perNode, nullptr});
  EXPECT_THAT(packedColors(scene), IsEmpty()) << "a set is missing";
  scene.set({});
  EXPECT_THAT(packedColors(scene), IsEmpty()) << "no sets";

  MoMaterial* material = scene.addMaterial();
  scene.set({nullptr});
  EXPECT_EQ(uniform->whichChild.getValue(), SO_SWITCH_ALL);
  material->faceColoring = MoMaterial::COLOR;
  material->faceColor = SbColor(1, 0, 0);
  scene.set({&scene.squares.perNode});
  EXPECT_THAT(packedColors(scene), IsEmpty());
  EXPECT_EQ(static_cast<SoMaterial*>(uniform->getChild(0))->diffuseColor[0], SbColor(1, 0, 0));
}

TEST(MdSurfaceMesh, CombinesSetsOfOneBinding)
{
  BuilderScene scene;
  const AverageMapping average;
  scene.combined = &average;
  scene.set({&scene.squares.perNode, &scene.squares.perNode});
  ASSERT_EQ(packedColors(scene).size(), 6u);
  EXPECT_EQ(packedColors(scene)[5], 0xffffffffu);

  WarningLog warnings;
  scene.set({&scene.squares.perNode, &scene.squares.perCell});
  scene.set({&scene.squares.perNode, &scene.squares.perCell});
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MxMeshSceneGraph::fillColors: Can not combine scalarsets with different "
                          "bindings"));
  EXPECT_THAT(packedColors(scene), IsEmpty());
}

TEST(MdSurfaceMesh, MarksWhatAnySetOfACombinedMappingLeavesUndefined)
{
  BuilderScene scene;
  const AverageMapping average;
  scene.combined = &average;
  MeXDataSetI<double> other("other", MiDataBinding::PerNode);
  other.values = scene.squares.perNode.values;
  other.values[2] = std::nan("");
  scene.squares.perNode.values[4] = std::nan("");
  scene.set({&scene.squares.perNode, &other});
  const auto plain = packedColors(scene);
  const SoRef<MoUndefinedColor> undefined(new MoUndefinedColor);
  undefined->color.setValue(1, 0, 0.2f);
  scene.above->addChild(undefined);
  scene.set({&scene.squares.perNode, &other});
  const auto marked = packedColors(scene);
  ASSERT_EQ(marked.size(), 6u);
  for (std::size_t n = 0; n < 6; ++n)
    EXPECT_EQ(marked[n], n == 2 || n == 4 ? 0xff0033ffu : plain[n]) << n;
}

TEST(MdSurfaceMesh, DrawsLevelsPerNodeWithATexture)
{
  BuilderScene scene;
  MdLevelColorMapping levels;
  levels.setLevels({0, 1, 3, 5},
                   {SbColorRGBA(1, 0, 0, 1), SbColorRGBA(0, 1, 0, 1), SbColorRGBA(0, 0, 1, 1)});
  scene.mapping = &levels;
  scene.addMaterial()->transparency = 0.5f;
  scene.set({&scene.squares.perNode});
  auto* texture = scene.find<SoSwitch>("LevelTexture");
  EXPECT_EQ(texture->whichChild.getValue(), SO_SWITCH_ALL);
  SbVec2s size;
  int components;
  const unsigned char* texels =
      static_cast<SoTexture2*>(texture->getChild(1))->image.getValue(size, components);
  EXPECT_EQ(size, SbVec2s(3, 1));
  EXPECT_THAT(std::vector<int>(texels, texels + 4), ElementsAre(255, 0, 0, 127));
  const SoMFVec2f& where = scene.vertices().texCoord;
  ASSERT_EQ(where.getNum(), 6);
  EXPECT_NEAR(where[1][0], 1.0 / 3, 2e-6) << "a level starts the interval above it";
  EXPECT_FLOAT_EQ(where[2][0], 0.5f);
  EXPECT_FLOAT_EQ(where[5][0], 1.0f);
  scene.squares.perNode.values = {-2, 7, std::nan(""), 0, 0, 0};
  scene.squares.perNode.touch();
  scene.set({&scene.squares.perNode});
  EXPECT_LT(where[0][0], 0.0f) << "clamped to the first colour";
  EXPECT_GT(where[1][0], 1.0f);
  EXPECT_EQ(where[2][0], 1.0f) << "no number: the last colour";

  scene.set({&scene.squares.perCell});
  EXPECT_EQ(texture->whichChild.getValue(), SO_SWITCH_NONE) << "cells have one colour each";
  EXPECT_EQ(packedColors(scene).size(), 2u);
}

TEST(MdSurfaceMesh, ShowsWhatTheDrawStyleSays)
{
  BuilderScene scene;
  auto* extra = scene.find<SoSwitch>("ExtraStyles");
  const auto styleIn = [&](const char* name) {
    return scene.find<SoDrawStyle>("", scene.find<SoSeparator>(name))->style.getValue();
  };
  scene.set({});
  EXPECT_EQ(extra->whichChild.getValue(), SO_SWITCH_NONE) << "no draw style";
  EXPECT_TRUE(scene.find<SoDrawStyle>("", scene.find<SoSeparator>("MainStyle"))->style.isIgnored())
      << "faces take the application's style";

  MoDrawStyle* style = scene.addDrawStyle(false, true, true);
  scene.set({});
  EXPECT_EQ(extra->whichChild.getValue(), SO_SWITCH_ALL);
  EXPECT_EQ(styleIn("MainStyle"), SoDrawStyle::INVISIBLE);
  EXPECT_EQ(styleIn("LineStyle"), SoDrawStyle::LINES);
  EXPECT_EQ(styleIn("PointStyle"), SoDrawStyle::POINTS);
  EXPECT_TRUE(scene.builder->getSceneGraph().requireFading());

  style->displayFaces = TRUE;
  style->displayPoints = FALSE;
  scene.builder->setIgnoreExtraStyle(true);
  scene.set({});
  EXPECT_EQ(extra->whichChild.getValue(), SO_SWITCH_NONE);
  EXPECT_EQ(styleIn("MainStyle"), SoDrawStyle::FILLED);
}

TEST(MdSurfaceMesh, LetsGoOfReplacedArraysWhileHidden)
{
  BuilderScene scene;
  bool alive = false;
  scene.set({}, SoRef<Held>(new Held(alive)));
  EXPECT_TRUE(alive) << "the nodes point at what it holds";

  MoDrawStyle* style = scene.addDrawStyle(false, false, false);
  scene.set({});
  EXPECT_TRUE(alive);
  EXPECT_EQ(scene.vertices().vertex.getNum(), 6) << "the same arrays";
  scene.squares.moveTo(1);
  scene.set({});
  EXPECT_FALSE(alive);
  EXPECT_EQ(scene.vertices().vertex.getNum(), 0);
  EXPECT_EQ(scene.find<SoIndexedFaceSetOutline>()->coordIndex.getNum(), 0);

  style->displayFaces = TRUE;
  scene.set({});
  EXPECT_EQ(scene.vertices().vertex.getNum(), 6);
  EXPECT_EQ(fillsOf(scene), "2 2 2");
}

TEST(MdSurfaceMesh, ReadsItsPreferencesWhenItIsMade)
{
  BuilderScene usual;
  EXPECT_TRUE(usual.find<SoPolygonOffset>()->on.getValue());
  EXPECT_EQ(usual.find<SoPolygonOffset>()->factor.getValue(), 0.5f);
  EXPECT_EQ(usual.find<SoPolygonOffset>()->units.getValue(), 15.0f);
  setenv("VELMO_POLYGON_OFFSET", "0", 1);
  BuilderScene without;
  unsetenv("VELMO_POLYGON_OFFSET");
  EXPECT_FALSE(without.find<SoPolygonOffset>()->on.getValue());
}

TEST(MdSurfaceMeshDeathTest, LeavesABoxAloneThatIsDeactivated)
{
  // The preference counts when the library is loaded: another process looks.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  setenv("VELMO_DEACTIVATE_SOBBOX", "true", 1);
  EXPECT_EXIT(
      {
        BuilderScene scene;
        const SoBBox* box = scene.find<SoBBox>();
        bool good = box->mode.getValue() == SoBBox::NONE;
        scene.set({});
        good = good && box->mode.getValue() == SoBBox::NONE;
        scene.builder->clear();
        good = good && box->mode.getValue() == SoBBox::COMPUTED;
        scene.set({});
        good = good && box->mode.getValue() == SoBBox::EXPLICIT;
        std::exit(good ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  unsetenv("VELMO_DEACTIVATE_SOBBOX");
}

TEST(MxStyledShapeGraph, WarnsOfMissingBuffersAndKeepsPlaceholdersInert)
{
  class DeadTopology final : public MeXTopologyExplicitI
  {
  public:
    using MeXTopologyExplicitI::MeXTopologyExplicitI;
    bool hasDeadCells() const override { return true; }
  };
  WarningLog warnings;
  const SoRef<SoSeparator> root(new SoSeparator);
  MxSurfaceSceneGraph(root).fillIndices(DeadTopology(2));
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MxUnstrMeshSceneGraph::fillIndices: Extracted topology should not have "
                          "dead cells"));
  warnings.clear();
  const SoRef<SoSeparator> parent(new SoSeparator);
  MxStyledIndexedLineGraph lines(parent, SoDrawStyle::LINES, nullptr);
  lines.setVertices(nullptr);
  lines.setTangents(nullptr, SoVertexProperty::OVERALL);
  lines.setCoordIndex(nullptr);
  EXPECT_THAT(
      warnings.texts(),
      ElementsAre("MxStyledShapeGraph::setVertices: Buffer is NULL, no index set in "
                  "SoVertexProperty",
                  "MxStyledShapeGraph::setTangents: Buffer is NULL, no tangent set in "
                  "SoVertexProperty",
                  "MxStyledIndexedShapeGraph::setCoordIndex: Buffer is NULL, no index set in "
                  "SoIndexedShape"));

  MxStyledIndexedLineGraph placeholder(nullptr, SoDrawStyle::INVISIBLE, nullptr);
  placeholder.enable(true);
  EXPECT_FALSE(placeholder.isEnabled());
  EXPECT_TRUE(placeholder.isCacheValid(MoMaterial::CONTOURING, SbColor(1, 0, 0), 0.5f));
}
