#pragma once

#include <velmoview/Model.h>

#include <nlohmann/json_fwd.hpp>

#include <array>
#include <memory>
#include <optional>
#include <vector>

namespace velmoview {

/// Finds cells and values of a model's mesh, whatever its kind.
class PointFinder
{
public:
  virtual ~PointFinder() = default;
  /// The cell that holds a point, by its indices, I first; nothing where there is none.
  virtual std::optional<std::vector<std::size_t>> find(const MbVec3d& point) = 0;
  /// The value of an array at the last point found: one number or three.
  virtual std::vector<double> valueOf(const ModelArray& array) const = 0;
};

/// Points can be found in lines of no kind, nor in hexahedra with corners of their own.
bool canProbe(MeshType kind);

/// Null for meshes of a kind that cannot be probed.
std::unique_ptr<PointFinder> makeFinder(const Model& model, bool parallel);

/// The "probes" of the report; none for meshes of a kind that cannot be probed.
nlohmann::ordered_json probeReport(const Model& model,
                                   const std::vector<std::array<double, 3>>& points, bool parallel);

} // namespace velmoview
