#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/mesh/MbTessellator.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/representation/MdMeshRepresentation.h>
#include <velmo/representations/MoMeshSlab.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <tests/representations/SkinScene.h>
#include <tests/support/Background.h>
#include <tests/support/MeshZoo.h>
#include <tests/support/WarningLog.h>

#include <Inventor/nodes/SoOrthographicCamera.h>

#include <gmock/gmock.h>

#include <malloc.h>
#include <random>

using testing::IsEmpty;

namespace {

/// A scene whose inputs are changed at random: of an IJK mesh with a skin and a slab, or of an
/// unstructured quadratic one with a skin.
class StressScene : public SkinScene
{
public:
  explicit StressScene(bool structured)
  {
    for (const MbIndex3 cells : {MbIndex3{12, 9, 6}, {5, 16, 7}, {20, 4, 4}}) {
      if (structured)
        meshes.push_back(zoo::block(VOLUME_MESH_CURVILINEAR, cells));
      else
        meshes.push_back(zoo::blockOf(MiCellShape::QuadraticTetrahedron, cells));
    }
    root->insertChild(camera, 0);
    camera->viewportMapping = SoOrthographicCamera::LEAVE_ALONE;
    camera->position.setValue(6, 4, 30);
    camera->height = 20;
    camera->farDistance = 100;
    above->addChild(filter);
    above->addChild(tessellator);
    above->addChild(style);
    if (structured) root->addChild(slab);
    mesh->setMesh(meshes[0].get());
  }

  /// Makes a change, or none.
  void change(std::mt19937& random)
  {
    const auto pick = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
    switch (pick(12)) {
    case 0:
      mesh->setMesh(meshes[pick(3)].get());
      break;
    case 1: { // a mesh goes for good, and another takes its place
      auto& old = meshes[pick(3)];
      mesh->reset();
      auto next = dynamic_cast<MbVolumeMeshUnstructured*>(old.get())
                      ? std::unique_ptr<MiMesh>(
                            zoo::blockOf(MiCellShape::QuadraticTetrahedron, {3 + pick(5), 4, 5}))
                      : zoo::block(VOLUME_MESH_CURVILINEAR, {3 + pick(15), 4, 5});
      old = std::move(next);
      mesh->setMesh(old.get());
      break;
    }
    case 2:
    case 3:
      skin->minCellRanges.setNum(0);
      skin->maxCellRanges = 20 + pick(500);
      if (pick(2)) skin->minCellRanges = pick(40);
      break;
    case 4:
      ranges[1] = std::make_unique<MbIndexRangeFilterI>(pick(50), 100 + pick(400));
      filter->setCellFilter(ranges[1].get());
      std::swap(ranges[0], ranges[1]);
      break;
    case 5:
      filter->reset();
      break;
    case 6:
      tessellator->setTessellator(pick(2) ? &fine : nullptr);
      break;
    case 7:
      skin->parallel = !skin->parallel.getValue();
      break;
    case 8:
      values = std::make_unique<MbScalardSetI>("v", MiDataBinding::PerCell,
                                               std::vector<double>(100 + pick(2), 1.0 * pick(10)));
      skin->colorScalarSetId = static_cast<int>(pick(3)) + 1; // none there: no misfits to warn of
      break;
    case 9:
      style->displayEdges = pick(2);
      break;
    case 10:
      slab->index = pick(6);
      slab->dimension = static_cast<int>(pick(3));
      break;
    default:
      break; // time to get on
    }
  }

