#include <velmo/extraction/algorithms/MxCutGrid.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/MxGridPass.h>
#include <velmo/extraction/algorithms/MxNodeNumbering.h>

#include <bit>

namespace {

/// Gives the surface room for what was found, and tells the tasks where to write.
MxGridOutput makeOutput(const MxCutGridMemory& memory, std::size_t taskCount,
                        MeXSurfaceMeshUnstructured& surface)
{
  MxGridOutput output;
  std::size_t vertexCount = 0, polygonCount = 0, indexCount = 0;
  std::uint32_t sizes = 0;
  for (std::size_t t = 0; t < taskCount; ++t) {
    const MxCutGridMemory::Task& task = memory.tasks[t];
    output.vertexBegins.push_back(vertexCount);
    output.polygonBegins.push_back(polygonCount);
    output.indexBegins.push_back(indexCount);
    vertexCount += task.vertexCount;
    polygonCount += task.polygonCount;
    indexCount += task.indexCount;
    sizes |= task.sizes;
  }
  if (sizes == 0 || std::has_single_bit(sizes)) {
    const int size = sizes == 0 ? 3 : std::countr_zero(sizes);
    output.indices =
        surface.topology.setUniform(polygonCount, static_cast<std::size_t>(size)).data();
    output.starts = nullptr;
  } else {
    output.indices = surface.topology.setMixed(polygonCount, indexCount).data();
    output.starts = surface.topology.begins().data();
    output.starts[polygonCount] = static_cast<std::uint32_t>(indexCount);
  }
  MeXProvenance& provenance = surface.provenance;
  provenance.cells.resizeUninitialized(polygonCount);
  provenance.nodes.resizeUninitialized(2 * vertexCount);
  provenance.weights.resizeUninitialized(vertexCount);
  surface.geometry.points().resizeUninitialized(vertexCount);
  output.cells = provenance.cells.data();
  output.nodes = provenance.nodes.data();
  output.weights = provenance.weights.data();
  output.points = surface.geometry.points().data();
  return output;
}

/// Whether single precision may not do without an origin.
bool mayBeFar(const MeXGeometryI& geometry)
{
  if (!geometry.hasExtent()) return false;
  double size = 0, distance = 0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const double low = geometry.getMin()[axis], high = geometry.getMax()[axis];
    size = std::max(size, high - low);
    distance = std::max({distance, std::abs(low), std::abs(high)});
  }
  return distance > 0.9 * kFarOriginRatio * size;
}

} // namespace

std::size_t MxCutGridMemory::getByteCount() const
{
  std::size_t sum = present.capacity() * 8 + slots.capacity() * 4 + choice.accepted.capacity() * 8;
  if (fieldRanges) sum += fieldRanges->byteCount();
  if (pointRanges) sum += pointRanges->byteCount();
  for (const Task& task : tasks)
    sum += task.bricks.capacity() * sizeof(MxCutBrick) + task.nodesOn.capacity() +
           task.cases.capacity() + task.weights.capacity() * sizeof(double);
  return sum;
}

void cutGrid(const MxGridLevel& level, const MxGridPlaces& places, const MxIjkChoice& choice,
             bool flip, bool parallel, MxExtractionMonitor& monitor, MxCutGridMemory& memory,
             MeXSurfaceMeshUnstructured& surface)
{
  const MxGridBricks lattice(nodeCountsOf(choice.numbering.counts));
  const MxGridPass pass{level, choice, flip, lattice, memory};
  const std::size_t taskCount = pass.taskCount();
  parallel = parallel && lattice.nodes.total() >= kParallelThreshold;
  if (memory.tasks.size() < taskCount) memory.tasks.resize(taskCount);
  memory.present.resizeUninitialized(lattice.groups.total());
  memory.slots.resizeUninitialized(lattice.room());

  monitor.beginPhase("Finding cut cells", taskCount);
  forEachTask(parallel, taskCount, [&](std::size_t task) {
    monitor.step();
    findCutBricks(pass, task);
  });

  const MxGridOutput output = makeOutput(memory, taskCount, surface);
  monitor.beginPhase("Writing polygons", taskCount);
  forEachTask(parallel, taskCount, [&](std::size_t task) {
    monitor.step();
    writeCutBricks(pass, places, output, task);
  });

  surface.geometry.origin = {};
  constexpr float kHuge = std::numeric_limits<float>::infinity();
  MbVec3f low{kHuge, kHuge, kHuge}, high{-kHuge, -kHuge, -kHuge};
  for (std::size_t t = 0; t < taskCount; ++t) {
    const MxCutGridMemory::Task& task = memory.tasks[t];
    for (std::size_t axis = 0; axis < 3 && !task.bricks.empty(); ++axis) {
      low[axis] = std::min(low[axis], task.low[axis]);
      high[axis] = std::max(high[axis], task.high[axis]);
    }
  }
  surface.geometry.touch(low, high);
  if (!mayBeFar(surface.geometry)) return;
  placePoints(
      surface.provenance.weights.size(),
      [&](std::size_t n) {
        const double weight = output.weights[n];
        const MbVec3d first = places.node(lattice.nodes.split(output.nodes[2 * n]));
        if (weight == 0) return first;
        const MbVec3d second = places.node(lattice.nodes.split(output.nodes[2 * n + 1]));
        return first * (1 - weight) + second * weight;
      },
      parallel, surface.geometry);
}
