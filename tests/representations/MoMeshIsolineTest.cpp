#include <tests/representations/SkinScene.h>

#include <velmo/extraction/extractors/MiIsolineExtract.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoScalarSetIj.h>
#include <velmo/render/details/MoLineDetail.h>
#include <velmo/render/MdLineMeshes.h>
#include <velmo/representations/MoMeshIsoline.h>
#include <velmo/representations/MoMeshLine.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/WarningLog.h>

#include <Inventor/actions/SoSearchAction.h>
#include <Inventor/nodes/SoDrawStyle.h>

#include <gmock/gmock.h>

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const char* const kNoSet = "MoMeshIsoline: Cannot find a compatible scalartset node in the scene "
                           "graph or isoScalarSetId field is invalid.";

/// A sheet of 8 x 2 cells whose values are their i.
class IsolineScene : public RepresentationScene<MoMeshIsoline>
{
public:
  explicit IsolineScene(MeshType kind = SURFACE_MESH_REGULAR)
      : RepresentationScene(), sheet(zoo::sheet(kind, {8, 2, 0})), values(makeValues()),
        flat("i", MiDataBinding::PerNode, values), grid("i", MiDataBinding::PerNode, 9, 3, values)
  {
    mesh->setMesh(sheet.get());
    if (kind == SURFACE_MESH_UNSTRUCTURED)
      set->setScalarSet(&flat);
    else
      set->setScalarSet(&grid);
    const SoRef<MoDrawStyle> style(new MoDrawStyle);
    style->displayEdges = TRUE;
    above->addChild(style);
  }
  ~IsolineScene() { mesh->reset(); }

  void setValues(std::vector<float> wanted)
  {
    node->isovalues.setNum(0);
    node->isovalues.setValues(0, static_cast<int>(wanted.size()), wanted.data());
  }
  std::size_t lineCount() const { return node->getLineMeshes().size(); }
  /// The patterns of the lines as they are drawn.
  std::vector<unsigned short> patterns() const
  {
    std::vector<unsigned short> found;
    for (std::size_t l = 0; l < lineCount(); ++l) {
      SoSearchAction search;
      search.setType(SoDrawStyle::getClassTypeId());
      search.setInterest(SoSearchAction::ALL);
      search.apply(node->getLineMeshes()[l].getSeparator());
      for (int p = 0; p < search.getPaths().getLength(); ++p) {
        auto* style = static_cast<SoDrawStyle*>(search.getPaths()[p]->getTail());
        if (!style->linePattern.isIgnored()) found.push_back(style->linePattern.getValue());
      }
    }
    return found;
  }

  std::unique_ptr<MiMesh> sheet;
  std::vector<double> values;
  MbScalardSetI flat;
  MbScalardSetIj grid;

private:
  static std::vector<double> makeValues()
  {
    std::vector<double> values;
    for (int j = 0; j < 3; ++j)
      for (int i = 0; i < 9; ++i)
        values.push_back(i);
    return values;
  }
};

} // namespace

TEST(MoMeshIsoline, DrawsOneLineSetForEachValueInTheirOrder)
{
  for (const MeshType kind : zoo::kSurfaceKinds) {
    SCOPED_TRACE(meshTypeName(kind));
    IsolineScene scene(kind);
    WarningLog warnings;
    scene.setValues({5.5f, 1.25f, 100});
    scene.traverse(4);
    EXPECT_EQ(scene.counter.count, 1);
    ASSERT_EQ(scene.lineCount(), 3u);
    const auto xOf = [&](std::size_t l) {
      MeshType type;
      const auto* lines = dynamic_cast<const MeXLineMeshUnstructured*>(
          scene.node->getLineMeshes()[l].getExtractedMesh(type));
      return lines && lines->geometry.hasExtent() ? lines->geometry.getMax().x : -1;
    };
    EXPECT_EQ(xOf(0), 5.5);
    EXPECT_EQ(xOf(1), 1.25);
    EXPECT_EQ(xOf(2), -1);
    // A moved value is extracted alone, a dropped one takes its line with it.
    const auto fills = [&](std::size_t l) {
      return scene.node->getLineMeshes()[l].getSceneGraph().getFillCounts().indices;
    };
    EXPECT_EQ(fills(0), 1u);
    scene.setValues({5.5f, 2.5f});
    scene.traverse(2);
    EXPECT_EQ(scene.counter.count, 2);
    ASSERT_EQ(scene.lineCount(), 2u);
    EXPECT_EQ(fills(0), 1u);
    EXPECT_EQ(fills(1), 2u);
    EXPECT_EQ(xOf(1), 2.5);
    EXPECT_THAT(warnings.texts(), IsEmpty());
  }
}

