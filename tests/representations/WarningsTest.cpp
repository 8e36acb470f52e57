#include <velmo/mesh/MbDataSet.h>
#include <velmo/representations/MoMeshCylinderSlice.h>
#include <velmo/representations/MoMeshIsoline.h>
#include <velmo/representations/MoMeshIsosurface.h>
#include <velmo/representations/MoMeshPlaneSlice.h>
#include <velmo/representations/MoMeshSphereSlice.h>
#include <velmo/representations/MoMeshSurface.h>

#include <tests/representations/SkinScene.h>
#include <tests/support/MeshZoo.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>

#include <functional>

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

template <class Node>
class Scene : public RepresentationScene<Node>
{
public:
  explicit Scene(MeshType kind)
      : source(kind < SURFACE_MESH_UNSTRUCTURED ? zoo::block(kind, {4, 3, 5})
                                                : zoo::sheet(kind, {4, 3, 0})),
        values(zoo::nodeSet(*source, [](const MbVec3d& p) { return p.x; }))
  {
    this->mesh->setMesh(source.get());
    this->set->setScalarSet(values.get());
  }
  std::unique_ptr<MiMesh> source;
  std::unique_ptr<MiTypedDataSet<double>> values;
};

/// Traverses with each of the arguments, which describe nothing.
template <class Node>
void expectSilence(const std::vector<std::function<void(Node&)>>& settings, bool surfaces = false)
{
  for (const MeshType kind : {VOLUME_MESH_UNSTRUCTURED, VOLUME_MESH_HEXAHEDRON_IJK,
                              VOLUME_MESH_VERTEX_HEXAHEDRON_IJK, VOLUME_MESH_REGULAR})
  {
    Scene<Node> scene(surfaces ? SURFACE_MESH_UNSTRUCTURED : kind);
    for (const auto& setting : settings)
      for (const bool perCell : {false, true}) {
        SCOPED_TRACE(std::string(meshTypeName(kind)) + " " +
                     std::to_string(&setting - &settings[0]));
        const auto cells = zoo::cellNumbers(*scene.source);
        const SoRef<MoScalarSet> second(new MoScalarSet);
        second->setScalarSet(cells.get());
        scene.above->addChild(second);
        scene.node->colorScalarSetId = perCell;
        setting(*scene.node);
        WarningLog warnings;
        scene.traverse(2);
        EXPECT_THAT(warnings.texts(), IsEmpty());
        scene.above->removeAllChildren();
      }
  }
}

} // namespace

TEST(Warnings, AreNotPostedOfArgumentsThatDescribeNothing)
{
  const auto nan = static_cast<float>(kNaN), infinite = static_cast<float>(kInfinity);
  expectSilence<MoMeshPlaneSlice>(
      {[](auto& node) { node.plane = SbPlane(SbVec3f(1, 0, 0), 99); },
       [=](auto& node) { node.plane = SbPlane(SbVec3f(1, 0, 0), nan); },
       [=](auto& node) { node.plane = SbPlane(SbVec3f(nan, 0, 0), 1); }});
  expectSilence<MoMeshSphereSlice>({[](auto& node) { node.radius = -1; },
                                    [=](auto& node) { node.radius = nan; },
                                    [=](auto& node) { node.center = SbVec3f(infinite, 0, 0); }});
  expectSilence<MoMeshCylinderSlice>({[](auto& node) { node.direction = SbVec3f(0, 0, 0); },
                                      [](auto& node) { node.radius = -1; },
                                      [=](auto& node) { node.direction = SbVec3f(nan, 0, 0); }});
  expectSilence<MoMeshIsosurface>({[=](auto& node) { node.isovalue = nan; },
                                   [=](auto& node) { node.isovalue = infinite; },
                                   [](auto& node) { node.isovalue = 99; }});
  expectSilence<MoMeshIsoline>({[=](auto& node) { node.isovalues = nan; },
                                [=](auto& node) { node.isovalues = infinite; },
                                [](auto& node) { node.isovalues.setNum(0); }},
                               true);
}

TEST(Warnings, OfColoursThatDoNotFitComeOnceAChange)
{
  const Row row;
  const MbScalardSetI tooLong("long", MiDataBinding::PerNode, counted(21));
  const MbScalardSetI tooShort("short", MiDataBinding::PerCell, counted(3));
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  // What is connected to the skin says nothing more.
  const SoRef<MoMesh> next(new MoMesh);
  next->connectFrom(scene.skin);
  const SoRef<MoMeshSurface> surface(new MoMeshSurface);
  scene.root->addChild(next);
  scene.root->addChild(surface);
  const auto expectOne = [&](const char* what) {
    SCOPED_TRACE(what);
    WarningLog warnings;
    scene.traverse(4);
    EXPECT_THAT(warnings.texts(),
                testing::ElementsAre("MiSkinExtractUnstructured::extractScalarSet(): Cannot "
                                     "extract data set with the given binding on this type of "
                                     "mesh."));
  };
  const auto expectNone = [&](const char* what) {
    SCOPED_TRACE(what);
    WarningLog warnings;
    scene.traverse(4);
    EXPECT_THAT(warnings.texts(), IsEmpty());
  };
  scene.set->setScalarSet(&tooLong);
  expectOne("a set of a wrong size");
  scene.skin->maxCellRanges = 1;
  expectNone("another range, the same set");
  scene.set->setScalarSet(&tooShort);
  expectOne("another set");
  scene.set->setScalarSet(&row.perCell);
  expectNone("one that fits");
  scene.set->setScalarSet(&tooShort);
  expectOne("that set once more");
  scene.mesh->setMesh(row.mesh.get());
  expectOne("another mesh");
  scene.skin->colorScalarSetId = 7;
  expectNone("no set");
}

TEST(Warnings, OfSetsThatAreFollowedComeOnceAChange)
{
  const MbScalardSetIj tooShort("short", MiDataBinding::PerNode, 4, 3, counted(12));
  Scene<MoMeshIsoline> scene(SURFACE_MESH_REGULAR);
  scene.node->isovalues = 1.5f;
  scene.node->colorScalarSetId = 9;
  scene.set->setScalarSet(&tooShort);
  WarningLog warnings;
  scene.traverse(4);
  EXPECT_THAT(warnings.texts(), SizeIs(1));
  const MbScalardSetIj perCell("cells", MiDataBinding::PerCell, 4, 3, counted(12));
  scene.set->setScalarSet(&perCell);
  scene.traverse(4);
  EXPECT_THAT(warnings.texts(), SizeIs(2));
  scene.set->setScalarSet(&tooShort);
  scene.traverse(4);
  EXPECT_THAT(warnings.texts(), SizeIs(3));
  scene.root->removeChild(scene.set);
  scene.traverse(4);
  EXPECT_THAT(
      warnings.texts(),
      testing::AllOf(SizeIs(4), testing::Each(HasSubstr("isoScalarSetId field is invalid"))));
}
