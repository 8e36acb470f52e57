#include <velmo/representation/MdExtractionThread.h>

#include <velmo/mesh/MbCellFilter.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoDrawStyle.h>
#include <velmo/nodes/MoTessellator.h>
#include <velmo/representation/MdMeshRepresentation.h>
#include <velmo/representations/MoMeshIsosurface.h>
#include <velmo/representations/MoMeshPlaneSlice.h>
#include <velmo/representations/MoMeshSlab.h>
#include <velmo/representations/MoMeshStreamline.h>
#include <velmo/representations/MoMeshSurface.h>

#include <tests/representations/SkinScene.h>
#include <tests/support/Background.h>
#include <tests/support/MeshZoo.h>
#include <tests/support/SlowSet.h>
#include <tests/support/UniformTessellator.h>
#include <tests/support/WarningLog.h>

#include <Inventor/sensors/SoNodeSensor.h>

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// A skin that extracts in the background, with a gate before each extraction.
class BackgroundScene : public SkinScene
{
public:
  BackgroundScene()
  {
    for (SoNode* child : std::initializer_list<SoNode*>{filter, tessellator, style})
      above->addChild(child);
    node->setExtractorCallback(gate);
    mesh->setMesh(row.mesh.get());
    set->setScalarSet(&row.perNode);
  }
  ~BackgroundScene()
  {
    gate.open();
    node->setExtractorCallback(nullptr);
  }
  /// Begins an extraction that does not come to its end.
  void startAndHold()
  {
    gate.close();
    traverse();
    ASSERT_TRUE(node->isExtracting());
    gate.waitUntilInside();
  }
  void settle()
  {
    gate.open();
    ::settle(*node, [this] { traverse(); });
  }

  const ScopedVariable asynchronous{"VELMO_ASYNC_PROCESSING", "1"};
  const Row row;
  GateCallback gate; // goes after the nodes that call it
  SoRef<MoCellFilter> filter{new MoCellFilter};
  SoRef<MoTessellator> tessellator{new MoTessellator};
  SoRef<MoDrawStyle> style{new MoDrawStyle};
};

/// Throws while it is read.
class FailingFilter final : public MiCellFilterI
{
public:
  bool acceptCell(std::size_t) const override { throw std::runtime_error("no filter today"); }
  std::uint64_t getTimeStamp() const override { return 5; }
};

} // namespace

TEST(BackgroundExtraction, TouchesTheNodeWhenItHasEndedAndIsDrawnByTheNextTraversal)
{
  BackgroundScene scene;
  int touches = 0;
  SoNodeSensor sensor([](void* count, SoSensor*) { ++*static_cast<int*>(count); }, &touches);
  sensor.setPriority(0);
  sensor.attach(scene.root);
  scene.startAndHold();
  for (int i = 0; i < 5; ++i) {
    processSensors();
    scene.traverse();
  }
  EXPECT_EQ(scene.faceCount(), -1) << "nobody waits";
  EXPECT_FALSE(scene.drawsAnything());
  EXPECT_EQ(touches, 0);
  EXPECT_EQ(scene.skin->getUnstructuredExtractor(), nullptr);

  scene.gate.open();
  scene.node->waitForExtraction();
  const auto before = scene.node->getTimeStamp();
  while (touches == 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    processSensors();
  }
  EXPECT_TRUE(scene.node->isExtracting()) << "until a traversal takes the result";
  scene.traverse();
  EXPECT_FALSE(scene.node->isExtracting());
  EXPECT_EQ(scene.faceCount(), 18);
  EXPECT_TRUE(scene.drawsAnything());
  EXPECT_NE(scene.node->getTimeStamp(), before);
  EXPECT_NE(scene.gate.thread, std::this_thread::get_id());

  for (int i = 0; i < 5; ++i) {
    scene.traverse();
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
    processSensors();
  }
  EXPECT_EQ(touches, 1);
  EXPECT_EQ(scene.gate.begun, 1) << "what is there is not extracted again";
  EXPECT_EQ(scene.fills(), "1 1 1");
}

