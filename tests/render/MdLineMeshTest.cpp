#include <velmo/colormapping/MdLevelColorMapping.h>
#include <velmo/colormapping/MoColorMappingElement.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/render/details/MoLineDetail.h>
#include <velmo/render/details/MoLineMeshDetail.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/render/MxLineSceneGraph.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>
#include <velmo/toolkit/shapes/MxShapeData.h>
#include <velmo/toolkit/shapes/TkLineSet.h>
#include <velmo/toolkit/shapes/TkPointSet.h>

#include <tests/render/BuilderParts.h>
#include <tests/support/ExtractedMesh.h>
#include <tests/support/Offscreen.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <Inventor/details/SoPointDetail.h>
#include <Inventor/nodes/SoCoordinate3.h>
#include <Inventor/nodes/SoDirectionalLight.h>
#include <Inventor/nodes/SoLightModel.h>

#include <gmock/gmock.h>

#include <cmath>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Two polylines, one above the other: nodes 0 to 4 along y = 0.5 and 5 to 6 along y = -0.5. The
// nodes were cut out of edges (n, n + 10) of a source mesh, a quarter of the way.
struct TwoLines
{
  TwoLines()
  {
    moveTo(0);
    fillCells(mesh, {{0, 1, 2, 3, 4}, {5, 6}});
    MeXProvenance& sources = mesh.provenance;
    sources.form = MeXProvenance::NodeForm::Edge;
    sources.nodes.resizeUninitialized(14);
    for (std::uint32_t n = 0; n < 7; ++n) {
      sources.nodes[2 * n] = n;
      sources.nodes[2 * n + 1] = n + 10;
    }
    sources.weights.assign(7, 0.25);
    sources.cells.resizeUninitialized(2);
    sources.cells[0] = 23;
    sources.cells[1] = 5;
    sources.sourceCells = {4, 3, 2};
    sources.sourceNodes = {5, 4, 3};
    perNode.values = {0, 1, 2, 3, 4, 5, 0};
    perCell.values = {5, 0};
  }
  void moveTo(float z)
  {
    fillPoints(mesh, {{-0.8f, 0.5f, z},
                      {-0.4f, 0.5f, z},
                      {0, 0.5f, z},
                      {0.4f, 0.5f, z},
                      {0.8f, 0.5f, z},
                      {-0.8f, -0.5f, z},
                      {0.8f, -0.5f, z}});
  }

  MeXLineMeshUnstructured mesh;
  MeXDataSetI<double> perNode{"nodes", MiDataBinding::PerNode};
  MeXDataSetI<double> perCell{"cells", MiDataBinding::PerCell};
};

// A builder behind property nodes, filled in every traversal that draws, picks or calls back.
template <class Builder>
struct BuilderScene
{
  BuilderScene()
  {
    root->addChild(cameraAt(0, 0, 5, 2));
    root->addChild(new SoDirectionalLight);
    root->addChild(style);
    root->addChild(material);
    root->addChild(width);
    root->addChild(probe.node());
    style->displayFaces = FALSE;
    style->displayEdges = TRUE;
    width->lineWidth = 4;
    builder = std::make_unique<Builder>(root);
  }
  void traverse(int times = 1)
  {
    for (int i = 0; i < times; ++i)
      SoCallbackAction().apply(root);
  }
  MbImage draw() { return drawScene(root, 200, 200); }

  std::function<void(SoState*)> fill;
  StateProbe probe{[this](SoAction* action) {
    SoState* state = action->getState();
    if (!state->isElementEnabled(MoColorMappingElement::getClassStackIndex())) return;
    if (mapping) MoColorMappingElement::set(state, nullptr, mapping);
    fill(state);
  }};
  SoRef<SoSeparator> root{new SoSeparator};
  SoRef<MoDrawStyle> style{new MoDrawStyle};
  SoRef<MoMaterial> material{new MoMaterial};
  SoRef<SoDrawStyle> width{new SoDrawStyle};
  const MiScalarColorMapping* mapping = nullptr;
  std::unique_ptr<Builder> builder;
};

