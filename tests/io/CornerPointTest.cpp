#include <tests/io/TestFiles.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// 2 x 1 x 1 cells, the second one moved down by half: a fault.
const char* const kGrid = "-- a comment / with a slash\n"
                          "NOECHO\n"
                          "MAPAXES\n 0 0 0 1 1 0 /\n"
                          "SPECGRID\n 2 1 1 1 F / and what stands here does not count\n"
                          "COORD -- pillars\n"
                          "0 0 0  0 0 9\n 1 0 0  1 0 9\n 2 0 0  3 0 9\n"
                          "0 1 0  0 1 9\n 1 1 0  1 1 9\n 2 1 0  3 1 9 /\n";
const char* const kDepths = "ZCORN\n2*0 2*0.5 2*0 0.5 5d-1\n 2*1 2*1.5 -- half\n 2*1 2*1.5 /\n";

std::string grid(const std::string& values = "", const std::string& depths = kDepths)
{
  return kGrid + depths + values;
}

/// kDepths with other ones for the first two.
std::string replacedDepth(const std::string& first)
{
  return "ZCORN\n" + first + std::string(kDepths).substr(std::string("ZCORN\n2*0").size());
}

MbMeshFileOptions shared()
{
  MbMeshFileOptions options;
  options.sharedNodes = true;
  return options;
}

} // namespace

TEST(CornerPoint, PillarsAreReadInPlaceOrWelded)
{
  const std::string text = grid("PORO\n0.25 1* /\nACTNUM\n1 0 /\nSATNUM 2*7 /\n"
                                "MULTX 3*1 /\nEQUALS\n PORO 0.1 /\n/\n");
  const MbMeshFile file = readText(text);
  EXPECT_EQ(file.getFormat(), "grdecl");
  EXPECT_EQ(file.getMeshType(), VOLUME_MESH_VERTEX_HEXAHEDRON_IJK);
  EXPECT_THAT(file.getCellDimensions(), ElementsAre(2, 1, 1));
  EXPECT_THAT(file.getBounds(), ElementsAre(0, 2.0 + 1.5 / 9, 0, 1, 0, 1.5));
  EXPECT_EQ(file.getDeadCellCount(), 1u);
  EXPECT_EQ(file.findArray("SATNUM")->type, MiScalarType::Int32);
  EXPECT_THAT(valuesOf(file, "SATNUM"), ElementsAre(7, 7));
  EXPECT_THAT(valuesOf(file, "PORO"), ElementsAre(0.25, testing::IsNan()));
  EXPECT_TRUE(file.findArray("PORO")->isPartial);
  EXPECT_FALSE(file.findArray("SATNUM")->isPartial);
  EXPECT_FALSE(file.findArray("MULTX"));
  EXPECT_EQ(file.getArrays().back().name, "ACTNUM");
  EXPECT_THAT(file.getNotes(), Contains("Keywords that are left out: MULTX, EQUALS."));
  EXPECT_THAT(file.getRemarks(), Contains(StartsWith("Not carried out: MAPAXES;")));

  const MbMeshFile welded = readText(text, shared());
  EXPECT_EQ(welded.getMeshType(), VOLUME_MESH_HEXAHEDRON_IJK);
  // Two depths on each pillar at the ends, four where the fault is.
  EXPECT_EQ(welded.getNodeCount(), 16u);
  EXPECT_EQ(welded.getBounds(), file.getBounds());
  EXPECT_EQ(welded.getDeadCellCount(), 1u);
  const auto& own = dynamic_cast<const MiVolumeMeshVertexHexahedronIjk&>(*file.getMesh());
  const auto& mesh = dynamic_cast<const MiVolumeMeshHexahedronIjk&>(*welded.getMesh());
  for (std::size_t i = 0; i < 2; ++i) {
    std::size_t nodes[8];
    mesh.getTopology().getCellNodes(i, 0, 0, nodes);
    for (int corner = 0; corner < 8; ++corner)
      EXPECT_EQ(mesh.getGeometry().getNode(nodes[corner]),
                own.getGeometry().getCorner(i, 0, 0, corner));
  }
  // A depth that is no number is a node of its own, below the others.
  const MbMeshFile lost = readText(grid("", replacedDepth("nan 0")), shared());
  EXPECT_EQ(lost.getNodeCount(), 16u);
  const auto& pillar = dynamic_cast<const MiVolumeMeshHexahedronIjk&>(*lost.getMesh());
  EXPECT_EQ(pillar.getGeometry().getNode(0).z, 1);
  EXPECT_TRUE(std::isnan(pillar.getGeometry().getNode(1).z));
  // A level grid welds wholly: 3 x 2 x 2 nodes.
  EXPECT_EQ(readText(grid("", "ZCORN 8*0 8*1 /\n"), shared()).getNodeCount(), 12u);
}

