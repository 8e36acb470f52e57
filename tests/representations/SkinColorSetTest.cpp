#include <tests/representations/SkinScene.h>

#include <velmo/colormapping/MoCombineColorMapping.h>
#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoMaterial.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoScalarSetIjk.h>
#include <velmo/representation/MxAttributesManager.h>

#include <tests/support/OneColor.h>
#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// Traverses, and answers what colours the skin then.
std::vector<const MiTypedDataSet<double>*> colorSets(SkinScene& scene, MeshType kind)
{
  std::vector<const MiTypedDataSet<double>*> sets;
  const StateProbe probe(
      [&](SoAction* action) { sets = scene.skin->getColorSetFromState(action->getState(), kind); });
  scene.root->addChild(probe.node());
  scene.traverse();
  scene.root->removeChild(probe.node());
  return sets;
}

} // namespace

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
  EXPECT_THAT(colorSets(scene, VOLUME_MESH_UNSTRUCTURED), IsEmpty());
  material->faceColoring = MoMaterial::CONTOURING;
  EXPECT_THAT(colorSets(scene, VOLUME_MESH_UNSTRUCTURED), ElementsAre(&row.perNode));

  WarningLog warnings;
  scene.skin->colorScalarSetId = 7;
  EXPECT_THAT(colorSets(scene, VOLUME_MESH_UNSTRUCTURED), ElementsAre(nullptr));
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
  EXPECT_THAT(colorSets(scene, VOLUME_MESH_UNSTRUCTURED), ElementsAre(nullptr))
      << "the general node, though empty, hides the typed one";
  scene.root->removeChild(scene.set);
  EXPECT_THAT(colorSets(scene, VOLUME_MESH_UNSTRUCTURED), ElementsAre(&row.perNode));
}

TEST(MoMeshSkin, FindsTypedSetsOfTheNumberingThatTheBindingSays)
{
  const Row row(VOLUME_MESH_HEXAHEDRON_IJK);
  const MbScalardSetIjk cells("cells", MiDataBinding::PerCell, {4, 1, 1}, counted(4));
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.root->removeChild(scene.set);
  const SoRef<MoDataBinding> binding(new MoDataBinding);
  const SoRef<MoScalarSetIjk> ofCells(new MoScalarSetIjk);
  ofCells->setScalarSet(&cells);
  const SoRef<MoScalarSetI> ofNodes(new MoScalarSetI);
  ofNodes->setScalarSet(&row.perNode);
  scene.above->addChild(binding);
  scene.above->addChild(ofNodes);
  for (const bool hasCells : {false, true}) {
    if (hasCells) scene.above->addChild(ofCells);
    const auto found = [&](MoDataBinding::DataBinding wanted) {
      binding->dataBinding = wanted;
      return colorSets(scene, VOLUME_MESH_HEXAHEDRON_IJK);
    };
    const MiTypedDataSet<double>* own = hasCells ? &cells : nullptr;
    EXPECT_THAT(found(MoDataBinding::PER_CELL), ElementsAre(own)) << "nodes are no cells";
    EXPECT_THAT(found(MoDataBinding::PER_NODE), ElementsAre(&row.perNode));
    EXPECT_THAT(found(MoDataBinding::AUTO), ElementsAre(hasCells ? own : &row.perNode));
  }
}

TEST(MoMeshSkin, GathersTheSetsThatSuitMeshAndBindingForACombinedMapping)
{
  const Row row(VOLUME_MESH_HEXAHEDRON_IJK);
  const MbScalardSetIjk cells("cells", MiDataBinding::PerCell, {4, 1, 1}, counted(4));
  const MbScalardSetIjk gridNodes("grid nodes", MiDataBinding::PerNode, {5, 2, 2}, counted(20));
  OneColor colors;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  const SoRef<MoCombineColorMapping> combine(new MoCombineColorMapping);
  combine->setColorMapping(&colors);
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
  const auto gathered = [&] { return colorSets(scene, VOLUME_MESH_HEXAHEDRON_IJK); };
  binding->dataBinding = MoDataBinding::AUTO;
  EXPECT_THAT(gathered(), ElementsAre(&cells, &row.perNode))
      << "cells of this kind are numbered by I, J and K, its nodes by one index";
  binding->dataBinding = MoDataBinding::PER_CELL;
  EXPECT_THAT(gathered(), ElementsAre(&cells));
  binding->dataBinding = MoDataBinding::PER_NODE;
  EXPECT_THAT(gathered(), ElementsAre(&row.perNode));
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
