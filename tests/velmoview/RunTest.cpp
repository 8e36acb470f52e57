#include "RunProgram.h"

#include <velmoview/Demos.h>
#include <velmoview/WarningLog.h>

#include <gmock/gmock.h>
#include <velmo/picture/MbPng.h>

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr const char* kSquare =
    "# vtk DataFile Version 3.0\nsquare\nASCII\nDATASET POLYDATA\n"
    "POINTS 4 float\n0 0 0 1 0 0 1 1 0 0 1 0\nPOLYGONS 1 5\n4 0 1 2 3\n";

} // namespace

TEST(Run, ReportsWhatTheManualPromises)
{
  const TemporaryFile mesh("cubes.vtk", twoCubes());
  const TemporaryFile picture("cubes.png");
  const Outcome outcome = runProgram({mesh.path(), "--report", "-", "--output", picture.path(),
                                      "--size", "160x120", "--edges", "--points", "--strict"});
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");

  json report = outcome.report();
  json& input = report["input"];
  EXPECT_GE(input["read_ms"].get<double>(), 0);
  input.erase("read_ms");
  EXPECT_EQ(input, (json{{"source", mesh.path()},
                         {"kind", "VOLUME_MESH_UNSTRUCTURED"},
                         {"nodes", 12},
                         {"cells", 2},
                         {"shapes", {{"hexahedron", 2}}},
                         {"dead_cells", 0},
                         {"bad_cells", {{"count", 0}}},
                         {"bounds", {0, 2, 0, 1, 0, 1}},
                         {"arrays",
                          {{{"name", "id"},
                            {"binding", "PER_CELL"},
                            {"type", "int32"},
                            {"components", 1},
                            {"min", 3},
                            {"max", 7},
                            {"nan", 0}},
                           {{"name", "all"},
                            {"binding", "PER_CELL"},
                            {"type", "float64"},
                            {"components", 1},
                            {"min", 1},
                            {"max", 1},
                            {"nan", 1}},
                           {{"name", "x"},
                            {"binding", "PER_NODE"},
                            {"type", "float32"},
                            {"components", 1},
                            {"min", 0},
                            {"max", 2},
                            {"nan", 0}},
                           {{"name", "v"},
                            {"binding", "PER_NODE"},
                            {"type", "float64"},
                            {"components", 3},
                            {"min", {3, 4, 0}},
                            {"max", {3, 4, 0}},
                            {"magnitude", {5, 5}},
                            {"nan", 0}}}}}));

  json& skin = report["representations"][0];
  for (const char* time : {"extract_ms", "reextract_ms", "build_ms"}) {
    EXPECT_GE(skin[time].get<double>(), 0) << time;
    skin.erase(time);
  }
  EXPECT_EQ(skin, (json{{"type", "skin"},
                        {"arguments", json::object()},
                        {"cells", 10},
                        {"nodes", 12},
                        {"area", 10},
                        {"open_edges", 0},
                        {"bounds", {0, 2, 0, 1, 0, 1}}}));
  EXPECT_EQ(report["picture"]["path"], picture.path());
  EXPECT_EQ(report["picture"]["blank"], false);
  EXPECT_GT(report["picture"]["render_ms"].get<double>(), 0);
  EXPECT_GE(report["threads"].get<int>(), 1);
  EXPECT_GT(report["peak_mb"].get<double>(), 1);
  EXPECT_EQ(report["warnings"], json::array());

  MbImage image;
  std::string error;
  ASSERT_TRUE(mbReadPng(picture.path(), image, error)) << error;
  EXPECT_EQ(image.width, 160);
  EXPECT_EQ(image.height, 120);
}

