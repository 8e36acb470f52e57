#include <velmo/extraction/algorithms/gridcut/MxCutGrid.h>

#include <velmo/base/MxParallel.h>
#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/gridcut/MxGridPass.h>

#include <bit>
#include <new>

namespace {

/// The surface as it grows.
class Output : public MxGridOutput
{
public:
  Output(MeXSurfaceMeshUnstructured& surface, std::size_t taskCount)
      : m_surface(surface), m_taskCount(taskCount)
  {}

  /// Gives room for what one more task found, in their order.
  void append(const MxCutGridMemory::Task& task)
  {
    vertexBegins.push_back(m_vertexCount);
    polygonBegins.push_back(m_polygonCount);
    indexBegins.push_back(m_indexCount);
    m_vertexCount += task.vertexCount;
    m_polygonCount += task.polygonCount;
    m_indexCount += task.indexCount;
    m_sizes |= task.sizes;
    m_hasNodesOn |= !task.nodesOn.empty();
  }

  /// Makes the arrays as large as what was appended needs. What is yet to come is guessed when the
  /// first tasks are known: memory that is not written is not there, and moving would be.
  /// @throw std::length_error when 32-bit indices cannot number the index list
  void makeRoom()
  {
    MeXTopologyExplicitI& topology = m_surface.topology;
    MeXProvenance& provenance = m_surface.provenance;
    const bool isFirst = !points;
    const double share =
        static_cast<double>(vertexBegins.size()) / static_cast<double>(m_taskCount);
    const auto grow = [&](auto& array, std::size_t count) {
      const std::size_t guess =
          share < 1 ? static_cast<std::size_t>(static_cast<double>(count) / share * 1.1) : count;
      const auto resize = [&](std::size_t size) {
        if (isFirst)
          array.resizeUninitialized(size);
        else
          array.resize(size);
      };
      try {
        resize(isFirst || count > array.capacity() ? guess : count);
      } catch (const std::bad_alloc&) { // what is needed may fit where the guess does not
        resize(count);
      }
    };
    grow(topology.begins(), m_polygonCount + 1);
    grow(topology.indices(), m_indexCount);
    grow(provenance.cells, m_polygonCount);
    grow(provenance.nodes, 2 * m_vertexCount);
    grow(provenance.weights, m_vertexCount);
    grow(m_surface.geometry.points(), m_vertexCount);
    // Keeps what is there, as there is room for it.
    topology.setMixed(m_polygonCount, m_indexCount);
    indices = topology.indices().data();
    starts = topology.begins().data();
    cells = provenance.cells.data();
    nodes = provenance.nodes.data();
    weights = provenance.weights.data();
    points = m_surface.geometry.points().data();
  }

  /// When all is written.
  void finish()
  {
    if (m_sizes == 0 || std::has_single_bit(m_sizes)) {
      const int size = m_sizes == 0 ? 3 : std::countr_zero(m_sizes);
      m_surface.topology.setUniform(m_polygonCount, static_cast<std::size_t>(size));
    } else {
      starts[m_polygonCount] = static_cast<std::uint32_t>(m_indexCount);
    }
    MeXProvenance& provenance = m_surface.provenance;
    provenance.cells.resize(m_polygonCount);
    provenance.nodes.resize(2 * m_vertexCount);
    provenance.weights.resize(m_vertexCount);
    m_surface.geometry.points().resize(m_vertexCount);
  }
  std::size_t vertexCount() const { return m_vertexCount; }
  bool hasNodesOn() const { return m_hasNodesOn; }

private:
  MeXSurfaceMeshUnstructured& m_surface;
  const std::size_t m_taskCount;
  std::size_t m_vertexCount = 0, m_polygonCount = 0, m_indexCount = 0;
  std::uint32_t m_sizes = 0; ///< bit n: there is a polygon of n corners
  bool m_hasNodesOn = false;
};

/// How many layers of tasks are found before the first of them are written. What a task found is
/// large where much is cut, and is forgotten then; where little is, to wait for each other costs
/// more.
std::size_t layersAtATime(const MbIndex3& groups, const MxCutGridMemory& memory)
{
  constexpr std::size_t kFewVertices = 500000, kParts = 4, kFewTasks = 16;
  const std::size_t layers = blockCount(groups.z, kParts);
  return memory.vertexCount < kFewVertices || layers < 2 || layers * groups.y < kFewTasks ? groups.z
                                                                                          : layers;
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

bool cutGrid(const MxGridLevel& level, const MxGridPlaces& places, const MxIjkChoice& choice,
             bool flip, bool parallel, MxExtractionMonitor& monitor, MxCutGridMemory& memory,
             MeXSurfaceMeshUnstructured& surface)
{
  const MxGridBricks lattice(nodeCountsOf(choice.numbering.counts));
  const MbIndex3& groups = lattice.groups.counts;
  const std::size_t layers = layersAtATime(groups, memory);
  // A layer's last bricks need the next layer's first ones.
  const std::size_t tasksAtATime = std::min(layers + 1, groups.z) * groups.y;
  const MxGridPass pass{level, choice, flip, lattice, memory, tasksAtATime};
  parallel = parallel && lattice.nodes.total() >= kParallelThreshold;
  memory.tasks.resize(tasksAtATime);
  memory.present.resizeUninitialized(lattice.groups.total());
  memory.slots.resizeUninitialized(lattice.room());

  surface.geometry.origin = {};
  constexpr float kHuge = std::numeric_limits<float>::infinity();
  MbVec3f low{kHuge, kHuge, kHuge}, high{-kHuge, -kHuge, -kHuge};
  Output output(surface, groups.y * groups.z);
  monitor.beginPhase("Cutting cells", 2 * groups.y * groups.z);
  std::size_t found = 0, written = 0; // layers
  while (found < groups.z) {
    const auto forEach = [&](std::size_t first, std::size_t last, const auto& body) {
      forEachTask(parallel, (last - first) * groups.y, [&](std::size_t n) {
        monitor.step();
        body(first * groups.y + n);
      });
    };
    const std::size_t next = std::min(found + layers, groups.z);
    forEach(found, next, [&](std::size_t task) { findCutBricks(pass, task); });
    for (std::size_t task = found * groups.y; task < next * groups.y; ++task)
      output.append(pass.task(task));
    output.makeRoom();
    found = next;

    const std::size_t end = found == groups.z ? found : found - 1;
    forEach(written, end, [&](std::size_t task) { writeCutBricks(pass, places, output, task); });
    for (; written < end; ++written)
      for (std::size_t j = 0; j < groups.y; ++j) {
        const MxCutGridMemory::Task& task = pass.task(written * groups.y + j);
        for (std::size_t axis = 0; axis < 3 && !task.bricks.empty(); ++axis) {
          low[axis] = std::min(low[axis], task.low[axis]);
          high[axis] = std::max(high[axis], task.high[axis]);
        }
      }
  }
  output.finish();
  memory.vertexCount = output.vertexCount();

  surface.geometry.touch(low, high);
  if (!mayBeFar(surface.geometry)) return output.hasNodesOn();
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
  return output.hasNodesOn();
}
