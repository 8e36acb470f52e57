#include <tests/io/TestFiles.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <map>
#include <sys/resource.h>
#include <velmo/mesh/MbArray.h>

using nlohmann::json;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

json readJson(const std::filesystem::path& path)
{
  return json::parse(std::ifstream(path));
}

std::string libraryShape(const std::string& name)
{
  return name == "voxel"                                           ? "hexahedron"
         : name == "pixel"                                         ? "quad"
         : name == "pentagonal_prism" || name == "hexagonal_prism" ? "polyhedron"
                                                                   : name;
}

void expectRange(const MbValueRange& range, double min, double max)
{
  const double tolerance = 1e-6 * std::max({std::abs(min), std::abs(max), 1e-300});
  EXPECT_NEAR(range.min, min, tolerance);
  EXPECT_NEAR(range.max, max, tolerance);
  EXPECT_EQ(range.nanCount + range.infiniteCount, 0u);
}

void expectArray(const MbMeshFile& file, const std::string& name, const json& expected)
{
  SCOPED_TRACE(name);
  const MbMeshFileArray* array = file.findArray(name);
  ASSERT_TRUE(array);
  EXPECT_EQ(array->components, expected["components"]);
  ASSERT_TRUE(array->set);
  if (array->components == 3) {
    for (std::size_t c = 0; c < 3; ++c)
      expectRange(array->ranges[c], expected["min"][c], expected["max"][c]);
    expectRange(array->ranges[3], expected["magnitude_min"], expected["magnitude_max"]);
    return;
  }
  expectRange(array->ranges[0], expected["min"], expected["max"]);
  double sum = 0;
  for (std::size_t i = 0; i < array->values.count; ++i)
    sum += mbNumber(array->values, i);
  EXPECT_NEAR(sum, expected["sum"], 1e-6 * std::abs(expected["sum"].get<double>()));
}

void expectCounts(const MbMeshFile& file, const json& set)
{
  EXPECT_EQ(file.getNodeCount(), set["nodes"]);
  EXPECT_EQ(file.getCellCount(), set["cells"]);
  std::map<std::string, std::size_t> shapes, found;
  for (const auto& [name, count] : set["cell_types"].items())
    shapes[libraryShape(name)] += count.get<std::size_t>();
  for (const auto& [name, count] : file.getShapeCounts())
    found[name] += count;
  EXPECT_EQ(found, shapes);
  const std::array<double, 6> bounds = file.getBounds();
  double diagonal = 0;
  for (std::size_t axis = 0; axis < 3; ++axis)
    diagonal = std::hypot(diagonal, bounds[2 * axis + 1] - bounds[2 * axis]);
  for (std::size_t i = 0; i < 6; ++i)
    EXPECT_NEAR(bounds[i], set["bbox"][i].get<double>(), 1e-6 * diagonal);
}

/// 4 GB of addresses for this process while it lives; nothing under sanitizers, which need more.
struct AddressLimit
{
  AddressLimit()
  {
    ::getrlimit(RLIMIT_AS, &m_before);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    rlimit less = m_before;
    less.rlim_cur = std::min<rlim_t>(less.rlim_max, rlim_t{4} << 30);
    ::setrlimit(RLIMIT_AS, &less);
#endif
  }
  ~AddressLimit()
  {
    ::setrlimit(RLIMIT_AS, &m_before);
  }
  AddressLimit(const AddressLimit&) = delete;
  AddressLimit& operator=(const AddressLimit&) = delete;

private:
  rlimit m_before{};
};

/// 2 x 1 x 1 hexahedra with a fault between them: cell 1 is moved up by half.
std::string faultedPair(const std::string& active)
{
  return "# vtk DataFile Version 3.0\ndims 2 1 1\nASCII\nDATASET UNSTRUCTURED_GRID\n"
         "POINTS 16 float 0 0 0 1 0 0 1 1 0 0 1 0 0 0 1 1 0 1 1 1 1 0 1 1\n"
         "1 0 .5 2 0 .5 2 1 .5 1 1 .5 1 0 1.5 2 0 1.5 2 1 1.5 1 1 1.5\n"
         "CELLS 2 18 8 0 1 2 3 4 5 6 7 8 8 9 10 11 12 13 14 15\nCELL_TYPES 2 12 12\n"
         "POINT_DATA 16\nSCALARS n int\nLOOKUP_TABLE d 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15\n"
         "CELL_DATA 2\nSCALARS alive int\nLOOKUP_TABLE d " +
         active + "\nVECTORS v float 1 2 3 4 5 6\n";
}

} // namespace

