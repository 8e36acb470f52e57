#include <velmo/io/MxNumberText.h>

#include <velmo/base/MxParallel.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

constexpr std::size_t kTextBlock = std::size_t{1} << 17;
constexpr std::size_t kBlocksAtOnce = 64;
constexpr std::size_t kParallelNumbers = 20000;

/// Words that begin in [first, last); `begin` is where the text begins.
std::size_t countWordStarts(const char* begin, const char* first, const char* last)
{
  if (first == last) return 0;
  std::size_t count = !isBlank(*first) && (first == begin || isBlank(first[-1]));
  for (const char* p = first + 1; p < last; ++p)
    count += static_cast<std::size_t>(!isBlank(p[0])) & static_cast<std::size_t>(isBlank(p[-1]));
  return count;
}

/// Reads up to `count` numbers; returns how many, and in `bad` the first word that is none.
template <class T>
std::size_t parseRun(const char*& where, const char* end, T* values, std::size_t count,
                     std::string_view& bad)
{
  for (std::size_t i = 0; i < count; ++i) {
    while (where < end && isBlank(*where))
      ++where;
    if (where == end) return i;
    // The usual number ends at a blank; everything else takes the careful way.
    const auto [next, error] = std::from_chars(where, end, values[i]);
    if (error == std::errc() && (next == end || isBlank(*next))) {
      where = next;
      continue;
    }
    const char* after = where;
    const std::string_view word = mxNextWord(after, end);
    if (!mxParseNumber(word, values[i])) {
      bad = word;
      return i;
    }
    where = after;
  }
  return count;
}

template <class T>
void readNumbers(const MxFileBytes& file, const char*& where, const char* end, T* values,
                 std::size_t count, const std::string& what, bool parallel)
{
  const auto refuse = [&](std::string_view bad) {
    file.failAtLine(bad.data(), mxQuoted(bad) + " in " + what + " is not a number of its type");
  };
  std::size_t done = 0;
  if (parallel && count >= kParallelNumbers) {
    struct Block
    {
      const char *first, *last;
      std::size_t begin;
      std::string_view bad;
    };
    const char* const begin = where;
    const char* next = where;
    std::vector<Block> blocks;
    std::vector<std::size_t> starts;
    while (done < count && next < end) {
      blocks.clear();
      for (; next < end && blocks.size() < kBlocksAtOnce;) {
        const char* last = next + std::min(kTextBlock, static_cast<std::size_t>(end - next));
        blocks.push_back({next, last, 0, {}});
        next = last;
      }
      starts.resize(blocks.size());
      forEachTask(true, blocks.size(), [&](std::size_t i) {
        starts[i] = countWordStarts(begin, blocks[i].first, blocks[i].last);
      });
      const std::vector<std::size_t> counts = starts;
      const std::size_t total = exclusivePrefixSum(std::span<std::size_t>(starts));
      forEachTask(true, blocks.size(), [&](std::size_t i) {
        const std::size_t first = done + starts[i];
        if (first >= count) return;
        const std::size_t here = std::min(counts[i], count - first);
        const char* p = blocks[i].first;
        // A word that began in the block before belongs to it.
        if (p > begin && !isBlank(p[-1]))
          while (p < end && !isBlank(*p))
            ++p;
        parseRun(p, end, values + first, here, blocks[i].bad);
        blocks[i].last = p;
      });
      for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (!blocks[i].bad.empty()) refuse(blocks[i].bad);
        if (counts[i] > 0 && done + starts[i] < count) where = blocks[i].last;
      }
      done = std::min(count, done + total);
    }
  } else {
    std::string_view bad;
    done = parseRun(where, end, values, count, bad);
    if (!bad.empty()) refuse(bad);
  }
  if (done < count)
    file.failAtLine(end, what + " ends after " + std::to_string(done) + " of " +
                             std::to_string(count) + " numbers");
}

} // namespace

