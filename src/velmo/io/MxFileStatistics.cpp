#include <velmo/base/MxLength.h>
#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxFileStatistics.h>

#include <algorithm>
#include <cmath>

namespace {

constexpr MbValueRange kNothing{std::numeric_limits<double>::infinity(),
                                -std::numeric_limits<double>::infinity(), 0, 0};

void add(MbValueRange& range, double value)
{
  if (std::isnan(value)) {
    ++range.nanCount;
  } else if (std::isinf(value)) {
    ++range.infiniteCount;
  } else {
    range.min = std::min(range.min, value);
    range.max = std::max(range.max, value);
  }
}

void merge(MbValueRange& range, const MbValueRange& other)
{
  range.min = std::min(range.min, other.min);
  range.max = std::max(range.max, other.max);
  range.nanCount += other.nanCount;
  range.infiniteCount += other.infiniteCount;
}

/// Every `stride`th number of a block.
template <class T>
MbValueRange rangeOf(const T* values, std::size_t count, std::size_t stride)
{
  MbValueRange range = kNothing;
  if (count == 0) return range;
  T low = std::numeric_limits<T>::max(), high = std::numeric_limits<T>::lowest();
  bool finite = true;
  for (std::size_t i = 0; i < count; ++i) {
    const T value = values[i * stride];
    low = value < low ? value : low;
    high = value > high ? value : high;
    if constexpr (std::is_floating_point_v<T>) finite &= value - value == 0;
  }
  if (finite) {
    range.min = static_cast<double>(low);
    range.max = static_cast<double>(high);
  } else {
    for (std::size_t i = 0; i < count; ++i)
      add(range, static_cast<double>(values[i * stride]));
  }
  return range;
}

template <class T>
MbValueRange magnitudeRangeOf(const T* values, std::size_t count)
{
  // Squares of very large and very small numbers leave the range of double; those blocks are slow.
  constexpr double kSmall = 1e-280;
  MbValueRange squares = kNothing;
  for (std::size_t i = 0; i < count; ++i) {
    const auto x = static_cast<double>(values[3 * i]), y = static_cast<double>(values[3 * i + 1]),
               z = static_cast<double>(values[3 * i + 2]);
    add(squares, x * x + y * y + z * z);
  }
  if (squares.infiniteCount == 0 && squares.min >= kSmall) {
    if (!squares.isEmpty()) {
      squares.min = std::sqrt(squares.min);
      squares.max = std::sqrt(squares.max);
    }
    return squares;
  }
  MbValueRange range = kNothing;
  for (std::size_t i = 0; i < count; ++i) {
    const auto x = static_cast<double>(values[3 * i]), y = static_cast<double>(values[3 * i + 1]),
               z = static_cast<double>(values[3 * i + 2]);
    add(range, mxLength(x, y, z));
  }
  return range;
}

} // namespace

std::vector<MbValueRange> mxRangesOf(const MiArrayView& values, std::size_t components,
                                     bool parallel)
{
  const std::size_t lists = components == 3 ? 4 : components;
  std::vector<MbValueRange> blocks(blockCount(values.count, kFileBlock) * lists, kNothing);
  if (values.count > 0)
    visitScalarType(values.type, [&](auto scalar) {
      using T = decltype(scalar);
      forEachBlock(parallel, values.count, kFileBlock,
                   [&](std::size_t block, std::size_t first, std::size_t last) {
                     const T* from = values.as<T>() + first * components;
                     MbValueRange* to = blocks.data() + block * lists;
                     for (std::size_t c = 0; c < components; ++c)
                       to[c] = rangeOf(from + c, last - first, components);
                     if (components == 3) to[3] = magnitudeRangeOf(from, last - first);
                   });
    });
  std::vector<MbValueRange> result(lists, kNothing);
  for (std::size_t i = 0; i < blocks.size(); ++i)
    merge(result[i % lists], blocks[i]);
  return result;
}
