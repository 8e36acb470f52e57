#include <velmo/extraction/algorithms/check/MxCellQuality.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <algorithm>
#include <array>
#include <limits>

namespace {

/// A thickness below so many roundings of the coordinates is none.
constexpr double kRoundings = 8 * std::numeric_limits<double>::epsilon();
/// Edges at a corner stand the wrong way round from this part of the cube of the cell's size on.
constexpr double kFold = 1e-7;

double tripleProduct(const MbVec3d& a, const MbVec3d& b, const MbVec3d& c)
{
  return dot(cross(a, b), c);
}

/// A corner where three edges meet, and the middle nodes on these; 255 for none.
struct Corner
{
  std::uint8_t node = 0;
  std::array<std::uint8_t, 3> ends{}, middles{};
};

struct Corners
{
  std::uint8_t count = 0;
  std::array<Corner, 8> corners{};
};

constexpr std::uint8_t middleOf(const MxShapeEdges& edges, std::uint8_t a, std::uint8_t b)
{
  for (const MxShapeEdge& edge : edges)
    if ((edge.first == a && edge.second == b) || (edge.first == b && edge.second == a))
      return edge.middle;
  return 255;
}

/// The corners of a volume shape where three edges meet, so ordered that their triple product is
/// positive in a cell that is the right way round.
constexpr Corners cornersOf(MiCellShape shape)
{
  Corners result;
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  const MxShapeFaces faces = shapeFaces(facts.linear);
  const MxShapeEdges edges = shapeEdges(shape);
  for (std::uint8_t node = 0; node < facts.cornerCount; ++node) {
    int degree = 0;
    for (const MxShapeEdge& edge : edges)
      degree += edge.first == node || edge.second == node;
    if (degree != 3) continue;
    Corner corner;
    corner.node = node;
    // Of one face, counter-clockwise from outside, the next corner and the one before; the third
    // edge leads inside.
    for (const MxShapeFace& face : faces)
      for (std::uint8_t n = 0; n < face.size; ++n)
        if (face.nodes[n] == node) {
          corner.ends[1] = face.nodes[n + 1 < face.size ? n + 1 : 0];
          corner.ends[0] = face.nodes[n > 0 ? n - 1 : face.size - 1];
        }
    for (const MxShapeEdge& edge : edges) {
      if (edge.first != node && edge.second != node) continue;
      const std::uint8_t end = edge.first == node ? edge.second : edge.first;
      if (end != corner.ends[0] && end != corner.ends[1]) corner.ends[2] = end;
    }
    for (std::size_t e = 0; e < 3; ++e)
      corner.middles[e] = middleOf(edges, node, corner.ends[e]);
    result.corners[result.count++] = corner;
  }
  return result;
}

const Corners& findCorners(MiCellShape shape)
{
  using S = MiCellShape;
  static const std::array<Corners, 64> table = [] {
    std::array<Corners, 64> all{};
    for (const S s : {S::Tetrahedron, S::Hexahedron, S::Wedge, S::Pyramid, S::QuadraticTetrahedron,
                      S::QuadraticHexahedron, S::QuadraticWedge, S::QuadraticPyramid,
                      S::TriquadraticHexahedron, S::BiquadraticWedge})
      all[static_cast<std::size_t>(s)] = cornersOf(s);
    return all;
  }();
  static const Corners none;
  const auto number = static_cast<std::size_t>(shape);
  return number < table.size() ? table[number] : none;
}

/// Six times the volume between a point and a face, which counts as a fan around its mean.
double pyramidVolume(const MbVec3d& apex, std::span<const MbVec3d> face)
{
  MbVec3d mean{};
  for (const MbVec3d& p : face)
    mean += p;
  mean = mean * (1.0 / static_cast<double>(face.size())) - apex;
  double sum = 0;
  for (std::size_t n = 0; n < face.size(); ++n)
    sum += tripleProduct(mean, face[n] - apex, face[n + 1 < face.size() ? n + 1 : 0] - apex);
  return sum;
}

} // namespace

void MxCellJudge::measure(std::span<const MbVec3d> places)
{
  MbVec3d low = places[0], high = places[0];
  double largest = 0;
  for (const MbVec3d& p : places)
    for (std::size_t a = 0; a < 3; ++a) {
      low[a] = std::min(low[a], p[a]);
      high[a] = std::max(high[a], p[a]);
      largest = std::max(largest, std::abs(p[a]));
    }
  m_size = length(high - low);
  m_thickness = kRoundings * (m_size + largest);
}

MxCellQuality MxCellJudge::judge(MiCellShape shape, std::span<const std::size_t> nodes,
                                 std::span<const MbVec3d> places,
                                 std::span<const std::size_t> faces)
{
  MxCellQuality quality;
  const MiCellShapeFacts facts = cellShapeFacts(shape);
  if (facts.dimension == 0) return quality;
  if (places.empty() || facts.dimension < 0) {
    quality.isDegenerate = true;
    return quality;
  }
  measure(places);
  const std::span<const MbVec3d> corners =
      facts.cornerCount > 0 ? places.first(facts.cornerCount) : places;
  if (facts.dimension == 1)
    judgeLine(shape, places, quality);
  else if (facts.dimension == 2)
    judgePolygon(corners, facts.linear == MiCellShape::Quad, quality);
  else if (shape == MiCellShape::Polyhedron)
    judgePolyhedron(nodes, places, faces, quality);
  else
    judgeVolume(shape, places, quality);
  // A closed polyline is none.
  quality.isCollapsed = facts.dimension > 1 && !quality.isDegenerate && isCollapsed(nodes, corners);
  return quality;
}

