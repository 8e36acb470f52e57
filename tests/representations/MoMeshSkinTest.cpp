#include <tests/representations/SkinScene.h>

#include <velmo/colormapping/MoCombineColorMapping.h>
#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/details/MoMeshDetail.h>
#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>
#include <velmo/representation/MxAttributesManager.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/actions/SoSearchAction.h>
#include <Inventor/actions/SoWriteAction.h>
#include <Inventor/nodes/SoShape.h>
#include <Inventor/sensors/SoNodeSensor.h>
#include <Inventor/SoDB.h>
#include <Inventor/SoInput.h>
#include <Inventor/SoOutput.h>
#include <Inventor/SoPickedPoint.h>
#include <Inventor/SoPrimitiveVertex.h>

#include <gmock/gmock.h>

#include <new>
#include <numeric>
#include <stdexcept>

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::vector<double> counted(std::size_t count)
{
  std::vector<double> values(count);
  std::iota(values.begin(), values.end(), 0.0);
  return values;
}

/// Four boxes in a row: 20 nodes, 18 faces.
class Row
{
public:
  explicit Row(MeshType kind = VOLUME_MESH_UNSTRUCTURED) : mesh(zoo::block(kind, {4, 1, 1})) {}
  std::unique_ptr<MiMesh> mesh;
  MbScalardSetI perCell{"cells", MiDataBinding::PerCell, counted(4)};
  MbScalardSetI perNode{"nodes", MiDataBinding::PerNode, counted(20)};
};

/// A mesh whose geometry fails when it is asked.
template <class Failure>
class FailingMesh final : public MiVolumeMeshUnstructured, public MiGeometryI
{
public:
  const MiTopologyI& getTopology() const override
  {
    return zoo::as<VOLUME_MESH_UNSTRUCTURED>(*m_good).getTopology();
  }
  const MiGeometryI& getGeometry() const override { return *this; }
  std::uint64_t getTimeStamp() const override { return m_stamp; }
  std::size_t getNodeCount() const override { return 20; }
  MbVec3d getNode(std::size_t node) const override
  {
    if (failing) Failure::fail();
    return zoo::as<VOLUME_MESH_UNSTRUCTURED>(*m_good).getGeometry().getNode(node);
  }
  bool failing = true;

private:
  std::unique_ptr<MiMesh> m_good = zoo::block(VOLUME_MESH_UNSTRUCTURED, {4, 1, 1});
  std::uint64_t m_stamp = MxTimeStamp::take();
};

struct OutOfMemory
{
  static void fail() { throw std::bad_alloc(); }
};
struct Broken
{
  static void fail() { throw std::runtime_error("100% broken %s"); }
};
struct Strange
{
  static void fail() { throw 42; }
};

/// Splits every edge in two; only stamps matter here, so cells keep their own sub-cells.
class CountingTessellator final : public MiTessellator
{
public:
  std::uint64_t getTimeStamp() const override { return stamp; }
  bool tessellate(MiCellShape, std::span<const MbVec3d>, MiTessellation&) const override
  {
    return false;
  }
  std::uint64_t stamp = MxTimeStamp::take();
};

/// Says that its mesh is of another kind than it is.
class LyingMesh final : public MoMesh
{
public:
  const MiMesh* getMesh(MeshType& type) override
  {
    const MiMesh* mesh = MoMesh::getMesh(type);
    type = VOLUME_MESH_REGULAR;
    return mesh;
  }
};

class SkinKinds : public testing::TestWithParam<MeshType>
{};

} // namespace

TEST(MoMeshSkin, ExtractsAndFillsOnceInTenTraversals)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.set->setScalarSet(&row.perNode);
  scene.traverse(10);
  SoGetBoundingBoxAction box(SbViewportRegion(100, 100));
  box.apply(scene.root);
  EXPECT_EQ(scene.faceCount(), 18);
  EXPECT_EQ(scene.counter.count, 1);
  EXPECT_EQ(scene.fills(), "1 1 1");
  EXPECT_EQ(box.getBoundingBox().getMax(), SbVec3f(4, 0.5f, 0.25f));

  scene.mapping->colors.set1Value(1, SbVec4f(1, 0, 0, 1));
  scene.traverse(3);
  EXPECT_EQ(scene.counter.count, 1) << "colours need no extraction";
  EXPECT_EQ(scene.fills(), "1 1 2");
  scene.set->setScalarSet(&row.perCell);
  scene.traverse(3);
  EXPECT_EQ(scene.counter.count, 1);
  EXPECT_EQ(scene.fills(), "1 1 3");
}

