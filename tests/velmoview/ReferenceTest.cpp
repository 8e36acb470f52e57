#include "ReferenceSets.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

using nlohmann::json;

namespace {

/// Runs the skin of a file and compares it with the reference: face counts exactly (but for faces
/// that collapse), areas between those of the two ways to cut each quad.
void expectSkin(std::vector<std::string> arguments, const json& skin, std::size_t faces,
                const char* kind)
{
  arguments.insert(arguments.end(), {"--skin", "--strict"});
  const Outcome outcome = runProgram(arguments);
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  const json report = outcome.report();
  EXPECT_EQ(report["input"]["kind"], kind);
  const json& drawn = report["representations"].at(0);
  const double dropped = skin.value("faces_with_fewer_than_3_distinct_nodes_dropped", 0);
  EXPECT_NEAR(drawn["cells"].get<double>(), static_cast<double>(faces), dropped);
  EXPECT_GE(drawn["area"].get<double>(), skin["area_min"].get<double>() * (1 - 1e-5));
  EXPECT_LE(drawn["area"].get<double>(), skin["area_max"].get<double>() * (1 + 1e-5));
}

} // namespace

TEST_F(Reference, EveryVolumeMeshHasItsFacesAndArea)
{
  const int count = forEachSet(
      "skin", "VOLUME", [](const json& set, Arguments arguments, const std::string& kind) {
        const json& skin = set["skin"];
        // A quadratic triangle is four.
        const bool quadratic = set["cell_types"].contains("quadratic_tetrahedron");
        expectSkin(arguments, skin, skin[quadratic ? "vtk_faces" : "faces"], kind.c_str());
        if (kind != "VOLUME_MESH_HEXAHEDRON_IJK") return;
        arguments.push_back("--vertex");
        expectSkin(arguments, skin, skin["faces"], "VOLUME_MESH_VERTEX_HEXAHEDRON_IJK");
      });
  EXPECT_GE(count, 13);
}

TEST_F(Reference, PublishedFilesHaveTheSkinsOfTheConvertedOnes)
{
  const struct
  {
    const char *set, *file, *option, *kind;
  } cases[] = {
      {"cornerpoint_emerald", "eme_small_w_hole_grid_params.grdecl", "",
       "VOLUME_MESH_VERTEX_HEXAHEDRON_IJK"},
      {"cornerpoint_emerald", "eme_small_w_hole_grid_params.grdecl", "--shared-nodes",
       "VOLUME_MESH_HEXAHEDRON_IJK"},
      {"cornerpoint_reek", "reek_sim_grid.grdecl", "", "VOLUME_MESH_VERTEX_HEXAHEDRON_IJK"},
      {"cornerpoint_reek", "reek_sim_grid.grdecl", "--shared-nodes", "VOLUME_MESH_HEXAHEDRON_IJK"},
      {"hex_disk", "disk_out_ref.ex2", "", "VOLUME_MESH_UNSTRUCTURED"},
  };
  for (const auto& [set, file, option, kind] : cases) {
    SCOPED_TRACE(std::string(file) + " " + option);
    const std::string path = dataFile(std::string(set) + "/original/" + file);
    Arguments arguments{path, "--report", "-"};
    if (*option) arguments.emplace_back(option);
    // Exodus files need a library that may be missing.
    const Outcome outcome = runProgram(arguments);
    if (outcome.err.find("libnetcdf-dev") != std::string::npos) continue;
    const json& skin = m_sets[set]["skin"];
    expectSkin(arguments, skin, skin["faces"], kind);
  }
}

