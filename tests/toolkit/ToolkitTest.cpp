#include <velmo/toolkit/classes/MxTextRegistry.h>
#include <velmo/toolkit/classes/MxToolkit.h>
#include <velmo/toolkit/classes/SoPreferences.h>
#include <velmo/toolkit/classes/SoRef.h>
#include <velmo/toolkit/shapes/SoBBox.h>
#include <velmo/toolkit/shapes/SoCpuBufferObject.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>
#include <velmo/toolkit/shapes/TkBBoxSeparator.h>
#include <velmo/toolkit/shapes/TkShaderObject.h>
#include <velmo/toolkit/shapes/TkVertexProperty.h>

#include <tests/support/SceneQueries.h>

#include <gmock/gmock.h>
#include <Inventor/nodes/SoCube.h>
#include <Inventor/nodes/SoTranslation.h>
#include <Inventor/SoPath.h>

#include <cstdlib>

using testing::StrEq;

TEST(SoPreferences, ReadsTheEnvironmentAtEachCall)
{
  const char* name = "VELMO_TEST_PREFERENCE";
  const auto get = [&](const char* value, SbBool byDefault) {
    value ? setenv(name, value, 1) : unsetenv(name);
    return SoPreferences::getBool(name, byDefault);
  };
  for (SbBool byDefault : {TRUE, FALSE}) {
    EXPECT_EQ(get(nullptr, byDefault), byDefault);
    EXPECT_EQ(get("", byDefault), byDefault);
    EXPECT_EQ(get("maybe", byDefault), byDefault);
    EXPECT_EQ(get("1", byDefault), TRUE);
    EXPECT_EQ(get("true", byDefault), TRUE);
    EXPECT_EQ(get("TRUE", byDefault), TRUE);
    EXPECT_EQ(get("0", byDefault), FALSE);
    EXPECT_EQ(get("false", byDefault), FALSE);
  }
  unsetenv(name);
}

TEST(SoRef, HoldsOneReference)
{
  SoRef<SoCube> first(new SoCube);
  EXPECT_EQ(first->getRefCount(), 1);
  {
    SoRef<SoCube> second = first;
    EXPECT_EQ(first->getRefCount(), 2);
    const SoRef<SoCube> third = std::move(second);
    EXPECT_EQ(first->getRefCount(), 2);
    EXPECT_EQ(second.get(), nullptr);
  }
  SoCube* cube = first;
  first = first; // NOLINT: on purpose
  EXPECT_EQ(cube->getRefCount(), 1);
  first.reset(cube);
  EXPECT_EQ(cube->getRefCount(), 1);
}

TEST(SoCpuBufferObject, SeesMemoryInPlaceOrHasItsOwn)
{
  int numbers[] = {1, 2, 3};
  const SoRef<SoCpuBufferObject> buffer(new SoCpuBufferObject(numbers, sizeof numbers));
  EXPECT_EQ(buffer->getData(), numbers);
  EXPECT_EQ(buffer->getSize(), sizeof numbers);
  buffer->allocate(100);
  EXPECT_NE(buffer->getData(), nullptr);
  EXPECT_EQ(buffer->getSize(), 100u);
  buffer->clear();
  EXPECT_EQ(buffer->getSize(), 0u);
}

TEST(TkShaderDefines, StandBehindTheVersionLine)
{
  TkShaderDefines defines;
  EXPECT_THAT(defines.applyTo("#version 130\nbody"), StrEq("#version 130\nbody"));
  EXPECT_TRUE(defines.set("A", "1"));
  EXPECT_TRUE(defines.set("B", "2"));
  EXPECT_FALSE(defines.set("A", "1"));
  EXPECT_TRUE(defines.set("A", "3"));
  EXPECT_THAT(defines.applyTo("// first\n#version 130\nbody"),
              StrEq("// first\n#version 130\n#define A 3\n#define B 2\nbody"));
  EXPECT_THAT(defines.applyTo("body"), StrEq("#define A 3\n#define B 2\nbody"));
  EXPECT_TRUE(defines.remove("A"));
  EXPECT_FALSE(defines.remove("A"));
  EXPECT_THAT(defines.applyTo("#version 130"), StrEq("#version 130\n#define B 2\n"));
}

namespace {

void expectBox(const SbBox3f& box, const SbVec3f& min, const SbVec3f& max)
{
  EXPECT_TRUE(box.getMin().equals(min, 1e-6f) && box.getMax().equals(max, 1e-6f))
      << box.getMin().toString().getString() << " to " << box.getMax().toString().getString();
}

} // namespace

TEST(TkBBoxSeparator, FollowsTheModeOfItsBoxNode)
{
  const SoRef<SoGroup> scene(new SoGroup);
  auto* translation = new SoTranslation;
  translation->translation.setValue(10, 0, 0);
  auto* separator = new TkBBoxSeparator;
  auto* bbox = new SoBBox;
  auto* cube = new SoCube; // from -1 to 1
  scene->addChild(translation);
  scene->addChild(separator);
  separator->addChild(cube);
  expectBox(boxOf(scene), {9, -1, -1}, {11, 1, 1});

  separator->insertChild(bbox, 0);
  expectBox(boxOf(scene), {9, -1, -1}, {11, 1, 1});
  bbox->box.setValue(0, 0, 0, 5, 6, 7);
  expectBox(boxOf(scene), {9, -1, -1}, {11, 1, 1});
  bbox->mode = SoBBox::EXPLICIT;
  expectBox(boxOf(scene), {10, 0, 0}, {15, 6, 7});
  bbox->mode = SoBBox::NONE;
  EXPECT_TRUE(boxOf(scene).isEmpty());

  // A path into the separator asks for the part it ends at.
  bbox->mode = SoBBox::EXPLICIT;
  const SoRef<SoPath> path(new SoPath(scene));
  path->append(separator);
  path->append(cube);
  SoGetBoundingBoxAction action(SbViewportRegion(100, 100));
  action.apply(path);
  expectBox(action.getBoundingBox(), {9, -1, -1}, {11, 1, 1});
}

TEST(TkVertexProperty, KnowsTheBindingsOfTangents)
{
  const SoRef<TkVertexProperty> property(new TkVertexProperty);
  EXPECT_EQ(property->tangentBinding.getValue(), SoVertexProperty::OVERALL);
  EXPECT_EQ(property->tangent.getNum(), 0);
  EXPECT_TRUE(property->set("tangent [ 0 0 1 ] tangentBinding PER_FACE_INDEXED"));
  EXPECT_EQ(property->tangentBinding.getValue(), 6);
  EXPECT_EQ(property->tangent[0], SbVec3f(0, 0, 1));
  EXPECT_EQ(property->normalBinding.getValue(), SoVertexProperty::PER_VERTEX_INDEXED);
}

TEST(SoIndexedFaceSetOutline, IsCompatibleWithNothingWithoutAState)
{
  const SoRef<SoIndexedFaceSetOutline> shape(new SoIndexedFaceSetOutline);
  EXPECT_FALSE(shape->isCompatibleWithState(nullptr));
  EXPECT_TRUE(shape->set("outlineMode NO_OUTLINE faceColoring COLOR edgeColoring CONTOURING"));
  EXPECT_EQ(shape->outlineMode.getValue(), 2);
  EXPECT_EQ(shape->faceColoring.getValue(), 0);
  EXPECT_EQ(shape->edgeColoring.getValue(), 1);
}