struct LineScene : BuilderScene<MdLineMesh>
{
  LineScene()
  {
    fill = [this](SoState* state) { builder->set(state, lines.mesh, sets); };
  }
  SoSeparator* mainStyle() const
  {
    return static_cast<SoSeparator*>(builder->getSeparator()->getChild(1));
  }
  TkLineSet* shape() const { return static_cast<TkLineSet*>(mainStyle()->getChild(3)); }
  std::vector<std::size_t> fills() const
  {
    const auto counts = builder->getSceneGraph().getFillCounts();
    return {counts.indices, counts.geometry, counts.colors};
  }

  TwoLines lines;
  MdMesh::ColorSets sets;
};

int redAt(const MbImage& picture, double x, double y)
{
  return picture.pixel(static_cast<int>(100 + 100 * x), static_cast<int>(100 - 100 * y))[0];
}

} // namespace

TEST(MdLineMesh, LaysOutItsNodesAndTakesPatternsAndTangents)
{
  LineScene scene;
  scene.traverse();
  EXPECT_THAT(childrenOf(scene.mainStyle()),
              ElementsAre("LevelTexture", "DrawStyle", "UniformColor", "TkLineSet"));
  EXPECT_TRUE(scene.shape()->isOfType(SoIndexedLineSet::getClassTypeId()));
  EXPECT_EQ(scene.shape()->coordIndex.getNum(), 9);
  EXPECT_EQ(scene.builder->getFadingShaderProgram(), nullptr);
  auto* drawStyle = static_cast<SoDrawStyle*>(scene.mainStyle()->getChild(1));
  EXPECT_TRUE(drawStyle->linePattern.isIgnored());
  scene.builder->setLinePattern(0x0f0f);
  EXPECT_FALSE(drawStyle->linePattern.isIgnored());
  EXPECT_EQ(drawStyle->linePattern.getValue(), 0x0f0f);

  MeXDataSetI<MbVec3d> tangents("tangents", MiDataBinding::PerNode);
  tangents.values.assign(7, MbVec3d{0, 0, 1});
  for (int i = 0; i < 3; ++i)
    scene.builder->setTangents(&tangents);
  EXPECT_EQ(scene.builder->getSceneGraph().getFillCounts().tangents, 1u) << "once a stamp";
  const auto* property = static_cast<TkVertexProperty*>(scene.shape()->vertexProperty.getValue());
  EXPECT_EQ(property->tangent.getNum(), 7);
  EXPECT_EQ(property->tangentBinding.getValue(), SoVertexProperty::PER_VERTEX_INDEXED);
  scene.builder->clear();
  EXPECT_TRUE(drawStyle->linePattern.isIgnored());
  EXPECT_EQ(property->tangent.getNum(), 0);
  scene.traverse();
  scene.builder->setTangents(&tangents);
  EXPECT_EQ(property->tangent.getNum(), 7) << "after a clear they are taken again";

  WarningLog warnings;
  scene.builder->setTangents(nullptr);
  EXPECT_EQ(property->tangent.getNum(), 0);
  EXPECT_EQ(property->tangentBinding.getValue(), SoVertexProperty::OVERALL);
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MxStyledShapeGraph::setTangents: Buffer is NULL, no tangent set in "
                          "SoVertexProperty"));
}

TEST(MxUnstrMeshSceneGraph, WarnsOfDeadCellsAndMissingIndices)
{
  class WithDeadCells final : public MiTopologyI
  {
  public:
    std::uint64_t getTimeStamp() const override { return 1; }
    std::size_t getCellCount() const override { return 2; }
    MiCellShape getCellShape(std::size_t) const override { return MiCellShape::Line; }
    void getCellNodes(std::size_t, std::vector<std::size_t>&) const override {}
    bool hasDeadCells() const override { return true; }
  };
  const TwoLines lines;
  const SoRef<SoSeparator> root(new SoSeparator);
  MxLineSceneGraph graph(root, false);
  WarningLog warnings;
  graph.fillIndices(WithDeadCells(), lines.mesh.topology.getBuffer());
  graph.fillIndices(lines.mesh.topology);
  const auto* mainStyle = static_cast<SoSeparator*>(root->getChild(1));
  const auto* shape = static_cast<SoIndexedLineSet*>(mainStyle->getChild(3));
  EXPECT_EQ(shape->coordIndex.getNum(), 9) << "used all the same";
  graph.fillIndices(lines.mesh.topology, nullptr);
  EXPECT_EQ(shape->coordIndex.getNum(), 0);
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MxUnstrMeshSceneGraph::fillIndices: Extracted topology should not have "
                          "dead cells",
                          "MxStyledIndexedShapeGraph::setCoordIndex: Buffer is NULL, no index set "
                          "in SoIndexedShape"));
}

