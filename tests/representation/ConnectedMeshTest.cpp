#include <velmo/mesh/MbCellFilter.h>
#include <velmo/mesh/MbDataSet.h>
#include <velmo/nodes/MoCellFilter.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoScalarSet.h>
#include <velmo/render/MdSurfaceMesh.h>
#include <velmo/representations/MoMeshIsosurface.h>
#include <velmo/representations/MoMeshPlaneSlice.h>
#include <velmo/representations/MoMeshPointProbe.h>
#include <velmo/representations/MoMeshSkin.h>
#include <velmo/representations/MoMeshSurface.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>

#include <tests/support/Background.h>
#include <tests/support/MeshZoo.h>
#include <tests/support/SceneQueries.h>
#include <tests/support/WarningLog.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/nodes/SoTranslation.h>
#include <Inventor/sensors/SoNodeSensor.h>

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

using testing::IsEmpty;

namespace {

/// Counts the notifications that reach a node.
class Notifications
{
public:
  explicit Notifications(SoNode* node)
      : m_sensor([](void* count, SoSensor*) { ++*static_cast<int*>(count); }, &count)
  {
    m_sensor.setPriority(0);
    m_sensor.attach(node);
  }
  int count = 0;

private:
  SoNodeSensor m_sensor;
};

/// Remembers where it found a cell.
struct ProbeLog final : MoMeshPointProbe::MoProbeCallback
{
  void motionCallback(std::uint64_t cell, const MoMeshPointProbe::ScalarResults&,
                      const MoMeshPointProbe::VectorResults&) override
  {
    ++calls;
    found = cell != ~std::uint64_t{0};
  }
  int calls = 0;
  bool found = false;
};

bool drawsAnything(const MoMeshSurface& node)
{
  MeshType type;
  return node.getSurfaceMesh().getExtractedMesh(type) != nullptr;
}

/// Where the things of a scene stand.
struct Layout
{
  const char* name;
  bool meshInside;    ///< the connected MoMesh stands inside the caching separator
  bool followerFirst; ///< and what is drawn of it before its source
};

/// A source that can be moved along x, in a separator of its own and a unit of y away, and a
/// surface and a probe that are connected to it, in another one. Both separators cache boxes and
/// pictures. At a place v, the surface is seen from above between x = v - 1 and v.
class Scene
{
public:
  explicit Scene(MoMeshRepresentation* representation, const Layout& layout)
      : source(representation),
        field(zoo::nodeSet(*block, [](const MbVec3d& p) { return p.x + 4 * p.z; }))
  {
    auto* away = new SoTranslation;
    away->translation = SbVec3f(0, 1, 0);
    for (SoNode* child : std::initializer_list<SoNode*>{away, mesh, set, filter, source})
      sourceScope->addChild(child);
    for (SoSeparator* scope : {sourceScope.get(), followerScope.get()}) {
      scope->renderCaching = SoSeparator::ON;
      scope->boundingBoxCaching = SoSeparator::ON;
      scope->renderCulling = SoSeparator::ON;
      scope->pickCulling = SoSeparator::ON;
    }
    root->addChild(camera);
    if (!layout.followerFirst) root->addChild(sourceScope);
    (layout.meshInside ? followerScope : root)->addChild(next);
    followerScope->addChild(follower);
    followerScope->addChild(probe);
    root->addChild(followerScope);
    if (layout.followerFirst) root->addChild(sourceScope);

    mesh->setMesh(block.get());
    set->setScalarSet(field.get());
    next->connectFrom(source);
    probe->setProbeCallback(probed);
    times = layout.followerFirst ? 2 : 1;
    canvas.setBackground({1, 1, 1, 1});
  }

