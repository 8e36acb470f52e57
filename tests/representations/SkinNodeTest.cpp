#include <tests/representations/SkinScene.h>

#include <velmo/render/MdLineMesh.h>
#include <velmo/render/MdPointMesh.h>

#include <tests/support/SceneQueries.h>

#include <Inventor/sensors/SoNodeSensor.h>

#include <gmock/gmock.h>

using testing::HasSubstr;

TEST(MoMeshSkin, RemembersFieldChangesUntilItIsTraversed)
{
  SkinScene scene;
  EXPECT_TRUE(scene.skin->isModified());
  scene.traverse();
  EXPECT_FALSE(scene.skin->isModified());
  scene.skin->maxCellRanges = 3;
  EXPECT_TRUE(scene.skin->isModified());
  scene.traverse();
  scene.skin->getSurfaceMesh().getSeparator()->touch();
  EXPECT_FALSE(scene.skin->isModified()) << "hidden nodes are no fields";
}

TEST(MoMeshSkin, TellsNobodyAboveWhatItBuilds)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.set->setScalarSet(&row.perNode);
  int heard = 0;
  SoNodeSensor sensor([](void* count, SoSensor*) { ++*static_cast<int*>(count); }, &heard);
  sensor.setPriority(0);
  sensor.attach(scene.root);
  scene.traverse(2);
  EXPECT_EQ(heard, 0);
  EXPECT_TRUE(scene.drawsAnything());
  scene.mesh->reset();
  const int afterReset = heard;
  scene.traverse(2);
  EXPECT_EQ(heard, afterReset) << "emptying is silent too";
  scene.skin->maxCellRanges = 1;
  EXPECT_GT(heard, afterReset) << "the node itself is heard";
}

TEST(MoMeshSkin, HidesItsNodesFromSearchesAndFiles)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.skin->maxCellRanges = 2;
  scene.traverse();
  EXPECT_EQ(findNode<SoNode>(scene.root, "SurfaceMesh_Display"), nullptr);

  const std::string text = textOf(scene.skin);
  EXPECT_THAT(text, HasSubstr("maxCellRanges 0x2"));
  EXPECT_THAT(text, testing::Not(HasSubstr("SurfaceMesh_Display")));
  const auto read = readNode<MoMeshSkin>(text);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->maxCellRanges[0], 2u);
}

TEST(MoMeshSkin, CopiesBuildTheirOwnNodes)
{
  const Row row;
  SkinScene scene;
  scene.mesh->setMesh(row.mesh.get());
  scene.skin->maxCellRanges = 1;
  scene.traverse();
  const SoRef<MoMeshSkin> copy(static_cast<MoMeshSkin*>(scene.skin->copy()));
  EXPECT_EQ(copy->maxCellRanges[0], 1u);
  EXPECT_NE((*copy->getChildren())[0], (*scene.skin->getChildren())[0]);
  MeshType type;
  EXPECT_EQ(copy->getExtractedMesh(type), nullptr);
  scene.root->addChild(copy);
  scene.traverse();
  ASSERT_NE(copy->getExtractedMesh(type), nullptr);
  EXPECT_NE(copy->getExtractedMesh(type), scene.surface());
}

TEST(MoMeshSkin, ShowsItsHiddenRootInOrder)
{
  const SoRef<MoMeshSkin> skin(new MoMeshSkin);
  EXPECT_EQ(skin->getChildren()->getLength(), 1);
  const auto* root = static_cast<SoSeparator*>((*skin->getChildren())[0]);
  ASSERT_EQ(root->getNumChildren(), 5);
  EXPECT_EQ(root->getChild(0), skin->getSurfaceMesh().getSeparator());
  EXPECT_STREQ(root->getChild(1)->getName().getString(), "Fading_Shader");
  EXPECT_STREQ(root->getChild(2)->getTypeId().getName().getString(), "PickStyle");
  EXPECT_EQ(root->getChild(3), skin->getLineMesh().getSeparator());
  EXPECT_EQ(root->getChild(4), skin->getPointMesh().getSeparator());
  EXPECT_FALSE(skin->affectsState());
  EXPECT_EQ(skin->minCellRanges.getNum(), 0);
  EXPECT_TRUE(skin->maxCellRanges.isDefault());
}
