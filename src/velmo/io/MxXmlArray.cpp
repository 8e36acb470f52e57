#include <velmo/base/MxArray.h>
#include <velmo/io/MxNumberText.h>
#include <velmo/io/MxXmlArray.h>

#include <algorithm>
#include <array>
#include <vector>
#include <zlib.h>

namespace {

/// Less than this is inflated in one thread.
constexpr std::size_t kParallelBytes = std::size_t{1} << 17;

constexpr std::uint8_t kNotBase64 = 255;

constexpr std::array<std::uint8_t, 256> makeBase64Table()
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
constexpr std::array<std::uint8_t, 256> kBase64 = makeBase64Table();

/// Base64 as a stream of bytes. Padding in the middle is allowed: a header may have been encoded on
/// its own.
class Base64Stream
{
public:
  Base64Stream(const char* begin, const char* end) : m_at(begin), m_end(end) {}

  /// @return the number of bytes read, fewer than `count` at the end or at a foreign character
  std::size_t read(std::byte* to, std::size_t count)
  {
    std::size_t done = 0;
    while (done < count) {
      if (m_next < m_held) {
        to[done++] = m_pending[m_next++];
        continue;
      }
      while (count - done >= 3 && m_end - m_at >= 4) {
        const std::uint8_t a = code(0), b = code(1), c = code(2), d = code(3);
        if ((a | b | c | d) & 0xC0) break; // blanks, padding, foreign
        store(to + done, a, b, c, d);
        done += 3;
        m_at += 4;
      }
      if (done < count && !fill()) break;
    }
    return done;
  }

  /// Characters that are left, blanks included.
  std::size_t left() const { return static_cast<std::size_t>(m_end - m_at); }

private:
  std::uint8_t code(std::size_t i) const { return kBase64[static_cast<unsigned char>(m_at[i])]; }

  static void store(std::byte* to, unsigned a, unsigned b, unsigned c, unsigned d)
  {
    const unsigned bits = a << 18 | b << 12 | c << 6 | d;
    to[0] = static_cast<std::byte>(bits >> 16);
    to[1] = static_cast<std::byte>(bits >> 8);
    to[2] = static_cast<std::byte>(bits);
  }

  /// The next group of four into m_pending.
  bool fill()
  {
    std::uint8_t codes[4] = {};
    std::size_t have = 0, padding = 0;
    for (; m_at < m_end && have + padding < 4; ++m_at) {
      if (isBlank(*m_at)) continue;
      if (*m_at == '=' && have >= 2) {
        ++padding;
        continue;
      }
      const std::uint8_t value = code(0);
      if (value == kNotBase64 || padding > 0) return false;
      codes[have++] = value;
    }
    if (have + padding < 4) return false;
    store(m_pending, codes[0], codes[1], codes[2], codes[3]);
    m_held = 3 - padding;
    m_next = 0;
    return m_held > 0;
  }

  const char* m_at;
  const char* m_end;
  std::byte m_pending[3] = {};
  std::size_t m_held = 0, m_next = 0;
};

} // namespace

/// The bytes of an array, encoded or not.
class MxXmlArrayReader::Source
{
public:
  Source(std::string_view text, bool base64)
      : m_base64(base64), m_stream(text.data(), text.data() + text.size()), m_raw(text)
  {}

  /// Bytes that can still come, or a few more.
  std::size_t atMost() const { return m_base64 ? m_stream.left() / 4 * 3 + 6 : m_raw.size(); }
  bool read(std::byte* to, std::size_t count, bool parallel)
  {
    if (m_base64) return m_stream.read(to, count) == count;
    const char* from = takeRaw(count);
    if (from) mxCopyNumbers(to, from, count, 1, false, parallel);
    return from != nullptr;
  }
  bool isRaw() const { return !m_base64; }
  /// `count` bytes in place, null when there are fewer; raw data only.
  const char* takeRaw(std::size_t count)
  {
    if (count > m_raw.size()) return nullptr;
    const char* first = m_raw.data();
    m_raw.remove_prefix(count);
    return first;
  }

private:
  bool m_base64;
  Base64Stream m_stream;
  std::string_view m_raw;
};