void MxCellJudge::judgeLine(MiCellShape shape, std::span<const MbVec3d> places,
                            MxCellQuality& quality) const
{
  double sum = 0;
  const std::size_t count = shape == MiCellShape::Polyline ? places.size() : 2;
  for (std::size_t n = 1; n < count; ++n)
    sum += length(places[n] - places[n - 1]);
  quality.isDegenerate = sum <= m_thickness;
}

void MxCellJudge::judgePolygon(std::span<const MbVec3d> corners, bool isQuad,
                               MxCellQuality& quality) const
{
  const std::size_t count = corners.size();
  MbVec3d normal{};
  double twice = 0;
  for (std::size_t n = 2; n < count; ++n) {
    const MbVec3d part = cross(corners[n - 1] - corners[0], corners[n] - corners[0]);
    normal += part;
    twice += length(part);
  }
  quality.isDegenerate = twice <= m_thickness * m_size;
  if (quality.isDegenerate || !isQuad) return;
  for (std::size_t n = 0; n < count; ++n) {
    const MbVec3d turn =
        cross(corners[(n + 1) % count] - corners[n], corners[(n + count - 1) % count] - corners[n]);
    const double slack = kFold * m_size * m_size;
    // Crossing sides may leave no area to compare with.
    quality.isFolded |= dot(turn, normal) < -slack * length(normal) ||
                        (length(normal) <= slack && length(turn) > slack);
  }
}

void MxCellJudge::judgeVolume(MiCellShape shape, std::span<const MbVec3d> places,
                              MxCellQuality& quality) const
{
  double volume = 0;
  std::array<MbVec3d, 4> face;
  for (const MxShapeFace& row : findWholeFaces(cellShapeFacts(shape).linear)) {
    for (std::size_t n = 0; n < row.size; ++n)
      face[n] = places[row.nodes[n]];
    volume += pyramidVolume(places[0], std::span(face).first(row.size));
  }
  volume /= 6;
  quality.isDegenerate = std::abs(volume) <= m_thickness * m_size * m_size;
  if (!quality.isDegenerate) quality.sign = volume > 0 ? 1 : -1;
  const double least = -kFold * m_size * m_size * m_size;
  bool hasPositive = false, hasNegative = false;
  const Corners& corners = findCorners(shape);
  for (std::size_t c = 0; c < corners.count; ++c) {
    const Corner& corner = corners.corners[c];
    const MbVec3d& from = places[corner.node];
    std::array<MbVec3d, 3> edges;
    for (std::size_t e = 0; e < 3; ++e) {
      edges[e] = places[corner.ends[e]] - from;
      // The tangent of the parabola through the middle node.
      if (corner.middles[e] != 255) edges[e] = (places[corner.middles[e]] - from) * 4.0 - edges[e];
    }
    const double product = tripleProduct(edges[0], edges[1], edges[2]);
    hasPositive |= product > -least;
    hasNegative |= product < least;
  }
  // A cell whose parts cancel has no volume, but is no flat one.
  if (quality.isDegenerate)
    quality.isDegenerate = !(quality.isFolded = hasPositive && hasNegative);
  else
    quality.isFolded = quality.sign > 0 ? hasNegative : hasPositive;
}

void MxCellJudge::judgePolyhedron(std::span<const std::size_t> nodes,
                                  std::span<const MbVec3d> places,
                                  std::span<const std::size_t> faces, MxCellQuality& quality)
{
  MbVec3d middle{};
  for (const MbVec3d& p : places)
    middle += p;
  middle = middle * (1.0 / static_cast<double>(places.size()));
  m_sorted.resize(nodes.size());
  for (std::size_t n = 0; n < nodes.size(); ++n)
    m_sorted[n] = n;
  std::sort(m_sorted.begin(), m_sorted.end(),
            [&](std::size_t a, std::size_t b) { return nodes[a] < nodes[b]; });
  m_edges.clear();
  double volume = 0;
  for (std::size_t at = 1; at < faces.size();) {
    const std::size_t count = faces[at++];
    m_face.clear();
    for (std::size_t n = 0; n < count; ++n) {
      const std::size_t node = faces[at + n], next = faces[at + (n + 1 < count ? n + 1 : 0)];
      if (node != next) m_edges.emplace_back(std::min(node, next), std::max(node, next));
      const auto own = std::lower_bound(
          m_sorted.begin(), m_sorted.end(), node,
          [&](std::size_t place, std::size_t wanted) { return nodes[place] < wanted; });
      // A face with a node that the cell does not list is no face of it.
      if (own == m_sorted.end() || nodes[*own] != node)
        quality.isOpen = true;
      else
        m_face.push_back(places[*own]);
    }
    at += count;
    if (m_face.size() > 2) volume += std::abs(pyramidVolume(middle, m_face)) / 6;
  }
  quality.isDegenerate = volume <= m_thickness * m_size * m_size;
  std::sort(m_edges.begin(), m_edges.end());
  for (std::size_t first = 0, last = 0; first < m_edges.size(); first = last) {
    while (last < m_edges.size() && m_edges[last] == m_edges[first])
      ++last;
    quality.isOpen |= last - first != 2;
  }
}

bool MxCellJudge::isCollapsed(std::span<const std::size_t> nodes, std::span<const MbVec3d> corners)
{
  constexpr std::size_t kFew = 8;
  if (corners.size() > kFew) {
    m_sorted.assign(nodes.begin(), nodes.begin() + static_cast<std::ptrdiff_t>(corners.size()));
    std::sort(m_sorted.begin(), m_sorted.end());
    return std::adjacent_find(m_sorted.begin(), m_sorted.end()) != m_sorted.end();
  }
  for (std::size_t a = 0; a < corners.size(); ++a)
    for (std::size_t b = 0; b < a; ++b)
      if (corners[a] == corners[b]) return true;
  return false;
}