TEST(MbMeshFile, RealMeshesHaveTheirCountsBoundsAndRanges)
{
  SKIP_WITHOUT_DATA();
  const json reference = readJson(dataFolder() / "reference.json");
  ASSERT_GE(reference["sets"].size(), 21u);
  for (const auto& [name, set] : reference["sets"].items()) {
    SCOPED_TRACE(name);
    const std::string path = (dataFolder() / set["file"].get<std::string>()).string();
    const int kind = set["mesh_kind"];
    const MbMeshFile file = MbMeshFile::read(path);
    expectCounts(file, set);
    for (const auto& [array, expected] : set["point_arrays"].items())
      expectArray(file, array + "@node", expected);
    for (const auto& [array, expected] : set["cell_arrays"].items())
      expectArray(file, array + "@cell", expected);
    EXPECT_EQ(describe(file), describe(MbMeshFile::read(path, {false, {}, false, {}})));
    if (kind != VOLUME_MESH_HEXAHEDRON_IJK) {
      EXPECT_EQ(file.getMeshType(), kind);
      continue;
    }
    const auto dims = set["ijk_dims"].get<std::vector<std::size_t>>();
    const MbIndex3 cells = {dims[0], dims[1], dims[2]};
    for (const bool vertex : {false, true}) {
      const MbMeshFile ijk = MbMeshFile::read(path, {true, cells, vertex, "ACTNUM"});
      EXPECT_EQ(ijk.getMeshType(), vertex ? VOLUME_MESH_VERTEX_HEXAHEDRON_IJK : kind);
      EXPECT_EQ(ijk.getCellDimensions(), dims);
      EXPECT_EQ(ijk.getBounds(), file.getBounds());
      EXPECT_EQ(ijk.getDeadCellCount(), name == "cornerpoint_reek" ? 2u : 8341u);
      EXPECT_TRUE(ijk.findArray("PORO")->as<MiScalardSetIjk>());
    }
  }
}

TEST(MbMeshFile, PublishedFilesHoldTheConvertedMeshes)
{
  SKIP_WITHOUT_DATA();
  const json sets = readJson(dataFolder() / "reference.json")["sets"];
  for (const auto& [name, path] : kPublishedFiles) {
#ifndef VELMO_HAS_LZMA
    if (std::string(name) == "tet_reservoir") continue;
#endif
    SCOPED_TRACE(path);
    const MbMeshFile file = MbMeshFile::read((dataFolder() / path).string());
    const json& set = sets[name];
    expectCounts(file, set);
    // The conversion added a few arrays.
    for (const char* binding : {"point", "cell"})
      for (const auto& [array, expected] : set[std::string(binding) + "_arrays"].items()) {
        const std::string at = array + (*binding == 'p' ? "@node" : "@cell");
        if (file.findArray(at)) expectArray(file, at, expected);
      }
  }
  const MbMeshFile faults =
      MbMeshFile::read((dataFolder() / "line_faults/original/faults.vtk").string());
  EXPECT_EQ(faults.getMeshType(), LINE_MESH_UNSTRUCTURED);
  EXPECT_THAT(faults.getShapeCounts(), ElementsAre(testing::Pair("polyline", 78)));
}

