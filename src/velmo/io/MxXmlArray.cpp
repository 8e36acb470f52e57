#include <velmo/base/MxArray.h>
#include <velmo/io/MxBase64.h>
#include <velmo/io/MxNumberText.h>
#include <velmo/io/MxXmlArray.h>

#include <algorithm>
#include <atomic>
#include <vector>

/// The bytes of an array, encoded or not.
class MxXmlArrayReader::Source
{
public:
  Source(std::string_view text, bool base64)
      : m_base64(base64), m_stream(text.data(), text.data() + text.size()), m_raw(text)
  {}

  /// Bytes that can still come, or a few more.
  std::size_t atMost() const { return m_base64 ? m_stream.left() / 4 * 3 + 6 : m_raw.size(); }
  bool isRaw() const { return !m_base64; }
  /// Small parts.
  bool read(std::byte* to, std::size_t count)
  {
    if (m_base64) return m_stream.read(to, count, false) == count;
    const char* from = take(count);
    if (from) std::memcpy(to, from, count);
    return from != nullptr;
  }
  bool decode(std::byte* to, std::size_t count, bool parallel)
  {
    return m_stream.read(to, count, parallel) == count;
  }
  /// `count` bytes where they lie, decoded into `room` when need be; null when there are fewer.
  const char* take(std::size_t count, MxArray<std::byte>& room, bool parallel)
  {
    if (!m_base64) return take(count);
    room.resizeUninitialized(std::max<std::size_t>(count, 1));
    return decode(room.data(), count, parallel) ? reinterpret_cast<const char*>(room.data())
                                                : nullptr;
  }

private:
  const char* take(std::size_t count)
  {
    if (count > m_raw.size()) return nullptr;
    const char* first = m_raw.data();
    m_raw.remove_prefix(count);
    return first;
  }

  bool m_base64;
  MxBase64Stream m_stream;
  std::string_view m_raw;
};

/// Where numbers of the file go: into the array in the machine's byte order, wide indices perhaps
/// as narrow ones.
class MxXmlArrayReader::Target
{
public:
  Target(MiScalarType type, bool bigEndian, std::size_t count, const Wish& wish)
      : m_width(scalarSize(type)), m_swap(bigEndian != (std::endian::native == std::endian::big)),
        m_narrow(wish.narrow && (type == MiScalarType::Int64 || type == MiScalarType::UInt64)),
        m_leading(wish.leading),
        m_array(m_narrow ? MiScalarType::Int32 : type, count + wish.leading)
  {
    if (m_leading > 0) std::memset(m_array.data.get(), 0, m_leading * scalarSize(m_array.type));
  }

  /// True when the file's bytes fit in place; they are put right by swap().
  bool isDirect() const { return !m_narrow; }
  std::byte* room(std::size_t byte) const
  {
    return m_array.data.get() + m_leading * m_width + byte;
  }
  void swap(std::size_t firstByte, std::size_t bytes) const
  {
    mxCopyNumbers(room(firstByte), room(firstByte), bytes / m_width, m_width, m_swap, false);
  }
  bool mustSwap() const { return m_swap && m_width > 1; }
  std::size_t width() const { return m_width; }

  void put(std::size_t firstNumber, const void* from, std::size_t count, bool parallel) const
  {
    if (m_narrow)
      mxCopyNarrowed(m_array.as<std::int32_t>() + m_leading + firstNumber, from, count, m_swap,
                     parallel);
    else
      mxCopyNumbers(room(firstNumber * m_width), from, count, m_width, m_swap, parallel);
  }

  MxFileArray take(bool asIndices) const { return asIndices ? mxAsIndices(m_array) : m_array; }

private:
  std::size_t m_width;
  bool m_swap, m_narrow;
  std::size_t m_leading;
  MxFileArray m_array;
};

void MxXmlArrayReader::fail(const MxXmlArray& array, const std::string& problem) const
{
  m_file.failAtLine(array.tag, "<DataArray Name=" + mxQuoted(array.name, '"') + ">: " + problem);
}

