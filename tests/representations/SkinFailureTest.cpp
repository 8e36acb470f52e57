#include <tests/representations/SkinScene.h>

#include <tests/support/MeshZoo.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>

#include <new>
#include <stdexcept>

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

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

} // namespace

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
  EXPECT_THAT(log.texts(), AllOf(SizeIs(2), Each(HasSubstr(text)))) << "once per traversal";
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
