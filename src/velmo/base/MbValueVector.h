#pragma once

#include <velmo/base/MbPlainArray.h>

#include <memory>
#include <type_traits>
#include <vector>

/// Gives memory whose numbers are not written before somebody sets them, in large pages where there
/// are many.
template <class T>
struct MbUnwritten
{
  using value_type = T;

  MbUnwritten() = default;
  template <class Other>
  MbUnwritten(const MbUnwritten<Other>&) // NOLINT: allocators convert
  {}

  T* allocate(std::size_t count)
  {
    T* data = std::allocator<T>().allocate(count);
    velmo_detail::adviseLargePages(data, count * sizeof(T));
    return data;
  }
  void deallocate(T* data, std::size_t count) { std::allocator<T>().deallocate(data, count); }

  /// What `resize` adds stays as it is.
  template <class Item>
  void construct(Item* at)
  {
    ::new (static_cast<void*>(at)) Item;
  }
  template <class Item, class... Arguments>
  void construct(Item* at, Arguments&&... arguments)
  {
    ::new (static_cast<void*>(at)) Item(std::forward<Arguments>(arguments)...);
  }

  friend bool operator==(const MbUnwritten&, const MbUnwritten&) { return true; }
};

/// A vector whose `resize` leaves new numbers unwritten, for threads that fill it together; other
/// things are made as always.
template <class T>
using MbValueVector =
    std::conditional_t<std::is_arithmetic_v<T>, std::vector<T, MbUnwritten<T>>, std::vector<T>>;