TEST(Run, KeepsTheCellsThatFiltersAndRangesLeave)
{
  const TemporaryFile mesh("filter.vtk", twoCubes());
  const auto faces = [&](std::vector<std::string> how) {
    how.insert(how.begin(), mesh.path());
    return reportOf(how)["representations"][0]["cells"].get<int>();
  };
  EXPECT_EQ(faces({"--cells", "id=0,5"}), 6);
  EXPECT_EQ(faces({"--cells", "id=0,2"}), 0);
  EXPECT_EQ(faces({"--cells", "x=1,2"}), 6);   // per node: all eight have to pass
  EXPECT_EQ(faces({"--cells", "v=5,5"}), 10);  // a vector by its length
  EXPECT_EQ(faces({"--cells", "all=0,9"}), 6); // NaN never passes
  EXPECT_EQ(faces({"--cells", "id=0,9", "--cells", "x=0,1"}), 6);
  EXPECT_EQ(faces({"--cell-range", "1,1"}), 6);
  EXPECT_EQ(faces({"--cell-range", "0,77"}), 10);
}

TEST(Run, ArgumentsShowInTheReport)
{
  const TemporaryFile mesh("arguments.vtk", twoCubes());
  const json report =
      reportOf({mesh.path(), "--skin", "--skin", "--cells", "id@cell=0,9", "--cell-range", "0,1"});
  ASSERT_EQ(report["representations"].size(), 2u);
  EXPECT_EQ(
      report["representations"][1]["arguments"],
      (json{{"cells", {{{"array", "id@cell"}, {"min", 0}, {"max", 9}}}}, {"cell_range", {0, 1}}}));
  EXPECT_EQ(report["representations"][1]["cells"], 10);
}

TEST(Run, DrawsLayersOfAGridInTheOrderAskedFor)
{
  const TemporaryFile mesh("layers.vtk", twoCubes());
  std::vector<std::string> arguments{mesh.path(), "--ijk", "2,1,1"};
  for (const char* what : {"--slab=I=1", "--logical-slice=I=1,upper", "--logical-slice=K=0",
                           "--interpolated-slice=I=1.25", "--skin"})
    arguments.push_back(what);
  json drawn = reportOf(arguments)["representations"];
  const auto shown = [&](int n) {
    return json{drawn[n]["type"], drawn[n]["arguments"], drawn[n]["cells"], drawn[n]["area"]};
  };
  EXPECT_EQ(shown(0), (json{"slab", {{"axis", "I"}, {"index", 1}, {"thickness", 1}}, 6, 6.0}));
  EXPECT_EQ(shown(1),
            (json{"logical-slice", {{"axis", "I"}, {"index", 1}, {"upper", true}}, 1, 1.0}));
  EXPECT_EQ(shown(2),
            (json{"logical-slice", {{"axis", "K"}, {"index", 0}, {"upper", false}}, 2, 2.0}));
  EXPECT_EQ(shown(3), (json{"interpolated-slice", {{"axis", "I"}, {"value", 1.25}}, 1, 1.0}));
  EXPECT_EQ(shown(4), (json{"skin", json::object(), 10, 10.0}));
  EXPECT_EQ(drawn[3]["bounds"], (json{1.25, 1.25, 0, 1, 0, 1}));
  for (const json& one : drawn)
    EXPECT_GE(one["reextract_ms"].get<double>(), 0);

  // What filters and ranges leave.
  arguments.insert(arguments.end(), {"--cell-range", "1,0,0,1,0,0"});
  drawn = reportOf(arguments)["representations"];
  EXPECT_EQ(drawn[2]["cells"], 1);
  EXPECT_EQ(drawn[4]["cells"], 6);
  arguments.insert(arguments.end(), {"--cells", "id=0,5"});
  EXPECT_EQ(reportOf(arguments)["representations"][2]["cells"], 0);
}

TEST(Run, TessellatesQuadraticCells)
{
  const auto skin = [](std::vector<std::string> how) {
    how.insert(how.begin(), {"--demo", "lug", "--demo-size", "8", "--strict"});
    return reportOf(how)["representations"][0];
  };
  const json plain = skin({}), one = skin({"--tessellate", "1"}), two = skin({"--tessellate", "2"}),
             four = skin({"--tessellate", "4"});
  EXPECT_EQ(four["arguments"], (json{{"tessellate", 4}}));
  EXPECT_EQ(four["open_edges"], 0);
  EXPECT_EQ(two["cells"].get<int>(), 4 * one["cells"].get<int>());
  EXPECT_EQ(four["cells"].get<int>(), 4 * two["cells"].get<int>());
  EXPECT_GT(two["area"], one["area"]); // chords of the hole become arcs
  EXPECT_GE(plain["cells"], one["cells"]);
  // Cuts go through the same cells.
  const auto cells = [&](const char* parts) {
    const json plane = skin({"--plane", "1,0,0,2.01", "--tessellate", parts});
    return plane["cells"].get<int>();
  };
  EXPECT_GT(cells("4"), 3 * cells("2"));
}

