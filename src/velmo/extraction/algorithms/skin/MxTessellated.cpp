#include <velmo/extraction/algorithms/skin/MxTessellated.h>

#include <velmo/base/MxPoll.h>
#include <velmo/extraction/algorithms/access/MxBits.h>

#include <algorithm>
#include <cmath>

namespace {

/// Weights that differ by less are the same; smaller ones are none.
constexpr double kWeightStep = 0x1p-40;

/// A weight as what decides whether two are the same.
std::int64_t stepsOf(double weight)
{
  return std::llround(std::clamp(weight, -1e6, 1e6) / kWeightStep);
}

/// True when the answer can be used: linear cells of the dimension asked for over points that are
/// there.
bool isUsable(const MiTessellation& answer, std::size_t nodeCount, int dimension)
{
  const MiCellShapeFacts facts = cellShapeFacts(answer.shape);
  if (facts.dimension != dimension || facts.nodeCount == 0 || isQuadratic(answer.shape))
    return false;
  if (answer.weights.size() / nodeCount < answer.pointCount) return false;
  if (answer.points.size() % facts.nodeCount != 0) return false;
  for (const std::uint32_t point : answer.points)
    if (point >= answer.pointCount) return false;
  return std::all_of(answer.weights.begin(), answer.weights.end(),
                     [](double weight) { return std::isfinite(weight); });
}

} // namespace

void MxTessellated::addPoint(std::span<const std::uint32_t> from, const double* with)
{
  std::vector<std::pair<std::uint32_t, double>> parts;
  for (std::size_t n = 0; n < from.size(); ++n)
    if (std::abs(with[n]) >= kWeightStep) parts.emplace_back(from[n], with[n]);
  // In the order of the nodes, so that two faces that share an edge compute the same sums.
  std::sort(parts.begin(), parts.end());
  for (const auto& [node, weight] : parts) {
    nodes.push_back(node);
    weights.push_back(weight);
  }
  offsets.push_back(static_cast<std::uint32_t>(nodes.size()));
}

bool MxTessellated::addRefined(const MiTessellator& tessellator, MiCellShape shape,
                               std::uint32_t source, std::span<const std::uint32_t> nodes,
                               const std::vector<MbVec3d>& places, MiTessellation& answer,
                               MiCellShape* made)
{
  answer.clear();
  if (!tessellator.tessellate(shape, places, answer)) return false;
  if (!isUsable(answer, nodes.size(), cellShapeFacts(shape).dimension)) return false;
  const std::uint32_t firstPoint = pointCount();
  for (std::size_t p = 0; p < answer.pointCount; ++p)
    addPoint(nodes, answer.weights.data() + p * nodes.size());
  const std::size_t size = cellShapeFacts(answer.shape).nodeCount;
  for (std::size_t at = 0; at < answer.points.size(); at += size)
    addCell(source, firstPoint, answer.points.data() + at, size);
  if (made) *made = answer.shape;
  return true;
}

void MxTessellatedPoints::makeRoom()
{
  constexpr std::size_t kLeast = 1024, kNumbersPerPoll = 65536;
  const std::size_t size = std::max(kLeast, 2 * m_places.size());
  m_places.resizeZeroed(size);
  for (std::size_t n = 0; n < m_hashes.size(); ++n) {
    if (n % kNumbersPerPoll == 0) MxPoll::ask();
    std::size_t place = m_hashes[n] & (size - 1);
    while (m_places[place] != 0)
      place = (place + 1) & (size - 1);
    m_places[place] = static_cast<std::uint32_t>(n + 1);
  }
}

std::uint32_t MxTessellatedPoints::number(const MxTessellated& pieces, std::uint32_t point,
                                          MeXProvenance& provenance)
{
  const std::uint32_t first = pieces.offsets[point], count = pieces.offsets[point + 1] - first;
  std::uint64_t hash = count;
  for (std::uint32_t n = 0; n < count; ++n) {
    hash = mixBits(hash ^ pieces.nodes[first + n]);
    hash = mixBits(hash ^ static_cast<std::uint64_t>(stepsOf(pieces.weights[first + n])));
  }
  const auto isPoint = [&](std::size_t number) {
    const std::uint32_t known = provenance.offsets[number];
    if (m_hashes[number] != hash || provenance.offsets[number + 1] - known != count) return false;
    for (std::uint32_t n = 0; n < count; ++n)
      if (provenance.nodes[known + n] != pieces.nodes[first + n] ||
          stepsOf(provenance.weights[known + n]) != stepsOf(pieces.weights[first + n]))
        return false;
    return true;
  };
  if (2 * m_hashes.size() >= m_places.size()) makeRoom();
  std::size_t place = hash & (m_places.size() - 1);
  for (; m_places[place] != 0; place = (place + 1) & (m_places.size() - 1))
    if (isPoint(m_places[place] - 1)) return m_places[place] - 1;

  m_hashes.push_back(hash);
  m_places[place] = static_cast<std::uint32_t>(m_hashes.size());
  for (std::uint32_t n = first; n < first + count; ++n) {
    provenance.nodes.push_back(pieces.nodes[n]);
    provenance.weights.push_back(pieces.weights[n]);
  }
  provenance.offsets.push_back(static_cast<std::uint32_t>(provenance.nodes.size()));
  return m_places[place] - 1;
}