TEST(MdLineMesh, DrawsValuesPatternsAndLight)
{
  LineScene scene;
  const GreyMapping grey;
  scene.mapping = &grey.mapping;
  scene.material->lineColoring = MoMaterial::CONTOURING;
  scene.sets = {&scene.lines.perNode};
  MbImage picture = scene.draw();
  EXPECT_NEAR(redAt(picture, -0.8, 0.5), 0, 8);
  EXPECT_NEAR(redAt(picture, 0, 0.5), 102, 8) << "2 of 5";
  EXPECT_NEAR(redAt(picture, 0.2, 0.5), 128, 8) << "2.5 of 5";
  EXPECT_NEAR(redAt(picture, -0.4, -0.5), 191, 8);
  scene.sets = {&scene.lines.perCell};
  picture = scene.draw();
  EXPECT_EQ(redAt(picture, 0, -0.5), 0);
  EXPECT_EQ(redAt(picture, 0.2, 0.5), 255);

  MdLevelColorMapping levels;
  levels.setLevels({0, 1.5, 3}, {SbColorRGBA(1, 0, 0, 1), SbColorRGBA(0, 0, 1, 1)});
  scene.mapping = &levels;
  scene.sets = {&scene.lines.perNode};
  scene.draw();
  picture = scene.draw();
  EXPECT_EQ(redAt(picture, -0.24, 0.5), 255) << "1.4 is in the first band";
  EXPECT_EQ(redAt(picture, -0.16, 0.5), 0) << "1.6 is in the second";

  scene.material->lineColoring = MoMaterial::COLOR;
  scene.material->lineColor = SbColor(0.5f, 0, 0);
  EXPECT_NEAR(redAt(scene.draw(), 0.2, 0.5), 128, 2);
  scene.traverse();
  scene.builder->setLinePattern(0x00ff);
  picture = scene.draw();
  int drawn = 0;
  for (int x = 20; x < 180; ++x)
    drawn += picture.pixel(x, 50)[0] < 200;
  EXPECT_NEAR(drawn, 80, 9) << "half of the line";
  scene.builder->clear();
  EXPECT_NEAR(redAt(scene.draw(), 0.2, 0.5), 128, 2);

  MeXDataSetI<MbVec3d> tangents("tangents", MiDataBinding::PerCell);
  tangents.values = {{1, 0, 0}, {0, 0, 1}};
  scene.builder->setTangents(&tangents);
  picture = scene.draw();
  EXPECT_GT(redAt(picture, 0.2, 0.5), 120) << "across the light";
  EXPECT_LT(redAt(picture, 0.2, -0.5), 30) << "along the light";
}

