#include <tests/representations/SkinScene.h>

#include <velmo/extraction/extractors/MiSkinExtract.h>
#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoTessellator.h>

#include <tests/support/SceneQueries.h>
#include <tests/support/UniformTessellator.h>

#include <gmock/gmock.h>

namespace {

class SkinKinds : public testing::TestWithParam<MeshType>
{};

} // namespace

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
  EXPECT_TRUE(boxOf(scene.root).isEmpty());
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
  EXPECT_EQ(scene.counter.names.back(), "MiSkinExtractIjk")
      << "a new extractor is listened to as well";
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

  UniformTessellator tessellator; // only its stamps matter
  tessellator.declines = true;
  node->setTessellator(&tessellator);
  scene.traverse(2);
  EXPECT_EQ(scene.counter.count, 2);
  EXPECT_TRUE(scene.skin->isUsingTessellator());
  tessellator.touch();
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