TEST(CornerPoint, LargeTextIsTheSameReadByOneThreadOrMany)
{
  constexpr std::size_t kCells = 40000;
  std::string text = "SPECGRID\n200 200 1 1 F /\nCOORD\n";
  for (int pillar = 0; pillar < 201 * 201; ++pillar) {
    const std::string at = std::to_string(pillar % 201) + " " + std::to_string(pillar / 201);
    text += at + " 0.0 " + at + " 1.0\n";
  }
  text += "/\nZCORN\n160000*0.0 160000*1.0 /\nPORO\n";
  for (std::size_t i = 0; i < kCells; ++i)
    text += i % 1000 == 7 ? "-- a comment\n1*0.5\n" : "0." + std::to_string(i) + "\n";
  text += "/\n";
  const TemporaryFile file(text);
  const MbMeshFile many = MbMeshFile::read(file.path());
  MbMeshFileOptions serial;
  serial.parallel = false;
  EXPECT_EQ(valuesOf(many, "PORO"), valuesOf(MbMeshFile::read(file.path(), serial), "PORO"));
  EXPECT_EQ(valuesOf(many, "PORO")[39999], 0.39999);
  EXPECT_EQ(valuesOf(many, "PORO")[1007], 0.5);
  serial.sharedNodes = true;
  const MbMeshFile welded = MbMeshFile::read(file.path(), shared());
  EXPECT_EQ(welded.getNodeCount(), 201u * 201 * 2);
  EXPECT_EQ(describe(welded), describe(MbMeshFile::read(file.path(), serial)));
}