TEST(MoMeshSkin, LooksForNoValuesWhereNothingIsColouredByThem)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.set->setScalarSet(&row.perNode);
  const SoRef<MoMaterial> material(new MoMaterial);
  material->faceColoring = MoMaterial::COLOR;
  scene.above->addChild(material);
  scene.traverse();
  SoState* state = nullptr;
  std::vector<const MiTypedDataSet<double>*> sets;
  const StateProbe probe([&](SoAction* action) {
    state = action->getState();
    sets = scene.skin->getColorSetFromState(state, VOLUME_MESH_UNSTRUCTURED);
  });
  scene.root->addChild(probe.node());
  scene.traverse();
  EXPECT_THAT(sets, IsEmpty());
  material->faceColoring = MoMaterial::CONTOURING;
  scene.traverse();
  EXPECT_THAT(sets, ElementsAre(&row.perNode));

  WarningLog warnings;
  scene.skin->colorScalarSetId = 7;
  scene.traverse();
  EXPECT_THAT(sets, ElementsAre(nullptr));
  EXPECT_THAT(warnings.texts(), IsEmpty()) << "an id without a set means no values";
  EXPECT_EQ(scene.faceCount(), 18);
}

TEST(MoMeshSkin, FindsTypedSetsOnlyWithoutGeneralOnes)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  const SoRef<MoScalarSetI> typed(new MoScalarSetI);
  typed->setScalarSet(&row.perNode);
  scene.above->addChild(typed);
  const MiTypedDataSet<double>* found = nullptr;
  const StateProbe probe([&](SoAction* action) {
    const auto sets =
        scene.skin->getColorSetFromState(action->getState(), VOLUME_MESH_UNSTRUCTURED);
    found = sets.empty() ? nullptr : sets.front();
  });
  scene.root->addChild(probe.node());
  scene.traverse();
  EXPECT_EQ(found, nullptr) << "the general node, though empty, hides the typed one";
  scene.root->removeChild(scene.set);
  scene.traverse();
  EXPECT_EQ(found, &row.perNode);
}

TEST(MoMeshSkin, GathersTheSetsThatSuitMeshAndBindingForACombinedMapping)
{
  const Row row(VOLUME_MESH_HEXAHEDRON_IJK);
  const MbScalardSetIjk cells("cells", MiDataBinding::PerCell, {4, 1, 1}, counted(4));
  const MbScalardSetIjk gridNodes("grid nodes", MiDataBinding::PerNode, {5, 2, 2}, counted(20));
  class Sum final : public MiCombineColorMapping
  {
  public:
    SbColorRGBA getColor(std::vector<double>) const override { return {1, 1, 1, 1}; }
    void getRange(double&, double&) const override {}
    std::uint64_t getTimeStamp() const override { return 1; }
  } sum;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  const SoRef<MoCombineColorMapping> combine(new MoCombineColorMapping);
  combine->setColorMapping(&sum);
  const SoRef<MoDataBinding> binding(new MoDataBinding);
  scene.above->addChild(combine);
  scene.above->addChild(binding);
  for (const MiTypedDataSet<double>* set : std::initializer_list<const MiTypedDataSet<double>*>{
           &cells, &gridNodes, &row.perNode, &row.perCell})
  {
    auto* node = new MoScalarSet;
    node->setScalarSet(set);
    scene.above->addChild(node);
  }
  const auto gathered = [&] {
    std::vector<const MiTypedDataSet<double>*> sets;
    const StateProbe probe([&](SoAction* action) {
      sets = scene.skin->getColorSetFromState(action->getState(), VOLUME_MESH_HEXAHEDRON_IJK);
    });
    scene.root->addChild(probe.node());
    scene.traverse();
    scene.root->removeChild(probe.node());
    return sets;
  };
  binding->dataBinding = MoDataBinding::AUTO;
  EXPECT_THAT(gathered(), ElementsAre(&cells, &row.perNode))
      << "cells of this kind are numbered by I, J and K, its nodes by one index";
  binding->dataBinding = MoDataBinding::PER_CELL;
  EXPECT_THAT(gathered(), ElementsAre(&cells));
  binding->dataBinding = MoDataBinding::PER_NODE;
  EXPECT_THAT(gathered(), ElementsAre(&row.perNode));
}

