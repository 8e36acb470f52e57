#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/extraction/interfaces/MiArrayView.h>

#include <cstdint>
#include <limits>

/// Asks for memory that a sweep upwards will soon come to: the hardware's own reading ahead ends at
/// every small page, and this is worth a third of the time of a sweep. The address need not exist.
inline void readAhead(const void* address)
{
  constexpr std::uintptr_t kDistance = 2048;
  __builtin_prefetch(
      reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(address) + kDistance));
}
inline constexpr std::size_t kCacheLine = 64;

/// Whole numbers of any type, read as std::uint64_t: a negative one comes out larger than any
/// count. An array of another kind of number has no items.
class MxIndexArray
{
public:
  MxIndexArray() = default;
  explicit MxIndexArray(const MiArrayView& view)
      : m_data(static_cast<const char*>(view.data)), m_stride(view.stride), m_count(view.count),
        m_type(view.type)
  {
    if (!view || view.type == MiScalarType::Float32 || view.type == MiScalarType::Float64)
      m_data = nullptr, m_count = 0;
  }

  explicit operator bool() const { return m_data != nullptr; }
  std::size_t size() const { return m_count; }
  std::uint64_t operator[](std::size_t i) const
  {
    const char* item = m_data + i * m_stride;
    switch (m_type) {
    case MiScalarType::Int64:
    case MiScalarType::UInt64:
      return read<std::uint64_t>(item);
    case MiScalarType::Int32:
      return widen(read<std::int32_t>(item));
    case MiScalarType::UInt32:
      return read<std::uint32_t>(item);
    case MiScalarType::Int8:
      return widen(read<std::int8_t>(item));
    case MiScalarType::UInt8:
      return read<std::uint8_t>(item);
    case MiScalarType::Int16:
      return widen(read<std::int16_t>(item));
    case MiScalarType::UInt16:
      return read<std::uint16_t>(item);
    default:
      return std::numeric_limits<std::uint64_t>::max();
    }
  }
  /// The array from item `first` on.
  MxIndexArray operator+(std::size_t first) const
  {
    MxIndexArray rest = *this;
    rest.m_data += first * m_stride;
    return rest;
  }

private:
  template <class T>
  static T read(const char* item)
  {
    return *reinterpret_cast<const T*>(item);
  }
  template <class T>
  static std::uint64_t widen(T value)
  {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
  }

  const char* m_data = nullptr;
  std::size_t m_stride = 0;
  std::size_t m_count = 0;
  MiScalarType m_type = MiScalarType::Int64;
};

/// Points of type T at any stride.
template <class T>
struct MxPointArray
{
  const char* data;
  std::size_t stride;

  MbVec3d operator[](std::size_t i) const
  {
    const T* p = reinterpret_cast<const T*>(data + i * stride);
    return {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])};
  }
  [[gnu::always_inline]] void prefetch(std::size_t i) const
  {
    __builtin_prefetch(data + i * stride);
  }
};

/// Asks for a point that will be read soon, where it lies in memory.
template <class Points>
[[gnu::always_inline]] inline void prefetchPoint(const Points& points, std::size_t i)
{
  if constexpr (requires { points.prefetch(i); }) points.prefetch(i);
}

/// Calls visit(points) with an object whose operator[] gives a node's point: the array of the view
/// where it holds `count` points, `fallback` otherwise.
template <class Fallback, class Visitor>
void visitPoints(const MiArrayView& view, std::size_t count, const Fallback& fallback,
                 Visitor&& visit)
{
  if (!view || view.count < count) {
    visit(fallback);
    return;
  }
  visitScalarType(view.type, [&](auto scalar) {
    using T = decltype(scalar);
    if constexpr (std::is_floating_point_v<T>)
      visit(MxPointArray<T>{static_cast<const char*>(view.data), view.stride});
    else
      visit(fallback);
  });
}
