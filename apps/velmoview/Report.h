#pragma once

#include <velmoview/Model.h>
#include <velmoview/Picking.h>
#include <velmoview/Picture.h>

#include <nlohmann/json_fwd.hpp>

#include <optional>

namespace velmoview {

struct Drawn;

/// Cells that name nodes that do not exist, or have corners that are not finite.
struct BadCells
{
  std::size_t count = 0, first = 0;
};

/// The bad cells of a volume mesh; nothing for other meshes.
std::optional<BadCells> findBadCells(const Model& model, bool parallel);

/// All that a report tells, apart from the model and the representations.
struct RunFacts
{
  double readMs = 0;
  std::optional<BadCells> badCells;
  std::vector<Picked> picks;
  std::optional<Picture> picture;
  int threads = 1;
  std::vector<std::string> warnings;
};

/// The report: one object, fields in the order in which the manual lists them.
nlohmann::ordered_json makeReport(const Model& model, const Options& options,
                                  const std::vector<Drawn>& drawn, const RunFacts& facts);

} // namespace velmoview
