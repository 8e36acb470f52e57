#include <velmoview/Report.h>

#include <velmoview/Info.h>
#include <velmoview/Probes.h>
#include <velmoview/representations/Representation.h>
#include <velmoview/Scene.h>

#include <velmo/extraction/algorithms/check/MxMeshCheck.h>
#include <velmo/extraction/interfaces/MxMeshKind.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace velmoview {

namespace {

using Json = nlohmann::ordered_json;

/// Microseconds are enough.
double rounded(double milliseconds)
{
  return std::round(milliseconds * 1000) / 1000;
}

Json arrayReport(const ModelArray& array)
{
  Json json;
  json["name"] = array.name;
  json["binding"] = array.binding == MiDataBinding::PerNode ? "PER_NODE" : "PER_CELL";
  json["type"] = scalarName(array.values.type);
  json["components"] = array.components;
  std::size_t nans = 0;
  bool isEmpty = array.ranges.empty();
  for (std::size_t c = 0; c < std::min(array.components, array.ranges.size()); ++c) {
    nans += array.ranges[c].nanCount;
    isEmpty = isEmpty || array.ranges[c].isEmpty();
  }
  if (!isEmpty && array.components == 1) {
    json["min"] = array.ranges[0].min;
    json["max"] = array.ranges[0].max;
  } else if (!isEmpty) {
    json["min"] = Json::array();
    json["max"] = Json::array();
    for (std::size_t c = 0; c < array.components; ++c) {
      json["min"].push_back(array.ranges[c].min);
      json["max"].push_back(array.ranges[c].max);
    }
    if (array.ranges.size() > array.components && !array.ranges.back().isEmpty())
      json["magnitude"] = {array.ranges.back().min, array.ranges.back().max};
  }
  json["nan"] = nans;
  return json;
}

Json inputReport(const Model& model, const std::optional<BadCells>& bad, double readMs)
{
  Json json;
  json["source"] = model.source;
  json["kind"] = meshTypeName(model.kind);
  if (!model.dims.empty()) json["dims"] = model.dims;
  json["nodes"] = model.nodes;
  json["cells"] = model.cells;
  json["shapes"] = Json::object();
  for (const auto& [shape, count] : model.shapes)
    json["shapes"][shape] = count;
  json["dead_cells"] = model.deadCells;
  if (bad) {
    json["bad_cells"]["count"] = bad->count;
    if (bad->count) json["bad_cells"]["first"] = bad->first;
  }
  if (model.bounds[0] <= model.bounds[1]) json["bounds"] = model.bounds;
  if (model.time) json["time"] = *model.time;
  json["read_ms"] = rounded(readMs);
  json["arrays"] = Json::array();
  for (const ModelArray& array : model.arrays)
    json["arrays"].push_back(arrayReport(array));
  return json;
}

Json argumentsReport(const Representation& what, const Options& options)
{
  Json json = what.arguments();
  for (const ValueFilter& filter : options.cells)
    json["cells"].push_back(
        {{"array", filter.array.text()}, {"min", filter.min}, {"max", filter.max}});
  if (options.tessellate > 0) json["tessellate"] = options.tessellate;
  if (options.cellRange) {
    json["cell_range"] = options.cellRange->lower;
    for (const std::uint32_t upper : options.cellRange->upper)
      json["cell_range"].push_back(upper);
  }
  return json;
}

Json drawnReport(const Drawn& drawn, const Options& options)
{
  Json json;
  const RepresentationRow& row = *drawn.request.row;
  json["type"] = row.option + 2;
  json["arguments"] = argumentsReport(*drawn.request.what, options);
  const Measures measures = measure(drawn.meshes());
  json["cells"] = measures.cells;
  json["nodes"] = measures.nodes;
  if (row.extracted == Extracted::Surface) {
    json["area"] = measures.area;
    json["open_edges"] = measures.openEdges;
  } else if (row.extracted == Extracted::Lines) {
    json["length"] = measures.length;
  }
  drawn.request.what->addToReport(*drawn.node, json);
  if (measures.nodes) json["bounds"] = measures.bounds;
  json["extract_ms"] = rounded(drawn.extractMs);
  if (drawn.measuredAgain) json["reextract_ms"] = rounded(drawn.reextractMs);
  json["build_ms"] = rounded(drawn.buildMs);
  return json;
}

Json pickReport(const Picked& picked)
{
  Json json;
  json["pixel"] = picked.pixel;
  json["found"] = picked.found;
  if (!picked.found) return json;
  json["type"] = picked.type;
  json["cell"] = picked.cell;
  json["point"] = {picked.point.x, picked.point.y, picked.point.z};
  json["values"] = Json::object();
  for (const auto& [name, values] : picked.values) {
    if (values.size() == 1)
      json["values"][name] = values[0];
    else
      json["values"][name] = values;
  }
  return json;
}

} // namespace

std::optional<BadCells> findBadCells(const Model& model, bool parallel)
{
  std::optional<BadCells> bad;
  MxExtractionMonitor silent(nullptr, "velmoview", 1);
  visitMeshKind(MxAllKinds{}, model.kind, [&]<MeshType Kind>() {
    const auto* mesh = dynamic_cast<const typename MxMeshKind<Kind>::Interface*>(model.mesh);
    const auto check = checkMesh(*mesh, parallel, silent);
    bad = BadCells{check->brokenCount, check->firstBroken};
  });
  return bad;
}

nlohmann::ordered_json makeReport(const Model& model, const Options& options,
                                  const std::vector<Drawn>& drawn, const RunFacts& facts)
{
  Json json;
  json["input"] = inputReport(model, facts.badCells, facts.readMs);
  json["representations"] = Json::array();
  for (const Drawn& one : drawn)
    json["representations"].push_back(drawnReport(one, options));
  if (!options.probes.empty()) json["probes"] = probeReport(model, options.probes, !options.serial);
  for (const Picked& picked : facts.picks)
    json["picks"].push_back(pickReport(picked));
  if (facts.picture) {
    json["picture"]["path"] = options.output;
    json["picture"]["blank"] = facts.picture->blank;
    json["picture"]["render_ms"] = rounded(facts.picture->renderMs);
  }
  json["threads"] = facts.threads;
  json["peak_mb"] = std::round(peakMegabytes() * 10) / 10;
  json["warnings"] = facts.warnings;
  return json;
}

} // namespace velmoview
