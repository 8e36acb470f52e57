#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

/// The type of the numbers behind a MiArrayView.
enum class MiScalarType : std::uint8_t
{
  Float32,
  Float64,
  Int8,
  UInt8,
  Int16,
  UInt16,
  Int32,
  UInt32,
  Int64,
  UInt64
};

namespace velmo_detail {
template <class T>
constexpr MiScalarType scalarTypeOf()
{
  static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool> && sizeof(T) <= 8);
  if constexpr (std::is_floating_point_v<T>) {
    return sizeof(T) == 4 ? MiScalarType::Float32 : MiScalarType::Float64;
  } else {
    constexpr int log2 = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3;
    return static_cast<MiScalarType>(2 + 2 * log2 + (std::is_unsigned_v<T> ? 1 : 0));
  }
}
} // namespace velmo_detail

template <class T>
inline constexpr MiScalarType kMiScalarTypeOf = velmo_detail::scalarTypeOf<T>();

/// The application's own array, as it lies in memory.
///
/// *Shape*: `count` items, item i at data + i * stride bytes; an item is one number, or three
/// numbers one after the other where the array holds points or vectors. A null `data` means that
/// there is no such array. *Ownership*: borrowed; it stays alive and unchanged as long as the stamp
/// of the object that gave it. Items must be aligned for their type.
struct MiArrayView
{
  const void* data = nullptr;
  MiScalarType type = MiScalarType::Float64;
  std::size_t count = 0;
  std::size_t stride = 0;

  MiArrayView() = default;
  MiArrayView(const void* pointer, MiScalarType scalar, std::size_t items, std::size_t bytes)
      : data(pointer), type(scalar), count(items), stride(bytes)
  {}

  /// Numbers one after the other.
  template <class T>
  explicit MiArrayView(std::span<const T> values)
      : data(values.data()), type(kMiScalarTypeOf<T>), count(values.size()), stride(sizeof(T))
  {}

  /// Points or vectors, three numbers each, one after the other.
  template <class T>
  static MiArrayView triples(std::span<const T> values)
  {
    return {values.data(), kMiScalarTypeOf<T>, values.size() / 3, 3 * sizeof(T)};
  }

  explicit operator bool() const { return data != nullptr; }

  /// True when the items are numbers (or triples, `components` 3) of type T without gaps.
  template <class T>
  bool isContiguous(std::size_t components = 1) const
  {
    return data && type == kMiScalarTypeOf<T> && stride == components * sizeof(T);
  }
  template <class T>
  const T* as() const
  {
    return static_cast<const T*>(data);
  }
};

/// Calls visit(T{}) with the C++ type that `type` names.
template <class Visitor>
decltype(auto) visitScalarType(MiScalarType type, Visitor&& visit)
{
  switch (type) {
  case MiScalarType::Float32:
    return visit(float{});
  case MiScalarType::Float64:
    return visit(double{});
  case MiScalarType::Int8:
    return visit(std::int8_t{});
  case MiScalarType::UInt8:
    return visit(std::uint8_t{});
  case MiScalarType::Int16:
    return visit(std::int16_t{});
  case MiScalarType::UInt16:
    return visit(std::uint16_t{});
  case MiScalarType::Int32:
    return visit(std::int32_t{});
  case MiScalarType::UInt32:
    return visit(std::uint32_t{});
  case MiScalarType::Int64:
    return visit(std::int64_t{});
  case MiScalarType::UInt64:
    break;
  }
  return visit(std::uint64_t{});
}
