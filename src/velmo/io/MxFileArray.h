#pragma once

#include <velmo/base/MxArray.h>
#include <velmo/base/MxParallel.h>
#include <velmo/extraction/interfaces/MiArrayView.h>

#include <atomic>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <span>

inline constexpr std::size_t kFileBlock = std::size_t{1} << 16;

inline std::size_t scalarSize(MiScalarType type)
{
  return visitScalarType(type, [](auto scalar) { return sizeof(scalar); });
}

inline bool isInteger(MiScalarType type)
{
  return type != MiScalarType::Float32 && type != MiScalarType::Float64;
}

/// Numbers of a type known only when the file is read. Copies share the memory.
struct MxFileArray
{
  MiScalarType type = MiScalarType::Float64;
  std::size_t size = 0;
  std::shared_ptr<std::byte> data;

  MxFileArray() = default;
  /// `count` numbers, uninitialised.
  /// @throw std::bad_alloc
  MxFileArray(MiScalarType scalar, std::size_t count) : type(scalar), size(count)
  {
    if (count == 0) return;
    if (count > std::numeric_limits<std::size_t>::max() / 16) throw std::bad_alloc();
    data.reset(static_cast<std::byte*>(std::malloc(byteCount())), &std::free);
    if (!data) throw std::bad_alloc();
    velmo_detail::adviseLargePages(data.get(), byteCount());
  }
  template <class T>
  static MxFileArray of(std::size_t count)
  {
    return {kMiScalarTypeOf<T>, count};
  }
  template <class T>
  static MxFileArray of(std::span<const T> values)
  {
    MxFileArray array(kMiScalarTypeOf<T>, values.size());
    if (!values.empty()) std::memcpy(array.data.get(), values.data(), values.size_bytes());
    return array;
  }

  explicit operator bool() const { return size > 0; }
  std::size_t byteCount() const { return size * scalarSize(type); }
  template <class T>
  T* as() const
  {
    return reinterpret_cast<T*>(data.get());
  }
  template <class T>
  std::span<T> span() const
  {
    return {as<T>(), size};
  }
  /// Items of `components` numbers; a remainder is left out.
  MiArrayView view(std::size_t components = 1) const
  {
    return {data.get(), type, size / components, components * scalarSize(type)};
  }
};

/// Calls visit(std::span<T>) with the array's numbers.
template <class Visitor>
decltype(auto) visitNumbers(const MxFileArray& array, Visitor&& visit)
{
  return visitScalarType(array.type, [&](auto scalar) -> decltype(auto) {
    return visit(array.span<decltype(scalar)>());
  });
}

/// Calls visit(std::span<T>) for indices, which are std::int32_t or std::int64_t.
template <class Visitor>
decltype(auto) visitIndices(const MxFileArray& indices, Visitor&& visit)
{
  return indices.type == MiScalarType::Int32 ? visit(indices.span<std::int32_t>())
                                             : visit(indices.span<std::int64_t>());
}

/// True when `holds` does for every number below `count`; stops early otherwise.
template <class Holds>
bool mxAll(bool parallel, std::size_t count, const Holds& holds)
{
  std::atomic<bool> all = true;
  forEachBlock(parallel, count, kFileBlock, [&](std::size_t, std::size_t first, std::size_t last) {
    if (!all.load(std::memory_order_relaxed)) return;
    bool own = true;
    for (std::size_t i = first; i < last; ++i)
      own &= holds(i);
    if (!own) all.store(false, std::memory_order_relaxed);
  });
  return all;
}

/// Indices below this fit into 32 bits.
inline constexpr std::size_t kNarrowLimit = std::numeric_limits<std::int32_t>::max();

/// The array itself when it holds 32 or 64-bit signed integers, otherwise a copy that does. Keeps
/// the number of index types that algorithms are built for small. The largest unsigned numbers
/// become negative, and with that no index either.
MxFileArray mxAsIndices(const MxFileArray& integers);

/// Copies numbers of `width` bytes, turning their bytes around when `swap`; `from` may have any
/// alignment and may equal `to`.
void mxCopyNumbers(std::byte* to, const void* from, std::size_t count, std::size_t width, bool swap,
                   bool parallel);

/// Copies 64-bit whole numbers to 32 bits; negative ones and those that do not fit become -1, which
/// is no index either. Half the memory for connectivities, and half the time to write them.
void mxCopyNarrowed(std::int32_t* to, const void* from, std::size_t count, bool swap,
                    bool parallel);

/// Indices in 64 bits.
MxFileArray mxWidened(const MxFileArray& indices);

/// The items `source`[0], `source`[1] ... of an array of items of `components` numbers.
MxFileArray mxGather(const MxFileArray& array, std::size_t components,
                     std::span<const std::size_t> source, bool parallel);
