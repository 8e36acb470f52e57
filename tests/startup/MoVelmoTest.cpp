#include <velmo/nodes/MoVelmo.h>

#include <velmo/extraction/interfaces/MiVelmo.h>
#include <velmo/nodes/MoDataBinding.h>
#include <velmo/nodes/MoDataBindingElement.h>
#include <velmo/nodes/MoMesh.h>
#include <velmo/toolkit/shapes/SoBBox.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>

#include <tests/support/StateProbe.h>

#include <gmock/gmock.h>
#include <Inventor/actions/SoGetBoundingBoxAction.h>
#include <Inventor/lists/SbStringList.h>
#include <Inventor/SoDB.h>
#include <Inventor/SoInput.h>

using testing::StrEq;

namespace {

// Each test starts and ends with the library and the toolkit stopped.
class MoVelmoTest : public testing::Test
{
protected:
  void SetUp() override { ASSERT_FALSE(MoVelmo::isInitialized() || SoDB::isInitialized()); }
  void TearDown() override
  {
    EXPECT_FALSE(MoVelmo::isInitialized());
    EXPECT_FALSE(MiVelmo::isInitialized());
    if (SoDB::isInitialized()) SoDB::finish();
  }
};

// Uses node fields, elements and several actions.
void useNodes()
{
  const SoRef<MoDataBinding> node(new MoDataBinding);
  EXPECT_EQ(node->dataBinding.getValue(), MoDataBinding::PER_CELL);
  EXPECT_TRUE(node->set("dataBinding PER_NODE"));
  lookBehind(
      [](SoState* state) {
        EXPECT_EQ(MoDataBindingElement::getDataBinding(state), MoDataBinding::PER_NODE);
      },
      node.get());
  const SoRef<SoSeparator> root(new SoSeparator);
  root->addChild(new MoMesh);
  root->addChild(new SoIndexedFaceSetOutline);
  SoGetBoundingBoxAction(SbViewportRegion(10, 10)).apply(root);
}

bool isRegistered(const char* name)
{
  return !SoType::fromName(name).isBad();
}

int shaderDirectories()
{
  int count = 0;
  const SbStringList& directories = SoInput::getDirectories();
  for (int i = 0; i < directories.getLength(); ++i)
    count += *directories[i] == "$KORAHOME/../Tarvin/shaders/";
  return count;
}

} // namespace

TEST_F(MoVelmoTest, NamesItself)
{
  EXPECT_THAT(MoVelmo::getVersion(), StrEq("10.19.1.0"));
  EXPECT_THAT(MoVelmo::getProductName(), StrEq("VelmoInterface"));
}

TEST_F(MoVelmoTest, CountsStarts)
{
  MoVelmo::finish();
  EXPECT_FALSE(MoVelmo::isInitialized());
  EXPECT_EQ(MoVelmo::init(), 1);
  EXPECT_EQ(MoVelmo::init(3), 2);
  MoVelmo::finish();
  EXPECT_TRUE(MoVelmo::isInitialized());
  EXPECT_TRUE(MiVelmo::isInitialized());
  useNodes();
  EXPECT_EQ(shaderDirectories(), 1);
  MoVelmo::finish();
  EXPECT_FALSE(SoDB::isInitialized());
  EXPECT_TRUE(MoMesh::getClassTypeId().isBad());
  MoVelmo::finish();
}

TEST_F(MoVelmoTest, StartsAgainAfterEachEnd)
{
  for (int cycle = 0; cycle < 4; ++cycle) {
    MoVelmo::init();
    useNodes();
    MoVelmo::finish();
    EXPECT_FALSE(SoDB::isInitialized());
    EXPECT_TRUE(MoDataBindingElement::getClassTypeId().isBad());
  }
}

TEST_F(MoVelmoTest, LeavesARunningToolkitToItsOwner)
{
  SoDB::init();
  for (int cycle = 0; cycle < 3; ++cycle) {
    MoVelmo::init();
    useNodes();
    EXPECT_EQ(shaderDirectories(), 1);
    MoVelmo::finish();
    ASSERT_TRUE(SoDB::isInitialized());
    EXPECT_FALSE(isRegistered("MoMesh"));
    EXPECT_FALSE(isRegistered("SoBBox"));
    // The toolkit goes on working: its actions still know our elements' types.
    const SoRef<SoSeparator> root(new SoSeparator);
    SoGetBoundingBoxAction(SbViewportRegion(10, 10)).apply(root);
  }
}

TEST_F(MoVelmoTest, SurvivesTheToolkitBeingStoppedFirst)
{
  for (int cycle = 0; cycle < 2; ++cycle) {
    MoVelmo::init();
    MoVelmo::init();
    useNodes();
    SoDB::finish();
    EXPECT_FALSE(MoVelmo::isInitialized());
    EXPECT_FALSE(MiVelmo::isInitialized());
    EXPECT_TRUE(MoMesh::getClassTypeId().isBad());
    EXPECT_TRUE(SoBBox::getClassTypeId().isBad());
    MoVelmo::finish();
  }
}

TEST_F(MoVelmoTest, RegistrationCanBeRepeatedClassByClass)
{
  MoVelmo::init();
  EXPECT_EQ(MoMesh::getRenderEngineMode().support, MoRenderEngineMode::FullySupported);
  const SoType type = MoMesh::getClassTypeId();
  const SoType element = MoDataBindingElement::getClassTypeId();
  MoMesh::initClass();
  EXPECT_EQ(MoMesh::getClassTypeId(), type);
  EXPECT_FALSE(MoActionNode::getClassTypeId().canCreateInstance());
  EXPECT_TRUE(type.isDerivedFrom(MoActionNode::getClassTypeId()));

  MoMesh::exitClass();
  MoMesh::exitClass();
  EXPECT_FALSE(isRegistered("MoMesh"));
  EXPECT_EQ(MoMesh::getRenderEngineMode().support, MoRenderEngineMode::NotRegistered);
  MoMesh::initClass();
  EXPECT_TRUE(MoMesh::getClassTypeId().isDerivedFrom(MoActionNode::getClassTypeId()));
  useNodes();

  // An element keeps its type for the actions that know it.
  MoDataBindingElement::exitClass();
  MoDataBindingElement::initClass();
  EXPECT_EQ(MoDataBindingElement::getClassTypeId(), element);
  useNodes();
  MoVelmo::finish();
}

TEST_F(MoVelmoTest, AClassBringsItsParentWithIt)
{
  SoDB::init();
  MoMesh::initClass();
  EXPECT_TRUE(isRegistered("MoActionNode"));
  EXPECT_TRUE(MoMesh::getClassTypeId().isDerivedFrom(MoActionNode::getClassTypeId()));
  MoMesh::exitClass();
  MoActionNode::exitClass();
}