TEST(BackgroundExtraction, FollowsEveryChangeThatIsMadeWhileATaskRuns)
{
  UniformTessellator fine;
  const MbIndexRangeFilterI firstTwo(0, 2), lastOne(3, 4);
  const Row other(VOLUME_MESH_UNSTRUCTURED);
  const auto longer = zoo::block(VOLUME_MESH_UNSTRUCTURED, {6, 1, 1});
  const auto regular = zoo::block(VOLUME_MESH_REGULAR, {5, 1, 1});
  struct Change
  {
    const char* what;
    std::function<void(BackgroundScene&)> make;
    int faces, extractions;
  };
  const Change kChanges[] = {
      {"a field, twice",
       [](auto& s) {
         s.skin->maxCellRanges = 0;
         s.traverse();
         s.skin->maxCellRanges = 1;
       },
       10, 2},
      {"a field and back", // nothing was noticed between
       [](auto& s) {
         s.skin->maxCellRanges = 1;
         s.skin->maxCellRanges.setNum(0);
       },
       18, 1},
      {"the filter", [&](auto& s) { s.filter->setCellFilter(&firstTwo); }, 10, 2},
      {"the mesh", [&](auto& s) { s.mesh->setMesh(longer.get()); }, 26, 2},
      {"the kind of the mesh", [&](auto& s) { s.mesh->setMesh(regular.get()); }, 22, 2},
      {"a tessellator", [&](auto& s) { s.tessellator->setTessellator(&fine); }, 18, 2},
      {"parallel", [](auto& s) { s.skin->parallel = FALSE; }, 18, 2},
      {"clear", [](auto& s) { s.skin->clear(); }, 18, 2},
      {"colours alone", [](auto& s) { s.skin->colorScalarSetId = 3; }, 18, 1},
      {"edges", [](auto& s) { s.style->displayEdges = TRUE; }, 18, 1},
      {"separate edges, which are extracted at once",
       [&](auto& s) {
         s.style->displayEdges = TRUE;
         s.tessellator->setTessellator(&fine);
       },
       18, 3},
      {"all at once",
       [&](auto& s) {
         s.mesh->setMesh(longer.get());
         s.filter->setCellFilter(&lastOne);
         s.skin->minCellRanges = 2;
         s.skin->parallel = FALSE;
       },
       6, 2},
  };
  for (const bool hadResult : {false, true})
    for (const Change& change : kChanges) {
      SCOPED_TRACE(std::string(change.what) + (hadResult ? ", after a result" : ""));
      BackgroundScene scene;
      const MbIndexRangeFilterI all(0, 100);
      if (hadResult) {
        scene.filter->setCellFilter(&all);
        scene.settle();
        scene.filter->setCellFilter(nullptr);
      }
      const int before = scene.gate.begun;
      scene.startAndHold();
      // The setters of nodes wait for the task.
      std::thread opener = scene.gate.openLater();
      change.make(scene);
      for (int i = 0; i < 3; ++i)
        scene.traverse();
      opener.join();
      scene.settle();
      EXPECT_EQ(scene.faceCount(), change.faces);
      EXPECT_TRUE(scene.drawsAnything());
      EXPECT_EQ(scene.gate.begun - before, change.extractions);
      EXPECT_EQ(scene.gate.begun, scene.gate.ended);
    }
}

TEST(BackgroundExtraction, OldResultsAreDrawnAndColouredWhileATaskRuns)
{
  BackgroundScene scene;
  scene.settle();
  EXPECT_EQ(scene.fills(), "1 1 1");
  scene.skin->maxCellRanges = 1;
  scene.startAndHold();
  EXPECT_EQ(scene.faceCount(), 18);
  scene.mapping->colors.set1Value(1, SbVec4f(1, 0, 0, 1));
  scene.traverse();
  EXPECT_EQ(scene.fills(), "1 1 2") << "the old faces in new colours";
  std::thread opener = scene.gate.openLater();
  scene.set->setScalarSet(nullptr); // waits: the task maps the set
  EXPECT_EQ(scene.gate.ended, scene.gate.begun);
  opener.join();
}

