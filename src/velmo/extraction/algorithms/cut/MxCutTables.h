#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MxCellShapes.h>

#include <compare>
#include <functional>
#include <map>
#include <span>
#include <utility>
#include <vector>

/// How cells are cut: every node of a cell lies below a level or not, and the polygons that
/// separate the nodes below from the others follow from the cell's faces alone.
///
/// On each face, seen from outside, every run of nodes below is cut off by a segment of its own: on
/// a quad whose diagonals disagree, the two corners below are separated and those above joined. The
/// rule knows only the nodes of the face, so two cells that share a face cut it alike. Each edge
/// that is cut has one segment ending and one starting, on its two faces; the segments of a cell
/// therefore form closed loops, which are its polygons, counter-clockwise seen from above.

/// An edge of a shape or a cut through one, by local node numbers.
struct MxCutEdge
{
  std::uint8_t first = 0, second = 0;
};

/// The polygons of every case of one linear shape with `Nodes` nodes; bit n of a case's number is
/// set when node n lies below.
template <std::size_t Nodes>
struct MxCutTable
{
  /// Twelve edges at most, in loops of three at least, and the end.
  static constexpr std::size_t kRoom = 12 + 4 + 1;
  static constexpr std::size_t kNodeCount = Nodes;

  std::uint8_t edgeCount = 0;
  std::array<MxCutEdge, 12> edges{};
  /// Polygon after polygon, each its size and its edges; a size of zero ends the list.
  std::array<std::array<std::uint8_t, kRoom>, std::size_t{1} << Nodes> cases{};
};

namespace velmo_detail {

constexpr bool isBelow(std::size_t mask, std::uint8_t node)
{
  return mask >> node & 1;
}

template <std::size_t Nodes>
constexpr MxCutTable<Nodes> makeCutTable(const MxShapeFaces& faces)
{
  MxCutTable<Nodes> table;
  const auto edgeOf = [&](std::uint8_t a, std::uint8_t b) -> std::uint8_t {
    for (std::uint8_t e = 0; e < table.edgeCount; ++e)
      if ((table.edges[e].first == a && table.edges[e].second == b) ||
          (table.edges[e].first == b && table.edges[e].second == a))
        return e;
    table.edges[table.edgeCount] = {a < b ? a : b, a < b ? b : a};
    return table.edgeCount++;
  };
  // The edges of each face, so that the cases need no search.
  std::array<std::array<std::uint8_t, 4>, 8> ringEdges{};
  for (std::uint8_t f = 0; f < faces.count; ++f)
    for (std::uint8_t n = 0; n < faces[f].size; ++n)
      ringEdges[f][n] = edgeOf(faces[f].nodes[n], faces[f].nodes[(n + 1) % faces[f].size]);

  for (std::size_t mask = 0; mask < table.cases.size(); ++mask) {
    constexpr std::uint8_t kNone = 255;
    std::array<std::uint8_t, 12> next{};
    next.fill(kNone);
    for (std::uint8_t f = 0; f < faces.count; ++f) {
      const MxShapeFace& face = faces[f];
      for (std::uint8_t n = 0; n < face.size; ++n) {
        // Where a run of nodes below begins, the segment goes on to where it ends.
        const auto below = [&](std::size_t at) {
          return isBelow(mask, face.nodes[at % face.size]);
        };
        if (below(n) || !below(n + 1u)) continue;
        std::size_t end = n + 1u;
        while (below(end + 1))
          ++end;
        next[ringEdges[f][n]] = ringEdges[f][end % face.size];
      }
    }
    std::size_t at = 0;
    for (std::uint8_t start = 0; start < table.edgeCount; ++start) {
      if (next[start] == kNone) continue;
      const std::size_t sizeAt = at++;
      for (std::uint8_t edge = start; next[edge] != kNone;) {
        table.cases[mask][at++] = edge;
        edge = std::exchange(next[edge], kNone);
      }
      table.cases[mask][sizeAt] = static_cast<std::uint8_t>(at - sizeAt - 1);
    }
  }
  return table;
}

} // namespace velmo_detail

/// The table of a linear volume shape.
template <MiCellShape Shape>
inline constexpr auto
    kCutTable = velmo_detail::makeCutTable<cellShapeFacts(Shape).nodeCount>(kLinearFaces<Shape>);

