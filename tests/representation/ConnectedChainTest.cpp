#include <velmo/colormapping/MoCombineColorMapping.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MeXMesh.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/nodes/MoScalarSetI.h>
#include <velmo/nodes/MoScalarSetIjk.h>
#include <velmo/nodes/MoVec3SetI.h>
#include <velmo/nodes/MoVec3SetIjk.h>
#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/details/MoLineDetail.h>
#include <velmo/render/details/MoMeshDetail.h>
#include <velmo/representations/MoMeshIsoline.h>
#include <velmo/representations/MoMeshLine.h>
#include <velmo/representations/MoMeshPlaneSlice.h>
#include <velmo/representations/MoMeshPointProbe.h>
#include <velmo/representations/MoMeshSurface.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/OneColor.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <Inventor/actions/SoCallbackAction.h>

#include <gmock/gmock.h>

using testing::IsEmpty;

namespace {

constexpr MbIndex3 kCells{6, 4, 3};

double fieldAt(const MbVec3d& p)
{
  return 1 + p.x + 2 * p.y - 3 * p.z;
}
MbVec3d flowAt(const MbVec3d& p)
{
  return {p.y, 2 - p.x, p.z + p.x};
}
/// The cell of the block that holds a point.
std::size_t cellAt(const MbVec3d& p)
{
  return static_cast<std::size_t>(p.x) +
         6 * (static_cast<std::size_t>(2 * p.y) + 4 * static_cast<std::size_t>(4 * p.z));
}

template <class Interface, class Node>
void add(SoGroup* group, const MiTypedDataSet<double>& set)
{
  const auto* typed = dynamic_cast<const Interface*>(&set);
  if (!typed) return;
  auto* node = new Node;
  node->setScalarSet(typed);
  group->addChild(node);
}

/// What a probe found last.
struct ProbeLog final : MoMeshPointProbe::MoProbeCallback
{
  void motionCallback(std::uint64_t, const MoMeshPointProbe::ScalarResults& s,
                      const MoMeshPointProbe::VectorResults& v) override
  {
    scalars.assign(s.values.begin(), s.values.end());
    vectors.assign(v.values.begin(), v.values.end());
  }
  std::vector<double> scalars;
  std::vector<MbVec3d> vectors;
};

/// A slanted slice of a block, a part of it as a surface, and a part of that: each in a separator,
/// in their order or the last one first. The sets stand above them all.
class Chain
{
public:
  explicit Chain(MeshType kind, bool general = true, bool lastFirst = false)
      : block(zoo::block(kind, kCells)), values(zoo::nodeSet(*block, fieldAt)),
        numbers(zoo::cellNumbers(*block)), flow(zoo::vectorSet(*block, flowAt))
  {
    // Typed lists have a place for each numbering: id 0 is the set per node, 1 that of cells,
    // where both are numbered alike, else each is the first of its list.
    for (const MiTypedDataSet<double>* set : {values.get(), numbers.get()}) {
      if (general) {
        auto* node = new MoScalarSet;
        node->setScalarSet(set);
        sets->addChild(node);
      } else {
        add<MiDataSetI<double>, MoScalarSetI>(sets, *set);
        add<MiDataSetIjk<double>, MoScalarSetIjk>(sets, *set);
      }
    }
    const SoRef<MoVec3SetI> flat(new MoVec3SetI);
    flat->setVec3Set(dynamic_cast<const MiDataSetI<MbVec3d>*>(flow.get()));
    const SoRef<MoVec3SetIjk> grid(new MoVec3SetIjk);
    grid->setVec3Set(dynamic_cast<const MiDataSetIjk<MbVec3d>*>(flow.get()));
    sets->addChild(flat);
    sets->addChild(grid);
    root->addChild(sets);

    slice->plane = SbPlane(SbVec3f(0.1f, 0, 1), 0.6f);
    mesh->setMesh(block.get());
    toSecond->connectFrom(slice);
    toThird->connectFrom(second);
    secondFilter->setCellFilter(&notTheFirst);
    thirdFilter->setCellFilter(&odd);
    probe->setProbeCallback(probed);
    probe->vectorSetIds = 0;
    const std::vector<std::vector<SoNode*>> scopes{
        {mesh, slice}, {toSecond, secondFilter, second}, {toThird, probe, thirdFilter, third}};
    for (const auto& scope : scopes) {
      auto* separator = new SoSeparator;
      for (SoNode* child : scope)
        separator->addChild(child);
      root->insertChild(separator, lastFirst ? 1 : root->getNumChildren());
    }
  }
  void traverse() { SoCallbackAction().apply(root); }
  const MeXSurfaceMeshUnstructured* result() const
  {
    MeshType type;
    return dynamic_cast<const MeXSurfaceMeshUnstructured*>(third->getExtractedMesh(type));
  }