TEST(MoMeshIsoline, MarksEveryPeriodicLineAsMajor)
{
  constexpr unsigned short kMajor = 0xFFFF, kMinor = 0x0F0F;
  IsolineScene scene;
  scene.setValues({0.5f, 1.5f, 2.5f, 3.5f, 4.5f});
  scene.traverse();
  EXPECT_THAT(scene.patterns(), ElementsAre(kMajor, kMinor, kMinor, kMajor, kMinor));
  scene.node->firstMajor = 4;
  scene.traverse();
  EXPECT_THAT(scene.patterns(), ElementsAre(kMinor, kMajor, kMinor, kMinor, kMajor));
  scene.node->majorPeriod = 2;
  scene.node->firstMajor = 7;
  scene.traverse();
  EXPECT_THAT(scene.patterns(), ElementsAre(kMinor, kMajor, kMinor, kMajor, kMinor));
  scene.node->majorPeriod = 1;
  scene.traverse();
  EXPECT_THAT(scene.patterns(), Each(kMajor));
  scene.node->majorPeriod = 65535;
  scene.node->firstMajor = 65535;
  scene.node->minorLinePattern = 0x1111;
  scene.traverse();
  // Lines 0 and 65535.
  EXPECT_THAT(scene.patterns(), ElementsAre(kMajor, 0x1111, 0x1111, 0x1111, 0x1111));
  scene.node->majorPeriod = 0;
  scene.node->majorLinePattern = 0x3333;
  scene.traverse();
  EXPECT_THAT(scene.patterns(), Each(0x3333));
  EXPECT_EQ(scene.counter.count, 1) << "patterns need no extraction";
}