MxFileArray MxXmlArrayReader::read(const MxXmlArray& array, std::optional<std::size_t> numbers,
                                   std::size_t leading) const
{
  if (!array.type)
    m_file.fail(array.place, "the type " + mxQuoted(array.typeName) + " is not known");
  if (numbers && *numbers == 0) return allocate(array, 0, numbers, leading);
  if (array.format == "ascii") return readText(array, numbers, leading);

  std::string_view text = array.content;
  bool base64 = true;
  if (array.format == "appended") {
    std::uint64_t offset = 0;
    if (!mxParseNumber(array.offset, offset))
      m_file.fail(array.place, "the offset " + mxQuoted(array.offset) + " is no number");
    if (offset >= appended.size())
      m_file.fail(array.place, "the offset " + array.offset + " lies beyond the appended data");
    text = appended.substr(static_cast<std::size_t>(offset));
    base64 = appendedBase64;
  } else if (array.format != "binary") {
    m_file.fail(array.place, "the format " + mxQuoted(array.format) + " is not known");
  }
  Source source(text, base64);
  return compressor.empty() ? readPlain(array, source, numbers, leading)
                            : readCompressed(array, source, numbers, leading);
}

MxFileArray MxXmlArrayReader::readText(const MxXmlArray& array, std::optional<std::size_t> numbers,
                                       std::size_t leading) const
{
  const char* at = array.content.data();
  const char* const end = at + array.content.size();
  const std::size_t words = mxCountWords(at, end, m_parallel);
  const MxFileArray read =
      mxReadNumbers(m_file, at, end, *array.type, words, array.place, m_parallel);
  MxFileArray result = leading == 0 && (!numbers || *numbers == words)
                           ? read
                           : allocate(array, words * scalarSize(*array.type), numbers, leading);
  if (result.data != read.data && words > 0)
    std::memcpy(result.data.get() + leading * scalarSize(result.type), read.data.get(),
                read.byteCount());
  return result;
}

std::size_t MxXmlArrayReader::headerWord(const MxXmlArray& array, Source& source) const
{
  std::byte word[8] = {};
  const std::size_t width = longHeaders ? 8 : 4;
  if (!source.read(word, width, false)) m_file.fail(array.place, "the data ends within its header");
  std::size_t value = 0;
  for (std::size_t i = 0; i < width; ++i)
    value = value << 8 | std::to_integer<std::size_t>(word[bigEndian ? i : width - 1 - i]);
  return value;
}

/// Room for `bytes` bytes of numbers after the leading zeros.
MxFileArray MxXmlArrayReader::allocate(const MxXmlArray& array, std::size_t bytes,
                                       std::optional<std::size_t> numbers,
                                       std::size_t leading) const
{
  const std::size_t width = scalarSize(*array.type);
  if (bytes % width != 0 || (numbers && bytes / width != *numbers))
    m_file.fail(array.place, "the data has " + std::to_string(bytes) + " bytes" +
                                 (numbers ? ", " + std::to_string(*numbers) + " numbers of " +
                                                std::to_string(width) + " bytes are needed"
                                          : ", which is no whole count of numbers"));
  MxFileArray result(*array.type, bytes / width + leading);
  if (leading > 0) std::memset(result.data.get(), 0, leading * width);
  return result;
}