std::string mxQuoted(std::string_view word, char quote)
{
  std::string text(1, quote);
  for (const char c : word.substr(0, 40))
    text += (c >= ' ' && c < 127) ? c : '?';
  return text + (word.size() > 40 ? "..." : "") + quote;
}

std::string_view mxNextWord(const char*& where, const char* end)
{
  while (where < end && isBlank(*where))
    ++where;
  const char* first = where;
  while (where < end && !isBlank(*where))
    ++where;
  return {first, static_cast<std::size_t>(where - first)};
}

template <class T>
bool mxParseNumber(std::string_view word, T& value)
{
  if (word.size() > 1 && word.front() == '+' && word[1] != '-' && word[1] != '+')
    word.remove_prefix(1);
  const char* const end = word.data() + word.size();
  const auto [next, error] = std::from_chars(word.data(), end, value);
  if (error == std::errc() && next == end && !word.empty()) return true;
  if constexpr (std::is_floating_point_v<T>) {
    if (error != std::errc::result_out_of_range || next != end) return false;
    const double wide = std::strtod(std::string(word).c_str(), nullptr);
    constexpr auto kMost = static_cast<double>(std::numeric_limits<T>::max());
    value = std::abs(wide) <= kMost ? static_cast<T>(wide)
                                    : std::copysign(std::numeric_limits<T>::infinity(),
                                                    static_cast<T>(wide < 0 ? -1 : 1));
    return true;
  } else {
    double wide = 0;
    if (!mxParseNumber(word, wide) || wide != std::floor(wide)) return false;
    // Doubles hold every smaller whole number exactly.
    constexpr double kExact = 9007199254740992.0;
    if (std::abs(wide) > kExact || wide < static_cast<double>(std::numeric_limits<T>::min()) ||
        wide > static_cast<double>(std::numeric_limits<T>::max()))
      return false;
    value = static_cast<T>(wide);
    return true;
  }
}

template bool mxParseNumber(std::string_view, float&);
template bool mxParseNumber(std::string_view, double&);
template bool mxParseNumber(std::string_view, std::int8_t&);
template bool mxParseNumber(std::string_view, std::uint8_t&);
template bool mxParseNumber(std::string_view, std::int16_t&);
template bool mxParseNumber(std::string_view, std::uint16_t&);
template bool mxParseNumber(std::string_view, std::int32_t&);
template bool mxParseNumber(std::string_view, std::uint32_t&);
template bool mxParseNumber(std::string_view, std::int64_t&);
template bool mxParseNumber(std::string_view, std::uint64_t&);

bool mxParseReal(std::string_view word, double& value)
{
  if (mxParseNumber(word, value)) return true;
  std::string text(word);
  const std::size_t exponent = text.find_first_of("dD");
  if (exponent == 0 || exponent == text.npos) return false;
  text[exponent] = 'e';
  return mxParseNumber(std::string_view(text), value);
}

MxFileArray mxReadNumbers(const MxFileBytes& file, const char*& where, const char* end,
                          MiScalarType type, std::size_t count, const std::string& what,
                          bool parallel)
{
  const auto left = static_cast<std::size_t>(end - where);
  // A number takes a digit and, but for the last, a blank.
  if (count > left / 2 + 1)
    file.failAtLine(where, what + " should have " + std::to_string(count) + " numbers, but only " +
                               std::to_string(left) + " bytes follow");
  MxFileArray array(type, count);
  visitNumbers(array, [&](auto values) {
    readNumbers(file, where, end, values.data(), count, what, parallel);
  });
  return array;
}

std::size_t mxCountWords(const char* begin, const char* end, bool parallel)
{
  const std::size_t blocks = blockCount(static_cast<std::size_t>(end - begin), kTextBlock);
  std::vector<std::size_t> counts(blocks);
  forEachTask(parallel, blocks, [&](std::size_t block) {
    const char* first = begin + block * kTextBlock;
    counts[block] = countWordStarts(
        begin, first, first + std::min(kTextBlock, static_cast<std::size_t>(end - first)));
  });
  return exclusivePrefixSum(std::span<std::size_t>(counts));
}