TEST(Run, StrictFailsOnWarningsAndOnNothingDrawn)
{
  const TemporaryFile broken("broken.vtk", twoCubes(true));
  const Outcome lax = runProgram({broken.path(), "--report", "-"});
  EXPECT_EQ(lax.code, 0);
  const json report = lax.report();
  EXPECT_EQ(report["input"]["bad_cells"], (json{{"count", 1}, {"first", 1}}));
  EXPECT_EQ(report["representations"][0]["cells"], 6);
  ASSERT_EQ(report["warnings"].size(), 1u);
  EXPECT_THAT(report["warnings"][0].get<std::string>(),
              testing::StartsWith("MoMeshSkin::doExtract: "));
  EXPECT_THAT(lax.err, HasSubstr(report["warnings"][0].get<std::string>()));
  EXPECT_EQ(runProgram({broken.path(), "--report", "-", "--strict"}).code, 3);

  const TemporaryFile mesh("nothing.vtk", twoCubes());
  const std::vector<std::string> nothing{mesh.path(), "--cells", "id=0,2", "--report", "-"};
  EXPECT_EQ(runProgram(nothing).code, 0);
  std::vector<std::string> strict = nothing;
  strict.push_back("--strict");
  EXPECT_EQ(runProgram(strict).code, 3);
}