  void traverse() { SoCallbackAction().apply(root); }
  /// The box of what follows, after the traversals that it takes until nothing asks for another.
  SbBox3f box()
  {
    for (int i = 0; i < times; ++i)
      boxOf(root);
    return boxOfFollower(root);
  }
  /// In the scene, or in a copy of it.
  SbBox3f boxOfFollower(SoSeparator* scene) const
  {
    const SoRef<SoPath> path(new SoPath(scene));
    path->append(root->findChild(followerScope));
    SoGetBoundingBoxAction action(SbViewportRegion(100, 100));
    action.apply(path);
    return action.getBoundingBox();
  }
  bool isPicked(int place)
  {
    for (int i = 1; i < times; ++i)
      PickDown(root, static_cast<float>(place) - 0.5f, 0.2f);
    const PickDown pick(root, static_cast<float>(place) - 0.5f, 0.2f);
    return pick.point && pick.point->getPath()->containsNode(follower.get());
  }
  /// Whether the picture shows the surface there, looked at from near by.
  bool isSeen(int place)
  {
    camera->position.setValue(static_cast<float>(place) - 0.5f, 0.5f, 5);
    camera->height = 1.8f;
    MbImage picture;
    for (int i = 0; i < times; ++i)
      picture = canvas.render(root, 250, 50);
    EXPECT_EQ(canvas.error(), "");
    return picture.pixel(125, 25 + 8)[0] < 250;
  }
  bool isProbed(int place)
  {
    probe->position.setValue(static_cast<float>(place) - 0.5f, 0.2f, surfaceHeight);
    const int before = probed.calls;
    for (int i = 0; i < times; ++i)
      traverse();
    EXPECT_GT(probed.calls, before);
    return probed.found;
  }

  SoRef<SoSeparator> root{new SoSeparator};
  SoRef<SoSeparator> sourceScope{new SoSeparator}, followerScope{new SoSeparator};
  SoRef<SoOrthographicCamera> camera{cameraAt(5, 0.5f, 5, 2.2f)};
  SoRef<MoMesh> mesh{new MoMesh}, next{new MoMesh};
  SoRef<MoScalarSet> set{new MoScalarSet};
  SoRef<MoCellFilter> filter{new MoCellFilter};
  SoRef<MoMeshRepresentation> source;
  SoRef<MoMeshSurface> follower{new MoMeshSurface};
  SoRef<MoMeshPointProbe> probe{new MoMeshPointProbe};
  std::unique_ptr<MiMesh> block = zoo::block(VOLUME_MESH_UNSTRUCTURED, {10, 1, 1});
  std::unique_ptr<MiTypedDataSet<double>> field;
  ProbeLog probed;
  MoOffscreenCanvas canvas;
  float surfaceHeight = 0.125f; ///< in the middle of where it is seen
  int times = 1;                ///< traversals until it follows
};

/// A kind of source and how it is moved.
struct Mover
{
  const char* name;
  std::function<MoMeshRepresentation*()> make;
  std::function<void(Scene&, int)> move;
};

template <class Node>
Node& as(Scene& scene)
{
  return dynamic_cast<Node&>(*scene.source);
}

const MbVolumeMeshRegular& boxBefore(int place)
{
  static const MbVolumeMeshRegular two(MbIndex3{1, 1, 1}, MbVec3d{1, 0, 0}, MbVec3d{1, 0.5, 0.25});
  static const MbVolumeMeshRegular eight(MbIndex3{1, 1, 1}, MbVec3d{7, 0, 0},
                                         MbVec3d{1, 0.5, 0.25});
  return place == 2 ? two : eight;
}

const Mover kMovers[] = {
    {"isovalue", [] { return new MoMeshIsosurface; },
     [](Scene& scene, int place) {
       as<MoMeshIsosurface>(scene).isovalue = static_cast<float>(place);
     }},
    {"plane", [] { return new MoMeshPlaneSlice; },
     [](Scene& scene, int place) {
       as<MoMeshPlaneSlice>(scene).plane =
           SbPlane(SbVec3f(1, 0, 4), static_cast<float>(place) / std::sqrt(17.0f));
     }},
    {"another mesh", [] { return new MoMeshSkin; },
     [](Scene& scene, int place) {
       scene.mesh->setMesh(&boxBefore(place));
       scene.set->setScalarSet(nullptr);
       scene.surfaceHeight = 0.25f;
     }},
};

const Layout kLayouts[] = {{"mesh inside, behind its source", true, false},
                           {"mesh outside, behind its source", false, false},
                           {"mesh inside, before its source", true, true},
                           {"mesh outside, before its source", false, true}};

} // namespace

