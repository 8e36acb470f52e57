#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Where lines of one value cross a polygon, by which of its corners are above: edge e runs from
/// corner e to the next. Going round the polygon, `enters` are the edges that come up from below
/// and `leaves` those that go down, alternating; leaves[i] is the first one after enters[i].
template <std::size_t Size>
struct MxPolygonCut
{
  std::uint8_t count = 0; ///< of enters, and of leaves
  std::array<std::uint8_t, Size / 2> enters{}, leaves{};
};

template <std::size_t Size>
constexpr MxPolygonCut<Size> makePolygonCut(std::size_t above)
{
  MxPolygonCut<Size> cut;
  const auto isAbove = [above](std::size_t corner) { return (above >> corner % Size & 1) != 0; };
  for (std::size_t edge = 0; edge < Size; ++edge) {
    if (isAbove(edge) || !isAbove(edge + 1)) continue;
    std::size_t leave = edge + 1;
    while (isAbove(leave + 1))
      ++leave;
    cut.enters[cut.count] = static_cast<std::uint8_t>(edge);
    cut.leaves[cut.count++] = static_cast<std::uint8_t>(leave % Size);
  }
  return cut;
}

template <std::size_t Size>
constexpr std::array<MxPolygonCut<Size>, (std::size_t{1} << Size)> makePolygonCuts()
{
  std::array<MxPolygonCut<Size>, (std::size_t{1} << Size)> cuts;
  for (std::size_t above = 0; above < cuts.size(); ++above)
    cuts[above] = makePolygonCut<Size>(above);
  return cuts;
}

/// The cuts of triangles and quads, one for each set of corners above (bit c for corner c).
template <std::size_t Size>
inline constexpr auto kPolygonCuts = makePolygonCuts<Size>();