TEST(BackgroundExtraction, ACallbackThatSaysStopLeavesWhatWasThereAndPostsNothing)
{
  BackgroundScene scene;
  scene.settle();
  WarningLog warnings;
  scene.skin->maxCellRanges = 1;
  scene.gate.stops = true;
  scene.traverse();
  scene.node->waitForExtraction();
  EXPECT_EQ(scene.gate.begun, 2);
  EXPECT_EQ(scene.faceCount(), 18);
  scene.gate.stops = false;
  scene.settle();
  EXPECT_EQ(scene.faceCount(), 10) << "later traversals try again";
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(BackgroundExtraction, AnAbortAfterTheLastStepStillDropsTheResult)
{
  BackgroundScene scene;
  scene.skin->maxCellRanges = 1;
  scene.traverse();
  scene.node->waitForExtraction();
  scene.skin->maxCellRanges = 2;
  scene.traverse();
  EXPECT_EQ(scene.faceCount(), -1) << "the first range is never shown";
  scene.settle();
  EXPECT_EQ(scene.faceCount(), 14);
  EXPECT_EQ(scene.gate.begun, 2);
}

TEST(BackgroundExtraction, FailuresAndWarningsArePostedByTheTraversingThread)
{
  BackgroundScene scene;
  scene.settle();
  WarningLog log;
  const FailingFilter failing;
  scene.filter->setCellFilter(&failing);
  scene.traverse();
  scene.node->waitForExtraction();
  EXPECT_THAT(log.texts(), IsEmpty()) << "not by the worker";
  scene.traverse();
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("no filter today")));
  EXPECT_FALSE(scene.drawsAnything());
  scene.filter->setCellFilter(nullptr);
  scene.settle();
  EXPECT_EQ(scene.faceCount(), 18);

  log.clear();
  const MbScalardSetIj misfit("misfit", MiDataBinding::PerNode, 5, 4, counted(20));
  scene.set->setScalarSet(&misfit);
  scene.skin->clear(); // nothing is there that it could be mapped onto at once
  scene.traverse();
  scene.node->waitForExtraction();
  EXPECT_THAT(log.texts(), IsEmpty());
  scene.traverse();
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("Cannot extract data set with the given")));
}

TEST(BackgroundExtraction, WhatATaskReadsMayGoAsSoonAsNoNodeNamesIt)
{
  struct End
  {
    const char* what;
    std::function<void(BackgroundScene&)> make;
  };
  const End kEnds[] = {
      {"reset", [](auto& s) { s.mesh->reset(); }},
      {"another mesh", [](auto& s) { s.mesh->setMesh(s.row.mesh.get()); }},
      {"the mesh's node", [](auto& s) { s.root->removeChild(s.mesh), s.mesh.reset(); }},
      {"the scene", [](auto& s) { s.root.reset(), s.mesh.reset(); }},
      {"the representation",
       [](auto& s) {
         s.root->removeChild(s.node.get());
         s.node.reset();
       }},
      {"all extractions", [](auto&) { MoMeshRepresentation::stopExtractions(); }},
  };
  for (const End& end : kEnds) {
    SCOPED_TRACE(end.what);
    auto mesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, {4, 1, 1});
    BackgroundScene scene;
    SoRef<MoMeshSkin> keep(scene.node);
    const bool dropsNode = std::string(end.what) == "the representation";
    scene.mesh->setMesh(mesh.get());
    scene.startAndHold();
    if (dropsNode) keep.reset();
    std::thread opener = scene.gate.openLater();
    end.make(scene);
    EXPECT_FALSE(scene.gate.isInside()) << "the worker has left";
    EXPECT_EQ(scene.gate.ended, 1);
    opener.join();
    mesh.reset(); // read under the address sanitizer
    if (!scene.node) scene.node.reset(new MoMeshSkin);
  }
}

TEST(BackgroundExtraction, AnotherCallbackHearsOfTheNextExtractionAndTheOldOneOfNoMore)
{
  BackgroundScene scene;
  GateCallback next;
  scene.startAndHold();
  std::thread opener = scene.gate.openLater();
  scene.node->setExtractorCallback(&next); // waits for the call
  const int heard = scene.gate.ended;
  opener.join();
  ::settle(*scene.node, [&] { scene.traverse(); });
  EXPECT_EQ(scene.faceCount(), 18);
  EXPECT_EQ(scene.gate.ended, heard);
  EXPECT_EQ(next.begun, 0);
  scene.skin->maxCellRanges = 1;
  ::settle(*scene.node, [&] { scene.traverse(); });
  EXPECT_EQ(next.begun, 1);
  scene.node->setExtractorCallback(nullptr);
}

