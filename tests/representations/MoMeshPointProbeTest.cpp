#include <tests/support/MeshZoo.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/WarningLog.h>
#include <velmo/extraction/extractors/MiPointProbe.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoScalarSetIjk.h>
#include <velmo/nodes/MoVec3SetIjk.h>
#include <velmo/representations/MoMeshPointProbe.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/nodes/SoSeparator.h>

#include <functional>
#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
constexpr std::uint64_t kNone = ~std::uint64_t{0};

class Listener final : public MoMeshPointProbe::MoProbeCallback
{
public:
  void motionCallback(std::uint64_t i, const MoMeshPointProbe::ScalarResults& s,
                      const MoMeshPointProbe::VectorResults& v) override
  {
    take({i}, s, v);
  }
  void motionCallback(std::uint64_t i, std::uint64_t j, const MoMeshPointProbe::ScalarResults& s,
                      const MoMeshPointProbe::VectorResults& v) override
  {
    take({i, j}, s, v);
  }
  void motionCallback(std::uint64_t i, std::uint64_t j, std::uint64_t k,
                      const MoMeshPointProbe::ScalarResults& s,
                      const MoMeshPointProbe::VectorResults& v) override
  {
    take({i, j, k}, s, v);
  }

  int calls = 0;
  std::vector<std::uint64_t> cell;
  std::vector<double> scalars;
  std::vector<MbVec3d> vectors;
  std::function<void()> during;

private:
  void take(std::vector<std::uint64_t> where, const MoMeshPointProbe::ScalarResults& s,
            const MoMeshPointProbe::VectorResults& v)
  {
    ++calls;
    cell = std::move(where);
    scalars.assign(s.values.begin(), s.values.end());
    vectors = v.values;
    if (during) during();
  }
};

/// A mesh, its data sets and a probe with a listener.
struct ProbeScene
{
  ProbeScene(std::unique_ptr<MiMesh> given) : source(std::move(given))
  {
    mesh->setMesh(source.get());
    probe->setProbeCallback(listener);
    for (SoNode* node : std::initializer_list<SoNode*>{mesh, above, probe})
      root->addChild(node);
  }
  void traverse() { SoCallbackAction().apply(root); }
  void moveTo(float x, float y, float z)
  {
    probe->position = SbVec3f(x, y, z);
    traverse();
  }

  std::unique_ptr<MiMesh> source;
  Listener listener;
  SoRef<SoSeparator> root{new SoSeparator};
  SoRef<MoMesh> mesh{new MoMesh};
  SoRef<SoGroup> above{new SoGroup};
  SoRef<MoMeshPointProbe> probe{new MoMeshPointProbe};
};

} // namespace

