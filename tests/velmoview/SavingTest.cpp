#include "RunProgram.h"

#include <velmo/io/MbMeshFile.h>

#include <gmock/gmock.h>

using nlohmann::json;
using testing::HasSubstr;

TEST(Info, IsATableOfTheMeshAndItsArrays)
{
  const TemporaryFile mesh("info.vtk", twoCubes());
  const Outcome outcome = runProgram({mesh.path(), "--info", "--ijk", "2,1,1", "--active", "id"});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_EQ(outcome.out, mesh.path() + "\n"
                                       "  format  legacy vtk\n"
                                       "  title   two cubes\n"
                                       "  kind    VOLUME_MESH_HEXAHEDRON_IJK\n"
                                       "  cells   2 x 1 x 1 = 2\n"
                                       "  shapes  2 hexahedron\n"
                                       "  nodes   12\n"
                                       "  x       0 .. 2\n"
                                       "  y       0 .. 1\n"
                                       "  z       0 .. 1\n"
                                       "\n"
                                       "  array     per   type     comp.  min  max  NaN  inf\n"
                                       "  id        cell  int32        1    3    7    0    0\n"
                                       "  all       cell  float64      1    1    1    1    0\n"
                                       "  x         node  float32      1    0    2    0    0\n"
                                       "  v         node  float64      3\n"
                                       "    x                               3    3    0    0\n"
                                       "    y                               4    4    0    0\n"
                                       "    z                               0    0    0    0\n"
                                       "    length                          5    5    0    0\n");
}

TEST(CheckMesh, TellsFaultsWhereTheyAreAndByTheExitCode)
{
  const TemporaryFile mesh("check.vtk", twoCubes(true));
  const Outcome wrong = runProgram({mesh.path(), "--check-mesh", "--ijk", "2,1,1"});
  EXPECT_EQ(wrong.code, 3);
  EXPECT_THAT(wrong.out,
              HasSubstr("    1  broken cells, with missing or too few nodes   (1,0,0)\n"));
  EXPECT_THAT(wrong.out,
              HasSubstr("    1  values that are not finite in 'all' per cell  (0,0,0)\n"));
  EXPECT_THAT(wrong.out, HasSubstr("Something is wrong"));
  for (const char* demo : {"beam", "lug", "grains", "reservoir", "reservoir-vertex", "orbital",
                           "cloud", "turbine", "terrain"})
  {
    const Outcome good = runProgram({"--demo", demo, "--demo-size", "12", "--check-mesh"});
    EXPECT_EQ(good.code, 0) << demo << "\n" << good.out;
    EXPECT_THAT(good.out, HasSubstr("Nothing is wrong")) << demo;
  }
}

TEST(Saving, MeshAndResultsGoToTheFilesNamed)
{
  const TemporaryFile mesh("save.vtk", twoCubes()), grid("save_mesh.vtu");
  const TemporaryFile saved("saved"), skin("saved-1-skin.vtp"), plane("saved-2-plane.vtp");
  const Outcome outcome =
      runProgram({mesh.path(), "--save-mesh", grid.path(), "--compress", "--save", saved.path(),
                  "--skin", "--plane", "1,0,0,0.5", "--strict"});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_TRUE(std::filesystem::exists(skin.path()));
  EXPECT_TRUE(std::filesystem::exists(plane.path()));
  const json before = reportOf({mesh.path()}), after = reportOf({grid.path()});
  EXPECT_EQ(before["input"]["bounds"], after["input"]["bounds"]);
  EXPECT_EQ(before["input"]["shapes"], after["input"]["shapes"]);
  EXPECT_EQ(before["representations"][0]["area"], after["representations"][0]["area"]);
  const MbMeshFile again = MbMeshFile::read(grid.path());
  ASSERT_EQ(again.getArrays().size(), 4u);
  EXPECT_EQ(again.findArray("id@cell")->type, MiScalarType::Int32);
  EXPECT_EQ(again.findArray("v@node")->components, 3u);
}

TEST(Saving, WhatCannotBeWrittenIsNamed)
{
  const TemporaryFile mesh("unsaved.vtk", twoCubes());
  const std::string nowhere = testing::TempDir() + "no/such/folder/x";
  struct Case
  {
    std::vector<std::string> arguments;
    int code;
    std::string says;
  };
  const Case cases[] = {
      {{"--save-mesh", nowhere + ".vtu"}, 1, nowhere + ".vtu: cannot be written (No such file"},
      {{"--save", nowhere}, 1, nowhere + "-1-skin.vtp: cannot be written (No such file"},
      {{"--save-mesh", testing::TempDir() + "unsaved.vti"}, 2, "only grids of nodes"},
      {{"--save-mesh", testing::TempDir() + "unsaved.vtp"}, 2, "only surfaces and lines"},
      {{"--save-mesh", "mesh.obj"}, 2, "--save-mesh takes a FILE.vtu"},
      {{"--save-mesh", ""}, 2, "--save-mesh takes a FILE.vtu"},
      {{"--compress", "--info"}, 2, "--compress takes effect only with"},
      {{"--info", "--report", "-"}, 2, "--info and --report - both"},
      {{"--check-mesh", "--report", "-"}, 2, "--check-mesh and --report - both"},
  };
  for (Case one : cases) {
    one.arguments.insert(one.arguments.begin(), mesh.path());
    const Outcome outcome = runProgram(one.arguments);
    EXPECT_EQ(outcome.code, one.code) << one.says;
    EXPECT_THAT(outcome.err, HasSubstr(one.says));
  }
}
