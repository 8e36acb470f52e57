#include <velmo/nodes/MoMesh.h>
#include <velmo/nodes/MoVelmo.h>
#include <velmo/representations/MoMeshSkin.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <tests/support/Background.h>
#include <tests/support/MeshZoo.h>

#include <Inventor/actions/SoCallbackAction.h>
#include <Inventor/nodes/SoSeparator.h>

#include <gmock/gmock.h>

TEST(BackgroundFinish, StopsWhatRunsAndHearsOfNothingLater)
{
  const ScopedVariable asynchronous("VELMO_ASYNC_PROCESSING", "1");
  SoDB::init(); // the application's own toolkit, which goes on
  MoVelmo::init();
  auto mesh = zoo::block(VOLUME_MESH_UNSTRUCTURED, {4, 1, 1});
  GateCallback gate;
  {
    const SoRef<SoSeparator> root(new SoSeparator);
    auto* meshNode = new MoMesh;
    meshNode->setMesh(mesh.get());
    auto* skin = new MoMeshSkin;
    skin->setExtractorCallback(gate);
    root->addChild(meshNode);
    root->addChild(skin);
    gate.close();
    SoCallbackAction().apply(root);
    gate.waitUntilInside();
    std::thread opener = gate.openLater();
    MoVelmo::finish();
    EXPECT_FALSE(gate.isInside());
    EXPECT_EQ(gate.ended, 1);
    opener.join();
    mesh.reset();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    processSensors();
  }
  SoDB::finish();
}
