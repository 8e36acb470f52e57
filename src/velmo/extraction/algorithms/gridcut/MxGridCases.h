#pragma once

#include <velmo/extraction/algorithms/access/MxNodeNumbering.h>
#include <velmo/extraction/algorithms/cut/MxCutTables.h>
#include <velmo/extraction/algorithms/skin/MxSkinIjk.h>

#include <array>

/// The cases of a hexahedron in terms of the places of vertices in a brick of 4 x 4 x 4 cells.
namespace velmo_grid_cut {

inline constexpr const auto& kTable = kCutTable<MiCellShape::Hexahedron>;
inline constexpr std::size_t kNodeKind = 3;

/// The place of a vertex among the 4 kinds of vertices of 5 x 5 x 5 nodes.
constexpr std::size_t placeOf(std::size_t i, std::size_t j, std::size_t k, std::size_t kind = 0)
{
  return 4 * (i + 5 * j + 25 * k) + kind;
}
inline constexpr std::size_t kPlaces = 500;

/// placeOf the nodes of a brick.
inline constexpr auto kNodePlaces = [] {
  std::array<std::uint16_t, 64> places{};
  for (std::size_t bit = 0; bit < 64; ++bit)
    places[bit] = static_cast<std::uint16_t>(placeOf(bit % 4, bit / 4 % 4, bit / 16));
  return places;
}();

constexpr std::uint8_t cornerPlace(std::size_t corner, std::size_t kind)
{
  const auto& step = kCornerSteps[corner];
  return static_cast<std::uint8_t>(placeOf(step[0], step[1], step[2], kind));
}

/// The places of a cell's vertices relative to the cell's: that of each edge, where it is not
/// replaced by a node.
struct EdgePlace
{
  std::uint8_t edge;
  std::array<std::uint8_t, 2> corners;
};
inline constexpr auto kEdgePlaces = [] {
  std::array<EdgePlace, 12> places{};
  for (std::size_t e = 0; e < 12; ++e) {
    const std::uint8_t a = kTable.edges[e].first, b = kTable.edges[e].second;
    std::size_t axis = 0;
    while (kCornerSteps[a][axis] == kCornerSteps[b][axis])
      ++axis;
    places[e] = {cornerPlace(kCornerSteps[a][axis] ? b : a, axis), {a, b}};
  }
  return places;
}();

/// Polygon after polygon, each its size and the places of its corners; zero ends the list. There is
/// room to read six places of any polygon.
using Loops = std::array<std::uint8_t, 17 + 5>;

struct CaseTable
{
  std::array<Loops, 256> loops{};
  std::array<std::uint32_t, 256> sums{};  ///< polygons, + 65536 * what they need of the index list
  std::array<std::uint16_t, 256> sizes{}; ///< bit n: there is a polygon of n corners
};

constexpr CaseTable makeCaseTable(bool flip)
{
  CaseTable table;
  for (std::size_t c = 0; c < 256; ++c) {
    const std::uint8_t* from = kTable.cases[c].data();
    std::uint8_t* to = table.loops[c].data();
    while (const std::size_t size = *from++) {
      *to++ = static_cast<std::uint8_t>(size);
      for (std::size_t n = 0; n < size; ++n)
        to[flip ? size - 1 - n : n] = kEdgePlaces[from[n]].edge;
      from += size;
      to += size;
      table.sums[c] += 1 + static_cast<std::uint32_t>((size + 1) << 16);
      table.sizes[c] = static_cast<std::uint16_t>(table.sizes[c] | 1u << size);
    }
  }
  return table;
}
inline constexpr CaseTable kCases[2] = {makeCaseTable(false), makeCaseTable(true)};

/// The polygons of a cell that has nodes on the level: these stand for the edges that end there.
class LoopResolver
{
public:
  const Loops& resolve(std::uint8_t below, std::uint8_t on, bool flip)
  {
    const std::uint8_t* from = kTable.cases[below].data();
    std::size_t at = 0;
    while (const std::size_t size = *from++) {
      m_keys.clear();
      for (std::size_t n = 0; n < size; ++n) {
        const EdgePlace& edge = kEdgePlaces[from[n]];
        std::uint32_t place = edge.edge;
        for (const std::uint8_t corner : edge.corners)
          if (on >> corner & 1) place = cornerPlace(corner, kNodeKind);
        m_keys.push_back({place, place});
      }
      from += size;
      forEachSimplePolygon(m_keys, [&](std::span<const MxCutKey> polygon) {
        const std::size_t count = polygon.size();
        m_loops[at++] = static_cast<std::uint8_t>(count);
        for (std::size_t n = 0; n < count; ++n)
          m_loops[at++] = static_cast<std::uint8_t>(polygon[flip ? count - 1 - n : n].first);
      });
    }
    m_loops[at] = 0;
    return m_loops;
  }

private:
  std::vector<MxCutKey> m_keys;
  Loops m_loops{};
};

} // namespace velmo_grid_cut