// Every kind of traversal may be the first after the change.
TEST(ConnectedMesh, FollowsItsSourceInBoxesPicksPicturesAndProbes)
{
  const auto seen = [](Scene& scene, int first) {
    const auto expectBox = [&] {
      const SbBox3f box = scene.box();
      EXPECT_NEAR(box.getMin()[0], 7, 1e-5);
      EXPECT_NEAR(box.getMax()[0], 8, 1e-5);
    };
    const auto expectPick = [&] {
      EXPECT_TRUE(scene.isPicked(8));
      EXPECT_FALSE(scene.isPicked(2));
    };
    const auto expectPicture = [&] {
      EXPECT_TRUE(scene.isSeen(8));
      EXPECT_FALSE(scene.isSeen(2));
    };
    const auto expectProbe = [&] {
      EXPECT_TRUE(scene.isProbed(8));
      EXPECT_FALSE(scene.isProbed(2));
    };
    const std::function<void()> checks[] = {expectBox, expectPick, expectPicture, expectProbe};
    for (int i = 0; i < 4; ++i)
      checks[(first + i) % 4]();
  };
  for (const Mover& mover : kMovers)
    for (const Layout& layout : kLayouts)
      for (int first = 0; first < 4; ++first) {
        SCOPED_TRACE(std::string(mover.name) + ", " + layout.name + ", " + std::to_string(first));
        Scene scene(mover.make(), layout);
        mover.move(scene, 2);
        for (int i = 0; i < 3; ++i) {
          EXPECT_TRUE(scene.isSeen(2));
          EXPECT_EQ(scene.box().getMax()[0], 2);
          EXPECT_TRUE(scene.isPicked(2));
          EXPECT_TRUE(scene.isProbed(2));
        }
        const auto stamp = scene.source->getTimeStamp();
        mover.move(scene, 8);
        seen(scene, first);
        EXPECT_NE(scene.source->getTimeStamp(), stamp);
      }
}

TEST(ConnectedMesh, ProbesAgainWhenItsSourceExtractedSomethingElse)
{
  Scene scene(new MoMeshIsosurface, kLayouts[0]);
  as<MoMeshIsosurface>(scene).isovalue = 2;
  scene.probe->position.setValue(7.5f, 0.2f, 0.125f);
  scene.traverse();
  scene.traverse();
  EXPECT_EQ(scene.probed.calls, 1);
  EXPECT_FALSE(scene.probed.found);
  as<MoMeshIsosurface>(scene).isovalue = 8;
  boxOf(scene.root); // any action
  scene.traverse();
  EXPECT_EQ(scene.probed.calls, 2);
  EXPECT_TRUE(scene.probed.found);
}

// One traversal more is asked for after a change, and none after that.
TEST(ConnectedMesh, AsksForAnotherTraversalOnceAChange)
{
  class Failing final : public MiCellFilterI
  {
  public:
    bool acceptCell(std::size_t) const override { throw std::runtime_error("no filter today"); }
    std::uint64_t getTimeStamp() const override { return 5; }
  } failing;
  WarningLog log;
  for (const Layout& layout : kLayouts) {
    SCOPED_TRACE(layout.name);
    Scene scene(new MoMeshSkin, layout);
    Notifications heard(scene.root);
    const auto traversalsAskedFor = [&] {
      int asked = 0;
      for (int before = -1; asked < 10 && before != heard.count; ++asked) {
        before = heard.count;
        scene.traverse();
      }
      return asked - 1;
    };
    EXPECT_EQ(traversalsAskedFor(), 1) << "the first result";
    EXPECT_EQ(traversalsAskedFor(), 0);
    EXPECT_TRUE(drawsAnything(*scene.follower));
    as<MoMeshSkin>(scene).maxCellRanges = 3;
    EXPECT_EQ(traversalsAskedFor(), 1);
    scene.filter->setCellFilter(&failing);
    EXPECT_EQ(traversalsAskedFor(), 1) << "what fails is tried again when something else asks";
    EXPECT_FALSE(drawsAnything(*scene.follower));
    EXPECT_EQ(traversalsAskedFor(), 0);
    scene.filter->setCellFilter(nullptr);
    EXPECT_EQ(traversalsAskedFor(), 1);
    EXPECT_TRUE(drawsAnything(*scene.follower));
  }
}

