#pragma once

#include <velmo/base/MxArray.h>

#include <atomic>
#include <bit>
#include <cstdint>

/// The bits of a word. Written out, because the portable instruction set has none for it and most
/// words here are empty or full.
inline std::size_t countBits(std::uint64_t word)
{
  if (word == 0) return 0;
  word -= word >> 1 & 0x5555555555555555u;
  word = (word & 0x3333333333333333u) + (word >> 2 & 0x3333333333333333u);
  word = (word + (word >> 4)) & 0x0f0f0f0f0f0f0f0fu;
  return static_cast<std::size_t>(word * 0x0101010101010101u >> 56);
}

// For loops that count bits with __builtin_popcountll: also compiled for processors that have an
// instruction for it; the loader chooses. What they call must be inlined into them.
#if defined(__x86_64__) && defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) &&                 \
    !defined(__SANITIZE_THREAD__)
#define MX_WITH_BIT_COUNT __attribute__((target_clones("popcnt", "default")))
#else
#define MX_WITH_BIT_COUNT
#endif

/// A set of numbers below a count, one bit each; empty means that nothing was ever put in.
class MxBits
{
public:
  MxBits() = default;
  /// `count` bits, all zero.
  explicit MxBits(std::size_t count) { m_words.resizeZeroed((count + 63) / 64); }

  bool empty() const { return m_words.empty(); }
  bool test(std::size_t i) const { return m_words[i / 64] >> (i % 64) & 1; }
  void set(std::size_t i) { m_words[i / 64] |= std::uint64_t{1} << (i % 64); }
  /// As set, while other threads do the same.
  void setShared(std::size_t i)
  {
    const std::uint64_t bit = std::uint64_t{1} << (i % 64);
    std::atomic_ref<std::uint64_t> word(m_words[i / 64]);
    if (!(word.load(std::memory_order_relaxed) & bit))
      word.fetch_or(bit, std::memory_order_relaxed);
  }
  MxArray<std::uint64_t>& words() { return m_words; }
  const MxArray<std::uint64_t>& words() const { return m_words; }

private:
  MxArray<std::uint64_t> m_words;
};

/// Calls body(i) for every bit of the word, lowest first, i counted from `first`.
template <class Body>
void forEachBit(std::uint64_t word, std::size_t first, const Body& body)
{
  for (; word; word &= word - 1)
    body(first + static_cast<std::size_t>(std::countr_zero(word)));
}
