#include <velmo/render/MxEdgeLengthStat.h>

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {
constexpr std::size_t kBlock = 16384;
} // namespace

// Calls visit(length) for the edges of cells [first, last).
template <class Visit>
void MxEdgeLengthStat::forEachLength(std::size_t first, std::size_t last, const Visit& visit) const
{
  const auto& points = m_geometry.points();
  const auto lengthOf = [&](int a, int b) {
    const MbVec3f &p = points[a], &q = points[b];
    return std::hypot(double{q.x} - p.x, double{q.y} - p.y, double{q.z} - p.z);
  };
  for (std::size_t cell = first; cell < last; ++cell) {
    const auto nodes = m_topology.getCell(cell);
    if (nodes.size() < 2) continue;
    for (std::size_t k = m_closed ? 0 : 1; k < nodes.size(); ++k) {
      const double length = lengthOf(nodes[k > 0 ? k - 1 : nodes.size() - 1], nodes[k]);
      if (length > 0 && std::isfinite(length)) visit(length);
    }
  }
}

MxEdgeLengthStat::MxEdgeLengthStat(const MeXTopologyExplicitI& topology,
                                   const MeXGeometryI& geometry, bool closed)
    : m_topology(topology), m_geometry(geometry), m_closed(closed)
{
  struct Part
  {
    std::size_t count = 0;
    double shortest = std::numeric_limits<double>::infinity(), longest = 0;
  };
  const std::size_t cells = topology.getCellCount();
  std::vector<Part> parts(blockCount(cells, kBlock));
  forEachBlock(true, cells, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
    Part& part = parts[block];
    forEachLength(first, last, [&part](double length) {
      ++part.count;
      part.shortest = std::min(part.shortest, length);
      part.longest = std::max(part.longest, length);
    });
  });
  Part all;
  for (const Part& part : parts) {
    all.count += part.count;
    all.shortest = std::min(all.shortest, part.shortest);
    all.longest = std::max(all.longest, part.longest);
  }
  m_count = all.count;
  m_shortest = m_count > 0 ? all.shortest : 0;
  m_longest = all.longest;
}

std::vector<std::size_t> MxEdgeLengthStat::histogramDistribution(std::size_t binCount) const
{
  std::vector<std::size_t> bins(binCount);
  if (m_count == 0) return bins;
  const double perLength =
      m_longest > m_shortest ? static_cast<double>(binCount) / (m_longest - m_shortest) : 0;
  const std::size_t cells = m_topology.getCellCount();
  std::vector<std::vector<std::size_t>> parts(blockCount(cells, kBlock));
  forEachBlock(true, cells, kBlock, [&](std::size_t block, std::size_t first, std::size_t last) {
    std::vector<std::size_t>& part = parts[block];
    part.resize(binCount);
    forEachLength(first, last, [&](double length) {
      const auto bin = static_cast<std::size_t>((length - m_shortest) * perLength);
      ++part[std::min(bin, binCount - 1)];
    });
  });
  for (const auto& part : parts)
    for (std::size_t i = 0; i < binCount; ++i)
      bins[i] += part[i];
  return bins;
}

double MxEdgeLengthStat::lengthAt(double share, std::size_t binCount) const
{
  if (m_count == 0) return 0;
  const std::vector<std::size_t> bins = histogramDistribution(binCount);
  const double wanted = share * static_cast<double>(m_count);
  std::size_t bin = 0, reached = bins[0];
  while (static_cast<double>(reached) < wanted && bin + 1 < binCount)
    reached += bins[++bin];
  return m_shortest + (static_cast<double>(bin) + 0.5) / static_cast<double>(binCount) *
                          (m_longest - m_shortest);
}