TEST(MbMeshFile, HostileFilesAreReadOrRefusedWithThePlaceOfTheDamage)
{
  SKIP_WITHOUT_DATA();
  const json readable = readJson(dataFolder() / "hostile/reference.json")["files"];
  const AddressLimit limit;
  std::size_t refused = 0, read = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dataFolder() / "hostile")) {
    const std::string path = entry.path().string(), name = entry.path().filename().string();
    if (entry.path().extension() == ".json") continue;
    SCOPED_TRACE(name);
    const char* refusal = refusalOf(name);
    try {
      const MbMeshFile file = MbMeshFile::read(path);
      EXPECT_FALSE(refusal);
      describe(file);
      ++read;
      const auto known = readable.find(name);
      if (known == readable.end()) continue;
      if (known->contains("nodes")) {
        EXPECT_EQ(file.getNodeCount(), (*known)["nodes"]);
        // A single node is a cell there; here it is a line without segments.
        const std::size_t extra = file.getNodeCount() == 1 ? 1 : 0;
        EXPECT_EQ(file.getCellCount() + extra, (*known)["cells"]);
      } else {
        EXPECT_EQ(file.getDeadCellCount(), (*known)["dead_cells"]);
        MbMeshFileOptions shared;
        shared.sharedNodes = true;
        const MbMeshFile welded = MbMeshFile::read(path, shared);
        EXPECT_EQ(welded.getNodeCount(), (*known)["nodes_after_merging"]);
        EXPECT_EQ(welded.getDeadCellCount(), (*known)["dead_cells"]);
      }
    } catch (const MbMeshFileError& error) {
      ASSERT_TRUE(refusal) << error.what();
      EXPECT_THAT(error.what(), StartsWith(path + ": "));
      EXPECT_THAT(error.what(), HasSubstr(refusal));
      ++refused;
    }
  }
  EXPECT_EQ(refused, std::size(kRefusedFiles));
  EXPECT_GE(read, 28u);

  const auto hostile = [](const char* name) {
    return MbMeshFile::read((dataFolder() / "hostile" / name).string());
  };
  EXPECT_EQ(describe(hostile("nan_values_ascii.vtk")), describe(hostile("nan_values_binary.vtk")));
  const MbValueRange range = hostile("nan_values_binary.vtk").findArray("vel_norm")->ranges[0];
  EXPECT_EQ(range.nanCount, 4u);
  EXPECT_EQ(range.infiniteCount, 2u);
  EXPECT_EQ(range.min, 0);
  EXPECT_NEAR(range.max, 1.0044, 1e-4);
  EXPECT_EQ(hostile("huge_values.vtk").findArray("vel_norm")->ranges[0].nanCount, 0u);
  EXPECT_TRUE(hostile("duplicate_array_names.vtk").findArray("vel_norm (2)"));
}

TEST(MbMeshFile, EveryCutOfASmallFileIsReadOrRefused)
{
  const std::string text = faultedPair("1 0");
  std::string binary = "# vtk DataFile Version 3.0\nt\nBINARY\nDATASET UNSTRUCTURED_GRID\n"
                       "POINTS 4 double\n" +
                       packed(std::vector<double>(12, 0.25), true) + "\nCELLS 1 5\n" +
                       packed(std::vector<std::int32_t>{4, 0, 1, 2, 3}, true) + "\nCELL_TYPES 1\n" +
                       packed(std::vector<std::int32_t>{10}, true) +
                       "\nCELL_DATA 1\nFIELD f 1\na 1 1 short\n" +
                       packed(std::vector<std::int16_t>{300}, true) + "\n";
  std::string vtu =
      "<VTKFile type=\"UnstructuredGrid\" byte_order=\"LittleEndian\">"
      "<UnstructuredGrid><Piece NumberOfPoints=\"4\" NumberOfCells=\"1\"><Points>"
      "<DataArray type=\"Float32\" NumberOfComponents=\"3\" format=\"appended\" "
      "offset=\"0\"/></Points><Cells><DataArray type=\"UInt16\" "
      "Name=\"connectivity\" format=\"ascii\">0 1 2 3</DataArray><DataArray "
      "type=\"Int32\" Name=\"offsets\" format=\"appended\" offset=\"52\"/>"
      "<DataArray type=\"UInt8\" Name=\"types\" format=\"binary\">AQAAAAo=</DataArray>"
      "</Cells></Piece></UnstructuredGrid><AppendedData encoding=\"raw\">_" +
      packed(std::vector<std::uint32_t>{48}, false) + packed(std::vector<float>(12, 0.5f), false) +
      packed(std::vector<std::uint32_t>{4, 4}, false);
  for (const std::string& whole : {text, binary, vtu}) {
    const MbMeshFile good = readText(whole);
    EXPECT_GE(good.getCellCount(), 1u);
    const TemporaryFile file("");
    for (std::size_t length = 0; length < whole.size(); ++length) {
      file.write(whole.substr(0, length));
      try {
        const MbMeshFile cut = MbMeshFile::read(file.path());
        // Only what says nothing more than "here ends a list" may be missed.
        EXPECT_LE(describe(cut).size(), describe(good).size() + 40) << length;
      } catch (const MbMeshFileError& error) {
        EXPECT_THAT(error.what(), StartsWith(file.path() + ": "));
      }
    }
  }
}