TEST(CornerPoint, IncludesFollowTheFileThatNamesThem)
{
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("velmo_decks_" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder / "inner");
  const auto write = [&](const char* name, const std::string& text) {
    std::ofstream(folder / name) << text;
  };
  write("main.grdecl", std::string(kGrid) + "INCLUDE\n 'inner/depths.inc' /\n");
  write("inner/depths.inc", std::string(kDepths) + "INCLUDE\n ..\\values.inc /\n");
  write("values.inc", "PORO 0.1 0.2 /\n");
  const std::string path = (folder / "main.grdecl").string();
  EXPECT_THAT(valuesOf(MbMeshFile::read(path), "PORO"), ElementsAre(0.1, 0.2));

  const auto errorOf = [&](const std::string& last) {
    write("values.inc", last);
    try {
      MbMeshFile::read(path);
    } catch (const MbMeshFileError& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  EXPECT_THAT(errorOf("\nINCLUDE 'main.grdecl' /\n"),
              HasSubstr("values.inc: line 2: the file 'main.grdecl' includes itself"));
  EXPECT_THAT(errorOf("INCLUDE 'nowhere' /\n"), HasSubstr("the file 'nowhere' cannot be opened"));
  EXPECT_THAT(errorOf("INCLUDE 'inner' /\n"), HasSubstr("is not an ordinary file"));
  EXPECT_THAT(errorOf("PORO 0.1 x /\n"), HasSubstr("values.inc: line 1: 'x' in PORO"));
  std::filesystem::remove_all(folder);
}

TEST(CornerPoint, DamageIsRefusedWithItsPlace)
{
  expectErrors({
      {"SPECGRID 2 1 /\nCOORD 1 /\n", "line 1: SPECGRID has fewer than three counts"},
      {"SPECGRID 2 1 0 /\n", "line 1: SPECGRID announces 0 cells along an axis"},
      {"SPECGRID 2 1 x /\n", "line 1: SPECGRID has 'x' for a count"},
      {"SPECGRID 4000000000 4000000000 4000000000 /\n", "line 1: SPECGRID announces more cells"},
      {"SPECGRID 2 1 1 2 F /\n", "line 1: SPECGRID announces 2 reservoirs"},
      {"SPECGRID 2 1 1 1 T /\n", "line 1: SPECGRID announces cylindrical"},
      {"SPECGRID 2 1 1 /\nDIMENS 1 1 1 /\n", "line 2: DIMENS and SPECGRID announce different"},
      {"COORD 1 /\n", ": has neither SPECGRID nor DIMENS"},
      {kGrid, ": has no ZCORN"},
      {grid("", "ZCORN 3*1 /\n"), "ZCORN has 3 numbers where 16 should be"},
      {grid("", "ZCORN 99999999999999999999*1 /\n"), "where 16 should be"},
      {grid("ACTNUM 1 /\n"), "ACTNUM has 1 numbers where 2 should be"},
      {grid("ACTNUM 1 1\n"), "ACTNUM is not ended by '/'"},
      {grid("PORO 0*1 1 /\n"), "'0*1' is no repeated number"},
      {grid("PORO x*1 1 /\n"), "'x*1' is no repeated number"},
      {grid("PORO 1 2x /\n"), "'2x' in PORO is not a number"},
      {grid("1 2 3 /\n"), "'1' stands where a keyword should"},
      {grid("EQUALS\n PORO 1 /\n"), ""},
      {grid("EQUALS\n PORO 1\n"), "EQUALS is not ended by '/'"},
      {"SPECGRID 100000 100000 100 /\nCOORD 60001200006*1 /\nZCORN 8000000000000*1 /\n",
       "more than memory can hold"},
  });
}

TEST(CornerPoint, PublishedGridsHaveTheirReferenceCounts)
{
  SKIP_WITHOUT_DATA();
  const json sets = json::parse(std::ifstream(dataFolder() / "reference.json"))["sets"];
  for (const char* name : {"cornerpoint_emerald", "cornerpoint_reek"}) {
    SCOPED_TRACE(name);
    const json& set = sets[name];
    const std::filesystem::path original = dataFolder() / name / "original";
    const std::string path = std::string(name) == "cornerpoint_reek"
                                 ? (original / "reek_sim_grid.grdecl").string()
                                 : (original / "eme_small_w_hole_grid_params.grdecl").string();
    if (!std::filesystem::exists(path)) continue;
    for (const bool weld : {false, true}) {
      const MbMeshFile file = MbMeshFile::read(path, weld ? shared() : MbMeshFileOptions());
      EXPECT_EQ(file.getCellCount(), set["cells"]);
      EXPECT_EQ(file.getCellDimensions(), set["ijk_dims"].get<std::vector<std::size_t>>());
      EXPECT_EQ(file.getDeadCellCount(), std::string(name) == "cornerpoint_reek" ? 2u : 8341u);
      if (weld) {
        EXPECT_EQ(file.getNodeCount(), set["nodes"]);
      }
      for (std::size_t i = 0; i < 6; ++i)
        EXPECT_NEAR(file.getBounds()[i], set["bbox"][i].get<double>(), 0.01);
      for (const MbMeshFileArray& array : file.getArrays()) {
        const json& expected = set["cell_arrays"][array.name];
        EXPECT_NEAR(array.ranges[0].min, expected["min"].get<double>(), 1e-6);
        EXPECT_NEAR(array.ranges[0].max, expected["max"].get<double>(), 1e-6);
      }
    }
  }
}
