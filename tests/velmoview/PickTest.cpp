#include "RunProgram.h"

#include <gmock/gmock.h>

#include <cmath>

using nlohmann::json;
using testing::HasSubstr;

namespace {

/// A block of cells x 2 x 2 unit cubes with a corner at (1000, 0, 0), the nodes numbered I fastest;
/// "f" is x + 10 y + 100 z at the nodes, "v" three times that, "f" the number at the cells.
std::string block(int cells)
{
  const int nodes = (cells + 1) * 9;
  std::string text =
      "# vtk DataFile Version 3.0\nblock\nASCII\nDATASET UNSTRUCTURED_GRID\nPOINTS " +
      std::to_string(nodes) + " double\n";
  std::string f, v;
  for (int k = 0; k < 3; ++k)
    for (int j = 0; j < 3; ++j)
      for (int i = 0; i <= cells; ++i) {
        text += std::to_string(1000 + i) + " " + std::to_string(j) + " " + std::to_string(k) + "\n";
        const std::string value = std::to_string(1000 + i + 10 * j + 100 * k) + " ";
        f += value;
        v += value + value + value;
      }
  const int count = 4 * cells;
  text += "CELLS " + std::to_string(count) + " " + std::to_string(9 * count) + "\n";
  std::string types, numbers;
  for (int k = 0; k < 2; ++k)
    for (int j = 0; j < 2; ++j)
      for (int i = 0; i < cells; ++i) {
        const int a = i + (cells + 1) * (j + 3 * k), b = a + cells + 1, up = 3 * (cells + 1);
        text += "8";
        for (const int n : {a, a + 1, b + 1, b, a + up, a + 1 + up, b + 1 + up, b + up})
          text += " " + std::to_string(n);
        text += "\n";
        types += "12 ";
        numbers += std::to_string(i + cells * (j + 2 * k)) + " ";
      }
  return text + "CELL_TYPES " + std::to_string(count) + "\n" + types + "\nCELL_DATA " +
         std::to_string(count) + "\nSCALARS f int 1\nLOOKUP_TABLE default\n" + numbers +
         "\nPOINT_DATA " + std::to_string(nodes) + "\nSCALARS f double 1\nLOOKUP_TABLE default\n" +
         f + "\nVECTORS v float\n" + v + "\n";
}

json picksOf(std::vector<std::string> arguments)
{
  for (const char* more : {"--view", "0,0,-1", "--size", "300x200", "--report", "-"})
    arguments.emplace_back(more);
  const Outcome outcome = runProgram(arguments);
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  return outcome.report().value("picks", json());
}

} // namespace

TEST(Pick, ReportsCellPointAndAllValuesUnderAPixel)
{
  const TemporaryFile mesh("pick.vtk", block(4));
  const json picks =
      picksOf({mesh.path(), "--pick", "180,70", "--pick", "0,0", "--pick", "100,130"});
  ASSERT_EQ(picks.size(), 3u);
  EXPECT_EQ(picks[1], (json{{"pixel", {0, 0}}, {"found", false}}));
  for (const int p : {0, 2}) {
    const json& pick = picks[p];
    SCOPED_TRACE(pick.dump());
    EXPECT_EQ(pick["pixel"], p == 0 ? json({180, 70}) : json({100, 130}));
    EXPECT_EQ(pick["found"], true);
    EXPECT_EQ(pick["type"], "skin");
    const double x = pick["point"][0], y = pick["point"][1], z = pick["point"][2];
    EXPECT_EQ(x > 1002, p == 0) << "x runs to the right";
    EXPECT_EQ(y > 1, p == 0) << "y runs upwards, away from the pixel's";
    EXPECT_NEAR(z, 2, 1e-6) << "seen from above";
    const int cell = static_cast<int>(x - 1000) + 4 * (static_cast<int>(y) + 2);
    EXPECT_EQ(pick["cell"], json({cell}));
    EXPECT_NEAR(pick["values"]["f"].get<double>(), x + 10 * y + 100 * z, 1e-3);
    EXPECT_EQ(pick["values"]["f@cell"], cell);
    ASSERT_EQ(pick["values"]["v"].size(), 3u);
    EXPECT_NEAR(pick["values"]["v"][2].get<double>(), x + 10 * y + 100 * z, 1e-3);
  }
  // The same cells as a grid, one filtered out: what lies below is seen.
  const json grid = picksOf({mesh.path(), "--ijk", "4,2,2", "--pick", "180,70"});
  const int i = static_cast<int>(picks[0]["point"][0].get<double>() - 1000);
  EXPECT_EQ(grid[0]["cell"], json({i, 1, 1}));
  const json below =
      picksOf({mesh.path(), "--ijk", "4,2,2", "--cell-range", "0,0,0,3,1,0", "--pick", "180,70"});
  EXPECT_EQ(below[0]["cell"][2], 0);
  EXPECT_NEAR(below[0]["point"][2].get<double>(), 1, 1e-6);
}

TEST(Pick, RefusesPixelsOutsideAndRunsWithoutAReport)
{
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"--pick", "3"}, "--pick takes PX,PY: '3' holds 1"},
      {{"--pick", "3,-1"}, "'-1' is not a whole number"},
      {{"--pick", "3,4.5"}, "'4.5' is not a whole number"},
      {{"--pick", "800,3", "--size", "800x600"}, "800,3 is outside the picture of 800x600"},
      {{"--pick", "3,600", "--size", "800x600"}, "3,600 is outside the picture of 800x600"},
  };
  for (auto [arguments, expected] : cases) {
    arguments.insert(arguments.end(), {"--demo", "beam", "--report", "-"});
    const Outcome outcome = runProgram(arguments);
    EXPECT_EQ(outcome.code, 2);
    EXPECT_THAT(outcome.err, HasSubstr(expected));
    EXPECT_EQ(outcome.out, "");
  }
  const Outcome silent = runProgram({"--demo", "beam", "--pick", "3,4", "--output", "p.png"});
  EXPECT_EQ(silent.code, 2);
  EXPECT_THAT(silent.err, HasSubstr("--pick writes into the report; add --report"));
}