TEST_F(Reference, EveryVolumeMeshHasItsIsosurfacesAndSlices)
{
  std::size_t count = 0;
  forEachSet("skin", "VOLUME", [&](const json& set, Arguments arguments, const std::string& kind) {
    std::vector<std::string> cuts;
    std::vector<std::pair<json, double>> expected; // and the relative tolerance
    const auto add = [&](const char* field, const char* option, const auto& argumentOf,
                         const auto& toleranceOf) {
      for (const json& one : set.value(field, json::array())) {
        cuts.insert(cuts.end(), {option, argumentOf(one)});
        // Two ways of cutting the cells differ as much as this one may differ from either.
        const double area = one["area"], split = one.value("area_tetrahedra", area);
        expected.emplace_back(one, std::max(toleranceOf(one), 1.5 * std::abs(split / area - 1)));
      }
    };
    const bool onlyTetrahedra =
        set["cell_types"].size() == 1 && set["cell_types"].contains("tetrahedron");
    add(
        "isosurface", "--isosurface",
        [](const json& one) { return one["array"].get<std::string>() + "=" + one["value"].dump(); },
        [&](const json&) { return onlyTetrahedra ? 1e-5 : 0.02; });
    add(
        "plane_slice", "--plane",
        [&](const json& one) {
          double distance = 0;
          for (int axis = 0; axis < 3; ++axis)
            distance += one["normal"][axis].get<double>() * one["origin"][axis].get<double>();
          return listOf({one["normal"], distance});
        },
        [](const json&) { return 0.005; });
    // The reference vertices lie where the function would be zero if it were linear along edges;
    // how far that is from the true surface depends on the size of the cells.
    const double volume = set.value("volume", set.value("volume_vtk", 0.0));
    const double cell = std::cbrt(volume / set["cells"].get<double>());
    const auto roundness = [&](const json& one) {
      return 0.03 + 2.5 * std::pow(cell / one["radius"].get<double>(), 2);
    };
    add(
        "sphere_slice", "--sphere",
        [](const json& one) {
          return listOf({one["center"], one["radius"]});
        },
        roundness);
    add(
        "cylinder_slice", "--cylinder",
        [](const json& one) {
          return listOf({one["center"], one["axis"], one["radius"]});
        },
        roundness);

    arguments.insert(arguments.end(), cuts.begin(), cuts.end());
    std::vector<Arguments> readings{arguments};
    if (kind == "VOLUME_MESH_HEXAHEDRON_IJK") {
      readings.push_back(arguments);
      readings[1].push_back("--vertex");
    }
    for (const Arguments& reading : readings) {
      const Outcome outcome = runProgram(reading);
      ASSERT_EQ(outcome.code, 0) << outcome.err;
      const json report = outcome.report();
      EXPECT_EQ(report["warnings"], json::array());
      ASSERT_EQ(report["representations"].size(), expected.size());
      for (std::size_t n = 0; n < expected.size(); ++n) {
        const auto& [one, tolerance] = expected[n];
        EXPECT_NEAR(report["representations"][n]["area"].get<double>(), one["area"].get<double>(),
                    tolerance * one["area"].get<double>())
            << report["representations"][n]["arguments"];
        EXPECT_TRUE(report["representations"][n].contains("reextract_ms"));
        ++count;
      }
    }
  });
  EXPECT_GE(count, 60u);
}

TEST_F(Reference, EverySurfaceHasItsFacesAreaRimAndIsolines)
{
  int lines = 0;
  const auto check = [&](const json& set, Arguments arguments, const std::string&) {
    arguments.push_back("--strict");
    const json surface = runProgram(arguments).report()["representations"].at(0);
    EXPECT_EQ(surface["type"], "surface");
    EXPECT_EQ(surface["cells"], set["cells"]);
    EXPECT_EQ(surface["open_edges"], set["boundary_edges"]);
    const double area = set["surface_area_fan0"];
    EXPECT_NEAR(surface["area"].get<double>(), area, 1e-5 * area);
    for (const json& isoline : set["isolines"]) {
      ++lines;
      const std::string array = isoline["array"];
      std::vector<std::string> asked = arguments;
      asked.insert(asked.end(), {"--isolines", array + "=" + isoline["value"].dump()});
      const json drawn = runProgram(asked).report()["representations"].at(0);
      const json& part = drawn["parts"].at(0);
      EXPECT_EQ(part["value"], isoline["value"]);
      const double length = isoline["length"], triangles = isoline["length_triangles"];
      EXPECT_NEAR(part["length"].get<double>(), length,
                  std::max(0.01 * length, 1.5 * std::abs(length - triangles)))
          << array << part["value"];
      EXPECT_EQ(drawn["length"], part["length"]);
      EXPECT_LE(part["closed"].get<int>(), part["polylines"].get<int>());
    }
  };
  EXPECT_EQ(forEachSet("isolines", "SURFACE", check), 4);
  EXPECT_EQ(lines, 10);
}