TEST(Run, WhatDrawsNothingSaysWhatWould)
{
  const TemporaryFile mesh("empty.vtk", twoCubes());
  const TemporaryFile square("empty_square.vtk", std::string(kSquare) +
                                                     "POINT_DATA 4\nSCALARS h float 1\n"
                                                     "LOOKUP_TABLE default\n0 1 2 3\n");
  std::string none = twoCubes();
  none.replace(none.find("\n3 7\n"), 5, "\n0 0\n");
  const TemporaryFile dead("empty_dead.vtk", none);
  struct Case
  {
    std::vector<std::string> arguments;
    const char* says;
  };
  const Case cases[] = {
      {{"--isosurface", "x=2.5"}, "--isosurface draws nothing: 'x' goes from 0 to 2, and 2.5 is"},
      {{"--isosurface", "v=4"}, "'v' is 5 everywhere, and 4 is outside"},
      {{"--isosurface", "x=1.5", "--cells", "id=3,3"}, "'x' goes from 0 to 1, and 1.5 is outside"},
      {{"--plane", "2,0,0,4.5"}, "--plane draws nothing: N.x goes from 0 to 4, and D = 4.5 is"},
      {{"--sphere", "0,0,-2,1"}, "of the nodes from its centre goes from 2 to 3.741657, and R = 1"},
      {{"--cylinder", "0,-1,0,0,0,7,9"}, "from its axis goes from 1 to 2.828427, and R = 9 is"},
      {{"--streamlines", "v", "--seeds", "9,0,0"},
       "no seed lies in the cells to draw, which are at x from 0 to 2, y from 0 to 1, z from 0"},
      {{"--streamlines", "v", "--seeds", "1,0.5,0.5;9,9,9", "--min-speed", "6"},
       "--streamlines draws nothing: every line ends where it begins: low speed"},
      {{"--cells", "id=4,6"},
       "nothing is drawn: --cells keeps no cell with 'id' from 4 to 6: it goes from 3 to 7, but "},
      {{"--cells", "x=7,9"}, "'x' from 7 to 9: it goes from 0 to 2\n"},
      {{"--cells", "id=3,3", "--cells", "x=1,2"}, "the filters of --cells together keep no cell"},
      {{"--cells", "id=3,3", "--cell-range", "1,1"}, "--cells and --cell-range together keep no"},
      {{"--ijk", "2,1,1", "--cells", "id=3,3", "--slab", "I=1"},
       "--slab draws nothing: the index of the cells to draw is 0 everywhere, and I = 1 is"},
      {{"--ijk", "2,1,1", "--cells", "id=7,7", "--interpolated-slice", "I=0.5"},
       "what there is to draw goes from 1 to 2, and I = 0.5 is outside"},
      {{"--skin", "--opacity", "0"}, "the picture shows nothing but the background"},
  };
  const TemporaryFile picture("empty.png");
  const auto expect = [&](const std::string& file, std::vector<std::string> arguments,
                          const std::string& says) {
    SCOPED_TRACE(says);
    arguments.insert(arguments.begin(), {file, "--size", "80x60", "--output", picture.path()});
    const Outcome lax = runProgram(arguments);
    EXPECT_EQ(lax.code, 0);
    EXPECT_THAT(lax.err, HasSubstr(says));
    EXPECT_EQ(std::count(lax.err.begin(), lax.err.end(), '\n'), 1) << lax.err;
    arguments.push_back("--strict");
    EXPECT_EQ(runProgram(arguments).code, 3);
  };
  for (const Case& one : cases)
    expect(mesh.path(), one.arguments, one.says);
  EXPECT_EQ(reportOf({mesh.path(), "--plane", "1,0,0,9", "--skin"})["warnings"],
            (json{"velmoview: --plane draws nothing: N.x goes from 0 to 2, and D = 9 is outside"}));
  expect(square.path(), {"--isolines", "h=7,-2,8"}, "'h' goes from 0 to 3, and -2 is outside");
  expect(dead.path(), {"--active", "id"},
         "nothing is drawn: all cells of " + dead.path() + " are dead: 2");
  std::string half = twoCubes();
  half.replace(half.find("\n3 7\n"), 5, "\n0 7\n");
  const TemporaryFile alive("empty_half.vtk", half);
  expect(alive.path(), {"--active", "id", "--cell-range", "0,0"},
         "--cell-range keeps no live cell: such cells have numbers from 1 to 1");
  expect(alive.path(), {"--active", "id", "--ijk", "2,1,1", "--cell-range", "0,0,0,0,0,0"},
         "such cells have I from 1 to 1, J from 0 to 0, K from 0 to 0");
}