TEST(MoMeshPointProbe, GivesCellAndValuesOfTheSetsFoundInTheOrderOfTheIds)
{
  ProbeScene scene(zoo::block(VOLUME_MESH_REGULAR, {2, 2, 2}));
  const MbDataSetIjk<double> cells("c", MiDataBinding::PerCell, {2, 2, 2},
                                   std::vector<double>{0, 1, 2, 3, 4, 5, 6, 7});
  std::vector<double> x(27);
  for (std::size_t n = 0; n < 27; ++n)
    x[n] = static_cast<double>(n % 3);
  const MbDataSetIjk<double> nodes("x", MiDataBinding::PerNode, {3, 3, 3}, x);
  const MbDataSetIjk<MbVec3d> flow("v", MiDataBinding::PerCell, {2, 2, 2},
                                   std::vector<double>(24, 1.5));
  const SoRef<MoScalarSetIjk> first(new MoScalarSetIjk), second(new MoScalarSetIjk);
  const SoRef<MoVec3SetIjk> vector(new MoVec3SetIjk);
  first->setScalarSet(&cells);
  second->setScalarSet(&nodes);
  vector->setVec3Set(&flow);
  for (SoNode* node : std::initializer_list<SoNode*>{first, second, vector})
    scene.above->addChild(node);
  const std::int32_t ids[] = {1, 7, -1, 0};
  scene.probe->scalarSetIds.setValues(0, 4, ids);

  scene.moveTo(1.25f, 0.75f, 0.125f);

  EXPECT_THAT(scene.listener.cell, ElementsAre(1, 1, 0));
  EXPECT_THAT(scene.listener.scalars, ElementsAre(testing::DoubleEq(1.25), 3));
  EXPECT_THAT(scene.listener.vectors, ElementsAre(MbVec3d{1.5, 1.5, 1.5}));

  // Outside the mesh, and in cells that the filter refuses.
  scene.moveTo(5, 0, 0);
  EXPECT_EQ(scene.listener.calls, 2);
  EXPECT_THAT(scene.listener.cell, ElementsAre(kNone, kNone, kNone));
  EXPECT_THAT(scene.listener.scalars, IsEmpty());
  EXPECT_THAT(scene.listener.vectors, IsEmpty());
  const MbCellFilter<3, MbFunctionRule<std::size_t, std::size_t, std::size_t>> left(
      [](std::size_t i, std::size_t, std::size_t) { return i == 0; });
  const SoRef<MoCellFilter> filter(new MoCellFilter);
  filter->setCellFilter(&left);
  scene.above->addChild(filter);
  scene.moveTo(1.25f, 0.75f, 0.125f);
  EXPECT_THAT(scene.listener.scalars, IsEmpty());
  scene.moveTo(0.25f, 0.75f, 0.125f);
  EXPECT_THAT(scene.listener.scalars, ElementsAre(0.25, 2));

  // A general list, even one without the id, hides the typed one.
  const SoRef<MoScalarSet> general(new MoScalarSet);
  scene.above->addChild(general);
  scene.moveTo(0.3f, 0.75f, 0.125f);
  EXPECT_THAT(scene.listener.scalars, IsEmpty());
}

TEST(MoMeshPointProbe, ProbesAfterChangesOfTheNodeAndTheMeshOnly)
{
  ProbeScene scene(zoo::block(VOLUME_MESH_CURVILINEAR, {2, 2, 2}));
  Listener& listener = scene.listener;
  scene.traverse();
  scene.traverse();
  EXPECT_EQ(listener.calls, 1);
  scene.above->touch();
  scene.traverse();
  EXPECT_EQ(listener.calls, 1);
  scene.probe->vectorSetIds = 2;
  scene.traverse();
  EXPECT_EQ(listener.calls, 2);
  const MiPointProbeIjk* before = scene.probe->getPointProbeIjk();
  EXPECT_NE(before, nullptr);

  // Without a callback nothing is computed, and nothing is lost.
  scene.probe->removeProbeCallback();
  scene.moveTo(1.5f, 0.25f, 0.3f);
  EXPECT_EQ(listener.calls, 2);
  scene.probe->setProbeCallback(listener);
  scene.traverse();
  EXPECT_EQ(listener.calls, 3);
  EXPECT_THAT(listener.cell, ElementsAre(1, 0, 1));

  scene.probe->clear();
  EXPECT_EQ(scene.probe->getPointProbeIjk(), nullptr);
  scene.traverse();
  EXPECT_EQ(listener.calls, 4);
  const auto other = zoo::block(VOLUME_MESH_HEXAHEDRON_IJK, {2, 2, 2});
  const SoRef<MoDataBinding> binding(new MoDataBinding);
  scene.above->addChild(binding);
  scene.mesh->setMesh(other.get());
  scene.traverse();
  EXPECT_EQ(listener.calls, 5);
  EXPECT_EQ(scene.probe->getPointProbeIjk(), nullptr);
  EXPECT_NE(scene.probe->getPointProbeUnstructuredIjk(), nullptr);
  EXPECT_EQ(scene.probe->getPointProbeUnstructuredIjk(), scene.probe->getPointProbeHexahedronIjk());
  scene.mesh->setMesh(static_cast<const MiMesh*>(nullptr));
  scene.traverse();
  EXPECT_EQ(listener.calls, 5);
}

