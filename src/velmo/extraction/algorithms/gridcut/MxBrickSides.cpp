#include <velmo/extraction/algorithms/gridcut/MxBrickSides.h>

#include <velmo/extraction/algorithms/gridcut/MxSideTest.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

/// The rows of bricks that have node `n`: two where they meet.
struct RowsOfNode
{
  explicit RowsOfNode(std::size_t n)
      : first(n == 0 ? 0 : (n - 1) / 4), last(std::min(n / 4, std::size_t{3}))
  {}
  std::size_t first, last;
};

} // namespace

void MxBrickSides::listRuns(std::span<const std::uint64_t> candidates)
{
  // The candidates of the 4 x 4 rows of bricks, a bit each.
  std::array<std::uint64_t, 16> bricks{};
  for (std::size_t g = 0; g < candidates.size(); ++g)
    for (std::size_t row = 0; row < 16; ++row)
      bricks[row] |= (candidates[g] >> 4 * row & 15) << 4 * g;

  m_runCount = 0;
  for (std::uint8_t k = 0; k < kRows; ++k)
    for (std::uint8_t j = 0; j < kRows; ++j) {
      const RowsOfNode alongJ(j), alongK(k);
      std::uint64_t wanted = 0;
      for (std::size_t z = alongK.first; z <= alongK.last; ++z)
        for (std::size_t y = alongJ.first; y <= alongJ.last; ++y)
          wanted |= bricks[y + 4 * z];
      while (wanted) {
        const int begin = std::countr_zero(wanted), count = std::countr_one(wanted >> begin);
        wanted &= count == 64 ? 0 : ~(((std::uint64_t{1} << count) - 1) << begin);
        m_runs[m_runCount++] = {static_cast<std::uint8_t>(begin), static_cast<std::uint8_t>(count),
                                j, k};
      }
    }
}

void MxBrickSides::read(const MxGridLevel& level, const MxIjkNumbering& nodes,
                        const MbIndex3& group, std::span<const std::uint64_t> candidates)
{
  listRuns(candidates);
  // Out of the grid nodes are as the last ones in it.
  const auto firstOf = [&](const Run& run) {
    return MbIndex3{16 * group.x + std::size_t{4} * run.brick,
                    std::min(16 * group.y + run.j, nodes.counts.y - 1),
                    std::min(16 * group.z + run.k, nodes.counts.z - 1)};
  };
  constexpr std::size_t kAhead = 6;
  std::array<std::uint8_t, kBricks> bits;
  for (std::size_t r = 0; r < m_runCount; ++r) {
    if (r + kAhead < m_runCount)
      level.announce(firstOf(m_runs[r + kAhead]), m_runs[r + kAhead].count);
    const Run& run = m_runs[r];
    level.classify(firstOf(run), run.count, bits.data());
    std::uint8_t* to = m_bytes.data() + (run.k * kBricks + run.brick) * kStride + run.j;
    for (std::size_t n = 0; n < run.count; ++n)
      to[n * kStride] = bits[n];
  }
}

bool MxBrickSides::get(std::size_t number, std::size_t place, MxBrickBits& below) const
{
  const std::size_t i = 4 * number + place % 4, j = place / 4 % 4, k = place / 16;
  std::uint64_t all = 0;
  for (std::size_t layer = 0; layer < 5; ++layer) {
    std::uint64_t rows;
    std::memcpy(&rows, m_bytes.data() + ((4 * k + layer) * kBricks + i) * kStride + 4 * j, 8);
    if constexpr (std::endian::native == std::endian::big) rows = __builtin_bswap64(rows);
    rows &= 0xffffffffffu; // five rows, a byte each
    all |= rows;
    const std::uint64_t own = rows & 0x0f0f0f0f0fu, pairs = own | own >> 4;
    below.layers[layer] = static_cast<std::uint32_t>((pairs & 0xff) | (pairs >> 8 & 0xff00) |
                                                     (pairs >> 16 & 0xf0000));
    // The fifth bits of the rows, side by side.
    constexpr std::uint64_t kGather = 0x102040810u; // 2^32 + 2^25 + 2^18 + 2^11 + 2^4
    below.columns[layer] =
        static_cast<std::uint8_t>((rows >> 4 & 0x0101010101u) * kGather >> 32 & 31);
  }
  constexpr std::uint64_t kAnyNear = MxSideTest::kNear * std::uint64_t{0x0101010101};
  return !(all & kAnyNear);
}