TEST(Run, OptionsForAnotherKindOfMeshAreRefusedBeforeAnythingIsDrawn)
{
  const TemporaryFile square("kind_square.vtk", kSquare), cubes("kind_cubes.vtk", twoCubes());
  const TemporaryFile line("kind_line.vtk",
                           "# vtk DataFile Version 3.0\nline\nASCII\nDATASET POLYDATA\n"
                           "POINTS 2 float\n0 0 0 1 0 0\nLINES 1 3\n2 0 1\n");
  const TemporaryFile picture("kind.png"), saved("kind.vtu");
  struct Case
  {
    std::vector<std::string> arguments;
    std::string says;
  };
  const Case cases[] = {
      {{cubes.path(), "--slab", "I=1"},
       "--slab needs a grid, and " + cubes.path() +
           " is a volume mesh without I, J and K; give --ijk NI,NJ,NK to read its hexahedra"},
      {{"--demo", "beam", "--logical-slice", "I=9"}, "; it takes --skin, --isosur"},
      {{square.path(), "--slab", "I=9"}, "--slab needs a grid of volumes, and " + square.path()},
      {{square.path(), "--skin"}, "is a surface mesh; it takes --surface, --isolin"},
      {{square.path(), "--skin", "--surface"}, "--skin needs a volume mesh"},
      {{line.path(), "--plane", "1,0,0,0"}, "is a line mesh; it takes --line"},
      {{cubes.path(), "--surface"}, "--surface needs a surface mesh, and "},
      {{cubes.path(), "--line"}, "--line needs a line mesh, and "},
      {{cubes.path(), "--isolines", "x=1"}, "--isolines needs a surface mesh, and "},
      {{cubes.path(), "--ijk", "2,1,1", "--vertex", "--logical-slice", "I=1"},
       "have eight corners each; leave out --vertex"},
      {{"--demo", "reservoir-vertex", "--streamlines", "v"}, "; --demo reservoir is the same"},
      {{cubes.path(), "--ijk", "2,1,1", "--vertex", "--probe", "0,0,0"},
       "--probe needs cells that share nodes"},
      {{line.path(), "--probe", "0,0,0"}, "--probe needs a volume mesh or a surface mesh, and "},
      {{"--demo", "turbine", "--tessellate", "2"}, "--tessellate needs cells with nodes in the"},
      {{line.path(), "--enhanced"}, "--enhanced needs a mesh with faces, and "},
      {{cubes.path(), "--shared-nodes"}, "--shared-nodes needs a corner-point grid (.grdecl), and"},
      {{square.path(), "--ijk", "1,1,1"},
       "--ijk: " + square.path() + ": has cells that are no hex"},
  };
  for (Case one : cases) {
    SCOPED_TRACE(one.says);
    one.arguments.insert(one.arguments.end(), {"--output", picture.path(), "--save-mesh",
                                               saved.path(), "--report", "-"});
    const Outcome outcome = runProgram(one.arguments);
    EXPECT_EQ(outcome.code, 2);
    EXPECT_THAT(outcome.err, HasSubstr(one.says));
    EXPECT_EQ(outcome.out, "");
    EXPECT_FALSE(std::filesystem::exists(picture.path()));
    EXPECT_FALSE(std::filesystem::exists(saved.path()));
  }
  EXPECT_EQ(reportOf({square.path(), "--strict"})["representations"].at(0)["type"], "surface");
}

TEST(Run, BadInputIsExitCodeOneAndNamesTheFile)
{
  const TemporaryFile nonsense("nonsense.vtu", "this is no mesh");
  const TemporaryFile mesh("input.vtk", twoCubes());
  const std::string nowhere = testing::TempDir() + "no/such/folder/x";
  const std::vector<std::string> cases[] = {
      {nonsense.path(), "--report", "-"},
      {nowhere, "--report", "-"},
      {testing::TempDir(), "--report", "-"},
      {mesh.path(), "--ijk", "3,1,1", "--report", "-"},
      {mesh.path(), "--ijk", "2,1,1", "--active", "none", "--report", "-"},
      {mesh.path(), "--output", nowhere + ".png"},
      {mesh.path(), "--report", nowhere + ".json"},
  };
  for (const auto& arguments : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Outcome outcome = runProgram(arguments);
    EXPECT_EQ(outcome.code, 1);
    const bool isOutput = arguments.back().starts_with(nowhere);
    EXPECT_THAT(outcome.err, HasSubstr(isOutput ? nowhere : arguments.front()));
    EXPECT_EQ(outcome.out, "");
  }
}

