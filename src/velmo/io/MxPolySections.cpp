#include <velmo/io/MxPolySections.h>

#include <algorithm>

namespace {

std::uint8_t typeOf(std::size_t section, std::size_t nodes)
{
  constexpr std::uint8_t kPolyVertex = 2, kTriangleStrip = 6;
  using S = MiCellShape;
  switch (section) {
  case 0:
    return nodes == 1 ? static_cast<std::uint8_t>(S::Vertex) : kPolyVertex;
  case 1:
    return static_cast<std::uint8_t>(nodes == 2 ? S::Line : S::Polyline);
  case 2:
    return static_cast<std::uint8_t>(nodes == 3 ? S::Triangle : nodes == 4 ? S::Quad : S::Polygon);
  default:
    return kTriangleStrip;
  }
}

/// Appends indices, moved on by `shift`, to an array of 64-bit ones.
void append(std::int64_t*& to, const MxFileArray& from, std::size_t skip, std::size_t count,
            std::size_t shift, bool parallel)
{
  visitIndices(from, [&](auto values) {
    forEachBlock(
        parallel, count, kFileBlock, [&](std::size_t, std::size_t first, std::size_t last) {
          for (std::size_t i = first; i < last; ++i)
            // In 64 bits without a sign, as damaged numbers may be as large as they like.
            to[i] = static_cast<std::int64_t>(static_cast<std::uint64_t>(values[skip + i]) + shift);
        });
  });
  to += count;
}

} // namespace

MxFileCells mxJoinSections(std::array<MxFileCells, 4> sections, bool parallel)
{
  MxFileCells result;
  std::size_t nodes = 0, last = 0, filled = 0;
  for (std::size_t s = 0; s < sections.size(); ++s)
    if (sections[s].count > 0) {
      result.count += sections[s].count;
      nodes += sections[s].connectivity.size;
      last = s;
      ++filled;
    }
  if (filled == 0) return result;

  result.types = MxFileArray::of<std::uint8_t>(result.count);
  std::uint8_t* types = result.types.as<std::uint8_t>();
  for (std::size_t s = 0; s < sections.size(); ++s) {
    const std::size_t count = sections[s].count;
    if (count == 0) continue;
    visitIndices(sections[s].offsets, [&](auto offsets) {
      forEachBlock(parallel, count, kFileBlock, [&](std::size_t, std::size_t from, std::size_t to) {
        for (std::size_t c = from; c < to; ++c)
          types[c] = typeOf(s, static_cast<std::size_t>(offsets[c + 1] - offsets[c]));
      });
    });
    types += count;
  }
  if (filled == 1) {
    result.offsets = std::move(sections[last].offsets);
    result.connectivity = std::move(sections[last].connectivity);
    return result;
  }
  result.offsets = MxFileArray::of<std::int64_t>(result.count + 1);
  result.connectivity = MxFileArray::of<std::int64_t>(nodes);
  auto* offsets = result.offsets.as<std::int64_t>();
  auto* connectivity = result.connectivity.as<std::int64_t>();
  *offsets++ = 0;
  std::size_t shift = 0;
  for (const MxFileCells& section : sections) {
    if (section.count == 0) continue;
    append(offsets, section.offsets, 1, section.count, shift, parallel);
    append(connectivity, section.connectivity, 0, section.connectivity.size, 0, parallel);
    shift += section.connectivity.size;
  }
  return result;
}
