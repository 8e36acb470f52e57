#include <velmo/io/MxFileArray.h>

#include <algorithm>

namespace {

template <class Word>
Word reversed(Word word)
{
  if constexpr (sizeof(Word) == 2)
    return __builtin_bswap16(word);
  else if constexpr (sizeof(Word) == 4)
    return __builtin_bswap32(word);
  else
    return __builtin_bswap64(word);
}

template <class Word>
void copyReversed(std::byte* to, const std::byte* from, std::size_t count)
{
  for (std::size_t i = 0; i < count; ++i) {
    Word word;
    std::memcpy(&word, from + i * sizeof(Word), sizeof(Word));
    word = reversed(word);
    std::memcpy(to + i * sizeof(Word), &word, sizeof(Word));
  }
}

} // namespace

void mxCopyNumbers(std::byte* to, const void* from, std::size_t count, std::size_t width, bool swap,
                   bool parallel)
{
  const auto* bytes = static_cast<const std::byte*>(from);
  if ((!swap || width == 1) && bytes == to) return;
  forEachBlock(parallel, count, kFileBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    std::byte* target = to + first * width;
    const std::byte* source = bytes + first * width;
    if (!swap || width == 1)
      std::memcpy(target, source, (last - first) * width);
    else if (width == 2)
      copyReversed<std::uint16_t>(target, source, last - first);
    else if (width == 4)
      copyReversed<std::uint32_t>(target, source, last - first);
    else
      copyReversed<std::uint64_t>(target, source, last - first);
  });
}

void mxCopyNarrowed(std::int32_t* to, const void* from, std::size_t count, bool swap, bool parallel)
{
  const auto* bytes = static_cast<const std::byte*>(from);
  const auto copy = [&](std::size_t first, std::size_t last, auto turn) {
    for (std::size_t i = first; i < last; ++i) {
      std::uint64_t word;
      std::memcpy(&word, bytes + i * sizeof word, sizeof word);
      word = turn(word);
      to[i] = word <= kNarrowLimit ? static_cast<std::int32_t>(word) : -1;
    }
  };
  forEachBlock(parallel, count, kFileBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    if (swap)
      copy(first, last, [](std::uint64_t word) { return reversed(word); });
    else
      copy(first, last, [](std::uint64_t word) { return word; });
  });
}

MxFileArray mxWidened(const MxFileArray& indices)
{
  if (indices.type != MiScalarType::Int32) return indices;
  auto wide = MxFileArray::of<std::int64_t>(indices.size);
  const auto from = indices.span<const std::int32_t>();
  std::copy(from.begin(), from.end(), wide.as<std::int64_t>());
  return wide;
}

MxFileArray mxAsIndices(const MxFileArray& integers)
{
  using S = MiScalarType;
  const auto copied = [&](auto wide) {
    auto result = MxFileArray::of<decltype(wide)>(integers.size);
    visitNumbers(integers, [&](auto values) {
      std::transform(values.begin(), values.end(), result.template as<decltype(wide)>(),
                     [](auto value) { return static_cast<decltype(wide)>(value); });
    });
    return result;
  };
  switch (integers.type) {
  case S::Int32:
  case S::Int64:
    return integers;
  case S::UInt32:
  case S::UInt64:
    return copied(std::int64_t{});
  default:
    return copied(std::int32_t{});
  }
}

MxFileArray mxGather(const MxFileArray& array, std::size_t components,
                     std::span<const std::size_t> source, bool parallel)
{
  MxFileArray result(array.type, source.size() * components);
  const std::size_t width = components * scalarSize(array.type);
  forEachBlock(
      parallel, source.size(), kFileBlock, [&](std::size_t, std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i)
          std::memcpy(result.data.get() + i * width, array.data.get() + source[i] * width, width);
      });
  return result;
}