TEST(ConnectedMesh, IsEmptyWhenItsSourceHasNothingToExtract)
{
  class Computed final : public MoMesh
  {
  public:
    const MiMesh* getMesh(MeshType& type) override
    {
      const MiMesh* mesh = MoMesh::getMesh(type);
      return hasMesh ? mesh : nullptr;
    }
    bool hasMesh = true;
  };
  struct End
  {
    const char* name;
    std::function<void(Scene&, Computed&, bool ends)> make;
  };
  const End kEnds[] = {
      {"no set of that id",
       [](Scene& scene, auto&, bool ends) {
         as<MoMeshIsosurface>(scene).isoScalarSetId = ends ? 7 : 0;
       }},
      {"no set in the node",
       [](Scene& scene, auto&, bool ends) {
         scene.set->setScalarSet(ends ? nullptr : scene.field.get());
       }},
      {"no mesh any more", [](Scene&, Computed& mesh, bool ends) { mesh.hasMesh = !ends; }},
      {"a node that was reset",
       [](Scene& scene, Computed& mesh, bool ends) {
         if (ends)
           mesh.reset();
         else
           mesh.setMesh(scene.block.get());
       }},
  };
  for (const End& end : kEnds)
    for (const bool followerFirst : {false, true}) {
      SCOPED_TRACE(std::string(end.name) + (followerFirst ? ", follower first" : ""));
      Scene scene(new MoMeshIsosurface, {"", true, followerFirst});
      as<MoMeshIsosurface>(scene).isovalue = 2;
      const SoRef<Computed> mesh(new Computed);
      mesh->setMesh(scene.block.get());
      scene.sourceScope->replaceChild(scene.mesh.get(), mesh);
      const SoRef<MoMesh> last(new MoMesh);
      last->connectFrom(scene.follower);
      const SoRef<MoMeshSurface> third(new MoMeshSurface);
      const SoRef<SoSeparator> thirdScope(new SoSeparator);
      thirdScope->addChild(last);
      thirdScope->addChild(third);
      scene.root->addChild(thirdScope);
      const auto expectDrawn = [&](bool drawn) {
        for (int i = 0; i < scene.times; ++i)
          scene.traverse();
        MeshType type;
        EXPECT_EQ(drawsAnything(*scene.follower), drawn);
        EXPECT_EQ(scene.follower->getExtractedMesh(type) != nullptr, drawn);
        EXPECT_EQ(drawsAnything(*third), drawn);
        EXPECT_EQ(scene.box().isEmpty(), !drawn);
        EXPECT_EQ(scene.isPicked(2), drawn);
      };
      expectDrawn(true);
      end.make(scene, *mesh, true);
      expectDrawn(false);
      end.make(scene, *mesh, false);
      mesh->touch();
      expectDrawn(true);
    }
}