MxFileArray MxXmlArrayReader::read(const MxXmlArray& array, const Wish& wish) const
{
  if (!array.type) fail(array, "the type " + mxQuoted(array.typeName) + " is not known");
  if (wish.asIndices && !isInteger(*array.type)) fail(array, "cells need whole numbers");
  if (wish.numbers && *wish.numbers == 0)
    return Target(*array.type, bigEndian, 0, wish).take(wish.asIndices);

  if (array.format == "ascii") {
    if (!array.content.empty()) mxReport(m_request, m_file, array.content.data());
    return readText(array, wish);
  }
  Source source = open(array);
  return codec == MxCodec::None ? readPlain(array, source, wish) : readPacked(array, source, wish);
}

MxXmlArrayReader::Source MxXmlArrayReader::open(const MxXmlArray& array) const
{
  std::string_view text = array.content;
  bool base64 = true;
  if (array.format == "appended") {
    std::uint64_t offset = 0;
    if (!mxParseNumber(array.offset, offset))
      fail(array, "the offset " + mxQuoted(array.offset) + " is no number");
    if (offset >= appended.size())
      fail(array, "the offset " + array.offset + " lies beyond the appended data");
    text = appended.substr(static_cast<std::size_t>(offset));
    base64 = appendedBase64;
  } else if (array.format != "binary") {
    fail(array, "the format " + mxQuoted(array.format) + " is not known");
  }
  if (!text.empty()) mxReport(m_request, m_file, text.data());
  return {text, base64};
}

MxFileArray MxXmlArrayReader::readText(const MxXmlArray& array, const Wish& wish) const
{
  const char* at = array.content.data();
  const char* const end = at + array.content.size();
  const std::string what = "<DataArray Name=" + mxQuoted(array.name, '"') + ">";
  const std::size_t words =
      wish.numbers ? *wish.numbers : mxCountWords(at, end, m_request.parallel);
  const MxFileArray read =
      mxReadNumbers(m_file, at, end, *array.type, words, what, m_request.parallel);
  if (!mxNextWord(at, end).empty())
    fail(array, "has more than the " + std::to_string(words) + " numbers that are needed");
  if (wish.leading == 0 && !wish.narrow) return wish.asIndices ? mxAsIndices(read) : read;
  constexpr bool kBig = std::endian::native == std::endian::big;
  const Target target(*array.type, kBig, words, wish);
  if (words > 0) target.put(0, read.data.get(), words, m_request.parallel);
  return target.take(wish.asIndices);
}

std::size_t MxXmlArrayReader::headerWord(const MxXmlArray& array, Source& source) const
{
  std::byte word[8] = {};
  const std::size_t width = longHeaders ? 8 : 4;
  if (!source.read(word, width)) fail(array, "the data ends within its header");
  std::size_t value = 0;
  for (std::size_t i = 0; i < width; ++i)
    value = value << 8 | std::to_integer<std::size_t>(word[bigEndian ? i : width - 1 - i]);
  return value;
}

void MxXmlArrayReader::checkSize(const MxXmlArray& array, std::size_t bytes, const Wish& wish) const
{
  const std::size_t width = scalarSize(*array.type);
  if (bytes % width != 0 || (wish.numbers && bytes / width != *wish.numbers))
    fail(array, "the data has " + std::to_string(bytes) + " bytes" +
                    (wish.numbers ? ", " + std::to_string(*wish.numbers) + " numbers of " +
                                        std::to_string(width) + " bytes are needed"
                                  : ", which is no whole count of numbers"));
}

MxFileArray MxXmlArrayReader::readPlain(const MxXmlArray& array, Source& source,
                                        const Wish& wish) const
{
  const bool parallel = m_request.parallel;
  const std::size_t bytes = headerWord(array, source);
  if (bytes > source.atMost())
    fail(array, "the data should have " + std::to_string(bytes) + " bytes, but fewer follow");
  checkSize(array, bytes, wish);
  const Target target(*array.type, bigEndian, bytes / scalarSize(*array.type), wish);
  if (bytes == 0) return target.take(wish.asIndices);
  if (!source.isRaw() && target.isDirect()) {
    if (!source.decode(target.room(0), bytes, parallel))
      fail(array, "the data ends too early or is damaged");
    target.put(0, target.room(0), bytes / target.width(), parallel);
    return target.take(wish.asIndices);
  }
  MxArray<std::byte> room;
  const char* from = source.take(bytes, room, parallel);
  if (!from) fail(array, "the data ends too early or is damaged");
  target.put(0, from, bytes / target.width(), parallel);
  return target.take(wish.asIndices);
}

