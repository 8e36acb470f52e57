#include <velmo/toolkit/classes/MxTextRegistry.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/offscreen/MoOffscreenCanvas.h>
#include <velmo/toolkit/shapes/MxGlCapabilities.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>
#include <velmo/toolkit/shapes/TkShaderObject.h>
#include <velmo/toolkit/shapes/TkShaderProgram.h>
#include <velmo/toolkit/shapes/TkVertexProperty.h>

#include <tests/support/WarningLog.h>

#include <gmock/gmock.h>
#include <Inventor/nodes/SoBaseColor.h>
#include <Inventor/nodes/SoLightModel.h>
#include <Inventor/nodes/SoOrthographicCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/nodes/SoShaderParameter.h>
#include <Inventor/sensors/SoNodeSensor.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kVertexText = "#version 130\n"
                                    "void main() { gl_Position = ftransform(); }\n";
constexpr const char* kFragmentText =
    "#version 130\n"
    "uniform float blue;\n"
    "#ifndef GREEN\n"
    "#define GREEN 0.0\n"
    "#endif\n"
    "void main() { gl_FragColor = vec4(0.0, GREEN, blue, 1.0); }\n";

// A red square over the whole picture, behind a program with texts from memory.
class ShaderTest : public testing::Test
{
protected:
  void SetUp() override
  {
    MxTextRegistry::addInMemoryTextFile("test_vert.glsl", kVertexText);
    MxTextRegistry::addInMemoryTextFile("test_frag.glsl", kFragmentText);
    root.reset(new SoSeparator);
    root->addChild(new SoOrthographicCamera);
    auto* model = new SoLightModel;
    model->model = SoLightModel::BASE_COLOR;
    root->addChild(model);
    auto* color = new SoBaseColor;
    color->rgb.setValue(1, 0, 0);
    root->addChild(color);
    vertex = new TkVertexShader;
    fragment = new TkFragmentShader;
    vertex->sourceProgram = "test_vert.glsl";
    fragment->sourceProgram = "test_frag.glsl";
    blue = new SoShaderParameter1f;
    blue->name = "blue";
    blue->value = 1;
    fragment->parameter = blue;
    program = new TkShaderProgram;
    program->shaderObject.set1Value(0, vertex);
    program->shaderObject.set1Value(1, fragment);
    root->addChild(program);
    auto* square = new SoIndexedFaceSetOutline;
    auto* property = new TkVertexProperty;
    property->set("vertex [ -2 -2 0, 2 -2 0, 2 2 0, -2 2 0 ]");
    square->vertexProperty = property;
    square->set("coordIndex [ 0, 1, 2, 3, -1 ]");
    root->addChild(square);
  }
  void TearDown() override
  {
    MxTextRegistry::removeInMemoryTextFile("test_vert.glsl");
    MxTextRegistry::removeInMemoryTextFile("test_frag.glsl");
  }

  std::vector<int> color()
  {
    const MbImage picture = canvas.render(root, 16, 16);
    EXPECT_EQ(canvas.error(), "");
    if (picture.empty()) return {};
    const std::uint8_t* pixel = picture.pixel(8, 8);
    return {pixel[0], pixel[1], pixel[2]};
  }

  MoOffscreenCanvas
      canvas; // one for all frames: what the toolkit keeps of a program lives on in it
  SoRef<SoSeparator> root;
  TkShaderProgram* program = nullptr;
  TkVertexShader* vertex = nullptr;
  TkFragmentShader* fragment = nullptr;
  SoShaderParameter1f* blue = nullptr;
};

} // namespace

TEST_F(ShaderTest, DrawsWithTextsFromMemoryAndKeepsTheirNames)
{
  WarningLog warnings;
  int notified = 0;
  const auto count = [](void* data, SoSensor*) { ++*static_cast<int*>(data); };
  SoNodeSensor sensor(count, &notified);
  sensor.setPriority(0);
  sensor.attach(root);

  EXPECT_THAT(color(), ElementsAre(0, 0, 255));
  EXPECT_EQ(notified, 0) << "drawing asks for no further drawing";
  EXPECT_EQ(fragment->sourceProgram.getValue(), "test_frag.glsl");
  EXPECT_EQ(fragment->sourceType.getValue(), SoShaderObject::FILENAME);

  blue->value = 0;
  EXPECT_THAT(color(), ElementsAre(0, 0, 0));
  fragment->setDefine("GREEN", "1.0");
  EXPECT_THAT(color(), ElementsAre(0, 255, 0));
  fragment->removeDefine("GREEN");
  EXPECT_THAT(color(), ElementsAre(0, 0, 0));
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST_F(ShaderTest, IsOffWhileNoObjectIsActive)
{
  WarningLog warnings;
  EXPECT_THAT(color(), ElementsAre(0, 0, 255));
  vertex->isActive = FALSE;
  fragment->isActive = FALSE;
  EXPECT_THAT(color(), ElementsAre(255, 0, 0));
  EXPECT_THAT(color(), ElementsAre(255, 0, 0));
  vertex->isActive = TRUE;
  fragment->isActive = TRUE;
  EXPECT_THAT(color(), ElementsAre(0, 0, 255));
  EXPECT_THAT(warnings.texts(), IsEmpty());
}

TEST(MxGlCapabilities, KnowsATextureSizeWithAndWithoutAContext)
{
  EXPECT_GE(MxGlCapabilities::getMaxTextureSize(), 1024);
}