TEST(MbMeshFile, HexahedraAreReadAsIjkWithSharedOrOwnNodes)
{
  const MbIndex3 cells = {2, 1, 1};
  const MbMeshFile shared = readText(faultedPair("1 0"), {true, cells, false, "alive"});
  EXPECT_EQ(shared.getMeshType(), VOLUME_MESH_HEXAHEDRON_IJK);
  EXPECT_EQ(shared.getDeadCellCount(), 1u);
  EXPECT_EQ(shared.findArray("n")->as<MiScalardSetI>()->getValue(15), 15);
  EXPECT_EQ(shared.findArray("v")->as<MiVec3dSetIjk>()->getValue(1, 0, 0), (MbVec3d{4, 5, 6}));

  for (const bool dead : {false, true}) {
    const MbMeshFile own = MbMeshFile::asHexahedronIjk(readText(faultedPair(dead ? "0 1" : "1 1")),
                                                       cells, true, "alive");
    ASSERT_EQ(own.getMeshType(), VOLUME_MESH_VERTEX_HEXAHEDRON_IJK);
    const auto& mesh = dynamic_cast<const MiVolumeMeshVertexHexahedronIjk&>(*own.getMesh());
    EXPECT_EQ(mesh.getGeometry().getCorner(1, 0, 0, 6), (MbVec3d{2, 1, 1.5}));
    EXPECT_EQ(mesh.getTopology().isDead(0, 0, 0), dead);
    const auto* set = own.findArray("n")->as<MiScalardSetIjk>();
    ASSERT_TRUE(set);
    EXPECT_EQ(set->getSizes(), (MbIndex3{3, 2, 2}));
    EXPECT_EQ(set->getValue(0, 0, 0), 0);
    EXPECT_EQ(set->getValue(2, 1, 1), 14);
    // On the fault the first live cell decides.
    EXPECT_EQ(set->getValue(1, 0, 1), dead ? 12 : 5);
    EXPECT_EQ(own.getNotes().size(), dead ? 0u : 1u);
  }
}

TEST(MbMeshFile, ActiveArraysMarkDeadCellsOfAnyKind)
{
  const std::string grid = "# vtk DataFile Version 3.0\nt\nASCII\nDATASET STRUCTURED_POINTS\n"
                           "DIMENSIONS 3 2 1\nCELL_DATA 2\nSCALARS a float\nLOOKUP_TABLE d 0 1\n"
                           "VECTORS v float 0 0 0 0 0 0\n";
  const MbMeshFile file = readText(grid, {true, {}, false, "a"});
  EXPECT_EQ(file.getDeadCellCount(), 1u);
  EXPECT_TRUE(
      dynamic_cast<const MiSurfaceMeshRegular&>(*file.getMesh()).getTopology().isDead(0, 0));
  EXPECT_THAT(errorOf(grid, {true, {}, false, "b"}), HasSubstr("no array 'b' per cell"));
  EXPECT_THAT(errorOf(grid, {true, {}, false, "v"}), HasSubstr("3 components"));
  EXPECT_THAT(errorOf(grid, {true, MbIndex3{2, 1, 1}, false, {}}), HasSubstr("structured already"));
  for (const MbIndex3& cells : {MbIndex3{1, 1, 1}, MbIndex3{0, 1, 2}, MbIndex3{2, 2, 1},
                                MbIndex3{std::size_t{1} << 63, 4, 1}})
    EXPECT_THAT(errorOf(faultedPair("1 1"), {true, cells, false, {}}),
                HasSubstr("has 2 cells, which are not"));
}

TEST(MbMeshFile, WhatIsNoMeshFileIsRefused)
{
  const auto refusal = [](const std::string& path) -> std::string {
    try {
      MbMeshFile::read(path);
    } catch (const MbMeshFileError& error) {
      return error.getProblem();
    }
    return "";
  };
  EXPECT_THAT(refusal("/no/such/file"), HasSubstr("cannot be opened (No such file"));
  EXPECT_EQ(refusal("/"), "is not an ordinary file");
  EXPECT_EQ(refusal("/dev/null"), "is not an ordinary file");
  EXPECT_THAT(errorOf("solid cube"), HasSubstr("no format that can be read"));
  EXPECT_THAT(errorOf("<html></html>"), HasSubstr("no format that can be read"));
  EXPECT_THAT(errorOf(std::string(100, '\0')), HasSubstr("no format that can be read"));
}