TEST(MoMeshSkin, WarnsOfASetThatDoesNotFitTheMesh)
{
  const Row row;
  const MbScalardSetIjk grid("grid", MiDataBinding::PerNode, {5, 2, 2}, counted(20));
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.set->setScalarSet(&grid);
  WarningLog warnings;
  scene.traverse();
  EXPECT_THAT(warnings.texts(),
              ElementsAre("MiSkinExtractUnstructured::extractScalarSet(): Cannot extract data set "
                          "with the given binding on this type of mesh."));
  EXPECT_EQ(scene.faceCount(), 18);
  EXPECT_EQ(scene.fills(), "1 1 1");
}

TEST(MoMeshSkin, RefusesOtherKindsAtEveryAttemptAndDrawsNothing)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.traverse();
  ASSERT_TRUE(scene.drawsAnything());
  for (const MeshType kind :
       {SURFACE_MESH_UNSTRUCTURED, SURFACE_MESH_REGULAR, LINE_MESH_CURVILINEAR}) {
    const auto other = zoo::small(kind);
    scene.mesh->setMesh(other.get());
    WarningLog warnings;
    scene.traverse(3);
    EXPECT_THAT(warnings.texts(),
                AllOf(SizeIs(3), Each("MoMeshSkin::doExtract: Cannot compute skins on this type of "
                                      "mesh.")));
    EXPECT_FALSE(scene.drawsAnything());
    EXPECT_EQ(scene.skin->getUnstructuredExtractor(), nullptr);
    scene.mesh->setMesh(nullptr);
  }
  scene.mesh->setMesh(row.mesh.get());
  scene.traverse();
  EXPECT_TRUE(scene.drawsAnything());
}

TEST(MoMeshSkin, WarnsOfAMeshThatIsNotOfItsDeclaredKind)
{
  const Row row;
  SkinScene scene;
  const SoRef<LyingMesh> liar(new LyingMesh);
  liar->setMesh(row.mesh.get());
  scene.above->addChild(liar);
  WarningLog warnings;
  scene.traverse(2);
  EXPECT_THAT(warnings.texts(),
              AllOf(SizeIs(2), Each("MoMeshSkin::doExtract: Cannot compute representation on this "
                                    "type of mesh")));
  EXPECT_FALSE(scene.drawsAnything());
}

TEST_P(SkinKinds, UsesTheExtractorOfTheKind)
{
  const MeshType kind = GetParam();
  const Row row(kind);
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.traverse();
  EXPECT_EQ(scene.faceCount(), 18);
  const bool unstructured = kind == VOLUME_MESH_UNSTRUCTURED;
  const bool hexahedron = kind == VOLUME_MESH_HEXAHEDRON_IJK;
  EXPECT_EQ(scene.skin->getUnstructuredExtractor() != nullptr, unstructured);
  EXPECT_EQ(scene.skin->getHexahedronIjkExtractor() != nullptr, hexahedron);
  EXPECT_EQ(scene.skin->getUnstructuredIjkExtractor(), scene.skin->getHexahedronIjkExtractor());
  EXPECT_EQ(scene.skin->getIjkExtractor() != nullptr, !unstructured && !hexahedron);
}