MxFileArray MxXmlArrayReader::readPlain(const MxXmlArray& array, Source& source,
                                        std::optional<std::size_t> numbers,
                                        std::size_t leading) const
{
  const std::size_t bytes = headerWord(array, source);
  if (bytes > source.atMost())
    m_file.fail(array.place,
                "the data should have " + std::to_string(bytes) + " bytes, but fewer follow");
  MxFileArray result = allocate(array, bytes, numbers, leading);
  const std::size_t width = scalarSize(result.type), count = bytes / width;
  std::byte* const to = result.data.get() + leading * width;
  const bool swap = bigEndian != (std::endian::native == std::endian::big);
  const char* raw = source.isRaw() ? source.takeRaw(bytes) : nullptr;
  if (raw)
    mxCopyNumbers(to, raw, count, width, swap, m_parallel);
  else if (bytes > 0 && !source.read(to, bytes, m_parallel))
    m_file.fail(array.place, "the data ends too early or is damaged");
  else
    mxCopyNumbers(to, to, count, width, swap, m_parallel);
  return result;
}

MxFileArray MxXmlArrayReader::readCompressed(const MxXmlArray& array, Source& source,
                                             std::optional<std::size_t> numbers,
                                             std::size_t leading) const
{
  const auto damaged = [&](const std::string& what) {
    m_file.fail(array.place, "the compressed data is damaged: " + what);
  };
  const std::size_t blocks = headerWord(array, source);
  if (blocks == 0) return allocate(array, 0, numbers, leading);
  const std::size_t blockBytes = headerWord(array, source);
  const std::size_t partial = headerWord(array, source);
  if (blocks > source.atMost() / 4) damaged("too many blocks");
  if (partial > blockBytes || blockBytes == 0) damaged("block sizes");

  // zlib makes a byte out of nothing less than 1/1032 of one.
  constexpr std::size_t kMostInflation = 1032;
  std::vector<std::size_t> starts(blocks + 1, 0);
  const auto sizeOf = [&](std::size_t block) {
    return block + 1 == blocks && partial > 0 ? partial : blockBytes;
  };
  std::size_t total = 0;
  for (std::size_t block = 0; block < blocks; ++block) {
    const std::size_t packed = headerWord(array, source);
    if (packed > source.atMost() || starts[block] + packed > source.atMost())
      damaged("the blocks are longer than the file");
    if (sizeOf(block) / kMostInflation > packed) damaged("a block is too short for its contents");
    starts[block + 1] = starts[block] + packed;
    total += sizeOf(block);
  }
  if (starts[blocks] > source.atMost()) damaged("the blocks are longer than the file");

  MxArray<std::byte> decoded;
  const char* packed = nullptr;
  if (source.isRaw()) {
    packed = source.takeRaw(starts[blocks]);
  } else {
    decoded.resizeUninitialized(starts[blocks]);
    if (source.read(decoded.data(), decoded.size(), m_parallel))
      packed = reinterpret_cast<const char*>(decoded.data());
  }
  if (!packed && starts[blocks] > 0) damaged("it ends too early or has foreign characters");

  MxFileArray result = allocate(array, total, numbers, leading);
  const std::size_t width = scalarSize(result.type);
  std::byte* const to = result.data.get() + leading * width;
  std::vector<std::uint8_t> good(blocks, 0);
  const auto inflateBlock = [&](std::size_t block) {
    uLongf size = sizeOf(block);
    good[block] = ::uncompress(reinterpret_cast<Bytef*>(to + block * blockBytes), &size,
                               reinterpret_cast<const Bytef*>(packed + starts[block]),
                               starts[block + 1] - starts[block]) == Z_OK &&
                  size == sizeOf(block);
  };
  if (m_parallel && blocks > 1 && total >= kParallelBytes)
    tbb::parallel_for(std::size_t{0}, blocks, inflateBlock);
  else
    for (std::size_t block = 0; block < blocks; ++block)
      inflateBlock(block);
  const auto bad = std::find(good.begin(), good.end(), 0);
  if (bad != good.end()) damaged("block " + std::to_string(bad - good.begin()));

  const bool swap = bigEndian != (std::endian::native == std::endian::big);
  mxCopyNumbers(to, to, total / width, width, swap, m_parallel);
  return result;
}