/// The blocks of compressed data.
struct MxXmlArrayReader::Blocks
{
  std::size_t count = 0, bytes = 0, partial = 0; ///< of a block, and of the last one
  std::size_t total = 0;
  std::vector<std::size_t> starts; ///< where each begins, packed; one more for the end
  const char* packed = nullptr;

  std::size_t sizeOf(std::size_t block) const
  {
    return block + 1 == count && partial > 0 ? partial : bytes;
  }
  bool unpack(MxCodec codec, std::size_t block, std::byte* to) const
  {
    return mxUnpack(codec, packed + starts[block], starts[block + 1] - starts[block], to,
                    sizeOf(block));
  }
};

void MxXmlArrayReader::failDamaged(const MxXmlArray& array, const std::string& what) const
{
  fail(array, "the compressed data is damaged: " + what);
}

/// @param room  keeps what has to be decoded before it can be unpacked
MxXmlArrayReader::Blocks MxXmlArrayReader::openBlocks(const MxXmlArray& array, Source& source,
                                                      MxArray<std::byte>& room,
                                                      const Wish& wish) const
{
  const auto damaged = [&](const std::string& what) { failDamaged(array, what); };
  Blocks blocks;
  blocks.count = headerWord(array, source);
  if (blocks.count == 0) {
    checkSize(array, 0, wish);
    return blocks;
  }
  blocks.bytes = headerWord(array, source);
  blocks.partial = headerWord(array, source);
  if (blocks.count > source.atMost() / 4) damaged("too many blocks");
  if (blocks.partial > blocks.bytes || blocks.bytes == 0) damaged("block sizes");

  std::vector<std::size_t>& starts = blocks.starts;
  starts.assign(blocks.count + 1, 0);
  for (std::size_t block = 0; block < blocks.count; ++block) {
    const std::size_t packed = headerWord(array, source);
    if (packed > source.atMost() || starts[block] + packed > source.atMost())
      damaged("the blocks are longer than the file");
    if (blocks.sizeOf(block) / mxMostInflation(codec) > packed)
      damaged("a block is too short for its contents");
    starts[block + 1] = starts[block] + packed;
    blocks.total += blocks.sizeOf(block);
  }
  if (starts.back() > source.atMost()) damaged("the blocks are longer than the file");
  checkSize(array, blocks.total, wish);
  blocks.packed = source.take(starts.back(), room, m_request.parallel);
  if (!blocks.packed) damaged("it ends too early or has foreign characters");
  return blocks;
}

MxFileArray MxXmlArrayReader::readPacked(const MxXmlArray& array, Source& source,
                                         const Wish& wish) const
{
  const bool parallel = m_request.parallel;
  MxArray<std::byte> decoded;
  const Blocks blocks = openBlocks(array, source, decoded, wish);
  const std::size_t total = blocks.total;
  const Target target(*array.type, bigEndian, total / scalarSize(*array.type), wish);
  if (total == 0) return target.take(wish.asIndices);
  // Block by block while its bytes are near, unless a number lies across two blocks.
  const bool whole = blocks.bytes % target.width() == 0;
  const bool direct = target.isDirect();
  MxArray<std::byte> all;
  if (!direct && !whole) all.resizeUninitialized(total);
  std::vector<std::uint8_t> good(blocks.count, 0);
  forEachTask(parallel && total > kFileBlock, blocks.count, [&](std::size_t block) {
    const std::size_t first = block * blocks.bytes, size = blocks.sizeOf(block);
    thread_local MxArray<std::byte> t_room;
    std::byte* to = direct ? target.room(first) : nullptr;
    if (!direct && whole) {
      t_room.resizeUninitialized(size);
      to = t_room.data();
    } else if (!direct) {
      to = all.data() + first;
    }
    good[block] = blocks.unpack(codec, block, to);
    if (!good[block] || !whole) return;
    if (!direct)
      target.put(first / target.width(), to, size / target.width(), false);
    else if (target.mustSwap())
      target.swap(first, size);
  });
  const auto bad = std::find(good.begin(), good.end(), 0);
  if (bad != good.end()) failDamaged(array, "block " + std::to_string(bad - good.begin()));
  if (!whole) target.put(0, direct ? target.room(0) : all.data(), total / target.width(), parallel);
  return target.take(wish.asIndices);
}

