#include <tests/representations/SkinScene.h>

#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/render/details/MoFaceDetail.h>
#include <velmo/render/details/MoMeshDetail.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/UniformTessellator.h>

#include <Inventor/nodes/SoDrawStyle.h>
#include <Inventor/nodes/SoShape.h>
#include <Inventor/SoPrimitiveVertex.h>

#include <gmock/gmock.h>

#include <tuple>

namespace {

constexpr MbIndex3 kCells{4, 3, 2};

// Where node (i, j, k) of zoo::block lies.
MbVec3d placeOf(std::size_t node)
{
  const auto [i, j, k] = std::tuple{node % 5, node / 5 % 4, node / 20};
  return {static_cast<double>(i), 0.5 * static_cast<double>(j), 0.25 * static_cast<double>(k)};
}

double fieldAt(const MbVec3d& p)
{
  return p.x + 2 * p.y - 3 * p.z + 1;
}

// A downward ray, and what it met first.
struct Pick : PickDown
{
  Pick(SkinScene& scene, float x, float y, bool all = false) : PickDown(scene.root, x, y, all)
  {
    face = detail<MoFaceDetail>();
    mesh = detail<MoMeshDetail>(scene.skin);
    if (face && mesh) special.reset(mesh->specilizeFaceDetail(*face));
  }

  const MoFaceDetail* face = nullptr;
  const MoMeshDetail* mesh = nullptr;
  std::unique_ptr<MoFaceDetail> special;
};

bool isFlat(MeshType kind)
{
  return kind == VOLUME_MESH_UNSTRUCTURED;
}

class SkinPicks : public testing::TestWithParam<MeshType>
{};

} // namespace

TEST_P(SkinPicks, NameTheApplicationsCellBehindDeadCellsFiltersAndRanges)
{
  const MeshType kind = GetParam();
  zoo::Active active(24, 1);
  const auto number = [](std::size_t i, std::size_t j, std::size_t k) {
    return i + 4 * (j + 3 * k);
  };
  active[number(1, 1, 1)] = 0;
  const auto mesh = zoo::block(kind, kCells, active);
  SkinScene scene;
  scene.mesh->setMesh(mesh.get());
  const auto expectCell = [&](std::size_t i, std::size_t j, std::size_t k, const char* why) {
    const Pick pick(scene, static_cast<float>(i) + 0.4f, 0.5f * static_cast<float>(j) + 0.2f);
    ASSERT_NE(pick.face, nullptr) << why;
    EXPECT_EQ(pick.face->getSourceCell(), number(i, j, k)) << why;
    EXPECT_FLOAT_EQ(pick.point->getPoint()[2], 0.25f * static_cast<float>(k + 1)) << why;
    ASSERT_NE(pick.special, nullptr) << why;
    EXPECT_EQ(pick.mesh->getMesh(), mesh.get());
    EXPECT_EQ(pick.mesh->getMeshType(), kind);
    if (isFlat(kind)) {
      const auto* cell = dynamic_cast<const MoFaceDetailI*>(pick.special.get());
      ASSERT_NE(cell, nullptr);
      EXPECT_EQ(cell->getCell(), number(i, j, k)) << why;
      return;
    }
    const auto* cell = dynamic_cast<const MoFaceDetailIjk*>(pick.special.get());
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(cell->getI(), i) << why;
    EXPECT_EQ(cell->getJ(), j) << why;
    EXPECT_EQ(cell->getK(), k) << why;
    const std::unique_ptr<SoDetail> copy(cell->copy());
    EXPECT_EQ(copy->getTypeId(), MoFaceDetailIjk::getClassTypeId());
    EXPECT_EQ(static_cast<MoFaceDetailIjk*>(copy.get())->getK(), k);
    EXPECT_EQ(static_cast<MoFaceDetailIjk*>(copy.get())->getNumPoints(), 4);
  };
  expectCell(3, 2, 1, "the top");
  expectCell(1, 1, 0, "below a dead cell");

  const SoRef<MoCellFilter> filterNode(new MoCellFilter);
  scene.above->addChild(filterNode);
  const MbFunctionFilterI flat([&](std::size_t cell) { return cell != number(2, 0, 1); });
  const MbFunctionFilterIjk grid(
      [](std::size_t i, std::size_t j, std::size_t k) { return i != 2 || j != 0 || k != 1; });
  filterNode->setCellFilter(isFlat(kind) ? static_cast<const MiCellFilter*>(&flat) : &grid);
  expectCell(2, 0, 0, "below a filtered cell");
  expectCell(1, 1, 0, "and still below the dead one");

  const std::vector<std::uint32_t> upper =
      isFlat(kind) ? std::vector<std::uint32_t>{11} : std::vector<std::uint32_t>{3, 2, 0};
  scene.skin->maxCellRanges.setValues(0, static_cast<int>(upper.size()), upper.data());
  expectCell(3, 2, 0, "within the range");
}

