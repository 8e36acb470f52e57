#include <velmo/io/MxFileMesh.h>
#include <velmo/io/MxNumberMap.h>
#include <velmo/mesh/MbArray.h>

#include <algorithm>

namespace {

// Bits of the array "vtkGhostType" of nodes: another piece has the node as well; not to be shown.
constexpr std::size_t kGhostNode = 1 | 2;
/// Nodes of one number may be so far from each other, as a part of the mesh's extent: pieces that
/// went through different programs need not agree in the last digits.
constexpr double kSlack = 1e-6;

const MxFileSet* findNodeNumbers(const MxFileMesh& mesh, const std::string& name)
{
  for (const MxFileSet& set : mesh.sets)
    if (set.binding == MiDataBinding::PerNode && set.name == name && set.components == 1 &&
        isInteger(set.values.type) && set.values.size == mesh.nodeCount)
      return &set;
  return nullptr;
}

double slackOf(const MiArrayView& points)
{
  MbVec3d low = MbVec3d{1, 1, 1} * std::numeric_limits<double>::max(), high = low * -1;
  for (std::size_t node = 0; node < points.count; ++node) {
    const MbVec3d point = mbPoint(points, node);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      low[axis] = std::min(low[axis], point[axis]);
      high[axis] = std::max(high[axis], point[axis]);
    }
  }
  double extent = 0;
  for (std::size_t axis = 0; axis < 3; ++axis)
    extent = std::max(extent, high[axis] - low[axis]);
  return kSlack * extent;
}

bool isNear(const MbVec3d& a, const MbVec3d& b, double slack)
{
  bool near = true;
  for (std::size_t axis = 0; axis < 3; ++axis)
    near &= a[axis] == b[axis] || std::abs(a[axis] - b[axis]) <= slack;
  return near;
}

} // namespace

void mxWeldNodes(MxFileMesh& mesh, const std::string& globalIds, const std::string& path,
                 bool parallel)
{
  const MxFileSet* ids = findNodeNumbers(mesh, globalIds);
  if (!ids) return;
  const MxFileArray wide = mxWidened(mxAsIndices(ids->values));
  const auto numbers = wide.span<const std::int64_t>();
  const MxNumberMap places(numbers, parallel);
  if (places.getRepeatedCount() == 0) return;

  const MiArrayView points = mesh.points.view(3);
  const MxFileSet* flags = findNodeNumbers(mesh, "vtkGhostType");
  const auto isGhost = [&](std::size_t node) {
    return flags && (mbIndex(flags->values.view(), node) & kGhostNode) != 0;
  };
  const double slack = slackOf(points);
  std::vector<std::int64_t> target(mesh.nodeCount);
  std::vector<std::size_t> source;
  std::size_t apart = 0;
  for (std::size_t node = 0; node < mesh.nodeCount; ++node) {
    // A negative number is none.
    const auto first =
        numbers[node] < 0 ? node : static_cast<std::size_t>(places.find(numbers[node]));
    if (first != node && isNear(mbPoint(points, first), mbPoint(points, node), slack)) {
      target[node] = target[first];
      std::size_t& own = source[static_cast<std::size_t>(target[node])];
      if (isGhost(own) && !isGhost(node)) own = node;
      continue;
    }
    apart += first != node;
    target[node] = static_cast<std::int64_t>(source.size());
    source.push_back(node);
  }
  if (apart > 0)
    mesh.notes.push_back(std::to_string(apart) + " nodes have the number of another one in '" +
                         globalIds + "', but lie elsewhere, and stay nodes of their own.");
  if (source.size() == mesh.nodeCount) return;
  mesh.remarks.push_back("The pieces share " + std::to_string(mesh.nodeCount - source.size()) +
                         " nodes, as the array '" + globalIds + "' tells.");

  const auto moved = [&](std::int64_t node) {
    return static_cast<std::uint64_t>(node) < target.size() ? target[static_cast<std::size_t>(node)]
                                                            : std::int64_t{-1};
  };
  visitIndices(mesh.cells.connectivity, [&](auto nodes) {
    using T = typename decltype(nodes)::value_type;
    forEachBlock(parallel, nodes.size(), kFileBlock,
                 [&](std::size_t, std::size_t first, std::size_t last) {
                   for (std::size_t i = first; i < last; ++i)
                     nodes[i] = static_cast<T>(moved(nodes[i]));
                 });
  });
  if (mesh.cells.faces) mxMapFaceNodes(mesh.cells, path, moved);
  mesh.points = mxGather(mesh.points, 3, source, parallel);
  for (MxFileSet& set : mesh.sets)
    if (set.binding == MiDataBinding::PerNode)
      set.values = mxGather(set.values, set.components, source, parallel);
  mesh.nodeCount = source.size();
}