namespace {

/// The first of some numbers of the file if each is the one before it plus `step`; others answer
/// nothing. They are compared in 64 bits without a sign, as they may be anything.
std::optional<std::uint64_t> firstOfEvenIn(MiScalarType type, const char* from, std::size_t count,
                                           std::uint64_t step)
{
  return visitScalarType(type, [&](auto scalar) -> std::optional<std::uint64_t> {
    using T = decltype(scalar);
    if constexpr (std::is_integral_v<T>) {
      const auto at = [&](std::size_t i) {
        T value;
        std::memcpy(&value, from + i * sizeof(T), sizeof(T));
        return static_cast<std::uint64_t>(value);
      };
      const std::uint64_t first = at(0);
      bool even = true;
      for (std::size_t i = 0; i < count; ++i)
        even &= at(i) == first + i * step;
      if (even) return first;
    }
    return {};
  });
}

} // namespace

std::optional<std::int64_t>
MxXmlArrayReader::firstOfEven(const MxXmlArray& array, std::size_t count, std::int64_t step) const
{
  // Text and base64 are read once, and bytes in the other order are rare.
  const bool isRaw = array.format == "appended" && !appendedBase64;
  const bool isNative = !bigEndian == (std::endian::native == std::endian::little);
  if (count == 0 || !isRaw || !isNative || !array.type || !isInteger(*array.type)) return {};
  Source source = open(array);
  const std::size_t width = scalarSize(*array.type);
  const bool parallel = m_request.parallel;
  const auto wide = static_cast<std::uint64_t>(step);
  MxArray<std::byte> room;
  Blocks blocks;
  if (codec == MxCodec::None) {
    // As blocks that are not packed.
    blocks.total = headerWord(array, source);
    checkSize(array, blocks.total, {.numbers = count});
    blocks.packed = source.take(blocks.total, room, parallel);
    if (!blocks.packed) fail(array, "the data ends too early or is damaged");
    blocks.bytes = kFileBlock * width;
    blocks.count = blockCount(blocks.total, blocks.bytes);
    blocks.partial = blocks.total % blocks.bytes;
  } else {
    blocks = openBlocks(array, source, room, {.numbers = count});
    if (blocks.bytes % width != 0) return {};
  }
  std::vector<std::optional<std::uint64_t>> firsts(blocks.count);
  std::atomic<bool> even = true;
  forEachTask(parallel && blocks.total > kFileBlock, blocks.count, [&](std::size_t block) {
    if (!even.load(std::memory_order_relaxed)) return;
    const std::size_t first = block * blocks.bytes, size = blocks.sizeOf(block);
    const char* from = blocks.packed + first;
    if (codec != MxCodec::None) {
      thread_local MxArray<std::byte> t_room;
      t_room.resizeUninitialized(size);
      if (!blocks.unpack(codec, block, t_room.data()))
        return even.store(false, std::memory_order_relaxed);
      from = reinterpret_cast<const char*>(t_room.data());
    }
    firsts[block] = firstOfEvenIn(*array.type, from, size / width, wide);
    if (!firsts[block]) return even.store(false, std::memory_order_relaxed);
    *firsts[block] -= first / width * wide;
  });
  const bool all = even && std::all_of(firsts.begin(), firsts.end(),
                                       [&](const auto& first) { return first == firsts[0]; });
  return all ? std::optional(static_cast<std::int64_t>(*firsts[0])) : std::nullopt;
}