/// Calls visit(table) with the table of a linear volume shape; false for other shapes.
template <class Visitor>
bool visitCutTable(MiCellShape shape, Visitor&& visit)
{
  switch (shape) {
  case MiCellShape::Tetrahedron:
    visit(kCutTable<MiCellShape::Tetrahedron>);
    return true;
  case MiCellShape::Hexahedron:
    visit(kCutTable<MiCellShape::Hexahedron>);
    return true;
  case MiCellShape::Wedge:
    visit(kCutTable<MiCellShape::Wedge>);
    return true;
  case MiCellShape::Pyramid:
    visit(kCutTable<MiCellShape::Pyramid>);
    return true;
  default:
    return false;
  }
}

/// The cells that stand for one quadratic cell: linear ones through all its nodes, whose outer
/// faces are those of linearShapeFaces. Shapes without nodes on their faces have a core besides,
/// the polyhedron between the middles of their edges.
struct MxCutParts
{
  struct Part
  {
    MiCellShape shape = MiCellShape::Empty;
    std::array<std::uint8_t, 8> nodes{};
  };
  std::uint8_t count = 0;
  std::array<Part, 8> parts{};
  MxShapeFaces core;
};

/// None for shapes that are not quadratic volumes.
const MxCutParts& findCutParts(MiCellShape shape);

/// An edge of a mesh that is cut: first < second. A node that lies on the level stands for all cut
/// edges that end there: both are that node.
struct MxCutKey
{
  std::uint32_t first, second;
  friend bool operator==(const MxCutKey&, const MxCutKey&) = default;
  friend auto operator<=>(const MxCutKey&, const MxCutKey&) = default;
};

/// What one thread needs to cut cells that have no table.
class MxLoopFinder
{
public:
  /// Begins a cell.
  void begin() { m_ends.clear(); }
  /// Adds a face: a ring of mesh nodes, seen from outside, and whether each lies below.
  ///
  /// A face of more than four corners, or a quad with a notch, that is cut in more than two edges
  /// is cut as the triangles that it falls apart into, which are the same from either side: a
  /// straight line through it then has its segments inside, whichever side of it is below. Other
  /// quads are cut as hexahedra's are.
  /// @param placeOf  the place of a node; without it, all faces are cut as quads are
  void addFace(std::span<const std::uint32_t> nodes, std::span<const std::uint8_t> below,
               const std::function<MbVec3d(std::uint32_t)>& placeOf = {});
  /// The polygons: all cut edges of the cell in loops, sizes in `sizes`. Faces that are not turned
  /// as the others, or that have no neighbour at an edge, break no loop but those that pass there.
  void findLoops(std::vector<MxCutKey>& keys, std::vector<std::uint32_t>& sizes);

private:
  struct End
  {
    MxCutKey edge;
    std::uint32_t number; ///< 2 * segment, + 1 at its end
  };
  /// Adds the segments of a face cut as its triangles; false, and none is added, for a face that is
  /// not to be cut so.
  bool addTriangles(std::span<const std::uint32_t> nodes, std::span<const std::uint8_t> below,
                    const std::function<MbVec3d(std::uint32_t)>& placeOf);

  /// A corner of what is left of a face whose triangles are taken off.
  struct Corner
  {
    std::uint32_t at; ///< in the face
    bool isBelow;
    MbVec3d place;
    std::uint32_t edge; ///< the cut edge of the face that is reached from here to the next corner
  };
  std::vector<End> m_ends;
  std::vector<Corner> m_corners;
  std::vector<std::uint32_t> m_partner, m_place;
  std::vector<bool> m_used;
  std::vector<std::uint32_t> m_walk;
};

/// Splits a polygon of keys at those that it names twice and drops what has fewer than three left;
/// calls body(keys) for what remains.
template <class Body>
void forEachSimplePolygon(std::span<MxCutKey> keys, const Body& body)
{
  // A stack: a key that is on it already closes a polygon, which is taken off.
  constexpr std::size_t kFew = 32;
  std::map<MxCutKey, std::size_t> places; // only for the polygons of large polyhedra
  const bool isLarge = keys.size() > kFew;
  std::size_t count = 0;
  for (std::size_t n = 0; n < keys.size(); ++n) {
    const MxCutKey key = keys[n];
    std::size_t at = 0;
    if (isLarge) {
      const auto found = places.find(key);
      at = found == places.end() ? count : found->second;
    } else {
      while (at < count && keys[at] != key)
        ++at;
    }
    if (at < count) {
      if (count - at >= 3) body(std::span<const MxCutKey>(keys.data() + at, count - at));
      for (std::size_t gone = at; isLarge && gone < count; ++gone)
        places.erase(keys[gone]);
      count = at;
    }
    if (isLarge) places[key] = count;
    keys[count++] = key;
  }
  if (count >= 3) body(std::span<const MxCutKey>(keys.data(), count));
}
