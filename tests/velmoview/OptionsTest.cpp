#include <velmoview/Options.h>

#include <fstream>
#include <gmock/gmock.h>
#include <regex>
#include <set>

using namespace velmoview;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// What the refusal of a command line says; empty when it is accepted.
std::string refusal(const std::vector<std::string>& arguments)
{
  try {
    parseOptions(arguments);
  } catch (const UsageError& e) {
    return e.what();
  }
  return {};
}

} // namespace

TEST(Options, ReadsValuesAfterASpaceOrAnEqualsSign)
{
  const Options options = parseOptions(
      {"mesh.vtu", "--size=640x480", "--view", "-1,0.5,2", "--range=-1e3,2.5", "--cells",
       "a=b@cell=0,1", "--cells=T=-3,-2", "--cell-range", "1,2,3,4,5,6", "--color-by", "v@2@node",
       "--background", "#ff8000", "--skin", "--skin", "--no-faces", "--edges"});

  EXPECT_EQ(options.file, "mesh.vtu");
  EXPECT_THAT(options.size, ElementsAre(640, 480));
  EXPECT_THAT(options.view, ElementsAre(-1, 0.5, 2));
  EXPECT_THAT(*options.range, ElementsAre(-1000, 2.5));
  ASSERT_EQ(options.cells.size(), 2u);
  EXPECT_EQ(options.cells[0].array.name, "a=b"); // the last '=' separates
  EXPECT_EQ(options.cells[0].array.binding, MiDataBinding::PerCell);
  EXPECT_EQ(options.cells[1].min, -3);
  EXPECT_THAT(options.cellRange->lower, ElementsAre(1, 2, 3));
  EXPECT_THAT(options.cellRange->upper, ElementsAre(4, 5, 6));
  EXPECT_EQ(options.colorBy.name, "v@2");
  EXPECT_EQ(options.colorBy.binding, MiDataBinding::PerNode);
  EXPECT_FLOAT_EQ(options.background[1], 128 / 255.0f);
  EXPECT_EQ(options.representations.size(), 2u);
  EXPECT_FALSE(options.faces);
}

TEST(Options, TakesAFileThatLooksLikeAnOptionAfterTwoDashes)
{
  EXPECT_EQ(parseOptions({"--edges", "--", "--skin"}).file, "--skin");
}