TEST(Run, BadUsageIsExitCodeTwoAndNamesTheOption)
{
  const TemporaryFile mesh("usage.vtk", twoCubes());
  const TemporaryFile square("usage_square.vtk",
                             std::string(kSquare) +
                                 "CELL_DATA 1\nSCALARS c float 1\nLOOKUP_TABLE default\n3\n");
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{}, "--demo"},
      {{mesh.path()}, "--output"},
      {{mesh.path(), "--report", "-", "--colormap", "sepia"},
       "--colormap takes one of rainbow-turbo"},
      {{"--demo", "teapot", "--report", "-"}, "--demo takes one of beam"},
      {{mesh.path(), "--report", "-", "--color-by", "T"},
       "it has id@cell, all@cell, x@node, v@node"},
      {{mesh.path(), "--report", "-", "--color-by", "x@cell"}, "--color-by"},
      {{mesh.path(), "--report", "-", "--cells", "T=0,1"}, "--cells"},
      {{mesh.path(), "--report", "-", "--cell-range", "0,0,0,1,0,0"}, "--cell-range takes MIN,MAX"},
      {{mesh.path(), "--report", "-", "--cell-range", "2,9"}, "it has 2"},
      {{mesh.path(), "--report", "-", "--ijk", "2,1,1", "--cell-range", "0,1"}, "I,J,K,I,J,K"},
      {{mesh.path(), "--report", "-", "--color-by", "id", "--enhanced"},
       "'id' has one value a cell"},
      {{mesh.path(), "--report", "-", "--color-by", "id", "--contouring", "--levels", "3"},
       "--contouring draws values per node"},
      {{mesh.path(), "--report", "-", "--ijk", "2,1,1", "--cell-range", "0,1,0,1,1,0"}, "no 1"},
      {{mesh.path(), "--report", "-", "--ijk", "2,1,1", "--logical-slice", "I=2"},
       "--logical-slice takes cells of the mesh: it has 2 along I"},
      {{mesh.path(), "--report", "-", "--ijk", "2,1,1", "--slab", "K=1"}, "so there is no 1"},
      {{mesh.path(), "--report", "-", "--ijk", "2,1,1", "--interpolated-slice", "I=2.5"},
       "between 0 and 2"},
      {{mesh.path(), "--report", "-", "--isolines"}, "--isolines"},
      {{mesh.path(), "--report", "-", "--isolines", "x="}, "--isolines"},
      {{mesh.path(), "--report", "-", "--isolines", "x=y"}, "--isolines"},
      {{square.path(), "--report", "-", "--isolines", "nothing=1"}, "--isolines"},
      {{square.path(), "--report", "-", "--isolines", "c=1"}, "'c' has one value a cell"},
      {{mesh.path(), "--report", "-", "--isosurface", "y=1"}, "there is no 'y' in"},
      {{mesh.path(), "--report", "-", "--isosurface", "id@cell=1.5"}, "per node"},
  };
  for (const auto& [arguments, expected] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Outcome outcome = runProgram(arguments);
    EXPECT_EQ(outcome.code, 2);
    EXPECT_THAT(outcome.err, HasSubstr(expected));
    EXPECT_EQ(outcome.out, "");
  }
}

TEST(Run, WorksWithTheThreadsAskedFor)
{
  const auto threads = [](std::vector<std::string> how) {
    how.insert(how.begin(), {"--demo", "beam", "--demo-size", "6"});
    return reportOf(how)["threads"].get<int>();
  };
  EXPECT_EQ(threads({"--threads", "1"}), 1);
  EXPECT_EQ(threads({"--threads", "3"}), 3);
  EXPECT_EQ(threads({"--serial"}), 1);
}

TEST(Run, AnswersWithoutAMesh)
{
  EXPECT_THAT(runProgram({"--help"}).out, HasSubstr("Exit codes"));
  EXPECT_THAT(runProgram({"--version"}).out, testing::MatchesRegex("velmoview [0-9.]+\n"));
  EXPECT_THAT(runProgram({"--colormap", "list"}).out, HasSubstr("blue-white-red  two-sided"));
  EXPECT_THAT(runProgram({"--demo", "list"}).out, HasSubstr("reservoir-vertex "));
}