TEST_P(SkinKinds, ExtractsTheCellsInRange)
{
  const MeshType kind = GetParam();
  const bool flat = kind == VOLUME_MESH_UNSTRUCTURED;
  const Row row(kind);
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  const auto faces = [&](std::vector<std::uint32_t> lower, std::vector<std::uint32_t> upper) {
    const auto set = [](SoMFUInt32& field, const std::vector<std::uint32_t>& values) {
      field.setNum(0);
      if (!values.empty()) field.setValues(0, static_cast<int>(values.size()), values.data());
    };
    set(scene.skin->minCellRanges, lower);
    set(scene.skin->maxCellRanges, upper);
    scene.traverse();
    return scene.faceCount();
  };
  const std::uint32_t largest = 0xffffffffu;
  const auto at = [&](std::uint32_t i) {
    return flat ? std::vector<std::uint32_t>{i} : std::vector<std::uint32_t>{i, 0, 0};
  };
  EXPECT_EQ(faces(at(1), at(2)), 10) << "both bounds are inclusive";
  EXPECT_EQ(faces({}, at(2)), 14);
  EXPECT_EQ(faces(at(1), {}), 14);
  EXPECT_EQ(faces(flat ? std::vector<std::uint32_t>{1, 0, 0} : std::vector<std::uint32_t>{1},
                  flat ? std::vector<std::uint32_t>{2, 0, 0} : std::vector<std::uint32_t>{2}),
            18)
      << "another count of values means no bound";
  EXPECT_EQ(faces({}, flat ? std::vector<std::uint32_t>{largest}
                           : std::vector<std::uint32_t>{largest, 0, 0}),
            0)
      << "wraps to an upper bound of 0";
  EXPECT_EQ(faces({}, {}), 18);
  EXPECT_EQ(scene.counter.count, 6) << "one extraction each, none for the ranges alike";
}

INSTANTIATE_TEST_SUITE_P(Volumes, SkinKinds, testing::ValuesIn(zoo::kVolumeKinds),
                         [](const auto& info) { return std::string(meshTypeName(info.param)); });

TEST(MoMeshSkin, TakesTheCellFilterOfItsNumbering)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  const SoRef<MoCellFilter> node(new MoCellFilter);
  scene.above->addChild(node);
  MbCellFilter<1, MbIndexRangeRule> flat(1, 3);
  const MbCellFilter<3, MbIndexRangeRule> grid(MbIndex3{0, 0, 0}, MbIndex3{1, 1, 1});
  node->setCellFilter(&flat);
  scene.traverse(2);
  EXPECT_EQ(scene.faceCount(), 10);
  flat.setRange({0, 0, 0}, {3, 1, 1});
  scene.traverse(2);
  EXPECT_EQ(scene.faceCount(), 14) << "the filter's stamp tells of its change";
  node->setCellFilter(&grid);
  scene.traverse(2);
  EXPECT_EQ(scene.faceCount(), 18) << "a filter of another numbering counts as none";
  EXPECT_EQ(scene.counter.count, 3);
}

TEST(MoMeshSkin, FollowsTheMeshNode)
{
  const Row row, grid(VOLUME_MESH_REGULAR);
  SkinScene scene;
  scene.traverse(2);
  EXPECT_FALSE(scene.drawsAnything()) << "no mesh";
  SoGetBoundingBoxAction box(SbViewportRegion(100, 100));
  box.apply(scene.root);
  EXPECT_TRUE(box.getBoundingBox().isEmpty());
  EXPECT_EQ(scene.counter.count, 0);

  scene.mesh->setMesh(row.mesh.get());
  scene.traverse(2);
  const auto first = scene.skin->getTimeStamp();
  scene.mesh->setMesh(row.mesh.get());
  scene.traverse(2);
  EXPECT_EQ(scene.counter.count, 2) << "the same mesh, announced as changed";
  EXPECT_NE(scene.skin->getTimeStamp(), first);
  scene.mesh->touch();
  scene.traverse(2);
  EXPECT_EQ(scene.counter.count, 2) << "only the stamp counts";
  scene.mesh->setMesh(grid.mesh.get());
  scene.traverse(2);
  EXPECT_NE(scene.skin->getIjkExtractor(), nullptr);
  EXPECT_EQ(scene.counter.lastName, "MiSkinExtractIjk") << "a new extractor is listened to as well";
  EXPECT_EQ(scene.faceCount(), 18);
  scene.mesh->reset();
  scene.traverse(2);
  EXPECT_FALSE(scene.drawsAnything());
  EXPECT_EQ(scene.surface(), nullptr);
  EXPECT_EQ(scene.counter.count, 3);
}

TEST(MoMeshSkin, ClearsAndExtractsAgainWhenParallelChanges)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.traverse();
  const auto before = scene.skin->getTimeStamp();
  scene.skin->parallel = FALSE;
  EXPECT_EQ(scene.skin->getTimeStamp(), MxTimeStamp::m_timeStamp - 1) << "one clear, at once";
  EXPECT_NE(scene.skin->getTimeStamp(), before);
  EXPECT_FALSE(scene.drawsAnything());
  scene.traverse(3);
  EXPECT_EQ(scene.counter.count, 2);
  EXPECT_EQ(scene.faceCount(), 18);
}