TEST_F(Reference, EveryLineHasItsSegmentsAndLength)
{
  const auto check = [](const json& set, Arguments arguments, const std::string&) {
    arguments.push_back("--strict");
    const json line = runProgram(arguments).report()["representations"].at(0);
    EXPECT_EQ(line["type"], "line");
    EXPECT_EQ(line["cells"], set["segments"]);
    const double length = set["total_length"];
    EXPECT_NEAR(line["length"].get<double>(), length, 1e-6 * length);
  };
  EXPECT_EQ(forEachSet("total_length", "LINE", check), 3);
}

TEST_F(Reference, PublishedFilesAgreeWithTheirConversions)
{
  for (const auto& [name, file] : kPublishedFiles) {
    SCOPED_TRACE(file);
    const json& set = m_sets[name];
    if (!set.contains("skin")) continue;
    if (runProgram({dataFile(file), "--info"}).err.find("liblzma") != std::string::npos) continue;
    const json& skin = set["skin"];
    const bool quadratic = set["cell_types"].contains("quadratic_tetrahedron");
    expectSkin({dataFile(file), "--report", "-"}, skin, skin[quadratic ? "vtk_faces" : "faces"],
               set["mesh_kind_name"].get<std::string>().c_str());
  }
}

TEST_F(Reference, DescribesTheInputExactly)
{
  forEachSet("bbox", "", [](const json& set, const Arguments& arguments, const std::string& kind) {
    if (kind == "VOLUME_MESH_HEXAHEDRON_IJK") return;
    const Outcome outcome = runProgram(arguments);
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    const json report = outcome.report();
    const json& input = report["input"];
    EXPECT_EQ(input["kind"], set["mesh_kind_name"]);
    EXPECT_EQ(input["nodes"], set["nodes"]);
    EXPECT_EQ(input["cells"], set["cells"]);
    EXPECT_EQ(input.contains("bad_cells") ? input["bad_cells"]["count"].get<int>() : 0, 0);
    const auto bounds = input["bounds"].get<std::vector<double>>();
    const auto expected = set["bbox"].get<std::vector<double>>();
    double diagonal = 0;
    for (int axis = 0; axis < 3; ++axis)
      diagonal = std::hypot(diagonal, expected[2 * axis + 1] - expected[2 * axis]);
    for (int n = 0; n < 6; ++n)
      EXPECT_NEAR(bounds[n], expected[n], 1e-6 * diagonal);
    for (const json& array : input["arrays"]) {
      const json& known =
          set[array["binding"] == "PER_NODE" ? "point_arrays" : "cell_arrays"].at(array["name"]);
      EXPECT_EQ(array["components"], known["components"]);
      const double low = known["components"] == 1 ? known["min"].get<double>()
                                                  : known["magnitude_min"].get<double>();
      const double reported = known["components"] == 1 ? array["min"].get<double>()
                                                       : array["magnitude"][0].get<double>();
      EXPECT_NEAR(reported, low, 1e-6 * std::abs(low) + 1e-12) << array["name"];
    }
  });
}