TEST(ConnectedMesh, IsConnectedToTheCopyOfItsSourceInACopyOfBoth)
{
  for (const Layout& layout : kLayouts) {
    SCOPED_TRACE(layout.name);
    Scene scene(new MoMeshIsosurface, layout);
    as<MoMeshIsosurface>(scene).isovalue = 2;
    scene.traverse();
    const SoRef<SoSeparator> copy(static_cast<SoSeparator*>(scene.root->copy()));
    auto* source = findNode<MoMeshIsosurface>(copy);
    auto* follower = findNode<MoMeshSurface>(copy);
    ASSERT_TRUE(source && source != scene.source.get() && follower);
    source->isovalue = 8;
    boxOf(copy);
    boxOf(copy);
    EXPECT_NEAR(scene.boxOfFollower(copy).getMin()[0], 7, 1e-5);
    EXPECT_EQ(scene.box().getMax()[0], 2);

    // A copy of the follower alone is connected to the one source.
    const SoRef<SoSeparator> part(new SoSeparator);
    part->addChild(scene.next->copy());
    auto* second = new MoMeshSurface;
    part->addChild(second);
    SoCallbackAction().apply(part);
    EXPECT_TRUE(drawsAnything(*second));
    scene.mesh->setMesh(nullptr);
    scene.traverse();
    SoCallbackAction().apply(part);
    EXPECT_FALSE(drawsAnything(*second));
    EXPECT_TRUE(drawsAnything(*follower));
  }
}

// Read under the address sanitizer.
TEST(ConnectedMesh, MayOutliveItsSourceAndTheNodesThatItIsConnectedTo)
{
  for (const Layout& layout : kLayouts) {
    SCOPED_TRACE(layout.name);
    Scene scene(new MoMeshSkin, layout);
    const SoRef<MoMesh> last(new MoMesh);
    last->connectFrom(scene.follower);
    const SoRef<MoMeshSurface> third(new MoMeshSurface);
    scene.root->addChild(last);
    scene.root->addChild(third);
    scene.traverse();
    scene.traverse();
    EXPECT_TRUE(drawsAnything(*third));
    {
      const SoRef<MoMesh> gone(new MoMesh);
      gone->connectFrom(scene.source);
    }
    scene.sourceScope->removeChild(scene.source);
    const auto id = scene.next->getNodeId();
    scene.source.reset();
    EXPECT_NE(scene.next->getNodeId(), id) << "caches hear of it";
    EXPECT_EQ(third->extractScalarSet(scene.field.get()), nullptr);
    MeshType type;
    EXPECT_EQ(scene.next->getMesh(type), nullptr);
    EXPECT_FALSE(scene.isPicked(2));
    scene.traverse();
    EXPECT_FALSE(drawsAnything(*scene.follower));
    EXPECT_FALSE(drawsAnything(*third));
    // The mesh that the node had before it was connected counts again.
    const auto sheet = zoo::sheet(SURFACE_MESH_REGULAR, {2, 2, 0});
    scene.next->setMesh(sheet.get());
    {
      const SoRef<MoMeshSkin> other(new MoMeshSkin);
      scene.next->connectFrom(other);
      EXPECT_EQ(scene.next->getMesh(type), nullptr);
    }
    EXPECT_EQ(scene.next->getMesh(type), sheet.get());
    scene.traverse();
    EXPECT_TRUE(drawsAnything(*scene.follower));
    scene.next->reset();
  }
}

TEST(ConnectedMesh, ExtractsNothingFromItsOwnResult)
{
  Scene scene(new MoMeshSkin, kLayouts[0]);
  const SoRef<MoMesh> own(new MoMesh);
  own->setMesh(scene.block.get());
  const auto sheet = zoo::sheet(SURFACE_MESH_REGULAR, {2, 2, 0});
  const SoRef<MoMesh> first(new MoMesh);
  first->setMesh(sheet.get());
  const SoRef<MoMeshSurface> a(new MoMeshSurface), b(new MoMeshSurface);
  const SoRef<MoMesh> ofA(new MoMesh);
  ofA->connectFrom(a);
  const SoRef<SoSeparator> root(new SoSeparator);
  for (SoNode* child : std::initializer_list<SoNode*>{first, a, ofA, b})
    root->addChild(child);
  SoCallbackAction().apply(root);
  SoCallbackAction().apply(root);
  EXPECT_TRUE(drawsAnything(*b));
  for (MoMeshSurface* end : {a.get(), b.get()}) {
    first->connectFrom(end);
    for (int i = 0; i < 4; ++i)
      SoCallbackAction().apply(root);
    Notifications heard(root);
    SoCallbackAction().apply(root);
    EXPECT_EQ(heard.count, 0);
    EXPECT_FALSE(drawsAnything(*a));
    EXPECT_FALSE(drawsAnything(*b));
    EXPECT_EQ(b->extractScalarSet(scene.field.get()), nullptr);
    first->setMesh(sheet.get());
    SoCallbackAction().apply(root);
    SoCallbackAction().apply(root);
    EXPECT_TRUE(drawsAnything(*a));
    EXPECT_TRUE(drawsAnything(*b));
  }
}