TEST(MoMeshSkin, RemembersFieldChangesUntilItIsTraversed)
{
  SkinScene scene;
  EXPECT_TRUE(scene.skin->isModified());
  scene.traverse();
  EXPECT_FALSE(scene.skin->isModified());
  scene.skin->maxCellRanges = 3;
  EXPECT_TRUE(scene.skin->isModified());
  scene.traverse();
  scene.skin->getSurfaceMesh().getSeparator()->touch();
  EXPECT_FALSE(scene.skin->isModified()) << "hidden nodes are no fields";
}

template <class Failure>
void expectOneFailure(const char* text)
{
  FailingMesh<Failure> failing;
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.traverse();
  // Another skin, behind the failing one, is not touched.
  const SoRef<MoMesh> goodMesh(new MoMesh);
  goodMesh->setMesh(row.mesh.get());
  const SoRef<MoMeshSkin> good(new MoMeshSkin);
  scene.root->addChild(goodMesh);
  scene.root->addChild(good);

  scene.mesh->setMesh(&failing);
  WarningLog log;
  scene.traverse(2);
  EXPECT_THAT(log.texts(), AllOf(SizeIs(2), Each(HasSubstr(text)))) << "once a traversal";
  EXPECT_FALSE(scene.drawsAnything());
  MeshType type;
  EXPECT_NE(good->getExtractedMesh(type), nullptr);

  failing.failing = false;
  scene.traverse();
  EXPECT_EQ(scene.faceCount(), 18) << "later traversals try again";
  EXPECT_TRUE(scene.drawsAnything());
  EXPECT_THAT(log.texts(), SizeIs(2));
}

TEST(MoMeshSkin, PostsFailuresAndEmptiesItselfAlone)
{
  expectOneFailure<OutOfMemory>("std::bad_alloc");
  expectOneFailure<Broken>("100% broken %s");
  expectOneFailure<Strange>("unknown exception");
}

TEST(MoMeshSkin, StopsSilentlyWhenItsCallbackSaysSo)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.counter.stop = true;
  WarningLog warnings;
  scene.traverse();
  EXPECT_FALSE(scene.drawsAnything());
  EXPECT_THAT(warnings.texts(), IsEmpty());
  scene.counter.stop = false;
  scene.traverse();
  EXPECT_EQ(scene.faceCount(), 18);
}

TEST(MoMeshSkin, ReportsBrokenCellsOnceAMesh)
{
  const Row row;
  const auto& mesh = zoo::as<VOLUME_MESH_UNSTRUCTURED>(*row.mesh);
  // Node 19, the last corner of the last cell, is nowhere.
  class Torn final : public MiVolumeMeshUnstructured, public MiGeometryI
  {
  public:
    explicit Torn(const MiVolumeMeshUnstructured& whole) : m_whole(whole) {}
    const MiTopologyI& getTopology() const override { return m_whole.getTopology(); }
    const MiGeometryI& getGeometry() const override { return *this; }
    std::uint64_t getTimeStamp() const override { return 77; }
    std::size_t getNodeCount() const override { return 20; }
    MbVec3d getNode(std::size_t node) const override
    {
      MbVec3d p = m_whole.getGeometry().getNode(node);
      if (node == 19) p.x = std::nan("");
      return p;
    }

  private:
    const MiVolumeMeshUnstructured& m_whole;
  } torn(mesh);
  SkinScene scene;
  scene.mesh->setMesh(&torn);
  WarningLog warnings;
  scene.traverse(3);
  EXPECT_EQ(scene.faceCount(), 14);
  EXPECT_THAT(warnings.texts(), ElementsAre(HasSubstr("MoMeshSkin::doExtract: ")));
}

