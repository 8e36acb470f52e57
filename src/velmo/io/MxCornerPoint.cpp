#include <velmo/io/MxCornerPoint.h>

#include <velmo/base/MxParallel.h>
#include <velmo/mesh/MbGeometry.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr std::size_t kPillars = 256;

/// A cell's corner on a pillar.
struct Corner
{
  double depth;
  std::size_t place; ///< in the connectivity

  bool operator<(const Corner& other) const
  {
    // What is no number lies below everything.
    const bool none = std::isnan(depth), noneThere = std::isnan(other.depth);
    if (none || noneThere) return !none && noneThere;
    return depth < other.depth;
  }
};

class Welder
{
public:
  explicit Welder(const MxFileMesh& mesh)
      : m_cells(*mesh.ijk), m_depths(mesh.depths.span<const double>()),
        m_pillars(mesh.pillars.span<const double>())
  {}

  std::size_t pillarCount() const { return (m_cells.x + 1) * (m_cells.y + 1); }

  /// The corners on a pillar, by their depth.
  void collect(std::size_t pillar, std::vector<Corner>& corners) const
  {
    corners.clear();
    const std::size_t pi = pillar % (m_cells.x + 1), pj = pillar / (m_cells.x + 1);
    // The corner of a cell that lies on it, for the cells to the left and right, front and back.
    constexpr std::size_t kOwn[2][2] = {{2, 3}, {1, 0}};
    for (std::size_t b = 0; b < 2; ++b)
      for (std::size_t a = 0; a < 2; ++a) {
        const std::size_t i = pi + a - 1, j = pj + b - 1;
        if (i >= m_cells.x || j >= m_cells.y) continue;
        for (std::size_t k = 0; k < m_cells.z; ++k) {
          const std::size_t cell = i + m_cells.x * (j + m_cells.y * k);
          for (std::size_t up = 0; up < 2; ++up) {
            const std::size_t depth =
                (2 * i + 1 - a) + 2 * m_cells.x * ((2 * j + 1 - b) + 2 * m_cells.y * (2 * k + up));
            corners.push_back({m_depths[depth], 8 * cell + kOwn[b][a] + 4 * up});
          }
        }
      }
    std::stable_sort(corners.begin(), corners.end());
  }

  std::size_t countNodes(const std::vector<Corner>& corners) const
  {
    std::size_t count = 0;
    for (std::size_t i = 0; i < corners.size(); ++i)
      count += i == 0 || corners[i - 1] < corners[i];
    return count;
  }

  template <class Index>
  void fill(std::size_t pillar, const std::vector<Corner>& corners, std::size_t node,
            MbVec3d* points, Index* connectivity) const
  {
    const double* p = m_pillars.data() + 6 * pillar;
    --node; // the first corner steps on
    for (std::size_t i = 0; i < corners.size(); ++i) {
      if (i == 0 || corners[i - 1] < corners[i])
        points[++node] = mbPillarPoint({p[0], p[1], p[2]}, {p[3], p[4], p[5]}, corners[i].depth);
      connectivity[corners[i].place] = static_cast<Index>(node);
    }
  }

private:
  const MbIndex3 m_cells;
  const std::span<const double> m_depths, m_pillars;
};

} // namespace

void mxWeldCorners(MxFileMesh& mesh, bool parallel)
{
  const Welder welder(mesh);
  const std::size_t pillars = welder.pillarCount();
  std::vector<std::size_t> firsts(pillars);
  forEachBlock(parallel, pillars, kPillars, [&](std::size_t, std::size_t first, std::size_t last) {
    std::vector<Corner> corners;
    for (std::size_t pillar = first; pillar < last; ++pillar) {
      welder.collect(pillar, corners);
      firsts[pillar] = welder.countNodes(corners);
    }
  });
  mesh.nodeCount = exclusivePrefixSum(std::span<std::size_t>(firsts));
  mesh.points = MxFileArray::of<double>(3 * mesh.nodeCount);
  mesh.cells.count = mesh.ijk->x * mesh.ijk->y * mesh.ijk->z;
  mesh.cells.uniform = MiCellShape::Hexahedron;
  const bool narrow =
      mesh.nodeCount <= static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
  mesh.cells.connectivity =
      MxFileArray(narrow ? MiScalarType::Int32 : MiScalarType::Int64, 8 * mesh.cells.count);
  visitIndices(mesh.cells.connectivity, [&](auto nodes) {
    forEachBlock(
        parallel, pillars, kPillars, [&](std::size_t, std::size_t first, std::size_t last) {
          std::vector<Corner> corners;
          for (std::size_t pillar = first; pillar < last; ++pillar) {
            welder.collect(pillar, corners);
            welder.fill(pillar, corners, firsts[pillar], mesh.points.as<MbVec3d>(), nodes.data());
          }
        });
  });
  mesh.pillars = mesh.depths = {};
}