// Of three in a row as well: what is drawn stays until all of them have something new.
TEST(BackgroundExtraction, WhatIsConnectedKeepsItsPictureWhileItsSourceExtractsAnew)
{
  const auto longer = zoo::block(VOLUME_MESH_UNSTRUCTURED, {12, 1, 1});
  const MbIndexRangeFilterI half(0, 5);
  struct Change
  {
    const char* name;
    std::function<void(Scene&)> make;
    std::size_t faces;
  };
  const Change kChanges[] = {
      {"another mesh", [&](Scene& scene) { scene.mesh->setMesh(longer.get()); }, 50},
      {"parallel", [](Scene& scene) { scene.source->parallel = FALSE; }, 42},
      {"a filter", [&](Scene& scene) { scene.filter->setCellFilter(&half); }, 22},
  };
  for (const Layout& layout : kLayouts)
    for (const Change& change : kChanges) {
      // Clears at once what comes before the next traversal.
      if (layout.followerFirst && std::string(change.name) == "parallel") continue;
      SCOPED_TRACE(std::string(change.name) + ", " + layout.name);
      GateCallback gate;
      const ScopedVariable asynchronous("VELMO_ASYNC_PROCESSING", "1");
      Scene scene(new MoMeshSkin, layout);
      scene.source->setExtractorCallback(gate);
      const SoRef<MoMesh> last(new MoMesh);
      last->connectFrom(scene.follower);
      const SoRef<MoMeshSurface> third(new MoMeshSurface);
      const SoRef<MoScalarSet> colors(new MoScalarSet);
      colors->setScalarSet(scene.field.get());
      for (SoNode* child : std::initializer_list<SoNode*>{colors, last, third})
        scene.root->addChild(child);
      const auto traverse = [&] { scene.traverse(); };
      settle(*scene.source, traverse);
      traverse();
      const auto counts = [&] {
        const auto& fills = third->getSurfaceMesh().getSceneGraph().getFillCounts();
        return std::pair(fills.geometry, fills.colors);
      };
      const auto facesOf = [](const MoMeshSurface& node) {
        MeshType type;
        const auto* mesh = dynamic_cast<const MeXSurfaceMeshUnstructured*>(
            node.getSurfaceMesh().getExtractedMesh(type));
        return mesh ? mesh->topology.getCellCount() : 0;
      };
      ASSERT_EQ(facesOf(*third), 42u);
      const auto filled = counts();

      gate.close();
      change.make(scene);
      traverse();
      gate.waitUntilInside();
      for (int i = 0; i < 3; ++i) {
        traverse();
        EXPECT_TRUE(scene.source->isExtracting());
        EXPECT_EQ(facesOf(*scene.follower), 42u);
        EXPECT_EQ(facesOf(*third), 42u);
        EXPECT_EQ(counts(), filled);
        EXPECT_TRUE(scene.isSeen(2));
        EXPECT_TRUE(scene.isPicked(2));
      }
      gate.open();
      settle(*scene.source, traverse);
      traverse();
      EXPECT_EQ(facesOf(*scene.follower), change.faces);
      EXPECT_EQ(facesOf(*third), change.faces);
      scene.source->setExtractorCallback(nullptr);
      colors->setScalarSet(nullptr);
      scene.filter->setCellFilter(nullptr);
      scene.mesh->reset();
      traverse();
      traverse();
      EXPECT_FALSE(drawsAnything(*third)) << "without a mesh it goes at once";
    }
}