  std::unique_ptr<MiMesh> block;
  std::unique_ptr<MiTypedDataSet<double>> values, numbers;
  std::unique_ptr<MiTypedDataSet<MbVec3d>> flow;
  SoRef<SoSeparator> root{new SoSeparator};
  SoRef<SoGroup> sets{new SoGroup};
  SoRef<MoMesh> mesh{new MoMesh}, toSecond{new MoMesh}, toThird{new MoMesh};
  SoRef<MoMeshPlaneSlice> slice{new MoMeshPlaneSlice};
  SoRef<MoMeshSurface> second{new MoMeshSurface}, third{new MoMeshSurface};
  const MbFunctionFilterI notTheFirst{[](std::size_t cell) { return cell > 2; }};
  const MbFunctionFilterI odd{[](std::size_t cell) { return cell % 2 == 1; }};
  SoRef<MoCellFilter> secondFilter{new MoCellFilter}, thirdFilter{new MoCellFilter};
  SoRef<MoMeshPointProbe> probe{new MoMeshPointProbe};
  ProbeLog probed;
};

MbVec3d middleOf(const MeXSurfaceMeshUnstructured& mesh, std::size_t cell)
{
  MbVec3d sum;
  for (const int node : mesh.topology.getCell(cell))
    sum = sum + mesh.geometry.getNode(static_cast<std::size_t>(node));
  return sum * (1.0 / static_cast<double>(mesh.topology.getCellSize(cell)));
}

class Chains : public testing::TestWithParam<MeshType>
{};

} // namespace

TEST_P(Chains, MapSetsOfTheFirstMeshAcrossEveryConnection)
{
  for (const bool general : {true, false})
    for (const bool lastFirst : {false, true}) {
      SCOPED_TRACE(std::string(general ? "general" : "typed") + (lastFirst ? ", reversed" : ""));
      Chain chain(GetParam(), general, lastFirst);
      const bool isSplit = !general && GetParam() == VOLUME_MESH_HEXAHEDRON_IJK;
      WarningLog warnings;
      for (int i = 0; i < (lastFirst ? 3 : 1); ++i)
        chain.traverse();
      const MeXSurfaceMeshUnstructured* mesh = chain.result();
      ASSERT_NE(mesh, nullptr);
      ASSERT_GT(mesh->topology.getCellCount(), 4u);
      const auto* nodes = dynamic_cast<const MiDataSetI<double>*>(
          chain.third->extractScalarSet(chain.values.get()));
      ASSERT_NE(nodes, nullptr);
      ASSERT_EQ(nodes->getSize(), mesh->geometry.getNodeCount());
      for (std::size_t n = 0; n < nodes->getSize(); ++n)
        EXPECT_NEAR(nodes->getValue(n), fieldAt(mesh->geometry.getNode(n)), 1e-5);
      const auto* cells = dynamic_cast<const MiDataSetI<double>*>(
          chain.third->extractScalarSet(chain.numbers.get()));
      ASSERT_NE(cells, nullptr);
      ASSERT_EQ(cells->getSize(), mesh->topology.getCellCount());
      for (std::size_t c = 0; c < cells->getSize(); ++c)
        EXPECT_EQ(cells->getValue(c), static_cast<double>(cellAt(middleOf(*mesh, c))));

      // As the traversal does it: a probe on the second surface, by ids.
      const MbVec3d at = middleOf(*mesh, 2);
      chain.probe->position.setValue(static_cast<float>(at.x), static_cast<float>(at.y),
                                     static_cast<float>(at.z));
      const std::int32_t ids[] = {0, 1};
      chain.probe->scalarSetIds.setValues(0, 2, ids);
      chain.traverse();
      ASSERT_EQ(chain.probed.scalars.size(), isSplit ? 1u : 2u);
      // Of a mesh with two numberings the sets of cells come first.
      if (!isSplit) {
        EXPECT_NEAR(chain.probed.scalars[0], fieldAt(at), 1e-5);
      }
      EXPECT_EQ(chain.probed.scalars.back(), static_cast<double>(cellAt(at)));
      ASSERT_EQ(chain.probed.vectors.size(), 1u);
      EXPECT_NEAR(length(chain.probed.vectors[0] - flowAt(at)), 0, 1e-5);
      EXPECT_THAT(warnings.texts(), IsEmpty());
    }
}