TEST(Options, RefusesWithTheOptionAndWhatItTakes)
{
  struct Case
  {
    std::vector<std::string> arguments;
    const char* option;
    const char* why;
  };
  const Case cases[] = {
      {{"--frobnicate"}, "--frobnicate", "--help"},
      {{"m.vtk", "--size"}, "--size", "nothing follows"},
      {{"m.vtk", "--size", "80"}, "--size", "WIDTHxHEIGHT"},
      {{"m.vtk", "--size", "0x80"}, "--size", "0 is not between 1 and 8192"},
      {{"m.vtk", "--size", "80x80x80"}, "--size", "holds 3"},
      {{"m.vtk", "--view", "0,0,0"}, "--view", "no direction"},
      {{"m.vtk", "--view", "1,nan,0"}, "--view", "'nan'"},
      {{"m.vtk", "--range", "2,1"}, "--range", "MIN is not below MAX"},
      {{"m.vtk", "--range", "1,1e999"}, "--range", "'1e999'"},
      {{"m.vtk", "--ijk", "3,4"}, "--ijk", "NI,NJ,NK"},
      {{"m.vtk", "--ijk", "3,4,0"}, "--ijk", "0 is not between"},
      {{"m.vtk", "--ijk", "3,4,99999999999"}, "--ijk", "99999999999"},
      {{"m.vtk", "--cells", "T"}, "--cells", "ARRAY=MIN,MAX"},
      {{"m.vtk", "--cells", "T=5,1"}, "--cells", "MIN is above MAX"},
      {{"m.vtk", "--cells", "=5,9"}, "--cells", "empty"},
      {{"m.vtk", "--cell-range", "1,2,3"}, "--cell-range", "holds 3"},
      {{"m.vtk", "--cell-range", "4,2"}, "--cell-range", "above"},
      {{"m.vtk", "--cell-range", "-1,2"}, "--cell-range", "'-1'"},
      {{"m.vtk", "--cell-range", "0,4294967295"}, "--cell-range", "4294967295"},
      {{"m.vtk", "--opacity", "1.5"}, "--opacity", "0 to 1"},
      {{"m.vtk", "--background", "sky"}, "--background", "#RRGGBB"},
      {{"m.vtk", "--background", "#12345g"}, "--background", "'#12345g'"},
      {{"m.vtk", "--background", "1,2,0"}, "--background", "between 0 and 1"},
      {{"m.vtk", "--threads", "0"}, "--threads", "1 to 1024"},
      {{"m.vtk", "--threads", "2", "--serial"}, "--serial", "--threads 2"},
      {{"m.vtk", "--edges=yes"}, "--edges", "no value"},
      {{"m.vtk", "--color-by", "@node@node"}, "", ""}, // the name is "@node"
      {{"m.vtk", "--color-by", ""}, "--color-by", "empty"},
      {{"m.vtk", "--output", ""}, "--output", "FILE.png"},
      {{"m.vtk", "--output", "m.vtk"}, "--output", "'m.vtk' does not end in .png"},
      {{"m.vtk", "--output", "png"}, "--output", "does not end in .png"},
      {{"m.vtk", "--output", "M.PNG"}, "", ""},
      {{"m.vtk", "--output", "/dev/null"}, "", ""}, // nothing is lost there
      {{"m.vtk", "--output", "-", "--report", "-"}, "--output -", "--report -"},
      {{"m.vtk", "--output", "-", "--info"}, "--output -", "--info"},
      {{"m.vtk", "--output", "-", "--check-mesh"}, "--output -", "--check-mesh"},
      {{"m.vtk", "n.vtk"}, "m.vtk", "n.vtk"},
      {{"m.vtk", "--logical-slice", "L=3"}, "--logical-slice", "'L=3'"},
      {{"m.vtk", "--logical-slice", "I"}, "--logical-slice", "I=INDEX"},
      {{"m.vtk", "--logical-slice", "I="}, "--logical-slice", "'' is not a whole number"},
      {{"m.vtk", "--logical-slice", "I=-1"}, "--logical-slice", "'-1'"},
      {{"m.vtk", "--logical-slice", "J=1,lower"}, "--logical-slice", "INDEX,upper"},
      {{"m.vtk", "--interpolated-slice", "K=nan"}, "--interpolated-slice", "'nan'"},
      {{"m.vtk", "--interpolated-slice", "K=1,2"}, "--interpolated-slice", "holds 2"},
      {{"m.vtk", "--tessellate", "0"}, "--tessellate", "1 to 64"},
      {{"m.vtk", "--slab", "K=1,0"}, "--slab", "THICKNESS of 0"},
      {{"m.vtk", "--slab", "K=1,2,3"}, "--slab", "holds 3"},
      {{"m.vtk", "--demo", "beam"}, "--demo", "m.vtk"},
      {{"m.vtk", "--vertex"}, "--vertex", "--ijk"},
      {{"m.vtk", "--demo-size", "9"}, "--demo-size", "--demo"},
      {{"m.vtk", "--levels", "0"}, "--levels", "1 to 256"},
      {{"m.vtk", "--levels", "ten"}, "--levels", "'ten'"},
      {{"m.vtk", "--contouring"}, "--contouring", "--levels"},
      {{"m.vtk", "--contouring", "--enhanced", "--levels", "5"}, "--contouring", "--enhanced"},
      {{"m.vtk", "--levels", "5", "--color-by", "none"}, "--levels", "--color-by"},
      {{"m.vtk", "--enhanced", "--color-by", "none"}, "--enhanced", "--color-by"},
      {{"m.vtk", "--enhanced", "--no-faces", "--edges"}, "--enhanced", "--no-faces"},
      {{"m.vtk", "--legend", "--color-by", "none"}, "--legend", "--color-by"},
      {{"m.vtk", "--legend-title", "T"}, "--legend-title", "only with --legend"},
      {{"m.vtk", "--legend", "--legend-position", "up"}, "--legend-position", "bottom or top"},
      {{"m.vtk", "--fading", "5"}, "--fading", "--edges or --points"},
      {{"m.vtk", "--edges", "--fading", "0"}, "--fading", "above 0"},
      {{"m.vtk", "--edges", "--fading", "-3"}, "--fading", "above 0"},
      {{"m.vtk", "--edges", "--fading", "far"}, "--fading", "'far'"},
      {{"m.vtk", "--no-faces"}, "--no-faces", "--edges or --points"},
      {{"m.vtk", "--isosurface", "T"}, "--isosurface", "no '='"},
      {{"m.vtk", "--isosurface", "=1"}, "--isosurface", "empty"},
      {{"m.vtk", "--isosurface", "T=1,x"}, "--isosurface", "'x'"},
      {{"m.vtk", "--isosurface", "T=1,nan"}, "--isosurface", "'nan'"},
      {{"m.vtk", "--isosurface", "T=1e300"}, "--isosurface", "single precision"},
      {{"m.vtk", "--plane", "0,0,1"}, "--plane", "NX,NY,NZ,D"},
      {{"m.vtk", "--plane", "0,0,0,1"}, "--plane", "no direction"},
      {{"m.vtk", "--sphere", "0,0,0,0"}, "--sphere", "above 0"},
      {{"m.vtk", "--sphere", "0,0,0,-1"}, "--sphere", "above 0"},
      {{"m.vtk", "--cylinder", "0,0,0,0,0,1"}, "--cylinder", "X,Y,Z,DX,DY,DZ,R"},
      {{"m.vtk", "--cylinder", "0,0,0,0,0,0,1"}, "--cylinder", "no direction"},
      {{"m.vtk", "--cylinder", "0,0,0,0,0,1,-1"}, "--cylinder", "above 0"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.arguments));
    EXPECT_THAT(refusal(one.arguments), AllOf(HasSubstr(one.option), HasSubstr(one.why)));
    EXPECT_EQ(refusal(one.arguments).empty(), one.option[0] == 0);
  }
}

TEST(Options, HelpAndManualNameEveryOptionAndNoOther)
{
  const std::vector<std::string> names = optionNames();
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
  std::ifstream file(VELMO_SOURCE_DIR "/docs/velmoview.md");
  const std::string manual{std::istreambuf_iterator<char>(file), {}};
  const auto named = [](const std::string& text) {
    std::set<std::string> all;
    const std::regex option("--[a-z][a-z-]+");
    for (std::sregex_iterator at(text.begin(), text.end(), option); at != std::sregex_iterator();
         ++at)
      all.insert(at->str());
    return all;
  };
  EXPECT_THAT(named(manual), testing::UnorderedElementsAreArray(names));
  EXPECT_THAT(named(helpText()), testing::UnorderedElementsAreArray(names));
  for (const std::string& name : names) {
    EXPECT_THAT(helpText(), HasSubstr("\n  " + name + " ")) << "a line of its own";
    EXPECT_THAT(refusal({"m.vtk", name + "=?"}), testing::Not(HasSubstr("unknown"))) << name;
  }
}