TEST(Run, CutsAreReportedInTheirOrderWithTheirArguments)
{
  const json drawn =
      reportOf({"--demo", "orbital-whole", "--demo-size", "24", "--sphere", "0,0,0,9",
                "--isosurface", "psi=2,-1.5", "--plane", "0,0,2,2", "--cylinder", "0,0,0,0,0,3,5",
                "--skin", "--plane", "1,0,0,99"})["representations"];
  std::vector<std::string> types;
  for (const json& one : drawn)
    types.push_back(one["type"]);
  EXPECT_THAT(types, ElementsAre("sphere", "isosurface", "isosurface", "plane", "cylinder", "skin",
                                 "plane"));
  EXPECT_EQ(drawn[0]["arguments"], json::parse(R"({"center": [0.0, 0.0, 0.0], "radius": 9.0})"));
  EXPECT_EQ(drawn[2]["arguments"], json::parse(R"({"array": "psi", "value": -1.5})"));
  EXPECT_EQ(drawn[3]["arguments"], json::parse(R"({"normal": [0.0, 0.0, 2.0], "distance": 2.0})"));
  EXPECT_EQ(
      drawn[4]["arguments"],
      json::parse(R"({"center": [0.0, 0.0, 0.0], "direction": [0.0, 0.0, 3.0], "radius": 5.0})"));
  EXPECT_NEAR(drawn[0]["area"].get<double>(), 4 * 3.14159265 * 81, 15);
  EXPECT_NEAR(drawn[3]["area"].get<double>(), 54 * 54, 1e-3);
  EXPECT_EQ(drawn[3]["bounds"][5], 1.0) << "normals of any length";
  EXPECT_EQ(drawn[0]["open_edges"], 0);
  for (std::size_t n = 0; n < 6; ++n)
    EXPECT_TRUE(drawn[n].contains("reextract_ms")) << n;
  EXPECT_EQ(drawn[6]["cells"], 0);
}

TEST(Demos, EachDrawsACleanSkinOfItsKind)
{
  const std::pair<const char*, const char*> kinds[] = {
      {"beam", "VOLUME_MESH_UNSTRUCTURED"},
      {"lug", "VOLUME_MESH_UNSTRUCTURED"},
      {"grains", "VOLUME_MESH_UNSTRUCTURED"},
      {"reservoir", "VOLUME_MESH_HEXAHEDRON_IJK"},
      {"reservoir-vertex", "VOLUME_MESH_VERTEX_HEXAHEDRON_IJK"},
      {"orbital", "VOLUME_MESH_REGULAR"},
      {"orbital-whole", "VOLUME_MESH_REGULAR"},
      {"cloud", "VOLUME_MESH_RECTILINEAR"},
      {"turbine", "VOLUME_MESH_CURVILINEAR"},
      {"terrain", "SURFACE_MESH_CURVILINEAR"}};
  ASSERT_EQ(std::size(kinds), velmoview::allDemos().size());
  json reservoirs[2];
  for (const auto& [name, kind] : kinds) {
    for (const char* size : {"5", "24"}) {
      SCOPED_TRACE(std::string(name) + " " + size);
      const TemporaryFile picture("demo.png");
      const Outcome outcome =
          runProgram({"--demo", name, "--demo-size", size, "--strict", "--report", "-", "--output",
                      picture.path(), "--size", "120x90"});
      ASSERT_EQ(outcome.code, 0) << outcome.err;
      const json report = outcome.report();
      EXPECT_EQ(report["input"]["kind"], kind);
      EXPECT_EQ(report["input"]["bad_cells"]["count"], 0);
      EXPECT_GE(report["input"]["arrays"].size(), 2u);
      EXPECT_EQ(report["picture"]["blank"], false);
      const json& skin = report["representations"][0];
      EXPECT_GT(skin["cells"], 10);
      EXPECT_EQ(skin["open_edges"] == 0, std::string(kind).starts_with("VOLUME"));
      if (std::string(name).starts_with("reservoir") && std::string(size) == "24")
        reservoirs[name == std::string("reservoir") ? 0 : 1] = skin;
    }
  }
  // One grid given in two ways.
  EXPECT_EQ(reservoirs[0]["cells"], reservoirs[1]["cells"]);
  EXPECT_EQ(reservoirs[0]["nodes"], reservoirs[1]["nodes"]);
  EXPECT_NEAR(reservoirs[0]["area"].get<double>(), reservoirs[1]["area"].get<double>(), 1);
}

TEST(WarningLog, WritesThePostingFunctionPlainly)
{
  using velmoview::plainWarning;
  EXPECT_EQ(plainWarning("Coin warning in MoMeshSkin::doExtract(): Cannot.\n"),
            "MoMeshSkin::doExtract: Cannot.");
  EXPECT_EQ(plainWarning("Coin error in SoDB::read(): bad (): x"), "SoDB::read: bad (): x");
  EXPECT_EQ(plainWarning("ERROR allocating 'skin'."), "ERROR allocating 'skin'.");
}