TEST(MdLineMesh, FillsAndSendsOnlyWhatChanged)
{
  LineScene scene;
  GreyMapping grey;
  scene.mapping = &grey.mapping;
  scene.material->lineColoring = MoMaterial::CONTOURING;
  scene.sets = {&scene.lines.perNode};
  MoOffscreenCanvas canvas;
  // Fills of indices, geometry, colours; uploads of them.
  const auto changes = [&] {
    const auto fills = scene.fills();
    const MxUploadCounts sent = scene.shape()->getUploadCounts();
    EXPECT_FALSE(canvas.render(scene.root, 64, 64).empty());
    const auto after = scene.fills();
    const MxUploadCounts& now = scene.shape()->getUploadCounts();
    const auto text = [](auto count) { return std::to_string(count); };
    return text(after[0] - fills[0]) + text(after[1] - fills[1]) + text(after[2] - fills[2]) + " " +
           text(now.indices - sent.indices) + text(now.positions - sent.positions) +
           text(now.colors - sent.colors);
  };
  EXPECT_EQ(changes(), "111 111") << "first";
  EXPECT_EQ(changes(), "000 000") << "nothing changed";
  grey.setWhite(10);
  EXPECT_EQ(changes(), "001 001") << "mapping";
  scene.lines.perNode.touch();
  EXPECT_EQ(changes(), "001 001") << "values";
  scene.lines.moveTo(0.1f);
  EXPECT_EQ(changes(), "010 010") << "geometry";
  scene.lines.mesh.topology.touch();
  EXPECT_EQ(changes(), "100 100") << "topology";
  scene.style->displayPoints = TRUE;
  EXPECT_EQ(changes(), "001 101") << "the points are coloured too, and drawn from a list";
  scene.style->displayPoints = FALSE;
  EXPECT_EQ(changes(), "000 000") << "draw style";
  scene.material->transparency = 0.5f;
  EXPECT_EQ(changes(), "001 001") << "material: its opacity goes into the colours";
  scene.material->faceColor = SbColor(1, 0, 0);
  EXPECT_EQ(changes(), "000 000") << "a colour that lines do not show";
  scene.width->lineWidth = 2;
  EXPECT_EQ(changes(), "000 000") << "line width";
  scene.style->displayEdges = FALSE;
  scene.lines.perNode.touch();
  EXPECT_EQ(changes(), "000 000") << "nothing is filled while nothing is shown";
}

TEST(MdLineMesh, GivesPickedLinesTheirCellsAndValues)
{
  LineScene scene;
  const GreyMapping grey;
  scene.mapping = &grey.mapping;
  scene.material->lineColoring = MoMaterial::CONTOURING;
  scene.sets = {&scene.lines.perNode, &scene.lines.perCell, nullptr};
  scene.lines.mesh.geometry.origin = {1000, 0, 0};
  scene.lines.mesh.geometry.touch(false);
  PickDown pick(scene.root, 1000.3f, 0.5f);
  scene.builder->rayPick(&pick.action);
  const auto* line = pick.detail<MoLineDetail>();
  ASSERT_NE(line, nullptr);
  EXPECT_EQ(line->getLineIndex(), 0);
  EXPECT_EQ(line->getExtractedCell(), 0u);
  EXPECT_EQ(line->getSourceCell(), 23u);
  EXPECT_NEAR(line->getPickedPoint().x, 1000.3, 1e-4);
  EXPECT_NEAR(line->getValue(), 2.75, 1e-4);
  EXPECT_NEAR(line->getValue(pick.point->getPoint()), 2.75, 1e-3);
  EXPECT_DOUBLE_EQ(line->getValue(SbVec3f(2000, 0, 0)), 4) << "beyond the end";
  const std::vector<double> values = line->getValues();
  ASSERT_EQ(values.size(), 3u);
  EXPECT_EQ(values[1], 5);
  EXPECT_TRUE(std::isnan(values[2]));
  const auto nodes = line->getSourceNodes();
  ASSERT_EQ(nodes.size(), 4u);
  double sum = 0;
  for (const MoPickedNode& node : nodes) {
    sum += node.weight;
    EXPECT_TRUE(node.node % 10 == 2 || node.node % 10 == 3);
  }
  EXPECT_DOUBLE_EQ(sum, 1);

  // The detail outlives the mesh that it was made from.
  const std::unique_ptr<SoDetail> copy(line->copy());
  MoLineDetail assigned;
  EXPECT_TRUE(std::isnan(assigned.getValue()));
  EXPECT_THAT(assigned.getValues(SbVec3f(0, 0, 0)), IsEmpty());
  assigned = *line;
  scene.lines.mesh.geometry.points().release();
  scene.lines.perNode.values.clear();
  scene.builder->clear();
  EXPECT_NEAR(static_cast<MoLineDetail*>(copy.get())->getValue(), 2.75, 1e-4);
  EXPECT_NEAR(assigned.getValue(), 2.75, 1e-4);
  EXPECT_EQ(assigned.getLineIndex(), 0);

  const TwoLines other;
  const MoLineMeshDetail mesh(&other.mesh, {&other.perNode});
  EXPECT_THAT(mesh.computeValues(SbVec3f(0.4f, -0.5f, 0), 1),
              ElementsAre(testing::DoubleNear(1.25, 1e-6)));
  EXPECT_TRUE(std::isnan(mesh.computeValues(SbVec3f(0, 0, 0), 99).at(0))) << "no such cell";
}