TEST(MoMeshSkin, ExtractsAgainForAnotherTessellatorOrStamp)
{
  const auto mesh = zoo::blockOf(MiCellShape::QuadraticHexahedron, {2, 1, 1});
  SkinScene scene;
  scene.mesh->setMesh(mesh.get());
  const SoRef<MoTessellator> node(new MoTessellator);
  scene.above->addChild(node);
  scene.traverse(2);
  EXPECT_EQ(scene.counter.count, 1);
  EXPECT_FALSE(scene.skin->isUsingTessellator());

  CountingTessellator tessellator;
  node->setTessellator(&tessellator);
  scene.traverse(2);
  EXPECT_EQ(scene.counter.count, 2);
  EXPECT_TRUE(scene.skin->isUsingTessellator());
  tessellator.stamp = MxTimeStamp::take();
  scene.traverse(2);
  EXPECT_EQ(scene.counter.count, 3) << "the tessellator's own stamp";
  node->setTessellator(&tessellator);
  scene.traverse(2);
  EXPECT_EQ(scene.counter.count, 4) << "the node's stamp";
  node->setTessellator(nullptr);
  scene.traverse(2);
  EXPECT_EQ(scene.counter.count, 5);
  EXPECT_FALSE(scene.skin->isUsingTessellator());
}

TEST(MoMeshSkin, DrawsSeparateEdgesAndPointsWhileATessellatorIsInUse)
{
  const auto mesh = zoo::blockOf(MiCellShape::QuadraticHexahedron, {2, 1, 1});
  SkinScene scene;
  scene.mesh->setMesh(mesh.get());
  const SoRef<MoDrawStyle> style(new MoDrawStyle);
  style->displayEdges = style->displayPoints = TRUE;
  scene.above->addChild(style);
  const SoRef<MoTessellator> node(new MoTessellator);
  scene.above->addChild(node);
  const auto drawnBy = [](const MdMesh& builder) {
    MeshType type;
    return builder.getExtractedMesh(type) != nullptr;
  };
  scene.traverse();
  EXPECT_FALSE(drawnBy(scene.skin->getLineMesh()));
  EXPECT_FALSE(drawnBy(scene.skin->getPointMesh()));
  EXPECT_FALSE(scene.skin->getSurfaceMesh().getSceneGraph().isIgnoringExtraStyle());

  CountingTessellator tessellator;
  node->setTessellator(&tessellator);
  scene.traverse();
  EXPECT_TRUE(drawnBy(scene.skin->getLineMesh()));
  EXPECT_TRUE(drawnBy(scene.skin->getPointMesh()));
  EXPECT_TRUE(scene.skin->getSurfaceMesh().getSceneGraph().isIgnoringExtraStyle());

  style->displayEdges = style->displayPoints = FALSE;
  scene.traverse();
  EXPECT_FALSE(drawnBy(scene.skin->getLineMesh()));
  EXPECT_FALSE(drawnBy(scene.skin->getPointMesh()));
}

TEST(MoMeshSkin, PassesItsResultAndMappedSetsOn)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.set->setScalarSet(&row.perNode);
  scene.skin->maxCellRanges = 1;
  const SoRef<MoMesh> next(new MoMesh);
  next->connectFrom(scene.skin);
  scene.root->addChild(next);
  MeshType type = UNDEFINED_MESH;
  const MiMesh* seen = nullptr;
  const MiDataSetI<double>* mapped = nullptr;
  const MiDataSetI<double>* typed = nullptr;
  const StateProbe probe([&](SoAction* action) {
    MxAttributesManager attributes;
    bool changed;
    seen = attributes.getMesh(action->getState(), type, changed);
    mapped =
        dynamic_cast<const MiDataSetI<double>*>(attributes.getScalarSet(action->getState(), 0));
    typed = attributes.getDataSet<MiDataSetI<double>>(action->getState(), 0);
    EXPECT_EQ(attributes.getDataSet<MiDataSetIj<double>>(action->getState(), 0), nullptr);
  });
  scene.root->addChild(probe.node());
  scene.traverse();
  EXPECT_EQ(type, SURFACE_MESH_UNSTRUCTURED);
  ASSERT_EQ(seen, scene.surface());
  ASSERT_NE(mapped, nullptr);
  EXPECT_EQ(mapped->getSize(), scene.surface()->getGeometry().getNodeCount());
  EXPECT_EQ(mapped, typed);
  for (std::size_t node = 0; node < mapped->getSize(); ++node) {
    const MbVec3d p = scene.surface()->getGeometry().getNode(node);
    EXPECT_EQ(mapped->getValue(node), p.x + 5 * (p.y * 2) + 10 * (p.z * 4));
  }
  scene.skin->clear();
  const SoRef<SoSeparator> later(new SoSeparator);
  later->addChild(next);
  later->addChild(probe.node());
  mapped = nullptr;
  SoCallbackAction().apply(later);
  EXPECT_EQ(seen, nullptr);
  EXPECT_EQ(type, UNDEFINED_MESH);
}