TEST(MoMeshIsoline, HasNoLinesAndNoWarningWithoutValues)
{
  IsolineScene scene;
  WarningLog warnings;
  EXPECT_EQ(scene.node->isovalues.getNum(), 0);
  scene.traverse(2);
  scene.set->setScalarSet(nullptr);
  scene.traverse(2);
  EXPECT_EQ(scene.lineCount(), 0u);
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(MoMeshIsoline, FindsItsSetAsIsosurfacesDo)
{
  IsolineScene scene;
  scene.setValues({2.5f});
  WarningLog warnings;
  const auto check = [&](std::size_t lines, bool warns, const char* what) {
    SCOPED_TRACE(what);
    warnings.clear();
    scene.traverse();
    EXPECT_EQ(scene.lineCount(), lines);
    if (warns)
      EXPECT_THAT(warnings.texts(), ElementsAre(kNoSet));
    else
      EXPECT_THAT(warnings.texts(), IsEmpty());
  };
  check(1, false, "the general set");
  scene.node->isoScalarSetId = 3;
  check(0, false, "an id beyond sets that are there");
  scene.node->isoScalarSetId = 0;
  scene.set->setScalarSet(&scene.flat);
  // Colours do not take the flat set on a grid.
  scene.node->colorScalarSetId = 9;
  check(1, false, "a flat set per node");
  const MbScalardSetIj perCell("c", MiDataBinding::PerCell, 8, 2, counted(16));
  const MbScalardSetIj wrong("w", MiDataBinding::PerNode, 4, 3, counted(12));
  const MbScalardSetIjk cube("k", MiDataBinding::PerNode, {3, 2, 2}, counted(12));
  for (const auto& [set, what] :
       {std::pair<const MiTypedDataSet<double>*, const char*>{&perCell, "a set per cell"},
        {&wrong, "a set of another size"},
        {&cube, "a set of another numbering"}})
  {
    scene.set->setScalarSet(set);
    check(0, true, what);
  }

  scene.root->removeChild(scene.set);
  check(0, true, "no set at all");
  const SoRef<MoScalarSetI> typed(new MoScalarSetI);
  typed->setScalarSet(&scene.flat);
  scene.above->addChild(typed);
  check(1, false, "a typed flat set");
  const SoRef<MoScalarSetIj> typedGrid(new MoScalarSetIj);
  typedGrid->setScalarSet(&scene.grid);
  scene.above->replaceChild(typed, typedGrid);
  check(1, false, "a typed set of two indices");
}

TEST(MoMeshIsoline, FollowsFilterAndColoursByAnotherSet)
{
  IsolineScene scene;
  const std::vector<double> cells(16, 4.0);
  const MbScalardSetIj perCell("c", MiDataBinding::PerCell, 8, 2, cells);
  const SoRef<MoScalarSet> second(new MoScalarSet);
  second->setScalarSet(&perCell);
  scene.root->insertChild(second, 2);
  scene.node->colorScalarSetId = 1;
  const SoRef<MoMaterial> material(new MoMaterial);
  material->lineColoring = MoMaterial::CONTOURING;
  scene.above->addChild(material);
  scene.setValues({2.5f, 4.5f});
  WarningLog warnings;
  scene.traverse(2);
  EXPECT_THAT(warnings.texts(), IsEmpty());
  EXPECT_EQ(scene.node->getLineMeshes()[0].getSceneGraph().getFillCounts().colors, 1u);

  MbFunctionFilterIj filter([](std::size_t i, std::size_t) { return i != 4; });
  const SoRef<MoCellFilter> filterNode(new MoCellFilter);
  filterNode->setCellFilter(&filter);
  scene.above->addChild(filterNode);
  scene.traverse();
  EXPECT_EQ(scene.node->getIjExtractor()->getLines()[0].topology.getCellCount(), 1u);
  EXPECT_EQ(scene.node->getIjExtractor()->getLines()[1].topology.getCellCount(), 0u);
}

TEST(MoMeshIsoline, LiesOnWhatAnotherRepresentationExtracted)
{
  const auto block = zoo::block(VOLUME_MESH_REGULAR, {4, 2, 2});
  std::vector<double> values;
  for (int n = 0; n < 45; ++n)
    values.push_back(n % 5);
  const MbScalardSetIjk set("i", MiDataBinding::PerNode, {5, 3, 3}, values);
  RepresentationScene<MoMeshSkin> scene;
  scene.mesh->setMesh(block.get());
  scene.set->setScalarSet(&set);
  const SoRef<MoMesh> next(new MoMesh);
  next->connectFrom(scene.node);
  const SoRef<MoMeshIsoline> isoline(new MoMeshIsoline);
  isoline->isovalues = 2.5f;
  const SoRef<MoMesh> last(new MoMesh);
  last->connectFrom(isoline);
  const SoRef<MoMeshLine> again(new MoMeshLine);
  // Sets of the state are those of the block, two representations away.
  const SoRef<MoMaterial> plain(new MoMaterial);
  plain->faceColoring = MoMaterial::COLOR;
  plain->lineColoring = MoMaterial::COLOR;
  plain->pointColoring = MoMaterial::COLOR;
  for (SoNode* child : std::initializer_list<SoNode*>{next, isoline, plain, last, again})
    scene.root->addChild(child);
  WarningLog warnings;
  scene.traverse(2);
  EXPECT_THAT(warnings.texts(), IsEmpty());
  MeshType type;
  const auto* lines = dynamic_cast<const MeXLineMeshUnstructured*>(isoline->getExtractedMesh(type));
  ASSERT_NE(lines, nullptr);
  EXPECT_EQ(type, LINE_MESH_UNSTRUCTURED);
  // Once around the block.
  ASSERT_EQ(lines->topology.getCellCount(), 1u);
  EXPECT_EQ(lines->topology.getCell(0).front(), lines->topology.getCell(0).back());
  EXPECT_EQ(lines->topology.getCellSize(0), 9u);
  // And drawn once more as a line mesh.
  lines = dynamic_cast<const MeXLineMeshUnstructured*>(again->getExtractedMesh(type));
  ASSERT_NE(lines, nullptr);
  EXPECT_EQ(lines->topology.getCellSize(0), 9u);
}

TEST(MoMeshIsoline, NamesThePickedCellOfItsSurface)
{
  IsolineScene scene;
  scene.setValues({2.5f, 5.5f});
  scene.traverse();
  for (const auto& [y, cell] : {std::pair{0.75f, 13u}, {0.25f, 5u}}) {
    const PickDown pick(scene.root, 5.5f, y);
    const auto* detail = pick.detail<MoLineDetail>();
    ASSERT_NE(detail, nullptr);
    EXPECT_EQ(detail->getSourceCell(), cell);
  }
}
