#include <velmo/nodes/MoMesh.h>

#include <velmo/extraction/interfaces/MxMeshKind.h>
#include <velmo/nodes/MoMeshElement.h>
#include <velmo/representation/MoMeshRepresentation.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <tests/support/StateProbe.h>
#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>
#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/actions/SoGetMatrixAction.h>
#include <Inventor/actions/SoGetPrimitiveCountAction.h>
#include <Inventor/actions/SoHandleEventAction.h>
#include <Inventor/actions/SoRayPickAction.h>
#include <Inventor/actions/SoSearchAction.h>
#include <Inventor/events/SoKeyboardEvent.h>
#include <Inventor/sensors/SoNodeSensor.h>

#include <cstdlib>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// A mesh of one kind whose contents nobody asks for.
template <class Interface>
class EmptyMesh : public virtual Interface
{
public:
  decltype(std::declval<const Interface&>().getTopology()) getTopology() const override
  {
    std::abort();
  }
  decltype(std::declval<const Interface&>().getGeometry()) getGeometry() const override
  {
    std::abort();
  }
};

// Several kinds in one object.
class VolumeOfThreeKinds : public EmptyMesh<MiVolumeMeshCurvilinear>,
                           public EmptyMesh<MiVolumeMeshHexahedronIjk>,
                           public EmptyMesh<MiVolumeMeshUnstructured>
{};

// EmptyMesh would override the geometry accessor of both twice, with unrelated results.
class CurvilinearPart : public EmptyMesh<MiSurfaceMeshCurvilinear>
{};
class RegularPart : public EmptyMesh<MiSurfaceMeshRegular>
{};

class NoKindMesh : public MiMesh
{};

class IdleRepresentation : public MoMeshRepresentation
{
public:
  void doExtract(SoAction*) override {}
};

struct Published
{
  const MiMesh* mesh = nullptr;
  MeshType type = VOLUME_MESH_REGULAR;
  std::uint64_t stamp = 0;
};

Published publishedBy(MoMesh* node)
{
  Published found;
  lookBehind(
      [&](SoState* state) { found.mesh = MoMeshElement::getMesh(state, found.type, found.stamp); },
      node);
  return found;
}

template <MeshType... Kinds, class Check>
void forEachKind(MxKinds<Kinds...>, const Check& check)
{
  (check.template operator()<Kinds>(), ...);
}

} // namespace