TEST(MoMeshSkin, TellsNobodyAboveWhatItBuilds)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.set->setScalarSet(&row.perNode);
  int heard = 0;
  SoNodeSensor sensor([](void* count, SoSensor*) { ++*static_cast<int*>(count); }, &heard);
  sensor.setPriority(0);
  sensor.attach(scene.root);
  scene.traverse(2);
  EXPECT_EQ(heard, 0);
  EXPECT_TRUE(scene.drawsAnything());
  scene.mesh->reset();
  const int afterReset = heard;
  scene.traverse(2);
  EXPECT_EQ(heard, afterReset) << "emptying is silent too";
  scene.skin->maxCellRanges = 1;
  EXPECT_GT(heard, afterReset) << "the node itself is heard";
}

TEST(MoMeshSkin, HidesItsNodesFromSearchesAndFiles)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.skin->maxCellRanges = 2;
  scene.traverse();
  SoSearchAction search;
  search.setSearchingAll(TRUE);
  search.setName("SurfaceMesh_Display");
  search.apply(scene.root);
  EXPECT_EQ(search.getPath(), nullptr);

  SoOutput out;
  std::vector<char> buffer(1 << 16);
  out.setBuffer(buffer.data(), buffer.size(), [](void*, std::size_t) -> void* { return nullptr; });
  SoWriteAction(&out).apply(scene.skin);
  const std::string text(buffer.data());
  EXPECT_THAT(text, HasSubstr("maxCellRanges 0x2"));
  EXPECT_THAT(text, testing::Not(HasSubstr("SurfaceMesh_Display")));

  SoInput in;
  in.setBuffer(text.data(), text.size());
  const SoRef<SoSeparator> read(SoDB::readAll(&in));
  ASSERT_NE(read.get(), nullptr);
  ASSERT_EQ(read->getNumChildren(), 1);
  ASSERT_TRUE(read->getChild(0)->isOfType(MoMeshSkin::getClassTypeId()));
  EXPECT_EQ(static_cast<MoMeshSkin*>(read->getChild(0))->maxCellRanges[0], 2u);
}

TEST(MoMeshSkin, CopiesBuildTheirOwnNodes)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.skin->maxCellRanges = 1;
  scene.traverse();
  const SoRef<MoMeshSkin> copy(static_cast<MoMeshSkin*>(scene.skin->copy()));
  EXPECT_EQ(copy->maxCellRanges[0], 1u);
  EXPECT_NE((*copy->getChildren())[0], (*scene.skin->getChildren())[0]);
  MeshType type;
  EXPECT_EQ(copy->getExtractedMesh(type), nullptr);
  scene.root->addChild(copy);
  scene.traverse();
  ASSERT_NE(copy->getExtractedMesh(type), nullptr);
  EXPECT_NE(copy->getExtractedMesh(type), scene.surface());
}

TEST(MoMeshSkin, ShowsItsHiddenRootInOrder)
{
  const SoRef<MoMeshSkin> skin(new MoMeshSkin);
  EXPECT_EQ(skin->getChildren()->getLength(), 1);
  const auto* root = static_cast<SoSeparator*>((*skin->getChildren())[0]);
  ASSERT_EQ(root->getNumChildren(), 5);
  EXPECT_EQ(root->getChild(0), skin->getSurfaceMesh().getSeparator());
  EXPECT_STREQ(root->getChild(1)->getName().getString(), "Fading_Shader");
  EXPECT_STREQ(root->getChild(2)->getTypeId().getName().getString(), "PickStyle");
  EXPECT_EQ(root->getChild(3), skin->getLineMesh().getSeparator());
  EXPECT_EQ(root->getChild(4), skin->getPointMesh().getSeparator());
  EXPECT_FALSE(skin->affectsState());
  EXPECT_EQ(skin->minCellRanges.getNum(), 0);
  EXPECT_TRUE(skin->maxCellRanges.isDefault());
}