TEST_P(SkinPicks, InterpolateTheColourSetInsideTheCell)
{
  const MeshType kind = GetParam();
  const auto mesh = zoo::block(kind, kCells);
  const auto perNode = zoo::nodeSet(*mesh, fieldAt);
  const auto perCell = zoo::setOf(*mesh, MiDataBinding::PerCell, counted(24));
  SkinScene scene;
  scene.mesh->setMesh(mesh.get());
  scene.set->setScalarSet(perNode.get());
  const Pick pick(scene, 2.3f, 0.6f);
  ASSERT_NE(pick.face, nullptr);
  const double expected = fieldAt({2.3, 0.6, 0.5});
  EXPECT_NEAR(pick.face->getValue(), expected, 1e-5);
  EXPECT_NEAR(pick.face->getValue(pick.point->getPoint()), expected, 1e-5);
  EXPECT_NEAR(pick.face->getValue(SbVec3f(2, 0.5f, 0.5f)), fieldAt({2, 0.5, 0.5}), 1e-6);
  EXPECT_EQ(pick.face->getValues().size(), 1u);
  double value = 0, weights = 0;
  for (const MoPickedNode& node : pick.face->getSourceNodes()) {
    value += node.weight * fieldAt(placeOf(node.node));
    weights += node.weight;
  }
  EXPECT_NEAR(value, expected, 1e-5) << "the application's own nodes give the same";
  EXPECT_NEAR(weights, 1, 1e-12);

  scene.set->setScalarSet(perCell.get());
  const Pick cell(scene, 2.3f, 0.6f);
  EXPECT_EQ(cell.face->getValue(), 2 + 4 * (1 + 3));
  scene.mesh->reset();
  scene.traverse();
  EXPECT_NEAR(pick.face->getValue(), expected, 1e-5) << "the mesh is no longer needed";
}

INSTANTIATE_TEST_SUITE_P(Volumes, SkinPicks, testing::ValuesIn(zoo::kVolumeKinds),
                         [](const auto& info) { return std::string(meshTypeName(info.param)); });

TEST(SkinPick, FindsValuesAndCellsOfTessellatedFaces)
{
  const auto mesh = zoo::blockOf(MiCellShape::QuadraticTetrahedron, {2, 2, 2});
  const auto& geometry = mesh->getGeometry();
  const auto perNode = zoo::nodeSet(*mesh, fieldAt);
  UniformTessellator tessellator;
  SkinScene scene;
  const SoRef<MoTessellator> node(new MoTessellator);
  node->setTessellator(&tessellator);
  scene.above->addChild(node);
  scene.mesh->setMesh(mesh.get());
  scene.set->setScalarSet(perNode.get());
  for (const auto& [x, y] : {std::pair{0.31f, 0.22f}, {1.7f, 0.9f}, {1.02f, 0.51f}}) {
    const Pick pick(scene, x, y);
    ASSERT_NE(pick.face, nullptr);
    const MbVec3d at{x, y, 0.5};
    EXPECT_NEAR(pick.face->getValue(), fieldAt(at), 1e-5);
    MbVec3d mixed;
    for (const MoPickedNode& source : pick.face->getSourceNodes())
      mixed += geometry.getNode(source.node) * source.weight;
    EXPECT_LT(length(mixed - at), 1e-5);
    // The picked point lies in the cell's box.
    std::vector<std::size_t> nodes;
    mesh->getTopology().getCellNodes(pick.face->getSourceCell(), nodes);
    MbVec3d low{9, 9, 9}, high{-9, -9, -9};
    for (const std::size_t n : nodes)
      for (std::size_t a = 0; a < 3; ++a) {
        low[a] = std::min(low[a], geometry.getNode(n)[a]);
        high[a] = std::max(high[a], geometry.getNode(n)[a]);
      }
    EXPECT_TRUE(low.x <= x && x <= high.x && low.y <= y && y <= high.y && high.z == 0.5);
  }
}

TEST(SkinPick, KeepsTheMeshesOfOneNodeAtTwoPlacesApart)
{
  const Row row(VOLUME_MESH_REGULAR);
  const MbVolumeMeshRegular below(MbIndex3{2, 1, 1}, MbVec3d{0, 0, -5}, MbVec3d{2, 0.5, 1});
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  const SoRef<MoMesh> second(new MoMesh);
  second->setMesh(&below);
  scene.root->addChild(second);
  scene.root->addChild(scene.skin);
  const Pick pick(scene, 3.4f, 0.2f, true);
  const SoPickedPointList& points = pick.action.getPickedPointList();
  ASSERT_EQ(points.getLength(), 4);
  for (const auto& [index, cell] : {std::pair{0, 3u}, {1, 3u}, {2, 1u}, {3, 1u}}) {
    const auto* face = dynamic_cast<const MoFaceDetail*>(points[index]->getDetail());
    ASSERT_NE(face, nullptr);
    EXPECT_EQ(face->getSourceCell(), cell) << index;
  }
}

TEST(SkinPick, MeetsNoFacesThatAreSwitchedOff)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  const SoRef<MoDrawStyle> style(new MoDrawStyle);
  scene.above->addChild(style);
  const auto isHit = [&] { return Pick(scene, 2.5f, 0.25f).face != nullptr; };
  EXPECT_TRUE(isHit());
  style->displayFaces = FALSE;
  EXPECT_FALSE(isHit()) << "nothing is drawn";
  style->displayEdges = TRUE;
  EXPECT_FALSE(isHit()) << "edges take no picks";
  style->displayFaces = TRUE;
  EXPECT_TRUE(isHit());
  scene.above->removeAllChildren();
  auto* invisible = new SoDrawStyle;
  invisible->style = SoDrawStyle::INVISIBLE;
  scene.above->addChild(invisible);
  EXPECT_TRUE(isHit()) << "as the toolkit has it for its own shapes";
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
  EXPECT_EQ(boxOf(scene.root).getMin(), low);
  EXPECT_EQ(boxOf(scene.root).getMax(), low + SbVec3f(4, 0.5f, 0.25f));

  const Pick pick(scene, low[0] + 2.5f, low[1] + 0.25f);
  ASSERT_NE(pick.face, nullptr);
  EXPECT_EQ(pick.point->getPoint(), low + SbVec3f(2.5f, 0.25f, 0.25f));
  EXPECT_EQ(pick.face->getSourceCell(), 2u);

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
  EXPECT_EQ(boxOf(scene.root).getMax(), SbVec3f(4, 0.5f, 0.25f)) << "the move is taken back";
  EXPECT_NE(Pick(scene, 2.5f, 0.25f).point, nullptr);
}