TEST_F(Reference, LogicalSlicesHaveTheirCellsAndAreas)
{
  int count = 0;
  forEachSet("logical_slice", "", [&](const json& set, const Arguments& input, const std::string&) {
    for (const auto& [axis, slice] : set["logical_slice"].items()) {
      SCOPED_TRACE(axis);
      const std::string at = axis + "=" + std::to_string(slice["index"].get<int>());
      std::vector<std::string> arguments = input;
      arguments.insert(arguments.end(), {"--logical-slice", at, "--logical-slice", at + ",upper",
                                         "--interpolated-slice", at, "--slab", at});
      const Outcome outcome = runProgram(arguments);
      ASSERT_EQ(outcome.code, 0) << outcome.err;
      const json drawn = outcome.report()["representations"];
      const json cells = slice.contains("cells") ? slice["cells"] : slice["live_cells"];
      const double lower = slice["area_lower_fan0"], upper = slice["area_upper_fan0"];
      EXPECT_EQ(drawn[0]["cells"], cells);
      EXPECT_EQ(drawn[1]["cells"], cells);
      EXPECT_NEAR(drawn[0]["area"].get<double>(), lower, 1e-5 * lower);
      EXPECT_NEAR(drawn[1]["area"].get<double>(), upper, 1e-5 * upper);
      EXPECT_EQ(drawn[2]["area"], drawn[0]["area"]);
      // The slab has both as parts of its boundary.
      EXPECT_GT(drawn[3]["area"].get<double>(), (lower + upper) * (1 - 1e-6));
      ++count;
    }
  });
  EXPECT_EQ(count, 15);
}

TEST_F(Reference, OneThreadSeesWhatManySee)
{
  for (const char* file : {"mixed_box/mixed_box.vtk", "curvilinear_comb/curvilinear_comb.vtk"}) {
    json first;
    for (const std::vector<std::string>& how :
         {std::vector<std::string>{"--serial"}, {"--threads", "1"}, {"--threads", "4"}})
    {
      std::vector<std::string> arguments{dataFile(file), "--report", "-"};
      arguments.insert(arguments.end(), how.begin(), how.end());
      json skin = runProgram(arguments).report()["representations"][0];
      for (const char* time : {"extract_ms", "reextract_ms", "build_ms"})
        skin.erase(time);
      if (first.is_null()) first = skin;
      EXPECT_EQ(skin, first); // to the last bit of area and bounds
    }
  }
}

TEST_F(Reference, IsosurfacesOfAwkwardValuesSurvive)
{
  struct Case
  {
    const char* file;
    const char* isosurface;
    bool anything;
  };
  const Case cases[] = {{"nan_values_ascii.vtk", "vel_norm=0.3", true},
                        {"nan_values_binary.vtk", "vel_norm=0.3", true},
                        {"nan_coordinates.vtk", "vel_norm=0.3", true},
                        {"huge_values.vtk", "vel_norm=1", true},
                        {"constant_field.vtk", "vel_norm=0.3", false},
                        {"index_out_of_range.vtk", "vel_norm=0.3", true},
                        {"zero_cells.vtk", "vel_norm=0.3", false},
                        {"unused_nodes.vtk", "vel_norm=0.3", true}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.file);
    const std::string file = dataFile(std::string("hostile/") + one.file);
    const Outcome outcome = runProgram({file, "--isosurface", one.isosurface, "--report", "-"});
    if (outcome.code != 0) {
      EXPECT_EQ(outcome.code, 1) << outcome.err; // refused when it was read
      continue;
    }
    const json drawn = outcome.report()["representations"].at(0);
    EXPECT_EQ(drawn["cells"].get<int>() > 0, one.anything);
    EXPECT_TRUE(std::isfinite(drawn["area"].get<double>()));
  }
}