TEST(BackgroundExtraction, LooksForAnAbortThreeTimesASecondAtLeast)
{
  struct Slow final : MiExtractorCallback
  {
    void beginExtract(const std::string&, std::size_t) override {}
    void endExtract() override {}
    void beginPhase(const std::string&, std::size_t) override {}
    void endPhase() override {}
    bool endStep(std::size_t) override { return goOn; }
    double getEndStepCallPeriod() const override { return period; }
    double period = 2;
    bool goOn = true;
  } slow;
  const SoRef<MdUserExtractorCallback> user(new MdUserExtractorCallback);
  EXPECT_EQ(MdExtractionThreadBase::ProgressIndicator(user).getEndStepCallPeriod(), 0.3);
  user->setTarget(&slow);
  MdExtractionThreadBase::ProgressIndicator progress(user);
  EXPECT_EQ(progress.getEndStepCallPeriod(), 0.3);
  slow.period = 0.1;
  EXPECT_EQ(progress.getEndStepCallPeriod(), 0.1);
  EXPECT_TRUE(progress.endStep(1));
  slow.goOn = false;
  EXPECT_FALSE(progress.endStep(2));
  EXPECT_TRUE(progress.isAbortRequested()) << "the user's answer asks for it";
  slow.goOn = true;
  EXPECT_FALSE(progress.endStep(3));
}

TEST(BackgroundExtraction, ALongMappingForOthersThatIsCancelledAnswersNull)
{
  SkinScene scene;
  const auto mesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, {100, 50, 1});
  SlowSet set(101 * 51 * 2);
  set.milliseconds = 20;
  GateCallback stop;
  stop.stops = true;
  scene.mesh->setMesh(mesh.get());
  scene.skin->parallel = FALSE;
  scene.traverse();
  WarningLog warnings;
  scene.node->setExtractorCallback(&stop);
  scene.traverse();
  EXPECT_EQ(scene.node->extractScalarSet(&set), nullptr);
  EXPECT_EQ(stop.begun, 1);
  EXPECT_THAT(warnings.texts(), IsEmpty());
  stop.stops = false;
  EXPECT_NE(scene.node->extractScalarSet(&set), nullptr);
  scene.node->setExtractorCallback(nullptr);
}

template <class Node>
class BackgroundNodes : public testing::Test
{};
using AllNodes = testing::Types<MoMeshSkin, MoMeshSlab, MoMeshIsosurface, MoMeshPlaneSlice>;
TYPED_TEST_SUITE(BackgroundNodes, AllNodes);

// Only skin and slab read the preference; told otherwise, the others could as well.
TYPED_TEST(BackgroundNodes, SkinAndSlabReadThePreferenceAndAllCouldFollowIt)
{
  const auto block = zoo::block(VOLUME_MESH_REGULAR, {4, 3, 5});
  const MbScalardSetIjk heights("h", MiDataBinding::PerNode, {5, 4, 6}, counted(120));
  const auto setUp = [&](auto& scene) {
    scene.mesh->setMesh(block.get());
    scene.set->setScalarSet(&heights);
    if constexpr (std::is_same_v<TypeParam, MoMeshIsosurface>) scene.node->isovalue = 50;
    if constexpr (std::is_same_v<TypeParam, MoMeshPlaneSlice>)
      scene.node->plane = SbPlane(SbVec3f(1, 0, 0), 1.5f);
  };
  SurfaceScene<TypeParam> there, here;
  setUp(here);
  here.traverse();
  EXPECT_FALSE(here.node->isExtracting()) << "without the preference";
  {
    const ScopedVariable asynchronous("VELMO_ASYNC_PROCESSING", "1");
    setUp(there);
    there.traverse();
    const bool reads =
        std::is_same_v<TypeParam, MoMeshSkin> || std::is_same_v<TypeParam, MoMeshSlab>;
    EXPECT_EQ(there.node->isExtracting(), reads);
  }
  there.node->getImplementation().setAsynchronous(true);
  there.node->clear();
  there.node->waitForExtraction();
  there.traverse();
  EXPECT_TRUE(there.node->isExtracting());
  settle(*there.node, [&] { there.traverse(); });
  ASSERT_NE(there.surface(), nullptr);
  EXPECT_GT(there.faceCount(), 3);
  EXPECT_EQ(there.faceCount(), here.faceCount());
  for (std::size_t n = 0; n < here.surface()->geometry.getNodeCount(); ++n)
    EXPECT_EQ(there.surface()->geometry.getNode(n), here.surface()->geometry.getNode(n));
}