TEST(MdPointMesh, DrawsItsOwnPointsAndNoOthers)
{
  const SoRef<SoSeparator> root(new SoSeparator);
  auto* foreign = new SoCoordinate3;
  foreign->point.set1Value(0, SbVec3f(7, 7, 7));
  root->addChild(foreign);
  MdPointMesh builder(root);
  MeXPointMeshCurvilinear points;
  points.geometry.points().assign(3, MbVec3f{1, 2, 3});
  points.geometry.touch(false);
  const StateProbe probe([&](SoAction* action) { builder.set(action->getState(), points, {}); });
  EXPECT_TRUE(boxOf(root).isEmpty());
  SoCallbackAction().apply(probe.node());
  EXPECT_EQ(boxOf(root), SbBox3f(1, 2, 3, 1, 2, 3));
  builder.clear();
  EXPECT_TRUE(boxOf(root).isEmpty());
}

TEST(MdPointMesh, DrawsValuesRefillsAndPicks)
{
  BuilderScene<MdPointMesh> scene;
  GreyMapping grey;
  scene.mapping = &grey.mapping;
  scene.style->displayPoints = TRUE;
  scene.material->pointColoring = MoMaterial::CONTOURING;
  scene.width->pointSize = 12;
  MeXPointMeshCurvilinear points;
  fillPoints(points, {{-0.5f, 0.2f, 0}, {0, 0.2f, 0}, {0.5f, 0.2f, 0}});
  MeXDataSetI<double> values("values", MiDataBinding::PerNode);
  values.values = {0, 2.5, 5};
  scene.fill = [&](SoState* state) { scene.builder->set(state, points, {&values}); };
  auto* shape = static_cast<TkPointSet*>(
      static_cast<SoSeparator*>(scene.builder->getSeparator()->getChild(1))->getChild(3));
  ASSERT_TRUE(shape->isOfType(SoPointSet::getClassTypeId()));
  const auto counts = [&] {
    const auto fills = scene.builder->getSceneGraph().getFillCounts();
    const MxUploadCounts& sent = shape->getUploadCounts();
    return std::vector<std::size_t>{fills.geometry, fills.colors,
                                    static_cast<std::size_t>(sent.positions),
                                    static_cast<std::size_t>(sent.colors)};
  };
  MoOffscreenCanvas canvas;
  const auto draw = [&] { return canvas.render(scene.root, 200, 200); };
  MbImage picture = draw();
  picture = draw();
  EXPECT_THAT(counts(), ElementsAre(1, 1, 1, 1));
  EXPECT_EQ(redAt(picture, -0.5, 0.2), 0);
  EXPECT_NEAR(redAt(picture, 0, 0.2), 128, 2);
  EXPECT_EQ(redAt(picture, 0.5, 0.2), 255);
  grey.setWhite(10);
  picture = draw();
  EXPECT_THAT(counts(), ElementsAre(1, 2, 1, 2));
  EXPECT_NEAR(redAt(picture, 0.5, 0.2), 128, 2);
  points.geometry.touch(false);
  draw();
  EXPECT_THAT(counts(), ElementsAre(2, 2, 2, 2));

  PickDown pick(scene.root, 0.5f, 0.2f);
  scene.builder->rayPick(&pick.action);
  const auto* detail = pick.detail<SoPointDetail>();
  ASSERT_NE(detail, nullptr) << "points keep the toolkit's detail";
  EXPECT_EQ(detail->getCoordinateIndex(), 2);
}