TEST(MoMesh, PublishesAMeshOfEveryKind)
{
  WarningLog warnings;
  const SoRef<MoMesh> node(new MoMesh);
  forEachKind(MxAllKinds{}, [&]<MeshType Kind>() {
    const EmptyMesh<typename MxMeshKind<Kind>::Interface> mesh;
    node->setMesh(&mesh);
    const Published found = publishedBy(node);
    EXPECT_EQ(found.mesh, &mesh) << meshTypeName(Kind);
    EXPECT_EQ(found.type, Kind) << meshTypeName(Kind);
  });
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(MoMesh, TakesTheFirstOfSeveralKinds)
{
  // A mesh class that is also a surface of another kind, by its interfaces alone.
  class RegularAndCurvilinear : public CurvilinearPart, public RegularPart
  {};
  const SoRef<MoMesh> node(new MoMesh);
  const VolumeOfThreeKinds volume;
  node->setMesh(static_cast<const MiVolumeMeshCurvilinear*>(&volume));
  EXPECT_EQ(publishedBy(node).type, VOLUME_MESH_UNSTRUCTURED);
  const RegularAndCurvilinear surface;
  node->setMesh(static_cast<const MiSurfaceMeshCurvilinear*>(&surface));
  EXPECT_EQ(publishedBy(node).type, SURFACE_MESH_REGULAR);
}

TEST(MoMesh, RefusesAMeshOfNoKnownKindWithOneWarning)
{
  WarningLog warnings;
  const SoRef<MoMesh> node(new MoMesh);
  const EmptyMesh<MiVolumeMeshRegular> mesh;
  node->setMesh(&mesh);
  const std::uint64_t before = publishedBy(node).stamp;

  const NoKindMesh stranger;
  node->setMesh(&stranger);

  const Published found = publishedBy(node);
  EXPECT_EQ(found.mesh, nullptr);
  EXPECT_EQ(found.type, UNDEFINED_MESH);
  EXPECT_NE(found.stamp, before);
  EXPECT_THAT(warnings.texts(), ElementsAre("MoMesh::setMesh: Not supported mesh type."));
}

TEST(MoMesh, GivesEveryContentANewStampAndTellsItsSensors)
{
  WarningLog warnings;
  int notified = 0;
  const auto count = [](void* data, SoSensor*) { ++*static_cast<int*>(data); };
  const SoRef<MoMesh> node(new MoMesh);
  SoNodeSensor sensor(count, &notified);
  sensor.setPriority(0);
  sensor.attach(node);
  const EmptyMesh<MiLineMeshRegular> mesh;

  std::vector<std::uint64_t> stamps{publishedBy(node).stamp};
  EXPECT_EQ(stamps[0], ~std::uint64_t{0});
  node->setMesh(&mesh);
  stamps.push_back(publishedBy(node).stamp);
  node->setMesh(&mesh);
  stamps.push_back(publishedBy(node).stamp);
  node->setMesh(nullptr);
  stamps.push_back(publishedBy(node).stamp);
  EXPECT_EQ(publishedBy(node).type, UNDEFINED_MESH);
  node->setMesh(&mesh);
  node->reset();
  stamps.push_back(publishedBy(node).stamp);
  EXPECT_EQ(publishedBy(node).mesh, nullptr);
  EXPECT_EQ(publishedBy(node).type, UNDEFINED_MESH);

  EXPECT_EQ(std::set(stamps.begin(), stamps.end()).size(), stamps.size());
  EXPECT_EQ(notified, 5);
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(MoMesh, ReachesEveryActionButSearchAndWrite)
{
  int seen = 0;
  const EmptyMesh<MiVolumeMeshRectilinear> mesh;
  const SoRef<MoMesh> node(new MoMesh);
  node->setMesh(&mesh);
  const StateProbe probe([&](SoAction* action) {
    MeshType type;
    std::uint64_t stamp;
    seen += MoMeshElement::getMesh(action->getState(), type, stamp) == &mesh;
  });
  const SoRef<SoGroup> root(new SoGroup); // a separator keeps rays from a scene without extent
  root->addChild(node);
  root->addChild(probe.node());
  const SbViewportRegion viewport(100, 100);

  SoCallbackAction().apply(root);
  EXPECT_EQ(seen, 1);
  SoGetBoundingBoxAction(viewport).apply(root);
  EXPECT_EQ(seen, 2);
  const SoRef<SoPath> path(new SoPath(root)); // the matrix of a group is that of a path into it
  path->append(probe.node());
  SoGetMatrixAction(viewport).apply(path);
  EXPECT_EQ(seen, 3);
  const SoKeyboardEvent event;
  SoHandleEventAction events(viewport);
  events.setEvent(&event);
  events.apply(root);
  EXPECT_EQ(seen, 4);
  SoRayPickAction pick(viewport);
  pick.setRay(SbVec3f(0, 0, 5), SbVec3f(0, 0, -1));
  pick.apply(root);
  EXPECT_EQ(seen, 5);
  SoGetPrimitiveCountAction().apply(root);
  EXPECT_EQ(seen, 6);

  // A search finds the node, and passes it as any node without children.
  SoSearchAction search;
  search.setType(MoMesh::getClassTypeId());
  search.apply(root);
  ASSERT_NE(search.getPath(), nullptr);
  EXPECT_EQ(search.getPath()->getTail(), node.get());
  EXPECT_EQ(seen, 6);
  EXPECT_FALSE(node->isGroup());
}

TEST(MoMesh, IsScopedBySeparatorsAndKeepsItsMeshWhenCopied)
{
  const EmptyMesh<MiVolumeMeshRegular> outer;
  const EmptyMesh<MiSurfaceMeshRegular> inner;
  const SoRef<MoMesh> first(new MoMesh);
  first->setMesh(&outer);
  const SoRef<MoMesh> second(new MoMesh);
  second->setMesh(&inner);
  SoSeparator* scope = new SoSeparator;
  scope->addChild(second);
  lookBehind(
      [&](SoState* state) {
        MeshType type;
        std::uint64_t stamp;
        EXPECT_EQ(MoMeshElement::getMesh(state, type, stamp), &outer);
        EXPECT_EQ(MoMeshElement::getConnectedRepresentation(state, type), nullptr);
        EXPECT_EQ(type, VOLUME_MESH_REGULAR);
      },
      static_cast<SoNode*>(first), static_cast<SoNode*>(scope));

  const SoRef<MoMesh> copy(static_cast<MoMesh*>(first->copy()));
  EXPECT_EQ(publishedBy(copy).mesh, &outer);
  EXPECT_EQ(publishedBy(copy).type, VOLUME_MESH_REGULAR);
}

TEST(MoMesh, PublishesTheRepresentationThatItIsConnectedFrom)
{
  const EmptyMesh<MiVolumeMeshRegular> mesh;
  const SoRef<MoMesh> node(new MoMesh);
  const SoRef<IdleRepresentation> representation(new IdleRepresentation);
  const auto connectedTo = [](MoMesh* published) {
    MoMeshRepresentation* found = nullptr;
    MeshType type;
    lookBehind(
        [&](SoState* state) { found = MoMeshElement::getConnectedRepresentation(state, type); },
        published);
    return found;
  };
  const auto connected = [&] { return connectedTo(node); };
  node->setMesh(&mesh);
  auto id = node->getNodeId();
  node->connectFrom(representation);
  EXPECT_NE(node->getNodeId(), id);

  Published found = publishedBy(node);
  EXPECT_EQ(found.mesh, nullptr) << "nothing is extracted yet";
  EXPECT_EQ(found.type, UNDEFINED_MESH);
  EXPECT_EQ(found.stamp, representation->getTimeStamp());
  EXPECT_EQ(connected(), representation.get());
  representation->clear();
  EXPECT_NE(representation->getTimeStamp(), found.stamp);
  EXPECT_EQ(publishedBy(node).stamp, representation->getTimeStamp());

  // A copy of the node alone has the same source.
  const SoRef<MoMesh> copy(static_cast<MoMesh*>(node->copy()));
  EXPECT_EQ(connectedTo(copy), representation.get());
  EXPECT_EQ(publishedBy(copy).mesh, nullptr);

  node->connectFrom(nullptr);
  EXPECT_EQ(publishedBy(node).mesh, &mesh);
  EXPECT_NE(publishedBy(node).stamp, representation->getTimeStamp());
  node->connectFrom(representation);
  node->setMesh(&mesh);
  EXPECT_EQ(connected(), nullptr);
  EXPECT_EQ(publishedBy(node).type, VOLUME_MESH_REGULAR);
}
