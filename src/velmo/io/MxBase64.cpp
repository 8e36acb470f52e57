#include <velmo/base/MxParallel.h>
#include <velmo/io/MxBase64.h>
#include <velmo/io/MxNumberText.h>

#include <array>
#include <atomic>

namespace {

constexpr std::uint8_t kNotBase64 = 255;
/// Groups of four characters that a task decodes.
constexpr std::size_t kGroups = std::size_t{1} << 15;

constexpr std::array<std::uint8_t, 256> makeTable()
{
  std::array<std::uint8_t, 256> table{};
  for (std::uint8_t& value : table)
    value = kNotBase64;
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t i = 0; i < kAlphabet.size(); ++i)
    table[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  return table;
}
constexpr std::array<std::uint8_t, 256> kCodes = makeTable();

unsigned code(char c)
{
  return kCodes[static_cast<unsigned char>(c)];
}

void store(std::byte* to, unsigned bits)
{
  to[0] = static_cast<std::byte>(bits >> 16);
  to[1] = static_cast<std::byte>(bits >> 8);
  to[2] = static_cast<std::byte>(bits);
}

/// Groups of plain characters; stops at blanks, padding and what is foreign.
std::size_t decodeGroups(const char* from, std::byte* to, std::size_t groups)
{
  for (std::size_t group = 0; group < groups; ++group, from += 4, to += 3) {
    const unsigned a = code(from[0]), b = code(from[1]), c = code(from[2]), d = code(from[3]);
    if ((a | b | c | d) & 0xC0) return group;
    store(to, a << 18 | b << 12 | c << 6 | d);
  }
  return groups;
}

} // namespace

/// All groups at once, from several threads; nothing is taken when any has another character.
bool MxBase64Stream::readClean(std::byte* to, std::size_t groups, bool parallel)
{
  if (!parallel || groups < 2 * kGroups) return false;
  std::atomic<bool> clean = true;
  forEachBlock(true, groups, kGroups, [&](std::size_t, std::size_t first, std::size_t last) {
    if (clean.load(std::memory_order_relaxed) &&
        decodeGroups(m_at + 4 * first, to + 3 * first, last - first) != last - first)
      clean.store(false, std::memory_order_relaxed);
  });
  if (!clean) return false;
  m_at += 4 * groups;
  return true;
}

std::size_t MxBase64Stream::read(std::byte* to, std::size_t count, bool parallel)
{
  std::size_t done = 0;
  while (done < count) {
    if (m_next < m_held) {
      to[done++] = m_pending[m_next++];
      continue;
    }
    const std::size_t groups = std::min((count - done) / 3, left() / 4);
    if (readClean(to + done, groups, parallel)) {
      done += 3 * groups;
    } else {
      parallel = false; // lines or damage: one thread does the rest
      const std::size_t clean = decodeGroups(m_at, to + done, groups);
      m_at += 4 * clean;
      done += 3 * clean;
    }
    if (done < count && !fill()) break;
  }
  return done;
}

/// The next group of four into m_pending.
bool MxBase64Stream::fill()
{
  unsigned codes[4] = {};
  std::size_t have = 0, padding = 0;
  for (; m_at < m_end && have + padding < 4; ++m_at) {
    if (isBlank(*m_at)) continue;
    if (*m_at == '=' && have >= 2) {
      ++padding;
      continue;
    }
    const unsigned value = code(*m_at);
    if (value == kNotBase64 || padding > 0) return false;
    codes[have++] = value;
  }
  if (have + padding < 4) return false;
  store(m_pending, codes[0] << 18 | codes[1] << 12 | codes[2] << 6 | codes[3]);
  m_held = 3 - padding;
  m_next = 0;
  return true;
}
