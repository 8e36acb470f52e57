#include "tests/support/SceneQueries.h"
#include "tests/support/WarningLog.h"

#include <velmo/nodes/MoActionNode.h>
#include <velmo/representations/MoMeshSlab.h>

#include <gmock/gmock.h>
#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFEnum.h>
#include <map>

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

/// What is no default of any field, by the name of its class.
const std::map<std::string, const char*> kOtherValues{
    {"SFColor", "0.25 0.5 0.125"}, {"SFDouble", "-2.5e100"},
    {"SFFloat", "1.25"},           {"SFInt32", "-7"},
    {"SFPlane", "0 1 0 2.5"},      {"SFString", "\"a \\\"b\\\" MiMesh::c\""},
    {"SFUInt32", "4000000000"},    {"SFUShort", "43690"},
    {"SFVec2f", "0.25 -3"},        {"SFVec3f", "0.25 -3 1e30"},
    {"SFVec4f", "0.25 -3 1e30 1"}, {"MFFloat", "[1.25, -3, 1e30]"},
    {"MFInt32", "[3, -1]"},        {"MFUInt32", "[3, 4000000000]"},
    {"MFVec3f", "[1 2 3, 4 5 6]"}, {"MFVec4f", "[1 2 3 4, 5 6 7 8]"}};

/// The round-th value that is not the default.
void change(SoField& field, int round)
{
  const std::string type = field.getTypeId().getName().getString();
  if (type == "SFBool") {
    auto& flag = static_cast<SoSFBool&>(field);
    flag = !flag.getValue();
  } else if (type == "SFEnum") {
    auto& choice = static_cast<SoSFEnum&>(field);
    const int count = choice.getNumEnums();
    ASSERT_GT(count, 1);
    SbName name;
    int value = choice.getEnum(round % count, name);
    if (value == choice.getValue()) value = choice.getEnum((round + 1) % count, name);
    choice = value;
  } else {
    ASSERT_TRUE(kOtherValues.contains(type)) << type << " needs a value";
    ASSERT_TRUE(field.set(kOtherValues.at(type))) << type;
  }
}

/// One node of each class that an application can make.
SoRef<SoSeparator> everyNode()
{
  SoRef<SoSeparator> root(new SoSeparator);
  SoTypeList types;
  SoType::getAllDerivedFrom(MoActionNode::getClassTypeId(), types);
  for (int i = 0; i < types.getLength(); ++i)
    if (types[i].canCreateInstance())
      root->addChild(static_cast<SoNode*>(types[i].createInstance()));
  return root;
}

void expectEqualFields(const SoNode& one, const SoNode& other)
{
  ASSERT_EQ(one.getTypeId(), other.getTypeId());
  SCOPED_TRACE(one.getTypeId().getName().getString());
  SoFieldList fields;
  const int count = one.getFields(fields);
  for (int f = 0; f < count; ++f) {
    SbName name;
    one.getFieldName(fields[f], name);
    EXPECT_TRUE(fields[f]->isSame(*other.getField(name))) << name.getString();
  }
}

} // namespace

TEST(SceneFiles, BringBackEveryFieldOfEveryNode)
{
  const WarningLog log;
  // As many as the longest enumeration has values; before them, all defaults.
  constexpr int kRounds = 32;
  for (int round = -1; round < kRounds; ++round) {
    const SoRef<SoSeparator> written = everyNode();
    ASSERT_GT(written->getNumChildren(), 30);
    for (int n = 0; round >= 0 && n < written->getNumChildren(); ++n) {
      SoFieldList fields;
      const int count = written->getChild(n)->getFields(fields);
      for (int f = 0; f < count; ++f) {
        change(*fields[f], round);
        ASSERT_FALSE(fields[f]->isDefault());
      }
    }
    for (const bool binary : {false, true}) {
      SCOPED_TRACE(testing::Message() << "round " << round << (binary ? " binary" : " ASCII"));
      const auto read = readNodes(textOf(written, binary));
      ASSERT_TRUE(read) << testing::PrintToString(log.texts());
      ASSERT_EQ(read->getNumChildren(), written->getNumChildren());
      for (int n = 0; n < written->getNumChildren(); ++n)
        expectEqualFields(*written->getChild(n), *read->getChild(n));
    }
  }
  EXPECT_THAT(log.texts(), IsEmpty());
}

TEST(SceneFiles, NameAxesWithTheirScopeOrWithoutIt)
{
  WarningLog log;
  const auto axisIn = [](const char* line) {
    const auto slab =
        readNode<MoMeshSlab>(std::string("#Inventor V2.1 ascii\nMoMeshSlab { ") + line + "}");
    return slab ? slab->dimension.getValue() : -1;
  };
  EXPECT_EQ(axisIn("dimension MiMesh::DIMENSION_J "), 1);
  EXPECT_EQ(axisIn("dimension DIMENSION_K"), 2);
  EXPECT_EQ(axisIn("thickness 2 dimension DIMENSION_J # a comment\n index 3 "), 1);
  EXPECT_THAT(log.texts(), IsEmpty());

  SoRef<MoMeshSlab> slab(new MoMeshSlab);
  slab->dimension.setValue("DIMENSION_J");
  EXPECT_EQ(slab->dimension.getValue(), 1);
  EXPECT_TRUE(slab->dimension.set("MiMesh::DIMENSION_K"));
  EXPECT_THAT(textOf(slab), HasSubstr("dimension MiMesh::DIMENSION_K\n"));
  // A file of a program that writes bare names.
  const int values[] = {0, 1, 2};
  const SbName bare[] = {"DIMENSION_I", "DIMENSION_J", "DIMENSION_K"};
  slab->dimension.setEnums(3, values, bare);
  const auto read = readNode<MoMeshSlab>(textOf(slab, true));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->dimension.getValue(), 2);
  EXPECT_THAT(log.texts(), IsEmpty());

  for (const auto& [line, text] :
       {std::pair{"dimension MiMesh::DIMENSION_L ",
                  "Unknown enumeration value \"MiMesh::DIMENSION_L\""},
        std::pair{"dimension MiMesh:DIMENSION_J ", "Couldn't read enumeration name"}})
  {
    log.clear();
    EXPECT_EQ(axisIn(line), -1);
    ASSERT_FALSE(log.texts().empty());
    EXPECT_THAT(log.texts().front(), HasSubstr(text));
  }
}