TEST_P(Chains, NameTheCellsAndNodesOfTheFirstMeshInPicks)
{
  Chain chain(GetParam());
  chain.traverse();
  const MeXSurfaceMeshUnstructured& mesh = *chain.result();
  const std::vector<MbVec3d> places = zoo::nodePlaces(*chain.block);
  for (std::size_t c = 0; c < mesh.topology.getCellCount(); ++c) {
    const MbVec3d at = middleOf(mesh, c);
    // The last surface is picked as the first of three that lie upon each other.
    const SoRef<SoSeparator> root(new SoSeparator);
    root->addChild(chain.sets);
    root->addChild(chain.toThird);
    root->addChild(chain.thirdFilter);
    root->addChild(chain.third);
    const PickDown pick(root, static_cast<float>(at.x) + 0.05f, static_cast<float>(at.y));
    const auto* face = pick.detail<MoFaceDetail>();
    const auto* owner = pick.detail<MoMeshDetail>(chain.third);
    ASSERT_TRUE(face && owner);
    EXPECT_EQ(face->getExtractedCell(), c);
    EXPECT_EQ(face->getSourceCell(), cellAt(at));
    EXPECT_NEAR(face->getValue(), fieldAt(face->getPickedPoint()), 1e-4);
    MbVec3d mean;
    for (const auto& [node, weight] : face->getSourceNodes()) {
      ASSERT_LT(node, places.size());
      mean = mean + places[node] * weight;
    }
    EXPECT_NEAR(length(mean - face->getPickedPoint()), 0, 1e-4);

    EXPECT_EQ(owner->getMesh(), chain.block.get());
    EXPECT_EQ(owner->getMeshType(), GetParam());
    EXPECT_EQ(owner->getColorScalarSet(0), chain.values.get());
    const std::unique_ptr<MoFaceDetail> special(owner->specilizeFaceDetail(*face));
    if (GetParam() == VOLUME_MESH_UNSTRUCTURED) {
      EXPECT_NE(dynamic_cast<const MoFaceDetailI*>(special.get()), nullptr);
    } else {
      const auto* grid = dynamic_cast<const MoFaceDetailIjk*>(special.get());
      ASSERT_NE(grid, nullptr);
      EXPECT_EQ(grid->getI() + 6 * (grid->getJ() + 4 * grid->getK()), cellAt(at));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Volumes, Chains,
                         testing::Values(VOLUME_MESH_UNSTRUCTURED, VOLUME_MESH_HEXAHEDRON_IJK,
                                         VOLUME_MESH_REGULAR),
                         [](const auto& info) { return std::string(meshTypeName(info.param)); });

// Typed sets of a combined mapping are those of the first mesh's numbering, too.
TEST(Chain, GathersTypedSetsOfTheFirstMeshForACombinedMapping)
{
  OneColor colors;
  Chain chain(VOLUME_MESH_REGULAR, false);
  const SoRef<MoCombineColorMapping> combine(new MoCombineColorMapping);
  combine->setColorMapping(&colors);
  chain.sets->addChild(combine);
  std::vector<const MiTypedDataSet<double>*> found;
  const StateProbe look([&](SoAction* action) {
    found = chain.third->getColorSetFromState(action->getState(), SURFACE_MESH_UNSTRUCTURED);
  });
  static_cast<SoGroup*>(chain.root->getChild(3))->addChild(look.node());
  chain.traverse();
  EXPECT_EQ(found.size(), 2u);
  EXPECT_EQ(chain.third->getMeshDetail()->getColorScalarSet(1), chain.numbers.get());
}

// Sets are not mapped by the provenance of what was extracted since.
TEST(Chain, MapsNothingAcrossAConnectionThatIsOutOfDate)
{
  Chain chain(VOLUME_MESH_UNSTRUCTURED, true, true);
  for (int i = 0; i < 3; ++i)
    chain.traverse();
  ASSERT_NE(chain.third->extractScalarSet(chain.values.get()), nullptr);
  chain.slice->plane = SbPlane(SbVec3f(0.1f, 0, 1), 0.4f);
  chain.traverse();
  EXPECT_EQ(chain.third->extractScalarSet(chain.values.get()), nullptr);
  EXPECT_NE(chain.slice->extractScalarSet(chain.values.get()), nullptr);
  chain.traverse();
  chain.traverse();
  const auto* values =
      dynamic_cast<const MiDataSetI<double>*>(chain.third->extractScalarSet(chain.values.get()));
  ASSERT_NE(values, nullptr);
  for (std::size_t n = 0; n < values->getSize(); ++n)
    EXPECT_NEAR(values->getValue(n), fieldAt(chain.result()->geometry.getNode(n)), 1e-5);
}

TEST(Chain, NamesTheCellThatALineRunsThroughAcrossConnections)
{
  const auto sheet = zoo::sheet(SURFACE_MESH_UNSTRUCTURED, {8, 2, 0});
  const auto values = zoo::nodeSet(*sheet, [](const MbVec3d& p) { return p.y - 0.3; });
  const SoRef<MoMesh> mesh(new MoMesh), toSecond(new MoMesh), toThird(new MoMesh);
  mesh->setMesh(sheet.get());
  const SoRef<MoScalarSet> set(new MoScalarSet);
  set->setScalarSet(values.get());
  const SoRef<MoMeshSurface> surface(new MoMeshSurface);
  const SoRef<MoMeshIsoline> isoline(new MoMeshIsoline);
  const SoRef<MoMeshLine> line(new MoMeshLine);
  isoline->isovalues = 0.0f;
  toSecond->connectFrom(surface);
  toThird->connectFrom(isoline);
  const SoRef<SoSeparator> root(new SoSeparator), last(new SoSeparator);
  for (SoNode* child : std::initializer_list<SoNode*>{mesh, set, surface, toSecond, isoline})
    root->addChild(child);
  last->addChild(set);
  last->addChild(toThird);
  last->addChild(line);
  SoCallbackAction().apply(root);
  SoCallbackAction().apply(last);
  for (const std::size_t i : {1u, 4u, 6u}) {
    const PickDown pick(last, static_cast<float>(i) + 0.5f, 0.3f);
    const auto* detail = pick.detail<MoLineDetail>();
    ASSERT_NE(detail, nullptr);
    EXPECT_EQ(detail->getSourceCell(), i);
    EXPECT_NEAR(detail->getValue(), 0, 1e-6);
  }
}