  /// Everything that is drawn of one node, as text.
  static std::string contents(const MoMeshRepresentation& node)
  {
    MeshType type;
    const auto* surface =
        dynamic_cast<const MeXSurfaceMeshUnstructured*>(node.getExtractedMesh(type));
    if (!surface) return "none";
    std::string text;
    const auto append = [&](const auto& items) {
      text.append(reinterpret_cast<const char*>(items.data()), items.size() * sizeof items[0]);
    };
    const MeXTopologyExplicitI& topology = surface->getTopology();
    for (std::size_t cell = 0; cell < topology.getCellCount(); ++cell)
      append(topology.getCell(cell));
    append(surface->getGeometry().points());
    return text;
  }
  bool isExtracting() const { return skin->isExtracting() || slab->isExtracting(); }
  void settle()
  {
    for (traverse(); isExtracting(); traverse()) {
      skin->waitForExtraction();
      slab->waitForExtraction();
    }
  }

  std::vector<std::unique_ptr<MiMesh>> meshes;
  std::unique_ptr<MbIndexRangeFilterI> ranges[2];
  std::unique_ptr<MbScalardSetI> values;
  MbUniformTessellator fine{2};
  SoRef<SoOrthographicCamera> camera{new SoOrthographicCamera};
  SoRef<MoCellFilter> filter{new MoCellFilter};
  SoRef<MoTessellator> tessellator{new MoTessellator};
  SoRef<MoDrawStyle> style{new MoDrawStyle};
  SoRef<MoMeshSlab> slab{new MoMeshSlab};
};

std::size_t bytesInUse()
{
  return mallinfo2().uordblks;
}

/// For long runs: VELMO_STRESS makes the test so many times as long.
int roundCount()
{
  const char* factor = std::getenv("VELMO_STRESS");
  return 60 * std::max(1, factor ? std::atoi(factor) : 1);
}

} // namespace

class BackgroundStress : public testing::TestWithParam<bool>
{};
INSTANTIATE_TEST_SUITE_P(Meshes, BackgroundStress, testing::Bool(),
                         [](const auto& info) { return info.param ? "Grid" : "Unstructured"; });

TEST_P(BackgroundStress, TheLastStateWinsWhateverChangesWhileTasksRun)
{
  const ScopedVariable asynchronous("VELMO_ASYNC_PROCESSING", "1");
  WarningLog warnings;
  StressScene scene(GetParam());
  scene.counter.count = 0;
  scene.node->setExtractorCallback(nullptr);
  MoOffscreenCanvas canvas;
  std::mt19937 random(7);
  std::size_t early = 0;
  int results = 0, running = 0;
  for (int round = 0; round < roundCount(); ++round) {
    for (int step = 0; step < 10; ++step) {
      scene.change(random);
      if (step % 5 == 0)
        EXPECT_FALSE(canvas.render(scene.root, 64, 64).empty());
      else
        scene.traverse();
      running += scene.isExtracting();
      processSensors();
      if (random() % 3 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    scene.settle();
    results += scene.faceCount() > 0;
    const std::string there = scene.contents(*scene.skin), thereSlab = scene.contents(*scene.slab);
    // The same once more, at once.
    for (const auto* node : {static_cast<MoMeshRepresentation*>(scene.skin.get()),
                             static_cast<MoMeshRepresentation*>(scene.slab.get())})
    {
      node->getImplementation().setAsynchronous(false);
      const_cast<MoMeshRepresentation*>(node)->clear();
    }
    scene.traverse();
    ASSERT_FALSE(scene.isExtracting());
    ASSERT_EQ(there, scene.contents(*scene.skin)) << "round " << round;
    ASSERT_EQ(thereSlab, scene.contents(*scene.slab)) << "round " << round;
    scene.skin->getImplementation().setAsynchronous(true);
    scene.slab->getImplementation().setAsynchronous(true);
    if (round == 20) early = bytesInUse();
  }
  EXPECT_GT(results, 20);
  EXPECT_GT(running, 100) << "or nothing was tested";
  EXPECT_THAT(warnings.texts(), IsEmpty());
  // Each of the hundreds of results has tens of kilobytes. The sanitizers count otherwise.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
  EXPECT_LT(bytesInUse(), early + (1 << 20));
#endif
  scene.mesh->reset();
}
