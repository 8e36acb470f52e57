#include "ReferenceSets.h"

#include <velmo/mesh/views/MxCellView.h>
#include <velmoview/Model.h>

#include <cmath>
#include <gmock/gmock.h>

using nlohmann::json;

namespace {

using FlowReference = Reference;

double distanceOf(const json& a, const json& b)
{
  double sum = 0;
  for (std::size_t n = 0; n < 3; ++n)
    sum += std::pow(a[n].get<double>() - b[n].get<double>(), 2);
  return std::sqrt(sum);
}

/// The weights of a cell's corners at a place of the reference, whose reference cells are the unit
/// simplex and the unit cube; none for other shapes.
std::vector<double> weightsAt(const json& place, std::size_t corners)
{
  const double r = place[0], s = place[1], t = place.size() > 2 ? place[2].get<double>() : 0;
  if (corners == 3) return {1 - r - s, r, s};
  if (corners == 4 && place.size() == 3) return {1 - r - s - t, r, s, t};
  const std::vector<double> square{(1 - r) * (1 - s), r * (1 - s), r * s, (1 - r) * s};
  if (corners == 4) return square;
  std::vector<double> cube;
  for (const double layer : {1 - t, t})
    for (const double weight : square)
      cube.push_back(weight * layer);
  return corners == 8 ? cube : std::vector<double>{};
}

/// What the reference should have given for arrays per node: its own list belongs to another cell
/// wherever its tool looked at a neighbour of the same shape after the one it had found.
/// @return how many values were compared
int compareNodeValues(const velmoview::Model& model, const json& wanted, const json& found)
{
  int count = 0;
  visitCellView(MxAllKinds{}, model.mesh, [&](const auto& view) {
    MxCellBuffer buffer;
    const std::span<const std::size_t> nodes = view.nodes(wanted["cell"], buffer);
    const std::vector<double> weights = weightsAt(wanted["parametric"], nodes.size());
    for (const velmoview::ModelArray& array : model.arrays) {
      if (weights.empty() || array.binding != MiDataBinding::PerNode || array.components != 1)
        continue;
      double sum = 0;
      for (std::size_t n = 0; n < nodes.size(); ++n)
        sum += weights[n] * mbNumber(array.values, view.dataNode(nodes[n]));
      EXPECT_NEAR(found.at(array.name).get<double>(), sum,
                  1e-5 * (array.ranges[0].max - array.ranges[0].min))
          << array.name;
      ++count;
    }
  });
  return count;
}

} // namespace

TEST_F(FlowReference, ProbesFindTheCellsAndTheirValuesOfTheReference)
{
  int count = 0, nodeValues = 0;
  forEachSet("probe", "", [&](const json& set, Arguments arguments, const std::string& kind) {
    if (kind.starts_with("LINE")) return;
    const velmoview::Model model = velmoview::readModel(velmoview::parseOptions(arguments));
    for (const json& probe : set["probe"])
      arguments.insert(arguments.end(), {"--probe", listOf(probe["point"])});
    const Outcome outcome = runProgram(arguments);
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    const json report = outcome.report();
    for (std::size_t n = 0; n < set["probe"].size(); ++n) {
      const json &wanted = set["probe"][n], &found = report["probes"].at(n);
      ASSERT_TRUE(found["found"]) << wanted["point"];
      json cell = wanted.contains("cell_ijk") ? wanted["cell_ijk"] : json{wanted["cell"]};
      while (cell.size() > found["cell"].size())
        cell.erase(cell.size() - 1);
      EXPECT_EQ(found["cell"], cell);
      if (wanted.contains("parametric"))
        nodeValues += compareNodeValues(model, wanted, found["values"]);
      const json values = wanted.value("cell_values", json::object());
      for (const auto& [name, value] : values.items()) {
        const json& ours = found["values"];
        const json own = ours.value(name + "@cell", ours.value(name, json()));
        if (own.is_number() && value.is_number()) {
          EXPECT_NEAR(own.get<double>(), value.get<double>(),
                      1e-5 * (1 + std::abs(value.get<double>())));
        }
      }
      ++count;
    }
  });
  EXPECT_GE(count, 80);
  EXPECT_GE(nodeValues, 80);
}

TEST_F(FlowReference, StreamlinesPassTheirReferencePositions)
{
  int count = 0;
  forEachSet("streamlines", "", [&](const json& set, Arguments arguments, const std::string&) {
    for (const json& line : set["streamlines"])
      arguments.insert(arguments.end(),
                       {"--streamlines", line["array"], "--seeds", listOf(line["seed"]),
                        "--sample-times", listOf(line["time"])});
    const Outcome outcome = runProgram(arguments);
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    const json report = outcome.report();
    const json& b = set["bbox"];
    const double diagonal = distanceOf({b[0], b[2], b[4]}, {b[1], b[3], b[5]});
    for (std::size_t n = 0; n < set["streamlines"].size(); ++n) {
      const json& wanted = set["streamlines"][n];
      const json& line = report["representations"].at(n)["lines"].at(0);
      // What twice the steps changed in the reference, and a thousandth of the mesh.
      const double allowed =
          std::max(1e-3 * diagonal, 10 * wanted["change_with_double_step"].get<double>());
      ASSERT_EQ(line["at"].size(), wanted["position"].size());
      for (std::size_t t = 0; t < line["at"].size(); ++t) {
        EXPECT_LT(distanceOf(line["at"][t]["position"], wanted["position"][t]), allowed);
        EXPECT_NEAR(line["at"][t]["length"].get<double>(),
                    wanted["length_at_time"][t].get<double>(), allowed);
        ++count;
      }
      if (wanted["end"]["reason"] == "left the mesh") {
        EXPECT_EQ(line["reason"], "left the mesh");
      }
    }
  });
  EXPECT_GE(count, 40);
}

TEST(Flow, RefusesBadArguments)
{
  const auto refusalOf = [](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--demo", "turbine", "--report", "-"});
    const Outcome outcome = runProgram(arguments);
    EXPECT_EQ(outcome.code, 2);
    return outcome.err;
  };
  using testing::HasSubstr;
  EXPECT_THAT(refusalOf({"--streamlines", "suction"}),
              HasSubstr("--streamlines follows vectors: 'suction' has one number a node"));
  EXPECT_THAT(refusalOf({"--streamlines", "velocity", "--seeds", "1,2"}),
              HasSubstr("'1,2' holds 2"));
  EXPECT_THAT(refusalOf({"--streamlines", "velocity", "--seeds", "1,2,3", "--seed-count", "4"}),
              HasSubstr("--seeds and --seed-count are two ways"));
  EXPECT_THAT(refusalOf({"--streamlines", "velocity", "--max-time", "0"}),
              HasSubstr("0 is not above 0"));
  EXPECT_THAT(refusalOf({"--skin", "--backward"}),
              HasSubstr("--backward belongs to --streamlines"));
  EXPECT_THAT(refusalOf({"--probe", "1,2"}), HasSubstr("--probe takes X,Y,Z"));
}