TEST(MoMeshPointProbe, KeepsAChangeThatTheCallbackMakes)
{
  ProbeScene scene(zoo::block(VOLUME_MESH_REGULAR, {2, 2, 2}));
  scene.listener.during = [&] {
    if (scene.listener.calls == 1) scene.probe->position = SbVec3f(1.5f, 0.25f, 0.3f);
    if (scene.listener.calls == 2) scene.probe->clear();
  };
  scene.traverse();
  EXPECT_THAT(scene.listener.cell, ElementsAre(0, 0, 0));
  scene.traverse();
  EXPECT_THAT(scene.listener.cell, ElementsAre(1, 0, 1));
  scene.traverse();
  scene.traverse();
  EXPECT_EQ(scene.listener.calls, 3);
}

TEST(MoMeshPointProbe, ServesEveryActionWithOneCallAndEveryKindThatItShould)
{
  struct
  {
    MeshType kind;
    std::size_t ids; // 0: refused
  } const kinds[] = {{VOLUME_MESH_UNSTRUCTURED, 1}, {VOLUME_MESH_HEXAHEDRON_IJK, 3},
                     {VOLUME_MESH_REGULAR, 3},      {VOLUME_MESH_RECTILINEAR, 3},
                     {VOLUME_MESH_CURVILINEAR, 3},  {SURFACE_MESH_UNSTRUCTURED, 1},
                     {SURFACE_MESH_REGULAR, 2},     {SURFACE_MESH_RECTILINEAR, 2},
                     {SURFACE_MESH_CURVILINEAR, 2}, {VOLUME_MESH_VERTEX_HEXAHEDRON_IJK, 0},
                     {LINE_MESH_UNSTRUCTURED, 0},   {LINE_MESH_REGULAR, 0},
                     {LINE_MESH_CURVILINEAR, 0}};
  for (const auto& [kind, ids] : kinds) {
    WarningLog warnings;
    ProbeScene scene(zoo::small(kind));
    const SoRef<MoDataBinding> binding(new MoDataBinding);
    scene.above->addChild(binding);
    scene.traverse();
    EXPECT_TRUE(boxOf(scene.root).isEmpty());
    EXPECT_EQ(scene.listener.cell.size(), ids) << kind;
    EXPECT_EQ(scene.listener.calls, ids ? 1 : 0) << kind;
    if (ids)
      EXPECT_THAT(warnings.texts(), IsEmpty());
    else
      EXPECT_THAT(
          warnings.texts(),
          testing::Each("MoMeshPointProbe::doAction: Cannot probe points on this type of mesh."));
  }
}

TEST(MoMeshPointProbe, AsksForABindingOnHexahedronIjkMeshes)
{
  ProbeScene scene(zoo::block(VOLUME_MESH_HEXAHEDRON_IJK, {2, 1, 1}));
  const MbDataSetI<double> nodes("n", MiDataBinding::PerNode, std::vector<double>(12, 3.0));
  const MbDataSetIjk<double> cells("c", MiDataBinding::PerCell, {2, 1, 1},
                                   std::vector<double>{4, 5});
  const SoRef<MoScalarSetI> perNode(new MoScalarSetI);
  const SoRef<MoScalarSetIjk> perCell(new MoScalarSetIjk);
  perNode->setScalarSet(&nodes);
  perCell->setScalarSet(&cells);
  scene.above->addChild(perNode);
  scene.above->addChild(perCell);
  WarningLog warnings;
  scene.moveTo(1.5f, 0.25f, 0.125f);
  EXPECT_EQ(scene.listener.calls, 0);
  EXPECT_THAT(
      warnings.texts(),
      ElementsAre("MoMeshPointProbe::doAction: Cannot find which data binding to use for this type "
                  "of mesh. Add a MoDataBinding node defining explicitely PER_FACE or PER_NODE "
                  "binding."));
  const SoRef<MoDataBinding> binding(new MoDataBinding);
  scene.above->addChild(binding);
  scene.traverse();
  EXPECT_THAT(scene.listener.scalars, ElementsAre(5));
  binding->dataBinding = MoDataBinding::PER_NODE;
  scene.probe->touch();
  scene.traverse();
  ASSERT_EQ(scene.listener.scalars.size(), 1u);
  EXPECT_NEAR(scene.listener.scalars[0], 3, 1e-12);
}