TEST(MoMeshSkin, NamesThePickedCell)
{
  const Row row(VOLUME_MESH_REGULAR);
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.skin->minCellRanges.setValues(0, 3, std::vector<std::uint32_t>{2, 0, 0}.data());
  SoRayPickAction pick(SbViewportRegion(100, 100));
  pick.setRay(SbVec3f(3.4f, 0.2f, 5), SbVec3f(0, 0, -1));
  pick.apply(scene.root);
  const SoPickedPoint* point = pick.getPickedPoint();
  ASSERT_NE(point, nullptr);
  EXPECT_EQ(point->getPoint(), SbVec3f(3.4f, 0.2f, 0.25f));
  const auto* detail = dynamic_cast<const MoFaceDetail*>(point->getDetail());
  ASSERT_NE(detail, nullptr);
  EXPECT_EQ(detail->getSourceCell(), 3u);
  const std::unique_ptr<MoFaceDetail> special(
      scene.skin->getMeshDetail()->specilizeFaceDetail(*detail));
  const auto* ijk = dynamic_cast<const MoFaceDetailIjk*>(special.get());
  ASSERT_NE(ijk, nullptr);
  EXPECT_EQ(ijk->getI(), 3u);
  EXPECT_EQ(ijk->getJ(), 0u);
  const std::unique_ptr<SoDetail> copy(ijk->copy());
  EXPECT_EQ(static_cast<MoFaceDetailIjk*>(copy.get())->getI(), 3u);
  EXPECT_EQ(static_cast<MoFaceDetailIjk*>(copy.get())->getNumPoints(), detail->getNumPoints());
}

TEST(MoMeshSkin, StaysInAbsoluteCoordinatesFarFromZero)
{
  const double x = 100000, y = 200000;
  const MbVolumeMeshRegular far(MbIndex3{4, 1, 1}, MbVec3d{x, y, 0}, MbVec3d{1, 0.5, 0.25});
  SkinScene scene;
  scene.mesh->setMesh(&far);
  scene.traverse();
  ASSERT_NE(scene.surface()->getGeometry().origin, MbVec3d{}) << "single precision needs help here";
  const SbVec3f low(static_cast<float>(x), static_cast<float>(y), 0);
  SoGetBoundingBoxAction box(SbViewportRegion(100, 100));
  box.apply(scene.root);
  EXPECT_EQ(box.getBoundingBox().getMin(), low);
  EXPECT_EQ(box.getBoundingBox().getMax(), low + SbVec3f(4, 0.5f, 0.25f));

  SoRayPickAction pick(SbViewportRegion(100, 100));
  pick.setRay(low + SbVec3f(2.5f, 0.25f, 5), SbVec3f(0, 0, -1));
  pick.apply(scene.root);
  ASSERT_NE(pick.getPickedPoint(), nullptr);
  EXPECT_EQ(pick.getPickedPoint()->getPoint(), low + SbVec3f(2.5f, 0.25f, 0.25f));
  EXPECT_EQ(dynamic_cast<const MoFaceDetail&>(*pick.getPickedPoint()->getDetail()).getSourceCell(),
            2u);

  SbBox3f primitives;
  SoCallbackAction vertices;
  vertices.addTriangleCallback(
      SoShape::getClassTypeId(),
      [](void* all, SoCallbackAction* action, const SoPrimitiveVertex* a, const SoPrimitiveVertex*,
         const SoPrimitiveVertex*) {
        SbVec3f p;
        action->getModelMatrix().multVecMatrix(a->getPoint(), p);
        static_cast<SbBox3f*>(all)->extendBy(p);
      },
      &primitives);
  vertices.apply(scene.root);
  EXPECT_EQ(primitives.getMin(), low);

  const Row near;
  scene.mesh->setMesh(near.mesh.get());
  box.apply(scene.root);
  EXPECT_EQ(box.getBoundingBox().getMax(), SbVec3f(4, 0.5f, 0.25f)) << "the move is taken back";
  pick.setRay(SbVec3f(2.5f, 0.25f, 5), SbVec3f(0, 0, -1));
  pick.apply(scene.root);
  EXPECT_NE(pick.getPickedPoint(), nullptr);
  scene.mesh->reset();
}
