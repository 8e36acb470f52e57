#include <velmo/extraction/algorithms/cut/MxCutTables.h>

#include <algorithm>

namespace {

using S = MiCellShape;

// --- Quadratic shapes ------------------------------------------------------------------------

/// Shapes with middle nodes on their edges alone: a cell cut off at each corner, between the
/// middles of the edges there, and the core that is left.
constexpr MxCutParts cutOffCorners(S shape)
{
  MxCutParts parts;
  const MxShapeFaces whole = shapeFaces(shape);
  const std::uint8_t cornerCount = cellShapeFacts(shape).cornerCount;
  for (const MxShapeFace& face : whole) {
    const std::uint8_t corners = face.size / 2;
    MxShapeFace inner;
    inner.size = corners;
    for (std::uint8_t n = 0; n < corners; ++n)
      inner.nodes[n] = face.nodes[corners + n];
    parts.core.faces[parts.core.count++] = inner;
  }
  for (std::uint8_t corner = 0; corner < cornerCount; ++corner) {
    // Around the corner, seen from outside: on each face the core has an edge from the middle
    // before the corner to the one behind, so its face towards the corner has the reverse.
    std::array<std::uint8_t, 32> next{};
    std::uint8_t start = 0, size = 0;
    for (const MxShapeFace& face : whole) {
      const std::uint8_t corners = face.size / 2;
      for (std::uint8_t n = 0; n < corners; ++n) {
        if (face.nodes[n] != corner) continue;
        start = face.nodes[corners + n];
        next[start] = face.nodes[corners + (n + corners - 1) % corners];
        ++size;
      }
    }
    MxShapeFace& cap = parts.core.faces[parts.core.count++];
    MxCutParts::Part& part = parts.parts[parts.count++];
    part.shape = size == 3 ? S::Tetrahedron : S::Pyramid;
    cap.size = size;
    for (std::uint8_t n = 0, node = start; n < size; ++n, node = next[node])
      cap.nodes[n] = part.nodes[n] = node;
    part.nodes[size] = corner;
  }
  return parts;
}

/// Eight hexahedra between the 3 x 3 x 3 nodes.
constexpr MxCutParts splitHexahedron()
{
  // Twice the place of each node: corners at 0 and 4, middles and centres between.
  std::array<std::array<std::uint8_t, 3>, 27> places{};
  constexpr std::uint8_t kSteps[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                                         {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
  for (std::size_t c = 0; c < 8; ++c)
    for (std::size_t axis = 0; axis < 3; ++axis)
      places[c][axis] = static_cast<std::uint8_t>(2 * kSteps[c][axis]);
  for (const MxShapeEdge& edge : shapeEdges(S::TriquadraticHexahedron))
    for (std::size_t axis = 0; axis < 3; ++axis)
      places[edge.middle][axis] =
          static_cast<std::uint8_t>((places[edge.first][axis] + places[edge.second][axis]) / 2);
  for (const MxShapeFace& face : shapeFaces(S::TriquadraticHexahedron))
    for (std::size_t axis = 0; axis < 3; ++axis)
      places[face.nodes[8]][axis] = static_cast<std::uint8_t>(
          (places[face.nodes[0]][axis] + places[face.nodes[2]][axis]) / 2);
  places[26] = {1, 1, 1};

  std::array<std::uint8_t, 27> nodeAt{};
  for (std::uint8_t n = 0; n < 27; ++n)
    nodeAt[places[n][0] + 3u * places[n][1] + 9u * places[n][2]] = n;
  MxCutParts parts;
  for (const auto& octant : kSteps) {
    MxCutParts::Part& part = parts.parts[parts.count++];
    part.shape = S::Hexahedron;
    for (std::size_t c = 0; c < 8; ++c)
      part.nodes[c] = nodeAt[octant[0] + kSteps[c][0] + 3u * (octant[1] + kSteps[c][1]) +
                             9u * (octant[2] + kSteps[c][2])];
  }
  return parts;
}

/// Eight wedges between three layers of six nodes.
constexpr MxCutParts splitWedge()
{
  // The layers as quadratic triangles: the third one's nodes are the middles of the upright edges
  // and the centres of the quads.
  std::array<std::array<std::uint8_t, 6>, 3> layers{};
  const MxShapeEdges edges = shapeEdges(S::BiquadraticWedge);
  const MxShapeFaces faces = shapeFaces(S::BiquadraticWedge);
  const auto middleOf = [&](std::uint8_t a, std::uint8_t b) -> std::uint8_t {
    for (const MxShapeEdge& edge : edges)
      if ((edge.first == a && edge.second == b) || (edge.first == b && edge.second == a))
        return edge.middle;
    return 0;
  };
  const auto centreOf = [&](std::uint8_t a, std::uint8_t b) -> std::uint8_t {
    for (const MxShapeFace& face : faces) {
      if (face.shape != S::BiquadraticQuad) continue;
      int found = 0;
      for (std::size_t n = 0; n < 4; ++n)
        found += face.nodes[n] == a || face.nodes[n] == b;
      if (found == 2) return face.nodes[8];
    }
    return 0;
  };
  for (std::uint8_t n = 0; n < 3; ++n) {
    const std::uint8_t next = n == 2 ? 0 : n + 1;
    const auto up = [](std::uint8_t node) { return static_cast<std::uint8_t>(node + 3); };
    layers[0][n] = n;
    layers[1][n] = middleOf(n, up(n));
    layers[2][n] = up(n);
    layers[0][n + 3u] = middleOf(n, next);
    layers[1][n + 3u] = centreOf(n, next);
    layers[2][n + 3u] = middleOf(up(n), up(next));
  }
  MxCutParts parts;
  for (std::size_t layer = 0; layer < 2; ++layer)
    for (const MxShapeFace& triangle : subFaces(S::QuadraticTriangle)) {
      MxCutParts::Part& part = parts.parts[parts.count++];
      part.shape = S::Wedge;
      for (std::size_t n = 0; n < 3; ++n) {
        part.nodes[n] = layers[layer][triangle.nodes[n]];
        part.nodes[n + 3] = layers[layer + 1][triangle.nodes[n]];
      }
    }
  return parts;
}

constexpr MxCutParts kNoParts;
constexpr MxCutParts kTetrahedronParts = cutOffCorners(S::QuadraticTetrahedron);
constexpr MxCutParts kHexahedronParts = cutOffCorners(S::QuadraticHexahedron);
constexpr MxCutParts kWedgeParts = cutOffCorners(S::QuadraticWedge);
constexpr MxCutParts kPyramidParts = cutOffCorners(S::QuadraticPyramid);
constexpr MxCutParts kFullHexahedronParts = splitHexahedron();
constexpr MxCutParts kFullWedgeParts = splitWedge();

} // namespace

const MxCutParts& findCutParts(MiCellShape shape)
{
  switch (shape) {
  case S::QuadraticTetrahedron:
    return kTetrahedronParts;
  case S::QuadraticHexahedron:
    return kHexahedronParts;
  case S::QuadraticWedge:
    return kWedgeParts;
  case S::QuadraticPyramid:
    return kPyramidParts;
  case S::TriquadraticHexahedron:
    return kFullHexahedronParts;
  case S::BiquadraticWedge:
    return kFullWedgeParts;
  default:
    return kNoParts;
  }
}

// --- Cells without a table -------------------------------------------------------------------

namespace {

/// The edge of a face from corner n to the next.
MxCutKey edgeOf(std::span<const std::uint32_t> nodes, std::size_t n)
{
  const std::uint32_t a = nodes[n], b = nodes[n + 1 < nodes.size() ? n + 1 : 0];
  return {std::min(a, b), std::max(a, b)};
}

/// The corner of a ring whose triangle with its neighbours can be taken off: it is inside the ring,
/// and so is no other corner of it.
template <class Corners>
std::size_t findEar(const Corners& corners, const MbVec3d& normal)
{
  const std::size_t size = corners.size();
  const auto turn = [&](const MbVec3d& a, const MbVec3d& b, const MbVec3d& c) {
    return dot(cross(b - a, c - b), normal);
  };
  for (std::size_t n = 0; n < size; ++n) {
    const MbVec3d& a = corners[(n + size - 1) % size].place;
    const MbVec3d &b = corners[n].place, &c = corners[(n + 1) % size].place;
    if (!(turn(a, b, c) > 0)) continue;
    bool isFree = true;
    for (std::size_t m = n + 2; m < n + size - 1 && isFree; ++m) {
      const MbVec3d& p = corners[m % size].place;
      isFree = turn(a, b, p) < 0 || turn(b, c, p) < 0 || turn(c, a, p) < 0;
    }
    if (isFree) return n;
  }
  return 0; // a ring that crosses itself, or has no area left
}

} // namespace

bool MxLoopFinder::addTriangles(std::span<const std::uint32_t> nodes,
                                std::span<const std::uint8_t> below,
                                const std::function<MbVec3d(std::uint32_t)>& placeOf)
{
  const std::size_t size = nodes.size();
  constexpr std::size_t kMost = 512; // the search for triangles is not for very large faces
  if (size < 4 || size > kMost) return false;
  // From the smallest node towards its smaller neighbour, as both cells at the face have it.
  const auto first = static_cast<std::size_t>(std::ranges::min_element(nodes) - nodes.begin());
  const std::size_t next = (first + 1) % size, previous = (first + size - 1) % size;
  const bool reverse = nodes[previous] < nodes[next];
  m_corners.clear();
  for (std::size_t n = 0; n < size; ++n) {
    const std::size_t at = (reverse ? first + size - n : first + n) % size;
    const std::size_t edge = reverse ? (at + size - 1) % size : at;
    m_corners.push_back({static_cast<std::uint32_t>(at), below[at] != 0, placeOf(nodes[at]),
                         static_cast<std::uint32_t>(edge)});
  }
  MbVec3d normal;
  for (std::size_t n = 2; n < size; ++n)
    normal +=
        cross(m_corners[n - 1].place - m_corners[0].place, m_corners[n].place - m_corners[0].place);
  if (size == 4) {
    bool hasNotch = false;
    for (std::size_t n = 0; n < size; ++n)
      hasNotch |= dot(cross(m_corners[(n + 1) % 4].place - m_corners[n].place,
                            m_corners[(n + 2) % 4].place - m_corners[(n + 1) % 4].place),
                      normal) < 0;
    if (!hasNotch) return false;
  }
  const auto addSegment = [&](std::size_t a, std::size_t b) {
    // It begins where the ring comes down.
    if (below[a]) std::swap(a, b);
    m_ends.push_back({edgeOf(nodes, a), static_cast<std::uint32_t>(m_ends.size())});
    m_ends.push_back({edgeOf(nodes, b), static_cast<std::uint32_t>(m_ends.size())});
  };
  while (m_corners.size() > 1) {
    const std::size_t count = m_corners.size();
    const std::size_t n = count > 3 ? findEar(m_corners, normal) : 0;
    Corner& before = m_corners[(n + count - 1) % count];
    const Corner own = m_corners[n], &after = m_corners[(n + 1) % count];
    if (before.isBelow == after.isBelow && own.isBelow != before.isBelow)
      addSegment(before.edge, own.edge);
    else if (own.isBelow != after.isBelow)
      before.edge = own.edge; // the cut goes on through the edge that is left
    m_corners.erase(m_corners.begin() + static_cast<std::ptrdiff_t>(n));
  }
  return true;
}

void MxLoopFinder::addFace(std::span<const std::uint32_t> nodes,
                           std::span<const std::uint8_t> below,
                           const std::function<MbVec3d(std::uint32_t)>& placeOf)
{
  const std::size_t size = nodes.size();
  if (placeOf && size > 3) {
    std::size_t cutCount = below[size - 1] != below[0];
    for (std::size_t n = 1; n < size; ++n)
      cutCount += below[n - 1] != below[n];
    if (cutCount > 2 && addTriangles(nodes, below, placeOf)) return;
  }
  // The first run of nodes below may have begun before the first node: begin behind a node above.
  std::size_t first = 0;
  while (first < size && below[first])
    ++first;
  if (first == size) return;
  for (std::size_t n = 0; n < size; ++n) {
    const std::size_t at = first + n < size ? first + n : first + n - size;
    const std::size_t next = at + 1 < size ? at + 1 : 0;
    if ((below[at] != 0) == (below[next] != 0)) continue;
    m_ends.push_back({edgeOf(nodes, at), static_cast<std::uint32_t>(m_ends.size())});
  }
}

void MxLoopFinder::findLoops(std::vector<MxCutKey>& keys, std::vector<std::uint32_t>& sizes)
{
  keys.clear();
  sizes.clear();
  constexpr std::uint32_t kNone = 0xffffffffu;
  const std::size_t count = m_ends.size();
  std::sort(m_ends.begin(), m_ends.end(), [](const End& a, const End& b) {
    return a.edge != b.edge ? a.edge < b.edge : a.number < b.number;
  });
  // The ends that meet in an edge are joined in pairs, a beginning and an end where there are.
  m_partner.assign(count, kNone);
  m_place.resize(count);
  for (std::size_t first = 0; first < count;) {
    std::size_t last = first;
    for (; last < count && m_ends[last].edge == m_ends[first].edge; ++last)
      m_place[m_ends[last].number] = static_cast<std::uint32_t>(last);
    const auto join = [&](std::uint32_t a, std::uint32_t b) {
      m_partner[a] = b;
      m_partner[b] = a;
    };
    std::size_t even = first, odd = first;
    const auto findNext = [&](std::size_t& at, std::uint32_t parity) {
      while (at < last && (m_ends[at].number & 1) != parity)
        ++at;
      return at < last;
    };
    for (; findNext(even, 0) && findNext(odd, 1); ++even, ++odd)
      join(m_ends[even].number, m_ends[odd].number);
    // Faces that are turned differently: what is left are ends of one kind.
    const std::uint32_t parity = findNext(even, 0) ? 0 : 1;
    std::size_t& at = parity == 0 ? even : odd;
    while (findNext(at, parity)) {
      const std::uint32_t one = m_ends[at++].number;
      if (findNext(at, parity)) join(one, m_ends[at++].number);
    }
    first = last;
  }
  m_used.assign(count / 2, false);
  for (std::uint32_t start = 0; start < count; start += 2) {
    if (m_used[start / 2]) continue;
    m_walk.clear();
    std::size_t backward = 0;
    std::uint32_t number = start;
    do {
      m_used[number / 2] = true;
      backward += number & 1;
      m_walk.push_back(number);
      number = m_partner[number ^ 1];
    } while (number != kNone && !m_used[number / 2]);
    if (number != start) continue; // open
    const std::size_t begin = keys.size();
    for (const std::uint32_t step : m_walk)
      keys.push_back(m_ends[m_place[step]].edge);
    if (2 * backward > m_walk.size())
      std::reverse(keys.begin() + static_cast<std::ptrdiff_t>(begin), keys.end());
    sizes.push_back(static_cast<std::uint32_t>(m_walk.size()));
  }
}
