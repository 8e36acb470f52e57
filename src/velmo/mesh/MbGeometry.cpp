#include <velmo/mesh/MbGeometry.h>

#include <velmo/mesh/MbCounts.h>

namespace {
void requireSize(std::size_t size, std::size_t needed, const char* message)
{
  if (size < needed) throw std::invalid_argument(message);
}

// A mesh without cells needs no nodes: it has as many as the counts ask for, or none.
MbIndex3 countsFor(const MbIndex3& asked, bool given)
{
  const bool empty = asked.x <= 1 && asked.y <= 1 && asked.z <= 1;
  return empty && !given ? MbIndex3{} : asked;
}

constexpr const char* kPoints = "The array of points is shorter than the nodes.";
constexpr const char* kAxis = "An axis has fewer coordinates than nodes.";
} // namespace

MbGeometryI::MbGeometryI(MbIndex3 atLeast, MbPoints points) : m_points(std::move(points))
{
  requireSize(m_points.size(), countsFor(atLeast, static_cast<bool>(m_points)).x, kPoints);
}

MbGeometryIj::MbGeometryIj(MbIndex3 nodeCounts, MbPoints points)
    : m_counts(countsFor(nodeCounts, static_cast<bool>(points))), m_points(std::move(points))
{
  requireSize(m_points.size(), mbProduct({m_counts.x, m_counts.y, 1}), kPoints);
}

MbGeometryIjk::MbGeometryIjk(MbIndex3 nodeCounts, MbPoints points)
    : m_counts(countsFor(nodeCounts, static_cast<bool>(points))), m_points(std::move(points))
{
  requireSize(m_points.size(), mbProduct(m_counts), kPoints);
}

MbGeometryRectilinearIj::MbGeometryRectilinearIj(MbIndex3 nodeCounts, MbNumbers a, MbNumbers b,
                                                 MbVec3d origin, MbVec3d directionI,
                                                 MbVec3d directionJ)
    : m_counts(countsFor(nodeCounts, a || b)), m_axes{std::move(a), std::move(b)},
      m_origin(origin), m_directions{directionI, directionJ}
{
  requireSize(m_axes[0].size(), m_counts.x, kAxis);
  requireSize(m_axes[1].size(), m_counts.y, kAxis);
}

MbGeometryRectilinearIjk::MbGeometryRectilinearIjk(MbIndex3 nodeCounts, MbNumbers x, MbNumbers y,
                                                   MbNumbers z)
    : m_counts(countsFor(nodeCounts, x || y || z)), m_axes{std::move(x), std::move(y), std::move(z)}
{
  for (std::size_t axis = 0; axis < 3; ++axis)
    requireSize(m_axes[axis].size(), m_counts[axis], kAxis);
}

MbGeometryVertexIjk::MbGeometryVertexIjk(MbIndex3 nodeCounts, MbPoints corners)
    : m_cells(nodeCounts - MbIndex3{1, 1, 1}), m_corners(std::move(corners))
{
  requireSize(m_corners.size() / 8, mbProduct(m_cells), "The cells need eight corners each.");
}

MbGeometryVertexIjk::MbGeometryVertexIjk(MbIndex3 nodeCounts, MbNumbers pillars, MbNumbers depths)
    : m_cells(nodeCounts - MbIndex3{1, 1, 1}), m_pillars(std::move(pillars)),
      m_depths(std::move(depths))
{
  const std::size_t cells = mbProduct(m_cells);
  requireSize(m_pillars.size() / 6, cells == 0 ? 0 : mbProduct({nodeCounts.x, nodeCounts.y, 1}),
              "The grid needs six numbers for every pillar.");
  requireSize(m_depths.size() / 8, cells, "The cells need eight depths each.");
}

MbVec3d mbPillarPoint(const MbVec3d& a, const MbVec3d& b, double depth)
{
  if (a.z == b.z) return {a.x, a.y, depth};
  const double t = (depth - a.z) / (b.z - a.z);
  return {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), depth};
}

MbVec3d MbGeometryVertexIjk::getCorner(std::size_t i, std::size_t j, std::size_t k,
                                       int corner) const
{
  if (m_corners) {
    const std::size_t cell = i + m_cells.x * (j + m_cells.y * k);
    return mbPoint(m_corners.getView(), 8 * cell + static_cast<std::size_t>(corner));
  }
  const std::size_t di = (corner & 3) == 1 || (corner & 3) == 2 ? 1 : 0;
  const std::size_t dj = (corner & 3) >= 2 ? 1 : 0;
  const std::size_t dk = corner >= 4 ? 1 : 0;
  const std::size_t pillar = 6 * (i + di + (m_cells.x + 1) * (j + dj));
  const std::size_t depth =
      2 * i + di + 2 * m_cells.x * (2 * j + dj + 2 * m_cells.y * (2 * k + dk));
  const auto number = [&](std::size_t n) { return mbNumber(m_pillars.getView(), pillar + n); };
  return mbPillarPoint({number(0), number(1), number(2)}, {number(3), number(4), number(5)},
                       mbNumber(m_depths.getView(), depth));
}

MiVertexIjkView MbGeometryVertexIjk::getView() const
{
  return {m_corners.getView(), m_pillars.getView(), m_depths.getView()};
}