namespace {

/// Every representation that serves a kind of mesh, at what the report says of its arrays and
/// place.
std::vector<std::string> allThatFits(const json& input)
{
  std::vector<std::string> args;
  const auto add = [&](const char* option, const std::string& value) {
    args.push_back(option);
    args.push_back(value);
  };
  const std::string kind = input["kind"];
  const bool isVolume = kind.starts_with("VOLUME"), isSurface = kind.starts_with("SURFACE");
  const bool isVertex = kind == "VOLUME_MESH_VERTEX_HEXAHEDRON_IJK";
  for (const json& array : input["arrays"]) {
    if (array["binding"] != "PER_NODE") continue;
    const std::string name = array["name"].get<std::string>() + "@node";
    if (array["components"] == 3 && isVolume && !isVertex) add("--streamlines", name);
    if (array["components"] != 1 || !array.contains("min") || (!isVolume && !isSurface)) continue;
    const double min = array["min"], max = array["max"];
    for (const double value : {min / 2 + max / 2, max, 0.3})
      if (std::abs(value) < 1e30)
        add(isVolume ? "--isosurface" : "--isolines", name + "=" + std::to_string(value));
  }
  if (isVolume && input.contains("bounds")) {
    const json& bounds = input["bounds"];
    const auto middle = [&](int axis) {
      return bounds[2 * axis].get<double>() / 2 + bounds[2 * axis + 1].get<double>() / 2;
    };
    if (!isVertex && std::abs(middle(0)) + std::abs(middle(1)) + std::abs(middle(2)) < 1e30)
      add("--probe", std::to_string(middle(0)) + "," + std::to_string(middle(1)) + "," +
                         std::to_string(middle(2)));
    add("--plane", "0.3,0.5,0.8,0");
    add("--sphere", "0,0,0,1");
  }
  if (isVolume && kind != "VOLUME_MESH_UNSTRUCTURED") {
    add("--slab", "K=0,1");
    if (!isVertex) {
      add("--logical-slice", "J=0");
      add("--interpolated-slice", "I=0.4");
    }
  }
  return args;
}

} // namespace

TEST_F(Reference, HostileFilesEndInAMessageOrAMesh)
{
  const json known = readJson(dataFile("hostile/reference.json"));
  const json& files = known.contains("files") ? known["files"] : known;
  for (const auto& entry : std::filesystem::directory_iterator(dataFile("hostile"))) {
    const std::string name = entry.path().filename();
    if (entry.path().extension() == ".json") continue;
    SCOPED_TRACE(name);
    const TemporaryFile picture("hostile.png");
    const Outcome outcome =
        runProgram({entry.path(), "--report", "-", "--output", picture.path(), "--size", "64x48",
                    "--edges", "--skin", "--plane", "0,0,1,0.05", "--sphere", "0,0,0.05,0.006",
                    "--cylinder", "0,0,0,0,0,1,0.006"});
    if (refusalOf(name) || outcome.code != 0) {
      // A single node is read as a line of no cells, which has no skin.
      EXPECT_EQ(outcome.code, name == "rectilinear_one_node.vtk" ? 2 : 1);
      EXPECT_THAT(outcome.err, testing::HasSubstr(name));
      EXPECT_TRUE(outcome.out.empty());
      continue;
    }
    const json report = outcome.report();
    std::vector<std::string> args = allThatFits(report["input"]);
    if (!args.empty()) {
      args.insert(args.begin(),
                  {entry.path(), "--report", "-", "--output", picture.path(), "--size", "64x48"});
      const Outcome all = runProgram(args);
      EXPECT_EQ(all.code, 0) << all.err;
    }
    if (!files.contains(name) || !files[name].contains("skin")) continue;
    const json& skin = files[name]["skin"];
    const double loose = skin.value("faces_with_fewer_than_3_distinct_nodes_dropped", 0) +
                         (skin.contains("faces_shared_by_more_than_2_cells") ? 8 : 0);
    EXPECT_NEAR(report["representations"][0]["cells"].get<double>(), skin["faces"].get<double>(),
                loose);
  }
}
