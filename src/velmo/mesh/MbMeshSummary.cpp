#include <velmo/mesh/MbMeshSummary.h>

#include <velmo/base/MxParallel.h>
#include <velmo/mesh/views/MxCellView.h>

#include <array>

namespace {
constexpr std::size_t kBlock = 16384;

template <class PositionOf>
MbBox boxOf(bool parallel, std::size_t count, const PositionOf& position)
{
  std::vector<MbBox> boxes(blockCount(count, kBlock));
  forEachBlock(parallel, count, kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 MbBox box;
                 // Without a branch a point; what is not finite leaves a NaN in the sum.
                 MbVec3d sum;
                 for (std::size_t node = first; node < last; ++node) {
                   const MbVec3d point = position(node);
                   sum = sum + (point - point);
                   for (std::size_t axis = 0; axis < 3; ++axis) {
                     box.min[axis] = point[axis] < box.min[axis] ? point[axis] : box.min[axis];
                     box.max[axis] = point[axis] > box.max[axis] ? point[axis] : box.max[axis];
                   }
                 }
                 if (sum != MbVec3d{}) {
                   box = {};
                   for (std::size_t node = first; node < last; ++node)
                     box.include(position(node));
                 }
                 boxes[block] = box;
               });
  MbBox whole;
  for (const MbBox& box : boxes)
    whole.include(box);
  return whole;
}

// Along each axis of a lattice whose nodes are sums of a part for each index: the indices where the
// part is smallest and largest.
using Extremes = std::array<std::size_t, 2>;

template <class Geometry>
requires requires(const Geometry& geometry)
{
  geometry.getCoordinate(0, 0);
}
bool findExtremes(const Geometry& geometry, std::size_t axis, std::size_t count, Extremes& found)
{
  const int number = static_cast<int>(axis);
  const MiArrayView view = geometry.getAxisView(number);
  bool any = false;
  double low = 0, high = 0;
  for (std::size_t index = 0; index < count; ++index) {
    const double value = view ? readNumber(view, index) : geometry.getCoordinate(number, index);
    if (!std::isfinite(value)) continue;
    if (!any || value < low) low = value, found[0] = index;
    if (!any || value > high) high = value, found[1] = index;
    any = true;
  }
  return any;
}

bool findExtremes(const MiGeometry&, std::size_t, std::size_t count, Extremes& found)
{
  found = {0, count - 1};
  return count > 0;
}

template <class Geometry, class View>
MbBox cornersOf(const Geometry& geometry, const View& view, std::size_t axes)
{
  MbBox box;
  const MbIndex3 counts = view.nodeCounts();
  std::array<Extremes, 3> extremes{};
  for (std::size_t axis = 0; axis < axes; ++axis)
    if (!findExtremes(geometry, axis, counts[axis], extremes[axis])) return box;
  for (std::size_t corner = 0; corner < 8; ++corner)
    box.include(view.position(flatIndex(
        {extremes[0][corner & 1], extremes[1][(corner >> 1) & 1], extremes[2][corner >> 2]},
        counts)));
  return box;
}

MbBox boxOfNodes(const MiGeometryI& geometry, std::size_t count, bool parallel)
{
  const MiArrayView view = geometry.getView();
  if (!view)
    return boxOf(parallel, count, [&](std::size_t node) { return geometry.getNode(node); });
  return visitPoints(view, [&](const auto& read) { return boxOf(parallel, count, read); });
}

template <MeshType Kind>
MbBox boxOfView(const MxCellView<Kind>& view, const MiMesh& mesh, bool parallel)
{
  const auto& geometry =
      dynamic_cast<const typename MxMeshKind<Kind>::Interface&>(mesh).getGeometry();
  using Geometry = std::remove_cvref_t<decltype(geometry)>;
  if constexpr (std::is_same_v<Geometry, MiGeometryI>) {
    return boxOfNodes(geometry, view.nodeCount(), parallel);
  } else if constexpr (std::is_same_v<Geometry, MiGeometryRegularRow>) {
    return cornersOf(geometry, view, 1);
  } else if constexpr (std::is_same_v<Geometry, MiGeometryRegularIj> ||
                       std::is_same_v<Geometry, MiGeometryRectilinearIj>)
  {
    return cornersOf(geometry, view, 2);
  } else if constexpr (std::is_same_v<Geometry, MiGeometryRegularIjk> ||
                       std::is_same_v<Geometry, MiGeometryRectilinearIjk>)
  {
    return cornersOf(geometry, view, 3);
  } else {
    return boxOf(parallel, view.nodeCount(), [&](std::size_t node) { return view.position(node); });
  }
}

struct CellCounts
{
  std::array<std::size_t, 256> shapes{};
  std::size_t dead = 0;
};

template <class View>
void countCells(const View& view, bool parallel, MbMeshSummary& summary)
{
  std::vector<CellCounts> blocks(blockCount(summary.cellCount, kBlock));
  forEachBlock(parallel, summary.cellCount, kBlock,
               [&](std::size_t block, std::size_t first, std::size_t last) {
                 CellCounts& own = blocks[block];
                 // Runs of one shape, as most meshes are; counting one by one would wait for
                 // itself.
                 for (std::size_t cell = first; cell < last;) {
                   const MiCellShape shape = view.shape(cell);
                   std::size_t end = cell + 1;
                   while (end < last && view.shape(end) == shape)
                     ++end;
                   own.shapes[static_cast<std::uint8_t>(shape)] += end - cell;
                   cell = end;
                 }
                 for (std::size_t cell = first; view.hasDead() && cell < last; ++cell)
                   own.dead += view.isDead(cell) ? 1 : 0;
               });
  for (std::size_t shape = 0; shape < 256; ++shape) {
    std::size_t count = 0;
    for (const CellCounts& block : blocks)
      count += block.shapes[shape];
    if (count) summary.shapes.emplace_back(static_cast<MiCellShape>(shape), count);
  }
  for (const CellCounts& block : blocks)
    summary.deadCellCount += block.dead;
}
} // namespace

MbBox mbBoundingBox(const MiMesh& mesh, bool parallel)
{
  MbBox box;
  visitCellView(MxAllKinds{}, &mesh,
                [&](const auto& view) { box = boxOfView(view, mesh, parallel); });
  return box;
}

MbMeshSummary mbSummarize(const MiMesh& mesh, bool parallel)
{
  MbMeshSummary summary;
  visitCellView(MxAllKinds{}, &mesh, [&](const auto& view) {
    summary.type = view.kType;
    summary.cellCount = view.cellCount();
    summary.nodeCount = view.nodeCount();
    summary.cellCounts = view.cellCounts();
    summary.nodeCounts = view.nodeCounts();
    countCells(view, parallel, summary);
    summary.bounds = boxOfView(view, mesh, parallel);
  });
  return summary;
}
